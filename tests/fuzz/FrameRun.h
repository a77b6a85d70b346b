// SPDX-License-Identifier: Apache-2.0
// One run of Communicator operations against a port whose arrivals come from
// outside (the fuzzer's bytes, or the virtual module when the seeds are made),
// checking after every operation what each one promises: its result codes, the
// bytes it may write, the search and pairing states, and the result store.
//
// A script is a sequence of steps: one byte picks the operation, the next bytes
// are its arguments, and every port read then takes its arrival from the same
// stream (see FuzzPort). The seed generator records its runs in this very form.
#pragma once

#include "Communicator.h"
#include "mSerial.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace fuzz {

[[noreturn]] inline void Fail(const char* what, const char* op, long long a, long long b) {
    std::fprintf(stderr, "invariant broken in %s: %s (%lld, %lld)\n", op, what, a, b);
    std::abort();
}
#define FUZZ_CHECK(cond, a, b)                                                                     \
    do {                                                                                           \
        if (!(cond)) ::fuzz::Fail(#cond, current, (long long)(a), (long long)(b));                 \
    } while (0)

// A Communicator whose clock advances one hundredth per reading, so that a
// time-out costs sixty reads and no wall-clock time.
class SteppedCommunicator : public Communicator {
  public:
    mutable int32_t readings = 0;

  protected:
    int32_t Hundredths() const override { return readings++ % 100; }
};

// A port whose reads come from a function, and which checks every frame sent.
class FuzzPort : public mSerial {
  public:
    std::function<int32_t(uint8_t*, int32_t)> source;
    std::function<void(const uint8_t*, int32_t)> sink; // where the frames sent go, if anywhere
    std::vector<uint8_t> written;
    std::vector<uint8_t> arrived; // every byte the reads handed out, in order
    long reads = 0;
    const char* current = "port";

    FuzzPort() { isOpen = 1; }

    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        ++reads;
        const int32_t got = source ? source(buffer, count) : 0;
        FUZZ_CHECK(got <= count, got, count);
        if (got > 0) arrived.insert(arrived.end(), buffer, buffer + got);
        return got;
    }
    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        // Every frame sent is opcode, length, payload, and its length byte is right.
        FUZZ_CHECK(count >= 2 && count <= Communicator::kMaxFrame, count, 0);
        FUZZ_CHECK(buffer[1] == count - 2, buffer[1], count);
        written.insert(written.end(), buffer, buffer + count);
        if (sink) sink(buffer, count);
        return count;
    }
};

// Where a step takes its argument bytes from.
using ArgSource = std::function<uint8_t()>;

// The operations a step can run, by the number of the byte that picks them.
enum Op : uint8_t {
    kCheckConnection,
    kNotifyClose,
    kGetDeviceMode,
    kGetSerialSettings,
    kGetConnectAddress,
    kGetAcceptedAddress,
    kGetDeviceName,
    kGetServiceName,
    kGetModuleInfo,
    kGetArticleNumber,
    kGetLocalAddress,
    kGetPairedDevice,
    kGetSecurityFlags,
    kGetPasskey,
    kGetPerformanceMode,
    kGetLinkTimeout,
    kGetInquiryScan,
    kGetPageScan,
    kGetSniffSettings,
    kGetParkSettings,
    kGetClassOfDevice,
    kGetMaxTxPower,
    kGetDefaultTxPower,
    kGetSerialEmulation,
    kGetUserBaudrate,
    kGetQualityOfService,
    kGetScoSettings,
    kGetCodecOutputGainMax,
    kGetCodecOutputGain,
    kGetCodecInputGainMax,
    kGetCodecInputGain,
    kSetDeviceMode,
    kSetSerialSettings,
    kSetConnectAddress,
    kSetAcceptedAddress,
    kSetDeviceName,
    kSetServiceName,
    kSetSecurityFlags,
    kSetPasskey,
    kSetPerformanceMode,
    kSetLinkTimeout,
    kSetInquiryScan,
    kSetPageScan,
    kSetSniffSettings,
    kSetParkSettings,
    kSetClassOfDevice,
    kSetMaxTxPower,
    kSetDefaultTxPower,
    kSetSerialEmulation,
    kSetUserBaudrate,
    kSetQualityOfService,
    kSetScoSettings,
    kSetCodecOutputGain,
    kSetCodecInputGain,
    kStartInquiry,
    kCancelInquiry,
    kStartPairing,
    kPollInquiry,
    kTakeInquiryResult,
    kTakeInquiryResultWithClass,
    kPollPairingStatus,
    kReceive,
    kPollReceive,
    kFrameByFrame,
    kOpCount
};

