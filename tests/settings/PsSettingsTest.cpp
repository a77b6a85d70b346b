// The Power save group: sniff and park against the virtual module, the fixed
// order of the checks, the file section and what a load takes back.
#include "PsSettings.h"
#include "DeviceRig.h"

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

// Values a module or a file gave before, each field its own.
const char* const kBefore = "s0 11 12 13 14 EEEE p0 21 22 EE";
const char* const kValid = "s1 800 400 4 1 NNNN p1 300 200 NN";

// Each case reads the module and, when it lists a write, writes back what it read.
TEST(PsDevice, ReadsAndWritesEachModeOrStopsWithItsNumberAndHelp) {
    const std::string on = StateFile("sniff 800 400 4 1\npark 300 200\n");
    const std::string read = "c8 00, ca 00", sent = read + ", c9 08 03 20 01 90 00 04 00 01";
    const struct {
        std::string state, fault, heard, progress;
        const char *after, *reason = nullptr;
        int code = 0, help = 0;
    } cases[] = {
        {on, "", sent + ", cb 04 01 2c 00 c8", "sssrsr", kValid},
        // All fields zero: the mode is off, keeps what it held and goes out as zeros.
        {StateFile("sniff 0 0 0 0\npark 0 0\n"), "",
         read + ", c9 08 00 00 00 00 00 00 00 00, cb 04 00 00 00 00", "sssrsr", kBefore},
        // One field not zero: the mode is on (such values go back only after an edit).
        {StateFile("sniff 0 0 0 9\npark 0 7\n"), "", read, "ss", "s1 0 0 0 9 NNNN p1 0 7 NN"},
        {on, "status:0xc8=255", "c8 00", "", kBefore, "Status error - Command error", 0x1c8, 456},
        // What the sniff read took stays when the park read fails.
        {on, "silent:0xca", read, "s", "s1 800 400 4 1 NNNN p0 21 22 EE", "Communication timeout",
         0x1ca, 458},
        {on, "status:0xc9=253", sent, "ss", kValid, "Status error - Command invalid parameter",
         0x2c9, 713},
        {on, "opcode:0xcb=0xc9", sent + ", cb 04 01 2c 00 c8", "sssr", kValid,
         "Got invalid response", 0x2cb, 715},
    };
    for (const auto& c : cases) {
        // --seed changes nothing here: it stands where a case has no fault.
        DeviceRig rig({"--state=" + c.state, c.fault.empty() ? "--seed=1" : "--fault=" + c.fault});
        PsSettings s = Made(kBefore);
        rig.Attach(s);
        Failure failure;
        int result = s.ReadFromDevice(failure);
        const bool write = result == 1 && c.heard.find("c9") != std::string::npos;
        if (write) result = s.WriteToDevice(failure);
        EXPECT_EQ(std::to_string(result) + " / " + rig.Heard() + " / " + rig.progress.calls +
                      " / " + Held(s),
                  (c.reason ? "-1 / " : "1 / ") + c.heard + " / " + c.progress + " / " + c.after);
        if (!c.reason) continue;
        std::string expected = CommSeen(write, c.code, c.reason); // with the command's help topic
        expected.replace(expected.find("help 0"), 6, "help " + std::to_string(c.help));
        EXPECT_EQ(Seen(failure), expected);
    }
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
        {"s1 0 400 4 1 ?NNN p0 0 0 EE", seen("sniff", "Max interval", k65535)},
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

TEST(PsFile, SectionHasOnlyTheNoLineOfAModeThatIsOff) {
    const std::pair<const char*, const char*> cases[] = {
        {"s1 11 12 13 14 NNNN p0 21 22 EE",
         "# Power save settings\nSniff mode enabled: Yes\nSniff max interval: 11\n"
         "Sniff min interval: 12\nSniff attempt: 13\nSniff timeout: 14\nPark mode enabled: "
         "No\n\n\n"},
        {"s0 11 12 13 14 EEEE p1 21 22 NN", "# Power save settings\nSniff mode enabled: No\n"
                                            "Park mode enabled: Yes\nPark max interval: 21\n"
                                            "Park min interval: 22\n\n\n"},
    };
    for (const auto& [held, section] : cases) {
        for (uint8_t available : {0, 1}) {
            PsSettings s = Made(held);
            s.available = available;
            std::ostringstream out;
            s.SaveToFile(out);
            EXPECT_EQ(out.str(), available ? section : ""); // nothing while not available
        }
    }
}

TEST(PsFile, LoadTakesYesNoAndNumbersAndKeepsTheRest) {
    EXPECT_EQ(Held(PsSettings{}), "s0 -1 0 0 0 EEEE p0 -1 0 EE"); // maxima not known yet
    const std::string full = "Sniff mode enabled: Yes\r\nSniff max interval: 800\r\n"
                             "Sniff min interval: 400\r\nSniff attempt: 4\r\nSniff timeout: 1\r\n"
                             "Park mode enabled: Yes\r\nPark max interval: 300\r\n"
                             "Park min interval: 200\r\n";
    const char* const parkOn = "s0 11 12 13 14 EEEE p1 21 22 NN";
    const struct {
        std::string file;
        const char *before, *after;
        int taken;
    } cases[] = {
        {full, kBefore, kValid, 8},
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
        TakenLines taken;
        EXPECT_EQ(s.LoadFromFile(c.file, &taken), c.taken) << c.file;
        EXPECT_EQ(Held(s), c.after) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0) << c.file;
        if (c.file != full) continue;
        std::string lines; // as they stood, without the carriage return
        for (const std::string& line : taken)
            lines += line + "\r\n";
        EXPECT_EQ(lines, full);
    }
}

} // namespace
