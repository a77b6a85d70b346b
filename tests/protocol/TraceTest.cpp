// The protocol trace: the words of every frame in both directions, the events the
// Communicator reports to its observer, and the trace file's lines.
#include "Trace.h"
#include "ProtocolFixture.h"

#include <cstdio>
#include <random>

namespace {

using Dir = TraceEvent::Direction;
constexpr Dir S = Dir::Send;
constexpr Dir R = Dir::Receive;

struct DecodeCase {
    Dir direction;
    Bytes bytes;
    const char* words;
    int lastSent = -1;
};

// clang-format off
// Every frame that carries fields, with a different byte in every field.
const std::vector<DecodeCase> kFieldCases = {
    {S, {0x01, 0x04, 0xFF, 0x00, 0x55, 0xAA}, "CheckConnection (0x01): probe ff 00 55 aa"},
    {R, {0x01, 0x01, 0x01}, "CheckConnection (0x01): status 1 (success)"},
    {R, {0x12, 0x02, 0x01, 0x02}, "GetDeviceMode (0x12): status 1 (success); mode 2 (Endpoint)"},
    {S, {0x13, 0x01, 0x01}, "SetDeviceMode (0x13): mode 1 (Connecting)"},
    {R, {0x14, 0x06, 0x01, 0x0A, 0x00, 0x01, 0x07, 0x02}, "GetSerialSettings (0x14): status 1 "
        "(success); rate code 10 (921600), flow control 0, parity 1 (Odd), data bits 7, stop bits 2"},
    {S, {0x15, 0x05, 0x05, 0x00, 0x02, 0x08, 0x01}, "SetSerialSettings (0x15): rate code 5 (38400), "
        "flow control 0, parity 2 (Even), data bits 8, stop bits 1"},
    {R, {0x16, 0x07, 0x01, 0x00, 0x1B, 0xDC, 0x0F, 0x52, 0xA7},
        "GetConnectAddress (0x16): status 1 (success); address 00:1B:DC:0F:52:A7"},
    {S, {0x17, 0x06, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6},
        "SetConnectAddress (0x17): address A1:A2:A3:A4:A5:A6"},
    {R, {0x18, 0x07, 0x01, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66},
        "GetAcceptedAddress (0x18): status 1 (success); address 11:22:33:44:55:66"},
    {S, {0x19, 0x06, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6},
        "SetAcceptedAddress (0x19): address B1:B2:B3:B4:B5:B6"},
    {R, {0x1C, 0x06, 0x01, 'N', 'V', 'M', ' ', '1'},
        "GetDeviceName (0x1C): status 1 (success); name \"NVM 1\" (5)"},
    {S, {0x1D, 0x04, 'N', 'a', 'm', 'e'}, "SetDeviceName (0x1D): name \"Name\" (4)"},
    {R, {0x1E, 0x04, 0x01, 'S', 'P', 'P'},
        "GetServiceName (0x1E): status 1 (success); service name \"SPP\" (3)"},
    {S, {0x1F, 0x03, 'C', 'O', 'M'}, "SetServiceName (0x1F): service name \"COM\" (3)"},
    {R, {0x40, 0x0D, 0x01, 0x00, 0x03, 0x01, 0x02, 0x03, 0x04, 0x00, 0x05, 0x03, 0x02, 0x00, 0x00},
        "GetModuleInfo (0x40): status 1 (success); product code 3 (NVM-220), hardware "
        "0102.03.04-05, software 3.02"},
    {R, {0x41, 0x05, 0x01, 'A', 'B', '-', '9'},
        "GetArticleNumber (0x41): status 1 (success); article number \"AB-9\" (4)"},
    {R, {0x42, 0x07, 0x01, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F},
        "GetLocalAddress (0x42): status 1 (success); local address 0A:0B:0C:0D:0E:0F"},
    // The close notification is answered with 0x42.
    {R, {0x42, 0x01, 0x01}, "NotifyClose (0x42): status 1 (success)", 0x50},
    {S, {0x50, 0x00}, "NotifyClose (0x50)"},
    {R, {0x50, 0x01, 0xFF}, "NotifyClose (0x50): status 255 (Command error)"},
    {R, {0x62, 0x07, 0x01, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6},
        "GetPairedDevice (0x62): status 1 (success); paired address C1:C2:C3:C4:C5:C6"},
    {R, {0x62, 0x01, 0xFE}, "GetPairedDevice (0x62): status 254 (Command failed); not paired"},
    {R, {0x66, 0x04, 0x01, 0x01, 0x00, 0x02},
        "GetSecurityFlags (0x66): status 1 (success); encryption required 1, authentication required 0, passkey used 2"},
    {S, {0x67, 0x03, 0x00, 0x01, 0x02}, "SetSecurityFlags (0x67): encryption required 0, authentication required 1, passkey used 2"},
    {R, {0x68, 0x05, 0x01, '7', '3', '5', '1'},
        "GetPasskey (0x68): status 1 (success); passkey \"7351\" (4)"},
    {S, {0x69, 0x04, '1', '2', '3', '4'}, "SetPasskey (0x69): passkey \"1234\" (4)"},
    {R, {0xC0, 0x02, 0x01, 0x02}, "GetPerformanceMode (0xC0): status 1 (success); mode 2 (Latency)"},
    {S, {0xC1, 0x01, 0x01}, "SetPerformanceMode (0xC1): mode 1 (Throughput)"},
    {R, {0xC2, 0x03, 0x01, 0x4B, 0x01},
        "GetLinkTimeout (0xC2): status 1 (success); link timeout 19201"},
    {S, {0xC3, 0x02, 0x06, 0x40}, "SetLinkTimeout (0xC3): link timeout 1600"},
    {R, {0xC4, 0x05, 0x01, 0x08, 0x00, 0x00, 0x12},
        "GetInquiryScan (0xC4): status 1 (success); interval 2048, window 18"},
    {S, {0xC5, 0x04, 0x04, 0x00, 0x00, 0x24}, "SetInquiryScan (0xC5): interval 1024, window 36"},
    {R, {0xC6, 0x05, 0x01, 0x02, 0x00, 0x00, 0x30},
        "GetPageScan (0xC6): status 1 (success); interval 512, window 48"},
    {S, {0xC7, 0x04, 0x00, 0x12, 0x10, 0x00}, "SetPageScan (0xC7): interval 18, window 4096"},
    {R, {0xC8, 0x09, 0x01, 0x03, 0x20, 0x01, 0x90, 0x00, 0x04, 0x00, 0x02},
        "GetSniffSettings (0xC8): status 1 (success); max interval 800, min interval 400, "
        "attempt 4, timeout 2"},
    {S, {0xC9, 0x08, 0xFF, 0xFF, 0x00, 0x01, 0x7F, 0xFF, 0x00, 0x03},
        "SetSniffSettings (0xC9): max interval 65535, min interval 1, attempt 32767, timeout 3"},
    {R, {0xCA, 0x05, 0x01, 0x10, 0x00, 0x02, 0x00},
        "GetParkSettings (0xCA): status 1 (success); max interval 4096, min interval 512"},
    {S, {0xCB, 0x04, 0x03, 0x04, 0x01, 0x02}, "SetParkSettings (0xCB): max interval 772, "
        "min interval 258"},
    {R, {0xCC, 0x05, 0x01, 0x00, 0x5A, 0x02, 0x0C},
        "GetClassOfDevice (0xCC): status 1 (success); class of device 0x005A020C"},
    {S, {0xCD, 0x04, 0x00, 0x1F, 0x05, 0x08}, "SetClassOfDevice (0xCD): class of device 0x001F0508"},
    {R, {0xD2, 0x03, 0x01, 0xFF, 0xA6}, "GetMaxTxPower (0xD2): status 1 (success); power -90"},
    {S, {0xD3, 0x02, 0xFF, 0xF6}, "SetMaxTxPower (0xD3): power -10"},
    {R, {0xD3, 0x03, 0x01, 0x00, 0x04}, "SetMaxTxPower (0xD3): status 1 (success); power taken 4"},
    {R, {0xD4, 0x03, 0x01, 0x00, 0x14}, "GetDefaultTxPower (0xD4): status 1 (success); power 20"},
    {S, {0xD5, 0x02, 0x00, 0x11}, "SetDefaultTxPower (0xD5): power 17"},
    {R, {0xD5, 0x03, 0x01, 0xFF, 0xFB},
        "SetDefaultTxPower (0xD5): status 1 (success); power taken -5"},
    {R, {0xD6, 0x02, 0x01, 0x01}, "GetSerialEmulation (0xD6): status 1 (success); emulation 1 (DTE)"},
    {S, {0xD7, 0x01, 0x02}, "SetSerialEmulation (0xD7): emulation 2 (DCE)"},
    {R, {0xD8, 0x04, 0x01, 0x01, 0x18, 0x00},
        "GetUserBaudrate (0xD8): status 1 (success); enabled 1 (on), value 6144"},
    {S, {0xD9, 0x03, 0x00, 0x01, 0x02}, "SetUserBaudrate (0xD9): enabled 0 (off), value 258"},
    {R, {0xDA, 0x06, 0x01, 0x02, 0x00, 0x00, 0x12, 0x34},
        "GetQualityOfService (0xDA): status 1 (success); mode 2, latency 0x00001234 (4660)"},
    {S, {0xDB, 0x05, 0x01, 0x00, 0x5A, 0x02, 0x0C},
        "SetQualityOfService (0xDB): mode 1, latency 0x005A020C (5898764)"},
    {R, {0xF0, 0x04, 0x01, 0x01, 0x00, 0x40},
        "GetScoSettings (0xF0): status 1 (success); enabled 1 (on), packet type 64"},
    {S, {0xF1, 0x03, 0x00, 0x01, 0x00}, "SetScoSettings (0xF1): enabled 0 (off), packet type 256"},
    {R, {0xF2, 0x03, 0x01, 0x00, 0x10},
        "GetCodecOutputGainMax (0xF2): status 1 (success); max output gain 16"},
    {R, {0xF3, 0x03, 0x01, 0x00, 0x09}, "GetCodecOutputGain (0xF3): status 1 (success); output gain 9"},
    {S, {0xF4, 0x02, 0x00, 0x07}, "SetCodecOutputGain (0xF4): output gain 7"},
    {R, {0xF5, 0x03, 0x01, 0x00, 0x20},
        "GetCodecInputGainMax (0xF5): status 1 (success); max input gain 32"},
    {R, {0xF6, 0x03, 0x01, 0x00, 0x11}, "GetCodecInputGain (0xF6): status 1 (success); input gain 17"},
    {S, {0xF7, 0x02, 0x01, 0x2C}, "SetCodecInputGain (0xF7): input gain 300"},
    // Search and pairing.
    {S, {0x60, 0x06, 0x0C, 0x00, 0x02, 0x00, 0x00, 0x01},
        "StartInquiry (0x60): duration 12, class filter 0x00020000, flag 1"},
    {R, {0x60, 0x00}, "InquiryEvent (0x60): end of search"},
    {R, {0x60, 0x08, 0x07, 0x00, 0x1B, 0xDC, 0x0F, 0x52, 0xA7, 0x09},
        "InquiryEvent (0x60): address 00:1B:DC:0F:52:A7"},
    {R, Cat(Cat({0x60, 39, 0x07, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}, {'P', 'h', 'o', 'n', 'e'}),
            Bytes(27, 0)),
        "InquiryEvent (0x60): address 01:02:03:04:05:06, name \"Phone\" (5)"},
    {R, Cat(Cat(Cat({0x60, 42, 0x07, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6}, Bytes(32, 'q')),
                {0x5A, 0x02, 0x0C}), {}),
        "InquiryEvent (0x60): address F1:F2:F3:F4:F5:F6, name \"qqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqq\" "
        "(32), class 0x5A020C"},
    {R, {0x60, 0x03, 0x0D, 0x0E, 0x0F}, "InquiryEvent (0x60): too short, not used, extra bytes "
        "0d 0e 0f"},
    {S, {0x80, 0x00}, "CancelInquiry (0x80)"},
    {R, {0x80, 0x01, 0x01}, "CancelInquiry (0x80): status 1 (success)"},
    {S, {0x63, 0x04, '9', '8', '7', '6'}, "StartPairing (0x63): remote initiates, passkey \"9876\" (4)"},
    {R, {0x63, 0x01, 0xFD}, "StartPairing (0x63): status 253 (Command invalid parameter)"},
    {S, {0x64, 0x0A, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, '1', '2', '3', '4'},
        "StartPairing (0x64): local initiates, address 00:11:22:33:44:55, passkey \"1234\" (4)"},
    {R, {0x64, 0x01, 0x01}, "StartPairing (0x64): status 1 (success)"},
    {R, {0x65, 0x01, 0x01}, "PairingEvent (0x65): status 1 (success)"},
    {R, {0x65, 0x01, 0xE1}, "PairingEvent (0x65): status 225 (Pairing failed)"},
    {R, {0x65, 0x01, 0xE3}, "PairingEvent (0x65): status 227 (Pairing error)"},
    // What does not fit.
    {R, {0x14, 0x03, 0x01, 0x03, 0x01}, "GetSerialSettings (0x14): status 1 (success); "
        "rate code 3 (9600), flow control 1, parity missing"},
    {R, {0x12, 0x02, 0x01, 0x09}, "GetDeviceMode (0x12): status 1 (success); mode 9 (not known)"},
    {R, {0xC0, 0x03, 0x01, 0x02, 0x44}, "GetPerformanceMode (0xC0): status 1 (success); "
        "mode 2 (Latency), extra bytes 44"},
    {R, {0x12, 0x01, 0x02}, "GetDeviceMode (0x12): status 2 (not known)"},
    {R, {0x14, 0x00}, "GetSerialSettings (0x14)"},
    {R, {0x1C, 0x03, 0x01, 0x09, '"'}, "GetDeviceName (0x1C): status 1 (success); "
        "name \"\\x09\\x22\" (2)"},
    {R, {0x99, 0x02, 0x01, 0x05}, "unknown frame (0x99)"},
    {S, {0x77, 0x00}, "unknown frame (0x77)"},
    {S, {0x14}, "GetSerialSettings (0x14): length missing"},
};

// The other direction of every command: a get's request carries nothing, a
// set's answer its status only.
const std::vector<std::pair<uint8_t, const char*>> kGets = {
    {0x12, "GetDeviceMode"}, {0x14, "GetSerialSettings"}, {0x16, "GetConnectAddress"},
    {0x18, "GetAcceptedAddress"}, {0x1C, "GetDeviceName"}, {0x1E, "GetServiceName"},
    {0x40, "GetModuleInfo"}, {0x41, "GetArticleNumber"}, {0x42, "GetLocalAddress"},
    {0x62, "GetPairedDevice"}, {0x66, "GetSecurityFlags"}, {0x68, "GetPasskey"},
    {0xC0, "GetPerformanceMode"}, {0xC2, "GetLinkTimeout"}, {0xC4, "GetInquiryScan"},
    {0xC6, "GetPageScan"}, {0xC8, "GetSniffSettings"}, {0xCA, "GetParkSettings"},
    {0xCC, "GetClassOfDevice"}, {0xD2, "GetMaxTxPower"}, {0xD4, "GetDefaultTxPower"},
    {0xD6, "GetSerialEmulation"}, {0xD8, "GetUserBaudrate"}, {0xDA, "GetQualityOfService"},
    {0xF0, "GetScoSettings"}, {0xF2, "GetCodecOutputGainMax"}, {0xF3, "GetCodecOutputGain"},
    {0xF5, "GetCodecInputGainMax"}, {0xF6, "GetCodecInputGain"},
};
const std::vector<std::pair<uint8_t, const char*>> kSets = {
    {0x13, "SetDeviceMode"}, {0x15, "SetSerialSettings"}, {0x17, "SetConnectAddress"},
    {0x19, "SetAcceptedAddress"}, {0x1D, "SetDeviceName"}, {0x1F, "SetServiceName"},
    {0x67, "SetSecurityFlags"}, {0x69, "SetPasskey"}, {0xC1, "SetPerformanceMode"},
    {0xC3, "SetLinkTimeout"}, {0xC5, "SetInquiryScan"}, {0xC7, "SetPageScan"},
    {0xC9, "SetSniffSettings"}, {0xCB, "SetParkSettings"}, {0xCD, "SetClassOfDevice"},
    {0xD3, "SetMaxTxPower"}, {0xD5, "SetDefaultTxPower"}, {0xD7, "SetSerialEmulation"},
    {0xD9, "SetUserBaudrate"}, {0xDB, "SetQualityOfService"}, {0xF1, "SetScoSettings"},
    {0xF4, "SetCodecOutputGain"}, {0xF7, "SetCodecInputGain"},
};
// clang-format on

std::string Words(Dir direction, const Bytes& bytes, int lastSent = -1) {
    return DecodeFrame(direction, bytes.data(), bytes.size(), lastSent).Words();
}

TEST(FrameDecoder, GivesEveryFieldItsMeaning) {
    for (const DecodeCase& c : kFieldCases)
        EXPECT_EQ(Words(c.direction, c.bytes, c.lastSent), c.words)
            << HexBytes(c.bytes.data(), c.bytes.size());
}

TEST(FrameDecoder, NamesEveryGetAndSetInBothDirections) {
    for (const auto& [opcode, name] : kGets) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02X", opcode);
        EXPECT_EQ(Words(S, {opcode, 0x00}), std::string(name) + " (" + hex + ")");
    }
    for (const auto& [opcode, name] : kSets) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02X", opcode);
        EXPECT_EQ(Words(R, {opcode, 0x01, 0xFD}),
                  std::string(name) + " (" + hex + "): status 253 (Command invalid parameter)");
    }
}

