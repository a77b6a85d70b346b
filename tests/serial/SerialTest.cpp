// SPDX-License-Identifier: Apache-2.0
// mSerial against a pseudo-terminal: the port table, opening and closing, the
// texts left on failure, the line settings that reach the device, the port
// probe, and the bytes and timing of reads and writes.
#include "mSerial.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <regex>
#include <set>
#include <sys/ioctl.h>
#include <termios.h>
#include <tuple>
#include <unistd.h>
#include <utility>

// The line settings of the last request to the driver, and an errno with which
// to refuse the next one. A pseudo-terminal keeps no character size or parity
// of its own, so those are checked in the request. Linux only: the program is
// linked with --wrap=tcsetattr.
namespace {
termios lastRequest{};
int refuseNext = 0;
} // namespace
// The modem lines the port last asked the driver to lower (a pseudo-terminal
// has none and refuses the request, so it is seen here), -1 before any.
int modemLinesCleared = -1;
#if defined(SERIAL_TEST_RECORDS_TCSETATTR)
constexpr bool kRecorder = true;
extern "C" int __real_tcsetattr(int fd, int when, const termios* settings);
extern "C" int __wrap_tcsetattr(int fd, int when, const termios* settings) {
    lastRequest = *settings;
    if (refuseNext == 0) return __real_tcsetattr(fd, when, settings);
    errno = std::exchange(refuseNext, 0);
    return -1;
}
extern "C" int __real_ioctl(int fd, unsigned long request, void* arg);
extern "C" int __wrap_ioctl(int fd, unsigned long request, void* arg) {
    if (request == TIOCMBIC && arg != nullptr) modemLinesCleared = *static_cast<int*>(arg);
    return __real_ioctl(fd, request, arg);
}
#else
constexpr bool kRecorder = false;
#endif

namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

// A pseudo-terminal: the slave's path goes into the port table, the master
// plays the far end of the line. The test's own slave descriptor keeps the line
// up when the port closes, and shows the line settings.
struct PtyPair {
    PtyPair() {
        if (master < 0 || grantpt(master) || unlockpt(master) || !ptsname(master)) return;
        path = ptsname(master);
        slave = open(path.c_str(), O_RDWR | O_NOCTTY);
        termios t = Settings();
        cfmakeraw(&t);
        cfsetspeed(&t, B1200); // unlike the module's line, so that the port's settings show
        t.c_cflag |= CSTOPB | PARODD;
        ok = slave >= 0 && tcsetattr(slave, TCSANOW, &t) == 0;
    }
    ~PtyPair() {
        close(slave);
        close(master);
    }
    bool Send(const Bytes& bytes) const {
        return write(master, bytes.data(), bytes.size()) == ssize_t(bytes.size());
    }
    // What the far end receives (stops at `want`, or when nothing comes for waitMs).
    Bytes Receive(size_t want, int waitMs = 500) const {
        Bytes out;
        uint8_t chunk[4096];
        pollfd p{master, POLLIN, 0};
        ssize_t n = 0;
        while (out.size() < want && poll(&p, 1, waitMs) > 0 &&
               (n = read(master, chunk, sizeof chunk)) > 0)
            out.insert(out.end(), chunk, chunk + n);
        return out;
    }
    // True once `count` bytes wait in the port's input queue.
    bool WaitBuffered(int count) const {
        int queued = 0;
        for (int ms = 0; ms < 500 && ioctl(slave, FIONREAD, &queued) == 0; ++ms, usleep(1000))
            if (queued >= count) return true;
        return false;
    }
    termios Settings() const {
        termios t{};
        tcgetattr(slave, &t);
        return t;
    }
    int master = posix_openpt(O_RDWR | O_NOCTTY), slave = -1;
    std::string path;
    bool ok = false;
};

// A port set up as the tool sets up the module's: 38400 8N1, no handshake, 10 ms / 100 ms.
class Port : public mSerial {
  public:
    explicit Port(int32_t n) {
        SetModuleLineSettings(*this);
        port = n;
    }
};

