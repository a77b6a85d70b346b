#include "SettingsPage.h"

#include <QLineEdit>
#include <QValidator>
#include <QVariant>
#include <QWidget>

#include <algorithm>
#include <string>

namespace {

const char* const kHelpContextProperty = "helpContext";

class Latin1Validator : public QValidator {
  public:
    using QValidator::QValidator;
    State validate(QString& input, int& /*pos*/) const override {
        for (const QChar c : input)
            if (c.unicode() > 0xff) return Invalid;
        return Acceptable;
    }
};

} // namespace

void HelpContext::Set(QWidget* widget, int context) {
    if (widget != nullptr) widget->setProperty(kHelpContextProperty, context);
}

int HelpContext::Of(const QWidget* widget, int fallback) {
    for (const QWidget* w = widget; w != nullptr; w = w->parentWidget()) {
        const QVariant v = w->property(kHelpContextProperty);
        if (v.isValid()) return v.toInt();
    }
    return fallback;
}

void TextEdit::AcceptOnlyLatin1(QLineEdit* edit) {
    edit->setValidator(new Latin1Validator(edit));
}

void TextEdit::ShowWhole(QLineEdit* edit, const QString& text, int maxLength) {
    edit->setMaxLength(std::max(maxLength, int(text.size())));
    edit->setText(text);
}

void TextEdit::Edited(QLineEdit* edit, int maxLength) {
    if (edit->text().size() <= maxLength && edit->maxLength() != maxLength)
        edit->setMaxLength(maxLength);
}

QString TextEdit::FromBytes(const std::string& bytes) {
    return QString::fromLatin1(bytes.data(), int(bytes.size()));
}

std::string TextEdit::ToBytes(const QString& text) {
    return text.toLatin1().toStdString();
}
