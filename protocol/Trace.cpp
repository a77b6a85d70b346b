// SPDX-License-Identifier: Apache-2.0
// The words of the module's frames, and the trace file.
#include "Trace.h"

#include "Communicator.h"
#include "ModuleIdentity.h"

#include <cstring>

namespace {

using Direction = TraceEvent::Direction;

// Texts of a byte's values first..first + count - 1.
struct Names {
    const char* const* texts;
    int first;
    int count;
    const char* Of(int value) const {
        return value >= first && value < first + count ? texts[value - first] : nullptr;
    }
};

const char* const kRateTexts[] = {"2400",   "4800",   "9600",   "19200",  "38400",  "57600",
                                  "115200", "230400", "460800", "921600", "1382400"};
const char* const kParityTexts[] = {"None", "Odd", "Even"};
const char* const kModeTexts[] = {"Connecting", "Endpoint"};
const char* const kPerformanceTexts[] = {"Throughput", "Latency"};
const char* const kEmulationTexts[] = {"off", "DTE", "DCE"};
const char* const kOffOnTexts[] = {"off", "on"};
const Names kRates{kRateTexts, 1, 11};
const Names kParities{kParityTexts, 0, 3};
const Names kModes{kModeTexts, 1, 2};
const Names kPerformance{kPerformanceTexts, 1, 2};
const Names kEmulation{kEmulationTexts, 0, 3};
const Names kOffOn{kOffOnTexts, 0, 2};

// How a field is carried.
enum class Type {
    Byte,     // one byte
    Word,     // 16 bits, high byte first
    Signed,   // 16 bits, signed
    Address,  // a 6-byte device address
    Text,     // the rest of the frame, as text (to the first zero)
    Secret,   // the rest of the frame, a PIN code or passkey (text)
    Long,     // 4 bytes, high first
    Class,    // 4 bytes, the low 24 bits are the Class of Device
    Identity, // the 12 bytes of the module's identity
    Raw       // the rest of the frame, as bytes
};

struct Field {
    Type type;
    const char* name;
    const Names* names = nullptr;
};

struct Operation {
    uint8_t opcode;
    const char* name;
    std::vector<Field> request; // payload of the command
    std::vector<Field> answer;  // data of the answer, after the status
};

const std::vector<Operation>& Operations() {
    using T = Type;
    static const std::vector<Operation> table = {
        {0x01, "CheckConnection", {{T::Raw, "probe"}}, {}},
        {0x12, "GetDeviceMode", {}, {{T::Byte, "mode", &kModes}}},
        {0x13, "SetDeviceMode", {{T::Byte, "mode", &kModes}}, {}},
        {0x14,
         "GetSerialSettings",
         {},
         {{T::Byte, "rate code", &kRates},
          {T::Byte, "flow control"},
          {T::Byte, "parity", &kParities},
          {T::Byte, "data bits"},
          {T::Byte, "stop bits"}}},
        {0x15,
         "SetSerialSettings",
         {{T::Byte, "rate code", &kRates},
          {T::Byte, "flow control"},
          {T::Byte, "parity", &kParities},
          {T::Byte, "data bits"},
          {T::Byte, "stop bits"}},
         {}},
        {0x16, "GetConnectAddress", {}, {{T::Address, "address"}}},
        {0x17, "SetConnectAddress", {{T::Address, "address"}}, {}},
        {0x18, "GetAcceptedAddress", {}, {{T::Address, "address"}}},
        {0x19, "SetAcceptedAddress", {{T::Address, "address"}}, {}},
        {0x1C, "GetDeviceName", {}, {{T::Text, "name"}}},
        {0x1D, "SetDeviceName", {{T::Text, "name"}}, {}},
        {0x1E, "GetServiceName", {}, {{T::Text, "service name"}}},
        {0x1F, "SetServiceName", {{T::Text, "service name"}}, {}},
        {0x40, "GetModuleInfo", {}, {{T::Identity, "identity"}}},
        {0x41, "GetArticleNumber", {}, {{T::Text, "article number"}}},
        {0x42, "GetLocalAddress", {}, {{T::Address, "local address"}}},
        {0x50, "NotifyClose", {}, {}},
        {0x62, "GetPairedDevice", {}, {{T::Address, "paired address"}}},
        {0x66,
         "GetSecurityFlags",
         {},
         {{T::Byte, "encryption required"},
          {T::Byte, "authentication required"},
          {T::Byte, "passkey used"}}},
        {0x67,
         "SetSecurityFlags",
         {{T::Byte, "encryption required"},
          {T::Byte, "authentication required"},
          {T::Byte, "passkey used"}},
         {}},
        {0x68, "GetPasskey", {}, {{T::Secret, "passkey"}}},
        {0x69, "SetPasskey", {{T::Secret, "passkey"}}, {}},
        {0xC0, "GetPerformanceMode", {}, {{T::Byte, "mode", &kPerformance}}},
        {0xC1, "SetPerformanceMode", {{T::Byte, "mode", &kPerformance}}, {}},
        {0xC2, "GetLinkTimeout", {}, {{T::Word, "link timeout"}}},
        {0xC3, "SetLinkTimeout", {{T::Word, "link timeout"}}, {}},
        {0xC4, "GetInquiryScan", {}, {{T::Word, "interval"}, {T::Word, "window"}}},
        {0xC5, "SetInquiryScan", {{T::Word, "interval"}, {T::Word, "window"}}, {}},
        {0xC6, "GetPageScan", {}, {{T::Word, "interval"}, {T::Word, "window"}}},
        {0xC7, "SetPageScan", {{T::Word, "interval"}, {T::Word, "window"}}, {}},
        {0xC8,
         "GetSniffSettings",
         {},
         {{T::Word, "max interval"},
          {T::Word, "min interval"},
          {T::Word, "attempt"},
          {T::Word, "timeout"}}},
        {0xC9,
         "SetSniffSettings",
         {{T::Word, "max interval"},
          {T::Word, "min interval"},
          {T::Word, "attempt"},
          {T::Word, "timeout"}},
         {}},
        {0xCA, "GetParkSettings", {}, {{T::Word, "max interval"}, {T::Word, "min interval"}}},
        {0xCB, "SetParkSettings", {{T::Word, "max interval"}, {T::Word, "min interval"}}, {}},
        {0xCC, "GetClassOfDevice", {}, {{T::Class, "class of device"}}},
        {0xCD, "SetClassOfDevice", {{T::Class, "class of device"}}, {}},
        {0xD2, "GetMaxTxPower", {}, {{T::Signed, "power"}}},
        {0xD3, "SetMaxTxPower", {{T::Signed, "power"}}, {{T::Signed, "power taken"}}},
        {0xD4, "GetDefaultTxPower", {}, {{T::Signed, "power"}}},
        {0xD5, "SetDefaultTxPower", {{T::Signed, "power"}}, {{T::Signed, "power taken"}}},
        {0xD6, "GetSerialEmulation", {}, {{T::Byte, "emulation", &kEmulation}}},
        {0xD7, "SetSerialEmulation", {{T::Byte, "emulation", &kEmulation}}, {}},
        {0xD8, "GetUserBaudrate", {}, {{T::Byte, "enabled", &kOffOn}, {T::Word, "value"}}},
        {0xD9, "SetUserBaudrate", {{T::Byte, "enabled", &kOffOn}, {T::Word, "value"}}, {}},
        {0xDA, "GetQualityOfService", {}, {{T::Byte, "mode"}, {T::Long, "latency"}}},
        {0xDB, "SetQualityOfService", {{T::Byte, "mode"}, {T::Long, "latency"}}, {}},
        {0xF0, "GetScoSettings", {}, {{T::Byte, "enabled", &kOffOn}, {T::Word, "packet type"}}},
        {0xF1, "SetScoSettings", {{T::Byte, "enabled", &kOffOn}, {T::Word, "packet type"}}, {}},
        {0xF2, "GetCodecOutputGainMax", {}, {{T::Word, "max output gain"}}},
        {0xF3, "GetCodecOutputGain", {}, {{T::Word, "output gain"}}},
        {0xF4, "SetCodecOutputGain", {{T::Word, "output gain"}}, {}},
        {0xF5, "GetCodecInputGainMax", {}, {{T::Word, "max input gain"}}},
        {0xF6, "GetCodecInputGain", {}, {{T::Word, "input gain"}}},
        {0xF7, "SetCodecInputGain", {{T::Word, "input gain"}}, {}},
    };
    return table;
}

const Operation* Find(uint8_t opcode) {
    for (const Operation& op : Operations())
        if (op.opcode == opcode) return &op;
    return nullptr;
}

std::string Number(long value) {
    return std::to_string(value);
}

std::string Hex(unsigned long value, int digits) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%0*lX", digits, value);
    return text;
}

