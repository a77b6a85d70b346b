// SPDX-License-Identifier: Apache-2.0
// The Power save group: the module's two low-power link modes, sniff mode and
// park mode. On the wire a mode is off when all of its fields are zero; here
// each mode has its own enabled flag and keeps its values while it is off.
#pragma once

#include "SettingsGroup.h"

class PsSettings : public SettingsGroup {
  public:
    // Help contexts of the failed reads and writes.
    static constexpr int32_t kHelpReadSniff = 456;
    static constexpr int32_t kHelpReadPark = 458;
    static constexpr int32_t kHelpWriteSniff = 713;
    static constexpr int32_t kHelpWritePark = 715;
    // A maximum interval of -1: the mode's values are not known yet.
    static constexpr int32_t kNotKnown = -1;

    PsSettings();

    // Set by the main window while the module has the advanced groups; the
    // file section is written only then.
    uint8_t available = 0;

    uint8_t sniffEnabled = 0;
    uint8_t parkEnabled = 0;
    // Slots of 0.625 ms for the intervals; attempt and timeout are counts
    // (time = (2 * value - 1) * 0.625 ms). Kept as typed, read or loaded.
    int32_t sniffMaxInterval = kNotKnown;
    int32_t sniffMinInterval = 0;
    int32_t sniffAttempt = 0;
    int32_t sniffTimeout = 0;
    int32_t beaconMaxInterval = kNotKnown;
    int32_t beaconMinInterval = 0;

    // What the page's edits hold: sniffMaxInt, sniffMinInt, sniffAttempt,
    // sniffTimeout, parkBeaMax, parkBeaMin. Validate refuses an empty one of
    // an enabled mode.
    EditText sniffMaxIntEdit = EditText::Empty;
    EditText sniffMinIntEdit = EditText::Empty;
    EditText sniffAttemptEdit = EditText::Empty;
    EditText sniffTimeoutEdit = EditText::Empty;
    EditText parkBeaMaxEdit = EditText::Empty;
    EditText parkBeaMinEdit = EditText::Empty;

    // Whether the page shows a mode's values; otherwise its edits are empty
    // (the mode is off, or its values are not known yet).
    bool SniffShown() const { return sniffEnabled && sniffMaxInterval != kNotKnown; }
    bool ParkShown() const { return parkEnabled && beaconMaxInterval != kNotKnown; }
    // Sets the six edit states to what the page shows for the held values.
    void EditsAsShown();

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;

  private:
    // The common communication failure with this group's help context.
    int CommFailure(Failure& failure, bool write, uint32_t code, int32_t result,
                    int32_t helpContext);
};
