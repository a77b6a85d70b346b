// SPDX-License-Identifier: Apache-2.0
// nvmsim: serves a virtual adapter module (or --count N of them, each on its
// own pseudo-terminal) until SIGINT or SIGTERM. Standard output gets the device
// to open, one line a module.
#include "SimOptions.h"
#include "SimServer.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <pthread.h>

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    sim::SimOptions options;
    std::string error;
    if (!sim::ParseSimOptions(args, &options, &error)) {
        std::fprintf(stderr, "nvmsim: %s\nTry 'nvmsim --help'.\n", error.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(sim::SimUsage().c_str(), stdout);
        return 0;
    }

    // The signals are taken by sigwait below; the server's thread inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    std::vector<std::unique_ptr<SimServer>> servers;
    for (int i = 0; i < options.count; ++i) {
        servers.push_back(
            std::make_unique<SimServer>(options.count == 1 ? args : sim::ModuleArgs(args, i)));
        if (!servers.back()->Start(&error)) {
            std::fprintf(stderr, "nvmsim: %s\n", error.c_str());
            return 1; // the servers started so far stop and remove their links
        }
    }
    for (const auto& server : servers)
        std::printf("%s\n", server->DevicePath().c_str());
    std::fflush(stdout);

    int signal = 0;
    sigwait(&stopSignals, &signal);
    for (const auto& server : servers)
        server->Stop();
    return 0;
}
