// SPDX-License-Identifier: Apache-2.0
// The Other page: shows the Other group's values (performance, Class of
// Device, handshake emulation, link supervision time-out, quality of service)
// and takes the person's changes into it. Emulation and quality of service can
// be changed only on modules that have them.
#pragma once

#include "OtherSettings.h"
#include "SettingsPage.h"

class OtherPage;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QSlider;

class OtherSetHandler : public SettingsPage {
    Q_OBJECT
  public:
    // Characters the latency edit holds at most.
    static constexpr int kLatencyDigits = 7;

    OtherSetHandler(OtherSettings& group, OtherPage* page);

    OtherSettings& group;

    // Controls, in the order the page hands them over.
    QRadioButton* optTp = nullptr; // help context 705
    QRadioButton* optLa = nullptr;
    QComboBox* codMajorService = nullptr; // 717, "Unknown" when no item fits
    QComboBox* codMajorDev = nullptr;
    QComboBox* codMinorDev = nullptr;
    QLineEdit* codValueBox = nullptr; // hexadecimal, 8 characters
    QCheckBox* checkManCod = nullptr;
    QLabel* codMajorServiceLabel = nullptr;
    QLabel* codMajorDevLabel = nullptr;
    QLabel* codMinorDevLabel = nullptr;
    QLabel* codValueLabel = nullptr;
    QCheckBox* emuSerEnabled = nullptr; // 727
    QComboBox* emuSerChoose = nullptr;
    QLabel* emuSerLabel = nullptr;
    QSlider* lstBar = nullptr; // 707, seconds 0 to 40
    QLabel* lstValue = nullptr;
    QCheckBox* linkTimeoutEnabled = nullptr;
    QComboBox* comboQoS = nullptr;       // 731
    QLineEdit* textQoSLatency = nullptr; // digits, 7 at most
    QLabel* labelQoSMode = nullptr;
    QLabel* labelQosLatency = nullptr;

    SettingsGroup& Group() override { return group; }
    void UpdateControls() override;
    // A person changed one of the page's controls.
    void ControlChanged(QObject* control);


  private:
    // The class in the value edit (when typed in) and in the three boxes.
    void ShowClass(bool valueEdit);
};
