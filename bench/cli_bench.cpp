// SPDX-License-Identifier: Apache-2.0
// cli_bench DEVICE TRACE [answer-delay-ms]: times btconf-cli's read into a file
// and its write from a file against a module (normally nvmsim, started with
// --trace TRACE) at 38400 bits per second, and compares each with the wire
// limit: for every exchange, the bytes of the command and of its answer at 10
// bits a byte, plus the module's answer delay. The bytes are counted from the
// module's trace, so the limit is what actually crossed the line. The bar is a
// measured time of at most 1.25 times the wire limit.
//
// Both ways of running are timed: in-process through the cli library (what the
// commands cost) and as the btconf-cli program (process start included). Then
// one read is taken apart, with the same calls the read command makes, to show
// where the time goes.
//
// cli_bench --time-read DEVICE FILE: one in-process read, its time printed.
#include "Cli.h"
#include "Communicator.h"
#include "ModuleSettings.h"
#include "mSerial.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kBaud = 38400;
constexpr int kRounds = 9;
constexpr double kBar = 1.25;

double MsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double WireMs(long bytes) {
    return bytes * 10.0 * 1000.0 / kBaud;
}

// The module's trace file, read from where the last look ended.
class Trace {
  public:
    explicit Trace(std::string path) : path(std::move(path)) {}

    struct Exchanges {
        int answers = 0; // one per exchange: these runs see no unsolicited events
        long bytes = 0;  // commands and answers
    };

    // The frames written since the last call. The module writes a frame's line
    // as it handles it; a short pause lets the last one reach the file.
    Exchanges Since() {
        usleep(20000);
        std::ifstream in(path, std::ios::binary);
        in.seekg(std::streamoff(offset));
        Exchanges e;
        std::string line;
        while (std::getline(in, line)) {
            offset += line.size() + 1;
            // "recv 1c 00" / "send 1c 06 01 ...": a direction and three characters a byte.
            if (line.size() < 7) continue;
            e.bytes += long(line.size() - 4) / 3;
            if (line.compare(0, 4, "send") == 0) ++e.answers;
        }
        return e;
    }
    void Skip() { Since(); }

  private:
    std::string path;
    std::size_t offset = 0;
};

struct Sample {
    double ms = 0;
    Trace::Exchanges exchanges;
};

double LimitMs(const Trace::Exchanges& e, double answerDelayMs) {
    return WireMs(e.bytes) + e.answers * answerDelayMs;
}

int RunInProcess(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    cli::Console console{out, err, false};
    const int status = cli::Run(args, console);
    if (status != 0) std::fprintf(stderr, "cli_bench: %s", err.str().c_str());
    return status;
}

int RunProcess(std::vector<std::string> args) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv{const_cast<char*>(BTCONF_CLI_PATH)};
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, BTCONF_CLI_PATH, &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (spawned != 0) return -1;
    int raw = 0;
    if (waitpid(pid, &raw, 0) != pid || !WIFEXITED(raw)) return -1;
    return WEXITSTATUS(raw);
}

// Median of the rounds by time; false when a run failed.
bool Measure(const std::function<int()>& run, Trace& trace, Sample& median) {
    std::vector<Sample> samples;
    for (int round = 0; round < kRounds; ++round) {
        trace.Skip();
        const auto start = Clock::now();
        const int status = run();
        Sample s;
        s.ms = MsSince(start);
        s.exchanges = trace.Since();
        if (status != 0) return false;
        samples.push_back(s);
    }
    std::sort(samples.begin(), samples.end(),
              [](const Sample& a, const Sample& b) { return a.ms < b.ms; });
    median = samples[samples.size() / 2];
    return true;
}

void Print(const char* what, const Sample& s, double answerDelayMs) {
    const double limit = LimitMs(s.exchanges, answerDelayMs);
    std::printf("  %-14s %2d exchanges %4ld bytes  measured %6.1f ms  wire limit %6.1f ms  "
                "ratio %.2f  %s\n",
                what, s.exchanges.answers, s.exchanges.bytes, s.ms, limit, s.ms / limit,
                s.ms <= kBar * limit ? "within the bar" : "OVER the bar");
}

// The port as the read command opens it, noting when each command goes out and
// how many bytes pass.
class TimedSerial : public mSerial {
  public:
    struct Command {
        Clock::time_point at;
        int opcode;
        long sent = 0, received = 0;
    };
    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        commands.push_back({Clock::now(), count > 0 ? buffer[0] : -1});
        const int32_t put = mSerial::WriteBuffer(buffer, count);
        if (put > 0) commands.back().sent += put;
        return put;
    }
    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        const int32_t got = mSerial::ReadBuffer(buffer, count);
        if (got > 0 && !commands.empty()) commands.back().received += got;
        ++reads;
        return got;
    }
    std::vector<Command> commands;
    long reads = 0;
};

