// SPDX-License-Identifier: Apache-2.0
// Frame collection, time-outs, result and status texts.
#include "ProtocolRig.h"

#include <tuple>

namespace {

constexpr size_t kMax = Communicator::kMaxFrame;

class ExchangeTest : public ProtocolTest {
  protected:
    Bytes frame = Bytes(kMax); // exactly as large as a frame can be, on the heap
    uint8_t* b = frame.data();
};

TEST_F(ExchangeTest, CollectsOneFrameByItsLengthByte) {
    const Bytes longest = Cat({0x1C, 0xFF, 0x01}, Bytes(254, 'x'));
    const Bytes timeout{0xC2, 0x03, 0x01, 0x12, 0x34};
    const std::pair<std::vector<Bytes>, Bytes> cases[] = {
        {{{0x13, 0x00}}, {0x13, 0x00}}, // the status position keeps what the buffer held
        {{{0x13, 0x01, 0xFD}}, {0x13, 0x01, 0xFD}},
        {{longest}, longest},
        {{{0xC2}, {}, {0x03}, {}, {}, {0x01, 0x12}, {0x34}}, timeout}, // pieces and pauses
        {{Cat(timeout, {0xC2, 0x03, 0x01})}, timeout},    // the rest of the arrival is kept...
        {{{0x56, 0x78}}, {0xC2, 0x03, 0x01, 0x56, 0x78}}, // ...and opens the next frame
    };
    for (const auto& [arrivals, frame] : cases) {
        Bytes buffer(kMax, 0xEE);
        port.PushPieces(arrivals);
        EXPECT_EQ(com.Receive(buffer.data(), 3), 1);
        EXPECT_EQ(buffer, Cat(frame, Bytes(kMax - frame.size(), 0xEE)));
        EXPECT_FALSE(port.HasPending());
    }
}

TEST_F(ExchangeTest, GivesUpAfterMoreThanSixtyHundredthsOfTheWrappingClock) {
    // One hundredth per clock reading: the start, sixty reads, then the time-out.
    EXPECT_EQ(com.Receive(b, 3), -1);
    EXPECT_EQ(port.reads, 60);
    // 95 -> 10 is 15 hundredths, 95 -> 55 is 60, 95 -> 56 is 61; just below the start is 99.
    const std::pair<std::deque<int32_t>, int> clocks[] = {{{95, 10, 55, 56}, 2}, {{20, 19}, 0}};
    for (const auto& [clock, reads] : clocks) {
        port.reads = 0;
        com.script = clock;
        EXPECT_EQ(com.Receive(b, 3), -1);
        EXPECT_EQ(port.reads, reads);
    }
    // Counted from the start, not from the last byte: a frame trickling in one
    // byte per read cannot finish in sixty reads.
    port.reads = 0;
    for (uint8_t byte : Cat({0x1C, 100, 0x01}, Bytes(99, 'x')))
        port.Push({byte});
    EXPECT_EQ(com.Receive(b, 3), -1);
    EXPECT_EQ(port.reads, 60);
    EXPECT_EQ(Communicator().CheckConnection(), -1) << "without a port: at once";
}

TEST_F(ExchangeTest, PollReceiveWaitsFiveHundredthsAndPumpsBeforeEveryClockReading) {
    int pumped = 0;
    com.pump = [&] { ++pumped; };
    EXPECT_EQ(com.PollReceive(b, 3), -1);
    EXPECT_EQ(port.reads, 5);
    EXPECT_EQ(std::tie(pumped, com.readings), std::tuple(7, 7));
    pumped = com.readings = 0;
    port.PushPieces({{0x65}, {}, {0x01, 0x01}});
    EXPECT_EQ(com.PollReceive(b, 3), 1);
    EXPECT_EQ(std::tie(pumped, com.readings), std::tuple(4, 4));
    pumped = 0;
    EXPECT_EQ(com.Receive(b, 3), -1);
    EXPECT_EQ(pumped, 0) << "Receive does not pump";
}

TEST_F(ExchangeTest, ResultAndStatusTexts) {
    const std::pair<int32_t, const char*> results[] = {
        {-1, "Communication timeout"}, {-2, "Got invalid response"}, {-3, "Status error - "},
        {-4, "Bad parameter"},         {0, "unknown error"},         {1, "unknown error"},
        {-5, "unknown error"}};
    for (const auto& [result, text] : results)
        EXPECT_EQ(com.GetErrorText(result), text);

    // Each status and the text it gives; one without a text of its own (0, 2, 16,
    // 26, 223, 228, 251) keeps the text before it.
    // clang-format off
    const std::pair<uint8_t, const char*> statuses[] = {
        {0, ""}, {17, "Connection complete"}, {18, "Connection timeout"},
        {19, "Connection cancelled"}, {2, "Connection cancelled"}, {20, "Connection cancelled"},
        {21, "Connection service not supported"}, {22, "Connection failed"},
        {23, "Connection disconnect"}, {24, "Connection disconnect abnormal"},
        {25, "Data req error - no space"}, {26, "Data req error - no space"},
        {224, "Pairing timeout"}, {225, "Pairing failed"}, {226, "Pairing cancelled"},
        {227, "Pairing error"}, {228, "Pairing error"}, {223, "Pairing error"},
        {252, "RF not ready"}, {253, "Command invalid parameter"}, {254, "Command failed"},
        {16, "Command failed"}, {255, "Command error"}, {251, "Command error"}};
    // clang-format on
    for (const auto& [status, text] : statuses) {
        Reply(0x13, status);
        EXPECT_EQ(com.SetDeviceMode(1), -3);
        EXPECT_EQ(com.lastStatus, status);
        EXPECT_EQ(com.GetErrorText(-3), std::string("Status error - ") + text) << int(status);
    }
    // Success changes neither the status nor its text.
    Reply(0x13, 1);
    EXPECT_EQ(com.SetDeviceMode(1), 0);
    EXPECT_EQ(com.lastStatus, 251);
    EXPECT_EQ(com.GetErrorText(-3), "Status error - Command error");
}

TEST_F(ExchangeTest, LengthZeroAnswerIsJudgedByTheRequestByteInTheStatusPosition) {
    // A set command's first payload byte sits where the status would be.
    port.PushPieces({{0x13, 0x00}, {0x13, 0x00}, {0xC2, 0x00}});
    EXPECT_EQ(com.SetDeviceMode(1), 0);
    EXPECT_EQ(com.SetDeviceMode(2), -3);
    EXPECT_EQ(com.lastStatus, 2);
    // A get command has no payload: the status position is 0.
    uint16_t value = 77;
    EXPECT_EQ(com.GetLinkTimeout(value), -3);
    EXPECT_EQ(com.lastStatus, 0);
    EXPECT_EQ(value, 77);
}

} // namespace
