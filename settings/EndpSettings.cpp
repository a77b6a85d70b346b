// SPDX-License-Identifier: Apache-2.0
#include "EndpSettings.h"

#include "Communicator.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr uint32_t kCodeReadMode = 0x112;
constexpr uint32_t kCodeReadPaired = 0x162;
constexpr uint32_t kCodeReadAccept = 0x118;
constexpr uint32_t kCodeReadSecurity = 0x166;
constexpr uint32_t kCodeReadPasskey = 0x168;
constexpr uint32_t kCodeWriteMode = 0x213;
constexpr uint32_t kCodeWriteAccept = 0x219;
constexpr uint32_t kCodeWriteSecurity = 0x267;
constexpr uint32_t kCodeWritePasskey = 0x269;

// Device mode bytes of commands 0x12 and 0x13.
constexpr int32_t kModeConnecting = 1;
constexpr int32_t kModeEndpoint = 2;

const char* const kSecurityTexts[] = {"No authentication", "Require passkey",
                                      "Require paired device"};

const char* const kModeKey = "Device mode";
const char* const kSecurityKey = "Endpoint Security mode";
const char* const kAcceptKey = "Accepted address";
const char* const kEncryptionKey = "Require encryption when require pincode";
const char* const kPasskeyKey = "Passkey";
const char* const kAllowAll = "Allow all";

} // namespace

namespace btaddress {

std::string Text(const std::array<uint8_t, 6>& a) {
    char text[24];
    std::snprintf(text, sizeof text, "%02x %02x %02x %02x %02x %02x", a[0], a[1], a[2], a[3], a[4],
                  a[5]);
    return text;
}

bool IsZero(const std::array<uint8_t, 6>& address) {
    return address == std::array<uint8_t, 6>{};
}

bool Parse(const std::string& text, std::array<uint8_t, 6>& address) {
    unsigned b[6];
    if (std::sscanf(text.c_str(), "%02x %02x %02x %02x %02x %02x", &b[0], &b[1], &b[2], &b[3],
                    &b[4], &b[5]) != 6)
        return false;
    // "%02x" also takes a sign ("-1"); such a byte is no byte.
    for (unsigned byte : b)
        if (byte > 0xff) return false;
    for (int i = 0; i < 6; ++i)
        address[std::size_t(i)] = uint8_t(b[i]);
    return true;
}

} // namespace btaddress

const char* EndpSettings::SecurityText(int32_t mode) {
    return mode >= 1 && mode <= 3 ? kSecurityTexts[mode - 1] : nullptr;
}

int EndpSettings::ReadFromDevice(Failure& failure) {
    if (comm == nullptr) return CommError(failure, false, kCodeReadMode, -1);

    uint8_t mode = 0;
    int32_t result = comm->GetDeviceMode(mode);
    if (result != 0) return CommError(failure, false, kCodeReadMode, result);
    endpointMode = mode != kModeConnecting ? 1 : 0;
    Step();

    // The module answers status 254 when it is not paired: all zero, no failure.
    result = comm->GetPairedDevice(pairedAddress.data());
    if (result != 0) return CommError(failure, false, kCodeReadPaired, result);
    Step();

    result = comm->GetAcceptedAddress(acceptAddress.data());
    if (result != 0) return CommError(failure, false, kCodeReadAccept, result);
    acceptEditEmpty = {};
    if (btaddress::IsZero(acceptAddress)) allowAll = 1; // never cleared here
    Step();

    // Encryption required, authentication required, passkey used.
    uint8_t flags[3] = {};
    result = comm->GetSecurityFlags(flags);
    if (result != 0) return CommError(failure, false, kCodeReadSecurity, result);
    securityMode = flags[1] == 0 ? 1 : flags[2] != 1 ? 3 : 2;
    requireEncryption = flags[0] == 1 ? 1 : 0;
    Step();

    std::string passkey;
    result = comm->GetPasskey(passkey);
    if (result != 0) return CommError(failure, false, kCodeReadPasskey, result);
    pinCode = passkey.c_str(); // ends at its first zero byte
    Step();
    return 1;
}

int EndpSettings::WriteToDevice(Failure& failure) {
    // In connecting mode the Connecting group writes the mode and its settings.
    if (!endpointMode) return 1;
    if (comm == nullptr) return CommError(failure, true, kCodeWriteMode, -1);

    int32_t result = comm->SetDeviceMode(kModeEndpoint);
    if (result != 0) return CommError(failure, true, kCodeWriteMode, result);
    Step(true);

    switch (securityMode) {
    case 1: {
        const Address accepted = allowAll ? Address{} : acceptAddress;
        result = comm->SetAcceptedAddress(accepted.data());
        if (result != 0) return CommError(failure, true, kCodeWriteAccept, result);
        Step(true);
        result = comm->SetSecurityFlags(0, 0, 0);
        break;
    }
    case 2:
        // The PIN code goes without a terminating zero; the protocol refuses a
        // length outside 1 to 16 without sending anything.
        result = comm->SetPasskey(reinterpret_cast<const uint8_t*>(pinCode.data()),
                                  int32_t(std::min<std::size_t>(pinCode.size(), 255)));
        if (result != 0) return CommError(failure, true, kCodeWritePasskey, result);
        Step(true);
        result = comm->SetSecurityFlags(requireEncryption, 1, 1);
        break;
    case 3:
        result = comm->SetSecurityFlags(requireEncryption, 1, 0);
        break;
    default:
        return 1; // no security mode of the list: only the mode was written
    }
    if (result != 0) return CommError(failure, true, kCodeWriteSecurity, result);
    Step(true);
    return 1;
}

