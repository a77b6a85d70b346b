// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

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
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
#if defined(_WIN32)
    gmtime_s(&utc, &now);
#else
    gmtime_r(&now, &utc);
#endif
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
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

std::string Json(const std::string& text) {
    std::string quoted = "\"";
    for (char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (u < 0x20 || u >= 0x7f) {
            // Module and file texts are 8-bit: every byte outside printable
            // ASCII is written as its code, so that each line stays valid JSON.
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", unsigned(u));
            quoted += escaped;
        } else {
            quoted += c;
        }
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
    return o.device + "  " + Or(o.product) + "  " + Or(o.address) + "  " +
           (o.ok ? "OK" : "FAILED") + "  " + Seconds(o.seconds);
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
    int32_t probe = comm.CheckConnection();
    if (probe == -2) {
        // Something stale was in the way: once more, reading until the line is quiet.
        comm.frameByFrame = false;
        DropStaleBytes(port);
        probe = comm.CheckConnection();
        comm.frameByFrame = true;
    }
    return probe == 1;
}

void Tracker::Begin(const char* name, int steps) {
    position = 0;
    maximum = steps;
    phase = name;
}

std::string Tracker::Text() const {
    const int at = position, of = maximum;
    if (of == 0) return "starting";
    return std::string(phase.load()) + " " + std::to_string(at < of ? at : of) + "/" +
           std::to_string(of);
}

Outcome ProgramOn(Port& port, const std::string& bytes, const std::string& fileName,
                  Tracker* tracker) {
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

bool Log::Open(const std::string& logPath, bool asJson, const std::string& name,
               const std::string& bytes, std::string& why) {
    std::ofstream out(logPath, std::ios::binary | std::ios::app);
    if (!out) {
        why = logPath + ": it cannot be written";
        return false;
    }
    out.seekp(0, std::ios::end);
    if (!asJson && out.tellp() == std::streampos(0))
        out << "time,device,address,product,software,file,sha256,result,reason,differences\n";
    out.flush();
    if (!out) {
        why = logPath + ": it cannot be written";
        return false;
    }
    path = logPath;
    json = asJson;
    fileName = name;
    sha256 = Sha256Hex(bytes);
    return true;
}

void Log::Record(const Outcome& o) {
    if (path.empty()) return;
    std::vector<std::string> differences;
    for (const SettingDifference& d : o.differences)
        differences.push_back(DifferenceLine(d, "module", "file"));
    // The reason without the differences, which have their own field.
    std::vector<std::string> reason(o.reason.begin(), o.reason.end() - long(differences.size()));
    const std::string result = o.ok ? "OK" : "FAILED";
    std::string record;
    if (json) {
        record = "{\"time\":" + Json(Now()) + ",\"device\":" + Json(o.device) +
                 ",\"address\":" + Json(o.address) + ",\"product\":" + Json(o.product) +
                 ",\"software\":" + Json(o.software) + ",\"file\":" + Json(fileName) +
                 ",\"sha256\":" + Json(sha256) + ",\"result\":" + Json(result) +
                 ",\"reason\":" + Json(Joined(reason, " / ")) + ",\"differences\":[";
        for (std::size_t i = 0; i < o.differences.size(); ++i) {
            const SettingDifference& d = o.differences[i];
            record += std::string(i ? "," : "") + "{\"key\":" + Json(d.key) +
                      ",\"module\":" + (d.inFirst ? Json(d.first) : "null") +
                      ",\"file\":" + (d.inSecond ? Json(d.second) : "null") + "}";
        }
        record += "]}\n";
    } else {
        const std::vector<std::string> fields = {Now(),
                                                 o.device,
                                                 o.address,
                                                 o.product,
                                                 o.software,
                                                 fileName,
                                                 sha256,
                                                 result,
                                                 Joined(reason, " / "),
                                                 Joined(differences, "; ")};
        for (std::size_t i = 0; i < fields.size(); ++i)
            record += (i ? "," : "") + Csv(fields[i]);
        record += "\n";
    }
    std::lock_guard<std::mutex> lock(mutex);
    std::ofstream(path, std::ios::binary | std::ios::app) << record << std::flush;
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
    std::string bytes, why;
    if (!ConfigFile::ReadAll(path, bytes, &why)) {
        console.err << "btconf-cli: Configuration file could not be read!\n"
                    << path << ": " << why << "\n"
                    << std::flush;
        return kInvalid;
    }
    {
        // A file without one setting is refused before any module is asked anything.
        ModuleSettings probe;
        probe.AssumeEveryGroup();
        if (probe.LoadFile(bytes) == 0) {
            console.err << "btconf-cli: " << path << " contains no settings\n" << std::flush;
            return kInvalid;
        }
    }
    program::Log log;
    if (!options.log.empty() && !log.Open(options.log, options.logFormat == "json", path, bytes, why)) {
        console.err << "btconf-cli: Log file could not be written!\n" << why << "\n" << std::flush;
        return kCannotSave;
    }
    // Port n is devices[n - 1]; the table is set once, before any worker reads it.
    PortTable::Set(devices);
    if (options.watch) return program::RunStation(devices, bytes, path, log, console);

    program::Writer writer(console.out);
    std::vector<program::Outcome> outcomes(devices.size());
    std::vector<std::thread> workers;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < devices.size(); ++i) {
        workers.emplace_back([&, i] {
            const auto began = std::chrono::steady_clock::now();
            program::Outcome o;
            {
                program::Port port;
                std::vector<std::string> why;
                if (!port.Open(int32_t(i + 1), devices[i], why))
                    o.reason = why;
                else if (!port.Probe())
                    o.reason = NotFoundLines();
                else
                    o = program::ProgramOn(port, bytes, path, nullptr);
            }
            o.device = devices[i];
            o.seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
            std::vector<std::string> lines{program::ResultLine(o)};
            for (const std::string& line : o.reason)
                lines.push_back("    " + line);
            writer.Lines(lines);
            log.Record(o);
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
    char summary[160];
    std::snprintf(summary, sizeof summary,
                  "%zu of %zu %s programmed and verified, %zu FAILED (%.2f s)", ok, outcomes.size(),
                  outcomes.size() == 1 ? "module" : "modules", outcomes.size() - ok, seconds);
    writer.Line(summary);
    return ok == outcomes.size() ? kSuccess : kNotProgrammed;
}

} // namespace cli
