// SPDX-License-Identifier: Apache-2.0
#include "Cli.h"

#include "CliCommon.h"
#include "Communicator.h"
#include "ConfigFile.h"
#include "Diff.h"
#include "ModuleSettings.h"
#include "Program.h"
#include "SupportReport.h"
#include "TextBar.h"
#include "mSerial.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
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
    int32_t probe = comm.CheckConnection();
    if (probe == -2) {
        // Something stale was in the way of the answer: probe once more as the
        // window does, reading until the line is quiet.
        comm.frameByFrame = false;
        DropStaleBytes(port);
        probe = comm.CheckConnection();
        comm.frameByFrame = true;
    }
    if (probe != 1) {
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

int ReadCommand(const std::string& device, const std::string& output, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    ModuleSettings settings;
    if (const int status = ReadModule(settings, link, console)) return status;

    const std::string text = settings.FileText();
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
    console.out << "Read " << Identity(settings) << " into " << output << "\n" << std::flush;
    return kSuccess;
}

int WriteCommand(const std::string& device, const std::string& path, Console& console) {
    std::string bytes;
    if (const int status = ReadFile(path, bytes, console.err)) return status;
    {
        // A file without one setting is refused before the module is asked anything.
        ModuleSettings probe;
        if (probe.LoadFile(bytes) == 0) return NoSettings(path, console.err);
    }

    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    // The file's values go onto what the module holds, so that a file with some
    // settings only leaves the others as they are.
    ModuleSettings settings;
    if (const int status = ReadModule(settings, link, console)) return status;
    const int taken = settings.LoadFile(bytes);
    if (taken == 0) return NoSettings(path, console.err);

    Failure failure;
    if (settings.ValidateAll(failure) != nullptr) {
        Report(console.err, failure);
        return kInvalid;
    }
    {
        TextBar bar(console.err, console.progress, "Writing settings",
                    settings.WriteProgressMaximum());
        settings.SetProgress(&bar);
        const SettingsGroup* failed = settings.WriteAll(failure);
        settings.SetProgress(nullptr);
        bar.Clear();
        if (failed != nullptr) {
            Report(console.err, failure);
            ReportLoss(console.err, link.port);
            return kCommunication;
        }
    }
    settings.ClearChanged();
    console.out << "Wrote " << taken << (taken == 1 ? " setting" : " settings") << " from " << path
                << " to " << Identity(settings) << "\n"
                << std::flush;
    return kSuccess;
}

int CheckCommand(const std::string& path, Console& console) {
    std::string bytes;
    if (const int status = ReadFile(path, bytes, console.err)) return status;
    ModuleSettings settings;
    // Without a module, the file is checked as for one that has every group.
    settings.AssumeEveryGroup();
    TakenLines taken;
    if (settings.LoadFile(bytes, &taken) == 0) return NoSettings(path, console.err);
    // Whether the module is paired is the module's, never the file's; for the
    // check, the module the file was saved from stands in, paired as its
    // information line says.
    std::string paired;
    Address address{};
    if (TakeConfigValue("Device paired with", bytes, paired) && btaddress::Parse(paired, address))
        settings.SetPairedAddress(address);
    for (const std::string& line : taken)
        console.out << line << "\n";
    console.out << std::flush;
    Failure failure;
    if (settings.ValidateAll(failure) != nullptr) {
        Report(console.err, failure);
        return kInvalid;
    }
    return kSuccess;
}

// The command line taken apart: the words, the options, and whether help was asked for.
struct CommandLine {
    std::vector<std::string> words;
    std::string output;
    bool hasOutput = false;
    std::string passkey;
    bool hasPasskey = false;
    std::string timeLimit;
    bool hasTimeLimit = false;
    bool help = false;
    std::string error; // what is wrong with it, when something is
};

// "--name VALUE" or "--name=VALUE" (and short, "-o VALUE"): true when args[i]
// is the option; its value (or the complaint) is then taken, i moves past it.
bool TakeOption(const std::vector<std::string>& args, std::size_t& i, const char* shortName,
                const char* longName, const char* what, std::string& value, bool& given,
                std::string& error) {
    const std::string& a = args[i];
    const std::string withValue = std::string(longName) + "=";
    const bool separate = a == longName || (shortName != nullptr && a == shortName);
    if (!separate && a.rfind(withValue, 0) != 0) return false;
    std::string v;
    if (separate) {
        if (i + 1 == args.size()) {
            if (error.empty()) error = "option " + a + " needs " + what;
            return true;
        }
        v = args[++i];
    } else {
        v = a.substr(withValue.size());
    }
    if (error.empty() && given) error = std::string("option ") + longName + " is given twice";
    value = v;
    given = true;
    return true;
}

CommandLine Parse(const std::vector<std::string>& args) {
    CommandLine line;
    bool options = true;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (!options || a == "-" || a.empty() || a[0] != '-') {
            line.words.push_back(a);
        } else if (a == "--") {
            options = false;
        } else if (a == "-h" || a == "--help") {
            line.help = true;
        } else if (a == "-o" || a == "--output" || a.rfind("--output=", 0) == 0) {
            std::string value;
            if (a == "-o" || a == "--output") {
                if (i + 1 == args.size()) {
                    line.error = "option " + a + " needs a file name";
                    return line;
                }
                value = args[++i];
            } else {
                value = a.substr(std::strlen("--output="));
            }
            if (line.error.empty() && line.hasOutput) line.error = "the output file is given twice";
            if (line.error.empty() && value.empty()) line.error = "the output file name is empty";
            line.output = value;
            line.hasOutput = true;
        } else if (TakeOption(args, i, nullptr, "--passkey", "a passkey", line.passkey,
                              line.hasPasskey, line.error) ||
                   TakeOption(args, i, nullptr, "--time-limit", "a number of seconds",
                              line.timeLimit, line.hasTimeLimit, line.error)) {
        } else if (line.error.empty()) {
            line.error = "unknown option \"" + a + "\"";
        }
    }
    return line;
}

