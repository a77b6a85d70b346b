// SPDX-License-Identifier: Apache-2.0
// The start-up connection: the port chooser, the two error dialogs with what
// they say and their retries, the port settings, and the end of the program
// when the person gives up.
#include "ConnCheckForm.h"
#include "WindowRig.h"
#include "mSerial.h"

#include <QAction>
#include <QEventLoop>
#include <QFileInfo>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString kProbe = "01 04 ff 00 55 aa";
const QStringList kOpenLines = {
    "COM port could not be opened!", "Opening the selected COM port failed. Make sure that the",
    "selected COM port exists and that no other program is using", "it. "};
} // namespace

class StartupTest : public QObject {
    Q_OBJECT
  private slots:
    // COM1 has no device behind it, COM2 is the module, COM3 is not in the
    // table. Retry brings the chooser back with the last choice; Exit ends the
    // program with nothing sent.
    void startup_data() {
        QTest::addColumn<QString>("fault");      // a "silent" module; COM2 "held" elsewhere
        QTest::addColumn<QList<int>>("ports");   // chosen each time the chooser comes up
        QTest::addColumn<QList<int>>("retries"); // Retry (1) or Exit (0) in the error dialog
        QTest::addColumn<QList<int>>("indexes"); // the chooser's selection as it came up
        QTest::addColumn<QList<int>>("errors");  // port open errors, module not found
        QTest::addColumn<QStringList>("received");
        QTest::addColumn<QStringList>("lines"); // of the first error dialog, %1 the module's device
        const QString noSuchPort = "COM1 is /dev/nvm-test-no-such-port: No such file or directory.";
        QTest::newRow("no device, Exit")
            << "" << QList<int>{1} << QList<int>{0} << QList<int>{0} << QList<int>{1, 0}
            << QStringList() << kOpenLines + QStringList{noSuchPort};
        QTest::newRow("silent module, Retry, Exit")
            << "silent" << QList<int>{2, 2} << QList<int>{1, 0} << QList<int>{0, 1}
            << QList<int>{0, 2} << QStringList{kProbe, kProbe}
            << QStringList{"Norvane Bluetooth unit not found!",
                           "Please ensure that you have selected the correct com port",
                           "and that your Norvane Bluetooth unit is correctly powered.",
                           "Also note that it is not possible to configure your unit while it",
                           "has an established Bluetooth connection."};
        QTest::newRow("no device, Retry, the module")
            << "" << QList<int>{1, 2} << QList<int>{1} << QList<int>{0, 0} << QList<int>{1, 0}
            << QStringList{kProbe,  kProbe,  "40 00", "41 00", "1c 00",
                           "1e 00", "42 00", "14 00", "d8 00"}
            << kOpenLines + QStringList{noSuchPort};
        QTest::newRow("not in the table") << "" << QList<int>{3} << QList<int>{0} << QList<int>{0}
                                          << QList<int>{1, 0} << QStringList()
                                          << kOpenLines + QStringList{"COM3 has no device behind "
                                                                      "it on this computer."};
        QTest::newRow("held by another program")
            << "held" << QList<int>{2} << QList<int>{0} << QList<int>{0} << QList<int>{1, 0}
            << QStringList()
            << kOpenLines + QStringList{"COM2 is %1: the device is in use by another program."};
    }
    void startup() {
        QFETCH(QString, fault);
        QFETCH(QList<int>, ports);
        QFETCH(QList<int>, retries);
        QFETCH(QList<int>, indexes);
        QFETCH(QList<int>, errors);
        QFETCH(QStringList, received);
        QFETCH(QStringList, lines);
        WindowRig rig(fault == "silent" ? std::vector<std::string>{"--fault", "silent"}
                                        : std::vector<std::string>());
        const QString device = QString::fromStdString(rig.sim.DevicePath());
        PortTable::Set({"/dev/nvm-test-no-such-port", device.toStdString()});
        mSerial holder;
        holder.port = 2;
        if (fault == "held") QCOMPARE(holder.Open(), 0);
        rig.chooserPorts.assign(ports.begin(), ports.end());
        for (const int retry : retries)
            (fault == "silent" ? rig.connectErrorRetries : rig.openErrorRetries).push_back(retry);
        rig.hardwareFlow = true;
        const bool reaches = received.size() > 2;
        QVERIFY(reaches ? rig.StartAndRead() : rig.StartUntilQuit());
        QCOMPARE(rig.chooserIndexesSeen, indexes);
        QCOMPARE(QList<int>({rig.openErrorsShown, rig.connectErrorsShown}), errors);
        QCOMPARE(rig.dialogLines.value(0), lines.replaceInStrings("%1", device));
        QCOMPARE(rig.Received().mid(0, received.size()), received);
        QCOMPARE(rig.quitStatus, reaches ? std::nullopt : std::optional<int>(0));
        if (!reaches) return;
        // The settings the module's port is opened with, flow control as ticked.
        const mSerial& port = rig.form->serPort;
        QCOMPARE(port.port, 2);
        QCOMPARE(port.handshake, mHandHardware);
        QCOMPARE(port.baudrate, mBaud38400);
        QVERIFY(port.databits == mData8 && port.parity == mParNone && port.stopbits == mStop1);
    }