// Reads fields out of bytes[at, end) and puts their words in `out`.
class Reader {
  public:
    Reader(const uint8_t* bytes, size_t at, size_t end, bool hideSecrets = false)
        : bytes(bytes), at(at), end(end), hideSecrets(hideSecrets) {}

    size_t Left() const { return at < end ? end - at : 0; }

    void Add(const std::string& words) {
        if (!out.empty()) out += ", ";
        out += words;
    }

    // false (and says so) when the frame ends before the field.
    bool Need(size_t count, const char* name) {
        if (Left() >= count) return true;
        if (!cut) Add(std::string(name) + " missing"); // the first only
        cut = true;
        at = end;
        return false;
    }

    unsigned Take() { return bytes[at++]; }
    unsigned TakeWord() {
        const unsigned high = Take();
        return high << 8 | Take();
    }
    unsigned long TakeLong() {
        unsigned long value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | Take();
        return value;
    }

    void Address(const char* name) {
        if (!Need(6, name)) return;
        std::string text;
        for (int i = 0; i < 6; ++i) {
            char part[4];
            std::snprintf(part, sizeof part, i == 0 ? "%02X" : ":%02X", Take());
            text += part;
        }
        Add(std::string(name) + " " + text);
    }

    // Up to `limit` bytes as a text, to the first zero; bytes that are not
    // printable are shown as \xNN.
    void Text(const char* name, size_t limit, bool secret = false) {
        const size_t count = Left() < limit ? Left() : limit;
        if (secret && hideSecrets) {
            const size_t length = CharactersOf(bytes + at, count);
            Add(std::string(name) + " (hidden, " + Number(long(length)) +
                (length == 1 ? " character)" : " characters)"));
            at += count;
            return;
        }
        std::string text;
        size_t i = 0;
        for (; i < count && bytes[at + i] != 0; ++i) {
            const unsigned char c = bytes[at + i];
            if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
                text += char(c);
            } else {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
                text += escaped;
            }
        }
        std::string words = std::string(name) + " \"" + text + "\" (" + Number(long(i)) + ")";
        at += count;
        Add(words);
    }

    void Do(const Field& field) {
        switch (field.type) {
        case Type::Byte: {
            if (!Need(1, field.name)) return;
            const unsigned value = Take();
            std::string words = std::string(field.name) + " " + Number(value);
            if (field.names != nullptr) {
                const char* text = field.names->Of(int(value));
                words += text != nullptr ? std::string(" (") + text + ")" : " (not known)";
            }
            Add(words);
            return;
        }
        case Type::Word:
            if (Need(2, field.name)) Add(std::string(field.name) + " " + Number(TakeWord()));
            return;
        case Type::Signed:
            if (Need(2, field.name))
                Add(std::string(field.name) + " " + Number(int16_t(uint16_t(TakeWord()))));
            return;
        case Type::Address:
            Address(field.name);
            return;
        case Type::Text:
        case Type::Secret:
            Text(field.name, Left(), field.type == Type::Secret);
            return;
        case Type::Raw:
            if (Left() > 0) Add(std::string(field.name) + " " + HexBytes(bytes + at, Left()));
            at = end;
            return;
        case Type::Long:
            if (Need(4, field.name)) {
                const unsigned long value = TakeLong();
                Add(std::string(field.name) + " " + Hex(value, 8) + " (" + Number(long(value)) +
                    ")");
            }
            return;
        case Type::Class:
            if (Need(4, field.name)) Add(std::string(field.name) + " " + Hex(TakeLong(), 8));
            return;
        case Type::Identity: {
            if (!Need(12, field.name)) return;
            uint8_t info[12];
            std::memcpy(info, bytes + at, sizeof info);
            at += sizeof info;
            const ModuleIdentity id = DecodeModuleIdentity(info);
            Add("product code " + Number(id.productCode) + " (" + id.productId + "), hardware " +
                id.hardwareVersion + ", software " + id.softwareVersion);
            return;
        }
        }
    }

    // What is left after the fields the frame should carry.
    void Rest() {
        if (Left() == 0) return;
        Add("extra bytes " + HexBytes(bytes + at, Left()));
        at = end;
    }

    std::string out;

  private:
    bool cut = false;
    const uint8_t* bytes;
    size_t at;
    size_t end;
    bool hideSecrets;
};

