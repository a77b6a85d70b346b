// A serial port with a scripted module behind it: every frame written is
// recorded as hex text, and answered with the reply set for its opcode
// (success without data when none is set), or not at all when the opcode is
// marked silent.
#pragma once

#include "mSerial.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

class FakeModulePort : public mSerial {
  public:
    std::vector<std::string> written; // "1d 04 4c 61 62 00"
    std::map<uint8_t, std::vector<uint8_t>> replies;
    std::set<uint8_t> silent;

    FakeModulePort() { isOpen = 1; }

    // A success answer carrying data.
    void Answer(uint8_t opcode, const std::vector<uint8_t>& data) {
        std::vector<uint8_t> frame{opcode, uint8_t(data.size() + 1), 1};
        frame.insert(frame.end(), data.begin(), data.end());
        replies[opcode] = frame;
    }
    void AnswerText(uint8_t opcode, const std::string& text) {
        Answer(opcode, std::vector<uint8_t>(text.begin(), text.end()));
    }
    void AnswerStatus(uint8_t opcode, uint8_t status) { replies[opcode] = {opcode, 1, status}; }

    int32_t Open() override { return 0; }
    int32_t Close() override { return 0; }

    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        std::string line;
        char hex[4];
        for (int32_t i = 0; i < count; ++i) {
            std::snprintf(hex, sizeof hex, i ? " %02x" : "%02x", buffer[i]);
            line += hex;
        }
        written.push_back(line);
        if (count < 1 || silent.count(buffer[0])) return count;
        auto found = replies.find(buffer[0]);
        if (found != replies.end())
            pending.insert(pending.end(), found->second.begin(), found->second.end());
        else
            pending.insert(pending.end(), {buffer[0], 1, 1});
        return count;
    }

    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        if (pending.empty()) {
            // Nothing came: the port's read time-out passes.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            return 0;
        }
        const int32_t n = std::min<int32_t>(count, int32_t(pending.size()));
        for (int32_t i = 0; i < n; ++i) {
            buffer[i] = pending.front();
            pending.pop_front();
        }
        return n;
    }

  private:
    std::deque<uint8_t> pending;
};
