// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include "CliCommon.h"
#include "ConfigFile.h"
#include "Diff.h"
#include "ModuleSettings.h"
#include "Sha256.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <thread>

namespace cli {
namespace program {

namespace {

using Clock = std::chrono::steady_clock;

std::string Seconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", seconds);
    return text;
}

std::string Or(const std::string& text) {
    return text.empty() ? "-" : text;
}

// The time of a record, UTC, to the second: "2024-05-01T12:34:56Z".
std::string Now() {
    return UtcNow("%Y-%m-%dT%H:%M:%SZ");
}

std::string Csv(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string quoted = "\"";
    for (char c : field) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

std::string Joined(const std::vector<std::string>& lines, const char* between) {
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : between) + line;
    return text;
}

} // namespace

std::string ResultLine(const Outcome& o) {
    std::string line = o.device;
    if (!o.resolved.empty() && o.resolved != o.device) line += " (" + o.resolved + ")";
    line += "  " + Or(o.product) + "  " + Or(o.address) + "  " + (o.ok ? "OK" : "FAILED") + "  " +
            Seconds(o.seconds);
    if (o.unit.number != 0) line += "  unit " + std::to_string(o.unit.number);
    for (const auto& [key, value] : o.unit.values)
        line += "  " + key + ": " + value;
    return line;
}

std::string Resolved(const std::string& device) {
#if !defined(_WIN32)
    char real[4096];
    if (::realpath(device.c_str(), real) != nullptr) return real;
#endif
    return device;
}

bool Port::Open(int32_t n, const std::string& device, std::vector<std::string>& why) {
    SetModuleLineSettings(port);
    port.port = n;
    if (port.Open() != 0) {
        why = {"COM port could not be opened!", device + ": " + WhyDeviceNotOpened(device, port)};
        return false;
    }
    DropStaleBytes(port);
    comm.SetSerialPort(&port);
    comm.frameByFrame = true;
    return true;
}

bool Port::Probe() {
    return ProbeModule(comm, port);
}

void Tracker::Begin(const char* name, int steps) {
    position = 0;
    maximum = steps;
    phase = name;
    if (onBegin) onBegin(name, steps);
}

std::string Tracker::Text() const {
    const int at = position, of = maximum;
    if (of == 0) return "starting";
    return std::string(phase.load()) + " " + std::to_string(at < of ? at : of) + "/" +
           std::to_string(of);
}

Outcome ProgramOn(Port& port, Job& job, Tracker* tracker) {
    const std::string& bytes = job.bytes;
    const std::string& fileName = job.fileName;
    Outcome o;
    Tracker unused;
    Tracker& t = tracker != nullptr ? *tracker : unused;
    Failure failure;
    ModuleSettings settings;
    settings.SetCommunicator(&port.comm);
    settings.SetProgress(&t);
    t.Begin("reading", ModuleSettings::kReadProgressMaximum);
    if (settings.ReadAll(failure) != nullptr) {
        o.reason = ReportLines(failure);
        return o;
    }
    o.product = settings.general.productId;
    o.address = settings.general.bluetoothAddress;
    o.software = settings.general.softwareVersion;
    TakenLines taken;
    if (settings.LoadFile(bytes, &taken) == 0) {
        o.reason = {fileName + " contains no settings"};
        return o;
    }
    if (job.units.Active()) {
        // The unit takes its number now: a unit that fails from here on keeps it.
        std::string why;
        if (!job.units.Take(o.address, o.unit, why)) {
            o.reason = {"Not written: " + why};
            return o;
        }
        settings.LoadFile(o.unit.FileText(), &taken);
    }
    if (settings.ValidateAll(failure) != nullptr) {
        o.reason = ReportLines(failure);
        return o;
    }
    // What the module is meant to hold, before the write can change a value.
    const std::string meant = settings.FileText();
    t.Begin("writing", settings.WriteProgressMaximum());
    if (settings.WriteAll(failure) != nullptr) {
        o.reason = ReportLines(failure);
        return o;
    }
    ModuleSettings back;
    back.SetCommunicator(&port.comm);
    back.SetProgress(&t);
    t.Begin("verifying", ModuleSettings::kReadProgressMaximum);
    if (back.ReadAll(failure) != nullptr) {
        o.reason = ReportLines(failure);
        o.reason.insert(o.reason.begin(), "Written, but the module could not be read back:");
        return o;
    }
    o.differences =
        CompareSettings(back.FileText(), meant, settings.WrittenKeys(SettingKeys(taken)));
    if (!o.differences.empty()) {
        const std::size_t n = o.differences.size();
        o.reason = {"Verification failed: " + std::to_string(n) +
                    (n == 1 ? " setting differs" : " settings differ") + " from " + fileName};
        for (const SettingDifference& d : o.differences)
            o.reason.push_back(DifferenceLine(d, "module", "file"));
        return o;
    }
    o.ok = true;
    return o;
}

void Writer::Line(const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex);
    out << line << "\n" << std::flush;
}

