// SPDX-License-Identifier: Apache-2.0
// Option parsing and the help text of the virtual module server.
#include "SimOptions.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <functional>
#include <sstream>

namespace sim {

namespace {

bool ReadFile(const std::string& path, std::string* text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    *text = s.str();
    return true;
}

bool ParseInt(const std::string& text, long lo, long hi, int* out) {
    if (text.empty() || text.size() > 10) return false;
    long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    if (value < lo || value > hi) return false;
    *out = static_cast<int>(value);
    return true;
}

} // namespace

bool ParseSimOptions(const std::vector<std::string>& args, SimOptions* out, std::string* error) {
    SimOptions o;
    CLI::App app{"", "nvmsim"};
    app.set_help_flag(); // --help is the program's own text
    app.add_flag("-h,--help", o.help);
    // An option whose value is taken (or refused, with why) as it is met.
    auto option = [&](const char* name, std::function<std::string(const std::string&)> take) {
        return app.add_option_function<std::string>(name, [take](const std::string& value) {
            const std::string why = take(value);
            if (!why.empty()) throw CLI::ValidationError(why);
        });
    };
    auto number = [](int* into, long lo, long hi, std::string why) {
        return [=](const std::string& value) { return ParseInt(value, lo, hi, into) ? "" : why; };
    };
    auto path = [](std::string* into, std::string why) {
        return [=](const std::string& value) {
            *into = value;
            return value.empty() ? why : "";
        };
    };
    option("--profile", [&](const std::string& value) {
        return ParseProfile(value, &o.module.profile) ? ""
                                                      : "unknown profile \"" + value + "\" (see --help)";
    });
    option("--link", path(&o.link, "--link needs a path"));
    option("--state", path(&o.statePath, "--state needs a path"));
    option("--trace", path(&o.tracePath, "--trace needs a path"));
    option("--devices", [&](const std::string& value) -> std::string {
        if (value.compare(0, 10, "generated:") == 0) {
            int count = 0;
            if (!ParseInt(value.substr(10), 0, 1000, &count))
                return "--devices generated:N takes 0 to 1000 devices";
            o.module.devices = GeneratedDevices(count);
            return "";
        }
        std::string text, why;
        if (!ReadFile(value, &text)) return "cannot read devices file \"" + value + "\"";
        return ParseDevices(text, &o.module.devices, &why) ? "" : value + ": " + why;
    });
    app.add_option_function<std::vector<std::string>>("--fault", [&](const std::vector<std::string>& specs) {
           for (const std::string& spec : specs) {
               Fault f;
               std::string why;
               if (!ParseFault(spec, &f, &why)) throw CLI::ValidationError(why);
               o.module.faults.push_back(f);
           }
       })->allow_extra_args(false);
    option("--answer-delay",
           number(&o.module.answerDelayMs, 0, 10000, "--answer-delay takes 0 to 10000 ms"));
    option("--search-time",
           number(&o.module.searchTimeMs, 10, 600000, "--search-time takes 10 to 600000 ms"));
    option("--search-spread",
           number(&o.module.searchSpreadMs, 0, 600000, "--search-spread takes 0 to 600000 ms"));
    option("--back-to-back",
           number(&o.module.backToBack, 1, 1000, "--back-to-back takes 1 to 1000 devices"));
    option("--baud",
           number(&o.module.baud, 300, 4000000, "--baud takes 300 to 4000000 bits per second"));
    option("--unit", number(&o.module.unit, 0, 255, "--unit takes 0 to 255"));
    option("--count", number(&o.count, 1, kMaxCount,
                             "--count takes 1 to " + std::to_string(kMaxCount) + " modules"));
    option("--seed", [&](const std::string& value) {
        int seed = 0;
        if (!ParseInt(value, 0, 2000000000, &seed)) return "--seed takes a number";
        o.module.seed = static_cast<uint32_t>(seed);
        return "";
    });
    option("--pairing", [&](const std::string& value) -> std::string {
        const size_t at = value.find('@');
        if (!ParsePairingOutcome(value.substr(0, at), &o.module.pairingOutcome))
            return "--pairing takes complete, timeout, failed or error, then @MS";
        if (at != std::string::npos &&
            !ParseInt(value.substr(at + 1), 0, 600000, &o.module.pairingDelayMs))
            return "--pairing delay takes 0 to 600000 ms";
        return "";
    });
    try {
        std::vector<std::string> reversed(args.rbegin(), args.rend());
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        if (error) *error = e.what();
        return false;
    }
    *out = o;
    return true;
}

std::vector<std::string> ModuleArgs(const std::vector<std::string>& args, int index) {
    std::vector<std::string> out;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string name = args[i], value;
        const size_t eq = name.find('=');
        const bool inlineValue = name.compare(0, 2, "--") == 0 && eq != std::string::npos;
        if (inlineValue) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
        }
        const bool path = name == "--link" || name == "--state" || name == "--trace";
        if (name != "--count" && !path) {
            out.push_back(args[i]);
            continue;
        }
        if (!inlineValue && i + 1 < args.size()) value = args[++i];
        if (path) out.push_back(name + "=" + value + std::to_string(index));
    }
    // Each module has an address of its own, so a log tells them apart.
    out.push_back("--unit=" + std::to_string(index));
    return out;
}

