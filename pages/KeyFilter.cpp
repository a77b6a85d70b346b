#include "KeyFilter.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QValidator>

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

// Typed characters: refused ones are swallowed, and one refused because the
// edit is full also beeps.
class TypedKeys : public QObject {
  public:
    TypedKeys(QLineEdit* edit, const KeyRule& rule) : QObject(edit), edit(edit), rule(rule) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != edit || event->type() != QEvent::KeyPress) return false;
        const auto* key = static_cast<const QKeyEvent*>(event);
        // Delete gives "\x7f", Tab "\t", Backspace "\b", a shortcut nothing: none
        // of them is a typed character, and all are the edit's own.
        if (key->text().size() != 1 || !key->text().at(0).isPrint() ||
            (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)))
            return false;
        const QChar c = key->text().at(0);
        bool allowed = Allowed(rule.chars, c);
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

  private:
    QLineEdit* edit;
    KeyRule rule;
};

// Pasted or dropped text: what it inserts keeps only the allowed characters,
// as many as the limit leaves room for. Removing characters is always taken,
// so a longer text read from a module can still be shortened.
class InsertedText : public QValidator {
  public:
    InsertedText(QLineEdit* edit, const KeyRule& rule) : QValidator(edit), edit(edit), rule(rule) {}

    State validate(QString& input, int& pos) const override {
        const QString before = edit->text();
        int head = 0;
        while (head < before.size() && head < input.size() && before[head] == input[head])
            ++head;
        int tail = 0;
        while (tail < before.size() - head && tail < input.size() - head &&
               before[before.size() - 1 - tail] == input[input.size() - 1 - tail])
            ++tail;
        const QString inserted = input.mid(head, input.size() - head - tail);
        int room = Limit(edit, rule) - (head + tail);
        QString taken;
        for (const QChar c : inserted) {
            if (room <= 0) break;
            if (!Allowed(rule.chars, c)) continue;
            if (c == QChar('-') && rule.minusFirstOnly && head + taken.size() != 0) continue;
            taken += c;
            --room;
        }
        if (taken == inserted) return Acceptable;
        input = input.left(head) + taken + input.right(tail);
        pos = int(head + taken.size());
        return Acceptable;
    }

  private:
    QLineEdit* edit;
    KeyRule rule;
};

} // namespace

void KeyFilter::Install(QLineEdit* edit, const KeyRule& rule) {
    edit->installEventFilter(new TypedKeys(edit, rule));
    edit->setValidator(new InsertedText(edit, rule));
}
