// SPDX-License-Identifier: Apache-2.0
// The General group: the module's identity (read-only), the capability flags
// that its identity decides, and the two names.
#pragma once

#include "SettingsGroup.h"

#include <string>

class GenSettings : public SettingsGroup {
  public:
    // Longest names the module keeps (without the terminating zero).
    static constexpr std::size_t kDeviceNameMax = 31;
    static constexpr std::size_t kServiceNameMax = 17;
    static constexpr int32_t kHelpDeviceName = 22;
    static constexpr int32_t kHelpServiceName = 23;

    // Capability flags, decided by the identity answer.
    uint8_t firmware3 = 0;
    uint8_t firmware3Minor2Gen2 = 0;
    uint8_t secondGeneration = 0;
    uint8_t productCode5 = 0;
    uint8_t firmware3Minor2 = 0;

    // Values; texts are 8-bit bytes as the module and the file carry them.
    std::string productId;
    std::string hardwareVersion;
    std::string softwareVersion;
    std::string articleNumber;
    std::string bluetoothAddress;
    std::string deviceName;
    std::string serviceName;

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;

    // Decodes a 12-byte identity answer into the identity texts and flags.
    // Returns true when the advanced groups take part (firmware3).
    bool DecodeModuleInfo(const uint8_t info[12]);
};
