// SPDX-License-Identifier: Apache-2.0
// Profiles, remote devices, faults and pairing outcomes of the virtual module,
// and the parsing of their texts.
#include "ModuleInternal.h"

#include <algorithm>
#include <sstream>

namespace sim {

using namespace detail;

// ---- profiles -------------------------------------------------------------

int Profile::HighestRateCode() const {
    if (productCode == 1) return 7; // up to 115200
    if (productCode == 5) return 8; // up to 230400
    return 11;                      // up to 1382400
}

std::string Profile::Name() const {
    char buf[32];
    std::snprintf(buf, sizeof buf, "code%d-%d.%02d", productCode, swMajor, swMinor);
    return buf;
}

bool ParseProfile(const std::string& text, Profile* out) {
    if (text == "default") {
        *out = Profile{};
        return true;
    }
    int code = 0;
    std::string version;
    if (text.size() == 10 && text.compare(0, 4, "code") == 0 && text[5] == '-') {
        code = text[4] - '0';
        version = text.substr(6);
    } else if (text.size() == 9 && text.compare(0, 3, "gen") == 0 && text[4] == '-') {
        code = text[3] == '1' ? 1 : text[3] == '2' ? 3 : 0;
        version = text.substr(5);
    }
    if (code < 1 || code > 5) return false;
    Profile p;
    p.productCode = code;
    if (version == "2.10") {
        p.swMajor = 2;
        p.swMinor = 10;
    } else if (version == "3.00") {
        p.swMajor = 3;
        p.swMinor = 0;
    } else if (version == "3.02") {
        p.swMajor = 3;
        p.swMinor = 2;
    } else {
        return false;
    }
    *out = p;
    return true;
}

std::vector<std::string> ProfileNames() {
    std::vector<std::string> names{"default"};
    for (int code = 1; code <= 5; ++code)
        for (const char* v : {"2.10", "3.00", "3.02"})
            names.push_back("code" + std::to_string(code) + "-" + v);
    return names;
}

// ---- remote devices -------------------------------------------------------

std::vector<RemoteDevice> BuiltInDevices() {
    return {
        {{{0x02, 0x1a, 0x7d, 0x3c, 0x11, 0x01}}, "Workshop Laptop", 0x02010c},
        {{{0x02, 0x22, 0x48, 0x5e, 0x9a, 0x02}}, "Service Phone", 0x5a020c},
        {{{0x02, 0x30, 0xc1, 0x77, 0x08, 0x03}}, "Label Printer", 0x040680},
        {{{0x02, 0x44, 0x0f, 0xa2, 0xb6, 0x04}}, "Norvane NVM-220 Gateway", 0x001f00},
    };
}

std::vector<RemoteDevice> GeneratedDevices(int count) {
    struct Kind {
        const char* name;
        uint32_t classOfDevice;
    };
    // One kind per major device class, with believable minor classes and services.
    static const Kind kinds[] = {
        {"Service Laptop", 0x02010c}, {"Phone", 0x5a020c},       {"Access Point", 0x020300},
        {"Headset", 0x240404},        {"Scanner Gun", 0x002540}, {"Label Printer", 0x040680},
        {"Meter", 0x001f00},          {"Tablet", 0x5a0114},      {"Car Kit", 0x340408},
    };
    constexpr size_t kKinds = sizeof kinds / sizeof kinds[0];
    std::vector<RemoteDevice> devices;
    for (int i = 0; i < count; ++i) {
        const Kind& kind = kinds[static_cast<size_t>(i) % kKinds];
        RemoteDevice d;
        d.address = {{0x02, 0x6e, static_cast<uint8_t>(0x31 * i + 7), static_cast<uint8_t>(i >> 8),
                      static_cast<uint8_t>(i), static_cast<uint8_t>(0xa5 ^ (i * 37))}};
        d.name = std::string(kind.name) + " " + std::to_string(i + 1);
        if (i % 4 == 3) d.name = "Unit " + std::to_string(i + 1);
        if (i == 2) d.name = "Warehouse Dispatch Label Printer"; // exactly 32 bytes
        d.classOfDevice = kind.classOfDevice;
        devices.push_back(d);
    }
    return devices;
}

bool ParseDevices(const std::string& text, std::vector<RemoteDevice>* out, std::string* error) {
    std::vector<RemoteDevice> devices;
    std::istringstream in(text);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        std::vector<std::string> tokens = Tokens(line);
        if (tokens.empty() || tokens[0][0] == '#') continue;
        RemoteDevice device;
        if (!ParseAddressTokens(tokens, 0, &device.address)) {
            if (error) *error = "line " + std::to_string(number) + ": six address bytes expected";
            return false;
        }
        size_t last = tokens.size();
        if (last > 6 && tokens[last - 1].size() > 2 && tokens[last - 1][0] == '0' &&
            (tokens[last - 1][1] == 'x' || tokens[last - 1][1] == 'X')) {
            long long cod = 0;
            if (!ParseNumber(tokens[last - 1], &cod) || cod < 0 || cod > 0xffffff) {
                if (error) *error = "line " + std::to_string(number) + ": bad class of device";
                return false;
            }
            device.classOfDevice = static_cast<uint32_t>(cod);
            --last;
        }
        for (size_t i = 6; i < last; ++i) {
            if (!device.name.empty()) device.name.push_back(' ');
            device.name += tokens[i];
        }
        if (device.name.size() > 32) device.name.resize(32);
        devices.push_back(device);
        if (devices.size() > 100) {
            if (error) *error = "more than 100 devices";
            return false;
        }
    }
    *out = devices;
    return true;
}

