// SPDX-License-Identifier: Apache-2.0
// SimServer: a VirtualModule behind a pseudo-terminal, served by one
// background thread that waits in ppoll() for host bytes or for the next thing
// the module has due (a byte to send, a search result, a pairing outcome).
#include "SimServer.h"

#include "SimOptions.h"
#include "VirtualModule.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

// Oldest trace lines are dropped beyond this many (a long-running server).
constexpr size_t kMaxTraceLines = 200000;

std::string SystemError(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

void CloseFd(int* fd) {
    if (*fd >= 0) ::close(*fd);
    *fd = -1;
}

bool ReadWholeFile(const std::string& path, std::string* text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    *text = s.str();
    return true;
}

// Writes beside the target and renames over it, so the file is never half written.
bool WriteFileAtomically(const std::string& path, const std::string& text) {
    const std::string temp = path + ".tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        out << text;
        out.flush();
        if (!out) return false;
    }
    return std::rename(temp.c_str(), path.c_str()) == 0;
}

} // namespace

struct SimServer::Impl {
    std::vector<std::string> args;
    sim::SimOptions options;
    std::unique_ptr<sim::VirtualModule> module;
    int master = -1;
    int slave = -1;
    int wake[2] = {-1, -1};
    int watch = -1; // inotify on the device node: the host's opens and closes
    int hostOpens = 0;
    std::string slavePath;
    std::string devicePath;
    bool linkMade = false;
    bool running = false;
    std::atomic<bool> stop{false};
    std::thread thread;
    FILE* traceFile = nullptr;
    uint64_t savedChanges = 0;

    mutable std::mutex mutex; // guards trace
    std::deque<std::string> trace;

    bool Open(std::string* error);
    void Run();
    void HostOpenedOrClosed();
    void CollectTrace();
    void SaveStateIfChanged(bool force);
    void Close();
};

bool SimServer::Impl::Open(std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = why;
        Close();
        return false;
    };
    master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0) return fail(SystemError("posix_openpt"));
    if (::grantpt(master) != 0) return fail(SystemError("grantpt"));
    if (::unlockpt(master) != 0) return fail(SystemError("unlockpt"));
    char name[256] = {};
    if (::ptsname_r(master, name, sizeof name) != 0) return fail(SystemError("ptsname_r"));
    slavePath = name;
    // The server keeps the slave open itself: the host may then close and reopen
    // the device without the master side seeing a hang-up.
    slave = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) return fail(SystemError("open " + slavePath));
    termios tio{};
    if (::tcgetattr(slave, &tio) == 0) {
        ::cfmakeraw(&tio); // no echo, no line editing, no character translation
        tio.c_cflag |= CLOCAL | CREAD;
        ::cfsetispeed(&tio, B38400);
        ::cfsetospeed(&tio, B38400);
        ::tcsetattr(slave, TCSANOW, &tio);
    }
    const int flags = ::fcntl(master, F_GETFL);
    if (flags < 0 || ::fcntl(master, F_SETFL, flags | O_NONBLOCK) != 0)
        return fail(SystemError("fcntl"));
    if (::pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) return fail(SystemError("pipe2"));
    // Holding the slave open keeps the terminal alive, and with it the exclusive
    // flag that the host's serial port sets; a host that closes the device could
    // then not open it again. Watching the device node tells when the host's last
    // open ends, so the flag and the bytes nobody read can be dropped then, as a
    // real port forgets them. Without inotify it simply is not done.
    watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch >= 0 &&
        ::inotify_add_watch(watch, name, IN_OPEN | IN_CLOSE_WRITE | IN_CLOSE_NOWRITE) < 0)
        CloseFd(&watch);
    hostOpens = 0;

    devicePath = slavePath;
    if (!options.link.empty()) {
        struct stat st {};
        if (::lstat(options.link.c_str(), &st) == 0) {
            if (!S_ISLNK(st.st_mode))
                return fail(options.link + " exists and is not a symbolic link");
            ::unlink(options.link.c_str());
        }
        if (::symlink(slavePath.c_str(), options.link.c_str()) != 0)
            return fail(SystemError("symlink " + options.link));
        linkMade = true;
        devicePath = options.link;
    }
    if (!options.tracePath.empty()) {
        traceFile = std::fopen(options.tracePath.c_str(), "w");
        if (traceFile == nullptr) return fail(SystemError("open " + options.tracePath));
    }
    return true;
}

void SimServer::Impl::Close() {
    CloseFd(&master);
    CloseFd(&slave);
    CloseFd(&wake[0]);
    CloseFd(&wake[1]);
    CloseFd(&watch);
    if (linkMade) {
        // Only remove the link while it is still ours.
        char target[512] = {};
        const ssize_t n = ::readlink(options.link.c_str(), target, sizeof target - 1);
        if (n > 0 && slavePath == std::string(target, static_cast<size_t>(n)))
            ::unlink(options.link.c_str());
        linkMade = false;
    }
    if (traceFile != nullptr) std::fclose(traceFile);
    traceFile = nullptr;
}

void SimServer::Impl::CollectTrace() {
    std::vector<std::string> lines = module->TakeTrace();
    if (lines.empty()) return;
    if (traceFile != nullptr) {
        for (const std::string& line : lines)
            std::fprintf(traceFile, "%s\n", line.c_str());
        std::fflush(traceFile);
    }
    std::lock_guard<std::mutex> lock(mutex);
    for (std::string& line : lines)
        trace.push_back(std::move(line));
    while (trace.size() > kMaxTraceLines)
        trace.pop_front();
}

