// Configuration commands: request bytes, outcomes, argument checks, answers decoded.
#include "ProtocolFixture.h"

#include <tuple>

namespace {

using CommandsTest = ProtocolTest;

TEST_F(CommandsTest, EveryCommandSendsItsFrameAndReportsEachOutcome) {
    for (const CommandCase& c : kAllCommands) {
        const uint8_t op = c.answerOp ? c.answerOp : c.request[0];
        const Bytes data(12, 0x01); // device mode 1 for 0x12; any data for the others
        Reply(op, 1, data);
        EXPECT_EQ(c.call(com), c.ok) << c.name;
        EXPECT_EQ(Sent(), c.request) << c.name;
        EXPECT_EQ(c.call(com), -1) << c.name; // silence
        // Another opcode, for the close notification its own echoed back.
        Reply(op == c.request[0] ? 0x7E : c.request[0], 1, data);
        EXPECT_EQ(c.call(com), -2) << c.name;
        com.lastStatus = 0;
        Reply(op, 253, data);
        EXPECT_EQ(c.call(com), c.ok == 1 ? 1 : -3) << c.name;
        EXPECT_EQ(com.lastStatus, c.ok == 1 ? 0 : 253) << c.name;
        EXPECT_EQ(Sent().size(), 3 * c.request.size()) << c.name;
    }
}

TEST_F(CommandsTest, OutOfRangeArgumentsSendNothing) {
    com.searchState = 3, com.foundCount = 1, com.pairingState = 3;
    // clang-format off
    const CommandCase bad[] = {
        {CALL(SetDeviceMode(0))}, {CALL(SetDeviceMode(3))},
        {CALL(SetSerialSettings(0, 0, 0, 8, 1))}, {CALL(SetSerialSettings(12, 0, 0, 8, 1))},
        {CALL(SetSerialSettings(8, 2, 0, 8, 1))}, {CALL(SetSerialSettings(8, 0, 3, 8, 1))},
        {CALL(SetSerialSettings(8, 0, 0, 4, 1))}, {CALL(SetSerialSettings(8, 0, 0, 9, 1))},
        {CALL(SetSerialSettings(8, 0, 0, 8, 0))}, {CALL(SetSerialSettings(8, 0, 0, 8, 3))},
        {CALL(SetDeviceName(kText33.data(), 0))}, {CALL(SetDeviceName(kText33.data(), 33))},
        {CALL(SetDeviceName(nullptr, 3))}, {CALL(SetServiceName(kText33.data(), 19))},
        {CALL(SetPasskey(kText33.data(), 0))}, {CALL(SetPasskey(kText33.data(), 17))},
        {CALL(SetSecurityFlags(2, 0, 0))}, {CALL(SetSecurityFlags(0, -1, 0))},
        {CALL(SetSecurityFlags(0, 0, 2))}, {CALL(SetPerformanceMode(0))},
        {CALL(SetPerformanceMode(3))}, {CALL(SetInquiryScan(0, 100))},
        {CALL(SetInquiryScan(17, 100))}, {CALL(SetInquiryScan(100, 4097))},
        {CALL(SetPageScan(18, 17))}, {CALL(SetSniffSettings(0, 0, 1, 0))},
        {CALL(SetSniffSettings(10, 0, 1, 0))}, {CALL(SetSniffSettings(10, 5, 0, 0))},
        {CALL(SetSniffSettings(10, 5, 32768, 0))}, {CALL(SetSniffSettings(10, 5, 1, 32768))},
        {CALL(SetSniffSettings(10, 5, 1, -1))}, {CALL(SetSniffSettings(65536, 5, 1, 0))},
        {CALL(SetParkSettings(0, 5))}, {CALL(SetParkSettings(5, 0))},
        {CALL(SetParkSettings(65536, 1))}, {CALL(SetMaxTxPower(out.power = -91))},
        {CALL(SetMaxTxPower(out.power = 21))}, {CALL(SetDefaultTxPower(out.power = -91))},
        {CALL(SetDefaultTxPower(out.power = 21))}, {CALL(SetSerialEmulation(-1))},
        {CALL(SetSerialEmulation(3))}, {CALL(SetUserBaudrate(1, 0))},
        {CALL(SetUserBaudrate(2, 100))}, {CALL(SetUserBaudrate(1, 6145))},
        {CALL(SetScoSettings(1, 96))}, {CALL(SetScoSettings(2, 0))},
        {CALL(StartInquiry(0, kCod, true))}, {CALL(StartInquiry(31, kCod, true))},
        {CALL(StartPairing(1, nullptr, kKey, 0))},
        {CALL(StartPairing(0, kAddress, kText33.data(), 17))},
        {CALL(StartPairing(1, nullptr, nullptr, 4))},
    };
    // clang-format on
    for (const CommandCase& c : bad)
        EXPECT_EQ(c.call(com), -4) << c.name;
    EXPECT_TRUE(port.written.empty());
    EXPECT_EQ(port.reads, 0);
    EXPECT_EQ(out.power, 21) << "a refused power is left as it was";
    EXPECT_EQ(std::tie(com.searchState, com.foundCount, com.pairingState), std::tuple(3, 1, 3));
}

TEST_F(CommandsTest, TextsEndAtTheirTerminatorOrTheReceivedDataAndAreCut) {
    const std::string forty = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";
    const Bytes fortyBytes(forty.begin(), forty.end());
    // opcode, data, text, full length (-1: the command gives none)
    const std::tuple<uint8_t, Bytes, std::string, int32_t> cases[] = {
        {0x1C, {'M', 'o', 'd', 0, 'x', 'y'}, "Mod", 3},
        {0x1C, Cat(fortyBytes, {0}), forty.substr(0, 32), 40},
        {0x1C, Bytes(254, 'q'), std::string(32, 'q'), 254},
        {0x1E, fortyBytes, forty.substr(0, 18), 40},
        {0x41, fortyBytes, forty.substr(0, 20), -1},
        {0x68, {'4', '2', 0, '9'}, "42", -1},
        {0x68, fortyBytes, forty.substr(0, 16), -1},
        {0x68, {'0', '0', '0', '0'}, "0000", -1}};
    for (const auto& [op, data, expected, expectedFull] : cases) {
        std::string text = "old";
        int32_t full = -1;
        Reply(op, 1, data);
        const int32_t result = op == 0x1C   ? com.GetDeviceName(text, full)
                               : op == 0x1E ? com.GetServiceName(text, full)
                               : op == 0x41 ? com.GetArticleNumber(text)
                                            : com.GetPasskey(text);
        EXPECT_EQ(result, 0) << expected;
        EXPECT_EQ(text, expected);
        EXPECT_EQ(full, expectedFull) << expected;
    }
}

TEST_F(CommandsTest, PowerWriteBackNotPairedBadModeAndShortAnswers) {
    // The transmit power the module took comes back, as a signed number; a refusal
    // or an answer without the value leaves the caller's value.
    int32_t value = 10;
    Reply(0xD3, 1, {0xFF, 0xF6});
    EXPECT_EQ(com.SetMaxTxPower(value), 0);
    EXPECT_EQ(value, -10);
    Reply(0xD5, 253, {0x00, 0x01});
    EXPECT_EQ(com.SetDefaultTxPower(value), -3);
    Reply(0xD5, 1);
    EXPECT_EQ(com.SetDefaultTxPower(value), 0);
    EXPECT_EQ(value, -10);
    Reply(0xD2, 1, {0xFF, 0xA6});
    EXPECT_EQ(com.GetMaxTxPower(out.s1), 0);
    EXPECT_EQ(out.s1, -90);

    // Not paired: status 254 is success with an all-zero address.
    com.lastStatus = 0;
    std::vector<uint8_t> address(6, 0xEE);
    Reply(0x62, 254);
    EXPECT_EQ(com.GetPairedDevice(address.data()), 0);
    EXPECT_EQ(address, Bytes(6, 0));
    EXPECT_EQ(com.lastStatus, 0);

    // A device mode other than 1 or 2 is an invalid response and is not taken.
    uint8_t mode = 2;
    for (uint8_t bad : {0, 3, 255}) {
        Reply(0x12, 1, {bad});
        EXPECT_EQ(com.GetDeviceMode(mode), -2) << int(bad);
    }
    EXPECT_EQ(mode, 2);

    // Data missing from a short answer read as zero, never as stale bytes.
    Reply(0x16, 1, {0xAA});
    EXPECT_EQ(com.GetConnectAddress(address.data()), 0);
    EXPECT_EQ(address, Bytes({0xAA, 0, 0, 0, 0, 0}));
}

} // namespace