// Decodes argument bytes: a byte, a small signed number, and a signed 24-bit
// number (high byte first) that reaches past every 16-bit range on both sides.
struct Args {
    const ArgSource& next;
    uint8_t Byte() const { return next(); }
    int32_t Small() const { return static_cast<int8_t>(next()); }
    int32_t Wide() const {
        const uint32_t hi = next(), mid = next(), lo = next();
        const uint32_t raw = hi << 16 | mid << 8 | lo;
        return static_cast<int32_t>(raw << 8) >> 8;
    }
    std::vector<uint8_t> Bytes(size_t count) const {
        std::vector<uint8_t> bytes(count);
        for (uint8_t& b : bytes)
            b = next();
        return bytes;
    }
};

// Output buffers exactly as large as the operations' parameters promise, on
// the heap so that AddressSanitizer sees a byte written past them.
inline std::unique_ptr<uint8_t[]> Buffer(size_t size, uint8_t fill = 0xA5) {
    auto buffer = std::make_unique<uint8_t[]>(size);
    std::memset(buffer.get(), fill, size);
    return buffer;
}

class FrameRun {
  public:
    static constexpr int32_t kAddressArea = Communicator::kStoreSlots * 6;
    static constexpr int32_t kNameArea = Communicator::kStoreSlots * 32;

    FrameRun() {
        com.SetSerialPort(&port);
        com.pump = [this] { ++pumped; };
    }

    SteppedCommunicator com;
    FuzzPort port;
    long pumped = 0;

    // Runs one operation (op is taken modulo the number of operations) and checks it.
    void Step(uint8_t opByte, const ArgSource& argSource) {
        const Op op = static_cast<Op>(opByte % kOpCount);
        const Args args{argSource};
        const State before = Snapshot();
        const size_t writtenBefore = port.written.size();
        const long readsBefore = port.reads;
        current = kNames[op];
        port.current = current;

        const int32_t result = Run(op, args);

        const State after = Snapshot();
        // -4: nothing was sent, nothing was read, nothing changed.
        if (result == -4) {
            FUZZ_CHECK(port.written.size() == writtenBefore, port.written.size(), writtenBefore);
            FUZZ_CHECK(port.reads == readsBefore, port.reads, readsBefore);
            FUZZ_CHECK(after == before, after.foundCount, before.foundCount);
        }
        // Every result has its text; a status failure kept a module status.
        const std::string text = com.GetErrorText(result);
        FUZZ_CHECK(!text.empty(), result, 0);
        if (result == -3) {
            FUZZ_CHECK(com.lastStatus >= 0 && com.lastStatus <= 255 && com.lastStatus != 1,
                       com.lastStatus, 0);
            FUZZ_CHECK(text.rfind("Status error - ", 0) == 0, result, 0);
        }
        FUZZ_CHECK(after.pairingState >= 0 && after.pairingState <= 5, after.pairingState, 0);
        FUZZ_CHECK(after.searchState >= 0 && after.searchState <= 3, after.searchState, 0);
        FUZZ_CHECK(after.foundCount >= 0, after.foundCount, 0);
        CheckStateChange(op, result, before, after);
    }

  private:
    // What the operations may change: the search and pairing state and the store.
    struct State {
        int32_t foundCount, searchState, pairingState;
        std::array<uint8_t, kAddressArea + kNameArea> store;
        bool operator==(const State& o) const {
            return foundCount == o.foundCount && searchState == o.searchState &&
                   pairingState == o.pairingState && store == o.store;
        }
    };
    State Snapshot() const {
        State s{com.foundCount, com.searchState, com.pairingState, {}};
        std::memcpy(s.store.data(), com.resultStore, s.store.size());
        return s;
    }
    static bool Fits(int32_t offset, int32_t count, int32_t area) {
        return offset >= 0 && offset <= area - count;
    }