TEST(FrameDecoder, KnowsEveryRequestTheCommunicatorSends) {
    for (const CommandCase& c : kAllCommands) {
        const DecodedFrame d = DecodeFrame(S, c.request.data(), c.request.size());
        EXPECT_TRUE(d.known) << c.name;
        EXPECT_EQ(d.opcode, c.request[0]) << c.name;
        EXPECT_EQ(std::string(c.name).rfind(d.operation, 0), 0u) << c.name << " " << d.operation;
        EXPECT_EQ(d.Words().find("missing"), std::string::npos) << d.Words();
        EXPECT_EQ(d.Words().find("extra"), std::string::npos) << d.Words();
    }
}

TEST(FrameDecoder, StatusTextsAreTheCommunicators) {
    for (int status = 0; status < 256; ++status) {
        const DecodedFrame d = DecodeFrame(R, Bytes{0x13, 0x01, uint8_t(status)}.data(), 3);
        const char* text = Communicator::StatusTextOf(status);
        const std::string expected = std::to_string(status) + " (" +
                                     (status == 1 ? "success"
                                      : text      ? text
                                                  : "not known") +
                                     ")";
        EXPECT_EQ(d.status, expected);
    }
    EXPECT_STREQ(Communicator::StatusTextOf(20), "Connection cancelled");
    EXPECT_STREQ(Communicator::StatusTextOf(252), "RF not ready");
    EXPECT_EQ(Communicator::StatusTextOf(1), nullptr);
}

