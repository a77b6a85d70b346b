// nvmsim: serves a virtual adapter module on a pseudo-terminal until SIGINT or
// SIGTERM. The first line on standard output is the device to open.
#include "SimOptions.h"
#include "SimServer.h"

#include <csignal>
#include <cstdio>
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

    SimServer server(args);
    if (!server.Start(&error)) {
        std::fprintf(stderr, "nvmsim: %s\n", error.c_str());
        return 1;
    }
    std::printf("%s\n", server.DevicePath().c_str());
    std::fflush(stdout);

    int signal = 0;
    sigwait(&stopSignals, &signal);
    server.Stop();
    return 0;
}
