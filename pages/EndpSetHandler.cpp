// SPDX-License-Identifier: Apache-2.0
#include "EndpSetHandler.h"

#include "EndpointPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

EndpSetHandler::EndpSetHandler(ModuleSettings& settings, EndpointPage* page, QWidget* owner)
    : DeviceModePage(settings, page, owner), group(settings.endpoint) {
    endpointRadio = page->endpointRadio;
    secBox = page->secBox;
    groupEndpPasskey = page->groupEndpPasskey;
    pinCodeText = page->pinCodeText;
    reqEncCheck = page->reqEncCheck;
    groupEndpNoAuth = page->groupEndpNoAuth;
    allowAllAddrCheck = page->allowAllAddrCheck;
    ea = {page->ea1, page->ea2, page->ea3, page->ea4, page->ea5, page->ea6};
    eaCaption = page->eaCaption;
    endpFindButton = page->endpFindButton;
    groupEndpPaired = page->groupEndpPaired;
    endpPairDev = page->endpPairDev;
    endpPairButton = page->endpPairButton;
    pairReqEnc = page->pairReqEnc;

    // Only a person's actions reach the group, never a refresh.
    for (QAbstractButton* button :
         std::initializer_list<QAbstractButton*>{endpointRadio, reqEncCheck, allowAllAddrCheck,
                                                 endpFindButton, endpPairButton, pairReqEnc})
        connect(button, &QAbstractButton::clicked, this,
                [this, button] { ControlChanged(button); });
    connect(secBox, &QComboBox::activated, this, [this] { ControlChanged(secBox); });
    connect(pinCodeText, &QLineEdit::textEdited, this, [this] { ControlChanged(pinCodeText); });
    TextEdit::AcceptOnlyLatin1(pinCodeText);
    for (QLineEdit* edit : ea) {
        AddressEdit::Setup(edit);
        connect(edit, &QLineEdit::textEdited, this, [this, edit] { ControlChanged(edit); });
    }
}

void EndpSetHandler::UpdateControls() {
    endpointRadio->setChecked(group.endpointMode != 0);
    const int item = group.securityMode - 1;
    secBox->setCurrentIndex(item >= 0 && item < secBox->count() ? item : -1);

    allowAllAddrCheck->setChecked(group.allowAll != 0);
    AddressEdit::Show(ea, group.acceptAddress);
    for (size_t i = 0; i < ea.size(); ++i)
        if (group.acceptEditEmpty[i]) ea[i]->clear();
    TextEdit::ShowWhole(pinCodeText, TextEdit::FromBytes(group.pinCode), EndpSettings::kPinCodeMax);
    reqEncCheck->setChecked(group.requireEncryption != 0);
    pairReqEnc->setChecked(group.requireEncryption != 0);
    endpPairDev->setText(AddressEdit::PairedText(group.pairedAddress));

    // A group box takes input only when the module waits for connections and
    // the box's security mode is the chosen one; the accept address only when
    // not every device is accepted.
    const bool endpoint = group.endpointMode != 0;
    groupEndpNoAuth->setEnabled(endpoint && group.securityMode == 1);
    groupEndpPasskey->setEnabled(endpoint && group.securityMode == 2);
    groupEndpPaired->setEnabled(endpoint && group.securityMode == 3);
    const bool oneAddress = group.allowAll == 0;
    for (QLineEdit* edit : ea)
        edit->setEnabled(oneAddress);
    eaCaption->setEnabled(oneAddress);
    endpFindButton->setEnabled(oneAddress);
}

void EndpSetHandler::ControlChanged(QObject* control) {
    if (control == endpointRadio) {
        ChooseMode(true);
        return;
    }
    if (control == endpPairButton) {
        PairDevice();
        return;
    }
    if (control == endpFindButton) {
        if (!FindDevice(group.acceptAddress)) return;
        group.acceptEditEmpty = {};
    } else if (control == secBox) {
        group.securityMode = secBox->currentIndex() + 1;
    } else if (control == allowAllAddrCheck) {
        group.allowAll = allowAllAddrCheck->isChecked() ? 1 : 0;
    } else if (control == reqEncCheck || control == pairReqEnc) {
        group.requireEncryption = static_cast<QCheckBox*>(control)->isChecked() ? 1 : 0;
    } else if (control == pinCodeText) {
        group.pinCode = TextEdit::ToBytes(pinCodeText->text());
        TextEdit::Edited(pinCodeText, EndpSettings::kPinCodeMax);
        group.changed = 1;
        return;
    } else {
        for (size_t i = 0; i < ea.size(); ++i) {
            if (control != ea[i]) continue;
            group.acceptAddress[i] = AddressEdit::ByteOf(ea[i]);
            group.acceptEditEmpty[i] = ea[i]->text().isEmpty();
            group.changed = 1;
            return;
        }
        return;
    }
    group.changed = 1;
    UpdateControls();
}
