// The virtual module: command answers, settings, search and pairing runs,
// faults, and the pacing of its bytes on the simulated line.
#include "VirtualModule.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace sim {

namespace {

constexpr uint8_t kOk = 1;
constexpr uint8_t kInvalidParameter = 253;
constexpr uint8_t kFailed = 254;
constexpr uint8_t kError = 255;
constexpr uint8_t kPairingCancelled = 226;

// Transmit power the radio can actually produce; a request outside is clamped.
constexpr int kTxPowerLowest = -30;

// Whole text as a number: "0x1f" hexadecimal, otherwise decimal (a leading '-' allowed).
bool ParseNumber(const std::string& text, long long* out) {
    if (text.empty() || text.size() > 20) return false;
    size_t i = 0;
    bool negative = false;
    if (text[0] == '-') {
        negative = true;
        i = 1;
    }
    int base = 10;
    if (text.size() > i + 2 && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= text.size()) return false;
    long long value = 0;
    for (; i < text.size(); ++i) {
        const int c = static_cast<unsigned char>(text[i]);
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (base == 16 && c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (base == 16 && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return false;
        if (digit >= base) return false;
        value = value * base + digit;
        if (value > 0xffffffffLL) return false;
    }
    *out = negative ? -value : value;
    return true;
}

bool ParseByteHex(const std::string& text, uint8_t* out) {
    if (text.empty() || text.size() > 2) return false;
    long long value = 0;
    if (!ParseNumber("0x" + text, &value)) return false;
    *out = static_cast<uint8_t>(value);
    return true;
}

std::vector<std::string> Tokens(const std::string& line) {
    std::vector<std::string> tokens;
    std::istringstream in(line);
    std::string token;
    while (in >> token)
        tokens.push_back(token);
    return tokens;
}

bool ParseAddressTokens(const std::vector<std::string>& tokens, size_t from, Address* out) {
    if (tokens.size() < from + 6) return false;
    Address address{};
    for (size_t i = 0; i < 6; ++i)
        if (!ParseByteHex(tokens[from + i], &address[i])) return false;
    *out = address;
    return true;
}

std::string ProductId(int code) {
    switch (code) {
    case 1:
        return "NVM-100";
    case 2:
        return "NVM-210";
    case 3:
        return "NVM-220";
    case 4:
        return "NVM-220X";
    case 5:
        return "NVM-100";
    default:
        return "NVM";
    }
}

uint8_t Bcd(int value) {
    return static_cast<uint8_t>(((value / 10) % 10) << 4 | (value % 10));
}

uint16_t Word(const std::vector<uint8_t>& f, size_t at) {
    return static_cast<uint16_t>(f[at] << 8 | f[at + 1]);
}

void PutWord(std::vector<uint8_t>* out, uint16_t value) {
    out->push_back(static_cast<uint8_t>(value >> 8));
    out->push_back(static_cast<uint8_t>(value & 0xff));
}

// Text bytes up to the first zero.
std::string TextUpToZero(const std::vector<uint8_t>& f, size_t from, size_t count) {
    std::string text;
    for (size_t i = 0; i < count && from + i < f.size(); ++i) {
        if (f[from + i] == 0) break;
        text.push_back(static_cast<char>(f[from + i]));
    }
    return text;
}

// A passkey the radio can use: no control characters.
bool GoodPasskey(const std::string& key) {
    if (key.empty() || key.size() > 16) return false;
    for (unsigned char c : key)
        if (c < 0x20 || c == 0x7f) return false;
    return true;
}

std::string EscapeText(const std::string& text) {
    std::string out;
    char buf[8];
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7f && c != '\\') {
            out.push_back(static_cast<char>(c));
        } else {
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        }
    }
    return out;
}

std::string UnescapeText(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        uint8_t byte = 0;
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
            ParseByteHex(text.substr(i + 2, 2), &byte)) {
            out.push_back(static_cast<char>(byte));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string AddressText(const Address& a) {
    return HexBytes(a.data(), a.size());
}

} // namespace

std::string HexBytes(const uint8_t* data, size_t count) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(count * 3);
    for (size_t i = 0; i < count; ++i) {
        if (i > 0) text.push_back(' ');
        text.push_back(digits[data[i] >> 4]);
        text.push_back(digits[data[i] & 15]);
    }
    return text;
}

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

