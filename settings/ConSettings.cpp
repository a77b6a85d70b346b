// SPDX-License-Identifier: Apache-2.0
#include "ConSettings.h"

#include "Communicator.h"
#include "EndpSettings.h"

namespace {

constexpr uint32_t kCodeReadMode = 0x112;
constexpr uint32_t kCodeReadPaired = 0x162;
constexpr uint32_t kCodeReadConnect = 0x116;
constexpr uint32_t kCodeReadSecurity = 0x166;
constexpr uint32_t kCodeWriteMode = 0x213;
constexpr uint32_t kCodeWriteConnect = 0x217;
constexpr uint32_t kCodeWriteSecurity = 0x267;

// Device mode byte of commands 0x12 and 0x13.
constexpr int32_t kModeConnecting = 1;

const char* const kModeKey = "Device mode";
const char* const kSecurityKey = "Connecting security mode";
const char* const kAddressKey = "Connect to address";
const char* const kEncryptionKey = "Require encryption when connecting paired";

const char* const kAddressHeadline = "Invalid connecting address";

} // namespace

const char* ConSettings::SecurityText(int32_t mode) {
    return mode == 1 ? "Connect without passkey" : mode == 3 ? "Connect to paired device" : nullptr;
}

int ConSettings::ReadFromDevice(Failure& failure) {
    if (comm == nullptr) return CommError(failure, false, kCodeReadMode, -1);

    uint8_t mode = 0;
    int32_t result = comm->GetDeviceMode(mode);
    if (result != 0) return CommError(failure, false, kCodeReadMode, result);
    connectingMode = mode == kModeConnecting ? 1 : 0;
    Step();

    // The module answers status 254 when it is not paired: all zero, no failure.
    result = comm->GetPairedDevice(pairedAddress.data());
    if (result != 0) return CommError(failure, false, kCodeReadPaired, result);
    Step();

    result = comm->GetConnectAddress(connectAddress.data());
    if (result != 0) return CommError(failure, false, kCodeReadConnect, result);
    connectEditEmpty = {};
    Step();

    // Encryption required, authentication required, passkey used (the last
    // belongs to the endpoint role). No progress step for this command.
    uint8_t flags[3] = {};
    result = comm->GetSecurityFlags(flags);
    if (result != 0) return CommError(failure, false, kCodeReadSecurity, result);
    securityMode = flags[1] == 1 ? 3 : 1;
    requireEncryption = flags[0] == 1 ? 1 : 0;
    return 1;
}

int ConSettings::WriteToDevice(Failure& failure) {
    // In endpoint mode the Endpoint group writes the mode and its settings.
    if (!connectingMode) return 1;
    if (comm == nullptr) return CommError(failure, true, kCodeWriteMode, -1);

    int32_t result = comm->SetDeviceMode(kModeConnecting);
    if (result != 0) return CommError(failure, true, kCodeWriteMode, result);
    Step(true);

    if (securityMode == 1) {
        result = comm->SetConnectAddress(connectAddress.data());
        if (result != 0) return CommError(failure, true, kCodeWriteConnect, result);
        Step(true);
        result = comm->SetSecurityFlags(0, 0, 0);
    } else if (securityMode == 3) {
        result = comm->SetSecurityFlags(requireEncryption, 1, 0);
    } else {
        return 1; // no security mode of the list: only the mode was written
    }
    if (result != 0) return CommError(failure, true, kCodeWriteSecurity, result);
    Step(true);
    return 1;
}

int ConSettings::Validate(Failure& failure) const {
    if (!connectingMode) return 1;
    if (securityMode == 1) {
        for (bool empty : connectEditEmpty)
            if (empty)
                return InputError(failure, kAddressHeadline,
                                  "The device is configured to connect without passkey but one "
                                  "or more of the address fields is empty",
                                  kHelpAddress);
        if (btaddress::IsZero(connectAddress))
            return InputError(failure, kAddressHeadline,
                              "The device is configured to connect without passkey but one or "
                              "more of the address value is invalid",
                              kHelpAddress);
    } else if (btaddress::IsZero(pairedAddress)) {
        return InputError(failure, "Invalid connecting security setting",
                          "The device is configured to connect to paired device, but the device "
                          "is not paired",
                          kHelpPaired);
    }
    return 1;
}

void ConSettings::SaveToFile(std::ostream& out) const {
    // The device mode line is the Endpoint group's.
    out << "# Connecting settings\n";
    // A security mode outside the list has no line: a load then keeps what it has.
    // Any mode but "without passkey" is saved as the paired-device mode, 0 included.
    out << kSecurityKey << ": " << SecurityText(securityMode == 1 ? 1 : 3) << "\n";
    out << kAddressKey << ": " << btaddress::Text(connectAddress) << "\n"
        << kEncryptionKey << ": " << (requireEncryption ? "Yes" : "No") << "\n\n\n";
}

int ConSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    // The paired address is never loaded: pairing is a state of the module.
    FileLoad load(file, taken);
    std::string value;
    if (load.Find(kModeKey, value)) {
        connectingMode = value == "Connecting" ? 1 : 0;
        load.Took(kModeKey, value);
    }
    if (load.Find(kSecurityKey, value)) {
        for (int32_t mode : {1, 3})
            if (value == SecurityText(mode)) {
                securityMode = mode;
                load.Took(kSecurityKey, value);
            }
    }
    if (load.Find(kAddressKey, value) && btaddress::Parse(value, connectAddress)) {
        connectEditEmpty = {};
        load.Took(kAddressKey, value);
    }
    if (load.Find(kEncryptionKey, value) && (value == "Yes" || value == "No")) {
        requireEncryption = value == "Yes" ? 1 : 0;
        load.Took(kEncryptionKey, value);
    }
    if (load.Count() > 0) changed = 1;
    return load.Count();
}

bool ConSettings::Writes(const std::string& key) const {
    // Only the settings of the security mode chosen are sent, and none while
    // the module waits for connections (the Endpoint group writes then).
    const bool connecting = connectingMode != 0;
    if (key == kSecurityKey) return connecting && (securityMode == 1 || securityMode == 3);
    if (key == kAddressKey) return connecting && securityMode == 1;
    if (key == kEncryptionKey) return connecting && securityMode == 3;
    return true;
}
