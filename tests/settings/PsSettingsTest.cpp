// The Power save group: sniff and park against the virtual module, the fixed
// order of the checks, the file section and what a load takes back.
#include "PsSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// A group written as "s<on> max min attempt timeout <edits> p<on> max min
// <edits>", each edit E (empty), N (a number) or ? (not a number).
std::string Held(const PsSettings& s) {
    const auto letters = [](std::initializer_list<EditText> edits) {
        std::string text;
        for (EditText t : edits)
            text += t == EditText::Empty ? 'E' : t == EditText::Number ? 'N' : '?';
        return text;
    };
    std::ostringstream o;
    o << 's' << int(s.sniffEnabled) << ' ' << s.sniffMaxInterval << ' ' << s.sniffMinInterval << ' '
      << s.sniffAttempt << ' ' << s.sniffTimeout << ' '
      << letters({s.sniffMaxIntEdit, s.sniffMinIntEdit, s.sniffAttemptEdit, s.sniffTimeoutEdit})
      << " p" << int(s.parkEnabled) << ' ' << s.beaconMaxInterval << ' ' << s.beaconMinInterval
      << ' ' << letters({s.parkBeaMaxEdit, s.parkBeaMinEdit});
    return o.str();
}

void Make(PsSettings& s, const std::string& held) {
    std::istringstream in(held);
    char tag = 0;
    int sniff = 0, park = 0;
    std::string edits, parkEdits;
    in >> tag >> sniff >> s.sniffMaxInterval >> s.sniffMinInterval >> s.sniffAttempt >>
        s.sniffTimeout >> edits >> tag >> park >> s.beaconMaxInterval >> s.beaconMinInterval >>
        parkEdits;
    s.sniffEnabled = uint8_t(sniff);
    s.parkEnabled = uint8_t(park);
    edits += parkEdits;
    EditText* texts[] = {&s.sniffMaxIntEdit,  &s.sniffMinIntEdit, &s.sniffAttemptEdit,
                         &s.sniffTimeoutEdit, &s.parkBeaMaxEdit,  &s.parkBeaMinEdit};
    for (std::size_t i = 0; i < 6; ++i)
        *texts[i] = edits.at(i) == 'E'   ? EditText::Empty
                    : edits.at(i) == 'N' ? EditText::Number
                                         : EditText::NotANumber;
    ASSERT_EQ(Held(s), held);
}

// Values a module or a file gave before, each field its own.
const char* const kBefore = "s0 11 12 13 14 EEEE p0 21 22 EE";
const char* const kValid = "s1 800 400 4 1 NNNN p1 300 200 NN";
const char* const kValidOff = "s0 800 400 4 1 EEEE p0 300 200 EE";

TEST(PsStart, MaximaNotKnownEditsEmptyModesOff) {
    EXPECT_EQ(Held(PsSettings{}), "s0 -1 0 0 0 EEEE p0 -1 0 EE");
}

TEST(PsDevice, ReadsAndWritesEachModeOrStopsWithItsNumberAndHelp) {
    const std::string state = StateFile("sniff 800 400 4 1\npark 300 200\n");
    const std::string off = StateFile("sniff 0 0 0 0\npark 0 0\n");
    const std::string last = StateFile("sniff 0 0 0 9\npark 0 7\n"); // one field not zero
    const std::string sent = "c9 08 03 20 01 90 00 04 00 01";
    const struct {
        std::string state, fault, before, heard, progress, after, failure;
        int help;
    } cases[] = {
        {state, "", kBefore, "c8 00, ca 00", "ss", kValid, "", 0},
        // All zeros: the mode is off and the values held before stay.
        {off, "", kBefore, "c8 00, ca 00", "ss", kBefore, "", 0},
        {last, "", kBefore, "c8 00, ca 00", "ss", "s1 0 0 0 9 NNNN p1 0 7 NN", "", 0},
        {state, "status:0xc8=255", kBefore, "c8 00", "", kBefore,
         CommSeen(false, 0x1c8, "Status error - Command error"), 456},
        // What the sniff read took stays when the park read fails.
        {state, "silent:0xca", kBefore, "c8 00, ca 00", "s", "s1 800 400 4 1 NNNN p0 21 22 EE",
         CommSeen(false, 0x1ca, "Communication timeout"), 458},
        {off, "", kValid, sent + ", cb 04 01 2c 00 c8", "srsr", kValid, "", 0},
        {state, "", kValidOff, "c9 08 00 00 00 00 00 00 00 00, cb 04 00 00 00 00", "srsr",
         kValidOff, "", 0},
        {off, "status:0xc9=253", kValid, sent, "", kValid,
         CommSeen(true, 0x2c9, "Status error - Command invalid parameter"), 713},
        {off, "opcode:0xcb=0xc9", kValid, sent + ", cb 04 01 2c 00 c8", "sr", kValid,
         CommSeen(true, 0x2cb, "Got invalid response"), 715},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = {"--state", c.state};
        if (!c.fault.empty()) args.insert(args.end(), {"--fault", c.fault});
        DeviceRig rig(args);
        PsSettings s;
        rig.Attach(s);
        Make(s, c.before);
        const bool write = c.heard.rfind("c9", 0) == 0;
        Failure failure;
        EXPECT_EQ(write ? s.WriteToDevice(failure) : s.ReadFromDevice(failure),
                  c.failure.empty() ? 1 : -1);
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(Held(s), c.after);
        if (c.failure.empty()) continue;
        // The failure carries the page's help topic of the command.
        std::string expected = c.failure;
        expected.replace(expected.find("help 0"), 6, "help " + std::to_string(c.help));
        EXPECT_EQ(Seen(failure), expected);
    }
}

