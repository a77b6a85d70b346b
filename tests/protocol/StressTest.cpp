// Thousands of random and malformed answers through every operation that reads
// from the module: each result must be a valid code and the states stay in
// range; the sanitizer build catches reads and writes outside the buffers.
#include "ProtocolFixture.h"

#include <random>
#include <set>
#include <tuple>

namespace {

TEST(ProtocolStress, RandomAndMalformedAnswersGiveValidResultsOnly) {
    ScriptedPort port;
    ClockedCommunicator com;
    com.SetSerialPort(&port);
    // Each operation with the opcode of the answers made up for it and its valid results.
    std::vector<std::tuple<CommandCase, uint8_t, std::set<int32_t>>> ops;
    for (const CommandCase& c : kAllCommands)
        ops.emplace_back(c, c.request[0],
                         c.ok == 1 ? std::set<int32_t>{1, -1, -2}
                                   : std::set<int32_t>{0, -1, -2, -3});
    ops.emplace_back(CommandCase{CALL(Receive(out.frame.data(), 3))}, 0x60, std::set{1, -1});
    ops.emplace_back(CommandCase{CALL(PollReceive(out.frame.data(), 3))}, 0x65, std::set{1, -1});
    for (int i = 0; i < 10; ++i) { // a search sees mostly events
        ops.emplace_back(CommandCase{CALL(PollInquiry())}, 0x60, std::set{0, 1, 2, 3});
        ops.emplace_back(CommandCase{CALL(PollPairingStatus())}, 0x65, std::set{0, 1, 2, 3, 4, 5});
    }

    std::mt19937 rng(20240611);
    auto below = [&](size_t n) { return static_cast<int>(rng() % n); };
    // A whole frame (data mostly 1, so that statuses and fields pass), one cut
    // short, one with trailing bytes, garbage or nothing; in random arrivals.
    auto arrive = [&](uint8_t opcode) {
        const int length = below(2) ? below(14) : below(3) ? below(256) : 255, kind = below(5);
        Bytes bytes{below(3) ? opcode : uint8_t(below(256)), uint8_t(length)};
        if (kind >= 3) bytes.clear();
        const int count = kind == 1   ? below(length + 1)
                          : kind == 2 ? length + below(20)
                          : kind == 3 ? below(300)
                                      : (kind == 0 ? length : 0);
        for (int i = 0; i < count; ++i)
            bytes.push_back(below(2) ? 1 : uint8_t(below(256)));
        for (auto at = bytes.begin(); at != bytes.end();) {
            const auto end = at + std::min<std::ptrdiff_t>(bytes.end() - at, 1 + below(80));
            port.Push(Bytes(at, end));
            if (below(4) == 0) port.Push({});
            at = end;
        }
    };

    int successes = 0;
    for (int round = 0; round < 20000; ++round) {
        const auto& [op, opcode, results] = ops[static_cast<size_t>(below(ops.size()))];
        if (below(3) != 0) port.DropPending(); // else leftovers open the next answer
        arrive(opcode);
        const int32_t result = op.call(com);
        ASSERT_EQ(results.count(result), 1u) << round << ": " << op.name << " gave " << result;
        successes += result == *results.rbegin();
        if (below(4) == 0) { // takes now and then, as the search window does
            const int32_t waiting = com.foundCount;
            ASSERT_EQ(com.TakeInquiryResult(out.b6.data(), out.b32.data()),
                      waiting > 0 ? waiting - 1 : -1);
        }
        ASSERT_TRUE(com.foundCount >= 0 && com.searchState >= 0 && com.searchState <= 3 &&
                    com.pairingState >= 0 && com.pairingState <= 5)
            << round << ": " << com.foundCount << " " << com.searchState << " " << com.pairingState;
        if (below(500) == 0) {
            ASSERT_EQ(com.StartInquiry(1 + below(30), kCod, true), 0);
        }
    }
    EXPECT_GT(successes, 1000) << "the random answers should often be complete and valid";
}

} // namespace
