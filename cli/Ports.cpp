// SPDX-License-Identifier: Apache-2.0
// btconf-cli ports: the ports as the window's chooser lists them, with what the
// system knows of each device and whether it can be opened.
#include "CliCommon.h"
#include "Operations.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#if !defined(_WIN32)
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

std::vector<std::array<std::string, 4>> ListPorts(const std::vector<std::string>& devices) {
    std::vector<std::array<std::string, 4>> rows;
#if defined(_WIN32)
    (void)devices;
    uint8_t flags[PortTable::kMaxPorts + 1] = {};
    mSerial probe;
    probe.GetValidComPorts(flags, PortTable::kMaxPorts);
    for (int n = 1; n <= PortTable::kMaxPorts; ++n)
        if (flags[n] != 0 || n < PortTable::kMaxPorts)
            rows.push_back({mSerial::PortName(n), "", "",
                            flags[n] != 0 ? "can be opened" : "no device, or in use"});
#else
    for (int n = 1; n <= PortTable::kMaxPorts; ++n) {
        const std::string device =
            std::size_t(n) <= devices.size() ? devices[std::size_t(n) - 1] : std::string();
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
    return rows;
}

// The ports as the window's chooser lists them: COM1 to COM20 (and COM21 when
// it has a device), each with its device, what the system knows of it, and
// whether it can be opened.
int PortsCommand(const std::vector<std::string>& given, Console& console) {
    PortTable::Set(PortTable::Build(given));
    const std::vector<std::array<std::string, 4>> rows = ListPorts(PortTable::Get());
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

} // namespace cli
