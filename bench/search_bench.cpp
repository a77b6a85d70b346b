// SPDX-License-Identifier: Apache-2.0
// search_bench [SEARCHES] [PAIRS]: device searches of 20 made-up devices at
// 38400 bits per second, the devices answering in back-to-back groups, each
// search polled as the search window's timer tick polls. Counts the devices
// listed intact (address and name as the module has them). Several virtual
// modules, each with its own port and Communicator on a thread of its own, run
// the searches side by side; their groups and spreads differ so that the
// events fall into every part of a tick.
#include "Communicator.h"
#include "SimServer.h"
#include "VirtualModule.h"
#include "mSerial.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kDevices = 20;
constexpr int kSearchTimeMs = 3000;

struct Pair {
    std::unique_ptr<SimServer> server;
    mSerial port;
    Communicator comm;
    int listed = 0;   // devices listed intact
    int ended = 0;    // searches whose end was seen
    int searches = 0; // searches run
};

// One search as the window's tick runs it: every 250 ms up to three polls; a
// result is taken only when the first poll reports it; the second poll's 3 or
// the third poll's 2 ends the search. Returns the devices listed intact.
int SearchLikeTheWindow(Communicator& comm, const std::vector<sim::RemoteDevice>& devices,
                        bool* ended) {
    const uint8_t noFilter[4] = {};
    comm.StartInquiry(12, noFilter, true);
    int intact = 0;
    size_t listed = 0;
    *ended = false;
    const auto start = Clock::now();
    for (auto tick = start; !*ended && Clock::now() - start < std::chrono::seconds(30);) {
        tick += std::chrono::milliseconds(250);
        std::this_thread::sleep_until(tick);
        if (comm.PollInquiry() == 1) {
            uint8_t address[6] = {};
            uint8_t name[33] = {};
            comm.TakeInquiryResult(address, name);
            // The window lists at most 20; a device counts when it is the one the
            // module sent at that place, address and name intact.
            if (listed < devices.size()) {
                const sim::RemoteDevice& d = devices[listed];
                intact += std::memcmp(address, d.address.data(), 6) == 0 &&
                          std::string(reinterpret_cast<char*>(name)) == d.name;
            }
            ++listed;
        } else if (comm.PollInquiry() == 3 || comm.PollInquiry() == 2) {
            *ended = true;
        }
    }
    return intact;
}

} // namespace

int main(int argc, char** argv) {
    const int searches = argc > 1 ? std::atoi(argv[1]) : 200;
    const int pairs = std::min(argc > 2 ? std::atoi(argv[2]) : 20, PortTable::kMaxPorts - 1);
    if (searches < 1 || pairs < 1) {
        std::fprintf(stderr, "usage: search_bench [SEARCHES] [PAIRS (1 to %d)]\n",
                     PortTable::kMaxPorts - 1);
        return 2;
    }
    const std::vector<sim::RemoteDevice> devices = sim::GeneratedDevices(kDevices);

    std::vector<std::unique_ptr<Pair>> rigs;
    std::vector<std::string> paths;
    for (int i = 0; i < pairs; ++i) {
        // Groups of 2 to 5 back to back, within 1.6 to 2.8 s of the 3 s search.
        const std::vector<std::string> args = {
            "--devices",       "generated:" + std::to_string(kDevices),
            "--back-to-back",  std::to_string(2 + i % 4),
            "--search-spread", std::to_string(1600 + 150 * (i % 9)),
            "--search-time",   std::to_string(kSearchTimeMs)};
        auto rig = std::make_unique<Pair>();
        rig->server = std::make_unique<SimServer>(args);
        std::string error;
        if (!rig->server->Start(&error)) {
            std::fprintf(stderr, "search_bench: the virtual module did not start: %s\n",
                         error.c_str());
            return 1;
        }
        paths.push_back(rig->server->DevicePath());
        rigs.push_back(std::move(rig));
    }
    PortTable::Set(paths);
    for (int i = 0; i < pairs; ++i) {
        Pair& rig = *rigs[static_cast<size_t>(i)];
        SetModuleLineSettings(rig.port);
        rig.port.port = i + 1;
        if (rig.port.Open() != 0) {
            std::fprintf(stderr, "search_bench: %s: %s\n", paths[static_cast<size_t>(i)].c_str(),
                         rig.port.GetLastErrorText().c_str());
            return 1;
        }
        rig.comm.SetSerialPort(&rig.port);
    }

    std::atomic<int> next{0};
    const auto start = Clock::now();
    std::vector<std::thread> threads;
    for (auto& rig : rigs) {
        threads.emplace_back([&next, &devices, searches, r = rig.get()] {
            while (next.fetch_add(1) < searches) {
                bool ended = false;
                r->listed += SearchLikeTheWindow(r->comm, devices, &ended);
                r->ended += ended;
                ++r->searches;
            }
        });
    }
    for (std::thread& t : threads)
        t.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    int listed = 0, ended = 0;
    for (const auto& rig : rigs) {
        listed += rig->listed;
        ended += rig->ended;
        rig->port.Close();
        rig->server->Stop();
    }
    std::printf("listed %d of %d devices in %d searches\n", listed, kDevices * searches, searches);
    std::printf("the end of the search seen in %d of %d searches\n", ended, searches);
    std::printf("%.1f s for %d searches on %d modules side by side (%.2f s a search)\n", seconds,
                searches, pairs, seconds * pairs / searches);
    return listed == kDevices * searches && ended == searches ? 0 : 1;
}
