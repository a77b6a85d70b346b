// File > Compare with file... and Configuration > Verify after writing, in the
// window against a virtual module: the table of differences a person reads,
// what is not compared, the refusals, and that verifying is off at every start
// and then sends the read-back after write-all.
#include "CompareForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Shown {
    QString caption, summary;
    QStringList rows; // "key | first | second"
    bool tableVisible = false;
};

// Answers every table of differences: records it and presses OK.
void Record(TMainForm& f, std::vector<Shown>& shown) {
    f.seams.compare = [&shown](TCompareForm& form) {
        Shown s{form.windowTitle(), form.summaryLabel->text(), {}, !form.table->isHidden()};
        for (int row = 0; row < form.table->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < 3; ++column)
                cells << form.table->item(row, column)->text();
            s.rows << cells.join(" | ");
        }
        shown.push_back(s);
        form.okButton->click();
    };
}

void WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(bytes);
}

} // namespace

class CompareVerifyTest : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

  private slots:
    void initTestCase() {
        QApplication::setQuitOnLastWindowClosed(false);
        QVERIFY(dir.isValid());
    }

    // The file's settings against the values shown: only the settings the file
    // sets, information lines never, numbers by value and addresses in either case.
    void compareWithFile() {
        WindowRig rig({"--profile", "code1-2.10"});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        std::vector<Shown> shown;
        Record(f, shown);
        const QString path = dir.filePath("other.bcf");
        WriteFile(path, "Bluetooth Device Name: Bench 9\r\nSerial parity: Odd\r\n"
                        "Serial databits: 08\r\nDevice paired with: 01 02 03 04 05 06\r\n"
                        "Passkey: 4711\r\nConnect to address: 00 00 00 00 00 00\r\n"
                        "Product ID: none\r\n");
        f.seams.openFileName = [&] { return path; };
        f.menuCompareWithFile->trigger();
        QCOMPARE(shown.size(), size_t(1));
        QCOMPARE(shown[0].caption, QString("Compare with file"));
        QCOMPARE(shown[0].summary,
                 QString("3 of the 5 settings of \"other.bcf\" differ from the values shown:"));
        const QString name = f.generalPage->genDeviceName->text();
        QCOMPARE(shown[0].rows,
                 (QStringList{"Bluetooth Device Name | " + name + " | Bench 9",
                              "Serial parity | None | Odd", "Passkey | 0000 | 4711"}));
        QVERIFY(shown[0].tableVisible);

        // The window's own file: nothing differs, and nothing went on the wire.
        f.seams.saveFileName = [&] { return dir.filePath("same"); };
        f.menuSaveSettings->trigger();
        rig.ClearTrace();
        f.seams.openFileName = [&] { return dir.filePath("same.bcf"); };
        f.menuCompareWithFile->trigger();
        QCOMPARE(shown.size(), size_t(2));
        QVERIFY2(shown[1].summary.startsWith("The values shown equal all ") &&
                     shown[1].summary.endsWith(" settings of \"same.bcf\"."),
                 qPrintable(shown[1].summary));
        QVERIFY(shown[1].rows.isEmpty() && !shown[1].tableVisible);
        QCOMPARE(rig.Received(), QStringList());

        // A folder, and a file without settings: told, no table.
        for (const QString& refused : {dir.path(), dir.filePath("none.bcf")}) {
            WriteFile(dir.filePath("none.bcf"), "just words\r\n");
            f.seams.openFileName = [&] { return refused; };
            f.menuCompareWithFile->trigger();
        }
        QCOMPARE(shown.size(), size_t(2));
        QCOMPARE(rig.messages.size(), 2);
        QVERIFY2(rig.messages[0].contains("could not be compared"), qPrintable(rig.messages[0]));
        QCOMPARE(rig.messages[1],
                 "\"" + dir.filePath("none.bcf") + "\" holds no settings of a module.");
    }

    // Off at every start: write-all then reads nothing back. On: the module is
    // read back after the writes and the table shows what it does not hold — a
    // passkey loaded from a file is not written while the module asks for none.
    void verifyAfterWriting() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        std::vector<Shown> shown;
        Record(f, shown);
        QVERIFY(f.menuVerifyAfterWriting->isCheckable() && !f.menuVerifyAfterWriting->isChecked());
        rig.ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty() && shown.empty());
        QVERIFY(!rig.Received().contains("40 00"));

        f.menuVerifyAfterWriting->trigger();
        QVERIFY(f.menuVerifyAfterWriting->isChecked());
        rig.ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(shown.size(), size_t(1));
        QCOMPARE(shown[0].caption, QString("Verify after writing"));
        QVERIFY2(shown[0].summary.startsWith("The module holds all ") && shown[0].rows.isEmpty(),
                 qPrintable(shown[0].summary));
        // The read-back follows the last write.
        const QStringList frames = rig.Received();
        QVERIFY(frames.indexOf("40 00") > frames.indexOf(QRegularExpression("^f7 .*")));

        // A passkey loaded while the module asks for none is not sent, so it
        // is not looked at either.
        const QString path = dir.filePath("passkey.bcf");
        WriteFile(path, "Endpoint Security mode: No authentication\r\nPasskey: 9999\r\n");
        f.seams.openFileName = [&] { return path; };
        f.menuLoadSettings->trigger();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(shown.size(), size_t(2));
        QVERIFY2(shown[1].rows.isEmpty(), qPrintable(shown[1].rows.join("; ")));
    }

    // A module that answers the serial-port write as taken but keeps its
    // settings: the table lists each setting it did not take.
    void verifyFindsWhatTheModuleKept() {
        WindowRig rig({"--fault", "ignore:0x15"});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        std::vector<Shown> shown;
        Record(f, shown);
        f.menuVerifyAfterWriting->trigger();
        const QString path = dir.filePath("serial.bcf");
        WriteFile(path, "Serial parity: Even\r\nSerial baudrate: 115200\r\nBluetooth Device Name: "
                        "Kept 3\r\n");
        f.seams.openFileName = [&] { return path; };
        f.menuLoadSettings->trigger();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(shown.size(), size_t(1));
        QVERIFY2(shown[0].summary.startsWith("The module did not take 2 of the "),
                 qPrintable(shown[0].summary));
        QCOMPARE(shown[0].rows,
                 (QStringList{"Serial baudrate | 115200 | 38400", "Serial parity | Even | None"}));
    }
};

QTEST_MAIN(CompareVerifyTest)
#include "CompareVerifyTest.moc"