std::string SimUsage() {
    std::string profiles;
    int count = 0;
    for (const std::string& p : ProfileNames()) {
        if (count > 0) profiles += count % 4 == 0 ? "\n    " : ", ";
        profiles += p;
        ++count;
    }
    std::string text = R"(Usage: nvmsim [OPTION]...
Serves a virtual adapter module on a pseudo-terminal (or N of them with
--count N). The first line printed is the device to open (the link when --link
is given; one line a module with --count); the modules answer until the program
gets SIGINT or SIGTERM.

Options:
  --profile NAME       the module simulated (default: "default"), see Profiles
  --link PATH          make PATH a symbolic link to the device (removed at exit;
                       an existing link is replaced, any other file refused)
  --state FILE         load the module's settings from FILE at start and save
                       them there after every change
  --trace FILE         write every frame to FILE as it goes ("recv 1c 00" from
                       the host, "send 1c 06 01 ..." from the module)
  --devices FILE       the remote devices a search finds (see Devices file)
  --devices generated:N
                       N made-up devices (0 to 1000) instead of a file:
                       distinct addresses, names of varied length up to 32
                       bytes (the third exactly 32), computers, phones, access
                       points, audio, peripherals, printers, uncategorized
  --fault SPEC         misbehave on purpose; may be repeated (see Faults)
  --pairing OUTCOME[@MS]
                       outcome of a pairing: complete, timeout, failed or error,
                       reported MS ms after the pairing command (default
                       complete@1500); a module told to wait for the remote
                       side (0x63) pairs with the first device of the list
  --search-time MS     how long a search of duration 12 takes (default 3000);
                       other durations scale with it
  --search-spread MS   the devices answer within the first MS ms of a search,
                       evenly spread (default: over the whole search)
  --back-to-back N     the devices answer in groups of N whose events follow
                       each other with no gap on the line (default 1)
  --answer-delay MS    the module's think time before an answer (default 2)
  --baud N             line speed for pacing the module's bytes, 10 bits a byte
                       (default 38400)
  --seed N             seed of the random bytes of the split and garbage faults
  --count N            serve N modules (1 to 256), each its own virtual module on
                       its own pseudo-terminal, one device path printed a line;
                       with N above 1 the paths of --link, --state and --trace
                       get the module's number 0 to N-1 appended (--link
                       /tmp/nvm makes /tmp/nvm0, /tmp/nvm1, ...), so that every
                       module keeps its own settings file, and --unit the
                       module's number
  --unit N             the fifth byte of the module's own Bluetooth address
                       (0 to 255, default 0)
  --help               show this text

Profiles:
  default            = code3-3.02: product code 3, software 3.02, every group
  codeN-X.YY         product code N (1 to 5) with software X.YY (2.10, 3.00 or
                     3.02); codes 2, 3 and 4 are the second generation
  gen1-X.YY, gen2-X.YY  the same as code1-X.YY and code3-X.YY
  Software 2.10 has no article number, advanced settings or user baudrate;
  3.00 adds them; 3.02 adds quality of service and, on the second generation,
  audio (SCO). Handshake emulation needs the second generation. A command the
  software does not know answers status 255, one the hardware lacks 254.
  All names:
    )" + profiles +
                       R"(

Devices file:
  One device a line: six hexadecimal address bytes, the name (spaces allowed,
  at most 32 bytes sent), and optionally the Class of Device as 0x followed by
  hexadecimal digits at the end of the line. Blank lines and lines starting
  with '#' are skipped. For example:
    02 1a 7d 3c 11 01  Workshop Laptop  0x02010c
    02 22 48 5e 9a 02  Service Phone    0x5a020c
  Without --devices four built-in devices are found. A search whose class
  filter names a major device class finds only the devices of that class.

Faults (OP is an opcode, in hexadecimal 0x.. or decimal; without OP a fault
applies to every frame, the probe included; for answers OP is the command's
opcode, the search events are 0x60 and the pairing event 0x65):
  silent, silent:OP    no answer at all / to OP
  opcode:OP=NEW        answer OP with opcode NEW
  status:OP=N          answer OP with status N and no data
  split, split:OP      send the answer in pieces of 1 to 3 bytes with pauses of
                       about 40 ms (the whole within about 0.3 s)
  garbage:OP=N         send N random bytes instead of the answer
  delay:OP=MS          answer MS ms late
  ignore, ignore:OP    answer a write as taken but keep the value held before
  Example: --fault silent:0x40 answers the probe but never the identity read.
  Without faults, a search result (the first of a group with --back-to-back),
  the end of a search and a pairing outcome always come at least 30 ms after
  the frame before them.

Settings state file:
  Plain text, one "key value" line per setting, for example
  "device_name Norvane NVM-220"; bytes outside printable ASCII are written as
  \xNN. Unknown lines are ignored.

Exit status: 0 after SIGINT or SIGTERM, 1 when no pseudo-terminal can be made,
2 for a bad option.
)";
    return text;
}

} // namespace sim
