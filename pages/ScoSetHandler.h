// SPDX-License-Identifier: Apache-2.0
// The Audio settings page: shows the audio (SCO) group's values and takes the
// person's choices into it. The gain sliders run upside down: the slider's
// position is the maximum less the gain.
#pragma once

#include "ScoSettings.h"
#include "SettingsPage.h"

class AudioPage;
class QCheckBox;
class QComboBox;
class QLabel;
class QSlider;

class ScoSetHandler : public SettingsPage {
    Q_OBJECT
  public:
    ScoSetHandler(ScoSettings& group, AudioPage* page);

    ScoSettings& group;

    // Controls, in the order the page hands them over.
    QCheckBox* checkEnableSCO = nullptr;
    QLabel* labelSCOPacketType = nullptr;
    QComboBox* comboSCOPacketType = nullptr; // HV1, HV2, HV3, DV
    QSlider* trackInputGain = nullptr;
    QLabel* labelInputGainValue = nullptr; // "Input gain: %d"
    QLabel* labelInputGainMin = nullptr;   // "0"
    QLabel* labelInputGainMax = nullptr;   // the maximum
    QSlider* trackOutputGain = nullptr;
    QLabel* labelOutputGainValue = nullptr; // "Output gain: %d"
    QLabel* labelOutputGainMin = nullptr;
    QLabel* labelOutputGainMax = nullptr;

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);

  private:
    // One gain's slider and labels; "N/A" when the module has no control for it.
    static void ShowGain(QSlider* track, QLabel* value, QLabel* min, QLabel* max,
                         const char* caption, int32_t gain, int32_t maximum, bool enabled);
};
