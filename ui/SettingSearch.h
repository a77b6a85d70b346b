// SPDX-License-Identifier: Apache-2.0
// The window's search field (Ctrl+F): finds a setting by any word of its label
// or of its file key among the pages shown, lists the settings that match as
// the person types, and goes to the chosen one: its page comes up with its
// control focused. Escape leaves the field for where the focus was.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <vector>

class ChangeMarks;
class QBoxLayout;
class QCompleter;
class QLineEdit;
class QStringListModel;
class QTabWidget;
class QWidget;
struct SettingPlace;

class SettingSearch : public QObject {
  public:
    // Puts "Find setting:" and its field at the start of `row`, and Ctrl+F on `window`.
    SettingSearch(ChangeMarks& marks, QTabWidget* tabs, QBoxLayout* row, QWidget* window);

    QLineEdit* field = nullptr;

    // Goes to the first setting shown whose words hold every word of `words`;
    // false (nothing moves) when there is none.
    bool Find(const QString& words);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    // "Max interval (Sniff max interval) - Power save" for each setting on a page shown.
    QStringList Entries(std::vector<const SettingPlace*>* places = nullptr) const;
    void Go(const SettingPlace& place);

    ChangeMarks& marks;
    QTabWidget* tabs;
    QCompleter* completer = nullptr;
    QStringListModel* model = nullptr;
    QPointer<QWidget> focusBefore;
};
