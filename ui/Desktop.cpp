// SPDX-License-Identifier: Apache-2.0
// The program's contacts with the desktop. Every one of them can be answered by
// a test through TestSeams(); otherwise the real Qt facility is used.
#include "Desktop.h"

#include "HelpViewer.h"

#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPointer>
#include <QUrl>

namespace Desktop {

const char* const kApplicationTitle = "Norvane Bluetooth Configuration";
const char* const kHelpFileName = "BTCONF.HLP";
const char* const kMakerAddress = "https://www.example.com/norvane";

Seams& TestSeams() {
    static Seams seams;
    return seams;
}

namespace {

// OK and Cancel ask whether to throw edits away, so Return keeps them (Cancel);
// Yes and No default to Yes.
Answer Ask(QWidget* parent, const QString& text, bool yesNo) {
    if (TestSeams().ask) return TestSeams().ask(text, yesNo);
    const QMessageBox::StandardButtons buttons =
        yesNo ? (QMessageBox::Yes | QMessageBox::No) : (QMessageBox::Ok | QMessageBox::Cancel);
    const QMessageBox::StandardButton chosen =
        QMessageBox::warning(parent, QString::fromLatin1(kApplicationTitle), text, buttons,
                             yesNo ? QMessageBox::Yes : QMessageBox::Cancel);
    if (yesNo) return chosen == QMessageBox::Yes ? Answer::Yes : Answer::No;
    return chosen == QMessageBox::Ok ? Answer::Ok : Answer::Cancel;
}

// The help file is read once and kept for the life of the program; the
// viewers refer to it. A file that could not be read is tried again next time.
const HelpFile* LoadedHelp() {
    static HelpFile file;
    static bool loaded = false;
    if (!loaded) loaded = file.Load(HelpFile::DefaultPath());
    return loaded ? &file : nullptr;
}

void TellNotAvailable(QWidget* parent, const QString& text) {
    QMessageBox::information(parent, QString::fromLatin1(kApplicationTitle) + " Help", text);
}

} // namespace

Answer AskOkCancel(QWidget* parent, const QString& text) {
    return Ask(parent, text, false);
}

Answer AskYesNo(QWidget* parent, const QString& text) {
    return Ask(parent, text, true);
}

void Tell(QWidget* parent, const QString& text) {
    if (TestSeams().tell) {
        TestSeams().tell(text);
        return;
    }
    QMessageBox::warning(parent, QString::fromLatin1(kApplicationTitle), text);
}

void ShowHelpContents(QWidget* parent) {
    if (TestSeams().help) {
        TestSeams().help(0);
        return;
    }
    const HelpFile* file = LoadedHelp();
    if (file == nullptr) {
        TellNotAvailable(parent, QString("The help file %1 could not be found or read.")
                                     .arg(QString::fromLatin1(kHelpFileName)));
        return;
    }
    // One contents window, reused. It is a window of its own beside the main
    // window and closes with it.
    static QPointer<HelpViewer> contents;
    if (contents.isNull()) {
        contents = new HelpViewer(*file, parent != nullptr ? parent->window() : nullptr);
        contents->setAttribute(Qt::WA_DeleteOnClose);
        contents->setWindowFlags(Qt::Window);
        contents->resize(640, 520);
    }
    contents->ShowTopic(0);
    contents->show();
    contents->raise();
    contents->activateWindow();
}

void ShowHelpPopup(QWidget* parent, int context) {
    if (TestSeams().help) {
        TestSeams().help(context);
        return;
    }
    const HelpFile* file = LoadedHelp();
    if (file == nullptr || !file->Has(context)) {
        TellNotAvailable(parent, QString("Help topic %1 is not available.").arg(context));
        return;
    }
    HelpViewer popup(*file, parent);
    popup.resize(460, 320);
    popup.ShowTopic(context);
    popup.exec();
}

void OpenMakerSite() {
    const QString address = QString::fromLatin1(kMakerAddress);
    if (TestSeams().openUrl) {
        TestSeams().openUrl(address);
        return;
    }
    QDesktopServices::openUrl(QUrl(address));
}

void Beep() {
    QApplication::beep();
}

} // namespace Desktop
