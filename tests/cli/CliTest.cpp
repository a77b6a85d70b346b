// SPDX-License-Identifier: Apache-2.0
// btconf-cli as a person runs it: the program in a child process against the
// virtual module served by this process on a pseudo-terminal. What is checked is
// what can be seen: the exit status, standard output and error, the files it
// leaves, and the frames the module heard. A module with a value of its own in
// every setting is read into a file compared byte for byte, and that file is
// written to another module: this is where each group's saved lines, what a load
// takes back and the frames of a write-all are checked as a whole.
#include "ModuleRig.h"
#include "Run.h"

#include <gtest/gtest.h>

#include <regex>
#include <tuple>

#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>

namespace {

const std::string kProbe = "01 04 ff 00 55 aa";
// The probe and the reads of a read-all: General, Serial port, Endpoint,
// Connecting, then the advanced groups.
const std::string kReads =
    kProbe + ", 40 00, 41 00, 1c 00, 1e 00, 42 00, 14 00, d8 00, 12 00, 62 00, 18 00, 66 00, "
             "68 00, 12 00, 62 00, 16 00, 66 00, c8 00, ca 00, c4 00, "
             "c6 00, d2 00, d4 00, c0 00, cc 00, d6 00, c2 00, da 00, f0 00, f2 00, "
             "f3 00, f5 00, f6 00";
const std::string kIdentity = "NVM-220 (Bluetooth address 02 4e 56 4d 00 03)";

// A module (code3-3.02) whose every setting differs from what it starts with,
// and the file the window saves for it (tests/cli/rich.state and rich.bcf).
const std::string kRichState = Slurp(BTCONF_TEST_DATA "/rich.state");
const std::string kRichFile = Slurp(BTCONF_TEST_DATA "/rich.bcf");


const std::string kNotFound = "btconf-cli: Norvane Bluetooth unit not found!\n"
                              "Please ensure that you have selected the correct com port\n"
                              "and that your Norvane Bluetooth unit is correctly powered.\n"
                              "Also note that it is not possible to configure your unit while it\n"
                              "has an established Bluetooth connection.\n";

TEST(Read, SavesTheWholeFileAfterAskingForEachSettingOnce) {
    ModuleRig module({"--state", StateFile(kRichState)});
    const std::string path = Temp("read.bcf");
    Spit(path, std::string(5000, 'x'));
    Ran o = Cli({"read", module.device, "--output", path});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.out, "Read NVM-220 (Bluetooth address 0a 1b 2c 3d 4e 5f) into " + path + "\n");
    EXPECT_TRUE(SameText(kRichFile, Slurp(path))) << "an existing file is replaced whole";
    EXPECT_EQ(module.Heard(), kReads);
    std::remove(path.c_str());

    // Another opener of the line asked for the names and never read the answers:
    // their bytes wait on the line when btconf-cli opens it.
    const int fd = open(module.device.c_str(), O_RDWR | O_NOCTTY);
    termios line{};
    ASSERT_EQ(tcgetattr(fd, &line), 0);
    cfmakeraw(&line);
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &line), 0);
    ASSERT_EQ(write(fd, "\x1c\0\x1e\0", 4), 4);
    usleep(100000);
    EXPECT_EQ(module.Heard(), "1c 00, 1e 00");

    o = Cli({"read", "--output=-", module.device});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, kRichFile) << "standard output gets the same bytes and nothing else";
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(module.Heard(), kReads) << "one probe: the stale answers went before it";
    close(fd);
}

