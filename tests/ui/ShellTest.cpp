// The shell around the module operations: a port that goes away and a module
// that comes back on the same path, the Choose port entry, what the start-up
// error dialogs say, the progress dialog as it is painted, clicks made while an
// operation runs, and the page shown after a failed write.
#include "Dialogs.h"
#include "SimServer.h"
#include "WindowRig.h"
#include "mSerial.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <functional>

namespace {

double CpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

bool Reached(const SimServer& sim, const std::string& frame) {
    for (const std::string& line : sim.TraceLines())
        if (line == "recv " + frame) return true;
    return false;
}

// Calls back on one kind of event of one object.
class OnEvent : public QObject {
  public:
    OnEvent(QObject* target, QEvent::Type type, std::function<void()> action)
        : type(type), action(std::move(action)) {
        target->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == type && action) action();
        return false;
    }

  private:
    QEvent::Type type;
    std::function<void()> action;
};

// A click as the window system queues it: delivered when events are next processed.
void QueueClick(QWidget* button) {
    const QPointF at = QRectF(button->rect()).center();
    const QPointF global = button->mapToGlobal(at);
    for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease})
        QCoreApplication::postEvent(
            button,
            new QMouseEvent(type, at, global, Qt::LeftButton,
                            type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                            Qt::NoModifier));
}

} // namespace

class ShellTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    // The module goes away during use: the operation fails with one report that
    // names the device, nothing spins, the next operation brings the chooser
    // (Cancel leaves the window as it is), and a module started again on the
    // same path is reached without a restart; Choose port works at any time.
    void portGoesAway_data() {
        QTest::addColumn<bool>("writing");
        QTest::addColumn<QString>("headline");
        QTest::newRow("read-all") << false << "Could not read parameter";
        QTest::newRow("write-all") << true << "Could not write parameter";
    }
    void portGoesAway() {
        QFETCH(bool, writing);
        QFETCH(QString, headline);
        QTemporaryDir dir;
        const std::string link = dir.filePath("nvm").toStdString();
        WindowRig rig({"--link", link});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QPushButton* run = writing ? f.writeConf : f.readConfig;
        rig.sim.Stop(); // the far end hangs up

        const double cpu = CpuSeconds();
        QElapsedTimer clock;
        clock.start();
        run->click();
        QVERIFY2(clock.elapsed() < 500, "no command waits out its time-out");
        QTest::qWait(1000);
        QVERIFY2(CpuSeconds() - cpu < 0.1, "nothing spins on the lost port");
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].headline, headline);
        QVERIFY2(rig.errors[0].description.contains(
                     QString::fromStdString("The device of COM1 (" + link + ") went away")),
                 qPrintable(rig.errors[0].description));
        QVERIFY(run->isEnabled() && !f.serPort.IsOpen());

        const int chooserShown = rig.chooserIndexesSeen.size();
        rig.chooserPorts = {0}; // Cancel: the window stays, nothing more is said
        run->click();
        QCOMPARE(rig.chooserIndexesSeen.size(), chooserShown + 1);
        QVERIFY(!rig.quitStatus.has_value());
        QCOMPARE(rig.errors.size(), size_t(1));

        SimServer again({"--link", link});
        QVERIFY(again.Start());
        rig.chooserPorts = {1};
        run->click();
        QCOMPARE(rig.chooserIndexesSeen.size(), chooserShown + 2);
        QVERIFY(Reached(again, writing ? "15 05 05 00 00 08 01" : "42 00"));
        QVERIFY(f.serPort.IsOpen() && !f.serPort.IsLost());
        QCOMPARE(rig.errors.size(), size_t(1));

        // Choose port: the same module again, read as at start-up.
        again.ClearTrace();
        rig.chooserPorts = {1};
        f.menuConfChoosePort->trigger();
        QCOMPARE(rig.chooserIndexesSeen.size(), chooserShown + 3);
        QVERIFY(QTest::qWaitFor([&] { return Reached(again, "42 00"); }, 3000));
        QCOMPARE(rig.errors.size(), size_t(1));
    }

    // The lines of the start-up error dialogs as the window shows them: the
    // dialog's own lines, and for a port that did not open, its device and why.
    void startupDialogLines_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("port");
        QTest::addColumn<QStringList>("lines");
        const QStringList openLines = {
            "COM port could not be opened!",
            "Opening the selected COM port failed. Make sure that the",
            "selected COM port exists and that no other program is using", "it. "};
        QTest::newRow("no such device")
            << "" << 1
            << openLines + QStringList{"COM1 is /dev/nvm-test-no-such-port: No such file or "
                                       "directory."};
        QTest::newRow("no device at all")
            << "" << 3 << openLines + QStringList{"COM3 has no device behind it on this computer."};
        QTest::newRow("held by another program")
            << "held" << 2
            << openLines + QStringList{"COM2 is %1: the device is in use by another program."};
        QTest::newRow("silent module")
            << "silent" << 2
            << QStringList{"Norvane Bluetooth unit not found!",
                           "Please ensure that you have selected the correct com port",
                           "and that your Norvane Bluetooth unit is correctly powered.",
                           "Also note that it is not possible to configure your unit while it",
                           "has an established Bluetooth connection."};
    }
    void startupDialogLines() {
        QFETCH(QString, fault);
        QFETCH(int, port);
        QFETCH(QStringList, lines);
        WindowRig rig(fault == "silent" ? std::vector<std::string>{"--fault", "silent"}
                                        : std::vector<std::string>{});
        const QString device = QString::fromStdString(rig.sim.DevicePath());
        PortTable::Set({"/dev/nvm-test-no-such-port", device.toStdString()});
        mSerial holder;
        holder.port = 2;
        if (fault == "held") QCOMPARE(holder.Open(), 0);
        rig.chooserPorts = {port};
        QVERIFY(rig.StartUntilQuit());
        QCOMPARE(rig.dialogLines.size(), 1);
        QCOMPARE(rig.dialogLines[0], lines.replaceInStrings("%1", device));
    }

    // The progress dialog is painted when it comes up and at every step, with
    // its caption, text and maximum, centred on the main window wherever that
    // has moved to.
    void progressDialog_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<int>("writeMaximum");
        QTest::newRow("software 2.10") << "gen1-2.10" << 6;
        QTest::newRow("software 3.02") << "code3-3.02" << 9;
    }
    void progressDialog() {
        QFETCH(QString, profile);
        QFETCH(int, writeMaximum);
        WindowRig rig({"--profile", profile.toStdString()});
        TMainForm& f = *rig.form;
        struct Painted {
            QString caption, text;
            int maximum, value;
            QPoint offCentre;
        };
        QList<Painted> painted;
        OnEvent log(f.progForm, QEvent::Paint, [&] {
            const QPoint centre = f.progForm->frameGeometry().center();
            painted.append({f.progForm->windowTitle(), f.progForm->Label1->text(),
                            f.progForm->bar->maximum(), f.progForm->bar->value(),
                            centre - f.frameGeometry().center()});
        });
        QVERIFY(rig.StartAndRead());
        const QList<std::tuple<QPushButton*, QString, QString>> runs = {
            {nullptr, "Reading settings", "Please wait, reading settings from device"},
            {f.writeConf, "Writing settings", "Please wait, writing settings to device"},
            {f.readConfig, "Reading settings", "Please wait, reading settings from device"}};
        for (const auto& [button, caption, text] : runs) {
            if (button != nullptr) {
                painted.clear();
                f.move(f.pos() + QPoint(170, 90));
                button->click();
            }
            QVERIFY(!painted.isEmpty());
            QList<int> values, expected;
            for (const Painted& p : painted) {
                QCOMPARE(p.caption, caption);
                QCOMPARE(p.text, text);
                QVERIFY2(qAbs(p.offCentre.x()) <= 3 && qAbs(p.offCentre.y()) <= 3,
                         qPrintable(caption));
                if (values.isEmpty() || values.last() != p.value) values << p.value;
            }
            for (int v = 0; v <= painted.last().maximum; ++v)
                expected << v;
            QCOMPARE(values, expected);
            if (caption == "Writing settings") QCOMPARE(painted.first().maximum, writeMaximum);
        }
        QVERIFY(rig.errors.empty());
    }

    // Clicks on the buttons and menu entries that start a module operation, made
    // while one runs, are dropped and not run once it has ended.
    void clicksDuringAnOperationAreDropped_data() {
        QTest::addColumn<bool>("writing");
        QTest::newRow("write-all") << true;
        QTest::newRow("read-all") << false;
    }
    void clicksDuringAnOperationAreDropped() {
        QFETCH(bool, writing);
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        bool queued = false;
        OnEvent late(f.progForm, QEvent::Hide, [&] {
            if (queued) return;
            queued = true;
            for (int i = 0; i < 3; ++i) {
                QueueClick(f.writeConf);
                QueueClick(f.readConfig);
            }
            QMetaObject::invokeMethod(f.menuConfWriteToDevice, "trigger", Qt::QueuedConnection);
            QMetaObject::invokeMethod(f.menuConfReadFromDevice, "trigger", Qt::QueuedConnection);
        });
        rig.ClearTrace();
        (writing ? f.writeConf : f.readConfig)->click();
        QVERIFY(queued);
        QTest::qWait(300);
        const QStringList frames = rig.Received();
        QCOMPARE(frames.filter(QRegularExpression("^1d ")).size(), writing ? 1 : 0);
        QCOMPARE(frames.filter(QRegularExpression("^42 00")).size(), writing ? 0 : 1);
        QVERIFY(f.writeConf->isEnabled() && f.readConfig->isEnabled());
    }

    // A write refused by the module stops write-all on the page of its group.
    void pageAfterAFailedWrite_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("caption");
        QTest::newRow("name") << "status:0x1d=254"
                              << "generalTab"
                              << "Error - communication (0x021d)";
        QTest::newRow("serial") << "status:0x15=253"
                                << "serialTab"
                                << "Error - communication (0x0215)";
        QTest::newRow("mode") << "status:0x13=254"
                              << "endpointTab"
                              << "Error - communication (0x0213)";
        QTest::newRow("inquiry scan") << "status:0xc5=254"
                                      << "adv1"
                                      << "Error - communication (0x02c5)";
    }
    void pageAfterAFailedWrite() {
        QFETCH(QString, fault);
        QFETCH(QString, page);
        QFETCH(QString, caption);
        WindowRig rig({"--fault", fault.toStdString()});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        f.PageControl1->setCurrentWidget(f.conTab);
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, caption);
        QCOMPARE(f.PageControl1->currentWidget()->objectName(), page);
        QVERIFY(f.PageControl1->isTabVisible(f.PageControl1->currentIndex()));
        QVERIFY(!f.progForm->isVisible());
    }
};

QTEST_MAIN(ShellTest)
#include "ShellTest.moc"
