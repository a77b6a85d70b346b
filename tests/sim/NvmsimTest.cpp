// The nvmsim program as a script or a person runs it.
#include "LinkRig.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

// A program started with its standard output and error on pipes (nvmsim unless
// another path is given).
class Nvmsim {
  public:
    explicit Nvmsim(const std::vector<std::string>& args, const char* path = NVMSIM_PATH) {
        int out[2], err[2];
        if (pipe(out) != 0 || pipe(err) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_adddup2(&actions, err[1], 2);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addclose(&actions, err[0]);
        std::vector<std::string> all{path};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& a : all)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawn(&pid, path, &actions, nullptr, argv.data(), environ) != 0) pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        close(err[1]);
        outFd = out[0];
        errFd = err[0];
    }
    ~Nvmsim() {
        if (pid > 0 && status == kRunning) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        if (outFd >= 0) close(outFd);
        if (errFd >= 0) close(errFd);
    }

    // The first line of standard output, waiting at most `ms`.
    std::string FirstLine(int ms = 2000) {
        std::string line;
        const auto start = Clock::now();
        while (SecondsSince(start) * 1000 < ms) {
            pollfd p{outFd, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            char c;
            if (read(outFd, &c, 1) != 1) break;
            if (c == '\n') return line;
            line.push_back(c);
        }
        return "(no line: " + line + ")";
    }
    // Everything left on a pipe once the program has ended.
    static std::string Drain(int fd) {
        std::string text;
        char buf[4096];
        ssize_t n;
        while ((n = read(fd, buf, sizeof buf)) > 0)
            text.append(buf, static_cast<size_t>(n));
        return text;
    }
    // Exit status after the program ends by itself within `ms`; -1 when it does not.
    int Wait(int ms = 3000) {
        const auto start = Clock::now();
        while (SecondsSince(start) * 1000 < ms) {
            int raw = 0;
            if (waitpid(pid, &raw, WNOHANG) == pid) {
                status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
                return status;
            }
            usleep(5000);
        }
        return -1;
    }
    int Stop(int signal = SIGTERM) {
        kill(pid, signal);
        return Wait();
    }

    static constexpr int kRunning = -1000;
    pid_t pid = -1;
    int outFd = -1;
    int errFd = -1;
    int status = kRunning;
};

bool IsCharacterDevice(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISCHR(st.st_mode);
}

TEST(Nvmsim, PrintsTheDeviceFirstServesAndStopsCleanly) {
    for (int signal : {SIGTERM, SIGINT}) {
        Nvmsim sim({});
        ASSERT_GT(sim.pid, 0);
        const std::string device = sim.FirstLine();
        EXPECT_EQ(device.rfind("/dev/", 0), 0u) << device;
        EXPECT_TRUE(IsCharacterDevice(device)) << device;
        {
            mSerial port;
            OpenLikeTheTool(port, device);
            Communicator c;
            c.SetSerialPort(&port);
            EXPECT_EQ(c.CheckConnection(), 1);
        }
        EXPECT_EQ(sim.Stop(signal), 0) << "signal " << signal;
        EXPECT_EQ(Nvmsim::Drain(sim.errFd), "");
    }
}

TEST(Nvmsim, LinkIsPrintedAndRemovedAtExit) {
    const std::string link = testing::TempDir() + "nvmsim_test_link";
    Nvmsim sim({"--link", link, "--profile", "code2-3.00"});
    EXPECT_EQ(sim.FirstLine(), link);
    EXPECT_TRUE(IsCharacterDevice(link));
    {
        mSerial port;
        OpenLikeTheTool(port, link);
        Communicator c;
        c.SetSerialPort(&port);
        uint8_t info[12] = {};
        ASSERT_EQ(c.GetModuleInfo(info), 0);
        EXPECT_EQ(info[1], 0x02);
        EXPECT_EQ(info[9], 0);
    }
    EXPECT_EQ(sim.Stop(), 0);
    struct stat st {};
    EXPECT_NE(lstat(link.c_str(), &st), 0) << "the link is gone";
}

TEST(Nvmsim, HelpAndBadOptions) {
    Nvmsim help({"--help"});
    EXPECT_EQ(help.Wait(), 0);
    const std::string text = Nvmsim::Drain(help.outFd);
    EXPECT_EQ(text.rfind("Usage: nvmsim", 0), 0u);
    for (const char* word : {"--profile", "--fault", "--devices", "code1-2.10", "garbage:OP=N"})
        EXPECT_NE(text.find(word), std::string::npos) << word;

    for (const std::vector<std::string>& bad :
         std::vector<std::vector<std::string>>{{"--frobnicate"},
                                               {"--profile", "code7-3.02"},
                                               {"--fault", "silent:0x400"},
                                               {"--baud"}}) {
        Nvmsim sim(bad);
        EXPECT_EQ(sim.Wait(), 2) << bad[0];
        EXPECT_EQ(Nvmsim::Drain(sim.outFd), "") << bad[0];
        EXPECT_NE(Nvmsim::Drain(sim.errFd).find("nvmsim: "), std::string::npos) << bad[0];
    }
}