// The passkey as the module's 8-bit text: the command line gives UTF-8, and
// a character beyond Latin-1 cannot be sent. False for such a passkey.
bool PasskeyBytes(const std::string& utf8, std::string& latin1) {
    latin1.clear();
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto b = static_cast<unsigned char>(utf8[i]);
        if (b < 0x80) {
            latin1 += char(b);
            continue;
        }
        // U+0080 to U+00FF come as 110000xx 10xxxxxx.
        if ((b & 0xFE) != 0xC2 || i + 1 == utf8.size()) return false;
        const auto next = static_cast<unsigned char>(utf8[++i]);
        if ((next & 0xC0) != 0x80) return false;
        latin1 += char((b & 0x03) << 6 | (next & 0x3F));
    }
    return true;
}

// What is wrong with the words of a command, or "" when nothing is.
std::string Misuse(const CommandLine& line) {
    if (line.words.empty()) return "no command given";
    const std::string& command = line.words[0];
    const std::size_t count = line.words.size() - 1;
    const bool pair = command == "pair", waitPair = command == "wait-pair";
    const bool remote = command == "search" || pair || waitPair;
    const bool local = command == "help" || command == "read" || command == "write" ||
                       command == "check" || command == "ports" || command == "doctor";
    if (!remote && !local) return "unknown command \"" + command + "\"";
    if (local && line.hasPasskey) return command + " takes no --passkey";
    if (local && line.hasTimeLimit) return command + " takes no --time-limit";
    if (command == "help") return count == 0 ? "" : "help takes no arguments";
    if (command == "ports" || command == "doctor")
        return line.hasOutput ? command + " takes no -o" : "";
    if (command == "read") {
        if (count != 1) return count == 0 ? "read needs a DEVICE" : "read takes one DEVICE";
        if (!line.hasOutput) return "read needs -o FILE";
        return "";
    }
    if (command == "write") {
        if (count != 2) return "write needs a DEVICE and a FILE";
        if (line.hasOutput) return "write takes no -o";
        return "";
    }
    if (command == "check") {
        if (count != 1) return "check needs one FILE";
        if (line.hasOutput) return "check takes no -o";
        return "";
    }
    if (command == "search" && count != 1) return "search needs one DEVICE";
    if (pair && count != 2) return "pair needs a DEVICE and an ADDRESS";
    if (waitPair && count != 1) return "wait-pair needs one DEVICE";
    if (line.hasOutput) return command + " takes no -o";
    Address address{};
    if (pair && !ParseAddressArgument(line.words[2], address))
        return "ADDRESS \"" + line.words[2] +
               "\" is not six bytes such as 00:1b:dc:0f:52:a7, 001bdc0f52a7 or "
               "\"00 1b dc 0f 52 a7\"";
    if (command == "search" && line.hasPasskey) return "search takes no --passkey";
    if ((pair || waitPair) && !line.hasPasskey) return command + " needs --passkey KEY";
    std::string key;
    if (line.hasPasskey && !PasskeyBytes(line.passkey, key))
        return "the passkey holds a character the module cannot take: only the Latin-1 "
               "characters can be sent";
    if (line.hasPasskey && (key.empty() || key.size() > kPasskeyMax))
        return "the passkey must have 1-16 characters";
    if (line.hasTimeLimit) {
        const long long seconds = FileNumber(line.timeLimit);
        if (line.timeLimit.empty() || line.timeLimit[0] == '+' || seconds < 1 ||
            seconds > kTimeLimitMax)
            return "--time-limit takes 1 to 3600 seconds";
    }
    return "";
}

} // namespace

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

