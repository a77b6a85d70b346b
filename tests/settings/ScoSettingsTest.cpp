// SPDX-License-Identifier: Apache-2.0
// The audio (SCO) group: the support flags that let its reads, writes, section
// and load take place, the gains the module has no control for, and what a load
// takes back. (Its other frames, failures and saved lines are checked with all
// groups in ModuleSettingsTest and tests/cli.)
#include "ScoSettings.h"
#include "ModuleRig.h"

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

// Support flags as "ABC" ('-' for one not set), available, and values as Values() shows them.
void Hold(ScoSettings& s, const char* flags, const char* values) {
    s.supportA = flags[0] == 'A';
    s.supportB = flags[1] == 'B';
    s.supportC = flags[2] == 'C';
    s.available = 1;
    std::istringstream(values) >> s.scoEnabled >> s.packetType >> s.outputGainMax >> s.outputGain >>
        s.inputGainMax >> s.inputGain;
}

const std::string kOff = "# SCO Connection settings\nSCO Connection enabled: No\n\n\n";

TEST(ScoDevice, NoGainGoesOutThatTheModuleHasNoControlFor) {
    ModuleRig rig;
    ScoSettings s;
    rig.Attach(s);
    Hold(s, "ABC", "1 256 0 12 0 5");
    Failure failure;
    EXPECT_EQ(s.WriteToDevice(failure), 1);
    EXPECT_EQ(rig.Heard() + " / " + rig.progress.calls, "f1 03 01 01 00 / sr");
}

TEST(ScoDevice, ReadAndWriteNeedAllThreeSupportFlagsTheFileAndALoadOnlyAAndB) {
    for (const char* flags : {"-BC", "A-C", "AB-"}) {
        ModuleRig rig;
        ScoSettings s;
        rig.Attach(s);
        Hold(s, flags, "0 64 15 11 7 4");
        Failure failure;
        const bool inFile = flags[0] == 'A' && flags[1] == 'B';
        EXPECT_EQ(s.ReadFromDevice(failure) + s.WriteToDevice(failure) +
                      s.LoadFromFile("Codec input gain: 2\n", nullptr),
                  inFile ? 3 : 2)
            << flags;
        EXPECT_EQ(rig.Heard() + rig.progress.calls + Section(s), inFile ? kOff : "") << flags;
    }
}

TEST(ScoFile, SectionHasALineForEachValueTheModuleHasAndNeedsAvailability) {
    const std::string yes = "# SCO Connection settings\nSCO Connection enabled: Yes\n";
    const struct {
        const char* held;
        int available;
        std::string section;
    } cases[] = {
        // No line for a type outside the list nor for a gain the module has no control for.
        {"1 96 0 13 7 6", 1, yes + "Codec input gain: 6\n\n\n"},
        {"1 32 15 13 0 6", 1, yes + "SCO Packet type: HV1\nCodec output gain: 13\n\n\n"},
        {"1 128 15 13 7 6", 0, ""},
    };
    for (const auto& c : cases) {
        ScoSettings s;
        Hold(s, "AB-", c.held);
        s.available = c.available;
        EXPECT_EQ(Section(s), c.section) << c.held;
    }
}

TEST(ScoFile, LoadTakesExactWordsAndNumbersWithoutLookingAtTheMaxima) {
    const struct {
        std::string file;
        const char* values; // as Values()
        TakenLines taken;
    } cases[] = {
        {"SCO Connection enabled: No\r\nSCO Packet type: DV\r\nCodec input gain: 99\r\n"
         "Codec output gain: 0\r\n",
         "0 256 15 0 7 99",
         {"SCO Connection enabled: No", "SCO Packet type: DV", "Codec input gain: 99",
          "Codec output gain: 0"}},
        // The first line of a key counts; -1 and a value that is no number are not taken.
        {"SCO Connection enabled: no\nSCO Packet type: hv2\nSCO Packet type: HV1\n"
         "Codec input gain: -1\nCodec output gain: 3x\n",
         "1 64 15 11 7 4",
         {}},
    };
    for (const auto& c : cases) {
        ScoSettings s;
        Hold(s, "AB-", "1 64 15 11 7 4");
        TakenLines taken;
        EXPECT_EQ(s.LoadFromFile(c.file, &taken), int(c.taken.size())) << c.file;
        EXPECT_EQ(taken, c.taken) << c.file;
        EXPECT_EQ(Values(s), c.values) << c.file;
        EXPECT_EQ(s.changed, c.taken.empty() ? 0 : 1) << c.file;
    }
}

} // namespace
