// The tool's core (serial port and Communicator) talking to the virtual module
// over a real pseudo-terminal, and the nvmsim and nvmquery programs.
#include "Communicator.h"
#include "SimServer.h"
#include "VirtualModule.h"
#include "mSerial.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using A6 = std::array<uint8_t, 6>;
const uint8_t kPeer[6] = {0x02, 0x5e, 0x11, 0xa0, 0x33, 0x07};

// A file name of this process's own in the temporary folder.
std::string Temp(const std::string& name) {
    return testing::TempDir() + std::to_string(getpid()) + "-" + name;
}

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The device opened through the serial port component as the tool opens its port.
struct Host {
    explicit Host(const std::string& device) {
        PortTable::Set({device});
        SetModuleLineSettings(port);
        port.port = 1;
        EXPECT_EQ(port.Open(), 0) << device << ": " << port.GetLastErrorText();
        comm.SetSerialPort(&port);
    }
    mSerial port;
    Communicator comm;
};

std::string Started(SimServer& server) {
    std::string error;
    EXPECT_TRUE(server.Start(&error)) << error;
    return server.DevicePath();
}

// The module served by this process, and the host on it.
struct LinkRig {
    explicit LinkRig(const std::vector<std::string>& args) : server(args), host(Started(server)) {}
    SimServer server;
    Host host;
    Communicator& comm = host.comm;
};

// A command's result and then the values it read, as one text.
void Put(std::ostream& o, int v) {
    o << ' ' << v;
}
void Put(std::ostream& o, const std::string& s) {
    o << ' ' << s;
}
template <size_t N> void Put(std::ostream& o, const std::array<uint8_t, N>& a) {
    o << ' ' << sim::HexBytes(a.data(), N);
}
template <class... T> std::string Got(int32_t result, const T&... values) {
    std::ostringstream o;
    o << result;
    (Put(o, values), ...);
    return o.str();
}

