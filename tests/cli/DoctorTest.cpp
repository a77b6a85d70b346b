// SPDX-License-Identifier: Apache-2.0
// btconf-cli doctor as a person runs it: one line a check, stopping at the
// first that fails, the remedy under it, and status 0 only when a module
// answered. The services that take devices away are looked for in a stand-in
// for /proc and /lib/udev/rules.d (BTCONF_SYSROOT).
#include "ModuleRig.h"
#include "Run.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The lines after the device's own line and its "exists" line.
std::string Checks(const std::string& out) {
    const Lines lines = Split(out);
    std::string checks;
    for (std::size_t i = 2; i < lines.size(); ++i)
        checks += lines[i] + "\n";
    return checks;
}

const char* const kAnswers =
    "  OK        can be opened\n"
    "  OK        no other program holds it\n"
    "  OK        nothing on the system is known to take it away\n"
    "  OK        a module answers: NVM-220, software 3.02, Bluetooth address 02 4e 56 4d 00 03\n";

} // namespace

TEST(Doctor, NamesWhyAModuleAnswersOrNot) {
    const struct {
        const char* name;
        std::string fault, checks;
        int status;
    } cases[] = {
        {"a module", "", kAnswers, 0},
        {"garbage", "--fault garbage:0x01=5",
         "  OK        can be opened\n  OK        no other program holds it\n"
         "  OK        nothing on the system is known to take it away\n"
         "  FAILED    5 bytes came back that are not an answer: ",
         3},
        {"silence", "--fault silent",
         "  OK        can be opened\n  OK        no other program holds it\n"
         "  OK        nothing on the system is known to take it away\n"
         "  FAILED    nothing came back to the probe at 38400 bit/s, 8N1\n"
         "            fix: check that the module has power and is on this port; a module "
         "answers at 38400 bit/s unless its speed was changed\n",
         3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ModuleRig module(Options(c.fault));
        const Ran o = Cli({"doctor", module.device});
        EXPECT_EQ(o.status, c.status) << o.out;
        const Lines lines = Split(o.out);
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines[0], module.device);
        EXPECT_EQ(lines[1].rfind("  OK        exists", 0), 0u) << lines[1];
        EXPECT_EQ(Checks(o.out).substr(0, c.checks.size()), c.checks);
    }

    const Ran missing = Cli({"doctor", "/dev/no-such-adapter"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(Split(missing.out).at(1), "  FAILED    does not exist: No such file or directory");
}

// A program that holds the line is named; a module whose device a person may
// not open says which group to join.
TEST(Doctor, AHolderAndARefusedPermission) {
    ModuleRig module;
    const std::string real = std::filesystem::canonical(module.device);
    const pid_t holder = fork();
    if (holder == 0) {
        for (int fd = 3; fd < 1024; ++fd)
            close(fd);
        if (open(real.c_str(), O_RDWR | O_NOCTTY) < 0) _exit(1);
        execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
        _exit(1);
    }
    Ran o;
    for (int tries = 0; tries < 50; ++tries) {
        o = Cli({"doctor", module.device});
        if (o.out.find(" (sleep)") != std::string::npos) break; // the child, once it is sleep
        usleep(20000);
    }
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(o.status, 3);
    EXPECT_NE(o.out.find("  FAILED    another program holds it: " + std::to_string(holder) +
                         " (sleep)\n            fix: close that program, then try again\n"),
              std::string::npos)
        << o.out;

    // Only root can let another user try; the group is one the system has.
    const group* dialout = getgrnam("dialout");
    if (geteuid() != 0 || dialout == nullptr || access("/usr/bin/setpriv", X_OK) != 0) return;
    ASSERT_EQ(chown(real.c_str(), 0, dialout->gr_gid), 0);
    ASSERT_EQ(chmod(real.c_str(), 0660), 0);
    o = ::Run("/usr/bin/setpriv", {"--reuid=nobody", "--regid=nogroup", "--clear-groups",
                                   BTCONF_CLI_PATH, "doctor", module.device});
    EXPECT_EQ(o.status, 3);
    EXPECT_NE(o.out.find("  FAILED    cannot be opened: Permission denied\n            " +
                         module.device +
                         " belongs to the group \"dialout\", and nobody is not in it.\n"
                         "            fix: sudo usermod -a -G dialout nobody, then log out and "
                         "in again\n"),
              std::string::npos)
        << o.out;
}

// brltty's rules and ModemManager, in a stand-in for the system's folders,
// are warned about for a USB or ACM device; the module still answers.
TEST(Doctor, ServicesThatTakeDevicesAway) {
    ModuleRig module;
    const std::string root = Temp("sysroot");
    std::filesystem::create_directories(root + "/proc/77");
    std::filesystem::create_directories(root + "/lib/udev/rules.d");
    Spit(root + "/proc/77/comm", "ModemManager\n");
    Spit(root + "/lib/udev/rules.d/85-brltty.rules", "");
    const std::string acm = root + "/ttyACM0";
    std::filesystem::create_symlink(std::filesystem::canonical(module.device), acm);
    setenv("BTCONF_SYSROOT", root.c_str(), 1);
    const Ran o = Cli({"doctor", acm});
    unsetenv("BTCONF_SYSROOT");
    std::filesystem::remove_all(root);
    EXPECT_EQ(o.status, 0) << o.out;
    EXPECT_EQ(Checks(o.out),
              "  OK        can be opened\n"
              "  OK        no other program holds it\n"
              "  WARNING   brltty is installed; it takes common USB serial adapters for braille "
              "displays\n"
              "            fix: sudo apt-get remove brltty (unless a braille display is used), "
              "then plug the adapter in again\n"
              "  WARNING   ModemManager is running; it sends its own probes to ttyACM devices\n"
              "            fix: sudo systemctl stop ModemManager, or give the adapter the udev "
              "property ID_MM_DEVICE_IGNORE=1\n"
              "  OK        a module answers: NVM-220, software 3.02, Bluetooth address 02 4e 56 "
              "4d 00 03\n");
}

// The support report: its sections in order, whatever the module does, and the
// module's PIN code nowhere in its bytes (text or frame) unless asked for.
TEST(Doctor, SupportReportHidesThePinCode) {
    const struct {
        const char* name;
        std::string options;
        Lines more;
        int status;
        const char* pin; // how the read shows it, in the settings and the trace
    } cases[] = {
        {"hidden", "", {}, 0, "(hidden, 6 characters)"},
        {"asked for", "", {"--show-secrets"}, 0, "Vk93tQ"},
        {"silent module", "--fault silent", {}, 3, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ModuleRig module(Options("--state " + StateFile("passkey Vk93tQ\n") + " " + c.options));
        const std::string path = Temp("report.txt");
        Lines args{"report", module.device, "-o", path};
        args.insert(args.end(), c.more.begin(), c.more.end());
        EXPECT_EQ(Cli(args).status, c.status);
        const std::string report = Slurp(path);
        std::size_t at = 0;
        for (const std::string& heading :
             Lines{"by btconf-cli ", "\n== Operating system ==\n",
                   "\n== Connection check: " + module.device + " ==\n  OK        exists",
                   "\n== Module ==\n", "\n== Settings, as the configuration file has them ==\n",
                   "\n== Protocol trace of the read ==\n"}) {
            at = report.find(heading, at);
            ASSERT_NE(at, std::string::npos) << heading << "\n" << report;
        }
        const bool shown = c.pin != nullptr && c.pin[0] == 'V';
        EXPECT_EQ(report.find("Vk93tQ") != std::string::npos, shown);
        EXPECT_EQ(report.find("56 6b 39 33 74 51") != std::string::npos, shown);
        if (c.pin == nullptr) {
            EXPECT_NE(report.find("(no module answered, so nothing was read)"), std::string::npos);
            continue;
        }
        EXPECT_NE(report.find("\nPasskey: " + std::string(c.pin) + "\n"), std::string::npos);
        EXPECT_NE(report.find(std::string(" | GetPasskey (0x68): status 1 (success); passkey ") +
                              (shown ? "\"Vk93tQ\" (6)" : c.pin) + "\n"),
                  std::string::npos);
        EXPECT_NE(report.find(shown ? "recv 68 07 01 56 6b" : "recv 68 07 01 ** ** ** ** ** **"),
                  std::string::npos);
    }
}
