// SPDX-License-Identifier: Apache-2.0
// WinPortTest N [ABSENT]: proves mSerial's Win32 backend against a module on
// COM<N> (a real adapter, or under Wine the virtual module served by nvmsim with
// the port mapped to its pseudo-terminal). It opens the port through
// CreateFileA / SetCommState / SetCommTimeouts, checks the component's own
// behaviour (open twice, read time-outs, close twice, probing), then exchanges
// every command of the protocol through the Communicator: each read is checked
// for a well-formed answer, each write is read back, and the values held before
// are written back at the end. A search and a pairing run to their end events.
// COM<ABSENT> (default 9) must not exist. Prints one line per check and a
// summary; exits 0 when every check passed.
//
// The module is expected to know every group (product code 3, software 3.02);
// nvmsim serves it with --pairing complete@300 --search-time 1500 for speed.
#include "Communicator.h"
#include "mSerial.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

int checks = 0;
int failures = 0;

void Report(bool ok, const std::string& what) {
    ++checks;
    if (!ok) ++failures;
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", what.c_str());
    std::fflush(stdout);
}

// The condition runs first (it may exchange commands); the text, which shows
// what the condition found, after it.
#define CHECK(condition, text)                                                                     \
    do {                                                                                           \
        const bool passed_ = (condition);                                                          \
        Report(passed_, (text));                                                                   \
    } while (false)

using Clock = std::chrono::steady_clock;

// Wine's version when running under Wine (ntdll names it), else empty.
std::string WineVersion() {
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    if (ntdll == nullptr) return std::string();
    const FARPROC found = GetProcAddress(ntdll, "wine_get_version");
    if (found == nullptr) return std::string();
    const char* (*version)() = nullptr;
    static_assert(sizeof version == sizeof found, "function pointers differ in size");
    std::memcpy(&version, &found, sizeof version);
    const char* text = version();
    return text != nullptr ? text : "?";
}

long long MillisSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

std::string Hex(const uint8_t* bytes, int count) {
    std::string text;
    char part[4];
    for (int i = 0; i < count; ++i) {
        std::snprintf(part, sizeof part, "%s%02x", i == 0 ? "" : " ", bytes[i]);
        text += part;
    }
    return text;
}

// One command's outcome: 0 expected.
bool Ok(Communicator& comm, int32_t result, const std::string& what) {
    const bool ok = result == 0;
    CHECK(ok,
          std::string(what) +
              (ok ? "" : ": " + comm.GetErrorText(result) + " (" + std::to_string(result) + ")"));
    return ok;
}