    // While the window is idle, the status bar follows the port: the module's
    // product after a read, "Port gone" when the module's line ends, and the
    // same device opened again (nothing sent) when it is back. The connection
    // check, run with the port lent to it, shows a module that answers.
    void statusBarFollowsThePort() {
        QTemporaryDir dir;
        const QString link = dir.filePath("adapter");
        WindowRig rig({"--link", link.toStdString()});
        QVERIFY(rig.StartAndRead());
        std::unique_ptr<SimServer> back;
        QStringList checked;
        rig.form->seams.connectionCheck = [&checked](TConnCheckForm& form) {
            QTRY_VERIFY(form.Done());
            checked = form.Lines();
        };
        const QString answers = "a module answers: NVM-220, software 3.02, Bluetooth address 02 "
                                "4e 56 4d 00 03";
        const struct {
            const char* name;
            std::function<void()> act;
            QString status; // %1 the device the link points to
        } steps[] = {
            {"read", [] {}, "COM1: " + link + " -> %1 | Connected | NVM-220, software 3.02"},
            {"module ends", [&] { rig.sim.Stop(); }, "COM1: " + link + " | Port gone"},
            {"module back",
             [&] {
                 back = std::make_unique<SimServer>(
                     std::vector<std::string>{"--link", link.toStdString()});
                 QVERIFY(back->Start());
             },
             "COM1: " + link + " -> %1 | Port back, opened again"},
            {"connection check", [&] { rig.form->menuHelpConnectionCheck->trigger(); },
             "COM1: " + link + " -> %1 | Port back, opened again"},
            {"read again", [&] { rig.form->readConfig->click(); },
             "COM1: " + link + " -> %1 | Port back, opened again | NVM-220, software 3.02"},
        };
        for (const auto& step : steps) {
            RowName row(step.name);
            step.act();
            const QString status = QString(step.status).arg(QFileInfo(link).canonicalFilePath());
            QTRY_COMPARE_WITH_TIMEOUT(rig.form->StatusText(), status, 5000);
            if (back) QCOMPARE(back->TraceLines().empty(), QString(step.name) == "module back");
        }
        QCOMPARE(checked,
                 QStringList({"OK | exists: " + link + " -> " + QFileInfo(link).canonicalFilePath(),
                              "OK | can be opened", "OK | no other program holds it",
                              "OK | nothing on the system is known to take it away",
                              "OK | " + answers}));
    }
};

// Cancel in the port chooser ends the program's event loop with status 0 and the
// module hears nothing. Leaving the event loops is for good, so this runs alone.
class StartupExitTest : public QObject {
    Q_OBJECT
  private slots:
    void cancelEndsTheEventLoopWithStatusZero() {
        WindowRig rig;
        rig.chooserPorts = {0};
        rig.form->seams.quit = nullptr; // the program's own way out
        rig.form->show();
        QEventLoop loop;
        QTimer::singleShot(5000, &loop, [&loop] { loop.exit(99); });
        QCOMPARE(loop.exec(), 0);
        QCOMPARE(rig.chooserIndexesSeen.size(), 1);
        QVERIFY(rig.form->noModule);
        QVERIFY(rig.Received().isEmpty());
    }
};

static const int registered = RegisterTest("StartupTest", [] { return new StartupTest; }) +
                              RegisterTest("StartupExitTest", [] { return new StartupExitTest; });
#include "StartupTest.moc"
