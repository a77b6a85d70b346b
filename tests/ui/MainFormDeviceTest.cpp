// The main window against a virtual module: read-all for each kind of module and
// the advanced pages, write-all and its checks, the read-all and closing
// questions, a failed read, and help.
#include "Dialogs.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kProbe = "01 04 ff 00 55 aa";
const QString kChangedPrompt = "Configuration has changed\n\nChanges that has not been written "
                               "to device will be lost. Continue?";
const QString kAdvancedWarning =
    "Changing the advanced settings can affect\nthe performance of the device. Please read\nthe "
    "manual carefully before changing values in\nthis section.\n\nProceed?";
const QStringList kBasicTabs = {"General", "Serial port", "Endpoint", "Connecting"};

QStringList TabTitles(const TMainForm& form) {
    QStringList titles;
    for (int i = 0; i < form.PageControl1->count(); ++i)
        if (form.PageControl1->isTabVisible(i)) titles << form.PageControl1->tabText(i);
    return titles;
}

// The General page as a person reads it.
QString GeneralShows(const TMainForm& f) {
    QStringList shown;
    for (const QLabel* label : {f.generalPage->prodID, f.generalPage->hwVer, f.generalPage->swVer,
                                f.generalPage->artNum, f.generalPage->btAddr})
        shown << label->text() + (label->isEnabled() ? "" : " (greyed)");
    return (shown << f.generalPage->genDeviceName->text() << f.generalPage->genServName->text())
        .join(" | ");
}

} // namespace

class MainFormDeviceTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

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
            << "default"
            << "NVM-220 | 2007.01.13-01 | 3.02 | NVM220-302-A1 | 02 4e 56 4d 00 03 | "
               "Norvane NVM-220 | Serial Port"
            << advanced + QStringList{"Audio settings"};
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
        QTemporaryDir dir;
        const QByteArray longName = "Line 4 / Station 17 / Left side.";
        QFile state(dir.filePath("module.state"));
        QVERIFY(state.open(QIODevice::WriteOnly));
        state.write("device_name " + longName + "\n");
        state.close();
        WindowRig rig({"--state", state.fileName().toStdString()});
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
        name->end(false);
        QTest::keyClick(name, Qt::Key_Backspace);
        QTest::keyClicks(name, "!"); // the edit holds 31 characters again
        QCOMPARE(name->text(), QString(longName.left(31)));
        Type(f.generalPage->genServName, "Caf");
        for (const QChar typed : QString::fromUtf8("\u00e9\u03a9s")) {
            QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QString(typed));
            QApplication::sendEvent(f.generalPage->genServName, &press);
        }
        QCOMPARE(f.generalPage->genServName->text(), QString::fromUtf8("Caf\u00e9s"));
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.Received().mid(0, 2), QStringList({"1d 20 " + Hex(longName.left(31)) + " 00",
                                                        "1f 06 43 61 66 e9 73 00"}));
    }

    // A read-all that stops at the Serial port group still shows the General
    // group it read.
    void failedSerialReadStillShowsWhatWasRead() {
        WindowRig rig({"--fault", "status:0x14=255"});
        QVERIFY(!rig.StartAndRead());
        QTRY_VERIFY(rig.form->readConfig->isEnabled());
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, QString("Error - communication (0x0114)"));
        QCOMPARE(rig.errors[0].description,
                 QString("A communication error occured when reading information from the "
                         "device.\nThe reason was: Status error - Command error"));
        QCOMPARE(GeneralShows(*rig.form),
                 QString("NVM-220 | 2007.01.13-01 | 3.02 | NVM220-302-A1 | 02 4e 56 4d 00 03 | "
                         "Norvane NVM-220 | Serial Port"));
        QVERIFY(!rig.form->progForm->isVisible());
    }

    void failedIdentityStopsReadAll() {
        WindowRig rig({"--fault", "silent:0x40"});
        QVERIFY(!rig.StartAndRead());
        QTRY_VERIFY(rig.form->readConfig->isEnabled());
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, QString("Error - communication (0x0140)"));
        QCOMPARE(rig.errors[0].headline, QString("Could not read parameter"));
        QCOMPARE(rig.errors[0].description,
                 QString("A communication error occured when reading information from the "
                         "device.\nThe reason was: Communication timeout"));
        QCOMPARE(rig.Received(), QStringList({kProbe, kProbe, "40 00"}));
        QVERIFY(!rig.form->progForm->isVisible());
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
};

QTEST_MAIN(MainFormDeviceTest)
#include "MainFormDeviceTest.moc"
