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

// What a get command gave out: its result, then each field as a number.
using Fields = std::vector<long>;
template <size_t N> Fields Numbers(int32_t result, const std::vector<uint8_t>& bytes) {
    Fields fields{result};
    fields.insert(fields.end(), bytes.begin(), bytes.begin() + N);
    return fields;
}
#define BYTES(call, n) [](Communicator& c) { return Numbers<n>(c.call(out.b##n.data()), out.b##n); }

TEST_F(CommandsTest, EveryFieldOfEveryAnswerIsDecodedFromItsOwnBytes) {
    // Each field carries bytes of its own, so a swapped field, a wrong byte order
    // or a field read one byte off gives other numbers; a byte of its own
    // follows the fields, so a field read late shows too.
    struct Case {
        uint8_t op;
        Bytes data;
        std::function<Fields(Communicator&)> call;
        Fields expected;
    };
    uint8_t b = 0;
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t s = 0;
    // clang-format off
    const Case cases[] = {
        {0x12, {0x02, 0xEE}, [&](Communicator& c) { return Fields{c.GetDeviceMode(b), b}; }, {0, 2}},
        {0x14, {0x0B, 0x01, 0x02, 0x07, 0x03, 0xEE}, BYTES(GetSerialSettings, 5),
         {0, 0x0B, 0x01, 0x02, 0x07, 0x03}},
        {0x16, {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xEE}, BYTES(GetConnectAddress, 6),
         {0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6}},
        {0x18, {0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xEE}, BYTES(GetAcceptedAddress, 6),
         {0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6}},
        {0x40, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0xEE}, BYTES(GetModuleInfo, 12),
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
        {0x42, {0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xEE}, BYTES(GetLocalAddress, 6),
         {0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6}},
        {0x62, {0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xEE}, BYTES(GetPairedDevice, 6),
         {0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6}},
        {0x66, {0x0A, 0x0B, 0x0C, 0xEE}, BYTES(GetSecurityFlags, 3), {0, 0x0A, 0x0B, 0x0C}},
        {0xC0, {0x02, 0xEE}, [&](Communicator& c) { return Fields{c.GetPerformanceMode(b), b}; },
         {0, 2}},
        {0xC2, {0x12, 0x34, 0xEE}, [&](Communicator& c) { return Fields{c.GetLinkTimeout(w1), w1}; },
         {0, 0x1234}},
        {0xC4, {0x01, 0x02, 0x03, 0x04, 0xEE},
         [&](Communicator& c) { return Fields{c.GetInquiryScan(w1, w2), w1, w2}; },
         {0, 0x0102, 0x0304}},
        {0xC6, {0x05, 0x06, 0x07, 0x08, 0xEE},
         [&](Communicator& c) { return Fields{c.GetPageScan(w1, w2), w1, w2}; },
         {0, 0x0506, 0x0708}},
        {0xC8, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0xEE},
         [&](Communicator& c) { return Fields{c.GetSniffSettings(w1, w2, w3, w4), w1, w2, w3, w4}; },
         {0, 0x1112, 0x1314, 0x1516, 0x1718}},
        {0xCA, {0x21, 0x22, 0x23, 0x24, 0xEE},
         [&](Communicator& c) { return Fields{c.GetParkSettings(w1, w2), w1, w2}; },
         {0, 0x2122, 0x2324}},
        {0xCC, {0x00, 0x5A, 0x02, 0x0C, 0xEE}, BYTES(GetClassOfDevice, 4),
         {0, 0x00, 0x5A, 0x02, 0x0C}},
        {0xD2, {0xFF, 0xA6, 0xEE}, [&](Communicator& c) { return Fields{c.GetMaxTxPower(s), s}; },
         {0, -90}},
        {0xD4, {0x00, 0x14, 0xEE}, [&](Communicator& c) { return Fields{c.GetDefaultTxPower(s), s}; },
         {0, 20}},
        {0xD6, {0x02, 0xEE}, [&](Communicator& c) { return Fields{c.GetSerialEmulation(b), b}; },
         {0, 2}},
        {0xD8, {0x01, 0x12, 0x34, 0xEE},
         [&](Communicator& c) { return Fields{c.GetUserBaudrate(b, w1), b, w1}; }, {0, 1, 0x1234}},
        {0xDA, {0x02, 0x31, 0x32, 0x33, 0x34, 0xEE},
         [&](Communicator& c) {
             return Fields{c.GetQualityOfService(b, out.b4.data()), b, out.b4[0], out.b4[1],
                           out.b4[2], out.b4[3]};
         },
         {0, 2, 0x31, 0x32, 0x33, 0x34}},
        {0xF0, {0x01, 0x01, 0x20, 0xEE},
         [&](Communicator& c) { return Fields{c.GetScoSettings(b, w1), b, w1}; }, {0, 1, 0x0120}},
        {0xF2, {0x41, 0x42, 0xEE}, [&](Communicator& c) { return Fields{c.GetCodecOutputGainMax(w1), w1}; },
         {0, 0x4142}},
        {0xF3, {0x43, 0x44, 0xEE}, [&](Communicator& c) { return Fields{c.GetCodecOutputGain(w1), w1}; },
         {0, 0x4344}},
        {0xF5, {0x45, 0x46, 0xEE}, [&](Communicator& c) { return Fields{c.GetCodecInputGainMax(w1), w1}; },
         {0, 0x4546}},
        {0xF6, {0x47, 0x48, 0xEE}, [&](Communicator& c) { return Fields{c.GetCodecInputGain(w1), w1}; },
         {0, 0x4748}},
    };
    // clang-format on
    for (const Case& c : cases) {
        Reply(c.op, 1, c.data);
        EXPECT_EQ(c.call(com), c.expected) << std::hex << int(c.op);
        EXPECT_EQ(Sent(), Bytes({c.op, 0x00})) << std::hex << int(c.op);
    }
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
