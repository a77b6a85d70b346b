// The main window against a virtual module: read-all for each kind of module and
// the advanced pages, write-all and its checks, the read-all and closing
// questions, failed reads and writes, help, a port that goes away and a module
// that comes back on the same path, the progress dialog as it is painted, and
// clicks made while an operation runs.
#include "Dialogs.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

namespace {

const QString kProbe = "01 04 ff 00 55 aa";
const QString kChangedPrompt = "Configuration has changed\n\nChanges that has not been written "
                               "to device will be lost. Continue?";
const QString kAdvancedWarning =
    "Changing the advanced settings can affect\nthe performance of the device. Please read\nthe "
    "manual carefully before changing values in\nthis section.\n\nProceed?";
const QStringList kBasicTabs = {"General", "Serial port", "Endpoint", "Connecting"};
const QString kDefaultGeneral = "NVM-220 | 2007.01.13-01 | 3.02 | NVM220-302-A1 | "
                                "02 4e 56 4d 00 03 | Norvane NVM-220 | Serial Port";

QStringList TabTitles(const TMainForm& form) {
    QStringList titles;
    for (int i = 0; i < form.PageControl1->count(); ++i)
        if (form.PageControl1->isTabVisible(i)) titles << form.PageControl1->tabText(i);
    return titles;
}

double CpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// Calls back on one kind of event of one object.
class OnEvent : public QObject {
  public:
    OnEvent(QObject* target, QEvent::Type type, std::function<void()> action)
        : type(type), action(std::move(action)) {
        target->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == type) action();
        return false;
    }

  private:
    QEvent::Type type;
    std::function<void()> action;
};

