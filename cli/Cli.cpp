#include "Cli.h"

#include "Communicator.h"
#include "ConfigFile.h"
#include "Diff.h"
#include "ModuleSettings.h"
#include "Program.h"
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

using Clock = std::chrono::steady_clock;
using Address = std::array<uint8_t, 6>;

// A search as the window runs it: duration 12, every class of device.
constexpr int32_t kSearchDuration = 12;
// Overall time limits (seconds) unless --time-limit gives one: the module's
// own search of duration 12 lasts about 15 s; a pairing waits for a person at
// the remote device.
constexpr int kSearchLimit = 30;
constexpr int kPairingLimit = 120;
constexpr int kTimeLimitMax = 3600;
// After a cancel, how long the module is given to report the end.
constexpr auto kAbortWait = std::chrono::seconds(3);
// A search lists at most this many devices; further results are ignored.
constexpr std::size_t kMaxDevices = 20;
constexpr std::size_t kPasskeyMax = 16;

// The pairing's own outcome texts, by pairing state 2 to 5.
const char* PairingText(int32_t state) {
    switch (state) {
    case 2:
        return "Pairing failed due to timeout";
    case 3:
        return "Pairing failed";
    case 4:
        return "Pairing canceled";
    case 5:
        return "Pairing error";
    default:
        return "Pairing failed";
    }
}

const char* const kNotFound[] = {
    "Norvane Bluetooth unit not found!",
    "Please ensure that you have selected the correct com port",
    "and that your Norvane Bluetooth unit is correctly powered.",
    "Also note that it is not possible to configure your unit while it",
    "has an established Bluetooth connection.",
};

// A report of the program's own: the first line after the program's name, the
// others as they stand.
void Say(std::ostream& err, const std::string& first, const std::vector<std::string>& more = {}) {
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

#if !defined(_WIN32)
// Why the device cannot be opened as the module's port, or "" when it can.
std::string CannotOpen(const std::string& device) {
    struct stat st {};
    if (::stat(device.c_str(), &st) != 0) return std::strerror(errno);
    if (S_ISDIR(st.st_mode)) return "it is a folder";
    if (!S_ISCHR(st.st_mode)) return "it is not a serial port";
    if (::access(device.c_str(), R_OK | W_OK) != 0) return std::strerror(errno);
    const int fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return std::strerror(errno);
    std::string why;
    if (!::isatty(fd))
        why = "it is not a serial port";
    else if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        why = "another program is using it";
    ::close(fd);
    return why;
}

// What a person who may not use serial devices does about it.
const char* const kPermissionAdvice =
    "add your user to the group \"dialout\" (sudo usermod -a -G dialout $USER), then log out "
    "and in again";

// One line of a file, without its line end; "" when it cannot be read.
std::string FirstLine(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "r");
    if (file == nullptr) return "";
    char line[256] = {};
    const bool got = std::fgets(line, sizeof line, file) != nullptr;
    std::fclose(file);
    std::string text = got ? line : "";
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.pop_back();
    return text;
}

// What the system knows of a serial device (its real path): a USB adapter's
// product and maker from the USB device above the tty in /sys, "virtual line"
// for a pseudo-terminal, else "serial port".
std::string DeviceKind(const std::string& real) {
    if (real.rfind("/dev/pts/", 0) == 0) return "virtual line";
    const std::string name = real.substr(real.find_last_of('/') + 1);
    char resolved[4096];
    const std::string link = "/sys/class/tty/" + name + "/device";
    if (name.empty() || ::realpath(link.c_str(), resolved) == nullptr) return "serial port";
    std::string dir = resolved;
    for (int up = 0; up < 5 && dir.size() > 1; ++up) {
        const std::string product = FirstLine(dir + "/product");
        const std::string maker = FirstLine(dir + "/manufacturer");
        if (!product.empty() || !maker.empty()) {
            std::string text = "USB adapter: " + product;
            if (!product.empty() && !maker.empty()) text += ", ";
            return text + maker;
        }
        dir = dir.substr(0, dir.find_last_of('/'));
    }
    return "serial port";
}
#endif

