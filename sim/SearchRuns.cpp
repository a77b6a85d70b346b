// SPDX-License-Identifier: Apache-2.0
// The virtual module's device search and pairing runs.
#include "ModuleInternal.h"

#include <algorithm>

namespace sim {

using namespace detail;

void VirtualModule::StartSearch(const std::vector<uint8_t>& payload, TimePoint at) {
    // payload: duration, class filter (4 bytes; byte 1 a major device class, 0 = any), flag
    const uint8_t major = payload[2];
    const auto total = std::chrono::milliseconds(
        static_cast<long long>(config.searchTimeMs) * payload[0] / 12 + config.answerDelayMs);
    std::vector<size_t> found;
    for (size_t i = 0; i < config.devices.size(); ++i)
        if (major == 0 || ((config.devices[i].classOfDevice >> 8) & 0x1f) == major)
            found.push_back(i);
    search = Search{};
    search.active = true;
    search.end = at + total;
    // Bursts of devices answering together, spread evenly over the first part
    // of the search (the whole search unless told otherwise).
    const Clock::duration spread =
        config.searchSpreadMs < 0
            ? Clock::duration(total)
            : std::min<Clock::duration>(total, std::chrono::milliseconds(config.searchSpreadMs));
    const size_t burst = static_cast<size_t>(std::max(config.backToBack, 1));
    const auto bursts = static_cast<long long>((found.size() + burst - 1) / burst);
    for (size_t k = 0; k < found.size(); ++k) {
        const auto b = static_cast<long long>(k / burst);
        search.hits.push_back({at + spread * (b + 1) / (bursts + 1), found[k], k % burst != 0});
    }
}

void VirtualModule::EndSearch(TimePoint at) {
    search = Search{};
    SendEvent({0x60, 0x00}, 0x60, at);
}
void VirtualModule::ReportHit(TimePoint when) {
    const Search::Hit& hit = search.hits[search.next];
    const RemoteDevice& d = config.devices[hit.device];
    ++search.next;
    std::vector<uint8_t> event{0x60, 42, 0x01};
    event.insert(event.end(), d.address.begin(), d.address.end());
    for (size_t i = 0; i < 32; ++i)
        event.push_back(i < d.name.size() ? static_cast<uint8_t>(d.name[i]) : 0);
    for (int shift : {16, 8, 0}) // the class, high byte first
        event.push_back(static_cast<uint8_t>(d.classOfDevice >> shift));
    if (hit.closeBehind)
        Send(event, 0x60, when);
    else
        SendEvent(event, 0x60, when);
}

void VirtualModule::ReportPairing(TimePoint when) {
    pairing.active = false;
    const auto status = static_cast<uint8_t>(config.pairingOutcome);
    if (config.pairingOutcome == PairingOutcome::Complete) {
        settings.pairedAddress = pairing.address;
        Changed();
    }
    SendEvent({0x65, 1, status}, 0x65, when);
}

} // namespace sim
