// SPDX-License-Identifier: Apache-2.0
#include "PsSetHandler.h"

#include "KeyFilter.h"
#include "PowerSavePage.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>

namespace {

// The characters an edit takes by typing.
constexpr int kEditChars = 5;

void Show(QLineEdit* edit, bool shown, int32_t value) {
    edit->setText(shown ? QString::number(value) : QString());
}

} // namespace

PsSetHandler::PsSetHandler(PsSettings& group, PowerSavePage* page)
    : SettingsPage(page), group(group) {
    sniffModeEnabled = page->sniffModeEnabled;
    sniffLabel1 = page->sniffLabel1;
    sniffLabel2 = page->sniffLabel2;
    sniffLabel3 = page->sniffLabel3;
    sniffLabel4 = page->sniffLabel4;
    sniffLabel5 = page->sniffLabel5;
    sniffLabel6 = page->sniffLabel6;
    sniffMaxInt = page->sniffMaxInt;
    sniffMinInt = page->sniffMinInt;
    sniffAttempt = page->sniffAttempt;
    sniffTimeout = page->sniffTimeout;
    parkModeEnabled = page->parkModeEnabled;
    parkModeLabel1 = page->parkModeLabel1;
    parkModeLabel2 = page->parkModeLabel2;
    parkModeLabel3 = page->parkModeLabel3;
    parkBeaMax = page->parkBeaMax;
    parkBeaMin = page->parkBeaMin;

    // Only a person's actions reach the group, never a refresh.
    for (QCheckBox* box : {sniffModeEnabled, parkModeEnabled})
        connect(box, &QCheckBox::clicked, this, [this, box] { ControlChanged(box); });
    for (QLineEdit* edit :
         {sniffMaxInt, sniffMinInt, sniffAttempt, sniffTimeout, parkBeaMax, parkBeaMin}) {
        connect(edit, &QLineEdit::textEdited, this, [this, edit] { ControlChanged(edit); });
        // Digits and "-", five characters; a full edit beeps at any character.
        KeyFilter::Install(edit, {KeyRule::DigitsAndMinus, kEditChars, false, true});
    }
    UpdateControls();
}

void PsSetHandler::UpdateControls() {
    const bool park = group.ParkShown();
    Show(parkBeaMax, park, group.beaconMaxInterval);
    Show(parkBeaMin, park, group.beaconMinInterval);
    const bool sniff = group.SniffShown();
    Show(sniffAttempt, sniff, group.sniffAttempt);
    Show(sniffTimeout, sniff, group.sniffTimeout);
    Show(sniffMaxInt, sniff, group.sniffMaxInterval);
    Show(sniffMinInt, sniff, group.sniffMinInterval);
    // The edits now hold what the group's rule says they show.
    group.EditsAsShown();

    const bool sniffOn = group.sniffEnabled != 0;
    sniffModeEnabled->setChecked(sniffOn);
    for (QWidget* w : {(QWidget*)sniffLabel1, (QWidget*)sniffLabel2, (QWidget*)sniffLabel3,
                       (QWidget*)sniffLabel4, (QWidget*)sniffLabel5, (QWidget*)sniffLabel6,
                       (QWidget*)sniffMaxInt, (QWidget*)sniffMinInt, (QWidget*)sniffAttempt,
                       (QWidget*)sniffTimeout})
        w->setEnabled(sniffOn);

    const bool parkOn = group.parkEnabled != 0;
    parkModeEnabled->setChecked(parkOn);
    for (QWidget* w : {(QWidget*)parkModeLabel1, (QWidget*)parkModeLabel2, (QWidget*)parkModeLabel3,
                       (QWidget*)parkBeaMax, (QWidget*)parkBeaMin})
        w->setEnabled(parkOn);
}

void PsSetHandler::ControlChanged(QObject* control) {
    if (control == sniffModeEnabled || control == parkModeEnabled) {
        group.changed = 1;
        if (control == sniffModeEnabled)
            group.sniffEnabled = sniffModeEnabled->isChecked() ? 1 : 0;
        else
            group.parkEnabled = parkModeEnabled->isChecked() ? 1 : 0;
        // A mode switched on again shows the values it kept.
        UpdateControls();
        return;
    }

    const struct {
        QLineEdit* edit;
        EditText& text;
        int32_t& value;
        uint8_t modeEnabled;
    } edits[] = {
        {sniffMaxInt, group.sniffMaxIntEdit, group.sniffMaxInterval, group.sniffEnabled},
        {sniffMinInt, group.sniffMinIntEdit, group.sniffMinInterval, group.sniffEnabled},
        {sniffAttempt, group.sniffAttemptEdit, group.sniffAttempt, group.sniffEnabled},
        {sniffTimeout, group.sniffTimeoutEdit, group.sniffTimeout, group.sniffEnabled},
        {parkBeaMax, group.parkBeaMaxEdit, group.beaconMaxInterval, group.parkEnabled},
        {parkBeaMin, group.parkBeaMinEdit, group.beaconMinInterval, group.parkEnabled},
    };
    for (const auto& e : edits) {
        if (control != e.edit) continue;
        group.changed = 1;
        bool ok = false;
        const int value = e.edit->text().toInt(&ok);
        e.text = e.edit->text().isEmpty() ? EditText::Empty
                 : ok                     ? EditText::Number
                                          : EditText::NotANumber;
        // A text that is not a number counts as 0; a mode that is off keeps its values.
        if (e.modeEnabled) e.value = ok ? value : 0;
        return;
    }
}