// One read as the read command makes it, phase by phase.
bool Breakdown(const std::string& device, double answerDelayMs) {
    PortTable::Set({device});
    TimedSerial port;
    SetModuleLineSettings(port);
    port.port = 1;
    const auto start = Clock::now();
    if (port.Open() != 0) return false;
    const double openMs = MsSince(start);
    // The window's way first, for comparison: one read that waits out the time-out.
    auto mark = Clock::now();
    uint8_t stale[100];
    port.ReadBuffer(stale, sizeof stale);
    const double windowFlushMs = MsSince(mark);
    mark = Clock::now();
    cli::DropStaleBytes(port);
    const double flushMs = MsSince(mark);

    // The probe as the read command makes it: byte-exact, frame by frame, and
    // once more in the quiet-time mode only when the answer had a wrong opcode.
    Communicator comm;
    comm.SetSerialPort(&port);
    comm.frameByFrame = true;
    mark = Clock::now();
    int32_t probed = comm.CheckConnection();
    const double probeMs = MsSince(mark);
    const TimedSerial::Command probe = port.commands.back();
    double retryMs = -1;
    if (probed == -2) {
        comm.frameByFrame = false;
        mark = Clock::now();
        cli::DropStaleBytes(port);
        probed = comm.CheckConnection();
        retryMs = MsSince(mark);
        comm.frameByFrame = true;
    }
    if (probed != 1) return false;
    port.commands.clear();

    ModuleSettings settings;
    settings.SetCommunicator(&comm);
    Failure failure;
    const long readsBefore = port.reads;
    mark = Clock::now();
    if (settings.ReadAll(failure) != nullptr) return false;
    const auto end = Clock::now();
    const double readAllMs = std::chrono::duration<double, std::milli>(end - mark).count();
    const long readAllReads = port.reads - readsBefore;
    const std::string text = settings.FileText();
    port.Close();

    std::printf("  %-34s %7.2f ms\n", "open the port", openMs);
    std::printf("  %-34s %7.2f ms  (the window's single read waits %.2f ms)\n",
                "throw away stale bytes", flushMs, windowFlushMs);
    std::printf("  %-34s %7.2f ms  wire limit %5.2f ms (%ld + %ld bytes)\n",
                "probe 0x01, frame by frame", probeMs,
                WireMs(probe.sent + probe.received) + answerDelayMs, probe.sent, probe.received);
    if (retryMs >= 0)
        std::printf("  %-34s %7.2f ms  (the first answer had a wrong opcode)\n",
                    "probe again, quiet-time mode", retryMs);
    else
        std::printf("  %-34s %7s     (the first answer was the probe's)\n",
                    "probe again, quiet-time mode", "not run");
    double wireAll = 0;
    for (std::size_t i = 0; i < port.commands.size(); ++i) {
        const TimedSerial::Command& c = port.commands[i];
        const auto next = i + 1 < port.commands.size() ? port.commands[i + 1].at : end;
        const double ms = std::chrono::duration<double, std::milli>(next - c.at).count();
        const double wire = WireMs(c.sent + c.received) + answerDelayMs;
        wireAll += wire;
        char label[64];
        std::snprintf(label, sizeof label, "  0x%02x, frame by frame", c.opcode);
        std::printf("  %-34s %7.2f ms  wire limit %5.2f ms (%ld + %ld bytes)\n", label, ms, wire,
                    c.sent, c.received);
    }
    std::printf("  %-34s %7.2f ms  wire limit %5.2f ms, %ld port reads\n", "read-all", readAllMs,
                wireAll, readAllReads);
    std::printf("  (file text %zu characters)\n", text.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    // One in-process read into FILE, its milliseconds printed: the figure the
    // Python module's read is held against (bench/python_bench.py).
    if (argc == 4 && std::string(argv[1]) == "--time-read") {
        const auto start = Clock::now();
        if (RunInProcess({"read", argv[2], "-o", argv[3]}) != 0) return 1;
        std::printf("%.3f\n", MsSince(start));
        return 0;
    }
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "Usage: cli_bench DEVICE TRACE [answer-delay-ms]\n"
                             "       cli_bench --time-read DEVICE FILE\n");
        return 2;
    }
    const std::string device = argv[1];
    Trace trace(argv[2]);
    double answerDelayMs = 2;
    if (argc == 4) {
        char* end = nullptr;
        answerDelayMs = std::strtod(argv[3], &end);
        if (end == argv[3] || *end != '\0' || answerDelayMs < 0) {
            std::fprintf(stderr, "cli_bench: bad answer delay \"%s\"\n", argv[3]);
            return 2;
        }
    }
    char folder[] = "/tmp/cli_bench.XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        std::perror("cli_bench: mkdtemp");
        return 1;
    }
    const std::string file = std::string(folder) + "/module.bcf";

    std::printf("btconf-cli read into a file and write from a file, %s at %d bit/s, answer delay "
                "%.1f ms, median of %d rounds; bar: measured <= %.2f x wire limit\n",
                device.c_str(), kBaud, answerDelayMs, kRounds, kBar);
    Sample read, write;
    std::printf("in-process (cli::Run, the commands alone):\n");
    if (!Measure(
            [&] {
                return RunInProcess({"read", device, "-o", file});
            },
            trace, read) ||
        !Measure(
            [&] {
                return RunInProcess({"write", device, file});
            },
            trace, write))
        return 1;
    Print("read -> file", read, answerDelayMs);
    Print("write <- file", write, answerDelayMs);
    const bool inProcessOk = read.ms <= kBar * LimitMs(read.exchanges, answerDelayMs) &&
                             write.ms <= kBar * LimitMs(write.exchanges, answerDelayMs);

    std::printf("process (btconf-cli, start and exit included):\n");
    if (!Measure(
            [&] {
                return RunProcess({"read", device, "-o", file});
            },
            trace, read) ||
        !Measure(
            [&] {
                return RunProcess({"write", device, file});
            },
            trace, write))
        return 1;
    Print("read -> file", read, answerDelayMs);
    Print("write <- file", write, answerDelayMs);

    std::printf("where a read's time goes (in-process, the read command's calls one by one):\n");
    if (!Breakdown(device, answerDelayMs)) {
        std::fprintf(stderr, "cli_bench: the read broken down failed\n");
        return 1;
    }
    trace.Skip();
    std::remove(file.c_str());
    rmdir(folder);
    std::printf("result: %s\n", inProcessOk ? "within the bar" : "over the bar");
    return 0;
}
