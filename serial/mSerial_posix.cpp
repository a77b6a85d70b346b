// SPDX-License-Identifier: Apache-2.0
// mSerial on POSIX systems: open/termios/poll.
//
// Port n is the device that PortTable gives for n. Reads follow the Windows
// time-outs that Open sets there: a read returns when `count` bytes have
// arrived, when ReadTimeout ms have passed since the call, or when 10 ms have
// passed since the last byte, whichever comes first; with ReadTimeout 0 it
// returns at once with whatever is buffered.
#include "mSerial.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// The gap after the last byte at which a read gives up (the read interval
// time-out of the Windows component).
constexpr auto kInterval = std::chrono::milliseconds(10);
// With WriteTimeout 0 a write has no time limit of its own, but gives up when
// the port has taken no byte for this long, so that a stalled handshake
// cannot hang the program.
constexpr auto kWriteStall = std::chrono::milliseconds(1000);

int OpenDevice(const std::string& device) {
    int fd;
    do {
        fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// A second opener of the same device (another mSerial, or another program
// that locks it) cannot get this lock; TIOCEXCL alone does not stop root.
bool LockDevice(int fd) {
    int rc;
    do {
        rc = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (rc < 0 && errno == EINTR);
    return rc == 0;
}

void CloseDevice(int fd) {
    if (fd < 0) return;
    ::ioctl(fd, TIOCNXCL); // harmless on a descriptor that is not a terminal
    ::close(fd);           // not retried on EINTR: the descriptor is gone either way
}

// Poll time-out in whole milliseconds, rounded up so that a wait never ends early.
int PollMs(Clock::duration left) {
    if (left <= Clock::duration::zero()) return 0;
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return ms > 60000 ? 60000 : static_cast<int>(ms);
}

bool SpeedOf(int value, speed_t& speed) {
    switch (value) {
    case mBaud300:
        speed = B300;
        return true;
    case mBaud600:
        speed = B600;
        return true;
    case mBaud1200:
        speed = B1200;
        return true;
    case mBaud2400:
        speed = B2400;
        return true;
    case mBaud4800:
        speed = B4800;
        return true;
    case mBaud9600:
        speed = B9600;
        return true;
#if defined(B14400)
    case mBaud14400:
        speed = B14400;
        return true;
#endif
    case mBaud19200:
        speed = B19200;
        return true;
    case mBaud38400:
        speed = B38400;
        return true;
    case mBaud57600:
        speed = B57600;
        return true;
    case mBaud115200:
        speed = B115200;
        return true;
    case mBaud230400:
        speed = B230400;
        return true;
#if defined(B460800)
    case mBaud460800:
        speed = B460800;
        return true;
#endif
#if defined(B921600)
    case mBaud921600:
        speed = B921600;
        return true;
#endif
    default:
        return false;
    }
}

#if defined(__linux__) && defined(CBAUD) &&                                                        \
    (defined(__x86_64__) || defined(__i386__) || defined(__aarch64__) || defined(__arm__) ||       \
     defined(__riscv))
#define BTCONF_HAVE_TERMIOS2 1
// The kernel's termios2 (with free speeds), declared here because its header
// clashes with <termios.h>.
struct KernelTermios2 {
    tcflag_t c_iflag;
    tcflag_t c_oflag;
    tcflag_t c_cflag;
    tcflag_t c_lflag;
    cc_t c_line;
    cc_t c_cc[19];
    speed_t c_ispeed;
    speed_t c_ospeed;
};

// The kernel's flag for "speed given in c_ospeed/c_ispeed" and the shift of the
// input speed field, which the C library's header does not offer.
constexpr tcflag_t kBother = 0010000;
constexpr int kInputSpeedShift = 16;

// Speeds that have no B constant (14400 on Linux) are set through termios2.
bool SetFreeSpeed(int fd, unsigned bits) {
    KernelTermios2 t2;
    std::memset(&t2, 0, sizeof(t2));
    if (::ioctl(fd, _IOR('T', 0x2A, KernelTermios2), &t2) < 0) return false;
    t2.c_cflag &= ~static_cast<tcflag_t>(CBAUD | (CBAUD << kInputSpeedShift));
    t2.c_cflag |= kBother;
    t2.c_ispeed = bits;
    t2.c_ospeed = bits;
    return ::ioctl(fd, _IOW('T', 0x2B, KernelTermios2), &t2) == 0;
}
#endif

} // namespace

struct mSerial::Impl {
    int fd = -1;
    // The device went away after the bytes the last read handed over.
    bool lossPending = false;
    int lossReason = 0;
};

mSerial::Impl* mSerial::NewImpl() {
    return new Impl;
}

void mSerial::DeleteImpl(Impl* p) {
    if (p == nullptr) return;
    CloseDevice(p->fd);
    delete p;
}

bool mSerial::ProbePort(int32_t n) {
    const std::string device = PortTable::DeviceOf(n);
    if (device.empty()) return false;
    const int fd = OpenDevice(device);
    if (fd < 0) return false;
    const bool locked = LockDevice(fd);
    ::close(fd);
    return locked;
}

int32_t mSerial::Open() {
    const std::string name = PortName(port);
    if (isOpen == 1) return -1;

    lost = false;
    systemError = 0;
    const std::string device = PortTable::DeviceOf(port);
    int fd = device.empty() ? -1 : OpenDevice(device);
    if (fd < 0 && !device.empty()) systemError = errno;
    if (fd >= 0) {
        const int flags = ::fcntl(fd, F_GETFL);
        const bool unblocked = flags >= 0 && ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == 0;
        if (!unblocked || !LockDevice(fd)) {
            // Another program holds the device (its lock), or it is no line at all.
            systemError = unblocked ? EBUSY : errno;
            ::close(fd);
            fd = -1;
        }
    }
    if (fd < 0) {
        lastError = 1;
        lastErrorText = "Failed to open " + name;
        return -1;
    }
    ::ioctl(fd, TIOCEXCL); // a non-terminal fails here and is refused by tcgetattr below

    // From here on a failure leaves the device open but not marked open; the
    // descriptor stays in the object until the next successful open or the end.
    CloseDevice(impl->fd);
    impl->fd = fd;

    struct termios tio;
    if (::tcgetattr(fd, &tio) != 0) {
        lastError = 2;
        lastErrorText = "Could not read port configuration";
        return -1;
    }

    // Raw binary line: no echo, no line editing, no signals, no input or
    // output processing, no XON/XOFF.
    tio.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR |
                                          ICRNL | IXON | IXOFF | IXANY);
    tio.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    tio.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    tio.c_cflag |= CLOCAL | CREAD;
    // Reads never block in the driver; poll() does the waiting.
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = 0;

    // POSIX has no handshake on input only (the RTS handshake of the Windows
    // component): hardware handshake here is RTS/CTS in both directions.
    if (handshake == mHandHardware)
        tio.c_cflag |= CRTSCTS;
    else
        tio.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);

    // A speed outside the table keeps the one the driver has.
    speed_t speed;
    bool freeSpeed = false;
    if (SpeedOf(baudrate, speed)) {
        cfsetospeed(&tio, speed);
        cfsetispeed(&tio, speed);
    } else if (BaudrateBits(baudrate) != 0) {
#if defined(BTCONF_HAVE_TERMIOS2)
        freeSpeed = true;
#elif defined(__APPLE__) || defined(__FreeBSD__) || defined(__OpenBSD__) || defined(__NetBSD__)
        // Here speed_t is the rate itself.
        cfsetospeed(&tio, static_cast<speed_t>(BaudrateBits(baudrate)));
        cfsetispeed(&tio, static_cast<speed_t>(BaudrateBits(baudrate)));
#endif
    }

    switch (parity) {
    case mParNone:
        tio.c_cflag &= ~static_cast<tcflag_t>(PARENB | PARODD);
        tio.c_iflag &= ~static_cast<tcflag_t>(INPCK);
        break;
    case mParEven:
        tio.c_cflag |= PARENB;
        tio.c_cflag &= ~static_cast<tcflag_t>(PARODD);
        tio.c_iflag |= INPCK;
        break;
    case mParOdd:
        tio.c_cflag |= PARENB | PARODD;
        tio.c_iflag |= INPCK;
        break;
    default:
        break; // any other value changes nothing
    }

    tcflag_t size = 0;
    bool sizeKnown = true;
    switch (databits) {
    case mData5:
        size = CS5;
        break;
    case mData6:
        size = CS6;
        break;
    case mData7:
        size = CS7;
        break;
    case mData8:
        size = CS8;
        break;
    default:
        sizeKnown = false;
        break; // any other value keeps the driver's size
    }
    if (sizeKnown) {
        tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE);
        tio.c_cflag |= size;
    }

    if (stopbits == mStop1)
        tio.c_cflag &= ~static_cast<tcflag_t>(CSTOPB);
    else
        tio.c_cflag |= CSTOPB;

    int rc;
    do {
        rc = ::tcsetattr(fd, TCSANOW, &tio);
    } while (rc < 0 && errno == EINTR);
