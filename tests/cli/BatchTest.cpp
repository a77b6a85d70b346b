// SPDX-License-Identifier: Apache-2.0
// Many modules from the command line: "program" on several virtual modules at
// once, its station mode as modules come and go, "diff", the log's SHA-256,
// per-unit values, --json and nvmsim --count. btconf-cli runs as a child
// process against modules served by this process (or by nvmsim); what is
// checked is what a person sees: lines,
// exit statuses, log records, and what the modules hold afterwards.
#include "ModuleRig.h"
#include "Run.h"
#include "SimOptions.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>

namespace {

// What a module holds, as "read" saves it.
std::string FileOf(const std::string& device) {
    return Cli({"read", device, "-o", "-"}).out;
}

// A device as a result line names it: the name given, then what it resolved to.
std::string Shown(const std::string& device) {
    char real[PATH_MAX];
    const std::string resolved = realpath(device.c_str(), real) ? real : "?";
    return resolved == device ? device : device + " (" + resolved + ")";
}

// The objects of --json output, one a line.
std::vector<nlohmann::json> Objects(const std::string& out) {
    std::vector<nlohmann::json> objects;
    for (const std::string& line : Split(out))
        objects.push_back(nlohmann::json::parse(line, nullptr, false));
    return objects;
}

// A module's file with a new name, speed and class of device.
std::string Changed(const std::string& file) {
    return Replace(file, {{"Device Name: Norvane NVM-220", "Device Name: Line 4"},
                          {"Serial baudrate: 38400", "Serial baudrate: 115200"},
                          {"Class of device: 7936", "Class of device: 2360324"}});
}

TEST(Diff, ModuleAgainstFileAndFileAgainstFileWithTheirStatuses) {
    ModuleRig module;
    const std::string same = Temp("same.bcf"), other = Temp("other.bcf"), empty = Temp("e.bcf");
    const std::string first = Temp("first.bcf"), second = Temp("second.bcf");
    const std::string held = FileOf(module.device);
    Spit(same, held);
    Spit(other, Changed(held));
    Spit(empty, "# nothing here\r\n");
    // Values are compared as a load takes them; the identity and the pairing are
    // for reading only and never compared.
    Spit(first, "# x\r\nSerial baudrate: 38400\r\nSerial databits: 08\r\n"
                "Connect to address: 00 1B dc 0f 52 a7\r\nProduct ID: NVM-220\r\n"
                "Device paired with: 01 02 03 04 05 06\r\nPasskey: 1234\r\n");
    Spit(second, "Serial baudrate: 115200\nSerial databits: 8\n"
                 "Connect to address: 00 1b dc 0f 52 a7\nProduct ID: NVM-999\n"
                 "Device paired with: 09 09 09 09 09 09\n");
    const struct {
        Lines args;
        int status;
        std::string out;
    } cases[] = {
        {{"diff", module.device, same}, 0, ""},
        {{"diff", module.device, other},
         1,
         "Bluetooth Device Name: module Norvane NVM-220, file Line 4\n"
         "Serial baudrate: module 38400, file 115200\n"
         "Class of device: module 7936, file 2360324\n"},
        {{"diff", same, other},
         1,
         "Bluetooth Device Name: first Norvane NVM-220, second Line 4\n"
         "Serial baudrate: first 38400, second 115200\n"
         "Class of device: first 7936, second 2360324\n"},
        {{"diff", other, other}, 0, ""},
        {{"diff", first, second},
         1,
         "Serial baudrate: first 38400, second 115200\nPasskey: first 1234, second (not set)\n"},
        {{"diff", same, Temp("missing.bcf")}, 5, ""},
        {{"diff", module.device, empty}, 5, ""},
    };
    for (const auto& c : cases) {
        const Ran r = Cli(c.args);
        EXPECT_EQ(r.status, c.status) << c.args[1] << " " << c.args.back() << "\n" << r.err;
        EXPECT_EQ(r.out, c.out) << c.args[1] << " " << c.args.back();
    }
    // Written, the module holds what the file says.
    EXPECT_EQ(Cli({"write", module.device, other}).status, 0);
    EXPECT_EQ(Cli({"diff", module.device, other}).status, 0);
    // Nothing answers: status 3 with the window's words.
    ModuleRig silent({"--fault", "silent"});
    const Ran r = Cli({"diff", silent.device, other});
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("Norvane Bluetooth unit not found!"), std::string::npos) << r.err;
    for (const std::string& p : {same, other, empty, first, second})
        std::remove(p.c_str());
}