TEST(Write, PutsEverySettingOfTheFileOnTheModuleAndAReadBackGivesItBack) {
    ModuleRig module;
    const std::string path = Temp("write.bcf");
    // check prints the lines it takes (a product's identity is not among them).
    const std::string taken =
        "Bluetooth Device Name: Line 4 Scanner\nBluetooth Service Name: COM Bridge\nSerial "
        "baudrate: 115200\nSerial parity: Even\nSerial databits: 7\nSerial stopbits: 2\nSerial "
        "flow control: On\nValue user define baudrate: 4096\nUser defined baudrate: Yes\n";
    Spit(path, "Product ID: NVM-100\n" + taken);
    Ran o = Cli({"check", path});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.out, taken);

    Spit(path, kRichFile);
    o = Cli({"write", module.device, path});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    // The device mode line, taken by two groups, counts once.
    EXPECT_EQ(o.out, "Wrote 45 settings from " + path + " to " + kIdentity + "\n");
    // Name and service with their terminating zero; serial bytes in the order
    // rate, flow, parity, data bits, stop bits; user-defined on, 4103; the
    // endpoint mode with its passkey; the advanced groups, high byte first.
    EXPECT_EQ(module.Heard(), kReads +
                                  ", 1d 0f 4c 69 6e 65 20 34 20 53 63 61 6e 6e 65 72 00, "
                                  "1f 0b 43 4f 4d 20 42 72 69 64 67 65 00, 15 05 0a 01 02 07 02, "
                                  "d9 03 01 10 07, 13 01 02, 69 04 4b 33 79 39, 67 03 01 01 01, "
                                  "c9 08 03 20 01 90 00 04 00 01, cb 04 01 2c 00 c8, "
                                  "c5 04 03 e8 00 32, c7 04 03 20 00 28, d5 02 00 0c, d3 02 ff f9, "
                                  "c1 01 01, cd 04 00 5a 02 0c, d7 01 01, c3 02 0f a3, "
                                  "db 05 01 00 0f 42 3f, f1 03 01 00 80, f4 02 00 09, f7 02 00 03");
    // What the endpoint mode does not send stays as the module had it, and the
    // identity and the pairing are the module's own.
    EXPECT_TRUE(SameText(
        Replace(kRichFile, {{"0a 1b 2c 3d 4e 5f", "02 4e 56 4d 00 03"},
                            {"Accepted address: 02 11 22 33 44 55", "Accepted address: Allow all"},
                            {"Device paired with: 06 a1 b2 c3 d4 e5", "Device not paired"},
                            {"Connect to address: 00 1b dc 0f 52 a7", "Connect to address: 00 00 "
                                                                      "00 00 00 00"}}),
        Cli({"read", module.device, "-o", "-"}).out));
    Spit(path, "Bluetooth Service Name: Bridge\n");
    EXPECT_EQ(Cli({"write", module.device, path}).out,
              "Wrote 1 setting from " + path + " to " + kIdentity + "\n");
    std::remove(path.c_str());
}

