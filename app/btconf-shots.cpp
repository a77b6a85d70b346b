// SPDX-License-Identifier: Apache-2.0
// btconf-shots DEVICE FOLDER: the configuration window without a display. It
// opens the window offscreen on the module at DEVICE, lets the first read-all
// run as at start-up, shows the advanced settings when the module has them, and
// saves a picture of the window with each of its pages into FOLDER. Ends by
// itself: status 0 with the pictures' names on standard output, 1 when no
// module was read within the time limit, 2 for a wrong command line.
#include "Desktop.h"
#include "Dialogs.h"
#include "GeneralPage.h"
#include "TMainForm.h"
#include "mSerial.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QThread>
#include <QTimer>

#include <functional>

#include <cstdio>

namespace {

constexpr int kReadLimitMs = 30000;

// Lets the window work until `done` holds or the time is up.
bool WaitFor(const std::function<bool()>& done, int limitMs) {
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > limitMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

QString FileName(int index, QString tab) {
    tab = tab.toLower().replace(QLatin1Char(' '), QLatin1Char('-')).remove(QLatin1Char('&'));
    return QString("%1-%2.png").arg(index, 2, 10, QLatin1Char('0')).arg(tab);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 || QString(argv[1]).startsWith("-")) {
        std::fprintf(stderr, "usage: btconf-shots DEVICE FOLDER\n"
                             "Opens the configuration window offscreen on the module at DEVICE,\n"
                             "reads it, and saves a picture of every page into FOLDER.\n");
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const QString folder = QString::fromLocal8Bit(argv[2]);
    if (!QDir().mkpath(folder)) {
        std::fprintf(stderr, "btconf-shots: cannot make the folder %s\n", argv[2]);
        return 2;
    }
    PortTable::Set({argv[1]});

    // The person answers as the demonstration wants: the first port, Yes to the
    // advanced settings, and nothing else is asked.
    Desktop::Seams& desk = Desktop::TestSeams();
    desk.ask = [](const QString&, bool yesNo) {
        return yesNo ? Desktop::Answer::Yes : Desktop::Answer::Ok;
    };
    desk.tell = [](const QString& text) {
        std::fprintf(stderr, "btconf-shots: %s\n", text.toLocal8Bit().constData());
    };
    TMainForm form;
    bool gaveUp = false;
    form.seams.serChoose = [](TSerChooseForm& chooser) {
        chooser.ComboBox1->setCurrentIndex(0);
        chooser.Button1->click();
    };
    form.seams.comOpenError = [&gaveUp](TComOpenError& dialog) {
        gaveUp = true;
        dialog.ExitButton->click();
    };
    form.seams.connectError = [&gaveUp](TConnectErrorForm& dialog) {
        gaveUp = true;
        dialog.ExitButton->click();
    };
    form.seams.quit = [&gaveUp](int) { gaveUp = true; };
    // An error report (a module that stops answering) is told and closed, and
    // the demonstration ends instead of waiting for a person.
    QTimer reports;
    reports.setInterval(20);
    QObject::connect(&reports, &QTimer::timeout, [&gaveUp] {
        auto* report = qobject_cast<TErrorForm*>(QApplication::activeModalWidget());
        if (report == nullptr) return;
        std::fprintf(stderr, "btconf-shots: %s: %s\n",
                     report->windowTitle().toLocal8Bit().constData(),
                     report->LabelError->text().toLocal8Bit().constData());
        gaveUp = true;
        report->OkButton->click();
    });
    reports.start();
    form.show();

    const bool read = WaitFor(
        [&] {
            return gaveUp || (form.readConfig->isEnabled() && !form.StartTimer->isActive() &&
                              form.generalPage->prodID->text() != QLatin1String("N/A"));
        },
        kReadLimitMs);
    if (!read || gaveUp) {
        std::fprintf(stderr, "btconf-shots: the module on %s could not be read\n", argv[1]);
        return 1;
    }
    if (form.menuShowAdvanced->isEnabled()) form.menuShowAdvanced->trigger();

    int saved = 0;
    for (int i = 0; i < form.PageControl1->count(); ++i) {
        if (!form.PageControl1->isTabVisible(i)) continue;
        form.PageControl1->setCurrentIndex(i);
        QCoreApplication::processEvents();
        const QString path =
            QDir(folder).filePath(FileName(++saved, form.PageControl1->tabText(i)));
        if (!form.grab().save(path)) {
            std::fprintf(stderr, "btconf-shots: cannot write %s\n", path.toLocal8Bit().constData());
            return 1;
        }
        std::printf("%s\n", path.toLocal8Bit().constData());
    }
    form.serPort.Close(); // the window closes without asking about the module
    return 0;
}
