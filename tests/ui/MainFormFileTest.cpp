// The File menu: the saved configuration file, loading it back, and what the
// person is told when a save or a load cannot be done. (The bytes of every kind
// of module's file, and the command line's same bytes, are tested with the
// kinds of module.)
#include "SerSetHandler.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray kHeader =
    "# Configuration file saved by Norvane Configuration Software 3.01\r\n\r\n\r\n";

QByteArray Slurp(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// A person picks an item of a combo box.
void Choose(QComboBox* box, const QString& item) {
    const int index = box->findText(item);
    QVERIFY2(index >= 0, qPrintable(item));
    box->setCurrentIndex(index);
    emit box->activated(index);
}

// The names and serial settings a person changes on the default module.
void ChangeNamesAndSerial(TMainForm& f) {
    Type(f.generalPage->genDeviceName, "Bench unit 12");
    Type(f.generalPage->genServName, "Data");
    Choose(f.serialPage->BaudrateBox, "460800");
    Choose(f.serialPage->ParityBox, "Odd");
    Choose(f.serialPage->stopBitsBox, "2");
    Choose(f.serialPage->flowBox, "On");
}

} // namespace

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
        const QByteArray saved = Slurp(dir.filePath("settings.bcf"));
        QVERIFY(saved.startsWith(kHeader + "# Name and information parameters\r\n"
                                           "Bluetooth Device Name: Norvane NVM-220\r\n"));
        QVERIFY(saved.contains("# Serial port settings\r\nSerial baudrate: 38400\r\n"
                               "Serial parity: None\r\nSerial databits: 8\r\n"
                               "Serial stopbits: 1\r\nSerial flow control: Off\r\n"
                               "User defined baudrate: No\r\n"
                               "Value user define baudrate: 0\r\n\r\n\r\n"));

        ChangeNamesAndSerial(f);
        // Bare line feeds do as well as CR LF; a file saved from a module that is
        // not paired carries lines without a colon, which hide nothing.
        const struct {
            const char* name;
            QByteArray bytes;
            QString shows;
        } loads[] = {
            {"lf.bcf",
             "Device not paired\nBluetooth Device Name: From LF file\nBluetooth Service Name: "
             "LF\nSerial parity: Even\n",
             "From LF file / LF / 460800 Even"},
            {"settings.bcf", {}, "Norvane NVM-220 / Serial Port / 38400 None"},
        };
        for (const auto& load : loads) {
            chosen = dir.filePath(load.name);
            if (!load.bytes.isEmpty()) {
                QFile file(chosen);
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(load.bytes) > 0);
            }
            f.menuLoadSettings->trigger();
            QCOMPARE(f.generalPage->genDeviceName->text() + " / " +
                         f.generalPage->genServName->text() + " / " +
                         f.serialPage->BaudrateBox->currentText() + " " +
                         f.serialPage->ParityBox->currentText(),
                     load.shows);
        }
        QVERIFY(rig.Received().isEmpty()); // loading only fills the pages
        QVERIFY(rig.messages.isEmpty());

        // A load that took values counts as an edit: read-all asks first.
        rig.answers = {Desktop::Answer::Cancel};
        f.readConfig->click();
        QCOMPARE(rig.questions.size(), 1);

        f.writeConf->click();
        QCOMPARE(rig.Received().mid(0, 5),
                 QStringList({"01 04 ff 00 55 aa", "1d 10 " + Hex("Norvane NVM-220") + " 00",
                              "1f 0c " + Hex("Serial Port") + " 00", "15 05 05 00 00 08 01",
                              "d9 03 00 00 00"}));
        QVERIFY(rig.errors.empty());
    }

    // Saving over a file asks first; a save that cannot be done says so and
    // leaves what was there; a link is written through to its file.
    void savingAsksAndSaysWhy() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QString chosen;
        f.seams.saveFileName = [&] { return chosen; };
        const QString old = dir.filePath("old.bcf");
        QFile file(old);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("keep me") == 7);
        file.close();
        QVERIFY(chmod(QFile::encodeName(old), 0600) == 0);

        chosen = dir.filePath("old"); // becomes old.bcf, which is there
        rig.answers = {Desktop::Answer::No};
        f.menuSaveSettings->trigger();
        QCOMPARE(rig.questions, QStringList({"The file \"" + old +
                                             "\" already exists.\n\nDo you want to replace it?"}));
        QCOMPARE(Slurp(old), QByteArray("keep me"));

        QVERIFY(symlink("old.bcf", QFile::encodeName(dir.filePath("link.bcf"))) == 0);
        chosen = dir.filePath("link.bcf");
        f.menuSaveSettings->trigger(); // answered Yes
        QCOMPARE(rig.questions.size(), 2);
        QVERIFY(QFileInfo(dir.filePath("link.bcf")).isSymLink());
        QVERIFY(Slurp(old).startsWith(kHeader));
        QCOMPARE(QFile::permissions(old), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                              QFileDevice::ReadUser | QFileDevice::WriteUser);

        chosen = dir.filePath("no folder/x.bcf");
        f.menuSaveSettings->trigger();
        QCOMPARE(rig.messages,
                 QStringList({"The settings could not be saved to \"" + chosen +
                              "\": No such file or directory.\n\nThe file was not changed."}));
        QCOMPARE(rig.questions.size(), 2);
    }

    // Loading refuses what is not a configuration file, says why, and changes nothing.
    void loadingRefusesWhatIsNotAConfigurationFile() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QString chosen;
        f.seams.openFileName = [&] { return chosen; };
        QVERIFY(mkfifo(QFile::encodeName(dir.filePath("pipe.bcf")), 0600) == 0);
        auto write = [&](const QString& name, const QByteArray& bytes) {
            QFile file(dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        };
        QByteArray noise(64 * 1024, '\0');
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
        write("noise.bin", noise);
        write("big.bcf", QByteArray(1024 * 1024 + 1, 'a'));
        write("text.txt", "Just some notes\nabout nothing: at all\n");
        const struct {
            QString path, why;
        } cases[] = {
            {dir.path(), "it is a folder"},
            {dir.filePath("pipe.bcf"), "it is not a regular file"},
            {"/dev/zero", "it is not a regular file"},
            {dir.filePath("big.bcf"), "it is larger than 1 MiB"},
            {dir.filePath("noise.bin"), "it holds zero bytes, so it is not a configuration file"},
            {dir.filePath("absent.bcf"), "No such file or directory"},
            {dir.filePath("text.txt"), ""},
        };
        for (const auto& c : cases) {
            chosen = c.path;
            rig.messages.clear();
            f.menuLoadSettings->trigger();
            QCOMPARE(rig.messages,
                     QStringList(c.why.isEmpty()
                                     ? "\"" + c.path +
                                           "\" holds no settings of a module.\n\nNothing was "
                                           "changed."
                                     : "The settings could not be loaded from \"" + c.path +
                                           "\": " + c.why + ".\n\nNothing was changed."));
        }
        QCOMPARE(f.generalPage->genDeviceName->text(), QString("Norvane NVM-220"));
        QVERIFY(!f.AnyChanged());
    }
};

QTEST_MAIN(MainFormFileTest)
#include "MainFormFileTest.moc"