void Writer::Lines(const std::vector<std::string>& lines) {
    std::lock_guard<std::mutex> lock(mutex);
    for (const std::string& line : lines)
        out << line << "\n";
    out << std::flush;
}

bool Log::Open(const std::string& logPath, bool asJson, std::string& why) {
    std::ofstream out(logPath, std::ios::binary | std::ios::app);
    if (!out) {
        why = logPath + ": it cannot be written";
        return false;
    }
    out.seekp(0, std::ios::end);
    if (!asJson && out.tellp() == std::streampos(0))
        out << "time,device,address,product,software,file,sha256,result,reason,differences,"
               "resolved,unit,values\n";
    out.flush();
    if (!out) {
        why = logPath + ": it cannot be written";
        return false;
    }
    path = logPath;
    json = asJson;
    return true;
}

void Log::Record(const std::string& csvLine, const Json& object) {
    if (path.empty()) return;
    std::lock_guard<std::mutex> lock(mutex);
    std::ofstream(path, std::ios::binary | std::ios::app)
        << (json ? JsonLine(object) : csvLine) << "\n" << std::flush;
}

// The reason without the differences, which have their own field.
std::string ReasonText(const Outcome& o) {
    return Joined({o.reason.begin(), o.reason.end() - long(o.differences.size())}, " / ");
}

Json RecordFields(const Outcome& o, const Job& job) {
    Json differences = Json::array();
    for (const SettingDifference& d : o.differences)
        differences.push_back({{"key", JsonText(d.key)},
                               {"module", d.inFirst ? Json(JsonText(d.first)) : Json()},
                               {"file", d.inSecond ? Json(JsonText(d.second)) : Json()}});
    Json values = Json::object();
    for (const auto& [key, value] : o.unit.values)
        values[JsonText(key)] = JsonText(value);
    return {{"time", Now()},
            {"device", o.device},
            {"resolved", o.resolved},
            {"unit", o.unit.number != 0 ? Json(o.unit.number) : Json()},
            {"values", values},
            {"address", o.address},
            {"product", JsonText(o.product)},
            {"software", JsonText(o.software)},
            {"file", job.fileName},
            {"sha256", job.sha256},
            {"result", o.ok ? "OK" : "FAILED"},
            {"reason", JsonText(ReasonText(o))},
            {"differences", differences}};
}

void Job::Event(const std::string& event, const std::string& device, Json fields) {
    if (!json) return;
    Json object = {{"event", event}, {"device", device}};
    object.update(fields);
    writer.Line(JsonLine(object));
}

void Job::Report(const Outcome& o) {
    const Json fields = RecordFields(o, *this);
    if (json) {
        Json event = {{"event", "result"}};
        event.update(fields);
        event["seconds"] = o.seconds;
        writer.Line(JsonLine(event));
    } else {
        std::vector<std::string> lines{ResultLine(o)};
        for (const std::string& line : o.reason)
            lines.push_back("    " + line);
        writer.Lines(lines);
    }
    std::vector<std::string> differences, values;
    for (const SettingDifference& d : o.differences)
        differences.push_back(DifferenceLine(d, "module", "file"));
    for (const auto& [key, value] : o.unit.values)
        values.push_back(key + ": " + value);
    std::string csv;
    const std::vector<std::string> cells = {fields.at("time").get<std::string>(),
                                            o.device,
                                            o.address,
                                            o.product,
                                            o.software,
                                            fileName,
                                            sha256,
                                            o.ok ? "OK" : "FAILED",
                                            ReasonText(o),
                                            Joined(differences, "; "),
                                            o.resolved,
                                            o.unit.number ? std::to_string(o.unit.number) : "",
                                            Joined(values, "; ")};
    for (std::size_t i = 0; i < cells.size(); ++i)
        csv += (i ? "," : "") + Csv(cells[i]);
    log.Record(csv, fields);
}

} // namespace program

