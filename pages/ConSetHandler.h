// SPDX-License-Identifier: Apache-2.0
// The Connecting page: whom the module calls when it makes the connection
// itself (a fixed address without passkey, or the device it is paired with);
// the device mode it shares with the Endpoint page.
#pragma once

#include "ConSettings.h"
#include "DeviceModePage.h"

class ConnectingPage;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

class ConSetHandler : public DeviceModePage {
    Q_OBJECT
  public:
    ConSetHandler(ModuleSettings& settings, ConnectingPage* page, QWidget* owner);

    ConSettings& group;

    // Controls, in the order the page hands them over.
    QRadioButton* connectingRadio = nullptr;
    QComboBox* conSecBox = nullptr; // help context 51
    QGroupBox* groupConToPaired = nullptr;
    QLabel* conPairCaption = nullptr;
    QLineEdit* conPairDev = nullptr;
    QPushButton* conPairDevButton = nullptr;
    QCheckBox* conReqEncCheck = nullptr; // 53
    QGroupBox* groupConNoAuth = nullptr;
    QLabel* caCaption = nullptr;
    AddressEdit::Edits ca{}; // ca1 to ca6, help context 52
    QPushButton* conFindDeviceButton = nullptr;

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);
};
