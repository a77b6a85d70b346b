// SPDX-License-Identifier: Apache-2.0
// The virtual module alone, on a hand-moved clock: what it answers, how it frames
// and paces bytes, its search and pairing runs, and its faults.
#include "SimOptions.h"
#include "VirtualModule.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using namespace std::string_literals;

// A module set up by nvmsim's options, such as "--profile code1-3.02 --fault silent".
sim::ModuleConfig Options(const std::string& options) {
    std::istringstream in(options);
    sim::SimOptions o;
    std::string error;
    EXPECT_TRUE(sim::ParseSimOptions({std::istream_iterator<std::string>(in), {}}, &o, &error))
        << options << ": " << error;
    return o.module;
}

struct ModuleRig {
    explicit ModuleRig(const std::string& options = "") : module(Options(options)) {}

    // Writes `frame`, lets `waitMs` pass a millisecond at a time and returns what the
    // module sent; `times` gets each byte's arrival in ms after the write.
    Bytes Exchange(const Bytes& frame, int waitMs = 100, std::vector<double>* times = nullptr) {
        const int stepUs = 1000;
        module.Receive(frame.data(), frame.size(), now);
        const sim::TimePoint from = now;
        Bytes out;
        for (long us = 0; us < waitMs * 1000L; us += stepUs) {
            now += std::chrono::microseconds(stepUs);
            module.Advance(now);
            for (size_t n = module.TakeOutput(now, &out); times && n > 0; --n)
                times->push_back(std::chrono::duration<double, std::milli>(now - from).count());
        }
        return out;
    }

    sim::VirtualModule module;
    sim::TimePoint now = sim::TimePoint(std::chrono::hours(1));
};

template <class T> Bytes Cat(Bytes a, const T& b) {
    a.insert(a.end(), std::begin(b), std::end(b));
    return a;
}

const Bytes kPairLocal = Cat(Bytes{0x64, 10, 0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0x02}, "1234"s);
const Bytes kSearch{0x60, 6, 12, 0, 0, 0, 0, 1};
const Bytes kNotPaired{0x62, 1, 254};
const std::string k32(32, 'n');