// Each way a command line ends without doing its work: its exit status and what
// standard error shows, nothing on standard output but help or the lines check
// took, the output file as it was, and nothing written to the module. A usage
// mistake shows the complaint, a blank line and the whole usage text; help shows
// that text on standard output.
TEST(Statuses, EachMistakeAndFailureEndsWithItsStatusAndReport) {
    const std::string one = Temp("one.bcf"), saved = Temp("saved.bcf"), plain = Temp("plain");
    const std::string empty = Temp("empty.bcf"), unknown = Temp("unknown.bcf");
    const std::string invalid = Temp("invalid.bcf"), folder = Temp("folder");
    const std::string none = Temp("none.bcf"), noFolder = Temp("no/such/folder/t");
    const std::string taken = "Bluetooth Device Name: Lab\nBluetooth Service Name: S\n"
                              "User defined baudrate: Yes\n";
    Spit(one, "Bluetooth Service Name: Bridge\r\n");
    Spit(plain, "not a port\n");
    Spit(empty, "");
    Spit(unknown, "[general]\r\nname = Line 4\r\nBluetooth name: Line 4\r\n");
    Spit(invalid, taken);
    mkdir(folder.c_str(), 0700);
    const std::string opened = "btconf-cli: COM port could not be opened!\n";
    const std::string notSaved = "btconf-cli: Configuration file could not be saved!\n";
    const std::string unread = "btconf-cli: Configuration file could not be read!\n";
    const std::string refused = unread + folder + ": it is a folder\n";
    const std::string userRule =
        "btconf-cli: Error - Invalid input value\nError: Invalid user defined baudrate\nThe field "
        "\"Value\" must have a value between 1 - 6144 when user defined baudrate is enabled\n";
    const auto address = [](const std::string& text) {
        return "ADDRESS: ADDRESS \"" + text +
               "\" is not six bytes such as 00:1b:dc:0f:52:a7, 001bdc0f52a7 or \"00 1b dc 0f 52 "
               "a7\"";
    };
    const std::string passkeyLength = "--passkey: the passkey must have 1-16 characters";
    const std::string timeLimit = "--time-limit: takes 1 to 3600 seconds";
    const Lines reading = {"read", "@", "-o", saved}, writing = {"write", "@", one};
    const struct {
        Lines args; // "@" stands for the module's device
        int status;
        std::string err;        // with status 0 or 2 only the complaint ("" for help)
        const char* fault = ""; // the module's
        std::string heard = ""; // by the module
        double seconds = 0.5;   // one time-out of about 0.6 s at most, or none
        std::string out = "";
    } cases[] = {
        {{"--help"}, 0, ""},
        {{"help"}, 0, ""},
        {{"read", "@", "-h"}, 0, ""},
        {{}, 2, "A subcommand is required"},
        {{"read", "@"}, 2, "--output is required"},
        {{"read", "@", "-o", ""}, 2, "--output: the file name is empty"},
        {{"read", "@", "-o", "x.bcf", "--verbose"}, 2,
         "The following argument was not expected: --verbose"},
        {{"search", "@", "--time-limit", "+5"}, 2, timeLimit},
        {{"pair", "@", "001bdc0f52a7", "--passkey", "0123456789abcdefg"}, 2, passkeyLength},
        {{"pair", "@", "00:1b:dc 0f:52:a7", "--passkey", "1"}, 2, address("00:1b:dc 0f:52:a7")},
        {{"program", "x.bcf", "/dev/nvm-a", "/dev/nvm-a"}, 2, "/dev/nvm-a is given twice"},
        {{"program", "x.bcf", "@", "--log-format", "json"}, 2, "--log-format requires --log"},
        {{"diff", "x.bcf", "@"}, 2, "diff takes the DEVICE first, then the FILE"},
        {reading, 3, kNotFound, "silent", kProbe, 2.5},
        {reading, 4,
         "btconf-cli: Error - communication (0x0140)\nError: Could not read parameter\nA "
         "communication error occured when reading information from the device.\nThe reason "
         "was: Communication timeout\n",
         "silent:0x40", kProbe + ", 40 00", 2.5},
        // The module's name and serial settings go with the file's service name.
        {writing, 4,
         "btconf-cli: Error - communication (0x0215)\nError: Could not write parameter\nA "
         "communication error occured when writing information to the device.\nThe reason was: "
         "Status error - Command invalid parameter\n",
         "status:0x15=253",
         kReads + ", 1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00, "
                  "1f 07 42 72 69 64 67 65 00, 15 05 05 00 00 08 01",
         2.5},
        {{"write", "/no/ttyUSB0", one}, 3, opened + "/no/ttyUSB0: No such file or directory\n"},
        {{"read", folder, "-o", saved}, 3, opened + folder + ": it is a folder\n"},
        {{"read", plain, "-o", saved}, 3, opened + plain + ": it is not a serial port\n"},
        {{"write", "/dev/null", one}, 3, opened + "/dev/null: it is not a serial port\n"},
        {{"read", "@", "-o", folder}, 6, notSaved + folder + ": it is a folder\n", "", kReads, 2.5},
        {{"--trace", noFolder, "read", "@", "-o", saved},
         6,
         "btconf-cli: The trace file could not be written!\n" + noFolder +
             ": No such file or directory\n"},
        // Files refused, without settings, or with an invalid value.
        {{"check", folder}, 5, refused},
        {{"write", "@", folder}, 5, refused},
        {{"program", none, "@"}, 5, unread + none + ": No such file or directory\n"},
        {{"check", empty}, 5, "btconf-cli: " + empty + " contains no settings\n"},
        {{"write", "@", unknown}, 5, "btconf-cli: " + unknown + " contains no settings\n"},
        {{"check", invalid}, 5, userRule, "", "", 0.5, taken},
        {{"write", "@", invalid}, 5, userRule, "", kReads, 2.5},
        {{"program", one, "@", "--log", noFolder},
         6,
         "btconf-cli: Log file could not be written!\n" + noFolder + ": it cannot be written\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        ModuleRig module(Options(*c.fault ? std::string("--fault ") + c.fault : ""));
        Lines args = c.args;
        for (std::string& a : args)
            a = a == "@" ? module.device : a;
        Spit(saved, "what was there");
        const Ran o = Cli(args);
        EXPECT_EQ(o.status, c.status);
        if (c.status == 0 || c.status == 2) {
            const std::string& usage = c.status ? o.err : o.out;
            const std::string start = (c.status ? "btconf-cli: " + c.err + "\n\n" : "") +
                                      "Usage: btconf-cli read DEVICE -o FILE\n";
            const std::string end =
                "  7  the pairing timed out, failed, ended in an error or was canceled\n";
            EXPECT_EQ(usage.substr(0, start.size()), start);
            EXPECT_EQ(usage.size() > end.size() ? usage.substr(usage.size() - end.size()) : "",
                      end);
            EXPECT_EQ(c.status ? o.out : o.err, "");
        } else {
            EXPECT_EQ(o.err, c.err);
            EXPECT_EQ(o.out, c.out);
        }
        EXPECT_EQ(Slurp(saved), "what was there");
        EXPECT_EQ(module.Heard(), c.heard);
        EXPECT_LT(o.seconds, c.seconds);
    }
    for (const std::string& p : {one, saved, plain, empty, unknown, invalid})
        std::remove(p.c_str());
    rmdir(folder.c_str());
}

TEST(Search, ListsEveryDeviceWithNameAndClassAndEndsWithinItsTimeLimit) {
    const std::string devices = Temp("devices");
    const std::string found = "00 1b dc 0f 52 a7  Bench Scanner 7  0x1f0104\n"
                              "02 3c 4d 5e 6f 80  Phone  0x00020c\n"
                              "0a 0b 0c 0d 0e 0f  A name of exactly thirty-two byt  0x240404\n";
    Spit(devices, found);
    const std::string start = kProbe + ", 60 06 0c 00 00 00 00 01";
    const struct {
        std::string module, limit;
        int status;
        std::string out, err, heard;
        double seconds;
    } cases[] = {
        {"--search-time 300", "--time-limit 3600", 0, found, "", start, 1.5},
        // A search longer than the limit is canceled; the module ends it.
        {"--search-time 600000", "--time-limit 1", 0, "",
         "btconf-cli: Search canceled after 1 second\nbtconf-cli: No device found\n",
         start + ", 80 00", 5},
        // A module that never reports the end of the search.
        {"--fault silent:0x60", "--time-limit=1", 4, "",
         "btconf-cli: The search did not end\nThe module reported no end of the search, not even "
         "after it was canceled.\n",
         start + ", 80 00", 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.module);
        ModuleRig module(Options(c.module + " --devices " + devices));
        const Ran o = Cli(Options("search " + module.device + " " + c.limit));
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.out, c.out);
        EXPECT_EQ(o.err, c.err);
        EXPECT_EQ(module.Heard(), c.heard);
        EXPECT_LT(o.seconds, c.seconds);
    }
    std::remove(devices.c_str());
}

