// Device search and pairing: requests, events, the result store and the states.
#include "ProtocolFixture.h"

#include <cstring>
#include <string>

namespace {

Bytes Address(uint8_t seed) {
    Bytes a;
    for (uint8_t i = 0; i < 6; ++i)
        a.push_back(static_cast<uint8_t>(seed + i));
    return a;
}

Bytes Name32(const std::string& text) {
    Bytes name(text.begin(), text.end());
    name.resize(32, 0);
    return name;
}

// Inquiry event with an address only (L = 8).
Bytes AddressEvent(const Bytes& address) {
    Bytes frame{0x60, 0x08, 0x00};
    frame.insert(frame.end(), address.begin(), address.end());
    frame.push_back(0x5A);
    return frame;
}

// Inquiry event with address and name (L = 39).
Bytes NamedEvent(const Bytes& address, const Bytes& name) {
    Bytes frame{0x60, 39, 0x00};
    frame.insert(frame.end(), address.begin(), address.end());
    frame.insert(frame.end(), name.begin(), name.end());
    return frame;
}

const Bytes kEnd{0x60, 0x00};
const uint8_t kFilter[4] = {0x00, 0x02, 0x00, 0x00};
const uint8_t kRemote[6] = {0x00, 0x80, 0x37, 0x0A, 0x0B, 0x0C};

class SearchTest : public ProtocolTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(com.StartInquiry(12, kFilter, true), 0);
        port.ClearWritten();
    }

    // Polls once with `frame` waiting.
    int32_t PollWith(const Bytes& frame) {
        port.Push(frame);
        return com.PollInquiry();
    }

    struct Taken {
        int32_t result;
        Bytes address, name;
    };
    Taken Take() {
        uint8_t address[6], name[32];
        std::memset(address, 0xEE, sizeof address);
        std::memset(name, 0xEE, sizeof name);
        const int32_t result = com.TakeInquiryResult(address, name);
        return {result, Bytes(address, address + 6), Bytes(name, name + 32)};
    }
};

TEST_F(SearchTest, StartSendsTheRequestAndAwaitsNothing) {
    EXPECT_EQ(com.StartInquiry(12, kFilter, true), 0);
    EXPECT_EQ(Sent(), Bytes({0x60, 0x06, 0x0C, 0x00, 0x02, 0x00, 0x00, 0x01}));
    EXPECT_EQ(com.StartInquiry(1, kFilter, false), 0);
    EXPECT_EQ(Sent(), Bytes({0x60, 0x06, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00}));
    EXPECT_EQ(com.StartInquiry(30, kFilter, true), 0);
    EXPECT_EQ(Sent(), Bytes({0x60, 0x06, 0x1E, 0x00, 0x02, 0x00, 0x00, 0x01}));
    EXPECT_EQ(port.reads, 0);

    EXPECT_EQ(com.StartInquiry(0, kFilter, true), -4);
    EXPECT_EQ(com.StartInquiry(31, kFilter, true), -4);
    EXPECT_TRUE(port.written.empty());
}

TEST_F(SearchTest, StartDropsResultsOfAnEarlierSearch) {
    EXPECT_EQ(PollWith(AddressEvent(Address(1))), 1);
    EXPECT_EQ(PollWith(kEnd), 3);
    EXPECT_EQ(com.StartInquiry(12, kFilter, true), 0);
    EXPECT_EQ(com.searchState, 0);
    EXPECT_EQ(com.foundCount, 0);
    EXPECT_EQ(Take().result, -1);
    // A refused start changes nothing.
    EXPECT_EQ(PollWith(AddressEvent(Address(1))), 1);
    EXPECT_EQ(com.StartInquiry(31, kFilter, true), -4);
    EXPECT_EQ(com.searchState, 1);
    EXPECT_EQ(com.foundCount, 1);
}