// ---- the module -----------------------------------------------------------

VirtualModule::VirtualModule(ModuleConfig cfg)
    : config(std::move(cfg)), settings(DefaultSettings(config.profile)), random(config.seed) {
    const int baud = std::max(config.baud, 1);
    byteTime = std::chrono::duration_cast<Clock::duration>(
        std::chrono::nanoseconds(static_cast<long long>(10'000'000'000LL / baud)));
}

std::array<uint8_t, 12> VirtualModule::Identity() const {
    const Profile& p = config.profile;
    std::array<uint8_t, 12> id{};
    id[0] = 0x00;
    id[1] = Bcd(p.productCode);
    id[2] = 0x20; // hardware 2005.01.1N-01 (first generation) or 2007.01.1N-01
    id[3] = p.SecondGeneration() ? 0x07 : 0x05;
    id[4] = 0x01;
    id[5] = Bcd(10 + p.productCode);
    id[6] = 0x00;
    id[7] = 0x01;
    id[8] = static_cast<uint8_t>(p.swMajor);
    id[9] = static_cast<uint8_t>(p.swMinor);
    id[10] = 0x00;
    id[11] = 0x00;
    return id;
}

std::string VirtualModule::ArticleNumber() const {
    const Profile& p = config.profile;
    std::string id = ProductId(p.productCode);
    id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
    if (p.productCode == 5) id += "E";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%s-%d%02d-A1", id.c_str(), p.swMajor, p.swMinor);
    return buf;
}

void VirtualModule::Receive(const uint8_t* data, size_t count, TimePoint now) {
    for (size_t i = 0; i < count; ++i) {
        if (input.size() >= kMaxInput) return; // the module's receive buffer overflows
        inputFreeAt = std::max(now, inputFreeAt) + byteTime;
        input.push_back({inputFreeAt, data[i]});
    }
}

void VirtualModule::Advance(TimePoint now) {
    for (;;) {
        // The earliest thing due, in time order, so that events and answers keep
        // the order a module would give them.
        enum { None, In, Stall, Hit, End, Pair } what = None;
        TimePoint when = TimePoint::max();
        if (!input.empty() && input.front().at < when) {
            what = In;
            when = input.front().at;
        }
        if (!partial.empty()) {
            const TimePoint stall = lastArrival + std::chrono::milliseconds(kStallMs);
            if (stall < when) {
                what = Stall;
                when = stall;
            }
        }
        if (search.active) {
            if (search.next < search.hits.size() && search.hits[search.next].first < when) {
                what = Hit;
                when = search.hits[search.next].first;
            } else if (search.next >= search.hits.size() && search.end < when) {
                what = End;
                when = search.end;
            }
        }
        if (pairing.active && pairing.due < when) {
            what = Pair;
            when = pairing.due;
        }
        if (what == None || when > now) return;

        switch (what) {
        case In: {
            const InByte in = input.front();
            input.pop_front();
            partial.push_back(in.byte);
            lastArrival = in.at;
            if (partial.size() >= 2 && partial.size() == size_t(partial[1]) + 2) {
                std::vector<uint8_t> frame;
                frame.swap(partial);
                HandleFrame(frame, in.at);
            }
            break;
        }
        case Stall:
            partial.clear(); // a half frame that stalled is forgotten
            break;
        case Hit: {
            const RemoteDevice& d = config.devices[search.hits[search.next].second];
            ++search.next;
            std::vector<uint8_t> event{0x60, 42, 0x01};
            event.insert(event.end(), d.address.begin(), d.address.end());
            for (size_t i = 0; i < 32; ++i)
                event.push_back(i < d.name.size() ? static_cast<uint8_t>(d.name[i]) : 0);
            for (int shift : {16, 8, 0}) // the class, high byte first
                event.push_back(static_cast<uint8_t>(d.classOfDevice >> shift));
            SendEvent(event, 0x60, when);
            break;
        }
        case End:
            EndSearch(when);
            break;
        case Pair: {
            pairing.active = false;
            const auto status = static_cast<uint8_t>(config.pairingOutcome);
            if (config.pairingOutcome == PairingOutcome::Complete) {
                settings.pairedAddress = pairing.address;
                Changed();
            }
            SendEvent({0x65, 1, status}, 0x65, when);
            break;
        }
        case None:
            return;
        }
    }
}

size_t VirtualModule::TakeOutput(TimePoint now, std::vector<uint8_t>* out) {
    size_t n = 0;
    while (!output.empty() && output.front().at <= now) {
        out->push_back(output.front().byte);
        output.pop_front();
        ++n;
    }
    return n;
}

bool VirtualModule::NextWake(TimePoint* when) const {
    TimePoint t = TimePoint::max();
    if (!output.empty()) t = std::min(t, output.front().at);
    if (!input.empty()) t = std::min(t, input.front().at);
    if (!partial.empty()) t = std::min(t, lastArrival + std::chrono::milliseconds(kStallMs));
    if (search.active) {
        if (search.next < search.hits.size())
            t = std::min(t, search.hits[search.next].first);
        else
            t = std::min(t, search.end);
    }
    if (pairing.active) t = std::min(t, pairing.due);
    if (t == TimePoint::max()) return false;
    *when = t;
    return true;
}

std::vector<std::string> VirtualModule::TakeTrace() {
    std::vector<std::string> lines;
    lines.swap(trace);
    return lines;
}

void VirtualModule::HandleFrame(const std::vector<uint8_t>& frame, TimePoint at) {
    trace.push_back("recv " + HexBytes(frame.data(), frame.size()));
    const uint8_t op = frame[0];
    const TimePoint ready = at + std::chrono::milliseconds(config.answerDelayMs);
    std::vector<uint8_t> answer = Answer(frame, at);
    if (!answer.empty()) Send(answer, op, ready);
    if (op == 0x80 && answer.size() >= 3 && answer[2] == kOk) {
        // A cancel ends what runs: the search with its end event, the pairing
        // with the cancelled event.
        if (search.active) EndSearch(ready);
        if (pairing.active) {
            pairing.active = false;
            SendEvent({0x65, 1, kPairingCancelled}, 0x65, ready);
        }
    }
}

int VirtualModule::Unsupported(uint8_t op) const {
    const Profile& p = config.profile;
    switch (op) {
    case 0x01:
    case 0x12:
    case 0x13:
    case 0x14:
    case 0x15:
    case 0x16:
    case 0x17:
    case 0x18:
    case 0x19:
    case 0x1c:
    case 0x1d:
    case 0x1e:
    case 0x1f:
    case 0x40:
    case 0x42:
    case 0x50:
    case 0x60:
    case 0x62:
    case 0x63:
    case 0x64:
    case 0x66:
    case 0x67:
    case 0x68:
    case 0x69:
    case 0x80:
        return 0;
    case 0x41:
    case 0xc0:
    case 0xc1:
    case 0xc2:
    case 0xc3:
    case 0xc4:
    case 0xc5:
    case 0xc6:
    case 0xc7:
    case 0xc8:
    case 0xc9:
    case 0xca:
    case 0xcb:
    case 0xcc:
    case 0xcd:
    case 0xd2:
    case 0xd3:
    case 0xd4:
    case 0xd5:
    case 0xd8:
    case 0xd9:
        // Software 2.x does not know these commands.
        return p.Firmware3() ? 0 : kError;
    case 0xd6:
    case 0xd7:
        // Known from software 3.00; the first generation's UART has no handshake lines.
        if (!p.Firmware3()) return kError;
        return p.SecondGeneration() ? 0 : kFailed;
    case 0xda:
    case 0xdb:
        return p.Firmware3Minor2() ? 0 : kError;
    case 0xf0:
    case 0xf1:
    case 0xf2:
    case 0xf3:
    case 0xf4:
    case 0xf5:
    case 0xf6:
    case 0xf7:
        // Known from software 3.02; only the second generation has the audio codec.
        if (!p.Firmware3Minor2()) return kError;
        return p.SecondGeneration() ? 0 : kFailed;
    default:
        return kError;
    }
}

std::vector<uint8_t> VirtualModule::Answer(const std::vector<uint8_t>& f, TimePoint at) {
    const uint8_t op = f[0];
    const size_t n = f.size() - 2; // payload length
    Settings& s = settings;
    auto status = [op](uint8_t st) { return std::vector<uint8_t>{op, 1, st}; };
    auto ok = [op](const std::vector<uint8_t>& data) {
        std::vector<uint8_t> out(data.size() + 3);
        out[0] = op;
        out[1] = static_cast<uint8_t>(data.size() + 1);
        out[2] = kOk;
        std::copy(data.begin(), data.end(), out.begin() + 3);
        return out;
    };
    auto word = [](uint16_t v) {
        return std::vector<uint8_t>{static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
    };
    auto text = [](const std::string& t) { return std::vector<uint8_t>(t.begin(), t.end()); };
    auto addr = [](const Address& a) { return std::vector<uint8_t>(a.begin(), a.end()); };
    auto done = [&]() {
        Changed();
        return status(kOk);
    };
    auto scanOk = [](uint16_t interval, uint16_t window) {
        if (interval == 0 && window == 0) return true;
        return interval >= 18 && interval <= 4096 && window >= 18 && window <= 4096 &&
               window <= interval;
    };
    auto takePower = [&](int16_t* target) {
        const int requested = static_cast<int16_t>(Word(f, 2));
        if (requested < -90 || requested > 20) return status(kInvalidParameter);
        const int highest = config.profile.SecondGeneration() ? 20 : 4;
        *target = static_cast<int16_t>(std::clamp(requested, kTxPowerLowest, highest));
        Changed();
        std::vector<uint8_t> out = status(kOk);
        out[1] = 3;
        PutWord(&out, static_cast<uint16_t>(*target));
        return out;
    };

    if (const int refuse = Unsupported(op)) return status(static_cast<uint8_t>(refuse));

    switch (op) {
    case 0x01: // probe
        if (n == 4 && f[2] == 0xff && f[3] == 0x00 && f[4] == 0x55 && f[5] == 0xaa)
            return status(kOk);
        return status(kInvalidParameter);
    case 0x12:
        return ok({s.deviceMode});
    case 0x13:
        if (n != 1 || (f[2] != 1 && f[2] != 2)) return status(kInvalidParameter);
        s.deviceMode = f[2];
        return done();
    case 0x14:
        return ok(std::vector<uint8_t>(s.serial.begin(), s.serial.end()));
    case 0x15:
        if (n != 5 || f[2] < 1 || f[2] > config.profile.HighestRateCode() || f[3] > 1 || f[4] > 2 ||
            f[5] < 5 || f[5] > 8 || f[6] < 1 || f[6] > 2)
            return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 7, s.serial.begin());
        return done();
    case 0x16:
        return ok(addr(s.connectAddress));
    case 0x17:
    case 0x19:
        if (n != 6) return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 8,
                  (op == 0x17 ? s.connectAddress : s.acceptedAddress).begin());
        return done();
    case 0x18:
        return ok(addr(s.acceptedAddress));
    case 0x1c:
        return ok(text(s.deviceName));
    case 0x1e:
        return ok(text(s.serviceName));
    case 0x1d:
    case 0x1f: {
        // The host sends the text with its terminating zero.
        const size_t limit = op == 0x1d ? 32 : 18;
        const std::string name = TextUpToZero(f, 2, n);
        if (n < 1 || n > limit || name.empty()) return status(kInvalidParameter);
        (op == 0x1d ? s.deviceName : s.serviceName) = name;
        return done();
    }
    case 0x40: {
        const std::array<uint8_t, 12> id = Identity();
        return ok(std::vector<uint8_t>(id.begin(), id.end()));
    }
    case 0x41:
        return ok(text(ArticleNumber()));
    case 0x42:
        return ok(addr(s.localAddress));
    case 0x50:
        // The module acknowledges the close notification with opcode 0x42.
        return {0x42, 1, kOk};
    case 0x60:
        if (pairing.active) return status(kFailed);
        if (n != 6 || f[2] < 1 || f[2] > 48) return status(kInvalidParameter);
        StartSearch(std::vector<uint8_t>(f.begin() + 2, f.end()), at);
        return {}; // the answers are the inquiry events
    case 0x62:
        if (s.pairedAddress == Address{}) return status(kFailed); // not paired
        return ok(addr(s.pairedAddress));
    case 0x63:
    case 0x64: {
        if (pairing.active || search.active) return status(kFailed);
        const size_t skip = op == 0x64 ? 6 : 0;
        if (n <= skip) return status(kInvalidParameter);
        const std::string key(f.begin() + 2 + skip, f.end());
        if (!GoodPasskey(key)) return status(kInvalidParameter);
        pairing.active = true;
        pairing.due = at + std::chrono::milliseconds(config.answerDelayMs + config.pairingDelayMs);
        if (op == 0x64) {
            std::copy(f.begin() + 2, f.begin() + 8, pairing.address.begin());
        } else {
            // The remote side that pairs with a waiting module: the first known device.
            pairing.address = config.devices.empty() ? Address{{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}}
                                                     : config.devices.front().address;
        }
        return status(kOk);
    }
    case 0x66:
        return ok(std::vector<uint8_t>(s.security.begin(), s.security.end()));
    case 0x67:
        if (n != 3 || f[2] > 1 || f[3] > 1 || f[4] > 1) return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 5, s.security.begin());
        return done();
    case 0x68:
        return ok(text(s.passkey));
    case 0x69: {
        const std::string key(f.begin() + 2, f.end());
        if (!GoodPasskey(key)) return status(kInvalidParameter);
        s.passkey = key;
        return done();
    }
    case 0x80:
        return status(kOk);
    case 0xc0:
        return ok({s.performance});
    case 0xc1:
        if (n != 1 || (f[2] != 1 && f[2] != 2)) return status(kInvalidParameter);
        s.performance = f[2];
        return done();
    case 0xc2:
        return ok(word(s.linkTimeout));
    case 0xc3:
        if (n != 2) return status(kInvalidParameter);
        s.linkTimeout = Word(f, 2);
        return done();
    case 0xc4:
    case 0xc6: {
        const auto& scan = op == 0xc4 ? s.inquiryScan : s.pageScan;
        std::vector<uint8_t> data = word(scan[0]);
        PutWord(&data, scan[1]);
        return ok(data);
    }
    case 0xc5:
    case 0xc7: {
        if (n != 4 || !scanOk(Word(f, 2), Word(f, 4))) return status(kInvalidParameter);
        (op == 0xc5 ? s.inquiryScan : s.pageScan) = {{Word(f, 2), Word(f, 4)}};
        return done();
    }
    case 0xc8: {
        std::vector<uint8_t> data;
        for (uint16_t v : s.sniff)
            PutWord(&data, v);
        return ok(data);
    }
    case 0xc9: {
        if (n != 8) return status(kInvalidParameter);
        const uint16_t mx = Word(f, 2), mn = Word(f, 4), at2 = Word(f, 6), to = Word(f, 8);
        if (mx == 0 && at2 == 0 && to == 0) {
            s.sniff = {{0, 0, 0, 0}}; // sniff off
            return done();
        }
        if (mx < 1 || mn < 1 || mn > mx || at2 < 1 || at2 > 32767 || to > 32767)
            return status(kInvalidParameter);
        s.sniff = {{mx, mn, at2, to}};
        return done();
    }
    case 0xca: {
        std::vector<uint8_t> data = word(s.park[0]);
        PutWord(&data, s.park[1]);
        return ok(data);
    }
    case 0xcb: {
        if (n != 4) return status(kInvalidParameter);
        const uint16_t mx = Word(f, 2), mn = Word(f, 4);
        if (!(mx == 0 && mn == 0) && (mx < 1 || mn < 1 || mn > mx))
            return status(kInvalidParameter);
        s.park = {{mx, mn}};
        return done();
    }
    case 0xcc:
        return ok(std::vector<uint8_t>(s.classOfDevice.begin(), s.classOfDevice.end()));
    case 0xcd:
        if (n != 4 || f[2] != 0) return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 6, s.classOfDevice.begin());
        return done();
    case 0xd2:
        return ok(word(static_cast<uint16_t>(s.txPowerD2)));
    case 0xd4:
        return ok(word(static_cast<uint16_t>(s.txPowerD4)));
    case 0xd3:
    case 0xd5:
        if (n != 2) return status(kInvalidParameter);
        return takePower(op == 0xd3 ? &s.txPowerD2 : &s.txPowerD4);
    case 0xd6:
        return ok({s.emulation});
    case 0xd7:
        if (n != 1 || f[2] > 2) return status(kInvalidParameter);
        s.emulation = f[2];
        return done();
    case 0xd8: {
        std::vector<uint8_t> data{s.userBaudEnabled};
        PutWord(&data, s.userBaudValue);
        return ok(data);
    }
    case 0xd9: {
        if (n != 3) return status(kInvalidParameter);
        const uint16_t value = Word(f, 3);
        if (!(f[2] == 0 && value == 0) && (f[2] > 1 || value < 1 || value > 6144))
            return status(kInvalidParameter);
        s.userBaudEnabled = f[2];
        s.userBaudValue = value;
        return done();
    }
    case 0xda: {
        std::vector<uint8_t> data{s.qosMode};
        data.insert(data.end(), s.qosLatency.begin(), s.qosLatency.end());
        return ok(data);
    }
    case 0xdb: {
        if (n != 5 || f[2] > 2) return status(kInvalidParameter);
        const uint32_t latency =
            uint32_t(f[3]) << 24 | uint32_t(f[4]) << 16 | uint32_t(f[5]) << 8 | uint32_t(f[6]);
        if (f[2] != 0 && (latency < 1 || latency > 1000000)) return status(kInvalidParameter);
        s.qosMode = f[2];
        std::copy(f.begin() + 3, f.begin() + 7, s.qosLatency.begin());
        return done();
    }
    case 0xf0: {
        std::vector<uint8_t> data{s.scoEnabled};
        PutWord(&data, s.scoPacketType);
        return ok(data);
    }
    case 0xf1: {
        if (n != 3 || f[2] > 1) return status(kInvalidParameter);
        const uint16_t type = Word(f, 3);
        const bool known = type == 0 || type == 32 || type == 64 || type == 128 || type == 256;
        if (!known || (f[2] == 1 && type == 0)) return status(kInvalidParameter);
        s.scoEnabled = f[2];
        s.scoPacketType = type;
        return done();
    }
    case 0xf2:
        return ok(word(kOutputGainMax));
    case 0xf3:
        return ok(word(s.outputGain));
    case 0xf5:
        return ok(word(kInputGainMax));
    case 0xf6:
        return ok(word(s.inputGain));
    case 0xf4:
    case 0xf7: {
        const uint16_t highest = op == 0xf4 ? kOutputGainMax : kInputGainMax;
        if (n != 2 || Word(f, 2) > highest) return status(kInvalidParameter);
        (op == 0xf4 ? s.outputGain : s.inputGain) = Word(f, 2);
        return done();
    }
    default:
        return status(kError);
    }
}

