// SPDX-License-Identifier: Apache-2.0
// The Other group: performance optimisation (latency or throughput), the Class
// of Device the module announces, serial handshake emulation, the link
// supervision time-out and quality of service. Emulation and quality of service
// exist only on some modules; the main window says which.
#pragma once

#include "SettingsGroup.h"

class OtherSettings : public SettingsGroup {
  public:
    // Help contexts of the communication failures (0 for the reads without one).
    static constexpr int32_t kHelpReadEmulation = 454;
    static constexpr int32_t kHelpReadQos = 474;
    static constexpr int32_t kHelpWritePerformance = 705;
    static constexpr int32_t kHelpWriteLinkTimeout = 707;
    static constexpr int32_t kHelpWriteClass = 717;
    static constexpr int32_t kHelpWriteEmulation = 727;
    static constexpr int32_t kHelpWriteQos = 731;
    // Bluetooth slots of 0.625 ms in one second.
    static constexpr int32_t kSlotsPerSecond = 1600;
    static constexpr int32_t kLatencyMax = 1000000;

    // Flags set by the main window from the General read, never by the group.
    uint8_t available = 0;          // firmware3: the section is saved only while set
    uint8_t qosSupported = 0;       // firmware3Minor2
    uint8_t emulationSupported = 0; // secondGeneration

    // Values as the module carries them. A quality-of-service mode or an
    // emulation type above 2 from the module is kept as it came.
    uint8_t throughputOptimised = 0;   // false: optimised for latency
    uint32_t classOfDevice = 0x001F00; // low 24 bits only
    uint8_t manualClassOfDevice = 0;   // the class is typed in, not chosen
    int32_t qosMode = 0;               // 0 disabled, 1 best effort, 2 guaranteed
    int32_t qosLatency = 0;            // microseconds
    uint8_t linkTimeoutEnabled = 0;
    uint8_t emulationEnabled = 0;
    int32_t emulationType = 0;                  // 0 none, 1 DTE, 2 DCE
    int32_t linkTimeout = 12 * kSlotsPerSecond; // slots; 0 is off

    // What the latency edit holds, as far as Validate needs to know.
    EditText latencyEdit = EditText::Empty;

    OtherSettings() { EditsAsShown(); }

    // Whole seconds of a link time-out in slots, rounded half up.
    static int32_t LinkTimeoutSeconds(int32_t slots);
    // The edit states after a read, a load or at the start: what the page then
    // shows.
    void EditsAsShown();

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;
};
