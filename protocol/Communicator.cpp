// SPDX-License-Identifier: Apache-2.0
// Frame exchange with the module, status texts and the connection probe.
#include "Communicator.h"

#include "Exchange.h"
#include "mSerial.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace {

// The port is read in slices of at most this many bytes.
constexpr int32_t kReadSlice = 50;
// Time-outs in hundredths of a second, measured on the hundredths field only.
constexpr int32_t kReceiveLimit = 60;
constexpr int32_t kPollLimit = 5;

// Collects one frame: opcode, length L, status, L - 1 data bytes. The length
// byte alone decides where the frame ends, and since L is one byte a frame
// never exceeds kMaxFrame.
class FrameCollector {
  public:
    explicit FrameCollector(uint8_t* buffer) : buffer(buffer) {}

    // Takes one byte; true when it completes the frame.
    bool Feed(uint8_t byte) {
        if (stored >= Communicator::kMaxFrame) return true; // cannot happen with a 1-byte L
        buffer[stored++] = byte;
        switch (state) {
        case kOpcode:
            state = kLength;
            return false;
        case kLength:
            length = byte;
            if (length == 0) return true; // the status position keeps what it held
            state = kStatus;
            return false;
        case kStatus:
            count = 1;
            if (length == 1) return true;
            state = kData;
            return false;
        default:
            ++count;
            return count == length;
        }
    }

    // Bytes the frame still lacks, as far as it is known: the opcode and the
    // length first, then what the length says.
    int32_t Missing() const {
        switch (state) {
        case kOpcode:
            return 2;
        case kLength:
            return 1;
        case kStatus:
            return length;
        default:
            return length - count;
        }
    }

    int32_t Stored() const { return stored; }
    void Restart() { *this = FrameCollector(buffer); }

  private:
    enum State { kOpcode = 1, kLength, kStatus, kData };
    uint8_t* buffer;
    int32_t stored = 0;
    State state = kOpcode;
    int32_t length = 0;
    int32_t count = 0;
};

// Frames the module sends on its own during a search or a pairing.
bool IsEvent(uint8_t opcode) {
    return opcode == 0x60 || opcode == 0x65;
}

} // namespace

const char* Communicator::StatusTextOf(int32_t status) {
    switch (status) {
    case 17:
        return "Connection complete";
    case 18:
        return "Connection timeout";
    case 19:
    case 20:
        return "Connection cancelled";
    case 21:
        return "Connection service not supported";
    case 22:
        return "Connection failed";
    case 23:
        return "Connection disconnect";
    case 24:
        return "Connection disconnect abnormal";
    case 25:
        return "Data req error - no space";
    case 224:
        return "Pairing timeout";
    case 225:
        return "Pairing failed";
    case 226:
        return "Pairing cancelled";
    case 227:
        return "Pairing error";
    case 252:
        return "RF not ready";
    case 253:
        return "Command invalid parameter";
    case 254:
        return "Command failed";
    case 255:
        return "Command error";
    default:
        return nullptr;
    }
}

namespace {

TraceObserver& DefaultObserver() {
    static TraceObserver observer;
    return observer;
}

} // namespace

Communicator::Communicator() : observer(DefaultObserver()) {}

void Communicator::SetDefaultObserver(TraceObserver given) {
    DefaultObserver() = std::move(given);
}

void Communicator::Trace(TraceEvent::Direction direction, TraceEvent::Kind kind,
                         const uint8_t* bytes, int32_t count, bool queued, bool fromKept) const {
    TraceEvent event;
    event.time = std::chrono::steady_clock::now();
    event.direction = direction;
    event.kind = kind;
    event.queued = queued;
    event.fromKept = fromKept;
    if (count > 0) event.bytes.assign(bytes, bytes + count);
    observer(event);
}

int32_t Communicator::Hundredths() const {
    using namespace std::chrono;
    const auto ms = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const auto inSecond = ((ms % 1000) + 1000) % 1000;
    return static_cast<int32_t>(inSecond / 10);
}

void Communicator::Send(const uint8_t* frame, int32_t count) {
    SettleKept();
    if (serialPort == nullptr || frame == nullptr || count <= 0) return;
    if (observer) Trace(TraceEvent::Direction::Send, TraceEvent::Kind::Frame, frame, count);
    serialPort->WriteBuffer(frame, count);
}

int32_t Communicator::Receive(uint8_t* buffer, int32_t expected) {
    (void)expected; // the frame's own length byte decides
    return Collect(buffer, true);
}

int32_t Communicator::PollReceive(uint8_t* buffer, int32_t expected) {
    (void)expected;
    return Collect(buffer, false);
}

