// SPDX-License-Identifier: Apache-2.0
// "program": one configuration file onto many modules at once, each read back
// and compared; with --watch, a station that programs every module put on its
// ports. Each port has its own worker thread with its own port, Communicator
// and settings; what they share is the output (one line at a time) and the log.
#pragma once

#include "Cli.h"
#include "Communicator.h"
#include "Compare.h"
#include "SettingsGroup.h"
#include "mSerial.h"

#include <atomic>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace cli {

// What the command line gives "program".
struct ProgramOptions {
    std::string file;
    std::vector<std::string> devices;
    bool watch = false;
    std::string log;
    std::string logFormat = "csv";
};
// What is wrong with the options beyond their form, or "".
std::string CheckProgramOptions(const ProgramOptions& options);
int ProgramCommand(const ProgramOptions& options, Console& console);

namespace program {

// What happened to one module.
struct Outcome {
    std::string device;
    std::string product, address, software; // empty until the module was read
    bool ok = false;
    std::vector<std::string> reason;            // why not, in the error report's words
    std::vector<SettingDifference> differences; // module (first) against file (second)
    double seconds = 0;
};

// The line printed for a module: device, product, address, OK or FAILED, seconds.
std::string ResultLine(const Outcome& outcome);

// A module's port, open at the module's line settings.
struct Port {
    ~Port() { Close(); }
    // Opens port number n of the port table (device is its path, for texts).
    // false with why (the report's lines) when it does not open.
    bool Open(int32_t n, const std::string& device, std::vector<std::string>& why);
    // true when a module answers the probe.
    bool Probe();
    void Close() {
        if (port.IsOpen()) port.Close();
    }
    mSerial port;
    Communicator comm;
};

// Where a worker is, for a live line: phase and progress steps.
class Tracker : public Progress {
  public:
    void Begin(const char* phase, int maximum);
    void Step() override { ++position; }
    void RaiseMaximum(int by) override { maximum += by; }
    void Repaint() override {}
    std::string Text() const; // "writing 4/9"

  private:
    std::atomic<const char*> phase{""};
    std::atomic<int> position{0}, maximum{0};
};

// Reads, loads, validates and writes the file as "write" does, then reads the
// module back and compares every setting the file set.
Outcome ProgramOn(Port& port, const std::string& bytes, const std::string& fileName,
                  Tracker* tracker);

// Output lines from several threads, whole lines at a time.
class Writer {
  public:
    explicit Writer(std::ostream& out) : out(out) {}
    void Line(const std::string& line);
    void Lines(const std::vector<std::string>& lines);

  private:
    std::mutex mutex;
    std::ostream& out;
};

// The record of which module got what (--log).
class Log {
  public:
    // false with why when the file cannot be appended to.
    bool Open(const std::string& path, bool json, const std::string& fileName,
              const std::string& bytes, std::string& why);
    void Record(const Outcome& outcome);
    bool Active() const { return !path.empty(); }

  private:
    std::mutex mutex;
    std::string path, fileName, sha256;
    bool json = false;
};

// Station mode: runs until SIGINT or SIGTERM; exit status.
int RunStation(const std::vector<std::string>& devices, const std::string& bytes,
               const std::string& fileName, Log& log, Console& console);

} // namespace program
} // namespace cli
