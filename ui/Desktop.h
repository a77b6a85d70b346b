// SPDX-License-Identifier: Apache-2.0
// The program's contacts with the desktop: message boxes, help and the web site.
// Each goes through one seam that tests can answer or record.
#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace Desktop {

extern const char* const kApplicationTitle; // "Norvane Bluetooth Configuration"
extern const char* const kHelpFileName;     // "BTCONF.HLP"
extern const char* const kMakerAddress;     // the maker's web address

enum class Answer { Ok, Cancel, Yes, No };

// Warning box with OK and Cancel; returns Ok or Cancel.
Answer AskOkCancel(QWidget* parent, const QString& text);
// Warning box with Yes and No; returns Yes or No.
Answer AskYesNo(QWidget* parent, const QString& text);
// Warning box with OK only: tells the person something went wrong.
void Tell(QWidget* parent, const QString& text);
// Help file at its contents (context 0) or a pop-up topic for one context number.
void ShowHelpContents(QWidget* parent);
void ShowHelpPopup(QWidget* parent, int context);
// Asks the desktop to open the maker's web address.
void OpenMakerSite();
void Beep();

// Test seams: when set, called instead of showing anything.
struct Seams {
    std::function<Answer(const QString& text, bool yesNo)> ask;
    std::function<void(const QString& text)> tell;
    std::function<void(int context)> help; // 0 = contents
    std::function<void(const QString& url)> openUrl;
};
Seams& TestSeams();

} // namespace Desktop
