// SPDX-License-Identifier: Apache-2.0
// nvmquery DEVICE: opens DEVICE as the tool opens its port, checks that a
// module answers, and prints everything the module tells about itself, in the
// order in which the tool reads it.
#include "Communicator.h"
#include "ModuleIdentity.h"
#include "mSerial.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string Hex(const uint8_t* data, int count) {
    std::string text;
    char buf[4];
    for (int i = 0; i < count; ++i) {
        std::snprintf(buf, sizeof buf, i ? " %02x" : "%02x", data[i]);
        text += buf;
    }
    return text;
}

// Printable form of a text from the module.
std::string Shown(const std::string& text) {
    std::string out = "\"";
    char buf[8];
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7f) {
            out.push_back(static_cast<char>(c));
        } else {
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        }
    }
    return out + "\"";
}

struct Query {
    Communicator& c;

    // Prints "label (0xOP): " and then either the value or the failure.
    bool Line(const char* label, int opcode, int32_t result, const std::string& value) {
        std::printf("%-28s(0x%02X): ", label, opcode);
        if (result == 0) {
            std::printf("%s\n", value.c_str());
            return true;
        }
        std::printf("failed (%d) %s\n", result, c.GetErrorText(result).c_str());
        return false;
    }
};

const char* RateText(int code) {
    static const char* const rates[] = {"2400",   "4800",   "9600",   "19200",  "38400",  "57600",
                                        "115200", "230400", "460800", "921600", "1382400"};
    return code >= 1 && code <= 11 ? rates[code - 1] : "unknown";
}

