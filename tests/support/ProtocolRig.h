// SPDX-License-Identifier: Apache-2.0
// A Communicator on a scripted port (ScriptedPort.h) with a clock the test
// moves: each clock reading gives the next scripted value while there are any,
// then a counter that advances one hundredth per reading (wrapping at 100), so
// that a time-out costs sixty reads and no waiting.
#pragma once

#include "Communicator.h"
#include "ScriptedPort.h"

#include <deque>
#include <gtest/gtest.h>
#include <utility>

using Bytes = ScriptedPort::Bytes;

class ClockedCommunicator : public Communicator {
  public:
    mutable std::deque<int32_t> script;
    mutable int32_t now = 0, readings = 0;

  protected:
    int32_t Hundredths() const override {
        ++readings;
        if (script.empty()) return now++ % 100;
        const int32_t value = script.front();
        script.pop_front();
        return value;
    }
};

class ProtocolTest : public ::testing::Test {
  protected:
    ProtocolTest() { com.SetSerialPort(&port); }
    // The module's answer: opcode, length, status, data.
    void Reply(uint8_t opcode, uint8_t status, const Bytes& data = {}) {
        port.Push(ScriptedPort::Frame(opcode, status, data));
    }
    // What was written since the last call.
    Bytes Sent() { return std::exchange(port.written, {}); }

    ScriptedPort port;
    ClockedCommunicator com;
};

inline Bytes Cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline const uint8_t kAddress[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
inline const uint8_t kCod[4] = {0x00, 0x5A, 0x02, 0x0C};
inline const uint8_t kKey[4] = {'1', '2', '3', '4'};
