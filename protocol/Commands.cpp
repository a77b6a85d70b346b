// SPDX-License-Identifier: Apache-2.0
// The configuration commands: one request and one response each.
#include "Communicator.h"

#include "Exchange.h"

#include <algorithm>
#include <cstring>

using namespace proto;

namespace {

bool InRange(int32_t value, int32_t low, int32_t high) {
    return value >= low && value <= high;
}

// A get command with an empty payload; the data are left in `request`.
int32_t Get(Communicator& c, Request& request) {
    return Command(c, request);
}

// Copies `count` data bytes of a successful answer.
void CopyData(const Request& answer, uint8_t* out, int32_t count) {
    if (out) std::memcpy(out, answer.frame + kData, static_cast<size_t>(count));
}

int32_t GetBytes(Communicator& c, uint8_t opcode, uint8_t* out, int32_t count) {
    Request r(opcode);
    const int32_t result = Get(c, r);
    if (result == 0) CopyData(r, out, count);
    return result;
}

int32_t GetByte(Communicator& c, uint8_t opcode, uint8_t& out) {
    return GetBytes(c, opcode, &out, 1);
}

int32_t GetWord(Communicator& c, uint8_t opcode, uint16_t& out) {
    Request r(opcode);
    const int32_t result = Get(c, r);
    if (result == 0) out = WordAt(r, kData);
    return result;
}

int32_t GetTwoWords(Communicator& c, uint8_t opcode, uint16_t& first, uint16_t& second) {
    Request r(opcode);
    const int32_t result = Get(c, r);
    if (result == 0) {
        first = WordAt(r, kData);
        second = WordAt(r, kData + 2);
    }
    return result;
}

int32_t SetBytes(Communicator& c, uint8_t opcode, const uint8_t* bytes, int32_t count) {
    Request r(opcode);
    r.Bytes(bytes, count);
    return Command(c, r);
}

int32_t SetByte(Communicator& c, uint8_t opcode, int32_t value) {
    Request r(opcode);
    r.Byte(value);
    return Command(c, r);
}

int32_t SetWord(Communicator& c, uint8_t opcode, int32_t value) {
    Request r(opcode);
    r.Word(value);
    return Command(c, r);
}

int32_t SetText(Communicator& c, uint8_t opcode, const uint8_t* text, int32_t length,
                int32_t maxLength) {
    if (text == nullptr || !InRange(length, 1, maxLength)) return -4;
    return SetBytes(c, opcode, text, length);
}

// Scan interval and window: both 0 (scan off) or both 18 to 4096.
int32_t SetScan(Communicator& c, uint8_t opcode, int32_t interval, int32_t window) {
    const bool off = interval == 0 && window == 0;
    if (!off && !(InRange(interval, 18, 4096) && InRange(window, 18, 4096))) return -4;
    Request r(opcode);
    r.Word(interval).Word(window);
    return Command(c, r);
}

// Transmit power: checked as a signed 16-bit number; the module's answer is written
// back so that the caller goes on with the value the module took.
int32_t SetTxPower(Communicator& c, uint8_t opcode, int32_t& value) {
    const auto power = static_cast<int16_t>(value & 0xFFFF);
    if (!InRange(power, -90, 20)) return -4;
    Request r(opcode);
    r.Word(power);
    const int32_t result = Command(c, r);
    // An answer without its two data bytes leaves the caller's value alone.
    if (result == 0 && DataLength(r) >= 2) value = static_cast<int16_t>(WordAt(r, kData));
    return result;
}

int32_t GetTxPower(Communicator& c, uint8_t opcode, int16_t& value) {
    uint16_t raw = 0;
    const int32_t result = GetWord(c, opcode, raw);
    if (result == 0) value = static_cast<int16_t>(raw);
    return result;
}

} // namespace

int32_t Communicator::GetDeviceMode(uint8_t& mode) {
    Request r(0x12);
    const int32_t result = Get(*this, r);
    if (result != 0) return result;
    const uint8_t value = r.frame[kData];
    if (value != 1 && value != 2) return -2;
    mode = value;
    return 0;
}

int32_t Communicator::SetDeviceMode(int32_t mode) {
    if (!InRange(mode, 1, 2)) return -4;
    return SetByte(*this, 0x13, mode);
}

int32_t Communicator::GetSerialSettings(uint8_t settings[5]) {
    return GetBytes(*this, 0x14, settings, 5);
}

int32_t Communicator::SetSerialSettings(int32_t rate, int32_t flow, int32_t parity,
                                        int32_t dataBits, int32_t stopBits) {
    if (!InRange(rate, 1, 11) || !InRange(flow, 0, 1) || !InRange(parity, 0, 2) ||
        !InRange(dataBits, 5, 8) || !InRange(stopBits, 1, 2))
        return -4;
    Request r(0x15);
    r.Byte(rate).Byte(flow).Byte(parity).Byte(dataBits).Byte(stopBits);
    return Command(*this, r);
}

int32_t Communicator::GetConnectAddress(uint8_t address[6]) {
    return GetBytes(*this, 0x16, address, 6);
}