int32_t Communicator::Collect(uint8_t* buffer, bool answer) {
    const auto beforeClock = [&] {
        if (!answer && pump) pump();
    };
    if (buffer == nullptr) {
        beforeClock();
        return -1;
    }
    uint8_t frame[kMaxFrame] = {};
    FrameCollector collector(frame);
    bool frameFromKept = false; // a byte of the frame came from the kept bytes
    const auto traceFrame = [&](TraceEvent::Kind kind, bool queued) {
        if (observer)
            Trace(TraceEvent::Direction::Receive, kind, frame, collector.Stored(), queued,
                  frameFromKept);
    };
    // True when the frame wanted is complete; the bytes after it are kept.
    const auto feed = [&](const uint8_t* bytes, int32_t count, bool fromKept) {
        for (int32_t i = 0; i < count; ++i) {
            frameFromKept = frameFromKept || fromKept;
            if (!collector.Feed(bytes[i])) continue;
            if (answer && IsEvent(frame[0])) {
                // Not the answer: the event goes to the polls, the wait goes on.
                traceFrame(TraceEvent::Kind::Frame, true);
                QueueEvent(frame, collector.Stored());
                collector.Restart();
                frameFromKept = false;
                continue;
            }
            traceFrame(TraceEvent::Kind::Frame, false);
            Keep(bytes + i + 1, count - i - 1);
            std::memcpy(buffer, frame, static_cast<size_t>(collector.Stored()));
            return true;
        }
        return false;
    };
    const auto giveUp = [&] {
        if (collector.Stored() > 0) traceFrame(TraceEvent::Kind::Partial, false);
        std::memcpy(buffer, frame, static_cast<size_t>(collector.Stored()));
        return -1;
    };

    uint8_t earlier[kMaxFrame];
    const int32_t earlierCount = keptCount;
    std::memcpy(earlier, kept, static_cast<size_t>(keptCount));
    keptCount = 0;
    if (feed(earlier, earlierCount, true)) return 1;
    if (serialPort == nullptr) {
        beforeClock();
        return giveUp(); // nothing more can ever arrive: report the time-out at once
    }

    // A poll waits briefly for a frame to begin; one that has begun is awaited
    // to its end within the time-out of an answer.
    const int32_t quietLimit = answer ? kReceiveLimit : kPollLimit;
    const bool exact = answer && frameByFrame;
    beforeClock();
    const int32_t start = Hundredths();
    uint8_t slice[kReadSlice];
    for (;;) {
        beforeClock();
        int32_t elapsed = Hundredths() - start;
        if (elapsed < 0) elapsed += 100;
        if (elapsed > (collector.Stored() > 0 ? kReceiveLimit : quietLimit)) return giveUp();
        const int32_t want =
            exact && collector.Missing() < kReadSlice ? collector.Missing() : kReadSlice;
        int32_t got = serialPort->ReadBuffer(slice, want);
        // A closed port will not deliver the rest of the frame.
        if (got < 0) return giveUp();
        if (got > want) got = want;
        if (feed(slice, got, false)) return 1;
    }
}

void Communicator::Keep(const uint8_t* bytes, int32_t count) {
    const int32_t room = kMaxFrame - keptCount;
    if (count > room && observer)
        Trace(TraceEvent::Direction::Receive, TraceEvent::Kind::Dropped, bytes + room,
              count - room);
    count = std::min(count, room);
    if (count <= 0) return;
    std::memcpy(kept + keptCount, bytes, static_cast<size_t>(count));
    keptCount += count;
}

void Communicator::SettleKept() {
    int32_t at = 0;
    while (keptCount - at >= 2 && at + 2 + kept[at + 1] <= keptCount) {
        const int32_t size = 2 + kept[at + 1];
        if (IsEvent(kept[at])) {
            if (observer)
                Trace(TraceEvent::Direction::Receive, TraceEvent::Kind::Frame, kept + at, size,
                      true, true);
            QueueEvent(kept + at, size);
        } else if (observer) {
            // A whole answer that nobody waits for any more.
            Trace(TraceEvent::Direction::Receive, TraceEvent::Kind::Dropped, kept + at, size);
        }
        at += size;
    }
    // The start of an event stays so that its rest completes it; any other
    // leftover is a stale answer and goes.
    if (at < keptCount && IsEvent(kept[at])) {
        std::memmove(kept, kept + at, static_cast<size_t>(keptCount - at));
        keptCount -= at;
    } else {
        if (at < keptCount && observer)
            Trace(TraceEvent::Direction::Receive, TraceEvent::Kind::Dropped, kept + at,
                  keptCount - at);
        keptCount = 0;
    }
}

void Communicator::QueueEvent(const uint8_t* frame, int32_t size) {
    if (queuedEvents.size() >= static_cast<size_t>(kMaxQueuedEvents)) queuedEvents.pop_front();
    queuedEvents.emplace_back(frame, frame + size);
}

void Communicator::DropQueuedEvents(uint8_t opcode) {
    for (auto it = queuedEvents.begin(); it != queuedEvents.end();)
        it = (*it)[0] == opcode ? queuedEvents.erase(it) : it + 1;
}

bool Communicator::NextEvent(uint8_t frame[kMaxFrame]) {
    if (queuedEvents.empty()) return PollReceive(frame, kMaxFrame) == 1;
    const std::vector<uint8_t>& event = queuedEvents.front();
    std::copy(event.begin(), event.end(), frame);
    queuedEvents.pop_front();
    return true;
}

void Communicator::SetStatusText(int32_t status) {
    if (const char* text = StatusTextOf(status)) statusText = text;
}

std::string Communicator::GetErrorText(int32_t result) const {
    switch (result) {
    case -1:
        return "Communication timeout";
    case -2:
        return "Got invalid response";
    case -3:
        return "Status error - " + statusText;
    case -4:
        return "Bad parameter";
    default:
        return "unknown error";
    }
}

int32_t Communicator::CheckConnection() {
    using namespace proto;
    // The answer's status byte is not examined: any 0x01 frame means a module listens.
    Request probe(0x01);
    probe.Byte(0xFF).Byte(0x00).Byte(0x55).Byte(0xAA);
    const int32_t result = Exchange(*this, probe, 0x01);
    return result == 0 ? 1 : result;
}