    static void Allowed(const char* current, int32_t result, std::initializer_list<int32_t> set) {
        bool found = false;
        for (int32_t r : set)
            found = found || r == result;
        FUZZ_CHECK(found, result, 0);
    }
    void Config(int32_t result) const { Allowed(current, result, {0, -1, -2, -3}); }
    void Setting(int32_t result) const { Allowed(current, result, {0, -1, -2, -3, -4}); }

    // The whole store but the given ranges is as it was.
    void StoreUnchangedBut(const State& before, const State& after, int32_t from1, int32_t to1,
                           int32_t from2, int32_t to2) const {
        for (int32_t i = 0; i < int32_t(after.store.size()); ++i) {
            if ((i >= from1 && i < to1) || (i >= from2 && i < to2)) continue;
            FUZZ_CHECK(after.store[size_t(i)] == before.store[size_t(i)], i,
                       after.store[size_t(i)]);
        }
    }

    void CheckStateChange(Op op, int32_t result, const State& before, const State& after) {
        switch (op) {
        case kStartInquiry:
            if (result == 0) {
                FUZZ_CHECK(after.foundCount == 0 && after.searchState == 0, after.foundCount,
                           after.searchState);
                FUZZ_CHECK(after.store == before.store, 0, 0);
                FUZZ_CHECK(after.pairingState == before.pairingState, after.pairingState, 0);
                cancelled = false;
                exactWaiting = false;
            }
            return;
        case kStartPairing:
            FUZZ_CHECK(after.foundCount == before.foundCount &&
                           after.searchState == before.searchState && after.store == before.store,
                       after.foundCount, before.foundCount);
            // Reset when the request went out, whatever the answer.
            if (result != -4) FUZZ_CHECK(after.pairingState == 0, after.pairingState, result);
            return;
        case kPollInquiry:
            CheckPollInquiry(result, before, after);
            return;
        case kTakeInquiryResult:
        case kTakeInquiryResultWithClass:
            return; // checked where the take ran
        case kPollPairingStatus:
            FUZZ_CHECK(after.foundCount == before.foundCount &&
                           after.searchState == before.searchState && after.store == before.store,
                       after.foundCount, before.foundCount);
            FUZZ_CHECK(after.pairingState == before.pairingState || after.pairingState >= 1,
                       after.pairingState, before.pairingState);
            // The pairing state, or the search state after a frame of another kind.
            FUZZ_CHECK(result == after.pairingState || (result == after.searchState &&
                                                        after.pairingState == before.pairingState),
                       result, after.pairingState);
            return;
        default:
            // Commands, the probe, the cancel and the plain receives leave the
            // search and pairing alone (their events wait for the polls).
            FUZZ_CHECK(after == before, after.foundCount, before.foundCount);
            if (op == kCancelInquiry) cancelled = true;
            return;
        }
    }

    void CheckPollInquiry(int32_t result, const State& before, const State& after) {
        FUZZ_CHECK(result == after.searchState, result, after.searchState);
        FUZZ_CHECK(after.pairingState == before.pairingState, after.pairingState, 0);
        const int32_t k = before.foundCount;
        // A waiting result holds the next frame back until a cancel.
        if (k > 0 && !cancelled) {
            FUZZ_CHECK(after == before, after.foundCount, k);
            return;
        }
        if (after.foundCount == k) {
            // Nothing stored: the state stays, or the search ended.
            FUZZ_CHECK(after.store == before.store, k, 0);
            FUZZ_CHECK(after.searchState == before.searchState ||
                           after.searchState == (k > 0 ? 3 : 2),
                       after.searchState, before.searchState);
            return;
        }
        // One result stored: at byte 6k of the address area and of the name area.
        FUZZ_CHECK(after.foundCount == k + 1 && after.searchState == 1, after.foundCount, k);
        const int32_t at = 6 * k;
        StoreUnchangedBut(before, after, Fits(at, 6, kAddressArea) ? at : 0,
                          Fits(at, 6, kAddressArea) ? at + 6 : 0,
                          Fits(at, 32, kNameArea) ? kAddressArea + at : 0,
                          Fits(at, 32, kNameArea) ? kAddressArea + at + 32 : 0);
        const bool named = Fits(at, 32, kNameArea) &&
                           std::memcmp(after.store.data() + kAddressArea + at,
                                       before.store.data() + kAddressArea + at, 32) != 0;
        if (Fits(at, 6, kAddressArea))
            FUZZ_CHECK(CameFromAnEvent(after.store.data() + at,
                                       named ? after.store.data() + kAddressArea + at : nullptr),
                       k, 0);
        // The next take of the only waiting result must give exactly these bytes.
        exactWaiting = k == 0;
        if (k == 0) {
            std::memcpy(storedAddress, com.resultStore, 6);
            std::memcpy(storedName, com.resultStore + kAddressArea, 32);
        }
    }

