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
    const std::string modes = " 12 62 18 66 68 12 62 16 66";
    const std::string advanced = modes + " c8 ca c4 c6 d2 d4 c0 cc";
    const struct {
        std::vector<std::string> args;
        std::string heard;
        int failed; // the failing group's place in Members(), or -1
        // serial: user-defined, second generation, code 5; endpoint: firmware3;
        // other: quality of service, emulation; audio: A, B, C; availability
        // of the advanced groups
        std::string flags;
    } cases[] = {
        {{}, "40 41 1c 1e 42 14 d8" + advanced + " d6 c2 da f0 f2 f3 f5 f6", -1, "110 1 11 111 1"},
        {{"--profile", "code1-2.10"}, "40 1c 1e 42 14" + modes, -1, "000 0 00 000 0"},
        {{"--profile", "code5-3.00"},
         "40 41 1c 1e 42 14 d8" + advanced + " c2",
         -1,
         "101 1 00 001 1"},
        {{"--fault", "status:0x14=254"}, "40 41 1c 1e 42 14", 1, "110 1 11 111 1"},
        {{"--fault", "silent:0x1e"}, "40 41 1c 1e", 0, "000 0 00 000 0"},
        {{"--fault", "status:0x68=255"},
         "40 41 1c 1e 42 14 d8 12 62 18 66 68",
         2,
         "110 1 11 111 1"},
        {{"--fault", "status:0x16=255"},
         "40 41 1c 1e 42 14 d8 12 62 18 66 68 12 62 16",
         3,
         "110 1 11 111 1"},
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
        EXPECT_EQ(failure.headline, c.failed < 0 ? "" : "Could not read parameter");
        EXPECT_EQ(failed, c.failed < 0 ? nullptr : m.Members()[std::size_t(c.failed)].group);
        EXPECT_EQ(afterGeneral, failed == &m.general ? 0 : 1);
        std::string flags;
        for (int f : {int(m.serial.userDefinedSupported), int(m.serial.secondGeneration),
                      int(m.serial.productCode5), -1, int(m.endpoint.firmware3), -1,
                      int(m.other.qosSupported), int(m.other.emulationSupported), -1,
                      int(m.sco.supportA), int(m.sco.supportB), int(m.sco.supportC), -1})
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
    // The device mode is one choice on two pages: only the group of the mode
    // chosen is checked and written. A pairing gives both groups its address.
    m.endpoint.securityMode = 3;
    EXPECT_EQ(m.ValidateAll(failure), &m.endpoint);
    EXPECT_EQ(failure.headline, "Invalid endpoint security setting");
    m.ClearChanged();
    m.SetDeviceMode(false);
    EXPECT_EQ(int(m.endpoint.endpointMode) * 10 + m.connecting.connectingMode, 1);
    EXPECT_EQ(int(m.endpoint.changed) * 10 + m.connecting.changed, 11);
    EXPECT_EQ(m.ValidateAll(failure), &m.connecting);
    EXPECT_EQ(failure.headline, "Invalid connecting address");
    m.connecting.securityMode = 3;
    const std::array<uint8_t, 6> paired{{0x00, 0x1b, 0xdc, 0x0f, 0x52, 0xa7}};
    m.ClearChanged();
    m.SetPairedAddress(paired);
    EXPECT_EQ(m.endpoint.pairedAddress, paired);
    EXPECT_EQ(m.connecting.pairedAddress, paired);
    EXPECT_FALSE(m.AnyChanged());
    EXPECT_EQ(m.ValidateAll(failure), nullptr);
    m.SetDeviceMode(true);
    EXPECT_EQ(int(m.endpoint.endpointMode) * 10 + m.connecting.connectingMode, 10);
    EXPECT_EQ(m.ValidateAll(failure), nullptr);
    EXPECT_EQ(rig.Heard(), "");

    EXPECT_EQ(m.WriteAll(failure), nullptr);
    EXPECT_EQ(rig.Heard().substr(0, 136),
              "1d 10 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30 00, "
              "1f 04 53 76 63 00, 15 05 05 00 00 08 01, d9 03 01 00 02, 13 01 02, 67 03 00 01 00");
    EXPECT_EQ(Opcodes(rig.Heard()), "1d 1f 15 d9 13 67 c9 cb c5 c7 d5 d3 c1 cd d7 c3 db f1 f4 f7");
    EXPECT_EQ(std::count(rig.progress.calls.begin(), rig.progress.calls.end(), 's'), 19);
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
                    "# Device mode\n"
                    "Device mode: Endpoint\n\n\n"
                    "# Endpoint settings\n"
                    "Endpoint Security mode: No authentication\n"
                    "Accepted address: Allow all\n"
                    "Require encryption when require pincode: No\n"
                    "Passkey: 0000\n"
                    "Require encryption when paired: No\n"
                    "Device not paired\n\n\n"
                    "# Connecting settings\n"
                    "Connecting security mode: Connect without passkey\n"
                    "Connect to address: 00 00 00 00 00 00\n"
                    "Require encryption when connecting paired: No\n\n\n"
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
    // The device mode line, taken by two groups, counts once.
    EXPECT_EQ(loaded.LoadFile(file, &taken), 33);
    EXPECT_EQ(std::count(taken.begin(), taken.end(), "Device mode: Endpoint"), 1);
    EXPECT_EQ(int(loaded.endpoint.endpointMode) * 10 + loaded.connecting.connectingMode, 10);
    const auto modes = [](const std::string& text) {
        const std::size_t from = text.find("# Device mode");
        return from == std::string::npos ? "" : text.substr(from, text.find("# Scan") - from);
    };
    EXPECT_EQ(modes(loaded.FileText()), modes(file));
    EXPECT_EQ(taken.front(), "Bluetooth Device Name: Norvane NVM-100");
    EXPECT_EQ(taken.back(), "Quality of service mode: Disabled");
    EXPECT_TRUE(loaded.AnyChanged());
    loaded.ClearChanged();
    EXPECT_EQ(loaded.LoadFile("Product ID: NVM-220\nHardware version: 1\n"), 0);
    EXPECT_FALSE(loaded.AnyChanged());
}

} // namespace