TEST(Pair, ReportsTheOutcomeAndThePairedAddress) {
    const std::string started = kProbe + ", 64 0b 00 1b dc 0f 52 a7 4b 33 79 39 21";
    const std::string paired = "Paired with 00 1b dc 0f 52 a7\n";
    const struct {
        const char *pairing, *address; // nvmsim's --pairing; no address: wait-pair
        std::string options;
        int status;
        std::string shown, heard; // shown: standard output on success, else standard error
    } cases[] = {
        {"complete@50", "00:1b:dc:0f:52:a7", "--passkey K3y9!", 0, paired, started + ", 62 00"},
        {"complete@50", "001BDC0F52A7", "--passkey=K3y9!", 0, paired, started + ", 62 00"},
        {"timeout@50", "00 1b dc 0f 52 a7", "--passkey K3y9!", 7,
         "btconf-cli: Pairing failed due to timeout\n", started},
        {"failed@50", "001bdc0f52a7", "--passkey K3y9!", 7, "btconf-cli: Pairing failed\n",
         started},
        {"error@50", "001bdc0f52a7", "--passkey K3y9!", 7, "btconf-cli: Pairing error\n", started},
        // No outcome within the limit: the pairing is aborted and the module cancels it.
        {"complete@600000", "001bdc0f52a7", "--passkey K3y9! --time-limit 1", 7,
         "btconf-cli: No pairing outcome within 1 second\nbtconf-cli: Pairing canceled\n",
         started + ", 80 00"},
        // The module waits for the remote side (the first device it knows).
        {"complete@50", nullptr, "--passkey 0123456789abcdef", 0, "Paired with 02 1a 7d 3c 11 01\n",
         kProbe + ", 63 10 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66, 62 00"},
        {"error@50", nullptr, "--passkey 12", 7, "btconf-cli: Pairing error\n",
         kProbe + ", 63 02 31 32"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options + " " + c.pairing);
        ModuleRig module({"--pairing", c.pairing});
        Lines command =
            c.address ? Lines{"pair", module.device, c.address} : Lines{"wait-pair", module.device};
        for (const std::string& option : Options(c.options))
            command.push_back(option);
        const Ran o = Cli(command);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.out + o.err, c.shown);
        EXPECT_EQ(c.status ? o.err : o.out, c.shown);
        EXPECT_EQ(module.Heard(), c.heard);
        EXPECT_LT(o.seconds, 5.0);
    }

    // A file saved from a paired module says so; check takes it as paired.
    ModuleRig module({"--pairing", "complete@50"});
    ASSERT_EQ(Cli({"pair", module.device, "001bdc0f52a7", "--passkey", "1"}).status, 0);
    const std::string file = Replace(Cli({"read", module.device, "-o", "-"}).out,
                                     {{"Device mode: Endpoint", "Device mode: Connecting"},
                                      {"passkey\r", "Connect to paired device\r"}});
    EXPECT_NE(file.find("Device paired with: 00 1b dc 0f 52 a7\r\n"), std::string::npos);
    const std::string path = Temp("paired.bcf");
    Spit(path, file);
    EXPECT_EQ(Cli({"check", path}).status, 0);
    Spit(path, Replace(file, {{"Device paired with: 00 1b dc 0f 52 a7", "Device not paired"}}));
    const Ran o = Cli({"check", path});
    EXPECT_EQ(o.status, 5);
    EXPECT_EQ(o.err, "btconf-cli: Error - Invalid input value\nError: Invalid connecting security "
                     "setting\nThe device is configured to connect to paired device, but the "
                     "device is not paired\n");
    std::remove(path.c_str());
}

