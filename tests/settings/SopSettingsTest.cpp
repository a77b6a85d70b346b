// The Scan and Output power group: reads and writes against the virtual module
// (the default power on 0xD2/0xD3, the maximum on 0xD4/0xD5), the order of the
// checks, the person's edits, and the file section.
#include "SopSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Edit = SopSettings::Edit;

// "inquiry on interval window | page on interval window | max default"
std::string Values(const SopSettings& s) {
    std::ostringstream out;
    out << int(s.inquiryScanEnabled) << ' ' << s.inquiryScanInterval << ' ' << s.inquiryScanWindow
        << " | " << int(s.pageScanEnabled) << ' ' << s.pageScanInterval << ' ' << s.pageScanWindow
        << " | " << s.maxTxPowerValue << ' ' << s.defaultTxPowerValue;
    return out.str();
}

// Every edit's state: N number, E empty, X no number.
std::string States(SopSettings& s) {
    std::string states;
    for (Edit e : SopSettings::kEdits)
        states += "NEX"[int(s.State(e))];
    return states;
}

// The words of "a b c" as arguments, STATE and OFF standing for the state files.
std::vector<std::string> Args(const std::string& text, const std::string& state,
                              const std::string& off) {
    std::vector<std::string> args;
    std::istringstream in(text);
    for (std::string word; in >> word;)
        args.push_back(word == "STATE" ? state : word == "OFF" ? off : word);
    return args;
}

TEST(SopDevice, ReadAndWriteSendTheFieldsInTheirOrderOrStopWithTheirNumbers) {
    const std::string state = StateFile("inquiry_scan 0 40\npage_scan 1024 0\n"
                                        "tx_power_d2 -7\ntx_power_d4 12\n");
    const std::string off = StateFile("inquiry_scan 0 0\npage_scan 0 0\n");
    const struct {
        const char* args;
        bool write, scansOn;
        std::string heard, seen; // seen: progress | values
        unsigned code = 0;
        int help = 0;
        const char* reason = nullptr;
    } cases[] = {
        {"--state STATE", false, true, "c4 00, c6 00, d2 00, d4 00",
         "ssss | 1 0 40 | 1 1024 0 | 12 -7"},
        // Scans off keep the values held for when they are switched on again.
        {"--state OFF", false, true, "c4 00, c6 00, d2 00, d4 00",
         "ssss | 0 300 30 | 0 400 20 | 20 4"},
        {"--state STATE --fault status:0xc6=255", false, true, "c4 00, c6 00",
         "s | 1 0 40 | 1 400 20 | 5 6", 0x1c6, 454, "Status error - Command error"},
        {"--state STATE --fault silent:0xd4", false, true, "c4 00, c6 00, d2 00, d4 00",
         "sss | 1 0 40 | 1 1024 0 | 5 -7", 0x1d4, 468, "Communication timeout"},
        // This module takes 4 dBm at the highest and -30 at the lowest, and
        // answers what it took.
        {"--profile code1-3.00", true, true,
         "c5 04 01 2c 00 1e, c7 04 01 90 00 14, d5 02 00 0c, d3 02 ff ce",
         "srsrsrsr | 1 300 30 | 1 400 20 | 4 -30"},
        {"", true, false, "c5 04 00 00 00 00, c7 04 00 00 00 00, d5 02 00 0c, d3 02 ff ce",
         "srsrsrsr | 0 300 30 | 0 400 20 | 12 -30"},
        {"--fault status:0xc5=253", true, true, "c5 04 01 2c 00 1e",
         " | 1 300 30 | 1 400 20 | 12 -50", 0x2c5, 709, "Status error - Command invalid parameter"},
        {"--fault status:0xd5=254", true, true, "c5 04 01 2c 00 1e, c7 04 01 90 00 14, d5 02 00 0c",
         "srsr | 1 300 30 | 1 400 20 | 12 -50", 0x2d5, 725, "Status error - Command failed"},
    };
    for (const auto& c : cases) {
        DeviceRig rig(Args(c.args, state, off));
        SopSettings s;
        rig.Attach(s);
        s.inquiryScanEnabled = s.pageScanEnabled = c.scansOn;
        s.inquiryScanInterval = 300;
        s.inquiryScanWindow = 30;
        s.pageScanInterval = 400;
        s.pageScanWindow = 20;
        s.maxTxPowerValue = c.write ? 12 : 5;
        s.defaultTxPowerValue = c.write ? -50 : 6;
        Failure failure;
        EXPECT_EQ(c.write ? s.WriteToDevice(failure) : s.ReadFromDevice(failure),
                  c.reason ? -1 : 1);
        EXPECT_EQ(rig.Heard(), c.heard) << c.args;
        EXPECT_EQ(rig.progress.calls + " | " + Values(s), c.seen) << c.args;
        EXPECT_EQ(failure.helpContext, c.help);
        failure.helpContext = 0;
        EXPECT_EQ(c.reason ? Seen(failure) : "",
                  c.reason ? CommSeen(c.write, c.code, c.reason) : "");
    }

    // A power outside -90 to 20 is refused before anything is sent.
    DeviceRig rig({});
    SopSettings s;
    rig.Attach(s);
    s.defaultTxPowerValue = 21;
    Failure failure;
    EXPECT_EQ(s.WriteToDevice(failure), -1);
    EXPECT_EQ(rig.Heard(), "c5 04 00 00 00 00, c7 04 00 00 00 00, d5 02 00 00");
    EXPECT_EQ(failure.helpContext, 723);
    failure.helpContext = 0;
    EXPECT_EQ(Seen(failure), CommSeen(true, 0x2d3, "Bad parameter"));
}

