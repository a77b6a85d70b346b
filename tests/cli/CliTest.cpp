// btconf-cli as a person runs it: the program in a child process against the
// virtual module served by this process on a pseudo-terminal. What is checked is
// what can be seen: the exit status, standard output and error, the files it
// leaves, and the frames the module heard.
#include "SimServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

std::string Temp(const std::string& name) {
    return testing::TempDir() + "cli-" + std::to_string(getpid()) + "-" + name;
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void Spit(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

bool Exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

// The text with the first `from` replaced; a `from` that is not there spoils the
// text, so that the comparison it is made for fails.
std::string Replace(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    if (at == std::string::npos) return text + "[not found: " + from + "]";
    return text.replace(at, from.size(), to);
}

// One run of btconf-cli: exit status (-1 when it had to be killed), what it
// printed, and how long it took.
struct Outcome {
    int status = -1;
    std::string out, err;
    double seconds = 0;
};

// Runs the program with the arguments; stdin is /dev/null, standard error goes
// to errPath when given (a terminal, for the progress bar), else to a file.
Outcome Cli(std::vector<std::string> args, const std::string& errPath = "", int limitMs = 10000) {
    static int count = 0;
    const std::string base = Temp("run" + std::to_string(++count));
    const std::string out = base + ".out", err = errPath.empty() ? base + ".err" : errPath;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(
        &files, 2, err.c_str(), O_WRONLY | (errPath.empty() ? O_CREAT | O_TRUNC : O_NOCTTY), 0600);
    std::vector<char*> argv{const_cast<char*>(BTCONF_CLI_PATH)};
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    Outcome o;
    pid_t pid = -1;
    const auto start = Clock::now();
    const int spawned = posix_spawn(&pid, BTCONF_CLI_PATH, &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    EXPECT_EQ(spawned, 0) << BTCONF_CLI_PATH;
    if (spawned != 0) return o;
    for (;;) {
        int raw = 0;
        if (waitpid(pid, &raw, WNOHANG) == pid) {
            o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            break;
        }
        if (Clock::now() - start > std::chrono::milliseconds(limitMs)) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            ADD_FAILURE() << "btconf-cli did not end within " << limitMs << " ms";
            break;
        }
        usleep(2000);
    }
    o.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    o.out = Slurp(out);
    std::remove(out.c_str());
    if (errPath.empty()) {
        o.err = Slurp(err);
        std::remove(err.c_str());
    }
    return o;
}

// The virtual module, served by this process.
struct Module {
    explicit Module(const std::vector<std::string>& args = {}) : server(args) {
        std::string error;
        EXPECT_TRUE(server.Start(&error)) << error;
        device = server.DevicePath();
    }
    // The frames the module heard, one "recv ..." line each; clears the trace.
    Lines Heard() {
        Lines frames;
        for (const std::string& line : server.TraceLines())
            if (line.rfind("recv ", 0) == 0) frames.push_back(line);
        server.ClearTrace();
        return frames;
    }
    SimServer server;
    std::string device;
};

Lines Join(Lines a, const Lines& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const std::string kProbe = "recv 01 04 ff 00 55 aa";
// The reads of a read-all of a module with software 3.x, and of one with 2.10.
const Lines kReads3 = {kProbe,       "recv 40 00", "recv 41 00", "recv 1c 00",
                       "recv 1e 00", "recv 42 00", "recv 14 00", "recv d8 00"};
const Lines kReads2 = {kProbe,       "recv 40 00", "recv 1c 00",
                       "recv 1e 00", "recv 42 00", "recv 14 00"};

// What the window saves for a module as nvmsim starts it (code3-3.02, default
// settings): name, service, identity, 38400 8N1, no flow control, user-defined speed off.
const std::string kDefaultFile = "# Configuration file saved by Norvane Configuration Software "
                                 "3.01\r\n"
                                 "\r\n"
                                 "\r\n"
                                 "# Name and information parameters\r\n"
                                 "Bluetooth Device Name: Norvane NVM-220\r\n"
                                 "Bluetooth Service Name: Serial Port\r\n"
                                 "Product ID: NVM-220\r\n"
                                 "Article number: NVM220-302-A1\r\n"
                                 "Hardware version: 2007.01.13-01\r\n"
                                 "Software version: 3.02\r\n"
                                 "Bluetooth Address: 02 4e 56 4d 00 03\r\n"
                                 "\r\n"
                                 "\r\n"
                                 "# Serial port settings\r\n"
                                 "Serial baudrate: 38400\r\n"
                                 "Serial parity: None\r\n"
                                 "Serial databits: 8\r\n"
                                 "Serial stopbits: 1\r\n"
                                 "Serial flow control: Off\r\n"
                                 "User defined baudrate: No\r\n"
                                 "Value user define baudrate: 0\r\n"
                                 "\r\n"
                                 "\r\n";

// A first-generation module with software 2.10: no article number and no
// user-defined speed, so the serial section ends after the flow control.
const std::string kCode1File = "# Configuration file saved by Norvane Configuration Software "
                               "3.01\r\n"
                               "\r\n"
                               "\r\n"
                               "# Name and information parameters\r\n"
                               "Bluetooth Device Name: Norvane NVM-100\r\n"
                               "Bluetooth Service Name: Serial Port\r\n"
                               "Product ID: NVM-100\r\n"
                               "Article number: N/A\r\n"
                               "Hardware version: 2005.01.11-01\r\n"
                               "Software version: 2.10\r\n"
                               "Bluetooth Address: 02 4e 56 4d 00 01\r\n"
                               "\r\n"
                               "\r\n"
                               "# Serial port settings\r\n"
                               "Serial baudrate: 38400\r\n"
                               "Serial parity: None\r\n"
                               "Serial databits: 8\r\n"
                               "Serial stopbits: 1\r\n"
                               "Serial flow control: Off\r\n"
                               "\r\n"
                               "\r\n";

// Product code 5 with software 3.00: first-generation hardware, but the
// article number and the user-defined speed.
const std::string kCode5File = "# Configuration file saved by Norvane Configuration Software "
                               "3.01\r\n"
                               "\r\n"
                               "\r\n"
                               "# Name and information parameters\r\n"
                               "Bluetooth Device Name: Norvane NVM-100\r\n"
                               "Bluetooth Service Name: Serial Port\r\n"
                               "Product ID: NVM-100\r\n"
                               "Article number: NVM100E-300-A1\r\n"
                               "Hardware version: 2005.01.15-01\r\n"
                               "Software version: 3.00\r\n"
                               "Bluetooth Address: 02 4e 56 4d 00 05\r\n"
                               "\r\n"
                               "\r\n"
                               "# Serial port settings\r\n"
                               "Serial baudrate: 38400\r\n"
                               "Serial parity: None\r\n"
                               "Serial databits: 8\r\n"
                               "Serial stopbits: 1\r\n"
                               "Serial flow control: Off\r\n"
                               "User defined baudrate: No\r\n"
                               "Value user define baudrate: 0\r\n"
                               "\r\n"
                               "\r\n";

const std::string kNotFound = "btconf-cli: Norvane Bluetooth unit not found!\n"
                              "Please ensure that you have selected the correct com port\n"
                              "and that your Norvane Bluetooth unit is correctly powered.\n"
                              "Also note that it is not possible to configure your unit while it\n"
                              "has an established Bluetooth connection.\n";

std::string CommFailure(bool write, const char* code, const char* reason) {
    return std::string("btconf-cli: Error - communication (") + code + ")\n" +
           (write ? "Error: Could not write parameter\n"
                    "A communication error occured when writing information to the device.\n"
                  : "Error: Could not read parameter\n"
                    "A communication error occured when reading information from the device.\n") +
           "The reason was: " + reason + "\n";
}

TEST(Read, SavesWhatTheWindowSavesAfterAskingForEachSettingOnce) {
    const struct {
        const char* profile;
        const std::string& file;
        const Lines& heard;
        const char* summary;
    } cases[] = {
        {"default", kDefaultFile, kReads3, "NVM-220 (Bluetooth address 02 4e 56 4d 00 03)"},
        {"code1-2.10", kCode1File, kReads2, "NVM-100 (Bluetooth address 02 4e 56 4d 00 01)"},
        {"code5-3.00", kCode5File, kReads3, "NVM-100 (Bluetooth address 02 4e 56 4d 00 05)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile);
        Module module({"--profile", c.profile});
        const std::string path = Temp("read.bcf");
        std::remove(path.c_str());

        Outcome o = Cli({"read", module.device, "-o", path});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.err, "");
        EXPECT_EQ(o.out, "Read " + std::string(c.summary) + " into " + path + "\n");
        EXPECT_EQ(Slurp(path), c.file);
        EXPECT_EQ(module.Heard(), c.heard);

        // To standard output: the same bytes and nothing else; an existing file
        // is replaced whole.
        o = Cli({"read", "--output=-", module.device});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.out, c.file);
        EXPECT_EQ(o.err, "");
        Spit(path, std::string(5000, 'x'));
        o = Cli({"read", module.device, "--output", path});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(Slurp(path), c.file);
        std::remove(path.c_str());
    }
}

// The default file with the names and every serial setting changed.
const std::string kChangedFile = Replace(
    Replace(Replace(Replace(Replace(Replace(Replace(Replace(kDefaultFile, "Name: Norvane NVM-220\r",
                                                            "Name: Line 4 Scanner\r"),
                                                    "Serial Port\r", "COM Bridge\r"),
                                            "38400\r", "115200\r"),
                                    "parity: None\r", "parity: Even\r"),
                            "databits: 8\r", "databits: 7\r"),
                    "stopbits: 1\r", "stopbits: 2\r"),
            "control: Off\r", "control: On\r"),
    "User defined baudrate: No\r\nValue user define baudrate: 0\r",
    "User defined baudrate: Yes\r\nValue user define baudrate: 4096\r");

TEST(Write, PutsTheFileOnTheModuleAndAReadBackGivesTheFileItWants) {
    const struct {
        const char* what;
        const char* profile;
        std::string file;
        Lines written; // the frames after the reads
        const char* summary;
        std::string readBack;
    } cases[] = {
        {"every value changed",
         "default",
         kChangedFile,
         // Name and service with their terminating zero; serial bytes in the
         // order rate, flow, parity, data bits, stop bits; user-defined on, 4096.
         {"recv 1d 0f 4c 69 6e 65 20 34 20 53 63 61 6e 6e 65 72 00",
          "recv 1f 0b 43 4f 4d 20 42 72 69 64 67 65 00", "recv 15 05 07 01 02 07 02",
          "recv d9 03 01 10 00"},
         "9 settings",
         kChangedFile},
        {"one value: the rest as the module has it",
         "default",
         "Bluetooth Service Name: Bridge\r\n",
         {"recv 1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00",
          "recv 1f 07 42 72 69 64 67 65 00", "recv 15 05 05 00 00 08 01", "recv d9 03 00 00 00"},
         "1 setting",
         Replace(kDefaultFile, "Serial Port\r", "Bridge\r")},
        {"software 2.10 has no user-defined speed; LF line ends",
         "code1-2.10",
         "# by hand\nSerial baudrate: 9600\nSerial flow control: On\n",
         {"recv 1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 31 30 30 00",
          "recv 1f 0c 53 65 72 69 61 6c 20 50 6f 72 74 00", "recv 15 05 03 01 00 08 01"},
         "2 settings",
         Replace(Replace(kCode1File, "38400\r", "9600\r"), "control: Off\r", "control: On\r")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Module module({"--profile", c.profile});
        const std::string path = Temp("write.bcf");
        Spit(path, c.file);

        Outcome o = Cli({"write", module.device, path});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.err, "");
        EXPECT_EQ(o.out, "Wrote " + std::string(c.summary) + " from " + path + " to " +
                             (c.profile == std::string("default")
                                  ? "NVM-220 (Bluetooth address 02 4e 56 4d 00 03)\n"
                                  : "NVM-100 (Bluetooth address 02 4e 56 4d 00 01)\n"));
        const Lines& reads = c.profile == std::string("default") ? kReads3 : kReads2;
        EXPECT_EQ(module.Heard(), Join(reads, c.written));

        o = Cli({"read", module.device, "-o", "-"});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.out, c.readBack);
        std::remove(path.c_str());
    }
}

TEST(Module, SilenceOrRefusalEndsWithTheWindowsReportAndNothingSaved) {
    const struct {
        const char* fault;
        bool write;
        int status;
        std::string err;
        Lines heard;
    } cases[] = {
        {"silent", false, 3, kNotFound, {kProbe}},
        {"silent", true, 3, kNotFound, {kProbe}},
        {"silent:0x40",
         false,
         4,
         CommFailure(false, "0x0140", "Communication timeout"),
         {kProbe, "recv 40 00"}},
        {"silent:0x1c",
         false,
         4,
         CommFailure(false, "0x011c", "Communication timeout"),
         {kProbe, "recv 40 00", "recv 41 00", "recv 1c 00"}},
        // The address read reports under the service name's number, as modules
        // in the field have always shown it.
        {"silent:0x42",
         true,
         4,
         CommFailure(false, "0x011e", "Communication timeout"),
         {kProbe, "recv 40 00", "recv 41 00", "recv 1c 00", "recv 1e 00", "recv 42 00"}},
        {"opcode:0x14=0x15",
         false,
         4,
         CommFailure(false, "0x0114", "Got invalid response"),
         {kProbe, "recv 40 00", "recv 41 00", "recv 1c 00", "recv 1e 00", "recv 42 00",
          "recv 14 00"}},
        {"status:0x15=253", true, 4,
         CommFailure(true, "0x0215", "Status error - Command invalid parameter"),
         Join(kReads3, {"recv 1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00",
                        "recv 1f 07 42 72 69 64 67 65 00", "recv 15 05 05 00 00 08 01"})},
        {"status:0x1f=254", true, 4, CommFailure(true, "0x021f", "Status error - Command failed"),
         Join(kReads3, {"recv 1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00",
                        "recv 1f 07 42 72 69 64 67 65 00"})},
    };
    const std::string file = Temp("one-setting.bcf"), saved = Temp("not-saved.bcf");
    Spit(file, "Bluetooth Service Name: Bridge\r\n");
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fault) + (c.write ? " write" : " read"));
        Module module({"--fault", c.fault});
        std::remove(saved.c_str());
        const Outcome o = c.write ? Cli({"write", module.device, file})
                                  : Cli({"read", module.device, "-o", saved});
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.err, c.err);
        EXPECT_EQ(o.out, "");
        EXPECT_FALSE(Exists(saved));
        EXPECT_EQ(module.Heard(), c.heard);
        // One time-out of about 0.6 s at most, with room for a loaded machine.
        EXPECT_LT(o.seconds, 2.5);
    }
    std::remove(file.c_str());
}

