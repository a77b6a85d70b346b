// The audio (SCO) group: the frames of its reads and writes against the virtual
// module and the failure each command reports, the support flags that let them
// take place, the file section and what a load takes back.
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

// Support flags as "ABC" ('-' for one not set), available, and values as Values() shows them.
void Hold(ScoSettings& s, const char* flags, const char* values) {
    s.supportA = flags[0] == 'A';
    s.supportB = flags[1] == 'B';
    s.supportC = flags[2] == 'C';
    s.available = 1;
    std::istringstream(values) >> s.scoEnabled >> s.packetType >> s.outputGainMax >> s.outputGain >>
        s.inputGainMax >> s.inputGain;
}

std::string Section(const ScoSettings& s) {
    std::ostringstream out;
    s.SaveToFile(out);
    return out.str();
}

const std::string kReads = "f0 00, f2 00, f3 00, f5 00, f6 00";
const std::string kOff = "# SCO Connection settings\nSCO Connection enabled: No\n\n\n";

TEST(ScoDevice, EveryFieldTravelsInItsPlaceAndAFailureStopsWithTheNumberOfItsCommand) {
    // An enabled byte of 2 counts as on; 96 is no packet type of the list and is kept.
    const std::string state = StateFile("sco 2 96\noutput_gain 9\ninput_gain 3\n");
    const char* const off = "0 0 15 12 7 5";
    const struct {
        bool write;
        const char* held; // as Values()
        std::string fault, heard, progress;
        unsigned code;     // of the failure: the module's status error, or "Bad parameter"
        const char* after; // as Values(), when checked
    } cases[] = {
        {false, "", "", kReads, "sssss", 0, "1 96 15 9 7 3"},
        {false, "", "status:0xf0=255", "f0 00", "", 0x1f0, "0 0 0 0 0 0"},
        {false, "", "status:0xf2=255", "f0 00, f2 00", "s", 0x1f0, nullptr},
        {false, "", "status:0xf3=255", "f0 00, f2 00, f3 00", "ss", 0x1f4, nullptr},
        {false, "", "status:0xf5=255", "f0 00, f2 00, f3 00, f5 00", "sss", 0x1f5, nullptr},
        {false, "", "status:0xf6=255", kReads, "ssss", 0x1f6, "1 96 15 9 7 0"},
        {true, "1 64 15 12 7 5", "", "f1 03 01 00 40, f4 02 00 0c, f7 02 00 05", "srsrsr", 0,
         nullptr},
        // Switched off, no packet type goes out although one is held; no gain
        // goes out that the module has no control for.
        {true, "0 128 0 12 7 5", "", "f1 03 00 00 00, f7 02 00 05", "srsr", 0, nullptr},
        {true, "1 256 15 12 0 5", "", "f1 03 01 01 00, f4 02 00 0c", "srsr", 0, nullptr},
        // A packet type outside the list passes the group's check (it has none)
        // and is refused before anything is sent.
        {true, "1 96 15 12 7 5", "", "", "", 0x2f1, nullptr},
        {true, off, "status:0xf1=255", "f1 03 00 00 00", "", 0x2f1, nullptr},
        {true, off, "status:0xf4=255", "f1 03 00 00 00, f4 02 00 0c", "sr", 0x2f4, nullptr},
        {true, off, "status:0xf7=255", "f1 03 00 00 00, f4 02 00 0c, f7 02 00 05", "srsr", 0x2f7,
         nullptr},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args{"--state", state};
        if (!c.fault.empty()) args.insert(args.end(), {"--fault", c.fault});
        DeviceRig rig(args);
        SCOPED_TRACE(c.fault + " " + c.held);
        ScoSettings s;
        rig.Attach(s);
        Hold(s, "ABC", c.held);
        Failure failure;
        EXPECT_EQ(s.Validate(failure), 1);
        const int done = c.write ? s.WriteToDevice(failure) : s.ReadFromDevice(failure);
        EXPECT_EQ(rig.Heard() + " / " + rig.progress.calls, c.heard + " / " + c.progress);
        if (c.after) {
            EXPECT_EQ(Values(s), c.after);
        }
        const char* reason = c.fault.empty() ? "Bad parameter" : "Status error - Command error";
        EXPECT_EQ(done == 1 ? "" : Seen(failure), c.code ? CommSeen(c.write, c.code, reason) : "");
    }
}

TEST(ScoDevice, ReadAndWriteNeedAllThreeSupportFlagsTheFileAndALoadOnlyAAndB) {
    for (const char* flags : {"-BC", "A-C", "AB-"}) {
        DeviceRig rig({});
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
        {"1 128 15 13 7 6", 1,
         yes + "SCO Packet type: HV3\nCodec input gain: 6\nCodec output gain: 13\n\n\n"},
        // No line for a type outside the list nor for a gain the module has no control for.
        {"1 96 0 13 7 6", 1, yes + "Codec input gain: 6\n\n\n"},
        {"1 32 15 13 0 6", 1, yes + "SCO Packet type: HV1\nCodec output gain: 13\n\n\n"},
        {"0 128 15 13 7 6", 1, kOff},
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
