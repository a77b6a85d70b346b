// SPDX-License-Identifier: Apache-2.0
// The parts of mSerial that are the same on every operating system: the
// properties' start values, the speed table, port names, the port probe loop
// and the port table that maps port numbers to device paths.
#include "mSerial.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <dirent.h>
#include <sys/stat.h>
#endif

namespace {

// Line speeds in bits per second, indexed by Ebaudrate.
constexpr int32_t kBaudTable[] = {300,   600,   1200,  2400,   4800,   9600,   14400,
                                  19200, 38400, 57600, 115200, 230400, 460800, 921600};
constexpr int kBaudCount = static_cast<int>(sizeof(kBaudTable) / sizeof(kBaudTable[0]));

} // namespace

int32_t BaudrateBits(int value) {
    if (value < 0 || value >= kBaudCount) return 0;
    return kBaudTable[value];
}

mSerial::mSerial() : baudrate(mBaud9600), impl(NewImpl()) {}

mSerial::~mSerial() {
    DeleteImpl(impl);
}

int32_t mSerial::Close() {
    if (isOpen != 1) {
        lastError = 1;
        lastErrorText = "Close command when already closed";
        return -1;
    }
    ReleaseDevice(impl);
    isOpen = 0;
    return 0;
}

int32_t mSerial::ReadBuffer(uint8_t* buffer, int32_t count) {
    // A lost port fails at once and keeps the text that says why.
    if (lost) return -1;
    if (isOpen != 1) {
        lastError = 1;
        lastErrorText = "Tried to read closed port";
        return -1;
    }
    if (buffer == nullptr || count <= 0) return 0;
    return ReadOpenPort(buffer, count);
}

void mSerial::MarkLost(int32_t reason) {
    if (isOpen == 1) ReleaseDevice(impl);
    isOpen = 0;
    lost = true;
    systemError = reason;
    lastError = kPortLost;
    const std::string device = PortTable::DeviceOf(port);
    lastErrorText = "The device of " + PortName(port);
    if (!device.empty() && device.find(PortName(port)) == std::string::npos)
        lastErrorText += " (" + device + ")";
    lastErrorText += " went away: ";
    lastErrorText += reason != 0 ? GetSystemErrorText() : std::string("the line was hung up");
}

void SetModuleLineSettings(mSerial& port) {
    port.baudrate = mBaud38400;
    port.parity = mParNone;
    port.handshake = mHandNone;
    port.databits = mData8;
    port.stopbits = mStop1;
    port.readtype = mNonblocking;
    port.ReadTimeout = 10;
    port.WriteTimeout = 100;
}

std::string mSerial::PortName(int32_t n) {
    char text[32];
    std::snprintf(text, sizeof(text), "COM%d", static_cast<int>(n));
    return text;
}

int32_t mSerial::GetValidComPorts(uint8_t* flags, int32_t highest) {
    int32_t count = 0;
    if (flags == nullptr) return 0;
    for (int32_t n = 1; n <= highest; ++n) {
        if (ProbePort(n)) {
            flags[n] = 1;
            ++count;
        }
    }
    return count;
}

