// SPDX-License-Identifier: Apache-2.0
// btconf.open(device): a module on its port, opened and probed as btconf-cli
// opens it, read, written, verified, searching and pairing through the same
// groups and commands. Every call that touches the port lets go of the
// interpreter lock, so that threads can drive several modules at once.
#include "Bindings.h"

#include "Cli.h"
#include "CliCommon.h"
#include "Communicator.h"
#include "EndpSettings.h"
#include "Operations.h"
#include "Program.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <mutex>

namespace pybtconf {

namespace {

// Ports of the modules open now: one port table for all of them, each device
// keeping its number while its module is open.
std::mutex tableMutex;
std::vector<std::string> openDevices;

int32_t PlaceInTable(const std::string& device) {
    std::vector<std::string> table = PortTable::Get();
    auto at = std::find(table.begin(), table.end(), device);
    if (at == table.end()) {
        auto unused = std::find_if(table.begin(), table.end(), [](const std::string& d) {
            return std::find(openDevices.begin(), openDevices.end(), d) == openDevices.end();
        });
        if (table.size() < std::size_t(PortTable::kMaxPorts)) {
            table.push_back(device);
            at = table.end() - 1;
        } else if (unused != table.end()) {
            *unused = device;
            at = unused;
        } else {
            return 0;
        }
        PortTable::Set(table);
    }
    return int32_t(at - table.begin()) + 1;
}

// Progress of a read or write for a Python callback(position, maximum); the
// callback runs with the interpreter lock, and an exception it raises is
// raised when the operation has ended.
class CallbackProgress : public Progress {
  public:
    explicit CallbackProgress(py::object callback, int maximum)
        : callback(std::move(callback)), maximum(maximum) {}
    void Step() override {
        ++position;
        Call();
    }
    void RaiseMaximum(int by) override { maximum += by; }
    void Repaint() override {}
    void RaiseAny() {
        if (error) error->restore(), throw py::error_already_set();
    }

  private:
    void Call() {
        if (callback.is_none() || error) return;
        py::gil_scoped_acquire gil;
        try {
            callback(std::min(position, maximum), maximum);
        } catch (py::error_already_set& e) {
            error = std::make_unique<py::error_already_set>(std::move(e));
        }
    }
    py::object callback;
    int position = 0, maximum;
    std::unique_ptr<py::error_already_set> error;
};

class Module {
  public:
    explicit Module(std::string device) : device(std::move(device)) {}
    ~Module() { Close(); }

    void Open() {
        std::vector<std::string> why;
        bool opened = false, answered = false;
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> lock(tableMutex);
            const int32_t n = PlaceInTable(device);
            if (n == 0) {
                why = {"COM port could not be opened!", device + ": too many ports are open"};
            } else if ((opened = port.Open(n, device, why))) {
                openDevices.push_back(device);
                placed = true;
            }
        }
        if (!opened) Raise("ModuleError", why);
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> one(busy); // one operation at a time on the port
            answered = port.Probe();
        }
        if (!answered) {
            std::vector<std::string> lines = cli::NotFoundLines();
            AddLoss(lines);
            Close();
            Raise("NoAnswer", lines, -1);
        }
    }

    // From Python: waits (letting other threads run) for an operation under way.
    void CloseWaiting() {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> one(busy);
        Close();
    }

    void Close() {
        closed = true;
        port.Close();
        if (!placed) return;
        placed = false;
        std::lock_guard<std::mutex> lock(tableMutex);
        openDevices.erase(std::find(openDevices.begin(), openDevices.end(), device));
    }

    // The module's settings, read as read-all reads them.
    std::unique_ptr<Settings> Read(const py::object& progress) {
        auto s = std::make_unique<Settings>();
        ReadInto(*s->groups, progress);
        s->keys = FileSettingKeys(s->Text());
        return s;
    }

