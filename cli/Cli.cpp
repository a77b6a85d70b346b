// SPDX-License-Identifier: Apache-2.0
#include "Cli.h"

#include "CliCommon.h"
#include "Communicator.h"
#include "Compare.h"
#include "ConfigFile.h"
#include "Diff.h"
#include "Json.h"
#include "ModuleSettings.h"
#include "Program.h"
#include "TextBar.h"
#include "mSerial.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <ostream>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace cli {

namespace {

const char* const kProgram = "btconf-cli";
// Stale bytes are read and thrown away this many at a time after opening, for
// at most this many reads.
constexpr int kStaleBytes = 100;
constexpr int kStaleReads = 20;

const char* const kNotFound[] = {
    "Norvane Bluetooth unit not found!",
    "Please ensure that you have selected the correct com port",
    "and that your Norvane Bluetooth unit is correctly powered.",
    "Also note that it is not possible to configure your unit while it",
    "has an established Bluetooth connection.",
};

} // namespace

// A report of the program's own: the first line after the program's name, the
// others as they stand.
void Say(std::ostream& err, const std::string& first, const std::vector<std::string>& more) {
    err << kProgram << ": " << first << "\n";
    for (const std::string& line : more)
        err << line << "\n";
    err << std::flush;
}

// A failure as the error report dialog shows it: caption, headline, description.
void Report(std::ostream& err, const Failure& failure) {
    std::vector<std::string> lines = ReportLines(failure);
    Say(err, lines[0], {lines.begin() + 1, lines.end()});
}

// A port whose device went away (unplugged, or the far end hung up) ends the
// command at once; the person is told which device and why.
void ReportLoss(std::ostream& err, const mSerial& port) {
    if (!port.IsLost()) return;
    Say(err, "The module's port went away", {port.GetLastErrorText()});
}

Link::~Link() {
    if (port.IsOpen()) port.Close();
}

int Link::Open(const std::string& device, std::ostream& err) {
    PortTable::Set({device});
    SetModuleLineSettings(port);
    port.port = 1;
    if (port.Open() != 0) {
        Say(err, "COM port could not be opened!", {device + ": " + WhyNotOpened(device, port)});
        return kNoModule;
    }
    DropStaleBytes(port);
    comm.SetSerialPort(&port);
    comm.frameByFrame = true;
    if (!ProbeModule(comm, port)) {
        Say(err, kNotFound[0], {std::begin(kNotFound) + 1, std::end(kNotFound)});
        ReportLoss(err, port);
        return kNoModule;
    }
    return kSuccess;
}

namespace {

// Read-all of every group that the module has, with the read bar.
int ReadModule(ModuleSettings& settings, Link& link, Console& console) {
    settings.SetCommunicator(&link.comm);
    TextBar bar(console.err, console.progress, "Reading settings",
                ModuleSettings::kReadProgressMaximum);
    settings.SetProgress(&bar);
    Failure failure;
    const SettingsGroup* failed = settings.ReadAll(failure);
    settings.SetProgress(nullptr);
    bar.Clear();
    if (failed != nullptr) {
        Report(console.err, failure);
        ReportLoss(console.err, link.port);
        return kCommunication;
    }
    settings.ClearChanged();
    return kSuccess;
}

// The file's bytes, or kInvalid after reporting why it was refused.
int ReadFile(const std::string& path, std::string& bytes, std::ostream& err) {
    std::string why;
    if (ConfigFile::ReadAll(path, bytes, &why)) return kSuccess;
    Say(err, "Configuration file could not be read!", {path + ": " + why});
    return kInvalid;
}

int NoSettings(const std::string& path, std::ostream& err) {
    Say(err, path + " contains no settings");
    return kInvalid;
}

// What a summary names the module by.
std::string Identity(const ModuleSettings& settings) {
    return settings.general.productId + " (Bluetooth address " + settings.general.bluetoothAddress +
           ")";
}

// The file text with CR LF line ends, as the file writer puts it on disk.
std::string WithCrLf(const std::string& text) {
    std::string bytes;
    bytes.reserve(text.size() + text.size() / 16 + 1);
    for (char c : text) {
        if (c == '\n') bytes.push_back('\r');
        bytes.push_back(c);
    }
    return bytes;
}

} // namespace

