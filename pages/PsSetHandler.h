// SPDX-License-Identifier: Apache-2.0
// The Power save page: shows the Power save group's sniff and park values and
// takes the person's edits into it.
#pragma once

#include "PsSettings.h"
#include "SettingsPage.h"

class PowerSavePage;
class QCheckBox;
class QLabel;
class QLineEdit;

class PsSetHandler : public SettingsPage {
    Q_OBJECT
  public:
    PsSetHandler(PsSettings& group, PowerSavePage* page);

    PsSettings& group;

    // Controls, in the order the page hands them over.
    QCheckBox* sniffModeEnabled = nullptr; // help context 82
    QLabel* sniffLabel1 = nullptr;         // "Max interval (1-65535):"
    QLabel* sniffLabel2 = nullptr;         // "Min interval (1-65535):"
    QLabel* sniffLabel3 = nullptr;         // "Attempt (1-32767):"
    QLabel* sniffLabel4 = nullptr;         // "Timeout (0-32767):"
    QLabel* sniffLabel5 = nullptr;         // "Time = value * 0.625ms"
    QLabel* sniffLabel6 = nullptr;         // "Time = (2*value-1) * 0.625ms"
    QLineEdit* sniffMaxInt = nullptr;      // 82
    QLineEdit* sniffMinInt = nullptr;      // 82
    QLineEdit* sniffAttempt = nullptr;     // 82
    QLineEdit* sniffTimeout = nullptr;     // 82
    QCheckBox* parkModeEnabled = nullptr;  // 83
    QLabel* parkModeLabel1 = nullptr;      // "Beacon max interval (1-65535):"
    QLabel* parkModeLabel2 = nullptr;      // "Beacon min interval (1-65535):"
    QLabel* parkModeLabel3 = nullptr;      // "Time = value * 0.625ms"
    QLineEdit* parkBeaMax = nullptr;       // 83
    QLineEdit* parkBeaMin = nullptr;       // 83

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);

};
