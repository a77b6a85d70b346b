// SPDX-License-Identifier: Apache-2.0
// The Serial port group: the section's lines that only some values give, what a
// load takes back, and the user-defined speed rule. (Its frames, failures and
// ordinary saved lines are checked with all groups in ModuleSettingsTest and
// tests/cli.)
#include "SerSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(SerFile, TheHighestSpeedAndValuesOutsideTheTables) {
    SerSettings s;
    s.userDefinedSupported = 1;
    s.speedIndex = 11;
    s.parity = 1;
    s.dataBits = 7;
    s.stopBits = 2;
    s.userDefinedValue = 4096;
    EXPECT_EQ(Section(s), "# Serial port settings\n"
                          "Serial baudrate: 1382400\n"
                          "Serial parity: Odd\n"
                          "Serial databits: 7\n"
                          "Serial stopbits: 2\n"
                          "Serial flow control: Off\n"
                          "User defined baudrate: No\n"
                          "Value user define baudrate: 4096\n\n\n");
    // Values the module reported outside the tables have no line.
    s.speedIndex = 12;
    s.parity = 3;
    s.flowControl = 2;
    EXPECT_EQ(Section(s), "# Serial port settings\n"
                          "Serial databits: 7\n"
                          "Serial stopbits: 2\n"
                          "User defined baudrate: No\n"
                          "Value user define baudrate: 4096\n\n\n");
}

TEST(SerFile, LoadTakesKnownWordsAndNumbersAndKeepsTheRest) {
    const struct {
        std::string file;
        std::string values; // speed parity data stop flow enabled value, after the load
        int taken;
    } cases[] = {
        {"", "3 1 8 1 0 0 100", 0},
        // 1382400 is written but not read back; unknown words keep the value.
        {"Serial baudrate: 1382400\r\nSerial parity: even\r\nSerial flow control: 1\r\n"
         "User defined baudrate: yes\r\n",
         "3 1 8 1 0 0 100", 0},
        {"Serial baudrate: 2400\nSerial baudrate: 4800\n", "1 1 8 1 0 0 100", 1},
        // Data and stop bits are taken as they stand; what is not a number is not.
        {"Serial databits: 9\r\nSerial stopbits: 0\r\nValue user define baudrate: 99999\r\n",
         "3 1 9 0 0 0 99999", 3},
        {"Serial databits: 7x\r\nSerial stopbits: -1\r\nValue user define baudrate: \r\n"
         "Serial baudrate: 57600 \r\n",
         "3 1 8 1 0 0 100", 0},
        {"User defined baudrate: No\nSerial parity: None\n", "3 0 8 1 0 0 100", 2},
    };
    for (const auto& c : cases) {
        SerSettings s;
        s.speedIndex = 3;
        s.parity = 1;
        s.dataBits = 8;
        s.stopBits = 1;
        s.userDefinedValue = 100;
        EXPECT_EQ(s.LoadFromFile(c.file, nullptr), c.taken) << c.file;
        std::ostringstream values;
        values << s.speedIndex << ' ' << s.parity << ' ' << s.dataBits << ' ' << s.stopBits << ' '
               << s.flowControl << ' ' << s.userDefinedEnabled << ' ' << s.userDefinedValue;
        EXPECT_EQ(values.str(), c.values) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0 ? 1 : 0);
    }
}

TEST(SerValidate, UserDefinedValueMustBeInRangeOnlyWhenEnabled) {
    const std::string rule = "Invalid input value (0x0, help 94): Invalid user defined baudrate | "
                             "The field \"Value\" must have a value between 1 - 6144 when user "
                             "defined baudrate is enabled";
    const struct {
        int enabled, value;
        bool valid;
    } cases[] = {{0, 0, true}, {0, 9999, true}, {1, 0, false},
                 {1, 1, true}, {1, 6144, true}, {1, 6145, false}};
    for (const auto& c : cases) {
        SerSettings s;
        s.userDefinedEnabled = c.enabled;
        s.userDefinedValue = c.value;
        Failure failure;
        EXPECT_EQ(s.Validate(failure), c.valid ? 1 : -1) << c.enabled << " " << c.value;
        EXPECT_EQ(c.valid ? "" : Seen(failure), c.valid ? "" : rule);
    }
}

} // namespace
