// SPDX-License-Identifier: Apache-2.0
// "diff": the settings that differ between a module and a file, or two files.
#pragma once

#include "Cli.h"
#include "Compare.h"

#include <string>
#include <vector>

namespace cli {

// A module (first is a device) against a file, or two files. kSuccess when
// equal, kDiffer when not.
int DiffCommand(const std::string& first, const std::string& second, Console& console);
// Whether path names a serial device rather than a file.
bool IsDevice(const std::string& path);

// "Serial baudrate: module 38400, file 115200"; a side without the line shows
// "(not set)".
std::string DifferenceLine(const SettingDifference& d, const std::string& firstWord,
                           const std::string& secondWord);

} // namespace cli
