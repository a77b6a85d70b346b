// Every kind of module through the window: read-all asks for exactly the
// settings its capabilities call for, write-all writes exactly those groups, the
// saved file has exactly their sections (and the command line saves the same
// bytes), and a loaded file goes on the wire.
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The opcodes of the frames, "40 41 1c".
QString Opcodes(const QStringList& frames) {
    QStringList ops;
    for (const QString& frame : frames)
        ops << frame.left(2);
    return ops.join(' ');
}

// The section lines ("# ...") of a saved file.
QStringList Sections(const QByteArray& file) {
    QStringList sections;
    for (const QByteArray& line : file.split('\n'))
        if (line.startsWith("# ")) sections << QString::fromLatin1(line.trimmed());
    return sections;
}

QByteArray Slurp(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// What `btconf-cli read` saves of the module on `device`; empty when it failed.
QByteArray CliRead(const std::string& device, const QString& path) {
    QProcess cli;
    cli.start(BTCONF_CLI, {"read", QString::fromStdString(device), "-o", path});
    if (!cli.waitForFinished(10000) || cli.exitStatus() != QProcess::NormalExit ||
        cli.exitCode() != 0)
        return {};
    return Slurp(path);
}

const QString kGeneralReads = "40 41 1c 1e 42";
// Endpoint, then Connecting.
const QString kModeReads = "12 62 18 66 68 12 62 16 66";
// The module waits for connections from any device.
const QString kModeWrites = "13 19 67";
const QString kAdvancedReads = "c8 ca c4 c6 d2 d4 c0 cc";

} // namespace

