// The server's options, its help text and the module's state file.
#include "ModuleRig.h"
#include "SimOptions.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

namespace {

bool Parse(const std::vector<std::string>& args, sim::SimOptions* o, std::string* error) {
    return sim::ParseSimOptions(args, o, error);
}

TEST(SimOptions, EveryOptionIsTaken) {
    const std::string devices = testing::TempDir() + "sim_options_devices.txt";
    {
        std::ofstream out(devices);
        out << "01 02 03 04 05 06  Tester  0x000100\n";
    }
    sim::SimOptions o;
    std::string error;
    ASSERT_TRUE(Parse(
        {"--profile",     "code1-2.10",  "--link", "/tmp/x",  "--state",        "s.txt",
         "--trace=t.txt", "--devices",   devices,  "--fault", "silent:0x40",    "--fault=split",
         "--pairing",     "timeout@250", "--baud", "9600",    "--answer-delay", "0",
         "--search-time", "1200",        "--seed", "9"},
        &o, &error))
        << error;
    EXPECT_EQ(o.module.profile.Name(), "code1-2.10");
    EXPECT_EQ(o.link, "/tmp/x");
    EXPECT_EQ(o.statePath, "s.txt");
    EXPECT_EQ(o.tracePath, "t.txt");
    ASSERT_EQ(o.module.devices.size(), 1u);
    EXPECT_EQ(o.module.devices[0].name, "Tester");
    ASSERT_EQ(o.module.faults.size(), 2u);
    EXPECT_EQ(o.module.faults[0].opcode, 0x40);
    EXPECT_EQ(o.module.faults[1].kind, sim::Fault::Split);
    EXPECT_EQ(o.module.pairingOutcome, sim::PairingOutcome::Timeout);
    EXPECT_EQ(o.module.pairingDelayMs, 250);
    EXPECT_EQ(o.module.baud, 9600);
    EXPECT_EQ(o.module.answerDelayMs, 0);
    EXPECT_EQ(o.module.searchTimeMs, 1200);
    EXPECT_EQ(o.module.seed, 9u);
    EXPECT_FALSE(o.help);
    std::remove(devices.c_str());

    // Defaults: the full module, built-in devices, a pairing that completes.
    ASSERT_TRUE(Parse({}, &o, &error));
    EXPECT_EQ(o.module.profile.Name(), "code3-3.02");
    EXPECT_EQ(o.module.devices.size(), sim::BuiltInDevices().size());
    EXPECT_EQ(o.module.pairingOutcome, sim::PairingOutcome::Complete);
    EXPECT_EQ(o.module.baud, 38400);
    EXPECT_EQ(o.module.answerDelayMs, 2);
    ASSERT_TRUE(Parse({"--pairing", "failed"}, &o, &error));
    EXPECT_EQ(o.module.pairingOutcome, sim::PairingOutcome::Failed);
    ASSERT_TRUE(Parse({"--help"}, &o, &error));
    EXPECT_TRUE(o.help);
}

TEST(SimOptions, BadOptionsAreRefusedWithAReason) {
    const std::vector<std::vector<std::string>> bad{{"--profile", "code9-3.02"},
                                                    {"--profile"},
                                                    {"--fault", "loud"},
                                                    {"--pairing", "maybe"},
                                                    {"--pairing", "timeout@x"},
                                                    {"--baud", "12"},
                                                    {"--answer-delay", "-1"},
                                                    {"--search-time", "5"},
                                                    {"--devices", "/nonexistent/d"},
                                                    {"--link="},
                                                    {"--frobnicate"},
                                                    {"extra"}};
    for (const auto& args : bad) {
        sim::SimOptions o;
        std::string error;
        EXPECT_FALSE(Parse(args, &o, &error)) << args[0];
        EXPECT_FALSE(error.empty()) << args[0];
    }
}

TEST(SimOptions, HelpDocumentsOptionsProfilesDevicesAndFaults) {
    const std::string help = sim::SimUsage();
    for (const char* word :
         {"--profile",    "--link",       "--state",       "--trace",        "--devices",
          "--fault",      "--pairing",    "--search-time", "--answer-delay", "--baud",
          "--seed",       "--help",       "default",       "code1-2.10",     "code5-3.02",
          "Devices file", "0x5a020c",     "silent:OP",     "opcode:OP=NEW",  "status:OP=N",
          "split:OP",     "garbage:OP=N", "delay:OP=MS",   "complete",       "timeout",
          "failed",       "error",        "SIGTERM"})
        EXPECT_NE(help.find(word), std::string::npos) << word;
}

TEST(SimState, SettingsSurviveSaveAndLoad) {
    sim::Settings s = sim::DefaultSettings(sim::Profile{});
    s.deviceName = "Back\\slash \x01 name";
    s.serviceName = "Svc";
    s.passkey = "12 34";
    s.deviceMode = 1;
    s.serial = {{7, 1, 2, 7, 2}};
    s.pairedAddress = {{1, 2, 3, 4, 5, 6}};
    s.sniff = {{100, 50, 4, 1}};
    s.classOfDevice = {{0, 0x5a, 0x02, 0x0c}};
    s.txPowerD2 = -30;
    s.qosMode = 2;
    s.qosLatency = {{0, 0x0f, 0x42, 0x40}};
    s.scoEnabled = 1;
    s.scoPacketType = 256;
    const std::string text = sim::SaveSettingsText(s);
    EXPECT_NE(text.find("device_name Back\\x5cslash \\x01 name\n"), std::string::npos) << text;

    sim::Settings loaded = sim::DefaultSettings(sim::Profile{});
    sim::LoadSettingsText(text, &loaded);
    EXPECT_EQ(sim::SaveSettingsText(loaded), text);

    // A module started on the loaded settings answers with them.
    ModuleRig rig;
    rig.module.SetSettings(loaded);
    EXPECT_EQ(rig.Exchange({0x1c, 0}), Cat({0x1c, 18, 1}, Text("Back\\slash \x01 name")));
    EXPECT_EQ(rig.Exchange({0x62, 0}), (Bytes{0x62, 7, 1, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(rig.Exchange({0xd2, 0}), (Bytes{0xd2, 3, 1, 0xff, 0xe2}));
}

TEST(SimState, DamagedStateFileChangesOnlyWhatItSaysWell) {
    const sim::Settings defaults = sim::DefaultSettings(sim::Profile{});
    sim::Settings s = defaults;
    sim::LoadSettingsText("garbage line\n"
                          "device_name\n"
                          "serial 1 2 3\n"
                          "link_timeout 70000\n"
                          "tx_power_d2 -40000\n"
                          "class_of_device 00 zz 00 00\n"
                          "local_address 01 02 03\n"
                          "sniff -1 0 0 0\n"
                          "\x01\x02\xff\r\n"
                          "service_name " +
                              std::string(40, 's') +
                              "\r\n"
                              "device_mode 1\r\n",
                          &s);
    sim::Settings expected = defaults;
    expected.deviceMode = 1;
    EXPECT_EQ(sim::SaveSettingsText(s), sim::SaveSettingsText(expected));
}

} // namespace