// (With standard error on a file, the Read and Write tests see no bar.)
TEST(Progress, ABarOnATerminalThatIsWipedAtTheEnd) {
    ModuleRig module;
    const std::string file = Temp("bar.bcf");
    Spit(file, kRichFile);
    const Ran o = Cli({"write", module.device, file}, true);
    EXPECT_EQ(o.status, 0);
    // Every redraw starts with a carriage return; a wipe covers the longest line drawn.
    std::size_t at = 0;
    for (const std::string& s : Lines{
             "\rReading settings [..............................] 0/13",
             // The identity tells that the advanced groups take part: 7 steps more.
             "\rReading settings [#.............................] 1/20",
             "\rReading settings [#########.....................] 6/20",
             "\r" + std::string(55, ' ') + "\r",
             "\rWriting settings [..............................] 0/9",
             "\rWriting settings [##########....................] 3/9",
             "\r" + std::string(53, ' ') + "\r",
         }) {
        const std::size_t found = o.err.find(s, at);
        EXPECT_NE(found, std::string::npos) << s << " in " << o.err;
        if (found != std::string::npos) at = found + s.size();
    }
    EXPECT_EQ(at, o.err.size()) << "the wiped line is the last thing shown";
    std::remove(file.c_str());
}

// The module goes away while the tool talks to it: the tool stops at once with
// status 4, the report of what failed, and the device that went away, instead
// of waiting out its time-outs.
TEST(Loss, AModuleThatGoesAwayEndsTheCommandAtOnce) {
    // command, options of the module that keep it busy for seconds, what failed
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"read", "--answer-delay 150", "Error: Could not read parameter"},
        {"search", "--search-time 4000", ""},
        {"wait-pair", "--pairing complete@4000", ""}};
    for (const auto& [command, options, failed] : cases) {
        ModuleRig m(Options(options));
        Lines args{command, m.device};
        if (command == "read") args.insert(args.end(), {"-o", Temp("lost.bcf")});
        if (command == "wait-pair") args.insert(args.end(), {"--passkey", "1234"});
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
            m.server.Stop();
        });
        const Ran o = Cli(args);
        stopper.join();
        EXPECT_EQ(o.status, 4) << command << o.err;
        EXPECT_LT(o.seconds, 1.5) << command;
        EXPECT_NE(o.err.find(failed), std::string::npos) << command << o.err;
        EXPECT_NE(o.err.find("btconf-cli: The module's port went away\nThe device of COM1 (" +
                             m.device + ") went away: "),
                  std::string::npos)
            << command << o.err;
    }
}

