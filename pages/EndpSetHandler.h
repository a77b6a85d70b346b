// SPDX-License-Identifier: Apache-2.0
// The Endpoint page: whom the module accepts connections from, and with what
// security, when it waits for connections; the device mode it shares with the
// Connecting page.
#pragma once

#include "DeviceModePage.h"
#include "EndpSettings.h"

class EndpointPage;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

class EndpSetHandler : public DeviceModePage {
    Q_OBJECT
  public:
    EndpSetHandler(ModuleSettings& settings, EndpointPage* page, QWidget* owner);

    EndpSettings& group;

    // Controls, in the order the page hands them over.
    QRadioButton* endpointRadio = nullptr;
    QComboBox* secBox = nullptr; // item n is security mode n + 1
    QGroupBox* groupEndpPasskey = nullptr;
    QLineEdit* pinCodeText = nullptr; // 16 characters
    QCheckBox* reqEncCheck = nullptr;
    QGroupBox* groupEndpNoAuth = nullptr;
    QCheckBox* allowAllAddrCheck = nullptr;
    AddressEdit::Edits ea{}; // ea1 to ea6
    QLabel* eaCaption = nullptr;
    QPushButton* endpFindButton = nullptr;
    QGroupBox* groupEndpPaired = nullptr;
    QLineEdit* endpPairDev = nullptr;
    QPushButton* endpPairButton = nullptr;
    QCheckBox* pairReqEnc = nullptr; // shows the same flag as reqEncCheck

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);
};