TEST_F(SearchTest, ResultWithNameThenResultWithoutNameKeepsTheNameSlot) {
    const Bytes first = Address(0x10), second = Address(0x40);
    EXPECT_EQ(PollWith(NamedEvent(first, Name32("Printer"))), 1);
    EXPECT_EQ(com.foundCount, 1);
    Taken t = Take();
    EXPECT_EQ(t.result, 0);
    EXPECT_EQ(t.address, first);
    EXPECT_EQ(t.name, Name32("Printer"));
    EXPECT_EQ(com.searchState, 0);

    EXPECT_EQ(PollWith(AddressEvent(second)), 1);
    t = Take();
    EXPECT_EQ(t.result, 0);
    EXPECT_EQ(t.address, second);
    EXPECT_EQ(t.name, Name32("Printer"));
}

TEST_F(SearchTest, EndOfSearchWithAndWithoutResultsWaiting) {
    EXPECT_EQ(PollWith(kEnd), 2);
    EXPECT_EQ(com.PollInquiry(), 2) << "the end state persists";

    EXPECT_EQ(com.StartInquiry(12, kFilter, true), 0);
    EXPECT_EQ(PollWith(AddressEvent(Address(1))), 1);
    EXPECT_EQ(PollWith(kEnd), 3);
    EXPECT_EQ(Take().result, 0);
    EXPECT_EQ(com.searchState, 0);
}

TEST_F(SearchTest, TakeWithNothingWaitingChangesNothing) {
    EXPECT_EQ(PollWith(kEnd), 2);
    const Taken t = Take();
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.address, Bytes(6, 0xEE));
    EXPECT_EQ(t.name, Bytes(32, 0xEE));
    EXPECT_EQ(com.searchState, 2);
    EXPECT_EQ(com.foundCount, 0);
}

TEST_F(SearchTest, StoreStepsSixBytesAndTakeStepsOneByte) {
    const Bytes a = Address(0x10), b = Address(0x20);
    const Bytes nameA = Name32("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA");
    const Bytes nameB = Name32("BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB");
    EXPECT_EQ(PollWith(NamedEvent(a, nameA)), 1);
    EXPECT_EQ(PollWith(NamedEvent(b, nameB)), 1);
    EXPECT_EQ(com.foundCount, 2);
    EXPECT_EQ(Bytes(com.resultStore + 6, com.resultStore + 12), b);
    EXPECT_EQ(Bytes(com.resultStore + 30 + 6, com.resultStore + 30 + 38), nameB);

    // k = 2: both reads start at byte 1 of their areas.
    Taken t = Take();
    EXPECT_EQ(t.result, 1);
    EXPECT_EQ(t.address, Bytes({0x11, 0x12, 0x13, 0x14, 0x15, 0x20}));
    EXPECT_EQ(t.name, Name32("AAAAA" + std::string(27, 'B')));
    EXPECT_EQ(com.searchState, 1);
    t = Take();
    EXPECT_EQ(t.result, 0);
    EXPECT_EQ(t.address, a);
    EXPECT_EQ(com.searchState, 0);
}

TEST_F(SearchTest, ShortNamedEventTakesWhatArrivedAndZeros) {
    // L = 9: two name bytes arrived (bytes 9 and 10); the rest of the 32 are zero.
    Bytes frame = AddressEvent(Address(3));
    frame[1] = 9;
    frame.back() = 'Q';
    frame.push_back('R');
    EXPECT_EQ(PollWith(frame), 1);
    const Taken t = Take();
    EXPECT_EQ(t.address, Address(3));
    EXPECT_EQ(t.name, Name32("QR"));
}

TEST_F(SearchTest, OtherFramesAndShortEventsChangeNothing) {
    EXPECT_EQ(PollWith(AddressEvent(Address(1))), 1);
    EXPECT_EQ(Take().result, 0);
    EXPECT_EQ(com.searchState, 0);
    for (uint8_t length = 1; length <= 7; ++length) {
        Bytes frame{0x60, length};
        frame.resize(2 + length, 0x33);
        EXPECT_EQ(PollWith(frame), 0) << int(length);
    }
    EXPECT_EQ(PollWith({0x65, 0x01, 0x01}), 0);
    EXPECT_EQ(PollWith(ScriptedPort::Frame(0x62, 1, Address(7))), 0);
    EXPECT_EQ(com.PollInquiry(), 0) << "silence";
    EXPECT_EQ(com.foundCount, 0);
}

