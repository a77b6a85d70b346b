// The start-up connection: the port chooser, the two error dialogs with their
// retries, and the end of the program when the person gives up.
#include "Dialogs.h"
#include "WindowRig.h"
#include "mSerial.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

class MainFormStartupTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    // COM1 has no device behind it, COM2 is the module. Retry brings the chooser
    // back with the last choice; Exit ends the program with nothing sent.
    void startup_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QList<int>>("ports");   // chosen each time the chooser comes up
        QTest::addColumn<QList<int>>("retries"); // Retry (1) or Exit (0) in the error dialog
        QTest::addColumn<QList<int>>("indexes"); // the chooser's selection as it came up
        QTest::addColumn<QList<int>>("errors");  // port open errors, module not found
        QTest::addColumn<QStringList>("received");
        const QString probe = "01 04 ff 00 55 aa";
        QTest::newRow("no device, Exit") << "" << QList<int>{1} << QList<int>{0} << QList<int>{0}
                                         << QList<int>{1, 0} << QStringList();
        QTest::newRow("silent module, Retry, Exit")
            << "silent" << QList<int>{2, 2} << QList<int>{1, 0} << QList<int>{0, 1}
            << QList<int>{0, 2} << QStringList{probe, probe};
        QTest::newRow("no device, Retry, the module")
            << "" << QList<int>{1, 2} << QList<int>{1} << QList<int>{0, 0} << QList<int>{1, 0}
            << QStringList{probe,   probe,   "40 00", "41 00", "1c 00",
                           "1e 00", "42 00", "14 00", "d8 00"};
    }
    void startup() {
        QFETCH(QString, fault);
        QFETCH(QList<int>, ports);
        QFETCH(QList<int>, retries);
        QFETCH(QList<int>, indexes);
        QFETCH(QList<int>, errors);
        QFETCH(QStringList, received);
        WindowRig rig(fault.isEmpty() ? std::vector<std::string>()
                                      : std::vector<std::string>{"--fault", fault.toStdString()});
        PortTable::Set({"/dev/nvm-test-no-such-port", rig.sim.DevicePath()});
        rig.chooserPorts.assign(ports.begin(), ports.end());
        for (const int retry : retries)
            (fault.isEmpty() ? rig.openErrorRetries : rig.connectErrorRetries).push_back(retry);
        rig.hardwareFlow = true;
        const bool reaches = received.size() > 2;
        QVERIFY(reaches ? rig.StartAndRead() : rig.StartUntilQuit());
        QCOMPARE(rig.chooserIndexesSeen, indexes);
        QCOMPARE(QList<int>({rig.openErrorsShown, rig.connectErrorsShown}), errors);
        QCOMPARE(rig.Received().mid(0, received.size()), received);
        QCOMPARE(rig.form->serPort.IsOpen(), reaches);
        QCOMPARE(rig.quitStatus, reaches ? std::nullopt : std::optional<int>(0));
        if (!reaches) return;
        // The settings the module's port is opened with, flow control as ticked.
        const mSerial& port = rig.form->serPort;
        QCOMPARE(port.port, 2);
        QCOMPARE(port.handshake, mHandHardware);
        QCOMPARE(port.baudrate, mBaud38400);
        QVERIFY(port.databits == mData8 && port.parity == mParNone && port.stopbits == mStop1);
        QCOMPARE(rig.form->generalPage->prodID->text(), QString("NVM-220"));
    }
};

QTEST_MAIN(MainFormStartupTest)
#include "MainFormStartupTest.moc"