TEST(Program, TheGoodModulesSucceedAndEveryFailureIsReportedAndLogged) {
    ModuleRig good1, good2, refusing({"--fault", "status:0x15=253"});
    auto leaving = std::make_unique<ModuleRig>();
    const std::string file = Temp("program.bcf"), log = Temp("program.csv");
    const std::string bytes = Changed(FileOf(good1.device));
    Spit(file, bytes);
    std::remove(log.c_str());
    // The leaving module goes away as soon as its serial settings are written.
    std::thread unplug([&] {
        for (int waited = 0; waited < 10000; ++waited) {
            const Lines heard = leaving->server.TraceLines();
            if (std::any_of(heard.begin(), heard.end(),
                            [](const std::string& line) { return line.rfind("recv 15 ", 0) == 0; }))
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        leaving->server.Stop();
    });
    const std::string leavingShown = Shown(leaving->device); // before it goes away
    const Ran r = Cli({"program", file, good1.device, refusing.device, leaving->device,
                       good2.device, "--log", log});
    unplug.join();
    EXPECT_EQ(r.status, 8) << r.err;
    const Lines out = Split(r.out);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(out.back().substr(0, 52), "2 of 4 modules programmed and verified, 2 FAILED (0.");
    auto resultOf = [&](const std::string& shown) -> Lines {
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (out[i].rfind(shown + "  ", 0) != 0) continue;
            Lines block{out[i].substr(shown.size())};
            for (std::size_t j = i + 1; j < out.size() && out[j].rfind("    ", 0) == 0; ++j)
                block.push_back(out[j]);
            return block;
        }
        return {"no line for " + shown};
    };
    for (const ModuleRig* m : {&good1, &good2}) {
        const Lines block = resultOf(Shown(m->device));
        ASSERT_EQ(block.size(), 1u) << block[0];
        EXPECT_EQ(block[0].substr(0, 36), "  NVM-220  02 4e 56 4d 00 03  OK  0.");
        EXPECT_EQ(Cli({"diff", m->device, file}).status, 0);
    }
    EXPECT_EQ(resultOf(Shown(refusing.device)),
              Lines({resultOf(Shown(refusing.device))[0], "    Error - communication (0x0215)",
                     "    Error: Could not write parameter",
                     "    A communication error occured when writing information to the device.",
                     "    The reason was: Status error - Command invalid parameter"}));
    EXPECT_NE(resultOf(Shown(refusing.device))[0].find("  FAILED  "), std::string::npos);
    const Lines gone = resultOf(leavingShown);
    ASSERT_GE(gone.size(), 3u);
    EXPECT_NE(gone[0].find("  NVM-220  02 4e 56 4d 00 03  FAILED  "), std::string::npos);
    EXPECT_EQ(gone[2], "    Error: Could not write parameter");

    // The log: a header and one record per module, each naming the file and its
    // SHA-256 as sha256sum shows it.
    const Lines records = Split(Slurp(log));
    ASSERT_EQ(records.size(), 5u) << Slurp(log);
    EXPECT_EQ(records[0],
              "time,device,address,product,software,file,sha256,result,reason,differences,"
              "resolved,unit,values");
    const std::string tail =
        "," + file + ",d69fdc5fbd7b8df8656affa6bac67875545980d4b5b0eeac879fe73f3aae5a94,";
    int ok = 0, failed = 0;
    for (std::size_t i = 1; i < records.size(); ++i) {
        EXPECT_NE(records[i].find(",02 4e 56 4d 00 03,NVM-220,3.02" + tail), std::string::npos)
            << records[i];
        ok += records[i].find(tail + "OK,,") != std::string::npos;
        failed += records[i].find(tail + "FAILED,Error - communication (0x0215) / Error: Could "
                                         "not write parameter / ") != std::string::npos;
    }
    EXPECT_EQ(ok, 2);
    EXPECT_EQ(failed, 2);
    std::remove(file.c_str());
    std::remove(log.c_str());
}

