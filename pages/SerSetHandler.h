// SPDX-License-Identifier: Apache-2.0
// The Serial port page: shows the Serial port group's values and takes the
// person's choices into it; the user-defined speed shows with the advanced
// settings on modules that have it.
#pragma once

#include "SerSettings.h"
#include "SettingsPage.h"

class SerialPage;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;

class SerSetHandler : public SettingsPage {
    Q_OBJECT
  public:
    static const char* const kUserDefinedItem; // "User defined"

    SerSetHandler(SerSettings& group, SerialPage* page);

    SerSettings& group;
    // The person chose to show the advanced settings.
    uint8_t advancedShown = 0;
    // Position of the "User defined" item in the speed list, -1 when not there.
    int userDefinedItem = -1;

    // Controls, in the order the page hands them over.
    QComboBox* BaudrateBox = nullptr; // help context 32
    QComboBox* ParityBox = nullptr;   // 33
    QComboBox* dataBitsBox = nullptr; // 34, disabled
    QComboBox* stopBitsBox = nullptr; // 35
    QComboBox* flowBox = nullptr;     // 36
    QGroupBox* groupUserDefinedBaud = nullptr;
    QCheckBox* udbEnabled = nullptr; // 37
    QLineEdit* baudvalue = nullptr;  // 37
    QLabel* udbLabel1 = nullptr;
    QLabel* udbLabel2 = nullptr;
    QLabel* udbLabel3 = nullptr;
    QLabel* ubdLabel4 = nullptr;
    QLabel* baudCap = nullptr;

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    void AdvancedSwitched(bool shown) override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);


  private:
    // The speeds of the module read last, "User defined" last when it is on.
    void RebuildSpeedList();
    void ShowCalculatedSpeed();
    int32_t TypedValue() const;
};
