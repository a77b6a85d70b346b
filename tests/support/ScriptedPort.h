// SPDX-License-Identifier: Apache-2.0
// ScriptedPort: a serial port stand-in for tests. It records every byte written
// and hands out queued arrivals on reads, as a module on the other end of the
// line would send them. A read returns at most one arrival (or the part of it
// that fits); an empty arrival, or nothing queued, is an idle read: 0 at once.
#pragma once

#include "mSerial.h"

#include <algorithm>
#include <deque>
#include <vector>

class ScriptedPort : public mSerial {
  public:
    using Bytes = std::vector<uint8_t>;

    ScriptedPort() { isOpen = 1; }

    // A response frame: opcode, L = 1 + data size, status, data.
    static Bytes Frame(uint8_t opcode, uint8_t status, const Bytes& data = {}) {
        Bytes frame{opcode, static_cast<uint8_t>(1 + data.size()), status};
        frame.insert(frame.end(), data.begin(), data.end());
        return frame;
    }

    void Push(const Bytes& arrival) { pending.push_back(arrival); }
    void PushPieces(const std::vector<Bytes>& arrivals) {
        pending.insert(pending.end(), arrivals.begin(), arrivals.end());
    }
    bool HasPending() const { return !pending.empty(); }
    void DropPending() { pending.clear(); }

    Bytes written; // everything written, in order
    int reads = 0;

    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        ++reads;
        if (pending.empty() || count <= 0) return 0;
        Bytes& piece = pending.front();
        const auto n = std::min(piece.size(), static_cast<size_t>(count));
        std::copy_n(piece.begin(), n, buffer);
        piece.erase(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n));
        if (piece.empty()) pending.pop_front();
        return static_cast<int32_t>(n);
    }

    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        written.insert(written.end(), buffer, buffer + count);
        return count;
    }

  private:
    std::deque<Bytes> pending;
};
