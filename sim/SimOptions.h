// The options of nvmsim (and of SimServer, which takes the same list).
#pragma once

#include "VirtualModule.h"

#include <string>
#include <vector>

namespace sim {

struct SimOptions {
    ModuleConfig module;
    std::string link;      // --link: symbolic link made to the device
    std::string statePath; // --state: settings loaded at start, saved after every change
    std::string tracePath; // --trace: every trace line, flushed as it goes
    bool help = false;     // --help was given
};

// Parses the options (without the program name). false with a message for a
// bad option; the devices file is read here.
bool ParseSimOptions(const std::vector<std::string>& args, SimOptions* out, std::string* error);

// The text that `nvmsim --help` prints.
std::string SimUsage();

} // namespace sim