    // Some inquiry event on the line carried this address (bytes 3 to 8) and,
    // when given, this name (bytes 9 to 40; zeros where the event ended sooner).
    bool CameFromAnEvent(const uint8_t* address, const uint8_t* name) const {
        const std::vector<uint8_t>& s = port.arrived;
        for (size_t p = 0; p + 9 <= s.size(); ++p) {
            if (s[p] != 0x60 || s[p + 1] < 8) continue;
            if (std::memcmp(&s[p + 3], address, 6) != 0) continue;
            if (name == nullptr) return true;
            const size_t carried = std::min<size_t>(32, size_t(s[p + 1]) + 2 - 9);
            if (p + 9 + carried > s.size() || std::memcmp(&s[p + 9], name, carried) != 0) continue;
            bool zeros = true;
            for (size_t i = carried; i < 32; ++i)
                zeros = zeros && name[i] == 0;
            if (zeros) return true;
        }
        return false;
    }

    // A take: k - 1 results left, the bytes at k - 1 of both areas given out.
    int32_t Take(bool withClass) {
        const int32_t k = com.foundCount;
        const int32_t searchBefore = com.searchState;
        const State before = Snapshot();
        auto address = Buffer(6), name = Buffer(32);
        uint32_t cod = 0xA5A5A5A5u;
        const int32_t result = withClass ? com.TakeInquiryResult(address.get(), name.get(), &cod)
                                         : com.TakeInquiryResult(address.get(), name.get());
        const State after = Snapshot();
        FUZZ_CHECK(after.store == before.store && after.pairingState == before.pairingState, k, 0);
        if (k < 1) {
            FUZZ_CHECK(result == -1 && after == before, result, k);
            for (int i = 0; i < 6; ++i)
                FUZZ_CHECK(address[size_t(i)] == 0xA5, i, address[size_t(i)]);
            FUZZ_CHECK(cod == 0xA5A5A5A5u, cod, 0);
            return result;
        }
        FUZZ_CHECK(result == k - 1 && com.foundCount == k - 1, result, k);
        FUZZ_CHECK(com.searchState == (k == 1 ? 0 : searchBefore), com.searchState, searchBefore);
        const int32_t at = k - 1;
        if (Fits(at, 6, kAddressArea))
            FUZZ_CHECK(std::memcmp(address.get(), before.store.data() + at, 6) == 0, k, 0);
        if (Fits(at, 32, kNameArea))
            FUZZ_CHECK(std::memcmp(name.get(), before.store.data() + kAddressArea + at, 32) == 0, k,
                       0);
        if (k == 1 && exactWaiting) {
            // One result waiting: exactly what its event stored.
            FUZZ_CHECK(std::memcmp(address.get(), storedAddress, 6) == 0, k, 0);
            FUZZ_CHECK(std::memcmp(name.get(), storedName, 32) == 0, k, 0);
        }
        if (withClass && k > Communicator::kStoreSlots) FUZZ_CHECK(cod == 0xA5A5A5A5u, cod, k);
        if (withClass && k <= Communicator::kStoreSlots) FUZZ_CHECK(cod <= 0xFFFFFFu, cod, k);
        return result;
    }

