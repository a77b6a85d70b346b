// Frame collection, time-outs, status and error texts, connection probe.
#include "ProtocolFixture.h"

#include <chrono>
#include <cstring>

namespace {

struct Buffer {
    uint8_t bytes[Communicator::kMaxFrame];
    Buffer() { std::memset(bytes, 0xEE, sizeof bytes); }
};

using ExchangeTest = ProtocolTest;

TEST_F(ExchangeTest, CollectsFramesOfEveryShape) {
    Buffer b;
    // L = 0: opcode and length only.
    port.Push({0x13, 0x00});
    EXPECT_EQ(com.Receive(b.bytes, 3), 1);
    EXPECT_EQ(b.bytes[0], 0x13);
    EXPECT_EQ(b.bytes[1], 0x00);
    EXPECT_EQ(b.bytes[2], 0xEE) << "the status position keeps what the buffer held";

    // L = 1: status only.
    port.Push({0x13, 0x01, 0xFD});
    EXPECT_EQ(com.Receive(b.bytes, 3), 1);
    EXPECT_EQ(b.bytes[2], 0xFD);
    EXPECT_EQ(b.bytes[3], 0xEE);

    // The longest frame, L = 255: 257 bytes.
    Bytes longest{0x1C, 0xFF, 0x01};
    for (int i = 0; i < 254; ++i)
        longest.push_back(static_cast<uint8_t>(i));
    port.Push(longest);
    EXPECT_EQ(com.Receive(b.bytes, 50), 1);
    EXPECT_EQ(0, std::memcmp(b.bytes, longest.data(), longest.size()));
    EXPECT_FALSE(port.HasPending());
}

TEST_F(ExchangeTest, AssemblesAFrameArrivingInPiecesWithPauses) {
    Buffer b;
    port.PushPieces({{0xC2}, {}, {0x03}, {}, {}, {0x01, 0x12}, {0x34}});
    EXPECT_EQ(com.Receive(b.bytes, 5), 1);
    EXPECT_EQ(0, std::memcmp(b.bytes, Bytes({0xC2, 0x03, 0x01, 0x12, 0x34}).data(), 5));

    // The same through a command.
    port.AnswerPieces(0xC2, ScriptedPort::Split({0xC2, 0x03, 0x01, 0xAB, 0xCD}, {1, 2, 4}));
    uint16_t value = 0;
    EXPECT_EQ(com.GetLinkTimeout(value), 0);
    EXPECT_EQ(value, 0xABCD);
}

TEST_F(ExchangeTest, DropsTheRestOfTheReadThatCompletesAFrame) {
    // Two answers in one arrival: the second is lost, not kept for the next command.
    port.AnswerOnce(0xC2, {0xC2, 0x03, 0x01, 0x12, 0x34, 0xC2, 0x03, 0x01, 0x99, 0x99});
    uint16_t value = 0;
    EXPECT_EQ(com.GetLinkTimeout(value), 0);
    EXPECT_EQ(value, 0x1234);
    EXPECT_FALSE(port.HasPending());
    EXPECT_EQ(com.GetLinkTimeout(value), -1);
    EXPECT_EQ(value, 0x1234);
}

TEST_F(ExchangeTest, BytesOfALaterReadStartTheNextResponse) {
    // A late arrival is not lost: it is taken as the next command's answer.
    port.AnswerOnceInPieces(0xC2, {{0xC2, 0x03, 0x01, 0x00, 0x05}, {0xC2, 0x03, 0x01, 0x00, 0x07}});
    uint16_t value = 0;
    EXPECT_EQ(com.GetLinkTimeout(value), 0);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(com.GetLinkTimeout(value), 0);
    EXPECT_EQ(value, 7);
}

TEST_F(ExchangeTest, GivesUpAfterMoreThanSixtyHundredths) {
    Buffer b;
    // One hundredth per clock reading: the start, then sixty reads, then time-out.
    EXPECT_EQ(com.Receive(b.bytes, 3), -1);
    EXPECT_EQ(port.reads, 60);
    EXPECT_EQ(com.readings, 62);

    // The measure wraps at the second: 95 -> 10 is 15 hundredths, 95 -> 55 is 60,
    // 95 -> 56 is 61.
    port.reads = 0;
    com.script = {95, 10, 55, 56};
    EXPECT_EQ(com.Receive(b.bytes, 3), -1);
    EXPECT_EQ(port.reads, 2);

    // A reading just below the start counts as 99 hundredths.
    port.reads = 0;
    com.script = {20, 19};
    EXPECT_EQ(com.Receive(b.bytes, 3), -1);
    EXPECT_EQ(port.reads, 0);
}

TEST_F(ExchangeTest, TimeOutCountsFromTheStartNotFromTheLastByte) {
    Buffer b;
    // A 102-byte frame trickling in one byte per read cannot finish in 60 reads.
    Bytes frame{0x1C, 100, 0x01};
    frame.resize(102, 'x');
    Bytes bytes = frame;
    for (uint8_t byte : bytes)
        port.Push({byte});
    EXPECT_EQ(com.Receive(b.bytes, 50), -1);
    EXPECT_EQ(port.reads, 60);

    // The same frame in one piece is fine.
    port.DropPending();
    port.Push(frame);
    EXPECT_EQ(com.Receive(b.bytes, 50), 1);
}

TEST_F(ExchangeTest, PollReceiveWaitsFiveHundredthsAndPumpsBeforeEveryClockReading) {
    Buffer b;
    int pumped = 0;
    com.pump = [&] { ++pumped; };
    EXPECT_EQ(com.PollReceive(b.bytes, 13), -1);
    EXPECT_EQ(port.reads, 5);
    EXPECT_EQ(pumped, com.readings);
    EXPECT_EQ(com.readings, 7);

    // The pump runs while a frame is still on its way.
    pumped = 0;
    com.readings = 0;
    port.PushPieces({{0x65}, {}, {0x01, 0x01}});
    EXPECT_EQ(com.PollReceive(b.bytes, 20), 1);
    EXPECT_EQ(pumped, com.readings);
    EXPECT_GE(pumped, 4);

    // Receive never pumps; an empty pump is allowed.
    pumped = 0;
    EXPECT_EQ(com.Receive(b.bytes, 3), -1);
    EXPECT_EQ(pumped, 0);
    com.pump = nullptr;
    EXPECT_EQ(com.PollReceive(b.bytes, 3), -1);
}

TEST(ExchangeRealClock, SilentModuleTimesOutAfterAboutSixTenthsOfASecond) {
    ScriptedPort port;
    port.ReadTimeout = 10;
    Communicator com;
    com.SetSerialPort(&port);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(com.CheckConnection(), -1);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(500));
    EXPECT_LT(took, std::chrono::seconds(3));
    EXPECT_GE(port.reads, 10);
}