TEST(Program, AModuleThatKeepsAValueFailsVerification) {
    // The module answers the serial-port write as taken but keeps its settings.
    ModuleRig keeping({"--fault", "ignore:0x15"});
    const std::string file = Temp("keeping.bcf");
    Spit(file, Changed(FileOf(keeping.device)));
    const Ran r = Cli({"program", file, keeping.device});
    EXPECT_EQ(r.status, 8) << r.err;
    const Lines out = Split(r.out);
    ASSERT_GE(out.size(), 4u) << r.out;
    EXPECT_NE(out[0].find("  FAILED  "), std::string::npos) << out[0];
    EXPECT_EQ(out[1], "    Verification failed: 1 setting differs from " + file);
    EXPECT_EQ(out[2], "    Serial baudrate: module 38400, file 115200");
    std::remove(file.c_str());
}

TEST(Station, ProgramsEachModuleOnceAsItComesAndStopsCleanlyOnSigint) {
    const std::string link0 = Temp("port0"), link1 = Temp("port1");
    const std::string file = Temp("station.bcf"), log = Temp("station.csv");
    {
        ModuleRig source;
        Spit(file, Changed(FileOf(source.device)));
    }
    std::remove(log.c_str());
    Child station(BTCONF_CLI_PATH, {"program", file, "--watch", link0, link1, "--log", log});
    ASSERT_TRUE(station.AwaitOut(link1 + ": waiting for a module")) << station.Out();
    {
        ModuleRig first({"--link", link0});
        ASSERT_TRUE(station.AwaitOut(Shown(link0) + "  NVM-220  02 4e 56 4d 00 03  OK  "))
            << station.Out();
        // Left on the port, the module is not programmed a second time.
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        EXPECT_EQ(Cli({"diff", link0, file}).status, 2 + 1) << "the station holds the port";
    }
    ASSERT_TRUE(station.AwaitOut(link0 + ": module removed")) << station.Out();
    ModuleRig refusing({"--link", link0, "--fault", "status:0xc5=253"});
    ModuleRig second({"--link", link1});
    ASSERT_TRUE(station.AwaitOut(Shown(link0) + "  NVM-220  02 4e 56 4d 00 03  FAILED  "))
        << station.Out();
    ASSERT_TRUE(station.AwaitOut(Shown(link1) + "  NVM-220  02 4e 56 4d 00 03  OK  "))
        << station.Out();
    kill(station.pid, SIGINT);
    EXPECT_EQ(station.Wait(), 8);
    const std::string out = station.Out();
    EXPECT_EQ(Split(out).back(), "Stopped: 3 modules programmed, 2 OK, 1 FAILED");
    for (const std::string& device : {link0, link1}) {
        std::size_t programmed = 0;
        for (std::size_t at = out.find(device + ": programming"); at != std::string::npos;
             at = out.find(device + ": programming", at + 1))
            ++programmed;
        EXPECT_EQ(programmed, device == link0 ? 2u : 1u) << out;
    }
    EXPECT_NE(out.find("    Error - communication (0x02c5)\n"), std::string::npos) << out;
    EXPECT_EQ(Split(Slurp(log)).size(), 4u);
    std::remove(file.c_str());
    std::remove(log.c_str());
}