std::string StatusWords(unsigned status) {
    if (status == 1) return "1 (success)";
    const char* text = Communicator::StatusTextOf(int32_t(status));
    return Number(status) + (text != nullptr ? std::string(" (") + text + ")" : " (not known)");
}

// The end of the frame's bytes as its length byte gives it, within size.
size_t FrameEnd(const uint8_t* bytes, size_t size) {
    if (size < 2) return size;
    const size_t declared = 2 + size_t(bytes[1]);
    return declared < size ? declared : size;
}

void DecodeInquiryEvent(const uint8_t* bytes, size_t size, DecodedFrame& d) {
    d.operation = "InquiryEvent";
    const size_t end = FrameEnd(bytes, size);
    const unsigned length = bytes[1];
    Reader r(bytes, 2, end);
    if (length == 0) {
        r.Add("end of search");
    } else if (length < 8) {
        r.Add("too short, not used");
    } else if (r.Need(1, "first byte")) {
        r.Take(); // not interpreted
        r.Address("address");
        if (length == 8) {
            if (r.Need(1, "last byte")) r.Take(); // not interpreted
        } else {
            r.Text("name", 32);
            if (length >= 42 && r.Need(3, "class")) {
                unsigned long cod = r.Take();
                cod = cod << 8 | r.Take();
                cod = cod << 8 | r.Take();
                r.Add("class " + Hex(cod, 6));
            }
        }
    }
    r.Rest();
    d.fields = r.out;
    if (size > end) d.fields += ", after the frame " + HexBytes(bytes + end, size - end);
}

} // namespace