    // As "btconf-cli write" (with --only): the module read, the settings put on
    // what it holds, validated and written; returns how many settings were taken.
    int Write(const Settings& settings, const py::object& only, const py::object& progress) {
        const std::string bytes = settings.Lines();
        std::vector<std::string> keys;
        if (!only.is_none()) {
            if (py::isinstance<py::str>(only))
                keys.push_back(Latin1(only, "a setting's key"));
            else
                for (const py::handle key : only)
                    keys.push_back(Latin1(key, "a setting's key"));
            if (keys.empty()) Raise("BadValue", {"only= names no setting"});
            for (const std::string& key : KeysNotSet(bytes, keys))
                Raise("BadValue", {"\"" + key + "\" is not a setting of these settings"});
        }
        ModuleSettings groups;
        ReadInto(groups, py::none());
        std::vector<SettingsGroup*> chosen;
        const int taken = groups.LoadForWrite(bytes, keys, chosen);
        if (taken == 0) Raise("BadValue", {"The settings contain no setting this module takes"});
        Failure failure;
        if (groups.ValidateAll(failure, &chosen) != nullptr) Raise(failure);
        CallbackProgress bar(progress, groups.WriteProgressMaximum());
        groups.SetProgress(&bar);
        groups.SetCommunicator(&port.comm);
        const SettingsGroup* failed = nullptr;
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> one(busy); // one operation at a time on the port
            failed = groups.WriteAll(failure, &chosen);
        }
        groups.SetCommunicator(nullptr);
        groups.SetProgress(nullptr);
        if (failed != nullptr) RaiseFailure(failure);
        bar.RaiseAny();
        return taken;
    }

    // The settings a write sent that the module does not hold (as a check
    // after writing looks at them): (key, module's value, value of settings).
    py::list Verify(const Settings& settings) {
        ModuleSettings groups;
        ReadInto(groups, py::none());
        return DifferenceList(ModuleDifferences(groups, settings.Lines(), true));
    }

    py::dict Identity() {
        if (!identity) {
            CheckOpen();
            auto general = std::make_unique<GenSettings>();
            general->SetCommunicator(&port.comm);
            Failure failure;
            int read = 0;
            {
                py::gil_scoped_release release;
                std::lock_guard<std::mutex> one(busy); // one operation at a time on the port
                read = general->ReadFromDevice(failure);
            }
            general->SetCommunicator(nullptr);
            if (read != 1) RaiseFailure(failure);
            identity = std::move(general);
        }
        const GenSettings& g = *identity;
        py::dict flags;
        flags["firmware3"] = bool(g.firmware3);
        flags["firmware3_minor2"] = bool(g.firmware3Minor2);
        flags["firmware3_minor2_gen2"] = bool(g.firmware3Minor2Gen2);
        flags["second_generation"] = bool(g.secondGeneration);
        flags["product_code5"] = bool(g.productCode5);
        py::dict d;
        d["product"] = Text(g.productId);
        d["hardware_version"] = Text(g.hardwareVersion);
        d["software_version"] = Text(g.softwareVersion);
        d["article_number"] = Text(g.articleNumber);
        d["address"] = Text(g.bluetoothAddress);
        d["flags"] = flags;
        return d;
    }

    py::list Search(int limit) {
        CheckOpen();
        CheckLimit(limit);
        std::vector<cli::FoundDevice> found;
        cli::SearchEnd end;
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> one(busy); // one operation at a time on the port
            end = cli::RunSearch(port.comm, port.port, limit,
                                 [&](const cli::FoundDevice& d) { found.push_back(d); });
        }
        if (end == cli::SearchEnd::Lost) RaiseLoss();
        if (end == cli::SearchEnd::NoEnd)
            Raise("NoAnswer",
                  {"The search did not end",
                   "The module reported no end of the search, not even after it was canceled."},
                  -1);
        py::list devices;
        for (const cli::FoundDevice& d : found)
            devices.append(
                py::make_tuple(btaddress::Text(d.address), Text(d.name), d.classOfDevice));
        return devices;
    }

    std::string Pair(bool remote, const std::string& addressText, const py::handle& passkey,
                     int limit) {
        CheckOpen();
        CheckLimit(limit);
        std::array<uint8_t, 6> address{};
        if (!remote && !cli::ParseAddressArgument(addressText, address))
            Raise("BadValue", {"The address \"" + addressText +
                               "\" is not six bytes such as 00:1b:dc:0f:52:a7 or 001bdc0f52a7"});
        const std::string key = Latin1(passkey, "The passkey");
        if (key.empty() || key.size() > cli::kPasskeyMax)
            Raise("BadValue", {"The passkey must have 1-16 characters"});
        cli::PairingOutcome o;
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> one(busy); // one operation at a time on the port
            o = cli::RunPairing(port.comm, port.port, remote, address, key, limit);
        }
        if (o.started != 0) {
            Raise(ResultKind(o.started),
                  {"Pairing could not be started",
                   "The reason was: " + port.comm.GetErrorText(o.started)},
                  o.started);
        }
        if (o.lost) RaiseLoss();
        if (o.state == 0)
            Raise("NoAnswer",
                  {"The pairing did not end",
                   "The module reported no outcome, not even after it was canceled."},
                  -1);
        if (o.state != 1) Raise("ModuleError", {cli::PairingText(o.state)});
        if (!o.pairedRead) RaiseFailure(o.failure);
        return btaddress::Text(o.paired);
    }

    const std::string device;

  private:
    static const char* ResultKind(int32_t result) {
        return result == -1   ? "NoAnswer"
               : result == -2 ? "WrongAnswer"
               : result == -3 ? "ModuleStatus"
                              : "ModuleError";
    }
    static void CheckLimit(int limit) {
        if (limit < 1 || limit > 3600) Raise("BadValue", {"time_limit takes 1 to 3600 seconds"});
    }
    void AddLoss(std::vector<std::string>& lines) const {
        if (port.port.IsLost())
            lines.insert(lines.end(),
                         {"The module's port went away", port.port.GetLastErrorText()});
    }
    [[noreturn]] void RaiseLoss() const {
        std::vector<std::string> lines;
        AddLoss(lines);
        Raise("ModuleError", lines);
    }
    [[noreturn]] void RaiseFailure(Failure failure) const {
        if (port.port.IsLost())
            failure.description.insert(failure.description.end(), {"The module's port went away",
                                                                   port.port.GetLastErrorText()});
        Raise(failure);
    }
    void CheckOpen() const {
        if (closed) Raise("ModuleError", {"The module on " + device + " is closed"});
    }

    void ReadInto(ModuleSettings& groups, const py::object& progress) {
        CheckOpen();
        groups.SetCommunicator(&port.comm);
        CallbackProgress bar(progress, ModuleSettings::kReadProgressMaximum);
        groups.SetProgress(&bar);
        Failure failure;
        const SettingsGroup* failed = nullptr;
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> one(busy); // one operation at a time on the port
            failed = groups.ReadAll(failure);
        }
        groups.SetProgress(nullptr);
        groups.SetCommunicator(nullptr);
        if (failed != nullptr) RaiseFailure(failure);
        groups.ClearChanged();
        bar.RaiseAny();
        // The General group was just read: the identity is what it says now.
        if (!identity) identity = std::make_unique<GenSettings>();
        static_cast<GenSettings&>(*identity) = groups.general;
    }

    cli::program::Port port;
    std::mutex busy; // held by the operation on the port, while Python threads run
    bool placed = false; // the device is among openDevices
    bool closed = false;
    std::unique_ptr<GenSettings> identity;
};

} // namespace