    // The get commands' checks of what they give out.
    int32_t Text(int32_t result, const std::string& text, int32_t full, size_t most,
                 bool hasFull) const {
        Config(result);
        if (result == 0) {
            FUZZ_CHECK(text.size() <= most, text.size(), most);
            if (hasFull) {
                FUZZ_CHECK(full >= 0 && full <= Communicator::kMaxFrame - 3, full, 0);
                FUZZ_CHECK(text.size() == std::min<size_t>(size_t(full), most), text.size(), full);
            }
        }
        return result;
    }

    int32_t Run(Op op, const Args& a) {
        Communicator& c = com;
        uint8_t b1 = 0;
        uint16_t w1 = 0, w2 = 0, w3 = 0, w4 = 0;
        int16_t s1 = 0;
        std::string text;
        int32_t full = -7;
        int32_t r = 0;
        auto out = [](size_t n) { return Buffer(n); };
        switch (op) {
        case kCheckConnection:
            r = c.CheckConnection();
            Allowed(current, r, {1, -1, -2});
            return r;
        case kNotifyClose:
            r = c.NotifyClose();
            Config(r);
            return r;
        case kGetDeviceMode: {
            b1 = 0x77;
            r = c.GetDeviceMode(b1);
            Config(r);
            FUZZ_CHECK(r == 0 ? (b1 == 1 || b1 == 2) : b1 == 0x77, b1, r);
            return r;
        }
        case kGetSerialSettings:
            r = c.GetSerialSettings(out(5).get());
            break;
        case kGetConnectAddress:
            r = c.GetConnectAddress(out(6).get());
            break;
        case kGetAcceptedAddress:
            r = c.GetAcceptedAddress(out(6).get());
            break;
        case kGetDeviceName:
            r = c.GetDeviceName(text, full);
            return Text(r, text, full, 32, true);
        case kGetServiceName:
            r = c.GetServiceName(text, full);
            return Text(r, text, full, 18, true);
        case kGetModuleInfo:
            r = c.GetModuleInfo(out(12).get());
            break;
        case kGetArticleNumber:
            r = c.GetArticleNumber(text);
            return Text(r, text, 0, 20, false);
        case kGetLocalAddress:
            r = c.GetLocalAddress(out(6).get());
            break;
        case kGetPairedDevice: {
            auto address = out(6);
            r = c.GetPairedDevice(address.get());
            Config(r);
            if (r == -3) FUZZ_CHECK(com.lastStatus != 254, com.lastStatus, 0);
            return r;
        }
        case kGetSecurityFlags:
            r = c.GetSecurityFlags(out(3).get());
            break;
        case kGetPasskey:
            r = c.GetPasskey(text);
            return Text(r, text, 0, 16, false);
        case kGetPerformanceMode:
            r = c.GetPerformanceMode(b1);
            break;
        case kGetLinkTimeout:
            r = c.GetLinkTimeout(w1);
            break;
        case kGetInquiryScan:
            r = c.GetInquiryScan(w1, w2);
            break;
        case kGetPageScan:
            r = c.GetPageScan(w1, w2);
            break;
        case kGetSniffSettings:
            r = c.GetSniffSettings(w1, w2, w3, w4);
            break;
        case kGetParkSettings:
            r = c.GetParkSettings(w1, w2);
            break;
        case kGetClassOfDevice:
            r = c.GetClassOfDevice(out(4).get());
            break;
        case kGetMaxTxPower:
            r = c.GetMaxTxPower(s1);
            break;
        case kGetDefaultTxPower:
            r = c.GetDefaultTxPower(s1);
            break;
        case kGetSerialEmulation:
            r = c.GetSerialEmulation(b1);
            break;
        case kGetUserBaudrate:
            r = c.GetUserBaudrate(b1, w1);
            break;
        case kGetQualityOfService:
            r = c.GetQualityOfService(b1, out(4).get());
            break;
        case kGetScoSettings:
            r = c.GetScoSettings(b1, w1);
            break;
        case kGetCodecOutputGainMax:
            r = c.GetCodecOutputGainMax(w1);
            break;
        case kGetCodecOutputGain:
            r = c.GetCodecOutputGain(w1);
            break;
        case kGetCodecInputGainMax:
            r = c.GetCodecInputGainMax(w1);
            break;
        case kGetCodecInputGain:
            r = c.GetCodecInputGain(w1);
            break;
        default:
            return RunSetOrSearch(op, a);
        }
        Config(r);
        return r;
    }