// The serial component itself, on the port and on one that does not exist.
void SerialChecks(int32_t n, int32_t absent) {
    mSerial missing;
    SetModuleLineSettings(missing);
    missing.port = absent;
    CHECK(missing.Open() == -1 && missing.GetLastError() == 1 &&
              missing.GetLastErrorText() == "Failed to open " + mSerial::PortName(absent),
          "Open of " + mSerial::PortName(absent) + " fails with \"" + missing.GetLastErrorText() +
              "\"");

    mSerial port;
    SetModuleLineSettings(port);
    port.port = n;
    CHECK(port.Open() == 0, "Open " + mSerial::PortName(n) + " at 38400 8N1: " +
                                (port.IsOpen() ? "open" : port.GetLastErrorText()));
    if (!port.IsOpen()) return;
    CHECK(port.Open() == -1 && port.IsOpen(), "a second Open returns -1 and the port stays open");

    // Nothing arrives: the read returns 0 after about the read time-out (10 ms).
    uint8_t buffer[64];
    const auto start = Clock::now();
    const int32_t got = port.ReadBuffer(buffer, sizeof buffer);
    const long long waited = MillisSince(start);
    CHECK(got == 0 && waited >= 5 && waited < 500, "a read with nothing arriving returns " +
                                                       std::to_string(got) + " after " +
                                                       std::to_string(waited) + " ms");

    // The probe and its answer as bare bytes through WriteFile and ReadFile.
    const uint8_t probe[] = {0x01, 0x04, 0xff, 0x00, 0x55, 0xaa};
    CHECK(port.WriteBuffer(probe, sizeof probe) == static_cast<int32_t>(sizeof probe),
          "WriteFile takes the 6 bytes of the probe");
    std::vector<uint8_t> answer;
    const auto asked = Clock::now();
    while (answer.size() < 3 && MillisSince(asked) < 1000) {
        const int32_t r = port.ReadBuffer(buffer, 3 - static_cast<int32_t>(answer.size()));
        if (r > 0) answer.insert(answer.end(), buffer, buffer + r);
    }
    const std::vector<uint8_t> probeAnswer(3, 0x01); // opcode 0x01, length 1, status 1
    CHECK(answer == probeAnswer,
          "ReadFile brings the probe's answer: " + Hex(answer.data(), int(answer.size())));

    // An open port is held exclusively: probing does not count it. Wine does
    // not enforce the sharing mode of a serial device (a second CreateFileA
    // with no sharing succeeds), so there this holds on Windows only.
    std::vector<uint8_t> flags(static_cast<size_t>(n) + 1, 0);
    port.GetValidComPorts(flags.data(), n);
    const std::string wine = WineVersion();
    if (wine.empty()) {
        CHECK(flags[static_cast<size_t>(n)] == 0, "GetValidComPorts does not count the open port");
    } else {
        std::printf("note GetValidComPorts %s the open port: Wine %s does not hold serial devices "
                    "exclusively (checked on Windows only)\n",
                    flags[static_cast<size_t>(n)] != 0 ? "counts" : "does not count", wine.c_str());
    }

    CHECK(port.Close() == 0 && !port.IsOpen(), "Close returns 0");
    CHECK(port.Close() == -1 && port.GetLastErrorText() == "Close command when already closed",
          "a second Close: \"" + port.GetLastErrorText() + "\"");
    CHECK(port.ReadBuffer(buffer, 1) == -1 &&
              port.GetLastErrorText() == "Tried to read closed port",
          "a read of the closed port: \"" + port.GetLastErrorText() + "\"");

    std::fill(flags.begin(), flags.end(), 0);
    const int32_t found = port.GetValidComPorts(flags.data(), n);
    CHECK(found >= 1 && flags[static_cast<size_t>(n)] == 1,
          "GetValidComPorts finds " + mSerial::PortName(n) + " once it is closed (" +
              std::to_string(found) + " found)");
    std::fill(flags.begin(), flags.end(), 0);
    CHECK(port.GetValidComPorts(flags.data(), 0) == 0, "GetValidComPorts up to 0 probes nothing");

    // ReadTimeout 0: a read returns at once with what is buffered.
    port.ReadTimeout = 0;
    if (port.Open() == 0) {
        const auto at = Clock::now();
        const int32_t none = port.ReadBuffer(buffer, sizeof buffer);
        const long long took = MillisSince(at);
        CHECK(none == 0 && took < 50, "with ReadTimeout 0 a read returns " + std::to_string(none) +
                                          " after " + std::to_string(took) + " ms");
        port.Close();
    } else {
        CHECK(false, "Open with ReadTimeout 0: " + port.GetLastErrorText());
    }
}