class Serial : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(pty.ok);
        PortTable::Set({pty.path});
    }
    // Reads `count` bytes with the time-out given: what came, and the milliseconds it took.
    std::pair<Bytes, long> Read(int32_t timeout, int32_t count = 64) {
        s.ReadTimeout = timeout;
        Bytes buffer(size_t(count) + 1, 0xEE);
        const auto start = std::chrono::steady_clock::now();
        const int32_t n = s.ReadBuffer(buffer.data(), count);
        EXPECT_EQ(buffer.back(), 0xEE) << "nothing is written past the count";
        buffer.resize(size_t(std::max(n, 0)));
        return {buffer, Since(start)};
    }
    static long Since(std::chrono::steady_clock::time_point start) {
        return long(std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now() - start)
                        .count());
    }
    PtyPair pty;
    Port s{1};
};

// The window offers 21 ports; the command line sets as many as it is given.
TEST(PortTable, GivenDevicesFirstThenTheSystemsOnceInNaturalOrder) {
    const Strings table = PortTable::Build({"/tmp/zz", "/dev/pts/77", "/tmp/zz", "/dev/ttyS0"});
    ASSERT_GE(table.size(), 3u);
    EXPECT_EQ(Strings(table.begin(), table.begin() + 3),
              (Strings{"/tmp/zz", "/dev/pts/77", "/dev/ttyS0"}));
    EXPECT_EQ(std::set<std::string>(table.begin(), table.end()).size(), table.size());

    Strings many;
    for (int i = 0; i < 30; ++i)
        many.push_back("/dev/given" + std::to_string(i));
    EXPECT_EQ(PortTable::Build(many), Strings(many.begin(), many.begin() + 21));
    PortTable::Set(many);
    EXPECT_EQ(PortTable::Get(), many);
    EXPECT_EQ(PortTable::DeviceOf(30), "/dev/given29");
    for (int n : {0, -1, 31})
        EXPECT_EQ(PortTable::DeviceOf(n), "") << n;
}

TEST_F(Serial, OpenTwiceFailsQuietlyAndThePortStaysUsableUntilClosed) {
    ASSERT_EQ(s.Open(), 0);
    // The line of the module: 38400 bits per second, one stop bit, 8 bits, no parity.
    const termios t = pty.Settings();
    EXPECT_EQ(cfgetospeed(&t), speed_t(B38400));
    EXPECT_EQ(t.c_cflag & (CSTOPB | CRTSCTS | PARODD), 0u);
    if (kRecorder) {
        EXPECT_EQ(lastRequest.c_cflag & (CSIZE | PARENB), tcflag_t(CS8));
    }
    EXPECT_EQ(s.Open(), -1);
    EXPECT_TRUE(s.IsOpen());
    EXPECT_EQ(s.GetLastError(), 0);
    EXPECT_EQ(s.GetLastErrorText(), "");
    const Bytes frame{0x1C, 0x04, 0x0D, 0x11, 0x13, 0xFF}; // bytes a cooked line would change
    EXPECT_EQ(s.WriteBuffer(frame.data(), 6), 6);
    EXPECT_EQ(pty.Receive(6), frame);
    EXPECT_TRUE(std::regex_match(s.GetLastErrorText(),
                                 std::regex("SetCommState failed with error -?[0-9]+\\.\n")))
        << s.GetLastErrorText();

    EXPECT_EQ(s.Close(), 0);
    uint8_t byte = 0;
    EXPECT_EQ(s.ReadBuffer(&byte, 1), -1);
    EXPECT_EQ(s.GetLastErrorText(), "Tried to read closed port");
    EXPECT_EQ(s.Close(), -1);
    EXPECT_EQ(s.GetLastErrorText(), "Close command when already closed");
    EXPECT_EQ(s.GetLastError(), 1);
}