    int32_t RunSetOrSearch(Op op, const Args& a) {
        Communicator& c = com;
        int32_t r = 0;
        switch (op) {
        case kSetDeviceMode:
            r = c.SetDeviceMode(a.Small());
            break;
        case kSetSerialSettings: {
            const int32_t rate = a.Small(), flow = a.Small(), parity = a.Small(),
                          dataBits = a.Small(), stopBits = a.Small();
            r = c.SetSerialSettings(rate, flow, parity, dataBits, stopBits);
            break;
        }
        case kSetConnectAddress:
            r = c.SetConnectAddress(a.Bytes(6).data());
            break;
        case kSetAcceptedAddress:
            r = c.SetAcceptedAddress(a.Bytes(6).data());
            break;
        case kSetDeviceName:
        case kSetServiceName:
        case kSetPasskey: {
            // A length byte, then up to 40 text bytes (the length may claim fewer or more).
            const int32_t length = a.Small();
            const std::vector<uint8_t> text = a.Bytes(size_t(a.Byte() % 41));
            const int32_t usable = std::min<int32_t>(length, int32_t(text.size()));
            const uint8_t* bytes = text.empty() ? nullptr : text.data();
            r = op == kSetDeviceName    ? c.SetDeviceName(bytes, usable)
                : op == kSetServiceName ? c.SetServiceName(bytes, usable)
                                        : c.SetPasskey(bytes, usable);
            break;
        }
        case kSetSecurityFlags: {
            const int32_t x = a.Small(), y = a.Small(), z = a.Small();
            r = c.SetSecurityFlags(x, y, z);
            break;
        }
        case kSetPerformanceMode:
            r = c.SetPerformanceMode(a.Small());
            break;
        case kSetLinkTimeout:
            r = c.SetLinkTimeout(a.Wide());
            break;
        case kSetInquiryScan:
        case kSetPageScan: {
            const int32_t interval = a.Wide(), window = a.Wide();
            r = op == kSetInquiryScan ? c.SetInquiryScan(interval, window)
                                      : c.SetPageScan(interval, window);
            break;
        }
        case kSetSniffSettings: {
            const int32_t mx = a.Wide(), mn = a.Wide(), at = a.Wide(), to = a.Wide();
            r = c.SetSniffSettings(mx, mn, at, to);
            break;
        }
        case kSetParkSettings: {
            const int32_t mx = a.Wide(), mn = a.Wide();
            r = c.SetParkSettings(mx, mn);
            break;
        }
        case kSetClassOfDevice:
            r = c.SetClassOfDevice(a.Bytes(4).data());
            break;
        case kSetMaxTxPower:
        case kSetDefaultTxPower: {
            int32_t value = a.Wide();
            const int32_t asked = value;
            r = op == kSetMaxTxPower ? c.SetMaxTxPower(value) : c.SetDefaultTxPower(value);
            Setting(r);
            // The value the module took comes back as a signed 16-bit number; an
            // answer without it, and every failure, leave the value alone.
            if (r != 0) FUZZ_CHECK(value == asked, value, asked);
            if (r == 0)
                FUZZ_CHECK(value == asked || (value >= -32768 && value <= 32767), value, asked);
            return r;
        }
        case kSetSerialEmulation:
            r = c.SetSerialEmulation(a.Small());
            break;
        case kSetUserBaudrate: {
            const int32_t enabled = a.Small(), value = a.Wide();
            r = c.SetUserBaudrate(enabled, value);
            break;
        }
        case kSetQualityOfService: {
            const int32_t mode = a.Small();
            r = c.SetQualityOfService(mode, a.Bytes(4).data());
            break;
        }
        case kSetScoSettings: {
            const int32_t enabled = a.Small(), type = a.Wide();
            r = c.SetScoSettings(enabled, type);
            break;
        }
        case kSetCodecOutputGain:
            r = c.SetCodecOutputGain(a.Wide());
            break;
        case kSetCodecInputGain:
            r = c.SetCodecInputGain(a.Wide());
            break;
        case kStartInquiry: {
            const int32_t duration = a.Small();
            const std::vector<uint8_t> filter = a.Bytes(4);
            const bool flag = a.Byte() & 1;
            r = c.StartInquiry(duration, filter.data(), flag);
            Allowed(current, r, {0, -4});
            return r;
        }
        case kCancelInquiry:
            r = c.CancelInquiry();
            Allowed(current, r, {1, -1, -2});
            return r;
        case kStartPairing: {
            const int32_t remote = a.Byte() & 1;
            const std::vector<uint8_t> address = a.Bytes(6);
            const std::vector<uint8_t> key = a.Bytes(size_t(a.Byte() % 20));
            r = c.StartPairing(remote, address.data(), key.empty() ? nullptr : key.data(),
                               uint32_t(key.size()));
            Setting(r);
            return r;
        }
        case kPollInquiry:
            r = c.PollInquiry();
            Allowed(current, r, {0, 1, 2, 3});
            return r;
        case kTakeInquiryResult:
        case kTakeInquiryResultWithClass:
            return Take(op == kTakeInquiryResultWithClass);
        case kPollPairingStatus:
            r = c.PollPairingStatus();
            Allowed(current, r, {0, 1, 2, 3, 4, 5});
            return r;
        case kReceive:
        case kPollReceive: {
            auto frame = Buffer(Communicator::kMaxFrame);
            r = op == kReceive ? c.Receive(frame.get(), 3) : c.PollReceive(frame.get(), 3);
            Allowed(current, r, {1, -1});
            return r;
        }
        case kFrameByFrame:
            com.frameByFrame = a.Byte() & 1;
            return 0;
        default:
            Fail("no such operation", "step", op, 0);
        }
        Setting(r);
        return r;
    }