TEST_F(SearchTest, TwoEventsInOneReadYieldOneResult) {
    Bytes both = AddressEvent(Address(1));
    const Bytes second = AddressEvent(Address(9));
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(PollWith(both), 1);
    EXPECT_EQ(com.foundCount, 1);
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(com.foundCount, 1);
}

TEST_F(SearchTest, EventCutByThePollTimeOutIsNotResynchronised) {
    const Bytes event = AddressEvent(Address(1));
    port.PushPieces({Bytes(event.begin(), event.begin() + 4), {}, {}, {}, {}, {}});
    EXPECT_EQ(com.PollInquiry(), 0);
    // The remainder opens the next poll's frame: its first byte is taken as an opcode.
    port.Push(Bytes(event.begin() + 4, event.end()));
    EXPECT_EQ(com.PollInquiry(), 0);
    EXPECT_EQ(com.foundCount, 0);
}

TEST_F(SearchTest, StoresAndTakesOutsideTheStoreAreDropped) {
    com.pairingState = 4;
    // 30 named results without a take: only those that fit are stored.
    for (uint8_t i = 0; i < 30; ++i)
        EXPECT_EQ(PollWith(NamedEvent(Address(i), Name32("N"))), 1);
    EXPECT_EQ(com.foundCount, 30);
    EXPECT_EQ(com.searchState, 1);
    EXPECT_EQ(com.pairingState, 4) << "the state after the store is intact";
    // The fifth address (k = 4) is the last that fits; the name area takes up to k = 21.
    EXPECT_EQ(Bytes(com.resultStore + 24, com.resultStore + 30), Address(4));
    EXPECT_EQ(com.resultStore[30 + 6 * 21], 'N');

    // Takes from k = 30 down: nothing is read while the offset is out of the areas.
    for (int k = 30; k >= 1; --k) {
        const Taken t = Take();
        EXPECT_EQ(t.result, k - 1);
        EXPECT_EQ(t.address == Bytes(6, 0xEE), k - 1 > 24) << k;
        EXPECT_EQ(t.name == Bytes(32, 0xEE), k - 1 > 128) << k;
    }
    EXPECT_EQ(com.searchState, 0);
    EXPECT_EQ(com.pairingState, 4);
}

class PairingTest : public ProtocolTest {
  protected:
    int32_t PollWith(const Bytes& frame) {
        port.Push(frame);
        return com.PollPairingStatus();
    }
};

TEST_F(PairingTest, RequestsForBothDirections) {
    const uint8_t key[] = {'1', '2', '3', '4'};
    port.Answer(0x63, ScriptedPort::Frame(0x63, 1));
    port.Answer(0x64, ScriptedPort::Frame(0x64, 1));

    EXPECT_EQ(com.StartPairing(1, nullptr, key, 4), 0);
    EXPECT_EQ(Sent(), Bytes({0x63, 0x04, '1', '2', '3', '4'}));
    EXPECT_EQ(com.StartPairing(0, kRemote, key, 4), 0);
    EXPECT_EQ(Sent(), Bytes({0x64, 0x0A, 0x00, 0x80, 0x37, 0x0A, 0x0B, 0x0C, '1', '2', '3', '4'}));

    const Bytes key16(16, '7');
    EXPECT_EQ(com.StartPairing(1, kRemote, key16.data(), 16), 0);
    Bytes expected{0x63, 0x10};
    expected.insert(expected.end(), key16.begin(), key16.end());
    EXPECT_EQ(Sent(), expected);
    EXPECT_EQ(com.StartPairing(0, kRemote, key16.data(), 16), 0);
    EXPECT_EQ(Sent().size(), 24u);

    const Bytes key17(17, '7');
    com.pairingState = 3;
    EXPECT_EQ(com.StartPairing(1, kRemote, key17.data(), 17), -4);
    EXPECT_EQ(com.StartPairing(0, kRemote, key17.data(), 0), -4);
    EXPECT_TRUE(port.written.empty());
    EXPECT_EQ(com.pairingState, 3);
}

