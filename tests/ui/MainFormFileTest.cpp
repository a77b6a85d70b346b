// The File menu: the saved configuration file byte for byte, and loading it back
// (after files that are not what they should be) before a write-all.
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

class MainFormFileTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void saveThenLoadThenWrite() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        rig.ClearTrace();
        QString chosen = dir.filePath("settings");
        f.seams.saveFileName = [&] { return chosen; };
        f.seams.openFileName = [&] { return chosen; };
        f.menuSaveSettings->trigger();
        QFile saved(dir.filePath("settings.bcf"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(),
                 "# Configuration file saved by Norvane Configuration Software 3.01\r\n\r\n\r\n"
                 "# Name and information parameters\r\n"
                 "Bluetooth Device Name: Norvane NVM-220\r\n"
                 "Bluetooth Service Name: Serial Port\r\n"
                 "Product ID: NVM-220\r\n"
                 "Article number: NVM220-302-A1\r\n"
                 "Hardware version: 2007.01.13-01\r\n"
                 "Software version: 3.02\r\n"
                 "Bluetooth Address: 02 4e 56 4d 00 03\r\n\r\n\r\n");

        f.genDeviceName->setText("Changed meanwhile");
        f.genServName->setText("Other service");
        // Random bytes and a missing file change nothing; bare line feeds do as well
        // as CR LF; the saved file brings the names back.
        QByteArray noise(64 * 1024, '\0');
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
        const struct {
            const char* name;
            QByteArray bytes;
            QString names;
        } loads[] = {
            {"noise.bin", noise, "Changed meanwhile / Other service"},
            {"absent.bcf", {}, "Changed meanwhile / Other service"},
            {"lf.bcf", "Bluetooth Device Name: From LF file\nBluetooth Service Name: LF\n",
             "From LF file / LF"},
            {"settings.bcf", {}, "Norvane NVM-220 / Serial Port"},
        };
        for (const auto& load : loads) {
            chosen = dir.filePath(load.name);
            QFile file(chosen);
            if (!load.bytes.isEmpty())
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(load.bytes) > 0);
            file.close();
            f.menuLoadSettings->trigger();
            QCOMPARE(f.genDeviceName->text() + " / " + f.genServName->text(), load.names);
        }
        QVERIFY(rig.Received().isEmpty()); // loading only fills the page

        f.writeConf->click();
        QCOMPARE(rig.Received(), QStringList({"1d 10 " + Hex("Norvane NVM-220") + " 00",
                                              "1f 0c " + Hex("Serial Port") + " 00"}));
        QVERIFY(rig.questions.isEmpty() && rig.errors.empty());
    }
};

QTEST_MAIN(MainFormFileTest)
#include "MainFormFileTest.moc"