std::string CheckProgramOptions(const ProgramOptions& o) {
    for (std::size_t i = 0; i < o.devices.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (o.devices[i] == o.devices[j]) return o.devices[i] + " is given twice";
    return "";
}

int ProgramCommand(const ProgramOptions& options, Console& console) {
    const std::string& path = options.file;
    const std::vector<std::string>& devices = options.devices;
    program::Job job(console.out, console.json);
    std::string why;
    if (!ConfigFile::ReadAll(path, job.bytes, &why)) {
        console.err << "btconf-cli: Configuration file could not be read!\n"
                    << path << ": " << why << "\n"
                    << std::flush;
        return kInvalid;
    }
    {
        // A file without one setting is refused before any module is asked anything.
        ModuleSettings probe;
        probe.AssumeEveryGroup();
        if (probe.LoadFile(job.bytes) == 0) {
            console.err << "btconf-cli: " << path << " contains no settings\n" << std::flush;
            return kInvalid;
        }
    }
    if (!job.units.Setup(options.units, why)) {
        console.err << "btconf-cli: " << why << "\n" << std::flush;
        return kInvalid;
    }
    job.fileName = path;
    job.sha256 = Sha256Hex(job.bytes);
    if (!options.log.empty() && !job.log.Open(options.log, options.logFormat == "json", why)) {
        console.err << "btconf-cli: Log file could not be written!\n" << why << "\n" << std::flush;
        return kCannotSave;
    }
    // Port n is devices[n - 1]; the table is set once, before any worker reads it.
    PortTable::Set(devices);
    if (options.watch) return program::RunStation(devices, job, console);

    std::vector<program::Outcome> outcomes(devices.size());
    std::vector<std::thread> workers;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < devices.size(); ++i) {
        workers.emplace_back([&, i] {
            const auto began = std::chrono::steady_clock::now();
            program::Outcome o;
            const std::string resolved = program::Resolved(devices[i]);
            job.Event("start", devices[i], {{"resolved", resolved}});
            {
                program::Port port;
                program::Tracker tracker;
                tracker.onBegin = [&](const char* phase, int steps) {
                    job.Event("progress", devices[i], {{"phase", phase}, {"steps", steps}});
                };
                std::vector<std::string> why;
                if (!port.Open(int32_t(i + 1), devices[i], why))
                    o.reason = why;
                else if (!port.Probe())
                    o.reason = NotFoundLines();
                else
                    o = program::ProgramOn(port, job, &tracker);
            }
            o.device = devices[i];
            o.resolved = resolved;
            o.seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
            job.Report(o);
            outcomes[i] = std::move(o);
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    std::size_t ok = 0;
    for (const program::Outcome& o : outcomes)
        ok += o.ok ? 1 : 0;
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (console.json) {
        job.writer.Line(JsonLine({{"event", "summary"},
                                  {"modules", outcomes.size()},
                                  {"ok", ok},
                                  {"failed", outcomes.size() - ok},
                                  {"seconds", seconds}}));
    } else {
        char summary[160];
        std::snprintf(summary, sizeof summary,
                      "%zu of %zu %s programmed and verified, %zu FAILED (%.2f s)", ok,
                      outcomes.size(), outcomes.size() == 1 ? "module" : "modules",
                      outcomes.size() - ok, seconds);
        job.writer.Line(summary);
    }
    return ok == outcomes.size() ? kSuccess : kNotProgrammed;
}

} // namespace cli
