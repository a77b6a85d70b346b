// The module on the line: framing of what the host sends, pacing of what it
// sends back, search and pairing events, and the faults it can be told to make.
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// Splits a byte stream into frames by their length byte.
std::vector<Bytes> Frames(const Bytes& stream) {
    std::vector<Bytes> frames;
    size_t at = 0;
    while (at + 2 <= stream.size()) {
        const size_t size = 2 + stream[at + 1];
        if (at + size > stream.size()) break;
        frames.emplace_back(stream.begin() + at, stream.begin() + at + size);
        at += size;
    }
    EXPECT_EQ(at, stream.size()) << "bytes left over after the last frame";
    return frames;
}

// Times (ms after `from`) at which each byte became available.
std::vector<double> ArrivalTimes(ModuleRig& rig, int ms, Bytes* bytes = nullptr) {
    std::vector<double> times;
    const sim::TimePoint from = rig.now;
    for (int i = 0; i < ms * 10; ++i) {
        rig.now += std::chrono::microseconds(100);
        rig.module.Advance(rig.now);
        Bytes out;
        rig.module.TakeOutput(rig.now, &out);
        if (bytes) bytes->insert(bytes->end(), out.begin(), out.end());
        for (size_t k = 0; k < out.size(); ++k)
            times.push_back(std::chrono::duration<double, std::milli>(rig.now - from).count());
    }
    return times;
}

sim::RemoteDevice Device(uint8_t last, const std::string& name, uint32_t cod) {
    return {{{0x02, 0xaa, 0xbb, 0xcc, 0xdd, last}}, name, cod};
}

sim::ModuleConfig SearchConfig() {
    sim::ModuleConfig config;
    config.devices = {Device(1, "Alpha Laptop", 0x02010c), Device(2, "Bravo Phone", 0x5a020c),
                      Device(3, "Charlie Printer", 0x040680)};
    config.searchTimeMs = 1200;
    config.pairingDelayMs = 200;
    return config;
}

Bytes InquiryEvent(const sim::RemoteDevice& d) {
    Bytes event{0x60, 39, 0x01};
    event.insert(event.end(), d.address.begin(), d.address.end());
    Bytes name(32, 0);
    std::copy(d.name.begin(), d.name.end(), name.begin());
    return Cat(event, name);
}

const Bytes kStartSearch{0x60, 6, 12, 0, 0, 0, 0, 1};

// ---- framing --------------------------------------------------------------

TEST(ModuleLine, FramesAreCutByTheirLengthByte) {
    ModuleRig rig;
    // Two frames in one write: two answers, in order.
    EXPECT_EQ(Frames(rig.Exchange({0x12, 0, 0x66, 0})),
              (std::vector<Bytes>{{0x12, 2, 1, 2}, {0x66, 4, 1, 0, 0, 0}}));
    // A frame in three pieces with pauses shorter than the stall limit.
    EXPECT_TRUE(rig.Exchange({0x13}, 40).empty());
    EXPECT_TRUE(rig.Exchange({0x01}, 40).empty());
    EXPECT_EQ(rig.Exchange({0x01}), (Bytes{0x13, 1, 1}));
    EXPECT_EQ(rig.Exchange({0x12, 0}), (Bytes{0x12, 2, 1, 1}));
}

TEST(ModuleLine, StalledHalfFrameIsForgotten) {
    ModuleRig rig;
    // Without the discard "1c" would be read with the length 0x40.
    EXPECT_TRUE(rig.Exchange({0x1c}, 150).empty());
    EXPECT_EQ(rig.Exchange({0x40, 0}).size(), 15u);
    // A length byte promising more than ever comes: the module goes on afterwards.
    EXPECT_TRUE(rig.Exchange({0x1d, 0xff, 'a', 'b'}, 150).empty());
    EXPECT_EQ(rig.Exchange({0x12, 0}), (Bytes{0x12, 2, 1, 2}));
}

