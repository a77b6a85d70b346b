// SPDX-License-Identifier: Apache-2.0
// A settings page: the Qt half of a settings group. It shows the group's values
// in its controls (UpdateControls) and takes a person's edits into them
// (ControlChanged, key filters); the group holds the values and the rules.
#pragma once

#include <QObject>
#include <QString>
#include <QWidget>

#include <array>
#include <cstdint>
#include <string>

class QLineEdit;
class SettingsGroup;

class SettingsPage : public QObject {
    Q_OBJECT
  public:
    // page: the page's form, which is also its tab; it owns the handler.
    explicit SettingsPage(QWidget* page) : QObject(page), tab(page) {}

    virtual SettingsGroup& Group() = 0;
    // The tab the page is shown on.
    QWidget* Tab() const { return tab; }
    // Shows every value the group holds in its control.
    virtual void UpdateControls() = 0;
    // Called with true when the advanced settings are shown, false when hidden.
    virtual void AdvancedSwitched(bool /*shown*/) {}

  private:
    QWidget* tab;
};

// Help context numbers are kept on the controls (the forms set them as the
// dynamic property "helpContext"); F1 and the error report use them.
namespace HelpContext {
void Set(QWidget* widget, int context);
// The context of the widget or of its nearest parent that has one; otherwise `fallback`.
int Of(const QWidget* widget, int fallback);
} // namespace HelpContext

// Text edits that carry the module's 8-bit texts.
namespace TextEdit {
// Refuses, as they are typed, characters that an 8-bit text cannot carry.
void AcceptOnlyLatin1(QLineEdit* edit);
// Shows a text whole even when it is longer than the edit's own limit
// `maxLength` (a name read from a module or a file is never cut by the edit);
// the limit comes back once the person has shortened it.
void ShowWhole(QLineEdit* edit, const QString& text, int maxLength);
// After a person's edit: restores the limit once the text fits it again.
void Edited(QLineEdit* edit, int maxLength);
// Latin-1 bytes of a text and back.
QString FromBytes(const std::string& bytes);
std::string ToBytes(const QString& text);
} // namespace TextEdit

// The six two-character edits of a Bluetooth address.
namespace AddressEdit {
using Edits = std::array<QLineEdit*, 6>;
using Address = std::array<uint8_t, 6>;
// Hexadecimal digits only (typed or pasted), two at most, shown in upper case.
void Setup(QLineEdit* edit);
// Each byte as "%02X".
void Show(const Edits& edits, const Address& address);
// The byte an edit holds; 0 when it is empty.
uint8_t ByteOf(const QLineEdit* edit);
// "Device not paired" for six zero bytes, else "%02x %02x %02x %02x %02x %02x".
QString PairedText(const Address& address);
} // namespace AddressEdit
