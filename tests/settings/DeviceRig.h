// What the settings group tests share: a virtual module served on a
// pseudo-terminal and opened as the tool opens its port, a progress bar that
// records its steps, and the failure as a person reads it.
#pragma once

#include "Communicator.h"
#include "SettingsGroup.h"
#include "SimServer.h"
#include "mSerial.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

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
inline std::string CommSeen(bool write, unsigned code, const std::string& reason) {
    Failure f;
    f.category = "communication";
    f.headline = write ? "Could not write parameter" : "Could not read parameter";
    f.errorCode = code;
    f.description = {write ? "A communication error occured when writing information to the "
                             "device."
                           : "A communication error occured when reading information from the "
                             "device.",
                     "The reason was: " + reason};
    return Seen(f);
}

// A module state file for nvmsim's --state, in a fresh temporary folder.
inline std::string StateFile(const std::string& text) {
    char folder[] = "/tmp/settings-test-XXXXXX";
    const char* made = mkdtemp(folder);
    EXPECT_NE(made, nullptr);
    const std::string path = std::string(made ? made : "/tmp") + "/module.state";
    std::ofstream(path) << text;
    return path;
}

// A group talking to the virtual module through the serial port, as the tool does.
struct DeviceRig {
    explicit DeviceRig(const std::vector<std::string>& args) : server(args) {
        std::string error;
        EXPECT_TRUE(server.Start(&error)) << error;
        PortTable::Set({server.DevicePath()});
        SetModuleLineSettings(port);
        port.port = 1;
        EXPECT_EQ(port.Open(), 0) << port.GetLastErrorText();
        comm.SetSerialPort(&port);
    }
    void Attach(SettingsGroup& group) {
        group.SetCommunicator(&comm);
        group.SetProgress(&progress);
    }
    // The frames the module received, "1c 00, 1e 00".
    std::string Heard() const {
        std::string frames;
        for (const std::string& line : server.TraceLines())
            if (line.rfind("recv ", 0) == 0)
                frames += (frames.empty() ? "" : ", ") + line.substr(5);
        return frames;
    }
    SimServer server;
    mSerial port;
    Communicator comm;
    Steps progress;
};
