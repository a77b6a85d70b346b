// SPDX-License-Identifier: Apache-2.0
// Every kind of module through the window, and the File menu: read-all asks for
// exactly the settings the module's capabilities call for and shows its General
// page and advanced pages, write-all writes exactly those groups, the saved file
// has exactly their sections and the command line saves the same bytes, a
// loaded file goes on the wire; saving and loading refusals, and compare with a
// file and verify after writing with the table of differences a person reads.
#include "CompareForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// The opcodes of the frames, "40 41 1c".
QString Opcodes(QStringList frames) {
    return frames.replaceInStrings(QRegularExpression(" .*"), "").join(' ');
}

// The section lines ("# ...") of a saved file.
QStringList Sections(const QByteArray& file) {
    QStringList sections;
    for (const QByteArray& line : file.split('\n'))
        if (line.startsWith("# ")) sections << QString::fromLatin1(line.trimmed());
    return sections;
}

QStringList Tabs(const TMainForm& form) {
    QStringList titles;
    for (int i = 0; i < form.PageControl1->count(); ++i)
        if (form.PageControl1->isTabVisible(i)) titles << form.PageControl1->tabText(i);
    return titles;
}

// What `btconf-cli read` saves of the module on `device`; empty when it failed.
QByteArray CliRead(const std::string& device, const QString& path) {
    QProcess cli;
    cli.start(BTCONF_CLI, {"read", QString::fromStdString(device), "-o", path});
    if (!cli.waitForFinished(10000) || cli.exitStatus() != QProcess::NormalExit ||
        cli.exitCode() != 0)
        return {};
    return ReadFile(path);
}

// Each table of differences shown: "caption | summary", then its rows "key |
// first | second"; "(no table)" when the table is hidden.
void Record(TMainForm& f, QList<QStringList>& shown) {
    f.seams.compare = [&shown](TCompareForm& form) {
        QStringList s{form.windowTitle() + " | " + form.summaryLabel->text()};
        if (form.table->isHidden()) s << "(no table)";
        for (int row = 0; row < form.table->rowCount(); ++row)
            s << form.table->item(row, 0)->text() + " | " + form.table->item(row, 1)->text() +
                     " | " + form.table->item(row, 2)->text();
        shown << s;
        form.okButton->click();
    };
}

const QString kReads = "40 41 1c 1e 42 14 d8 12 62 18 66 68 12 62 16 66 c8 ca c4 c6 d2 d4 c0 cc";
const QString kWrites = "1d 1f 15 d9 13 19 67 c9 cb c5 c7 d5 d3 c1 cd";
const QString kBasicTabs = "General, Serial port, Endpoint, Connecting";
const QString kAdvancedTabs = ", Scan and Output power, Power save, Other";
const QString kSections = "Configuration file saved by Norvane Configuration Software 3.01, Name "
                          "and information parameters, Serial port settings, Device mode, "
                          "Endpoint settings, Connecting settings";
const QString kAdvancedSections = ", Scan and Output power settings, Power save settings";

} // namespace

