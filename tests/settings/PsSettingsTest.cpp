// SPDX-License-Identifier: Apache-2.0
// The Power save group: the fixed order of its checks and what a load takes
// back. (Its frames, failures and saved lines are checked with all groups in
// ModuleSettingsTest and tests/cli.)
#include "PsSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

namespace {

// A group as "s<on> max min attempt timeout <edits> p<on> max min <edits>", each
// edit N (a number), E (empty) or ? (not a number).
std::string Held(const PsSettings& s) {
    std::string e;
    for (EditText t : {s.sniffMaxIntEdit, s.sniffMinIntEdit, s.sniffAttemptEdit, s.sniffTimeoutEdit,
                       s.parkBeaMaxEdit, s.parkBeaMinEdit})
        e += "NE?"[int(t)];
    char text[120];
    std::snprintf(text, sizeof text, "s%d %d %d %d %d %s p%d %d %d %s", s.sniffEnabled,
                  s.sniffMaxInterval, s.sniffMinInterval, s.sniffAttempt, s.sniffTimeout,
                  e.substr(0, 4).c_str(), s.parkEnabled, s.beaconMaxInterval, s.beaconMinInterval,
                  e.substr(4).c_str());
    return text;
}

PsSettings Made(const char* held) {
    PsSettings s;
    char e[8] = {};
    std::sscanf(held, "s%hhu %d %d %d %d %4s p%hhu %d %d %2s", &s.sniffEnabled, &s.sniffMaxInterval,
                &s.sniffMinInterval, &s.sniffAttempt, &s.sniffTimeout, e, &s.parkEnabled,
                &s.beaconMaxInterval, &s.beaconMinInterval, e + 4);
    EditText* texts[] = {&s.sniffMaxIntEdit,  &s.sniffMinIntEdit, &s.sniffAttemptEdit,
                         &s.sniffTimeoutEdit, &s.parkBeaMaxEdit,  &s.parkBeaMinEdit};
    for (int i = 0; i < 6; ++i)
        *texts[i] = EditText(std::string("NE?").find(e[i]));
    EXPECT_EQ(Held(s), held);
    return s;
}

TEST(PsValidate, ParkFirstThenSniffInTheirFixedOrder) {
    const auto seen = [](std::string mode, std::string field, std::string rest = "",
                         std::string when = "") {
        return "Invalid input value (0x0, help 0): Invalid " + mode +
               " mode parameter | The field \"" + field + "\" must have a value" + rest + " when " +
               (when.empty() ? mode : when) + " mode is enabled";
    };
    const char *const k65535 = " between 1-65535", *const k32767 = " between 1-32767";
    const struct {
        const char* held;
        std::string seen;
    } cases[] = {
        {"s1 800 800 4 1 NNNN p1 300 300 NN", ""},
        // Timeout 0 passes (the text says 1-32767 all the same); a mode off is not checked.
        {"s1 65535 1 32767 0 NNNN p0 0 9 EE", ""},
        {"s0 -1 0 0 0 EEEE p1 1 1 NN", ""},
        {"s1 800 400 4 1 NNNN p1 300 200 EN", seen("park", "Beacon max interval")},
        {"s1 800 400 4 1 NNNN p1 0 200 NE", seen("park", "Beacon min interval")},
        {"s1 800 400 4 1 NNNN p1 0 70000 NN", seen("park", "Beacon max interval", k65535)},
        {"s1 800 400 4 1 NNNN p1 65535 65536 NN", seen("park", "Beacon min interval", k65535)},
        {"s1 800 400 0 1 NNNN p1 300 301 NN",
         seen("park", "Beacon min interval", " equal or less that \"Beacon max interval\"")},
        // An empty edit fails even while the value held is valid.
        {"s1 800 0 4 1 ENNN p0 0 0 EE", seen("sniff", "Max interval")},
        {"s1 800 400 4 1 NEEN p0 0 0 EE", seen("sniff", "Min interval")},
        {"s1 800 400 4 1 NNEE p0 0 0 EE", seen("sniff", "Attempt")},
        {"s1 800 0 4 1 NNNE p0 0 0 EE", seen("sniff", "Timeout")},
        // The minimum's range comes before the maximum's.
        {"s1 0 0 4 1 NNNN p0 0 0 EE", seen("sniff", "Min interval", k65535)},
        {"s1 65536 400 0 1 NNNN p0 0 0 EE", seen("sniff", "Max interval", k65535)},
        {"s1 800 400 0 -1 NNNN p0 0 0 EE", seen("sniff", "Attempt", k32767)},
        {"s1 800 400 32768 1 NNNN p0 0 0 EE", seen("sniff", "Attempt", k32767)},
        {"s1 800 900 4 -1 NNNN p0 0 0 EE", seen("sniff", "Timeout", k32767)},
        {"s1 800 400 4 32768 NNNN p0 0 0 EE", seen("sniff", "Timeout", k32767)},
        // This text speaks of park mode.
        {"s1 50 100 4 1 NNNN p0 0 0 EE",
         seen("sniff", "Min interval", " equal or less that \"Max interval\"", "park")},
    };
    for (const auto& c : cases) {
        Failure failure;
        EXPECT_EQ(Made(c.held).Validate(failure) == 1 ? "" : Seen(failure), c.seen) << c.held;
    }
}

TEST(PsFile, NoSectionWhileNotAvailable) {
    EXPECT_EQ(Section(Made("s1 800 400 4 1 NNNN p1 300 200 NN")), "");
}

TEST(PsFile, LoadTakesYesNoAndNumbersAndKeepsTheRest) {
    EXPECT_EQ(Held(PsSettings{}), "s0 -1 0 0 0 EEEE p0 -1 0 EE"); // maxima not known yet
    const char* const parkOn = "s0 11 12 13 14 EEEE p1 21 22 NN";
    const struct {
        std::string file;
        const char *before, *after;
        int taken;
    } cases[] = {
        // Not a number and -1 are not taken; with the maxima not known the edits stay empty.
        {"Sniff mode enabled: Yes\nSniff max interval: 8x\nSniff attempt: -1\nSniff timeout: 5\n"
         "Park mode enabled: Yes\n",
         "s0 -1 12 13 14 EEEE p0 -1 22 EE", "s1 -1 12 13 5 EEEE p1 -1 22 EE", 3},
        {"Sniff mode enabled: yes\nPark mode enabled: NO\nPark max interval: \r\n", parkOn, parkOn,
         0},
        // No range checks; "No" keeps the mode's values.
        {"Park mode enabled: No\nSniff timeout: 70000\nSniff min interval: -5\n"
         "Park min interval: +7\n",
         parkOn, "s0 11 -5 13 70000 EEEE p0 21 7 EE", 4},
    };
    for (const auto& c : cases) {
        PsSettings s = Made(c.before);
        EXPECT_EQ(s.LoadFromFile(c.file, nullptr), c.taken) << c.file;
        EXPECT_EQ(Held(s), c.after) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0) << c.file;
    }
}

} // namespace
