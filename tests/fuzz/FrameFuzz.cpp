// SPDX-License-Identifier: Apache-2.0
// Fuzzes the module's side of the line: the input is a script of operations
// (FrameRun.h) whose port reads take their arrivals from the same bytes, so the
// fuzzer decides both what the tool asks and how the answers arrive.
//
// Arrivals: each read of the port takes one byte n from the input: 0 is an
// idle read, 255 a port that has gone away, anything else an arrival of the
// next n input bytes, handed out over as many reads as it takes (the steps go
// on after them). Once the input is used up every read is idle.
#include "FrameRun.h"
#include "Trace.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

struct Cursor {
    const uint8_t* data;
    size_t size;
    size_t at = 0;
    // The part of the last arrival that no read has taken yet: it stays on the
    // line for the next reads, whatever operation makes them.
    const uint8_t* arrival = nullptr;
    size_t arrivalLeft = 0;

    bool Done() const { return at >= size; }
    uint8_t Byte() { return at < size ? data[at++] : 0; }

    int32_t Read(uint8_t* buffer, int32_t count) {
        if (arrivalLeft == 0) {
            if (Done()) return 0;
            const uint8_t n = Byte();
            if (n == 0) return 0;
            if (n == 255) return -1;
            arrival = data + at;
            arrivalLeft = std::min<size_t>(n, size - at);
            at += arrivalLeft;
        }
        const size_t got = std::min<size_t>(arrivalLeft, size_t(std::max(count, 0)));
        std::memcpy(buffer, arrival, got);
        arrival += got;
        arrivalLeft -= got;
        return int32_t(got);
    }
};

// Enough steps for a search and a pairing; more only repeats.
constexpr int kMaxSteps = 400;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Cursor cursor{data, size};
    fuzz::FrameRun run;
    run.port.source = [&](uint8_t* buffer, int32_t count) { return cursor.Read(buffer, count); };
    // Every frame, partial frame and dropped byte the run meets is also put
    // into words, as the trace does.
    int lastSent = -1;
    run.com.observer = [&](const TraceEvent& event) {
        const DecodedFrame words = DecodeEvent(event, lastSent);
        if (event.direction == TraceEvent::Direction::Send && !event.bytes.empty())
            lastSent = event.bytes[0];
        if (words.Words().empty()) __builtin_trap();
    };
    const fuzz::ArgSource args = [&] { return cursor.Byte(); };
    for (int step = 0; step < kMaxSteps && !cursor.Done(); ++step)
        run.Step(cursor.Byte(), args);
    return 0;
}
