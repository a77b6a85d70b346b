// SPDX-License-Identifier: Apache-2.0
#include "AccessKeys.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QTabWidget>

namespace {

const char* const kDone = "accessKeysGiven";

bool IsField(const QWidget* w) {
    return qobject_cast<const QLineEdit*>(w) || qobject_cast<const QComboBox*>(w) ||
           qobject_cast<const QAbstractSpinBox*>(w) || qobject_cast<const QAbstractSlider*>(w);
}

// The field that stands right of a label in its layout, if any.
QWidget* FieldBeside(QLabel* label) {
    QWidget* parent = label->parentWidget();
    QLayout* layout = parent ? parent->layout() : nullptr;
    // The label may sit in a nested layout; find the one that holds it.
    QList<QLayout*> layouts;
    if (layout) layouts << layout;
    for (int i = 0; i < layouts.size(); ++i) {
        QLayout* l = layouts[i];
        const int at = l->indexOf(label);
        if (at >= 0) {
            if (auto* grid = qobject_cast<QGridLayout*>(l)) {
                int row = 0, column = 0, rows = 0, columns = 0;
                grid->getItemPosition(at, &row, &column, &rows, &columns);
                QLayoutItem* next = grid->itemAtPosition(row, column + columns);
                return next && next->widget() && IsField(next->widget()) ? next->widget() : nullptr;
            }
            if (auto* form = qobject_cast<QFormLayout*>(l)) {
                int row = 0;
                QFormLayout::ItemRole role;
                form->getItemPosition(at, &row, &role);
                QLayoutItem* field = form->itemAt(row, QFormLayout::FieldRole);
                return field && field->widget() && IsField(field->widget()) ? field->widget()
                                                                            : nullptr;
            }
            for (int j = at + 1; j < l->count(); ++j) {
                QWidget* w = l->itemAt(j)->widget();
                if (w == nullptr) continue; // a spacing
                return IsField(w) ? w : nullptr;
            }
            return nullptr;
        }
        for (int j = 0; j < l->count(); ++j)
            if (QLayout* inner = l->itemAt(j)->layout()) layouts << inner;
    }
    return nullptr;
}

// The letter marked in a caption ("&Read" gives 'R'), or 0.
QChar Marked(const QString& caption) {
    for (int i = 0; i + 1 < caption.size(); ++i) {
        if (caption[i] != QChar('&')) continue;
        if (caption[i + 1] != QChar('&')) return caption[i + 1].toUpper();
        ++i;
    }
    return QChar();
}

// Marks the first free letter, preferring the first letters of words.
QString WithKey(const QString& caption, QString& taken) {
    if (caption.contains(QChar('&'))) return caption;
    for (int pass = 0; pass < 2; ++pass)
        for (int i = 0; i < caption.size(); ++i) {
            const QChar c = caption[i];
            if (!c.isLetterOrNumber() || c.unicode() > 0x7f) continue;
            const bool wordStart = i == 0 || !caption[i - 1].isLetterOrNumber();
            if (pass == 0 && !wordStart) continue;
            if (taken.contains(c.toUpper())) continue;
            taken += c.toUpper();
            return caption.left(i) + QChar('&') + caption.mid(i);
        }
    return caption; // every letter is taken: no key
}

// The widgets of one kind in `scope` that belong to its window, not to a
// dialog that has the window as its parent.
template <typename W> QList<W*> Own(QWidget* scope) {
    QList<W*> own;
    for (W* w : scope->findChildren<W*>())
        if (w->window() == scope->window()) own << w;
    return own;
}

} // namespace

QString AccessKeys::Plain(QString caption) {
    for (int i = 0; i < caption.size(); ++i)
        if (caption[i] == QChar('&')) caption.remove(i, 1);
    return caption;
}

QString AccessKeys::Assign(QWidget* scope, QString taken) {
    const QList<QLabel*> labels = Own<QLabel>(scope);
    for (QLabel* label : labels)
        if (label->buddy() == nullptr && !label->text().isEmpty() &&
            label->textFormat() != Qt::RichText)
            if (QWidget* field = FieldBeside(label)) label->setBuddy(field);

    // What already carries a key keeps it.
    const QList<QAbstractButton*> buttons = Own<QAbstractButton>(scope);
    for (QAbstractButton* b : buttons)
        if (QChar c = Marked(b->text()); !c.isNull()) taken += c;
    for (QLabel* l : labels)
        if (QChar c = Marked(l->text()); !c.isNull() && l->buddy()) taken += c;

    for (QAbstractButton* b : buttons)
        if (!b->text().isEmpty() && !qobject_cast<QTabWidget*>(b->parentWidget()))
            b->setText(WithKey(b->text(), taken));
    for (QLabel* l : labels)
        if (l->buddy() && !Plain(l->text()).trimmed().isEmpty())
            l->setText(WithKey(l->text(), taken));
    return taken;
}

bool AccessKeys::Watcher::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::Show || !watched->isWidgetType()) return false;
    auto* window = static_cast<QWidget*>(watched);
    if (!window->isWindow() || window->property(kDone).toBool()) return false;
    if (window->windowType() != Qt::Window && window->windowType() != Qt::Dialog) return false;
    if (qobject_cast<QFileDialog*>(window)) return false; // the toolkit's own
    window->setProperty(kDone, true);
    // The focus frame shows from the start, not only after the first Tab.
    window->setAttribute(Qt::WA_KeyboardFocusChange);

    QString common;
    if (auto* main = qobject_cast<QMainWindow*>(window))
        for (QAction* menu : main->menuBar()->actions())
            if (QChar c = Marked(menu->text()); !c.isNull()) common += c;
    const QList<QTabWidget*> tabs = window->findChildren<QTabWidget*>();
    if (tabs.isEmpty()) {
        Assign(window, common);
        return false;
    }
    // Keys of the window outside its pages first, then each page beside them.
    QList<QWidget*> pages;
    for (QTabWidget* t : tabs)
        for (int i = 0; i < t->count(); ++i)
            pages << t->widget(i);
    for (QAbstractButton* b : Own<QAbstractButton>(window)) {
        bool onPage = false;
        for (QWidget* p : pages)
            onPage = onPage || p->isAncestorOf(b);
        if (!onPage && !b->text().isEmpty()) {
            if (QChar c = Marked(b->text()); !c.isNull())
                common += c;
            else
                b->setText(WithKey(b->text(), common));
        }
    }
    // Labelled fields outside the pages (the search field) likewise.
    for (QLabel* l : Own<QLabel>(window)) {
        bool onPage = false;
        for (QWidget* p : pages)
            onPage = onPage || p->isAncestorOf(l);
        if (onPage || l->buddy() == nullptr || Plain(l->text()).trimmed().isEmpty()) continue;
        if (QChar c = Marked(l->text()); !c.isNull())
            common += c;
        else
            l->setText(WithKey(l->text(), common));
    }
    for (QWidget* page : pages)
        Assign(page, common);
    return false;
}
