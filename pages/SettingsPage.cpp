// SPDX-License-Identifier: Apache-2.0
#include "SettingsPage.h"

#include <QLineEdit>
#include <QValidator>
#include <QVariant>
#include <QWidget>

#include <algorithm>
#include <cctype>
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

// Up to two hexadecimal digits; lower case is turned into upper case as it is typed.
class HexByteValidator : public QValidator {
  public:
    using QValidator::QValidator;
    State validate(QString& input, int& /*pos*/) const override {
        if (input.size() > 2) return Invalid;
        for (const QChar c : input)
            if (!std::isxdigit(c.unicode() < 0x80 ? c.toLatin1() : 0)) return Invalid;
        input = input.toUpper();
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

void AddressEdit::Setup(QLineEdit* edit) {
    edit->setMaxLength(2);
    edit->setValidator(new HexByteValidator(edit));
}

void AddressEdit::Show(const Edits& edits, const Address& address) {
    for (size_t i = 0; i < edits.size(); ++i)
        edits[i]->setText(QString::asprintf("%02X", address[i]));
}

uint8_t AddressEdit::ByteOf(const QLineEdit* edit) {
    bool ok = false;
    const uint value = edit->text().toUInt(&ok, 16);
    return ok ? static_cast<uint8_t>(value & 0xff) : 0;
}

QString AddressEdit::PairedText(const Address& address) {
    if (address == Address{}) return QStringLiteral("Device not paired");
    return QString::asprintf("%02x %02x %02x %02x %02x %02x", address[0], address[1], address[2],
                             address[3], address[4], address[5]);
}
