// SPDX-License-Identifier: Apache-2.0
// Serves a VirtualModule on a pseudo-terminal from a background thread, so that
// a program (or a test in the same process) talks to it through a real serial
// device node. nvmsim is a thin program around this class.
#pragma once

#include <memory>
#include <string>
#include <vector>

class SimServer {
  public:
    // args: the options nvmsim takes, without the program name, for example
    // {"--profile", "gen1-2.10", "--fault", "silent:0x40"}.
    explicit SimServer(const std::vector<std::string>& args);
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Opens the pseudo-terminal and starts serving. false with a reason on failure
    // (bad option, no pseudo-terminal).
    bool Start(std::string* error = nullptr);
    void Stop();
    // The slave device path (or the link made with --link).
    std::string DevicePath() const;

    // Frames received and sent so far, one line each, from the module's side:
    //   "recv 1c 00"                      a frame the host sent
    //   "send 1c 06 01 4e 56 4d 20 31"    a frame the module sent
    std::vector<std::string> TraceLines() const;
    void ClearTrace();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};
