// SPDX-License-Identifier: Apache-2.0
// Why a module on a serial device answers or not: the device exists, it can
// be opened, no other program holds it, nothing on the system takes such
// devices away, and a module answers the probe as the window opens the port.
// btconf-cli doctor prints the checks; the window shows them in a dialog. Plain
// C++, safe to run on a thread of its own while nothing else uses the device.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace cli {

struct CheckResult {
    enum class Verdict { Ok, Warning, Failed };
    // What was checked: "device", "access", "holders", "system" or "module".
    std::string name;
    Verdict verdict = Verdict::Ok;
    std::string text; // "a module answers: NVM-220, software 3.02, ..."
    // What a person can do about it, a line each (may be empty).
    std::vector<std::string> remedy;
};

// "OK", "WARNING" or "FAILED".
const char* VerdictWord(CheckResult::Verdict verdict);

// The checks of one device, in order, stopping at the first that fails. The
// port table is left as it is when it has the device already (the window's),
// else it is set to the device alone.
std::vector<CheckResult> CheckDevice(const std::string& device);

// True when the last check is a module that answered.
bool ModuleAnswered(const std::vector<CheckResult>& checks);

// The checks as doctor prints them under the device's line: "  OK        can
// be opened", each remedy line indented below its check.
void PrintChecks(std::ostream& out, const std::vector<CheckResult>& checks);

// The port number under which `device` opens: its entry in the port table, or
// 1 after the table was set to the device alone.
int PortFor(const std::string& device);

} // namespace cli