#if defined(BTCONF_HAVE_TERMIOS2)
    if (rc == 0 && freeSpeed && !SetFreeSpeed(fd, static_cast<unsigned>(BaudrateBits(baudrate))))
        rc = -1;
#else
    (void)freeSpeed;
#endif
    if (rc != 0) {
        const int err = errno;
        lastError = 3;
        lastErrorText = "Could not set port configuration";
        char text[256];
        std::snprintf(text, sizeof(text), "SetCommState failed with error %s.\n",
                      std::strerror(err));
        lastErrorText = text;
        return -1;
    }

    // DTR held low; RTS low too unless the handshake drives it. A driver
    // without modem lines (a pseudo-terminal) refuses this, which is fine.
    int lines = TIOCM_DTR;
    if (handshake != mHandHardware) lines |= TIOCM_RTS;
    ::ioctl(fd, TIOCMBIC, &lines);

    // Time-outs are applied per call from ReadTimeout and WriteTimeout.
    isOpen = 1;
    return 0;
}

void mSerial::ReleaseDevice(Impl* p) {
    CloseDevice(p->fd);
    p->fd = -1;
    p->lossPending = false;
}

std::string mSerial::GetSystemErrorText() const {
    if (systemError == 0) return std::string();
    if (systemError == EBUSY) return "the device is in use by another program";
    return std::strerror(systemError);
}

