// SPDX-License-Identifier: Apache-2.0
// VirtualModule: a byte-in/bytes-out model of an adapter module. The host's
// bytes go in with the time they were read; the module parses them into frames
// by their length byte, keeps every setting the commands read and write, runs
// device searches and pairings on a clock, and hands out its answer bytes paced
// at the line speed. Nothing here blocks or sleeps: the caller (SimServer, or a
// test with its own clock) decides when time passes.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <vector>

namespace sim {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Address = std::array<uint8_t, 6>;

// Which module is simulated: the product code and the software version decide
// the identity answer and which command groups exist.
struct Profile {
    int productCode = 3; // 1 to 5
    int swMajor = 3;
    int swMinor = 2;

    bool Firmware3() const { return swMajor >= 3; }
    bool Firmware3Minor2() const { return Firmware3() && swMinor >= 2; }
    bool SecondGeneration() const { return productCode >= 2 && productCode <= 4; }
    // Highest serial rate code the module's UART can run (1 to 11).
    int HighestRateCode() const;
    // "codeN-X.YY".
    std::string Name() const;
};

// "default" (code3-3.02), "codeN-X.YY" with N 1 to 5 and X.YY one of 2.10,
// 3.00, 3.02, and the aliases "gen1-X.YY" (code 1) and "gen2-X.YY" (code 3).
bool ParseProfile(const std::string& text, Profile* out);
// Every profile name ParseProfile accepts, "default" first.
std::vector<std::string> ProfileNames();

// A remote device that a search finds.
struct RemoteDevice {
    Address address{};
    std::string name;                  // at most 32 bytes go on the wire
    uint32_t classOfDevice = 0x001f00; // 24-bit Class of Device
};

std::vector<RemoteDevice> BuiltInDevices();
// `count` devices of every kind: distinct addresses, names of varied length
// up to 32 bytes (one of exactly 32 from three devices on), several classes.
std::vector<RemoteDevice> GeneratedDevices(int count);
// One device a line: six hexadecimal address bytes, the name (may hold single
// spaces), and optionally the class as 0x followed by hexadecimal digits at the
// end of the line. Blank lines and lines starting with '#' are skipped.
bool ParseDevices(const std::string& text, std::vector<RemoteDevice>* out, std::string* error);

// A misbehaviour on request. opcode -1 means every frame.
struct Fault {
    // Ignore: the module answers a write as taken but keeps what it held.
    enum Kind { Silent, Opcode, Status, Split, Garbage, Delay, Ignore };
    Kind kind = Silent;
    int opcode = -1;
    int value = 0;
};

// "silent", "silent:OP", "opcode:OP=NEW", "status:OP=N", "split", "split:OP",
// "garbage:OP=N", "delay:OP=MS", "ignore", "ignore:OP"; OP and the values in hexadecimal (0x..) or
// decimal.
bool ParseFault(const std::string& text, Fault* out, std::string* error);

// Status byte of the pairing event.
enum class PairingOutcome : uint8_t { Complete = 1, Timeout = 224, Failed = 225, Error = 227 };
// "complete", "timeout", "failed" or "error".
bool ParsePairingOutcome(const std::string& text, PairingOutcome* out);

// Everything the module remembers across commands (and, with a state file,
// across restarts).
struct Settings {
    std::string deviceName;
    std::string serviceName;
    Address localAddress{};
    uint8_t deviceMode = 2; // 1 connecting, 2 endpoint
    // rate code, flow control, parity, data bits, stop bits
    std::array<uint8_t, 5> serial{{5, 0, 0, 8, 1}};
    Address connectAddress{};
    Address acceptedAddress{};
    Address pairedAddress{}; // all zero: not paired
    // encryption required, authentication required, passkey used
    std::array<uint8_t, 3> security{{0, 0, 0}};
    std::string passkey = "0000";
    uint8_t performance = 1; // 1 throughput, 2 latency
    uint16_t linkTimeout = 32000;
    std::array<uint16_t, 2> inquiryScan{{2048, 18}}; // interval, window
    std::array<uint16_t, 2> pageScan{{2048, 18}};
    std::array<uint16_t, 4> sniff{{0, 0, 0, 0}}; // max, min, attempt, time-out
    std::array<uint16_t, 2> park{{0, 0}};        // beacon max, beacon min
    std::array<uint8_t, 4> classOfDevice{{0, 0, 0x1f, 0x00}};
    int16_t txPowerD2 = 4;  // the value read with 0xD2 and written with 0xD3
    int16_t txPowerD4 = 20; // the value read with 0xD4 and written with 0xD5
    uint8_t emulation = 0;  // 0 off, 1 DTE, 2 DCE
    uint8_t userBaudEnabled = 0;
    uint16_t userBaudValue = 0;
    uint8_t qosMode = 0;
    std::array<uint8_t, 4> qosLatency{{0, 0, 0, 0}};
    uint8_t scoEnabled = 0;
    uint16_t scoPacketType = 0;
    uint16_t outputGain = 10;
    uint16_t inputGain = 4;
};

Settings DefaultSettings(const Profile& profile);
// A plain text of "key value" lines; texts escape bytes outside printable ASCII as \xNN.
std::string SaveSettingsText(const Settings& settings);
// Takes every line it understands; unknown keys and bad values are skipped.
void LoadSettingsText(const std::string& text, Settings* settings);

struct ModuleConfig {
    Profile profile;
    std::vector<RemoteDevice> devices = BuiltInDevices();
    std::vector<Fault> faults;
    PairingOutcome pairingOutcome = PairingOutcome::Complete;
    int pairingDelayMs = 1500;
    int searchTimeMs = 3000; // a search of duration 12 lasts this long
    int searchSpreadMs = -1; // the devices answer within this time; -1: the whole search
    int backToBack = 1;      // devices answering together, their events with no gap
    int baud = 38400;        // 10 bits a byte
    int answerDelayMs = 2;
    uint32_t seed = 1; // random bytes of the split and garbage faults
    int unit = 0;      // the fifth byte of the module's own Bluetooth address
};

class VirtualModule {
  public:
    // A half frame whose next byte does not come within this time is discarded.
    static constexpr int kStallMs = 100;
    // Quiet time on the line before an unsolicited event (search result, end of
    // search, pairing outcome).
    static constexpr int kEventGapMs = 30;
    // Largest backlog of host bytes not yet on the (simulated) wire.
    static constexpr size_t kMaxInput = 8192;
    // Largest backlog of bytes waiting to be sent.
    static constexpr size_t kMaxOutput = 65536;
    // Gains the audio codec accepts (modules with SCO).
    static constexpr uint16_t kOutputGainMax = 15;
    static constexpr uint16_t kInputGainMax = 7;

