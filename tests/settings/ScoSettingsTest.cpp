// The audio (SCO) group: reads and writes against the virtual module, the
// support flags that let them take place, the file section and what a load
// takes back.
#include "ScoSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// enabled, packet type, output maximum, output gain, input maximum, input gain
std::string Values(const ScoSettings& s) {
    std::ostringstream out;
    out << s.scoEnabled << ' ' << s.packetType << ' ' << s.outputGainMax << ' ' << s.outputGain
        << ' ' << s.inputGainMax << ' ' << s.inputGain;
    return out.str();
}

std::string Section(const ScoSettings& s) {
    std::ostringstream out;
    s.SaveToFile(out);
    return out.str();
}

void Support(ScoSettings& s, const char* flags) {
    s.supportA = flags[0] == 'A';
    s.supportB = flags[1] == 'B';
    s.supportC = flags[2] == 'C';
}

TEST(ScoDevice, ReadTakesEveryAnswerInItsOrderOrStopsWithItsNumber) {
    // An enabled byte of 2 counts as on; 96 is no packet type of the list and is kept.
    const std::string state = StateFile("sco 2 96\noutput_gain 9\ninput_gain 3\n");
    const std::string all = "f0 00, f2 00, f3 00, f5 00, f6 00";
    const struct {
        const char* flags;
        std::string fault;
        std::string heard, progress, values;
        unsigned code;
        const char* reason;
    } cases[] = {
        {"ABC", "", all, "sssss", "1 96 15 9 7 3", 0, nullptr},
        {"-BC", "", "", "", "0 64 1 2 3 4", 0, nullptr},
        {"A-C", "", "", "", "0 64 1 2 3 4", 0, nullptr},
        {"AB-", "", "", "", "0 64 1 2 3 4", 0, nullptr},
        {"ABC", "status:0xf0=255", "f0 00", "", "0 64 1 2 3 4", 0x1f0,
         "Status error - Command error"},
        {"ABC", "opcode:0xf2=0xf0", "f0 00, f2 00", "s", "1 96 1 2 3 4", 0x1f0,
         "Got invalid response"},
        {"ABC", "status:0xf3=254", "f0 00, f2 00, f3 00", "ss", "1 96 15 2 3 4", 0x1f4,
         "Status error - Command failed"},
        {"ABC", "status:0xf5=253", "f0 00, f2 00, f3 00, f5 00", "sss", "1 96 15 9 3 4", 0x1f5,
         "Status error - Command invalid parameter"},
        {"ABC", "opcode:0xf6=0xf5", all, "ssss", "1 96 15 9 7 4", 0x1f6, "Got invalid response"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args{"--state", state};
        if (!c.fault.empty()) args.insert(args.end(), {"--fault", c.fault});
        DeviceRig rig(args);
        ScoSettings s;
        rig.Attach(s);
        Support(s, c.flags);
        s.packetType = 64;
        s.outputGainMax = 1;
        s.outputGain = 2;
        s.inputGainMax = 3;
        s.inputGain = 4;
        Failure failure;
        EXPECT_EQ(s.ReadFromDevice(failure), c.reason ? -1 : 1) << c.flags << c.fault;
        EXPECT_EQ(rig.Heard(), c.heard) << c.fault;
        EXPECT_EQ(rig.progress.calls, c.progress) << c.fault;
        EXPECT_EQ(Values(s), c.values) << c.fault;
        EXPECT_EQ(c.reason ? Seen(failure) : "", c.reason ? CommSeen(false, c.code, c.reason) : "");
    }
}

TEST(ScoDevice, WriteSendsTheTypeOnlyWhenEnabledAndOnlyTheGainsTheModuleHas) {
    const struct {
        const char* flags;
        std::string fault;
        bool enabled;
        int type, outputMax, inputMax;
        std::string heard, progress;
        unsigned code;
        const char* reason;
    } cases[] = {
        {"ABC", "", true, 64, 15, 7, "f1 03 01 00 40, f4 02 00 0c, f7 02 00 05", "srsrsr", 0,
         nullptr},
        // Switched off, no packet type goes out although one is held.
        {"ABC", "", false, 128, 0, 7, "f1 03 00 00 00, f7 02 00 05", "srsr", 0, nullptr},
        {"ABC", "", true, 256, 15, 0, "f1 03 01 01 00, f4 02 00 0c", "srsr", 0, nullptr},
        {"-BC", "", true, 64, 15, 7, "", "", 0, nullptr},
        {"AB-", "", true, 64, 15, 7, "", "", 0, nullptr},
        {"ABC", "status:0xf1=253", true, 32, 15, 7, "f1 03 01 00 20", "", 0x2f1,
         "Status error - Command invalid parameter"},
        // A packet type outside the list is refused before anything is sent.
        {"ABC", "", true, 96, 15, 7, "", "", 0x2f1, "Bad parameter"},
        {"ABC", "silent:0xf4", false, 0, 15, 7, "f1 03 00 00 00, f4 02 00 0c", "sr", 0x2f4,
         "Communication timeout"},
        {"ABC", "status:0xf7=255", false, 0, 15, 7, "f1 03 00 00 00, f4 02 00 0c, f7 02 00 05",
         "srsr", 0x2f7, "Status error - Command error"},
    };
    for (const auto& c : cases) {
        DeviceRig rig(c.fault.empty() ? std::vector<std::string>{}
                                      : std::vector<std::string>{"--fault", c.fault});
        ScoSettings s;
        rig.Attach(s);
        Support(s, c.flags);
        s.scoEnabled = c.enabled;
        s.packetType = c.type;
        s.outputGainMax = c.outputMax;
        s.outputGain = 12;
        s.inputGainMax = c.inputMax;
        s.inputGain = 5;
        Failure failure;
        EXPECT_EQ(s.WriteToDevice(failure), c.reason ? -1 : 1) << c.heard << c.fault;
        EXPECT_EQ(rig.Heard(), c.heard) << c.fault;
        EXPECT_EQ(rig.progress.calls, c.progress) << c.fault;
        EXPECT_EQ(c.reason ? Seen(failure) : "", c.reason ? CommSeen(true, c.code, c.reason) : "");
    }
}

TEST(ScoValues, EnablingWithoutATypeChoosesHv1AndNothingIsValidated) {
    ScoSettings s;
    s.SetEnabled(true);
    EXPECT_EQ(Values(s), "1 32 0 0 0 0");
    s.packetType = 128;
    s.SetEnabled(false);
    s.SetEnabled(true);
    EXPECT_EQ(Values(s), "1 128 0 0 0 0");
    s.packetType = 96;
    Failure failure;
    EXPECT_EQ(s.Validate(failure), 1);
}

TEST(ScoFile, SectionNeedsAvailabilityAndSupportAAndB) {
    ScoSettings s;
    s.available = 1;
    Support(s, "AB-");
    s.scoEnabled = true;
    s.packetType = 128;
    s.inputGainMax = 7;
    s.inputGain = 6;
    s.outputGainMax = 15;
    s.outputGain = 13;
    EXPECT_EQ(Section(s), "# SCO Connection settings\n"
                          "SCO Connection enabled: Yes\n"
                          "SCO Packet type: HV3\n"
                          "Codec input gain: 6\n"
                          "Codec output gain: 13\n\n\n");
    // No line for a type outside the list nor for a gain the module has no control for.
    s.packetType = 96;
    s.outputGainMax = 0;
    EXPECT_EQ(Section(s), "# SCO Connection settings\n"
                          "SCO Connection enabled: Yes\n"
                          "Codec input gain: 6\n\n\n");
    s.scoEnabled = false;
    EXPECT_EQ(Section(s), "# SCO Connection settings\nSCO Connection enabled: No\n\n\n");
    for (const char* flags : {"-BC", "A-C"}) {
        Support(s, flags);
        EXPECT_EQ(Section(s), "") << flags;
    }
    Support(s, "ABC");
    s.available = 0;
    EXPECT_EQ(Section(s), "");
}

TEST(ScoFile, LoadTakesKnownWordsAndNumbersWithoutLookingAtTheMaxima) {
    const std::string full = "SCO Connection enabled: No\r\nSCO Packet type: DV\r\n"
                             "Codec input gain: 99\r\nCodec output gain: 0\r\n";
    const struct {
        const char* flags;
        std::string file;
        std::string values; // as Values()
        int taken;
    } cases[] = {
        {"AB-", full, "0 256 15 0 7 99", 4},
        {"-BC", full, "1 64 15 11 7 4", 0},
        {"A-C", full, "1 64 15 11 7 4", 0},
        {"ABC", "", "1 64 15 11 7 4", 0},
        {"ABC",
         "SCO Connection enabled: no\nSCO Packet type: hv2\nSCO Packet type: HV1\n"
         "Codec input gain: -1\nCodec output gain: 3x\n",
         "1 64 15 11 7 4", 0},
        {"ABC", "SCO Packet type: \r\nCodec output gain: -3\nSCO Packet type: HV1\n",
         "1 64 15 -3 7 4", 1},
        {"ABC", "  SCO Packet type: HV1\nCodec input gain: +2\r\n", "1 32 15 11 7 2", 2},
    };
    for (const auto& c : cases) {
        ScoSettings s;
        Support(s, c.flags);
        s.scoEnabled = true;
        s.packetType = 64;
        s.outputGainMax = 15;
        s.outputGain = 11;
        s.inputGainMax = 7;
        s.inputGain = 4;
        TakenLines taken;
        EXPECT_EQ(s.LoadFromFile(c.file, &taken), c.taken) << c.file;
        EXPECT_EQ(Values(s), c.values) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0 ? 1 : 0) << c.file;
        EXPECT_EQ(int(taken.size()), c.taken);
    }
    ScoSettings s;
    Support(s, "AB-");
    TakenLines taken;
    s.LoadFromFile("SCO Connection enabled: Yes\r\nCodec input gain: 5\r\n", &taken);
    EXPECT_EQ(taken, (TakenLines{"SCO Connection enabled: Yes", "Codec input gain: 5"}));
    EXPECT_TRUE(s.scoEnabled);
}

} // namespace
