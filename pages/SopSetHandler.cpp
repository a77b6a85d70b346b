#include "SopSetHandler.h"

#include "ScanPowerPage.h"

#include <QApplication>
#include <QCheckBox>
#include <QKeyEvent>
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
        e->installEventFilter(this);
    }
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

bool SopSetHandler::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return false;
    auto* edit = qobject_cast<QLineEdit*>(watched);
    if (edit == nullptr) return false;
    const QString text = static_cast<QKeyEvent*>(event)->text();
    // Keys that type nothing (arrows, Delete, Tab) are the edit's own.
    if (text.isEmpty()) return false;
    const QChar key = text.at(0);
    const bool backspace = key == QChar('\b');
    const bool digit = key >= QChar('0') && key <= QChar('9');
    if (!backspace && !digit && key != QChar('-')) return true;

    const bool power = edit == maxTxPower || edit == defaultTxPowerText;
    if (power && key == QChar('-') && !edit->text().isEmpty()) return true;
    if (!backspace && edit->text().size() >= (power ? kPowerCharacters : kScanCharacters)) {
        QApplication::beep();
        return true;
    }
    return false;
}