TEST(EndToEnd, ProbeThenEveryCommandWritesAndReadsBackAndBadValuesAreRefusedWith253) {
    LinkRig link({});
    Communicator& c = link.comm;
    std::array<uint8_t, 12> info{};
    EXPECT_EQ(c.CheckConnection(), 1);
    EXPECT_EQ(Got(c.GetModuleInfo(info.data()), info), "0 00 03 20 07 01 13 00 01 03 02 00 00");
    EXPECT_EQ(c.NotifyClose(), 0); // answered with opcode 0x42, as the tool expects
    EXPECT_EQ(link.server.TraceLines(),
              (std::vector<std::string>{"recv 01 04 ff 00 55 aa", "send 01 01 01", "recv 40 00",
                                        "send 40 0d 01 00 03 20 07 01 13 00 01 03 02 00 00",
                                        "recv 50 00", "send 42 01 01"}));

    uint8_t b = 0;
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t power = 0;
    int32_t asked = 0, full = 0;
    std::string s;
    std::array<uint8_t, 3> a3{};
    std::array<uint8_t, 4> a4{};
    std::array<uint8_t, 5> a5{};
    A6 a6{};
    const uint8_t name[] = "Line 4", service[] = "COM", key[] = "424242", badKey[] = "1\a";
    const uint8_t other[6] = {1, 2, 3, 4, 5, 6}, cod[4] = {0, 0x5a, 2, 0x0c}, badCod[4] = {1};
    const uint8_t latency[4] = {0, 0x0f, 0x42, 0x40}, zero[4] = {};
    const struct {
        std::function<int32_t()> set;
        std::function<std::string()> get;
        std::string want;
        std::function<int32_t()> bad = nullptr; // a value the tool sends but the module refuses
    } rows[] = {
        {[&] { return c.SetDeviceMode(1); }, [&] { return Got(c.GetDeviceMode(b), b); }, "0 1"},
        {[&] { return c.SetSerialSettings(7, 1, 2, 7, 2); },
         [&] { return Got(c.GetSerialSettings(a5.data()), a5); }, "0 07 01 02 07 02"},
        {[&] { return c.SetConnectAddress(kPeer); },
         [&] { return Got(c.GetConnectAddress(a6.data()), a6); }, "0 02 5e 11 a0 33 07"},
        {[&] { return c.SetAcceptedAddress(other); },
         [&] { return Got(c.GetAcceptedAddress(a6.data()), a6); }, "0 01 02 03 04 05 06"},
        {[&] { return c.SetDeviceName(name, sizeof name); },
         [&] { return Got(c.GetDeviceName(s, full), s, full); }, "0 Line 4 6",
         [&] { return c.SetDeviceName(zero, 2); }},
        {[&] { return c.SetServiceName(service, sizeof service); },
         [&] { return Got(c.GetServiceName(s, full), s, full); }, "0 COM 3"},
        {[&] { return c.SetSecurityFlags(1, 1, 1); },
         [&] { return Got(c.GetSecurityFlags(a3.data()), a3); }, "0 01 01 01"},
        {[&] { return c.SetPasskey(key, 6); }, [&] { return Got(c.GetPasskey(s), s); }, "0 424242",
         [&] { return c.SetPasskey(badKey, 2); }},
        {[&] { return c.SetPerformanceMode(2); }, [&] { return Got(c.GetPerformanceMode(b), b); },
         "0 2"},
        {[&] { return c.SetLinkTimeout(64000); }, [&] { return Got(c.GetLinkTimeout(w1), w1); },
         "0 64000"},
        {[&] { return c.SetInquiryScan(4096, 18); },
         [&] { return Got(c.GetInquiryScan(w1, w2), w1, w2); }, "0 4096 18",
         [&] { return c.SetInquiryScan(100, 200); }},
        {[&] { return c.SetPageScan(0, 0); }, [&] { return Got(c.GetPageScan(w1, w2), w1, w2); },
         "0 0 0"},
        {[&] { return c.SetSniffSettings(800, 400, 8, 2); },
         [&] { return Got(c.GetSniffSettings(w1, w2, w3, w4), w1, w2, w3, w4); }, "0 800 400 8 2",
         [&] { return c.SetSniffSettings(50, 100, 4, 1); }},
        {[&] { return c.SetParkSettings(65535, 1); },
         [&] { return Got(c.GetParkSettings(w1, w2), w1, w2); }, "0 65535 1",
         [&] { return c.SetParkSettings(100, 200); }},
        {[&] { return c.SetClassOfDevice(cod); },
         [&] { return Got(c.GetClassOfDevice(a4.data()), a4); }, "0 00 5a 02 0c",
         [&] { return c.SetClassOfDevice(badCod); }},
        {[&] { return c.SetMaxTxPower(asked = -12); },
         [&] { return Got(c.GetMaxTxPower(power), power, asked); }, "0 -12 -12"},
        // Below what the radio can do: it takes -30 and says so.
        {[&] { return c.SetDefaultTxPower(asked = -90); },
         [&] { return Got(c.GetDefaultTxPower(power), power, asked); }, "0 -30 -30"},
        {[&] { return c.SetSerialEmulation(1); }, [&] { return Got(c.GetSerialEmulation(b), b); },
         "0 1"},
        {[&] { return c.SetUserBaudrate(1, 6144); },
         [&] { return Got(c.GetUserBaudrate(b, w1), b, w1); }, "0 1 6144"},
        {[&] { return c.SetQualityOfService(2, latency); },
         [&] { return Got(c.GetQualityOfService(b, a4.data()), b, a4); }, "0 2 00 0f 42 40",
         [&] { return c.SetQualityOfService(3, zero); }},
        {[&] { return c.SetScoSettings(1, 256); },
         [&] { return Got(c.GetScoSettings(b, w1), b, w1); }, "0 1 256",
         [&] { return c.SetScoSettings(1, 0); }},
        {[&] { return c.SetCodecOutputGain(15); },
         [&] { return Got(c.GetCodecOutputGainMax(w1), w1, c.GetCodecOutputGain(w2), w2); },
         "0 15 0 15", [&] { return c.SetCodecOutputGain(16); }},
        {[&] { return c.SetCodecInputGain(0); },
         [&] { return Got(c.GetCodecInputGainMax(w1), w1, c.GetCodecInputGain(w2), w2); },
         "0 7 0 0", [&] { return c.SetCodecInputGain(99); }},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.want);
        EXPECT_NE(r.get(), r.want) << "the value must change";
        EXPECT_EQ(r.set(), 0);
        EXPECT_EQ(r.get(), r.want);
        if (!r.bad) continue;
        EXPECT_EQ(r.bad(), -3);
        EXPECT_EQ(c.lastStatus, 253);
        EXPECT_EQ(c.GetErrorText(-3), "Status error - Command invalid parameter");
        EXPECT_EQ(r.get(), r.want) << "a refused value changes nothing";
    }
}

