// SPDX-License-Identifier: Apache-2.0
// The protocol trace: what the Communicator sends and receives, as events for
// one observer, the words a frame means, and the trace file's line format.
//
// A trace line:
//   "    12.345 send 14 00 | GetSerialSettings (0x14)"
//   "    27.010 recv 14 06 01 07 01 02 08 02 | GetSerialSettings (0x14): status 1 (success);
//    rate code 7 (115200), flow control 1, parity 2 (Even), data bits 8, stop bits 2"
// time in milliseconds since the trace began, the direction, the frame's bytes in
// hexadecimal, a bar, and what the bytes mean.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct TraceEvent {
    enum class Direction { Send, Receive };
    enum class Kind {
        Frame,   // a whole frame
        Partial, // the start of a frame that did not complete in time
        Dropped, // bytes thrown away: a stale answer, or what did not fit
    };
    std::chrono::steady_clock::time_point time;
    Direction direction = Direction::Send;
    Kind kind = Kind::Frame;
    // An event frame (0x60, 0x65) that arrived while a command waited for its
    // answer, put aside for the next poll.
    bool queued = false;
    // Completed from bytes kept over from an earlier port read.
    bool fromKept = false;
    std::vector<uint8_t> bytes;
};

using TraceObserver = std::function<void(const TraceEvent&)>;

// What a frame means, in parts (the trace window shows each in a column).
struct DecodedFrame {
    bool known = false;    // false: "unknown frame", shown as raw bytes only
    int opcode = -1;       // -1 when the frame is empty
    std::string operation; // "GetSerialSettings"
    std::string status;    // "1 (success)", "253 (Command invalid parameter)"; receive only
    std::string fields;    // "rate code 7 (115200), flow control 1, ..."
    std::string marks;     // "queued event", "from kept bytes", "partial frame"
    // Everything in one text: "GetSerialSettings (0x14) [marks]: status 1 (success);
    // rate code ...".
    std::string Words() const;
};

// The words of one frame. `lastSent` is the opcode of the command sent before a
// received frame (-1 when not known); it tells the close notification's answer
// 0x42 from the local address's. Reads only bytes[0, size). With hideSecrets a
// PIN code or passkey shows as "passkey (hidden, 4 characters)".
DecodedFrame DecodeFrame(TraceEvent::Direction direction, const uint8_t* bytes, size_t size,
                         int lastSent = -1, bool hideSecrets = false);
// The words of an event, with its marks ("queued event", "from kept bytes",
// "partial frame", "dropped bytes").
DecodedFrame DecodeEvent(const TraceEvent& event, int lastSent = -1, bool hideSecrets = false);

// The bytes of a frame that carry a PIN code or passkey: [first, end), empty
// when it carries none (also for the start of a frame that did not complete).
struct SecretSpan {
    size_t first = 0, end = 0;
};
SecretSpan SecretBytes(TraceEvent::Direction direction, const uint8_t* bytes, size_t size);
// The characters of a PIN code or passkey of `size` bytes: up to its first zero.
size_t CharactersOf(const uint8_t* bytes, size_t size);

// "14 06 01 07"
std::string HexBytes(const uint8_t* bytes, size_t size);
// One trace line without its line end. With hideSecrets the bytes of a PIN
// code or passkey show as "**".
std::string TraceLine(double milliseconds, const TraceEvent& event, const DecodedFrame& words,
                      bool hideSecrets = false);

// Writes every event as a trace line to a file, flushed at once, so that a
// crash loses nothing. Time counts from the writer's construction. Safe to call
// from several threads (each Communicator has its own order, lines interleave).
class TraceWriter {
  public:
    explicit TraceWriter(std::FILE* file);
    void operator()(const TraceEvent& event);
    TraceObserver Observer();

  private:
    std::FILE* file;
    std::chrono::steady_clock::time_point start;
    std::mutex mutex;
    int lastSent = -1;
};
