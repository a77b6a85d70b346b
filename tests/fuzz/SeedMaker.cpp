// SPDX-License-Identifier: Apache-2.0
// Writes the seed corpora of the fuzz harnesses from the virtual module:
//   frames/: scripts of FrameRun (the operation, its arguments, and every port
//            read with the bytes the module answered), recorded as the tool ran
//            read-all, writes, searches and pairings against the module;
//   config/: configuration files saved from the settings groups after a read
//            of the module, for several module profiles.
// Usage: fuzz_seed_maker FOLDER (frames/ and config/ are made inside it).
#include "FrameRun.h"
#include "ModuleSettings.h"
#include "VirtualModule.h"

#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

using Bytes = std::vector<uint8_t>;

// A port on the virtual module whose clock advances one millisecond per read.
struct ModuleLine {
    sim::VirtualModule module;
    sim::TimePoint now{};
    std::deque<uint8_t> line;

    explicit ModuleLine(sim::ModuleConfig config) : module(std::move(config)) {}

    void Write(const uint8_t* data, int32_t count) { module.Receive(data, size_t(count), now); }
    // At most count bytes, and at most 254 (one arrival of a seed).
    Bytes Read(int32_t count) {
        now += std::chrono::milliseconds(1);
        module.Advance(now);
        Bytes out;
        module.TakeOutput(now, &out);
        line.insert(line.end(), out.begin(), out.end());
        const size_t n = std::min<size_t>({line.size(), size_t(std::max(count, 0)), 254});
        Bytes got(line.begin(), line.begin() + std::ptrdiff_t(n));
        line.erase(line.begin(), line.begin() + std::ptrdiff_t(n));
        return got;
    }
};

class RecordingPort : public mSerial {
  public:
    explicit RecordingPort(ModuleLine& line) : line(line) { isOpen = 1; }
    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        const Bytes got = line.Read(count);
        std::copy(got.begin(), got.end(), buffer);
        return int32_t(got.size());
    }
    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        line.Write(buffer, count);
        return count;
    }

  private:
    ModuleLine& line;
};

sim::ModuleConfig Module(const std::string& profile,
                         sim::PairingOutcome outcome = sim::PairingOutcome::Complete) {
    sim::ModuleConfig config;
    if (!sim::ParseProfile(profile, &config.profile)) {
        std::cerr << "no profile " << profile << "\n";
        std::exit(1);
    }
    config.searchTimeMs = 600;
    config.pairingDelayMs = 30;
    config.pairingOutcome = outcome;
    config.devices.resize(3);
    return config;
}

// Runs steps of FrameRun on the module and records them as a seed.
class Recorder {
  public:
    explicit Recorder(sim::ModuleConfig config) : line(std::move(config)) {
        run.port.source = [this](uint8_t* buffer, int32_t count) {
            const Bytes got = line.Read(count);
            seed.push_back(uint8_t(got.size()));
            seed.insert(seed.end(), got.begin(), got.end());
            std::copy(got.begin(), got.end(), buffer);
            return int32_t(got.size());
        };
        run.port.sink = [this](const uint8_t* bytes, int32_t count) { line.Write(bytes, count); };
    }

    void Step(fuzz::Op op, const Bytes& args = {}) {
        seed.push_back(op);
        size_t next = 0;
        run.Step(op, [&]() -> uint8_t {
            const uint8_t b = next < args.size() ? args[next++] : 0;
            seed.push_back(b);
            return b;
        });
    }

    fuzz::FrameRun run;
    ModuleLine line;
    Bytes seed;
};

