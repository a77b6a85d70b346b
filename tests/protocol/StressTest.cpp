// Thousands of random and malformed answers: every result must be a valid code
// and nothing may be written outside its storage (the sanitizer build catches
// the rest).
#include "ProtocolFixture.h"

#include <cstring>
#include <functional>
#include <random>
#include <set>
#include <string>

namespace {

// An exactly sized heap buffer followed by a guard area that must stay untouched.
template <size_t N> struct Guarded {
    static constexpr size_t kGuard = 16;
    std::vector<uint8_t> storage = std::vector<uint8_t>(N + kGuard, 0xA5);
    uint8_t* data() { return storage.data(); }
    bool GuardIntact() const {
        for (size_t i = N; i < storage.size(); ++i)
            if (storage[i] != 0xA5) return false;
        return true;
    }
};

class Garbage {
  public:
    explicit Garbage(uint32_t seed) : rng(seed) {}

    int Below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); }
    uint8_t Byte() { return static_cast<uint8_t>(Below(256)); }

    // One answer of a random kind for a request with `opcode`.
    Bytes Answer(uint8_t opcode) {
        Bytes bytes;
        const uint8_t op = Below(3) == 0 ? Byte() : opcode;
        switch (Below(6)) {
        case 0: // whole frame of random length
        case 1: {
            const int length = Below(256);
            bytes = {op, static_cast<uint8_t>(length)};
            for (int i = 0; i < length; ++i)
                bytes.push_back(Below(2) ? 1 : Byte());
            break;
        }
        case 2: { // truncated frame with a large length byte
            bytes = {op, static_cast<uint8_t>(200 + Below(56))};
            const int have = Below(40);
            for (int i = 0; i < have; ++i)
                bytes.push_back(Byte());
            break;
        }
        case 3: { // garbage
            const int n = Below(300);
            for (int i = 0; i < n; ++i)
                bytes.push_back(Byte());
            break;
        }
        case 4: // nothing at all
            break;
        default: { // a frame followed by trailing bytes
            const int length = Below(12);
            bytes = {op, static_cast<uint8_t>(length)};
            for (int i = 0; i < length; ++i)
                bytes.push_back(i == 0 ? 1 : Byte());
            const int extra = Below(20);
            for (int i = 0; i < extra; ++i)
                bytes.push_back(Byte());
        }
        }
        return bytes;
    }

    // Cuts bytes into random arrivals with random pauses between them.
    ScriptedPort::Pieces Pieces(const Bytes& bytes) {
        ScriptedPort::Pieces pieces;
        size_t at = 0;
        while (at < bytes.size()) {
            const size_t n = std::min(bytes.size() - at, static_cast<size_t>(1 + Below(80)));
            pieces.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                bytes.begin() + static_cast<std::ptrdiff_t>(at + n));
            at += n;
            if (Below(4) == 0) pieces.emplace_back();
        }
        return pieces;
    }

    std::mt19937 rng;
};

struct Operation {
    uint8_t opcode;
    std::set<int32_t> results;
    std::function<int32_t(Communicator&)> call;
};