// Every configuration command: each value read, changed, read back and restored.
void CommandChecks(Communicator& comm) {
    CHECK(comm.CheckConnection() == 1, "probe 0x01 answered");

    uint8_t info[12] = {};
    if (Ok(comm, comm.GetModuleInfo(info), "0x40 module information"))
        CHECK(info[0] != 0 || info[1] != 0, "module information: " + Hex(info, 12));
    std::string article;
    if (Ok(comm, comm.GetArticleNumber(article), "0x41 article number"))
        CHECK(!article.empty(), "article number \"" + article + "\"");
    uint8_t local[6] = {};
    if (Ok(comm, comm.GetLocalAddress(local), "0x42 local address"))
        CHECK(Hex(local, 6) != "00 00 00 00 00 00", "local address " + Hex(local, 6));

    uint8_t mode = 0;
    if (Ok(comm, comm.GetDeviceMode(mode), "0x12 device mode")) {
        const int32_t other = mode == 1 ? 2 : 1;
        uint8_t back = 0;
        Ok(comm, comm.SetDeviceMode(other), "0x13 set device mode");
        CHECK(comm.GetDeviceMode(back) == 0 && back == other, "device mode reads back");
        Ok(comm, comm.SetDeviceMode(mode), "device mode restored");
    }

    uint8_t serial[5] = {};
    if (Ok(comm, comm.GetSerialSettings(serial), "0x14 serial settings")) {
        Ok(comm, comm.SetSerialSettings(5, 1, 2, 7, 2), "0x15 set serial settings");
        uint8_t back[5] = {};
        CHECK(comm.GetSerialSettings(back) == 0 && Hex(back, 5) == "05 01 02 07 02",
              "serial settings read back: " + Hex(back, 5));
        Ok(comm, comm.SetSerialSettings(serial[0], serial[1], serial[2], serial[3], serial[4]),
           "serial settings restored");
    }

    const uint8_t someAddress[6] = {0x02, 0x1a, 0x7d, 0x3c, 0x11, 0x01};
    uint8_t address[6] = {};
    if (Ok(comm, comm.GetConnectAddress(address), "0x16 connect address")) {
        uint8_t back[6] = {};
        Ok(comm, comm.SetConnectAddress(someAddress), "0x17 set connect address");
        CHECK(comm.GetConnectAddress(back) == 0 && std::memcmp(back, someAddress, 6) == 0,
              "connect address reads back: " + Hex(back, 6));
        Ok(comm, comm.SetConnectAddress(address), "connect address restored");
    }
    if (Ok(comm, comm.GetAcceptedAddress(address), "0x18 accepted address")) {
        uint8_t back[6] = {};
        Ok(comm, comm.SetAcceptedAddress(someAddress), "0x19 set accepted address");
        CHECK(comm.GetAcceptedAddress(back) == 0 && std::memcmp(back, someAddress, 6) == 0,
              "accepted address reads back: " + Hex(back, 6));
        Ok(comm, comm.SetAcceptedAddress(address), "accepted address restored");
    }

    std::string name;
    int32_t length = 0;
    if (Ok(comm, comm.GetDeviceName(name, length), "0x1c device name")) {
        const std::string other = "Wine test bench";
        std::string back;
        Ok(comm,
           comm.SetDeviceName(reinterpret_cast<const uint8_t*>(other.data()),
                              int32_t(other.size())),
           "0x1d set device name");
        CHECK(comm.GetDeviceName(back, length) == 0 && back == other,
              "device name reads back: \"" + back + "\"");
        Ok(comm,
           comm.SetDeviceName(reinterpret_cast<const uint8_t*>(name.data()), int32_t(name.size())),
           "device name restored: \"" + name + "\"");
    }
    if (Ok(comm, comm.GetServiceName(name, length), "0x1e service name")) {
        const std::string other = "Serial line 7";
        std::string back;
        Ok(comm,
           comm.SetServiceName(reinterpret_cast<const uint8_t*>(other.data()),
                               int32_t(other.size())),
           "0x1f set service name");
        CHECK(comm.GetServiceName(back, length) == 0 && back == other,
              "service name reads back: \"" + back + "\"");
        Ok(comm,
           comm.SetServiceName(reinterpret_cast<const uint8_t*>(name.data()), int32_t(name.size())),
           "service name restored");
    }

    uint8_t flags[3] = {};
    if (Ok(comm, comm.GetSecurityFlags(flags), "0x66 security flags")) {
        uint8_t back[3] = {};
        Ok(comm, comm.SetSecurityFlags(!flags[0], !flags[1], !flags[2]), "0x67 set security flags");
        CHECK(comm.GetSecurityFlags(back) == 0 && back[0] == !flags[0] && back[1] == !flags[1] &&
                  back[2] == !flags[2],
              "security flags read back: " + Hex(back, 3));
        Ok(comm, comm.SetSecurityFlags(flags[0], flags[1], flags[2]), "security flags restored");
    }
    std::string passkey;
    if (Ok(comm, comm.GetPasskey(passkey), "0x68 passkey")) {
        const std::string other = "837461";
        std::string back;
        Ok(comm,
           comm.SetPasskey(reinterpret_cast<const uint8_t*>(other.data()), int32_t(other.size())),
           "0x69 set passkey");
        CHECK(comm.GetPasskey(back) == 0 && back == other, "passkey reads back: \"" + back + "\"");
        Ok(comm,
           comm.SetPasskey(reinterpret_cast<const uint8_t*>(passkey.data()),
                           int32_t(passkey.size())),
           "passkey restored");
    }

    uint8_t performance = 0;
    if (Ok(comm, comm.GetPerformanceMode(performance), "0xc0 performance mode")) {
        const int32_t other = performance == 1 ? 2 : 1;
        uint8_t back = 0;
        Ok(comm, comm.SetPerformanceMode(other), "0xc1 set performance mode");
        CHECK(comm.GetPerformanceMode(back) == 0 && back == other, "performance mode reads back");
        Ok(comm, comm.SetPerformanceMode(performance), "performance mode restored");
    }
    uint16_t linkTimeout = 0;
    if (Ok(comm, comm.GetLinkTimeout(linkTimeout), "0xc2 link time-out")) {
        uint16_t back = 0;
        Ok(comm, comm.SetLinkTimeout(12345), "0xc3 set link time-out");
        CHECK(comm.GetLinkTimeout(back) == 0 && back == 12345,
              "link time-out reads back: " + std::to_string(back));
        Ok(comm, comm.SetLinkTimeout(linkTimeout), "link time-out restored");
    }

    uint16_t interval = 0, window = 0, i2 = 0, w2 = 0;
    if (Ok(comm, comm.GetInquiryScan(interval, window), "0xc4 inquiry scan")) {
        Ok(comm, comm.SetInquiryScan(2048, 36), "0xc5 set inquiry scan");
        CHECK(comm.GetInquiryScan(i2, w2) == 0 && i2 == 2048 && w2 == 36,
              "inquiry scan reads back: " + std::to_string(i2) + "/" + std::to_string(w2));
        Ok(comm, comm.SetInquiryScan(interval, window), "inquiry scan restored");
    }
    if (Ok(comm, comm.GetPageScan(interval, window), "0xc6 page scan")) {
        Ok(comm, comm.SetPageScan(1024, 40), "0xc7 set page scan");
        CHECK(comm.GetPageScan(i2, w2) == 0 && i2 == 1024 && w2 == 40,
              "page scan reads back: " + std::to_string(i2) + "/" + std::to_string(w2));
        Ok(comm, comm.SetPageScan(interval, window), "page scan restored");
    }
    uint16_t sniff[4] = {}, sniffBack[4] = {};
    if (Ok(comm, comm.GetSniffSettings(sniff[0], sniff[1], sniff[2], sniff[3]),
           "0xc8 sniff settings")) {
        Ok(comm, comm.SetSniffSettings(800, 400, 4, 2), "0xc9 set sniff settings");
        CHECK(comm.GetSniffSettings(sniffBack[0], sniffBack[1], sniffBack[2], sniffBack[3]) == 0 &&
                  sniffBack[0] == 800 && sniffBack[1] == 400 && sniffBack[2] == 4 &&
                  sniffBack[3] == 2,
              "sniff settings read back");
        Ok(comm, comm.SetSniffSettings(sniff[0], sniff[1], sniff[2], sniff[3]),
           "sniff settings restored");
    }
    uint16_t park[2] = {}, parkBack[2] = {};
    if (Ok(comm, comm.GetParkSettings(park[0], park[1]), "0xca park settings")) {
        Ok(comm, comm.SetParkSettings(600, 300), "0xcb set park settings");
        CHECK(comm.GetParkSettings(parkBack[0], parkBack[1]) == 0 && parkBack[0] == 600 &&
                  parkBack[1] == 300,
              "park settings read back");
        Ok(comm, comm.SetParkSettings(park[0], park[1]), "park settings restored");
    }
    uint8_t cod[4] = {}, codBack[4] = {};
    const uint8_t otherCod[4] = {0x00, 0x5a, 0x02, 0x0c};
    if (Ok(comm, comm.GetClassOfDevice(cod), "0xcc class of device")) {
        Ok(comm, comm.SetClassOfDevice(otherCod), "0xcd set class of device");
        CHECK(comm.GetClassOfDevice(codBack) == 0 && std::memcmp(codBack, otherCod, 4) == 0,
              "class of device reads back: " + Hex(codBack, 4));
        Ok(comm, comm.SetClassOfDevice(cod), "class of device restored");
    }

    int16_t power = 0, powerBack = 0;
    if (Ok(comm, comm.GetMaxTxPower(power), "0xd2 maximum transmit power")) {
        int32_t asked = -6;
        Ok(comm, comm.SetMaxTxPower(asked), "0xd3 set maximum transmit power");
        CHECK(asked == -6 && comm.GetMaxTxPower(powerBack) == 0 && powerBack == -6,
              "maximum transmit power taken and read back: " + std::to_string(powerBack));
        int32_t restore = power;
        Ok(comm, comm.SetMaxTxPower(restore), "maximum transmit power restored");
    }
    if (Ok(comm, comm.GetDefaultTxPower(power), "0xd4 default transmit power")) {
        int32_t asked = -12;
        Ok(comm, comm.SetDefaultTxPower(asked), "0xd5 set default transmit power");
        CHECK(asked == -12 && comm.GetDefaultTxPower(powerBack) == 0 && powerBack == -12,
              "default transmit power taken and read back: " + std::to_string(powerBack));
        int32_t restore = power;
        Ok(comm, comm.SetDefaultTxPower(restore), "default transmit power restored");
    }
    uint8_t emulation = 0, emulationBack = 0;
    if (Ok(comm, comm.GetSerialEmulation(emulation), "0xd6 serial emulation")) {
        const int32_t other = emulation == 2 ? 1 : 2;
        Ok(comm, comm.SetSerialEmulation(other), "0xd7 set serial emulation");
        CHECK(comm.GetSerialEmulation(emulationBack) == 0 && emulationBack == other,
              "serial emulation reads back");
        Ok(comm, comm.SetSerialEmulation(emulation), "serial emulation restored");
    }
    uint8_t userOn = 0, userOnBack = 0;
    uint16_t userValue = 0, userValueBack = 0;
    if (Ok(comm, comm.GetUserBaudrate(userOn, userValue), "0xd8 user baudrate")) {
        Ok(comm, comm.SetUserBaudrate(1, 4567), "0xd9 set user baudrate");
        CHECK(comm.GetUserBaudrate(userOnBack, userValueBack) == 0 && userOnBack == 1 &&
                  userValueBack == 4567,
              "user baudrate reads back: " + std::to_string(userValueBack));
        Ok(comm, comm.SetUserBaudrate(userOn, userValue), "user baudrate restored");
    }
    uint8_t qos = 0, qosBack = 0, latency[4] = {}, latencyBack[4] = {};
    const uint8_t otherLatency[4] = {0x00, 0x00, 0x61, 0xa8}; // 25000 microseconds
    if (Ok(comm, comm.GetQualityOfService(qos, latency), "0xda quality of service")) {
        Ok(comm, comm.SetQualityOfService(1, otherLatency), "0xdb set quality of service");
        CHECK(comm.GetQualityOfService(qosBack, latencyBack) == 0 && qosBack == 1 &&
                  std::memcmp(latencyBack, otherLatency, 4) == 0,
              "quality of service reads back: " + Hex(latencyBack, 4));
        Ok(comm, comm.SetQualityOfService(qos, latency), "quality of service restored");
    }
    uint8_t sco = 0, scoBack = 0;
    uint16_t packet = 0, packetBack = 0;
    if (Ok(comm, comm.GetScoSettings(sco, packet), "0xf0 SCO settings")) {
        Ok(comm, comm.SetScoSettings(1, 128), "0xf1 set SCO settings");
        CHECK(comm.GetScoSettings(scoBack, packetBack) == 0 && scoBack == 1 && packetBack == 128,
              "SCO settings read back");
        Ok(comm, comm.SetScoSettings(sco, packet), "SCO settings restored");
    }
    uint16_t highest = 0, gain = 0, gainBack = 0;
    if (Ok(comm, comm.GetCodecOutputGainMax(highest), "0xf2 highest output gain") &&
        Ok(comm, comm.GetCodecOutputGain(gain), "0xf3 output gain")) {
        const int32_t other = gain == highest ? 0 : highest;
        Ok(comm, comm.SetCodecOutputGain(other), "0xf4 set output gain");
        CHECK(comm.GetCodecOutputGain(gainBack) == 0 && gainBack == other,
              "output gain reads back: " + std::to_string(gainBack) + " of " +
                  std::to_string(highest));
        Ok(comm, comm.SetCodecOutputGain(gain), "output gain restored");
    }
    if (Ok(comm, comm.GetCodecInputGainMax(highest), "0xf5 highest input gain") &&
        Ok(comm, comm.GetCodecInputGain(gain), "0xf6 input gain")) {
        const int32_t other = gain == highest ? 0 : highest;
        Ok(comm, comm.SetCodecInputGain(other), "0xf7 set input gain");
        CHECK(comm.GetCodecInputGain(gainBack) == 0 && gainBack == other,
              "input gain reads back: " + std::to_string(gainBack) + " of " +
                  std::to_string(highest));
        Ok(comm, comm.SetCodecInputGain(gain), "input gain restored");
    }
}