TEST_F(Serial, FailedOpensGiveCodeTextsAndReasonAndTheProbeOffersOnlyPortsThatOpen) {
    char file[] = "/tmp/serial_test_XXXXXX";
    close(mkstemp(file));
    PortTable::Set({pty.path, file, "/nonexistent/serial/device", "/tmp"});
    Port holder(1);
    ASSERT_EQ(holder.Open(), 0);
    // port, code, text, system error, its text
    const std::tuple<int32_t, int32_t, std::string, int, std::string> cases[] = {
        {3, 1, "Failed to open COM3", ENOENT, std::strerror(ENOENT)}, // no such device
        {4, 1, "Failed to open COM4", EISDIR, std::strerror(EISDIR)}, // a directory
        {1, 1, "Failed to open COM1", EBUSY, "the device is in use by another program"},
        {9, 1, "Failed to open COM9", 0, ""},               // not in the table
        {2, 2, "Could not read port configuration", 0, ""}, // a file has no line settings
    };
    for (const auto& [n, code, text, error, reason] : cases) {
        Port port(n);
        EXPECT_EQ(port.Open(), -1) << text;
        EXPECT_EQ(port.GetLastError(), code) << text;
        EXPECT_EQ(port.GetLastErrorText(), text);
        EXPECT_EQ(port.GetSystemError(), error) << n;
        EXPECT_EQ(port.GetSystemErrorText(), reason) << n;
        EXPECT_FALSE(port.PermissionDenied()) << n;
        EXPECT_FALSE(port.IsOpen()) << text;
        EXPECT_EQ(port.Close(), -1) << text;
    }
    // The probe offers the ports that open, but not one held elsewhere, and
    // sets no flag beyond those it probed; each failed port let go of what it
    // had opened when it went away.
    uint8_t flags[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(s.GetValidComPorts(flags, 0), 0);
    EXPECT_EQ(s.GetValidComPorts(flags, 4), 1);
    EXPECT_EQ(Bytes(flags, flags + 6), Bytes({9, 9, 1, 9, 9, 9}));
    ASSERT_EQ(holder.Close(), 0);
    ASSERT_EQ(s.Open(), 0) << "the probe let go of every port";
    ASSERT_EQ(s.Close(), 0);
    if (kRecorder) { // a driver refusing the settings
        Port port(1);
        refuseNext = EIO;
        EXPECT_EQ(port.Open(), -1);
        EXPECT_EQ(port.GetLastError(), 3);
        EXPECT_EQ(port.GetLastErrorText(), "SetCommState failed with error Input/output error.\n");
        EXPECT_FALSE(port.IsOpen());
    }
    std::remove(file);
}

// Reads as the tool makes them (10 ms) end at the time-out when nothing comes,
// hand over what came, and end at once when the count is there; with time-out
// 0 a read returns at once with what is buffered.
TEST_F(Serial, ReadsEndAtTheTimeOutOrAtTheCount) {
    ASSERT_EQ(s.Open(), 0);
    auto [got, ms] = Read(10);
    EXPECT_EQ(got, Bytes{});
    EXPECT_GE(ms, 9);
    EXPECT_LT(ms, 200);
    ASSERT_TRUE(pty.Send({1, 2, 3, 4, 5, 6, 7, 8}));
    ASSERT_TRUE(pty.WaitBuffered(8));
    std::tie(got, ms) = Read(1000, 3);
    EXPECT_EQ(got, Bytes({1, 2, 3}));
    EXPECT_LT(ms, 100);
    std::tie(got, ms) = Read(0);
    EXPECT_EQ(got, Bytes({4, 5, 6, 7, 8}));
    EXPECT_LT(ms, 50);
}

TEST_F(Serial, WriteToALineThatTakesNothingGivesUpAtTheTimeOut) {
    ASSERT_EQ(s.Open(), 0);
    Bytes big(1 << 20, 0x55); // nobody reads the far end: the line's buffers fill
    const auto start = std::chrono::steady_clock::now();
    const int32_t n = s.WriteBuffer(big.data(), int32_t(big.size()));
    const long ms = Since(start);
    EXPECT_GT(n, 0);
    EXPECT_LT(n, int32_t(big.size()));
    EXPECT_GE(ms, 90);
    EXPECT_LT(ms, 1000);
}

// The line settings as the driver then holds them, read back from the device:
// a raw line (no echo, no line editing, no signals, no processing), the speed,
// parity, stop bits and handshake (a pseudo-terminal keeps odd parity, two stop
// bits, RTS/CTS and parity checking, though it forces 8 bits without parity,
// which are seen in the request), and the modem lines lowered: DTR always, RTS
// unless the handshake drives it. Each case starts from a cooked line at 1200
// with the opposite flags, so that every flag has to be set or cleared.
TEST_F(Serial, LineSettingsReachTheDevice) {
    struct Case {
        Eparity parity;
        Estopbits stop;
        Ehandshake hand;
        Ebaudrate baud;
        speed_t speed;
        tcflag_t cflag, iflag, requested; // PARODD|CSTOPB|CRTSCTS, INPCK, PARENB|PARODD
        int lowered;
    };
    const Case cases[] = {
        {mParNone, mStop1, mHandNone, mBaud38400, B38400, 0, 0, 0, TIOCM_DTR | TIOCM_RTS},
        {mParEven, mStop2, mHandNone, mBaud9600, B9600, CSTOPB, INPCK, PARENB,
         TIOCM_DTR | TIOCM_RTS},
        {mParOdd, mStop1, mHandHardware, mBaud115200, B115200, PARODD | CRTSCTS, INPCK,
         PARENB | PARODD, TIOCM_DTR},
        // A speed beyond the table leaves the speed as it was.
        {mParOdd, mStop2, mHandNone, Ebaudrate(14), B1200, PARODD | CSTOPB, INPCK, PARENB | PARODD,
         TIOCM_DTR | TIOCM_RTS},
    };
    const tcflag_t lineFlags = PARODD | CSTOPB | CRTSCTS;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(int(c.parity)) + "/" + std::to_string(int(c.stop)) + "/" +
                     std::to_string(int(c.hand)) + "/" + std::to_string(int(c.baud)));
        termios t = pty.Settings();
        t.c_lflag |= ICANON | ECHO | ISIG | IEXTEN;
        t.c_iflag |= ICRNL | INLCR | IXON | IXOFF | ISTRIP;
        t.c_oflag |= OPOST;
        t.c_cflag = (t.c_cflag & ~lineFlags) | (~c.cflag & lineFlags);
        t.c_iflag = (t.c_iflag & ~tcflag_t(INPCK)) | (~c.iflag & INPCK);
        cfsetspeed(&t, B1200);
        ASSERT_EQ(tcsetattr(pty.slave, TCSANOW, &t), 0);
        modemLinesCleared = -1;
        s.parity = c.parity;
        s.stopbits = c.stop;
        s.handshake = c.hand;
        s.baudrate = c.baud;
        ASSERT_EQ(s.Open(), 0);
        t = pty.Settings();
        EXPECT_EQ(cfgetospeed(&t), c.speed);
        EXPECT_EQ(cfgetispeed(&t), c.speed);
        EXPECT_EQ(t.c_cflag & (lineFlags | CLOCAL | CREAD), c.cflag | CLOCAL | CREAD);
        EXPECT_EQ(t.c_iflag & INPCK, c.iflag);
        EXPECT_EQ(t.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0u);
        EXPECT_EQ(t.c_iflag & (ICRNL | INLCR | IXON | IXOFF | ISTRIP), 0u);
        EXPECT_EQ(t.c_oflag & OPOST, 0u);
        if (kRecorder) {
            EXPECT_EQ(lastRequest.c_cflag & (CSIZE | PARENB | PARODD), CS8 | c.requested);
            EXPECT_EQ(modemLinesCleared, c.lowered);
        }
        ASSERT_EQ(s.Close(), 0);
    }
}

} // namespace
