// A virtual module served on a pseudo-terminal, opened through the serial port
// component exactly as the tool opens its port, with a Communicator on top.
#pragma once

#include "Communicator.h"
#include "SimServer.h"
#include "mSerial.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

// Opens `device` as port 1 with the tool's line settings and time-outs.
inline void OpenLikeTheTool(mSerial& port, const std::string& device) {
    PortTable::Set({device});
    port.port = 1;
    port.baudrate = mBaud38400;
    port.databits = mData8;
    port.parity = mParNone;
    port.stopbits = mStop1;
    port.handshake = mHandNone;
    port.ReadTimeout = 10;
    port.WriteTimeout = 100;
    ASSERT_EQ(port.Open(), 0) << port.GetLastErrorText();
}

struct LinkRig {
    explicit LinkRig(const std::vector<std::string>& args) : server(args) {
        std::string error;
        const auto start = std::chrono::steady_clock::now();
        started = server.Start(&error);
        startMs =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count();
        EXPECT_TRUE(started) << error;
        if (!started) return;
        OpenLikeTheTool(port, server.DevicePath());
        comm.SetSerialPort(&port);
    }
    ~LinkRig() {
        if (port.IsOpen()) port.Close();
        server.Stop();
    }

    SimServer server;
    mSerial port;
    Communicator comm;
    bool started = false;
    double startMs = 0;
};

// Seconds since `start`.
inline double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