void VirtualModule::StartSearch(const std::vector<uint8_t>& payload, TimePoint at) {
    // payload: duration, class filter (4 bytes; byte 1 a major device class, 0 = any), flag
    const uint8_t major = payload[2];
    const auto total = std::chrono::milliseconds(
        static_cast<long long>(config.searchTimeMs) * payload[0] / 12 + config.answerDelayMs);
    std::vector<size_t> found;
    for (size_t i = 0; i < config.devices.size(); ++i)
        if (major == 0 || ((config.devices[i].classOfDevice >> 8) & 0x1f) == major)
            found.push_back(i);
    search = Search{};
    search.active = true;
    search.end = at + total;
    for (size_t k = 0; k < found.size(); ++k)
        search.hits.push_back(
            {at + total * static_cast<long long>(k + 1) / static_cast<long long>(found.size() + 1),
             found[k]});
}

void VirtualModule::EndSearch(TimePoint at) {
    search = Search{};
    SendEvent({0x60, 0x00}, 0x60, at);
}

void VirtualModule::SendEvent(std::vector<uint8_t> frame, int key, TimePoint ready) {
    // The host goes on reading for a moment after an answer and drops what comes
    // in that time; the module's own events never follow another frame so closely.
    Send(std::move(frame), key,
         std::max(ready, outputFreeAt + std::chrono::milliseconds(kEventGapMs)));
}