void SimServer::Impl::SaveStateIfChanged(bool force) {
    if (options.statePath.empty()) return;
    if (!force && module->ChangeCount() == savedChanges) return;
    savedChanges = module->ChangeCount();
    WriteFileAtomically(options.statePath, sim::SaveSettingsText(module->CurrentSettings()));
}

void SimServer::Impl::Run() {
    std::vector<uint8_t> pending; // taken from the module, not yet accepted by the terminal
    uint8_t buffer[4096];
    while (!stop.load()) {
        sim::TimePoint now = sim::Clock::now();
        module->Advance(now);
        module->TakeOutput(now, &pending);
        // Each frame's trace line is there before its first byte goes out, so a
        // host that has the answer also finds it in the trace.
        CollectTrace();
        if (!pending.empty()) {
            const ssize_t written = ::write(master, pending.data(), pending.size());
            if (written > 0) pending.erase(pending.begin(), pending.begin() + written);
        }
        SaveStateIfChanged(false);

        pollfd fds[3] = {{master, POLLIN, 0}, {wake[0], POLLIN, 0}, {watch, POLLIN, 0}};
        if (!pending.empty()) fds[0].events |= POLLOUT;
        timespec timeout{};
        timespec* wait = nullptr; // nothing due: sleep until the host writes or Stop
        sim::TimePoint next;
        if (module->NextWake(&next)) {
            auto left = next - sim::Clock::now();
            if (left < sim::Clock::duration::zero()) left = sim::Clock::duration::zero();
            const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            timeout.tv_sec = static_cast<time_t>(ns / 1000000000);
            timeout.tv_nsec = static_cast<long>(ns % 1000000000);
            wait = &timeout;
        }
        const int ready = ::ppoll(fds, watch >= 0 ? 3 : 2, wait, nullptr);
        if (ready < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[1].revents & POLLIN) {
            while (::read(wake[0], buffer, sizeof buffer) > 0) {
            }
        }
        if (watch >= 0 && (fds[2].revents & POLLIN)) HostOpenedOrClosed();
        if (fds[0].revents & POLLIN) {
            const ssize_t got = ::read(master, buffer, sizeof buffer);
            if (got > 0) module->Receive(buffer, static_cast<size_t>(got), sim::Clock::now());
        } else if (fds[0].revents & (POLLHUP | POLLERR)) {
            // Should not happen while the slave is held open; never spin on it.
            ::usleep(10000);
        }
    }
    CollectTrace();
}

void SimServer::Impl::HostOpenedOrClosed() {
    alignas(inotify_event) char events[4096];
    for (;;) {
        const ssize_t got = ::read(watch, events, sizeof events);
        if (got <= 0) return;
        for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= got;) {
            inotify_event event;
            std::memcpy(&event, events + at, sizeof event);
            if (event.mask & IN_OPEN) ++hostOpens;
            if (event.mask & (IN_CLOSE_WRITE | IN_CLOSE_NOWRITE)) {
                if (hostOpens > 0) --hostOpens;
                if (hostOpens == 0) {
                    ::ioctl(slave, TIOCNXCL);
                    ::tcflush(slave, TCIFLUSH);
                }
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
        }
    }
}

SimServer::SimServer(const std::vector<std::string>& args) : impl(new Impl) {
    impl->args = args;
}

SimServer::~SimServer() {
    Stop();
}

bool SimServer::Start(std::string* error) {
    if (impl->running) return true;
    std::string why;
    if (!sim::ParseSimOptions(impl->args, &impl->options, &why)) {
        if (error) *error = why;
        return false;
    }
    impl->module = std::make_unique<sim::VirtualModule>(impl->options.module);
    bool saveNow = false;
    if (!impl->options.statePath.empty()) {
        std::string text;
        if (ReadWholeFile(impl->options.statePath, &text)) {
            sim::Settings settings = impl->module->CurrentSettings();
            sim::LoadSettingsText(text, &settings);
            impl->module->SetSettings(settings);
        } else {
            saveNow = true; // make the file, so that it shows what can be set
        }
    }
    if (!impl->Open(error)) return false;
    impl->savedChanges = impl->module->ChangeCount();
    if (saveNow) impl->SaveStateIfChanged(true);
    {
        std::lock_guard<std::mutex> lock(impl->mutex);
        impl->trace.clear();
    }
    impl->stop = false;
    impl->thread = std::thread([this] { impl->Run(); });
    impl->running = true;
    return true;
}

void SimServer::Stop() {
    if (!impl->running) return;
    impl->stop = true;
    const char byte = 1;
    if (::write(impl->wake[1], &byte, 1) < 0) {
        // The pipe is never full here; the thread also checks the flag on every wake.
    }
    impl->thread.join();
    impl->SaveStateIfChanged(false);
    impl->Close();
    impl->running = false;
}

std::string SimServer::DevicePath() const {
    return impl->devicePath;
}

std::vector<std::string> SimServer::TraceLines() const {
    std::lock_guard<std::mutex> lock(impl->mutex);
    return std::vector<std::string>(impl->trace.begin(), impl->trace.end());
}

void SimServer::ClearTrace() {
    std::lock_guard<std::mutex> lock(impl->mutex);
    impl->trace.clear();
}