// Any bytes, any length, both directions: words, and nothing read outside the
// frame (the sanitizers watch the heap copies).
TEST(FrameDecoder, TakesAnyBytes) {
    std::mt19937 random(7);
    for (int round = 0; round < 4000; ++round) {
        const size_t size = random() % 300;
        std::vector<uint8_t> bytes(size);
        for (uint8_t& b : bytes)
            b = uint8_t(random());
        if (size > 0 && round % 2 == 0)
            bytes[0] = kFieldCases[random() % kFieldCases.size()].bytes[0];
        const auto* copy = new uint8_t[size > 0 ? size : 1];
        std::copy(bytes.begin(), bytes.end(), const_cast<uint8_t*>(copy));
        const DecodedFrame d =
            DecodeFrame(round % 3 == 0 ? S : R, copy, size, round % 5 == 0 ? 0x50 : -1);
        EXPECT_FALSE(d.Words().empty());
        delete[] copy;
    }
    for (const DecodeCase& c : kFieldCases)
        for (size_t cut = 0; cut < c.bytes.size(); ++cut)
            EXPECT_FALSE(DecodeFrame(c.direction, c.bytes.data(), cut).Words().empty());
}

class TraceObserverTest : public ProtocolTest {
  protected:
    TraceObserverTest() {
        com.observer = [this](const TraceEvent& e) { events.push_back(e); };
    }
    std::vector<TraceEvent> events;
};

