#include "Cli.h"

#include "Communicator.h"
#include "ConfigFile.h"
#include "ModuleSettings.h"
#include "TextBar.h"
#include "mSerial.h"

#include <cerrno>
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
    std::string caption = "Error - " + failure.category;
    if (failure.errorCode != 0) {
        char code[16];
        std::snprintf(code, sizeof code, " (0x%04x)", unsigned(failure.errorCode));
        caption += code;
    }
    std::vector<std::string> lines{"Error: " + failure.headline};
    lines.insert(lines.end(), failure.description.begin(), failure.description.end());
    Say(err, caption, lines);
}

// Why the device did not open, in the system's words where it has them.
std::string WhyNotOpened(const std::string& device, const mSerial& port) {
#if !defined(_WIN32)
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
    if (!why.empty()) return why;
#else
    (void)device;
#endif
    return port.GetLastErrorText();
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

// The command line taken apart: the words, the output file, and whether help was asked for.
struct CommandLine {
    std::vector<std::string> words;
    std::string output;
    bool hasOutput = false;
    bool help = false;
    std::string error; // what is wrong with it, when something is
};

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
    if (command == "help") return count == 0 ? "" : "help takes no arguments";
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
    return "unknown command \"" + command + "\"";
}

} // namespace

// Throws away whatever waits on the line, so that it is not taken for an answer.
// What is buffered is taken at once; only when something was there (more may
// be on its way) is the line read until it has been quiet for the port's read
// time-out, as the window does after opening. A quiet line costs no wait. A
// line that never goes quiet is left after kStaleReads reads (the probe then
// finds no module).
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
           "       btconf-cli --help\n"
           "\n"
           "Reads the settings of a Norvane Bluetooth serial-port adapter module on the\n"
           "serial device DEVICE into a configuration file, writes such a file onto the\n"
           "module, or checks a file. The file is the same as File > Save of the window.\n"
           "\n"
           "Commands:\n"
           "  read DEVICE -o FILE  read every setting of the module and save it to FILE\n"
           "                       (\"-\" writes it to standard output)\n"
           "  write DEVICE FILE    read the module, take the settings FILE holds, check\n"
           "                       them and write them to the module\n"
           "  check FILE           print the settings FILE holds (\"Key: value\") and\n"
           "                       check them\n"
           "  help                 print this text\n"
           "\n"
           "Options:\n"
           "  -o, --output FILE    the file that read saves to\n"
           "  -h, --help           print this text\n"
           "\n"
           "Exit status:\n"
           "  0  success\n"
           "  2  the command line is wrong\n"
           "  3  the port cannot be opened, or no module answers\n"
           "  4  a setting could not be read from or written to the module\n"
           "  5  the file is refused or holds no settings, or a value is not valid\n"
           "  6  the output file cannot be written\n";
}

int Run(const std::vector<std::string>& args, Console& console) {
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
    return CheckCommand(w[1], console);
}

} // namespace cli
