// SPDX-License-Identifier: Apache-2.0
// Device search and pairing: the search request, the module's events, the
// result store and the states.
#include "ProtocolRig.h"

#include <numeric>
#include <tuple>

namespace {

Bytes Address(uint8_t seed) {
    Bytes address(6);
    std::iota(address.begin(), address.end(), seed);
    return address;
}
Bytes Name32(const std::string& text) {
    Bytes name(text.begin(), text.end());
    name.resize(32, 0);
    return name;
}
// An inquiry event with an address only (L = 8), with a name too (L = 39), or
// with the class after the name (L = 42).
Bytes Event(const Bytes& address, const Bytes& name = {}, const Bytes& cod = {}) {
    return Cat(Cat(Cat({0x60, uint8_t(name.empty() ? 8 : 39 + cod.size()), 0x00}, address),
                   name.empty() ? Bytes{0x5A} : name),
               cod);
}
const Bytes kEnd{0x60, 0x00};
// What a take leaves, and the address, name and class it gave (0xEE where it
// wrote nothing).
using Taken = std::tuple<int32_t, Bytes, uint32_t>;

class SearchTest : public ProtocolTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(com.StartInquiry(12, kCod, true), 0);
        ASSERT_EQ(Sent(), Bytes({0x60, 0x06, 0x0C, 0x00, 0x5A, 0x02, 0x0C, 0x01}));
    }
    int32_t Poll(const Bytes& frame) {
        port.Push(frame);
        return com.PollInquiry();
    }
    Taken Take() {
        Bytes bytes(38, 0xEE);
        uint32_t cod = 0xEEEEEE;
        const int32_t left = com.TakeInquiryResult(bytes.data(), bytes.data() + 6, &cod);
        return {left, bytes, cod};
    }
    // From a cancel on, every poll consumes a frame, so results can pile up.
    void Cancel() {
        Reply(0x80, 0x01);
        ASSERT_EQ(com.CancelInquiry(), 1);
        ASSERT_EQ(Sent(), Bytes({0x80, 0x00}));
    }
};

TEST_F(SearchTest, ResultsAreStoredAndTakenWithTheirClassAndTheSearchEnds) {
    EXPECT_EQ(Poll(Event(Address(0x10), Name32("Printer"), {0x5A, 0x02, 0x0C})), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x10), Name32("Printer")), 0x5A020C));
    EXPECT_EQ(com.searchState, 0) << "the only result was taken";
    // An event without the class gives class 0; one without a name keeps the
    // name slot of the result before.
    EXPECT_EQ(Poll(Event(Address(0x30), Name32("Pad"))), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x30), Name32("Pad")), 0));
    EXPECT_EQ(Poll(Event(Address(0x40))), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x40), Name32("Pad")), 0));

    // Stores step six bytes, takes one byte per result waiting (from k - 1), the
    // class is taken from the slot of the result before; the end with results
    // waiting is 3.
    Cancel();
    EXPECT_EQ(Poll(Event(Address(0x10), Bytes(32, 'A'), {0x01, 0x02, 0x03})), 1);
    EXPECT_EQ(Poll(Event(Address(0x20), Bytes(32, 'B'), {0x04, 0x05, 0x06})), 1);
    EXPECT_EQ(Poll(kEnd), 3);
    EXPECT_EQ(
        Take(),
        Taken(1, Cat({0x11, 0x12, 0x13, 0x14, 0x15, 0x20}, Name32("AAAAA" + std::string(27, 'B'))),
              0x040506));
    EXPECT_EQ(com.searchState, 3);

    // A new search drops what is still waiting; its request is sent, nothing awaited.
    port.reads = 0;
    EXPECT_EQ(com.StartInquiry(1, kCod, false), 0);
    EXPECT_EQ(com.StartInquiry(30, kCod, true), 0);
    EXPECT_EQ(Sent(), Bytes({0x60, 0x06, 0x01, 0x00, 0x5A, 0x02, 0x0C, 0x00, //
                             0x60, 0x06, 0x1E, 0x00, 0x5A, 0x02, 0x0C, 0x01}));
    EXPECT_EQ(port.reads, 0);
    EXPECT_EQ(std::tie(com.searchState, com.foundCount), std::tuple(0, 0));

    // The end with nothing waiting is 2, and stays; a take then changes nothing.
    EXPECT_EQ(Poll(kEnd), 2);
    EXPECT_EQ(com.PollInquiry(), 2);
    EXPECT_EQ(Take(), Taken(-1, Bytes(38, 0xEE), 0xEEEEEE));
    EXPECT_EQ(std::tie(com.searchState, com.foundCount), std::tuple(2, 0));
}