TEST_F(TraceObserverTest, SeesTheCommandAndItsAnswer) {
    Reply(0x14, 0x01, {0x0A, 0x00, 0x01, 0x07, 0x02});
    uint8_t settings[5];
    ASSERT_EQ(com.GetSerialSettings(settings), 0);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].direction, Dir::Send);
    EXPECT_EQ(events[0].bytes, (Bytes{0x14, 0x00}));
    EXPECT_EQ(events[1].direction, Dir::Receive);
    EXPECT_EQ(events[1].kind, TraceEvent::Kind::Frame);
    EXPECT_EQ(events[1].bytes, (Bytes{0x14, 0x06, 0x01, 0x0A, 0x00, 0x01, 0x07, 0x02}));
    EXPECT_FALSE(events[1].queued || events[1].fromKept);
    EXPECT_LE(events[0].time, events[1].time);
    // Nothing changed on the wire.
    EXPECT_EQ(Sent(), (Bytes{0x14, 0x00}));
}

TEST_F(TraceObserverTest, MarksQueuedEventsAndKeptBytes) {
    // A pairing event arrives with the cancel's answer and a second event in the same read.
    port.Push({0x65, 0x01, 0xE2, 0x80, 0x01, 0x01, 0x60, 0x00, 0x60});
    EXPECT_EQ(com.CancelInquiry(), 1);
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[1].bytes, (Bytes{0x65, 0x01, 0xE2}));
    EXPECT_TRUE(events[1].queued);
    EXPECT_FALSE(events[1].fromKept);
    EXPECT_EQ(events[2].bytes, (Bytes{0x80, 0x01, 0x01}));
    EXPECT_FALSE(events[2].queued);
    // The queued event was reported as it came: the poll that takes it adds nothing.
    EXPECT_EQ(com.PollPairingStatus(), 4);
    EXPECT_EQ(events.size(), 3u);
    // The end of search comes from the bytes kept after the answer.
    port.Push({0x00});
    com.PollInquiry();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[3].bytes, (Bytes{0x60, 0x00}));
    EXPECT_TRUE(events[3].fromKept);
    EXPECT_FALSE(events[3].queued);
    // The next poll's event began in the kept bytes and ended on the port.
    com.PollInquiry();
    ASSERT_EQ(events.size(), 5u);
    EXPECT_EQ(events[4].bytes, (Bytes{0x60, 0x00}));
    EXPECT_TRUE(events[4].fromKept);
}

