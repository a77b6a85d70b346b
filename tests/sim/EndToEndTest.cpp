// SPDX-License-Identifier: Apache-2.0
// The tool's serial port and Communicator against the virtual module over a
// real pseudo-terminal, and the nvmsim program as a person runs it. (What each
// command sends and the module answers is checked byte for byte in
// protocol/CommandsTest and sim/ModuleTest; searching and pairing against the
// module in the windows' tests.)
#include "Communicator.h"
#include "TextDiff.h"
#include "SimServer.h"
#include "mSerial.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A file name of this process's own in the temporary folder.
std::string Temp(const std::string& name) {
    return testing::TempDir() + std::to_string(getpid()) + "-" + name;
}

// The device opened through the serial port as the tool opens its port.
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

TEST(EndToEnd, ASilentModuleTimesOutOnTheWallClock) {
    SimServer silent({"--fault", "silent"});
    ASSERT_TRUE(silent.Start());
    Host host(silent.DevicePath());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host.comm.CheckConnection(), -1);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took.count(), 0.6);
    EXPECT_LE(took.count(), 1.5) << "about 0.6 to 1 s, with room for a loaded machine";
}

// A program started by the shell, which first prints the program's process id;
// its standard error goes to a file.
struct Program {
    explicit Program(const std::string& command)
        : out(popen(("echo $$; exec " + command + " 2>" + err).c_str(), "r")) {
        pid = std::stoi(Line());
    }
    ~Program() {
        if (out) Stop(SIGKILL);
        std::remove(err.c_str());
    }
    // The next line of standard output ("" at its end).
    std::string Line() {
        char line[512] = "";
        return std::fgets(line, sizeof line, out) ? std::string(line, std::strcspn(line, "\n"))
                                                  : "";
    }
    // The exit status once the program has ended after `signal` (128 + a signal
    // that ended it).
    int Stop(int signal = SIGTERM) {
        kill(pid, signal);
        const int status = pclose(std::exchange(out, nullptr));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string err = Temp("program.err");
    std::FILE* out;
    pid_t pid = 0;
};

TEST(Nvmsim, ServesItsLinkKeepsItsStateTracesEveryFrameAndEndsCleanly) {
    const std::string link = Temp("link"), state = Temp("state.txt"), trace = Temp("trace.txt");
    std::remove(state.c_str());
    {
        Program sim(NVMSIM_PATH " --link " + link + " --state " + state + " --trace " + trace);
        EXPECT_EQ(sim.Line(), link) << "the device to open comes first";
        struct stat st {};
        EXPECT_TRUE(stat(link.c_str(), &st) == 0 && S_ISCHR(st.st_mode));
        Host host(link);
        ASSERT_EQ(host.comm.SetDeviceName(reinterpret_cast<const uint8_t*>("Kept name"), 10), 0);
        // Read while the program runs: every line is written at once.
        EXPECT_TRUE(
            SameText("recv 1d 0a 4b 65 70 74 20 6e 61 6d 65 00\nsend 1d 01 01\n", Slurp(trace)));
        // A host that closes the device can open it again.
        EXPECT_EQ(host.port.Close(), 0);
        EXPECT_EQ(host.port.Open(), 0) << host.port.GetLastErrorText();
        EXPECT_EQ(host.comm.CheckConnection(), 1);
        EXPECT_EQ(sim.Stop(SIGINT), 0);
        EXPECT_EQ(Slurp(sim.err), "");
        EXPECT_NE(lstat(link.c_str(), &st), 0) << "the link is removed";
    }
    EXPECT_NE(Slurp(state).find("\ndevice_name Kept name\n"), std::string::npos) << Slurp(state);
    Program sim(NVMSIM_PATH " --state " + state);
    Host host(sim.Line());
    std::string name;
    int32_t full = 0;
    EXPECT_EQ(host.comm.GetDeviceName(name, full), 0);
    EXPECT_EQ(name, "Kept name");
    EXPECT_EQ(sim.Stop(), 0);
    std::remove(state.c_str());
    std::remove(trace.c_str());

    // A bad option: exit status 2, nothing served, the reason on standard error.
    for (const char* bad : {"--frobnicate", "--fault=silent:0x400"}) {
        Program refused(NVMSIM_PATH " " + std::string(bad));
        EXPECT_EQ(refused.Line(), "") << bad;
        EXPECT_EQ(refused.Stop(), 2) << bad;
        EXPECT_EQ(Slurp(refused.err).rfind("nvmsim: ", 0), 0u) << bad;
    }
}

} // namespace
