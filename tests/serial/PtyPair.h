// A pseudo-terminal made for a test: the slave's path goes into the port
// table, the master plays the far end of the line.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

class PtyPair {
  public:
    PtyPair() {
        master = posix_openpt(O_RDWR | O_NOCTTY);
        if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) return;
        const char* name = ptsname(master);
        if (name == nullptr) return;
        path = name;
        // The test keeps its own slave descriptor: the line stays up when the
        // port under test closes, and its termios can be read back through it.
        slave = open(path.c_str(), O_RDWR | O_NOCTTY);
        if (slave < 0) return;
        termios t;
        if (tcgetattr(slave, &t) != 0) return;
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
        ok = true;
    }
    ~PtyPair() {
        if (slave >= 0) close(slave);
        if (master >= 0) close(master);
    }
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    // The far end sends bytes to the port.
    bool Send(const std::vector<uint8_t>& bytes) const {
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t n = write(master, bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }

    // What the far end receives within the time given (stops early at `want`).
    std::vector<uint8_t> Receive(size_t want, int waitMs = 500) const {
        std::vector<uint8_t> out;
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs);
        while (out.size() < want) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                                  end - std::chrono::steady_clock::now())
                                  .count();
            if (left <= 0) break;
            pollfd p{master, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(left)) <= 0) continue;
            uint8_t chunk[4096];
            const ssize_t n = read(master, chunk, sizeof(chunk));
            if (n <= 0) break;
            out.insert(out.end(), chunk, chunk + n);
        }
        return out;
    }

    // True once `count` bytes wait in the port's input queue.
    bool WaitBuffered(int count, int waitMs = 500) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs);
        while (std::chrono::steady_clock::now() < end) {
            int queued = 0;
            if (ioctl(slave, FIONREAD, &queued) == 0 && queued >= count) return true;
            usleep(1000);
        }
        return false;
    }

    termios Settings() const {
        termios t{};
        tcgetattr(slave, &t);
        return t;
    }

    void CloseMaster() {
        close(master);
        master = -1;
    }

    bool ok = false;
    int master = -1;
    int slave = -1;
    std::string path;
};

// Milliseconds since `start`.
inline long ElapsedMs(std::chrono::steady_clock::time_point start) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - start)
                                 .count());
}
