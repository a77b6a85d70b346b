// SPDX-License-Identifier: Apache-2.0
#include "SopSetHandler.h"

#include "KeyFilter.h"
#include "ScanPowerPage.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>

namespace {

// Characters a scan edit holds at most, and a power edit.
constexpr int kScanCharacters = 4;
constexpr int kPowerCharacters = 3;

void Enable(std::initializer_list<QWidget*> widgets, bool enabled) {
    for (QWidget* w : widgets)
        w->setEnabled(enabled);
}

} // namespace

SopSetHandler::SopSetHandler(SopSettings& group, ScanPowerPage* page)
    : SettingsPage(page), group(group) {
    inqScanEnabled = page->inqScanEnabled;
    inqScanLabel1 = page->inqScanLabel1;
    inqScanLabel2 = page->inqScanLabel2;
    inqScanLabel3 = page->inqScanLabel3;
    inqScanInt = page->inqScanInt;
    inqScanWind = page->inqScanWind;
    pageScanBox = page->pageScanBox;
    pageScanLabel1 = page->pageScanLabel1;
    pageScanLabel2 = page->pageScanLabel2;
    pageScanLabel3 = page->pageScanLabel3;
    pageScanInt = page->pageScanInt;
    pageScanWind = page->pageScanWind;
    maxTxPower = page->maxTxPower;
    defaultTxPowerText = page->defaultTxPowerText;

    using Edit = SopSettings::Edit;
    edits = {{inqScanInt, Edit::InqScanInt},   {inqScanWind, Edit::InqScanWind},
             {pageScanInt, Edit::PageScanInt}, {pageScanWind, Edit::PageScanWind},
             {maxTxPower, Edit::MaxTxPower},   {defaultTxPowerText, Edit::DefaultTxPower}};

    // Only a person's actions reach the group, never a refresh.
    for (QCheckBox* box : {inqScanEnabled, pageScanBox})
        connect(box, &QCheckBox::clicked, this, [this, box] { ControlChanged(box); });
    for (const auto& entry : edits) {
        QLineEdit* const e = entry.first;
        connect(e, &QLineEdit::textEdited, this, [this, e] { ControlChanged(e); });
        // Digits and "-"; a power edit takes "-" only first and holds "-90".
        const bool power = e == maxTxPower || e == defaultTxPowerText;
        KeyFilter::Install(e, {KeyRule::DigitsAndMinus, power ? kPowerCharacters : kScanCharacters,
                               power});
    }
    // The page shows what the group holds from the start, as the other pages do.
    UpdateControls();
}

void SopSetHandler::UpdateControls() {
    for (const auto& [edit, name] : edits)
        edit->setText(QString::fromStdString(group.Shown(name)));
    group.EditsAsShown();

    const bool inquiry = group.inquiryScanEnabled != 0;
    inqScanEnabled->setChecked(inquiry);
    Enable({inqScanLabel1, inqScanLabel2, inqScanLabel3, inqScanInt, inqScanWind}, inquiry);
    const bool pageScan = group.pageScanEnabled != 0;
    pageScanBox->setChecked(pageScan);
    Enable({pageScanLabel1, pageScanLabel2, pageScanLabel3, pageScanInt, pageScanWind}, pageScan);
    // The power edits are never disabled.
}

void SopSetHandler::ControlChanged(QObject* control) {
    if (control == inqScanEnabled || control == pageScanBox) {
        group.changed = 1;
        (control == inqScanEnabled ? group.inquiryScanEnabled : group.pageScanEnabled) =
            static_cast<QCheckBox*>(control)->isChecked() ? 1 : 0;
        UpdateControls();
        return;
    }
    for (const auto& [edit, name] : edits)
        if (control == edit) group.Edited(name, edit->text().toStdString());
}