class FilesTest : public QObject {
    Q_OBJECT
  private slots:
    // Each kind of module (and one with every setting away from the virtual
    // module's defaults): the frames of read-all after the start-up probe, the
    // General page, the pages shown with the advanced settings once the warning
    // is answered Yes (the audio page only on a second-generation module with
    // software 3.02), write-all, the
    // saved file's sections; then lines put in front of the saved file (the
    // first line of a key wins) are loaded and go on the wire, and the command
    // line saves the module into the same bytes as the window.
    void everyKindOfModule() {
        const struct {
            const char *profile, *state;
            QString general, tabs, reads, writes, sections;
        } kinds[] = {
            {"code1-2.10", "",
             "NVM-100 | 2005.01.11-01 | 2.10 | N/A (greyed) | 02 4e 56 4d 00 01 | Norvane NVM-100",
             kBasicTabs, "40 1c 1e 42 14 12 62 18 66 68 12 62 16 66", "1d 1f 15 13 19 67",
             kSections},
            {"code3-3.00", "",
             "NVM-220 | 2007.01.13-01 | 3.00 | NVM220-300-A1 | 02 4e 56 4d 00 03 | Norvane NVM-220",
             kBasicTabs + kAdvancedTabs, kReads + " d6 c2", kWrites + " d7 c3",
             kSections + kAdvancedSections + ", Other settings"},
            {"code1-3.02", "",
             "NVM-100 | 2005.01.11-01 | 3.02 | NVM100-302-A1 | 02 4e 56 4d 00 01 | Norvane NVM-100",
             kBasicTabs + kAdvancedTabs, kReads + " c2 da", kWrites + " c3 db",
             kSections + kAdvancedSections + ", Other settings"},
            {"default", "",
             "NVM-220 | 2007.01.13-01 | 3.02 | NVM220-302-A1 | 02 4e 56 4d 00 03 | Norvane NVM-220",
             kBasicTabs + kAdvancedTabs + ", Audio settings", kReads + " d6 c2 da f0 f2 f3 f5 f6",
             kWrites + " d7 c3 db f1 f4 f7",
             kSections + kAdvancedSections + ", SCO Connection settings, Other settings"},
            {"default",
             "device_name Bench\xe9 7\nservice_name Port Nine\npasskey 8642\n"
             "device_mode 1\nserial 9 1 1 7 2\nconnect_address 0a 1b 2c 3d 4e 5f\n"
             "accepted_address 61 72 83 94 a5 b6\npaired_address c7 d8 e9 fa 0b 1c\n"
             "security 1 1 0\nperformance 2\nlink_timeout 4800\ninquiry_scan 1024 36\n"
             "page_scan 512 24\nsniff 800 400 3 7\npark 300 200\n"
             "class_of_device 00 24 04 04\ntx_power_d2 -6\ntx_power_d4 12\nemulation 2\n"
             "user_baudrate 1 4103\nqos 1 00 01 86 a0\nsco 1 128\noutput_gain 11\n"
             "input_gain 5\n",
             "NVM-220 | 2007.01.13-01 | 3.02 | NVM220-302-A1 | 02 4e 56 4d 00 03 | Bench\u00e9 7",
             kBasicTabs + kAdvancedTabs + ", Audio settings", kReads + " d6 c2 da f0 f2 f3 f5 f6",
             "1d 1f 15 d9 13 67 c9 cb c5 c7 d5 d3 c1 cd "
             "d7 c3 db f1 f4 f7",
             kSections + kAdvancedSections + ", SCO Connection settings, Other settings"},
        };
        for (const auto& kind : kinds) {
            const QString name = kind.profile + QString(*kind.state ? " changed" : "") + ": ";
            QTemporaryDir dir;
            std::vector<std::string> args = {"--profile", kind.profile};
            if (*kind.state) args = ModuleFile("--state", kind.state);
            WindowRig rig(args);
            QVERIFY(rig.StartAndRead());
            TMainForm& f = *rig.form;
            QCOMPARE(name + Opcodes(rig.Received()), name + "01 01 " + kind.reads);
            if (!kind.general.isEmpty()) {
                const QStringList shown = GeneralShows(f).split(" | ");
                QCOMPARE(name + shown.mid(0, 6).join(" | "), name + kind.general);
            }
            const bool advanced = kind.tabs != kBasicTabs;
            QCOMPARE(f.menuShowAdvanced->isEnabled(), advanced);
            rig.answers = {Desktop::Answer::No};
            f.menuShowAdvanced->trigger(); // answered No: nothing changes
            QCOMPARE(Tabs(f).join(", "), kBasicTabs);
            f.menuShowAdvanced->trigger();
            QCOMPARE(name + Tabs(f).join(", "), name + kind.tabs);
            const QString warning = "Changing the advanced settings can affect\nthe performance "
                                    "of the device. Please read\nthe manual carefully before "
                                    "changing values in\nthis section.\n\nProceed?";
            QCOMPARE(rig.questions, advanced ? QStringList({warning, warning}) : QStringList());

            rig.ClearTrace();
            f.writeConf->click();
            QVERIFY(rig.errors.empty());
            QCOMPARE(name + Opcodes(rig.Received()), name + kind.writes);
            QString chosen = dir.filePath("module.bcf");
            f.seams.saveFileName = [&] { return chosen; };
            f.seams.openFileName = [&] { return chosen; };
            f.menuSaveSettings->trigger();
            const QByteArray saved = ReadFile(chosen);
            QCOMPARE(name + Sections(saved).join(", ").remove("# "), name + kind.sections);

            const bool audio = kind.sections.contains("SCO");
            // Bare line feeds and a line without a colon load as well.
            QByteArray front =
                "Device not paired\nBluetooth Device Name: Loaded\nSerial parity: Odd\n";
            if (advanced)
                front += "Park mode enabled: Yes\nPark max interval: 301\nPark min interval: "
                         "200\nClass of device: 2360324\n";
            if (audio) front += "SCO Connection enabled: Yes\nSCO Packet type: HV3\n";
            chosen = dir.filePath("loaded.bcf");
            WriteFile(chosen, front + saved);
            rig.ClearTrace();
            f.menuLoadSettings->trigger();
            // Loading only fills the pages, and counts as an edit.
            QVERIFY(rig.Received().isEmpty() && rig.messages.isEmpty() && f.AnyChanged());
            QCOMPARE(f.generalPage->genDeviceName->text(), QString("Loaded"));
            f.writeConf->click();
            QVERIFY(rig.errors.empty());
            const QStringList frames = rig.Received();
            QVERIFY(frames.contains("1d 07 " + Hex("Loaded") + " 00"));
            QCOMPARE(frames.filter(QRegularExpression("^15 05 .. .. 01 ")).size(), 1);
            QCOMPARE(frames.contains("cb 04 01 2d 00 c8"), advanced);
            QCOMPARE(frames.contains("cd 04 00 24 04 04"), advanced);
            QCOMPARE(frames.contains("f1 03 01 00 80"), audio);

            f.serPort.Close();
            const QByteArray cli = CliRead(rig.sim.DevicePath(), dir.filePath("cli.bcf"));
            chosen = dir.filePath("window.bcf");
            f.menuSaveSettings->trigger();
            QVERIFY2(cli == ReadFile(chosen), qPrintable(name + "the command line's file differs"));
        }
    }

