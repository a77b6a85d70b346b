// SPDX-License-Identifier: Apache-2.0
#include "OtherSetHandler.h"

#include "ClassOfDevice.h"
#include "KeyFilter.h"
#include "OtherPage.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>

#include <algorithm>

namespace {

// Selects the item (none when index is outside the list).
void Select(QComboBox* box, int index) {
    box->setCurrentIndex(index >= 0 && index < box->count() ? index : -1);
}

// Gives the box these items, unless it has them already.
void Items(QComboBox* box, const std::vector<std::string>& items) {
    QStringList wanted;
    for (const std::string& item : items)
        wanted << QString::fromStdString(item);
    QStringList shown;
    for (int i = 0; i < box->count(); ++i)
        shown << box->itemText(i);
    if (shown == wanted) return;
    box->clear();
    box->addItems(wanted);
}

QString ClassText(uint32_t cod) {
    return QString::asprintf("%08x", unsigned(cod));
}

} // namespace

OtherSetHandler::OtherSetHandler(OtherSettings& group, OtherPage* page)
    : SettingsPage(page), group(group) {
    optTp = page->optTp;
    optLa = page->optLa;
    codMajorService = page->codMajorService;
    codMajorDev = page->codMajorDev;
    codMinorDev = page->codMinorDev;
    codValueBox = page->codValueBox;
    checkManCod = page->checkManCod;
    codMajorServiceLabel = page->codMajorServiceLabel;
    codMajorDevLabel = page->codMajorDevLabel;
    codMinorDevLabel = page->codMinorDevLabel;
    codValueLabel = page->codValueLabel;
    emuSerEnabled = page->emuSerEnabled;
    emuSerChoose = page->emuSerChoose;
    emuSerLabel = page->emuSerLabel;
    lstBar = page->lstBar;
    lstValue = page->lstValue;
    linkTimeoutEnabled = page->linkTimeoutEnabled;
    comboQoS = page->comboQoS;
    textQoSLatency = page->textQoSLatency;
    labelQoSMode = page->labelQoSMode;
    labelQosLatency = page->labelQosLatency;

    // Only a person's actions reach the group, never a refresh.
    for (QAbstractButton* button : std::initializer_list<QAbstractButton*>{
             optTp, optLa, checkManCod, emuSerEnabled, linkTimeoutEnabled})
        connect(button, &QAbstractButton::clicked, this,
                [this, button] { ControlChanged(button); });
    for (QComboBox* box : {codMajorService, codMajorDev, codMinorDev, emuSerChoose, comboQoS})
        connect(box, &QComboBox::activated, this, [this, box] { ControlChanged(box); });
    for (QLineEdit* edit : {codValueBox, textQoSLatency})
        connect(edit, &QLineEdit::textEdited, this, [this, edit] { ControlChanged(edit); });
    // The latency takes seven digits (typing over a selection replaces it), the
    // class eight hexadecimal digits.
    KeyFilter::Install(textQoSLatency, {KeyRule::Digits, kLatencyDigits, false, false, true});
    KeyFilter::Install(codValueBox, {KeyRule::Hex, 8, false, false, true});
    connect(lstBar, &QSlider::sliderMoved, this, [this] { ControlChanged(lstBar); });
    connect(lstBar, &QSlider::actionTriggered, this, [this] { ControlChanged(lstBar); });

    UpdateControls();
}

void OtherSetHandler::ShowClass(bool valueEdit) {
    const uint32_t cod = group.classOfDevice;
    // The value edit keeps its text while it already says the value (the
    // form's "00001F00" among them).
    if (valueEdit && codValueBox->text().compare(ClassText(cod), Qt::CaseInsensitive) != 0)
        codValueBox->setText(ClassText(cod));
    Select(codMajorService, ClassOfDevice::ServiceItem(cod));
    Select(codMajorDev, ClassOfDevice::MajorItem(cod));
    Items(codMinorDev, ClassOfDevice::MinorItems(ClassOfDevice::MajorNumber(cod)));
    Select(codMinorDev, ClassOfDevice::MinorItem(cod));
}

