// All groups of a module together: which groups read-all and write-all visit and
// in which order, the flags the General read hands on, the first invalid group,
// and the whole file.
#include "ModuleSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

// The opcodes the module heard, "40 41 1c".
std::string Opcodes(const std::string& heard) {
    std::string ops;
    for (std::size_t at = 0; at < heard.size(); at = heard.find(", ", at) + 2) {
        ops += (ops.empty() ? "" : " ") + heard.substr(at, 2);
        if (heard.find(", ", at) == std::string::npos) break;
    }
    return ops;
}

TEST(ModuleSettings, ReadAllVisitsTheGroupsTheModuleHasAndStopsAtTheFirstFailure) {
    const std::string advanced = " c8 ca c4 c6 d2 d4 c0 cc";
    const struct {
        std::vector<std::string> args;
        std::string heard;
        const char* failed; // headline, or nullptr
        // serial: user-defined, second generation, code 5; other: quality of
        // service, emulation; audio: A, B, C; availability of the advanced groups
        std::string flags;
    } cases[] = {
        {{},
         "40 41 1c 1e 42 14 d8" + advanced + " d6 c2 da f0 f2 f3 f5 f6",
         nullptr,
         "110 11 111 1"},
        {{"--profile", "code1-2.10"}, "40 1c 1e 42 14", nullptr, "000 00 000 0"},
        {{"--profile", "code5-3.00"},
         "40 41 1c 1e 42 14 d8" + advanced + " c2",
         nullptr,
         "101 00 001 1"},
        {{"--fault", "status:0x14=254"},
         "40 41 1c 1e 42 14",
         "Could not read parameter",
         "110 11 111 1"},
        {{"--fault", "silent:0x1e"}, "40 41 1c 1e", "Could not read parameter", "000 00 000 0"},
    };
    for (const auto& c : cases) {
        DeviceRig rig(c.args);
        ModuleSettings m;
        m.SetCommunicator(&rig.comm);
        m.SetProgress(&rig.progress);
        int afterGeneral = 0;
        Failure failure;
        const SettingsGroup* failed = m.ReadAll(failure, [&] {
            ++afterGeneral;
            // The flags are handed on before anything else happens.
            EXPECT_EQ(m.serial.userDefinedSupported, m.general.firmware3);
        });
        EXPECT_EQ(Opcodes(rig.Heard()), c.heard);
        EXPECT_EQ(failure.headline, c.failed ? c.failed : "");
        EXPECT_EQ(failed, c.failed == nullptr                       ? nullptr
                          : c.heard.find("14") != std::string::npos ? (SettingsGroup*)&m.serial
                                                                    : (SettingsGroup*)&m.general);
        EXPECT_EQ(afterGeneral, failed == &m.general ? 0 : 1);
        std::string flags;
        for (int f : {int(m.serial.userDefinedSupported), int(m.serial.secondGeneration),
                      int(m.serial.productCode5), -1, int(m.other.qosSupported),
                      int(m.other.emulationSupported), -1, int(m.sco.supportA), int(m.sco.supportB),
                      int(m.sco.supportC), -1})
            flags += f < 0 ? " " : std::to_string(f);
        const bool allAvailable =
            m.powerSave.available && m.scanPower.available && m.other.available && m.sco.available;
        EXPECT_EQ(flags + (allAvailable ? "1" : "0"), c.flags) << c.heard;
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
    EXPECT_EQ(rig.Heard().substr(0, 110),
              "1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00, "
              "1f 04 53 76 63 00, 15 05 05 00 00 08 01, d9 03 01 00 02");
    EXPECT_EQ(Opcodes(rig.Heard()), "1d 1f 15 d9 c9 cb c5 c7 d5 d3 c1 cd d7 c3 db f1 f4 f7");
    EXPECT_EQ(std::count(rig.progress.calls.begin(), rig.progress.calls.end(), 's'), 17);
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
                    "Value user define baudrate: 0\n\n\n"
                    "# Scan and Output power settings\n"
                    "Inquiry scan enabled: Yes\n"
                    "Inquiry scan interval: 2048\n"
                    "Inquiry scan window: 18\n"
                    "Page scan enabled: Yes\n"
                    "Page scan interval: 2048\n"
                    "Page scan window: 18\n"
                    "Max TX Power: 4\n"
                    "Default TX Power: 0\n\n\n"
                    "# Power save settings\n"
                    "Sniff mode enabled: No\n"
                    "Park mode enabled: No\n\n\n"
                    "# Other settings\n"
                    "Emulate serial handshake: No\n"
                    "Class of device: 7936\n"
                    "Performance optimazation: Throughput\n"
                    "Link timeout enabled: Yes\n"
                    "Link timeout value: 32000\n"
                    "Quality of service mode: Disabled\n");

    ModuleSettings loaded;
    TakenLines taken;
    EXPECT_EQ(loaded.LoadFile(file, &taken), 25);
    EXPECT_EQ(taken.front(), "Bluetooth Device Name: Norvane NVM-100");
    EXPECT_EQ(taken.back(), "Quality of service mode: Disabled");
    EXPECT_TRUE(loaded.AnyChanged());
    loaded.ClearChanged();
    EXPECT_EQ(loaded.LoadFile("Product ID: NVM-220\nHardware version: 1\n"), 0);
    EXPECT_FALSE(loaded.AnyChanged());
}

} // namespace