int ReadCommand(const std::string& device, const std::string& output, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    ModuleSettings settings;
    if (const int status = ReadModule(settings, link, console)) return status;

    const std::string text = settings.FileText();
    if (console.json)
        console.out << JsonLine({{"event", "read"},
                                 {"device", device},
                                 {"product", JsonText(settings.general.productId)},
                                 {"address", settings.general.bluetoothAddress},
                                 {"software", JsonText(settings.general.softwareVersion)},
                                 {"output", output},
                                 {"settings", FileValues(text)}})
                    << "\n"
                    << std::flush;
    if (output == "-" && console.json) return kSuccess; // the settings are in the object
    if (output == "-") {
        console.out << WithCrLf(text) << std::flush;
        if (!console.out) {
            Say(console.err, "Configuration file could not be saved!",
                {"standard output: it cannot be written"});
            return kCannotSave;
        }
        return kSuccess;
    }
    std::string why;
    if (!ConfigFile::WriteAtomically(output, text, &why)) {
        Say(console.err, "Configuration file could not be saved!", {output + ": " + why});
        return kCannotSave;
    }
    if (!console.json)
        console.out << "Read " << Identity(settings) << " into " << output << "\n" << std::flush;
    return kSuccess;
}

int WriteCommand(const std::string& device, const std::string& path,
                 const std::vector<std::string>& only, const UnitOptions& unitOptions,
                 Console& console) {
    std::string bytes;
    if (const int status = ReadFile(path, bytes, console.err)) return status;
    {
        // A file without one setting is refused before the module is asked anything.
        ModuleSettings probe;
        if (probe.LoadFile(bytes) == 0) return NoSettings(path, console.err);
    }
    // So is a setting named by --only that the file does not set.
    for (const std::string& key : KeysNotSet(bytes, only)) {
        Say(console.err, "\"" + key + "\" is not a setting of " + path);
        return kInvalid;
    }
    Units units;
    std::string why;
    if (!units.Setup(unitOptions, why)) {
        Say(console.err, why);
        return kInvalid;
    }

    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    // The file's values go onto what the module holds, so that a file with some
    // settings only leaves the others as they are.
    ModuleSettings settings;
    if (const int status = ReadModule(settings, link, console)) return status;
    // The unit's own values come first, so that they win over the file's, and
    // with --only their groups are written too.
    Unit unit;
    if (units.Active() && !units.Take(settings.general.bluetoothAddress, unit, why)) {
        Say(console.err, "Not written: " + why);
        return kInvalid;
    }
    std::vector<std::string> keys = only;
    for (const auto& value : unit.values)
        if (!only.empty()) keys.push_back(value.first);
    std::vector<SettingsGroup*> groups;
    const int taken = settings.LoadForWrite(unit.FileText() + bytes, keys, groups);
    if (taken == 0) return NoSettings(path, console.err);

    Failure failure;
    if (settings.ValidateAll(failure, &groups) != nullptr) {
        Report(console.err, failure);
        return kInvalid;
    }
    {
        TextBar bar(console.err, console.progress, "Writing settings",
                    settings.WriteProgressMaximum());
        settings.SetProgress(&bar);
        const SettingsGroup* failed = settings.WriteAll(failure, &groups);
        settings.SetProgress(nullptr);
        bar.Clear();
        if (failed != nullptr) {
            Report(console.err, failure);
            ReportLoss(console.err, link.port);
            return kCommunication;
        }
    }
    settings.ClearChanged();
    if (console.json) {
        Json values = Json::object();
        for (const auto& [key, value] : unit.values)
            values[JsonText(key)] = JsonText(value);
        console.out << JsonLine({{"event", "write"},
                                 {"device", device},
                                 {"product", JsonText(settings.general.productId)},
                                 {"address", settings.general.bluetoothAddress},
                                 {"file", path},
                                 {"taken", taken},
                                 {"unit", unit.number != 0 ? Json(unit.number) : Json()},
                                 {"values", values}})
                    << "\n"
                    << std::flush;
        return kSuccess;
    }
    console.out << "Wrote " << taken << (taken == 1 ? " setting" : " settings") << " from " << path
                << " to " << Identity(settings) << "\n"
                << std::flush;
    return kSuccess;
}

