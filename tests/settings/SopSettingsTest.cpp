// SPDX-License-Identifier: Apache-2.0
// The Scan and Output power group: the order of its checks, the person's edits,
// and what a load takes back. (Its frames, failures and saved lines are checked
// with all groups in ModuleSettingsTest and tests/cli.)
#include "SopSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>

namespace {

using Edit = SopSettings::Edit;

// "inquiry on interval window | page on interval window | max default
// states changed", the states of the six edits as N number, E empty, X no number.
std::string Held(SopSettings& s) {
    std::ostringstream out;
    out << int(s.inquiryScanEnabled) << ' ' << s.inquiryScanInterval << ' ' << s.inquiryScanWindow
        << " | " << int(s.pageScanEnabled) << ' ' << s.pageScanInterval << ' ' << s.pageScanWindow
        << " | " << s.maxTxPowerValue << ' ' << s.defaultTxPowerValue << ' ';
    for (Edit e : SopSettings::kEdits)
        out << "NEX"[int(s.State(e))];
    out << ' ' << int(s.changed);
    return out.str();
}

// Sets the values from the first part of Held's form.
void Set(SopSettings& s, const char* values) {
    int on[2] = {};
    std::sscanf(values, "%d %d %d | %d %d %d | %d %d", &on[0], &s.inquiryScanInterval,
                &s.inquiryScanWindow, &on[1], &s.pageScanInterval, &s.pageScanWindow,
                &s.maxTxPowerValue, &s.defaultTxPowerValue);
    s.inquiryScanEnabled = uint8_t(on[0]);
    s.pageScanEnabled = uint8_t(on[1]);
}

TEST(SopValidate, ChecksInTheirOrderWithHelpContextZero) {
    const char* const window = "The field \"Scan window\" must have a value";
    const char* const interval = "The field \"Scan interval\" must have a value";
    const char* const range = " between 18-4096";
    const char* const order = " equal or less that \"Scan interval\"";
    const std::string invalid = "-1 Invalid input value (0x0, help 0): Invalid ";
    auto scan = [&](const std::string& which, const std::string& rule) {
        return invalid + which + " scan parameter | " + rule + " when " + which +
               " scan is enabled";
    };
    auto power = [&](const char* rule) { return invalid + "power settings parameter | " + rule; };
    const struct {
        const char* on;    // the scans switched on: i inquiry, p page; x both off after typing
        const char* typed; // into the six edits in turn: "_" empties one, "." leaves it as shown
        std::string seen;  // what Validate returns, and the failure
    } cases[] = {
        {"ipx", "17 _ 9999 _ . .", "1"},
        {"i", "_ _ . . . .", scan("inquiry", interval)},
        {"i", "17 _ . . . .", scan("inquiry", window)},
        {"i", "4096 4097 . . . .", scan("inquiry", window + std::string(range))},
        {"ip", "4000 4096 _ . . .", scan("inquiry", window + std::string(order))},
        {"ip", "4096 4096 _ . . .", scan("page", interval)},
        {"p", ". . 1-8 4097 . .", scan("page", interval + std::string(range))},
        {"p", ". . 18 19 . .", scan("page", window + std::string(order))},
        {"", ". . . . _ .", power("The field \"Max TX Power\" must have a value")},
        {"", ". . . . - _", power("The field \"Max TX Power\" has an invalid value")},
        {"", ". . . . -91 _", power("The field \"Default TX Power\" must have a value")},
        // -10000 is what a text that is no number converts to.
        {"", ". . . . -91 -10000", power("The field \"Defualt TX Power\" has an invalid value")},
        {"", ". . . . -91 21",
         power("The field \"Max TX Power\" must have a value between -90 and 20")},
        {"", ". . . . 20 -91",
         power("The field \"Default TX Power\" must have a value between -90 and 20")},
        {"ip", ". . . . -90 +20", "1"},
    };
    for (const auto& c : cases) {
        SopSettings s;
        s.inquiryScanEnabled = std::strchr(c.on, 'i') != nullptr;
        s.pageScanEnabled = std::strchr(c.on, 'p') != nullptr;
        s.EditsAsShown();
        std::istringstream typed(c.typed);
        for (Edit e : SopSettings::kEdits) {
            std::string text;
            typed >> text;
            if (text != ".") s.Edited(e, text == "_" ? "" : text);
        }
        if (std::strchr(c.on, 'x')) s.inquiryScanEnabled = s.pageScanEnabled = 0;
        Failure failure;
        const int result = s.Validate(failure);
        EXPECT_EQ(std::to_string(result) + (result < 0 ? " " + Seen(failure) : ""), c.seen);
    }
}

TEST(SopFile, SectionOnlyWhileAvailable) {
    SopSettings s;
    Set(s, "0 1000 50 | 0 800 40 | 8 -12");
    EXPECT_EQ(Section(s), "");
    s.available = 1;
    // An edit of a scan that is off takes no value.
    s.Edited(Edit::InqScanWind, "7");
    s.Edited(Edit::PageScanInt, "7");
    s.inquiryScanEnabled = s.pageScanEnabled = 1;
    EXPECT_EQ(Section(s), "# Scan and Output power settings\nInquiry scan enabled: Yes\n"
                          "Inquiry scan interval: 1000\nInquiry scan window: 50\n"
                          "Page scan enabled: Yes\nPage scan interval: 800\nPage scan window: 40\n"
                          "Max TX Power: 8\nDefault TX Power: -12\n\n\n");
}

TEST(SopFile, LoadTakesWordsAndNumbersButNeverMinusOne) {
    const struct {
        std::string file, seen; // seen: the count returned, the lines taken | Held
    } cases[] = {
        {"Inquiry scan enabled: Yes\r\nInquiry scan interval: 1000\r\nInquiry scan window: 50\r\n"
         "Page scan enabled: No\r\nPage scan interval: 800\r\nPage scan window: 40\r\n"
         "Max TX Power: -8\r\nDefault TX Power: 3\r\n",
         "8 8 | 1 1000 50 | 0 800 40 | -8 3 NNEENN 1"},
        // -1 is the "no number" of the file, for the powers too.
        {"Max TX Power: -1\nDefault TX Power: -1\nPage scan window: -1\nInquiry scan window: 7x\n",
         "0 0 | 0 2048 18 | 1 300 30 | 5 6 EENNNN 0"},
        {"Inquiry scan enabled: yes\nPage scan enabled: \r\nDefault TX Power: -2\n",
         "1 1 | 0 2048 18 | 1 300 30 | 5 -2 EENNNN 1"},
        {"Page scan enabled: No\nMax TX Power: 0\nMax TX Power: 9\n",
         "2 2 | 0 2048 18 | 0 300 30 | 0 6 EEEENN 1"},
    };
    for (const auto& c : cases) {
        SopSettings s;
        Set(s, "0 2048 18 | 1 300 30 | 5 6");
        s.maxTxPowerEdit = EditText::NotANumber; // a load shows the held values again
        TakenLines taken;
        const int count = s.LoadFromFile(c.file, &taken);
        EXPECT_EQ(std::to_string(count) + " " + std::to_string(taken.size()) + " | " + Held(s),
                  c.seen);
    }
}

} // namespace