class ModuleProfilesTest : public QObject {
    Q_OBJECT
  private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void everyKindOfModule_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QString>("reads");
        QTest::addColumn<QString>("writes");
        QTest::addColumn<QStringList>("sections");
        const QStringList basic = {
            "# Configuration file saved by Norvane Configuration Software 3.01",
            "# Name and information parameters",
            "# Serial port settings",
            "# Device mode",
            "# Endpoint settings",
            "# Connecting settings"};
        const QStringList advanced = {"# Scan and Output power settings", "# Power save settings"};
        QTest::newRow("first generation 2.10")
            << "code1-2.10"
            << "40 1c 1e 42 14 " + kModeReads << "1d 1f 15 " + kModeWrites << basic;
        QTest::newRow("second generation 3.00")
            << "code3-3.00"
            << kGeneralReads + " 14 d8 " + kModeReads + " " + kAdvancedReads + " d6 c2"
            << "1d 1f 15 d9 " + kModeWrites + " c9 cb c5 c7 d5 d3 c1 cd d7 c3"
            << basic + advanced + QStringList{"# Other settings"};
        QTest::newRow("first generation 3.02")
            << "code1-3.02"
            << kGeneralReads + " 14 d8 " + kModeReads + " " + kAdvancedReads + " c2 da"
            << "1d 1f 15 d9 " + kModeWrites + " c9 cb c5 c7 d5 d3 c1 cd c3 db"
            << basic + advanced + QStringList{"# Other settings"};
        QTest::newRow("second generation 3.02")
            << "default"
            << kGeneralReads + " 14 d8 " + kModeReads + " " + kAdvancedReads +
                   " d6 c2 da f0 f2 f3 f5 f6"
            << "1d 1f 15 d9 " + kModeWrites + " c9 cb c5 c7 d5 d3 c1 cd d7 c3 db f1 f4 f7"
            << basic + advanced + QStringList{"# SCO Connection settings", "# Other settings"};
        QTest::newRow("product code 5, 3.02")
            << "code5-3.02"
            << kGeneralReads + " 14 d8 " + kModeReads + " " + kAdvancedReads + " c2 da"
            << "1d 1f 15 d9 " + kModeWrites + " c9 cb c5 c7 d5 d3 c1 cd c3 db"
            << basic + advanced + QStringList{"# Other settings"};
    }
    void everyKindOfModule() {
        QFETCH(QString, profile);
        QFETCH(QString, reads);
        QFETCH(QString, writes);
        QFETCH(QStringList, sections);
        QTemporaryDir dir;
        WindowRig rig({"--profile", profile.toStdString()});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QCOMPARE(Opcodes(rig.Received()), "01 01 " + reads); // after the start-up probe

        rig.ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(Opcodes(rig.Received()), writes);

        QString chosen = dir.filePath("module.bcf");
        f.seams.saveFileName = [&] { return chosen; };
        f.seams.openFileName = [&] { return chosen; };
        f.menuSaveSettings->trigger();
        const QByteArray saved = Slurp(chosen);
        QCOMPARE(Sections(saved), sections);

        // A file's values go on the wire: the first line of a key wins, so these
        // lines in front change the module's values.
        const bool advancedModule = sections.size() > 6;
        const bool audio = sections.contains("# SCO Connection settings");
        QByteArray front = "Bluetooth Device Name: Loaded\r\nSerial parity: Odd\r\n";
        if (advancedModule)
            front += "Park mode enabled: Yes\r\nPark max interval: 300\r\nPark min interval: "
                     "200\r\nClass of device: 2360324\r\n";
        if (audio) front += "SCO Connection enabled: Yes\r\nSCO Packet type: HV3\r\n";
        chosen = dir.filePath("loaded.bcf");
        QFile loaded(chosen);
        QVERIFY(loaded.open(QIODevice::WriteOnly) && loaded.write(front + saved) > 0);
        loaded.close();
        f.menuLoadSettings->trigger();
        rig.ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        const QStringList frames = rig.Received();
        QVERIFY(frames.contains("1d 07 " + Hex("Loaded") + " 00"));
        QVERIFY(frames.filter(QRegularExpression("^15 05 .. 00 01 ")).size() == 1);
        QCOMPARE(frames.contains("cb 04 01 2c 00 c8"), advancedModule);
        QCOMPARE(frames.contains("cd 04 00 24 04 04"), advancedModule);
        QCOMPARE(frames.contains("f1 03 01 00 80"), audio);

        // The command line saves the same module into the same bytes.
        f.serPort.Close();
        const QByteArray cli = CliRead(rig.sim.DevicePath(), dir.filePath("cli.bcf"));
        chosen = dir.filePath("window.bcf");
        f.menuSaveSettings->trigger();
        QCOMPARE(cli, Slurp(chosen));
    }

    // A module with every setting away from the virtual module's defaults: the
    // window's saved file and the command line's are the same bytes, and every
    // section is there.
    void everyGroupChangedSavesAlike() {
        QTemporaryDir dir;
        const QString state = dir.filePath("module.state");
        QFile file(state);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("device_name Bench\xe9 7\nservice_name Port Nine\npasskey 8642\n"
                   "device_mode 1\nserial 9 1 1 7 2\nconnect_address 0a 1b 2c 3d 4e 5f\n"
                   "accepted_address 61 72 83 94 a5 b6\npaired_address c7 d8 e9 fa 0b 1c\n"
                   "security 1 1 0\nperformance 2\nlink_timeout 4800\ninquiry_scan 1024 36\n"
                   "page_scan 512 24\nsniff 800 400 3 7\npark 300 200\n"
                   "class_of_device 00 24 04 04\ntx_power_d2 -6\ntx_power_d4 12\nemulation 2\n"
                   "user_baudrate 1 4103\nqos 1 00 01 86 a0\nsco 1 128\noutput_gain 11\n"
                   "input_gain 5\n");
        file.close();
        WindowRig rig({"--state", state.toStdString()});
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        const QString chosen = dir.filePath("window.bcf");
        f.seams.saveFileName = [&] { return chosen; };
        f.menuSaveSettings->trigger();
        const QByteArray window = Slurp(chosen);
        QCOMPARE(Sections(window).size(), 10);
        for (const char* line :
             {"Device mode: Connecting", "Connect to address: 0a 1b 2c 3d 4e 5f",
              "Device paired with: c7 d8 e9 fa 0b 1c", "Passkey: 8642", "Serial parity: Odd"})
            QVERIFY2(window.contains(line), line);

        f.serPort.Close();
        QCOMPARE(CliRead(rig.sim.DevicePath(), dir.filePath("cli.bcf")), window);
    }
};

QTEST_MAIN(ModuleProfilesTest)
#include "ModuleProfilesTest.moc"