// The ports as the window's chooser lists them, with what can be opened.
TEST(Ports, ListsEachPortsDeviceWhatItIsAndWhetherItOpens) {
    ModuleRig free, held;
    const int holder = open(held.device.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(holder, 0);
    ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
    const std::string link = Temp("ports-link");
    std::remove(link.c_str());
    ASSERT_EQ(symlink(free.device.c_str(), link.c_str()), 0);
    // The system's link for the adapter's socket, under a stand-in root.
    const std::string root = Temp("root"), byPath = root + "/dev/serial/by-path/pci-0:2:1.0";
    ASSERT_EQ(system(("mkdir -p " + root + "/dev/serial/by-path").c_str()), 0);
    ASSERT_EQ(symlink(free.device.c_str(), byPath.c_str()), 0);
    setenv("BTCONF_SYSROOT", root.c_str(), 1);
    const Ran o = Cli({"ports", link, held.device, "/dev/nvm-no-such-port"});
    unsetenv("BTCONF_SYSROOT");
    EXPECT_EQ(o.status, 0) << o.err;
    const Lines lines = Split(o.out);
    ASSERT_GE(lines.size(), 4u) << o.out;
    const std::vector<std::regex> expected = {
        std::regex("COM1 +" + link + " -> " + free.device + " +virtual line +can be opened"),
        std::regex(" +by-path: " + byPath),
        std::regex("COM2 +" + held.device +
                   " +virtual line +cannot be opened: another program is using it"),
        std::regex("COM3 +/dev/nvm-no-such-port +\\(no device\\)")};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(std::regex_match(lines[i], expected[i])) << lines[i];
    close(holder);
    std::remove(link.c_str());
    ASSERT_EQ(system(("rm -rf " + root).c_str()), 0);
}

// A trace file's frames from the module's side: our "send" is what it heard
// ("recv ..."), our "recv" what it sent. Checks each line's shape on the way.
Lines TraceAsModuleSaw(const std::string& path) {
    Lines frames;
    double last = -1;
    const std::regex shape(R"( *(\d+\.\d{3}) (send|recv) ([0-9a-f]{2}(?: [0-9a-f]{2})*) \| (.+))");
    for (const std::string& line : Split(Slurp(path))) {
        std::smatch m;
        if (!std::regex_match(line, m, shape)) {
            ADD_FAILURE() << "not a trace line: " << line;
            continue;
        }
        EXPECT_GE(std::stod(m[1]), last) << line;
        last = std::stod(m[1]);
        EXPECT_EQ(m[4].str().find("unknown frame"), std::string::npos) << line;
        EXPECT_EQ(m[4].str().find("missing"), std::string::npos) << line;
        frames.push_back((m[2] == "send" ? "recv " : "send ") + m[3].str());
    }
    return frames;
}

TEST(Trace, EveryFrameOfAReadAndAWriteAsTheModuleRecordedIt) {
    ModuleRig module;
    const std::string path = Temp("trace.bcf"), trace = Temp("read.trace");
    Ran o = Cli({"--trace", trace, "read", module.device, "-o", path});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(TraceAsModuleSaw(trace), module.server.TraceLines());
    EXPECT_EQ(module.server.TraceLines().size(), 66u);
    const std::string text = Slurp(trace);
    EXPECT_NE(text.find(" send 14 00 | GetSerialSettings (0x14)\n"), std::string::npos);
    EXPECT_NE(text.find(" recv 14 06 01 05 00 00 08 01 | GetSerialSettings (0x14): status 1 "
                        "(success); rate code 5 (38400), flow control 0, parity 0 (None), "
                        "data bits 8, stop bits 1\n"),
              std::string::npos);
    module.server.ClearTrace();

    // The option goes anywhere, also in its --trace=FILE form.
    Spit(path, kRichFile);
    o = Cli({"write", module.device, path, "--trace=" + trace});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(TraceAsModuleSaw(trace), module.server.TraceLines());
    EXPECT_NE(Slurp(trace).find(" send 15 05 0a 01 02 07 02 | SetSerialSettings (0x15): rate code "
                                "10 (921600), flow control 1, parity 2 (Even), data bits 7, stop "
                                "bits 2\n"),
              std::string::npos);
    std::remove(path.c_str());
    std::remove(trace.c_str());
}

} // namespace
