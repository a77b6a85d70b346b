// The Other group: the Class of Device both ways, reads and writes against the
// virtual module, the latency check, and the file section saved and loaded.
#include "OtherSettings.h"
#include "ClassOfDevice.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace ClassOfDevice;

std::string Text(const std::vector<std::string>& items, int item) {
    return item >= 0 ? items.at(std::size_t(item)) : kUnknown;
}

// The three boxes as a person reads them.
std::string Shown(uint32_t cod) {
    return Text(ServiceItems(), ServiceItem(cod)) + " | " + Text(MajorItems(), MajorItem(cod)) +
           " | " + Text(MinorItems(MajorNumber(cod)), MinorItem(cod));
}

TEST(OtherClassOfDevice, DecodesEveryMajorClassIntoItsLists) {
    const struct {
        uint32_t cod;
        const char* shown;
    } cases[] = {
        {0x001F00, "Miscellaneous | Uncategorized | -"},
        {0x00E000, "Miscellaneous | Miscellaneous | -"}, // bits 13 to 15 are not shown
        {0x000004, "Miscellaneous | Miscellaneous | Unknown"},
        {0x01010C, "Positioning (Location identification) | Computer | Laptop"},
        {0x020118, "Networking (LAN, Ad hoc, ...) | Computer | Wearable computer (Watch sized)"},
        {0x040214, "Rendering (Printing, Speaker, ...)  | Phone | Common ISDN Access"},
        {0x080218, "Capturing (Scanner, Microphone, ...) | Phone | Unknown"},
        {0x10039C,
         "Object Transfer (v-Inbox, ...) | LAN /Network Access point | 50 - 67% utilized"},
        {0x2003E0,
         "Audio (Speaker, Microphone, ...) | LAN /Network Access point | No service available"},
        {0x400408, "Telephony (Cordless, Modem, ...) | Audio/Video | Hands-free"},
        {0x800410, "Information (WEB-server, ...) | Audio/Video | Microphone"},
        {0x000440, "Miscellaneous | Audio/Video | Video Conferencing"},
        {0x000448, "Miscellaneous | Audio/Video | Gaming/Toy"},
        {0x00040C, "Miscellaneous | Audio/Video | Unknown"},  // 3 is reserved
        {0x000444, "Miscellaneous | Audio/Video | Unknown"},  // 17 is reserved
        {0x00057C, "Miscellaneous | Peripheral  | Keyboard"}, // lower bits ignored
        {0x00053C, "Miscellaneous | Peripheral  | Unknown"},
        {0x000680, "Miscellaneous | Imaging | Printer"},
        {0x000630, "Miscellaneous | Imaging | Unknown"}, // two bits
        {0x030700, "Unknown | Unknown | Unknown"},
        {0xFF0000, "Unknown | Miscellaneous | -"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Shown(c.cod), c.shown) << std::hex << c.cod;
    EXPECT_TRUE(MinorItems(7).empty());
}

TEST(OtherClassOfDevice, EachBoxChangesOnlyItsOwnBits) {
    EXPECT_EQ(WithService(0x03E10F, 0), 0x00010Fu); // bits 13 to 23 cleared
    EXPECT_EQ(WithService(0x03E10F, 1), 0x01010Fu);
    EXPECT_EQ(WithService(0x00010F, 8), 0x80010Fu);
    // A new major class keeps the minor bits, shown in its own list.
    EXPECT_EQ(WithMajor(0x20010F, 2), 0x20020Fu);
    EXPECT_EQ(Shown(WithMajor(0x00010C, 2)), "Miscellaneous | Phone | Smart phone");
    EXPECT_EQ(WithMajor(0x00010C, 7), 0x001F0Cu);
    const struct {
        uint32_t cod;
        int item;
        uint32_t result;
    } minors[] = {
        {0x400003, 0, 0x400000},  {0x00E1FF, 6, 0x00E118},  {0x000203, 5, 0x000214},
        {0x000300, 5, 0x0003A0},  {0x000400, 2, 0x000408},  {0x000400, 3, 0x000410},
        {0x000400, 15, 0x000440}, {0x000400, 16, 0x000448}, {0x0005FF, 0, 0x000540},
        {0x000500, 2, 0x0005C0},  {0x000600, 0, 0x000610},  {0x000600, 2, 0x000640},
        {0x000600, 3, 0x000680},  {0x001FFF, 0, 0x001F00},  {0x000700, 0, 0x000700},
    };
    for (const auto& m : minors)
        EXPECT_EQ(WithMinor(m.cod, m.item), m.result) << std::hex << m.cod << " " << m.item;
    // Every item of every list comes back as itself.
    for (uint32_t major : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 31u})
        for (int item = 0; item < int(MinorItems(major).size()); ++item)
            EXPECT_EQ(MinorItem(WithMinor(major << 8, item)), item) << major << " " << item;
}

