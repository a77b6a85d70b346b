// The tool's core (serial port and Communicator) talking to the virtual module
// over a real pseudo-terminal.
#include "LinkRig.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>

#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

const uint8_t kPeer[6] = {0x02, 0x5e, 0x11, 0xa0, 0x33, 0x07};

std::vector<uint8_t> Vec(const uint8_t* p, size_t n) {
    return std::vector<uint8_t>(p, p + n);
}

TEST(EndToEnd, ProbeIdentityNamesAndTrace) {
    LinkRig link({});
    ASSERT_TRUE(link.started);
    EXPECT_LT(link.startMs, 50.0) << "the server starts fast";
    Communicator& c = link.comm;
    EXPECT_EQ(c.CheckConnection(), 1);

    uint8_t info[12] = {};
    ASSERT_EQ(c.GetModuleInfo(info), 0);
    EXPECT_EQ(Vec(info, 12), (std::vector<uint8_t>{0x00, 0x03, 0x20, 0x07, 0x01, 0x13, 0x00, 0x01,
                                                   0x03, 0x02, 0x00, 0x00}));
    std::string text;
    ASSERT_EQ(c.GetArticleNumber(text), 0);
    EXPECT_EQ(text, "NVM220-302-A1");
    int32_t full = 0;
    ASSERT_EQ(c.GetDeviceName(text, full), 0);
    EXPECT_EQ(text, "Norvane NVM-220");
    EXPECT_EQ(full, 15);
    ASSERT_EQ(c.GetServiceName(text, full), 0);
    EXPECT_EQ(text, "Serial Port");
    uint8_t address[6] = {};
    ASSERT_EQ(c.GetLocalAddress(address), 0);
    EXPECT_EQ(Vec(address, 6), (std::vector<uint8_t>{0x02, 0x4e, 0x56, 0x4d, 0x00, 0x03}));
    // Not paired: status 254 means an all-zero address.
    std::memset(address, 0xee, 6);
    ASSERT_EQ(c.GetPairedDevice(address), 0);
    EXPECT_EQ(Vec(address, 6), std::vector<uint8_t>(6, 0));
    // The close notification is answered with opcode 0x42, which is what the tool expects.
    EXPECT_EQ(c.NotifyClose(), 0);

    const std::vector<std::string> trace = link.server.TraceLines();
    ASSERT_GE(trace.size(), 4u);
    EXPECT_EQ(trace[0], "recv 01 04 ff 00 55 aa");
    EXPECT_EQ(trace[1], "send 01 01 01");
    EXPECT_EQ(trace[2], "recv 40 00");
    EXPECT_EQ(trace[3], "send 40 0d 01 00 03 20 07 01 13 00 01 03 02 00 00");
    EXPECT_EQ(trace.back(), "send 42 01 01");

    link.server.ClearTrace();
    const uint8_t name[] = "Bench 7";
    ASSERT_EQ(c.SetDeviceName(name, 8), 0);
    EXPECT_EQ(link.server.TraceLines(),
              (std::vector<std::string>{"recv 1d 08 42 65 6e 63 68 20 37 00", "send 1d 01 01"}));
}

