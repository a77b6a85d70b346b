// SPDX-License-Identifier: Apache-2.0
// The virtual module's settings: defaults per profile and the state file text.
#include "ModuleInternal.h"

#include <algorithm>
#include <sstream>

namespace sim {

using namespace detail;

// ---- settings -------------------------------------------------------------

Settings DefaultSettings(const Profile& profile) {
    Settings s;
    s.deviceName = "Norvane " + ProductId(profile.productCode);
    if (profile.productCode == 4) s.deviceName = "Norvane NVM-220X";
    s.serviceName = "Serial Port";
    s.localAddress = {{0x02, 0x4e, 0x56, 0x4d, 0x00, static_cast<uint8_t>(profile.productCode)}};
    if (!profile.SecondGeneration()) {
        s.txPowerD2 = 0;
        s.txPowerD4 = 4;
    }
    return s;
}

std::string SaveSettingsText(const Settings& s) {
    std::ostringstream o;
    o << "# virtual module state: one setting a line, \"key value\"\n";
    o << "device_name " << EscapeText(s.deviceName) << "\n";
    o << "service_name " << EscapeText(s.serviceName) << "\n";
    o << "passkey " << EscapeText(s.passkey) << "\n";
    o << "local_address " << AddressText(s.localAddress) << "\n";
    o << "device_mode " << int(s.deviceMode) << "\n";
    o << "serial";
    for (uint8_t v : s.serial)
        o << ' ' << int(v);
    o << "\n";
    o << "connect_address " << AddressText(s.connectAddress) << "\n";
    o << "accepted_address " << AddressText(s.acceptedAddress) << "\n";
    o << "paired_address " << AddressText(s.pairedAddress) << "\n";
    o << "security " << int(s.security[0]) << ' ' << int(s.security[1]) << ' ' << int(s.security[2])
      << "\n";
    o << "performance " << int(s.performance) << "\n";
    o << "link_timeout " << s.linkTimeout << "\n";
    o << "inquiry_scan " << s.inquiryScan[0] << ' ' << s.inquiryScan[1] << "\n";
    o << "page_scan " << s.pageScan[0] << ' ' << s.pageScan[1] << "\n";
    o << "sniff " << s.sniff[0] << ' ' << s.sniff[1] << ' ' << s.sniff[2] << ' ' << s.sniff[3]
      << "\n";
    o << "park " << s.park[0] << ' ' << s.park[1] << "\n";
    o << "class_of_device " << HexBytes(s.classOfDevice.data(), 4) << "\n";
    o << "tx_power_d2 " << s.txPowerD2 << "\n";
    o << "tx_power_d4 " << s.txPowerD4 << "\n";
    o << "emulation " << int(s.emulation) << "\n";
    o << "user_baudrate " << int(s.userBaudEnabled) << ' ' << s.userBaudValue << "\n";
    o << "qos " << int(s.qosMode) << ' ' << HexBytes(s.qosLatency.data(), 4) << "\n";
    o << "sco " << int(s.scoEnabled) << ' ' << s.scoPacketType << "\n";
    o << "output_gain " << s.outputGain << "\n";
    o << "input_gain " << s.inputGain << "\n";
    return o.str();
}

void LoadSettingsText(const std::string& text, Settings* s) {
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        const size_t space = line.find(' ');
        const std::string key = line.substr(0, space);
        const std::string value = space == std::string::npos ? "" : line.substr(space + 1);
        const std::vector<std::string> t = Tokens(value);
        // n numbers in [lo, hi]
        auto numbers = [&](size_t n, long long lo, long long hi, long long* v) {
            if (t.size() != n) return false;
            for (size_t i = 0; i < n; ++i)
                if (!ParseNumber(t[i], &v[i]) || v[i] < lo || v[i] > hi) return false;
            return true;
        };
        long long v[5] = {};
        Address a{};
        if (key == "device_name") {
            std::string name = UnescapeText(value);
            if (!name.empty() && name.size() <= 32) s->deviceName = name;
        } else if (key == "service_name") {
            std::string name = UnescapeText(value);
            if (!name.empty() && name.size() <= 18) s->serviceName = name;
        } else if (key == "passkey") {
            std::string key16 = UnescapeText(value);
            if (!key16.empty() && key16.size() <= 16) s->passkey = key16;
        } else if (key == "local_address" && t.size() == 6 && ParseAddressTokens(t, 0, &a)) {
            s->localAddress = a;
        } else if (key == "connect_address" && t.size() == 6 && ParseAddressTokens(t, 0, &a)) {
            s->connectAddress = a;
        } else if (key == "accepted_address" && t.size() == 6 && ParseAddressTokens(t, 0, &a)) {
            s->acceptedAddress = a;
        } else if (key == "paired_address" && t.size() == 6 && ParseAddressTokens(t, 0, &a)) {
            s->pairedAddress = a;
        } else if (key == "device_mode" && numbers(1, 0, 255, v)) {
            s->deviceMode = static_cast<uint8_t>(v[0]);
        } else if (key == "serial" && numbers(5, 0, 255, v)) {
            for (int i = 0; i < 5; ++i)
                s->serial[i] = static_cast<uint8_t>(v[i]);
        } else if (key == "security" && numbers(3, 0, 255, v)) {
            for (int i = 0; i < 3; ++i)
                s->security[i] = static_cast<uint8_t>(v[i]);
        } else if (key == "performance" && numbers(1, 0, 255, v)) {
            s->performance = static_cast<uint8_t>(v[0]);
        } else if (key == "link_timeout" && numbers(1, 0, 65535, v)) {
            s->linkTimeout = static_cast<uint16_t>(v[0]);
        } else if (key == "inquiry_scan" && numbers(2, 0, 65535, v)) {
            s->inquiryScan = {{static_cast<uint16_t>(v[0]), static_cast<uint16_t>(v[1])}};
        } else if (key == "page_scan" && numbers(2, 0, 65535, v)) {
            s->pageScan = {{static_cast<uint16_t>(v[0]), static_cast<uint16_t>(v[1])}};
        } else if (key == "sniff" && numbers(4, 0, 65535, v)) {
            for (int i = 0; i < 4; ++i)
                s->sniff[i] = static_cast<uint16_t>(v[i]);
        } else if (key == "park" && numbers(2, 0, 65535, v)) {
            s->park = {{static_cast<uint16_t>(v[0]), static_cast<uint16_t>(v[1])}};
        } else if (key == "class_of_device" && t.size() == 4) {
            std::array<uint8_t, 4> cod{};
            bool ok = true;
            for (int i = 0; i < 4; ++i)
                ok = ok && ParseByteHex(t[i], &cod[i]);
            if (ok) s->classOfDevice = cod;
        } else if (key == "tx_power_d2" && numbers(1, -32768, 32767, v)) {
            s->txPowerD2 = static_cast<int16_t>(v[0]);
        } else if (key == "tx_power_d4" && numbers(1, -32768, 32767, v)) {
            s->txPowerD4 = static_cast<int16_t>(v[0]);
        } else if (key == "emulation" && numbers(1, 0, 255, v)) {
            s->emulation = static_cast<uint8_t>(v[0]);
        } else if (key == "user_baudrate" && numbers(2, 0, 65535, v) && v[0] <= 255) {
            s->userBaudEnabled = static_cast<uint8_t>(v[0]);
            s->userBaudValue = static_cast<uint16_t>(v[1]);
        } else if (key == "qos" && t.size() == 5) {
            long long mode = 0;
            std::array<uint8_t, 4> latency{};
            bool ok = ParseNumber(t[0], &mode) && mode >= 0 && mode <= 255;
            for (int i = 0; i < 4; ++i)
                ok = ok && ParseByteHex(t[1 + i], &latency[i]);
            if (ok) {
                s->qosMode = static_cast<uint8_t>(mode);
                s->qosLatency = latency;
            }
        } else if (key == "sco" && numbers(2, 0, 65535, v) && v[0] <= 255) {
            s->scoEnabled = static_cast<uint8_t>(v[0]);
            s->scoPacketType = static_cast<uint16_t>(v[1]);
        } else if (key == "output_gain" && numbers(1, 0, 65535, v)) {
            s->outputGain = static_cast<uint16_t>(v[0]);
        } else if (key == "input_gain" && numbers(1, 0, 65535, v)) {
            s->inputGain = static_cast<uint16_t>(v[0]);
        }
    }
}

} // namespace sim