int32_t Communicator::SetConnectAddress(const uint8_t address[6]) {
    return SetBytes(*this, 0x17, address, 6);
}

int32_t Communicator::GetAcceptedAddress(uint8_t address[6]) {
    return GetBytes(*this, 0x18, address, 6);
}

int32_t Communicator::SetAcceptedAddress(const uint8_t address[6]) {
    return SetBytes(*this, 0x19, address, 6);
}

int32_t Communicator::GetDeviceName(std::string& name, int32_t& fullLength) {
    Request r(0x1C);
    const int32_t result = Get(*this, r);
    if (result == 0) name = TextAt(r, 32, &fullLength);
    return result;
}

int32_t Communicator::SetDeviceName(const uint8_t* name, int32_t length) {
    return SetText(*this, 0x1D, name, length, 32);
}

int32_t Communicator::GetServiceName(std::string& name, int32_t& fullLength) {
    Request r(0x1E);
    const int32_t result = Get(*this, r);
    if (result == 0) name = TextAt(r, 18, &fullLength);
    return result;
}

int32_t Communicator::SetServiceName(const uint8_t* name, int32_t length) {
    return SetText(*this, 0x1F, name, length, 18);
}

int32_t Communicator::GetModuleInfo(uint8_t info[12]) {
    return GetBytes(*this, 0x40, info, 12);
}

int32_t Communicator::GetArticleNumber(std::string& article) {
    Request r(0x41);
    const int32_t result = Get(*this, r);
    if (result == 0) article = TextAt(r, 20);
    return result;
}

int32_t Communicator::GetLocalAddress(uint8_t address[6]) {
    return GetBytes(*this, 0x42, address, 6);
}

int32_t Communicator::NotifyClose() {
    // The module acknowledges the close notification with opcode 0x42.
    Request r(0x50);
    return Command(*this, r, 0x42);
}

int32_t Communicator::GetPairedDevice(uint8_t address[6]) {
    Request r(0x62);
    const int32_t result = Exchange(*this, r, 0x62);
    if (result != 0) return result;
    // The module answers "Command failed" when it is not paired.
    if (r.frame[2] == 254) {
        if (address) std::memset(address, 0, 6);
        return 0;
    }
    const int32_t status = CheckStatus(*this, r);
    if (status == 0) CopyData(r, address, 6);
    return status;
}

int32_t Communicator::GetSecurityFlags(uint8_t flags[3]) {
    return GetBytes(*this, 0x66, flags, 3);
}

int32_t Communicator::SetSecurityFlags(int32_t a, int32_t b, int32_t c) {
    if (!InRange(a, 0, 1) || !InRange(b, 0, 1) || !InRange(c, 0, 1)) return -4;
    Request r(0x67);
    r.Byte(a).Byte(b).Byte(c);
    return Command(*this, r);
}

int32_t Communicator::GetPasskey(std::string& passkey) {
    Request r(0x68);
    const int32_t result = Get(*this, r);
    // The text ends where the received data end, and after 16 characters at most.
    if (result == 0) passkey = TextAt(r, 16);
    return result;
}

int32_t Communicator::SetPasskey(const uint8_t* passkey, int32_t length) {
    return SetText(*this, 0x69, passkey, length, 16);
}

int32_t Communicator::GetPerformanceMode(uint8_t& mode) {
    return GetByte(*this, 0xC0, mode);
}

int32_t Communicator::SetPerformanceMode(int32_t mode) {
    if (!InRange(mode, 1, 2)) return -4;
    return SetByte(*this, 0xC1, mode);
}

int32_t Communicator::GetLinkTimeout(uint16_t& value) {
    return GetWord(*this, 0xC2, value);
}

int32_t Communicator::SetLinkTimeout(int32_t value) {
    return SetWord(*this, 0xC3, value);
}

int32_t Communicator::GetInquiryScan(uint16_t& interval, uint16_t& window) {
    return GetTwoWords(*this, 0xC4, interval, window);
}

int32_t Communicator::SetInquiryScan(int32_t interval, int32_t window) {
    return SetScan(*this, 0xC5, interval, window);
}

int32_t Communicator::GetPageScan(uint16_t& interval, uint16_t& window) {
    return GetTwoWords(*this, 0xC6, interval, window);
}

int32_t Communicator::SetPageScan(int32_t interval, int32_t window) {
    return SetScan(*this, 0xC7, interval, window);
}

int32_t Communicator::GetSniffSettings(uint16_t& maxInterval, uint16_t& minInterval,
                                       uint16_t& attempt, uint16_t& timeout) {
    Request r(0xC8);
    const int32_t result = Get(*this, r);
    if (result == 0) {
        maxInterval = WordAt(r, kData);
        minInterval = WordAt(r, kData + 2);
        attempt = WordAt(r, kData + 4);
        timeout = WordAt(r, kData + 6);
    }
    return result;
}