TEST(Port, AnswersWaitingOnTheLineAreNotTakenForTheModulesAnswers) {
    Module module;
    // Another opener of the line asked for the names and never read the answers:
    // their bytes wait on the line when btconf-cli opens it. (When the last
    // opener closes the line, the module's port forgets them, as a real one does.)
    const int fd = open(module.device.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    termios raw{};
    ASSERT_EQ(tcgetattr(fd, &raw), 0);
    cfmakeraw(&raw);
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &raw), 0);
    const uint8_t asks[] = {0x1c, 0x00, 0x1e, 0x00};
    ASSERT_EQ(write(fd, asks, sizeof asks), ssize_t(sizeof asks));
    usleep(100000);
    EXPECT_EQ(module.Heard(), (Lines{"recv 1c 00", "recv 1e 00"}));

    const Outcome o = Cli({"read", module.device, "-o", "-"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.out, kDefaultFile);
    EXPECT_EQ(module.Heard(), kReads3);
    close(fd);
}

TEST(Port, ADeviceThatIsNotAModulesPortEndsAtOnceWithThree) {
    const std::string folder = Temp("folder"), plain = Temp("plain"), fifo = Temp("fifo");
    mkdir(folder.c_str(), 0700);
    Spit(plain, "not a port\n");
    mkfifo(fifo.c_str(), 0600);
    // A terminal that nothing answers on: the other end is held open but silent.
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    const std::string silent = ptsname(master);

    const struct {
        std::string device;
        std::string err;
        double seconds;
    } cases[] = {
        {"/nonexistent/ttyUSB0",
         "btconf-cli: COM port could not be opened!\n/nonexistent/ttyUSB0: No such file or "
         "directory\n",
         0.5},
        {folder, "btconf-cli: COM port could not be opened!\n" + folder + ": it is a folder\n",
         0.5},
        {plain,
         "btconf-cli: COM port could not be opened!\n" + plain + ": it is not a serial port\n",
         0.5},
        {fifo, "btconf-cli: COM port could not be opened!\n" + fifo + ": it is not a serial port\n",
         0.5},
        {"/dev/null",
         "btconf-cli: COM port could not be opened!\n/dev/null: it is not a serial port\n", 0.5},
        {silent, kNotFound, 2.5},
    };
    const std::string saved = Temp("never.bcf"), file = Temp("settings.bcf");
    Spit(file, kDefaultFile);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.device);
        for (const Outcome& o :
             {Cli({"read", c.device, "-o", saved}), Cli({"write", c.device, file})}) {
            EXPECT_EQ(o.status, 3);
            EXPECT_EQ(o.err, c.err);
            EXPECT_EQ(o.out, "");
            EXPECT_LT(o.seconds, c.seconds);
        }
        EXPECT_FALSE(Exists(saved));
    }
    close(master);
    rmdir(folder.c_str());
    std::remove(plain.c_str());
    std::remove(fifo.c_str());
    std::remove(file.c_str());
}

