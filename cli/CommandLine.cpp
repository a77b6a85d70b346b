// SPDX-License-Identifier: Apache-2.0
// btconf-cli's command line: the commands and their options (CLI11), checked
// before anything is opened, then handed to the commands. --trace FILE and
// --json go with every command, before or after its name.
#include "Cli.h"

#include "CliCommon.h"
#include "Diff.h"
#include "Json.h"
#include "Operations.h"
#include "Program.h"
#include "SupportReport.h"
#include "Trace.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <sstream>

namespace cli {

namespace {

// A check of an option's value: the complaint, or "" when the value is good.
CLI::Validator Check(std::string (*judge)(const std::string&)) {
    return CLI::Validator(judge, "", "");
}

std::string NotEmpty(const std::string& value) {
    return value.empty() ? "the file name is empty" : "";
}

std::string Seconds(const std::string& value) {
    const bool digits =
        !value.empty() && value.size() <= 4 && value.find_first_not_of("0123456789") == value.npos;
    const int seconds = digits ? std::stoi(value) : 0;
    return seconds >= 1 && seconds <= kTimeLimitMax ? "" : "takes 1 to 3600 seconds";
}

std::string Passkey(const std::string& value) {
    std::string key;
    if (!PasskeyBytes(value, key))
        return "the passkey holds a character the module cannot take: only the Latin-1 "
               "characters can be sent";
    return key.empty() || key.size() > kPasskeyMax ? "the passkey must have 1-16 characters" : "";
}

std::string AddressText(const std::string& value) {
    Address address{};
    return ParseAddressArgument(value, address)
               ? ""
               : "ADDRESS \"" + value +
                     "\" is not six bytes such as 00:1b:dc:0f:52:a7, 001bdc0f52a7 or "
                     "\"00 1b dc 0f 52 a7\"";
}

// What the words of a command line ask for, once CLI11 has taken them apart.
struct Given {
    std::string device, file, second, output, address, passkey, timeLimit, trace;
    std::vector<std::string> devices, only;
    bool json = false;
    UnitOptions units;
    bool showSecrets = false;
    ProgramOptions program;
};

struct Parser {
    CLI::App app{"", "btconf-cli"};
    Given g;
    CLI::App* command = nullptr;
    std::vector<CLI::Option*> firsts; // --first of write and program

    Parser() {
        app.set_help_flag("-h,--help");
        app.fallthrough();
        app.require_subcommand(1);
        app.add_option("--trace", g.trace)->check(Check(NotEmpty));
        app.add_flag("--json", g.json);

        auto* read = Add("read");
        read->add_option("DEVICE", g.device)->required();
        read->add_option("-o,--output", g.output)->required()->check(Check(NotEmpty));
        auto* write = Add("write");
        write->add_option("DEVICE", g.device)->required();
        write->add_option("FILE", g.file)->required();
        UnitOptions(write, g.units);
        write->add_option("--only", g.only);
        Add("check")->add_option("FILE", g.file)->required();
        Add("ports")->add_option("DEVICE", g.devices);
        Add("doctor")->add_option("DEVICE", g.devices);
        auto* report = Add("report");
        report->add_option("DEVICE", g.device)->required();
        report->add_option("-o,--output", g.output)->required()->check(Check(NotEmpty));
        report->add_flag("--show-secrets", g.showSecrets);
        Add("help");

        auto* search = Add("search");
        search->add_option("DEVICE", g.device)->required();
        search->add_option("--time-limit", g.timeLimit)->check(Check(Seconds));
        auto* pair = Add("pair");
        pair->add_option("DEVICE", g.device)->required();
        pair->add_option("ADDRESS", g.address)->required()->check(Check(AddressText));
        pair->add_option("--passkey", g.passkey)->required()->check(Check(Passkey));
        pair->add_option("--time-limit", g.timeLimit)->check(Check(Seconds));
        auto* wait = Add("wait-pair");
        wait->add_option("DEVICE", g.device)->required();
        wait->add_option("--passkey", g.passkey)->required()->check(Check(Passkey));
        wait->add_option("--time-limit", g.timeLimit)->check(Check(Seconds));

        ProgramOptions& p = g.program;
        auto* program = Add("program");
        program->add_option("FILE", p.file)->required();
        program->add_option("DEVICE", p.devices)->required();
        program->add_flag("--watch", p.watch);
        auto* log = program->add_option("--log", p.log)->check(Check(NotEmpty));
        program->add_option("--log-format", p.logFormat)
            ->check(CLI::IsMember({"csv", "json"}))
            ->needs(log);
        UnitOptions(program, p.units);

        auto* diff = Add("diff");
        diff->add_option("FIRST", g.file)->required();
        diff->add_option("SECOND", g.second)->required();
    }

    // Per-unit values of write and program.
    void UnitOptions(CLI::App* command, cli::UnitOptions& u) {
        // One KEY=VALUE each time, so that the DEVICEs after it stay DEVICEs.
        command->add_option("--set", u.sets)->allow_extra_args(false);
        command->add_option("--units", u.units)->check(Check(NotEmpty));
        command->add_option("--counter", u.counter)->check(Check(NotEmpty));
        firsts.push_back(command->add_option("--first", u.first)->check(CLI::Range(0L, 999999999L)));
    }

