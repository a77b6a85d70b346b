// SPDX-License-Identifier: Apache-2.0
// The Endpoint group: what the module does when it waits for and accepts
// Bluetooth connections (which remote device it accepts, with what security),
// and the module's device mode, which it reads, writes only as endpoint and
// saves for both the Endpoint and the Connecting groups.
#pragma once

#include "SettingsGroup.h"

#include <array>
#include <string>

class EndpSettings : public SettingsGroup {
  public:
    using Address = std::array<uint8_t, 6>;
    static constexpr int32_t kHelpAcceptAddress = 44, kHelpPinCode = 45, kHelpPaired = 46;
    static constexpr int kPinCodeMax = 16;

    uint8_t firmware3 = 0;         // set from the General read; used for nothing
    uint8_t endpointMode = 0;      // 1 when the module's device mode is Endpoint
    uint8_t allowAll = 0;          // never cleared by a read or a load
    uint8_t requireEncryption = 0; // one flag, for passkey and for paired device
    // 1 "No authentication", 2 "Require passkey", 3 "Require paired device";
    // any other value is kept as it came and has no file line.
    int32_t securityMode = 0;
    Address acceptAddress{};
    Address pairedAddress{}; // all zero: not paired
    std::string pinCode;     // 8-bit bytes, kept whole even when longer than 16
    // Which of ea1..ea6 the page shows empty; a read or a load of the accept
    // address sets them all to shown.
    std::array<bool, 6> acceptEditEmpty{};

    // The three texts above; nullptr outside 1..3.
    static const char* SecurityText(int32_t mode);

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;
    bool Writes(const std::string& key) const override;
};

// Bluetooth addresses as the pages and the file show them.
namespace btaddress {
// "%02x %02x %02x %02x %02x %02x".
std::string Text(const std::array<uint8_t, 6>& address);
bool IsZero(const std::array<uint8_t, 6>& address);
// Takes text only when all six bytes parse with "%02x" (as a file's address
// line is read); false leaves address as it was.
bool Parse(const std::string& text, std::array<uint8_t, 6>& address);
} // namespace btaddress
