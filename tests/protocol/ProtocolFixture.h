// A Communicator on a scripted port with a clock the test drives, and the table
// of every command with the frame it must send.
#pragma once

#include "Communicator.h"
#include "ScriptedPort.h"

#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>

using Bytes = ScriptedPort::Bytes;

// Each clock reading returns the next scripted value while there are any, then a
// counter that advances one hundredth per reading (wrapping at 100).
class ClockedCommunicator : public Communicator {
  public:
    mutable std::deque<int32_t> script;
    mutable int32_t now = 0, readings = 0;

  protected:
    int32_t Hundredths() const override {
        ++readings;
        if (script.empty()) return now++ % 100;
        const int32_t value = script.front();
        script.pop_front();
        return value;
    }
};

class ProtocolTest : public ::testing::Test {
  protected:
    ProtocolTest() { com.SetSerialPort(&port); }
    void Reply(uint8_t opcode, uint8_t status, const Bytes& data = {}) {
        port.Push(ScriptedPort::Frame(opcode, status, data));
    }
    // What was written since the last call.
    Bytes Sent() { return std::exchange(port.written, {}); }

    ScriptedPort port;
    ClockedCommunicator com;
};

inline Bytes Cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Outputs of the calls in the tables, each exactly sized on the heap so that the
// sanitizers see a write beyond it.
struct Outputs {
    std::vector<uint8_t> b1 = Bytes(1), b3 = Bytes(3), b4 = Bytes(4), b5 = Bytes(5), b6 = Bytes(6),
                         b12 = Bytes(12), b32 = Bytes(32), frame = Bytes(Communicator::kMaxFrame);
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t s1 = 0;
    int32_t power = 0, length = 0;
    std::string text;
};
inline Outputs out;

