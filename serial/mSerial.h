// SPDX-License-Identifier: Apache-2.0
// mSerial: the one object through which the program touches a serial port.
// It holds the line settings as plain fields, opens port "COM<n>", applies the
// line settings and time-outs, and offers raw byte reads and writes. Failures
// return -1 and leave a code and a text in the object; nothing is thrown or shown.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Enumeration values are the members' positions; the property bytes hold them.
enum Ebaudrate : uint8_t {
    mBaud300,
    mBaud600,
    mBaud1200,
    mBaud2400,
    mBaud4800,
    mBaud9600,
    mBaud14400,
    mBaud19200,
    mBaud38400,
    mBaud57600,
    mBaud115200,
    mBaud230400,
    mBaud460800,
    mBaud921600
};
enum Eparity : uint8_t { mParNone, mParEven, mParOdd };
enum Ehandshake : uint8_t { mHandNone, mHandHardware };
enum Edatabits : uint8_t { mData5, mData6, mData7, mData8 };
enum Estopbits : uint8_t { mStop1, mStop2 };
enum Ereadtype : uint8_t { mBlocking, mNonblocking };

// Line speed in bits per second of an Ebaudrate value; 0 for a value outside the table.
int32_t BaudrateBits(int value);

class mSerial;
// The line the tool talks to a module on: 38400 bits per second, 8 data bits, no
// parity, one stop bit, no handshake, reads waiting 10 ms and writes 100 ms.
// The port number is left as it is.
void SetModuleLineSettings(mSerial& port);

class mSerial {
  public:
    mSerial();
    virtual ~mSerial();
    mSerial(const mSerial&) = delete;
    mSerial& operator=(const mSerial&) = delete;

    // Properties, in their stored order. Only baudrate is set by the constructor
    // (mBaud9600); the others start at zero until the owner sets them.
    Ebaudrate baudrate;
    Eparity parity = mParNone;
    Ehandshake handshake = mHandNone;
    Edatabits databits = mData5;
    Estopbits stopbits = mStop1;
    Ereadtype readtype = mBlocking; // kept, never consulted
    int32_t port = 0;               // 1-based port number
    int32_t ReadTimeout = 0;        // ms; 0 = return at once with what is buffered
    int32_t WriteTimeout = 0;       // ms, whole write

    void iSetBaudrate(Ebaudrate value) { baudrate = value; }
    Ebaudrate iGetBaudrate() const { return baudrate; }

    // 0 when open and configured, -1 otherwise. A late failure leaves the device
    // open but not marked open (Close then reports it as already closed).
    virtual int32_t Open();
    // 0 after closing; -1 when not open.
    virtual int32_t Close();
    // Bytes read (0 on time-out); -1 when the port is closed or its device has
    // gone away (see IsLost).
    virtual int32_t ReadBuffer(uint8_t* buffer, int32_t count);
    // Bytes the system reports as written; -1 when the write call fails or the
    // device has gone away.
    virtual int32_t WriteBuffer(const uint8_t* buffer, int32_t count);
    // Probes ports 1..highest; sets flags[n] = 1 for each port that opens and
    // returns how many did. flags must hold highest + 1 entries; others untouched.
    int32_t GetValidComPorts(uint8_t* flags, int32_t highest);

    int32_t GetLastError() const { return lastError; }
    const std::string& GetLastErrorText() const { return lastErrorText; }
    bool IsOpen() const { return isOpen != 0; }

    // The device behind an open port went away: the far end hung up (a
    // pseudo-terminal's server ended) or the adapter was unplugged. The port lets
    // go of the device at once and counts as closed; every read and write then
    // fails at once with lastError kPortLost and a text naming the device and
    // the reason, until the next Open.
    static constexpr int32_t kPortLost = 4;
    bool IsLost() const { return lost; }
    // The operating system's reason for the last failure to open the device, or
    // for the loss of the port (errno on POSIX, GetLastError on Windows); 0 when
    // there was none.
    int32_t GetSystemError() const { return systemError; }
    // The system's text for GetSystemError(), without a line end.
    std::string GetSystemErrorText() const;
    // True when the system error says the person may not use the device.
    bool PermissionDenied() const;

    // "COM<n>", the name used in texts.
    static std::string PortName(int32_t n);

  protected:
    // Private state of the component (protected so that test doubles can set it).
    std::string lastErrorText;
    int32_t lastError = 0;
    uint8_t isOpen = 0;
    bool lost = false;
    int32_t systemError = 0;

  private:
    struct Impl; // operating-system handle and helpers of the backend
    Impl* impl;

    // Hooks that each operating system's backend defines.
    static Impl* NewImpl();
    static void DeleteImpl(Impl* p);    // closes a descriptor still held
    static void ReleaseDevice(Impl* p); // closes the open device
    // The device went away: let go of it, mark the port closed and lost, and
    // leave code kPortLost with a text built from the system's reason.
    void MarkLost(int32_t reason);
    // One read of up to count bytes on the open port, under the time-outs.
    int32_t ReadOpenPort(uint8_t* buffer, int32_t count);
    // Opens port n as Open does (read/write, exclusive) and closes it again;
    // true when that worked.
    static bool ProbePort(int32_t n);
};

// The table that maps port numbers to device paths where the system has no
// COM names (POSIX). Entry n-1 is the device of port n. The window's chooser
// offers at most 21 ports; the command line sets as many as it is given.
namespace PortTable {
constexpr int kMaxPorts = 21;
// Devices given on the command line, in order, then the serial devices the
// system has (/dev/ttyUSB*, /dev/ttyACM*, /dev/rfcomm*, /dev/ttyS*, each sorted).
std::vector<std::string> Devices(const std::vector<std::string>& given);
// The first kMaxPorts of Devices: the window's ports.
std::vector<std::string> Build(const std::vector<std::string>& given);
// Installs the table used by mSerial::Open. Until it is set, Build({}) is used.
void Set(const std::vector<std::string>& devices);
const std::vector<std::string>& Get();
// The device path of port n, or an empty text when the table has no entry.
std::string DeviceOf(int32_t n);
} // namespace PortTable
