// The main window against a virtual module: read-all, write-all, the changed
// prompts, the closing check, the advanced switch and help.
#include "Dialogs.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

namespace {

const std::string kProbe = "01 04 ff 00 55 aa";
const QString kChangedPrompt = "Configuration has changed\n\nChanges that has not been written "
                               "to device will be lost. Continue?";
const QString kAdvancedWarning =
    "Changing the advanced settings can affect\nthe performance of the device. Please read\nthe "
    "manual carefully before changing values in\nthis section.\n\nProceed?";

bool TabShown(const TMainForm& form, QWidget* page) {
    return form.PageControl1->isTabVisible(form.PageControl1->indexOf(page));
}

QStringList TabTitles(const TMainForm& form) {
    QStringList titles;
    for (int i = 0; i < form.PageControl1->count(); ++i)
        if (form.PageControl1->isTabVisible(i)) titles << form.PageControl1->tabText(i);
    return titles;
}

} // namespace

class MainFormDeviceTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void windowBeforeAnyRead() {
        WindowRig rig;
        TMainForm& f = *rig.form;
        QCOMPARE(f.windowTitle(), QString("Norvane configuration software"));
        QCOMPARE(TabTitles(f), QStringList({"General", "Serial port", "Endpoint", "Connecting"}));
        QCOMPARE(f.PageControl1->currentWidget(), f.generalTab);
        for (QLabel* label : {f.prodID, f.hwVer, f.swVer, f.artNum, f.btAddr})
            QCOMPARE(label->text(), QString("N/A"));
        QVERIFY(!f.artNum->isEnabled());
        QCOMPARE(f.artNum->toolTip(), QString("Requires software version v3.0 "));
        QCOMPARE(f.genDeviceName->maxLength(), 31);
        QCOMPARE(f.genServName->maxLength(), 17);
        QCOMPARE(f.readConfig->text(), QString("Read configuration"));
        QCOMPARE(f.writeConf->text(), QString("Write configuration"));
        QStringList menus;
        for (QAction* a : f.menuBar()->actions())
            menus << a->text();
        QCOMPARE(menus, QStringList({"&File", "&Configuration", "&Help"}));
        QCOMPARE(f.menuLoadSettings->text(), QString("&Load settings..."));
        QCOMPARE(f.menuSaveSettings->text(), QString("&Save settings..."));
        QCOMPARE(f.menuFileExit->text(), QString("E&xit"));
        QCOMPARE(f.menuConfReadFromDevice->text(), QString("&Read from device"));
        QCOMPARE(f.menuConfWriteToDevice->text(), QString("&Write to device"));
        QCOMPARE(f.menuShowAdvanced->text(), QString("&Show advanced settings..."));
        QCOMPARE(f.menuHelpShowHelp->text(), QString("&Show help"));
        QCOMPARE(f.menuHelpWebsite->text(), QString("&Norvane website"));
        QCOMPARE(f.menuHelpAbout->text(), QString("&About..."));
        QVERIFY(!f.menuShowAdvanced->isEnabled());
        // Nothing is said to the module before the window is shown.
        QTest::qWait(50);
        QVERIFY(rig.Received().empty());
    }

    void readAllShowsTheModule() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QCOMPARE(rig.choosersShown, 1);
        // Start-up probe, then read-all: probe and the General commands in order.
        QCOMPARE(rig.Received(), std::vector<std::string>({kProbe, kProbe, "40 00", "41 00",
                                                           "1c 00", "1e 00", "42 00"}));
        QCOMPARE(f.prodID->text(), QString("NVM-220"));
        QCOMPARE(f.hwVer->text(), QString("2007.01.13-01"));
        QCOMPARE(f.swVer->text(), QString("3.02"));
        QCOMPARE(f.artNum->text(), QString("NVM220-302-A1"));
        QVERIFY(f.artNum->isEnabled());
        QCOMPARE(f.btAddr->text(), QString("02 4e 56 4d 00 03"));
        QCOMPARE(f.genDeviceName->text(), QString("Norvane NVM-220"));
        QCOMPARE(f.genServName->text(), QString("Serial Port"));
        QVERIFY(f.readConfig->isEnabled());
        QVERIFY(f.writeConf->isEnabled());
        QVERIFY(f.menuShowAdvanced->isEnabled());
        QVERIFY(!f.progForm->isVisible());
        QCOMPARE(f.progForm->windowTitle(), QString("Reading settings"));
        QCOMPARE(f.progForm->Label1->text(), QString("Please wait, reading settings from device"));
        // 13, raised by 7 for a module with the advanced groups, and filled at the end.
        QCOMPARE(f.progForm->bar->maximum(), 20);
        QCOMPARE(f.progForm->bar->value(), 20);
        QVERIFY(!f.AnyChanged());
        QVERIFY(rig.questions.isEmpty());
        QVERIFY(rig.errors.empty());

        // A second read through the menu asks nothing when nothing was edited.
        rig.ClearTrace();
        f.menuConfReadFromDevice->trigger();
        QCOMPARE(rig.Received(),
                 std::vector<std::string>({kProbe, "40 00", "41 00", "1c 00", "1e 00", "42 00"}));
        QVERIFY(rig.questions.isEmpty());
    }

    void firstGenerationOldFirmware() {
        WindowRig rig({"--profile", "code1-2.10"});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QCOMPARE(f.prodID->text(), QString("NVM-100"));
        QCOMPARE(f.swVer->text(), QString("2.10"));
        QCOMPARE(f.artNum->text(), QString("N/A"));
        QVERIFY(!f.artNum->isEnabled());
        QVERIFY(!f.menuShowAdvanced->isEnabled());
        QCOMPARE(f.progForm->bar->maximum(), 13);
        for (const std::string& frame : rig.Received())
            QVERIFY(frame.rfind("41", 0) != 0);
        QVERIFY(rig.WaitForReceived("42 00"));
    }

    void failedIdentityStopsReadAll() {
        WindowRig rig({"--fault", "silent:0x40"});
        TMainForm& f = *rig.form;
        f.show();
        QTRY_COMPARE_WITH_TIMEOUT(rig.errors.size(), size_t(1), 5000);
        QTRY_VERIFY(f.readConfig->isEnabled());
        QCOMPARE(rig.errors[0].caption, QString("Error - communication (0x0140)"));
        QCOMPARE(rig.errors[0].headline, QString("Could not read parameter"));
        QCOMPARE(rig.errors[0].description,
                 QString("A communication error occured when reading information from the "
                         "device.\nThe reason was: Communication timeout"));
        QCOMPARE(rig.Received(), std::vector<std::string>({kProbe, kProbe, "40 00"}));
        QVERIFY(!f.progForm->isVisible());
        QVERIFY(f.writeConf->isEnabled());
        QCOMPARE(f.prodID->text(), QString("N/A"));
        QCOMPARE(f.genDeviceName->text(), QString());
    }

    void writeAllSendsTheNames() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        f.genDeviceName->setText("Bench unit 7");
        f.genServName->setText("SPP");
        QVERIFY(f.AnyChanged());
        rig.ClearTrace();
        QTest::mouseClick(f.writeConf, Qt::LeftButton);
        const std::string name = HexText("Bench unit 7");
        QCOMPARE(rig.Received(), std::vector<std::string>(
                                     {"1d 0d " + name + " 00", "1f 04 " + HexText("SPP") + " 00"}));
        QVERIFY(rig.errors.empty());
        QVERIFY(!f.AnyChanged());
        QVERIFY(!f.progForm->isVisible());
        QCOMPARE(f.progForm->windowTitle(), QString("Writing settings"));
        QCOMPARE(f.progForm->Label1->text(), QString("Please wait, writing settings to device"));
        QCOMPARE(f.progForm->bar->maximum(), 9);
        QVERIFY(f.readConfig->isEnabled() && f.writeConf->isEnabled());

        // The module keeps them: a fresh read shows them again.
        f.genDeviceName->setText("scratch");
        rig.answers = {Desktop::Answer::Ok};
        f.readConfig->click();
        QCOMPARE(rig.questions.size(), 1);
        QCOMPARE(f.genDeviceName->text(), QString("Bench unit 7"));
        QCOMPARE(f.genServName->text(), QString("SPP"));
    }

    void longestNameGoesOutWithItsZero() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        const std::string longest(31, 'N');
        f.genDeviceName->setText(QString::fromStdString(longest + "extra"));
        QCOMPARE(f.genDeviceName->text().size(), 31);
        rig.ClearTrace();
        f.menuConfWriteToDevice->trigger();
        QVERIFY(!rig.Received().empty());
        QCOMPARE(rig.Received().front(), "1d 20 " + HexText(longest) + " 00");
    }

    void invalidNamesWriteNothing() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        rig.ClearTrace();

        f.PageControl1->setCurrentWidget(f.serialTab);
        f.genDeviceName->clear();
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, QString("Error - Invalid input value"));
        QCOMPARE(rig.errors[0].headline, QString("Invalid Bluetooth name"));
        QCOMPARE(rig.errors[0].description,
                 QString("The field \"Bluetooth name\" must be a string with 1-31 characters"));
        QCOMPARE(f.PageControl1->currentWidget(), f.generalTab);
        QVERIFY(f.readConfig->isEnabled() && f.writeConf->isEnabled());
        QVERIFY(!f.progForm->isVisible());

        f.genDeviceName->setText("Named again");
        f.genServName->clear();
        f.PageControl1->setCurrentWidget(f.conTab);
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(2));
        QCOMPARE(rig.errors[1].headline, QString("Invalid Bluetooth service name"));
        QCOMPARE(
            rig.errors[1].description,
            QString("The field \"Bluetooth service name\" must be a string with 1-17 characters"));
        QCOMPARE(f.PageControl1->currentWidget(), f.generalTab);

        QTest::qWait(50);
        QVERIFY(rig.Received().empty());
        QVERIFY(f.AnyChanged());
    }

    void readAllAsksBeforeDroppingEdits() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        f.genDeviceName->setText("Unsaved name");
        rig.ClearTrace();

        rig.answers = {Desktop::Answer::Cancel};
        f.readConfig->click();
        QCOMPARE(rig.questions, QStringList({kChangedPrompt}));
        // Only the probe went out; the edit stays.
        QCOMPARE(rig.Received(), std::vector<std::string>({kProbe}));
        QCOMPARE(f.genDeviceName->text(), QString("Unsaved name"));
        QVERIFY(f.AnyChanged());
        QVERIFY(f.readConfig->isEnabled() && f.writeConf->isEnabled());
        QVERIFY(!f.progForm->isVisible());

        rig.answers = {Desktop::Answer::Ok};
        f.readConfig->click();
        QCOMPARE(rig.questions.size(), 2);
        QCOMPARE(f.genDeviceName->text(), QString("Norvane NVM-220"));
        QVERIFY(!f.AnyChanged());
    }

    void closingUnchangedTellsTheModule() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        rig.ClearTrace();
        QVERIFY(rig.form->close());
        QVERIFY(!rig.form->isVisible());
        QVERIFY(rig.questions.isEmpty());
        QCOMPARE(rig.Received(), std::vector<std::string>({"50 00"}));
    }

    void closingWithEditsAsks() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        f.genServName->setText("Edited");
        rig.ClearTrace();

        rig.answers = {Desktop::Answer::Cancel};
        f.menuFileExit->trigger();
        QVERIFY(f.isVisible());
        QCOMPARE(rig.questions, QStringList({kChangedPrompt}));
        QTest::qWait(50);
        QVERIFY(rig.Received().empty());
        QCOMPARE(f.genServName->text(), QString("Edited"));

        rig.answers = {Desktop::Answer::Ok};
        QVERIFY(f.close());
        QVERIFY(!f.isVisible());
        QCOMPARE(rig.questions.size(), 2);
        QCOMPARE(rig.Received(), std::vector<std::string>({"50 00"}));
    }

    void advancedSwitch() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;

        rig.answers = {Desktop::Answer::No};
        f.menuShowAdvanced->trigger();
        QCOMPARE(rig.questions, QStringList({kAdvancedWarning}));
        QVERIFY(!f.menuShowAdvanced->isChecked());
        QVERIFY(!TabShown(f, f.adv1));

        f.menuShowAdvanced->trigger(); // answered Yes
        QCOMPARE(rig.questions.size(), 2);
        QVERIFY(f.menuShowAdvanced->isChecked());
        // A second-generation module with software 3.02 has the audio page too.
        QCOMPARE(TabTitles(f),
                 QStringList({"General", "Serial port", "Endpoint", "Connecting",
                              "Scan and Output power", "Power save", "Other", "Audio settings"}));

        f.menuShowAdvanced->trigger(); // off: never asks
        QCOMPARE(rig.questions.size(), 2);
        QVERIFY(!f.menuShowAdvanced->isChecked());
        QCOMPARE(TabTitles(f), QStringList({"General", "Serial port", "Endpoint", "Connecting"}));

        f.menuShowAdvanced->trigger(); // on again: asks again
        QCOMPARE(rig.questions.size(), 3);
        QVERIFY(TabShown(f, f.adv4));
    }

    void audioPageNeedsSecondGenerationAndMinorTwo() {
        for (const char* profile : {"code1-3.02", "code3-3.00"}) {
            WindowRig rig({"--profile", profile});
            QVERIFY(rig.StartAndRead());
            TMainForm& f = *rig.form;
            QVERIFY(f.menuShowAdvanced->isEnabled());
            f.menuShowAdvanced->trigger();
            QVERIFY2(TabShown(f, f.adv1) && TabShown(f, f.adv2) && TabShown(f, f.adv3), profile);
            QVERIFY2(!TabShown(f, f.adv4), profile);
        }
    }

    void helpFromKeysAndMenus() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QApplication::setActiveWindow(&f);
        QVERIFY(QTest::qWaitForWindowActive(&f));
        f.genDeviceName->setFocus();
        QTest::keyClick(f.genDeviceName, Qt::Key_F1);
        f.genServName->setFocus();
        QTest::keyClick(f.genServName, Qt::Key_F1);
        f.readConfig->setFocus();
        QTest::keyClick(f.readConfig, Qt::Key_F1);
        QCOMPARE(rig.helpRequests, std::vector<int>({22, 23, 5}));

        f.menuHelpShowHelp->trigger();
        QCOMPARE(rig.helpRequests.back(), 0);
        f.menuHelpWebsite->trigger();
        QCOMPARE(rig.urlRequests, QStringList({QString(Desktop::kMakerAddress)}));
    }

    void aboutBoxFromTheMenu() {
        WindowRig rig;
        TMainForm& f = *rig.form;
        QString caption;
        CloseNextModal(&caption);
        f.menuHelpAbout->trigger();
        QCOMPARE(caption, QString("About Norvane Configuration software"));
    }
};

QTEST_MAIN(MainFormDeviceTest)
#include "MainFormDeviceTest.moc"
