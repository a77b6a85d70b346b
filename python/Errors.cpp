// SPDX-License-Identifier: Apache-2.0
// btconf.ModuleError and its subclasses: the failure in the error report's words
// (texts), with the Communicator's result, the module's status and the error number.
#include "Bindings.h"

#include "Cli.h"

#include <pybind11/eval.h>

namespace pybtconf {

namespace {

const char* const kClasses = R"py(
class ModuleError(Exception):
    """A module, port or file failed. texts: the lines the error report shows
    (caption, "Error: " headline, description); error: the error number
    (0x100/0x200 + opcode for a failed read/write, 0 for an input error);
    result: the protocol's result (-1 no answer, -2 wrong answer, -3 module
    status); status: the module's status byte; help_context: the help topic."""
    def __init__(self, texts, result=0, status=0, error=0, help_context=0, headline="",
                 category=""):
        super().__init__("\n".join(texts))
        self.texts = list(texts)
        self.result, self.status, self.error = result, status, error
        self.help_context, self.headline, self.category = help_context, headline, category

class NoAnswer(ModuleError):
    """The module did not answer in time."""

class WrongAnswer(ModuleError):
    """The module answered with another command's frame."""

class ModuleStatus(ModuleError):
    """The module answered with a status other than success."""

class BadValue(ModuleError):
    """A value, a key or a file that cannot be taken."""

class Failure:
    """One validation failure, as the error report shows it."""
    def __init__(self, headline, text, error, help_context, texts):
        self.headline, self.text, self.error = headline, text, error
        self.help_context, self.texts = help_context, list(texts)
    def __repr__(self):
        return "Failure(%r, %r, error=0x%04x, help_context=%d)" % (
            self.headline, self.text, self.error, self.help_context)
)py";

// The module lives as long as the interpreter: held without a reference count.
PyObject*& ModulePointer() {
    static PyObject* module = nullptr;
    return module;
}

py::handle Module() {
    return ModulePointer();
}

py::list TextList(const std::vector<std::string>& lines) {
    py::list list;
    for (const std::string& line : lines)
        list.append(Text(line));
    return list;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

} // namespace

py::str Text(const std::string& bytes) {
    PyObject* text = PyUnicode_DecodeLatin1(bytes.data(), Py_ssize_t(bytes.size()), nullptr);
    if (text == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

std::string Latin1(const py::handle& text, const std::string& what) {
    if (!py::isinstance<py::str>(text)) {
        if (py::isinstance<py::int_>(text) && !py::isinstance<py::bool_>(text))
            return py::str(text).cast<std::string>();
        Raise("BadValue", {what + " must be a text"});
    }
    PyObject* bytes = PyUnicode_AsLatin1String(text.ptr());
    if (bytes == nullptr) {
        PyErr_Clear();
        Raise("BadValue", {what + " holds a character the module cannot take: only the "
                                  "Latin-1 characters can be sent"});
    }
    const py::bytes owned = py::reinterpret_steal<py::bytes>(bytes);
    return owned.cast<std::string>();
}

void DefineErrors(py::module_& m) {
    ModulePointer() = m.ptr();
    py::exec(kClasses, m.attr("__dict__"));
}

void Raise(const Failure& failure) {
    const char* kind = failure.result == -1     ? "NoAnswer"
                       : failure.result == -2   ? "WrongAnswer"
                       : failure.result == -3   ? "ModuleStatus"
                       : failure.errorCode == 0 ? "BadValue"
                                                : "ModuleError";
    const py::object error = Module().attr(kind)(
        TextList(cli::ReportLines(failure)), failure.result, failure.status, failure.errorCode,
        failure.helpContext, Text(failure.headline), Text(failure.category));
    PyErr_SetObject(error.get_type().ptr(), error.ptr());
    throw py::error_already_set();
}

void Raise(const char* kind, const std::vector<std::string>& lines, int32_t result) {
    const py::object error = Module().attr(kind)(TextList(lines), result);
    PyErr_SetObject(error.get_type().ptr(), error.ptr());
    throw py::error_already_set();
}

py::object FailureObject(const Failure& failure) {
    return Module().attr("Failure")(Text(failure.headline), Text(Joined(failure.description)),
                                    failure.errorCode, failure.helpContext,
                                    TextList(cli::ReportLines(failure)));
}

} // namespace pybtconf
