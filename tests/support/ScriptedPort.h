// ScriptedPort: a serial port stand-in for tests. It records every byte written,
// and hands out scripted bytes on reads, as a module on the other end of the
// line would send them.
//
//   ScriptedPort port;                                     // starts open
//   port.Answer(0x1C, ScriptedPort::Frame(0x1C, 1, {'A'})); // every 0x1C request
//   port.AnswerOnce(0x13, ScriptedPort::Frame(0x13, 253));  // the next 0x13 only
//   port.AnswerPieces(0x14, ScriptedPort::Split(reply, {1, 4})); // 3 arrivals
//   port.Push({0x60, 0x00});                               // unsolicited bytes
//   port.Pause(3);                                         // three empty reads
//   port.Silence(0x1C);                                    // no answer any more
//
// Every queued piece is one arrival: a read returns at most one piece (or the
// part of it that fits), so a piece split off is never merged with the next one.
// A read with nothing to give (and an empty piece) is an idle read: it calls
// onIdleRead, then waits ReadTimeout ms unless `instant` is set (use that when
// a fake clock drives the time-outs), and returns 0.
#pragma once

#include "mSerial.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <thread>
#include <vector>

class ScriptedPort : public mSerial {
  public:
    using Bytes = std::vector<uint8_t>;
    using Pieces = std::vector<Bytes>;

    explicit ScriptedPort(bool open = true) { isOpen = open ? 1 : 0; }

    // A response frame: opcode, L = 1 + data size, status, data.
    static Bytes Frame(uint8_t opcode, uint8_t status, const Bytes& data = {}) {
        Bytes frame{opcode, static_cast<uint8_t>(1 + data.size()), status};
        frame.insert(frame.end(), data.begin(), data.end());
        return frame;
    }

    // Cuts bytes at the given offsets (ascending): Split({1,2,3,4}, {1, 3}) gives
    // {1}, {2,3}, {4}.
    static Pieces Split(const Bytes& bytes, std::initializer_list<size_t> cuts) {
        Pieces pieces;
        size_t from = 0;
        for (size_t cut : cuts) {
            cut = std::min(std::max(cut, from), bytes.size());
            pieces.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                                bytes.begin() + static_cast<std::ptrdiff_t>(cut));
            from = cut;
        }
        pieces.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end());
        return pieces;
    }

    // Bytes readable from now on, as one arrival.
    void Push(const Bytes& bytes) {
        if (!bytes.empty()) pending.push_back(bytes);
    }
    // Each piece is its own arrival; an empty piece is an idle read (a pause).
    void PushPieces(const Pieces& pieces) {
        for (const Bytes& piece : pieces)
            pending.push_back(piece);
    }
    void Pause(int reads = 1) {
        for (int i = 0; i < reads; ++i)
            pending.emplace_back();
    }
    bool HasPending() const { return !pending.empty(); }
    void DropPending() { pending.clear(); }

    // Whenever a frame with this opcode is written, the reply becomes readable.
    void Answer(uint8_t opcode, const Bytes& reply) { always[opcode] = Pieces{reply}; }
    void AnswerPieces(uint8_t opcode, const Pieces& pieces) { always[opcode] = pieces; }
    // Answers only the next frame with this opcode; comes before Answer.
    void AnswerOnce(uint8_t opcode, const Bytes& reply) { once[opcode].push_back(Pieces{reply}); }
    void AnswerOnceInPieces(uint8_t opcode, const Pieces& pieces) {
        once[opcode].push_back(pieces);
    }
    // Frames with this opcode get no answer.
    void Silence(uint8_t opcode) {
        always.erase(opcode);
        once.erase(opcode);
    }

    // Everything written, in order, and each WriteBuffer call on its own.
    Bytes written;
    Pieces writes;
    void ClearWritten() {
        written.clear();
        writes.clear();
    }

    // Knobs.
    bool instant = false;             // idle reads return at once
    std::function<void()> onIdleRead; // called on every idle read
    bool failWrites = false;          // WriteBuffer returns -1 (nothing recorded)
    bool failOpen = false;            // Open fails as for a missing device

    // Counters.
    int reads = 0;
    int idleReads = 0;
    int openCalls = 0;
    int closeCalls = 0;

    int32_t Open() override {
        ++openCalls;
        if (isOpen) return -1;
        if (failOpen) {
            lastError = 1;
            lastErrorText = "Failed to open COM" + std::to_string(port);
            return -1;
        }
        isOpen = 1;
        return 0;
    }

    int32_t Close() override {
        ++closeCalls;
        if (!isOpen) {
            lastError = 1;
            lastErrorText = "Close command when already closed";
            return -1;
        }
        isOpen = 0;
        return 0;
    }

    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        ++reads;
        if (!isOpen) {
            lastError = 1;
            lastErrorText = "Tried to read closed port";
            return -1;
        }
        if (pending.empty() || pending.front().empty()) {
            if (!pending.empty()) pending.pop_front();
            Idle();
            return 0;
        }
        if (buffer == nullptr || count <= 0) return 0;
        Bytes& piece = pending.front();
        const size_t n = std::min(piece.size(), static_cast<size_t>(count));
        std::copy(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n), buffer);
        piece.erase(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n));
        if (piece.empty()) pending.pop_front();
        return static_cast<int32_t>(n);
    }

    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        if (failWrites) return -1;
        if (buffer == nullptr || count <= 0) return 0;
        Bytes frame(buffer, buffer + count);
        written.insert(written.end(), frame.begin(), frame.end());
        writes.push_back(frame);
        const uint8_t opcode = frame[0];
        auto queued = once.find(opcode);
        if (queued != once.end() && !queued->second.empty()) {
            PushPieces(queued->second.front());
            queued->second.pop_front();
        } else if (auto rule = always.find(opcode); rule != always.end()) {
            PushPieces(rule->second);
        }
        return count;
    }

  private:
    void Idle() {
        ++idleReads;
        if (onIdleRead) onIdleRead();
        if (!instant && ReadTimeout > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(ReadTimeout));
    }

    std::deque<Bytes> pending;
    std::map<uint8_t, Pieces> always;
    std::map<uint8_t, std::deque<Pieces>> once;
};
