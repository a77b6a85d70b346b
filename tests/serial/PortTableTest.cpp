// Port numbers to device paths, port names and the speed table.
#include "mSerial.h"

#include <cctype>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

bool IsCharDevice(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISCHR(info.st_mode);
}

// Group of a system device in the order the table lists them, -1 for others.
int GroupOf(const std::string& path) {
    const char* const prefixes[] = {"/dev/ttyUSB", "/dev/ttyACM", "/dev/rfcomm", "/dev/ttyS"};
    for (int g = 0; g < 4; ++g)
        if (path.rfind(prefixes[g], 0) == 0) return g;
    return -1;
}

// Number at the end of a device name, -1 when there is none.
long TrailingNumber(const std::string& path) {
    size_t i = path.size();
    while (i > 0 && std::isdigit(static_cast<unsigned char>(path[i - 1])))
        --i;
    return i == path.size() ? -1 : std::strtol(path.c_str() + i, nullptr, 10);
}

TEST(PortTable, DeviceOfPortNumbers) {
    PortTable::Set({"/dev/first", "/dev/second"});
    EXPECT_EQ(PortTable::Get(), (std::vector<std::string>{"/dev/first", "/dev/second"}));
    EXPECT_EQ(PortTable::DeviceOf(1), "/dev/first");
    EXPECT_EQ(PortTable::DeviceOf(2), "/dev/second");
    EXPECT_EQ(PortTable::DeviceOf(3), "");
    EXPECT_EQ(PortTable::DeviceOf(0), "");
    EXPECT_EQ(PortTable::DeviceOf(-1), "");
    EXPECT_EQ(PortTable::DeviceOf(2147483647), "");

    PortTable::Set({});
    EXPECT_TRUE(PortTable::Get().empty());
    EXPECT_EQ(PortTable::DeviceOf(1), "");
}

TEST(PortTable, HoldsAtMostTwentyOnePorts) {
    std::vector<std::string> many;
    for (int i = 0; i < 30; ++i)
        many.push_back("/dev/given" + std::to_string(i));
    PortTable::Set(many);
    ASSERT_EQ(PortTable::Get().size(), 21u);
    EXPECT_EQ(PortTable::DeviceOf(21), "/dev/given20");
    EXPECT_EQ(PortTable::DeviceOf(22), "");

    const auto built = PortTable::Build(many);
    ASSERT_EQ(built.size(), 21u);
    for (size_t i = 0; i < built.size(); ++i)
        EXPECT_EQ(built[i], many[i]);
}

TEST(PortTable, GivenDevicesComeFirstThenTheSystemsOnce) {
    const std::vector<std::string> given = {"/tmp/zz-link", "/dev/pts/77", "/tmp/zz-link",
                                            "/dev/ttyS0"};
    const auto table = PortTable::Build(given);
    ASSERT_GE(table.size(), 3u);
    EXPECT_EQ(table[0], "/tmp/zz-link");
    EXPECT_EQ(table[1], "/dev/pts/77");
    EXPECT_EQ(table[2], "/dev/ttyS0");
    EXPECT_LE(table.size(), 21u);

    for (size_t i = 0; i < table.size(); ++i)
        for (size_t j = i + 1; j < table.size(); ++j)
            EXPECT_NE(table[i], table[j]);

    // After the given ones: serial character devices, grouped USB, ACM,
    // rfcomm, then built-in ports, each group in numeric order.
    int lastGroup = 0;
    long lastNumber = -1;
    for (size_t i = 3; i < table.size(); ++i) {
        const int group = GroupOf(table[i]);
        ASSERT_GE(group, 0) << table[i];
        EXPECT_TRUE(IsCharDevice(table[i])) << table[i];
        ASSERT_GE(group, lastGroup) << table[i];
        if (group != lastGroup) lastNumber = -1;
        EXPECT_GT(TrailingNumber(table[i]), lastNumber) << table[i];
        lastGroup = group;
        lastNumber = TrailingNumber(table[i]);
    }

    // Without given devices the table is the system's own list.
    const auto own = PortTable::Build({});
    for (const auto& device : own)
        EXPECT_GE(GroupOf(device), 0) << device;
    if (IsCharDevice("/dev/ttyS0")) {
        EXPECT_NE(std::find(own.begin(), own.end(), "/dev/ttyS0"), own.end());
    }
}

TEST(PortNames, NamesAndSpeeds) {
    EXPECT_EQ(mSerial::PortName(1), "COM1");
    EXPECT_EQ(mSerial::PortName(3), "COM3");
    EXPECT_EQ(mSerial::PortName(21), "COM21");
    EXPECT_EQ(mSerial::PortName(-2), "COM-2");

    const int32_t rates[] = {300,   600,   1200,  2400,   4800,   9600,   14400,
                             19200, 38400, 57600, 115200, 230400, 460800, 921600};
    for (int i = 0; i < 14; ++i)
        EXPECT_EQ(BaudrateBits(i), rates[i]) << i;
    EXPECT_EQ(BaudrateBits(mBaud38400), 38400);
    EXPECT_EQ(BaudrateBits(14), 0);
    EXPECT_EQ(BaudrateBits(255), 0);
    EXPECT_EQ(BaudrateBits(-1), 0);
}

} // namespace
