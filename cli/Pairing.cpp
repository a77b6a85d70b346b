// SPDX-License-Identifier: Apache-2.0
// btconf-cli search, pair and wait-pair: a device search listed as it goes,
// and a pairing with its own outcome texts, each within a time limit.
#include "Operations.h"

#include "CliCommon.h"
#include "Json.h"
#include "EndpSettings.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace cli {

namespace {

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
std::string NameText(const std::string& name) {
    std::string text;
    for (char ch : name) {
        const auto c = static_cast<uint8_t>(ch);
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

bool PasskeyBytes(const std::string& utf8, std::string& latin1) {
    latin1.clear();
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto b = static_cast<unsigned char>(utf8[i]);
        if (b < 0x80) {
            latin1 += char(b);
            continue;
        }
        // U+0080 to U+00FF come as 110000xx 10xxxxxx.
        if ((b & 0xFE) != 0xC2 || i + 1 == utf8.size()) return false;
        const auto next = static_cast<unsigned char>(utf8[++i]);
        if ((next & 0xC0) != 0x80) return false;
        latin1 += char((b & 0x03) << 6 | (next & 0x3F));
    }
    return true;
}

SearchEnd RunSearch(Communicator& comm, mSerial& port, int limitSeconds,
                    const std::function<void(const FoundDevice&)>& found) {
    const uint8_t everyClass[4] = {};
    comm.StartInquiry(kSearchDuration, everyClass, true);
    std::vector<Address> listed;
    // Takes the result the last poll reported (one at a time, as it came) and
    // lists it unless it is there already or the list is full.
    auto take = [&] {
        while (comm.foundCount > 0) {
            FoundDevice device;
            uint8_t name[32] = {};
            if (comm.TakeInquiryResult(device.address.data(), name, &device.classOfDevice) < 0)
                break;
            if (listed.size() >= kMaxDevices ||
                std::find(listed.begin(), listed.end(), device.address) != listed.end())
                continue;
            listed.push_back(device.address);
            device.name.assign(reinterpret_cast<const char*>(name),
                               std::find(name, name + sizeof name, 0) - name);
            device.classOfDevice &= 0xffffff;
            found(device);
        }
    };
    // Polls until the module ends the search (2 or 3) or the time is up.
    auto pollUntil = [&](Clock::time_point deadline) {
        WholeEventReads whole(port);
        while (Clock::now() < deadline && !port.IsLost()) {
            const int32_t state = comm.PollInquiry();
            if (state == 1 || state == 3) take();
            if (state == 2 || state == 3) return true;
        }
        return false;
    };
    if (pollUntil(Clock::now() + std::chrono::seconds(limitSeconds))) return SearchEnd::Finished;
    if (port.IsLost()) return SearchEnd::Lost;
    comm.CancelInquiry(); // its answer does not matter: the end of the search does
    return pollUntil(Clock::now() + kAbortWait) ? SearchEnd::Canceled : SearchEnd::NoEnd;
}

PairingOutcome RunPairing(Communicator& comm, mSerial& port, bool remoteInitiates,
                          const Address& address, const std::string& passkey, int limitSeconds) {
    PairingOutcome o;
    o.started = comm.StartPairing(remoteInitiates ? 1 : 0, address.data(),
                                  reinterpret_cast<const uint8_t*>(passkey.data()),
                                  uint32_t(passkey.size()));
    if (o.started != 0) return o;
    auto pollUntil = [&](Clock::time_point deadline) {
        WholeEventReads whole(port);
        while (o.state == 0 && Clock::now() < deadline && !port.IsLost())
            o.state = comm.PollPairingStatus();
    };
    pollUntil(Clock::now() + std::chrono::seconds(limitSeconds));
    o.lost = port.IsLost();
    if (o.lost) return o;
    if (o.state == 0) {
        // The module is told to stop and answers with the canceled outcome.
        o.timedOut = true;
        comm.CancelInquiry();
        pollUntil(Clock::now() + kAbortWait);
    }
    if (o.state != 1) return o;
    const int32_t result = comm.GetPairedDevice(o.paired.data());
    o.pairedRead = result == 0;
    if (!o.pairedRead) {
        o.failure.category = "communication";
        o.failure.headline = "Could not read parameter";
        o.failure.errorCode = 0x162;
        o.failure.result = result;
        o.failure.status = result == -3 ? comm.lastStatus : 0;
        o.failure.description = {
            "A communication error occured when reading information from the device.",
            "The reason was: " + comm.GetErrorText(result)};
    }
    return o;
}

int SearchCommand(const std::string& device, int limitSeconds, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    StatusLine status(console.err, console.progress, "Searching...");
    bool any = false;
    const SearchEnd end = RunSearch(link.comm, link.port, limitSeconds, [&](const FoundDevice& d) {
        any = true;
        char cod[16];
        std::snprintf(cod, sizeof cod, "0x%06x", unsigned(d.classOfDevice));
        status.Clear();
        if (console.json)
            console.out << JsonLine({{"event", "device"},
                                     {"address", btaddress::Text(d.address)},
                                     {"name", JsonText(NameText(d.name))},
                                     {"class", cod}})
                        << "\n";
        else
            console.out << btaddress::Text(d.address) << "  " << NameText(d.name) << "  " << cod
                        << "\n";
        console.out << std::flush;
    });
    status.Clear();
    if (end == SearchEnd::Lost) {
        ReportLoss(console.err, link.port);
        return kCommunication;
    }
    if (end == SearchEnd::NoEnd) {
        Say(console.err, "The search did not end",
            {"The module reported no end of the search, not even after it was canceled."});
        return kCommunication;
    }
    if (end == SearchEnd::Canceled)
        Say(console.err, "Search canceled after " + std::to_string(limitSeconds) +
                             (limitSeconds == 1 ? " second" : " seconds"));
    if (!any) Say(console.err, "No device found");
    return kSuccess;
}

// A pairing: local-initiated with the remote device's address, or waiting for
// the remote device; the module's paired address on success.
int PairCommand(const std::string& device, bool remoteInitiates, const Address& address,
                const std::string& passkey, int limitSeconds, Console& console) {
    Link link;
    if (const int status = link.Open(device, console.err)) return status;
    PairingOutcome o;
    {
        StatusLine status(console.err, console.progress,
                          remoteInitiates ? "Waiting for remote device to pair" : "Pairing...");
        o = RunPairing(link.comm, link.port, remoteInitiates, address, passkey, limitSeconds);
        status.Clear();
    }
    if (o.started != 0) {
        Say(console.err, "Pairing could not be started",
            {"The reason was: " + link.comm.GetErrorText(o.started)});
        return kCommunication;
    }
    if (o.lost) {
        ReportLoss(console.err, link.port);
        return kCommunication;
    }
    if (o.timedOut)
        Say(console.err, "No pairing outcome within " + std::to_string(limitSeconds) +
                             (limitSeconds == 1 ? " second" : " seconds"));
    if (o.state == 0) {
        Say(console.err, "The pairing did not end",
            {"The module reported no outcome, not even after it was canceled."});
        return kCommunication;
    }
    if (o.state != 1) {
        Say(console.err, PairingText(o.state));
        return kPairing;
    }
    if (!o.pairedRead) {
        Report(console.err, o.failure);
        return kCommunication;
    }
    if (console.json)
        console.out << JsonLine({{"event", "paired"}, {"address", btaddress::Text(o.paired)}})
                    << "\n";
    else
        console.out << "Paired with " << btaddress::Text(o.paired) << "\n";
    console.out << std::flush;
    return kSuccess;
}

} // namespace cli
