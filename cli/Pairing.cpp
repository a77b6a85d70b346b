// SPDX-License-Identifier: Apache-2.0
// btconf-cli search, pair and wait-pair: a device search listed as it goes,
// and a pairing with its own outcome texts, each within a time limit.
#include "CliCommon.h"
#include "Json.h"
#include "EndpSettings.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace cli {

namespace {

// The pairing's own outcome texts, by pairing state 2 to 5.
const char* PairingText(int32_t state) {
    switch (state) {
    case 2:
        return "Pairing failed due to timeout";
    case 3:
        return "Pairing failed";
    case 4:
        return "Pairing canceled";
    case 5:
        return "Pairing error";
    default:
        return "Pairing failed";
    }
}

// A one-line status on a terminal (what the window shows in its status bar),
// wiped when it goes away.
class StatusLine {
  public:
    StatusLine(std::ostream& err, bool shown, const std::string& text) : err(err), shown(shown) {
        if (shown) err << text << std::flush;
        width = text.size();
    }
    ~StatusLine() { Clear(); }
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    void Clear() {
        if (shown && width > 0) err << '\r' << std::string(width, ' ') << '\r' << std::flush;
        width = 0;
    }

  private:
    std::ostream& err;
    bool shown;
    std::size_t width;
};

// While it lives, a read of the port waits up to kEventReadMs for the first
// byte and then returns 10 ms after the last one: an event frame (at most 44
// bytes, with a quiet gap after it) then comes whole in one read, and is never
// cut in two by the short time-out of a poll. Waiting costs no processor time.
class WholeEventReads {
  public:
    static constexpr int32_t kEventReadMs = 250;
    explicit WholeEventReads(mSerial& port) : port(port), saved(port.ReadTimeout) {
        port.ReadTimeout = kEventReadMs;
    }
    ~WholeEventReads() { port.ReadTimeout = saved; }
    WholeEventReads(const WholeEventReads&) = delete;
    WholeEventReads& operator=(const WholeEventReads&) = delete;

  private:
    mSerial& port;
    int32_t saved;
};

// A device's name as the module sent it (up to its first zero byte), with
// control characters shown as \xNN so that they never reach the terminal.
std::string NameText(const uint8_t (&name)[32]) {
    std::string text;
    for (uint8_t c : name) {
        if (c == 0) break;
        if (c < 0x20 || c == 0x7f || (c >= 0x80 && c < 0xa0)) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            text += escaped;
        } else {
            text.push_back(char(c));
        }
    }
    return text;
}

} // namespace

int SearchCommand(const std::string& device, int limitSeconds, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    Communicator& comm = link.comm;
    const uint8_t everyClass[4] = {};
    comm.StartInquiry(kSearchDuration, everyClass, true);
    StatusLine status(console.err, console.progress, "Searching...");

    std::vector<Address> listed;
    // Takes the result the last poll reported (one at a time, as it came) and
    // lists it unless it is there already or the list is full.
    auto take = [&] {
        while (comm.foundCount > 0) {
            Address address{};
            uint8_t name[32] = {};
            uint32_t classOfDevice = 0;
            if (comm.TakeInquiryResult(address.data(), name, &classOfDevice) < 0) break;
            if (listed.size() >= kMaxDevices ||
                std::find(listed.begin(), listed.end(), address) != listed.end())
                continue;
            listed.push_back(address);
            char cod[16];
            std::snprintf(cod, sizeof cod, "0x%06x", unsigned(classOfDevice & 0xffffff));
            status.Clear();
            if (console.json)
                console.out << JsonLine({{"event", "device"},
                                         {"address", btaddress::Text(address)},
                                         {"name", JsonText(NameText(name))},
                                         {"class", cod}})
                            << "\n";
            else
                console.out << btaddress::Text(address) << "  " << NameText(name) << "  " << cod
                            << "\n";
            console.out << std::flush;
        }
    };
    // Polls until the module ends the search (2 or 3) or the time is up.
    auto pollUntil = [&](Clock::time_point deadline) {
        WholeEventReads whole(link.port);
        while (Clock::now() < deadline && !link.port.IsLost()) {
            const int32_t state = comm.PollInquiry();
            if (state == 1 || state == 3) take();
            if (state == 2 || state == 3) return true;
        }
        return false;
    };

    const bool finished = pollUntil(Clock::now() + std::chrono::seconds(limitSeconds));
    if (link.port.IsLost()) {
        status.Clear();
        ReportLoss(console.err, link.port);
        return kCommunication;
    }
    if (!finished) {
        comm.CancelInquiry(); // its answer does not matter: the end of the search does
        const bool ended = pollUntil(Clock::now() + kAbortWait);
        status.Clear();
        if (!ended) {
            Say(console.err, "The search did not end",
                {"The module reported no end of the search, not even after it was canceled."});
            return kCommunication;
        }
        Say(console.err, "Search canceled after " + std::to_string(limitSeconds) +
                             (limitSeconds == 1 ? " second" : " seconds"));
    }
    status.Clear();
    if (listed.empty()) Say(console.err, "No device found");
    return kSuccess;
}

// A pairing: local-initiated with the remote device's address, or waiting for
// the remote device; the module's paired address on success.
int PairCommand(const std::string& device, bool remoteInitiates, const Address& address,
                const std::string& passkey, int limitSeconds, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    Communicator& comm = link.comm;
    const int32_t started = comm.StartPairing(remoteInitiates ? 1 : 0, address.data(),
                                              reinterpret_cast<const uint8_t*>(passkey.data()),
                                              uint32_t(passkey.size()));
    if (started != 0) {
        Say(console.err, "Pairing could not be started",
            {"The reason was: " + comm.GetErrorText(started)});
        return kCommunication;
    }

    int32_t state = 0;
    {
        StatusLine status(console.err, console.progress,
                          remoteInitiates ? "Waiting for remote device to pair" : "Pairing...");
        auto pollUntil = [&](Clock::time_point deadline) {
            WholeEventReads whole(link.port);
            while (state == 0 && Clock::now() < deadline && !link.port.IsLost())
                state = comm.PollPairingStatus();
        };
        pollUntil(Clock::now() + std::chrono::seconds(limitSeconds));
        if (link.port.IsLost()) {
            status.Clear();
            ReportLoss(console.err, link.port);
            return kCommunication;
        }
        if (state == 0) {
            // The module is told to stop and answers with the canceled outcome.
            comm.CancelInquiry();
            pollUntil(Clock::now() + kAbortWait);
            status.Clear();
            Say(console.err, "No pairing outcome within " + std::to_string(limitSeconds) +
                                 (limitSeconds == 1 ? " second" : " seconds"));
            if (state == 0) {
                Say(console.err, "The pairing did not end",
                    {"The module reported no outcome, not even after it was canceled."});
                return kCommunication;
            }
        }
    }
    if (state != 1) {
        Say(console.err, PairingText(state));
        return kPairing;
    }

    Address paired{};
    const int32_t result = comm.GetPairedDevice(paired.data());
    if (result != 0) {
        Failure failure;
        failure.category = "communication";
        failure.headline = "Could not read parameter";
        failure.errorCode = 0x162;
        failure.description = {
            "A communication error occured when reading information from the device.",
            "The reason was: " + comm.GetErrorText(result)};
        Report(console.err, failure);
        return kCommunication;
    }
    if (console.json)
        console.out << JsonLine({{"event", "paired"}, {"address", btaddress::Text(paired)}}) << "\n";
    else
        console.out << "Paired with " << btaddress::Text(paired) << "\n";
    console.out << std::flush;
    return kSuccess;
}

} // namespace cli