TEST(Nvmsim, CountServesEveryModuleOnItsOwnNumberedLink) {
    EXPECT_EQ(
        sim::ModuleArgs({"--count", "3", "--link", "/tmp/m", "--state=/s", "--baud", "9600"}, 2),
        Lines({"--link=/tmp/m2", "--state=/s2", "--baud", "9600", "--unit=2"}));
    const std::string link = Temp("nvm");
    Child nvmsim(NVMSIM_PATH, {"--count", "3", "--link", link});
    ASSERT_TRUE(nvmsim.AwaitOut(link + "2\n")) << nvmsim.Out();
    EXPECT_EQ(nvmsim.Out(), link + "0\n" + link + "1\n" + link + "2\n");
    const std::string file = Temp("count.bcf");
    Spit(file, Changed(FileOf(link + "1")));
    const Ran r = Cli({"program", file, link + "0", link + "1", link + "2"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(Split(r.out).size(), 4u) << r.out;
    // Each module has its own Bluetooth address.
    for (int unit = 0; unit < 3; ++unit)
        EXPECT_NE(r.out.find(Shown(link + std::to_string(unit)) + "  NVM-220  02 4e 56 4d 0" +
                             std::to_string(unit) + " 03  OK"),
                  std::string::npos)
            << r.out;
    kill(nvmsim.pid, SIGTERM);
    EXPECT_EQ(nvmsim.Wait(), 0);
    EXPECT_NE(access((link + "0").c_str(), F_OK), 0) << "the links go with the modules";
    std::remove(file.c_str());
}

// Per-unit values over two runs of one station's counter, as a factory system
// reads them (--json): no number is given twice, a unit that fails keeps its
// number, a module without a row of the units file is not written, and a slot
// named by a link keeps its name.
TEST(Units, EveryUnitItsOwnValuesAndNoNumberTwice) {
    const std::string link = Temp("unit"), slot = Temp("by-path-slot"), file = Temp("units.bcf");
    const std::string counter = Temp("counter"), units = Temp("units.csv"), log = Temp("u.jsonl");
    for (const std::string& p : {counter, log})
        std::remove(p.c_str());
    Child nvmsim(NVMSIM_PATH, {"--count", "3", "--link", link});
    ASSERT_TRUE(nvmsim.AwaitOut(link + "2\n")) << nvmsim.Out();
    const std::string m0 = link + "0", m1 = link + "1", m2 = link + "2";
    char real[PATH_MAX];
    ASSERT_EQ(symlink(realpath(m1.c_str(), real), slot.c_str()), 0);
    Spit(file, FileOf(m0));
    const std::string name = "Bluetooth Device Name: ";
    auto nameOf = [&](const std::string& device) {
        const std::string held = FileOf(device);
        return held.substr(held.find(name) + name.size(), held.find('\r', held.find(name)) -
                                                              held.find(name) - name.size());
    };
    // A unit's results by device: the objects of its events.
    auto run = [&](const Lines& extra) {
        // The per-unit options before the devices: each takes one value.
        Lines args = {"--json", "program", file};
        args.insert(args.end(), extra.begin(), extra.end());
        args.insert(args.end(), {m0, slot, m2, "--counter", counter, "--log", log,
                                 "--log-format", "json"});
        const Ran r = Cli(args);
        std::map<std::string, nlohmann::json> results;
        for (const nlohmann::json& o : Objects(r.out)) {
            EXPECT_FALSE(o.is_discarded()) << r.out;
            if (o.value("event", "") == "result") results[o["device"]] = o;
        }
        EXPECT_EQ(Objects(r.out).back()["event"], "summary") << r.out;
        return std::make_pair(r.status, results);
    };

    auto [status, first] = run({"--set", "Bluetooth Device Name=Sensor-{n:04}", "--first", "5"});
    EXPECT_EQ(status, 0);
    std::set<int> numbers;
    for (const std::string& device : {m0, slot, m2}) {
        const nlohmann::json& o = first[device];
        EXPECT_EQ(o["result"], "OK") << o;
        numbers.insert(o["unit"].get<int>());
        char expected[32];
        std::snprintf(expected, sizeof expected, "Sensor-%04d", o["unit"].get<int>());
        EXPECT_EQ(o["values"]["Bluetooth Device Name"], expected);
        EXPECT_EQ(nameOf(device), expected);
    }
    EXPECT_EQ(numbers, std::set<int>({5, 6, 7}));
    EXPECT_EQ(first[slot]["resolved"], real);

    // Started again: rows matched by address, one name too long, one module without a row.
    const std::string m2Name = nameOf(m2);
    Spit(units, "Passkey,Bluetooth address,Bluetooth Device Name\n"
                "9911,02:4E:56:4D:02:03,\"A name, longer than thirty-one characters\"\n"
                "4242,02 4e 56 4d 00 03,\"Hall \"\"B\"\"\"\n");
    auto [again, second] = run({"--units", units, "--set", "Bluetooth Service Name=Svc{n}-{address6}"});
    EXPECT_EQ(again, 8);
    EXPECT_EQ(second[m0]["result"], "OK");
    EXPECT_EQ(second[m0]["values"]["Bluetooth Device Name"], "Hall \"B\"");
    EXPECT_EQ(second[m0]["values"]["Bluetooth Service Name"],
              "Svc" + std::to_string(second[m0]["unit"].get<int>()) + "-4d0003");
    EXPECT_EQ(nameOf(m0), "Hall \"B\"");
    EXPECT_EQ(second[m2]["result"], "FAILED");
    EXPECT_EQ(second[m2]["reason"], "Error - Invalid input value / Error: Invalid Bluetooth name / "
                                    "The field \"Bluetooth name\" must be a string with 1-31 "
                                    "characters");
    EXPECT_EQ(nameOf(m2), m2Name) << "nothing is written to a unit that fails its checks";
    EXPECT_EQ(std::set<int>({second[m0]["unit"], second[m2]["unit"]}), std::set<int>({8, 9}));
    EXPECT_EQ(second[slot]["result"], "FAILED");
    EXPECT_TRUE(second[slot]["unit"].is_null());
    EXPECT_EQ(second[slot]["reason"],
              "Not written: the units file has no row for Bluetooth address 02 4e 56 4d 01 03");
    EXPECT_EQ(Slurp(counter), "10\r\n");
    // The log holds the same records, with the values each unit was given.
    const std::vector<nlohmann::json> records = Objects(Slurp(log));
    ASSERT_EQ(records.size(), 6u);
    EXPECT_EQ(records[3]["values"].size() + records[4]["values"].size() +
                  records[5]["values"].size(),
              6u);

    // write takes the same values; a key no file has is refused before the module is asked.
    EXPECT_EQ(Cli({"write", m1, file, "--set", "Bluetooth Device Name=W{n:02}-{address}"}).status, 0);
    EXPECT_EQ(nameOf(m1), "W01-02 4e 56 4d 01 03");
    const Ran bad = Cli({"write", m1, file, "--set", "Colour=red"});
    EXPECT_EQ(bad.status, 5);
    EXPECT_EQ(bad.err, "btconf-cli: --set: \"Colour\" is not a setting of the configuration file\n");
    kill(nvmsim.pid, SIGTERM);
    nvmsim.Wait();
    for (const std::string& p : {slot, file, counter, units, log})
        std::remove(p.c_str());
}

// --json on the other commands: one object a line, and a failure as an object too.
TEST(Json, EachCommandPrintsItsResultAsObjects) {
    ModuleRig module;
    const std::string file = Temp("j.bcf"), other = Temp("j2.bcf");
    Spit(file, FileOf(module.device));
    Spit(other, Changed(FileOf(module.device)));
    const struct {
        Lines args;
        int status;
        const char* pointer; // into one of the objects
        std::string value;
    } cases[] = {
        {{"read", "@", "-o", "-"}, 0, "/settings/Serial baudrate", "38400"},
        {{"read", "@", "-o", "-"}, 0, "/address", "02 4e 56 4d 00 03"},
        {{"check", other}, 0, "/settings/Bluetooth Device Name", "Line 4"},
        {{"diff", "@", other}, 1, "/differences/1/file", "115200"},
        {{"diff", file, other}, 1, "/differences/0/second", "Line 4"},
        {{"ports", "@"}, 0, "/kind", "virtual line"},
        {{"doctor", "@"}, 0, "/text", "a module answers: NVM-220, software 3.02, Bluetooth "
                                      "address 02 4e 56 4d 00 03"},
        {{"read", "/no/ttyUSB9", "-o", "-"}, 3, "/report/1", "/no/ttyUSB9: No such file or directory"},
        {{"check", "/no/file.bcf"}, 5, "/event", "failed"},
    };
    for (const auto& c : cases) {
        Lines args = {"--json"};
        for (const std::string& a : c.args)
            args.push_back(a == "@" ? module.device : a);
        const Ran r = Cli(args);
        SCOPED_TRACE(r.out + r.err);
        EXPECT_EQ(r.status, c.status);
        const std::vector<nlohmann::json> objects = Objects(r.out);
        EXPECT_TRUE(std::any_of(objects.begin(), objects.end(), [&](const nlohmann::json& o) {
            return o.value(nlohmann::json::json_pointer(c.pointer), "") == c.value;
        }));
    }
    std::remove(file.c_str());
    std::remove(other.c_str());
}

} // namespace