TEST(ModuleLine, RandomInputNeverBreaksTheModule) {
    ModuleRig rig(ConfigFor("code1-2.10"));
    std::mt19937 random(7);
    std::uniform_int_distribution<int> byte(0, 255);
    size_t sent = 0;
    for (int chunk = 0; chunk < 300; ++chunk) {
        Bytes noise(1 + random() % 120);
        for (uint8_t& b : noise)
            b = static_cast<uint8_t>(byte(random));
        rig.module.Receive(noise.data(), noise.size(), rig.now);
        sent += rig.Wait(static_cast<int>(random() % 40)).size();
    }
    // Whatever is still running (a search, a pairing, a backlog) ends and drains.
    rig.Exchange({0x80, 0}, 0);
    sent += rig.Wait(20000).size();
    EXPECT_GT(sent, 0u);
    EXPECT_EQ(rig.Exchange({0x01, 4, 0xff, 0x00, 0x55, 0xaa}, 200), (Bytes{0x01, 1, 1}));
}

TEST(ModuleLine, HostFloodIsCappedNotBuffered) {
    ModuleRig rig;
    Bytes flood(100000, 0x12); // 0x12 0x12: opcode 0x12 with 18 payload bytes, over and over
    rig.module.Receive(flood.data(), flood.size(), rig.now);
    // Only what fits the receive buffer ever arrives: about 8 KiB at 38400 takes ~2.1 s.
    rig.Wait(2500);
    sim::TimePoint next;
    EXPECT_FALSE(rig.module.NextWake(&next)) << "nothing left to do";
}

// ---- pacing ---------------------------------------------------------------

TEST(ModuleLine, AnswerIsPacedAtTheLineSpeedAfterTheAnswerDelay) {
    ModuleRig rig; // 38400 bits per second, 2 ms answer delay
    const Bytes command{0x40, 0};
    rig.module.Receive(command.data(), command.size(), rig.now);
    const std::vector<double> t = ArrivalTimes(rig, 20);
    ASSERT_EQ(t.size(), 15u);
    const double byteMs = 10.0 / 38.4;
    // The command takes 2 byte times to arrive, then 2 ms, then the first byte.
    EXPECT_NEAR(t.front(), 2 * byteMs + 2 + byteMs, 0.15);
    EXPECT_NEAR(t.back(), 2 * byteMs + 2 + 15 * byteMs, 0.15);

    sim::ModuleConfig slow;
    slow.baud = 9600;
    slow.answerDelayMs = 20;
    ModuleRig slowRig(slow);
    slowRig.module.Receive(command.data(), command.size(), slowRig.now);
    const std::vector<double> s = ArrivalTimes(slowRig, 60);
    ASSERT_EQ(s.size(), 15u);
    EXPECT_NEAR(s.front(), 2 * 1.0417 + 20 + 1.0417, 0.15);
    EXPECT_NEAR(s.back(), 2 * 1.0417 + 20 + 15 * 1.0417, 0.15);
}

// ---- search ---------------------------------------------------------------

TEST(ModuleSearch, FindsEveryDeviceSpreadOverTheSearchThenEnds) {
    const sim::ModuleConfig config = SearchConfig();
    ModuleRig rig(config);
    EXPECT_TRUE(rig.Exchange(kStartSearch, 250).empty()) << "first result after a quarter";
    EXPECT_TRUE(rig.module.Searching());
    const std::vector<Bytes> frames = Frames(rig.Wait(1000));
    ASSERT_EQ(frames.size(), 4u);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(frames[i], InquiryEvent(config.devices[i]));
    EXPECT_EQ(frames[3], (Bytes{0x60, 0}));
    EXPECT_FALSE(rig.module.Searching());
    EXPECT_TRUE(rig.Wait(2000).empty());

    // Duration 24 lasts twice as long.
    rig.Exchange({0x60, 6, 24, 0, 0, 0, 0, 1}, 0);
    EXPECT_EQ(Frames(rig.Wait(1300)).size(), 2u);
    EXPECT_EQ(Frames(rig.Wait(1200)).size(), 2u);
}

TEST(ModuleSearch, ClassFilterAndBadStart) {
    const sim::ModuleConfig config = SearchConfig();
    ModuleRig rig(config);
    // Byte 1 of the filter: major device class 2, phones only.
    const std::vector<Bytes> frames = Frames(rig.Exchange({0x60, 6, 12, 0, 2, 0, 0, 1}, 1300));
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0], InquiryEvent(config.devices[1]));
    EXPECT_EQ(frames[1], (Bytes{0x60, 0}));

    EXPECT_EQ(rig.Exchange({0x60, 6, 0, 0, 0, 0, 0, 1}), (Bytes{0x60, 1, 253}));
    EXPECT_EQ(rig.Exchange({0x60, 2, 12, 0}), (Bytes{0x60, 1, 253}));
    EXPECT_FALSE(rig.module.Searching());
}