TEST(EndToEnd, SearchFindsEveryConfiguredDevice) {
    const std::string devices = Temp("devices.txt");
    std::ofstream(devices)
        << "# three devices\n02 1a 7d 3c 11 01  Alpha Laptop  0x02010c\n\n"
           "02 22 48 5e 9a 02  Bravo Phone\n02 30 c1 77 08 03 Charlie 0x040680\n";
    LinkRig link({"--devices", devices, "--search-time", "1200"});
    const uint8_t noFilter[4] = {};
    std::vector<std::string> found;
    int state = 0;
    EXPECT_EQ(link.comm.StartInquiry(12, noFilter, true), 0);
    for (const auto start = Clock::now(); state != 2 && state != 3 && SecondsSince(start) < 5;) {
        A6 address{};
        uint8_t name[33] = {};
        if ((state = link.comm.PollInquiry()) == 1 &&
            link.comm.TakeInquiryResult(address.data(), name) >= 0)
            found.push_back(Got(0, address, std::string(reinterpret_cast<char*>(name))));
    }
    EXPECT_EQ(state, 2);
    EXPECT_EQ(found, (std::vector<std::string>{"0 02 1a 7d 3c 11 01 Alpha Laptop",
                                               "0 02 22 48 5e 9a 02 Bravo Phone",
                                               "0 02 30 c1 77 08 03 Charlie"}));
    std::remove(devices.c_str());
}

// As the search window's timer tick polls: every 250 ms up to three polls; a
// result is taken only when the first poll reports it, the second poll's 3 or
// the third poll's 2 ends the search. One line per device listed: the address
// as the window shows it, the name up to its first zero byte, the class.
std::vector<std::string> SearchLikeTheWindow(Communicator& comm, bool* ended) {
    const uint8_t noFilter[4] = {};
    EXPECT_EQ(comm.StartInquiry(12, noFilter, true), 0);
    std::vector<std::string> listed;
    *ended = false;
    const auto start = Clock::now();
    for (auto tick = start; !*ended && SecondsSince(start) < 20;) {
        tick += std::chrono::milliseconds(250);
        std::this_thread::sleep_until(tick);
        if (comm.PollInquiry() == 1) {
            A6 address{};
            uint8_t name[33] = {};
            uint32_t cod = 0;
            EXPECT_GE(comm.TakeInquiryResult(address.data(), name, &cod), 0);
            char line[80];
            std::snprintf(line, sizeof line, "%s %s %06x", sim::HexBytes(address.data(), 6).c_str(),
                          reinterpret_cast<char*>(name), cod);
            listed.push_back(line);
        } else if (comm.PollInquiry() == 3 || comm.PollInquiry() == 2) {
            *ended = true;
        }
    }
    return listed;
}

TEST(EndToEnd, TheWindowsTickListsTwentyDevicesAnsweringBackToBack) {
    // Pairs of events every 530 ms: a pair lands in every part of a tick, the
    // first poll's, the second's, the third's, and between ticks.
    LinkRig link({"--devices", "generated:20", "--back-to-back", "2", "--search-spread", "5830",
                  "--search-time", "6000"});
    std::vector<std::string> want;
    for (const sim::RemoteDevice& d : sim::GeneratedDevices(20)) {
        char line[80];
        std::snprintf(line, sizeof line, "%s %s %06x", sim::HexBytes(d.address.data(), 6).c_str(),
                      d.name.c_str(), unsigned(d.classOfDevice));
        want.push_back(line);
    }
    bool ended = false;
    EXPECT_EQ(SearchLikeTheWindow(link.comm, &ended), want);
    EXPECT_TRUE(ended);
}

