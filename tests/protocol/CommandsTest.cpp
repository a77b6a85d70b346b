// Configuration commands: request bytes, argument checks, answers decoded.
#include "ProtocolFixture.h"

#include <functional>
#include <string>

namespace {

using Call = std::function<int32_t(Communicator&)>;

struct CommandCase {
    Bytes request; // what must go out on the wire
    Call call;
    // The module acknowledges the close notification with 0x42.
    uint8_t AnswerOp() const { return request[0] == 0x50 ? 0x42 : request[0]; }
};

const uint8_t kAddress[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
const uint8_t kCod[4] = {0x00, 0x5A, 0x02, 0x0C};
const uint8_t kLatency[4] = {0x00, 0x00, 0x27, 0x10};
const uint8_t kPortA[] = {'P', 'o', 'r', 't', ' ', 'A'};
const uint8_t kCom[] = {'C', 'O', 'M'};
const uint8_t kKey[] = {'1', '2', '3', '4'};

// Scratch outputs of the get commands in the table.
struct Scratch {
    uint8_t b1 = 0, b3[3] = {}, b4[4] = {}, b5[5] = {}, b6[6] = {}, b12[12] = {};
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t s1 = 0;
    int32_t power = 0, length = 0;
    std::string text;
} s;

using C = Communicator;

// Every configuration command with valid arguments and the frame it must send.
// clang-format off
const std::vector<CommandCase> kAllCommands = {
    {{0x12, 0x00}, [](C& c) { return c.GetDeviceMode(s.b1); }},
    {{0x13, 0x01, 0x02}, [](C& c) { return c.SetDeviceMode(2); }},
    {{0x14, 0x00}, [](C& c) { return c.GetSerialSettings(s.b5); }},
    {{0x15, 0x05, 0x09, 0x01, 0x02, 0x08, 0x01},
     [](C& c) { return c.SetSerialSettings(9, 1, 2, 8, 1); }},
    {{0x16, 0x00}, [](C& c) { return c.GetConnectAddress(s.b6); }},
    {{0x17, 0x06, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55},
     [](C& c) { return c.SetConnectAddress(kAddress); }},
    {{0x18, 0x00}, [](C& c) { return c.GetAcceptedAddress(s.b6); }},
    {{0x19, 0x06, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55},
     [](C& c) { return c.SetAcceptedAddress(kAddress); }},
    {{0x1C, 0x00}, [](C& c) { return c.GetDeviceName(s.text, s.length); }},
    {{0x1D, 0x06, 'P', 'o', 'r', 't', ' ', 'A'}, [](C& c) { return c.SetDeviceName(kPortA, 6); }},
    {{0x1E, 0x00}, [](C& c) { return c.GetServiceName(s.text, s.length); }},
    {{0x1F, 0x03, 'C', 'O', 'M'}, [](C& c) { return c.SetServiceName(kCom, 3); }},
    {{0x40, 0x00}, [](C& c) { return c.GetModuleInfo(s.b12); }},
    {{0x41, 0x00}, [](C& c) { return c.GetArticleNumber(s.text); }},
    {{0x42, 0x00}, [](C& c) { return c.GetLocalAddress(s.b6); }},
    {{0x50, 0x00}, [](C& c) { return c.NotifyClose(); }},
    {{0x62, 0x00}, [](C& c) { return c.GetPairedDevice(s.b6); }},
    {{0x66, 0x00}, [](C& c) { return c.GetSecurityFlags(s.b3); }},
    {{0x67, 0x03, 0x01, 0x00, 0x01}, [](C& c) { return c.SetSecurityFlags(1, 0, 1); }},
    {{0x68, 0x00}, [](C& c) { return c.GetPasskey(s.text); }},
    {{0x69, 0x04, '1', '2', '3', '4'}, [](C& c) { return c.SetPasskey(kKey, 4); }},
    {{0xC0, 0x00}, [](C& c) { return c.GetPerformanceMode(s.b1); }},
    {{0xC1, 0x01, 0x01}, [](C& c) { return c.SetPerformanceMode(1); }},
    {{0xC2, 0x00}, [](C& c) { return c.GetLinkTimeout(s.w1); }},
    {{0xC3, 0x02, 0x23, 0x45}, [](C& c) { return c.SetLinkTimeout(0x12345); }},
    {{0xC4, 0x00}, [](C& c) { return c.GetInquiryScan(s.w1, s.w2); }},
    {{0xC5, 0x04, 0x08, 0x00, 0x00, 0x12}, [](C& c) { return c.SetInquiryScan(2048, 18); }},
    {{0xC6, 0x00}, [](C& c) { return c.GetPageScan(s.w1, s.w2); }},
    {{0xC7, 0x04, 0x10, 0x00, 0x10, 0x00}, [](C& c) { return c.SetPageScan(4096, 4096); }},
    {{0xC8, 0x00}, [](C& c) { return c.GetSniffSettings(s.w1, s.w2, s.w3, s.w4); }},
    {{0xC9, 0x08, 0xFF, 0xFF, 0x00, 0x01, 0x7F, 0xFF, 0x00, 0x00},
     [](C& c) { return c.SetSniffSettings(65535, 1, 32767, 0); }},
    {{0xCA, 0x00}, [](C& c) { return c.GetParkSettings(s.w1, s.w2); }},
    {{0xCB, 0x04, 0x00, 0x01, 0xFF, 0xFF}, [](C& c) { return c.SetParkSettings(1, 65535); }},
    {{0xCC, 0x00}, [](C& c) { return c.GetClassOfDevice(s.b4); }},
    {{0xCD, 0x04, 0x00, 0x5A, 0x02, 0x0C}, [](C& c) { return c.SetClassOfDevice(kCod); }},
    {{0xD2, 0x00}, [](C& c) { return c.GetMaxTxPower(s.s1); }},
    {{0xD3, 0x02, 0xFF, 0xA6}, [](C& c) { return c.SetMaxTxPower(s.power = -90); }},
    {{0xD4, 0x00}, [](C& c) { return c.GetDefaultTxPower(s.s1); }},
    {{0xD5, 0x02, 0x00, 0x14}, [](C& c) { return c.SetDefaultTxPower(s.power = 20); }},
    {{0xD6, 0x00}, [](C& c) { return c.GetSerialEmulation(s.b1); }},
    {{0xD7, 0x01, 0x02}, [](C& c) { return c.SetSerialEmulation(2); }},
    {{0xD8, 0x00}, [](C& c) { return c.GetUserBaudrate(s.b1, s.w1); }},
    {{0xD9, 0x03, 0x01, 0x18, 0x00}, [](C& c) { return c.SetUserBaudrate(1, 6144); }},
    {{0xDA, 0x00}, [](C& c) { return c.GetQualityOfService(s.b1, s.b4); }},
    {{0xDB, 0x05, 0x02, 0x00, 0x00, 0x27, 0x10},
     [](C& c) { return c.SetQualityOfService(2, kLatency); }},
    {{0xF0, 0x00}, [](C& c) { return c.GetScoSettings(s.b1, s.w1); }},
    {{0xF1, 0x03, 0x01, 0x01, 0x00}, [](C& c) { return c.SetScoSettings(1, 256); }},
    {{0xF2, 0x00}, [](C& c) { return c.GetCodecOutputGainMax(s.w1); }},
    {{0xF3, 0x00}, [](C& c) { return c.GetCodecOutputGain(s.w1); }},
    {{0xF4, 0x02, 0x00, 0x07}, [](C& c) { return c.SetCodecOutputGain(7); }},
    {{0xF5, 0x00}, [](C& c) { return c.GetCodecInputGainMax(s.w1); }},
    {{0xF6, 0x00}, [](C& c) { return c.GetCodecInputGain(s.w1); }},
    {{0xF7, 0x02, 0xFF, 0xFF}, [](C& c) { return c.SetCodecInputGain(0x1FFFF); }},
};
// clang-format on

using CommandsTest = ProtocolTest;

TEST_F(CommandsTest, EveryCommandSendsItsFrameAndSucceedsOnStatusOne) {
    const Bytes data(12, 0x01); // mode 1 for 0x12; any data for the others
    for (const CommandCase& c : kAllCommands) {
        const int op = c.request[0];
        port.AnswerOnce(c.request[0], ScriptedPort::Frame(c.AnswerOp(), 1, data));
        EXPECT_EQ(c.call(com), 0) << op;
        EXPECT_EQ(Sent(), c.request) << op;
        EXPECT_FALSE(port.HasPending()) << op;
    }
}

TEST_F(CommandsTest, EveryCommandReportsSilenceWrongOpcodeAndBadStatus) {
    for (const CommandCase& c : kAllCommands) {
        const int op = c.request[0];
        EXPECT_EQ(c.call(com), -1) << op;
        EXPECT_EQ(Sent(), c.request) << op;

        port.AnswerOnce(c.request[0], ScriptedPort::Frame(0x7E, 1, Bytes(12, 1)));
        EXPECT_EQ(c.call(com), -2) << op;

        com.statusText.clear();
        port.AnswerOnce(c.request[0], ScriptedPort::Frame(c.AnswerOp(), 253, Bytes(12, 1)));
        EXPECT_EQ(c.call(com), -3) << op;
        EXPECT_EQ(com.lastStatus, 253) << op;
        EXPECT_EQ(com.GetErrorText(-3), "Status error - Command invalid parameter") << op;
        com.lastStatus = 0;
        port.ClearWritten();
    }
}

TEST_F(CommandsTest, OutOfRangeArgumentsSendNothing) {
    uint8_t name33[33];
    std::fill(std::begin(name33), std::end(name33), 'n');
    int32_t power = 0;
    const std::pair<const char*, Call> bad[] = {
        {"mode 0", [](Communicator& c) { return c.SetDeviceMode(0); }},
        {"mode 3", [](Communicator& c) { return c.SetDeviceMode(3); }},
        {"rate 0", [](Communicator& c) { return c.SetSerialSettings(0, 0, 0, 8, 1); }},
        {"rate 12", [](Communicator& c) { return c.SetSerialSettings(12, 0, 0, 8, 1); }},
        {"flow 2", [](Communicator& c) { return c.SetSerialSettings(8, 2, 0, 8, 1); }},
        {"parity 3", [](Communicator& c) { return c.SetSerialSettings(8, 0, 3, 8, 1); }},
        {"data bits 4", [](Communicator& c) { return c.SetSerialSettings(8, 0, 0, 4, 1); }},
        {"data bits 9", [](Communicator& c) { return c.SetSerialSettings(8, 0, 0, 9, 1); }},
        {"stop bits 0", [](Communicator& c) { return c.SetSerialSettings(8, 0, 0, 8, 0); }},
        {"stop bits 3", [](Communicator& c) { return c.SetSerialSettings(8, 0, 0, 8, 3); }},
        {"empty name", [&](Communicator& c) { return c.SetDeviceName(name33, 0); }},
        {"33-byte name", [&](Communicator& c) { return c.SetDeviceName(name33, 33); }},
        {"no name", [](Communicator& c) { return c.SetDeviceName(nullptr, 3); }},
        {"empty service name", [&](Communicator& c) { return c.SetServiceName(name33, 0); }},
        {"19-byte service name", [&](Communicator& c) { return c.SetServiceName(name33, 19); }},
        {"empty passkey", [&](Communicator& c) { return c.SetPasskey(name33, 0); }},
        {"17-byte passkey", [&](Communicator& c) { return c.SetPasskey(name33, 17); }},
        {"security 2", [](Communicator& c) { return c.SetSecurityFlags(2, 0, 0); }},
        {"security -1", [](Communicator& c) { return c.SetSecurityFlags(0, -1, 0); }},
        {"security last 2", [](Communicator& c) { return c.SetSecurityFlags(0, 0, 2); }},
        {"performance 0", [](Communicator& c) { return c.SetPerformanceMode(0); }},
        {"performance 3", [](Communicator& c) { return c.SetPerformanceMode(3); }},
        {"inquiry scan (0,100)", [](Communicator& c) { return c.SetInquiryScan(0, 100); }},
        {"inquiry scan (100,0)", [](Communicator& c) { return c.SetInquiryScan(100, 0); }},
        {"inquiry scan (17,100)", [](Communicator& c) { return c.SetInquiryScan(17, 100); }},
        {"inquiry scan (100,4097)", [](Communicator& c) { return c.SetInquiryScan(100, 4097); }},
        {"page scan (0,18)", [](Communicator& c) { return c.SetPageScan(0, 18); }},
        {"page scan (18,17)", [](Communicator& c) { return c.SetPageScan(18, 17); }},
        {"sniff max 0 attempt 1", [](Communicator& c) { return c.SetSniffSettings(0, 0, 1, 0); }},
        {"sniff min 0", [](Communicator& c) { return c.SetSniffSettings(10, 0, 1, 0); }},
        {"sniff attempt 0", [](Communicator& c) { return c.SetSniffSettings(10, 5, 0, 0); }},
        {"sniff attempt 32768",
         [](Communicator& c) { return c.SetSniffSettings(10, 5, 32768, 0); }},
        {"sniff time-out 32768",
         [](Communicator& c) { return c.SetSniffSettings(10, 5, 1, 32768); }},
        {"sniff time-out -1", [](Communicator& c) { return c.SetSniffSettings(10, 5, 1, -1); }},
        {"sniff max 65536", [](Communicator& c) { return c.SetSniffSettings(65536, 5, 1, 0); }},
        {"park (0,5)", [](Communicator& c) { return c.SetParkSettings(0, 5); }},
        {"park (5,0)", [](Communicator& c) { return c.SetParkSettings(5, 0); }},
        {"park (65536,1)", [](Communicator& c) { return c.SetParkSettings(65536, 1); }},
        {"max power -91", [&](Communicator& c) { return c.SetMaxTxPower(power = -91); }},
        {"max power 21", [&](Communicator& c) { return c.SetMaxTxPower(power = 21); }},
        {"default power -91", [&](Communicator& c) { return c.SetDefaultTxPower(power = -91); }},
        {"default power 21", [&](Communicator& c) { return c.SetDefaultTxPower(power = 21); }},
        {"emulation -1", [](Communicator& c) { return c.SetSerialEmulation(-1); }},
        {"emulation 3", [](Communicator& c) { return c.SetSerialEmulation(3); }},
        {"user rate (1,0)", [](Communicator& c) { return c.SetUserBaudrate(1, 0); }},
        {"user rate (2,100)", [](Communicator& c) { return c.SetUserBaudrate(2, 100); }},
        {"user rate (1,6145)", [](Communicator& c) { return c.SetUserBaudrate(1, 6145); }},
        {"sco packet 96", [](Communicator& c) { return c.SetScoSettings(1, 96); }},
        {"sco enabled 2", [](Communicator& c) { return c.SetScoSettings(2, 0); }},
        {"sco enabled -1", [](Communicator& c) { return c.SetScoSettings(-1, 32); }},
    };
    for (const auto& [name, call] : bad) {
        EXPECT_EQ(call(com), -4) << name;
        EXPECT_TRUE(port.written.empty()) << name;
        EXPECT_EQ(port.reads, 0) << name;
    }
}

TEST_F(CommandsTest, BoundaryAndSwitchedOffValuesAreSentAsTheyStand) {
    port.Answer(0xC5, ScriptedPort::Frame(0xC5, 1));
    port.Answer(0xC7, ScriptedPort::Frame(0xC7, 1));
    port.Answer(0xC9, ScriptedPort::Frame(0xC9, 1));
    port.Answer(0xCB, ScriptedPort::Frame(0xCB, 1));
    port.Answer(0xD9, ScriptedPort::Frame(0xD9, 1));
    port.Answer(0xF1, ScriptedPort::Frame(0xF1, 1));
    port.Answer(0x1D, ScriptedPort::Frame(0x1D, 1));

    EXPECT_EQ(com.SetInquiryScan(0, 0), 0);
    EXPECT_EQ(Sent(), Bytes({0xC5, 0x04, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(com.SetPageScan(18, 4096), 0);
    EXPECT_EQ(Sent(), Bytes({0xC7, 0x04, 0x00, 0x12, 0x10, 0x00}));

    // Sniff off looks at max interval, attempt and time-out only.
    EXPECT_EQ(com.SetSniffSettings(0, 5, 0, 0), 0);
    EXPECT_EQ(Sent(), Bytes({0xC9, 0x08, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(com.SetSniffSettings(0, 70000, 0, 0), 0);
    EXPECT_EQ(Sent(), Bytes({0xC9, 0x08, 0x00, 0x00, 0x11, 0x70, 0x00, 0x00, 0x00, 0x00}));

    EXPECT_EQ(com.SetParkSettings(0, 0), 0);
    EXPECT_EQ(Sent(), Bytes({0xCB, 0x04, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(com.SetUserBaudrate(0, 0), 0);
    EXPECT_EQ(Sent(), Bytes({0xD9, 0x03, 0x00, 0x00, 0x00}));
    EXPECT_EQ(com.SetUserBaudrate(0, 1), 0);
    EXPECT_EQ(Sent(), Bytes({0xD9, 0x03, 0x00, 0x00, 0x01}));

    for (int type : {0, 32, 64, 128}) {
        EXPECT_EQ(com.SetScoSettings(0, type), 0) << type;
        EXPECT_EQ(Sent(), Bytes({0xF1, 0x03, 0x00, 0x00, static_cast<uint8_t>(type)}));
    }

    // A 32-byte name makes a 34-byte frame.
    Bytes name(32, 'z');
    name[0] = 'A';
    EXPECT_EQ(com.SetDeviceName(name.data(), 32), 0);
    Bytes frame = Sent();
    ASSERT_EQ(frame.size(), 34u);
    EXPECT_EQ(frame[0], 0x1D);
    EXPECT_EQ(frame[1], 32);
    EXPECT_EQ(Bytes(frame.begin() + 2, frame.end()), name);
}

TEST_F(CommandsTest, TransmitPowerIsCheckedAsSigned16BitAndTheModulesValueComesBack) {
    int32_t value = -91;
    EXPECT_EQ(com.SetMaxTxPower(value), -4);
    EXPECT_EQ(value, -91);
    value = 21;
    EXPECT_EQ(com.SetDefaultTxPower(value), -4);
    EXPECT_EQ(value, 21);
    EXPECT_TRUE(port.written.empty());

    value = 10;
    port.AnswerOnce(0xD3, ScriptedPort::Frame(0xD3, 1, {0x00, 0x08}));
    EXPECT_EQ(com.SetMaxTxPower(value), 0);
    EXPECT_EQ(Sent(), Bytes({0xD3, 0x02, 0x00, 0x0A}));
    EXPECT_EQ(value, 8);

    value = -5;
    port.AnswerOnce(0xD5, ScriptedPort::Frame(0xD5, 1, {0xFF, 0xF6}));
    EXPECT_EQ(com.SetDefaultTxPower(value), 0);
    EXPECT_EQ(Sent(), Bytes({0xD5, 0x02, 0xFF, 0xFB}));
    EXPECT_EQ(value, -10);

    // 65446 is -90 as a 16-bit number.
    value = 65446;
    port.AnswerOnce(0xD3, ScriptedPort::Frame(0xD3, 1, {0xFF, 0xA6}));
    EXPECT_EQ(com.SetMaxTxPower(value), 0);
    EXPECT_EQ(Sent(), Bytes({0xD3, 0x02, 0xFF, 0xA6}));
    EXPECT_EQ(value, -90);

    // A refusal, or an answer without the value, leaves the caller's value.
    value = 4;
    port.AnswerOnce(0xD3, ScriptedPort::Frame(0xD3, 253, {0x00, 0x01}));
    EXPECT_EQ(com.SetMaxTxPower(value), -3);
    EXPECT_EQ(value, 4);
    port.AnswerOnce(0xD3, ScriptedPort::Frame(0xD3, 1));
    EXPECT_EQ(com.SetMaxTxPower(value), 0);
    EXPECT_EQ(value, 4);

    int16_t power = 0;
    port.AnswerOnce(0xD2, ScriptedPort::Frame(0xD2, 1, {0xFF, 0xA6}));
    EXPECT_EQ(com.GetMaxTxPower(power), 0);
    EXPECT_EQ(power, -90);
    port.AnswerOnce(0xD4, ScriptedPort::Frame(0xD4, 1, {0x00, 0x14}));
    EXPECT_EQ(com.GetDefaultTxPower(power), 0);
    EXPECT_EQ(power, 20);
}

TEST_F(CommandsTest, DeviceModeOtherThanOneOrTwoIsAnInvalidResponse) {
    uint8_t mode = 0;
    port.AnswerOnce(0x12, ScriptedPort::Frame(0x12, 1, {2}));
    EXPECT_EQ(com.GetDeviceMode(mode), 0);
    EXPECT_EQ(mode, 2);
    for (uint8_t bad : {0, 3, 255}) {
        port.AnswerOnce(0x12, ScriptedPort::Frame(0x12, 1, {bad}));
        EXPECT_EQ(com.GetDeviceMode(mode), -2) << int(bad);
        EXPECT_EQ(com.GetErrorText(-2), "Got invalid response");
    }
    EXPECT_EQ(mode, 2);
}

TEST_F(CommandsTest, NamesAreCutButTheirFullLengthIsGivenBack) {
    std::string name = "old";
    int32_t full = -1;

    port.AnswerOnce(0x1C, ScriptedPort::Frame(0x1C, 1, {'M', 'o', 'd', 0, 'x', 'y'}));
    EXPECT_EQ(com.GetDeviceName(name, full), 0);
    EXPECT_EQ(name, "Mod");
    EXPECT_EQ(full, 3);

    const std::string forty = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";
    Bytes data(forty.begin(), forty.end());
    data.push_back(0);
    port.AnswerOnce(0x1C, ScriptedPort::Frame(0x1C, 1, data));
    EXPECT_EQ(com.GetDeviceName(name, full), 0);
    EXPECT_EQ(name, forty.substr(0, 32));
    EXPECT_EQ(full, 40);

    // Without a terminator the text ends with the received data, even at 254 bytes.
    port.AnswerOnce(0x1C, ScriptedPort::Frame(0x1C, 1, Bytes(254, 'q')));
    EXPECT_EQ(com.GetDeviceName(name, full), 0);
    EXPECT_EQ(name, std::string(32, 'q'));
    EXPECT_EQ(full, 254);

    port.AnswerOnce(0x1C, ScriptedPort::Frame(0x1C, 1));
    EXPECT_EQ(com.GetDeviceName(name, full), 0);
    EXPECT_EQ(name, "");
    EXPECT_EQ(full, 0);

    port.AnswerOnce(0x1E, ScriptedPort::Frame(0x1E, 1, Bytes(forty.begin(), forty.end())));
    EXPECT_EQ(com.GetServiceName(name, full), 0);
    EXPECT_EQ(name, forty.substr(0, 18));
    EXPECT_EQ(full, 40);

    port.AnswerOnce(0x41, ScriptedPort::Frame(0x41, 1, Bytes(forty.begin(), forty.end())));
    EXPECT_EQ(com.GetArticleNumber(name), 0);
    EXPECT_EQ(name, forty.substr(0, 20));
    port.AnswerOnce(0x41, ScriptedPort::Frame(0x41, 1, {'W', '1', 0}));
    EXPECT_EQ(com.GetArticleNumber(name), 0);
    EXPECT_EQ(name, "W1");
}

TEST_F(CommandsTest, PasskeyEndsWhereTheReceivedDataEnd) {
    std::string key;
    port.AnswerOnce(0x68, ScriptedPort::Frame(0x68, 1, {'0', '0', '0', '0'}));
    EXPECT_EQ(com.GetPasskey(key), 0);
    EXPECT_EQ(key, "0000");

    const std::string twenty = "12345678901234567890";
    port.AnswerOnce(0x68, ScriptedPort::Frame(0x68, 1, Bytes(twenty.begin(), twenty.end())));
    EXPECT_EQ(com.GetPasskey(key), 0);
    EXPECT_EQ(key, twenty.substr(0, 16));

    port.AnswerOnce(0x68, ScriptedPort::Frame(0x68, 1, {'4', '2', 0, '9'}));
    EXPECT_EQ(com.GetPasskey(key), 0);
    EXPECT_EQ(key, "42");

    port.AnswerOnce(0x68, ScriptedPort::Frame(0x68, 1));
    EXPECT_EQ(com.GetPasskey(key), 0);
    EXPECT_EQ(key, "");
}

TEST_F(CommandsTest, ByteFieldsAreCopiedInOrder) {
    uint8_t serial[5] = {};
    port.AnswerOnce(0x14, ScriptedPort::Frame(0x14, 1, {8, 1, 2, 8, 1}));
    EXPECT_EQ(com.GetSerialSettings(serial), 0);
    EXPECT_EQ(Bytes(serial, serial + 5), Bytes({8, 1, 2, 8, 1}));

    const Bytes address{0x00, 0x80, 0x37, 0x1A, 0x2B, 0x3C};
    uint8_t out[6] = {};
    for (uint8_t op : {0x16, 0x18, 0x42}) {
        std::fill(std::begin(out), std::end(out), 0xEE);
        port.AnswerOnce(op, ScriptedPort::Frame(op, 1, address));
        const int32_t result = op == 0x16   ? com.GetConnectAddress(out)
                               : op == 0x18 ? com.GetAcceptedAddress(out)
                                            : com.GetLocalAddress(out);
        EXPECT_EQ(result, 0) << int(op);
        EXPECT_EQ(Bytes(out, out + 6), address) << int(op);
    }

    const Bytes identity{0x05, 0x01, 0x00, 0x03, 0x02, 0x00, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16};
    uint8_t info[12] = {};
    port.AnswerOnce(0x40, ScriptedPort::Frame(0x40, 1, identity));
    EXPECT_EQ(com.GetModuleInfo(info), 0);
    EXPECT_EQ(Bytes(info, info + 12), identity);

    uint8_t flags[3] = {};
    port.AnswerOnce(0x66, ScriptedPort::Frame(0x66, 1, {1, 0, 1}));
    EXPECT_EQ(com.GetSecurityFlags(flags), 0);
    EXPECT_EQ(Bytes(flags, flags + 3), Bytes({1, 0, 1}));

    uint8_t cod[4] = {};
    port.AnswerOnce(0xCC, ScriptedPort::Frame(0xCC, 1, {0x00, 0x5A, 0x02, 0x0C}));
    EXPECT_EQ(com.GetClassOfDevice(cod), 0);
    EXPECT_EQ(Bytes(cod, cod + 4), Bytes({0x00, 0x5A, 0x02, 0x0C}));

    uint8_t mode = 0, latency[4] = {};
    port.AnswerOnce(0xDA, ScriptedPort::Frame(0xDA, 1, {2, 0x00, 0x01, 0x86, 0xA0}));
    EXPECT_EQ(com.GetQualityOfService(mode, latency), 0);
    EXPECT_EQ(mode, 2);
    EXPECT_EQ(Bytes(latency, latency + 4), Bytes({0x00, 0x01, 0x86, 0xA0}));

    uint8_t single = 0;
    port.AnswerOnce(0xC0, ScriptedPort::Frame(0xC0, 1, {2}));
    EXPECT_EQ(com.GetPerformanceMode(single), 0);
    EXPECT_EQ(single, 2);
    port.AnswerOnce(0xD6, ScriptedPort::Frame(0xD6, 1, {1}));
    EXPECT_EQ(com.GetSerialEmulation(single), 0);
    EXPECT_EQ(single, 1);
}

TEST_F(CommandsTest, SixteenBitFieldsAreBigEndian) {
    uint16_t a = 0, b = 0, c = 0, d = 0;
    port.AnswerOnce(0xC2, ScriptedPort::Frame(0xC2, 1, {0x7D, 0x00}));
    EXPECT_EQ(com.GetLinkTimeout(a), 0);
    EXPECT_EQ(a, 32000);

    port.AnswerOnce(0xC4, ScriptedPort::Frame(0xC4, 1, {0x08, 0x00, 0x00, 0x12}));
    EXPECT_EQ(com.GetInquiryScan(a, b), 0);
    EXPECT_EQ(a, 2048);
    EXPECT_EQ(b, 18);

    port.AnswerOnce(0xC6, ScriptedPort::Frame(0xC6, 1, {0x10, 0x00, 0x00, 0x24}));
    EXPECT_EQ(com.GetPageScan(a, b), 0);
    EXPECT_EQ(a, 4096);
    EXPECT_EQ(b, 36);

    port.AnswerOnce(0xC8,
                    ScriptedPort::Frame(0xC8, 1, {0xFF, 0xFF, 0x00, 0x01, 0x7F, 0xFF, 0x01, 0x02}));
    EXPECT_EQ(com.GetSniffSettings(a, b, c, d), 0);
    EXPECT_EQ(a, 65535);
    EXPECT_EQ(b, 1);
    EXPECT_EQ(c, 32767);
    EXPECT_EQ(d, 258);

    port.AnswerOnce(0xCA, ScriptedPort::Frame(0xCA, 1, {0x00, 0x50, 0x00, 0x28}));
    EXPECT_EQ(com.GetParkSettings(a, b), 0);
    EXPECT_EQ(a, 80);
    EXPECT_EQ(b, 40);

    uint8_t flag = 0;
    port.AnswerOnce(0xD8, ScriptedPort::Frame(0xD8, 1, {1, 0x18, 0x00}));
    EXPECT_EQ(com.GetUserBaudrate(flag, a), 0);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(a, 6144);

    port.AnswerOnce(0xF0, ScriptedPort::Frame(0xF0, 1, {1, 0x00, 0x80}));
    EXPECT_EQ(com.GetScoSettings(flag, a), 0);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(a, 128);

    const std::pair<uint8_t, std::function<int32_t(uint16_t&)>> gains[] = {
        {0xF2, [&](uint16_t& v) { return com.GetCodecOutputGainMax(v); }},
        {0xF3, [&](uint16_t& v) { return com.GetCodecOutputGain(v); }},
        {0xF5, [&](uint16_t& v) { return com.GetCodecInputGainMax(v); }},
        {0xF6, [&](uint16_t& v) { return com.GetCodecInputGain(v); }},
    };
    for (const auto& [op, get] : gains) {
        port.AnswerOnce(op, ScriptedPort::Frame(op, 1, {0x01, op}));
        EXPECT_EQ(get(a), 0) << int(op);
        EXPECT_EQ(a, 0x100 + op) << int(op);
    }
}

TEST_F(CommandsTest, ShortAnswersReadZeroNotStaleBytes) {
    // A get whose answer lacks the data: the missing bytes read as zero.
    uint16_t a = 9, b = 9;
    port.AnswerOnce(0xC4, ScriptedPort::Frame(0xC4, 1, {0x01}));
    EXPECT_EQ(com.GetInquiryScan(a, b), 0);
    EXPECT_EQ(a, 0x0100);
    EXPECT_EQ(b, 0);

    uint8_t address[6] = {1, 2, 3, 4, 5, 6};
    port.AnswerOnce(0x16, ScriptedPort::Frame(0x16, 1, {0xAA}));
    EXPECT_EQ(com.GetConnectAddress(address), 0);
    EXPECT_EQ(Bytes(address, address + 6), Bytes({0xAA, 0, 0, 0, 0, 0}));
}

TEST_F(CommandsTest, PairedDeviceStatus254MeansNotPaired) {
    uint8_t address[6];
    std::fill(std::begin(address), std::end(address), 0xEE);
    port.AnswerOnce(0x62, ScriptedPort::Frame(0x62, 254));
    EXPECT_EQ(com.GetPairedDevice(address), 0);
    EXPECT_EQ(Bytes(address, address + 6), Bytes(6, 0));
    EXPECT_EQ(com.lastStatus, 0);
    EXPECT_EQ(com.statusText, "");

    port.AnswerOnce(0x62, ScriptedPort::Frame(0x62, 1, {0x00, 0x80, 0x37, 1, 2, 3}));
    EXPECT_EQ(com.GetPairedDevice(address), 0);
    EXPECT_EQ(Bytes(address, address + 6), Bytes({0x00, 0x80, 0x37, 1, 2, 3}));

    port.AnswerOnce(0x62, ScriptedPort::Frame(0x62, 255));
    EXPECT_EQ(com.GetPairedDevice(address), -3);
    EXPECT_EQ(com.GetErrorText(-3), "Status error - Command error");
}

TEST_F(CommandsTest, CloseNotificationIsAcknowledgedWithOpcode42) {
    port.AnswerOnce(0x50, ScriptedPort::Frame(0x42, 1));
    EXPECT_EQ(com.NotifyClose(), 0);
    EXPECT_EQ(Sent(), Bytes({0x50, 0x00}));
    port.AnswerOnce(0x50, ScriptedPort::Frame(0x50, 1));
    EXPECT_EQ(com.NotifyClose(), -2);
    EXPECT_EQ(com.NotifyClose(), -1);
}

} // namespace