TEST(Files, RefusedEmptyOrInvalidFilesChangeNothingOnTheModule) {
    const std::string path = Temp("hostile");
    const std::string valid = kDefaultFile;
    std::string zero = valid;
    zero.insert(zero.find("Serial Port"), 1, '\0');
    const std::string tooLarge = valid + std::string(1024 * 1024 + 1 - valid.size(), '#');
    const std::string unknown = "[general]\r\nname = Line 4\r\nBluetooth name: Line 4\r\n";
    const std::string invalidUser = Replace(valid, "defined baudrate: No", "defined baudrate: Yes");
    const std::string longName =
        Replace(valid, "Name: Norvane NVM-220", "Name: " + std::string(32, 'N'));
    const std::string refused = "btconf-cli: Configuration file could not be read!\n" + path;
    const std::string userRule =
        "btconf-cli: Error - Invalid input value\nError: Invalid user defined baudrate\nThe "
        "field \"Value\" must have a value between 1 - 6144 when user defined baudrate is "
        "enabled\n";
    const std::string nameRule = "btconf-cli: Error - Invalid input value\nError: Invalid "
                                 "Bluetooth name\nThe field \"Bluetooth name\" must be a string "
                                 "with 1-31 characters\n";
    const std::string taken = "Bluetooth Device Name: Norvane NVM-220\nBluetooth Service Name: "
                              "Serial Port\nSerial baudrate: 38400\nSerial parity: None\nSerial "
                              "databits: 8\nSerial stopbits: 1\nSerial flow control: Off\nValue "
                              "user define baudrate: 0\nUser defined baudrate: ";

    enum Make { Folder, Fifo, DevZero, Missing, Bytes };
    const struct {
        const char* what;
        Make make;
        std::string bytes;
        std::string err;
        std::string checkOut; // what check prints on standard output
        bool reachesModule;   // write reads the module before it stops
    } cases[] = {
        {"a folder", Folder, "", refused + ": it is a folder\n", "", false},
        {"a pipe with no writer", Fifo, "", refused + ": it is not a regular file\n", "", false},
        {"a device", DevZero, "",
         "btconf-cli: Configuration file could not be read!\n/dev/zero: "
         "it is not a regular file\n",
         "", false},
        {"no such file", Missing, "", refused + ": No such file or directory\n", "", false},
        {"over 1 MiB", Bytes, tooLarge, refused + ": it is larger than 1 MiB\n", "", false},
        {"a zero byte", Bytes, zero,
         refused + ": it holds zero bytes, so it is not a configuration file\n", "", false},
        {"an empty file", Bytes, "", "btconf-cli: " + path + " contains no settings\n", "", false},
        {"no known key", Bytes, unknown, "btconf-cli: " + path + " contains no settings\n", "",
         false},
        {"user-defined speed on with value 0", Bytes, invalidUser, userRule, taken + "Yes\n", true},
        {"a 32-character name", Bytes, longName, nameRule,
         Replace(taken, "Norvane NVM-220", std::string(32, 'N')) + "No\n", true},
    };
    Module module;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string file = path;
        if (c.make == Folder) mkdir(path.c_str(), 0700);
        if (c.make == Fifo) mkfifo(path.c_str(), 0600);
        if (c.make == DevZero) file = "/dev/zero";
        if (c.make == Bytes) Spit(path, c.bytes);

        const Outcome check = Cli({"check", file});
        EXPECT_EQ(check.status, 5);
        EXPECT_EQ(check.err, c.err);
        EXPECT_EQ(check.out, c.checkOut);
        EXPECT_LT(check.seconds, 2);

        const Outcome write = Cli({"write", module.device, file});
        EXPECT_EQ(write.status, 5);
        EXPECT_EQ(write.err, c.err);
        EXPECT_EQ(write.out, "");
        EXPECT_EQ(module.Heard(), c.reachesModule ? kReads3 : Lines{}) << "nothing is written";

        if (c.make == Folder)
            rmdir(path.c_str());
        else if (c.make != DevZero)
            std::remove(path.c_str());
    }

    // The module is as it was.
    const Outcome o = Cli({"read", module.device, "-o", "-"});
    EXPECT_EQ(o.out, kDefaultFile);
}