// A communication failure with the help context the page lists.
std::string CommSeen(bool write, unsigned code, int help, const std::string& reason) {
    std::string seen = ::CommSeen(write, code, reason);
    return seen.replace(seen.find("help 0"), 6, "help " + std::to_string(help));
}

std::string Values(const OtherSettings& s) {
    std::ostringstream v;
    v << int(s.emulationEnabled) << ' ' << s.emulationType << ' ' << std::hex << s.classOfDevice
      << std::dec << ' ' << int(s.throughputOptimised) << ' ' << int(s.linkTimeoutEnabled) << ' '
      << s.linkTimeout << ' ' << s.qosMode << ' ' << s.qosLatency << ' '
      << (s.latencyEdit == EditText::Number  ? "number"
          : s.latencyEdit == EditText::Empty ? "empty"
                                             : "nan");
    return v.str();
}

// A read with both features or none: "frames / steps / values / failure".
std::string Read(const std::vector<std::string>& args, bool features) {
    DeviceRig rig(args);
    OtherSettings s;
    rig.Attach(s);
    s.emulationSupported = s.qosSupported = features;
    Failure failure;
    const int result = s.ReadFromDevice(failure);
    return rig.Heard() + " / " + rig.progress.calls + " / " + Values(s) +
           (result == 1 ? "" : " / " + Seen(failure));
}

TEST(OtherDevice, ReadTakesEachAnswerInItsOrder) {
    const std::string state = StateFile("performance 1\nclass_of_device 7e 5a 02 0c\nemulation 2\n"
                                        "link_timeout 4003\nqos 1 00 0f 42 3f\n");
    const std::string all = "c0 00, cc 00, d6 00, c2 00, da 00";
    EXPECT_EQ(Read({"--state", state}, true),
              all + " / sssss / 1 2 5a020c 1 1 4003 1 999999 number");
    EXPECT_EQ(Read({"--state", state}, false),
              "c0 00, cc 00, c2 00 / sss / 0 0 5a020c 1 1 4003 0 0 empty");
    // A time-out of 0 is off and keeps the held one; a latency of 0 shows nothing.
    EXPECT_EQ(Read({"--state", StateFile("performance 2\nclass_of_device 00 00 02 04\n"
                                         "link_timeout 0\nqos 2 00 00 00 00\n")},
                   true),
              all + " / sssss / 0 0 204 0 0 19200 2 0 empty");
    // A failure keeps what came before it.
    EXPECT_EQ(Read({"--state", state, "--fault", "status:0xd6=255"}, true),
              "c0 00, cc 00, d6 00 / ss / 0 0 5a020c 1 0 19200 0 0 empty / " +
                  CommSeen(false, 0x1d6, 454, "Status error - Command error"));
    EXPECT_EQ(Read({"--state", state, "--fault", "silent:0xda"}, true),
              all + " / ssss / 1 2 5a020c 1 1 4003 0 0 empty / " +
                  CommSeen(false, 0x1da, 474, "Communication timeout"));
}

// Writes distinct values with these switches: "frames / steps / failure".
std::string Write(const std::vector<std::string>& args, bool features, int emulation, int type,
                  int qosMode) {
    DeviceRig rig(args);
    OtherSettings s;
    rig.Attach(s);
    s.emulationSupported = s.qosSupported = features;
    s.throughputOptimised = 1;
    s.classOfDevice = 0x5a020c;
    s.emulationEnabled = uint8_t(emulation);
    s.emulationType = type;
    s.linkTimeoutEnabled = 1;
    s.linkTimeout = 4003;
    s.qosMode = qosMode;
    s.qosLatency = 999999;
    Failure failure;
    const int result = s.WriteToDevice(failure);
    return rig.Heard() + " / " + rig.progress.calls + (result == 1 ? "" : " / " + Seen(failure));
}

