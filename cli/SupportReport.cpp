// SPDX-License-Identifier: Apache-2.0
#include "SupportReport.h"

#include "CliCommon.h"
#include "ConnectionCheck.h"
#include "ModuleSettings.h"
#include "Trace.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/utsname.h>
#endif

#ifndef BTCONF_VERSION
#define BTCONF_VERSION "unknown"
#endif

namespace cli {
namespace {

void Heading(std::ostream& out, const std::string& title) {
    out << "\n== " << title << " ==\n";
}

// The operating system as uname has it, without the host name; on Linux also
// the distribution's own name for itself.
std::string SystemText() {
#if defined(_WIN32)
    SYSTEM_INFO info{};
    GetNativeSystemInfo(&info);
    return std::string("Windows, ") +
           (info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ? "x86_64" : "other") +
           " processor";
#else
    struct utsname name {};
    if (::uname(&name) != 0) return std::string("unknown: ") + std::strerror(errno);
    std::string text =
        std::string(name.sysname) + " " + name.release + " " + name.version + " " + name.machine;
    std::ifstream release("/etc/os-release");
    for (std::string line; std::getline(release, line);) {
        if (line.rfind("PRETTY_NAME=", 0) != 0) continue;
        std::string pretty = line.substr(12);
        if (pretty.size() >= 2 && pretty.front() == '"' && pretty.back() == '"')
            pretty = pretty.substr(1, pretty.size() - 2);
        text += "\n" + pretty;
    }
    return text;
#endif
}

std::string Now() {
    return UtcNow("%Y-%m-%d %H:%M:%S UTC");
}

// The module's identity as its General read found it.
void Identity(std::ostream& out, const GenSettings& g) {
    out << "Product: " << g.productId << "\n"
        << "Hardware version: " << g.hardwareVersion << "\n"
        << "Software version: " << g.softwareVersion << "\n"
        << "Article number: " << g.articleNumber << "\n"
        << "Bluetooth address: " << g.bluetoothAddress << "\n"
        << "Second generation: " << (g.secondGeneration ? "yes" : "no") << "\n"
        << "Advanced settings: " << (g.firmware3 ? "yes" : "no") << "\n"
        << "Audio settings: " << (g.firmware3Minor2Gen2 ? "yes" : "no") << "\n";
}

// Opens the device as the window does, probes the module and reads every
// group; the frames go to `events`. Fills `settingsText` with what was read
// and `why` with the failure; returns the status.
int ReadForReport(const std::string& device, ModuleSettings& settings, std::string& settingsText,
                  std::vector<TraceEvent>& events, std::vector<std::string>& why) {
    mSerial port;
    SetModuleLineSettings(port);
    port.port = PortFor(device);
    if (port.Open() != 0) {
        why = {"COM port could not be opened!", device + ": " + WhyNotOpened(device, port)};
        return kNoModule;
    }
    DropStaleBytes(port);
    Communicator comm;
    comm.SetSerialPort(&port);
    comm.frameByFrame = true;
    comm.observer = [&events](const TraceEvent& event) { events.push_back(event); };
    if (!ProbeModule(comm, port)) {
        why = NotFoundLines();
        if (port.IsLost()) why.push_back(port.GetLastErrorText());
        port.Close();
        return kNoModule;
    }
    settings.SetCommunicator(&comm);
    Failure failure;
    const SettingsGroup* failed = settings.ReadAll(failure);
    settings.SetCommunicator(nullptr);
    if (port.IsOpen()) port.Close();
    if (failed == nullptr) {
        settingsText = settings.FileText();
        return kSuccess;
    }
    why = ReportLines(failure);
    if (port.IsLost()) why.push_back(port.GetLastErrorText());
    // The groups read before the failing one, in the order they were read.
    std::ostringstream read;
    for (const ModuleSettings::Member& m : settings.Members()) {
        if (m.group == failed) break;
        if (settings.TakesPart(m)) m.group->SaveToFile(read);
    }
    settingsText = read.str();
    return kCommunication;
}

} // namespace

std::string HideSecrets(const std::string& settingsText) {
    static const std::string kKey = "Passkey: ";
    std::istringstream in(settingsText);
    std::string out;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(kKey, 0) == 0 && line.size() > kKey.size()) {
            const size_t characters = line.size() - kKey.size();
            line = kKey + "(hidden, " + std::to_string(characters) +
                   (characters == 1 ? " character)" : " characters)");
        }
        out += line + "\n";
    }
    return out;
}

SupportReport BuildSupportReport(const std::string& device, const std::string& program,
                                 bool showSecrets) {
    std::ostringstream out;
    out << "Support report of a Norvane Bluetooth module\n"
        << "Made " << Now() << " by " << program << " " << BTCONF_VERSION << "\n"
        << (showSecrets ? "The PIN code and passkeys are shown as they are.\n"
                        : "The PIN code and passkeys are hidden.\n");
    Heading(out, "Operating system");
    out << SystemText() << "\n";

    Heading(out, "Connection check: " + device);
    const std::vector<CheckResult> checks = CheckDevice(device);
    PrintChecks(out, checks);

    SupportReport report;
    ModuleSettings settings;
    std::string settingsText;
    std::vector<TraceEvent> events;
    std::vector<std::string> why;
    if (ModuleAnswered(checks))
        report.status = ReadForReport(device, settings, settingsText, events, why);
    else
        report.status = kNoModule;

    Heading(out, "Module");
    if (report.status != kNoModule && !settings.general.productId.empty())
        Identity(out, settings.general);
    else
        out << "(no module answered, so nothing was read)\n";
    for (const std::string& line : why)
        out << line << "\n";

    Heading(out, "Settings, as the configuration file has them");
    if (settingsText.empty())
        out << "(none read)\n";
    else
        out << (showSecrets ? settingsText : HideSecrets(settingsText));

    Heading(out, "Protocol trace of the read");
    if (events.empty()) out << "(no frames)\n";
    int lastSent = -1;
    const auto start = events.empty() ? std::chrono::steady_clock::time_point() : events[0].time;
    for (const TraceEvent& event : events) {
        const DecodedFrame words = DecodeEvent(event, lastSent, !showSecrets);
        if (event.direction == TraceEvent::Direction::Send && !event.bytes.empty())
            lastSent = event.bytes[0];
        const double ms = std::chrono::duration<double, std::milli>(event.time - start).count();
        out << TraceLine(ms, event, words, !showSecrets) << "\n";
    }
    report.text = out.str();
    return report;
}

int ReportCommand(const std::string& device, const std::string& output, bool showSecrets,
                  Console& console) {
    const SupportReport report = BuildSupportReport(device, "btconf-cli", showSecrets);
    if (output == "-") {
        console.out << report.text << std::flush;
    } else {
        std::ofstream file(output, std::ios::binary | std::ios::trunc);
        file << report.text;
        file.close();
        if (!file) {
            Say(console.err, "The support report could not be saved!",
                {output + ": " + std::strerror(errno)});
            return kCannotSave;
        }
        console.out << "Wrote the support report of " << device << " to " << output << "\n"
                    << std::flush;
    }
    return report.status;
}

} // namespace cli