TEST(SopValidate, ChecksInTheirOrderWithHelpContextZero) {
    const char* const window = "The field \"Scan window\" must have a value";
    const char* const interval = "The field \"Scan interval\" must have a value";
    const char* const range = " between 18-4096";
    const char* const order = " equal or less that \"Scan interval\"";
    const struct {
        const char* on;    // the scans switched on: i inquiry, p page; x both off after typing
        const char* typed; // into the six edits in turn: "_" empties one, "." leaves it as shown
        std::string seen;  // i, p or w: the scan's or the powers' text; "" when valid
    } cases[] = {
        {"", ". . . . . .", ""},
        {"ipx", "17 _ 9999 _ . .", ""},
        {"ip", ". . . . . .", ""},
        {"i", "_ _ . . . .", std::string("i") + interval},
        {"i", "17 _ . . . .", std::string("i") + window},
        {"i", "4096 4097 . . . .", std::string("i") + window + range},
        {"ip", "4000 4096 _ . . .", std::string("i") + window + order},
        {"ip", "4096 4096 _ . . .", std::string("p") + interval},
        {"p", ". . . _ . .", std::string("p") + window},
        {"p", ". . 1-8 20 . .", std::string("p") + interval + range},
        {"p", ". . 18 19 . .", std::string("p") + window + order},
        {"", ". . . . _ .", "wThe field \"Max TX Power\" must have a value"},
        {"", ". . . . - _", "wThe field \"Max TX Power\" has an invalid value"},
        {"", ". . . . -91 _", "wThe field \"Default TX Power\" must have a value"},
        {"", ". . . . -91 -", "wThe field \"Defualt TX Power\" has an invalid value"},
        // -10000 is what a text that is no number converts to.
        {"", ". . . . . -10000", "wThe field \"Defualt TX Power\" has an invalid value"},
        {"", ". . . . -91 21", "wThe field \"Max TX Power\" must have a value between -90 and 20"},
        {"", ". . . . 20 -91",
         "wThe field \"Default TX Power\" must have a value between -90 and 20"},
        {"", ". . . . -90 20", ""},
    };
    for (const auto& c : cases) {
        SopSettings s;
        const std::string on = c.on;
        s.inquiryScanEnabled = on.find('i') != std::string::npos;
        s.pageScanEnabled = on.find('p') != std::string::npos;
        s.EditsAsShown();
        std::istringstream typed(c.typed);
        for (Edit e : SopSettings::kEdits) {
            std::string text;
            typed >> text;
            if (text != ".") s.Edited(e, text == "_" ? "" : text);
        }
        if (on.find('x') != std::string::npos) s.inquiryScanEnabled = s.pageScanEnabled = 0;
        std::string seen = c.seen;
        if (!seen.empty() && seen[0] == 'w') {
            seen = "Invalid power settings parameter | " + seen.substr(1);
        } else if (!seen.empty()) {
            const std::string scan = seen[0] == 'i' ? "inquiry" : "page";
            seen = "Invalid " + scan + " scan parameter | " + seen.substr(1) + " when " + scan +
                   " scan is enabled";
        }
        Failure failure;
        EXPECT_EQ(s.Validate(failure), seen.empty() ? 1 : -1) << c.typed;
        EXPECT_EQ(seen.empty() ? "" : Seen(failure),
                  seen.empty() ? "" : "Invalid input value (0x0, help 0): " + seen);
    }
}

