// SPDX-License-Identifier: Apache-2.0
// batch_bench: times "btconf-cli program" against virtual modules at 38400 bits
// per second, served by this process.
//   1. One module, in-process through the cli library, against its wire limit:
//      the bytes of every command and answer at 10 bits a byte plus the module's
//      answer delay (2 ms) per answer, counted from the module's trace. Bar: 1.25.
//   2. 1, 8, 32 and 64 modules at once, each with its own name ({n:04}). Bar:
//      64 take under 1.5 times as long as 1.
//   3. Station mode (the program, as a child process) with per-unit names and a
//      counter file: time from a module appearing on a watched port to its
//      verified result line, and the processor time the station takes while it
//      waits for a module.
#include "Cli.h"
#include "SimServer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRounds = 5;
constexpr double kAnswerDelayMs = 2;

double MsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::string Temp(const std::string& name) {
    return "/tmp/batch-bench-" + std::to_string(getpid()) + "-" + name;
}

// Bytes and answers of the frames in a server's trace since the last call.
double WireMsOf(SimServer& server) {
    long bytes = 0;
    int answers = 0;
    for (const std::string& line : server.TraceLines()) {
        if (line.size() < 7) continue;
        bytes += long(line.size() - 4) / 3;
        if (line.compare(0, 4, "send") == 0) ++answers;
    }
    server.ClearTrace();
    return bytes * 10.0 * 1000.0 / 38400 + answers * kAnswerDelayMs;
}

int Program(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    cli::Console console{out, err, false};
    const int status = cli::Run(args, console);
    if (status != 0) std::fprintf(stderr, "%s%s", out.str().c_str(), err.str().c_str());
    return status;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double CpuSeconds(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string f;
    unsigned long long utime = 0, stime = 0;
    for (int i = 3; i <= 15 && fields >> f; ++i) {
        if (i == 14) utime = std::stoull(f);
        if (i == 15) stime = std::stoull(f);
    }
    return double(utime + stime) / double(sysconf(_SC_CLK_TCK));
}

} // namespace

int main(int argc, char** argv) {
    const std::string cliPath = argc > 1 ? argv[1] : BTCONF_CLI_PATH;
    std::vector<std::unique_ptr<SimServer>> modules;
    for (int i = 0; i < 64; ++i) {
        modules.push_back(std::make_unique<SimServer>(std::vector<std::string>{}));
        std::string error;
        if (!modules.back()->Start(&error)) {
            std::fprintf(stderr, "batch_bench: %s\n", error.c_str());
            return 1;
        }
    }
    const std::string file = Temp("file.bcf");
    if (Program({"read", modules[0]->DevicePath(), "-o", file}) != 0) return 1;
    bool ok = true;

    // 1. One module against its wire limit.
    std::vector<double> times, wires;
    for (int r = 0; r < kRounds; ++r) {
        modules[0]->ClearTrace();
        const auto start = Clock::now();
        if (Program({"program", file, modules[0]->DevicePath()}) != 0) return 1;
        times.push_back(MsSince(start));
        wires.push_back(WireMsOf(*modules[0]));
    }
    const double one = Median(times), wire = Median(wires);
    std::printf("program, 1 module: %.0f ms (median of %d), wire limit %.0f ms, ratio %.2f "
                "(bar 1.25) %s\n",
                one, kRounds, wire, one / wire, one / wire <= 1.25 ? "ok" : "MISSED");
    ok = ok && one / wire <= 1.25;

    // 2. Several at once.
    double single = 0;
    for (int n : {1, 8, 32, 64}) {
        std::vector<std::string> args{"program", file, "--set",
                                      "Bluetooth Device Name=Sensor-{n:04}"};
        for (int i = 0; i < n; ++i)
            args.push_back(modules[std::size_t(i)]->DevicePath());
        std::vector<double> t;
        for (int r = 0; r < kRounds; ++r) {
            const auto start = Clock::now();
            if (Program(args) != 0) return 1;
            t.push_back(MsSince(start));
        }
        const double m = Median(t);
        if (n == 1) single = m;
        std::printf("program, %d module%s at once: %.0f ms, %.2f times one module%s\n", n,
                    n == 1 ? "" : "s", m, m / single,
                    n == 64 ? (m / single < 1.5 ? " (bar 1.5) ok" : " (bar 1.5) MISSED") : "");
        if (n == 64) ok = ok && m / single < 1.5;
    }
    modules.clear();

    // 3. Station mode: a module appearing on a watched port, to its result line.
    const std::string link = Temp("port"), out = Temp("station.out");
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
    const std::string counter = Temp("counter");
    std::vector<std::string> words{cliPath, "program", file, "--watch", link,
                                   "--set", "Bluetooth Device Name=Sensor-{n:04}",
                                   "--counter", counter};
    std::vector<char*> argvs;
    for (std::string& w : words)
        argvs.push_back(w.data());
    argvs.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawn(&pid, cliPath.c_str(), &files, nullptr, argvs.data(), environ) != 0) return 1;
    posix_spawn_file_actions_destroy(&files);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const double cpu0 = CpuSeconds(pid);
    const auto idle = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(5));
    const double waitingShare = (CpuSeconds(pid) - cpu0) / (MsSince(idle) / 1000.0);
    std::printf("station, waiting for a module: %.2f %% of a core (bar 2 %%) %s\n",
                waitingShare * 100, waitingShare < 0.02 ? "ok" : "MISSED");
    ok = ok && waitingShare < 0.02;
    std::vector<double> appear;
    for (int r = 0; r < kRounds; ++r) {
        auto count = [&] {
            std::ifstream in(out);
            std::string line;
            int n = 0;
            while (std::getline(in, line))
                n += line.find("  OK  ") != std::string::npos;
            return n;
        };
        const int before = count();
        SimServer module({"--link", link});
        module.Start();
        const auto start = Clock::now();
        while (count() == before && MsSince(start) < 10000)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        appear.push_back(MsSince(start));
        module.Stop();
        std::this_thread::sleep_for(std::chrono::milliseconds(800)); // seen to go away
    }
    std::printf("station, module appearing to its verified result: median %.0f ms, worst %.0f "
                "ms (looks every 300 ms while the port is missing)\n",
                Median(appear), *std::max_element(appear.begin(), appear.end()));
    kill(pid, SIGINT);
    int raw = 0;
    waitpid(pid, &raw, 0);
    std::remove(out.c_str());
    std::remove(file.c_str());
    std::remove(counter.c_str());
    return ok ? 0 : 1;
}
