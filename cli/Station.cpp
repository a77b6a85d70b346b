// SPDX-License-Identifier: Apache-2.0
// Station mode of "program": every port waits for a module, programs and
// verifies it once, and waits for it to go away before taking the next, until
// SIGINT or SIGTERM. A module in hand is always finished and reported first.
#include "Program.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace cli {
namespace program {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A port without a module is looked at this often; a module that is done is
// probed this often to see whether it is still there.
constexpr milliseconds kLookEvery{300};
constexpr milliseconds kProbeEvery{500};
// A done module that misses this many probes in a row has gone.
constexpr int kMissedProbes = 2;
// The live lines are redrawn this often on a terminal.
constexpr milliseconds kRedrawEvery{200};

std::atomic<bool> stopAsked{false};

std::string Or(const std::string& text) {
    return text.empty() ? "-" : text;
}

// The short reason a live line gives: the error's headline.
std::string Why(const Outcome& o) {
    if (o.reason.empty()) return "";
    if (o.reason.size() > 1 && o.reason[0].rfind("Error - ", 0) == 0)
        return o.reason[1].rfind("Error: ", 0) == 0 ? o.reason[1].substr(7) : o.reason[1];
    return o.reason[0];
}

extern "C" void AskToStop(int) {
    stopAsked = true;
}

// Sleeps for span, waking early when a stop is asked for.
void Pause(milliseconds span) {
    const auto until = Clock::now() + span;
    while (!stopAsked && Clock::now() < until)
        std::this_thread::sleep_for(
            std::min<Clock::duration>(milliseconds(100), until - Clock::now()));
}

// The device node's identity, or 0 when it is not there; a module unplugged
// and another plugged in between two looks gives another node.
unsigned long long NodeOf(const std::string& device) {
#if !defined(_WIN32)
    struct stat st {};
    if (::stat(device.c_str(), &st) != 0) return 0;
    return (static_cast<unsigned long long>(st.st_rdev) << 1) | 1;
#else
    (void)device;
    return 1;
#endif
}

// What a person sees: a live line per port on a terminal (results stay above
// them), otherwise one line per event.
class Board {
  public:
    Board(std::ostream& out, bool live, const std::vector<std::string>& devices)
        : out(out), live(live), lines(devices.size()), trackers(devices.size()) {}

    Tracker& TrackerOf(std::size_t port) { return trackers[port]; }

    // The port's state; printed as an event when not live.
    void Set(std::size_t port, const std::string& text, bool event = true) {
        std::lock_guard<std::mutex> lock(mutex);
        lines[port] = text;
        if (!live && event) out << text << "\n" << std::flush;
        if (live) Draw();
    }
    // A result, which stays above the live lines.
    void Report(Job& job, const Outcome& o) {
        std::lock_guard<std::mutex> lock(mutex);
        if (live) Erase();
        job.Report(o);
        if (live) Draw(false);
        out << std::flush;
    }
    // Redraws the progress of the ports being programmed.
    void Tick() {
        std::lock_guard<std::mutex> lock(mutex);
        const bool busy = std::any_of(lines.begin(), lines.end(), [](const std::string& l) {
            return l.find(": programming") != std::string::npos;
        });
        if (live && busy) Draw();
    }

  private:
    void Erase() {
        if (drawn > 0) out << "\x1b[" << drawn << "A\r\x1b[J";
        drawn = 0;
    }
    void Draw(bool erase = true) {
        if (erase) Erase();
        for (std::size_t i = 0; i < lines.size(); ++i) {
            std::string line = lines[i];
            if (line.find(": programming") != std::string::npos)
                line += " (" + trackers[i].Text() + ")";
            out << "\r\x1b[K" << line << "\n";
        }
        drawn = lines.size();
        out << std::flush;
    }

    std::mutex mutex;
    std::ostream& out;
    bool live;
    std::vector<std::string> lines;
    std::vector<Tracker> trackers;
    std::size_t drawn = 0;
};

struct Tally {
    std::atomic<int> ok{0}, failed{0};
};

void Serve(std::size_t index, const std::string& device, Job& job, Board& board, Tally& tally) {
    const int32_t n = int32_t(index + 1);
    while (!stopAsked) {
        board.Set(index, device + ": waiting for a module");
        // Until a module answers on the port.
        Port port;
        unsigned long long node = 0;
        while (!stopAsked) {
            node = NodeOf(device);
            std::vector<std::string> why;
            if (node != 0 && port.Open(n, device, why)) {
                if (port.Probe()) break;
                port.Close();
            }
            Pause(node != 0 ? kProbeEvery : kLookEvery);
        }
        if (stopAsked) return;

        // The module in hand is finished even when a stop is asked for meanwhile.
        board.Set(index, device + ": programming");
        const std::string resolved = Resolved(device);
        job.Event("start", device, {{"resolved", resolved}});
        const auto began = Clock::now();
        Outcome o = ProgramOn(port, job, &board.TrackerOf(index));
        o.device = device;
        o.resolved = resolved;
        o.seconds = std::chrono::duration<double>(Clock::now() - began).count();
        (o.ok ? tally.ok : tally.failed)++;
        board.Report(job, o);
        board.Set(index,
                  device + ": " + (o.ok ? "OK" : "FAILED (" + Why(o) + ")") + " " + Or(o.product) +
                      " " + Or(o.address) + ", remove the module",
                  false);

        // Until the module has gone: its node went or changed, or it stopped answering.
        for (int missed = 0; !stopAsked && missed < kMissedProbes;) {
            Pause(kProbeEvery);
            if (stopAsked) break;
            if (NodeOf(device) != node) break;
            missed = port.Probe() ? 0 : missed + 1;
        }
        port.Close();
        if (!stopAsked) board.Set(index, device + ": module removed");
    }
}

} // namespace

int RunStation(const std::vector<std::string>& devices, Job& job, Console& console) {
    stopAsked = false;
    void (*oldInt)(int) = std::signal(SIGINT, AskToStop);
    void (*oldTerm)(int) = std::signal(SIGTERM, AskToStop);
    const bool live = console.progress;
    // With --json the events go to standard output and the board to nowhere.
    std::ostream nowhere(nullptr);
    Board board(console.json ? nowhere : live ? console.err : console.out, live && !console.json,
                devices);
    for (std::size_t i = 0; i < devices.size(); ++i)
        board.TrackerOf(i).onBegin = [&, i](const char* phase, int steps) {
            job.Event("progress", devices[i], {{"phase", phase}, {"steps", steps}});
        };
    Tally tally;
    std::vector<std::thread> workers;
    for (std::size_t i = 0; i < devices.size(); ++i)
        workers.emplace_back([&, i] { Serve(i, devices[i], job, board, tally); });
    while (!stopAsked) {
        std::this_thread::sleep_for(kRedrawEvery);
        board.Tick();
    }
    for (std::thread& worker : workers)
        worker.join();
    std::signal(SIGINT, oldInt);
    std::signal(SIGTERM, oldTerm);
    const int ok = tally.ok, failed = tally.failed;
    if (console.json) {
        job.writer.Line(JsonLine({{"event", "stopped"}, {"modules", ok + failed}, {"ok", ok},
                                  {"failed", failed}}));
        return failed == 0 ? kSuccess : kNotProgrammed;
    }
    std::ostream& out = live ? console.err : console.out;
    out << "Stopped: " << ok + failed << (ok + failed == 1 ? " module" : " modules")
        << " programmed, " << ok << " OK, " << failed << " FAILED\n"
        << std::flush;
    return failed == 0 ? kSuccess : kNotProgrammed;
}

} // namespace program
} // namespace cli
