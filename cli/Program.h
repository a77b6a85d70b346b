// SPDX-License-Identifier: Apache-2.0
// "program": one configuration file onto many modules at once, each read back
// and compared; with --watch, a station that programs every module put on its
// ports. Each port has its own worker thread with its own port, Communicator
// and settings; what they share is the output (one line at a time) and the log.
#pragma once

#include "Cli.h"
#include "Communicator.h"
#include "Compare.h"
#include "Json.h"
#include "Units.h"
#include "SettingsGroup.h"
#include "mSerial.h"

#include <atomic>
#include <functional>
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
    UnitOptions units;
};
// What is wrong with the options beyond their form, or "".
std::string CheckProgramOptions(const ProgramOptions& options);
int ProgramCommand(const ProgramOptions& options, Console& console);

namespace program {

// What happened to one module.
struct Outcome {
    std::string device;
    std::string resolved; // the device it named when the unit was programmed
    Unit unit;            // the unit's number and values of its own
    std::string product, address, software; // empty until the module was read
    bool ok = false;
    std::vector<std::string> reason;            // why not, in the error report's words
    std::vector<SettingDifference> differences; // module (first) against file (second)
    double seconds = 0;
};

// The line printed for a module: device, product, address, OK or FAILED,
// seconds, and the unit's number and values.
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
    // Told of each phase as it begins (--json's progress events).
    std::function<void(const char* phase, int maximum)> onBegin;
    void Step() override { ++position; }
    void RaiseMaximum(int by) override { maximum += by; }
    void Repaint() override {}
    std::string Text() const; // "writing 4/9"

  private:
    std::atomic<const char*> phase{""};
    std::atomic<int> position{0}, maximum{0};
};

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
    bool Open(const std::string& path, bool json, std::string& why);
    void Record(const std::string& csvLine, const Json& object);

  private:
    std::mutex mutex;
    std::string path;
    bool json = false;
};

// What every worker of a run shares: the file, the units' values, the log and
// the output.
struct Job {
    Job(std::ostream& out, bool json) : writer(out), json(json) {}
    std::string bytes, fileName, sha256;
    Units units;
    Log log;
    Writer writer; // standard output
    bool json;     // --json: events instead of lines on standard output

    // An event on standard output (--json only): start, progress, result.
    void Event(const std::string& event, const std::string& device, Json fields = Json::object());
    // The result: its line (or event) and its log record.
    void Report(const Outcome& outcome);
};

// The fields of a module's record: time, device, resolved device, unit and
// values, address, product, software, file, SHA-256, result, reason, differences.
Json RecordFields(const Outcome& outcome, const Job& job);

// Reads the module, takes the file and the unit's values as "write" does,
// writes, then reads the module back and compares every setting written.
Outcome ProgramOn(Port& port, Job& job, Tracker* tracker);

// The device a name stands for now: a link (such as /dev/serial/by-path/...)
// resolved, anything else as it is.
std::string Resolved(const std::string& device);

// Station mode: runs until SIGINT or SIGTERM; exit status.
int RunStation(const std::vector<std::string>& devices, Job& job, Console& console);

} // namespace program
} // namespace cli
