// SPDX-License-Identifier: Apache-2.0
// The Connecting group: what the module does when it starts the Bluetooth
// connection itself (as master): connect to a fixed address without a passkey,
// or to the device it is paired with. The device mode is the one the Endpoint
// group saves; this group reads it and writes it only as connecting.
#pragma once

#include "SettingsGroup.h"

#include <array>

class ConSettings : public SettingsGroup {
  public:
    using Address = std::array<uint8_t, 6>;
    static constexpr int32_t kHelpSecurity = 51, kHelpAddress = 52, kHelpPaired = 53;

    uint8_t connectingMode = 0; // 1 when the module's device mode is Connecting
    // 1 "Connect without passkey", 3 "Connect to paired device"; any other
    // value is kept as it came and has no file line.
    int32_t securityMode = 0;
    uint8_t requireEncryption = 0;
    Address connectAddress{};
    Address pairedAddress{}; // all zero: not paired
    // Which of ca1..ca6 the page shows empty; a read or a load of the address
    // sets them all to shown.
    std::array<bool, 6> connectEditEmpty{};

    // "Connect without passkey" for 1, "Connect to paired device" for 3, nullptr otherwise.
    static const char* SecurityText(int32_t mode);

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;
    bool Writes(const std::string& key) const override;
};
