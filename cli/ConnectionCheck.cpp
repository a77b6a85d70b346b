// SPDX-License-Identifier: Apache-2.0
// Why a module on a serial device answers or not, and btconf-cli doctor. Each
// device is checked in order (it exists, it opens, no other program holds
// it, nothing on the system takes such devices away, a module answers the
// probe) and the checks stop at the first that fails; every check says OK,
// WARNING or FAILED and, where a person can act, what to do.
#include "ConnectionCheck.h"

#include "Json.h"

#include "CliCommon.h"
#include "ModuleIdentity.h"
#include "Trace.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace cli {
namespace {

using Checks = std::vector<CheckResult>;
using Verdict = CheckResult::Verdict;
using Check = CheckResult;
constexpr Verdict kOk = Verdict::Ok, kWarning = Verdict::Warning, kFailed = Verdict::Failed;

#if !defined(_WIN32)
// Where /proc and /lib/udev/rules.d are looked for: the system's own, or a
// folder that stands in for them (BTCONF_SYSROOT, for tests).
std::string Root() {
    const char* root = std::getenv("BTCONF_SYSROOT");
    return root != nullptr ? root : "";
}

std::string ReadLine(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

// The processes as "pid name", from /proc.
std::vector<std::pair<std::string, std::string>> Processes() {
    std::vector<std::pair<std::string, std::string>> found;
    DIR* proc = ::opendir((Root() + "/proc").c_str());
    if (proc == nullptr) return found;
    while (const dirent* entry = ::readdir(proc)) {
        const std::string pid = entry->d_name;
        if (pid.empty() || pid.find_first_not_of("0123456789") != std::string::npos) continue;
        found.emplace_back(pid, ReadLine(Root() + "/proc/" + pid + "/comm"));
    }
    ::closedir(proc);
    return found;
}

bool Running(const char* program) {
    for (const auto& [pid, name] : Processes())
        if (name == program) return true;
    return false;
}

// The other processes that have `real` open. For a pseudo-terminal, the
// process that holds its master side is the far end of the line (a virtual
// module), not a program in the way.
std::vector<std::string> Holders(const std::string& real) {
    std::vector<std::string> holders;
    const std::string self = std::to_string(::getpid());
    const std::string ptyIndex =
        real.rfind("/dev/pts/", 0) == 0 ? "tty-index:\t" + real.substr(9) : std::string();
    for (const auto& [pid, name] : Processes()) {
        if (pid == self) continue;
        const std::string fds = Root() + "/proc/" + pid + "/fd";
        DIR* dir = ::opendir(fds.c_str());
        if (dir == nullptr) continue;
        bool holds = false, farEnd = false;
        while (const dirent* entry = ::readdir(dir)) {
            char target[4096];
            const ssize_t n =
                ::readlink((fds + "/" + entry->d_name).c_str(), target, sizeof target - 1);
            if (n <= 0) continue;
            target[n] = 0;
            holds = holds || real == target;
            if (!ptyIndex.empty() && std::strstr(target, "ptmx") != nullptr) {
                std::ifstream info(Root() + "/proc/" + pid + "/fdinfo/" + entry->d_name);
                for (std::string line; std::getline(info, line);)
                    farEnd = farEnd || line == ptyIndex;
            }
        }
        ::closedir(dir);
        if (holds && !farEnd) holders.push_back(pid + " (" + name + ")");
    }
    return holders;
}

bool AnyFile(const std::string& pattern) {
    glob_t found{};
    const bool any = ::glob(pattern.c_str(), 0, nullptr, &found) == 0 && found.gl_pathc > 0;
    ::globfree(&found);
    return any;
}

// Why a refused permission: the device's group and whether the person is in it.
Check PermissionRefused(const std::string& device, const struct stat& st) {
    const group* g = ::getgrgid(st.st_gid);
    const std::string groupName = g ? g->gr_name : std::to_string(st.st_gid);
    const passwd* pw = ::getpwuid(::getuid());
    const std::string user = pw ? pw->pw_name : std::to_string(::getuid());
    bool inDatabase = false, inSession = ::getegid() == st.st_gid;
    if (pw != nullptr) {
        int count = 64;
        std::vector<gid_t> groups(static_cast<size_t>(count));
        if (::getgrouplist(pw->pw_name, pw->pw_gid, groups.data(), &count) < 0) {
            groups.resize(static_cast<size_t>(count));
            ::getgrouplist(pw->pw_name, pw->pw_gid, groups.data(), &count);
        }
        for (int i = 0; i < count; ++i)
            inDatabase = inDatabase || groups[static_cast<size_t>(i)] == st.st_gid;
    }
    std::vector<gid_t> session(static_cast<size_t>(std::max(0, ::getgroups(0, nullptr))));
    const int n = ::getgroups(int(session.size()), session.data());
    for (int i = 0; i < n; ++i)
        inSession = inSession || session[static_cast<size_t>(i)] == st.st_gid;

    Check c{"access", kFailed, "cannot be opened: Permission denied", {}};
    if (!inDatabase) {
        c.remedy = {
            device + " belongs to the group \"" + groupName + "\", and " + user + " is not in it.",
            "fix: sudo usermod -a -G " + groupName + " " + user + ", then log out and in again"};
    } else if (!inSession) {
        c.remedy = {device + " belongs to the group \"" + groupName + "\"; " + user +
                        " was added to it after logging in.",
                    "fix: log out and in again (or run: newgrp " + groupName + ")"};
    } else {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%04o", unsigned(st.st_mode & 07777));
        c.remedy = {device + " belongs to the group \"" + groupName + "\", which " + user +
                        " is in, but its permissions (" + mode + ") refuse reading and writing.",
                    "fix: sudo chmod ug+rw " + device};
    }
    return c;
}

// The checks before the probe; false when one failed.
bool SystemChecks(const std::string& device, Checks& out) {
    struct stat st {};
    if (::stat(device.c_str(), &st) != 0) {
        out.push_back({"device",
                       kFailed,
                       "does not exist: " + std::string(std::strerror(errno)),
                       {"fix: plug the adapter in; btconf-cli ports lists the serial devices the "
                        "system has"}});
        return false;
    }
    char resolved[4096];
    const std::string real = ::realpath(device.c_str(), resolved) ? resolved : device;
    out.push_back(
        {"device", kOk, real == device ? "exists" : "exists: " + device + " -> " + real, {}});
    if (!S_ISCHR(st.st_mode)) {
        out.push_back({"device", kFailed, "is not a serial device", {}});
        return false;
    }

    const int fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const int why = errno;
    // A program that opened the device for itself alone (as this tool does)
    // keeps everybody else out: then it is named.
    const std::vector<std::string> holders = Holders(real);
    const auto heldBy = [&holders, &out] {
        std::string list;
        for (const std::string& h : holders)
            list += (list.empty() ? "" : ", ") + h;
        out.push_back({"holders",
                       kFailed,
                       "another program holds it: " + list,
                       {"fix: close that program, then try again"}});
        return false;
    };
    if (fd < 0) {
        if (why == EACCES || why == EPERM)
            out.push_back(PermissionRefused(device, st));
        else if (why == EBUSY && !holders.empty())
            return heldBy();
        else
            out.push_back(
                {"access", kFailed, "cannot be opened: " + std::string(std::strerror(why)), {}});
        return false;
    }
    const bool tty = ::isatty(fd);
    ::close(fd);
    if (!tty) {
        out.push_back({"access", kFailed, "is not a serial port", {}});
        return false;
    }
    out.push_back({"access", kOk, "can be opened", {}});
    if (!holders.empty()) return heldBy();
    out.push_back({"holders", kOk, "no other program holds it", {}});

    // brltty's udev rules claim common USB serial adapters for braille
    // displays; ModemManager probes a new ttyACM device as a modem.
    // The kind shows in the device's name, or in the name of the link to it.
    std::string name = real.substr(real.find_last_of('/') + 1);
    const std::string given = device.substr(device.find_last_of('/') + 1);
    if (given.rfind("tty", 0) == 0) name = given;
    const bool usb = name.rfind("ttyUSB", 0) == 0 || name.rfind("ttyACM", 0) == 0;
    bool warned = false;
    if (usb && (AnyFile(Root() + "/lib/udev/rules.d/*brltty*.rules") || Running("brltty"))) {
        out.push_back({"system",
                       kWarning,
                       std::string("brltty is ") + (Running("brltty") ? "running" : "installed") +
                           "; it takes common USB serial adapters for braille displays",
                       {"fix: sudo apt-get remove brltty (unless a braille display is used), then "
                        "plug the adapter in again"}});
        warned = true;
    }
    if (name.rfind("ttyACM", 0) == 0 && Running("ModemManager")) {
        out.push_back({"system",
                       kWarning,
                       "ModemManager is running; it sends its own probes to ttyACM devices",
                       {"fix: sudo systemctl stop ModemManager, or give the adapter the udev "
                        "property ID_MM_DEVICE_IGNORE=1"}});
        warned = true;
    }
    if (!warned)
        out.push_back({"system", kOk, "nothing on the system is known to take it away", {}});
    return true;
}
#endif

// The probe as the window opens the port; a module that answers gives its identity.
bool Probe(const std::string& device, Checks& out) {
    mSerial port;
    SetModuleLineSettings(port);
    port.port = PortFor(device);
    if (port.Open() != 0) {
        out.push_back({"access", kFailed, "cannot be opened: " + WhyNotOpened(device, port), {}});
        return false;
    }
    DropStaleBytes(port);
    Communicator comm;
    comm.SetSerialPort(&port);
    std::vector<uint8_t> heard;
    comm.observer = [&heard](const TraceEvent& event) {
        if (event.direction == TraceEvent::Direction::Receive)
            heard.insert(heard.end(), event.bytes.begin(), event.bytes.end());
    };
    if (comm.CheckConnection() != 1) {
        if (heard.empty())
            out.push_back({"module",
                           kFailed,
                           "nothing came back to the probe at 38400 bit/s, 8N1",
                           {"fix: check that the module has power and is on this port; a module "
                            "answers at 38400 bit/s unless its speed was changed"}});
        else
            out.push_back({"module",
                           kFailed,
                           std::to_string(heard.size()) +
                               " bytes came back that are not an answer: " +
                               HexBytes(heard.data(), std::min<size_t>(heard.size(), 16)) +
                               (heard.size() > 16 ? " ..." : ""),
                           {"this often means a different line speed, or a device that is not a "
                            "module"}});
        return false;
    }
    uint8_t info[12] = {}, address[6] = {};
    std::string what = "a module answers";
    if (comm.GetModuleInfo(info) == 0) {
        const ModuleIdentity id = DecodeModuleIdentity(info);
        what += ": " + id.productId + ", software " + id.softwareVersion;
        if (comm.GetLocalAddress(address) == 0)
            what += ", Bluetooth address " + HexBytes(address, 6);
    }
    out.push_back({"module", kOk, what, {}});
    return true;
}

} // namespace

const char* VerdictWord(Verdict verdict) {
    return verdict == kOk ? "OK" : verdict == kWarning ? "WARNING" : "FAILED";
}

int PortFor(const std::string& device) {
    const std::vector<std::string>& table = PortTable::Get();
    for (std::size_t i = 0; i < table.size(); ++i)
        if (table[i] == device) return int(i) + 1;
    PortTable::Set({device});
    return 1;
}

std::vector<CheckResult> CheckDevice(const std::string& device) {
    Checks checks;
#if !defined(_WIN32)
    if (SystemChecks(device, checks)) Probe(device, checks);
#else
    Probe(device, checks);
#endif
    return checks;
}

bool ModuleAnswered(const std::vector<CheckResult>& checks) {
    return !checks.empty() && checks.back().name == "module" && checks.back().verdict == kOk;
}

void PrintChecks(std::ostream& out, const std::vector<CheckResult>& checks) {
    for (const CheckResult& check : checks) {
        const std::string word = VerdictWord(check.verdict);
        out << "  " << word << std::string(10 - word.size(), ' ') << check.text << "\n";
        for (const std::string& line : check.remedy)
            out << "            " << line << "\n";
    }
}

int DoctorCommand(const std::vector<std::string>& given, Console& console) {
    std::vector<std::string> devices = given;
    if (devices.empty())
        for (const std::string& d : PortTable::Build({}))
            if (!d.empty()) devices.push_back(d);
    if (devices.empty()) {
        console.out << "No serial device found.\n" << std::flush;
        return kNoModule;
    }
    bool allAnswered = true;
    for (const std::string& device : devices) {
        const Checks checks = CheckDevice(device);
        if (console.json) {
            // One object a check.
            for (const CheckResult& check : checks)
                console.out << JsonLine({{"device", device},
                                         {"check", check.name},
                                         {"result", VerdictWord(check.verdict)},
                                         {"text", JsonText(check.text)},
                                         {"remedy", check.remedy}})
                            << "\n";
        } else {
            console.out << device << "\n";
            PrintChecks(console.out, checks);
        }
        allAnswered = allAnswered && ModuleAnswered(checks);
        console.out << std::flush;
    }
    return allAnswered ? kSuccess : kNoModule;
}

} // namespace cli
