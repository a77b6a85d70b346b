// The start-up connection: the port chooser, the two error dialogs with their
// retries, and the end of the program when the person gives up.
#include "Dialogs.h"
#include "WindowRig.h"
#include "mSerial.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>

namespace {
const std::string kProbe = "01 04 ff 00 55 aa";
}

class MainFormStartupTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void cancelInChooserEndsQuietly() {
        WindowRig rig;
        rig.chooserPorts = {0};
        QVERIFY(rig.StartUntilQuit());
        QCOMPARE(*rig.quitStatus, 0);
        QCOMPARE(rig.choosersShown, 1);
        QVERIFY(rig.form->noModule);
        QVERIFY(!rig.form->serPort.IsOpen());
        QTest::qWait(150);
        QVERIFY(rig.Received().empty());
        QVERIFY(rig.questions.isEmpty());
        QVERIFY(!rig.form->StartTimer->isActive());
    }

    void portWithoutDeviceOffersRetryAndExit() {
        WindowRig rig;
        // COM1 has no device behind it; COM2 is the module.
        PortTable::Set({"/dev/nvm-test-no-such-port", rig.sim.DevicePath()});
        rig.chooserPorts = {1, 1};
        rig.openErrorRetries = {true, false};
        QVERIFY(rig.StartUntilQuit());
        QCOMPARE(*rig.quitStatus, 0);
        // Retry brought the chooser back; Exit ended the program.
        QCOMPARE(rig.choosersShown, 2);
        QCOMPARE(rig.openErrorsShown, 2);
        QCOMPARE(rig.connectErrorsShown, 0);
        QCOMPARE(rig.form->serPort.port, 1);
        QVERIFY(!rig.form->serPort.IsOpen());
        QTest::qWait(100);
        QVERIFY(rig.Received().empty());
    }

    void retryCanReachTheModuleOnAnotherPort() {
        WindowRig rig;
        PortTable::Set({"/dev/nvm-test-no-such-port", rig.sim.DevicePath()});
        rig.chooserPorts = {1, 2};
        rig.openErrorRetries = {true};
        QVERIFY(rig.StartAndRead());
        QCOMPARE(rig.choosersShown, 2);
        QCOMPARE(rig.openErrorsShown, 1);
        QCOMPARE(rig.form->serPort.port, 2);
        QVERIFY(rig.form->serPort.IsOpen());
        QCOMPARE(rig.form->prodID->text(), QString("NVM-220"));
        QVERIFY(!rig.quitStatus);
    }

    void silentModuleIsNotFound() {
        WindowRig rig({"--fault", "silent"});
        rig.chooserPorts = {1, 1};
        rig.connectErrorRetries = {true, false};
        QVERIFY(rig.StartUntilQuit());
        QCOMPARE(*rig.quitStatus, 0);
        QCOMPARE(rig.choosersShown, 2);
        QCOMPARE(rig.connectErrorsShown, 2);
        QCOMPARE(rig.openErrorsShown, 0);
        // Each attempt sent the probe and nothing else; the port was closed again.
        QCOMPARE(rig.Received(), std::vector<std::string>({kProbe, kProbe}));
        QVERIFY(!rig.form->serPort.IsOpen());
    }

    void chooserSettingsReachThePort() {
        WindowRig rig;
        TMainForm& f = *rig.form;
        // The person ticks hardware flow control in the chooser.
        f.seams.serChoose = [&](TSerChooseForm& chooser) {
            ++rig.choosersShown;
            chooser.checkHWF->setChecked(true);
            chooser.ComboBox1->setCurrentIndex(0);
            chooser.Button1->click();
        };
        QVERIFY(rig.StartAndRead());
        QCOMPARE(f.serPort.handshake, mHandHardware);
        QCOMPARE(f.serPort.baudrate, mBaud38400);
        QCOMPARE(f.serPort.databits, mData8);
        QCOMPARE(f.serPort.parity, mParNone);
        QCOMPARE(f.serPort.stopbits, mStop1);
        QCOMPARE(f.serPort.ReadTimeout, 10);
        QCOMPARE(f.serPort.WriteTimeout, 100);
    }

    void chooserKeepsItsSelectionAcrossRetries() {
        WindowRig rig({"--fault", "silent"});
        PortTable::Set({"/dev/nvm-test-no-such-port", rig.sim.DevicePath()});
        TMainForm& f = *rig.form;
        QList<int> seenIndexes;
        f.seams.serChoose = [&](TSerChooseForm& chooser) {
            seenIndexes << chooser.ComboBox1->currentIndex();
            if (seenIndexes.size() == 1) {
                chooser.ComboBox1->setCurrentIndex(1);
                chooser.Button1->click();
            } else {
                chooser.Button2->click();
            }
        };
        rig.connectErrorRetries = {true};
        QVERIFY(rig.StartUntilQuit());
        QCOMPARE(seenIndexes, QList<int>({0, 1}));
        QCOMPARE(rig.connectErrorsShown, 1);
    }
};

QTEST_MAIN(MainFormStartupTest)
#include "MainFormStartupTest.moc"
