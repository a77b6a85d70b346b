// SPDX-License-Identifier: Apache-2.0
// protocol_bench DEVICE [answer-delay-ms]: times every configuration read of a
// full read-all of a software 3.02 second-generation module against a module
// (normally nvmsim) at 38400 bits per second, and compares the time with the
// least the protocol allows: per exchange the bytes on the wire at 10 bits a
// byte, the module's answer delay and the 10 ms read time-out of the port.
#include "Communicator.h"
#include "mSerial.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int kBaud = 38400;
constexpr int kReadTimeoutMs = 10;
constexpr int kRounds = 7;

// The port as the tool opens it, counting the bytes that pass.
class CountingSerial : public mSerial {
  public:
    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        const int32_t got = mSerial::ReadBuffer(buffer, count);
        if (got > 0) received += got;
        return got;
    }
    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        const int32_t put = mSerial::WriteBuffer(buffer, count);
        if (put > 0) sent += put;
        return put;
    }
    long sent = 0;
    long received = 0;
};

struct Command {
    int opcode;
    std::function<int32_t(Communicator&)> run;
};

// The reads of a full read-all, in its order: General | Serial | Endpoint |
// Connecting | Power save | Scan and output power | Other | SCO.
std::vector<Command> ReadAll() {
    static uint8_t bytes[16];
    static uint8_t b;
    static uint16_t w1, w2, w3, w4;
    static int16_t power;
    static std::string text;
    static int32_t full;
    return {
        {0x40, [](Communicator& c) { return c.GetModuleInfo(bytes); }},
        {0x41, [](Communicator& c) { return c.GetArticleNumber(text); }},
        {0x1c, [](Communicator& c) { return c.GetDeviceName(text, full); }},
        {0x1e, [](Communicator& c) { return c.GetServiceName(text, full); }},
        {0x42, [](Communicator& c) { return c.GetLocalAddress(bytes); }},
        {0x14, [](Communicator& c) { return c.GetSerialSettings(bytes); }},
        {0xd8, [](Communicator& c) { return c.GetUserBaudrate(b, w1); }},
        {0x12, [](Communicator& c) { return c.GetDeviceMode(b); }},
        {0x62, [](Communicator& c) { return c.GetPairedDevice(bytes); }},
        {0x18, [](Communicator& c) { return c.GetAcceptedAddress(bytes); }},
        {0x66, [](Communicator& c) { return c.GetSecurityFlags(bytes); }},
        {0x68, [](Communicator& c) { return c.GetPasskey(text); }},
        {0x12, [](Communicator& c) { return c.GetDeviceMode(b); }},
        {0x62, [](Communicator& c) { return c.GetPairedDevice(bytes); }},
        {0x16, [](Communicator& c) { return c.GetConnectAddress(bytes); }},
        {0x66, [](Communicator& c) { return c.GetSecurityFlags(bytes); }},
        {0xc8, [](Communicator& c) { return c.GetSniffSettings(w1, w2, w3, w4); }},
        {0xca, [](Communicator& c) { return c.GetParkSettings(w1, w2); }},
        {0xc4, [](Communicator& c) { return c.GetInquiryScan(w1, w2); }},
        {0xc6, [](Communicator& c) { return c.GetPageScan(w1, w2); }},
        {0xd2, [](Communicator& c) { return c.GetMaxTxPower(power); }},
        {0xd4, [](Communicator& c) { return c.GetDefaultTxPower(power); }},
        {0xc0, [](Communicator& c) { return c.GetPerformanceMode(b); }},
        {0xcc, [](Communicator& c) { return c.GetClassOfDevice(bytes); }},
        {0xd6, [](Communicator& c) { return c.GetSerialEmulation(b); }},
        {0xc2, [](Communicator& c) { return c.GetLinkTimeout(w1); }},
        {0xda, [](Communicator& c) { return c.GetQualityOfService(b, bytes); }},
        {0xf0, [](Communicator& c) { return c.GetScoSettings(b, w1); }},
        {0xf2, [](Communicator& c) { return c.GetCodecOutputGainMax(w1); }},
        {0xf3, [](Communicator& c) { return c.GetCodecOutputGain(w1); }},
        {0xf5, [](Communicator& c) { return c.GetCodecInputGainMax(w1); }},
        {0xf6, [](Communicator& c) { return c.GetCodecInputGain(w1); }},
    };
}