int32_t Communicator::SetSniffSettings(int32_t maxInterval, int32_t minInterval, int32_t attempt,
                                       int32_t timeout) {
    // Sniff off is max interval, attempt and time-out all 0; the min interval is
    // then sent whatever it is.
    const bool off = maxInterval == 0 && attempt == 0 && timeout == 0;
    if (!off && !(InRange(maxInterval, 1, 65535) && InRange(minInterval, 1, 65535) &&
                  InRange(attempt, 1, 32767) && InRange(timeout, 0, 32767)))
        return -4;
    Request r(0xC9);
    r.Word(maxInterval).Word(minInterval).Word(attempt).Word(timeout);
    return Command(*this, r);
}

int32_t Communicator::GetParkSettings(uint16_t& maxInterval, uint16_t& minInterval) {
    return GetTwoWords(*this, 0xCA, maxInterval, minInterval);
}

int32_t Communicator::SetParkSettings(int32_t maxInterval, int32_t minInterval) {
    const bool off = maxInterval == 0 && minInterval == 0;
    if (!off && !(InRange(maxInterval, 1, 65535) && InRange(minInterval, 1, 65535))) return -4;
    Request r(0xCB);
    r.Word(maxInterval).Word(minInterval);
    return Command(*this, r);
}

int32_t Communicator::GetClassOfDevice(uint8_t cod[4]) {
    return GetBytes(*this, 0xCC, cod, 4);
}

int32_t Communicator::SetClassOfDevice(const uint8_t cod[4]) {
    return SetBytes(*this, 0xCD, cod, 4);
}

int32_t Communicator::GetMaxTxPower(int16_t& value) {
    return GetTxPower(*this, 0xD2, value);
}

int32_t Communicator::SetMaxTxPower(int32_t& value) {
    return SetTxPower(*this, 0xD3, value);
}

int32_t Communicator::GetDefaultTxPower(int16_t& value) {
    return GetTxPower(*this, 0xD4, value);
}

int32_t Communicator::SetDefaultTxPower(int32_t& value) {
    return SetTxPower(*this, 0xD5, value);
}

int32_t Communicator::GetSerialEmulation(uint8_t& type) {
    return GetByte(*this, 0xD6, type);
}

int32_t Communicator::SetSerialEmulation(int32_t type) {
    if (!InRange(type, 0, 2)) return -4;
    return SetByte(*this, 0xD7, type);
}

int32_t Communicator::GetUserBaudrate(uint8_t& enabled, uint16_t& value) {
    Request r(0xD8);
    const int32_t result = Get(*this, r);
    if (result == 0) {
        enabled = r.frame[kData];
        value = WordAt(r, kData + 1);
    }
    return result;
}

int32_t Communicator::SetUserBaudrate(int32_t enabled, int32_t value) {
    const bool off = enabled == 0 && value == 0;
    if (!off && !(InRange(enabled, 0, 1) && InRange(value, 1, 6144))) return -4;
    Request r(0xD9);
    r.Byte(enabled).Word(value);
    return Command(*this, r);
}

int32_t Communicator::GetQualityOfService(uint8_t& mode, uint8_t latency[4]) {
    Request r(0xDA);
    const int32_t result = Get(*this, r);
    if (result == 0) {
        mode = r.frame[kData];
        if (latency) std::memcpy(latency, r.frame + kData + 1, 4);
    }
    return result;
}

int32_t Communicator::SetQualityOfService(int32_t mode, const uint8_t latency[4]) {
    Request r(0xDB);
    r.Byte(mode).Bytes(latency, 4);
    return Command(*this, r);
}

int32_t Communicator::GetScoSettings(uint8_t& enabled, uint16_t& packetType) {
    Request r(0xF0);
    const int32_t result = Get(*this, r);
    if (result == 0) {
        enabled = r.frame[kData];
        packetType = WordAt(r, kData + 1);
    }
    return result;
}

int32_t Communicator::SetScoSettings(int32_t enabled, int32_t packetType) {
    static constexpr int32_t kPacketTypes[] = {0, 32, 64, 128, 256};
    const bool knownType = std::find(std::begin(kPacketTypes), std::end(kPacketTypes),
                                     packetType) != std::end(kPacketTypes);
    if (!InRange(enabled, 0, 1) || !knownType) return -4;
    Request r(0xF1);
    r.Byte(enabled).Word(packetType);
    return Command(*this, r);
}

int32_t Communicator::GetCodecOutputGainMax(uint16_t& value) {
    return GetWord(*this, 0xF2, value);
}

int32_t Communicator::GetCodecOutputGain(uint16_t& value) {
    return GetWord(*this, 0xF3, value);
}

int32_t Communicator::SetCodecOutputGain(int32_t value) {
    return SetWord(*this, 0xF4, value);
}

int32_t Communicator::GetCodecInputGainMax(uint16_t& value) {
    return GetWord(*this, 0xF5, value);
}

int32_t Communicator::GetCodecInputGain(uint16_t& value) {
    return GetWord(*this, 0xF6, value);
}

int32_t Communicator::SetCodecInputGain(int32_t value) {
    return SetWord(*this, 0xF7, value);
}