// Why the device did not open, in the system's words where it has them.
std::string WhyNotOpened(const std::string& device, const mSerial& port) {
#if !defined(_WIN32)
    const std::string why = CannotOpen(device);
    if (!why.empty()) return why;
#else
    // The port is opened as COM1 whatever the device is named, so the system's
    // own reason says more than the port's text.
    (void)device;
    if (port.GetSystemError() != 0) return port.GetSystemErrorText();
#endif
    return port.GetLastErrorText();
}

// The ports as the window's chooser lists them: COM1 to COM20 (and COM21 when
// it has a device), each with its device, what the system knows of it, and
// whether it can be opened.
int PortsCommand(const std::vector<std::string>& given, Console& console) {
    PortTable::Set(PortTable::Build(given));
    std::vector<std::array<std::string, 4>> rows;
#if defined(_WIN32)
    uint8_t flags[PortTable::kMaxPorts + 1] = {};
    mSerial probe;
    probe.GetValidComPorts(flags, PortTable::kMaxPorts);
    for (int n = 1; n <= PortTable::kMaxPorts; ++n)
        if (flags[n] != 0 || n < PortTable::kMaxPorts)
            rows.push_back({mSerial::PortName(n), "", "",
                            flags[n] != 0 ? "can be opened" : "no device, or in use"});
#else
    for (int n = 1; n <= PortTable::kMaxPorts; ++n) {
        const std::string device = PortTable::DeviceOf(n);
        if (device.empty()) {
            if (n < PortTable::kMaxPorts)
                rows.push_back({mSerial::PortName(n), "(no device)", "", ""});
            continue;
        }
        char resolved[4096];
        const bool exists = ::realpath(device.c_str(), resolved) != nullptr;
        const std::string real = exists ? resolved : "";
        std::string shown = device;
        if (exists && real != device) shown += " -> " + real;
        if (!exists) {
            rows.push_back({mSerial::PortName(n), shown, "(no device)", ""});
            continue;
        }
        const int opened = ::access(device.c_str(), R_OK | W_OK) == 0 ? 0 : errno;
        std::string why = CannotOpen(device);
        if (!why.empty() && (opened == EACCES || opened == EPERM))
            why += "; " + std::string(kPermissionAdvice);
        rows.push_back({mSerial::PortName(n), shown, DeviceKind(real),
                        why.empty() ? "can be opened" : "cannot be opened: " + why});
    }
#endif
    std::size_t widths[3] = {};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < 3; ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < 4; ++i) {
            line += row[i];
            if (i < 3) line += std::string(widths[i] - row[i].size() + 3, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        console.out << line << "\n";
    }
    console.out << std::flush;
    return kSuccess;
}

// The module's port, open at the module's line settings with a module answering.
class Link {
  public:
    ~Link() {
        if (port.IsOpen()) port.Close();
    }

    // kSuccess, or kNoModule after reporting why not.
    int Open(const std::string& device, std::ostream& err) {
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

    mSerial port;
    Communicator comm;
};

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

// A one-line status on a terminal (what the window shows in its status bar),
// wiped when it goes away.
class StatusLine {
  public:
    StatusLine(std::ostream& err, bool shown, const std::string& text) : err(err), shown(shown) {
        if (shown) err << text << std::flush;
        width = text.size();
    }
    ~StatusLine() { Clear(); }
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    void Clear() {
        if (shown && width > 0) err << '\r' << std::string(width, ' ') << '\r' << std::flush;
        width = 0;
    }

