// SPDX-License-Identifier: Apache-2.0
#include "ChangeMarks.h"

#include "AccessKeys.h"
#include "CompareForm.h"
#include "ConfigFile.h"
#include "DeviceModePage.h"
#include "SettingsPage.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QTabWidget>

#include <algorithm>

namespace {

// Each key of the file and the controls (by name) that show it, the first of
// them the one a search goes to; `marker` names what is set in bold when no
// label of the controls names the setting.
const struct {
    const char* key;
    const char* controls;
    const char* marker;
} kPlaces[] = {
    {"Bluetooth Device Name", "genDeviceName", nullptr},
    {"Bluetooth Service Name", "genServName", nullptr},
    {"Serial baudrate", "BaudrateBox", nullptr},
    {"Serial parity", "ParityBox", nullptr},
    {"Serial databits", "dataBitsBox", nullptr},
    {"Serial stopbits", "stopBitsBox", nullptr},
    {"Serial flow control", "flowBox", nullptr},
    {"Value user define baudrate", "baudvalue", nullptr},
    {"User defined baudrate", "udbEnabled", nullptr},
    {"Device mode", "endpointRadio connectingRadio", nullptr},
    {"Endpoint Security mode", "secBox", nullptr},
    {"Accepted address", "allowAllAddrCheck ea1", nullptr},
    {"Require encryption when require pincode", "reqEncCheck pairReqEnc", nullptr},
    {"Passkey", "pinCodeText", nullptr},
    {"Connecting security mode", "conSecBox", nullptr},
    {"Connect to address", "ca1", nullptr},
    {"Require encryption when connecting paired", "conReqEncCheck", nullptr},
    {"Inquiry scan enabled", "inqScanEnabled", nullptr},
    {"Inquiry scan interval", "inqScanInt", nullptr},
    {"Inquiry scan window", "inqScanWind", nullptr},
    {"Page scan enabled", "pageScanBox", nullptr},
    {"Page scan interval", "pageScanInt", nullptr},
    {"Page scan window", "pageScanWind", nullptr},
    {"Max TX Power", "maxTxPower", nullptr},
    {"Default TX Power", "defaultTxPowerText", nullptr},
    {"Sniff mode enabled", "sniffModeEnabled", nullptr},
    {"Sniff max interval", "sniffMaxInt", nullptr},
    {"Sniff min interval", "sniffMinInt", nullptr},
    {"Sniff attempt", "sniffAttempt", nullptr},
    {"Sniff timeout", "sniffTimeout", nullptr},
    {"Park mode enabled", "parkModeEnabled", nullptr},
    {"Park max interval", "parkBeaMax", nullptr},
    {"Park min interval", "parkBeaMin", nullptr},
    {"SCO Connection enabled", "checkEnableSCO", nullptr},
    {"SCO Packet type", "comboSCOPacketType", nullptr},
    {"Codec input gain", "trackInputGain", "labelInputGainValue"},
    {"Codec output gain", "trackOutputGain", "labelOutputGainValue"},
    {"Emulate serial handshake", "emuSerEnabled", nullptr},
    {"Emulate serial type", "emuSerChoose", nullptr},
    {"Class of device", "codValueBox", nullptr},
    {"Performance optimazation", "optLa optTp", "perfGroup"},
    {"Link timeout enabled", "linkTimeoutEnabled", nullptr},
    {"Link timeout value", "lstBar", "lstValue"},
    {"Quality of service mode", "comboQoS", nullptr},
    {"Quality of service latency", "textQoSLatency", nullptr},
};

QString Latin1(const std::string& text) {
    return QString::fromLatin1(text.data(), int(text.size()));
}

// The label whose field the control is.
QLabel* LabelOf(const QWidget* control, const QWidget* page) {
    for (QLabel* label : page->findChildren<QLabel*>())
        if (label->buddy() == control) return label;
    return nullptr;
}

} // namespace

