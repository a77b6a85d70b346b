// SPDX-License-Identifier: Apache-2.0
// The Serial port group: the module's own serial port toward the equipment it
// serves (speed, parity, data bits, stop bits, flow control) and, on modules
// that have it, a user-defined speed.
#pragma once

#include "SettingsGroup.h"

#include <string>

class SerSettings : public SettingsGroup {
  public:
    static constexpr int kSpeedCount = 11;
    static constexpr int32_t kUserValueMax = 6144;
    static constexpr int32_t kHelpUserDefined = 94;

    // Flags set from the General read, never by the group itself.
    uint8_t userDefinedSupported = 0; // firmware3
    uint8_t secondGeneration = 0;     // the four high speeds exist
    uint8_t productCode5 = 0;         // 230400 exists

    // Values as the module carries them. A value outside its table (from the
    // module, or data and stop bits from a file) is kept as it came.
    int32_t speedIndex = 0; // 1 to 11
    int32_t flowControl = 0;
    int32_t parity = 0; // 0 None, 1 Odd, 2 Even
    int32_t dataBits = 0;
    int32_t stopBits = 0;
    int32_t userDefinedEnabled = 0;
    int32_t userDefinedValue = 0; // speed = value / 0.004096

    // The speed of an index 1 to 11, 0 for any other.
    static long Speed(int32_t index);
    // The index of a speed, 0 when it has none.
    static int32_t IndexOfSpeed(long speed);
    // Texts of parity 0 to 2 and flow control 0 and 1; nullptr for any other.
    static const char* ParityText(int32_t parity);
    static const char* FlowText(int32_t flow);
    // value × 244.140625, the speed a user-defined value gives.
    static double UserDefinedSpeed(int32_t value);
    // The speeds the module read last offers, lowest first.
    int SpeedsOffered() const;

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;
};