    // Saving over a file asks first; a save that cannot be done says so and
    // leaves what was there; a link is written through to its file.
    void savingAsksAndSaysWhy() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QString chosen = dir.filePath("old"); // becomes old.bcf, which is there
        f.seams.saveFileName = [&] { return chosen; };
        const QString old = dir.filePath("old.bcf");
        WriteFile(old, "keep me");
        QVERIFY(chmod(QFile::encodeName(old), 0600) == 0);
        rig.answers = {Desktop::Answer::No};
        f.menuSaveSettings->trigger();
        QCOMPARE(rig.questions, QStringList({"The file \"" + old +
                                             "\" already exists.\n\nDo you want to replace it?"}));
        QCOMPARE(ReadFile(old), QByteArray("keep me"));

        QVERIFY(symlink("old.bcf", QFile::encodeName(dir.filePath("link.bcf"))) == 0);
        chosen = dir.filePath("link.bcf");
        f.menuSaveSettings->trigger(); // answered Yes
        QCOMPARE(rig.questions.size(), 2);
        QVERIFY(QFileInfo(dir.filePath("link.bcf")).isSymLink());
        QVERIFY(ReadFile(old).startsWith("# Configuration file saved by "));
        QCOMPARE(QFile::permissions(old), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                              QFileDevice::ReadUser | QFileDevice::WriteUser);

