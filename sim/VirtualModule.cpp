// SPDX-License-Identifier: Apache-2.0
// The virtual module: the host's bytes in, frames handled in time order with
// the search and pairing runs, answers and events out.
#include "ModuleInternal.h"

#include <algorithm>

namespace sim {

using namespace detail;

VirtualModule::VirtualModule(ModuleConfig cfg)
    : config(std::move(cfg)), settings(DefaultSettings(config.profile)), random(config.seed) {
    settings.localAddress[4] = static_cast<uint8_t>(config.unit);
    const int baud = std::max(config.baud, 1);
    byteTime = std::chrono::duration_cast<Clock::duration>(
        std::chrono::nanoseconds(static_cast<long long>(10'000'000'000LL / baud)));
}

void VirtualModule::Receive(const uint8_t* data, size_t count, TimePoint now) {
    for (size_t i = 0; i < count; ++i) {
        if (input.size() >= kMaxInput) return; // the module's receive buffer overflows
        inputFreeAt = std::max(now, inputFreeAt) + byteTime;
        input.push_back({inputFreeAt, data[i]});
    }
}

void VirtualModule::Advance(TimePoint now) {
    for (;;) {
        // The earliest thing due, in time order, so that events and answers keep
        // the order a module would give them.
        enum { None, In, Stall, Hit, End, Pair } what = None;
        TimePoint when = TimePoint::max();
        if (!input.empty() && input.front().at < when) {
            what = In;
            when = input.front().at;
        }
        if (!partial.empty()) {
            const TimePoint stall = lastArrival + std::chrono::milliseconds(kStallMs);
            if (stall < when) {
                what = Stall;
                when = stall;
            }
        }
        if (search.active) {
            if (search.next < search.hits.size() && search.hits[search.next].at < when) {
                what = Hit;
                when = search.hits[search.next].at;
            } else if (search.next >= search.hits.size() && search.end < when) {
                what = End;
                when = search.end;
            }
        }
        if (pairing.active && pairing.due < when) {
            what = Pair;
            when = pairing.due;
        }
        if (what == None || when > now) return;

        switch (what) {
        case In: {
            const InByte in = input.front();
            input.pop_front();
            partial.push_back(in.byte);
            lastArrival = in.at;
            if (partial.size() >= 2 && partial.size() == size_t(partial[1]) + 2) {
                std::vector<uint8_t> frame;
                frame.swap(partial);
                HandleFrame(frame, in.at);
            }
            break;
        }
        case Stall:
            partial.clear(); // a half frame that stalled is forgotten
            break;
        case Hit:
            ReportHit(when);
            break;
        case End:
            EndSearch(when);
            break;
        case Pair:
            ReportPairing(when);
            break;
        case None:
            return;
        }
    }
}

bool VirtualModule::NextWake(TimePoint* when) const {
    TimePoint t = TimePoint::max();
    if (!output.empty()) t = std::min(t, output.front().at);
    if (!input.empty()) t = std::min(t, input.front().at);
    if (!partial.empty()) t = std::min(t, lastArrival + std::chrono::milliseconds(kStallMs));
    if (search.active) {
        if (search.next < search.hits.size())
            t = std::min(t, search.hits[search.next].at);
        else
            t = std::min(t, search.end);
    }
    if (pairing.active) t = std::min(t, pairing.due);
    if (t == TimePoint::max()) return false;
    *when = t;
    return true;
}

std::vector<std::string> VirtualModule::TakeTrace() {
    std::vector<std::string> lines;
    lines.swap(trace);
    return lines;
}

void VirtualModule::HandleFrame(const std::vector<uint8_t>& frame, TimePoint at) {
    trace.push_back("recv " + HexBytes(frame.data(), frame.size()));
    const uint8_t op = frame[0];
    const TimePoint ready = at + std::chrono::milliseconds(config.answerDelayMs);
    const Settings before = settings;
    std::vector<uint8_t> answer = Answer(frame, at);
    for (const Fault& f : config.faults)
        if (f.kind == Fault::Ignore && (f.opcode < 0 || f.opcode == op)) settings = before;
    if (!answer.empty()) Send(answer, op, ready);
    if (op == 0x80 && answer.size() >= 3 && answer[2] == kOk) {
        // A cancel ends what runs: the search with its end event, the pairing
        // with the cancelled event.
        if (search.active) EndSearch(ready);
        if (pairing.active) {
            pairing.active = false;
            SendEvent({0x65, 1, kPairingCancelled}, 0x65, ready);
        }
    }
}
} // namespace sim