    CLI::App* Add(const char* name) {
        CLI::App* sub = app.add_subcommand(name);
        sub->callback([this, sub] { command = sub; });
        return sub;
    }
};

// A mistake on the command line: what is wrong, then the usage.
int Misused(const std::string& what, Console& console) {
    Say(console.err, what);
    console.err << "\n" << Usage() << std::flush;
    return kUsage;
}

int Dispatch(const std::string& name, const Given& g, Console& console) {
    if (name == "help") {
        console.out << Usage() << std::flush;
        return kSuccess;
    }
    if (name == "read") return ReadCommand(g.device, g.output, console);
    if (name == "write") return WriteCommand(g.device, g.file, g.only, g.units, console);
    if (name == "check") return CheckCommand(g.file, console);
    if (name == "ports") return PortsCommand(g.devices, console);
    if (name == "doctor") return DoctorCommand(g.devices, console);
    if (name == "report") return ReportCommand(g.device, g.output, g.showSecrets, console);
    if (name == "program") return ProgramCommand(g.program, console);
    if (name == "diff") return DiffCommand(g.file, g.second, console);
    const bool search = name == "search";
    const int limit = !g.timeLimit.empty() ? std::stoi(g.timeLimit)
                      : search             ? kSearchLimit
                                           : kPairingLimit;
    if (search) return SearchCommand(g.device, limit, console);
    Address address{};
    const bool remoteInitiates = name == "wait-pair";
    if (!remoteInitiates) ParseAddressArgument(g.address, address);
    std::string key;
    PasskeyBytes(g.passkey, key); // checked with the command line
    return PairCommand(g.device, remoteInitiates, address, key, limit, console);
}

// Passes what is written on to another stream and keeps a copy.
class Tee : public std::streambuf {
  public:
    explicit Tee(std::ostream& to) : to(to) {}
    std::string kept;

  protected:
    int overflow(int c) override {
        if (c == EOF) return 0;
        kept += char(c);
        to.put(char(c));
        return c;
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        kept.append(s, std::size_t(n));
        to.write(s, n);
        return n;
    }
    int sync() override {
        to.flush();
        return 0;
    }

  private:
    std::ostream& to;
};

// With --json, a command that fails with a report ends with an object of its
// own on standard output: the exit status and the report's lines as standard
// error has them.
int WithFailureObject(const std::string& name, const Given& g, Console& console) {
    Tee tee(console.err);
    std::ostream err(&tee);
    Console teed{console.out, err, console.progress, true};
    const int status = Dispatch(name, g, teed);
    err.flush();
    Json report = Json::array();
    std::istringstream lines(tee.kept);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty() && line.find_first_of("\r\x1b") == std::string::npos)
            report.push_back(JsonText(line.rfind("btconf-cli: ", 0) == 0 ? line.substr(12) : line));
    // program's modules have their own results and summary.
    if (status == kSuccess || status == kDiffer || report.empty()) return status;
    console.out << JsonLine({{"event", "failed"}, {"command", name}, {"status", status},
                             {"report", report}})
                << "\n"
                << std::flush;
    return status;
}

int Command(const std::string& name, const Given& g, Console& console) {
    return console.json ? WithFailureObject(name, g, console) : Dispatch(name, g, console);
}

} // namespace

int Run(const std::vector<std::string>& args, Console& console) {
    Parser parser;
    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try {
        parser.app.parse(reversed);
    } catch (const CLI::CallForHelp&) {
        console.out << Usage() << std::flush;
        return kSuccess;
    } catch (const CLI::ParseError& e) {
        return Misused(e.what(), console);
    }
    Given& g = parser.g;
    const std::string name = parser.command->get_name();
    for (const CLI::Option* first : parser.firsts)
        g.units.firstGiven = g.program.units.firstGiven = g.units.firstGiven || first->count() > 0;
    if (name == "program") {
        const std::string why = CheckProgramOptions(g.program);
        if (!why.empty()) return Misused(why, console);
    }
    if (name == "diff" && IsDevice(g.second))
        return Misused("diff takes the DEVICE first, then the FILE", console);
    console.json = g.json;

    // --trace FILE: every frame of every Communicator the command makes is
    // written to FILE, one line each, flushed at once.
    if (parser.app.count("--trace") == 0) return Command(name, g, console);
    std::FILE* file = std::fopen(g.trace.c_str(), "wb");
    if (file == nullptr) {
        Say(console.err, "The trace file could not be written!",
            {g.trace + ": " + std::strerror(errno)});
        return kCannotSave;
    }
    TraceWriter writer(file);
    Communicator::SetDefaultObserver(writer.Observer());
    const int status = Command(name, g, console);
    Communicator::SetDefaultObserver(nullptr);
    std::fclose(file);
    return status;
}

} // namespace cli