// A 24-bit argument, high byte first.
Bytes Wide(int32_t value) {
    return {uint8_t(value >> 16), uint8_t(value >> 8), uint8_t(value)};
}
Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void Save(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

void FrameSeeds(const std::filesystem::path& dir) {
    using namespace fuzz;
    // Every read command and the probe, on modules with and without the advanced groups.
    for (const char* profile : {"default", "code1-2.10", "code5-3.00"}) {
        Recorder r(Module(profile));
        r.Step(kCheckConnection);
        for (int op = kGetDeviceMode; op <= kGetCodecInputGain; ++op)
            r.Step(Op(op));
        r.Step(kNotifyClose);
        Save(dir / (std::string("reads-") + profile), r.seed);
    }
    {
        Recorder r(Module("default"));
        const Bytes address{0x00, 0x1A, 0x7D, 0x3C, 0x11, 0x02};
        r.Step(kFrameByFrame, {1});
        r.Step(kSetDeviceMode, {1});
        r.Step(kSetSerialSettings, {5, 1, 2, 8, 1});
        r.Step(kSetConnectAddress, address);
        r.Step(kSetAcceptedAddress, address);
        r.Step(kSetDeviceName, Bytes{7, 7} + Bytes{'W', 'o', 'r', 'k', 's', 'h', 'p'});
        r.Step(kSetServiceName, Bytes{3, 3, 'C', 'O', 'M'});
        r.Step(kSetSecurityFlags, {1, 0, 1});
        r.Step(kSetPasskey, Bytes{4, 4, '4', '7', '1', '1'});
        r.Step(kSetPerformanceMode, {2});
        r.Step(kSetLinkTimeout, Wide(16000));
        r.Step(kSetInquiryScan, Wide(1024) + Wide(36));
        r.Step(kSetPageScan, Wide(0) + Wide(0));
        r.Step(kSetSniffSettings, Wide(800) + Wide(400) + Wide(4) + Wide(2));
        r.Step(kSetParkSettings, Wide(1000) + Wide(500));
        r.Step(kSetClassOfDevice, {0x00, 0x5A, 0x02, 0x0C});
        r.Step(kSetMaxTxPower, Wide(-6));
        r.Step(kSetDefaultTxPower, Wide(4));
        r.Step(kSetSerialEmulation, {2});
        r.Step(kSetUserBaudrate, Bytes{1} + Wide(2400));
        r.Step(kSetQualityOfService, {1, 0x00, 0x00, 0x61, 0xA8});
        r.Step(kSetScoSettings, Bytes{1} + Wide(128));
        r.Step(kSetCodecOutputGain, Wide(9));
        r.Step(kSetCodecInputGain, Wide(3));
        r.Step(kSetInquiryScan, Wide(17) + Wide(36)); // refused, nothing sent
        r.Step(kGetUserBaudrate);
        r.Step(kGetSniffSettings);
        Save(dir / "writes", r.seed);
    }
    // A search taken as the search window takes it, and one stopped early.
    for (bool cancel : {false, true}) {
        Recorder r(Module("default"));
        r.Step(kStartInquiry, {12, 0x00, 0x00, 0x00, 0x00, 1});
        for (int poll = 0; poll < 300 && r.run.com.searchState < 2; ++poll) {
            if (cancel && poll == 60) r.Step(kCancelInquiry);
            r.Step(kPollInquiry);
            while (r.run.com.foundCount > 0)
                r.Step(poll % 2 ? kTakeInquiryResultWithClass : kTakeInquiryResult);
        }
        r.Step(kTakeInquiryResult);
        Save(dir / (cancel ? "search-cancelled" : "search"), r.seed);
    }
    // Pairings: started by the tool, by the remote device, and one that fails.
    const std::pair<const char*, sim::PairingOutcome> pairings[] = {
        {"pair-local", sim::PairingOutcome::Complete},
        {"pair-remote-failed", sim::PairingOutcome::Failed},
        {"pair-local-timeout", sim::PairingOutcome::Timeout}};
    for (const auto& [name, outcome] : pairings) {
        Recorder r(Module("default", outcome));
        const uint8_t remote = std::string(name).find("remote") != std::string::npos;
        r.Step(kStartPairing,
               Bytes{remote, 0x00, 0x1A, 0x7D, 0x3C, 0x11, 0x02, 4, '0', '0', '0', '0'});
        for (int poll = 0; poll < 100 && r.run.com.pairingState == 0; ++poll)
            r.Step(kPollPairingStatus);
        r.Step(kPollPairingStatus);
        r.Step(kGetPairedDevice);
        Save(dir / name, r.seed);
    }
}

// Reads every group of the module and saves the file.
std::string ModuleFile(const std::string& profile) {
    ModuleLine line(Module(profile));
    RecordingPort port(line);
    fuzz::SteppedCommunicator com;
    com.SetSerialPort(&port);
    ModuleSettings settings;
    settings.SetCommunicator(&com);
    Failure failure;
    if (settings.ReadAll(failure) != nullptr) {
        std::cerr << profile << ": read failed: " << failure.headline << "\n";
        std::exit(1);
    }
    return settings.FileText();
}

std::string CrLf(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\n') out.push_back('\r');
        out.push_back(c);
    }
    return out;
}

void ConfigSeeds(const std::filesystem::path& dir) {
    for (const char* profile : {"default", "code1-2.10", "code3-3.00", "code5-3.02"}) {
        const std::string text = CrLf(ModuleFile(profile));
        std::ofstream(dir / (std::string(profile) + ".bcf"), std::ios::binary) << text;
    }
    // Line feeds only, as an editor on another system may leave it.
    std::ofstream(dir / "default-lf.bcf", std::ios::binary) << ModuleFile("default");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: fuzz_seed_maker FOLDER\n";
        return 2;
    }
    const std::filesystem::path root = argv[1];
    std::filesystem::create_directories(root / "frames");
    std::filesystem::create_directories(root / "config");
    FrameSeeds(root / "frames");
    ConfigSeeds(root / "config");
    return 0;
}