TEST(Files, CheckPrintsEachTakenLineOfAValidFile) {
    const std::string path = Temp("check.bcf");
    const struct {
        std::string file;
        std::string out;
    } cases[] = {
        {kChangedFile,
         "Bluetooth Device Name: Line 4 Scanner\nBluetooth Service Name: COM Bridge\nSerial "
         "baudrate: 115200\nSerial parity: Even\nSerial databits: 7\nSerial stopbits: 2\nSerial "
         "flow control: On\nValue user define baudrate: 4096\nUser defined baudrate: Yes\n"},
        // Values the file cannot carry are passed over; only the names count here.
        {"Bluetooth Device Name: Lab\nBluetooth Service Name: S\nSerial baudrate: 1382400\n"
         "Serial parity: Mark\nUser defined baudrate: maybe\n",
         "Bluetooth Device Name: Lab\nBluetooth Service Name: S\n"},
    };
    for (const auto& c : cases) {
        Spit(path, c.file);
        const Outcome o = Cli({"check", path});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.out, c.out);
        EXPECT_EQ(o.err, "");
    }
    std::remove(path.c_str());
}

TEST(Output, AFileThatCannotBeWrittenEndsWithSixAndLeavesWhatWasThere) {
    const std::string folder = Temp("out-folder");
    mkdir(folder.c_str(), 0700);
    const struct {
        std::string path;
        std::string reason;
    } cases[] = {
        {folder, "it is a folder"},
        {folder + "/missing/x.bcf", "No such file or directory"},
    };
    Module module;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const Outcome o = Cli({"read", module.device, "-o", c.path});
        EXPECT_EQ(o.status, 6);
        EXPECT_EQ(o.err, "btconf-cli: Configuration file could not be saved!\n" + c.path + ": " +
                             c.reason + "\n");
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(module.Heard(), kReads3) << "the module is read before the file is written";
    }
    rmdir(folder.c_str());
}