TEST(OtherDevice, WriteSendsEachSettingOrStopsWithItsNumberAndHelp) {
    const std::string first = "c1 01 01, cd 04 00 5a 02 0c";
    EXPECT_EQ(Write({}, true, 1, 2, 1),
              first + ", d7 01 02, c3 02 0f a3, db 05 01 00 0f 42 3f / srsrsrsrsr");
    EXPECT_EQ(Write({}, false, 1, 2, 1), first + ", c3 02 0f a3 / srsrsr");
    // Off is 0 whatever the type, on without a type is 0 too; mode 0 has no latency.
    EXPECT_EQ(Write({}, true, 0, 2, 0),
              first + ", d7 01 00, c3 02 0f a3, db 05 00 00 00 00 00 / srsrsrsrsr");
    EXPECT_EQ(Write({}, true, 1, 0, 2),
              first + ", d7 01 00, c3 02 0f a3, db 05 02 00 0f 42 3f / srsrsrsrsr");
    EXPECT_EQ(Write({"--fault", "status:0xcd=253"}, true, 1, 2, 1),
              first + " / sr / " +
                  CommSeen(true, 0x2cd, 717, "Status error - Command invalid parameter"));
    // A type above 2 from the module is refused before it is sent.
    EXPECT_EQ(Write({}, true, 1, 3, 1),
              first + " / srsr / " + CommSeen(true, 0x2d7, 727, "Bad parameter"));
    EXPECT_EQ(Write({"--fault", "opcode:0xdb=0xda"}, true, 1, 2, 1),
              first + ", d7 01 02, c3 02 0f a3, db 05 01 00 0f 42 3f / srsrsrsr / " +
                  CommSeen(true, 0x2db, 731, "Got invalid response"));

    // Switched off, the time-out goes out as 0 and is forgotten; latency sends 2.
    DeviceRig rig({});
    OtherSettings s;
    rig.Attach(s);
    Failure failure;
    EXPECT_EQ(s.WriteToDevice(failure), 1);
    EXPECT_EQ(rig.Heard(), "c1 01 02, cd 04 00 00 1f 00, c3 02 00 00");
    EXPECT_EQ(s.linkTimeout, 0);
}

TEST(OtherValidate, LatencyIsCheckedOnlyWithTheFeatureAndAModeOn) {
    const std::string rule = "Invalid input value (0x0, help 0): Invalid Quality of service "
                             "latency | The field \"Latency\" ";
    const std::string notNumber = rule + "does not contain a valid integer value";
    const std::string range = rule + "must be an integer between 1 - 1000000";
    const struct {
        bool feature;
        int mode;
        EditText edit;
        int latency;
        std::string seen;
    } cases[] = {
        {false, 1, EditText::Empty, 0, ""},
        {true, 0, EditText::NotANumber, 0, ""},
        {true, 1, EditText::Empty, 500, notNumber},
        {true, 2, EditText::NotANumber, 500, notNumber},
        {true, 1, EditText::Number, -1, notNumber}, // -1 is what a failed conversion gives
        {true, 1, EditText::Number, 0, range},
        {true, 3, EditText::Number, -5, range},
        {true, 1, EditText::Number, 1, ""},
        {true, 2, EditText::Number, 1000000, ""},
        {true, 2, EditText::Number, 1000001, range},
    };
    for (const auto& c : cases) {
        OtherSettings s;
        s.qosSupported = c.feature;
        s.qosMode = c.mode;
        s.latencyEdit = c.edit;
        s.qosLatency = c.latency;
        Failure failure;
        EXPECT_EQ(s.Validate(failure), c.seen.empty() ? 1 : -1) << c.mode << " " << c.latency;
        EXPECT_EQ(c.seen.empty() ? "" : Seen(failure), c.seen);
    }
}

std::string Section(const OtherSettings& s) {
    std::ostringstream out;
    s.SaveToFile(out);
    return out.str();
}