  private:
    std::ostream& err;
    bool shown;
    std::size_t width;
};

// While it lives, a read of the port waits up to kEventReadMs for the first
// byte and then returns 10 ms after the last one: an event frame (at most 44
// bytes, with a quiet gap after it) then comes whole in one read, and is never
// cut in two by the short time-out of a poll. Waiting costs no processor time.
class WholeEventReads {
  public:
    static constexpr int32_t kEventReadMs = 250;
    explicit WholeEventReads(mSerial& port) : port(port), saved(port.ReadTimeout) {
        port.ReadTimeout = kEventReadMs;
    }
    ~WholeEventReads() { port.ReadTimeout = saved; }
    WholeEventReads(const WholeEventReads&) = delete;
    WholeEventReads& operator=(const WholeEventReads&) = delete;

  private:
    mSerial& port;
    int32_t saved;
};

// A device's name as the module sent it (up to its first zero byte), with
// control characters shown as \xNN so that they never reach the terminal.
std::string NameText(const uint8_t (&name)[32]) {
    std::string text;
    for (uint8_t c : name) {
        if (c == 0) break;
        if (c < 0x20 || c == 0x7f || (c >= 0x80 && c < 0xa0)) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            text += escaped;
        } else {
            text.push_back(char(c));
        }
    }
    return text;
}

int SearchCommand(const std::string& device, int limitSeconds, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    Communicator& comm = link.comm;
    const uint8_t everyClass[4] = {};
    comm.StartInquiry(kSearchDuration, everyClass, true);
    StatusLine status(console.err, console.progress, "Searching...");

    std::vector<Address> listed;
    // Takes the result the last poll reported (one at a time, as it came) and
    // lists it unless it is there already or the list is full.
    auto take = [&] {
        while (comm.foundCount > 0) {
            Address address{};
            uint8_t name[32] = {};
            uint32_t classOfDevice = 0;
            if (comm.TakeInquiryResult(address.data(), name, &classOfDevice) < 0) break;
            if (listed.size() >= kMaxDevices ||
                std::find(listed.begin(), listed.end(), address) != listed.end())
                continue;
            listed.push_back(address);
            char cod[16];
            std::snprintf(cod, sizeof cod, "0x%06x", unsigned(classOfDevice & 0xffffff));
            status.Clear();
            console.out << btaddress::Text(address) << "  " << NameText(name) << "  " << cod << "\n"
                        << std::flush;
        }
    };
    // Polls until the module ends the search (2 or 3) or the time is up.
    auto pollUntil = [&](Clock::time_point deadline) {
        WholeEventReads whole(link.port);
        while (Clock::now() < deadline && !link.port.IsLost()) {
            const int32_t state = comm.PollInquiry();
            if (state == 1 || state == 3) take();
            if (state == 2 || state == 3) return true;
        }
        return false;
    };

    const bool finished = pollUntil(Clock::now() + std::chrono::seconds(limitSeconds));
    if (link.port.IsLost()) {
        status.Clear();
        ReportLoss(console.err, link.port);
        return kCommunication;
    }
    if (!finished) {
        comm.CancelInquiry(); // its answer does not matter: the end of the search does
        const bool ended = pollUntil(Clock::now() + kAbortWait);
        status.Clear();
        if (!ended) {
            Say(console.err, "The search did not end",
                {"The module reported no end of the search, not even after it was canceled."});
            return kCommunication;
        }
        Say(console.err, "Search canceled after " + std::to_string(limitSeconds) +
                             (limitSeconds == 1 ? " second" : " seconds"));
    }
    status.Clear();
    if (listed.empty()) Say(console.err, "No device found");
    return kSuccess;
}