TEST(EndToEnd, EveryCommandWritesAndReadsBack) {
    LinkRig link({});
    ASSERT_TRUE(link.started);
    Communicator& c = link.comm;
    ASSERT_EQ(c.CheckConnection(), 1);

    uint8_t b = 0, b3[3] = {}, addr[6] = {}, lat[4] = {};
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t power = 0;
    std::string text;
    int32_t full = 0;

    ASSERT_EQ(c.SetDeviceMode(1), 0);
    ASSERT_EQ(c.GetDeviceMode(b), 0);
    EXPECT_EQ(b, 1);

    ASSERT_EQ(c.SetSerialSettings(7, 1, 2, 7, 2), 0);
    uint8_t serial[5] = {};
    ASSERT_EQ(c.GetSerialSettings(serial), 0);
    EXPECT_EQ(Vec(serial, 5), (std::vector<uint8_t>{7, 1, 2, 7, 2}));

    ASSERT_EQ(c.SetConnectAddress(kPeer), 0);
    ASSERT_EQ(c.GetConnectAddress(addr), 0);
    EXPECT_EQ(Vec(addr, 6), Vec(kPeer, 6));
    const uint8_t other[6] = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(c.SetAcceptedAddress(other), 0);
    ASSERT_EQ(c.GetAcceptedAddress(addr), 0);
    EXPECT_EQ(Vec(addr, 6), Vec(other, 6));

    const uint8_t name[] = "Line 4 Scanner";
    ASSERT_EQ(c.SetDeviceName(name, sizeof name), 0); // with the terminating zero
    ASSERT_EQ(c.GetDeviceName(text, full), 0);
    EXPECT_EQ(text, "Line 4 Scanner");
    const uint8_t service[] = "COM Link";
    ASSERT_EQ(c.SetServiceName(service, sizeof service), 0);
    ASSERT_EQ(c.GetServiceName(text, full), 0);
    EXPECT_EQ(text, "COM Link");

    ASSERT_EQ(c.SetSecurityFlags(1, 1, 1), 0);
    ASSERT_EQ(c.GetSecurityFlags(b3), 0);
    EXPECT_EQ(Vec(b3, 3), (std::vector<uint8_t>{1, 1, 1}));
    const uint8_t key[] = {'4', '2', '4', '2', '4', '2'};
    ASSERT_EQ(c.SetPasskey(key, 6), 0);
    ASSERT_EQ(c.GetPasskey(text), 0);
    EXPECT_EQ(text, "424242");

    ASSERT_EQ(c.SetPerformanceMode(2), 0);
    ASSERT_EQ(c.GetPerformanceMode(b), 0);
    EXPECT_EQ(b, 2);
    ASSERT_EQ(c.SetLinkTimeout(64000), 0);
    ASSERT_EQ(c.GetLinkTimeout(w1), 0);
    EXPECT_EQ(w1, 64000);
    ASSERT_EQ(c.SetInquiryScan(4096, 18), 0);
    ASSERT_EQ(c.GetInquiryScan(w1, w2), 0);
    EXPECT_EQ((std::vector<uint16_t>{w1, w2}), (std::vector<uint16_t>{4096, 18}));
    ASSERT_EQ(c.SetPageScan(0, 0), 0);
    ASSERT_EQ(c.GetPageScan(w1, w2), 0);
    EXPECT_EQ((std::vector<uint16_t>{w1, w2}), (std::vector<uint16_t>{0, 0}));
    ASSERT_EQ(c.SetSniffSettings(800, 400, 8, 2), 0);
    ASSERT_EQ(c.GetSniffSettings(w1, w2, w3, w4), 0);
    EXPECT_EQ((std::vector<uint16_t>{w1, w2, w3, w4}), (std::vector<uint16_t>{800, 400, 8, 2}));
    ASSERT_EQ(c.SetParkSettings(65535, 1), 0);
    ASSERT_EQ(c.GetParkSettings(w1, w2), 0);
    EXPECT_EQ((std::vector<uint16_t>{w1, w2}), (std::vector<uint16_t>{65535, 1}));
    const uint8_t cod[4] = {0, 0x5a, 0x02, 0x0c};
    ASSERT_EQ(c.SetClassOfDevice(cod), 0);
    uint8_t codBack[4] = {};
    ASSERT_EQ(c.GetClassOfDevice(codBack), 0);
    EXPECT_EQ(Vec(codBack, 4), Vec(cod, 4));

    int32_t asked = -12;
    ASSERT_EQ(c.SetMaxTxPower(asked), 0);
    EXPECT_EQ(asked, -12);
    ASSERT_EQ(c.GetMaxTxPower(power), 0);
    EXPECT_EQ(power, -12);
    asked = -90; // below what the radio can do: it takes -30 and says so
    ASSERT_EQ(c.SetDefaultTxPower(asked), 0);
    EXPECT_EQ(asked, -30);
    ASSERT_EQ(c.GetDefaultTxPower(power), 0);
    EXPECT_EQ(power, -30);

    ASSERT_EQ(c.SetSerialEmulation(1), 0);
    ASSERT_EQ(c.GetSerialEmulation(b), 0);
    EXPECT_EQ(b, 1);
    ASSERT_EQ(c.SetUserBaudrate(1, 6144), 0);
    ASSERT_EQ(c.GetUserBaudrate(b, w1), 0);
    EXPECT_EQ(b, 1);
    EXPECT_EQ(w1, 6144);
    const uint8_t latency[4] = {0x00, 0x0f, 0x42, 0x40}; // 1000000 microseconds
    ASSERT_EQ(c.SetQualityOfService(2, latency), 0);
    ASSERT_EQ(c.GetQualityOfService(b, lat), 0);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(Vec(lat, 4), Vec(latency, 4));

    ASSERT_EQ(c.SetScoSettings(1, 256), 0);
    ASSERT_EQ(c.GetScoSettings(b, w1), 0);
    EXPECT_EQ(b, 1);
    EXPECT_EQ(w1, 256);
    ASSERT_EQ(c.GetCodecOutputGainMax(w1), 0);
    EXPECT_EQ(w1, 15);
    ASSERT_EQ(c.SetCodecOutputGain(15), 0);
    ASSERT_EQ(c.GetCodecOutputGain(w1), 0);
    EXPECT_EQ(w1, 15);
    ASSERT_EQ(c.GetCodecInputGainMax(w1), 0);
    EXPECT_EQ(w1, 7);
    ASSERT_EQ(c.SetCodecInputGain(0), 0);
    ASSERT_EQ(c.GetCodecInputGain(w1), 0);
    EXPECT_EQ(w1, 0);
}