std::string DecodedFrame::Words() const {
    std::string words = operation;
    if (opcode >= 0) words += " (" + Hex(unsigned(opcode), 2) + ")";
    if (!marks.empty()) words += " [" + marks + "]";
    if (!status.empty() || !fields.empty()) words += ":";
    if (!status.empty()) words += " status " + status + (fields.empty() ? "" : ";");
    if (!fields.empty()) words += " " + fields;
    return words;
}

size_t CharactersOf(const uint8_t* bytes, size_t size) {
    size_t count = 0;
    while (count < size && bytes[count] != 0)
        ++count;
    return count;
}

std::string HexBytes(const uint8_t* bytes, size_t size) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(size * 3);
    for (size_t i = 0; i < size; ++i) {
        if (i > 0) text += ' ';
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

SecretSpan SecretBytes(Direction direction, const uint8_t* bytes, size_t size) {
    if (bytes == nullptr || size < 2) return {};
    const size_t end = FrameEnd(bytes, size);
    size_t first = end;
    if (direction == Direction::Receive) {
        // The PIN code the module answers with; a refusal carries none.
        if (bytes[0] == 0x68 && end >= 3 && bytes[2] == 1) first = 3;
    } else if (bytes[0] == 0x69 || bytes[0] == 0x63) {
        first = 2;
    } else if (bytes[0] == 0x64) {
        first = 8; // after the remote device's address
    }
    return first < end ? SecretSpan{first, end} : SecretSpan{};
}

DecodedFrame DecodeFrame(Direction direction, const uint8_t* bytes, size_t size, int lastSent,
                         bool hideSecrets) {
    DecodedFrame d;
    if (bytes == nullptr || size == 0) {
        d.operation = "empty frame";
        return d;
    }
    const uint8_t opcode = bytes[0];
    d.opcode = opcode;
    d.known = true;
    if (size < 2) {
        const Operation* op = Find(opcode);
        d.operation = op != nullptr ? op->name : "unknown frame";
        d.known = op != nullptr;
        d.fields = "length missing";
        return d;
    }
    const size_t end = FrameEnd(bytes, size);
    const bool send = direction == Direction::Send;

    // Search and pairing frames.
    if (opcode == 0x60 && !send) {
        DecodeInquiryEvent(bytes, size, d);
        return d;
    }
    Reader r(bytes, send ? 2 : 3, end, hideSecrets);
    const auto finish = [&] {
        r.Rest();
        d.fields = r.out;
        if (size > end) {
            d.fields += (d.fields.empty() ? "" : ", ") + std::string("after the frame ") +
                        HexBytes(bytes + end, size - end);
        }
        return d;
    };
    if (!send && end >= 3) d.status = StatusWords(bytes[2]);
    switch (opcode) {
    case 0x60:
        d.operation = "StartInquiry";
        if (r.Need(1, "duration")) r.Add("duration " + Number(r.Take()));
        r.Do({Type::Class, "class filter"});
        if (r.Need(1, "flag")) r.Add("flag " + Number(r.Take()));
        return finish();
    case 0x80:
        d.operation = "CancelInquiry";
        return finish();
    case 0x63:
        d.operation = "StartPairing";
        if (send) {
            r.Add("remote initiates");
            r.Text("passkey", r.Left(), true);
        }
        return finish();
    case 0x64:
        d.operation = "StartPairing";
        if (send) {
            r.Add("local initiates");
            r.Address("address");
            r.Text("passkey", r.Left(), true);
        }
        return finish();
    case 0x65:
        d.operation = send ? "PairingEvent (sent by the host)" : "PairingEvent";
        return finish();
    default:
        break;
    }
    if (!send && opcode == 0x42 && lastSent == 0x50) {
        d.operation = "NotifyClose";
        return finish();
    }
    const Operation* op = Find(opcode);
    if (op == nullptr) {
        d.known = false;
        d.operation = "unknown frame";
        d.status.clear();
        return d;
    }
    d.operation = op->name;
    // An answer without a status carries nothing; a refused command's answer
    // carries no data, and whatever comes is shown raw.
    if (!send && end < 3) return finish();
    if (!send && bytes[2] != 1) {
        if (opcode == 0x62 && bytes[2] == 254) r.Add("not paired");
        return finish();
    }
    for (const Field& field : send ? op->request : op->answer)
        r.Do(field);
    return finish();
}

DecodedFrame DecodeEvent(const TraceEvent& event, int lastSent, bool hideSecrets) {
    const uint8_t* bytes = event.bytes.data();
    const size_t size = event.bytes.size();
    if (event.kind == TraceEvent::Kind::Dropped) {
        DecodedFrame d;
        d.operation = "dropped bytes";
        d.fields = Number(long(size)) + (size == 1 ? " byte" : " bytes");
        return d;
    }
    DecodedFrame d = DecodeFrame(event.direction, bytes, size, lastSent, hideSecrets);
    std::string marks;
    if (event.kind == TraceEvent::Kind::Partial) marks += "partial frame";
    if (event.queued) marks += std::string(marks.empty() ? "" : ", ") + "queued event";
    if (event.fromKept) marks += std::string(marks.empty() ? "" : ", ") + "from kept bytes";
    d.marks = marks;
    return d;
}

std::string TraceLine(double milliseconds, const TraceEvent& event, const DecodedFrame& words,
                      bool hideSecrets) {
    char time[32];
    std::snprintf(time, sizeof time, "%10.3f", milliseconds);
    std::string hex = HexBytes(event.bytes.data(), event.bytes.size());
    if (hideSecrets) {
        const SecretSpan secret =
            SecretBytes(event.direction, event.bytes.data(), event.bytes.size());
        for (size_t i = secret.first; i < secret.end; ++i)
            hex.replace(i * 3, 2, "**");
    }
    return std::string(time) + (event.direction == Direction::Send ? " send " : " recv ") + hex +
           " | " + words.Words();
}

TraceWriter::TraceWriter(std::FILE* file) : file(file), start(std::chrono::steady_clock::now()) {}

void TraceWriter::operator()(const TraceEvent& event) {
    std::lock_guard<std::mutex> lock(mutex);
    const DecodedFrame words = DecodeEvent(event, lastSent);
    if (event.direction == Direction::Send && !event.bytes.empty()) lastSent = event.bytes[0];
    const double ms = std::chrono::duration<double, std::milli>(event.time - start).count();
    const std::string line = TraceLine(ms, event, words) + "\n";
    if (file == nullptr) return;
    std::fwrite(line.data(), 1, line.size(), file);
    std::fflush(file);
}

TraceObserver TraceWriter::Observer() {
    return [this](const TraceEvent& event) { (*this)(event); };
}
