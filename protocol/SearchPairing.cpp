// SPDX-License-Identifier: Apache-2.0
// Device search and pairing: starting them, and collecting the module's
// unsolicited event frames between polls.
#include "Communicator.h"

#include "Exchange.h"

#include <climits>
#include <cstring>

using namespace proto;

namespace {

constexpr uint8_t kInquiry = 0x60;
constexpr uint8_t kPairRemote = 0x63;
constexpr uint8_t kPairLocal = 0x64;
constexpr uint8_t kPairingEvent = 0x65;
constexpr uint8_t kCancel = 0x80;

constexpr int32_t kAddressArea = Communicator::kStoreSlots * 6;
constexpr int32_t kNameArea = Communicator::kStoreSlots * 32;

// Positions inside an inquiry event.
constexpr int32_t kEventAddress = 3;
constexpr int32_t kEventName = 9;
// An event of this length or more carries the class after the name, high byte first.
constexpr int32_t kEventClass = 41;
constexpr int32_t kEventWithClass = 42;

// True when [offset, offset + count) lies inside an area of `area` bytes; a store
// or take that would leave its area is dropped.
bool FitsArea(int32_t offset, int32_t count, int32_t area) {
    return offset >= 0 && offset <= area - count;
}

} // namespace

int32_t Communicator::StartInquiry(int32_t duration, const uint8_t classFilter[4], bool flag) {
    if (duration < 1 || duration > 30) return -4;
    Request r(kInquiry);
    r.Byte(duration).Bytes(classFilter, 4).Byte(flag ? 1 : 0);
    SendRequest(*this, r);
    // The answers come later as inquiry events; untaken results of an earlier
    // search are dropped, with its events still queued.
    DropQueuedEvents(kInquiry);
    cancelSinceStart = false;
    searchState = 0;
    foundCount = 0;
    return 0;
}

int32_t Communicator::CancelInquiry() {
    // Only the opcode of the answer counts; success is 1 here.
    cancelSinceStart = true;
    Request r(kCancel);
    const int32_t result = Exchange(*this, r, kCancel);
    return result == 0 ? 1 : result;
}

int32_t Communicator::StartPairing(int32_t remoteInitiates, const uint8_t address[6],
                                   const uint8_t* passkey, uint32_t passkeyLength) {
    if (passkeyLength == 0 || passkeyLength > 16 || passkey == nullptr) return -4;
    const auto length = static_cast<int32_t>(passkeyLength);
    Request r(remoteInitiates != 0 ? kPairRemote : kPairLocal);
    if (remoteInitiates == 0) r.Bytes(address, 6);
    r.Bytes(passkey, length);
    const uint8_t opcode = r.Opcode();
    SendRequest(*this, r);
    // Reset before the answer is read, so a rejected pairing also starts afresh;
    // an outcome of an earlier pairing still queued goes too.
    DropQueuedEvents(kPairingEvent);
    pairingState = 0;
    const int32_t result = AwaitAnswer(*this, r, opcode);
    return result != 0 ? result : CheckStatus(*this, r);
}

int32_t Communicator::PollInquiry() {
    // A result waiting to be taken holds the next frame back, so that every take
    // finds exactly one stored result; once a cancel has been sent, frames are
    // consumed as they come so that the end of the search is always reached.
    if (foundCount > 0 && !cancelSinceStart) return searchState;
    uint8_t frame[kMaxFrame] = {};
    if (!NextEvent(frame)) return searchState;
    if (frame[0] != kInquiry) return searchState;
    const int32_t length = frame[1];
    if (length == 0) {
        searchState = foundCount > 0 ? 3 : 2;
        return searchState;
    }
    if (length < 8) return searchState;

    // The slots advance by 6 bytes per stored result in both areas.
    const int32_t k = foundCount;
    if (k >= 0 && k <= INT32_MAX / 6) {
        const int32_t offset = 6 * k;
        if (FitsArea(offset, 6, kAddressArea))
            std::memcpy(resultStore + offset, frame + kEventAddress, 6);
        if (length > 8 && FitsArea(offset, 32, kNameArea))
            std::memcpy(resultStore + kAddressArea + offset, frame + kEventName, 32);
    }
    if (k >= 0 && k < kStoreSlots) {
        resultClasses[k] = length >= kEventWithClass
                               ? uint32_t(frame[kEventClass]) << 16 |
                                     uint32_t(frame[kEventClass + 1]) << 8 | frame[kEventClass + 2]
                               : 0;
    }
    if (foundCount < INT32_MAX) ++foundCount;
    searchState = 1;
    return searchState;
}

int32_t Communicator::TakeInquiryResult(uint8_t address[6], uint8_t name[32]) {
    return TakeInquiryResult(address, name, nullptr);
}

int32_t Communicator::TakeInquiryResult(uint8_t address[6], uint8_t name[32],
                                        uint32_t* classOfDevice) {
    const int32_t k = foundCount;
    if (k < 1) return -1;
    if (classOfDevice && k <= kStoreSlots) *classOfDevice = resultClasses[k - 1];
    // The take steps by one byte per waiting result: k - 1 in both areas.
    const int32_t offset = k - 1;
    if (address && FitsArea(offset, 6, kAddressArea)) std::memcpy(address, resultStore + offset, 6);
    if (name && FitsArea(offset, 32, kNameArea))
        std::memcpy(name, resultStore + kAddressArea + offset, 32);
    --foundCount;
    if (foundCount == 0) searchState = 0;
    return foundCount;
}

int32_t Communicator::PollPairingStatus() {
    uint8_t frame[kMaxFrame] = {};
    if (!NextEvent(frame)) return pairingState;
    // Any other frame is consumed, and the search state is what comes back.
    if (frame[0] != kPairingEvent) return searchState;
    switch (frame[2]) {
    case 1:
        pairingState = 1;
        break;
    case 224:
        pairingState = 2;
        break;
    case 225:
        pairingState = 3;
        break;
    case 226:
        pairingState = 4;
        break;
    case 227:
        pairingState = 5;
        break;
    default:
        break; // other statuses leave the state as it is
    }
    return pairingState;
}
