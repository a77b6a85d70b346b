// SPDX-License-Identifier: Apache-2.0
#include "ScoSetHandler.h"

#include "AudioPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSlider>

ScoSetHandler::ScoSetHandler(ScoSettings& group, AudioPage* page)
    : SettingsPage(page), group(group) {
    checkEnableSCO = page->checkEnableSCO;
    labelSCOPacketType = page->labelSCOPacketType;
    comboSCOPacketType = page->comboSCOPacketType;
    trackInputGain = page->trackInputGain;
    labelInputGainValue = page->labelInputGainValue;
    labelInputGainMin = page->labelInputGainMin;
    labelInputGainMax = page->labelInputGainMax;
    trackOutputGain = page->trackOutputGain;
    labelOutputGainValue = page->labelOutputGainValue;
    labelOutputGainMin = page->labelOutputGainMin;
    labelOutputGainMax = page->labelOutputGainMax;

    // Only a person's choices reach the group, never a refresh. A slider reports
    // drags, keys, the wheel and clicks beside the handle through
    // actionTriggered (the handle has moved by then, its value not yet);
    // setValue from a refresh does not.
    connect(checkEnableSCO, &QCheckBox::clicked, this, [this] { ControlChanged(checkEnableSCO); });
    connect(comboSCOPacketType, &QComboBox::activated, this,
            [this] { ControlChanged(comboSCOPacketType); });
    for (QSlider* track : {trackInputGain, trackOutputGain})
        connect(track, &QSlider::actionTriggered, this, [this, track] { ControlChanged(track); });
    UpdateControls();
}

void ScoSetHandler::ShowGain(QSlider* track, QLabel* value, QLabel* min, QLabel* max,
                             const char* caption, int32_t gain, int32_t maximum, bool enabled) {
    if (maximum > 0) {
        track->setMaximum(maximum);
        track->setValue(maximum - gain);
        max->setText(QString::number(maximum));
        value->setText(QString::asprintf("%s: %d", caption, int(gain)));
    } else {
        track->setMaximum(0);
        max->setText(QStringLiteral("N/A"));
        value->setText(QString::asprintf("%s: N/A", caption));
    }
    min->setText(QStringLiteral("0"));
    for (QWidget* w : {(QWidget*)track, (QWidget*)value, (QWidget*)min, (QWidget*)max})
        w->setEnabled(enabled && maximum != 0);
}

void ScoSetHandler::UpdateControls() {
    const bool enabled = group.scoEnabled;
    checkEnableSCO->setChecked(enabled);
    // A packet type outside the list selects no item.
    comboSCOPacketType->setCurrentIndex(ScoSettings::ItemOfPacketType(group.packetType));
    // A disabled label is drawn in the disabled colour.
    labelSCOPacketType->setEnabled(enabled);
    comboSCOPacketType->setEnabled(enabled);
    ShowGain(trackInputGain, labelInputGainValue, labelInputGainMin, labelInputGainMax,
             "Input gain", group.inputGain, group.inputGainMax, enabled);
    ShowGain(trackOutputGain, labelOutputGainValue, labelOutputGainMin, labelOutputGainMax,
             "Output gain", group.outputGain, group.outputGainMax, enabled);
}

void ScoSetHandler::ControlChanged(QObject* control) {
    group.changed = 1;
    if (control == checkEnableSCO) {
        group.SetEnabled(checkEnableSCO->isChecked());
        UpdateControls();
    } else if (control == trackInputGain) {
        group.inputGain = group.inputGainMax - trackInputGain->sliderPosition();
        UpdateControls();
    } else if (control == trackOutputGain) {
        group.outputGain = group.outputGainMax - trackOutputGain->sliderPosition();
        UpdateControls();
    } else if (control == comboSCOPacketType) {
        const int item = comboSCOPacketType->currentIndex();
        if (item >= 0 && item < ScoSettings::kPacketTypeCount)
            group.packetType = ScoSettings::PacketTypeOfItem(item);
    }
}
