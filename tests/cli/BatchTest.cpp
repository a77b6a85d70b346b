// SPDX-License-Identifier: Apache-2.0
// Many modules from the command line: "program" on several virtual modules at
// once, its station mode as modules come and go, "diff", the log's SHA-256, and
// nvmsim --count. btconf-cli runs as a child process against modules served by
// this process (or by nvmsim); what is checked is what a person sees: lines,
// exit statuses, log records, and what the modules hold afterwards.
#include "ModuleRig.h"
#include "Run.h"
#include "Sha256.h"
#include "SimOptions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace {

// What a module holds, as "read" saves it.
std::string FileOf(const std::string& device) {
    const std::string path = Temp("read.bcf");
    EXPECT_EQ(Cli({"read", device, "-o", path}).status, 0);
    std::string bytes = Slurp(path);
    std::remove(path.c_str());
    return bytes;
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    return at == std::string::npos ? text + "[not found: " + from + "]"
                                   : text.replace(at, from.size(), to);
}

// A module's file with a new name, speed and class of device.
std::string Changed(const std::string& file) {
    return Replace(Replace(Replace(file, "Device Name: Norvane NVM-220", "Device Name: Line 4"),
                           "Serial baudrate: 38400", "Serial baudrate: 115200"),
                   "Class of device: 7936", "Class of device: 2360324");
}

// The log names the file by its SHA-256 (checked there as sha256sum shows it);
// this one message fills two blocks, the length in the second.
TEST(Sha256, AMessageOfFiftySixBytes) {
    EXPECT_EQ(cli::Sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
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
    const Ran r = Cli({"program", file, good1.device, refusing.device, leaving->device,
                       good2.device, "--log", log});
    unplug.join();
    EXPECT_EQ(r.status, 8) << r.err;
    const Lines out = Split(r.out);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(out.back().substr(0, 52), "2 of 4 modules programmed and verified, 2 FAILED (0.");
    auto resultOf = [&](const std::string& device) -> Lines {
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (out[i].rfind(device + "  ", 0) != 0) continue;
            Lines block{out[i].substr(device.size())};
            for (std::size_t j = i + 1; j < out.size() && out[j].rfind("    ", 0) == 0; ++j)
                block.push_back(out[j]);
            return block;
        }
        return {"no line for " + device};
    };
    for (const ModuleRig* m : {&good1, &good2}) {
        const Lines block = resultOf(m->device);
        ASSERT_EQ(block.size(), 1u) << block[0];
        EXPECT_EQ(block[0].substr(0, 36), "  NVM-220  02 4e 56 4d 00 03  OK  0.");
        EXPECT_EQ(Cli({"diff", m->device, file}).status, 0);
    }
    EXPECT_EQ(resultOf(refusing.device),
              Lines({resultOf(refusing.device)[0], "    Error - communication (0x0215)",
                     "    Error: Could not write parameter",
                     "    A communication error occured when writing information to the device.",
                     "    The reason was: Status error - Command invalid parameter"}));
    EXPECT_NE(resultOf(refusing.device)[0].find("  FAILED  "), std::string::npos);
    const Lines gone = resultOf(leaving->device);
    ASSERT_GE(gone.size(), 3u);
    EXPECT_NE(gone[0].find("  NVM-220  02 4e 56 4d 00 03  FAILED  "), std::string::npos);
    EXPECT_EQ(gone[2], "    Error: Could not write parameter");

    // The log: a header and one record per module, each naming the file and its
    // SHA-256 as sha256sum shows it.
    const Lines records = Split(Slurp(log));
    ASSERT_EQ(records.size(), 5u) << Slurp(log);
    EXPECT_EQ(records[0],
              "time,device,address,product,software,file,sha256,result,reason,differences");
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

TEST(Program, AJsonLogHasOneObjectAModule) {
    ModuleRig module;
    const std::string file = Temp("json.bcf"), log = Temp("log.jsonl");
    Spit(file, FileOf(module.device));
    std::remove(log.c_str());
    const Ran r = Cli({"program", file, module.device, "--log", log, "--log-format=json"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    const Lines records = Split(Slurp(log));
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].substr(0, 9), "{\"time\":\"");
    EXPECT_NE(
        records[0].find(
            "\",\"device\":\"" + module.device +
            "\",\"address\":\"02 4e 56 4d 00 03\",\"product\":\"NVM-220\","
            "\"software\":\"3.02\",\"file\":\"" +
            file +
            "\",\"sha256\":\"ceeec2452e56b69cb310557cf2adac5cf9996bb925179650d5f09f80e3bb2e6a\","
            "\"result\":\"OK\",\"reason\":\"\",\"differences\":[]}"),
        std::string::npos)
        << records[0];
    std::remove(file.c_str());
    std::remove(log.c_str());
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
        ASSERT_TRUE(station.AwaitOut(link0 + "  NVM-220  02 4e 56 4d 00 03  OK  "))
            << station.Out();
        // Left on the port, the module is not programmed a second time.
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        EXPECT_EQ(Cli({"diff", link0, file}).status, 2 + 1) << "the station holds the port";
    }
    ASSERT_TRUE(station.AwaitOut(link0 + ": module removed")) << station.Out();
    ModuleRig refusing({"--link", link0, "--fault", "status:0xc5=253"});
    ModuleRig second({"--link", link1});
    ASSERT_TRUE(station.AwaitOut(link0 + "  NVM-220  02 4e 56 4d 00 03  FAILED  "))
        << station.Out();
    ASSERT_TRUE(station.AwaitOut(link1 + "  NVM-220  02 4e 56 4d 00 03  OK  ")) << station.Out();
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
        EXPECT_NE(r.out.find(link + std::to_string(unit) + "  NVM-220  02 4e 56 4d 0" +
                             std::to_string(unit) + " 03  OK"),
                  std::string::npos)
            << r.out;
    kill(nvmsim.pid, SIGTERM);
    EXPECT_EQ(nvmsim.Wait(), 0);
    EXPECT_NE(access((link + "0").c_str(), F_OK), 0) << "the links go with the modules";
    std::remove(file.c_str());
}

} // namespace