void VirtualModule::Send(std::vector<uint8_t> frame, int key, TimePoint ready) {
    bool split = false;
    for (const Fault& f : config.faults) {
        if (f.opcode >= 0 && f.opcode != key) continue;
        switch (f.kind) {
        case Fault::Silent:
            return;
        case Fault::Opcode:
            if (!frame.empty()) frame[0] = static_cast<uint8_t>(f.value);
            break;
        case Fault::Status:
            frame = {frame.empty() ? uint8_t(key) : frame[0], 1, static_cast<uint8_t>(f.value)};
            break;
        case Fault::Garbage: {
            frame.clear();
            std::uniform_int_distribution<int> byte(0, 255);
            for (int i = 0; i < f.value; ++i)
                frame.push_back(static_cast<uint8_t>(byte(random)));
            break;
        }
        case Fault::Delay:
            ready += std::chrono::milliseconds(f.value);
            break;
        case Fault::Split:
            split = true;
            break;
        }
    }
    if (frame.empty()) return;
    if (output.size() + frame.size() > kMaxOutput) return; // the module's send buffer is full
    trace.push_back("send " + HexBytes(frame.data(), frame.size()));
    Schedule(frame, ready, split);
}

void VirtualModule::Schedule(const std::vector<uint8_t>& bytes, TimePoint ready, bool split) {
    TimePoint t = std::max(ready, outputFreeAt);
    if (!split) {
        for (uint8_t b : bytes) {
            t += byteTime;
            output.push_back({t, b});
        }
        outputFreeAt = t;
        return;
    }
    // Pieces of 1 to 3 bytes with pauses of about 40 ms, the pauses together at
    // most 300 ms so that the whole answer still comes well within the host's wait.
    std::vector<size_t> pieces;
    std::uniform_int_distribution<int> size(1, 3);
    for (size_t left = bytes.size(); left > 0;) {
        const size_t piece = std::min(left, static_cast<size_t>(size(random)));
        pieces.push_back(piece);
        left -= piece;
    }
    Clock::duration pause = std::chrono::milliseconds(40);
    if (pieces.size() > 1) {
        const Clock::duration most = std::chrono::milliseconds(300) / (pieces.size() - 1);
        pause = std::min(pause, most);
    }
    size_t at = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) t += pause;
        for (size_t k = 0; k < pieces[i]; ++k) {
            t += byteTime;
            output.push_back({t, bytes[at++]});
        }
    }
    outputFreeAt = t;
}

} // namespace sim