TEST(Module, AnswersByteForByte) {
    struct Step {
        const char* options; // a fresh module whenever they differ from the row before
        Bytes send, want;
        int waitMs = 100;
    };
    const Step steps[] = {
        {"", {0x01, 4, 0xff, 0x00, 0x55, 0xab}, {0x01, 1, 253}},
        {"", {0x12, 0, 0x66, 0}, {0x12, 2, 1, 2, 0x66, 4, 1, 0, 0, 0}},
        // A value out of the module's range is refused with 253 and changes
        // nothing: the get after it gives what the module held before.
        {"", {0x1d, 2, 0, 0, 0x1c, 0}, Cat(Bytes{0x1d, 1, 253, 0x1c, 16, 1}, "Norvane NVM-220"s)},
        {"", {0x69, 2, '1', '\a', 0x68, 0}, {0x69, 1, 253, 0x68, 5, 1, '0', '0', '0', '0'}},
        {"", {0x69, 3, '4', '2', '7', 0x68, 0}, {0x69, 1, 1, 0x68, 4, 1, '4', '2', '7'}},
        {"", {0x67, 3, 0, 1, 1, 0x66, 0}, {0x67, 1, 1, 0x66, 4, 1, 0, 1, 1}},
        {"", {0xc5, 4, 0, 100, 0, 200, 0xc4, 0}, {0xc5, 1, 253, 0xc4, 5, 1, 8, 0, 0, 0x12}},
        {"",
         {0xc9, 8, 0, 50, 0, 100, 0, 4, 0, 1, 0xc8, 0},
         {0xc9, 1, 253, 0xc8, 9, 1, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"", {0xcb, 4, 0, 100, 0, 200, 0xca, 0}, {0xcb, 1, 253, 0xca, 5, 1, 0, 0, 0, 0}},
        {"", {0xcd, 4, 1, 0, 0, 0, 0xcc, 0}, {0xcd, 1, 253, 0xcc, 5, 1, 0, 0, 0x1f, 0}},
        {"", {0xdb, 5, 3, 0, 0, 0, 0, 0xda, 0}, {0xdb, 1, 253, 0xda, 6, 1, 0, 0, 0, 0, 0}},
        {"", {0xf4, 2, 0, 16, 0xf3, 0}, {0xf4, 1, 253, 0xf3, 3, 1, 0, 10}},
        {"",
         {0xf4, 2, 0, 15, 0xf3, 0, 0xf2, 0},
         {0xf4, 1, 1, 0xf3, 3, 1, 0, 15, 0xf2, 3, 1, 0, 15}},
        {"", {0xf7, 2, 0, 8, 0xf6, 0, 0xf5, 0}, {0xf7, 1, 253, 0xf6, 3, 1, 0, 4, 0xf5, 3, 1, 0, 7}},
        // Below what the radio can do: it takes -30 and says so.
        {"", {0xd5, 2, 0xff, 0xa6, 0xd4, 0}, {0xd5, 3, 1, 0xff, 0xe2, 0xd4, 3, 1, 0xff, 0xe2}},
        // The close notification is answered with 0x42.
        {"", {0x50, 0}, {0x42, 1, 1}},
        // A frame in pieces with pauses below the stall limit is one frame...
        {"", {0x13}, {}, 40},
        {"", {0x01}, {}, 40},
        {"", {0x01}, {0x13, 1, 1}},
        // ...a stalled half frame is discarded, even one promising more than ever comes.
        {"", {0x1c}, {}, 150},
        {"", {0x12, 0}, {0x12, 2, 1, 1}},
        {"", {0x1d, 0xff, 'a', 'b'}, {}, 150},
        {"", {0x12, 0}, {0x12, 2, 1, 1}},
        // Limits that depend on the value: sniff off is judged without the min interval,
        // user baudrate off may keep its value.
        {"", {0xc9, 8, 0, 0, 0, 5, 0, 0, 0, 0}, {0xc9, 1, 1}},
        {"", {0xd9, 3, 0, 0, 100}, {0xd9, 1, 1}},
        {"", {0xd9, 3, 1, 0, 0}, {0xd9, 1, 253}},
        {"", {0xc5, 4, 0x10, 0x00, 0x10, 0x00}, {0xc5, 1, 1}},
        {"", {0xc5, 4, 0x10, 0x01, 0x00, 0x12}, {0xc5, 1, 253}},
        {"", Cat(Bytes{0x1d, 32}, k32), {0x1d, 1, 1}}, // no room for the zero: taken
        {"", Cat(Bytes{0x1d, 33}, k32 + "m"), {0x1d, 1, 253}},
        {"", {0xf1, 3, 1, 0, 0}, {0xf1, 1, 253}}, // SCO on needs a packet type
        // Searches and pairings it refuses; one pairing at a time, a cancel ends it.
        {"", {0x60, 6, 0, 0, 0, 0, 0, 1}, {0x60, 1, 253}},
        {"", {0x63, 2, '1', 0x00}, {0x63, 1, 253}},
        {"", kPairLocal, {0x64, 1, 1}},
        {"", kPairLocal, {0x64, 1, 254}},
        {"", {0x80, 0}, {0x80, 1, 1, 0x65, 1, 226}},
        {"", {0x62, 0}, kNotPaired},
        {"", {0x80, 0}, {0x80, 1, 1}},
        {"", kSearch, {}},
        {"", kPairLocal, {0x64, 1, 254}},
        // A late answer (the status, opcode and silent faults are used by the other tests).
        {"--fault delay:0x12=300", {0x12, 0}, {}, 295},
        {"--fault delay:0x12=300", {}, {0x12, 2, 1, 2}, 20},
        // What the hardware or the software lacks: 254 and 255.
        {"--profile code1-3.02", {0x15, 5, 8, 0, 0, 8, 1}, {0x15, 1, 253}}, // UART to 115200
        {"--profile code1-3.02", {0x15, 5, 7, 0, 0, 8, 1}, {0x15, 1, 1}},
        {"--profile code1-3.02", {0xd5, 2, 0, 20}, {0xd5, 3, 1, 0, 4}}, // class 2 radio
        {"--profile code1-3.02", {0xf0, 0}, {0xf0, 1, 254}},
        {"--profile code1-3.02", {0xd6, 0}, {0xd6, 1, 254}},
        {"--profile=code5-3.02", {0x15, 5, 8, 0, 0, 8, 1}, {0x15, 1, 1}},
        {"--profile=code5-3.02", {0x15, 5, 9, 0, 0, 8, 1}, {0x15, 1, 253}},
        {"--profile=code5-3.02", {0x41, 0}, Cat(Bytes{0x41, 15, 1}, "NVM100E-302-A1"s)},
        {"--profile code3-2.10", {0x41, 0}, {0x41, 1, 255}},
        {"--profile code3-3.00", {0xda, 0}, {0xda, 1, 255}},
        {"--profile code2-3.00", {0xd6, 0}, {0xd6, 2, 1, 0}},
        {"--profile code2-3.00", {0x41, 0}, Cat(Bytes{0x41, 14, 1}, "NVM210-300-A1"s)},
        {"--profile gen2-3.00", {0x40, 0}, {0x40, 13, 1, 0, 3, 0x20, 7, 1, 0x13, 0, 1, 3, 0, 0, 0}},
        {"--profile code1-3.02",
         {0x40, 0},
         {0x40, 13, 1, 0, 1, 0x20, 5, 1, 0x11, 0, 1, 3, 2, 0, 0}},
    };
    std::unique_ptr<ModuleRig> rig;
    std::string options = "none";
    for (const Step& s : steps) {
        if (s.options != options) rig = std::make_unique<ModuleRig>(options = s.options);
        EXPECT_EQ(rig->Exchange(s.send, s.waitMs), s.want)
            << s.options << ": " << sim::HexBytes(s.send.data(), s.send.size());
    }
}

Bytes Found(const sim::RemoteDevice& d) {
    const Bytes cod{uint8_t(d.classOfDevice >> 16), uint8_t(d.classOfDevice >> 8),
                    uint8_t(d.classOfDevice)};
    return Cat(Cat(Cat(Cat(Bytes{0x60, 42, 1}, d.address), d.name), Bytes(32 - d.name.size(), 0)),
               cod);
}
Bytes Found(size_t i) {
    return Found(sim::BuiltInDevices()[i]);
}

TEST(Module, SearchReportsTheDevicesOfTheClassAskedForThenEnds) {
    ModuleRig rig("--search-time 1200");
    EXPECT_EQ(rig.Exchange(kSearch, 1300),
              Cat(Cat(Cat(Cat(Found(0), Found(1)), Found(2)), Found(3)), Bytes{0x60, 0}));
    // Byte 1 of the filter: major device class 2, phones only; duration 24 lasts twice as long.
    std::vector<double> t;
    ASSERT_EQ(rig.Exchange({0x60, 6, 24, 0, 2, 0, 0, 1}, 2500, &t), Cat(Found(1), Bytes{0x60, 0}));
    EXPECT_GT(t.back(), 2400);
    // A cancel ends the search at once, with a quiet gap before the end event.
    EXPECT_EQ(rig.Exchange(kSearch, 400), Found(0));
    t.clear();
    ASSERT_EQ(rig.Exchange({0x80, 0}, 1500, &t), (Bytes{0x80, 1, 1, 0x60, 0}));
    EXPECT_GE(t[3] - t[2], sim::VirtualModule::kEventGapMs);
}


} // namespace