TEST(EndToEnd, PairingCompletesTimesOutOrIsCancelled) {
    const struct {
        const char* pairing;
        bool cancel;
        const char* want; // the pairing state, then what GetPairedDevice gives
    } cases[] = {{"complete@200", false, "1 0 02 5e 11 a0 33 07"},
                 {"timeout@200", false, "2 0 00 00 00 00 00 00"},
                 {"complete@5000", true, "4 0 00 00 00 00 00 00"}};
    for (const auto& c : cases) {
        LinkRig link({"--pairing", c.pairing});
        const auto start = Clock::now();
        int state = link.comm.StartPairing(0, kPeer, reinterpret_cast<const uint8_t*>("1234"), 4);
        EXPECT_TRUE(!c.cancel || link.comm.CancelInquiry() == 1);
        while (state == 0 && SecondsSince(start) < 3)
            state = link.comm.PollPairingStatus();
        EXPECT_LT(SecondsSince(start), 1.5) << c.pairing << ": a cancel ends it at once";
        A6 address{};
        EXPECT_EQ(Got(state, Got(link.comm.GetPairedDevice(address.data()), address)), c.want);
    }
}

TEST(EndToEnd, SilentModuleTimesOutSplitAnswerIsAssembledWrongOpcodeIsRefused) {
    LinkRig silent({"--fault", "silent"});
    const auto start = Clock::now();
    EXPECT_EQ(silent.comm.CheckConnection(), -1);
    EXPECT_GE(SecondsSince(start), 0.6);
    EXPECT_LE(SecondsSince(start), 1.5) << "about 0.6 to 1 s, with room for a loaded machine";
    EXPECT_EQ(silent.comm.GetErrorText(-1), "Communication timeout");

    std::string name;
    int32_t full = 0;
    LinkRig split({"--fault", "split"});
    EXPECT_EQ(Got(split.comm.GetDeviceName(name, full), name, full), "0 Norvane NVM-220 15");
    LinkRig wrong({"--fault", "opcode:0x1c=0x1d"});
    EXPECT_EQ(wrong.comm.GetDeviceName(name, full), -2);
    EXPECT_EQ(wrong.comm.GetErrorText(-2), "Got invalid response");
}

std::string Slurp(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// A program with its standard output and error going to files.
struct Program {
    explicit Program(std::vector<std::string> args, const char* path = NVMSIM_PATH) {
        static int count = 0;
        const std::string base = Temp("program" + std::to_string(++count));
        out = base + ".out", err = base + ".err";
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        std::vector<char*> argv{const_cast<char*>(path)};
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawn(&pid, path, &files, nullptr, argv.data(), environ) != 0) pid = -1;
        EXPECT_GT(pid, 0) << path;
        posix_spawn_file_actions_destroy(&files);
    }
    ~Program() {
        if (pid > 0 && status == kRunning) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        std::remove(out.c_str());
        std::remove(err.c_str());
    }
    // The first line of standard output, waiting at most 2 s.
    std::string Line() {
        for (const auto start = Clock::now(); SecondsSince(start) < 2; usleep(5000)) {
            const std::string text = Slurp(out);
            if (text.find('\n') != std::string::npos) return text.substr(0, text.find('\n'));
        }
        return "";
    }
    // The exit status once the program ends within `ms`; -1 when it does not.
    int Wait(int ms = 3000) {
        for (const auto start = Clock::now();
             pid > 0 && status == kRunning && SecondsSince(start) * 1000 < ms; usleep(5000)) {
            int raw = 0;
            if (waitpid(pid, &raw, WNOHANG) == pid)
                status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
        }
        return status == kRunning ? -1 : status;
    }
    int Stop(int signal = SIGTERM) {
        if (pid > 0 && status == kRunning) kill(pid, signal);
        return Wait();
    }

    static constexpr int kRunning = -1000;
    pid_t pid = -1;
    int status = kRunning;
    std::string out, err;
};