inline const uint8_t kAddress[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
inline const uint8_t kCod[4] = {0x00, 0x5A, 0x02, 0x0C};
inline const uint8_t kKey[4] = {'1', '2', '3', '4'};
inline const Bytes kText33(33, 'z');

// A call of a Communicator operation, with its text for failure messages.
#define CALL(expr) #expr, [](Communicator & c) { return c.expr; }
// A get command, whose request is its opcode and a zero length.
#define GET(expr, opcode)                                                                          \
    {                                                                                              \
        CALL(expr), {                                                                              \
            opcode, 0x00                                                                           \
        }                                                                                          \
    }

struct CommandCase {
    const char* name;
    std::function<int32_t(Communicator&)> call;
    Bytes request = {};   // what must go out on the wire
    int32_t ok = 0;       // result of success; 1 for calls that ignore the status
    uint8_t answerOp = 0; // opcode of the module's answer when not the request's
};

// Every command that sends a request and awaits its answer, valid arguments.
// clang-format off
inline const std::vector<CommandCase> kAllCommands = {
    {CALL(CheckConnection()), {0x01, 0x04, 0xFF, 0x00, 0x55, 0xAA}, 1},
    {CALL(CancelInquiry()), {0x80, 0x00}, 1},
    {CALL(NotifyClose()), {0x50, 0x00}, 0, 0x42},
    GET(GetDeviceMode(out.b1[0]), 0x12), GET(GetSerialSettings(out.b5.data()), 0x14),
    GET(GetConnectAddress(out.b6.data()), 0x16), GET(GetAcceptedAddress(out.b6.data()), 0x18),
    GET(GetDeviceName(out.text, out.length), 0x1C), GET(GetServiceName(out.text, out.length), 0x1E),
    GET(GetModuleInfo(out.b12.data()), 0x40), GET(GetArticleNumber(out.text), 0x41),
    GET(GetLocalAddress(out.b6.data()), 0x42), GET(GetPairedDevice(out.b6.data()), 0x62),
    GET(GetSecurityFlags(out.b3.data()), 0x66), GET(GetPasskey(out.text), 0x68),
    GET(GetPerformanceMode(out.b1[0]), 0xC0), GET(GetLinkTimeout(out.w1), 0xC2),
    GET(GetInquiryScan(out.w1, out.w2), 0xC4), GET(GetPageScan(out.w1, out.w2), 0xC6),
    GET(GetSniffSettings(out.w1, out.w2, out.w3, out.w4), 0xC8),
    GET(GetParkSettings(out.w1, out.w2), 0xCA), GET(GetClassOfDevice(out.b4.data()), 0xCC),
    GET(GetMaxTxPower(out.s1), 0xD2), GET(GetDefaultTxPower(out.s1), 0xD4),
    GET(GetSerialEmulation(out.b1[0]), 0xD6), GET(GetUserBaudrate(out.b1[0], out.w1), 0xD8),
    GET(GetQualityOfService(out.b1[0], out.b4.data()), 0xDA),
    GET(GetScoSettings(out.b1[0], out.w1), 0xF0), GET(GetCodecOutputGainMax(out.w1), 0xF2),
    GET(GetCodecOutputGain(out.w1), 0xF3), GET(GetCodecInputGainMax(out.w1), 0xF5),
    GET(GetCodecInputGain(out.w1), 0xF6),
    {CALL(SetDeviceMode(2)), {0x13, 0x01, 0x02}},
    {CALL(SetSerialSettings(9, 0, 2, 7, 1)), {0x15, 0x05, 0x09, 0x00, 0x02, 0x07, 0x01}},
    {CALL(SetSerialSettings(11, 1, 0, 5, 2)), {0x15, 0x05, 0x0B, 0x01, 0x00, 0x05, 0x02}},
    {CALL(SetConnectAddress(kAddress)), {0x17, 0x06, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {CALL(SetAcceptedAddress(kAddress)), {0x19, 0x06, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {CALL(SetDeviceName(kText33.data(), 32)), Cat({0x1D, 0x20}, Bytes(32, 'z'))},
    {CALL(SetServiceName(kText33.data(), 18)), Cat({0x1F, 0x12}, Bytes(18, 'z'))},
    {CALL(SetSecurityFlags(1, 0, 0)), {0x67, 0x03, 0x01, 0x00, 0x00}},
    {CALL(SetSecurityFlags(0, 1, 0)), {0x67, 0x03, 0x00, 0x01, 0x00}},
    {CALL(SetPasskey(kKey, 4)), {0x69, 0x04, '1', '2', '3', '4'}},
    {CALL(SetPerformanceMode(1)), {0xC1, 0x01, 0x01}},
    {CALL(SetLinkTimeout(0x12345)), {0xC3, 0x02, 0x23, 0x45}},
    {CALL(SetInquiryScan(2048, 18)), {0xC5, 0x04, 0x08, 0x00, 0x00, 0x12}},
    {CALL(SetInquiryScan(0, 0)), {0xC5, 0x04, 0x00, 0x00, 0x00, 0x00}},
    {CALL(SetPageScan(18, 4096)), {0xC7, 0x04, 0x00, 0x12, 0x10, 0x00}},
    {CALL(SetSniffSettings(65535, 1, 32767, 0)), {0xC9, 0x08, 0xFF, 0xFF, 0, 1, 0x7F, 0xFF, 0, 0}},
    {CALL(SetSniffSettings(0, 5, 0, 0)), {0xC9, 0x08, 0, 0, 0, 5, 0, 0, 0, 0}},
    {CALL(SetSniffSettings(800, 400, 4, 2)), {0xC9, 0x08, 0x03, 0x20, 0x01, 0x90, 0, 4, 0, 2}},
    {CALL(SetParkSettings(1, 65535)), {0xCB, 0x04, 0x00, 0x01, 0xFF, 0xFF}},
    {CALL(SetParkSettings(0x0304, 0x0102)), {0xCB, 0x04, 0x03, 0x04, 0x01, 0x02}},
    {CALL(SetParkSettings(0, 0)), {0xCB, 0x04, 0x00, 0x00, 0x00, 0x00}},
    {CALL(SetClassOfDevice(kCod)), {0xCD, 0x04, 0x00, 0x5A, 0x02, 0x0C}},
    {CALL(SetMaxTxPower(out.power = -90)), {0xD3, 0x02, 0xFF, 0xA6}},
    {CALL(SetMaxTxPower(out.power = 65446)), {0xD3, 0x02, 0xFF, 0xA6}}, // -90 in 16 bits
    {CALL(SetDefaultTxPower(out.power = 20)), {0xD5, 0x02, 0x00, 0x14}},
    {CALL(SetSerialEmulation(2)), {0xD7, 0x01, 0x02}},
    {CALL(SetUserBaudrate(1, 6144)), {0xD9, 0x03, 0x01, 0x18, 0x00}},
    {CALL(SetUserBaudrate(0, 0x0102)), {0xD9, 0x03, 0x00, 0x01, 0x02}},
    {CALL(SetUserBaudrate(0, 0)), {0xD9, 0x03, 0x00, 0x00, 0x00}},
    {CALL(SetQualityOfService(1, kCod)), {0xDB, 0x05, 0x01, 0x00, 0x5A, 0x02, 0x0C}},
    {CALL(SetScoSettings(1, 256)), {0xF1, 0x03, 0x01, 0x01, 0x00}},
    {CALL(SetScoSettings(0, 32)), {0xF1, 0x03, 0x00, 0x00, 0x20}},
    {CALL(SetCodecOutputGain(7)), {0xF4, 0x02, 0x00, 0x07}},
    {CALL(SetCodecInputGain(0x1FFFF)), {0xF7, 0x02, 0xFF, 0xFF}},
    {CALL(StartPairing(1, nullptr, kText33.data(), 16)), Cat({0x63, 0x10}, Bytes(16, 'z'))},
    {CALL(StartPairing(0, kAddress, kKey, 4)),
     {0x64, 0x0A, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, '1', '2', '3', '4'}},
};
// clang-format on
