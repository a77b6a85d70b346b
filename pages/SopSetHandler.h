// SPDX-License-Identifier: Apache-2.0
// The Scan and Output power page: shows the group's scan timing and transmit
// powers and takes the person's edits into it. A scan that is off shows empty,
// disabled edits; its values stay in the group for when it is switched on.
#pragma once

#include "SettingsPage.h"
#include "SopSettings.h"

#include <utility>
#include <vector>

class ScanPowerPage;
class QCheckBox;
class QLabel;
class QLineEdit;

class SopSetHandler : public SettingsPage {
    Q_OBJECT
  public:
    SopSetHandler(SopSettings& group, ScanPowerPage* page);

    SopSettings& group;

    // Controls, in the order the page hands them over.
    QCheckBox* inqScanEnabled = nullptr;
    QLabel* inqScanLabel1 = nullptr;
    QLabel* inqScanLabel2 = nullptr;
    QLabel* inqScanLabel3 = nullptr;
    QLineEdit* inqScanInt = nullptr;
    QLineEdit* inqScanWind = nullptr;
    QCheckBox* pageScanBox = nullptr;
    QLabel* pageScanLabel1 = nullptr;
    QLabel* pageScanLabel2 = nullptr;
    QLabel* pageScanLabel3 = nullptr;
    QLineEdit* pageScanInt = nullptr;
    QLineEdit* pageScanWind = nullptr;
    QLineEdit* maxTxPower = nullptr;
    QLineEdit* defaultTxPowerText = nullptr;

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);


  private:
    // Each edit with the group's name for it.
    std::vector<std::pair<QLineEdit*, SopSettings::Edit>> edits;
};