TEST(PsValidate, ParkFirstThenSniffInTheirFixedOrder) {
    const std::string head = "Invalid input value (0x0, help 0): Invalid ";
    const std::string park = head + "park mode parameter | The field \"Beacon ";
    const std::string sniff = head + "sniff mode parameter | The field \"";
    const std::string parkOn = " when park mode is enabled";
    const std::string sniffOn = " when sniff mode is enabled";
    const struct {
        const char* held;
        std::string seen;
    } cases[] = {
        {kValid, ""},
        {"s1 800 400 4 0 NNNN p0 0 9 EE", ""},
        {"s1 800 400 4 1 NNNN p1 300 200 EN", park + "max interval\" must have a value" + parkOn},
        {"s1 800 400 4 1 NNNN p1 0 200 NE", park + "min interval\" must have a value" + parkOn},
        {"s1 800 400 4 1 NNNN p1 0 70000 NN",
         park + "max interval\" must have a value between 1-65535" + parkOn},
        {"s1 800 400 4 1 NNNN p1 65535 65536 NN",
         park + "min interval\" must have a value between 1-65535" + parkOn},
        {"s1 800 400 0 1 NNNN p1 300 301 NN",
         park + "min interval\" must have a value equal or less that \"Beacon max interval\"" +
             parkOn},
        {"s0 -1 0 0 0 EEEE p1 1 1 NN", ""},
        // An empty edit fails even while the value held is valid.
        {"s1 800 0 4 1 ENNN p0 0 0 EE", sniff + "Max interval\" must have a value" + sniffOn},
        {"s1 800 400 4 1 NEEN p0 0 0 EE", sniff + "Min interval\" must have a value" + sniffOn},
        {"s1 800 400 4 1 NNEE p0 0 0 EE", sniff + "Attempt\" must have a value" + sniffOn},
        {"s1 800 0 4 1 NNNE p0 0 0 EE", sniff + "Timeout\" must have a value" + sniffOn},
        // The minimum's range comes before the maximum's.
        {"s1 0 0 4 1 NNNN p0 0 0 EE",
         sniff + "Min interval\" must have a value between 1-65535" + sniffOn},
        {"s1 0 400 4 1 ?NNN p0 0 0 EE",
         sniff + "Max interval\" must have a value between 1-65535" + sniffOn},
        {"s1 65536 400 0 1 NNNN p0 0 0 EE",
         sniff + "Max interval\" must have a value between 1-65535" + sniffOn},
        {"s1 800 400 0 -1 NNNN p0 0 0 EE",
         sniff + "Attempt\" must have a value between 1-32767" + sniffOn},
        {"s1 800 400 32768 1 NNNN p0 0 0 EE",
         sniff + "Attempt\" must have a value between 1-32767" + sniffOn},
        {"s1 65535 1 32767 0 NNNN p0 0 0 EE", ""},
        // Timeout 0 passes; the text says 1-32767 all the same.
        {"s1 800 900 4 -1 NNNN p0 0 0 EE",
         sniff + "Timeout\" must have a value between 1-32767" + sniffOn},
        {"s1 800 400 4 32768 NNNN p0 0 0 EE",
         sniff + "Timeout\" must have a value between 1-32767" + sniffOn},
        {"s1 50 100 4 1 NNNN p0 0 0 EE",
         sniff + "Min interval\" must have a value equal or less that \"Max interval\"" + parkOn},
        {"s1 800 800 4 1 NNNN p1 300 300 NN", ""},
    };
    for (const auto& c : cases) {
        PsSettings s;
        Make(s, c.held);
        Failure failure;
        EXPECT_EQ(s.Validate(failure), c.seen.empty() ? 1 : -1) << c.held;
        EXPECT_EQ(c.seen.empty() ? "" : Seen(failure), c.seen) << c.held;
    }
}