TEST_F(SearchTest, OtherFramesShortEventsAndSilenceChangeNothing) {
    std::vector<Bytes> frames{{0x65, 0x01, 0x01}, ScriptedPort::Frame(0x62, 1, Address(7)), {}};
    for (uint8_t length = 1; length <= 7; ++length)
        frames.push_back(Cat({0x60, length}, Bytes(length, 0x33)));
    for (const Bytes& frame : frames)
        EXPECT_EQ(Poll(frame), 0) << frame.size();
    EXPECT_EQ(com.foundCount, 0);
}

TEST_F(SearchTest, StoresAndTakesOutsideTheStoreAreDropped) {
    com.pairingState = 4; // the field after the store
    Cancel();
    for (uint8_t i = 0; i < 30; ++i)
        EXPECT_EQ(Poll(Event(Address(i), Name32("N"))), 1);
    EXPECT_EQ(com.foundCount, 30);
    // The fifth address (k = 4) is the last that fits; names fit up to k = 21.
    EXPECT_EQ(Bytes(com.resultStore + 24, com.resultStore + 30), Address(4));
    EXPECT_EQ(com.resultStore[30 + 6 * 21], 'N');
    for (int k = 30; k >= 1; --k) {
        const auto [left, bytes, cod] = Take();
        EXPECT_EQ(left, k - 1);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 6) == Bytes(6, 0xEE), k - 1 > 24) << k;
        EXPECT_EQ(Bytes(bytes.begin() + 6, bytes.end()) == Bytes(32, 0xEE), k - 1 > 128) << k;
        EXPECT_EQ(cod == 0xEEEEEE, k > 5) << k;
    }
    Bytes address(6);
    EXPECT_EQ(com.TakeInquiryResult(address.data(), nullptr), -1) << "none left";
    EXPECT_EQ(std::tie(com.searchState, com.pairingState), std::tuple(0, 4));
}

// Event frames are never lost: cut by the poll's time-out, several in one read,
// around a command's answer.
TEST_F(SearchTest, AFrameCutByThePollTimeOutIsCompletedByTheSamePoll) {
    const Bytes phone = Event(Address(0x21), Name32("Phone"), {0x5A, 0x02, 0x0C});
    // The first 10 bytes, then 20 idle reads (the poll alone waits 5), then the rest.
    port.Push(Bytes(phone.begin(), phone.begin() + 10));
    port.PushPieces(std::vector<Bytes>(20, Bytes{}));
    port.Push(Bytes(phone.begin() + 10, phone.end()));
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(port.reads, 22);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x21), Name32("Phone")), 0x5A020C));
    // A frame whose rest never comes is given up after the 60 hundredths of an answer.
    port.reads = 0;
    port.Push(Bytes(phone.begin(), phone.begin() + 10));
    EXPECT_EQ(com.PollInquiry(), 0);
    EXPECT_EQ(port.reads, 60);
}

TEST_F(SearchTest, SeveralEventsInOneArrivalGiveOneResultPerPoll) {
    const Bytes a = Event(Address(0x31), Name32("Alpha"), {0x01, 0x02, 0x03});
    const Bytes b = Event(Address(0x41), Name32(std::string(32, 'b')), {0x04, 0x05, 0x06});
    port.Push(Cat(Cat(a, b), kEnd));
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x31), Name32("Alpha")), 0x010203));
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x41), Name32(std::string(32, 'b'))), 0x040506));
    EXPECT_EQ(com.PollInquiry(), 2);
    // A read takes 50 bytes: the first ends inside b, the second brings b's rest
    // and the end, which the last poll finds kept.
    EXPECT_EQ(port.reads, 2);
}

TEST_F(SearchTest, AWaitingResultHoldsTheNextFrameBackUntilACancel) {
    port.PushPieces(
        {Event(Address(0x51), Name32("First")), Event(Address(0x61), Name32("Next")), kEnd});
    EXPECT_EQ(com.PollInquiry(), 1);
    for (int poll = 0; poll < 3; ++poll)
        EXPECT_EQ(com.PollInquiry(), 1) << poll;
    EXPECT_EQ(port.reads, 1) << "nothing read while the result waits";
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x51), Name32("First")), 0));
    EXPECT_EQ(com.PollInquiry(), 1);
    // After the cancel the polls consume again: the end with a result waiting is 3.
    port.PushPieces({{0x80, 0x01, 0x01}});
    EXPECT_EQ(com.CancelInquiry(), 1);
    EXPECT_EQ(com.PollInquiry(), 3);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x61), Name32("Next")), 0));
}

