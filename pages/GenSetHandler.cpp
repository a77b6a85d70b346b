// SPDX-License-Identifier: Apache-2.0
#include "GenSetHandler.h"

#include "GeneralPage.h"

#include <QLabel>
#include <QLineEdit>

using TextEdit::FromBytes;

GenSetHandler::GenSetHandler(GenSettings& group, GeneralPage* page)
    : SettingsPage(page), group(group) {
    prodID = page->prodID;
    hwVer = page->hwVer;
    swVer = page->swVer;
    artNum = page->artNum;
    btAddr = page->btAddr;
    genDeviceName = page->genDeviceName;
    genServName = page->genServName;
    // The module's identity can be selected and copied, with the keyboard too.
    for (QLabel* value : {prodID, hwVer, swVer, artNum, btAddr}) {
        value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        value->setFocusPolicy(Qt::TabFocus);
    }
    for (QLineEdit* edit : {genDeviceName, genServName}) {
        TextEdit::AcceptOnlyLatin1(edit);
        // Only what a person types reaches the group, never a refresh.
        connect(edit, &QLineEdit::textEdited, this, [this, edit] { ControlChanged(edit); });
    }
}

void GenSetHandler::UpdateControls() {
    prodID->setText(FromBytes(group.productId));
    hwVer->setText(FromBytes(group.hardwareVersion));
    swVer->setText(FromBytes(group.softwareVersion));
    artNum->setText(FromBytes(group.articleNumber));
    btAddr->setText(FromBytes(group.bluetoothAddress));
    // The article number exists from software 3.0 on; once shown it stays enabled.
    if (group.firmware3) artNum->setEnabled(true);
    TextEdit::ShowWhole(genDeviceName, FromBytes(group.deviceName),
                        int(GenSettings::kDeviceNameMax));
    TextEdit::ShowWhole(genServName, FromBytes(group.serviceName),
                        int(GenSettings::kServiceNameMax));
}

void GenSetHandler::ControlChanged(QObject* control) {
    if (control == genDeviceName) {
        TextEdit::Edited(genDeviceName, int(GenSettings::kDeviceNameMax));
        group.deviceName = TextEdit::ToBytes(genDeviceName->text());
    } else if (control == genServName) {
        TextEdit::Edited(genServName, int(GenSettings::kServiceNameMax));
        group.serviceName = TextEdit::ToBytes(genServName->text());
    } else {
        return;
    }
    group.changed = 1;
}
