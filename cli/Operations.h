// SPDX-License-Identifier: Apache-2.0
// What btconf-cli's commands do, apart from what they print: the ports list, a
// device search and a pairing within a time limit. btconf-cli and the Python
// module both run on these.
#pragma once

#include "SettingsGroup.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class Communicator;
class mSerial;

namespace cli {

// A serial device as "ports" lists it.
struct PortRow {
    std::string port;     // "COMn" as the window numbers it, "-" beyond its ports
    std::string device;   // as given or found
    std::string resolved; // the device a link names; "" when it is not there
    std::string kind;     // what the system knows of it
    std::string state;    // "can be opened", "cannot be opened: ...", "(no device)"
    std::vector<std::string> byPath, byId; // the system's links to it
};
// The devices given, then the system's serial devices.
std::vector<PortRow> ListPorts(const std::vector<std::string>& given);

struct FoundDevice {
    std::array<uint8_t, 6> address{};
    std::string name; // as the module sent it, up to its first zero byte
    uint32_t classOfDevice = 0;
};

enum class SearchEnd {
    Finished, // the module ended the search
    Canceled, // the time was up: canceled, and the module reported the end
    NoEnd,    // canceled, and the module never reported the end
    Lost,     // the port went away
};

// A search as the window runs it (duration 12, every class of device). found
// sees each device once, as it comes, at most kMaxDevices of them.
SearchEnd RunSearch(Communicator& comm, mSerial& port, int limitSeconds,
                    const std::function<void(const FoundDevice&)>& found);

struct PairingOutcome {
    int32_t started = 0;     // the start command's result; nothing else happened unless 0
    int32_t state = 0;       // 1 paired, 2 to 5 the module's outcome, 0 none even after a cancel
    bool timedOut = false;   // no outcome within the limit, so the pairing was canceled
    bool lost = false;       // the port went away
    bool pairedRead = false; // after state 1: the paired address was read
    std::array<uint8_t, 6> paired{}; // ... and is this
    Failure failure;                 // ... or could not be read, as the report shows it
};

// A pairing started by the module with address, or waiting for the remote
// device (remoteInitiates); passkey in the module's 8-bit text.
PairingOutcome RunPairing(Communicator& comm, mSerial& port, bool remoteInitiates,
                          const std::array<uint8_t, 6>& address, const std::string& passkey,
                          int limitSeconds);

// The pairing's own outcome text of state 2 to 5 ("Pairing failed due to timeout", ...).
const char* PairingText(int32_t state);

// The passkey as the module's 8-bit text: UTF-8 in, Latin-1 out; false for a
// character beyond Latin-1.
bool PasskeyBytes(const std::string& utf8, std::string& latin1);

} // namespace cli
