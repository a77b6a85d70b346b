// SPDX-License-Identifier: Apache-2.0
// The audio (SCO) group: whether the module opens an audio connection, the
// packet type it uses, and the gains of its codec with the maxima the module
// reports. Only second-generation modules with software 3.02 or later have it.
#pragma once

#include "SettingsGroup.h"

class ScoSettings : public SettingsGroup {
  public:
    // Packet types the page offers, in the order of its list.
    static constexpr int kPacketTypeCount = 4;
    static constexpr int32_t kHv1 = 32;

    // The packet type of list item 0 to 3 (HV1, HV2, HV3, DV); 0 for any other.
    static int32_t PacketTypeOfItem(int item);
    // The list item of a packet type, -1 when the list has none (0 included).
    static int ItemOfPacketType(int32_t type);
    // "HV1", "HV2", "HV3", "DV"; nullptr for a type outside the list.
    static const char* PacketTypeText(int32_t type);

    // Set by the main window from the General read: A secondGeneration,
    // B firmware3Minor2Gen2, C firmware3. Reading and writing need all three,
    // the file section needs A and B.
    uint8_t supportA = 0;
    uint8_t supportB = 0;
    uint8_t supportC = 0;
    // Set by the main window from firmware3: the section is saved only while it is set.
    uint8_t available = 0;

    // Values as the module carries them. A packet type outside the list (from
    // the module) is kept as it came.
    bool scoEnabled = false;
    int32_t packetType = 0; // 0 none, 32 HV1, 64 HV2, 128 HV3, 256 DV
    int32_t inputGain = 0;
    int32_t outputGain = 0;
    int32_t inputGainMax = 0;  // 0: the module has no input gain control
    int32_t outputGainMax = 0; // 0: the module has no output gain control

    // Reading and writing take place (all three support flags set).
    bool Supported() const { return supportA && supportB && supportC; }
    // The file section takes place (A and B).
    bool InFile() const { return supportA && supportB; }
    // A person switches the audio connection on or off; switching it on
    // without a packet type chooses HV1.
    void SetEnabled(bool on);

    // Every value comes from a closed list or a slider: nothing to check.
    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;
};
