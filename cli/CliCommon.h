// SPDX-License-Identifier: Apache-2.0
// Internal to the command-line tool: what its commands share (the reports in
// the error dialog's words, the module's port, the limits of a search and a
// pairing) and the commands that live in files of their own.
#pragma once

#include "Cli.h"
#include "Communicator.h"
#include "Units.h"
#include "mSerial.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

struct Failure;

namespace cli {

using Clock = std::chrono::steady_clock;
using Address = std::array<uint8_t, 6>;

// A search as the window runs it: duration 12, every class of device.
constexpr int32_t kSearchDuration = 12;
// Overall time limits (seconds) unless --time-limit gives one: the module's
// own search of duration 12 lasts about 15 s; a pairing waits for a person at
// the remote device.
constexpr int kSearchLimit = 30;
constexpr int kPairingLimit = 120;
constexpr int kTimeLimitMax = 3600;
// After a cancel, how long the module is given to report the end.
constexpr auto kAbortWait = std::chrono::seconds(3);
// A search lists at most this many devices; further results are ignored.
constexpr std::size_t kMaxDevices = 20;
constexpr std::size_t kPasskeyMax = 16;

// The time now, UTC, in strftime's format.
std::string UtcNow(const char* format);

// A report of the program's own: the first line after the program's name, the
// others as they stand.
void Say(std::ostream& err, const std::string& first, const std::vector<std::string>& more = {});
// A failure as the error report dialog shows it: caption, headline, description.
void Report(std::ostream& err, const Failure& failure);
// A port whose device went away (unplugged, or the far end hung up) ends the
// command at once; the person is told which device and why.
void ReportLoss(std::ostream& err, const mSerial& port);
// Why the device did not open, in the system's words where it has them.
std::string WhyNotOpened(const std::string& device, const mSerial& port);

// The module's port, open at the module's line settings with a module answering.
class Link {
  public:
    ~Link();
    // kSuccess, or kNoModule after reporting why not.
    int Open(const std::string& device, std::ostream& err);

    mSerial port;
    Communicator comm;
};

// read, write and check (Cli.cpp).
int ReadCommand(const std::string& device, const std::string& output, Console& console);
// write --only KEY...: only the groups that hold the named settings; units:
// the values of the unit's own.
int WriteCommand(const std::string& device, const std::string& path,
                 const std::vector<std::string>& only, const UnitOptions& units,
                 Console& console);
int CheckCommand(const std::string& path, Console& console);
// The ports as the window's chooser lists them (Ports.cpp).
int PortsCommand(const std::vector<std::string>& given, Console& console);
// Why a module on each device answers or not (Doctor.cpp).
int DoctorCommand(const std::vector<std::string>& given, Console& console);
// A device search, and a pairing started by the module or by the remote device
// (Pairing.cpp).
int SearchCommand(const std::string& device, int limitSeconds, Console& console);
int PairCommand(const std::string& device, bool remoteInitiates, const Address& address,
                const std::string& passkey, int limitSeconds, Console& console);

} // namespace cli
