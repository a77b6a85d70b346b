// SPDX-License-Identifier: Apache-2.0
// Configuration commands: the frame each sends, what it gives out of the
// module's answer (every field from bytes of its own), each outcome, and the
// arguments it refuses without sending anything.
#include "TextDiff.h"
#include "ProtocolRig.h"

#include <functional>
#include <string>
#include <tuple>

namespace {

// Outputs of the calls, each exactly sized on the heap so that the sanitizers
// see a write beyond it.
struct Outputs {
    Bytes b3 = Bytes(3), b4 = Bytes(4), b5 = Bytes(5), b6 = Bytes(6), b12 = Bytes(12);
    uint8_t b = 0;
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t s = 0;
    int32_t power = 0, full = 0;
    std::string text;
} o;

// The caller's power value, set to `value` before a call that may change it.
int32_t& Power(int32_t value) {
    return o.power = value;
}

// A call's result and then the values it gave out, as one text: "0 0b 01 02", "0 -90".
std::string Text(long value) {
    return std::to_string(value);
}
std::string Text(const std::string& text) {
    return text;
}
std::string Text(const Bytes& bytes) {
    return HexBytes(bytes.data(), bytes.size());
}
template <class... T> std::string Got(int32_t result, const T&... values) {
    return (Text(result) + ... + (" " + Text(values)));
}

// A call with its text for failure messages; GET shows the given outputs after the result.
#define CALL(expr) #expr, [](Communicator & c) { return Got(c.expr); }
#define GET(expr, ...) #expr, [](Communicator & c) { return Got(c.expr, __VA_ARGS__); }

struct Command {
    const char* name;
    std::function<std::string(Communicator&)> call;
    Bytes request = {};     // what must go out on the wire
    Bytes answer = {};      // the data of the module's answer, after status 1
    std::string want = "0"; // what the call gives then; "1": a call that ignores the status
    uint8_t answerOp = 0;   // opcode of the answer when not the request's
};

const std::string kForty = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";
const Bytes kFortyBytes(kForty.begin(), kForty.end()), kText33(33, 'z');

// Every command that sends a request and awaits its answer. A byte of its own
// follows the fields of an answer (0xEE), so a field read late shows too.
// clang-format off
const Command kCommands[] = {
    {CALL(CheckConnection()), {1, 4, 0xFF, 0, 0x55, 0xAA}, {}, "1"},
    {CALL(CancelInquiry()), {0x80, 0}, {}, "1"},
    {CALL(NotifyClose()), {0x50, 0}, {}, "0", 0x42},
    {GET(GetDeviceMode(o.b), o.b), {0x12, 0}, {2, 0xEE}, "0 2"},
    // A device mode other than 1 or 2 is an invalid response and is not taken.
    {GET(GetDeviceMode(o.b), o.b), {0x12, 0}, {3}, "-2 2"},
    {GET(GetDeviceMode(o.b), o.b), {0x12, 0}, {0}, "-2 2"},
    {GET(GetSerialSettings(o.b5.data()), o.b5), {0x14, 0},
     {0x0B, 1, 2, 7, 3, 0xEE}, "0 0b 01 02 07 03"},
    {GET(GetConnectAddress(o.b6.data()), o.b6), {0x16, 0},
     {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xEE}, "0 a1 a2 a3 a4 a5 a6"},
    // Data missing from a short answer read as zero, never as the bytes before.
    {GET(GetConnectAddress(o.b6.data()), o.b6), {0x16, 0}, {0xAA}, "0 aa 00 00 00 00 00"},
    {GET(GetAcceptedAddress(o.b6.data()), o.b6), {0x18, 0},
     {0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xEE}, "0 b1 b2 b3 b4 b5 b6"},
    // Texts end at their zero or with the data, and are cut to what the field holds.
    {GET(GetDeviceName(o.text, o.full), o.text, o.full), {0x1C, 0},
     {'M', 'o', 'd', 0, 'x', 'y'}, "0 Mod 3"},
    {GET(GetDeviceName(o.text, o.full), o.text, o.full), {0x1C, 0}, Cat(kFortyBytes, {0}),
     "0 " + kForty.substr(0, 32) + " 40"},
    {GET(GetDeviceName(o.text, o.full), o.text, o.full), {0x1C, 0}, Bytes(254, 'q'),
     "0 " + std::string(32, 'q') + " 254"},
    {GET(GetServiceName(o.text, o.full), o.text, o.full), {0x1E, 0}, kFortyBytes,
     "0 " + kForty.substr(0, 18) + " 40"},
    {GET(GetModuleInfo(o.b12.data()), o.b12), {0x40, 0},
     {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0xEE}, "0 01 02 03 04 05 06 07 08 09 0a 0b 0c"},
    {GET(GetArticleNumber(o.text), o.text), {0x41, 0}, kFortyBytes, "0 " + kForty.substr(0, 20)},
    {GET(GetLocalAddress(o.b6.data()), o.b6), {0x42, 0},
     {0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xEE}, "0 c1 c2 c3 c4 c5 c6"},
    {GET(GetPairedDevice(o.b6.data()), o.b6), {0x62, 0},
     {0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xEE}, "0 d1 d2 d3 d4 d5 d6"},
    {GET(GetSecurityFlags(o.b3.data()), o.b3), {0x66, 0}, {0x0A, 0x0B, 0x0C, 0xEE}, "0 0a 0b 0c"},
    {GET(GetPasskey(o.text), o.text), {0x68, 0}, {'4', '2', 0, '9'}, "0 42"},
    {GET(GetPasskey(o.text), o.text), {0x68, 0}, kFortyBytes, "0 " + kForty.substr(0, 16)},
    {GET(GetPasskey(o.text), o.text), {0x68, 0}, {'0', '0', '0', '0'}, "0 0000"},
    {GET(GetPerformanceMode(o.b), o.b), {0xC0, 0}, {2, 0xEE}, "0 2"},
    {GET(GetLinkTimeout(o.w1), o.w1), {0xC2, 0}, {0x12, 0x34, 0xEE}, "0 4660"},
    {GET(GetInquiryScan(o.w1, o.w2), o.w1, o.w2), {0xC4, 0}, {1, 2, 3, 4, 0xEE}, "0 258 772"},
    {GET(GetPageScan(o.w1, o.w2), o.w1, o.w2), {0xC6, 0}, {5, 6, 7, 8, 0xEE}, "0 1286 1800"},
    {GET(GetSniffSettings(o.w1, o.w2, o.w3, o.w4), o.w1, o.w2, o.w3, o.w4), {0xC8, 0},
     {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0xEE}, "0 4370 4884 5398 5912"},
    {GET(GetParkSettings(o.w1, o.w2), o.w1, o.w2), {0xCA, 0}, {0x21, 0x22, 0x23, 0x24, 0xEE},
     "0 8482 8996"},
    {GET(GetClassOfDevice(o.b4.data()), o.b4), {0xCC, 0}, {0, 0x5A, 2, 0x0C, 0xEE},
     "0 00 5a 02 0c"},
    {GET(GetMaxTxPower(o.s), o.s), {0xD2, 0}, {0xFF, 0xA6, 0xEE}, "0 -90"},
    {GET(GetDefaultTxPower(o.s), o.s), {0xD4, 0}, {0, 0x14, 0xEE}, "0 20"},
    {GET(GetSerialEmulation(o.b), o.b), {0xD6, 0}, {2, 0xEE}, "0 2"},
    {GET(GetUserBaudrate(o.b, o.w1), o.b, o.w1), {0xD8, 0}, {1, 0x12, 0x34, 0xEE}, "0 1 4660"},
    {GET(GetQualityOfService(o.b, o.b4.data()), o.b, o.b4), {0xDA, 0},
     {2, 0x31, 0x32, 0x33, 0x34, 0xEE}, "0 2 31 32 33 34"},
    {GET(GetScoSettings(o.b, o.w1), o.b, o.w1), {0xF0, 0}, {1, 1, 0x20, 0xEE}, "0 1 288"},
    {GET(GetCodecOutputGainMax(o.w1), o.w1), {0xF2, 0}, {0x41, 0x42, 0xEE}, "0 16706"},
    {GET(GetCodecOutputGain(o.w1), o.w1), {0xF3, 0}, {0x43, 0x44, 0xEE}, "0 17220"},
    {GET(GetCodecInputGainMax(o.w1), o.w1), {0xF5, 0}, {0x45, 0x46, 0xEE}, "0 17734"},
    {GET(GetCodecInputGain(o.w1), o.w1), {0xF6, 0}, {0x47, 0x48, 0xEE}, "0 18248"},
    {CALL(SetDeviceMode(2)), {0x13, 1, 2}},
    {CALL(SetSerialSettings(9, 0, 2, 7, 1)), {0x15, 5, 9, 0, 2, 7, 1}},
    {CALL(SetSerialSettings(11, 1, 0, 5, 2)), {0x15, 5, 0x0B, 1, 0, 5, 2}},
    {CALL(SetConnectAddress(kAddress)), {0x17, 6, 0, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {CALL(SetAcceptedAddress(kAddress)), {0x19, 6, 0, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {CALL(SetDeviceName(kText33.data(), 32)), Cat({0x1D, 0x20}, Bytes(32, 'z'))},
    {CALL(SetServiceName(kText33.data(), 18)), Cat({0x1F, 0x12}, Bytes(18, 'z'))},
    {CALL(SetSecurityFlags(1, 0, 0)), {0x67, 3, 1, 0, 0}},
    {CALL(SetSecurityFlags(0, 1, 0)), {0x67, 3, 0, 1, 0}},
    {CALL(SetPasskey(kKey, 4)), {0x69, 4, '1', '2', '3', '4'}},
    {CALL(SetPerformanceMode(1)), {0xC1, 1, 1}},
    {CALL(SetLinkTimeout(0x12345)), {0xC3, 2, 0x23, 0x45}},
    {CALL(SetInquiryScan(2048, 18)), {0xC5, 4, 8, 0, 0, 0x12}},
    {CALL(SetInquiryScan(0, 0)), {0xC5, 4, 0, 0, 0, 0}},
    {CALL(SetPageScan(18, 4096)), {0xC7, 4, 0, 0x12, 0x10, 0}},
    {CALL(SetSniffSettings(65535, 1, 32767, 0)), {0xC9, 8, 0xFF, 0xFF, 0, 1, 0x7F, 0xFF, 0, 0}},
    {CALL(SetSniffSettings(0, 5, 0, 0)), {0xC9, 8, 0, 0, 0, 5, 0, 0, 0, 0}},
    {CALL(SetSniffSettings(800, 400, 4, 2)), {0xC9, 8, 3, 0x20, 1, 0x90, 0, 4, 0, 2}},
    {CALL(SetParkSettings(1, 65535)), {0xCB, 4, 0, 1, 0xFF, 0xFF}},
    {CALL(SetParkSettings(0x0304, 0x0102)), {0xCB, 4, 3, 4, 1, 2}},
    {CALL(SetParkSettings(0, 0)), {0xCB, 4, 0, 0, 0, 0}},
    {CALL(SetClassOfDevice(kCod)), {0xCD, 4, 0, 0x5A, 2, 0x0C}},
    // The transmit power the module took comes back, as a signed number; an
    // answer without it leaves the caller's value.
    {GET(SetMaxTxPower(Power(-90)), o.power), {0xD3, 2, 0xFF, 0xA6}, {0xFF, 0xF6}, "0 -10"},
    {GET(SetMaxTxPower(Power(65446)), o.power), {0xD3, 2, 0xFF, 0xA6}, {0, 4}, "0 4"},
    {GET(SetDefaultTxPower(Power(20)), o.power), {0xD5, 2, 0, 0x14}, {0xFF, 0xFB}, "0 -5"},
    {GET(SetDefaultTxPower(Power(17)), o.power), {0xD5, 2, 0, 0x11}, {}, "0 17"},
    {CALL(SetSerialEmulation(2)), {0xD7, 1, 2}},
    {CALL(SetUserBaudrate(1, 6144)), {0xD9, 3, 1, 0x18, 0}},
    {CALL(SetUserBaudrate(0, 0x0102)), {0xD9, 3, 0, 1, 2}},
    {CALL(SetUserBaudrate(0, 0)), {0xD9, 3, 0, 0, 0}},
    {CALL(SetQualityOfService(1, kCod)), {0xDB, 5, 1, 0, 0x5A, 2, 0x0C}},
    {CALL(SetScoSettings(1, 256)), {0xF1, 3, 1, 1, 0}},
    {CALL(SetScoSettings(0, 32)), {0xF1, 3, 0, 0, 0x20}},
    {CALL(SetCodecOutputGain(7)), {0xF4, 2, 0, 7}},
    {CALL(SetCodecInputGain(0x1FFFF)), {0xF7, 2, 0xFF, 0xFF}},
    {CALL(StartPairing(1, nullptr, kText33.data(), 16)), Cat({0x63, 0x10}, Bytes(16, 'z'))},
    {CALL(StartPairing(0, kAddress, kKey, 4)),
     {0x64, 0x0A, 0, 0x11, 0x22, 0x33, 0x44, 0x55, '1', '2', '3', '4'}},
};
// clang-format on

using CommandsTest = ProtocolTest;

TEST_F(CommandsTest, EveryCommandSendsItsFrameReadsItsAnswerAndReportsEachOutcome) {
    for (const Command& c : kCommands) {
        SCOPED_TRACE(c.name);
        const auto result = [&] { return std::stoi(c.call(com)); };
        const uint8_t op = c.answerOp ? c.answerOp : c.request[0];
        Reply(op, 1, c.answer);
        EXPECT_EQ(c.call(com), c.want);
        EXPECT_TRUE(SameBytes(c.request, Sent()));
        EXPECT_EQ(result(), -1) << "silence";
        // Another opcode; for the close notification its own echoed back.
        Reply(op == c.request[0] ? 0x7E : c.request[0], 1, c.answer);
        EXPECT_EQ(result(), -2);
        com.lastStatus = 0;
        Reply(op, 253, c.answer);
        const bool ignoresStatus = c.want == "1";
        EXPECT_EQ(result(), ignoresStatus ? 1 : -3);
        EXPECT_EQ(com.lastStatus, ignoresStatus ? 0 : 253);
        EXPECT_EQ(Sent().size(), 3 * c.request.size());
    }
}

TEST_F(CommandsTest, RefusedPowerAndNotPairedAnswers) {
    // A refused power leaves the caller's value, though the answer carries one.
    int32_t value = 10;
    Reply(0xD5, 253, {0x00, 0x01});
    EXPECT_EQ(com.SetDefaultTxPower(value), -3);
    EXPECT_EQ(value, 10);
    // Not paired: status 254 is success with an all-zero address.
    com.lastStatus = 0;
    Bytes address(6, 0xEE);
    Reply(0x62, 254);
    EXPECT_EQ(com.GetPairedDevice(address.data()), 0);
    EXPECT_EQ(address, Bytes(6, 0));
    EXPECT_EQ(com.lastStatus, 0);
}

TEST_F(CommandsTest, OutOfRangeArgumentsSendNothing) {
    com.searchState = 3, com.foundCount = 1, com.pairingState = 3;
    // clang-format off
    const Command bad[] = {
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
        {CALL(SetParkSettings(65536, 1))}, {CALL(SetMaxTxPower(Power(-91)))},
        {CALL(SetMaxTxPower(Power(21)))}, {CALL(SetDefaultTxPower(Power(-91)))},
        {CALL(SetDefaultTxPower(Power(21)))}, {CALL(SetSerialEmulation(-1))},
        {CALL(SetSerialEmulation(3))}, {CALL(SetUserBaudrate(1, 0))},
        {CALL(SetUserBaudrate(2, 100))}, {CALL(SetUserBaudrate(1, 6145))},
        {CALL(SetScoSettings(1, 96))}, {CALL(SetScoSettings(2, 0))},
        {CALL(StartInquiry(0, kCod, true))}, {CALL(StartInquiry(31, kCod, true))},
        {CALL(StartPairing(1, nullptr, kKey, 0))},
        {CALL(StartPairing(0, kAddress, kText33.data(), 17))},
        {CALL(StartPairing(1, nullptr, nullptr, 4))},
    };
    // clang-format on
    for (const Command& c : bad)
        EXPECT_EQ(c.call(com), "-4") << c.name;
    EXPECT_TRUE(port.written.empty());
    EXPECT_EQ(port.reads, 0);
    EXPECT_EQ(o.power, 21) << "a refused power is left as it was";
    EXPECT_EQ(std::tie(com.searchState, com.foundCount, com.pairingState), std::tuple(3, 1, 3));
}

} // namespace
