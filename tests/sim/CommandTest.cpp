// What the module answers to each command, byte for byte.
#include "ModuleRig.h"

#include <gtest/gtest.h>

namespace {

const Bytes kAddr{0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

struct SetGetCase {
    const char* what;
    Bytes set;       // a set command with a good value
    Bytes setAnswer; // the module's answer to it
    Bytes get;       // the get command
    Bytes readBack;  // the get answer after the set
    Bytes refused;   // a set the module refuses with status 253
};

std::vector<SetGetCase> SetGetCases() {
    return {
        {"device mode", {0x13, 1, 1}, {0x13, 1, 1}, {0x12, 0}, {0x12, 2, 1, 1}, {0x13, 1, 3}},
        {"serial settings",
         {0x15, 5, 7, 1, 2, 7, 2},
         {0x15, 1, 1},
         {0x14, 0},
         {0x14, 6, 1, 7, 1, 2, 7, 2},
         {0x15, 5, 5, 0, 0, 9, 1}},
        {"connect address",
         Cat({0x17, 6}, kAddr),
         {0x17, 1, 1},
         {0x16, 0},
         Cat({0x16, 7, 1}, kAddr),
         {0x17, 5, 1, 2, 3, 4, 5}},
        {"accepted address",
         Cat({0x19, 6}, kAddr),
         {0x19, 1, 1},
         {0x18, 0},
         Cat({0x18, 7, 1}, kAddr),
         {0x19, 7, 1, 2, 3, 4, 5, 6, 7}},
        {"device name",
         Cat({0x1d, 6}, Text(std::string("ABCDE", 6))),
         {0x1d, 1, 1},
         {0x1c, 0},
         Cat({0x1c, 6, 1}, Text("ABCDE")),
         {0x1d, 1, 0}},
        {"service name",
         Cat({0x1f, 4}, Text(std::string("SPP", 4))),
         {0x1f, 1, 1},
         {0x1e, 0},
         Cat({0x1e, 4, 1}, Text("SPP")),
         Cat({0x1f, 19}, Text("0123456789012345678"))},
        {"security flags",
         {0x67, 3, 1, 1, 0},
         {0x67, 1, 1},
         {0x66, 0},
         {0x66, 4, 1, 1, 1, 0},
         {0x67, 3, 2, 0, 0}},
        {"passkey",
         Cat({0x69, 4}, Text("9876")),
         {0x69, 1, 1},
         {0x68, 0},
         Cat({0x68, 5, 1}, Text("9876")),
         {0x69, 2, '1', 0x07}},
        {"performance", {0xc1, 1, 2}, {0xc1, 1, 1}, {0xc0, 0}, {0xc0, 2, 1, 2}, {0xc1, 1, 0}},
        {"link time-out",
         {0xc3, 2, 0x3e, 0x80},
         {0xc3, 1, 1},
         {0xc2, 0},
         {0xc2, 3, 1, 0x3e, 0x80},
         {0xc3, 1, 5}},
        {"inquiry scan",
         {0xc5, 4, 0x08, 0x00, 0x00, 0x24},
         {0xc5, 1, 1},
         {0xc4, 0},
         {0xc4, 5, 1, 0x08, 0x00, 0x00, 0x24},
         {0xc5, 4, 0, 100, 0, 200}}, // window above interval
        {"page scan",
         {0xc7, 4, 0x04, 0x00, 0x00, 0x12},
         {0xc7, 1, 1},
         {0xc6, 0},
         {0xc6, 5, 1, 0x04, 0x00, 0x00, 0x12},
         {0xc7, 4, 0, 0, 0, 18}}, // one of the two 0
        {"sniff",
         {0xc9, 8, 0, 100, 0, 50, 0, 4, 0, 1},
         {0xc9, 1, 1},
         {0xc8, 0},
         {0xc8, 9, 1, 0, 100, 0, 50, 0, 4, 0, 1},
         {0xc9, 8, 0, 50, 0, 100, 0, 4, 0, 1}}, // min above max
        {"park",
         {0xcb, 4, 0, 200, 0, 100},
         {0xcb, 1, 1},
         {0xca, 0},
         {0xca, 5, 1, 0, 200, 0, 100},
         {0xcb, 4, 0, 100, 0, 200}},
        {"class of device",
         {0xcd, 4, 0, 0x5a, 0x02, 0x0c},
         {0xcd, 1, 1},
         {0xcc, 0},
         {0xcc, 5, 1, 0, 0x5a, 0x02, 0x0c},
         {0xcd, 4, 1, 0, 0, 0}},
        {"transmit power 0xD3",
         {0xd3, 2, 0xff, 0xf6},
         {0xd3, 3, 1, 0xff, 0xf6},
         {0xd2, 0},
         {0xd2, 3, 1, 0xff, 0xf6},
         {0xd3, 2, 0, 21}},
        {"transmit power 0xD5",
         {0xd5, 2, 0, 10},
         {0xd5, 3, 1, 0, 10},
         {0xd4, 0},
         {0xd4, 3, 1, 0, 10},
         {0xd5, 2, 0xff, 0xa5}}, // -91
        {"serial emulation", {0xd7, 1, 2}, {0xd7, 1, 1}, {0xd6, 0}, {0xd6, 2, 1, 2}, {0xd7, 1, 3}},
        {"user baudrate",
         {0xd9, 3, 1, 0x10, 0x00},
         {0xd9, 1, 1},
         {0xd8, 0},
         {0xd8, 4, 1, 1, 0x10, 0x00},
         {0xd9, 3, 1, 0x18, 0x01}}, // 6145
        {"quality of service",
         {0xdb, 5, 1, 0, 0, 0x03, 0xe8},
         {0xdb, 1, 1},
         {0xda, 0},
         {0xda, 6, 1, 1, 0, 0, 0x03, 0xe8},
         {0xdb, 5, 3, 0, 0, 0, 1}},
        {"SCO",
         {0xf1, 3, 1, 0, 0x80},
         {0xf1, 1, 1},
         {0xf0, 0},
         {0xf0, 4, 1, 1, 0, 0x80},
         {0xf1, 3, 1, 0, 96}},
        {"output gain",
         {0xf4, 2, 0, 12},
         {0xf4, 1, 1},
         {0xf3, 0},
         {0xf3, 3, 1, 0, 12},
         {0xf4, 2, 0, 16}},
        {"input gain",
         {0xf7, 2, 0, 7},
         {0xf7, 1, 1},
         {0xf6, 0},
         {0xf6, 3, 1, 0, 7},
         {0xf7, 2, 0, 99}},
    };
}

TEST(ModuleCommands, EverySettingReadsBackWhatWasWrittenAndRefusesBadValues) {
    for (const SetGetCase& c : SetGetCases()) {
        SCOPED_TRACE(c.what);
        ModuleRig rig;
        const Bytes before = rig.Exchange(c.get);
        EXPECT_EQ(rig.Exchange(c.set), c.setAnswer);
        EXPECT_EQ(rig.Exchange(c.get), c.readBack);
        EXPECT_NE(before, c.readBack) << "the case must change the value";

        const uint8_t op = c.refused[0];
        EXPECT_EQ(rig.Exchange(c.refused), (Bytes{op, 1, 253}));
        EXPECT_EQ(rig.Exchange(c.get), c.readBack) << "a refused value changes nothing";
    }
}

TEST(ModuleCommands, DefaultModuleAnswersBelievableValues) {
    ModuleRig rig;
    EXPECT_EQ(rig.Exchange({0x12, 0}), (Bytes{0x12, 2, 1, 2})); // endpoint
    EXPECT_EQ(rig.Exchange({0x14, 0}), (Bytes{0x14, 6, 1, 5, 0, 0, 8, 1}));
    EXPECT_EQ(rig.Exchange({0x1c, 0}), Cat({0x1c, 16, 1}, Text("Norvane NVM-220")));
    EXPECT_EQ(rig.Exchange({0x1e, 0}), Cat({0x1e, 12, 1}, Text("Serial Port")));
    EXPECT_EQ(rig.Exchange({0x42, 0}), (Bytes{0x42, 7, 1, 0x02, 0x4e, 0x56, 0x4d, 0x00, 0x03}));
    EXPECT_EQ(rig.Exchange({0x41, 0}), Cat({0x41, 14, 1}, Text("NVM220-302-A1")));
    EXPECT_EQ(rig.Exchange({0x68, 0}), Cat({0x68, 5, 1}, Text("0000")));
    EXPECT_EQ(rig.Exchange({0xc4, 0}), (Bytes{0xc4, 5, 1, 0x08, 0x00, 0x00, 0x12}));
    EXPECT_EQ(rig.Exchange({0xcc, 0}), (Bytes{0xcc, 5, 1, 0, 0, 0x1f, 0}));
    EXPECT_EQ(rig.Exchange({0xf2, 0}), (Bytes{0xf2, 3, 1, 0, 15}));
    EXPECT_EQ(rig.Exchange({0xf5, 0}), (Bytes{0xf5, 3, 1, 0, 7}));
}

TEST(ModuleCommands, ProbeCloseAndPairedDevice) {
    ModuleRig rig;
    EXPECT_EQ(rig.Exchange({0x01, 4, 0xff, 0x00, 0x55, 0xaa}), (Bytes{0x01, 1, 1}));
    EXPECT_EQ(rig.Exchange({0x01, 4, 0xff, 0x00, 0x55, 0xab}), (Bytes{0x01, 1, 253}));
    // The close notification is acknowledged with opcode 0x42.
    EXPECT_EQ(rig.Exchange({0x50, 0}), (Bytes{0x42, 1, 1}));
    // Not paired: status 254.
    EXPECT_EQ(rig.Exchange({0x62, 0}), (Bytes{0x62, 1, 254}));
}

TEST(ModuleCommands, IdentityFollowsTheProfile) {
    for (const std::string& name : sim::ProfileNames()) {
        SCOPED_TRACE(name);
        sim::ModuleConfig config;
        ASSERT_TRUE(sim::ParseProfile(name, &config.profile));
        ModuleRig rig(config);
        const Bytes answer = rig.Exchange({0x40, 0});
        ASSERT_EQ(answer.size(), 15u);
        EXPECT_EQ(answer[0], 0x40);
        EXPECT_EQ(answer[1], 13);
        EXPECT_EQ(answer[2], 1);
        // Product code as the tool decodes it from the BCD bytes 0 and 1.
        const int code = ((answer[3] >> 4) * 1000 + (answer[3] & 15)) * 100 +
                         ((answer[4] >> 4) * 10 + (answer[4] & 15));
        EXPECT_EQ(code, config.profile.productCode);
        for (int i = 5; i <= 10; ++i) {
            EXPECT_LE(answer[i] >> 4, 9) << "hardware byte " << i - 3 << " is BCD";
            EXPECT_LE(answer[i] & 15, 9) << "hardware byte " << i - 3 << " is BCD";
        }
        EXPECT_EQ(answer[11], config.profile.swMajor);
        EXPECT_EQ(answer[12], config.profile.swMinor);
    }
    sim::Profile p;
    ASSERT_TRUE(sim::ParseProfile("code1-2.10", &p));
    EXPECT_EQ(p.productCode, 1);
    EXPECT_EQ(p.swMajor, 2);
    EXPECT_EQ(p.swMinor, 10);
    ASSERT_TRUE(sim::ParseProfile("default", &p));
    EXPECT_EQ(p.Name(), "code3-3.02");
    for (const char* bad :
         {"code6-3.02", "code0-3.02", "code3-3.01", "code3-3.02x", "", "gen3-3.02"})
        EXPECT_FALSE(sim::ParseProfile(bad, &p)) << bad;
}

TEST(ModuleCommands, CommandsTheModuleDoesNotHave) {
    struct Case {
        const char* profile;
        Bytes command;
        uint8_t status;
    };
    const Case cases[] = {
        {"code3-2.10", {0x41, 0}, 255},    {"code3-2.10", {0xc0, 0}, 255},
        {"code3-2.10", {0xd8, 0}, 255},    {"code3-2.10", {0xd9, 3, 0, 0, 0}, 255},
        {"code3-3.00", {0xda, 0}, 255},    {"code3-3.00", {0xf0, 0}, 255},
        {"code1-3.02", {0xf0, 0}, 254},    {"code5-3.02", {0xf3, 0}, 254},
        {"code1-3.00", {0xd6, 0}, 254},    {"code3-3.02", {0x99, 0}, 255},
        {"code3-3.02", {0x65, 1, 1}, 255}, {"code3-3.02", {0x00, 0}, 255},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.profile) + " opcode " + std::to_string(c.command[0]));
        ModuleRig rig(ConfigFor(c.profile));
        EXPECT_EQ(rig.Exchange(c.command), (Bytes{c.command[0], 1, c.status}));
    }
    // What a 3.00 second-generation module does have.
    ModuleRig rig(ConfigFor("code2-3.00"));
    EXPECT_EQ(rig.Exchange({0xd6, 0}), (Bytes{0xd6, 2, 1, 0}));
    EXPECT_EQ(rig.Exchange({0xd8, 0}), (Bytes{0xd8, 4, 1, 0, 0, 0}));
    EXPECT_EQ(rig.Exchange({0x41, 0}), Cat({0x41, 14, 1}, Text("NVM210-300-A1")));
}

