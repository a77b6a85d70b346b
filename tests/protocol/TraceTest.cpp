// SPDX-License-Identifier: Apache-2.0
// The protocol trace a person reads: the words of every frame in both
// directions, and the trace file's lines for what the Communicator sends and
// receives (events queued or completed from kept bytes, partial frames, bytes
// dropped).
#include "Trace.h"
#include "TextDiff.h"
#include "ProtocolRig.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <unistd.h>

namespace {

// A trace file that a TraceWriter writes.
struct TraceFile {
    TraceFile() : path(testing::TempDir() + "trace-" + std::to_string(getpid())) {}
    ~TraceFile() {
        std::fclose(file);
        std::remove(path.c_str());
    }
    // What is in the file so far, read beside the writer (every line is flushed
    // as it is written), without the time column; `ms` gets the times.
    std::string Text(std::vector<double>* ms = nullptr) const {
        std::istringstream lines(Slurp(path));
        std::string text;
        for (std::string line; std::getline(lines, line);) {
            if (ms) ms->push_back(std::strtod(line.c_str(), nullptr));
            text += line.substr(std::min<size_t>(11, line.size())) + "\n";
        }
        return text;
    }
    std::string path;
    std::FILE* file = std::fopen(path.c_str(), "w");
    TraceWriter writer{file};
};

// Frames in both directions as the trace shows them, every field with a byte of
// its own; an answer 0x42 right after 0x50 was sent is the close notification's.
const char* const kFrames =
    "send 01 04 ff 00 55 aa | CheckConnection (0x01): probe ff 00 55 aa\n"
    "recv 40 0d 01 00 03 01 02 03 04 00 05 03 02 00 00 | GetModuleInfo (0x40): status 1 (success); "
    "product code 3 (NVM-220), hardware 0102.03.04-05, software 3.02\n"
    "recv 42 07 01 0a 0b 0c 0d 0e 0f | GetLocalAddress (0x42): status 1 (success); local address "
    "0A:0B:0C:0D:0E:0F\n"
    "send 50 00 | NotifyClose (0x50)\n"
    "recv 42 01 01 | NotifyClose (0x42): status 1 (success)\n"
    "recv 62 01 fe | GetPairedDevice (0x62): status 254 (Command failed); not paired\n"
    "recv d2 03 01 ff a6 | GetMaxTxPower (0xD2): status 1 (success); power -90\n"
    "recv 60 08 07 00 1b dc 0f 52 a7 09 | InquiryEvent (0x60): address 00:1B:DC:0F:52:A7\n"
    "recv 60 2a 07 f1 f2 f3 f4 f5 f6 71 71 71 71 71 71 71 71 71 71 71 71 71 71 71 71 71 71 71 71 "
    "71 71 71 71 71 71 71 71 71 71 71 71 5a 02 0c | InquiryEvent (0x60): address "
    "F1:F2:F3:F4:F5:F6, name \"qqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqq\" (32), class 0x5A020C\n"
    "recv 60 03 0d 0e 0f | InquiryEvent (0x60): too short, not used, extra bytes 0d 0e 0f\n"
    "send 63 04 39 38 37 36 | StartPairing (0x63): remote initiates, passkey \"9876\" (4)\n"
    "send 64 0a 00 11 22 33 44 55 31 32 33 34 | StartPairing (0x64): local initiates, address "
    "00:11:22:33:44:55, passkey \"1234\" (4)\n"
    "recv 64 01 01 | StartPairing (0x64): status 1 (success)\n"
    "recv 14 03 01 03 01 | GetSerialSettings (0x14): status 1 (success); rate code 3 (9600), flow "
    "control 1, parity missing\n"
    "recv 12 02 01 09 | GetDeviceMode (0x12): status 1 (success); mode 9 (not known)\n"
    "recv c0 03 01 02 44 | GetPerformanceMode (0xC0): status 1 (success); mode 2 (Latency), extra "
    "bytes 44\n"
    "recv 14 00 | GetSerialSettings (0x14)\n"
    "recv 1c 03 01 09 22 | GetDeviceName (0x1C): status 1 (success); name \"\\x09\\x22\" (2)\n"
    "recv 99 02 01 05 | unknown frame (0x99)\n"
    "send 14 | GetSerialSettings (0x14): length missing\n";

TEST(Trace, EveryFrameInWordsOneLineEachWrittenAtOnce) {
    TraceFile trace;
    const auto start = std::chrono::steady_clock::now() + std::chrono::microseconds(12345);
    std::istringstream lines(kFrames);
    int n = 0;
    for (std::string line; std::getline(lines, line); ++n) {
        TraceEvent event;
        event.direction = line.rfind("send", 0) == 0 ? TraceEvent::Direction::Send
                                                     : TraceEvent::Direction::Receive;
        event.time = start + n * std::chrono::milliseconds(2);
        std::istringstream hex(line.substr(5, line.find(" |") - 5));
        for (unsigned byte = 0; hex >> std::hex >> byte;)
            event.bytes.push_back(uint8_t(byte));
        trace.writer(event);
        // Cut short anywhere, a frame still has words and nothing beyond it is
        // read (the sanitizers watch the exactly sized copy).
        for (size_t cut = 0; cut < event.bytes.size(); ++cut) {
            const Bytes part(event.bytes.begin(), event.bytes.begin() + long(cut));
            EXPECT_NE(DecodeFrame(event.direction, part.data(), cut).Words(), "");
        }
    }
    std::vector<double> ms;
    EXPECT_TRUE(SameText(kFrames, trace.Text(&ms)));
    ASSERT_EQ(ms.size(), size_t(n));
    EXPECT_GE(ms[0], 12.3);
    EXPECT_NEAR(ms[size_t(n) - 1] - ms[0], 2.0 * (n - 1), 0.01);
}

class TraceOfExchanges : public ProtocolTest {
  protected:
    TraceOfExchanges() { com.observer = trace.writer.Observer(); }
    TraceFile trace;
    uint8_t settings[5] = {}, mode = 0;
};

TEST_F(TraceOfExchanges, ShowQueuedEventsKeptPartialAndDroppedBytes) {
    Reply(0x14, 0x01, {0x0A, 0x00, 0x01, 0x07, 0x02});
    ASSERT_EQ(com.GetSerialSettings(settings), 0);
    EXPECT_EQ(Sent(), (Bytes{0x14, 0x00})) << "the trace changes nothing on the wire";
    // A pairing event comes with the cancel's answer, and after it the end of a
    // search and the start of another: the event is queued and shown as it
    // came, the ends are completed from the kept bytes.
    port.Push({0x65, 0x01, 0xE2, 0x80, 0x01, 0x01, 0x60, 0x00, 0x60});
    EXPECT_EQ(com.CancelInquiry(), 1);
    EXPECT_EQ(com.PollPairingStatus(), 4);
    port.Push({0x00});
    com.PollInquiry();
    com.PollInquiry();
    // An answer that stops short.
    port.Push({0x14, 0x06, 0x01});
    EXPECT_EQ(com.GetSerialSettings(settings), -1);
    // After a poll's event, a stale answer and a stray byte: dropped when the
    // next command goes out.
    com.StartInquiry(12, kCod, true);
    port.Push({0x60, 0x00, 0x12, 0x01, 0x01, 0x33});
    EXPECT_EQ(com.PollInquiry(), 2);
    Reply(0x12, 0x01, {0x02});
    EXPECT_EQ(com.GetDeviceMode(mode), 0);
    std::vector<double> ms;
    EXPECT_TRUE(SameText(
        "send 14 00 | GetSerialSettings (0x14)\n"
        "recv 14 06 01 0a 00 01 07 02 | GetSerialSettings (0x14): status 1 (success); rate code 10 "
        "(921600), flow control 0, parity 1 (Odd), data bits 7, stop bits 2\n"
        "send 80 00 | CancelInquiry (0x80)\n"
        "recv 65 01 e2 | PairingEvent (0x65) [queued event]: status 226 (Pairing cancelled)\n"
        "recv 80 01 01 | CancelInquiry (0x80): status 1 (success)\n"
        "recv 60 00 | InquiryEvent (0x60) [from kept bytes]: end of search\n"
        "recv 60 00 | InquiryEvent (0x60) [from kept bytes]: end of search\n"
        "send 14 00 | GetSerialSettings (0x14)\n"
        "recv 14 06 01 | GetSerialSettings (0x14) [partial frame]: status 1 (success); rate code "
        "missing\n"
        "send 60 06 0c 00 5a 02 0c 01 | StartInquiry (0x60): duration 12, class filter 0x005A020C, "
        "flag 1\n"
        "recv 60 00 | InquiryEvent (0x60): end of search\n"
        "recv 12 01 01 | dropped bytes: 3 bytes\n"
        "recv 33 | dropped bytes: 1 byte\n"
        "send 12 00 | GetDeviceMode (0x12)\n"
        "recv 12 02 01 02 | GetDeviceMode (0x12): status 1 (success); mode 2 (Endpoint)\n",
        trace.Text(&ms)));
    EXPECT_TRUE(std::is_sorted(ms.begin(), ms.end())) << "in the order they happened";
}

} // namespace