void DefineModule(py::module_& m) {
    m.def(
        "ports",
        [] {
            py::list ports;
            for (const cli::PortRow& row : cli::ListPorts({}))
                ports.append(py::dict(py::arg("port") = row.port, py::arg("device") = row.device,
                                      py::arg("resolved") = row.resolved,
                                      py::arg("kind") = row.kind, py::arg("state") = row.state,
                                      py::arg("by_path") = row.byPath,
                                      py::arg("by_id") = row.byId));
            return ports;
        },
        "The serial devices as `btconf-cli ports` lists them, each a dict: port, device, "
        "resolved, kind, state, by_path, by_id.");
    py::class_<Module>(m, "Module", "A module on its port; made by btconf.open(device).")
        .def_readonly("device", &Module::device)
        .def_property_readonly("identity", &Module::Identity,
                               "product, hardware_version, software_version, article_number, "
                               "address and the capability flags")
        .def("read", &Module::Read, py::arg("progress") = py::none(),
             "Reads every setting as read-all does; progress(position, maximum) after each step.")
        .def("write", &Module::Write, py::arg("settings"), py::arg("only") = py::none(),
             py::arg("progress") = py::none(),
             "Validates and writes as write-all does; with only (keys), only the groups that "
             "hold them, from the module's own values with those settings changed.")
        .def("verify", &Module::Verify, py::arg("settings"),
             "Reads the module back: the settings it does not hold as written, a list of "
             "(key, module's value, value in settings).")
        .def("search", &Module::Search, py::kw_only(), py::arg("time_limit") = 30,
             "A device search: a list of (address, name, class of device).")
        .def(
            "pair",
            [](Module& m, const std::string& address, const py::handle& passkey, int limit) {
                return m.Pair(false, address, passkey, limit);
            },
            py::arg("address"), py::arg("passkey"), py::kw_only(), py::arg("time_limit") = 120,
            "Pairs with the remote device; returns the paired address.")
        .def(
            "wait_pair",
            [](Module& m, const py::handle& passkey, int limit) {
                return m.Pair(true, "", passkey, limit);
            },
            py::arg("passkey"), py::kw_only(), py::arg("time_limit") = 120,
            "Waits for a remote device to pair; returns the paired address.")
        .def("close", &Module::CloseWaiting)
        .def("__enter__", [](Module& m) -> Module& { return m; })
        .def("__exit__", [](Module& m, const py::args&) { m.CloseWaiting(); })
        .def("__repr__", [](const Module& m) { return "<btconf.Module on " + m.device + ">"; });
    m.def(
        "open",
        [](const std::string& device) {
            auto module = std::make_unique<Module>(device);
            module->Open();
            return module;
        },
        py::arg("device"),
        "Opens the device as the window opens a port (38400 bit/s, 8N1) and probes the "
        "module: NoAnswer when none answers.");
}

} // namespace pybtconf

PYBIND11_MODULE(btconf, m) {
    m.doc() = "Bluetooth serial-port adapter modules: settings, search and pairing";
    pybtconf::DefineErrors(m);
    pybtconf::DefineSettings(m);
    pybtconf::DefineModule(m);
}
