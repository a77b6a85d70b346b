// The Serial port group: its file section and what a load takes back, the
// user-defined speed rule, and reads and writes against the virtual module.
#include "SerSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

namespace {

std::string Section(const SerSettings& s) {
    std::ostringstream out;
    s.SaveToFile(out);
    return out.str();
}

TEST(SerFile, SectionHasTheUserDefinedLinesOnlyOnModulesThatHaveThem) {
    SerSettings s;
    s.speedIndex = 7;
    s.flowControl = 1;
    s.parity = 2;
    s.dataBits = 7;
    s.stopBits = 2;
    s.userDefinedEnabled = 1;
    s.userDefinedValue = 4096;
    EXPECT_EQ(Section(s), "# Serial port settings\n"
                          "Serial baudrate: 115200\n"
                          "Serial parity: Even\n"
                          "Serial databits: 7\n"
                          "Serial stopbits: 2\n"
                          "Serial flow control: On\n\n\n");
    s.userDefinedSupported = 1;
    s.speedIndex = 11;
    s.parity = 1;
    s.flowControl = 0;
    EXPECT_EQ(Section(s), "# Serial port settings\n"
                          "Serial baudrate: 1382400\n"
                          "Serial parity: Odd\n"
                          "Serial databits: 7\n"
                          "Serial stopbits: 2\n"
                          "Serial flow control: Off\n"
                          "User defined baudrate: Yes\n"
                          "Value user define baudrate: 4096\n\n\n");
    // Values the module reported outside the tables have no line.
    s.speedIndex = 12;
    s.parity = 3;
    s.flowControl = 2;
    s.userDefinedEnabled = 0;
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
        {"Serial baudrate: 921600\r\nSerial parity: Even\r\nSerial databits: 7\r\n"
         "Serial stopbits: 2\r\nSerial flow control: On\r\nUser defined baudrate: Yes\r\n"
         "Value user define baudrate: 6144\r\n",
         "10 2 7 2 1 1 6144", 7},
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

TEST(SerDevice, ReadAndWriteSendTheFieldsInTheirOrderOrStopWithTheirNumbers) {
    // Every field of the module's answer differs from the others.
    const std::string state = StateFile("serial 7 1 2 7 2\nuser_baudrate 1 4103\n");
    const struct {
        std::vector<std::string> args;
        bool supported, write;
        int result;
        std::string heard, progress, values;
        unsigned code;
        const char* reason;
    } cases[] = {
        {{"--state", state}, true, false, 1, "14 00, d8 00", "sr", "7 1 2 7 2 1 4103", 0, nullptr},
        {{"--state", state}, false, false, 1, "14 00", "", "7 1 2 7 2 0 0", 0, nullptr},
        {{"--fault", "status:0x14=255"},
         true,
         false,
         -1,
         "14 00",
         "",
         "0 0 0 0 0 1 77",
         0x114,
         "Status error - Command error"},
        {{"--state", state, "--fault", "silent:0xd8"},
         true,
         false,
         -1,
         "14 00, d8 00",
         "",
         "7 1 2 7 2 1 77",
         0x1d8,
         "Communication timeout"},
        {{}, true, true, 1, "15 05 06 01 02 07 02, d9 03 01 10 07", "sr", "", 0, nullptr},
        {{}, false, true, 1, "15 05 06 01 02 07 02", "sr", "", 0, nullptr},
        {{"--fault", "status:0x15=253"},
         true,
         true,
         -1,
         "15 05 06 01 02 07 02",
         "",
         "",
         0x215,
         "Status error - Command invalid parameter"},
        {{"--fault", "opcode:0xd9=0x15"},
         true,
         true,
         -1,
         "15 05 06 01 02 07 02, d9 03 01 10 07",
         "sr",
         "",
         0x2d9,
         "Got invalid response"},
    };
    for (const auto& c : cases) {
        DeviceRig rig(c.args);
        SerSettings s;
        rig.Attach(s);
        s.userDefinedSupported = c.supported;
        // Left from a module read before; a module without the setting clears it.
        s.userDefinedEnabled = 1;
        s.userDefinedValue = 77;
        if (c.write) {
            s.speedIndex = 6;
            s.flowControl = 1;
            s.parity = 2;
            s.dataBits = 7;
            s.stopBits = 2;
            s.userDefinedEnabled = 1;
            s.userDefinedValue = 4103;
        }
        Failure failure;
        EXPECT_EQ(c.write ? s.WriteToDevice(failure) : s.ReadFromDevice(failure), c.result);
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.progress.calls, c.progress);
        if (!c.write) {
            std::ostringstream values;
            values << s.speedIndex << ' ' << s.flowControl << ' ' << s.parity << ' ' << s.dataBits
                   << ' ' << s.stopBits << ' ' << s.userDefinedEnabled << ' ' << s.userDefinedValue;
            EXPECT_EQ(values.str(), c.values);
        }
        EXPECT_EQ(c.reason ? Seen(failure) : "",
                  c.reason ? CommSeen(c.write, c.code, c.reason) : "");
    }

    // User-defined off goes out as (0, 0); data bits of 9 from a file are refused
    // before anything is sent.
    DeviceRig rig({});
    SerSettings s;
    rig.Attach(s);
    s.userDefinedSupported = 1;
    s.speedIndex = 5;
    s.dataBits = 8;
    s.stopBits = 1;
    s.userDefinedValue = 300;
    Failure failure;
    EXPECT_EQ(s.WriteToDevice(failure), 1);
    EXPECT_EQ(rig.Heard(), "15 05 05 00 00 08 01, d9 03 00 00 00");
    rig.server.ClearTrace();
    s.dataBits = 9;
    EXPECT_EQ(s.WriteToDevice(failure), -1);
    EXPECT_EQ(rig.Heard(), "");
    EXPECT_EQ(Seen(failure), CommSeen(true, 0x215, "Bad parameter"));
}

} // namespace