// ---- faults and outcomes --------------------------------------------------

bool ParseFault(const std::string& text, Fault* out, std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = "bad fault \"" + text + "\": " + why;
        return false;
    };
    const size_t colon = text.find(':');
    const std::string kind = text.substr(0, colon);
    std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
    Fault f;
    bool needsValue = true;
    if (kind == "silent") {
        f.kind = Fault::Silent;
        needsValue = false;
    } else if (kind == "split") {
        f.kind = Fault::Split;
        needsValue = false;
    } else if (kind == "ignore") {
        f.kind = Fault::Ignore;
        needsValue = false;
    } else if (kind == "opcode") {
        f.kind = Fault::Opcode;
    } else if (kind == "status") {
        f.kind = Fault::Status;
    } else if (kind == "garbage") {
        f.kind = Fault::Garbage;
    } else if (kind == "delay") {
        f.kind = Fault::Delay;
    } else {
        return fail("unknown kind");
    }
    if (colon != std::string::npos && rest.empty()) return fail("opcode missing after ':'");
    std::string op = rest;
    std::string value;
    const size_t eq = rest.find('=');
    if (eq != std::string::npos) {
        op = rest.substr(0, eq);
        value = rest.substr(eq + 1);
    }
    if (needsValue && (op.empty() || eq == std::string::npos)) return fail("needs OP=VALUE");
    if (!needsValue && eq != std::string::npos) return fail("takes no value");
    if (!op.empty()) {
        long long n = 0;
        if (!ParseNumber(op, &n) || n < 0 || n > 255) return fail("opcode must be 0 to 255");
        f.opcode = static_cast<int>(n);
    }
    if (needsValue) {
        long long n = 0;
        if (!ParseNumber(value, &n)) return fail("value is not a number");
        long long lo = 0, hi = 255;
        if (f.kind == Fault::Garbage) lo = 1, hi = 4096;
        if (f.kind == Fault::Delay) hi = 60000;
        if (n < lo || n > hi)
            return fail("value must be " + std::to_string(lo) + " to " + std::to_string(hi));
        f.value = static_cast<int>(n);
    }
    *out = f;
    return true;
}

bool ParsePairingOutcome(const std::string& text, PairingOutcome* out) {
    if (text == "complete")
        *out = PairingOutcome::Complete;
    else if (text == "timeout")
        *out = PairingOutcome::Timeout;
    else if (text == "failed")
        *out = PairingOutcome::Failed;
    else if (text == "error")
        *out = PairingOutcome::Error;
    else
        return false;
    return true;
}

} // namespace sim