TEST_F(TraceObserverTest, ReportsPartialFramesAndDroppedBytes) {
    port.Push({0x14, 0x06, 0x01});
    uint8_t settings[5];
    EXPECT_EQ(com.GetSerialSettings(settings), -1);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1].kind, TraceEvent::Kind::Partial);
    EXPECT_EQ(events[1].bytes, (Bytes{0x14, 0x06, 0x01}));
    EXPECT_EQ(DecodeEvent(events[1]).Words(),
              "GetSerialSettings (0x14) [partial frame]: status 1 (success); rate code missing");

    // After a poll's event: a stale answer and a stray byte, dropped when the next
    // command goes out; an event begun among them would stay.
    events.clear();
    com.StartInquiry(12, kCod, true);
    port.Push({0x60, 0x00, 0x12, 0x01, 0x01, 0x33});
    EXPECT_EQ(com.PollInquiry(), 2);
    uint8_t mode = 0;
    Reply(0x12, 0x01, {0x02});
    EXPECT_EQ(com.GetDeviceMode(mode), 0);
    ASSERT_EQ(events.size(), 6u);
    EXPECT_EQ(events[2].kind, TraceEvent::Kind::Dropped);
    EXPECT_EQ(events[2].bytes, (Bytes{0x12, 0x01, 0x01}));
    EXPECT_EQ(events[3].kind, TraceEvent::Kind::Dropped);
    EXPECT_EQ(events[3].bytes, (Bytes{0x33}));
    EXPECT_EQ(DecodeEvent(events[3]).Words(), "dropped bytes: 1 byte");
    EXPECT_EQ(events[4].bytes, (Bytes{0x12, 0x00}));
    EXPECT_EQ(events[5].bytes, (Bytes{0x12, 0x02, 0x01, 0x02}));
}

