// SPDX-License-Identifier: Apache-2.0
#include "SerSetHandler.h"

#include "KeyFilter.h"
#include "SerialPage.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>

namespace {

// Digits the value edit holds at most.
constexpr int kValueDigits = 4;

// Selects the item (none when index is outside the list).
void Select(QComboBox* box, int index) {
    box->setCurrentIndex(index >= 0 && index < box->count() ? index : -1);
}

} // namespace

const char* const SerSetHandler::kUserDefinedItem = "User defined";

SerSetHandler::SerSetHandler(SerSettings& group, SerialPage* page)
    : SettingsPage(page), group(group) {
    BaudrateBox = page->BaudrateBox;
    ParityBox = page->ParityBox;
    dataBitsBox = page->dataBitsBox;
    stopBitsBox = page->stopBitsBox;
    flowBox = page->flowBox;
    groupUserDefinedBaud = page->groupUserDefinedBaud;
    udbEnabled = page->udbEnabled;
    baudvalue = page->baudvalue;
    udbLabel1 = page->udbLabel1;
    udbLabel2 = page->udbLabel2;
    udbLabel3 = page->udbLabel3;
    ubdLabel4 = page->ubdLabel4;
    baudCap = page->baudCap;

    // Only a person's choices reach the group, never a refresh.
    for (QComboBox* box : {BaudrateBox, ParityBox, dataBitsBox, stopBitsBox, flowBox})
        connect(box, &QComboBox::activated, this, [this, box] { ControlChanged(box); });
    connect(udbEnabled, &QCheckBox::clicked, this, [this] { ControlChanged(udbEnabled); });
    connect(baudvalue, &QLineEdit::textEdited, this, [this] { ControlChanged(baudvalue); });
    // Digits only; a digit beyond the fourth beeps.
    KeyFilter::Install(baudvalue, {KeyRule::Digits, kValueDigits});
}

void SerSetHandler::AdvancedSwitched(bool shown) {
    advancedShown = shown ? 1 : 0;
    UpdateControls();
}

void SerSetHandler::RebuildSpeedList() {
    QStringList speeds;
    for (int index = 1; index <= group.SpeedsOffered(); ++index)
        speeds << QString::number(SerSettings::Speed(index));
    if (group.userDefinedEnabled) speeds << QString::fromLatin1(kUserDefinedItem);
    QStringList shown;
    for (int i = 0; i < BaudrateBox->count(); ++i)
        shown << BaudrateBox->itemText(i);
    if (shown != speeds) {
        BaudrateBox->clear();
        BaudrateBox->addItems(speeds);
    }
    userDefinedItem = group.userDefinedEnabled ? int(speeds.size()) - 1 : -1;
}

void SerSetHandler::ShowCalculatedSpeed() {
    baudCap->setText(
        group.userDefinedValue != 0
            ? QString::asprintf("%10.2f", SerSettings::UserDefinedSpeed(group.userDefinedValue))
            : QStringLiteral("N/A"));
}

void SerSetHandler::UpdateControls() {
    groupUserDefinedBaud->setVisible(group.userDefinedSupported && advancedShown);

    ShowCalculatedSpeed();
    if (group.userDefinedValue != 0) baudvalue->setText(QString::number(group.userDefinedValue));

    const bool enabled = group.userDefinedEnabled != 0;
    udbEnabled->setChecked(enabled);
    for (QWidget* w : {(QWidget*)udbLabel1, (QWidget*)udbLabel2, (QWidget*)udbLabel3,
                       (QWidget*)ubdLabel4, (QWidget*)baudCap})
        w->setEnabled(enabled);

    RebuildSpeedList();
    if (enabled)
        Select(BaudrateBox, userDefinedItem);
    else
        Select(BaudrateBox,
               BaudrateBox->findText(QString::number(SerSettings::Speed(group.speedIndex))));

    Select(ParityBox, group.parity);
    Select(dataBitsBox, group.dataBits - 5);
    Select(stopBitsBox, group.stopBits - 1);
    Select(flowBox, group.flowControl);
}

int32_t SerSetHandler::TypedValue() const {
    bool ok = false;
    const int value = baudvalue->text().toInt(&ok);
    return ok ? value : 0;
}

void SerSetHandler::ControlChanged(QObject* control) {
    if (control == udbEnabled) {
        group.userDefinedEnabled = udbEnabled->isChecked() ? 1 : 0;
        group.userDefinedValue = TypedValue();
        group.changed = 1;
        UpdateControls();
        return;
    }
    if (control == baudvalue) {
        // The calculated speed follows at the next refresh, not every key.
        group.userDefinedValue = TypedValue();
    } else if (control == BaudrateBox) {
        const int index = BaudrateBox->currentIndex();
        if (index < 0) return;
        if (index == userDefinedItem) {
            group.changed = 1;
            return;
        }
        // Items map to their speed by their text.
        group.speedIndex = SerSettings::IndexOfSpeed(BaudrateBox->itemText(index).toLong());
        const bool wasUserDefined = group.userDefinedEnabled != 0;
        group.userDefinedEnabled = 0;
        group.changed = 1;
        if (wasUserDefined) UpdateControls(); // the "User defined" item and tick go
        return;
    } else if (control == ParityBox) {
        group.parity = ParityBox->currentIndex();
    } else if (control == dataBitsBox) {
        group.dataBits = dataBitsBox->currentIndex() + 5;
    } else if (control == stopBitsBox) {
        group.stopBits = stopBitsBox->currentIndex() + 1;
    } else if (control == flowBox) {
        group.flowControl = flowBox->currentIndex();
    } else {
        return;
    }
    group.changed = 1;
}
