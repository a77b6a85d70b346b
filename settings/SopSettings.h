// SPDX-License-Identifier: Apache-2.0
// The Scan and Output power group: how the module listens for other devices
// (inquiry scan and page scan timing, used while it is an endpoint) and how
// strongly it transmits (maximum and default transmit power). An advanced
// group: only modules with software 3.0 or later have it.
#pragma once

#include "SettingsGroup.h"

#include <string>

class SopSettings : public SettingsGroup {
  public:
    // A scan's interval and window, in slots of 0.625 ms, while the scan is on.
    static constexpr int32_t kScanMin = 18;
    static constexpr int32_t kScanMax = 4096;
    // Transmit power, in dBm.
    static constexpr int32_t kPowerMin = -90;
    static constexpr int32_t kPowerMax = 20;

    // The numeric edits of the page, by their controls.
    enum class Edit {
        InqScanInt,
        InqScanWind,
        PageScanInt,
        PageScanWind,
        MaxTxPower,
        DefaultTxPower
    };
    static constexpr Edit kEdits[] = {Edit::InqScanInt,   Edit::InqScanWind, Edit::PageScanInt,
                                      Edit::PageScanWind, Edit::MaxTxPower,  Edit::DefaultTxPower};

    SopSettings();

    // Set by the main window from the General read's firmware3: the module has
    // this group, and the file gets its section.
    uint8_t available = 0;

    uint8_t inquiryScanEnabled = 0;
    uint8_t pageScanEnabled = 0;
    // Kept while a scan is off, so switching it on again shows them.
    int32_t inquiryScanWindow = 18;
    int32_t inquiryScanInterval = 2048;
    int32_t pageScanWindow = 18;
    int32_t pageScanInterval = 2048;
    int32_t maxTxPowerValue = 0;
    int32_t defaultTxPowerValue = 0;

    // What each edit of the page holds; Validate looks at these for emptiness
    // and, for the powers, for a text that is no number.
    EditText inqScanIntEdit = EditText::Empty;
    EditText inqScanWindEdit = EditText::Empty;
    EditText pageScanIntEdit = EditText::Empty;
    EditText pageScanWindEdit = EditText::Empty;
    EditText maxTxPowerEdit = EditText::Number;
    EditText defaultTxPowerEdit = EditText::Number;

    EditText& State(Edit edit);
    // The text the edit shows for the held values: the value in decimal, or
    // nothing for the interval and window of a scan that is off.
    std::string Shown(Edit edit) const;
    // Sets every edit's state to what Shown gives it (Empty where that is empty).
    void EditsAsShown();
    // A person typed text into the edit: its state, and its value where it takes
    // one (a scan's only while that scan is on; 0 for a text that is no
    // integer). Sets the changed flag.
    void Edited(Edit edit, const std::string& text);

    int Validate(Failure& failure) const override;
    int ReadFromDevice(Failure& failure) override;
    int WriteToDevice(Failure& failure) override;
    void SaveToFile(std::ostream& out) const override;
    int LoadFromFile(const std::string& file, TakenLines* taken) override;
};
