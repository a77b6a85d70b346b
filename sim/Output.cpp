// SPDX-License-Identifier: Apache-2.0
// Faults on request and the pacing of the virtual module's bytes on the line.
#include "ModuleInternal.h"

#include <algorithm>

namespace sim {

using namespace detail;

size_t VirtualModule::TakeOutput(TimePoint now, std::vector<uint8_t>* out) {
    size_t n = 0;
    while (!output.empty() && output.front().at <= now) {
        out->push_back(output.front().byte);
        output.pop_front();
        ++n;
    }
    return n;
}

void VirtualModule::SendEvent(std::vector<uint8_t> frame, int key, TimePoint ready) {
    // The host goes on reading for a moment after an answer and drops what comes
    // in that time; the module's own events never follow another frame so closely.
    Send(std::move(frame), key,
         std::max(ready, outputFreeAt + std::chrono::milliseconds(kEventGapMs)));
}

void VirtualModule::Send(std::vector<uint8_t> frame, int key, TimePoint ready) {
    bool split = false;
    for (const Fault& f : config.faults) {
        if (f.opcode >= 0 && f.opcode != key) continue;
        switch (f.kind) {
        case Fault::Silent:
            return;
        case Fault::Opcode:
            if (!frame.empty()) frame[0] = static_cast<uint8_t>(f.value);
            break;
        case Fault::Status:
            frame = {frame.empty() ? uint8_t(key) : frame[0], 1, static_cast<uint8_t>(f.value)};
            break;
        case Fault::Garbage: {
            frame.clear();
            std::uniform_int_distribution<int> byte(0, 255);
            for (int i = 0; i < f.value; ++i)
                frame.push_back(static_cast<uint8_t>(byte(random)));
            break;
        }
        case Fault::Delay:
            ready += std::chrono::milliseconds(f.value);
            break;
        case Fault::Split:
            split = true;
            break;
        case Fault::Ignore:
            break; // the answer stands; the module has forgotten the value
        }
    }
    if (frame.empty()) return;
    if (output.size() + frame.size() > kMaxOutput) return; // the module's send buffer is full
    trace.push_back("send " + HexBytes(frame.data(), frame.size()));
    Schedule(frame, ready, split);
}

void VirtualModule::Schedule(const std::vector<uint8_t>& bytes, TimePoint ready, bool split) {
    TimePoint t = std::max(ready, outputFreeAt);
    if (!split) {
        for (uint8_t b : bytes) {
            t += byteTime;
            output.push_back({t, b});
        }
        outputFreeAt = t;
        return;
    }
    // Pieces of 1 to 3 bytes with pauses of about 40 ms, the pauses together at
    // most 300 ms so that the whole answer still comes well within the host's wait.
    std::vector<size_t> pieces;
    std::uniform_int_distribution<int> size(1, 3);
    for (size_t left = bytes.size(); left > 0;) {
        const size_t piece = std::min(left, static_cast<size_t>(size(random)));
        pieces.push_back(piece);
        left -= piece;
    }
    Clock::duration pause = std::chrono::milliseconds(40);
    if (pieces.size() > 1) {
        const Clock::duration most = std::chrono::milliseconds(300) / (pieces.size() - 1);
        pause = std::min(pause, most);
    }
    size_t at = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) t += pause;
        for (size_t k = 0; k < pieces[i]; ++k) {
            t += byteTime;
            output.push_back({t, bytes[at++]});
        }
    }
    outputFreeAt = t;
}
} // namespace sim