// A click as the window system queues it: delivered when events are next processed.
void QueueClick(QWidget* button) {
    const QPointF at = QRectF(button->rect()).center();
    for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease})
        QCoreApplication::postEvent(
            button,
            new QMouseEvent(type, at, button->mapToGlobal(at), Qt::LeftButton,
                            type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                            Qt::NoModifier));
}

} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
  private slots:
    // Read-all at start-up and again from the menu (nothing edited: no question);
    // then the advanced pages: shown after the warning is answered Yes, the audio
    // page only on a second-generation module with software 3.02, hidden without
    // asking. A module below software 3.0 has no article number and no advanced pages.
    void readAllAndAdvancedPages_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QStringList>("advancedTabs");
        const QStringList advanced = {"Scan and Output power", "Power save", "Other"};
        QTest::newRow("second generation 3.02")
            << "default" << kDefaultGeneral << advanced + QStringList{"Audio settings"};
        QTest::newRow("second generation 3.00")
            << "code3-3.00"
            << "NVM-220 | 2007.01.13-01 | 3.00 | NVM220-300-A1 | 02 4e 56 4d 00 03 | "
               "Norvane NVM-220 | Serial Port"
            << advanced;
        QTest::newRow("first generation 3.02")
            << "code1-3.02"
            << "NVM-100 | 2005.01.11-01 | 3.02 | NVM100-302-A1 | 02 4e 56 4d 00 01 | "
               "Norvane NVM-100 | Serial Port"
            << advanced;
        QTest::newRow("first generation 2.10")
            << "code1-2.10"
            << "NVM-100 | 2005.01.11-01 | 2.10 | N/A (greyed) | 02 4e 56 4d 00 01 | "
               "Norvane NVM-100 | Serial Port"
            << QStringList();
    }
    void readAllAndAdvancedPages() {
        QFETCH(QString, profile);
        QFETCH(QString, page);
        QFETCH(QStringList, advancedTabs);
        WindowRig rig({"--profile", profile.toStdString()});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        const bool advanced = !advancedTabs.isEmpty();
        QStringList frames = {kProbe,  "40 00", "41 00", "1c 00",
                              "1e 00", "42 00", "14 00", "d8 00"};
        if (!advanced) frames.removeAll("41 00"), frames.removeAll("d8 00");
        // After the start-up probe; the advanced groups follow (each kind of module
        // has its own test of them).
        QCOMPARE(rig.Received().mid(0, frames.size() + 1), QStringList(kProbe) + frames);
        QCOMPARE(GeneralShows(f), page);
        QCOMPARE(f.progForm->bar->maximum(), advanced ? 20 : 13);
        rig.ClearTrace();
        f.menuConfReadFromDevice->trigger();
        QCOMPARE(rig.Received().mid(0, frames.size()), frames);
        QVERIFY(rig.questions.isEmpty() && rig.errors.empty());

        QCOMPARE(f.menuShowAdvanced->isEnabled(), advanced);
        if (!advanced) return;
        rig.answers = {Desktop::Answer::No};
        f.menuShowAdvanced->trigger();
        QCOMPARE(TabTitles(f), kBasicTabs);
        f.menuShowAdvanced->trigger();
        QCOMPARE(TabTitles(f), kBasicTabs + advancedTabs);
        QVERIFY(f.menuShowAdvanced->isChecked());
        f.menuShowAdvanced->trigger();
        QCOMPARE(TabTitles(f), kBasicTabs);
        QCOMPARE(rig.questions, QStringList({kAdvancedWarning, kAdvancedWarning}));
    }

    // Write-all checks the names first (an empty one: nothing sent, the General
    // page comes up with the input error), then sends them as far as the edits
    // take them, with the terminating zero. A read-all after edits asks first.
    void writeAllThenReadAll() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        rig.ClearTrace();
        f.PageControl1->setCurrentWidget(f.serialTab);
        Type(f.generalPage->genDeviceName, "");
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, QString("Error - Invalid input value"));
        QCOMPARE(rig.errors[0].headline, QString("Invalid Bluetooth name"));
        QCOMPARE(rig.errors[0].description,
                 QString("The field \"Bluetooth name\" must be a string with 1-31 characters"));
        QCOMPARE(f.PageControl1->currentWidget(), f.generalTab);
        QTest::qWait(50);
        QVERIFY(rig.Received().isEmpty());

        const QString name(31, 'N');
        Type(f.generalPage->genDeviceName, name + "extra");
        Type(f.generalPage->genServName, "Serial service XYZ");
        f.writeConf->click();
        QCOMPARE(rig.Received().mid(0, 4), QStringList({"1d 20 " + Hex(name.toLatin1()) + " 00",
                                                        "1f 12 " + Hex("Serial service XY") + " 00",
                                                        "15 05 05 00 00 08 01", "d9 03 00 00 00"}));
        QCOMPARE(rig.errors.size(), size_t(1));

        // Nothing edited since: read-all asks nothing and shows what the module took.
        f.readConfig->click();
        QVERIFY(rig.questions.isEmpty());
        QCOMPARE(f.generalPage->genDeviceName->text() + " / " + f.generalPage->genServName->text(),
                 name + " / Serial service XY");
        // Edited: read-all asks; Cancel keeps the edit and sends nothing after the probe.
        Type(f.generalPage->genDeviceName, "Unsaved");
        rig.ClearTrace();
        rig.answers = {Desktop::Answer::Cancel};
        f.readConfig->click();
        QCOMPARE(rig.questions, QStringList({kChangedPrompt}));
        QCOMPARE(rig.Received(), QStringList({kProbe}));
        QCOMPARE(f.generalPage->genDeviceName->text(), QString("Unsaved"));
        f.readConfig->click(); // answered OK
        QCOMPARE(rig.questions.size(), 2);
        QCOMPARE(f.generalPage->genDeviceName->text(), name);
    }

    // A name longer than the edit allows, read from the module, is shown whole and
    // stops write-all before anything is sent, until the person shortens it; a
    // character an 8-bit text cannot carry is refused as it is typed.
    void namesAreKeptWhole() {
        const QByteArray longName = "Line 4 / Station 17 / Left side.";
        WindowRig rig(ModuleFile("--state", "device_name " + longName + "\n"));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QLineEdit* name = f.generalPage->genDeviceName;
        QCOMPARE(name->text(), QString(longName));
        QVERIFY(!f.AnyChanged());
        rig.ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].headline, QString("Invalid Bluetooth name"));
        QTest::qWait(50);
        QVERIFY(rig.Received().isEmpty());

        name->setFocus();
        Keys(name, "\u21e5\b!"); // End, Backspace: the edit holds 31 characters again
        QCOMPARE(name->text(), QString(longName.left(31)));
        Type(f.generalPage->genServName, QString::fromUtf8("Caf\u00e9\u03a9s"));
        QCOMPARE(f.generalPage->genServName->text(), QString::fromUtf8("Caf\u00e9s"));
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.Received().mid(0, 2), QStringList({"1d 20 " + Hex(longName.left(31)) + " 00",
                                                        "1f 06 43 61 66 e9 73 00"}));
    }

    // A read-all that fails stops there with one report; the General group read
    // before the failure still shows.
    void failedReadAll_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<QStringList>("received");
        QTest::addColumn<QString>("general");
        QTest::newRow("serial port refused")
            << "status:0x14=255"
            << "Error - communication (0x0114)"
            << "Status error - Command error"
            << QStringList{kProbe, kProbe, "40 00", "41 00", "1c 00", "1e 00", "42 00", "14 00"}
            << kDefaultGeneral;
        QTest::newRow("identity unanswered")
            << "silent:0x40"
            << "Error - communication (0x0140)"
            << "Communication timeout" << QStringList{kProbe, kProbe, "40 00"}
            << " |  |  |  (greyed) |  |  | ";
    }
    void failedReadAll() {
        QFETCH(QString, fault);
        QFETCH(QString, caption);
        QFETCH(QString, reason);
        QFETCH(QStringList, received);
        QFETCH(QString, general);
        WindowRig rig({"--fault", fault.toStdString()});
        QVERIFY(!rig.StartAndRead());
        QTRY_VERIFY(rig.form->readConfig->isEnabled());
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, caption);
        QCOMPARE(rig.errors[0].headline, QString("Could not read parameter"));
        QCOMPARE(rig.errors[0].description,
                 "A communication error occured when reading information from the device.\nThe "
                 "reason was: " +
                     reason);
        QCOMPARE(rig.Received(), received);
        QCOMPARE(GeneralShows(*rig.form), general);
        QVERIFY(!rig.form->progForm->isVisible());
    }

    // A write refused by the module stops write-all on the page of its group.
    void failedWriteShowsItsPage_data() {
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
    void failedWriteShowsItsPage() {
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

    // Closing tells the module (50 00); with edits it asks first, and Cancel keeps
    // the window open without a word to the module.
    void closingCheck() {
        for (const bool edited : {false, true}) {
            WindowRig rig;
            QVERIFY(rig.StartAndRead());
            TMainForm& f = *rig.form;
            rig.ClearTrace();
            if (edited) {
                Type(f.generalPage->genServName, "Edited");
                rig.answers = {Desktop::Answer::Cancel};
                f.menuFileExit->trigger();
                QVERIFY(f.isVisible());
                QTest::qWait(50);
                QVERIFY(rig.Received().isEmpty());
            }
            QVERIFY(f.close());
            QVERIFY(!f.isVisible());
            QCOMPARE(rig.questions,
                     edited ? QStringList({kChangedPrompt, kChangedPrompt}) : QStringList());
            QCOMPARE(rig.Received(), QStringList({"50 00"}));
        }
    }

    // F1 opens the focused control's topic (else the window's); the Help menu
    // opens the contents and the maker's site.
    void help() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QApplication::setActiveWindow(&f);
        QVERIFY(QTest::qWaitForWindowActive(&f));
        for (QWidget* control : {(QWidget*)f.generalPage->genDeviceName,
                                 (QWidget*)f.generalPage->genServName, (QWidget*)f.readConfig}) {
            control->setFocus();
            QTest::keyClick(control, Qt::Key_F1);
        }
        f.menuHelpShowHelp->trigger();
        f.menuHelpWebsite->trigger();
        QCOMPARE(rig.helpRequests, QList<int>({22, 23, 5, 0}));
        QCOMPARE(rig.urlRequests, QStringList({Desktop::kMakerAddress}));
    }

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

        rig.chooserPorts = {0}; // Cancel: the window stays, nothing more is said
        run->click();
        QCOMPARE(rig.chooserIndexesSeen.size(), 2);
        QVERIFY(!rig.quitStatus.has_value());

        SimServer again({"--link", link});
        QVERIFY(again.Start());
        const auto reached = [&again](const std::string& frame) {
            const std::vector<std::string> lines = again.TraceLines();
            return std::find(lines.begin(), lines.end(), "recv " + frame) != lines.end();
        };
        rig.chooserPorts = {1};
        run->click();
        QCOMPARE(rig.chooserIndexesSeen.size(), 3);
        QVERIFY(reached(writing ? "15 05 05 00 00 08 01" : "42 00"));
        QVERIFY(f.serPort.IsOpen() && !f.serPort.IsLost());

        // Choose port: the same module again, read as at start-up.
        again.ClearTrace();
        rig.chooserPorts = {1};
        f.menuConfChoosePort->trigger();
        QCOMPARE(rig.chooserIndexesSeen.size(), 4);
        QVERIFY(QTest::qWaitFor([&] { return reached("42 00"); }, 3000));
        QCOMPARE(rig.errors.size(), size_t(1));
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
        const QString reading = "Please wait, reading settings from device";
        const QList<std::tuple<QPushButton*, QString, QString>> runs = {
            {nullptr, "Reading settings", reading},
            {f.writeConf, "Writing settings", "Please wait, writing settings to device"},
            {f.readConfig, "Reading settings", reading}};
        for (const auto& [button, caption, text] : runs) {
            if (button != nullptr) {
                painted.clear();
                f.move(f.pos() + QPoint(170, 90));
                button->click();
            }
            QVERIFY(!painted.isEmpty());
            QList<int> values, expected;
            for (const Painted& p : painted) {
                QCOMPARE(p.caption + ": " + p.text, caption + ": " + text);
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
    void clicksDuringAnOperationAreDropped() {
        for (const bool writing : {true, false}) {
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
                QMetaObject::invokeMethod(f.menuConfReadFromDevice, "trigger",
                                          Qt::QueuedConnection);
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
    }
};

static const int registered = RegisterTest("MainWindowTest", [] { return new MainWindowTest; });
#include "MainWindowTest.moc"