TEST_F(SearchTest, EventsAroundTheCancelAnswerReachTheStopLoop) {
    // A result before the answer, the end of the search right after it, in one read.
    const Bytes late = Event(Address(0x71), Name32("Late"), {0x07, 0x08, 0x09});
    port.Push(Cat(Cat(late, {0x80, 0x01, 0x01}), kEnd));
    EXPECT_EQ(com.CancelInquiry(), 1);
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(com.PollInquiry(), 3);
    EXPECT_EQ(port.reads, 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x71), Name32("Late")), 0x070809));
}

TEST_F(SearchTest, ACommandDropsKeptStaleBytesButQueuesKeptEvents) {
    // Kept after a poll's frame: a stale answer, an event, the end and the start
    // of an answer. The probe gets its own answer and the events still count.
    const Bytes ev = Event(Address(0x81));
    port.Push(Cat(Cat(Cat(Cat({0x65, 0x01, 0x03}, {0x01, 0x01, 0x07}), ev), kEnd), {0x13, 0x02}));
    EXPECT_EQ(com.PollPairingStatus(), 0) << "status 3 changes nothing";
    Reply(0x01, 0x09);
    EXPECT_EQ(com.CheckConnection(), 1);
    EXPECT_EQ(Sent(), Bytes({0x01, 0x04, 0xFF, 0x00, 0x55, 0xAA}));
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x81), Bytes(32, 0)), 0));
    EXPECT_EQ(com.PollInquiry(), 2);
    EXPECT_FALSE(port.HasPending());

    // The start of an event stays for its rest, which comes before the answer.
    ASSERT_EQ(com.StartInquiry(12, kCod, true), 0);
    port.Push(Cat({0x65, 0x01, 0xE0}, Bytes(ev.begin(), ev.begin() + 5)));
    EXPECT_EQ(com.PollPairingStatus(), 2);
    port.Push(Cat(Bytes(ev.begin() + 5, ev.end()), {0x12, 0x02, 0x01, 0x02}));
    uint8_t mode = 0;
    EXPECT_EQ(com.GetDeviceMode(mode), 0);
    EXPECT_EQ(mode, 2);
    EXPECT_EQ(com.PollInquiry(), 1);
    EXPECT_EQ(Take(), Taken(0, Cat(Address(0x81), Bytes(32, 0)), 0));
    // A new search drops the queued events of the one before.
    port.Push(Cat(ev, {0x12, 0x02, 0x01, 0x01}));
    EXPECT_EQ(com.GetDeviceMode(mode), 0);
    EXPECT_EQ(com.StartInquiry(12, kCod, true), 0);
    EXPECT_EQ(com.PollInquiry(), 0);
}

using PairingTest = ProtocolTest;

TEST_F(PairingTest, EventsSetStatesThatPersist) {
    int pumped = 0;
    com.pump = [&] { ++pumped; };
    const std::pair<uint8_t, int32_t> outcomes[] = {{1, 1}, {224, 2}, {225, 3}, {226, 4}, {227, 5}};
    for (const auto& [status, state] : outcomes) {
        com.pairingState = 0;
        EXPECT_EQ(com.PollPairingStatus(), 0) << "nothing yet";
        // Then an unknown status, a frame without status and silence leave it.
        port.PushPieces(
            {ScriptedPort::Frame(0x65, status), ScriptedPort::Frame(0x65, 254), {0x65, 0x00}});
        for (int poll = 0; poll < 4; ++poll)
            EXPECT_EQ(com.PollPairingStatus(), state) << int(status) << " poll " << poll;
    }
    EXPECT_GT(pumped, 0);
    pumped = 0;
    com.PollInquiry();
    EXPECT_GT(pumped, 0);

    // Another frame is consumed and the search state is what comes back.
    com.searchState = 2;
    port.Push(ScriptedPort::Frame(0x62, 1, Address(1)));
    EXPECT_EQ(com.PollPairingStatus(), 2);
    EXPECT_EQ(com.PollPairingStatus(), 5);
}

} // namespace
