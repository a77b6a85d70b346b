// SPDX-License-Identifier: Apache-2.0
#include "ConSetHandler.h"

#include "ConnectingPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

ConSetHandler::ConSetHandler(ModuleSettings& settings, ConnectingPage* page, QWidget* owner)
    : DeviceModePage(settings, page, owner), group(settings.connecting) {
    connectingRadio = page->connectingRadio;
    conSecBox = page->conSecBox;
    groupConToPaired = page->groupConToPaired;
    conPairCaption = page->conPairCaption;
    conPairDev = page->conPairDev;
    conPairDevButton = page->conPairDevButton;
    conReqEncCheck = page->conReqEncCheck;
    groupConNoAuth = page->groupConNoAuth;
    caCaption = page->caCaption;
    ca = {page->ca1, page->ca2, page->ca3, page->ca4, page->ca5, page->ca6};
    conFindDeviceButton = page->conFindDeviceButton;

    // Only a person's actions reach the group, never a refresh.
    for (QAbstractButton* button : std::initializer_list<QAbstractButton*>{
             connectingRadio, conPairDevButton, conReqEncCheck, conFindDeviceButton})
        connect(button, &QAbstractButton::clicked, this,
                [this, button] { ControlChanged(button); });
    connect(conSecBox, &QComboBox::activated, this, [this] { ControlChanged(conSecBox); });
    for (QLineEdit* edit : ca) {
        AddressEdit::Setup(edit);
        connect(edit, &QLineEdit::textEdited, this, [this, edit] { ControlChanged(edit); });
    }
}

void ConSetHandler::UpdateControls() {
    conSecBox->setCurrentIndex(group.securityMode == 1 ? 0 : 1);
    connectingRadio->setChecked(group.connectingMode != 0);

    // The address edits take input only for a connection without passkey, the
    // paired device's controls only for a connection to it, both only when the
    // module makes the connection.
    const bool connecting = group.connectingMode != 0;
    const bool noAuth = connecting && group.securityMode == 1;
    const bool paired = connecting && group.securityMode == 3;
    groupConNoAuth->setEnabled(true);
    groupConToPaired->setEnabled(true);
    for (QWidget* w :
         {static_cast<QWidget*>(caCaption), static_cast<QWidget*>(conFindDeviceButton)})
        w->setEnabled(noAuth);
    for (QLineEdit* edit : ca)
        edit->setEnabled(noAuth);
    for (QWidget* w :
         {static_cast<QWidget*>(conPairCaption), static_cast<QWidget*>(conPairDevButton),
          static_cast<QWidget*>(conReqEncCheck)})
        w->setEnabled(paired);

    AddressEdit::Show(ca, group.connectAddress);
    for (size_t i = 0; i < ca.size(); ++i)
        if (group.connectEditEmpty[i]) ca[i]->clear();
    conPairDev->setText(AddressEdit::PairedText(group.pairedAddress));
    conReqEncCheck->setChecked(group.requireEncryption != 0);
}

void ConSetHandler::ControlChanged(QObject* control) {
    if (control == connectingRadio) {
        ChooseMode(false);
        return;
    }
    if (control == conPairDevButton) {
        PairDevice();
        return;
    }
    if (control == conFindDeviceButton) {
        if (!FindDevice(group.connectAddress)) return;
        group.connectEditEmpty = {};
    } else if (control == conSecBox) {
        group.securityMode = conSecBox->currentIndex() == 1 ? 3 : 1;
    } else if (control == conReqEncCheck) {
        group.requireEncryption = conReqEncCheck->isChecked() ? 1 : 0;
        group.changed = 1;
        return;
    } else {
        for (size_t i = 0; i < ca.size(); ++i) {
            if (control != ca[i]) continue;
            // An empty edit holds 0 (and the check refuses it).
            group.connectAddress[i] = AddressEdit::ByteOf(ca[i]);
            group.connectEditEmpty[i] = ca[i]->text().isEmpty();
            group.changed = 1;
            return;
        }
        return;
    }
    group.changed = 1;
    UpdateControls();
}
