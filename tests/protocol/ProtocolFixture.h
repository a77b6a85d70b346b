// A Communicator on a scripted port with a clock the test drives.
#pragma once

#include "Communicator.h"
#include "ScriptedPort.h"

#include <gtest/gtest.h>

#include <deque>

using Bytes = ScriptedPort::Bytes;

// Each clock reading returns the next scripted value while there are any, then
// a counter that advances `step` hundredths per reading (wrapping at 100), as if
// every port read took `step` hundredths of a second.
class ClockedCommunicator : public Communicator {
  public:
    mutable std::deque<int32_t> script;
    mutable int32_t now = 0;
    int32_t step = 1;
    mutable int readings = 0;

  protected:
    int32_t Hundredths() const override {
        ++readings;
        if (!script.empty()) {
            const int32_t value = script.front();
            script.pop_front();
            return value;
        }
        const int32_t value = now % 100;
        now += step;
        return value;
    }
};

class ProtocolTest : public ::testing::Test {
  protected:
    ProtocolTest() {
        port.instant = true;
        com.SetSerialPort(&port);
    }

    // The one frame written since the last call; fails the test if there were more.
    Bytes Sent() {
        EXPECT_LE(port.writes.size(), 1u);
        Bytes frame = port.written;
        port.ClearWritten();
        return frame;
    }

    ScriptedPort port;
    ClockedCommunicator com;
};