TEST_F(ExchangeTest, WithoutAPortOrWithAClosedPortEverythingTimesOut) {
    Communicator bare;
    Buffer b;
    bare.Send(b.bytes, 3);
    EXPECT_EQ(bare.Receive(b.bytes, 3), -1);
    EXPECT_EQ(bare.PollReceive(b.bytes, 3), -1);
    EXPECT_EQ(bare.CheckConnection(), -1);
    uint8_t mode = 0;
    EXPECT_EQ(bare.GetDeviceMode(mode), -1);
    EXPECT_EQ(bare.SetDeviceMode(1), -1);
    EXPECT_EQ(bare.PollInquiry(), 0);

    port.Answer(0x01, {0x01, 0x01, 0x01});
    port.Close();
    EXPECT_EQ(com.CheckConnection(), -1);
    EXPECT_EQ(Sent(), Bytes({0x01, 0x04, 0xFF, 0x00, 0x55, 0xAA}));
    EXPECT_EQ(port.GetLastErrorText(), "Tried to read closed port");
}

TEST_F(ExchangeTest, ErrorTextsForEveryResult) {
    EXPECT_EQ(com.GetErrorText(-1), "Communication timeout");
    EXPECT_EQ(com.GetErrorText(-2), "Got invalid response");
    EXPECT_EQ(com.GetErrorText(-3), "Status error - ");
    EXPECT_EQ(com.GetErrorText(-4), "Bad parameter");
    EXPECT_EQ(com.GetErrorText(0), "unknown error");
    EXPECT_EQ(com.GetErrorText(1), "unknown error");
    EXPECT_EQ(com.GetErrorText(-5), "unknown error");
    com.statusText = "RF not ready";
    EXPECT_EQ(com.GetErrorText(-3), "Status error - RF not ready");
}