void DropStaleBytes(mSerial& port) {
    uint8_t stale[kStaleBytes];
    const int32_t quietMs = port.ReadTimeout;
    port.ReadTimeout = 0;
    int32_t got = port.ReadBuffer(stale, kStaleBytes);
    port.ReadTimeout = quietMs;
    for (int reads = 1; got > 0 && reads < kStaleReads; ++reads)
        got = port.ReadBuffer(stale, kStaleBytes);
}

namespace {

// Takes "--trace FILE" or "--trace=FILE" out of the arguments (before "--"):
// true when none, or one with a file name, was given.
bool TakeTraceOption(std::vector<std::string>& args, std::string& file, bool& given,
                     std::string& error) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--") break;
        const bool separate = a == "--trace";
        if (!separate && a.rfind("--trace=", 0) != 0) continue;
        if (given) error = "option --trace is given twice";
        if (separate && i + 1 == args.size()) {
            error = "option --trace needs a file name";
            args.erase(args.begin() + long(i));
            return false;
        }
        file = separate ? args[i + 1] : a.substr(std::strlen("--trace="));
        if (file.empty() && error.empty()) error = "the trace file name is empty";
        given = true;
        args.erase(args.begin() + long(i), args.begin() + long(i) + (separate ? 2 : 1));
        --i;
    }
    return error.empty();
}

int RunCommand(const std::vector<std::string>& args, Console& console);

} // namespace

int Run(const std::vector<std::string>& given, Console& console) {
    // --trace FILE goes with any command: every frame of every Communicator the
    // command makes is written to FILE, one line each, flushed at once.
    std::vector<std::string> args = given;
    std::string traceFile, error;
    bool hasTrace = false;
    if (!TakeTraceOption(args, traceFile, hasTrace, error)) {
        Say(console.err, error);
        console.err << "\n" << Usage() << std::flush;
        return kUsage;
    }
    if (!hasTrace) return RunCommand(args, console);
    std::FILE* file = std::fopen(traceFile.c_str(), "wb");
    if (file == nullptr) {
        Say(console.err, "The trace file could not be written!",
            {traceFile + ": " + std::strerror(errno)});
        return kCannotSave;
    }
    TraceWriter writer(file);
    Communicator::SetDefaultObserver(writer.Observer());
    const int status = RunCommand(args, console);
    Communicator::SetDefaultObserver(nullptr);
    std::fclose(file);
    return status;
}

namespace {

int RunCommand(const std::vector<std::string>& args, Console& console) {
    // program and diff take their own options.
    if (!args.empty() && args[0] == "program")
        return ProgramCommand({args.begin() + 1, args.end()}, console);
    if (!args.empty() && args[0] == "diff")
        return DiffCommand({args.begin() + 1, args.end()}, console);
    if (!args.empty() && args[0] == "report")
        return ReportCommand({args.begin() + 1, args.end()}, console);
    const CommandLine line = Parse(args);
    if (line.help && line.error.empty()) {
        console.out << Usage() << std::flush;
        return kSuccess;
    }
    const std::string misuse = line.error.empty() ? Misuse(line) : line.error;
    if (!misuse.empty()) {
        Say(console.err, misuse);
        console.err << "\n" << Usage() << std::flush;
        return kUsage;
    }
    const std::vector<std::string>& w = line.words;
    if (w[0] == "help") {
        console.out << Usage() << std::flush;
        return kSuccess;
    }
    if (w[0] == "read") return ReadCommand(w[1], line.output, console);
    if (w[0] == "write") return WriteCommand(w[1], w[2], console);
    if (w[0] == "check") return CheckCommand(w[1], console);
    if (w[0] == "ports") return PortsCommand({w.begin() + 1, w.end()}, console);
    if (w[0] == "doctor") return DoctorCommand({w.begin() + 1, w.end()}, console);
    const bool search = w[0] == "search";
    const int limit = line.hasTimeLimit ? int(FileNumber(line.timeLimit))
                      : search          ? kSearchLimit
                                        : kPairingLimit;
    if (search) return SearchCommand(w[1], limit, console);
    Address address{};
    const bool remoteInitiates = w[0] == "wait-pair";
    if (!remoteInitiates) ParseAddressArgument(w[2], address);
    std::string key;
    PasskeyBytes(line.passkey, key); // checked with the command line
    return PairCommand(w[1], remoteInitiates, address, key, limit, console);
}

} // namespace

} // namespace cli