TEST(ModuleSearch, CancelEndsTheSearchAtOnce) {
    const sim::ModuleConfig config = SearchConfig();
    ModuleRig rig(config);
    EXPECT_EQ(Frames(rig.Exchange(kStartSearch, 400)),
              (std::vector<Bytes>{InquiryEvent(config.devices[0])}));
    const Bytes cancel{0x80, 0};
    rig.module.Receive(cancel.data(), cancel.size(), rig.now);
    Bytes answer;
    const std::vector<double> t = ArrivalTimes(rig, 100, &answer);
    ASSERT_EQ(answer, (Bytes{0x80, 1, 1, 0x60, 0}));
    EXPECT_GE(t[3] - t[2], sim::VirtualModule::kEventGapMs) << "a quiet gap before the event";
    EXPECT_LT(t[4], 50);
    EXPECT_TRUE(rig.Wait(1500).empty());
    // A cancel with nothing running is simply acknowledged.
    EXPECT_EQ(rig.Exchange({0x80, 0}), (Bytes{0x80, 1, 1}));
}

TEST(ModuleSearch, DevicesFileFormat) {
    std::vector<sim::RemoteDevice> devices;
    std::string error;
    ASSERT_TRUE(sim::ParseDevices("# remote devices\n"
                                  "02 1a 7d 3c 11 01  Workshop Laptop  0x02010c\n"
                                  "\n"
                                  "AA BB CC DD EE FF Nameless\n"
                                  "01 02 03 04 05 06\n"
                                  "01 02 03 04 05 07 " +
                                      std::string(40, 'x') + " 0x1f00\n",
                                  &devices, &error))
        << error;
    ASSERT_EQ(devices.size(), 4u);
    EXPECT_EQ(devices[0].address, (sim::Address{{0x02, 0x1a, 0x7d, 0x3c, 0x11, 0x01}}));
    EXPECT_EQ(devices[0].name, "Workshop Laptop");
    EXPECT_EQ(devices[0].classOfDevice, 0x02010cu);
    EXPECT_EQ(devices[1].address, (sim::Address{{0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}}));
    EXPECT_EQ(devices[1].name, "Nameless");
    EXPECT_EQ(devices[1].classOfDevice, 0x001f00u);
    EXPECT_EQ(devices[2].name, "");
    EXPECT_EQ(devices[3].name, std::string(32, 'x'));

    for (const char* bad : {"02 1a 7d 3c 11\n", "02 1a 7d 3c 11 zz Name\n", "123 1 2 3 4 5 N\n",
                            "01 02 03 04 05 06 Name 0x1000000\n"}) {
        error.clear();
        EXPECT_FALSE(sim::ParseDevices(bad, &devices, &error)) << bad;
        EXPECT_NE(error.find("line 1"), std::string::npos) << error;
    }
    EXPECT_GE(sim::BuiltInDevices().size(), 3u);
}

// ---- pairing --------------------------------------------------------------

const Bytes kPairLocal = Cat({0x64, 10, 0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0x02}, Text("1234"));

TEST(ModulePairing, CompletePairingIsReportedAndRemembered) {
    ModuleRig rig(SearchConfig());
    EXPECT_EQ(rig.Exchange(kPairLocal, 150), (Bytes{0x64, 1, 1}));
    EXPECT_EQ(rig.Wait(100), (Bytes{0x65, 1, 1}));
    EXPECT_EQ(rig.Exchange({0x62, 0}), (Bytes{0x62, 7, 1, 0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0x02}));

    // Waiting for the remote side: it is the first device that pairs.
    EXPECT_EQ(rig.Exchange(Cat({0x63, 4}, Text("0000")), 300), (Bytes{0x63, 1, 1, 0x65, 1, 1}));
    EXPECT_EQ(rig.Exchange({0x62, 0}), (Bytes{0x62, 7, 1, 0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0x01}));
}