namespace PortTable {
namespace {

std::vector<std::string>& Table() {
    static std::vector<std::string> table;
    return table;
}

bool& TableSet() {
    static bool set = false;
    return set;
}

// Ports opened from several threads (a script driving several modules) look
// up their devices while another thread may install a new table.
std::mutex& TableMutex() {
    static std::mutex mutex;
    return mutex;
}

#if !defined(_WIN32)
void AddUnique(std::vector<std::string>& out, const std::string& device) {
    if (device.empty()) return;
    if (std::find(out.begin(), out.end(), device) != out.end()) return;
    out.push_back(device);
}

// Natural order: runs of digits compare by value, so ttyUSB2 comes before ttyUSB10.
bool NaturalLess(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const bool da = std::isdigit(static_cast<unsigned char>(a[i])) != 0;
        const bool db = std::isdigit(static_cast<unsigned char>(b[j])) != 0;
        if (da && db) {
            size_t ei = i, ej = j;
            while (ei < a.size() && std::isdigit(static_cast<unsigned char>(a[ei])))
                ++ei;
            while (ej < b.size() && std::isdigit(static_cast<unsigned char>(b[ej])))
                ++ej;
            // Compare the numbers without converting them (no overflow on long runs).
            size_t si = i, sj = j;
            while (si + 1 < ei && a[si] == '0')
                ++si;
            while (sj + 1 < ej && b[sj] == '0')
                ++sj;
            const size_t la = ei - si, lb = ej - sj;
            if (la != lb) return la < lb;
            const int c = a.compare(si, la, b, sj, lb);
            if (c != 0) return c < 0;
            if (ei - i != ej - j) return (ei - i) < (ej - j); // fewer leading zeros first
            i = ei;
            j = ej;
        } else {
            if (a[i] != b[j])
                return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
            ++i;
            ++j;
        }
    }
    return (a.size() - i) < (b.size() - j);
}

// Character devices in /dev whose names begin with one of the serial prefixes,
// grouped by prefix in the order given, each group in natural order.
std::vector<std::string> SystemDevices() {
    static const char* const kPrefixes[] = {"ttyUSB", "ttyACM", "rfcomm", "ttyS"};
    std::vector<std::vector<std::string>> groups(sizeof(kPrefixes) / sizeof(kPrefixes[0]));
    if (DIR* dir = opendir("/dev")) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            for (size_t g = 0; g < groups.size(); ++g) {
                const std::string prefix = kPrefixes[g];
                if (name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0) {
                    const std::string path = "/dev/" + name;
                    struct stat info;
                    if (stat(path.c_str(), &info) == 0 && S_ISCHR(info.st_mode))
                        groups[g].push_back(path);
                    break;
                }
            }
        }
        closedir(dir);
    }
    std::vector<std::string> out;
    for (auto& group : groups) {
        std::sort(group.begin(), group.end(), NaturalLess);
        out.insert(out.end(), group.begin(), group.end());
    }
    return out;
}
#endif

} // namespace

std::vector<std::string> Build(const std::vector<std::string>& given) {
    std::vector<std::string> out = Devices(given);
    if (out.size() > static_cast<size_t>(kMaxPorts)) out.resize(kMaxPorts);
    return out;
}

std::vector<std::string> Devices(const std::vector<std::string>& given) {
    std::vector<std::string> out;
#if defined(_WIN32)
    // Windows names its ports by number; the device of port n is \\.\COMn so
    // that COM10 and above open too.
    (void)given;
    for (int n = 1; n <= kMaxPorts; ++n)
        out.push_back("\\\\.\\" + mSerial::PortName(n));
#else
    for (const auto& device : given)
        AddUnique(out, device);
    for (const auto& device : SystemDevices())
        AddUnique(out, device);
#endif
    return out;
}

void Set(const std::vector<std::string>& devices) {
    std::lock_guard<std::mutex> lock(TableMutex());
    auto& table = Table();
    table.clear();
    table = devices;
    TableSet() = true;
}

const std::vector<std::string>& Get() {
    std::lock_guard<std::mutex> lock(TableMutex());
    if (!TableSet()) {
        Table() = Build({});
        TableSet() = true;
    }
    return Table();
}

std::string DeviceOf(int32_t n) {
    const auto& table = Get();
    std::lock_guard<std::mutex> lock(TableMutex());
    if (n >= 1 && static_cast<size_t>(n) <= table.size()) return table[static_cast<size_t>(n) - 1];
#if defined(_WIN32)
    // Every COM number can be opened on Windows, also those beyond the table.
    if (n >= 1) return "\\\\.\\" + mSerial::PortName(n);
#endif
    return std::string();
}

} // namespace PortTable