TEST_F(ExchangeTest, EveryModuleStatusGivesItsText) {
    const std::pair<uint8_t, const char*> table[] = {
        {17, "Connection complete"},
        {18, "Connection timeout"},
        {19, "Connection cancelled"},
        {20, "Connection cancelled"},
        {21, "Connection service not supported"},
        {22, "Connection failed"},
        {23, "Connection disconnect"},
        {24, "Connection disconnect abnormal"},
        {25, "Data req error - no space"},
        {224, "Pairing timeout"},
        {225, "Pairing failed"},
        {226, "Pairing cancelled"},
        {227, "Pairing error"},
        {252, "RF not ready"},
        {253, "Command invalid parameter"},
        {254, "Command failed"},
        {255, "Command error"},
    };
    for (const auto& [status, text] : table) {
        com.statusText = "stale";
        port.AnswerOnce(0x13, ScriptedPort::Frame(0x13, status));
        EXPECT_EQ(com.SetDeviceMode(1), -3) << int(status);
        EXPECT_EQ(com.lastStatus, status);
        EXPECT_EQ(com.statusText, text);
        EXPECT_EQ(com.GetErrorText(-3), std::string("Status error - ") + text);
    }
}

TEST_F(ExchangeTest, UnknownStatusKeepsThePreviousText) {
    // Nothing came before: the text is empty.
    port.AnswerOnce(0xC1, ScriptedPort::Frame(0xC1, 2));
    EXPECT_EQ(com.SetPerformanceMode(1), -3);
    EXPECT_EQ(com.lastStatus, 2);
    EXPECT_EQ(com.GetErrorText(-3), "Status error - ");

    port.AnswerOnce(0xC1, ScriptedPort::Frame(0xC1, 252));
    EXPECT_EQ(com.SetPerformanceMode(1), -3);
    port.AnswerOnce(0xC1, ScriptedPort::Frame(0xC1, 0));
    EXPECT_EQ(com.SetPerformanceMode(1), -3);
    EXPECT_EQ(com.lastStatus, 0);
    EXPECT_EQ(com.GetErrorText(-3), "Status error - RF not ready");

    // Success leaves lastStatus and the text alone.
    port.AnswerOnce(0xC1, ScriptedPort::Frame(0xC1, 1));
    EXPECT_EQ(com.SetPerformanceMode(1), 0);
    EXPECT_EQ(com.lastStatus, 0);
    EXPECT_EQ(com.statusText, "RF not ready");
}

TEST_F(ExchangeTest, LengthZeroAnswerIsJudgedByTheRequestByteInTheStatusPosition) {
    // A set command's first payload byte sits where the status would be.
    port.Answer(0x13, {0x13, 0x00});
    EXPECT_EQ(com.SetDeviceMode(1), 0);
    EXPECT_EQ(com.SetDeviceMode(2), -3);
    EXPECT_EQ(com.lastStatus, 2);

    // A get command has no payload: the status position is 0.
    port.Answer(0xC2, {0xC2, 0x00});
    uint16_t value = 77;
    EXPECT_EQ(com.GetLinkTimeout(value), -3);
    EXPECT_EQ(com.lastStatus, 0);
    EXPECT_EQ(value, 77);
}

TEST_F(ExchangeTest, ConnectionProbe) {
    port.AnswerOnce(0x01, {0x01, 0x01, 0xFF});
    EXPECT_EQ(com.CheckConnection(), 1) << "the status byte is not examined";
    EXPECT_EQ(Sent(), Bytes({0x01, 0x04, 0xFF, 0x00, 0x55, 0xAA}));
    EXPECT_EQ(com.lastStatus, 0);

    port.AnswerOnce(0x01, {0x02, 0x01, 0x01});
    EXPECT_EQ(com.CheckConnection(), -2);
    EXPECT_EQ(com.CheckConnection(), -1);
}

TEST_F(ExchangeTest, SendPassesBytesUnchangedEvenWhenTheWriteFails) {
    const uint8_t frame[] = {0x00, 0xFF, 0x10, 0x80};
    com.Send(frame, 4);
    EXPECT_EQ(Sent(), Bytes(frame, frame + 4));
    port.failWrites = true;
    port.Answer(0x01, {0x01, 0x01, 0x01});
    EXPECT_EQ(com.CheckConnection(), -1); // nothing went out, so nothing comes back
}

} // namespace
