// SPDX-License-Identifier: Apache-2.0
// The main window from the keyboard: page switching from anywhere, never onto a
// hidden page; keys for the file and module commands; F10 to the menus; and the
// focus kept where a person expects it around an operation.
#include "TMainForm.h"

#include "AccessKeys.h"
#include "SettingsGroup.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QShortcut>
#include <QTabBar>
#include <QTabWidget>

void TMainForm::BuildKeys() {
    // Window-wide, so that a combo box or a button with the focus does not keep
    // the keys (a combo box would change its value on Ctrl+PageDown).
    const struct {
        QKeySequence keys;
        int step;
    } switches[] = {
        {QKeySequence(Qt::CTRL | Qt::Key_Tab), 1},
        {QKeySequence(Qt::CTRL | Qt::Key_PageDown), 1},
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab), -1},
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Tab), -1},
        {QKeySequence(Qt::CTRL | Qt::Key_PageUp), -1},
    };
    for (const auto& s : switches) {
        auto* shortcut = new QShortcut(s.keys, this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, [this, step = s.step] { SwitchPage(step); });
    }

    auto* menus = new QShortcut(QKeySequence(Qt::Key_F10), this);
    menus->setContext(Qt::WindowShortcut);
    connect(menus, &QShortcut::activated, this, [this] {
        if (!menuBar()->actions().isEmpty())
            menuBar()->setActiveAction(menuBar()->actions().constFirst());
    });

    menuLoadSettings->setShortcut(QKeySequence::Open);
    menuSaveSettings->setShortcut(QKeySequence::Save);
    // Module operations take a chord that is not pressed by habit.
    menuConfReadFromDevice->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R));
    menuConfWriteToDevice->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_W));
    menuFileExit->setShortcut(QKeySequence::Quit);
    readConfig->setText(QStringLiteral("&Read configuration"));
    writeConf->setText(QStringLiteral("&Write configuration"));
}

void TMainForm::SwitchPage(int step) {
    if (busy) return;
    const int count = PageControl1->count();
    int index = PageControl1->currentIndex();
    for (int tried = 0; tried < count; ++tried) {
        index = (index + step + count) % count;
        if (PageControl1->isTabVisible(index) && PageControl1->isTabEnabled(index)) {
            PageControl1->setCurrentIndex(index);
            PageControl1->tabBar()->setFocus(Qt::TabFocusReason);
            return;
        }
    }
}

void TMainForm::SetButtonsEnabled(bool enabled) {
    if (!enabled) {
        // A button disabled while it has the focus would hand it to the next
        // control in the chain, maybe the other button: the tabs hold it meanwhile.
        focusBeforeBusy = QApplication::focusWidget();
        if (focusBeforeBusy == readConfig || focusBeforeBusy == writeConf)
            PageControl1->tabBar()->setFocus(Qt::OtherFocusReason);
    }
    readConfig->setEnabled(enabled);
    writeConf->setEnabled(enabled);
    if (!enabled) return;
    QWidget* back = focusAfterBusy ? focusAfterBusy.data() : focusBeforeBusy.data();
    focusAfterBusy = nullptr;
    focusBeforeBusy = nullptr;
    if (back != nullptr && back->isVisible() && back->isEnabled())
        back->setFocus(Qt::OtherFocusReason);
}

QWidget* TMainForm::FieldOf(const QWidget* page, const Failure& failure) {
    // The field a refusal names: "The field \"Max interval\" must ...", else the
    // headline's words after "Invalid" ("Invalid PIN code").
    QStringList names;
    for (const std::string& line : failure.description) {
        const QString text = QString::fromLatin1(line.c_str());
        const int open = int(text.indexOf(QChar('"')));
        const int close = open >= 0 ? int(text.indexOf(QChar('"'), open + 1)) : -1;
        if (close > open + 1) names << text.mid(open + 1, close - open - 1);
    }
    QString headline = QString::fromLatin1(failure.headline.c_str());
    if (headline.startsWith(QStringLiteral("Invalid "))) names << headline.mid(8);
    for (const QString& name : names)
        for (QLabel* label : page->findChildren<QLabel*>()) {
            QWidget* field = label->buddy();
            if (field == nullptr || !field->isEnabled()) continue;
            QString caption = AccessKeys::Plain(label->text());
            caption.remove(QRegularExpression(QStringLiteral("\\s*(\\(.*\\))?:\\s*$")));
            if (caption.isEmpty()) continue;
            if (caption.compare(name, Qt::CaseInsensitive) == 0 ||
                name.endsWith(caption, Qt::CaseInsensitive))
                return field;
        }
    return nullptr;
}