    static constexpr const char* kNames[kOpCount] = {
        "CheckConnection",     "NotifyClose",
        "GetDeviceMode",       "GetSerialSettings",
        "GetConnectAddress",   "GetAcceptedAddress",
        "GetDeviceName",       "GetServiceName",
        "GetModuleInfo",       "GetArticleNumber",
        "GetLocalAddress",     "GetPairedDevice",
        "GetSecurityFlags",    "GetPasskey",
        "GetPerformanceMode",  "GetLinkTimeout",
        "GetInquiryScan",      "GetPageScan",
        "GetSniffSettings",    "GetParkSettings",
        "GetClassOfDevice",    "GetMaxTxPower",
        "GetDefaultTxPower",   "GetSerialEmulation",
        "GetUserBaudrate",     "GetQualityOfService",
        "GetScoSettings",      "GetCodecOutputGainMax",
        "GetCodecOutputGain",  "GetCodecInputGainMax",
        "GetCodecInputGain",   "SetDeviceMode",
        "SetSerialSettings",   "SetConnectAddress",
        "SetAcceptedAddress",  "SetDeviceName",
        "SetServiceName",      "SetSecurityFlags",
        "SetPasskey",          "SetPerformanceMode",
        "SetLinkTimeout",      "SetInquiryScan",
        "SetPageScan",         "SetSniffSettings",
        "SetParkSettings",     "SetClassOfDevice",
        "SetMaxTxPower",       "SetDefaultTxPower",
        "SetSerialEmulation",  "SetUserBaudrate",
        "SetQualityOfService", "SetScoSettings",
        "SetCodecOutputGain",  "SetCodecInputGain",
        "StartInquiry",        "CancelInquiry",
        "StartPairing",        "PollInquiry",
        "TakeInquiryResult",   "TakeInquiryResult+class",
        "PollPairingStatus",   "Receive",
        "PollReceive",         "frameByFrame"};

    const char* current = "none";
    bool cancelled = false;    // a cancel went out since the last started search
    bool exactWaiting = false; // the one result waiting is the last one stored
    uint8_t storedAddress[6] = {};
    uint8_t storedName[32] = {};
};

} // namespace fuzz
