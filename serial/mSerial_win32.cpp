// SPDX-License-Identifier: Apache-2.0
// mSerial on Windows: the Win32 communications calls on \\.\COMn.
#include "mSerial.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

// A port given by its bare name ("COM12", as a person types it) opens as
// \\.\COM12: Windows knows only COM1 to COM9 as bare names, so without the
// prefix COM10 and above would not open at all.
std::string DevicePath(const std::string& device) {
    if (device.size() < 4 || (device[0] != 'C' && device[0] != 'c') ||
        (device[1] != 'O' && device[1] != 'o') || (device[2] != 'M' && device[2] != 'm'))
        return device;
    for (size_t i = 3; i < device.size(); ++i)
        if (device[i] < '0' || device[i] > '9') return device;
    return "\\\\.\\" + device;
}

HANDLE OpenDevice(int32_t n) {
    const std::string device = DevicePath(PortTable::DeviceOf(n));
    if (device.empty()) return INVALID_HANDLE_VALUE;
    // Read and write, no sharing, no security attributes, existing device
    // only, synchronous non-overlapped I/O, no template.
    return CreateFileA(device.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                       nullptr);
}

// The system's text for an error code in the default language, as the message
// table has it (line end included).
std::string SystemMessage(DWORD code) {
    char text[512] = {0};
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                       MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, sizeof(text), nullptr);
    return std::string(text, length < sizeof(text) ? length : sizeof(text) - 1);
}

// A negative time-out would be an almost endless wait once taken as a DWORD;
// it is treated as 0.
DWORD Millis(int32_t value) {
    return value > 0 ? static_cast<DWORD>(value) : 0;
}

// A failed read or write: true when the device itself is gone (an adapter
// unplugged) rather than a line error that the abort-on-error setting reports.
// A line error clears with ClearCommError; a device that went away refuses it.
bool DeviceGone(HANDLE h, DWORD code) {
    switch (code) {
    case ERROR_DEVICE_REMOVED:
    case ERROR_DEVICE_NOT_CONNECTED:
    case ERROR_BAD_COMMAND:
    case ERROR_INVALID_HANDLE:
    case ERROR_NOT_READY:
        return true;
    default:
        break;
    }
    DWORD errors = 0;
    COMSTAT status;
    return ClearCommError(h, &errors, &status) == 0;
}

} // namespace

struct mSerial::Impl {
    HANDLE handle = INVALID_HANDLE_VALUE;
};

mSerial::Impl* mSerial::NewImpl() {
    return new Impl;
}

void mSerial::DeleteImpl(Impl* p) {
    if (p == nullptr) return;
    if (p->handle != INVALID_HANDLE_VALUE) CloseHandle(p->handle);
    delete p;
}

bool mSerial::ProbePort(int32_t n) {
    const HANDLE h = OpenDevice(n);
    if (h == INVALID_HANDLE_VALUE) return false;
    CloseHandle(h);
    return true;
}

