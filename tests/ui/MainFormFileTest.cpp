// The File menu: what a saved configuration file holds byte for byte, loading it
// back, and files that are not what they should be.
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <random>

namespace {

QByteArray ReadFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return file.readAll();
}

bool WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    return file.write(bytes) == bytes.size();
}

const QByteArray kSavedDefaultModule =
    "# Configuration file saved by Norvane Configuration Software 3.01\r\n\r\n\r\n"
    "# Name and information parameters\r\n"
    "Bluetooth Device Name: Norvane NVM-220\r\n"
    "Bluetooth Service Name: Serial Port\r\n"
    "Product ID: NVM-220\r\n"
    "Article number: NVM220-302-A1\r\n"
    "Hardware version: 2007.01.13-01\r\n"
    "Software version: 3.02\r\n"
    "Bluetooth Address: 02 4e 56 4d 00 03\r\n\r\n\r\n";

} // namespace

class MainFormFileTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void saveThenLoadThenWrite() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        rig.ClearTrace();

        f.seams.saveFileName = [&] { return dir.filePath("settings"); };
        f.menuSaveSettings->trigger();
        // The extension is added; the file is CR LF throughout.
        QVERIFY(!QFile::exists(dir.filePath("settings")));
        QCOMPARE(ReadFile(dir.filePath("settings.bcf")), kSavedDefaultModule);
        QVERIFY(rig.Received().empty());
        QVERIFY(!f.AnyChanged());

        f.genDeviceName->setText("Changed meanwhile");
        f.genServName->setText("Other service");
        f.seams.openFileName = [&] { return dir.filePath("settings.bcf"); };
        f.menuLoadSettings->trigger();
        QCOMPARE(f.genDeviceName->text(), QString("Norvane NVM-220"));
        QCOMPARE(f.genServName->text(), QString("Serial Port"));
        // Loading only fills the page; the module hears of it with write-all.
        QVERIFY(rig.Received().empty());

        f.writeConf->click();
        QCOMPARE(rig.Received(),
                 std::vector<std::string>({"1d 10 " + HexText("Norvane NVM-220") + " 00",
                                           "1f 0c " + HexText("Serial Port") + " 00"}));
        QVERIFY(rig.questions.isEmpty());
    }

    void saveKeepsGivenExtensionAndCancelWritesNothing() {
        QTemporaryDir dir;
        WindowRig rig;
        TMainForm& f = *rig.form;
        f.genDeviceName->setText("Unit");
        f.genServName->setText("Svc");

        f.seams.saveFileName = [&] { return dir.filePath("unit.bcf"); };
        f.menuSaveSettings->trigger();
        const QByteArray saved = ReadFile(dir.filePath("unit.bcf"));
        QVERIFY(
            saved.contains("\r\nBluetooth Device Name: Unit\r\nBluetooth Service Name: Svc\r\n"));
        QVERIFY(saved.contains("Product ID: \r\n"));

        f.seams.saveFileName = [] { return QString(); };
        f.menuSaveSettings->trigger();
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList({"unit.bcf"}));
    }

    void saveThatCannotBeWrittenLeavesTheOldFile() {
        QTemporaryDir dir;
        WindowRig rig;
        TMainForm& f = *rig.form;
        f.genDeviceName->setText("Unit");
        f.genServName->setText("Svc");

        // A folder that does not exist: nothing is written, nothing is shown.
        f.seams.saveFileName = [&] { return dir.filePath("missing/unit.bcf"); };
        f.menuSaveSettings->trigger();
        QVERIFY(!QFile::exists(dir.filePath("missing/unit.bcf")));
        QVERIFY(rig.errors.empty());

        // A folder standing where the file should go cannot be replaced.
        QVERIFY(QDir(dir.path()).mkdir("taken.bcf"));
        QVERIFY(WriteFile(dir.filePath("taken.bcf/inside"), "keep me"));
        f.seams.saveFileName = [&] { return dir.filePath("taken.bcf"); };
        f.menuSaveSettings->trigger();
        QCOMPARE(ReadFile(dir.filePath("taken.bcf/inside")), QByteArray("keep me"));
        QVERIFY(rig.errors.empty());
        QCOMPARE(f.genDeviceName->text(), QString("Unit"));
    }

    void loadAcceptsBareLineFeeds() {
        QTemporaryDir dir;
        WindowRig rig;
        TMainForm& f = *rig.form;
        f.genDeviceName->setText("Before");
        f.genServName->setText("Before svc");
        QVERIFY(WriteFile(dir.filePath("lf.bcf"), "# Name and information parameters\n"
                                                  "Bluetooth Device Name: From LF file\n"
                                                  "Bluetooth Service Name: LF service\n"
                                                  "Product ID: NVM-999\n"));
        f.seams.openFileName = [&] { return dir.filePath("lf.bcf"); };
        f.menuLoadSettings->trigger();
        QCOMPARE(f.genDeviceName->text(), QString("From LF file"));
        QCOMPARE(f.genServName->text(), QString("LF service"));
        // Identity lines are for the reader only.
        QVERIFY(!f.prodID->text().contains("999"));
    }

    void loadOfForeignFilesChangesNothing() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;

        QByteArray binary(64 * 1024, '\0');
        std::mt19937 random(7);
        for (char& c : binary)
            c = static_cast<char>(random() & 0xff);
        QVERIFY(WriteFile(dir.filePath("noise.bin"), binary));
        QVERIFY(WriteFile(dir.filePath("empty.bcf"), QByteArray()));
        QVERIFY(WriteFile(dir.filePath("long.bcf"), "Bluetooth Device Name" +
                                                        QByteArray(5000, 'x') + ": " +
                                                        QByteArray(5000, 'y') + "\r\n"));

        for (const char* name : {"noise.bin", "empty.bcf", "long.bcf", "absent.bcf"}) {
            f.seams.openFileName = [&] { return dir.filePath(name); };
            f.menuLoadSettings->trigger();
            QCOMPARE(f.genDeviceName->text(), QString("Norvane NVM-220"));
            QCOMPARE(f.genServName->text(), QString("Serial Port"));
        }
        f.seams.openFileName = [] { return QString(); };
        f.menuLoadSettings->trigger();
        QVERIFY(rig.errors.empty());

        // The window still talks to the module as before.
        rig.ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig.Received().size(), size_t(2));
        QCOMPARE(rig.Received()[0], "1d 10 " + HexText("Norvane NVM-220") + " 00");
    }

    void loadedEmptyNameStopsWriteAll() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QVERIFY(WriteFile(dir.filePath("blank.bcf"), "Bluetooth Device Name: \r\n"
                                                     "Bluetooth Service Name: Kept\r\n"));
        f.seams.openFileName = [&] { return dir.filePath("blank.bcf"); };
        f.menuLoadSettings->trigger();
        QCOMPARE(f.genDeviceName->text(), QString());
        QCOMPARE(f.genServName->text(), QString("Kept"));

        rig.ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].headline, QString("Invalid Bluetooth name"));
        QTest::qWait(30);
        QVERIFY(rig.Received().empty());
    }
};

QTEST_MAIN(MainFormFileTest)
#include "MainFormFileTest.moc"