    explicit VirtualModule(ModuleConfig config);

    // Bytes the host wrote, read at `now`. They reach the module one after the
    // other at the line speed.
    void Receive(const uint8_t* data, size_t count, TimePoint now);
    // Lets the module act on everything due by `now`: frames whose last byte has
    // arrived, search results, pairing outcomes, stalled half frames.
    void Advance(TimePoint now);
    // Appends to `out` the bytes whose time on the wire has come; returns how many.
    size_t TakeOutput(TimePoint now, std::vector<uint8_t>* out);
    // When something is next due (a byte to send, an arrival, a timer). false: nothing.
    bool NextWake(TimePoint* when) const;
    // Trace lines ("recv 1c 00", "send 1c 06 01 ...") produced since the last take.
    std::vector<std::string> TakeTrace();

    const Settings& CurrentSettings() const { return settings; }
    void SetSettings(const Settings& value) { settings = value; }
    // Grows with every change of a setting (for saving the state).
    uint64_t ChangeCount() const { return changes; }
    const Profile& GetProfile() const { return config.profile; }
    bool Searching() const { return search.active; }
    bool Pairing() const { return pairing.active; }

    // The 12 identity bytes answered to 0x40.
    std::array<uint8_t, 12> Identity() const;
    // The article number answered to 0x41.
    std::string ArticleNumber() const;

  private:
    struct InByte {
        TimePoint at;
        uint8_t byte;
    };
    struct OutByte {
        TimePoint at;
        uint8_t byte;
    };
    struct Search {
        bool active = false;
        TimePoint end;
        struct Hit {
            TimePoint at;
            size_t device;    // index into the device list
            bool closeBehind; // sent right after the event before it, without a gap
        };
        std::vector<Hit> hits;
        size_t next = 0;
    };
    struct PairingRun {
        bool active = false;
        TimePoint due;
        Address address{};
    };

    void HandleFrame(const std::vector<uint8_t>& frame, TimePoint at);
    // The answer to one command frame; empty for none.
    std::vector<uint8_t> Answer(const std::vector<uint8_t>& frame, TimePoint at);
    // Status 255 or 254 when the module does not have the command, else 0.
    int Unsupported(uint8_t opcode) const;
    void StartSearch(const std::vector<uint8_t>& payload, TimePoint at);
    void EndSearch(TimePoint at);
    // The inquiry event of the next device found, and the pairing outcome event.
    void ReportHit(TimePoint when);
    void ReportPairing(TimePoint when);
    // Sends a frame at `ready` (or later, when the line is busy), applying the
    // faults given for `key` (the command's opcode, or the event's).
    void Send(std::vector<uint8_t> frame, int key, TimePoint ready);
    // An unsolicited event: as Send, with a quiet gap after the frame before it.
    void SendEvent(std::vector<uint8_t> frame, int key, TimePoint ready);
    void Schedule(const std::vector<uint8_t>& bytes, TimePoint ready, bool split);
    void Changed() { ++changes; }

    ModuleConfig config;
    Settings settings;
    Clock::duration byteTime;
    std::deque<InByte> input;
    TimePoint inputFreeAt{}; // when the host line has carried the last byte
    std::vector<uint8_t> partial;
    TimePoint lastArrival{};
    std::deque<OutByte> output;
    TimePoint outputFreeAt{}; // when the module line is free again
    Search search;
    PairingRun pairing;
    std::vector<std::string> trace;
    uint64_t changes = 0;
    std::mt19937 random;
};

// "1c 06 01 4e": lowercase hexadecimal bytes separated by single spaces.
std::string HexBytes(const uint8_t* data, size_t count);

} // namespace sim