TEST(ModulePairing, OutcomesOtherThanComplete) {
    const std::pair<sim::PairingOutcome, uint8_t> outcomes[] = {{sim::PairingOutcome::Timeout, 224},
                                                                {sim::PairingOutcome::Failed, 225},
                                                                {sim::PairingOutcome::Error, 227}};
    for (const auto& [outcome, status] : outcomes) {
        sim::ModuleConfig config = SearchConfig();
        config.pairingOutcome = outcome;
        ModuleRig rig(config);
        EXPECT_EQ(rig.Exchange(kPairLocal, 300), (Bytes{0x64, 1, 1, 0x65, 1, status}));
        EXPECT_EQ(rig.Exchange({0x62, 0}), (Bytes{0x62, 1, 254})) << "still not paired";
    }
}

TEST(ModulePairing, CancelAndRefusals) {
    ModuleRig rig(SearchConfig());
    EXPECT_EQ(rig.Exchange(kPairLocal, 50), (Bytes{0x64, 1, 1}));
    EXPECT_TRUE(rig.module.Pairing());
    EXPECT_EQ(rig.Exchange(kPairLocal), (Bytes{0x64, 1, 254})) << "one pairing at a time";
    EXPECT_EQ(rig.Exchange({0x80, 0}), (Bytes{0x80, 1, 1, 0x65, 1, 226}));
    EXPECT_TRUE(rig.Wait(400).empty());
    EXPECT_EQ(rig.Exchange({0x62, 0}), (Bytes{0x62, 1, 254}));

    // Bad passkeys: none, 17 characters, a control character.
    EXPECT_EQ(rig.Exchange({0x64, 6, 1, 2, 3, 4, 5, 6}), (Bytes{0x64, 1, 253}));
    EXPECT_EQ(rig.Exchange(Cat({0x63, 17}, Text(std::string(17, '1')))), (Bytes{0x63, 1, 253}));
    EXPECT_EQ(rig.Exchange({0x63, 2, '1', 0x00}), (Bytes{0x63, 1, 253}));
    EXPECT_EQ(rig.Exchange({0x63, 0}), (Bytes{0x63, 1, 253}));
    EXPECT_FALSE(rig.module.Pairing());

    // No pairing while searching.
    rig.Exchange(kStartSearch, 0);
    EXPECT_EQ(rig.Exchange(kPairLocal, 10), (Bytes{0x64, 1, 254}));
}

// ---- faults ---------------------------------------------------------------

ModuleRig WithFaults(std::initializer_list<const char*> specs) {
    sim::ModuleConfig config = SearchConfig();
    for (const char* spec : specs) {
        sim::Fault f;
        std::string error;
        EXPECT_TRUE(sim::ParseFault(spec, &f, &error)) << spec << ": " << error;
        config.faults.push_back(f);
    }
    return ModuleRig(config);
}

const Bytes kProbe{0x01, 4, 0xff, 0x00, 0x55, 0xaa};

TEST(ModuleFaults, SilenceForAllOrOneOpcode) {
    ModuleRig all = WithFaults({"silent"});
    EXPECT_TRUE(all.Exchange(kProbe).empty());
    EXPECT_TRUE(all.Exchange({0x40, 0}).empty());
    EXPECT_TRUE(all.module.TakeTrace().size() == 2) << "only the two recv lines";

    ModuleRig one = WithFaults({"silent:0x40"});
    EXPECT_EQ(one.Exchange(kProbe), (Bytes{0x01, 1, 1}));
    EXPECT_TRUE(one.Exchange({0x40, 0}).empty());
    EXPECT_EQ(one.Exchange({0x12, 0}), (Bytes{0x12, 2, 1, 2}));

    // Events have their own opcode: a module that never tells the pairing outcome.
    ModuleRig events = WithFaults({"silent:0x65"});
    EXPECT_EQ(events.Exchange(kPairLocal, 400), (Bytes{0x64, 1, 1}));
}

