// All groups of a module together: which groups read-all and write-all visit and
// in which order, the flags the General read hands on, the first invalid group,
// and the whole file.
#include "ModuleSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

namespace {

TEST(ModuleSettings, ReadAllVisitsTheGroupsTheModuleHasAndStopsAtTheFirstFailure) {
    const struct {
        std::vector<std::string> args;
        std::string heard, progress;
        const char* failed; // headline, or nullptr
        std::string flags;  // serial: user-defined, second generation, code 5
    } cases[] = {
        {{}, "40 00, 41 00, 1c 00, 1e 00, 42 00, 14 00, d8 00", "sm7sssssr", nullptr, "110"},
        {{"--profile", "code1-2.10"}, "40 00, 1c 00, 1e 00, 42 00, 14 00", "ssss", nullptr, "000"},
        {{"--profile", "code5-3.00"},
         "40 00, 41 00, 1c 00, 1e 00, 42 00, 14 00, d8 00",
         "sm7sssssr",
         nullptr,
         "101"},
        {{"--fault", "status:0x14=254"},
         "40 00, 41 00, 1c 00, 1e 00, 42 00, 14 00",
         "sm7ssss",
         "Could not read parameter",
         "110"},
        {{"--fault", "silent:0x1e"},
         "40 00, 41 00, 1c 00, 1e 00",
         "sm7ss",
         "Could not read parameter",
         "000"},
    };
    for (const auto& c : cases) {
        DeviceRig rig(c.args);
        ModuleSettings m;
        m.SetCommunicator(&rig.comm);
        m.SetProgress(&rig.progress);
        m.general.changed = m.serial.changed = 1;
        int afterGeneral = 0;
        Failure failure;
        const SettingsGroup* failed = m.ReadAll(failure, [&] {
            ++afterGeneral;
            // The flags are handed on before anything else happens.
            EXPECT_EQ(m.serial.userDefinedSupported, m.general.firmware3);
        });
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(failure.headline, c.failed ? c.failed : "");
        EXPECT_EQ(failed, c.failed == nullptr ? nullptr
                          : c.heard.find("14 00") != std::string::npos
                              ? (SettingsGroup*)&m.serial
                              : (SettingsGroup*)&m.general);
        EXPECT_EQ(afterGeneral, failed == &m.general ? 0 : 1);
        EXPECT_EQ(std::to_string(m.serial.userDefinedSupported) +
                      std::to_string(m.serial.secondGeneration) +
                      std::to_string(m.serial.productCode5),
                  c.flags);
    }
}

TEST(ModuleSettings, WriteAllChecksEveryGroupFirstAndWritesInOrder) {
    DeviceRig rig({});
    ModuleSettings m;
    m.SetCommunicator(&rig.comm);
    m.SetProgress(&rig.progress);
    Failure failure;
    ASSERT_EQ(m.ReadAll(failure), nullptr);
    EXPECT_EQ(m.WriteProgressMaximum(), 9);
    rig.server.ClearTrace();
    rig.progress.calls.clear();

    // Both groups invalid: the General one is reported, nothing is sent.
    m.general.serviceName.clear();
    m.serial.userDefinedEnabled = 1;
    m.serial.userDefinedValue = 0;
    EXPECT_EQ(m.ValidateAll(failure), &m.general);
    EXPECT_EQ(failure.headline, "Invalid Bluetooth service name");
    m.general.serviceName = "Svc";
    EXPECT_EQ(m.ValidateAll(failure), &m.serial);
    EXPECT_EQ(failure.headline, "Invalid user defined baudrate");
    m.serial.userDefinedValue = 2;
    EXPECT_EQ(m.ValidateAll(failure), nullptr);
    EXPECT_EQ(rig.Heard(), "");

    EXPECT_EQ(m.WriteAll(failure), nullptr);
    EXPECT_EQ(rig.Heard(), "1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00, "
                           "1f 04 53 76 63 00, 15 05 05 00 00 08 01, d9 03 01 00 02");
    EXPECT_EQ(rig.progress.calls, "srsrsr");
}

TEST(ModuleSettings, FileHoldsEverySectionInOrderAndALoadCountsWhatItTook) {
    DeviceRig rig({"--profile", "code1-3.02"});
    ModuleSettings m;
    m.SetCommunicator(&rig.comm);
    Failure failure;
    ASSERT_EQ(m.ReadAll(failure), nullptr);
    const std::string file = m.FileText();
    EXPECT_EQ(file, "# Configuration file saved by Norvane Configuration Software 3.01\n\n\n"
                    "# Name and information parameters\n"
                    "Bluetooth Device Name: Norvane NVM-100\n"
                    "Bluetooth Service Name: Serial Port\n"
                    "Product ID: NVM-100\n"
                    "Article number: NVM100-302-A1\n"
                    "Hardware version: 2005.01.11-01\n"
                    "Software version: 3.02\n"
                    "Bluetooth Address: 02 4e 56 4d 00 01\n\n\n"
                    "# Serial port settings\n"
                    "Serial baudrate: 38400\n"
                    "Serial parity: None\n"
                    "Serial databits: 8\n"
                    "Serial stopbits: 1\n"
                    "Serial flow control: Off\n"
                    "User defined baudrate: No\n"
                    "Value user define baudrate: 0\n\n\n");

    ModuleSettings loaded;
    TakenLines taken;
    EXPECT_EQ(loaded.LoadFile(file, &taken), 9);
    EXPECT_EQ(taken.front(), "Bluetooth Device Name: Norvane NVM-100");
    EXPECT_EQ(taken.back(), "User defined baudrate: No");
    EXPECT_TRUE(loaded.AnyChanged());
    loaded.ClearChanged();
    EXPECT_EQ(loaded.LoadFile("Product ID: NVM-220\nHardware version: 1\n"), 0);
    EXPECT_FALSE(loaded.AnyChanged());
}

} // namespace