// A pairing: local-initiated with the remote device's address, or waiting for
// the remote device; the module's paired address on success.
int PairCommand(const std::string& device, bool remoteInitiates, const Address& address,
                const std::string& passkey, int limitSeconds, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    Communicator& comm = link.comm;
    const int32_t started = comm.StartPairing(remoteInitiates ? 1 : 0, address.data(),
                                              reinterpret_cast<const uint8_t*>(passkey.data()),
                                              uint32_t(passkey.size()));
    if (started != 0) {
        Say(console.err, "Pairing could not be started",
            {"The reason was: " + comm.GetErrorText(started)});
        return kCommunication;
    }

    int32_t state = 0;
    {
        StatusLine status(console.err, console.progress,
                          remoteInitiates ? "Waiting for remote device to pair" : "Pairing...");
        auto pollUntil = [&](Clock::time_point deadline) {
            WholeEventReads whole(link.port);
            while (state == 0 && Clock::now() < deadline && !link.port.IsLost())
                state = comm.PollPairingStatus();
        };
        pollUntil(Clock::now() + std::chrono::seconds(limitSeconds));
        if (link.port.IsLost()) {
            status.Clear();
            ReportLoss(console.err, link.port);
            return kCommunication;
        }
        if (state == 0) {
            // The module is told to stop and answers with the canceled outcome.
            comm.CancelInquiry();
            pollUntil(Clock::now() + kAbortWait);
            status.Clear();
            Say(console.err, "No pairing outcome within " + std::to_string(limitSeconds) +
                                 (limitSeconds == 1 ? " second" : " seconds"));
            if (state == 0) {
                Say(console.err, "The pairing did not end",
                    {"The module reported no outcome, not even after it was canceled."});
                return kCommunication;
            }
        }
    }
    if (state != 1) {
        Say(console.err, PairingText(state));
        return kPairing;
    }

    Address paired{};
    const int32_t result = comm.GetPairedDevice(paired.data());
    if (result != 0) {
        Failure failure;
        failure.category = "communication";
        failure.headline = "Could not read parameter";
        failure.errorCode = 0x162;
        failure.description = {
            "A communication error occured when reading information from the device.",
            "The reason was: " + comm.GetErrorText(result)};
        Report(console.err, failure);
        return kCommunication;
    }
    console.out << "Paired with " << btaddress::Text(paired) << "\n" << std::flush;
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

// What is wrong with the words of a command, or "" when nothing is.
std::string Misuse(const CommandLine& line) {
    if (line.words.empty()) return "no command given";
    const std::string& command = line.words[0];
    const std::size_t count = line.words.size() - 1;
    const bool pair = command == "pair", waitPair = command == "wait-pair";
    const bool remote = command == "search" || pair || waitPair;
    const bool local = command == "help" || command == "read" || command == "write" ||
                       command == "check" || command == "ports";
    if (!remote && !local) return "unknown command \"" + command + "\"";
    if (local && line.hasPasskey) return command + " takes no --passkey";
    if (local && line.hasTimeLimit) return command + " takes no --time-limit";
    if (command == "help") return count == 0 ? "" : "help takes no arguments";
    if (command == "ports") return line.hasOutput ? "ports takes no -o" : "";
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
    if (line.hasPasskey && (line.passkey.empty() || line.passkey.size() > kPasskeyMax))
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

std::string Usage() {
    return "Usage: btconf-cli read DEVICE -o FILE\n"
           "       btconf-cli write DEVICE FILE\n"
           "       btconf-cli check FILE\n"
           "       btconf-cli ports [DEVICE]...\n"
           "       btconf-cli search DEVICE [--time-limit SECONDS]\n"
           "       btconf-cli pair DEVICE ADDRESS --passkey KEY [--time-limit SECONDS]\n"
           "       btconf-cli wait-pair DEVICE --passkey KEY [--time-limit SECONDS]\n"
           "       btconf-cli program FILE DEVICE... [--log LOG] [--log-format csv|json]\n"
           "       btconf-cli program FILE --watch DEVICE... [--log LOG] [--log-format ...]\n"
           "       btconf-cli diff DEVICE FILE\n"
           "       btconf-cli diff FILE FILE\n"
           "       btconf-cli --help\n"
           "\n"
           "Reads the settings of a Norvane Bluetooth serial-port adapter module on the\n"
           "serial device DEVICE into a configuration file, writes such a file onto the\n"
           "module, or checks a file. The file is the same as File > Save of the window.\n"
           "Searches for remote Bluetooth devices through the module, and pairs the\n"
           "module with one.\n"
           "\n"
           "Commands:\n"
           "  read DEVICE -o FILE  read every setting of the module and save it to FILE\n"
           "                       (\"-\" writes it to standard output)\n"
           "  write DEVICE FILE    read the module, take the settings FILE holds, check\n"
           "                       them and write them to the module\n"
           "  check FILE           print the settings FILE holds (\"Key: value\") and\n"
           "                       check them\n"
           "  ports [DEVICE]...    list the ports as the window's chooser does: COM1 to\n"
           "                       COM20, each with its device (the DEVICEs given first,\n"
           "                       then the system's), what the system knows of it (a\n"
           "                       USB adapter's product and maker) and whether it can\n"
           "                       be opened\n"
           "  search DEVICE        search for remote devices and print each one found:\n"
           "                       address, name, class of device\n"
           "  pair DEVICE ADDRESS  pair the module with the remote device at ADDRESS\n"
           "                       (00:1b:dc:0f:52:a7, 001bdc0f52a7 or \"00 1b dc 0f 52 a7\")\n"
           "                       and print the address it is then paired with\n"
           "  wait-pair DEVICE     let the module wait for a remote device to pair with it\n"
           "  program FILE DEVICE...\n"
           "                       write FILE to the modules on every DEVICE at once,\n"
           "                       each as write does, then read each back and compare\n"
           "                       every setting FILE sets; one line per module\n"
           "                       (device, product, address, OK or FAILED, seconds)\n"
           "                       and a summary\n"
           "  program FILE --watch DEVICE...\n"
           "                       station mode: program every module that appears on\n"
           "                       a DEVICE, once, and wait for it to go away before\n"
           "                       the next one; stops on Ctrl+C\n"
           "  diff DEVICE FILE     print each setting FILE sets that the module holds\n"
           "                       otherwise: \"Key: module VALUE, file VALUE\"\n"
           "  diff FILE FILE       the same for two files: \"Key: first VALUE, second\n"
           "                       VALUE\"; a side without the line shows (not set)\n"
           "  help                 print this text\n"
           "\n"
           "Options:\n"
           "  -o, --output FILE    the file that read saves to\n"
           "  --passkey KEY        the pairing's passkey, 1 to 16 characters\n"
           "  --time-limit SECONDS give up a search or a pairing after SECONDS (1 to\n"
           "                       3600; default 30 for a search, 120 for a pairing)\n"
           "  --log LOG            program: append one record per module to LOG (time,\n"
           "                       device, address, product, software version, file,\n"
           "                       its SHA-256, result, reason, differences)\n"
           "  --log-format FORMAT  csv (default) or json (one object a line)\n"
           "  --watch              program: station mode (above)\n"
           "  --trace FILE         with any command: write every frame sent to and\n"
           "                       received from the module to FILE, one line each\n"
           "                       (milliseconds, send or recv, the bytes, what they\n"
           "                       mean)\n"
           "  -h, --help           print this text\n"
           "\n"
           "program ends with status 8 when at least one module was not programmed or\n"
           "not verified; diff ends with 0 when no setting differs and 1 when one does.\n"
           "\n"
           "Exit status:\n"
           "  0  success\n"
           "  2  the command line is wrong\n"
           "  3  the port cannot be opened, or no module answers\n"
           "  4  a setting could not be read from or written to the module, or the\n"
           "     module's port went away (unplugged, or its far end hung up)\n"
           "  5  the file is refused or holds no settings, or a value is not valid\n"
           "  6  the output file cannot be written\n"
           "  7  the pairing timed out, failed, ended in an error or was canceled\n";
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
    const bool search = w[0] == "search";
    const int limit = line.hasTimeLimit ? int(FileNumber(line.timeLimit))
                      : search          ? kSearchLimit
                                        : kPairingLimit;
    if (search) return SearchCommand(w[1], limit, console);
    Address address{};
    const bool remoteInitiates = w[0] == "wait-pair";
    if (!remoteInitiates) ParseAddressArgument(w[2], address);
    return PairCommand(w[1], remoteInitiates, address, line.passkey, limit, console);
}

} // namespace

} // namespace cli