TEST(ModuleFaults, WrongOpcodeStatusGarbageAndDelay) {
    ModuleRig opcode = WithFaults({"opcode:0x1c=0x1d"});
    EXPECT_EQ(opcode.Exchange({0x1c, 0}), Cat({0x1d, 16, 1}, Text("Norvane NVM-220")));

    ModuleRig status = WithFaults({"status:28=254"});
    EXPECT_EQ(status.Exchange({0x1c, 0}), (Bytes{0x1c, 1, 254}));
    EXPECT_EQ(status.Exchange({0x1e, 0}).size(), 14u);

    ModuleRig garbage = WithFaults({"garbage:0x40=7"});
    ModuleRig garbage2 = WithFaults({"garbage:0x40=7"});
    const Bytes junk = garbage.Exchange({0x40, 0});
    EXPECT_EQ(junk.size(), 7u);
    EXPECT_EQ(junk, garbage2.Exchange({0x40, 0})) << "the same seed gives the same bytes";

    ModuleRig delay = WithFaults({"delay:0x40=300"});
    EXPECT_TRUE(delay.Exchange({0x40, 0}, 295).empty());
    EXPECT_EQ(delay.Wait(20).size(), 15u);

    // Faults apply in the order given.
    ModuleRig both = WithFaults({"status:0x12=253", "opcode:0x12=0x13"});
    EXPECT_EQ(both.Exchange({0x12, 0}), (Bytes{0x13, 1, 253}));
}

TEST(ModuleFaults, SplitAnswerComesInPiecesWithPauses) {
    ModuleRig plain;
    const Bytes whole = plain.Exchange({0x1c, 0});

    for (const char* spec : {"split:0x1c", "split"}) {
        SCOPED_TRACE(spec);
        ModuleRig rig = WithFaults({spec});
        const Bytes command{0x1c, 0};
        rig.module.Receive(command.data(), command.size(), rig.now);
        const std::vector<double> t = ArrivalTimes(rig, 500);
        ASSERT_EQ(t.size(), whole.size());
        int pauses = 0;
        int run = 1;
        for (size_t i = 1; i < t.size(); ++i) {
            if (t[i] - t[i - 1] > 15) {
                ++pauses;
                EXPECT_LE(run, 3) << "pieces are 1 to 3 bytes";
                run = 1;
            } else {
                ++run;
            }
        }
        EXPECT_LE(run, 3);
        EXPECT_GE(pauses, static_cast<int>(whole.size() / 3) - 1);
        EXPECT_LT(t.back(), 400) << "the whole answer well within the host's wait";
    }
    ModuleRig rig = WithFaults({"split:0x1c"});
    EXPECT_EQ(rig.Exchange({0x1c, 0}, 500), whole) << "the pieces make the same answer";
}

TEST(ModuleFaults, FaultSpecifications) {
    struct Good {
        const char* spec;
        sim::Fault::Kind kind;
        int opcode;
        int value;
    };
    const Good good[] = {
        {"silent", sim::Fault::Silent, -1, 0},
        {"silent:0x40", sim::Fault::Silent, 0x40, 0},
        {"silent:64", sim::Fault::Silent, 64, 0},
        {"opcode:0x40=0x41", sim::Fault::Opcode, 0x40, 0x41},
        {"status:0x1C=254", sim::Fault::Status, 0x1c, 254},
        {"split", sim::Fault::Split, -1, 0},
        {"split:0xc0", sim::Fault::Split, 0xc0, 0},
        {"garbage:0x40=10", sim::Fault::Garbage, 0x40, 10},
        {"delay:0x40=700", sim::Fault::Delay, 0x40, 700},
    };
    for (const Good& g : good) {
        sim::Fault f;
        std::string error;
        ASSERT_TRUE(sim::ParseFault(g.spec, &f, &error)) << g.spec << ": " << error;
        EXPECT_EQ(f.kind, g.kind) << g.spec;
        EXPECT_EQ(f.opcode, g.opcode) << g.spec;
        EXPECT_EQ(f.value, g.value) << g.spec;
    }
    for (const char* bad : {"", "loud", "silent:", "silent:0x40=1", "silent:256", "opcode:0x40",
                            "opcode=3", "status:0x40=", "status:0x40=256", "garbage:0x40=0",
                            "delay:0x40=-5", "split:zz", "delay:0x40=1e3"}) {
        sim::Fault f;
        std::string error;
        EXPECT_FALSE(sim::ParseFault(bad, &f, &error)) << bad;
        EXPECT_FALSE(error.empty()) << bad;
    }
}

} // namespace