TEST(PsFile, SectionHasOnlyTheNoLineOfAModeThatIsOff) {
    const struct {
        const char* held;
        uint8_t available;
        std::string section;
    } cases[] = {
        {kValid, 0, ""},
        {kValidOff, 1,
         "# Power save settings\nSniff mode enabled: No\nPark mode enabled: No\n\n\n"},
        {"s1 11 12 13 14 NNNN p1 21 22 NN", 1,
         "# Power save settings\nSniff mode enabled: Yes\nSniff max interval: 11\n"
         "Sniff min interval: 12\nSniff attempt: 13\nSniff timeout: 14\n"
         "Park mode enabled: Yes\nPark max interval: 21\nPark min interval: 22\n\n\n"},
        {"s0 11 12 13 14 EEEE p1 21 22 NN", 1,
         "# Power save settings\nSniff mode enabled: No\n"
         "Park mode enabled: Yes\nPark max interval: 21\nPark min interval: 22\n\n\n"},
    };
    for (const auto& c : cases) {
        PsSettings s;
        Make(s, c.held);
        s.available = c.available;
        std::ostringstream out;
        s.SaveToFile(out);
        EXPECT_EQ(out.str(), c.section);
    }
}

TEST(PsFile, LoadTakesYesNoAndNumbersAndKeepsTheRest) {
    const std::string full = "Sniff mode enabled: Yes\nSniff max interval: 800\n"
                             "Sniff min interval: 400\nSniff attempt: 4\nSniff timeout: 1\n"
                             "Park mode enabled: Yes\nPark max interval: 300\n"
                             "Park min interval: 200\n";
    std::string crlf;
    for (char ch : full)
        crlf += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
    const char* const parkOn = "s0 11 12 13 14 EEEE p1 21 22 NN";
    const struct {
        std::string file;
        const char *before, *after;
        int taken;
    } cases[] = {
        {"", parkOn, parkOn, 0},
        {full, kBefore, kValid, 8},
        {crlf, kBefore, kValid, 8},
        {"Sniff mode enabled: Yes\r\nSniff max interval: 8x\r\nSniff attempt: -1\r\n", parkOn,
         "s1 11 12 13 14 NNNN p1 21 22 NN", 1},
        // The maxima still not known: the edits stay empty.
        {"Sniff mode enabled: Yes\nSniff min interval: 5\nPark mode enabled: Yes\n",
         "s0 -1 0 0 0 EEEE p0 -1 0 EE", "s1 -1 5 0 0 EEEE p1 -1 0 EE", 3},
        {"Sniff mode enabled: yes\nPark mode enabled: NO\nPark max interval: \r\n", parkOn, parkOn,
         0},
        // No range checks; "No" keeps the mode's values.
        {"Park mode enabled: No\nSniff timeout: 70000\nSniff min interval: -5\n"
         "Park min interval: +7\n",
         parkOn, "s0 11 -5 13 70000 EEEE p0 21 7 EE", 4},
    };
    for (const auto& c : cases) {
        PsSettings s;
        Make(s, c.before);
        TakenLines taken;
        EXPECT_EQ(s.LoadFromFile(c.file, &taken), c.taken) << c.file;
        EXPECT_EQ(Held(s), c.after) << c.file;
        EXPECT_EQ(s.changed, c.taken > 0 ? 1 : 0) << c.file;
        if (c.file == crlf) {
            EXPECT_EQ(taken, (TakenLines{"Sniff mode enabled: Yes", "Sniff max interval: 800",
                                         "Sniff min interval: 400", "Sniff attempt: 4",
                                         "Sniff timeout: 1", "Park mode enabled: Yes",
                                         "Park max interval: 300", "Park min interval: 200"}));
        }
    }
}

} // namespace
