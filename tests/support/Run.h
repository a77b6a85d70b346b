// SPDX-License-Identifier: Apache-2.0
// Programs run as a person runs them: btconf-cli or nvmsim in a child process,
// with /dev/null as standard input and standard output and error in files (or
// standard error on a pseudo-terminal, which then gives what the terminal shows).
#pragma once

#include "TextDiff.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using Lines = std::vector<std::string>;

// A path in the test's temporary folder, its own to this process.
inline std::string Temp(const std::string& name) {
    return testing::TempDir() + "btconf-" + std::to_string(getpid()) + "-" + name;
}

inline void Spit(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline Lines Split(const std::string& text) {
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// A program running as a child; it is killed if the test ends before it does.
struct Child {
    Child(const std::string& program, Lines args, const std::string& errPath = "") {
        static int count = 0;
        out = Temp("out" + std::to_string(++count));
        err = errPath.empty() ? out + ".err" : errPath;
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_NOCTTY,
                                         0600);
        std::vector<char*> argv{const_cast<char*>(program.c_str())};
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&pid, program.c_str(), &files, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&files);
    }
    ~Child() {
        if (pid > 0) kill(pid, SIGKILL);
        Wait();
        std::remove(out.c_str());
        std::remove((out + ".err").c_str());
    }
    int Wait() {
        int raw = 0;
        if (pid > 0 && waitpid(pid, &raw, 0) == pid)
            status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
        pid = -1;
        return status;
    }
    std::string Out() const { return Slurp(out); }
    // Waits until standard output holds text `times` times; false after 10 s.
    bool AwaitOut(const std::string& text, int times = 1) const {
        for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
             std::chrono::steady_clock::now() < end;) {
            const std::string o = Out();
            int n = 0;
            for (std::size_t at = o.find(text); at != std::string::npos; at = o.find(text, at + 1))
                ++n;
            if (n >= times) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }
    pid_t pid = -1;
    int status = -1;
    std::string out, err;
};

// One finished run: exit status, what it printed, and how long it took.
struct Ran {
    int status = -1;
    std::string out, err;
    double seconds = 0;
};

inline Ran Run(const std::string& program, const Lines& args, bool terminal = false) {
    const int master = terminal ? posix_openpt(O_RDWR | O_NOCTTY) : -1;
    EXPECT_TRUE(!terminal || (master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0));
    const std::string tty = terminal ? ptsname(master) : "";
    // Held open here too, so that the terminal stays up after the program ends.
    const int held = terminal ? open(tty.c_str(), O_RDWR | O_NOCTTY) : -1;
    Ran r;
    const auto start = std::chrono::steady_clock::now();
    Child child(program, args, tty);
    r.status = child.Wait();
    r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    r.out = child.Out();
    r.err = terminal ? "" : Slurp(child.err);
    char buffer[4096];
    pollfd p{master, POLLIN, 0};
    for (ssize_t n = 0; terminal && poll(&p, 1, 100) > 0 && (n = read(master, buffer, 4096)) > 0;)
        r.err.append(buffer, std::size_t(n));
    close(held); // -1 without a terminal
    close(master);
    return r;
}

#ifdef BTCONF_CLI_PATH
inline Ran Cli(const Lines& args, bool terminal = false) {
    return Run(BTCONF_CLI_PATH, args, terminal);
}
#endif
