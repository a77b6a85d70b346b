// SPDX-License-Identifier: Apache-2.0
#include "Diff.h"

#include "ConfigFile.h"
#include "ModuleSettings.h"
#include "Program.h"
#include "TextBar.h"

#include <algorithm>
#include <ostream>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace cli {

namespace {

int Complain(std::ostream& err, const std::string& first, const std::vector<std::string>& more,
             int status) {
    err << "btconf-cli: " << first << "\n";
    for (const std::string& line : more)
        err << line << "\n";
    err << std::flush;
    return status;
}

int ReadConfig(const std::string& path, std::string& bytes, std::ostream& err) {
    std::string why;
    if (ConfigFile::ReadAll(path, bytes, &why)) return kSuccess;
    return Complain(err, "Configuration file could not be read!", {path + ": " + why}, kInvalid);
}

int Print(const std::vector<SettingDifference>& differences, const std::string& firstWord,
          const std::string& secondWord, Console& console) {
    for (const SettingDifference& d : differences)
        console.out << DifferenceLine(d, firstWord, secondWord) << "\n";
    console.out << std::flush;
    return differences.empty() ? kSuccess : kDiffer;
}

int DiffModule(const std::string& device, const std::string& path, Console& console) {
    std::string bytes;
    if (const int status = ReadConfig(path, bytes, console.err)) return status;
    {
        ModuleSettings probe;
        probe.AssumeEveryGroup();
        if (probe.LoadFile(bytes) == 0)
            return Complain(console.err, path + " contains no settings", {}, kInvalid);
    }
    PortTable::Set({device});
    program::Port port;
    std::vector<std::string> why;
    if (!port.Open(1, device, why))
        return Complain(console.err, why[0], {why.begin() + 1, why.end()}, kNoModule);
    if (!port.Probe()) {
        const std::vector<std::string> lines = NotFoundLines();
        return Complain(console.err, lines[0], {lines.begin() + 1, lines.end()}, kNoModule);
    }
    ModuleSettings settings;
    settings.SetCommunicator(&port.comm);
    Failure failure;
    {
        TextBar bar(console.err, console.progress, "Reading settings",
                    ModuleSettings::kReadProgressMaximum);
        settings.SetProgress(&bar);
        const SettingsGroup* failed = settings.ReadAll(failure);
        settings.SetProgress(nullptr);
        bar.Clear();
        if (failed != nullptr) {
            const std::vector<std::string> lines = ReportLines(failure);
            return Complain(console.err, lines[0], {lines.begin() + 1, lines.end()},
                            kCommunication);
        }
    }
    // What the module holds, against what it would hold after a write of the
    // file: the file's values on top of the module's, in the groups' own words.
    const std::string held = settings.FileText();
    TakenLines taken;
    if (settings.LoadFile(bytes, &taken) == 0)
        return Complain(console.err, path + " contains no settings", {}, kInvalid);
    return Print(CompareSettings(held, settings.FileText(), SettingKeys(taken)), "module", "file",
                 console);
}

int DiffFiles(const std::string& firstPath, const std::string& secondPath, Console& console) {
    std::string first, second;
    if (const int status = ReadConfig(firstPath, first, console.err)) return status;
    if (const int status = ReadConfig(secondPath, second, console.err)) return status;
    std::vector<std::string> keys = FileSettingKeys(first);
    for (std::string& key : FileSettingKeys(second))
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(std::move(key));
    if (keys.empty()) return Complain(console.err, "neither file contains settings", {}, kInvalid);
    return Print(CompareSettings(first, second, keys), "first", "second", console);
}

} // namespace

std::string DifferenceLine(const SettingDifference& d, const std::string& firstWord,
                           const std::string& secondWord) {
    auto value = [](bool has, const std::string& v) { return has ? v : std::string("(not set)"); };
    return d.key + ": " + firstWord + " " + value(d.inFirst, d.first) + ", " + secondWord + " " +
           value(d.inSecond, d.second);
}

bool IsDevice(const std::string& path) {
#if !defined(_WIN32)
    // A device node, or a name under /dev/ whose device is not there (yet).
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) return S_ISCHR(st.st_mode);
    return path.rfind("/dev/", 0) == 0;
#else
    return path.rfind("COM", 0) == 0 || path.rfind("\\\\.\\", 0) == 0;
#endif
}

int DiffCommand(const std::string& first, const std::string& second, Console& console) {
    if (IsDevice(first)) return DiffModule(first, second, console);
    return DiffFiles(first, second, console);
}

} // namespace cli
