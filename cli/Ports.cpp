// SPDX-License-Identifier: Apache-2.0
// btconf-cli ports: the ports as the window's chooser lists them, with what the
// system knows of each device and whether it can be opened.
#include "CliCommon.h"
#include "Json.h"
#include "Operations.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#if !defined(_WIN32)
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace cli {

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

#if !defined(_WIN32)
// The links the system keeps for a device under /dev/serial/FOLDER (by-path:
// the physical socket; by-id: the adapter's serial number). BTCONF_SYSROOT
// stands in for / in tests.
std::vector<std::string> LinksTo(const std::string& real, const char* folder) {
    const char* root = std::getenv("BTCONF_SYSROOT");
    const std::string dir = std::string(root != nullptr ? root : "") + "/dev/serial/" + folder;
    std::vector<std::string> links;
    if (DIR* d = ::opendir(dir.c_str())) {
        while (const dirent* entry = ::readdir(d)) {
            const std::string link = dir + "/" + entry->d_name;
            char resolved[4096];
            if (entry->d_name[0] != '.' && ::realpath(link.c_str(), resolved) != nullptr &&
                real == resolved)
                links.push_back(link);
        }
        ::closedir(d);
    }
    std::sort(links.begin(), links.end());
    return links;
}
#endif

std::vector<PortRow> ListPorts(const std::vector<std::string>& given) {
    using Row = PortRow;
    std::vector<Row> rows;
#if defined(_WIN32)
    (void)given;
    uint8_t flags[PortTable::kMaxPorts + 1] = {};
    mSerial probe;
    probe.GetValidComPorts(flags, PortTable::kMaxPorts);
    for (int n = 1; n <= PortTable::kMaxPorts; ++n)
        if (flags[n] != 0)
            rows.push_back({mSerial::PortName(n), "\\\\.\\" + mSerial::PortName(n), "", "",
                            "can be opened", {}, {}});
#else
    const std::vector<std::string> devices = PortTable::Devices(given);
    for (std::size_t i = 0; i < devices.size(); ++i) {
        Row row;
        row.port = i < std::size_t(PortTable::kMaxPorts) ? mSerial::PortName(int32_t(i + 1)) : "-";
        row.device = devices[i];
        char resolved[4096];
        if (::realpath(row.device.c_str(), resolved) == nullptr) {
            row.state = "(no device)";
            rows.push_back(row);
            continue;
        }
        row.resolved = resolved;
        const int opened = ::access(row.device.c_str(), R_OK | W_OK) == 0 ? 0 : errno;
        std::string why = CannotOpen(row.device);
        if (!why.empty() && (opened == EACCES || opened == EPERM))
            why += "; " + std::string(kPermissionAdvice);
        row.kind = DeviceKind(row.resolved);
        row.state = why.empty() ? "can be opened" : "cannot be opened: " + why;
        row.byPath = LinksTo(row.resolved, "by-path");
        row.byId = LinksTo(row.resolved, "by-id");
        rows.push_back(row);
    }
#endif
    return rows;
}

int PortsCommand(const std::vector<std::string>& given, Console& console) {
    using Row = PortRow;
    const std::vector<Row> rows = ListPorts(given);
    if (console.json) {
        for (const Row& r : rows)
            console.out << JsonLine({{"port", r.port},
                                     {"device", r.device},
                                     {"resolved", r.resolved.empty() ? Json() : Json(r.resolved)},
                                     {"kind", r.kind},
                                     {"state", r.state},
                                     {"by-path", r.byPath},
                                     {"by-id", r.byId}})
                        << "\n";
        console.out << std::flush;
        return kSuccess;
    }
    if (rows.empty()) console.out << "No serial device found.\n";
    std::size_t widths[3] = {};
    auto cells = [](const Row& r) {
        std::string shown = r.device;
        if (!r.resolved.empty() && r.resolved != r.device) shown += " -> " + r.resolved;
        return std::array<std::string, 4>{r.port, shown, r.kind, r.state};
    };
    for (const Row& r : rows)
        for (std::size_t i = 0; i < 3; ++i)
            widths[i] = std::max(widths[i], cells(r)[i].size());
    for (const Row& r : rows) {
        const auto cell = cells(r);
        std::string line;
        for (std::size_t i = 0; i < 4; ++i) {
            line += cell[i];
            if (i < 3) line += std::string(widths[i] - cell[i].size() + 3, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        console.out << line << "\n";
        for (const std::string& link : r.byPath)
            console.out << "      by-path: " << link << "\n";
        for (const std::string& link : r.byId)
            console.out << "      by-id:   " << link << "\n";
    }
    console.out << std::flush;
    return kSuccess;
}

} // namespace cli
