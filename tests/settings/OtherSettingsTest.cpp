// SPDX-License-Identifier: Apache-2.0
// The Other group: the Class of Device both ways, the latency check, the
// section's lines that only some values and features give, and what a load
// takes back. (Its frames, failures and ordinary saved lines are checked with
// all groups in ModuleSettingsTest and tests/cli.)
#include "OtherSettings.h"
#include "ClassOfDevice.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace ClassOfDevice;

std::string Text(const std::vector<std::string>& items, int item) {
    return item >= 0 ? items.at(std::size_t(item)) : kUnknown;
}

// Each class as its three boxes show it, and what a person gets by choosing
// those items again over a class with every bit set (a box showing Unknown has
// no item to choose and keeps its bits).
TEST(OtherClassOfDevice, ShownItemsAndChosenItemsAgreeForEveryMajorClass) {
    const std::tuple<uint32_t, const char*, uint32_t> cases[] = {
        {0x001F00, "Miscellaneous | Uncategorized | -", 0x001F00},
        {0x00E000, "Miscellaneous | Miscellaneous | -", 0x000000}, // bits 13 to 15 not shown
        {0x01010C, "Positioning (Location identification) | Computer | Laptop", 0x01010C},
        {0x040214, "Rendering (Printing, Speaker, ...)  | Phone | Common ISDN Access", 0x040214},
        {0x00039C, "Miscellaneous | LAN /Network Access point | 50 - 67% utilized", 0x000380},
        {0x400408, "Telephony (Cordless, Modem, ...) | Audio/Video | Hands-free", 0x400408},
        {0x800410, "Information (WEB-server, ...) | Audio/Video | Microphone", 0x800410},
        {0x00040C, "Miscellaneous | Audio/Video | Unknown", 0x0004FF},  // 3 is reserved
        {0x00057C, "Miscellaneous | Peripheral  | Keyboard", 0x000540}, // lower bits ignored
        {0x100680, "Object Transfer (v-Inbox, ...) | Imaging | Printer", 0x100680},
        // Imaging takes one bit only.
        {0x080630, "Capturing (Scanner, Microphone, ...) | Imaging | Unknown", 0x0806FF},
        {0x030700, "Unknown | Unknown | Unknown", 0xFFFFFF},
        {0xFF0000, "Unknown | Miscellaneous | -", 0xFFE000},
    };
    for (const auto& [cod, shown, chosen] : cases) {
        const int s = ServiceItem(cod), major = MajorItem(cod), minor = MinorItem(cod);
        EXPECT_EQ(Text(ServiceItems(), s) + " | " + Text(MajorItems(), major) + " | " +
                      Text(MinorItems(MajorNumber(cod)), minor),
                  shown);
        EXPECT_EQ(WithMinor(WithMajor(WithService(0xFFFFFF, s), major), minor), chosen) << shown;
    }
    // Every item of every list comes back as itself.
    for (uint32_t major : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 31u})
        for (int item = 0; item < int(MinorItems(major).size()); ++item)
            EXPECT_EQ(MinorItem(WithMinor(major << 8, item)), item) << major << " " << item;
}

// What the group holds: emulation, type, class, throughput, link time-out on and
// its value, mode, latency, the latency edit.
std::string Values(const OtherSettings& s) {
    const char* edits[] = {"number", "empty", "nan"};
    char v[96];
    std::snprintf(v, sizeof v, "%d %d %x %d %d %d %d %d %s", s.emulationEnabled, s.emulationType,
                  s.classOfDevice, s.throughputOptimised, s.linkTimeoutEnabled, s.linkTimeout,
                  s.qosMode, s.qosLatency, edits[int(s.latencyEdit)]);
    return v;
}

TEST(OtherValidate, LatencyIsCheckedOnlyWithTheFeatureAndAModeOn) {
    const std::string rule = "Invalid input value (0x0, help 0): Invalid Quality of service "
                             "latency | The field \"Latency\" ";
    const std::string notNumber = rule + "does not contain a valid integer value";
    const std::string range = rule + "must be an integer between 1 - 1000000";
    const std::tuple<bool, int, EditText, int, std::string> cases[] = {
        {false, 1, EditText::Empty, 0, ""},
        {true, 0, EditText::NotANumber, 0, ""},
        {true, 2, EditText::NotANumber, 500, notNumber},
        {true, 1, EditText::Number, -1, notNumber}, // -1 is what a failed conversion gives
        {true, 1, EditText::Number, 0, range},
        {true, 1, EditText::Number, 1, ""},
        {true, 2, EditText::Number, 1000000, ""},
        {true, 3, EditText::Number, 1000001, range},
    };
    for (const auto& [feature, mode, edit, latency, seen] : cases) {
        OtherSettings s;
        s.qosSupported = feature;
        s.qosMode = mode;
        s.latencyEdit = edit;
        s.qosLatency = latency;
        Failure failure;
        EXPECT_EQ(s.Validate(failure) == 1 ? "" : Seen(failure), seen) << mode << " " << latency;
    }
}

TEST(OtherFile, LoadTakesKnownWordsAndNumbersInRange) {
    const std::tuple<std::string, int, std::string> cases[] = {
        {"Emulate serial handshake: Yes\r\nEmulate serial type: DCE\r\nClass of device: "
         "5898764\r\nPerformance optimazation: Throughput\r\nLink timeout enabled: Yes\r\n"
         "Link timeout value: 65535\r\nQuality of service mode: Guaranteed\r\n"
         "Quality of service latency: 1000000\r\n",
         8, "1 2 5a020c 1 1 65535 2 1000000 number"},
        {"Emulate serial handshake: yes\nEmulate serial type: dte\nClass of device: 12x\n"
         "Performance optimazation: latency\nLink timeout enabled: YES\nLink timeout value: 0\n"
         "Quality of service mode: Best Effort\nQuality of service latency: -1\n",
         0, "0 0 1f00 0 0 19200 0 0 nan"},
        {"Emulate serial type: DTE\nClass of device: 16777216\nLink timeout value: 1\n"
         "Quality of service mode: Best effort\nQuality of service latency: 0\n",
         5, "0 1 0 0 0 1 1 0 number"}, // a latency of 0 shows as "0"
        {"Class of device: -2\nLink timeout value: 65536\nQuality of service latency: -5\n"
         "Performance optimazation: Latency\n",
         3, "0 0 fffffe 0 0 19200 0 -5 number"},
    };
    for (const auto& [file, taken, values] : cases) {
        OtherSettings s;
        s.latencyEdit = EditText::NotANumber; // kept unless a latency is taken
        EXPECT_EQ(s.LoadFromFile(file, nullptr), taken) << file;
        EXPECT_EQ(Values(s) + " " + std::to_string(s.changed), values + (taken ? " 1" : " 0"));
    }
}

TEST(OtherFile, LinkTimeoutSecondsRoundHalfUp) {
    const int cases[][2] = {{0, 0},    {799, 0},    {800, 1},    {2399, 1},  {2400, 2},
                            {4000, 3}, {19200, 12}, {64000, 40}, {65535, 41}};
    for (const auto& c : cases)
        EXPECT_EQ(OtherSettings::LinkTimeoutSeconds(c[0]), c[1]) << c[0];
}

} // namespace