int32_t mSerial::Open() {
    const std::string name = PortName(port);
    if (isOpen == 1) return -1;

    lost = false;
    systemError = 0;
    const HANDLE h = OpenDevice(port);
    if (h == INVALID_HANDLE_VALUE) {
        systemError = static_cast<int32_t>(::GetLastError());
        lastError = 1;
        lastErrorText = "Failed to open " + name;
        return -1;
    }
    // From here on a failure leaves the device open but not marked open; the
    // handle stays in the object until the next successful open or the end.
    if (impl->handle != INVALID_HANDLE_VALUE) CloseHandle(impl->handle);
    impl->handle = h;

    DCB dcb;
    ZeroMemory(&dcb, sizeof(dcb));
    dcb.DCBlength = sizeof(dcb);
    if (!GetCommState(h, &dcb)) {
        lastError = 2;
        lastErrorText = "Could not read port configuration";
        return -1;
    }

    // Fields not named here keep what the driver had (output flow control on
    // CTS and DSR, transmit-continues-on-XOFF among them).
    dcb.fBinary = TRUE;
    dcb.fDsrSensitivity = FALSE;
    dcb.fAbortOnError = TRUE;
    dcb.fDtrControl = DTR_CONTROL_DISABLE;
    dcb.fOutX = FALSE;
    dcb.fInX = FALSE;
    dcb.fErrorChar = FALSE;
    dcb.fNull = FALSE;
    // Hardware handshake is RTS handshaking on input only.
    dcb.fRtsControl = handshake == mHandHardware ? RTS_CONTROL_HANDSHAKE : RTS_CONTROL_DISABLE;
    const int32_t bits = BaudrateBits(baudrate);
    if (bits != 0) dcb.BaudRate = static_cast<DWORD>(bits); // else the driver's rate stays
    switch (parity) {
    case mParNone:
        dcb.fParity = FALSE;
        dcb.Parity = NOPARITY;
        break;
    case mParEven:
        dcb.fParity = TRUE;
        dcb.Parity = EVENPARITY;
        break;
    case mParOdd:
        dcb.fParity = TRUE;
        dcb.Parity = ODDPARITY;
        break;
    default:
        break; // any other value changes nothing
    }
    switch (databits) {
    case mData5:
        dcb.ByteSize = 5;
        break;
    case mData6:
        dcb.ByteSize = 6;
        break;
    case mData7:
        dcb.ByteSize = 7;
        break;
    case mData8:
        dcb.ByteSize = 8;
        break;
    default:
        break; // any other value keeps the driver's size
    }
    dcb.StopBits = stopbits == mStop1 ? ONESTOPBIT : TWOSTOPBITS;

    if (!SetCommState(h, &dcb)) {
        const DWORD code = ::GetLastError();
        lastError = 3;
        lastErrorText = "Could not set port configuration";
        lastErrorText = "SetCommState failed with error " + SystemMessage(code) + ".\n";
        return -1;
    }

    COMMTIMEOUTS timeouts;
    if (!GetCommTimeouts(h, &timeouts)) return -1;
    if (ReadTimeout > 0) {
        // At most ReadTimeout ms in all, and 10 ms after the last byte.
        timeouts.ReadIntervalTimeout = 10;
        timeouts.ReadTotalTimeoutMultiplier = 0;
        timeouts.ReadTotalTimeoutConstant = Millis(ReadTimeout);
    } else {
        // Return at once with whatever is buffered.
        timeouts.ReadIntervalTimeout = MAXDWORD;
        timeouts.ReadTotalTimeoutMultiplier = 0;
        timeouts.ReadTotalTimeoutConstant = 0;
    }
    timeouts.WriteTotalTimeoutMultiplier = 0;
    timeouts.WriteTotalTimeoutConstant = Millis(WriteTimeout); // 0: no time limit
    if (!SetCommTimeouts(h, &timeouts)) return -1;

    isOpen = 1;
    return 0;
}

void mSerial::ReleaseDevice(Impl* p) {
    CloseHandle(p->handle);
    p->handle = INVALID_HANDLE_VALUE;
}

int32_t mSerial::ReadOpenPort(uint8_t* buffer, int32_t count) {
    DWORD got = 0;
    // What was transferred counts. A failed call is looked at only to tell a
    // device that went away (an adapter unplugged) from a line error.
    if (!ReadFile(impl->handle, buffer, static_cast<DWORD>(count), &got, nullptr)) {
        const DWORD code = ::GetLastError();
        if (got == 0 && DeviceGone(impl->handle, code)) {
            MarkLost(static_cast<int32_t>(code));
            return -1;
        }
    }
    if (got > static_cast<DWORD>(count)) got = static_cast<DWORD>(count);
    return static_cast<int32_t>(got);
}

std::string mSerial::GetSystemErrorText() const {
    if (systemError == 0) return std::string();
    std::string text = SystemMessage(static_cast<DWORD>(systemError));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.pop_back();
    return text;
}

bool mSerial::PermissionDenied() const {
    // A port held by another program also answers "access denied" on Windows.
    return false;
}

int32_t mSerial::WriteBuffer(const uint8_t* buffer, int32_t count) {
    if (count < 0) count = 0;
    if (buffer == nullptr && count > 0) return -1;
    DWORD written = 0;
    if (lost) return -1; // the device went away; the text says so
    if (!WriteFile(impl->handle, buffer, static_cast<DWORD>(count), &written, nullptr)) {
        const DWORD code = ::GetLastError();
        if (isOpen == 1 && DeviceGone(impl->handle, code)) MarkLost(static_cast<int32_t>(code));
        return -1;
    }
    // The component leaves this text after every successful write.
    char text[64];
    std::snprintf(text, sizeof(text), "SetCommState failed with error %d.\n",
                  static_cast<int>(::GetLastError()));
    lastErrorText = text;
    if (written > static_cast<DWORD>(count)) written = static_cast<DWORD>(count);
    return static_cast<int32_t>(written);
}