struct Timing {
    long sent = 0;
    long received = 0;
    double ms = 0;
    double leastMs = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "Usage: protocol_bench DEVICE [answer-delay-ms]\n");
        return 2;
    }
    const std::string device = argv[1];
    double answerDelayMs = 2;
    if (argc == 3) {
        char* end = nullptr;
        answerDelayMs = std::strtod(argv[2], &end);
        if (end == argv[2] || *end != '\0' || answerDelayMs < 0) {
            std::fprintf(stderr, "protocol_bench: bad answer delay \"%s\"\n", argv[2]);
            return 2;
        }
    }

    PortTable::Set({device});
    CountingSerial port;
    SetModuleLineSettings(port); // the tool's line: its reads wait kReadTimeoutMs
    port.port = 1;
    if (port.Open() != 0) {
        std::fprintf(stderr, "protocol_bench: %s: %s\n", device.c_str(),
                     port.GetLastErrorText().c_str());
        return 1;
    }
    Communicator c;
    c.SetSerialPort(&port);
    const int32_t probe = c.CheckConnection();
    if (probe != 1) {
        std::fprintf(stderr, "protocol_bench: no module answers on %s: %s\n", device.c_str(),
                     c.GetErrorText(probe).c_str());
        return 1;
    }

    const std::vector<Command> commands = ReadAll();
    std::vector<std::vector<Timing>> rounds;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<Timing> timings;
        for (const Command& command : commands) {
            Timing t;
            const long sent = port.sent, received = port.received;
            const auto start = std::chrono::steady_clock::now();
            const int32_t result = command.run(c);
            t.ms =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count();
            if (result != 0) {
                std::fprintf(stderr, "protocol_bench: command 0x%02X failed: %s\n", command.opcode,
                             c.GetErrorText(result).c_str());
                return 1;
            }
            t.sent = port.sent - sent;
            t.received = port.received - received;
            t.leastMs =
                (t.sent + t.received) * 10.0 * 1000.0 / kBaud + answerDelayMs + kReadTimeoutMs;
            timings.push_back(t);
        }
        rounds.push_back(timings);
    }
    auto total = [](const std::vector<Timing>& r, double Timing::*field) {
        double sum = 0;
        for (const Timing& t : r)
            sum += t.*field;
        return sum;
    };
    std::vector<size_t> order(rounds.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return total(rounds[a], &Timing::ms) < total(rounds[b], &Timing::ms);
    });
    const std::vector<Timing>& median = rounds[order[order.size() / 2]];

    std::printf("%d read commands of a full read-all, %s at %d bit/s, answer delay %.1f ms, "
                "median of %d rounds\n",
                static_cast<int>(commands.size()), device.c_str(), kBaud, answerDelayMs, kRounds);
    std::printf("opcode  bytes (out+in)  measured ms  least ms\n");
    for (size_t i = 0; i < commands.size(); ++i) {
        const Timing& t = median[i];
        std::printf("0x%02X    %3ld + %-3ld       %8.2f  %8.2f\n", commands[i].opcode, t.sent,
                    t.received, t.ms, t.leastMs);
    }
    const double measured = total(median, &Timing::ms);
    const double least = total(median, &Timing::leastMs);
    std::printf("measured total: %.1f ms (fastest round %.1f ms, slowest %.1f ms)\n", measured,
                total(rounds[order.front()], &Timing::ms),
                total(rounds[order.back()], &Timing::ms));
    std::printf("least total:    %.1f ms\n", least);
    std::printf("ratio:          %.2f\n", measured / least);
    port.Close();
    return 0;
}