TEST(OtherFile, SectionFollowsTheHeldValues) {
    OtherSettings s;
    EXPECT_EQ(Section(s), ""); // not available
    s.available = 1;
    EXPECT_EQ(Section(s), "# Other settings\nEmulate serial handshake: No\nClass of device: 7936\n"
                          "Performance optimazation: Latency\nLink timeout enabled: No\n");
    s.qosSupported = s.emulationEnabled = s.throughputOptimised = s.linkTimeoutEnabled = 1;
    s.classOfDevice = 0x5a020c;
    s.linkTimeout = 4003;
    s.qosLatency = 999999;
    const std::string middle = "Class of device: 5898764\nPerformance optimazation: Throughput\n"
                               "Link timeout enabled: Yes\nLink timeout value: 4003\n";
    const struct {
        int type, mode;
        const char *typeLine, *qosLines;
    } cases[] = {
        {1, 1, "Emulate serial type: DTE\n",
         "Quality of service mode: Best effort\nQuality of service latency: 999999\n"},
        {2, 2, "Emulate serial type: DCE\n",
         "Quality of service mode: Guaranteed\nQuality of service latency: 999999\n"},
        {0, 0, "Emulate serial type: DCE\n", "Quality of service mode: Disabled\n"},
        {3, 3, "", ""}, // outside the tables: no line
    };
    for (const auto& c : cases) {
        s.emulationType = c.type;
        s.qosMode = c.mode;
        EXPECT_EQ(Section(s), "# Other settings\nEmulate serial handshake: Yes\n" +
                                  std::string(c.typeLine) + middle + c.qosLines);
    }
    // Emulation lines stand without the feature; quality of service needs it.
    s.qosSupported = 0;
    s.emulationType = 2;
    EXPECT_EQ(Section(s),
              "# Other settings\nEmulate serial handshake: Yes\nEmulate serial type: DCE\n" +
                  middle);
}

TEST(OtherFile, LoadTakesKnownWordsAndNumbersInRange) {
    const struct {
        std::string file, values;
        int taken;
    } cases[] = {
        {"", "0 0 1f00 0 0 19200 0 0 nan", 0},
        {"Emulate serial handshake: Yes\r\nEmulate serial type: DCE\r\nClass of device: "
         "5898764\r\nPerformance optimazation: Throughput\r\nLink timeout enabled: Yes\r\n"
         "Link timeout value: 65535\r\nQuality of service mode: Guaranteed\r\n"
         "Quality of service latency: 1000000\r\n",
         "1 2 5a020c 1 1 65535 2 1000000 number", 8},
        {"Emulate serial handshake: yes\nEmulate serial type: dte\nClass of device: 12x\n"
         "Performance optimazation: latency\nLink timeout enabled: YES\nLink timeout value: 0\n"
         "Quality of service mode: Best Effort\nQuality of service latency: -1\n",
         "0 0 1f00 0 0 19200 0 0 nan", 0},
        {"Emulate serial type: DTE\nClass of device: 16777216\nLink timeout value: 1\n"
         "Quality of service mode: Best effort\nQuality of service latency: 0\n",
         "0 1 0 0 0 1 1 0 empty", 5},
        {"Class of device: -2\nLink timeout value: 65536\nQuality of service latency: -5\n"
         "Performance optimazation: Latency\n",
         "0 0 fffffe 0 0 19200 0 -5 number", 3},
    };
    for (const auto& c : cases) {
        OtherSettings s;
        s.latencyEdit = EditText::NotANumber; // kept unless a latency is taken
        EXPECT_EQ(s.LoadFromFile(c.file, nullptr), c.taken) << c.file;
        EXPECT_EQ(Values(s), c.values) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0 ? 1 : 0);
    }
}

TEST(OtherFile, LinkTimeoutSecondsRoundHalfUp) {
    const int cases[][2] = {{0, 0},    {799, 0},    {800, 1},    {2399, 1},  {2400, 2},
                            {4000, 3}, {19200, 12}, {64000, 40}, {65535, 41}};
    for (const auto& c : cases)
        EXPECT_EQ(OtherSettings::LinkTimeoutSeconds(c[0]), c[1]) << c[0];
}

} // namespace