TEST(Usage, HelpGoesToStandardOutputAndMistakesToStandardErrorWithTwo) {
    Module module;
    const std::string file = Temp("usage.bcf");
    Spit(file, kDefaultFile);
    const std::string& dev = module.device;
    const struct {
        Lines args;
        const char* complaint; // first line on standard error; nullptr: help, exit 0
    } cases[] = {
        {{"--help"}, nullptr},
        {{"help"}, nullptr},
        {{"read", dev, "-h"}, nullptr},
        {{}, "no command given"},
        {{"frobnicate", dev}, "unknown command \"frobnicate\""},
        {{"read", dev}, "read needs -o FILE"},
        {{"read", "-o", file}, "read needs a DEVICE"},
        {{"read", dev, "-o"}, "option -o needs a file name"},
        {{"read", dev, "-o", ""}, "the output file name is empty"},
        {{"read", dev, "-o", file, "-o", file}, "the output file is given twice"},
        {{"read", dev, dev, "-o", file}, "read takes one DEVICE"},
        {{"read", dev, "-o", file, "--verbose"}, "unknown option \"--verbose\""},
        {{"write", dev}, "write needs a DEVICE and a FILE"},
        {{"write", dev, file, "-o", file}, "write takes no -o"},
        {{"check"}, "check needs one FILE"},
        {{"check", file, file}, "check needs one FILE"},
        {{"help", "read"}, "help takes no arguments"},
    };
    for (const auto& c : cases) {
        std::string shown;
        for (const std::string& a : c.args)
            shown += " " + a;
        SCOPED_TRACE(shown);
        const Outcome o = Cli(c.args);
        const std::string& usage = c.complaint ? o.err : o.out;
        EXPECT_EQ(o.status, c.complaint ? 2 : 0);
        EXPECT_EQ(c.complaint ? o.out : o.err, "");
        const std::string first = usage.substr(0, usage.find('\n'));
        EXPECT_EQ(first, c.complaint ? "btconf-cli: " + std::string(c.complaint)
                                     : "Usage: btconf-cli read DEVICE -o FILE");
        for (const char* line :
             {"Usage: btconf-cli read DEVICE -o FILE\n", "       btconf-cli write DEVICE FILE\n",
              "       btconf-cli check FILE\n", "  3  the port cannot be opened",
              "  6  the output file cannot be written\n"})
            EXPECT_NE(usage.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(module.Heard(), Lines{}) << "a wrong command line never opens the port";
    std::remove(file.c_str());
}

// What a terminal shows of the bar: every redraw starts with a carriage return,
// and the line is wiped at the end.
std::string TerminalErr(const std::vector<std::string>& args, int* status) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_GE(master, 0);
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    const std::string slave = ptsname(master);
    // Held open here too, so that the terminal stays up after the program ends.
    const int held = open(slave.c_str(), O_RDWR | O_NOCTTY);
    *status = Cli(args, slave).status;
    std::string shown;
    char buffer[4096];
    pollfd p{master, POLLIN, 0};
    while (poll(&p, 1, 100) > 0) {
        const ssize_t n = read(master, buffer, sizeof buffer);
        if (n <= 0) break;
        shown.append(buffer, std::size_t(n));
    }
    close(held);
    close(master);
    return shown;
}

TEST(Progress, ABarOnATerminalThatIsWipedAtTheEndAndNoneOnAFile) {
    Module module;
    const std::string file = Temp("bar.bcf");
    Spit(file, kChangedFile);
    // A wipe covers the longest line the bar drew.
    const std::string wipeRead = "\r" + std::string(54, ' ') + "\r";
    const std::string wipeWrite = "\r" + std::string(53, ' ') + "\r";
    const struct {
        Lines args;
        Lines shows; // in this order
    } cases[] = {
        {{"read", module.device, "-o", file},
         {"\rReading settings [..............................] 0/13",
          // The identity tells that the advanced groups take part: 7 steps more.
          "\rReading settings [##............................] 1/13",
          "\rReading settings [#.............................] 1/20",
          "\rReading settings [#########.....................] 6/20", wipeRead}},
        {{"write", module.device, file},
         {"\rReading settings [..............................] 0/13",
          "\rReading settings [#########.....................] 6/20", wipeRead,
          "\rWriting settings [..............................] 0/9",
          "\rWriting settings [##########....................] 3/9", wipeWrite}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[0]);
        int status = -1;
        const std::string shown = TerminalErr(c.args, &status);
        EXPECT_EQ(status, 0);
        std::size_t at = 0;
        for (const std::string& s : c.shows) {
            const std::size_t found = shown.find(s, at);
            EXPECT_NE(found, std::string::npos) << s << " in " << shown;
            if (found != std::string::npos) at = found + s.size();
        }
        EXPECT_EQ(at, shown.size()) << "the wiped line is the last thing shown";
        EXPECT_EQ(Cli(c.args).err, "") << "no bar on a file";
    }
    std::remove(file.c_str());
}

} // namespace