TEST(Nvmsim, StateFileKeepsChangesAcrossRestarts) {
    const std::string state = testing::TempDir() + "nvmsim_test_state.txt";
    std::remove(state.c_str());
    {
        Nvmsim sim({"--state", state});
        const std::string device = sim.FirstLine();
        mSerial port;
        OpenLikeTheTool(port, device);
        Communicator c;
        c.SetSerialPort(&port);
        const uint8_t name[] = "Kept Across Restarts";
        ASSERT_EQ(c.SetDeviceName(name, sizeof name), 0);
        ASSERT_EQ(c.SetSecurityFlags(1, 1, 0), 0);
        port.Close();
        EXPECT_EQ(sim.Stop(), 0);
    }
    std::ifstream in(state);
    std::stringstream saved;
    saved << in.rdbuf();
    EXPECT_NE(saved.str().find("device_name Kept Across Restarts\n"), std::string::npos)
        << saved.str();
    {
        Nvmsim sim({"--state", state});
        const std::string device = sim.FirstLine();
        mSerial port;
        OpenLikeTheTool(port, device);
        Communicator c;
        c.SetSerialPort(&port);
        std::string text;
        int32_t full = 0;
        ASSERT_EQ(c.GetDeviceName(text, full), 0);
        EXPECT_EQ(text, "Kept Across Restarts");
        uint8_t flags[3] = {};
        ASSERT_EQ(c.GetSecurityFlags(flags), 0);
        EXPECT_EQ(flags[0], 1);
        EXPECT_EQ(flags[1], 1);
        port.Close();
        EXPECT_EQ(sim.Stop(), 0);
    }
    std::remove(state.c_str());
}

TEST(Nvmsim, TraceFileShowsTheFramesAsTheyGo) {
    const std::string trace = testing::TempDir() + "nvmsim_test_trace.txt";
    Nvmsim sim({"--trace", trace});
    const std::string device = sim.FirstLine();
    mSerial port;
    OpenLikeTheTool(port, device);
    Communicator c;
    c.SetSerialPort(&port);
    ASSERT_EQ(c.CheckConnection(), 1);
    uint8_t mode = 0;
    ASSERT_EQ(c.GetDeviceMode(mode), 0);
    // Read while the program still runs: every line is flushed at once.
    std::ifstream in(trace);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "recv 01 04 ff 00 55 aa\nsend 01 01 01\nrecv 12 00\nsend 12 02 01 02\n");
    port.Close();
    EXPECT_EQ(sim.Stop(), 0);
    std::remove(trace.c_str());
}

TEST(Nvmquery, PrintsIdentityAndSettingsOrFailsWhenNothingAnswers) {
    SimServer server({"--profile", "code4-3.02"});
    ASSERT_TRUE(server.Start());
    Nvmsim query({server.DevicePath()}, NVMQUERY_PATH);
    EXPECT_EQ(query.Wait(5000), 0);
    const std::string out = Nvmsim::Drain(query.outFd);
    for (const char* line :
         {"Connection: a module answers", "(0x40): 00 04 20 07 01 14 00 01 03 02 00 00",
          "Product code: 4 (NVM-220X)", "Hardware version: 2007.01.14-01", "Software version: 3.02",
          "(0x41): \"NVM220X-302-A1\"", "(0x1C): \"Norvane NVM-220X\"", "(0x42): 02 4e 56 4d 00 04",
          "(0x14): speed 38400 (code 5)", "(0x62): not paired", "(0xC4): interval 2048, window 18",
          "(0xD6): 0 (off)", "(0xF6): 4"})
        EXPECT_NE(out.find(line), std::string::npos) << line << "\n" << out;
    server.Stop();

    SimServer silent({"--fault", "status:0x1e=254", "--fault", "silent:0x42"});
    ASSERT_TRUE(silent.Start());
    Nvmsim partly({silent.DevicePath()}, NVMQUERY_PATH);
    EXPECT_EQ(partly.Wait(5000), 0);
    const std::string errors = Nvmsim::Drain(partly.outFd);
    EXPECT_NE(errors.find("(0x1E): failed (-3) Status error - Command failed"), std::string::npos)
        << errors;
    EXPECT_NE(errors.find("(0x42): failed (-1) Communication timeout"), std::string::npos)
        << errors;
    silent.Stop();

    SimServer mute({"--fault", "silent"});
    ASSERT_TRUE(mute.Start());
    Nvmsim none({mute.DevicePath()}, NVMQUERY_PATH);
    EXPECT_EQ(none.Wait(5000), 1);
    EXPECT_NE(Nvmsim::Drain(none.outFd).find("No module answers: Communication timeout"),
              std::string::npos);
}

} // namespace