TEST(EndToEnd, ModuleRefusesBadValuesWithStatus253) {
    LinkRig link({});
    ASSERT_TRUE(link.started);
    Communicator& c = link.comm;
    // Values the tool lets through but the module does not take.
    const uint8_t emptyName[] = {0, 'x'};
    const uint8_t badKey[] = {'1', 0x07};
    const uint8_t badCod[4] = {1, 0, 0, 0};
    const uint8_t latency0[4] = {0, 0, 0, 0};
    const std::pair<const char*, std::function<int32_t()>> refused[] = {
        {"empty device name", [&] { return c.SetDeviceName(emptyName, 2); }},
        {"control character in passkey", [&] { return c.SetPasskey(badKey, 2); }},
        {"scan window above interval", [&] { return c.SetInquiryScan(100, 200); }},
        {"sniff min above max", [&] { return c.SetSniffSettings(50, 100, 4, 1); }},
        {"park min above max", [&] { return c.SetParkSettings(100, 200); }},
        {"class of device first byte", [&] { return c.SetClassOfDevice(badCod); }},
        {"QoS mode 3", [&] { return c.SetQualityOfService(3, latency0); }},
        {"QoS latency 0", [&] { return c.SetQualityOfService(1, latency0); }},
        {"SCO without packet type", [&] { return c.SetScoSettings(1, 0); }},
        {"output gain above max", [&] { return c.SetCodecOutputGain(16); }},
        {"input gain above max", [&] { return c.SetCodecInputGain(99); }},
    };
    for (const auto& [what, command] : refused) {
        SCOPED_TRACE(what);
        c.lastStatus = 0;
        EXPECT_EQ(command(), -3);
        EXPECT_EQ(c.lastStatus, 253);
        EXPECT_EQ(c.GetErrorText(-3), "Status error - Command invalid parameter");
    }
    // The refused values changed nothing.
    std::string text;
    int32_t full = 0;
    ASSERT_EQ(c.GetDeviceName(text, full), 0);
    EXPECT_EQ(text, "Norvane NVM-220");
    uint16_t gain = 0;
    ASSERT_EQ(c.GetCodecInputGain(gain), 0);
    EXPECT_EQ(gain, 4);
}

TEST(EndToEnd, ProfilesDecideWhatExists) {
    LinkRig gen1({"--profile", "code1-2.10"});
    ASSERT_TRUE(gen1.started);
    Communicator& c = gen1.comm;
    uint8_t info[12] = {};
    ASSERT_EQ(c.GetModuleInfo(info), 0);
    EXPECT_EQ(info[1], 0x01);
    EXPECT_EQ(info[8], 2);
    EXPECT_EQ(info[9], 10);
    std::string text;
    EXPECT_EQ(c.GetArticleNumber(text), -3);
    EXPECT_EQ(c.lastStatus, 255);
    EXPECT_EQ(c.GetErrorText(-3), "Status error - Command error");
    uint8_t b = 0;
    EXPECT_EQ(c.GetPerformanceMode(b), -3);
    // Its UART stops at 115200: rate code 8 is refused by the module.
    EXPECT_EQ(c.SetSerialSettings(8, 0, 0, 8, 1), -3);
    EXPECT_EQ(c.lastStatus, 253);
    EXPECT_EQ(c.SetSerialSettings(7, 0, 0, 8, 1), 0);
}