TEST_F(PairingTest, StateIsResetEvenWhenTheModuleRefuses) {
    const uint8_t key[] = {'0', '0', '0', '0'};
    com.pairingState = 5;
    port.AnswerOnce(0x64, ScriptedPort::Frame(0x64, 225));
    EXPECT_EQ(com.StartPairing(0, kRemote, key, 4), -3);
    EXPECT_EQ(com.pairingState, 0);
    EXPECT_EQ(com.lastStatus, 225);
    EXPECT_EQ(com.GetErrorText(-3), "Status error - Pairing failed");

    com.pairingState = 5;
    port.AnswerOnce(0x63, ScriptedPort::Frame(0x64, 1));
    EXPECT_EQ(com.StartPairing(1, kRemote, key, 4), -2);
    EXPECT_EQ(com.pairingState, 0);
    com.pairingState = 5;
    EXPECT_EQ(com.StartPairing(1, kRemote, key, 4), -1);
    EXPECT_EQ(com.pairingState, 0);
}

TEST_F(PairingTest, EventsMapToStatesThatPersist) {
    const std::pair<uint8_t, int32_t> outcomes[] = {{1, 1}, {224, 2}, {225, 3}, {226, 4}, {227, 5}};
    const uint8_t key[] = {'1'};
    port.Answer(0x63, ScriptedPort::Frame(0x63, 1));
    for (const auto& [status, state] : outcomes) {
        ASSERT_EQ(com.StartPairing(1, nullptr, key, 1), 0);
        EXPECT_EQ(com.PollPairingStatus(), 0) << "nothing yet";
        EXPECT_EQ(PollWith(ScriptedPort::Frame(0x65, status)), state) << int(status);
        EXPECT_EQ(com.PollPairingStatus(), state) << "persists";
        EXPECT_EQ(PollWith(ScriptedPort::Frame(0x65, 254)), state) << "unknown status";
        EXPECT_EQ(PollWith({0x65, 0x00}), state) << "no status";
    }
}

TEST_F(PairingTest, AStrayFrameGivesTheSearchState) {
    const uint8_t key[] = {'1'};
    port.Answer(0x63, ScriptedPort::Frame(0x63, 1));
    ASSERT_EQ(com.StartInquiry(12, kFilter, true), 0);
    port.Push(kEnd);
    ASSERT_EQ(com.PollInquiry(), 2);
    ASSERT_EQ(com.StartPairing(1, nullptr, key, 1), 0);

    EXPECT_EQ(PollWith(ScriptedPort::Frame(0x62, 1, Address(1))), 2);
    EXPECT_EQ(com.pairingState, 0);
    EXPECT_EQ(PollWith(kEnd), 2);
    EXPECT_EQ(com.PollPairingStatus(), 0);
}

TEST_F(PairingTest, CancelAnswersOneWhateverTheStatus) {
    port.AnswerOnce(0x80, ScriptedPort::Frame(0x80, 255));
    EXPECT_EQ(com.CancelInquiry(), 1);
    EXPECT_EQ(Sent(), Bytes({0x80, 0x00}));
    EXPECT_EQ(com.lastStatus, 0);
    port.AnswerOnce(0x80, kEnd);
    EXPECT_EQ(com.CancelInquiry(), -2);
    EXPECT_EQ(com.CancelInquiry(), -1);
}

TEST_F(PairingTest, PollsPumpMessages) {
    int pumped = 0;
    com.pump = [&] { ++pumped; };
    com.PollPairingStatus();
    EXPECT_GT(pumped, 0);
    pumped = 0;
    com.PollInquiry();
    EXPECT_GT(pumped, 0);
}

} // namespace