bool mSerial::PermissionDenied() const {
    return systemError == EACCES || systemError == EPERM;
}

int32_t mSerial::ReadOpenPort(uint8_t* buffer, int32_t count) {
    const int fd = impl->fd;
    if (impl->lossPending) {
        MarkLost(impl->lossReason);
        return -1;
    }
    bool gone = false;
    int goneWith = 0;

    const auto start = Clock::now();
    // A negative time-out is taken as 0: return with what is buffered.
    const bool wait = ReadTimeout > 0;
    const auto deadline = start + std::chrono::milliseconds(wait ? ReadTimeout : 0);
    auto lastByte = start;
    int32_t got = 0;

    while (got < count) {
        int pollMs = 0;
        if (wait) {
            const auto now = Clock::now();
            auto left = deadline - now;
            if (got > 0) left = std::min(left, lastByte + kInterval - now);
            if (left <= Clock::duration::zero()) break;
            pollMs = PollMs(left);
        }
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, pollMs);
        if (ready < 0) {
            if (errno == EINTR) continue;
            goneWith = errno;
            gone = true;
            break;
        }
        if (ready == 0) {
            if (!wait) break;
            continue;
        }
        if ((p.revents & POLLIN) == 0) {
            // Hung up, or an error, with nothing left to read: the device is gone.
            gone = (p.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
            break;
        }
        const ssize_t n = ::read(fd, buffer + got, static_cast<size_t>(count - got));
        if (n > 0) {
            got += static_cast<int32_t>(n);
            lastByte = Clock::now();
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            break; // said to be readable, yet nothing there: an ordinary empty read
        } else {
            // Readable and yet no byte: the end of a line that was hung up (a
            // pseudo-terminal whose server ended), or the device's own error
            // (EIO, ENXIO, ENODEV of an unplugged adapter).
            goneWith = n < 0 ? errno : 0;
            gone = true;
            break;
        }
    }
    if (gone) {
        // What arrived before the end is still handed over; the next read fails.
        if (got > 0) {
            impl->lossPending = true;
            impl->lossReason = goneWith;
        } else {
            MarkLost(goneWith);
        }
    }
    return got > 0 ? got : (gone ? -1 : 0);
}

int32_t mSerial::WriteBuffer(const uint8_t* buffer, int32_t count) {
    if (lost) return -1; // the device went away; the text says so
    const int fd = impl->fd;
    if (count < 0) count = 0;
    if (buffer == nullptr && count > 0) return -1;
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags < 0) return -1; // no device behind the object
    // The writes themselves never block; poll() bounds the wait.
    if ((flags & O_NONBLOCK) == 0 && ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) return -1;

    const auto start = Clock::now();
    const bool limited = WriteTimeout > 0;
    const auto deadline = start + std::chrono::milliseconds(limited ? WriteTimeout : 0);
    auto lastProgress = start;
    int32_t done = 0;
    bool failed = false;
    errno = 0;
    bool gone = false;
    int goneWith = 0;
    while (done < count) {
        const ssize_t n = ::write(fd, buffer + done, static_cast<size_t>(count - done));
        if (n > 0) {
            done += static_cast<int32_t>(n);
            lastProgress = Clock::now();
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            failed = true;
            // A hung-up line or an unplugged adapter refuses every write.
            if (errno == EIO || errno == ENXIO || errno == ENODEV || errno == EPIPE) {
                gone = true;
                goneWith = errno;
            }
            break;
        }
        const auto now = Clock::now();
        const auto left = limited ? deadline - now : lastProgress + kWriteStall - now;
        if (left <= Clock::duration::zero()) break; // time is up: report what was taken
        pollfd p{fd, POLLOUT, 0};
        const int ready = ::poll(&p, 1, PollMs(left));
        if (ready < 0 && errno != EINTR) break;
        if (ready > 0 && (p.revents & POLLOUT) == 0) {
            // Hang-up or error: the device is gone.
            failed = gone = (p.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
            break;
        }
    }
    const int err = errno;
    if ((flags & O_NONBLOCK) == 0) ::fcntl(fd, F_SETFL, flags);
    if (gone && isOpen == 1) MarkLost(goneWith);
    if (failed) return -1;

    // The component leaves this text after every successful write.
    char text[64];
    std::snprintf(text, sizeof(text), "SetCommState failed with error %d.\n", err);
    lastErrorText = text;
    return done;
}