std::string WriteDevicesFile() {
    const std::string path = testing::TempDir() + "e2e_devices.txt";
    std::ofstream out(path);
    out << "# three devices for the search test\n"
           "02 1a 7d 3c 11 01  Alpha Laptop  0x02010c\n"
           "02 22 48 5e 9a 02  Bravo Phone   0x5a020c\n"
           "02 30 c1 77 08 03  Charlie Printer 0x040680\n";
    return path;
}

using Found = std::vector<std::pair<std::vector<uint8_t>, std::string>>;

// One search as the tool runs it: start, poll, take each result when the poll
// reports it, until the end state. Returns the end state.
int Search(Communicator& c, Found* found, double* took) {
    const uint8_t noFilter[4] = {0, 0, 0, 0};
    found->clear();
    EXPECT_EQ(c.StartInquiry(12, noFilter, true), 0);
    int state = 0;
    const auto start = Clock::now();
    while (SecondsSince(start) < 5) {
        state = c.PollInquiry();
        if (state == 1) {
            uint8_t address[6] = {};
            uint8_t name[32] = {};
            EXPECT_EQ(c.TakeInquiryResult(address, name), 0);
            found->emplace_back(Vec(address, 6),
                                std::string(reinterpret_cast<char*>(name),
                                            strnlen(reinterpret_cast<char*>(name), 32)));
        }
        if (state == 2 || state == 3) break;
    }
    *took = SecondsSince(start);
    return state;
}

TEST(EndToEnd, SearchDeliversEveryConfiguredDevice) {
    const std::string devices = WriteDevicesFile();
    // A poll that times out while an event is on the wire loses that event (the
    // host drops a frame cut by its poll time-out). At 38400 an event takes
    // about 11 ms and back-to-back polls lose about a third of them; a fast line
    // makes the window a tenth of a millisecond, and a second search covers the
    // rare loss that is left.
    LinkRig link({"--devices", devices, "--search-time", "1200", "--baud", "4000000"});
    ASSERT_TRUE(link.started);
    Communicator& c = link.comm;
    Found found;
    double took = 0;
    int state = 0;
    for (int attempt = 0; attempt < 2; ++attempt) {
        state = Search(c, &found, &took);
        if (found.size() == 3) break;
    }
    EXPECT_EQ(state, 2);
    EXPECT_GT(took, 1.0);
    EXPECT_LT(took, 2.5);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].first, (std::vector<uint8_t>{0x02, 0x1a, 0x7d, 0x3c, 0x11, 0x01}));
    EXPECT_EQ(found[0].second, "Alpha Laptop");
    EXPECT_EQ(found[1].first, (std::vector<uint8_t>{0x02, 0x22, 0x48, 0x5e, 0x9a, 0x02}));
    EXPECT_EQ(found[1].second, "Bravo Phone");
    EXPECT_EQ(found[2].first, (std::vector<uint8_t>{0x02, 0x30, 0xc1, 0x77, 0x08, 0x03}));
    EXPECT_EQ(found[2].second, "Charlie Printer");

    // Cancelled early: the module answers, then the end event comes.
    const uint8_t noFilter[4] = {0, 0, 0, 0};
    ASSERT_EQ(c.StartInquiry(12, noFilter, true), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(c.CancelInquiry(), 1);
    state = 0;
    for (int i = 0; i < 20 && state != 2 && state != 3; ++i)
        state = c.PollInquiry();
    EXPECT_EQ(state, 2);
    std::remove(devices.c_str());
}

int PairAndWait(Communicator& c, bool cancel = false) {
    const uint8_t key[] = {'1', '2', '3', '4'};
    if (c.StartPairing(0, kPeer, key, 4) != 0) return -100;
    if (cancel) {
        EXPECT_EQ(c.CancelInquiry(), 1);
    }
    const auto start = Clock::now();
    int state = 0;
    while (state == 0 && SecondsSince(start) < 3)
        state = c.PollPairingStatus();
    return state;
}

