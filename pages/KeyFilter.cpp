// SPDX-License-Identifier: Apache-2.0
#include "KeyFilter.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>

namespace {

bool Allowed(KeyRule::Chars chars, QChar c) {
    const char16_t u = c.unicode();
    const bool digit = u >= '0' && u <= '9';
    switch (chars) {
    case KeyRule::Digits:
        return digit;
    case KeyRule::DigitsAndMinus:
        return digit || u == '-';
    case KeyRule::Hex:
        return digit || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
    }
    return false;
}

int Limit(const QLineEdit* edit, const KeyRule& rule) {
    return rule.maxLength > 0 ? rule.maxLength : edit->maxLength();
}

// The key filter: typed characters are judged one by one, refused ones are
// swallowed, and one refused because the edit is full also beeps. Pasted
// (Ctrl+V, Shift+Insert, the context menu, the middle button) and dropped text
// goes in with only the characters the edit takes, as many as fit. Text the
// program sets is never filtered: a value read from a module shows whole.
class Filter : public QObject {
  public:
    Filter(QLineEdit* edit, const KeyRule& rule) : QObject(edit), edit(edit), rule(rule) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != edit) return false;
        switch (event->type()) {
        case QEvent::KeyPress:
            return Typed(static_cast<const QKeyEvent*>(event));
        case QEvent::ContextMenu:
            return Menu(static_cast<const QContextMenuEvent*>(event));
        case QEvent::Drop: {
            auto* drop = static_cast<QDropEvent*>(event);
            if (edit->isReadOnly() || !drop->mimeData()->hasText()) return false;
            edit->setCursorPosition(edit->cursorPositionAt(drop->position().toPoint()));
            Insert(drop->mimeData()->text());
            drop->acceptProposedAction();
            return true;
        }
        case QEvent::MouseButtonRelease: {
            auto* click = static_cast<const QMouseEvent*>(event);
            if (click->button() != Qt::MiddleButton ||
                !QGuiApplication::clipboard()->supportsSelection())
                return false;
            edit->setCursorPosition(edit->cursorPositionAt(click->position().toPoint()));
            Insert(QGuiApplication::clipboard()->text(QClipboard::Selection));
            return true;
        }
        default:
            return false;
        }
    }

  private:
    bool Typed(const QKeyEvent* key) {
        if (key->matches(QKeySequence::Paste)) {
            Insert(QGuiApplication::clipboard()->text());
            return true;
        }
        // Delete gives "\x7f", Tab "\t", Backspace "\b", a shortcut nothing: none
        // of them is a typed character, and all are the edit's own.
        if (key->text().size() != 1 || !key->text().at(0).isPrint() ||
            (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)))
            return false;
        const QChar c = key->text().at(0);
        const bool allowed = Allowed(rule.chars, c);
        if (allowed && c == QChar('-') && rule.minusFirstOnly && !edit->text().isEmpty())
            return true;
        int length = int(edit->text().size());
        if (rule.typedReplacesSelection) length -= int(edit->selectedText().size());
        if ((allowed || rule.fullRefusesAll) && length >= Limit(edit, rule)) {
            QApplication::beep();
            return true;
        }
        return !allowed;
    }

    // The edit's own menu, its Paste going through the filter.
    bool Menu(const QContextMenuEvent* event) {
        QMenu* menu = edit->createStandardContextMenu();
        if (QAction* paste = menu->findChild<QAction*>(QStringLiteral("edit-paste"))) {
            paste->disconnect();
            connect(paste, &QAction::triggered, this,
                    [this] { Insert(QGuiApplication::clipboard()->text()); });
        }
        menu->exec(event->globalPos());
        delete menu;
        return true;
    }

    // Puts `text` where the cursor or the selection is, keeping only the
    // characters the edit takes and as many as its length leaves room for.
    void Insert(const QString& text) {
        if (edit->isReadOnly()) return;
        const int at = edit->hasSelectedText() ? edit->selectionStart() : edit->cursorPosition();
        int room = Limit(edit, rule) - int(edit->text().size() - edit->selectedText().size());
        QString taken;
        for (const QChar c : text) {
            if (room <= 0) break;
            if (!Allowed(rule.chars, c)) continue;
            if (c == QChar('-') && rule.minusFirstOnly && at + taken.size() != 0) continue;
            taken += c;
            --room;
        }
        edit->insert(taken);
    }

    QLineEdit* edit;
    KeyRule rule;
};

} // namespace

void KeyFilter::Install(QLineEdit* edit, const KeyRule& rule) {
    edit->installEventFilter(new Filter(edit, rule));
}