// What a check after writing looks at: only the settings write-all sends for
// the device mode and security mode held.
TEST(ModuleSettings, WrittenKeysFollowTheDeviceModeAndTheSecurityMode) {
    const std::vector<std::string> keys = {"Serial parity",
                                           "Device mode",
                                           "Endpoint Security mode",
                                           "Accepted address",
                                           "Passkey",
                                           "Require encryption when require pincode",
                                           "Connecting security mode",
                                           "Connect to address",
                                           "Require encryption when connecting paired"};
    const struct {
        bool endpoint;
        int security; // of the group of the mode
        std::string written;
    } cases[] = {
        {true, 1, "Serial parity|Device mode|Endpoint Security mode|Accepted address"},
        {true, 2,
         "Serial parity|Device mode|Endpoint Security mode|Passkey|Require encryption when "
         "require pincode"},
        {true, 3,
         "Serial parity|Device mode|Endpoint Security mode|Require encryption when require "
         "pincode"},
        {true, 7, "Serial parity|Device mode"},
        {false, 1, "Serial parity|Device mode|Connecting security mode|Connect to address"},
        {false, 3,
         "Serial parity|Device mode|Connecting security mode|Require encryption when "
         "connecting paired"},
        {false, 2, "Serial parity|Device mode"},
    };
    for (const auto& c : cases) {
        ModuleSettings s;
        s.SetDeviceMode(c.endpoint);
        // The other group's security mode must not matter.
        s.endpoint.securityMode = c.endpoint ? c.security : 2;
        s.connecting.securityMode = c.endpoint ? 1 : c.security;
        std::string written;
        for (const std::string& key : s.WrittenKeys(keys))
            written += (written.empty() ? "" : "|") + key;
        EXPECT_EQ(written, c.written) << (c.endpoint ? "endpoint " : "connecting ") << c.security;
    }
}