TEST(ModuleCommands, LimitsThatDependOnTheValueOrTheHardware) {
    ModuleRig rig;
    // The radio cannot go below -30 dBm: it takes -30 and says so.
    EXPECT_EQ(rig.Exchange({0xd3, 2, 0xff, 0xc4}), (Bytes{0xd3, 3, 1, 0xff, 0xe2}));
    EXPECT_EQ(rig.Exchange({0xd2, 0}), (Bytes{0xd2, 3, 1, 0xff, 0xe2}));
    // Sniff off is judged by max interval, attempt and time-out alone.
    EXPECT_EQ(rig.Exchange({0xc9, 8, 0, 0, 0, 5, 0, 0, 0, 0}), (Bytes{0xc9, 1, 1}));
    EXPECT_EQ(rig.Exchange({0xc8, 0}), (Bytes{0xc8, 9, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    // User baudrate switched off may keep its value; off with both 0 too.
    EXPECT_EQ(rig.Exchange({0xd9, 3, 0, 0, 100}), (Bytes{0xd9, 1, 1}));
    EXPECT_EQ(rig.Exchange({0xd9, 3, 0, 0, 0}), (Bytes{0xd9, 1, 1}));
    EXPECT_EQ(rig.Exchange({0xd9, 3, 1, 0, 0}), (Bytes{0xd9, 1, 253}));
    // Scans: both 0 is off; 4096 is the top.
    EXPECT_EQ(rig.Exchange({0xc5, 4, 0, 0, 0, 0}), (Bytes{0xc5, 1, 1}));
    EXPECT_EQ(rig.Exchange({0xc5, 4, 0x10, 0x00, 0x10, 0x00}), (Bytes{0xc5, 1, 1}));
    EXPECT_EQ(rig.Exchange({0xc5, 4, 0x10, 0x01, 0x00, 0x12}), (Bytes{0xc5, 1, 253}));
    // A name of 32 characters without its terminator is taken; 33 bytes are not.
    const std::string name32(32, 'n');
    EXPECT_EQ(rig.Exchange(Cat({0x1d, 32}, Text(name32))), (Bytes{0x1d, 1, 1}));
    EXPECT_EQ(rig.Exchange({0x1c, 0}), Cat({0x1c, 33, 1}, Text(name32)));
    EXPECT_EQ(rig.Exchange(Cat({0x1d, 33}, Text(name32 + "m"))), (Bytes{0x1d, 1, 253}));
    // SCO enabled needs a packet type; disabled takes 0.
    EXPECT_EQ(rig.Exchange({0xf1, 3, 1, 0, 0}), (Bytes{0xf1, 1, 253}));
    EXPECT_EQ(rig.Exchange({0xf1, 3, 0, 0, 0}), (Bytes{0xf1, 1, 1}));

    // The first generation's UART stops at 115200 (rate code 7), code 5 at 230400.
    ModuleRig gen1(ConfigFor("code1-3.02"));
    EXPECT_EQ(gen1.Exchange({0x15, 5, 8, 0, 0, 8, 1}), (Bytes{0x15, 1, 253}));
    EXPECT_EQ(gen1.Exchange({0x15, 5, 7, 0, 0, 8, 1}), (Bytes{0x15, 1, 1}));
    EXPECT_EQ(gen1.Exchange({0xd5, 2, 0, 20}), (Bytes{0xd5, 3, 1, 0, 4})); // class 2 radio
    ModuleRig code5(ConfigFor("code5-3.02"));
    EXPECT_EQ(code5.Exchange({0x15, 5, 8, 0, 0, 8, 1}), (Bytes{0x15, 1, 1}));
    EXPECT_EQ(code5.Exchange({0x15, 5, 9, 0, 0, 8, 1}), (Bytes{0x15, 1, 253}));
}

TEST(ModuleCommands, TraceShowsEveryFrameBothWays) {
    ModuleRig rig;
    rig.Exchange({0x1c, 0});
    rig.Exchange({0x13, 1, 1});
    const std::vector<std::string> expected{
        "recv 1c 00", "send 1c 10 01 4e 6f 72 76 61 6e 65 20 4e 56 4d 2d 32 32 30", "recv 13 01 01",
        "send 13 01 01"};
    EXPECT_EQ(rig.module.TakeTrace(), expected);
    EXPECT_TRUE(rig.module.TakeTrace().empty());
}

} // namespace
