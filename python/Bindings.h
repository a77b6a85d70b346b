// SPDX-License-Identifier: Apache-2.0
// The Python module btconf: what its parts share.
#pragma once

#include "Compare.h"
#include "ModuleSettings.h"
#include "SettingsGroup.h"

#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <vector>

namespace py = pybind11;

namespace pybtconf {

// Texts of the module and the file are 8-bit: Python sees them as Latin-1.
py::str Text(const std::string& bytes);
// A Python text as the module's 8-bit text; BadValue for a character beyond Latin-1.
std::string Latin1(const py::handle& text, const std::string& what);

// ModuleError and its subclasses (Errors.cpp).
void DefineErrors(py::module_& m);
// The class for a failure: NoAnswer, WrongAnswer, ModuleStatus by the
// Communicator's result, BadValue for an input error, else ModuleError.
[[noreturn]] void Raise(const Failure& failure);
// A failure of the program's own (no error number): its lines as they stand.
[[noreturn]] void Raise(const char* kind, const std::vector<std::string>& lines,
                        int32_t result = 0);
// A validation failure as the object validate() lists.
py::object FailureObject(const Failure& failure);

// A set of settings: the groups holding the values, and the file keys this
// set sets (all of a module's after a read, a file's after a load).
class Settings {
  public:
    std::unique_ptr<ModuleSettings> groups = std::make_unique<ModuleSettings>();
    std::vector<std::string> keys;

    // The configuration file the window saves for these groups ("\n" line ends).
    std::string Text() const { return groups->FileText(); }
    // The lines of the keys set, as a file a write or a load takes.
    std::string Lines() const;
};

// Differences as Python sees them: (key, first value, second value), None where unset.
py::list DifferenceList(const std::vector<SettingDifference>& differences);

void DefineSettings(py::module_& m);
void DefineModule(py::module_& m);

} // namespace pybtconf