        chosen = dir.filePath("no folder/x.bcf");
        f.menuSaveSettings->trigger();
        QCOMPARE(rig.messages,
                 QStringList({"The settings could not be saved to \"" + chosen +
                              "\": No such file or directory.\n\nThe file was not changed."}));
    }

    // Loading and comparing refuse what is not a configuration file, say why,
    // and change nothing.
    void refusesWhatIsNotAConfigurationFile() {
        QTemporaryDir dir;
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QList<QStringList> tables;
        Record(f, tables);
        QString chosen;
        f.seams.openFileName = [&] { return chosen; };
        QVERIFY(mkfifo(QFile::encodeName(dir.filePath("pipe.bcf")), 0600) == 0);
        QByteArray noise(64 * 1024, '\0');
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
        WriteFile(dir.filePath("noise.bin"), noise);
        WriteFile(dir.filePath("big.bcf"), QByteArray(1024 * 1024 + 1, 'a'));
        WriteFile(dir.filePath("text.txt"), "Just some notes\nabout nothing: at all\n");
        const struct {
            QString path, why;
        } cases[] = {
            {dir.path(), "it is a folder"},
            {dir.filePath("pipe.bcf"), "it is not a regular file"},
            {dir.filePath("big.bcf"), "it is larger than 1 MiB"},
            {dir.filePath("noise.bin"), "it holds zero bytes, so it is not a configuration file"},
            {dir.filePath("absent.bcf"), "No such file or directory"},
            {dir.filePath("text.txt"), ""},
        };
        for (const auto& c : cases) {
            chosen = c.path;
            rig.messages.clear();
            f.menuLoadSettings->trigger();
            const QString noSettings = "\"" + c.path + "\" holds no settings of a module.";
            QCOMPARE(rig.messages,
                     QStringList(c.why.isEmpty()
                                     ? noSettings + "\n\nNothing was changed."
                                     : "The settings could not be loaded from \"" + c.path +
                                           "\": " + c.why + ".\n\nNothing was changed."));
            f.menuCompareWithFile->trigger();
            QCOMPARE(rig.messages.size(), 2);
            QVERIFY2(c.why.isEmpty() ? rig.messages[1] == noSettings
                                     : rig.messages[1].contains("could not be compared"),
                     qPrintable(rig.messages[1]));
        }
        QVERIFY(tables.isEmpty());
        QCOMPARE(f.generalPage->genDeviceName->text(), QString("Norvane NVM-220"));
        QVERIFY(!f.AnyChanged());
    }

    // The file's settings against the values shown: only the settings the file
    // sets, information lines never, numbers by value and addresses in either
    // case; the window's own file equals all. Nothing goes on the wire.
    void compareWithFile() {
        QTemporaryDir dir;
        WindowRig rig({"--profile", "code1-2.10"});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QList<QStringList> shown;
        Record(f, shown);
        QString path = TempFile("Bluetooth Device Name: Bench 9\r\nSerial parity: Odd\r\n"
                                "Serial databits: 08\r\nDevice paired with: 01 02 03 04 05 06\r\n"
                                "Passkey: 4711\r\nConnect to address: 00 00 00 00 00 00\r\n"
                                "Product ID: none\r\n");
        f.seams.openFileName = [&] { return path; };
        rig.ClearTrace();
        f.menuCompareWithFile->trigger();
        QCOMPARE(shown.value(0),
                 QStringList({"Compare with file | 3 of the 5 settings of \"" +
                                  QFileInfo(path).fileName() + "\" differ from the values shown:",
                              "Bluetooth Device Name | Norvane NVM-100 | Bench 9",
                              "Serial parity | None | Odd", "Passkey | 0000 | 4711"}));
        f.seams.saveFileName = [&] { return dir.filePath("same"); };
        f.menuSaveSettings->trigger();
        path = dir.filePath("same.bcf");
        f.menuCompareWithFile->trigger();
        QCOMPARE(shown.size(), 2);
        QVERIFY2(shown[1][0].startsWith("Compare with file | The values shown equal all ") &&
                     shown[1][0].endsWith(" settings of \"same.bcf\".") &&
                     shown[1].value(1) == "(no table)",
                 qPrintable(shown[1].join("\n")));
        QCOMPARE(rig.Received(), QStringList());
    }

    // Verify after writing is off at every start: write-all then reads nothing
    // back. On, the module is read back after the last write and the table lists
    // each setting it did not take (here it answers the serial write as taken
    // but keeps its settings); a passkey loaded while the module asks for none is
    // not sent, so it is not looked at either.
    void verifyAfterWriting() {
        WindowRig rig({"--fault", "ignore:0x15"});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QList<QStringList> shown;
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
        QCOMPARE(shown.size(), 1);
        QVERIFY2(shown[0][0].startsWith("Verify after writing | The module holds all ") &&
                     shown[0].size() == 2,
                 qPrintable(shown[0].join("\n")));
        const QStringList frames = rig.Received();
        QVERIFY(frames.indexOf("40 00") > frames.indexOf(QRegularExpression("^f7 .*")));

        const QString path = TempFile("Serial parity: Even\r\nSerial baudrate: 115200\r\n"
                                      "Endpoint Security mode: No authentication\r\n"
                                      "Passkey: 9999\r\nBluetooth Device Name: Kept 3\r\n");
        f.seams.openFileName = [&] { return path; };
        f.menuLoadSettings->trigger();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(shown.size(), 2);
        QVERIFY2(shown[1][0].startsWith("Verify after writing | The module did not take 2 of the "),
                 qPrintable(shown[1][0]));
        QCOMPARE(shown[1].mid(1),
                 QStringList({"Serial baudrate | 115200 | 38400", "Serial parity | Even | None"}));
    }
};

static const int registered = RegisterTest("FilesTest", [] { return new FilesTest; });
#include "FilesTest.moc"
