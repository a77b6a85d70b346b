// SPDX-License-Identifier: Apache-2.0
#include "SettingSearch.h"

#include "AccessKeys.h"
#include "ChangeMarks.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QBoxLayout>
#include <QCompleter>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QShortcut>
#include <QStringListModel>
#include <QTabBar>
#include <QTabWidget>

SettingSearch::SettingSearch(ChangeMarks& marks, QTabWidget* tabs, QBoxLayout* row, QWidget* window)
    : QObject(window), marks(marks), tabs(tabs) {
    // The label's key stays clear of the menus' F, C and H.
    auto* label = new QLabel(QStringLiteral("F&ind setting:"), window);
    field = new QLineEdit(window);
    field->setObjectName(QStringLiteral("searchField"));
    field->setPlaceholderText(QStringLiteral("a word of its name (Ctrl+F)"));
    field->setClearButtonEnabled(true);
    field->setMinimumWidth(240);
    label->setBuddy(field);
    row->insertWidget(0, label);
    row->insertWidget(1, field);

    model = new QStringListModel(this);
    completer = new QCompleter(model, this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    completer->setFilterMode(Qt::MatchContains);
    completer->setCompletionMode(QCompleter::PopupCompletion);
    completer->setMaxVisibleItems(12);
    completer->popup()->setMinimumWidth(480); // whole entries, page names included
    field->setCompleter(completer);
    field->installEventFilter(this);
    connect(completer, qOverload<const QString&>(&QCompleter::activated), this,
            [this](const QString& entry) { Find(entry); });
    connect(field, &QLineEdit::returnPressed, this, [this] {
        if (!Find(field->text())) QApplication::beep();
    });
    // Escape goes back to where the person was before the field.
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* old, QWidget* now) {
        if (now == field && old != nullptr && old->window() == field->window()) focusBefore = old;
    });

    auto* find = new QShortcut(QKeySequence::Find, window);
    find->setContext(Qt::WindowShortcut);
    connect(find, &QShortcut::activated, this, [this] {
        field->setFocus(Qt::ShortcutFocusReason);
        field->selectAll();
    });
}

QStringList SettingSearch::Entries(std::vector<const SettingPlace*>* places) const {
    QStringList entries;
    for (const SettingPlace& place : marks.Places()) {
        const int index = tabs->indexOf(place.page);
        if (!tabs->isTabVisible(index)) continue;
        QString entry = marks.Caption(place);
        const QString key = QString::fromLatin1(place.key.c_str());
        if (entry.compare(key, Qt::CaseInsensitive) != 0) entry += " (" + key + ")";
        QString page = AccessKeys::Plain(tabs->tabText(index));
        if (page.endsWith(QLatin1Char('*'))) page.chop(1);
        entries << entry + QStringLiteral(" \u2014 ") + page;
        if (places != nullptr) places->push_back(&place);
    }
    return entries;
}

bool SettingSearch::Find(const QString& words) {
    const QStringList wanted = words.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (wanted.isEmpty()) return false;
    std::vector<const SettingPlace*> places;
    const QStringList entries = Entries(&places);
    // A setting chosen from the list is that one; typed words, the first that has them all.
    if (const int chosen = int(entries.indexOf(words)); chosen >= 0) {
        Go(*places[size_t(chosen)]);
        return true;
    }
    for (int i = 0; i < entries.size(); ++i) {
        bool all = true;
        for (const QString& word : wanted)
            all = all && entries[i].contains(word, Qt::CaseInsensitive);
        if (!all) continue;
        Go(*places[size_t(i)]);
        return true;
    }
    return false;
}

void SettingSearch::Go(const SettingPlace& place) {
    field->clear();
    tabs->setCurrentWidget(place.page);
    // The setting's control; when it is switched off, the first control beside
    // it that can take the focus (the box that switches it on).
    QWidget* control = place.controls.front();
    for (QWidget* area = control; area != nullptr && area != tabs; area = area->parentWidget()) {
        QList<QWidget*> candidates{area};
        candidates += area->findChildren<QWidget*>();
        for (QWidget* w : candidates)
            if (w->isEnabled() && w->isVisibleTo(place.page) && (w->focusPolicy() & Qt::TabFocus)) {
                w->setFocus(Qt::TabFocusReason);
                return;
            }
    }
    tabs->tabBar()->setFocus(Qt::TabFocusReason);
}

bool SettingSearch::eventFilter(QObject* watched, QEvent* event) {
    if (watched == field && event->type() == QEvent::FocusIn)
        model->setStringList(Entries()); // the pages shown now, their captions now
    if (watched == field && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        field->clear();
        if (focusBefore && focusBefore->isVisible() && focusBefore->isEnabled())
            focusBefore->setFocus(Qt::OtherFocusReason);
        else
            tabs->tabBar()->setFocus(Qt::OtherFocusReason);
        return true;
    }
    return QObject::eventFilter(watched, event);
}