TEST(Nvmsim, ServesTheDevicePrintedFirstAndEndsCleanlyOnSigterm) {
    const std::string link = Temp("link");
    Program sim({"--link", link});
    EXPECT_EQ(sim.Line(), link);
    struct stat st {};
    EXPECT_TRUE(stat(link.c_str(), &st) == 0 && S_ISCHR(st.st_mode));
    {
        Host host(link);
        EXPECT_EQ(host.comm.CheckConnection(), 1);
        // A host that closes the device can open it again.
        EXPECT_EQ(host.port.Close(), 0);
        EXPECT_EQ(host.port.Open(), 0) << host.port.GetLastErrorText();
        EXPECT_EQ(host.comm.CheckConnection(), 1);
    }
    EXPECT_EQ(sim.Stop(), 0);
    EXPECT_EQ(Slurp(sim.err), "");
    EXPECT_NE(lstat(link.c_str(), &st), 0) << "the link is removed";
}

TEST(Nvmsim, HelpExitsWithZeroAndABadOptionWithTwo) {
    Program help({"--help"});
    EXPECT_EQ(help.Wait(), 0);
    EXPECT_EQ(Slurp(help.out).rfind("Usage: nvmsim", 0), 0u) << Slurp(help.out);

    for (const char* bad : {"--frobnicate", "--fault=silent:0x400"}) {
        Program sim({bad});
        EXPECT_EQ(sim.Wait(), 2) << bad;
        EXPECT_EQ(Slurp(sim.out), "") << bad;
        EXPECT_EQ(Slurp(sim.err).rfind("nvmsim: ", 0), 0u) << bad;
    }
}

TEST(Nvmsim, StateKeepsAChangedNameAcrossRestartsAndTraceShowsEveryFrame) {
    const std::string state = Temp("state.txt");
    const std::string trace = Temp("trace.txt");
    std::remove(state.c_str());
    {
        Program sim({"--state", state, "--trace", trace});
        Host host(sim.Line());
        ASSERT_EQ(host.comm.SetDeviceName(reinterpret_cast<const uint8_t*>("Kept name"), 10), 0);
        // Read while the program runs: every line is written at once.
        EXPECT_EQ(Slurp(trace), "recv 1d 0a 4b 65 70 74 20 6e 61 6d 65 00\nsend 1d 01 01\n");
        EXPECT_EQ(sim.Stop(SIGINT), 0);
    }
    EXPECT_NE(Slurp(state).find("\ndevice_name Kept name\n"), std::string::npos) << Slurp(state);
    Program sim({"--state", state});
    Host host(sim.Line());
    std::string name;
    int32_t full = 0;
    EXPECT_EQ(Got(host.comm.GetDeviceName(name, full), name), "0 Kept name");
    EXPECT_EQ(sim.Stop(), 0);
    std::remove(state.c_str());
    std::remove(trace.c_str());
}

TEST(Nvmquery, PrintsIdentityAndSettingsOrFailsWhenNothingAnswers) {
    SimServer server({"--profile", "code4-3.02", "--fault", "silent:0x42"});
    Program query({Started(server)}, NVMQUERY_PATH);
    EXPECT_EQ(query.Wait(5000), 0);
    const std::string out = Slurp(query.out);
    for (const char* line :
         {"(0x40): 00 04 20 07 01 14 00 01 03 02 00 00", "(0x62): not paired",
          "Product code: 4 (NVM-220X)", "Hardware version: 2007.01.14-01",
          "(0x41): \"NVM220X-302-A1\"", "(0x42): failed (-1) Communication timeout"})
        EXPECT_NE(out.find(line), std::string::npos) << line << "\n" << out;

    SimServer mute({"--fault", "silent"});
    Program none({Started(mute)}, NVMQUERY_PATH);
    EXPECT_EQ(none.Wait(5000), 1);
    EXPECT_NE(Slurp(none.out).find("No module answers: Communication timeout"), std::string::npos);
}

} // namespace