TEST(TraceWriterTest, WritesOneFlushedLinePerFrame) {
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    TraceWriter writer(file);
    TraceEvent sent;
    sent.time = std::chrono::steady_clock::now() + std::chrono::microseconds(12345);
    sent.bytes = {0x50, 0x00};
    writer(sent);
    TraceEvent answer = sent;
    answer.direction = Dir::Receive;
    answer.time += std::chrono::milliseconds(2);
    answer.queued = true;
    answer.bytes = {0x42, 0x01, 0x01};
    writer(answer);
    // Written already, without a close.
    std::rewind(file);
    char line[2][200] = {};
    ASSERT_NE(std::fgets(line[0], sizeof line[0], file), nullptr);
    ASSERT_NE(std::fgets(line[1], sizeof line[1], file), nullptr);
    std::fclose(file);
    double ms[2];
    char rest[2][200];
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(std::sscanf(line[i], "%lf %199[^\n]", &ms[i], rest[i]), 2);
    EXPECT_GE(ms[0], 12.3);
    EXPECT_NEAR(ms[1] - ms[0], 2.0, 0.01);
    EXPECT_STREQ(rest[0], "send 50 00 | NotifyClose (0x50)");
    // The answer 0x42 is taken as the close notification's, since 0x50 went before.
    EXPECT_STREQ(rest[1], "recv 42 01 01 | NotifyClose (0x42) [queued event]: status 1 (success)");
}

} // namespace
