// SPDX-License-Identifier: Apache-2.0
// btconf.Settings: a mapping from the configuration file's keys to the values in
// the file's own words, held by the settings groups themselves, so that a value
// is taken, shown and saved exactly as the window takes, shows and saves it.
#include "Bindings.h"

#include "Compare.h"
#include "ConfigFile.h"

#include <pybind11/stl.h>

#include <algorithm>

namespace pybtconf {

std::string Settings::Lines() const {
    const std::string text = Text();
    std::string lines;
    for (const std::string& key : keys) {
        std::string value;
        if (TakeConfigValue(key, text, value)) lines += key + ": " + value + "\n";
    }
    return lines;
}

namespace {

std::string Key(const py::handle& key) {
    return Latin1(key, "a setting's key");
}

py::str Get(const Settings& s, const py::handle& key) {
    const std::string k = Key(key);
    std::string value;
    if (std::find(s.keys.begin(), s.keys.end(), k) == s.keys.end() ||
        !TakeConfigValue(k, s.Text(), value))
        throw py::key_error(Text(k));
    return Text(value);
}

// The value goes through the groups' load, as a file line would: a value the
// load refuses leaves everything as it was.
void Set(Settings& s, const py::handle& key, const py::handle& value) {
    const std::string k = Key(key);
    const std::string line = k + ": " + Latin1(value, "the value of \"" + k + "\"") + "\n";
    if (line.find('\r') != std::string::npos || std::count(line.begin(), line.end(), '\n') != 1 ||
        s.groups->LoadFile(line) == 0)
        Raise("BadValue", {"\"" + line.substr(0, line.size() - 1) +
                           "\" is not a setting the configuration file takes"});
    s.groups->ClearChanged();
    if (std::find(s.keys.begin(), s.keys.end(), k) == s.keys.end()) {
        // Kept in the file's order of keys.
        const std::vector<std::string> order = FileSettingKeys(s.Text());
        s.keys.push_back(k);
        std::stable_sort(s.keys.begin(), s.keys.end(), [&](const auto& a, const auto& b) {
            return std::find(order.begin(), order.end(), a) <
                   std::find(order.begin(), order.end(), b);
        });
    }
}

std::unique_ptr<Settings> Load(const std::string& path) {
    std::string bytes, why;
    if (!ConfigFile::ReadAll(path, bytes, &why))
        Raise("BadValue", {"Configuration file could not be read!", path + ": " + why});
    auto s = std::make_unique<Settings>();
    TakenLines taken;
    if (s->groups->LoadFileAlone(bytes, &taken) == 0)
        Raise("BadValue", {path + " contains no settings"});
    s->groups->ClearChanged();
    s->keys = SettingKeys(taken);
    return s;
}

void Save(const Settings& s, const std::string& path) {
    std::string why;
    if (!ConfigFile::WriteAtomically(path, s.Text(), &why))
        Raise("ModuleError", {"Configuration file could not be saved!", path + ": " + why});
}

py::list Differences(const std::vector<SettingDifference>& differences) {
    py::list list;
    for (const SettingDifference& d : differences)
        list.append(py::make_tuple(Text(d.key), d.inFirst ? py::object(Text(d.first)) : py::none(),
                                   d.inSecond ? py::object(Text(d.second)) : py::none()));
    return list;
}

py::list Diff(const Settings& a, const Settings& b) {
    std::vector<std::string> keys = a.keys;
    for (const std::string& key : b.keys)
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
    return Differences(CompareSettings(a.Lines(), b.Lines(), keys));
}

// Every group's first failure, in write-all's order of checks.
py::list Validate(const Settings& s) {
    py::list failures;
    for (const ModuleSettings::Member& m : s.groups->Members()) {
        Failure failure;
        if (m.validated && s.groups->TakesPart(m) && m.group->Validate(failure) != 1)
            failures.append(FailureObject(failure));
    }
    return failures;
}

} // namespace

py::list DifferenceList(const std::vector<SettingDifference>& differences) {
    return Differences(differences);
}

void DefineSettings(py::module_& m) {
    py::class_<Settings> cls(m, "Settings", R"(The settings of a module or a configuration
file: a mapping from the file's keys ("Bluetooth Device Name", "Serial baudrate", ...)
to values in the file's own words. A value set is taken as a loaded file line is.)");
    cls.def(py::init([] {
           // Empty, taking values as a file checked without a module.
           auto s = std::make_unique<Settings>();
           s->groups->AssumeEveryGroup();
           return s;
       }))
        .def_static("load", &Load, py::arg("path"),
                    "The settings a configuration file sets (a refused file raises BadValue).")
        .def("save", &Save, py::arg("path"),
             "Saves the configuration file, byte for byte as the window saves it.")
        .def(
            "text", [](const Settings& s) { return Text(s.Text()); },
            "The configuration file's text (\"\\n\" line ends; saved with CR LF).")
        .def("diff", &Diff, py::arg("other"),
             "The settings that differ: a list of (key, value here, value in other); None "
             "where a side does not set the key.")
        .def("validate", &Validate,
             "The failures a write would stop at: a list of Failure (headline, text, error, "
             "help_context, texts); empty when every value is valid.")
        .def("__getitem__", &Get)
        .def("__setitem__", &Set)
        .def("__delitem__",
             [](Settings& s, const py::handle& key) {
                 const auto at = std::find(s.keys.begin(), s.keys.end(), Key(key));
                 if (at == s.keys.end()) throw py::key_error(py::str(key));
                 s.keys.erase(at);
             })
        .def("__len__", [](const Settings& s) { return s.keys.size(); })
        .def("__iter__",
             [](const Settings& s) {
                 py::list keys;
                 for (const std::string& k : s.keys)
                     keys.append(Text(k));
                 return keys.attr("__iter__")();
             })
        .def("__contains__",
             [](const Settings& s, const py::handle& key) {
                 return py::isinstance<py::str>(key) &&
                        std::find(s.keys.begin(), s.keys.end(), Key(key)) != s.keys.end();
             })
        .def("__repr__", [](const Settings& s) {
            return "<btconf.Settings of " + std::to_string(s.keys.size()) + " settings>";
        });
    // keys(), items(), values(), get(), update(), ... as every mapping has them.
    py::module_::import("collections.abc").attr("MutableMapping").attr("register")(cls);
    for (const char* name : {"keys", "items", "values", "get", "update", "pop", "setdefault"})
        cls.attr(name) = py::module_::import("collections.abc").attr("MutableMapping").attr(name);
    cls.attr("__eq__") = py::module_::import("collections.abc").attr("Mapping").attr("__eq__");
    cls.attr("__hash__") = py::none();
}

} // namespace pybtconf