int EndpSettings::Validate(Failure& failure) const {
    if (!endpointMode) return 1;
    if (securityMode == 1 && !allowAll) {
        bool anyEmpty = false;
        for (bool empty : acceptEditEmpty)
            anyEmpty = anyEmpty || empty;
        if (anyEmpty || btaddress::IsZero(acceptAddress))
            return InputError(failure, "Invalid endpoint accept address",
                              "The device is configured to accept connections from a specific "
                              "device but with an invalid accept address",
                              kHelpAcceptAddress);
    }
    if (securityMode == 2 && pinCode.empty())
        return InputError(failure, "Invalid PIN code",
                          "When the device is configured to require PIN code, a PIN code must "
                          "be entered",
                          kHelpPinCode);
    // A longer PIN code (from a file) is kept whole, and stops here.
    if (securityMode == 2 && pinCode.size() > std::size_t(kPinCodeMax))
        return InputError(failure, "Invalid PIN code", "The PIN code must have 1-16 characters",
                          kHelpPinCode);
    if (securityMode == 3 && btaddress::IsZero(pairedAddress))
        return InputError(failure, "Invalid endpoint security setting",
                          "The device is configured to accept connection from a paired device, "
                          "but the device is not paired",
                          kHelpPaired);
    return 1;
}

void EndpSettings::SaveToFile(std::ostream& out) const {
    out << "# Device mode\n"
        << kModeKey << ": " << (endpointMode ? "Endpoint" : "Connecting") << "\n\n\n"
        << "# Endpoint settings\n";
    // A security mode outside the list has no line: a load then keeps what it has.
    if (const char* text = SecurityText(securityMode)) out << kSecurityKey << ": " << text << "\n";
    out << kAcceptKey << ": " << (allowAll ? kAllowAll : btaddress::Text(acceptAddress)) << "\n"
        << kEncryptionKey << ": " << (requireEncryption ? "Yes" : "No") << "\n"
        << kPasskeyKey << ": " << pinCode << "\n"
        << "Require encryption when paired: " << (requireEncryption ? "Yes" : "No") << "\n";
    // For the reader only: pairing is a state of the module, never loaded.
    if (btaddress::IsZero(pairedAddress))
        out << "Device not paired\n\n\n";
    else
        out << "Device paired with: " << btaddress::Text(pairedAddress) << "\n\n\n";
}

int EndpSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    FileLoad load(file, taken);
    std::string value;
    if (load.Find(kModeKey, value)) {
        endpointMode = value == "Endpoint" ? 1 : 0;
        load.Took(kModeKey, value);
    }
    if (load.Find(kSecurityKey, value)) {
        for (int32_t mode = 1; mode <= 3; ++mode)
            if (value == SecurityText(mode)) {
                securityMode = mode;
                load.Took(kSecurityKey, value);
            }
    }
    if (load.Find(kAcceptKey, value)) {
        // Allow all is set here, never cleared: only the person unticks it.
        if (value == kAllowAll) {
            allowAll = 1;
            load.Took(kAcceptKey, value);
        } else if (btaddress::Parse(value, acceptAddress)) {
            acceptEditEmpty = {};
            load.Took(kAcceptKey, value);
        }
    }
    if (load.Find(kEncryptionKey, value) && (value == "Yes" || value == "No")) {
        requireEncryption = value == "Yes" ? 1 : 0;
        load.Took(kEncryptionKey, value);
    }
    if (load.Find(kPasskeyKey, value)) {
        pinCode = value;
        load.Took(kPasskeyKey, value);
    }
    if (load.Count() > 0) changed = 1;
    return load.Count();
}

bool EndpSettings::Writes(const std::string& key) const {
    // Only the settings of the security mode chosen are sent, and none while
    // the module calls out instead (the Connecting group writes then).
    const bool endpoint = endpointMode != 0;
    if (key == kSecurityKey) return endpoint && securityMode >= 1 && securityMode <= 3;
    if (key == kAcceptKey) return endpoint && securityMode == 1;
    if (key == kPasskeyKey) return endpoint && securityMode == 2;
    if (key == kEncryptionKey) return endpoint && (securityMode == 2 || securityMode == 3);
    return true;
}