int CheckCommand(const std::string& path, Console& console) {
    std::string bytes;
    if (const int status = ReadFile(path, bytes, console.err)) return status;
    ModuleSettings settings;
    TakenLines taken;
    if (settings.LoadFileAlone(bytes, &taken) == 0) return NoSettings(path, console.err);
    Failure failure;
    const bool valid = settings.ValidateAll(failure) == nullptr;
    if (console.json) {
        std::string lines;
        for (const std::string& line : taken)
            lines += line + "\n";
        console.out << JsonLine({{"event", "check"},
                                 {"file", path},
                                 {"settings", FileValues(lines)},
                                 {"valid", valid}})
                    << "\n";
    } else {
        for (const std::string& line : taken)
            console.out << line << "\n";
    }
    console.out << std::flush;
    if (!valid) {
        Report(console.err, failure);
        return kInvalid;
    }
    return kSuccess;
}

std::vector<std::string> ReportLines(const Failure& failure) {
    std::string caption = "Error - " + failure.category;
    if (failure.errorCode != 0) {
        char code[16];
        std::snprintf(code, sizeof code, " (0x%04x)", unsigned(failure.errorCode));
        caption += code;
    }
    std::vector<std::string> lines{caption, "Error: " + failure.headline};
    lines.insert(lines.end(), failure.description.begin(), failure.description.end());
    return lines;
}

std::vector<std::string> NotFoundLines() {
    return {std::begin(kNotFound), std::end(kNotFound)};
}

std::string WhyDeviceNotOpened(const std::string& device, const mSerial& port) {
    return WhyNotOpened(device, port);
}

// Throws away whatever waits on the line, so that it is not taken for an answer.
// What is buffered is taken at once; only when something was there (more may
// be on its way) is the line read until it has been quiet for the port's read
// time-out, as the window does after opening. A quiet line costs no wait. A
// line that never goes quiet is left after kStaleReads reads (the probe then
// finds no module).
bool ParseAddressArgument(const std::string& text, std::array<uint8_t, 6>& address) {
    // Twelve digits, or six pairs with one kind of separator between them.
    std::string digits;
    if (text.size() == 12) {
        digits = text;
    } else if (text.size() == 17 && (text[2] == ':' || text[2] == ' ')) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (i % 3 != 2)
                digits.push_back(text[i]);
            else if (text[i] != text[2])
                return false;
        }
    } else {
        return false;
    }
    auto value = [](char c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    Address parsed{};
    for (std::size_t i = 0; i < 12; ++i) {
        const int v = value(digits[i]);
        if (v < 0) return false;
        parsed[i / 2] = uint8_t(parsed[i / 2] << 4 | v);
    }
    address = parsed;
    return true;
}

std::string UtcNow(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
#if defined(_WIN32)
    gmtime_s(&utc, &now);
#else
    gmtime_r(&now, &utc);
#endif
    char text[64];
    std::strftime(text, sizeof text, format, &utc);
    return text;
}

bool ProbeModule(Communicator& comm, mSerial& port) {
    int32_t probe = comm.CheckConnection();
    if (probe == -2) {
        // Something stale was in the way of the answer: probe once more as the
        // window does, reading until the line is quiet.
        const bool frameByFrame = comm.frameByFrame;
        comm.frameByFrame = false;
        DropStaleBytes(port);
        probe = comm.CheckConnection();
        comm.frameByFrame = frameByFrame;
    }
    return probe == 1;
}

void DropStaleBytes(mSerial& port) {
    uint8_t stale[kStaleBytes];
    const int32_t quietMs = port.ReadTimeout;
    port.ReadTimeout = 0;
    int32_t got = port.ReadBuffer(stale, kStaleBytes);
    port.ReadTimeout = quietMs;
    for (int reads = 1; got > 0 && reads < kStaleReads; ++reads)
        got = port.ReadBuffer(stale, kStaleBytes);
}

} // namespace cli
