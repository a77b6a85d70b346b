// SPDX-License-Identifier: Apache-2.0
// The virtual module served on a pseudo-terminal, started with nvmsim's options
// (profile, state, faults), the frames it heard, and, for the settings groups,
// the port opened as the tool opens it, a progress bar that records its steps
// and the failure as a person reads it.
#pragma once

#include "Communicator.h"
#include "TextDiff.h"
#include "SettingsGroup.h"
#include "SimServer.h"
#include "mSerial.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

struct Steps : Progress {
    std::string calls; // 's' a step, 'r' a repaint, 'm' and the number the maximum grew by
    void Step() override { calls += 's'; }
    void RaiseMaximum(int by) override { calls += 'm' + std::to_string(by); }
    void Repaint() override { calls += 'r'; }
};

// "category (0xcode, help n): headline | line | line"
inline std::string Seen(const Failure& f) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%x", unsigned(f.errorCode));
    std::string text =
        f.category + " (" + code + ", help " + std::to_string(f.helpContext) + "): " + f.headline;
    for (const std::string& line : f.description)
        text += " | " + line;
    return text;
}

// What a failed read or write of the command with error number `code` shows.
inline std::string CommSeen(bool write, unsigned code, const std::string& reason, int help = 0) {
    char head[48];
    std::snprintf(head, sizeof head, "communication (0x%x, help %d): ", code, help);
    return head +
           std::string(write ? "Could not write parameter | A communication error occured "
                               "when writing information to the device."
                             : "Could not read parameter | A communication error occured "
                               "when reading information from the device.") +
           " | The reason was: " + reason;
}

// A group's section of the configuration file.
template <class Group> std::string Section(const Group& group) {
    std::ostringstream out;
    group.SaveToFile(out);
    return out.str();
}

// A module state file for nvmsim's --state, in the test's temporary folder.
inline std::string StateFile(const std::string& text) {
    static int count = 0;
    const std::string path = testing::TempDir() + "module-" + std::to_string(getpid()) + "-" +
                             std::to_string(++count) + ".state";
    std::ofstream(path) << text;
    return path;
}

// nvmsim's options from one line, "--profile code1-3.00 --fault silent:0x40".
inline std::vector<std::string> Options(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

struct ModuleRig {
    explicit ModuleRig(const std::vector<std::string>& options = {}) : server(options) {
        std::string error;
        EXPECT_TRUE(server.Start(&error)) << error;
        device = server.DevicePath();
    }
    // Opens the module's line as the tool opens its port and hands it to a group
    // (or to all groups of a module) with the progress bar.
    template <class Group> void Attach(Group& group) {
        if (!port.IsOpen()) {
            PortTable::Set({device});
            SetModuleLineSettings(port);
            port.port = 1;
            EXPECT_EQ(port.Open(), 0) << port.GetLastErrorText();
            comm.SetSerialPort(&port);
        }
        group.SetCommunicator(&comm);
        group.SetProgress(&progress);
    }
    // The frames the module received since the last look, "1c 00, 1e 00".
    std::string Heard() {
        std::string frames;
        for (const std::string& line : server.TraceLines())
            if (line.rfind("recv ", 0) == 0)
                frames += (frames.empty() ? "" : ", ") + line.substr(5);
        server.ClearTrace();
        return frames;
    }
    SimServer server;
    std::string device;
    mSerial port;
    Communicator comm;
    Steps progress;
};