TEST(EndToEnd, PairingCompletesTimesOutOrIsCancelled) {
    {
        LinkRig link({"--pairing", "complete@200"});
        ASSERT_TRUE(link.started);
        EXPECT_EQ(PairAndWait(link.comm), 1);
        uint8_t address[6] = {};
        ASSERT_EQ(link.comm.GetPairedDevice(address), 0);
        EXPECT_EQ(Vec(address, 6), Vec(kPeer, 6));
    }
    {
        LinkRig link({"--pairing", "timeout@200"});
        ASSERT_TRUE(link.started);
        EXPECT_EQ(PairAndWait(link.comm), 2);
        uint8_t address[6] = {1};
        ASSERT_EQ(link.comm.GetPairedDevice(address), 0);
        EXPECT_EQ(Vec(address, 6), std::vector<uint8_t>(6, 0));
    }
    {
        LinkRig link({"--pairing", "complete@5000"});
        ASSERT_TRUE(link.started);
        const auto start = Clock::now();
        EXPECT_EQ(PairAndWait(link.comm, true), 4);
        EXPECT_LT(SecondsSince(start), 1.5) << "the cancel ends the pairing at once, not after 5 s";
    }
    {
        // A passkey the module does not take.
        LinkRig link({});
        ASSERT_TRUE(link.started);
        const uint8_t key[] = {'1', 0x01};
        EXPECT_EQ(link.comm.StartPairing(0, kPeer, key, 2), -3);
        EXPECT_EQ(link.comm.lastStatus, 253);
    }
}

TEST(EndToEnd, SilentModuleTimesOut) {
    LinkRig link({"--fault", "silent"});
    ASSERT_TRUE(link.started);
    auto start = Clock::now();
    EXPECT_EQ(link.comm.CheckConnection(), -1);
    const double took = SecondsSince(start);
    EXPECT_GE(took, 0.6);
    EXPECT_LE(took, 1.5) << "about 0.6 to 1 s, with room for a loaded machine";
    std::string name;
    int32_t full = 0;
    EXPECT_EQ(link.comm.GetDeviceName(name, full), -1);
    EXPECT_EQ(link.comm.GetErrorText(-1), "Communication timeout");

    // Silent on the identity only: the probe is answered.
    LinkRig one({"--fault", "silent:0x40"});
    ASSERT_TRUE(one.started);
    EXPECT_EQ(one.comm.CheckConnection(), 1);
    uint8_t info[12];
    EXPECT_EQ(one.comm.GetModuleInfo(info), -1);
    EXPECT_EQ(one.comm.GetDeviceName(name, full), 0);
}

TEST(EndToEnd, SplitWrongOpcodeStatusAndLateAnswers) {
    LinkRig split({"--fault", "split"});
    ASSERT_TRUE(split.started);
    EXPECT_EQ(split.comm.CheckConnection(), 1);
    uint8_t info[12] = {};
    ASSERT_EQ(split.comm.GetModuleInfo(info), 0);
    EXPECT_EQ(info[1], 0x03);
    EXPECT_EQ(info[9], 2);
    std::string name;
    int32_t full = 0;
    ASSERT_EQ(split.comm.GetDeviceName(name, full), 0);
    EXPECT_EQ(name, "Norvane NVM-220");

    LinkRig wrong(
        {"--fault", "opcode:0x1c=0x1d", "--fault", "status:0x1e=19", "--fault", "delay:0x42=1500"});
    ASSERT_TRUE(wrong.started);
    EXPECT_EQ(wrong.comm.GetDeviceName(name, full), -2);
    EXPECT_EQ(wrong.comm.GetErrorText(-2), "Got invalid response");
    EXPECT_EQ(wrong.comm.GetServiceName(name, full), -3);
    EXPECT_EQ(wrong.comm.GetErrorText(-3), "Status error - Connection cancelled");
    uint8_t address[6];
    EXPECT_EQ(wrong.comm.GetLocalAddress(address), -1);
    // The late answer arrives afterwards and is taken as the next command's answer.
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    uint8_t mode = 0;
    EXPECT_EQ(wrong.comm.GetDeviceMode(mode), -2);
}

TEST(EndToEnd, HostClosesAndReopensTheDevice) {
    const std::string linkPath = testing::TempDir() + "e2e_module_link";
    LinkRig link({"--link", linkPath});
    ASSERT_TRUE(link.started);
    EXPECT_EQ(link.server.DevicePath(), linkPath);
    EXPECT_EQ(link.comm.CheckConnection(), 1);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(link.port.Close(), 0);
        ASSERT_EQ(link.port.Open(), 0) << link.port.GetLastErrorText();
        EXPECT_EQ(link.comm.CheckConnection(), 1) << "round " << round;
    }
    link.server.Stop();
    EXPECT_NE(access(linkPath.c_str(), F_OK), 0) << "the link is removed";
}

} // namespace