std::string Words(uint16_t a, uint16_t b) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "interval %u, window %u%s", a, b,
                  a == 0 && b == 0 ? " (off)" : "");
    return buf;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::strcmp(argv[1], "--help") == 0) {
        std::fprintf(argc == 2 ? stdout : stderr,
                     "Usage: nvmquery DEVICE\n"
                     "Opens DEVICE at 38400 bits per second, checks that a module answers and\n"
                     "prints its identity and every setting it reports. Exit status 1 when no\n"
                     "module answers.\n");
        return argc == 2 ? 0 : 2;
    }
    const std::string device = argv[1];
    PortTable::Set({device});
    mSerial port;
    SetModuleLineSettings(port);
    port.port = 1;
    if (port.Open() != 0) {
        std::fprintf(stderr, "nvmquery: %s (%s): %s\n", mSerial::PortName(1).c_str(),
                     device.c_str(), port.GetLastErrorText().c_str());
        return 1;
    }
    Communicator c;
    c.SetSerialPort(&port);
    std::printf("Device: %s at 38400 bits per second\n", device.c_str());
    const int32_t probe = c.CheckConnection();
    if (probe != 1) {
        std::printf("No module answers: %s\n", c.GetErrorText(probe).c_str());
        port.Close();
        return 1;
    }
    std::printf("Connection: a module answers\n\n");
    Query q{c};

    // General: identity first, it tells which groups the module has.
    std::printf("[General]\n");
    uint8_t id[12] = {};
    bool firmware3 = false, minor2 = false, secondGeneration = true;
    int32_t r = c.GetModuleInfo(id);
    if (q.Line("Identity", 0x40, r, Hex(id, 12))) {
        const ModuleIdentity mi = DecodeModuleIdentity(id);
        std::printf("  Product code: %ld (%s)\n", mi.productCode, mi.productId.c_str());
        std::printf("  Hardware version: %s\n", mi.hardwareVersion.c_str());
        std::printf("  Software version: %s\n", mi.softwareVersion.c_str());
        firmware3 = mi.firmware3;
        minor2 = mi.firmware3Minor2;
        secondGeneration = mi.secondGeneration;
    }
    std::string text;
    int32_t full = 0;
    if (firmware3) {
        r = c.GetArticleNumber(text);
        q.Line("Article number", 0x41, r, Shown(text));
    } else {
        std::printf("%-28s(0x41): N/A (software below 3.00)\n", "Article number");
    }
    r = c.GetDeviceName(text, full);
    q.Line("Device name", 0x1c, r, Shown(text));
    r = c.GetServiceName(text, full);
    q.Line("Service name", 0x1e, r, Shown(text));
    uint8_t addr[6] = {};
    r = c.GetLocalAddress(addr);
    q.Line("Bluetooth address", 0x42, r, Hex(addr, 6));

    std::printf("\n[Serial port]\n");
    uint8_t s[5] = {};
    char buf[160];
    r = c.GetSerialSettings(s);
    std::snprintf(buf, sizeof buf,
                  "speed %s (code %d), flow control %s, parity %s, data bits %d, stop bits %d",
                  RateText(s[0]), s[0], s[1] ? "on" : "off",
                  s[2] == 0   ? "none"
                  : s[2] == 1 ? "odd"
                  : s[2] == 2 ? "even"
                              : "unknown",
                  s[3], s[4]);
    q.Line("Serial settings", 0x14, r, buf);
    uint8_t b = 0;
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    if (firmware3) {
        r = c.GetUserBaudrate(b, w1);
        std::snprintf(buf, sizeof buf, "%s, value %u (%.2f bits per second)",
                      b == 1 ? "enabled" : "disabled", w1, w1 * 244.140625);
        q.Line("User defined baudrate", 0xd8, r, buf);
    }

    std::printf("\n[Endpoint and connecting]\n");
    r = c.GetDeviceMode(b);
    q.Line("Device mode", 0x12, r, b == 1 ? "1 (connecting)" : "2 (endpoint)");
    r = c.GetPairedDevice(addr);
    const bool paired = std::memcmp(addr, "\0\0\0\0\0\0", 6) != 0;
    q.Line("Paired device", 0x62, r, paired ? Hex(addr, 6) : "not paired");
    r = c.GetAcceptedAddress(addr);
    q.Line("Accepted address", 0x18, r, Hex(addr, 6));
    uint8_t f[3] = {};
    r = c.GetSecurityFlags(f);
    std::snprintf(buf, sizeof buf, "encryption %d, authentication %d, passkey %d", f[0], f[1],
                  f[2]);
    q.Line("Security flags", 0x66, r, buf);
    r = c.GetPasskey(text);
    q.Line("Passkey", 0x68, r, Shown(text));
    r = c.GetConnectAddress(addr);
    q.Line("Connect address", 0x16, r, Hex(addr, 6));

    if (!firmware3) {
        std::printf("\nThe advanced groups need software 3.00 or later.\n");
        port.Close();
        return 0;
    }
    std::printf("\n[Power save]\n");
    r = c.GetSniffSettings(w1, w2, w3, w4);
    std::snprintf(buf, sizeof buf, "max interval %u, min interval %u, attempt %u, timeout %u%s", w1,
                  w2, w3, w4, w1 || w2 || w3 || w4 ? "" : " (off)");
    q.Line("Sniff", 0xc8, r, buf);
    r = c.GetParkSettings(w1, w2);
    std::snprintf(buf, sizeof buf, "beacon max %u, beacon min %u%s", w1, w2,
                  w1 || w2 ? "" : " (off)");
    q.Line("Park", 0xca, r, buf);

    std::printf("\n[Scan and output power]\n");
    r = c.GetInquiryScan(w1, w2);
    q.Line("Inquiry scan", 0xc4, r, Words(w1, w2));
    r = c.GetPageScan(w1, w2);
    q.Line("Page scan", 0xc6, r, Words(w1, w2));
    int16_t power = 0;
    r = c.GetMaxTxPower(power);
    q.Line("Default TX power (page)", 0xd2, r, std::to_string(power) + " dBm");
    r = c.GetDefaultTxPower(power);
    q.Line("Max TX power (page)", 0xd4, r, std::to_string(power) + " dBm");

    std::printf("\n[Other]\n");
    r = c.GetPerformanceMode(b);
    q.Line("Performance", 0xc0, r,
           std::to_string(b) + (b == 1   ? " (throughput)"
                                : b == 2 ? " (latency)"
                                         : ""));
    uint8_t cod[4] = {};
    r = c.GetClassOfDevice(cod);
    q.Line("Class of device", 0xcc, r, Hex(cod, 4));
    if (secondGeneration) {
        r = c.GetSerialEmulation(b);
        q.Line("Serial emulation", 0xd6, r,
               std::to_string(b) + (b == 0   ? " (off)"
                                    : b == 1 ? " (DTE)"
                                    : b == 2 ? " (DCE)"
                                             : ""));
    }
    r = c.GetLinkTimeout(w1);
    std::snprintf(buf, sizeof buf, "%u slots (%.1f s)%s", w1, w1 / 1600.0, w1 ? "" : " off");
    q.Line("Link timeout", 0xc2, r, buf);
    if (minor2) {
        uint8_t latency[4] = {};
        r = c.GetQualityOfService(b, latency);
        const unsigned long us = static_cast<unsigned long>(latency[0]) << 24 |
                                 static_cast<unsigned long>(latency[1]) << 16 |
                                 static_cast<unsigned long>(latency[2]) << 8 | latency[3];
        std::snprintf(buf, sizeof buf, "mode %d, latency %lu microseconds", b, us);
        q.Line("Quality of service", 0xda, r, buf);
    }

    if (secondGeneration && minor2) {
        std::printf("\n[Audio (SCO)]\n");
        r = c.GetScoSettings(b, w1);
        std::snprintf(buf, sizeof buf, "%s, packet type %u", b ? "enabled" : "disabled", w1);
        q.Line("SCO", 0xf0, r, buf);
        r = c.GetCodecOutputGainMax(w1);
        q.Line("Codec output gain max", 0xf2, r, std::to_string(w1));
        r = c.GetCodecOutputGain(w1);
        q.Line("Codec output gain", 0xf3, r, std::to_string(w1));
        r = c.GetCodecInputGainMax(w1);
        q.Line("Codec input gain max", 0xf5, r, std::to_string(w1));
        r = c.GetCodecInputGain(w1);
        q.Line("Codec input gain", 0xf6, r, std::to_string(w1));
    }
    port.Close();
    return 0;
}
