// SPDX-License-Identifier: Apache-2.0
// What the window shows against what the module holds: the values of the last
// read-all or write-all that succeeded are kept as the module's, and every
// setting whose value now differs from them is marked on its page (its label in
// bold, with the module's value as a tooltip; the page's tab caption with "*").
// The marks come from one comparison of the two sets of values in the file's
// words, made again after every edit, load, read and write, never from
// following single controls. Also where each setting of the file is shown.
#pragma once

#include "Compare.h"
#include "ModuleSettings.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <string>
#include <vector>

class QTabWidget;
class QWidget;
class SettingsPage;

// Where a setting of the file is shown.
struct SettingPlace {
    std::string key;                // the file's key, "Sniff max interval"
    std::vector<QWidget*> controls; // the first takes the focus
    QWidget* marker = nullptr;      // shown in bold instead of the controls' labels, if set
    QWidget* page = nullptr;        // the page (tab) it is on
};

class ChangeMarks : public QObject {
  public:
    ChangeMarks(ModuleSettings& settings, QTabWidget* tabs,
                const std::vector<SettingsPage*>& pages);

    // Every setting of the file and where it is shown, in the file's order.
    const std::vector<SettingPlace>& Places() const { return places; }
    const SettingPlace* PlaceOf(const std::string& key) const;
    // "Max interval" as its label reads, without access-key marks, range and
    // colon; the key where nothing on the page names the setting.
    QString Caption(const SettingPlace& place) const;

    // The values held now become the module's (after a read-all or a write-all).
    void SetReference();
    bool HasReference() const { return hasReference; }
    // The settings that differ: first the module's value, second the one held now.
    std::vector<SettingDifference> Differences() const;
    // Marks the controls and tabs anew.
    void Update();
    // Gives each setting of `keys` back the module's value, as a load of the
    // module's lines would, and shows it.
    void Undo(const std::vector<std::string>& keys);

  private:
    // What a difference of the setting marks: the labels of its controls (or
    // the controls themselves when they carry their own caption).
    std::vector<QWidget*> Markers(const SettingPlace& place) const;
    void Mark(QWidget* widget, const QString& tip);

    ModuleSettings& settings;
    QTabWidget* tabs;
    std::vector<SettingsPage*> pages;
    ModuleSettings reference;
    bool hasReference = false;
    std::vector<SettingPlace> places;
    std::vector<QPointer<QWidget>> marked;
};