TEST(ProtocolStress, RandomAndMalformedAnswersGiveValidResultsOnly) {
    ScriptedPort port;
    port.instant = true;
    ClockedCommunicator com;
    com.SetSerialPort(&port);
    int pumped = 0;
    com.pump = [&] { ++pumped; };

    // Outputs sized exactly, so that the sanitizer sees any write beyond them.
    Guarded<Communicator::kMaxFrame> frame;
    Guarded<6> address;
    Guarded<32> name;
    Guarded<12> info;
    Guarded<5> serial;
    Guarded<4> four;
    Guarded<3> three;
    uint8_t byte = 0;
    uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
    int16_t power16 = 0;
    int32_t length = 0;
    std::string text;

    const std::set<int32_t> get{0, -1, -2, -3};
    const std::set<int32_t> received{1, -1};
    const std::set<int32_t> cancel{1, -1, -2};
    const std::set<int32_t> search{0, 1, 2, 3};
    const std::set<int32_t> pairing{0, 1, 2, 3, 4, 5};
    const std::vector<Operation> ops = {
        {0x01, cancel, [](Communicator& c) { return c.CheckConnection(); }},
        {0x12, get, [&](Communicator& c) { return c.GetDeviceMode(byte); }},
        {0x14, get, [&](Communicator& c) { return c.GetSerialSettings(serial.data()); }},
        {0x16, get, [&](Communicator& c) { return c.GetConnectAddress(address.data()); }},
        {0x18, get, [&](Communicator& c) { return c.GetAcceptedAddress(address.data()); }},
        {0x1C, get, [&](Communicator& c) { return c.GetDeviceName(text, length); }},
        {0x1E, get, [&](Communicator& c) { return c.GetServiceName(text, length); }},
        {0x40, get, [&](Communicator& c) { return c.GetModuleInfo(info.data()); }},
        {0x41, get, [&](Communicator& c) { return c.GetArticleNumber(text); }},
        {0x42, get, [&](Communicator& c) { return c.GetLocalAddress(address.data()); }},
        {0x50, get, [](Communicator& c) { return c.NotifyClose(); }},
        {0x62, get, [&](Communicator& c) { return c.GetPairedDevice(address.data()); }},
        {0x66, get, [&](Communicator& c) { return c.GetSecurityFlags(three.data()); }},
        {0x68, get, [&](Communicator& c) { return c.GetPasskey(text); }},
        {0xC0, get, [&](Communicator& c) { return c.GetPerformanceMode(byte); }},
        {0xC2, get, [&](Communicator& c) { return c.GetLinkTimeout(w1); }},
        {0xC4, get, [&](Communicator& c) { return c.GetInquiryScan(w1, w2); }},
        {0xC6, get, [&](Communicator& c) { return c.GetPageScan(w1, w2); }},
        {0xC8, get, [&](Communicator& c) { return c.GetSniffSettings(w1, w2, w3, w4); }},
        {0xCA, get, [&](Communicator& c) { return c.GetParkSettings(w1, w2); }},
        {0xCC, get, [&](Communicator& c) { return c.GetClassOfDevice(four.data()); }},
        {0xD2, get, [&](Communicator& c) { return c.GetMaxTxPower(power16); }},
        {0xD3, get,
         [](Communicator& c) {
             int32_t v = 0;
             const int32_t r = c.SetMaxTxPower(v);
             return (r == 0 && (v < -32768 || v > 32767)) ? 99 : r;
         }},
        {0xD4, get, [&](Communicator& c) { return c.GetDefaultTxPower(power16); }},
        {0xD6, get, [&](Communicator& c) { return c.GetSerialEmulation(byte); }},
        {0xD8, get, [&](Communicator& c) { return c.GetUserBaudrate(byte, w1); }},
        {0xDA, get, [&](Communicator& c) { return c.GetQualityOfService(byte, four.data()); }},
        {0xF0, get, [&](Communicator& c) { return c.GetScoSettings(byte, w1); }},
        {0xF2, get, [&](Communicator& c) { return c.GetCodecOutputGainMax(w1); }},
        {0xF3, get, [&](Communicator& c) { return c.GetCodecOutputGain(w1); }},
        {0xF5, get, [&](Communicator& c) { return c.GetCodecInputGainMax(w1); }},
        {0xF6, get, [&](Communicator& c) { return c.GetCodecInputGain(w1); }},
        {0x13, get, [](Communicator& c) { return c.SetDeviceMode(1); }},
        {0xF1, get, [](Communicator& c) { return c.SetScoSettings(1, 64); }},
        {0x80, cancel, [](Communicator& c) { return c.CancelInquiry(); }},
        {0x60, received, [&](Communicator& c) { return c.Receive(frame.data(), 3); }},
        {0x65, received, [&](Communicator& c) { return c.PollReceive(frame.data(), 3); }},
        {0x60, search, [](Communicator& c) { return c.PollInquiry(); }},
        {0x60, search, [](Communicator& c) { return c.PollInquiry(); }},
        {0x60, search, [](Communicator& c) { return c.PollInquiry(); }},
        {0x65, pairing, [](Communicator& c) { return c.PollPairingStatus(); }},
    };

    Garbage g(20240611);
    const uint8_t filter[4] = {0, 0, 0, 0};
    const uint8_t key[4] = {'1', '2', '3', '4'};
    ASSERT_EQ(com.StartInquiry(12, filter, true), 0);
    ASSERT_EQ(com.StartPairing(1, nullptr, key, 4), -1);
    int completeFrames = 0;
    for (int round = 0; round < 20000; ++round) {
        const Operation& op = ops[static_cast<size_t>(g.Below(static_cast<int>(ops.size())))];
        if (g.Below(3) != 0) port.DropPending(); // else leftovers open the next answer
        port.PushPieces(g.Pieces(g.Answer(op.opcode)));
        const int32_t result = op.call(com);
        ASSERT_EQ(op.results.count(result), 1u) << "round " << round << " result " << result;
        if (op.results == received && result == 1) ++completeFrames;

        // Takes now and then, as a search dialog does.
        if (g.Below(4) == 0) {
            const int32_t before = com.foundCount;
            const int32_t left = com.TakeInquiryResult(address.data(), name.data());
            ASSERT_EQ(left, before > 0 ? before - 1 : -1) << round;
        }
        ASSERT_GE(com.foundCount, 0);
        ASSERT_LE(com.searchState, 3);
        ASSERT_GE(com.searchState, 0);
        ASSERT_LE(com.pairingState, 5);
        ASSERT_GE(com.pairingState, 0);
        ASSERT_TRUE(frame.GuardIntact() && address.GuardIntact() && name.GuardIntact() &&
                    info.GuardIntact() && serial.GuardIntact() && four.GuardIntact() &&
                    three.GuardIntact())
            << round;
        if (g.Below(500) == 0) {
            ASSERT_EQ(com.StartInquiry(1 + g.Below(30), filter, true), 0);
        }
    }
    EXPECT_GT(completeFrames, 200) << "the random answers should complete frames too";
    EXPECT_GT(pumped, 0);
    EXPECT_LE(text.size(), 32u);
}

} // namespace
