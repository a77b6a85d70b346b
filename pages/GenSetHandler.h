// SPDX-License-Identifier: Apache-2.0
// The General page: shows the module's identity and names from the General
// group and takes the person's edits of the names into it.
#pragma once

#include "GenSettings.h"
#include "SettingsPage.h"

class GeneralPage;
class QLabel;
class QLineEdit;

class GenSetHandler : public SettingsPage {
    Q_OBJECT
  public:
    GenSetHandler(GenSettings& group, GeneralPage* page);

    GenSettings& group;

    // Controls, in the order the page hands them over.
    QLabel* prodID = nullptr;
    QLabel* hwVer = nullptr;
    QLabel* swVer = nullptr;
    QLabel* artNum = nullptr;
    QLabel* btAddr = nullptr;
    QLineEdit* genDeviceName = nullptr; // MaxLength 31, help context 22
    QLineEdit* genServName = nullptr;   // MaxLength 17, help context 23

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person edited one of the names.
    void ControlChanged(QObject* control);
};