void OtherSetHandler::UpdateControls() {
    optTp->setChecked(group.throughputOptimised != 0);
    optLa->setChecked(group.throughputOptimised == 0);

    // After a read or a load the value shows as the module's own digits.
    codValueBox->setText(ClassText(group.classOfDevice));
    ShowClass(false);
    const bool manual = group.manualClassOfDevice != 0;
    checkManCod->setChecked(manual);
    for (QWidget* w : std::initializer_list<QWidget*>{codValueBox, codValueLabel})
        w->setEnabled(manual);
    for (QWidget* w :
         std::initializer_list<QWidget*>{codMajorService, codMajorDev, codMinorDev,
                                         codMajorServiceLabel, codMajorDevLabel, codMinorDevLabel})
        w->setEnabled(!manual);

    emuSerEnabled->setEnabled(group.emulationSupported != 0);
    emuSerEnabled->setChecked(group.emulationEnabled != 0);
    Select(emuSerChoose, group.emulationType - 1);
    for (QWidget* w : std::initializer_list<QWidget*>{emuSerChoose, emuSerLabel})
        w->setEnabled(group.emulationSupported && group.emulationEnabled);

    const int seconds = OtherSettings::LinkTimeoutSeconds(group.linkTimeout);
    linkTimeoutEnabled->setChecked(group.linkTimeoutEnabled != 0);
    lstBar->setValue(std::clamp(seconds, lstBar->minimum(), lstBar->maximum()));
    lstValue->setText(QString::asprintf("%d sec", seconds));
    for (QWidget* w : std::initializer_list<QWidget*>{lstBar, lstValue})
        w->setEnabled(group.linkTimeoutEnabled != 0);

    Select(comboQoS, group.qosMode);
    // The latency edit shows what the group's rule says: the held number, or
    // nothing; a text the person typed that is not a number stays.
    if (group.latencyEdit == EditText::Empty) {
        textQoSLatency->clear();
    } else if (group.latencyEdit == EditText::Number) {
        bool ok = false;
        const int shown = textQoSLatency->text().toInt(&ok);
        if (!ok || shown != group.qosLatency)
            textQoSLatency->setText(QString::number(group.qosLatency));
    }
    for (QWidget* w :
         std::initializer_list<QWidget*>{comboQoS, textQoSLatency, labelQoSMode, labelQosLatency})
        w->setEnabled(group.qosSupported != 0);
}

void OtherSetHandler::ControlChanged(QObject* control) {
    OtherSettings& g = group;
    if (control == lstBar) {
        // The time-out is at least one second.
        const int seconds = std::max(lstBar->sliderPosition(), 1);
        g.linkTimeout = seconds * OtherSettings::kSlotsPerSecond;
        g.changed = 1;
        UpdateControls();
    } else if (control == linkTimeoutEnabled) {
        g.linkTimeoutEnabled = linkTimeoutEnabled->isChecked() ? 1 : 0;
        // A time-out given up by a write comes back as one second.
        if (g.linkTimeoutEnabled && g.linkTimeout == 0)
            g.linkTimeout = OtherSettings::kSlotsPerSecond;
        g.changed = 1;
        UpdateControls();
    } else if (control == optTp || control == optLa) {
        g.throughputOptimised = control == optTp ? 1 : 0;
        g.changed = 1;
    } else if (control == emuSerEnabled) {
        g.emulationEnabled = emuSerEnabled->isChecked() ? 1 : 0;
        // Switched on without a type: the one chosen, DTE when none is, so the
        // file and the module agree.
        if (g.emulationEnabled && g.emulationType == 0)
            g.emulationType = emuSerChoose->currentIndex() == 1 ? 2 : 1;
        g.changed = 1;
        UpdateControls();
    } else if (control == emuSerChoose) {
        if (emuSerChoose->currentIndex() < 0) return;
        g.emulationType = emuSerChoose->currentIndex() + 1;
        g.changed = 1;
    } else if (control == comboQoS) {
        if (comboQoS->currentIndex() < 0) return;
        g.qosMode = comboQoS->currentIndex();
        g.changed = 1;
        UpdateControls();
    } else if (control == textQoSLatency) {
        const QString text = textQoSLatency->text();
        bool ok = false;
        const int latency = text.toInt(&ok);
        g.latencyEdit = text.isEmpty() ? EditText::Empty
                        : ok           ? EditText::Number
                                       : EditText::NotANumber;
        if (ok) g.qosLatency = latency;
        g.changed = 1;
    } else if (control == checkManCod) {
        g.manualClassOfDevice = checkManCod->isChecked() ? 1 : 0;
        g.changed = 1;
        UpdateControls();
    } else if (control == codValueBox) {
        // An empty edit is the class 0.
        g.classOfDevice = codValueBox->text().toUInt(nullptr, 16) & ClassOfDevice::kMask;
        g.changed = 1;
        ShowClass(false);
    } else if (control == codMajorService || control == codMajorDev || control == codMinorDev) {
        const int item = static_cast<QComboBox*>(control)->currentIndex();
        if (item < 0) return;
        if (control == codMajorService)
            g.classOfDevice = ClassOfDevice::WithService(g.classOfDevice, item);
        else if (control == codMajorDev)
            g.classOfDevice = ClassOfDevice::WithMajor(g.classOfDevice, item);
        else
            g.classOfDevice = ClassOfDevice::WithMinor(g.classOfDevice, item);
        g.changed = 1;
        ShowClass(true);
    }
}
