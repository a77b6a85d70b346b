// SPDX-License-Identifier: Apache-2.0
// All groups of a module together, against the virtual module: which groups
// read-all and write-all visit and in which order, the flags the General read
// hands on, how each group turns the module's answers into saved lines and its
// values into frames, the failure each command reports, and the checks before a
// write. (The saved file of a module with a value of its own in every setting,
// and the frames of writing it, are compared byte for byte in tests/cli.)
#include "ModuleSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

// The opcodes of the frames, "40 41 1c".
std::string Opcodes(const std::string& heard) {
    std::string ops;
    for (std::size_t at = 0; at < heard.size(); at = heard.find(", ", at) + 2) {
        ops += (ops.empty() ? "" : " ") + heard.substr(at, 2);
        if (heard.find(", ", at) == std::string::npos) break;
    }
    return ops;
}

// The frames whose opcode is one of `ops` ("13 17 67").
std::string Only(const std::string& heard, const std::string& ops) {
    std::string frames;
    std::istringstream in(heard);
    for (std::string frame; std::getline(in >> std::ws, frame, ',');)
        if (ops.find(frame.substr(0, 2)) != std::string::npos)
            frames += (frames.empty() ? "" : ", ") + frame;
    return frames;
}

TEST(ModuleSettings, ReadAllVisitsTheGroupsTheModuleHasAndStopsAtTheFirstFailure) {
    const std::string modes = " 12 62 18 66 68 12 62 16 66";
    const std::string advanced = modes + " c8 ca c4 c6 d2 d4 c0 cc";
    const struct {
        std::string options, heard;
        int failed; // the failing group's place in Members(), or -1
        // serial: user-defined, second generation, code 5; endpoint: firmware3;
        // other: quality of service, emulation; audio: A, B, C; availability
        // of the advanced groups
        std::string flags, progress;
        // whether the endpoint's accept address and the connecting address
        // still show an empty edit: until the address is read
        const char* empty;
    } cases[] = {
        {"", "40 41 1c 1e 42 14 d8" + advanced + " d6 c2 da f0 f2 f3 f5 f6", -1, "110 1 11 111 1",
         "sm7sssssrssssssssssssssssssssssss", "00"},
        {"--profile code1-2.10", "40 1c 1e 42 14" + modes, -1, "000 0 00 000 0", "ssssssssssss",
         "00"},
        {"--profile code5-3.00", "40 41 1c 1e 42 14 d8" + advanced + " c2", -1, "101 1 00 001 1",
         "sm7sssssrsssssssssssssssss", "00"},
        {"--fault status:0x14=254", "40 41 1c 1e 42 14", 1, "110 1 11 111 1", "sm7ssss", "11"},
        {"--fault silent:0x1e", "40 41 1c 1e", 0, "000 0 00 000 0", "sm7ss", "11"},
        {"--fault status:0x68=255", "40 41 1c 1e 42 14 d8 12 62 18 66 68", 2, "110 1 11 111 1",
         "sm7sssssrssss", "01"},
        {"--fault status:0x16=255", "40 41 1c 1e 42 14 d8 12 62 18 66 68 12 62 16", 3,
         "110 1 11 111 1", "sm7sssssrsssssss", "01"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        std::vector<std::string> options = Options(c.options);
        options.insert(options.end(),
                       {"--state", StateFile("accepted_address 02 11 22 33 44 55\n")});
        ModuleRig rig(options);
        ModuleSettings m;
        rig.Attach(m);
        m.endpoint.allowAll = 1; // chosen before: a read never clears it
        m.endpoint.acceptEditEmpty[2] = m.connecting.connectEditEmpty[0] = true;
        int afterGeneral = 0;
        Failure failure;
        const SettingsGroup* failed = m.ReadAll(failure, [&] {
            ++afterGeneral;
            // The flags are handed on before anything else happens.
            EXPECT_EQ(m.serial.userDefinedSupported, m.general.firmware3);
        });
        EXPECT_EQ(Opcodes(rig.Heard()), c.heard);
        EXPECT_EQ(rig.progress.calls, c.progress);
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
        EXPECT_EQ(flags + (allAvailable ? "1" : "0"), c.flags);
        EXPECT_EQ(std::to_string(m.endpoint.acceptEditEmpty[2]) +
                      std::to_string(m.connecting.connectEditEmpty[0]) +
                      std::to_string(m.endpoint.allowAll),
                  std::string(c.empty) + "1");
    }
}

// Each case reads a module started with its state, loads its lines as a file
// would, and writes all groups back (without the checks of write-all): what
// the saved file then shows, and the frames the group sent.
TEST(ModuleSettings, EachGroupSavesWhatTheModuleAnsweredAndSendsWhatItHolds) {
    const std::string ep = "device_mode 2\n", co = "device_mode 1\n";
    const struct {
        std::string options, state, load, shown, ops, sent;
    } cases[] = {
        // A connecting mode without passkey sends the address but no encryption;
        // only a second byte of 1 is a paired device, only a first byte of 1 encryption.
        {"", co + "security 1 2 1\nconnect_address 00 1b dc 0f 52 a7\n", "",
         "Connecting security mode: Connect without passkey\nConnect to address: 00 1b dc 0f 52 "
         "a7\nRequire encryption when connecting paired: Yes\n",
         "13 17 67", "13 01 01, 17 06 00 1b dc 0f 52 a7, 67 03 00 00 00"},
        {"", co + "security 2 1 0\n", "", "Connect to paired device\n", "13 17 67",
         "13 01 01, 67 03 00 01 00"},
        // No authentication whatever the others say; allowing all sends an all-zero address.
        {"", ep + "security 1 0 1\naccepted_address 02 11 22 33 44 55\n", "",
         "Endpoint Security mode: No authentication\nAccepted address: 02 11 22 33 44 55\n",
         "13 19 69 67", "13 01 02, 19 06 02 11 22 33 44 55, 67 03 00 00 00"},
        {"", "accepted_address 02 11 22 33 44 55\n", "Accepted address: Allow all\n",
         "Accepted address: Allow all\n", "19", "19 06 00 00 00 00 00 00"},
        {"", ep + "security 2 1 2\n", "",
         "Endpoint Security mode: Require paired device\nAccepted address: Allow all\n"
         "Require encryption when require pincode: No\n",
         "13 19 69 67", "13 01 02, 67 03 00 01 00"},
        {"", ep + "security 1 1 1\n", "Passkey: 0123456789AbCdEf\n", "Passkey: 0123456789AbCdEf\n",
         "69", "69 10 30 31 32 33 34 35 36 37 38 39 41 62 43 64 45 66"},
        // Software 2.x has no article number and no user-defined speed: it hears
        // nothing of it. One that is off goes out as 0.
        {"--profile code1-2.10", "", "", "Article number: N/A\n", "", ""},
        {"--profile code1-2.10", "", "", "Serial flow control: Off\n\n\n# Device", "15 d9",
         "15 05 05 00 00 08 01"},
        {"", "user_baudrate 0 300\n", "",
         "User defined baudrate: No\nValue user define baudrate: 300\n", "d9", "d9 03 00 00 00"},
        // A power save mode with every field zero is off and goes out as zeros; one
        // field not zero is on.
        {"", "", "", "Sniff mode enabled: No\nPark mode enabled: No\n", "c9 cb",
         "c9 08 00 00 00 00 00 00 00 00, cb 04 00 00 00 00"},
        {"", "sniff 0 0 0 9\npark 0 7\n", "",
         "Sniff mode enabled: Yes\nSniff max interval: 0\nSniff min interval: 0\nSniff attempt: "
         "0\nSniff timeout: 9\nPark mode enabled: Yes\nPark max interval: 0\nPark min interval: "
         "7\n",
         "", ""},
        // A scan with either value not zero is on; one that is off goes out as zeros.
        {"", "inquiry_scan 0 40\npage_scan 0 0\n", "Inquiry scan interval: 100\n",
         "Inquiry scan enabled: Yes\nInquiry scan interval: 100\nInquiry scan window: 40\n"
         "Page scan enabled: No\nMax",
         "c5 c7", "c5 04 00 64 00 28, c7 04 00 00 00 00"},
        // The highest speed, the longest scan and the lowest power go out as they are.
        {"", "serial 11 0 0 8 1\ninquiry_scan 4096 18\npage_scan 4096 4096\ntx_power_d2 -90\n", "",
         "Serial baudrate: 1382400\n", "15 c5 c7 d3",
         "15 05 0b 00 00 08 01, c5 04 10 00 00 12, c7 04 10 00 10 00, d3 02 ff a6"},
        // This module takes 4 dBm at the highest and -30 at the lowest, and answers what it took.
        {"--profile code1-3.00", "", "Max TX Power: 12\nDefault TX Power: -50\n",
         "Max TX Power: 4\nDefault TX Power: -30\n", "d5 d3", "d5 02 00 0c, d3 02 ff ce"},
        // A link time-out of 0 is off and goes out as 0; emulation off goes out as 0
        // whatever the type; quality of service off sends no latency.
        {"",
         "performance 2\nclass_of_device 00 00 02 04\nemulation 0\nlink_timeout 0\nqos 0 00 0f "
         "42 3f\n",
         "Emulate serial type: DTE\n",
         "Emulate serial handshake: No\nClass of device: 516\nPerformance optimazation: Latency\n"
         "Link timeout enabled: No\nQuality of service mode: Disabled\n",
         "c1 cd d7 c3 db",
         "c1 01 02, cd 04 00 00 02 04, d7 01 00, c3 02 00 00, db 05 00 00 00 00 00"},
        // An enabled byte of 2 is on; switched off, no packet type goes out.
        {"", "sco 2 64\n", "", "SCO Connection enabled: Yes\nSCO Packet type: HV2\n", "f1",
         "f1 03 01 00 40"},
        {"", "sco 0 128\n", "", "SCO Connection enabled: No\n\n", "f1", "f1 03 00 00 00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.state + c.load);
        std::vector<std::string> options = Options(c.options);
        options.insert(options.end(), {"--state", StateFile(c.state)});
        ModuleRig rig(options);
        ModuleSettings m;
        rig.Attach(m);
        Failure failure;
        ASSERT_EQ(m.ReadAll(failure), nullptr) << Seen(failure);
        EXPECT_EQ(m.LoadFile(c.load), std::count(c.load.begin(), c.load.end(), '\n'));
        rig.Heard();
        m.WriteAll(failure);
        EXPECT_EQ(Only(rig.Heard(), c.ops), c.sent);
        EXPECT_NE(m.FileText().find(c.shown), std::string::npos) << m.FileText();
    }
}

// Each command's failure stops read-all or write-all at that command, with the
// command's error number and the help topic its page lists. A value the module
// cannot take (from a module or a hand-edited file) is refused before it is sent.
void EachCommandFails(bool writes) {
    const std::string passkey = "device_mode 2\nsecurity 1 1 1\n";
    const std::string without =
        "device_mode 1\nsecurity 1 2 1\nconnect_address 00 1b dc 0f 52 a7\n";
    const std::string paired = "device_mode 1\nsecurity 1 1 0\n";
    const struct {
        std::string fault, state, load;
        unsigned code;
        int help;
        std::string last; // the opcode of the last frame heard
    } cases[] = {
        {"silent:0x40", "", "", 0x140, 0, "40"},
        {"opcode:0x41=0x77", "", "", 0x141, 0, "41"},
        {"status:0x1c=255", "", "", 0x11c, 0, "1c"},
        {"status:0x1e=254", "", "", 0x11e, 0, "1e"},
        {"status:0x42=253", "", "", 0x11e, 0, "42"}, // under the service name's number
        {"status:0x14=255", "", "", 0x114, 0, "14"},
        {"silent:0xd8", "", "", 0x1d8, 0, "d8"},
        {"", "device_mode 3\n", "", 0x112, 0, "12"}, // no mode the tool knows
        {"status:0x62=253", "", "", 0x162, 0, "62"},
        {"status:0x18=255", "", "", 0x118, 0, "18"},
        {"silent:0x66", "", "", 0x166, 0, "66"},
        {"opcode:0x68=0x66", "", "", 0x168, 0, "68"},
        {"status:0x16=253", "", "", 0x116, 0, "16"},
        {"status:0xc8=255", "", "", 0x1c8, 456, "c8"},
        {"silent:0xca", "", "", 0x1ca, 458, "ca"},
        {"status:0xc4=255", "", "", 0x1c4, 452, "c4"},
        {"status:0xc6=255", "", "", 0x1c6, 454, "c6"},
        {"silent:0xd2", "", "", 0x1d2, 466, "d2"},
        {"status:0xd4=255", "", "", 0x1d4, 468, "d4"},
        {"status:0xc0=255", "", "", 0x1c0, 0, "c0"},
        {"status:0xcc=255", "", "", 0x1cc, 0, "cc"},
        {"status:0xd6=255", "", "", 0x1d6, 454, "d6"},
        {"status:0xc2=255", "", "", 0x1c2, 0, "c2"},
        {"status:0xda=255", "", "", 0x1da, 474, "da"},
        {"status:0xf0=255", "", "", 0x1f0, 0, "f0"},
        {"status:0xf2=255", "", "", 0x1f0, 0, "f2"},
        {"status:0xf3=255", "", "", 0x1f4, 0, "f3"},
        {"status:0xf5=255", "", "", 0x1f5, 0, "f5"},
        {"status:0xf6=255", "", "", 0x1f6, 0, "f6"},
        {"status:0x1d=253", "", "", 0x21d, 0, "1d"},
        {"status:0x1f=254", "", "", 0x21f, 0, "1f"},
        {"", "", "Bluetooth Device Name: " + std::string(32, 'N') + "\n", 0x21d, 0, "f6"},
        {"status:0x15=253", "", "", 0x215, 0, "15"},
        {"", "", "Serial databits: 9\n", 0x215, 0, "1f"},
        {"opcode:0xd9=0x15", "", "", 0x2d9, 0, "d9"},
        {"status:0x13=255", "", "", 0x213, 0, "13"},
        {"status:0x19=255", "", "", 0x219, 0, "19"},
        {"status:0x69=255", passkey, "", 0x269, 0, "69"},
        {"", passkey, "Passkey: 0123456789AbCdEfg\n", 0x269, 0, "13"},
        {"status:0x67=255", "", "", 0x267, 0, "67"},
        {"status:0x13=254", without, "", 0x213, 0, "13"},
        {"status:0x17=255", without, "", 0x217, 0, "17"},
        {"status:0x67=253", paired, "", 0x267, 0, "67"},
        {"status:0xc9=253", "", "", 0x2c9, 713, "c9"},
        {"opcode:0xcb=0xc9", "", "", 0x2cb, 715, "cb"},
        {"status:0xc5=255", "", "", 0x2c5, 709, "c5"},
        {"status:0xc7=255", "", "", 0x2c7, 711, "c7"},
        {"status:0xd5=254", "", "", 0x2d5, 725, "d5"},
        {"status:0xd3=255", "", "", 0x2d3, 723, "d3"},
        {"status:0xc1=255", "", "", 0x2c1, 705, "c1"},
        {"status:0xcd=255", "", "", 0x2cd, 717, "cd"},
        {"status:0xd7=255", "", "", 0x2d7, 727, "d7"},
        {"", "emulation 3\n", "", 0x2d7, 727, "cd"},
        {"status:0xc3=255", "", "", 0x2c3, 707, "c3"},
        {"status:0xdb=255", "", "", 0x2db, 731, "db"},
        {"", "sco 1 96\n", "", 0x2f1, 0, "db"}, // no packet type of the list
        {"status:0xf1=255", "", "", 0x2f1, 0, "f1"},
        {"status:0xf4=255", "", "", 0x2f4, 0, "f4"},
        {"status:0xf7=255", "", "", 0x2f7, 0, "f7"},
    };
    // A module without a state of its own holds what this one holds: for a write
    // that the module refuses, its file stands in for the read-all, so that the
    // module hears only writes.
    ModuleSettings plain;
    {
        ModuleRig rig;
        rig.Attach(plain);
        Failure failure;
        ASSERT_EQ(plain.ReadAll(failure), nullptr) << Seen(failure);
    }
    for (const auto& c : cases) {
        if ((c.code >= 0x200) != writes) continue;
        SCOPED_TRACE(c.fault + " " + c.state + c.load);
        std::vector<std::string> options{"--answer-delay", "0", "--state", StateFile(c.state)};
        if (!c.fault.empty()) options.insert(options.end(), {"--fault", c.fault});
        ModuleRig rig(options);
        ModuleSettings m;
        rig.Attach(m);
        Failure failure;
        const bool fromFile = writes && c.state.empty() && c.load.empty();
        if (fromFile) {
            m.AssumeEveryGroup();
            m.LoadFile(plain.FileText());
            // The file has no gain maxima: without them no gain is written.
            m.sco.outputGainMax = plain.sco.outputGainMax;
            m.sco.inputGainMax = plain.sco.inputGainMax;
        }
        if (fromFile || m.ReadAll(failure) == nullptr) {
            m.LoadFile(c.load);
            m.WriteAll(failure);
        }
        const std::string heard = Opcodes(rig.Heard());
        EXPECT_EQ(heard.substr(heard.size() - 2), c.last);
        const char status = c.fault.empty() ? ' ' : c.fault.back();
        // Without a fault, a value the tool cannot take: from the module an invalid
        // answer, from the tool a bad parameter.
        const std::string reason = c.fault.empty()
                                       ? (c.code < 0x200 ? "Got invalid response" : "Bad parameter")
                                   : c.fault.rfind("silent", 0) == 0 ? "Communication timeout"
                                   : c.fault.rfind("opcode", 0) == 0 ? "Got invalid response"
                                   : status == '5' ? "Status error - Command error"
                                   : status == '4' ? "Status error - Command failed"
                                                   : "Status error - Command invalid parameter";
        EXPECT_EQ(Seen(failure), CommSeen(c.code >= 0x200, c.code, reason, c.help));
    }
}

TEST(ModuleSettings, EachReadFailsWithItsNumberAndHelpAndNothingAfterIt) {
    EachCommandFails(false);
}

TEST(ModuleSettings, EachWriteFailsWithItsNumberAndHelpAndNothingAfterIt) {
    EachCommandFails(true);
}

TEST(ModuleSettings, WriteAllChecksEveryGroupFirstAndWritesInOrder) {
    ModuleRig rig;
    ModuleSettings m;
    rig.Attach(m);
    Failure failure;
    ASSERT_EQ(m.ReadAll(failure), nullptr);
    EXPECT_EQ(m.WriteProgressMaximum(), 9);
    rig.Heard();
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
    EXPECT_EQ(Opcodes(rig.Heard()), "1d 1f 15 d9 13 67 c9 cb c5 c7 d5 d3 c1 cd d7 c3 db f1 f4 f7");
    EXPECT_EQ(rig.progress.calls, "srsrsrsrsrsrsrsrsrsrsrsrsrsrsrsrsrsrsr");

    // A load takes what the file sets and nothing of the identity.
    m.ClearChanged();
    EXPECT_EQ(m.LoadFile("Product ID: NVM-100\nHardware version: 1\n"), 0);
    EXPECT_FALSE(m.AnyChanged());
}

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
    const std::string both = "Serial parity|Device mode|";
    const struct {
        bool endpoint;
        int security; // of the group of the mode
        std::string written;
    } cases[] = {
        {true, 1, both + "Endpoint Security mode|Accepted address"},
        {true, 2, both + "Endpoint Security mode|Passkey|Require encryption when require pincode"},
        {true, 3, both + "Endpoint Security mode|Require encryption when require pincode"},
        {true, 7, "Serial parity|Device mode"},
        {false, 1, both + "Connecting security mode|Connect to address"},
        {false, 3, both + "Connecting security mode|Require encryption when connecting paired"},
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

} // namespace