ChangeMarks::ChangeMarks(ModuleSettings& settings, QTabWidget* tabs,
                         const std::vector<SettingsPage*>& pages)
    : QObject(tabs), settings(settings), tabs(tabs), pages(pages) {
    for (const auto& row : kPlaces) {
        SettingPlace place;
        place.key = row.key;
        for (const QString& name : QString::fromLatin1(row.controls).split(' '))
            if (auto* control = tabs->findChild<QWidget*>(name)) place.controls.push_back(control);
        if (row.marker != nullptr) place.marker = tabs->findChild<QWidget*>(row.marker);
        for (QWidget* w = place.controls.empty() ? nullptr : place.controls.front(); w != nullptr;
             w = w->parentWidget())
            if (tabs->indexOf(w) >= 0) place.page = w;
        if (place.page != nullptr) places.push_back(std::move(place));
    }
    // After each of a person's edits (the same signals that reach the pages'
    // ControlChanged, connected after them, so the group holds the new value).
    for (SettingsPage* page : pages) {
        QWidget* tab = page->Tab();
        for (auto* edit : tab->findChildren<QLineEdit*>())
            connect(edit, &QLineEdit::textEdited, this, &ChangeMarks::Update);
        for (auto* box : tab->findChildren<QComboBox*>())
            connect(box, &QComboBox::activated, this, &ChangeMarks::Update);
        for (auto* button : tab->findChildren<QAbstractButton*>())
            connect(button, &QAbstractButton::clicked, this, &ChangeMarks::Update);
        for (auto* slider : tab->findChildren<QAbstractSlider*>()) {
            connect(slider, &QAbstractSlider::sliderMoved, this, &ChangeMarks::Update);
            connect(slider, &QAbstractSlider::actionTriggered, this, &ChangeMarks::Update);
        }
        // A search or a pairing gives both pages a new address or mode.
        if (auto* shared = qobject_cast<DeviceModePage*>(page))
            connect(shared, &DeviceModePage::SharedValuesChanged, this, &ChangeMarks::Update);
    }
}

const SettingPlace* ChangeMarks::PlaceOf(const std::string& key) const {
    for (const SettingPlace& place : places)
        if (place.key == key) return &place;
    return nullptr;
}

QString ChangeMarks::Caption(const SettingPlace& place) const {
    QString caption;
    QWidget* named = place.marker != nullptr ? place.marker : place.controls.front();
    if (auto* box = qobject_cast<QGroupBox*>(named))
        caption = box->title();
    else if (auto* button = qobject_cast<QAbstractButton*>(named))
        caption = button->text();
    else if (QLabel* label = LabelOf(named, place.page))
        caption = label->text();
    // Without the range or unit the label adds: "Max interval (1-65535):" is "Max interval".
    caption = AccessKeys::Plain(caption).remove(
        QRegularExpression(QStringLiteral("\\s*(\\([^)]*\\))?\\s*:?\\s*$")));
    return caption.isEmpty() ? Latin1(place.key) : caption;
}

void ChangeMarks::SetReference() {
    reference.CopyValues(settings);
    hasReference = true;
    Update();
}

std::vector<SettingDifference> ChangeMarks::Differences() const {
    if (!hasReference) return {};
    const std::string module = reference.FileText(), now = settings.FileText();
    // A setting either side has (the advanced ones only on a module that has them).
    std::vector<std::string> keys = FileSettingKeys(module);
    for (std::string& key : FileSettingKeys(now))
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(std::move(key));
    return CompareSettings(module, now, keys);
}

std::vector<QWidget*> ChangeMarks::Markers(const SettingPlace& place) const {
    if (place.marker != nullptr) return {place.marker};
    std::vector<QWidget*> markers;
    for (QWidget* control : place.controls) {
        QWidget* marker = qobject_cast<QAbstractButton*>(control);
        if (marker == nullptr) marker = LabelOf(control, place.page);
        if (marker != nullptr) markers.push_back(marker);
    }
    return markers;
}

void ChangeMarks::Mark(QWidget* widget, const QString& tip) {
    QFont font = widget->font();
    font.setBold(!tip.isEmpty());
    widget->setFont(font);
    widget->setToolTip(tip);
}

void ChangeMarks::Update() {
    for (const QPointer<QWidget>& widget : marked)
        if (widget) Mark(widget, QString());
    marked.clear();
    std::vector<QWidget*> changedPages;
    for (const SettingDifference& d : Differences()) {
        const SettingPlace* place = PlaceOf(d.key);
        if (place == nullptr) continue;
        const QString tip = QStringLiteral("Module: ") + DifferenceRow(d).at(1);
        for (QWidget* marker : Markers(*place)) {
            Mark(marker, tip);
            marked.emplace_back(marker);
        }
        for (QWidget* control : place->controls)
            for (QWidget* w = control; w != nullptr; w = w->parentWidget())
                if (tabs->indexOf(w) >= 0) changedPages.push_back(w);
    }
    for (int i = 0; i < tabs->count(); ++i) {
        QString caption = tabs->tabText(i);
        if (caption.endsWith(QLatin1Char('*'))) caption.chop(1);
        const bool changed = std::find(changedPages.begin(), changedPages.end(), tabs->widget(i)) !=
                             changedPages.end();
        tabs->setTabText(i, changed ? caption + QLatin1Char('*') : caption);
    }
}

void ChangeMarks::Undo(const std::vector<std::string>& keys) {
    if (!hasReference) return;
    // The module's own lines for these settings, loaded as a file is.
    const std::string module = reference.FileText();
    std::string lines;
    for (const std::string& key : keys) {
        std::string value;
        if (TakeConfigValue(key, module, value)) lines += key + ": " + value + "\n";
    }
    if (lines.empty()) return;
    settings.LoadFile(lines);
    for (SettingsPage* page : pages)
        page->UpdateControls();
    Update();
}