// A search to its end event, then one canceled; a pairing to its outcome.
void SearchAndPairing(Communicator& comm) {
    const uint8_t everyClass[4] = {};
    Ok(comm, comm.StartInquiry(4, everyClass, true), "0x60 search started");
    std::vector<std::string> found;
    int32_t state = 0;
    const auto start = Clock::now();
    while (MillisSince(start) < 20000) {
        state = comm.PollInquiry();
        if (state == 1 || state == 3) {
            uint8_t address[6], name[32];
            while (comm.foundCount > 0 && comm.TakeInquiryResult(address, name) >= 0)
                found.push_back(Hex(address, 6));
        }
        if (state == 2 || state == 3) break;
    }
    CHECK(state == 2 || state == 3,
          "the search ends with its end event (state " + std::to_string(state) + ")");
    CHECK(found.size() >= 1, "the search found " + std::to_string(found.size()) + " devices" +
                                 (found.empty() ? "" : ", first " + found.front()));

    Ok(comm, comm.StartInquiry(30, everyClass, true), "a long search started");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    CHECK(comm.CancelInquiry() == 1, "0x80 cancel answered");
    state = 0;
    const auto canceled = Clock::now();
    while (MillisSince(canceled) < 5000 && state != 2 && state != 3)
        state = comm.PollInquiry();
    CHECK(state == 2 || state == 3, "the canceled search ends");

    const uint8_t partner[6] = {0x02, 0x22, 0x48, 0x5e, 0x9a, 0x02};
    const std::string key = "1234";
    Ok(comm,
       comm.StartPairing(0, partner, reinterpret_cast<const uint8_t*>(key.data()),
                         uint32_t(key.size())),
       "0x64 pairing started");
    int32_t outcome = 0;
    const auto paired = Clock::now();
    while (outcome == 0 && MillisSince(paired) < 20000)
        outcome = comm.PollPairingStatus();
    CHECK(outcome == 1,
          "the pairing event reports completion (state " + std::to_string(outcome) + ")");
    uint8_t address[6] = {};
    if (Ok(comm, comm.GetPairedDevice(address), "0x62 paired device"))
        CHECK(std::memcmp(address, partner, 6) == 0, "paired with " + Hex(address, 6));

    Ok(comm, comm.NotifyClose(), "0x50 close notification answered");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::atoi(argv[1]) < 1) {
        std::fprintf(stderr, "Usage: WinPortTest N [ABSENT]   (the module on COMN)\n");
        return 2;
    }
    const int32_t n = std::atoi(argv[1]);
    const int32_t absent = argc > 2 ? std::atoi(argv[2]) : 9;

    SerialChecks(n, absent);

    mSerial port;
    SetModuleLineSettings(port);
    port.port = n;
    if (port.Open() != 0) {
        CHECK(false,
              "Open " + mSerial::PortName(n) + " for the commands: " + port.GetLastErrorText());
    } else {
        Communicator comm;
        comm.SetSerialPort(&port);
        const auto start = Clock::now();
        CommandChecks(comm);
        SearchAndPairing(comm);
        std::printf("commands exchanged in %lld ms\n", MillisSince(start));
        port.Close();
    }

    std::printf("%d checks, %d failed\n", checks, failures);
    return failures == 0 ? 0 : 1;
}
