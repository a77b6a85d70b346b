// Frame exchange with the module, status texts and the connection probe.
#include "Communicator.h"

#include "Exchange.h"
#include "mSerial.h"

#include <chrono>

namespace {

// The port is read in slices of at most this many bytes.
constexpr int32_t kReadSlice = 50;
// Time-outs in hundredths of a second, measured on the hundredths field only.
constexpr int32_t kReceiveLimit = 60;
constexpr int32_t kPollLimit = 5;

// Collects one response frame: opcode, length L, status, L - 1 data bytes.
// Every byte is appended to the caller's buffer; the length byte alone decides
// where the frame ends, and since L is one byte a frame never exceeds kMaxFrame.
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

  private:
    enum State { kOpcode = 1, kLength, kStatus, kData };
    uint8_t* buffer;
    int32_t stored = 0;
    State state = kOpcode;
    int32_t length = 0;
    int32_t count = 0;
};

// One frame from the port within `limit` hundredths; `clock` gives the hundredths
// field of the current second and `beforeClock` runs before every clock reading.
template <typename Clock, typename Hook>
int32_t CollectFrame(mSerial* port, uint8_t* buffer, int32_t limit, bool exact, Clock clock,
                     Hook beforeClock) {
    if (port == nullptr || buffer == nullptr) {
        beforeClock();
        return -1; // nothing can ever arrive: report the time-out at once
    }
    FrameCollector collector(buffer);
    beforeClock();
    const int32_t start = clock();
    uint8_t slice[kReadSlice];
    for (;;) {
        beforeClock();
        int32_t elapsed = clock() - start;
        if (elapsed < 0) elapsed += 100;
        if (elapsed > limit) return -1;
        const int32_t want =
            exact && collector.Missing() < kReadSlice ? collector.Missing() : kReadSlice;
        int32_t got = port->ReadBuffer(slice, want);
        // A closed port will not deliver the rest of the frame.
        if (got < 0) return -1;
        if (got > want) got = want;
        for (int32_t i = 0; i < got; ++i) {
            // Bytes after the end of the frame in the same read are dropped.
            if (collector.Feed(slice[i])) return 1;
        }
    }
}

const char* StatusTextOf(int32_t status) {
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

} // namespace

Communicator::Communicator() = default;

int32_t Communicator::Hundredths() const {
    using namespace std::chrono;
    const auto ms = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const auto inSecond = ((ms % 1000) + 1000) % 1000;
    return static_cast<int32_t>(inSecond / 10);
}

void Communicator::Send(const uint8_t* frame, int32_t count) {
    if (serialPort == nullptr || frame == nullptr || count <= 0) return;
    serialPort->WriteBuffer(frame, count);
}

int32_t Communicator::Receive(uint8_t* buffer, int32_t expected) {
    (void)expected; // the frame's own length byte decides
    return CollectFrame(
        serialPort, buffer, kReceiveLimit, frameByFrame, [this] { return Hundredths(); }, [] {});
}

int32_t Communicator::PollReceive(uint8_t* buffer, int32_t expected) {
    (void)expected;
    return CollectFrame(
        serialPort, buffer, kPollLimit, false, [this] { return Hundredths(); },
        [this] {
            if (pump) pump();
        });
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
