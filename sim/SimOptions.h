// SPDX-License-Identifier: Apache-2.0
// The options of nvmsim (and of SimServer, which takes the same list).
#pragma once

#include "VirtualModule.h"

#include <string>
#include <vector>

namespace sim {

// The most modules one nvmsim serves (--count).
constexpr int kMaxCount = 256;

struct SimOptions {
    ModuleConfig module;
    std::string link;      // --link: symbolic link made to the device
    std::string statePath; // --state: settings loaded at start, saved after every change
    std::string tracePath; // --trace: every trace line, flushed as it goes
    bool help = false;     // --help was given
    int count = 1;         // --count: modules served by nvmsim, each on its own terminal
};

// The options of module `index` (0-based) of nvmsim --count: args without
// --count, with the index appended to the paths of --link, --state and --trace.
std::vector<std::string> ModuleArgs(const std::vector<std::string>& args, int index);

// Parses the options (without the program name). false with a message for a
// bad option; the devices file is read here.
bool ParseSimOptions(const std::vector<std::string>& args, SimOptions* out, std::string* error);

// The text that `nvmsim --help` prints.
std::string SimUsage();

} // namespace sim
