// SPDX-License-Identifier: Apache-2.0
// The support report: one plain text file that a person attaches to a message
// when a module misbehaves. It holds the tool's version, the operating system,
// the connection check, the module's identity, its settings as the
// configuration file has them, and the decoded frames of the read. It names
// nothing of the person beyond what the module and the system report (no
// host name, no user name), and the PIN code and any passkey are hidden
// unless they are asked for.
#pragma once

#include <string>
#include <vector>

namespace cli {

struct Console;

struct SupportReport {
    std::string text;
    // 0 when the module was read whole; 3 when no module answered; 4 when the
    // read failed part-way (the report says where and why either way).
    int status = 0;
};

// Checks the device, reads the module on it and writes the report. `program`
// names the tool in the report ("btconf-cli", "btconf"). Plain C++: the window
// runs it on a thread of its own while its own port is closed.
SupportReport BuildSupportReport(const std::string& device, const std::string& program,
                                 bool showSecrets);

// The settings text with the value of every "Passkey:" line replaced by
// "(hidden, N characters)".
std::string HideSecrets(const std::string& settingsText);

// btconf-cli report DEVICE -o FILE [--show-secrets]; "-" is standard output.
int ReportCommand(const std::string& device, const std::string& output, bool showSecrets,
                  Console& console);

} // namespace cli