TEST(SopEdits, ShownTextsFollowTheScanSwitchesAndEditsTakeValues) {
    SopSettings s;
    EXPECT_EQ(States(s), "EEEENN");
    // A scan edit of a scan that is off takes no value.
    s.Edited(Edit::InqScanWind, "99");
    s.Edited(Edit::PageScanInt, "98");
    EXPECT_EQ(Values(s), "0 2048 18 | 0 2048 18 | 0 0");
    EXPECT_EQ(s.changed, 1);
    s.inquiryScanEnabled = 1;
    s.maxTxPowerValue = -3;
    s.defaultTxPowerValue = 4;
    std::string shown;
    for (Edit e : SopSettings::kEdits)
        shown += s.Shown(e) + "|";
    EXPECT_EQ(shown, "2048|18|||-3|4|");
    // A text that is no integer takes 0.
    s.Edited(Edit::InqScanWind, "2x");
    s.Edited(Edit::MaxTxPower, "+7");
    s.Edited(Edit::DefaultTxPower, "-");
    EXPECT_EQ(Values(s), "1 2048 0 | 0 2048 18 | 7 0");
    EXPECT_EQ(States(s), "EXNENX");
    s.EditsAsShown();
    EXPECT_EQ(States(s), "NNEENN");
}

TEST(SopFile, SectionOnlyWhileAvailable) {
    SopSettings s;
    s.inquiryScanInterval = 1000;
    s.inquiryScanWindow = 50;
    s.pageScanInterval = 800;
    s.pageScanWindow = 40;
    s.maxTxPowerValue = 8;
    s.defaultTxPowerValue = -12;
    auto section = [&s] {
        std::ostringstream out;
        s.SaveToFile(out);
        return out.str();
    };
    EXPECT_EQ(section(), "");
    s.available = 1;
    EXPECT_EQ(section(), "# Scan and Output power settings\nInquiry scan enabled: No\n"
                         "Page scan enabled: No\nMax TX Power: 8\nDefault TX Power: -12\n\n\n");
    s.inquiryScanEnabled = s.pageScanEnabled = 1;
    EXPECT_EQ(section(), "# Scan and Output power settings\nInquiry scan enabled: Yes\n"
                         "Inquiry scan interval: 1000\nInquiry scan window: 50\n"
                         "Page scan enabled: Yes\nPage scan interval: 800\nPage scan window: 40\n"
                         "Max TX Power: 8\nDefault TX Power: -12\n\n\n");
}

TEST(SopFile, LoadTakesWordsAndNumbersButNeverMinusOne) {
    const struct {
        std::string file;
        std::string values;
        int taken;
        std::string states;
    } cases[] = {
        {"", "0 2048 18 | 1 300 30 | 5 6", 0, "EENNNN"},
        {"Inquiry scan enabled: Yes\r\nInquiry scan interval: 1000\r\nInquiry scan window: 50\r\n"
         "Page scan enabled: No\r\nPage scan interval: 800\r\nPage scan window: 40\r\n"
         "Max TX Power: -8\r\nDefault TX Power: 3\r\n",
         "1 1000 50 | 0 800 40 | -8 3", 8, "NNEENN"},
        // -1 is the "no number" of the file, for the powers too.
        {"Max TX Power: -1\nDefault TX Power: -1\nPage scan window: -1\nInquiry scan window: 7x\n",
         "0 2048 18 | 1 300 30 | 5 6", 0, "EENNNN"},
        {"Inquiry scan enabled: yes\nPage scan enabled: \r\nDefault TX Power: -2\n",
         "0 2048 18 | 1 300 30 | 5 -2", 1, "EENNNN"},
        {"Page scan enabled: No\nMax TX Power: 0\nMax TX Power: 9\n", "0 2048 18 | 0 300 30 | 0 6",
         2, "EEEENN"},
    };
    for (const auto& c : cases) {
        SopSettings s;
        s.pageScanEnabled = 1;
        s.pageScanInterval = 300;
        s.pageScanWindow = 30;
        s.maxTxPowerValue = 5;
        s.defaultTxPowerValue = 6;
        s.Edited(Edit::MaxTxPower, "-"); // a load shows the held values again
        s.maxTxPowerValue = 5;
        s.changed = 0;
        TakenLines taken;
        EXPECT_EQ(s.LoadFromFile(c.file, &taken), c.taken) << c.file;
        EXPECT_EQ(int(taken.size()), c.taken);
        EXPECT_EQ(Values(s), c.values) << c.file;
        EXPECT_EQ(States(s), c.states) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0 ? 1 : 0);
    }
}

} // namespace
