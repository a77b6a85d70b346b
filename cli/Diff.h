// SPDX-License-Identifier: Apache-2.0
// "diff": the settings that differ between a module and a file, or two files.
#pragma once

#include "Cli.h"
#include "Compare.h"

#include <string>
#include <vector>

namespace cli {

// args: the words after "diff". kSuccess when equal, kDiffer when not.
int DiffCommand(const std::vector<std::string>& args, Console& console);

// "Serial baudrate: module 38400, file 115200"; a side without the line shows
// "(not set)".
std::string DifferenceLine(const SettingDifference& d, const std::string& firstWord,
                           const std::string& secondWord);

} // namespace cli
