// The Serial port page against a virtual module: what a read shows for each kind
// of module, the user-defined speed (when it shows, its calculated speed, what
// its value edit takes), a person's choices and what write-all then sends, the
// checks and failures of read-all and write-all, and the page's section of the
// configuration file, saved and loaded.
#include "Dialogs.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <string>

namespace {

const QString kUserDefined = "User defined";
const QStringList kGen1Speeds = {"2400", "4800", "9600", "19200", "38400", "57600", "115200"};
const QStringList kCode5Speeds = kGen1Speeds + QStringList{"230400"};
const QStringList kGen2Speeds = kCode5Speeds + QStringList{"460800", "921600", "1382400"};

// A module with a distinct value in every field: 115200, flow on, even parity,
// 7 data bits, 2 stop bits, user-defined speed on with 4103 (0x1007).
const QString kDistinct = "serial 7 1 2 7 2\nuser_baudrate 1 4103\n";
const QString kDistinctShows = "User defined | Even | 7 | 2 | On | ticked | 4103 | 1001708.98";

const QString kHeaderAndGeneral =
    "# Configuration file saved by Norvane Configuration Software 3.01\r\n\r\n\r\n"
    "# Name and information parameters\r\n"
    "Bluetooth Device Name: Norvane NVM-220\r\n"
    "Bluetooth Service Name: Serial Port\r\n"
    "Product ID: NVM-220\r\n"
    "Article number: NVM220-302-A1\r\n"
    "Hardware version: 2007.01.13-01\r\n"
    "Software version: 3.02\r\n"
    "Bluetooth Address: 02 4e 56 4d 00 03\r\n\r\n\r\n";

QStringList Items(const QComboBox* box) {
    QStringList items;
    for (int i = 0; i < box->count(); ++i)
        items << box->itemText(i);
    return items;
}

// The page as a person reads it: the five boxes, the tick, the value and the
// calculated speed, "(greyed)" when the calculated speed and its labels are disabled.
QString SerialShows(const TMainForm& f) {
    const SerialPage& p = *f.serialPage;
    QStringList shown;
    for (const QComboBox* box :
         {p.BaudrateBox, p.ParityBox, p.dataBitsBox, p.stopBitsBox, p.flowBox})
        shown << box->currentText();
    int enabled = 0;
    for (const QLabel* label : {p.udbLabel1, p.udbLabel2, p.udbLabel3, p.ubdLabel4, p.baudCap})
        enabled += label->isEnabled() ? 1 : 0;
    const QString greyed = enabled == 5 ? "" : enabled == 0 ? " (greyed)" : " (partly greyed)";
    shown << (p.udbEnabled->isChecked() ? "ticked" : "unticked") << p.baudvalue->text()
          << p.baudCap->text() + greyed;
    return shown.join(" | ");
}

// The Serial port group's frames among those the module heard.
QStringList SerialFrames(const QStringList& frames) {
    QStringList serial;
    for (const QString& frame : frames)
        if (frame.startsWith("14 ") || frame.startsWith("15 ") || frame.startsWith("d8 ") ||
            frame.startsWith("d9 "))
            serial << frame;
    return serial;
}

QStringList Received(const SimServer& sim) {
    QStringList frames;
    for (const std::string& line : sim.TraceLines())
        if (line.compare(0, 5, "recv ") == 0) frames << QString::fromStdString(line.substr(5));
    return frames;
}

// The person chooses the Serial port tab and, on request, the advanced settings:
// the warning is answered Yes (and then forgotten, so that a test sees only the
// questions asked after it).
void OpenSerialPage(WindowRig& rig, bool advanced) {
    if (advanced) {
        rig.form->menuShowAdvanced->trigger();
        QCOMPARE(rig.questions.size(), 1);
        QVERIFY(rig.questions[0].startsWith("Changing the advanced settings"));
        rig.questions.clear();
    }
    rig.form->PageControl1->setCurrentWidget(rig.form->serialTab);
}

// One thing a person does on the page: "Baudrate=460800" (likewise "Parity=",
// "Stop bits=", "Flow="), "Tick" (clicks the user-defined box) or "Value=6144"
// (empties the value edit and types the digits). false when it cannot be done.
bool Act(TMainForm& f, const QString& action) {
    SerialPage& p = *f.serialPage;
    const QString what = action.section('=', 0, 0);
    const QString choice = action.section('=', 1);
    if (what == "Tick") {
        p.udbEnabled->click();
        return true;
    }
    if (what == "Value") {
        Type(p.baudvalue, "");
        QTest::keyClicks(p.baudvalue, choice);
        return p.baudvalue->text() == choice;
    }
    QComboBox* box = what == "Baudrate"    ? p.BaudrateBox
                     : what == "Parity"    ? p.ParityBox
                     : what == "Stop bits" ? p.stopBitsBox
                     : what == "Flow"      ? p.flowBox
                                           : nullptr;
    const int index = box != nullptr ? box->findText(choice) : -1;
    if (index < 0) return false;
    box->setCurrentIndex(index);
    emit box->activated(index);
    return true;
}

} // namespace

class SerialPageTest : public QObject {
    Q_OBJECT

    QTemporaryDir states;
    int stateFiles = 0;

    // The virtual module's options: a profile and a state file holding `state`.
    std::vector<std::string> Module(const QString& profile, const QString& state,
                                    const QStringList& faults = {}) {
        std::vector<std::string> args{"--profile", profile.toStdString()};
        if (!state.isEmpty()) {
            const QString path = states.filePath(QString("module%1.state").arg(++stateFiles));
            QFile file(path);
            if (file.open(QIODevice::WriteOnly)) file.write(state.toLatin1());
            args.push_back("--state");
            args.push_back(path.toStdString());
        }
        for (const QString& fault : faults) {
            args.push_back("--fault");
            args.push_back(fault.toStdString());
        }
        return args;
    }

    // Another module on the window's port, as when one is unplugged and the next
    // plugged in: the port is opened again on it. Null when that failed.
    std::unique_ptr<SimServer> PlugIn(TMainForm& f, const QString& profile, const QString& state) {
        auto sim = std::make_unique<SimServer>(Module(profile, state));
        if (!sim->Start()) return nullptr;
        f.serPort.Close();
        PortTable::Set({sim->DevicePath()});
        if (f.serPort.Open() != 0) return nullptr;
        return sim;
    }

  private slots:
    void initTestCase() {
        QApplication::setQuitOnLastWindowClosed(false);
        QVERIFY(states.isValid());
    }

    // Read-all asks for the serial settings and, on software 3.x only, for the
    // user-defined speed; every control shows its own field. The speed list holds
    // what the module's generation runs, "User defined" last while that is on.
    void readShowsTheModule_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QString>("shows");
        const QStringList withUserDefined = {kUserDefined};
        QTest::newRow("code 3, 3.02, user-defined on")
            << "default" << kDistinct << kGen2Speeds + withUserDefined << kDistinctShows;
        QTest::newRow("code 3, 3.02, user-defined off")
            << "default"
            << "serial 10 0 1 6 1\nuser_baudrate 0 2048\n"
            << kGen2Speeds << "921600 | Odd | 6 | 1 | Off | unticked | 2048 |  500000.00 (greyed)";
        QTest::newRow("code 3, 3.00")
            << "code3-3.00"
            << "serial 11 1 0 8 2\nuser_baudrate 0 0\n"
            << kGen2Speeds << "1382400 | None | 8 | 2 | On | unticked |  | N/A (greyed)";
        QTest::newRow("code 2") << "code2-3.02"
                                << "serial 1 0 2 5 1\n"
                                << kGen2Speeds
                                << "2400 | Even | 5 | 1 | Off | unticked |  | N/A (greyed)";
        QTest::newRow("code 4") << "code4-3.02"
                                << "serial 8 1 1 8 2\nuser_baudrate 1 1\n"
                                << kGen2Speeds + withUserDefined
                                << "User defined | Odd | 8 | 2 | On | ticked | 1 |     244.14";
        QTest::newRow("code 1, 3.02, user-defined on")
            << "code1-3.02"
            << "serial 6 1 1 5 1\nuser_baudrate 1 6144\n"
            << kGen1Speeds + withUserDefined
            << "User defined | Odd | 5 | 1 | On | ticked | 6144 | 1500000.00";
        QTest::newRow("code 1, 3.02, user-defined off")
            << "code1-3.02"
            << "serial 6 0 2 8 2\nuser_baudrate 0 0\n"
            << kGen1Speeds << "57600 | Even | 8 | 2 | Off | unticked |  | N/A (greyed)";
        QTest::newRow("code 5")
            << "code5-3.02"
            << "serial 8 1 2 7 1\nuser_baudrate 0 4096\n"
            << kCode5Speeds << "230400 | Even | 7 | 1 | On | unticked | 4096 | 1000000.00 (greyed)";
        QTest::newRow("code 1, 2.10")
            << "code1-2.10"
            << "serial 3 1 2 7 2\n"
            << kGen1Speeds << "9600 | Even | 7 | 2 | On | unticked |  | N/A (greyed)";
    }
    void readShowsTheModule() {
        QFETCH(QString, profile);
        QFETCH(QString, state);
        QFETCH(QStringList, items);
        QFETCH(QString, shows);
        WindowRig rig(Module(profile, state));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        const bool software3 = profile != "code1-2.10";
        QCOMPARE(SerialFrames(rig.Received()),
                 software3 ? QStringList({"14 00", "d8 00"}) : QStringList({"14 00"}));
        QCOMPARE(Items(f.serialPage->BaudrateBox), items);
        QCOMPARE(SerialShows(f), shows);
        QCOMPARE(Items(f.serialPage->ParityBox), QStringList({"None", "Odd", "Even"}));
        QCOMPARE(Items(f.serialPage->dataBitsBox), QStringList({"5", "6", "7", "8"}));
        QCOMPARE(Items(f.serialPage->stopBitsBox), QStringList({"1", "2"}));
        QCOMPARE(Items(f.serialPage->flowBox), QStringList({"Off", "On"}));
        QVERIFY(!f.serialPage->dataBitsBox->isEnabled());
        QVERIFY(f.serialPage->BaudrateBox->isEnabled() && f.serialPage->ParityBox->isEnabled() &&
                f.serialPage->stopBitsBox->isEnabled() && f.serialPage->flowBox->isEnabled());
    }

    // With the same window, each module read replaces the speed list with its own:
    // a first-generation module read after a second-generation one offers up to
    // 115200 only, and the longer lists come back with the modules that run them.
    void speedListFollowsTheModuleReadLast() {
        WindowRig rig(Module("default", "serial 10 0 0 8 1\n"));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QCOMPARE(Items(f.serialPage->BaudrateBox), kGen2Speeds);
        QCOMPARE(f.serialPage->BaudrateBox->currentText(), QString("921600"));
        const struct {
            const char* profile;
            const char* state;
            QStringList items;
            QString chosen;
        } modules[] = {
            {"code1-3.02", "serial 6 0 0 8 1\n", kGen1Speeds, "57600"},
            {"code5-3.02", "serial 8 0 0 8 1\n", kCode5Speeds, "230400"},
            {"code1-2.10", "serial 2 0 0 8 1\n", kGen1Speeds, "4800"},
            {"code4-3.02", "serial 11 0 0 8 1\n", kGen2Speeds, "1382400"},
            {"code1-3.02", "serial 7 0 0 8 1\nuser_baudrate 1 100\n",
             kGen1Speeds + QStringList{kUserDefined}, kUserDefined},
        };
        std::vector<std::unique_ptr<SimServer>> plugged;
        for (const auto& m : modules) {
            plugged.push_back(PlugIn(f, m.profile, m.state));
            QVERIFY2(plugged.back() != nullptr, m.profile);
            f.readConfig->click();
            QVERIFY2(Received(*plugged.back()).contains("14 00"), m.profile);
            QVERIFY(rig.errors.empty() && rig.questions.isEmpty());
            QCOMPARE(Items(f.serialPage->BaudrateBox), m.items);
            QCOMPARE(f.serialPage->BaudrateBox->currentText(), m.chosen);
        }
    }

    // A module without the user-defined speed, read after one that has it on,
    // shows its own speed and nothing of the other module's user-defined value;
    // likewise a module whose value is 0, read after one with a value.
    void moduleReadAfterAnotherShowsOnlyItsOwnValues() {
        WindowRig rig(Module("default", kDistinct));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        OpenSerialPage(rig, true);
        QCOMPARE(SerialShows(f), kDistinctShows);

        auto older = PlugIn(f, "code1-2.10", "serial 3 1 2 7 2\n");
        QVERIFY(older != nullptr);
        f.readConfig->click();
        QVERIFY(rig.errors.empty());
        QVERIFY(!f.serialPage->groupUserDefinedBaud->isVisible());
        QCOMPARE(Items(f.serialPage->BaudrateBox), kGen1Speeds);
        QCOMPARE(f.serialPage->BaudrateBox->currentText(), QString("9600"));
        // What goes to this module is its own speed all the same.
        older->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(SerialFrames(Received(*older)), QStringList({"15 05 03 01 02 07 02"}));

        auto newer = PlugIn(f, "default", "serial 7 1 2 7 2\nuser_baudrate 0 0\n");
        QVERIFY(newer != nullptr);
        f.readConfig->click();
        QVERIFY(rig.errors.empty());
        OpenSerialPage(rig, true);
        QVERIFY(f.serialPage->groupUserDefinedBaud->isVisible());
        // A value of 0 leaves the edit as it was; the calculated speed says N/A.
        QCOMPARE(SerialShows(f),
                 QString("115200 | Even | 7 | 2 | On | unticked | 4103 | N/A (greyed)"));
    }

    // The user-defined group shows on a module with software 3.x only while the
    // advanced settings are shown; never on software 2.10, not even after a
    // module that had it.
    void userDefinedGroupShowsWithTheAdvancedSettings_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<bool>("offered");
        QTest::newRow("code 3, 3.02") << "default" << true;
        QTest::newRow("code 3, 3.00") << "code3-3.00" << true;
        QTest::newRow("code 1, 3.02") << "code1-3.02" << true;
        QTest::newRow("code 5, 3.02") << "code5-3.02" << true;
        QTest::newRow("code 1, 2.10") << "code1-2.10" << false;
        QTest::newRow("code 3, 2.10") << "code3-2.10" << false;
    }
    void userDefinedGroupShowsWithTheAdvancedSettings() {
        QFETCH(QString, profile);
        QFETCH(bool, offered);
        WindowRig rig(Module(profile, "serial 5 0 0 8 1\n"));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QGroupBox* group = f.serialPage->groupUserDefinedBaud;
        OpenSerialPage(rig, false);
        QVERIFY(!group->isVisible());
        rig.answers = {Desktop::Answer::No};
        f.menuShowAdvanced->trigger();
        QVERIFY(!group->isVisible());
        f.menuShowAdvanced->trigger(); // answered Yes
        QCOMPARE(group->isVisible(), offered);
        if (offered) {
            QCOMPARE(group->title(), QString("User defined baudrate"));
            QCOMPARE(f.serialPage->udbEnabled->text(), QString("Use non standard baudrate"));
            QVERIFY(f.serialPage->baudvalue->isVisible() && f.serialPage->baudCap->isVisible());
        }
        f.menuShowAdvanced->trigger(); // hidden again
        QVERIFY(!group->isVisible());
        if (!offered) return;

        f.menuShowAdvanced->trigger();
        QVERIFY(group->isVisible());
        auto older = PlugIn(f, "code1-2.10", "serial 5 0 0 8 1\n");
        QVERIFY(older != nullptr);
        f.readConfig->click();
        QVERIFY(rig.errors.empty());
        QVERIFY(!group->isVisible());
    }

    // Ticking the box takes the typed value (0 when nothing is typed) and adds
    // "User defined" to the speed list, chosen; the calculated speed is
    // value × 244.140625 in ten characters with two decimals, "N/A" for 0.
    // Choosing a speed turns it off again.
    void calculatedSpeed() {
        WindowRig rig(Module("default", "serial 6 0 0 8 1\nuser_baudrate 0 0\n"));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        SerialPage& p = *f.serialPage;
        OpenSerialPage(rig, true);
        QCOMPARE(SerialShows(f),
                 QString("57600 | None | 8 | 1 | Off | unticked |  | N/A (greyed)"));
        QVERIFY(Act(f, "Tick"));
        QCOMPARE(SerialShows(f), QString("User defined | None | 8 | 1 | Off | ticked |  | N/A"));
        QCOMPARE(Items(p.BaudrateBox), kGen2Speeds + QStringList{kUserDefined});

        const struct {
            const char* typed;
            const char* shown;
        } values[] = {
            {"4096", "1000000.00"}, {"1", "    244.14"},
            {"6144", "1500000.00"}, {"123", "  30029.30"},
            {"9999", "2441162.11"}, {"2048", " 500000.00"},
            {"0", "N/A"},           {"", "N/A"},
            {"4103", "1001708.98"},
        };
        for (const auto& v : values) {
            QVERIFY(Act(f, QString("Value=") + v.typed));
            QCOMPARE(p.baudCap->text(), QString(v.shown));
            QVERIFY(p.baudCap->isEnabled() && p.ubdLabel4->isEnabled());
        }

        QVERIFY(Act(f, "Baudrate=19200"));
        QCOMPARE(SerialShows(f),
                 QString("19200 | None | 8 | 1 | Off | unticked | 4103 | 1001708.98 (greyed)"));
        QCOMPARE(Items(p.BaudrateBox), kGen2Speeds);
        QVERIFY(Act(f, "Tick"));
        QCOMPARE(SerialShows(f), QString("User defined | None | 8 | 1 | Off | ticked | 4103 | "
                                         "1001708.98"));
    }

    // The value edit takes digits and backspace only, at most four digits; a
    // digit is dropped while it holds four, even over a selection. In the keys,
    // '\b' is Backspace and '^' the person selecting the whole text with the mouse.
    void valueEditTakesDigitsOnly() {
        WindowRig rig(Module("default", "user_baudrate 0 0\n"));
        QVERIFY(rig.StartAndRead());
        OpenSerialPage(rig, true);
        QLineEdit* edit = rig.form->serialPage->baudvalue;
        const struct {
            const char* keys;
            const char* shown;
        } rows[] = {
            {"0123", "0123"},    {"1a2-3 .+x,", "123"}, {"41037", "4103"},  {"123456", "1234"},
            {"4103\b5", "4105"}, {"\b\b12\b", "1"},     {"4103^5", "4103"}, {"410^5", "5"},
            {"4103^\b7", "7"},   {"abc-. ", ""},
        };
        for (const auto& row : rows) {
            Type(edit, "");
            QCOMPARE(edit->text(), QString());
            for (const char key : std::string(row.keys)) {
                if (key == '^')
                    edit->selectAll();
                else
                    QTest::keyClicks(edit, QString(QChar(key)));
            }
            QVERIFY2(edit->text() == row.shown,
                     qPrintable(QString("keys \"%1\" left \"%2\"")
                                    .arg(QString(row.keys).replace('\b', "<BS>"), edit->text())));
        }
    }

    // A person's choices, then write-all: the serial frame carries speed code,
    // flow, parity, data bits and stop bits in that order, and on software 3.x
    // the user-defined frame follows (on: 01 and the value high byte first; off:
    // all zero).
    void personsChoicesThenWriteAll_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QStringList>("frames");
        QTest::addColumn<QString>("shows");
        const QString ud = "d9 03 01 10 07"; // the module's own 4103
        QTest::newRow("speed turns user-defined off")
            << "default" << kDistinct << QStringList{"Baudrate=460800"}
            << QStringList{"15 05 09 01 02 07 02", "d9 03 00 00 00"}
            << "460800 | Even | 7 | 2 | On | unticked | 4103 | 1001708.98 (greyed)";
        QTest::newRow("parity, stop bits and flow")
            << "default" << kDistinct << QStringList{"Parity=None", "Stop bits=1", "Flow=Off"}
            << QStringList{"15 05 07 00 00 07 01", ud}
            << "User defined | None | 7 | 1 | Off | ticked | 4103 | 1001708.98";
        QTest::newRow("value 6144")
            << "default" << kDistinct << QStringList{"Value=6144"}
            << QStringList{"15 05 07 01 02 07 02", "d9 03 01 18 00"}
            << "User defined | Even | 7 | 2 | On | ticked | 6144 | 1500000.00";
        QTest::newRow("untick") << "default" << kDistinct << QStringList{"Tick"}
                                << QStringList{"15 05 07 01 02 07 02", "d9 03 00 00 00"}
                                << "115200 | Even | 7 | 2 | On | unticked | 4103 | 1001708.98 "
                                   "(greyed)";
        QTest::newRow("value typed, then ticked")
            << "default"
            << "serial 7 1 2 7 2\nuser_baudrate 0 0\n"
            << QStringList{"Value=4096", "Tick"}
            << QStringList{"15 05 07 01 02 07 02", "d9 03 01 10 00"}
            << "User defined | Even | 7 | 2 | On | ticked | 4096 | 1000000.00";
        QTest::newRow("ticked, then value typed")
            << "default"
            << "serial 7 1 2 7 2\nuser_baudrate 0 0\n"
            << QStringList{"Tick", "Value=255"}
            << QStringList{"15 05 07 01 02 07 02", "d9 03 01 00 ff"}
            << "User defined | Even | 7 | 2 | On | ticked | 255 |   62255.86";
        QTest::newRow("speed, then ticked with the module's value")
            << "default"
            << "serial 7 1 2 7 2\nuser_baudrate 0 4103\n"
            << QStringList{"Baudrate=38400", "Tick"} << QStringList{"15 05 05 01 02 07 02", ud}
            << "User defined | Even | 7 | 2 | On | ticked | 4103 | 1001708.98";
        QTest::newRow("value typed, then a speed")
            << "default" << kDistinct << QStringList{"Value=2048", "Baudrate=2400"}
            << QStringList{"15 05 01 01 02 07 02", "d9 03 00 00 00"}
            << "2400 | Even | 7 | 2 | On | unticked | 2048 |  500000.00 (greyed)";
        QTest::newRow("every box")
            << "default"
            << "serial 5 0 0 8 1\n"
            << QStringList{"Baudrate=1382400", "Parity=Odd", "Stop bits=2", "Flow=On"}
            << QStringList{"15 05 0b 01 01 08 02", "d9 03 00 00 00"}
            << "1382400 | Odd | 8 | 2 | On | unticked |  | N/A (greyed)";
        QTest::newRow("code 5, 230400")
            << "code5-3.02"
            << "serial 3 0 0 8 1\n"
            << QStringList{"Baudrate=230400"}
            << QStringList{"15 05 08 00 00 08 01", "d9 03 00 00 00"}
            << "230400 | None | 8 | 1 | Off | unticked |  | N/A (greyed)";
        QTest::newRow("code 1, 2.10") << "code1-2.10"
                                      << "serial 3 1 2 7 2\n"
                                      << QStringList{"Baudrate=57600", "Parity=Odd", "Flow=Off"}
                                      << QStringList{"15 05 06 00 01 07 02"}
                                      << "57600 | Odd | 7 | 2 | Off | unticked |  | N/A (greyed)";
    }
    void personsChoicesThenWriteAll() {
        QFETCH(QString, profile);
        QFETCH(QString, state);
        QFETCH(QStringList, actions);
        QFETCH(QStringList, frames);
        QFETCH(QString, shows);
        WindowRig rig(Module(profile, state));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        OpenSerialPage(rig, profile != "code1-2.10");
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        QCOMPARE(SerialShows(f), shows);
        QCOMPARE(Items(f.serialPage->BaudrateBox).endsWith(kUserDefined),
                 shows.startsWith(kUserDefined));
        QVERIFY(f.AnyChanged());
        rig.ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(SerialFrames(rig.Received()), frames);
        // The module took it: a read-all (nothing asked) shows the same choices again.
        // (What the value edit shows after a read is moduleReadAfterAnother...'s business.)
        f.readConfig->click();
        QVERIFY(rig.questions.isEmpty());
        QCOMPARE(SerialShows(f).section(" | ", 0, 5), shows.section(" | ", 0, 5));
    }

    // Filling the controls from the program (as a refresh does) is no choice of
    // the person's: nothing changes, nothing is asked, the module's values go back.
    void refreshingControlsChangesNothing() {
        WindowRig rig(Module("default", kDistinct));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        SerialPage& p = *f.serialPage;
        OpenSerialPage(rig, true);
        p.BaudrateBox->setCurrentIndex(0);
        p.ParityBox->setCurrentIndex(0);
        p.dataBitsBox->setCurrentIndex(3);
        p.stopBitsBox->setCurrentIndex(0);
        p.flowBox->setCurrentIndex(0);
        p.udbEnabled->setChecked(false);
        p.baudvalue->setText("12");
        QVERIFY(!f.AnyChanged());
        rig.ClearTrace();
        f.writeConf->click();
        QVERIFY(rig.errors.empty());
        QCOMPARE(SerialFrames(rig.Received()),
                 QStringList({"15 05 07 01 02 07 02", "d9 03 01 10 07"}));
        f.readConfig->click();
        QVERIFY(rig.questions.isEmpty());
        QCOMPARE(SerialShows(f), kDistinctShows);
    }

    // User-defined on with a value outside 1 - 6144: write-all reports it, sends
    // nothing and brings up the Serial port page.
    void writeAllRefusesTheUserDefinedValue_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::newRow("value emptied") << kDistinct << QStringList{"Value="};
        QTest::newRow("value 0") << kDistinct << QStringList{"Value=0"};
        QTest::newRow("value 6145") << kDistinct << QStringList{"Value=6145"};
        QTest::newRow("value 9999") << kDistinct << QStringList{"Value=9999"};
        QTest::newRow("ticked, nothing typed") << "user_baudrate 0 0\n" << QStringList{"Tick"};
        QTest::newRow("the module's own 7000") << "user_baudrate 1 7000\n" << QStringList();
    }
    void writeAllRefusesTheUserDefinedValue() {
        QFETCH(QString, state);
        QFETCH(QStringList, actions);
        WindowRig rig(Module("default", state));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        if (!actions.isEmpty()) OpenSerialPage(rig, true);
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        f.PageControl1->setCurrentWidget(f.generalTab);
        rig.ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, QString("Error - Invalid input value"));
        QCOMPARE(rig.errors[0].headline, QString("Invalid user defined baudrate"));
        QCOMPARE(rig.errors[0].description,
                 QString("The field \"Value\" must have a value between 1 - 6144 when user "
                         "defined baudrate is enabled"));
        QCOMPARE(f.PageControl1->currentWidget(), f.serialTab);
        QTest::qWait(50);
        QVERIFY(rig.Received().isEmpty());
    }

    // A failed serial read or write is reported with 0x100 (read) or 0x200
    // (write) plus the command; what was read before the failure stays shown,
    // and a write goes no further.
    void failedReadOrWrite_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QStringList>("written");
        QTest::newRow("read 0x14") << "status:0x14=255"
                                   << "Error - communication (0x0114)" << QStringList();
        QTest::newRow("read 0xd8") << "silent:0xd8"
                                   << "Error - communication (0x01d8)" << QStringList();
        QTest::newRow("write 0x15")
            << "status:0x15=255"
            << "Error - communication (0x0215)" << QStringList{"15 05 07 01 02 07 02"};
        QTest::newRow("write 0xd9") << "status:0xd9=255"
                                    << "Error - communication (0x02d9)"
                                    << QStringList{"15 05 07 01 02 07 02", "d9 03 01 10 07"};
    }
    void failedReadOrWrite() {
        QFETCH(QString, fault);
        QFETCH(QString, caption);
        QFETCH(QStringList, written);
        WindowRig rig(Module("default", kDistinct, {fault}));
        const bool read = written.isEmpty();
        QCOMPARE(rig.StartAndRead(), !read);
        TMainForm& f = *rig.form;
        if (!read) {
            rig.ClearTrace();
            f.writeConf->click();
        }
        QTRY_VERIFY(f.readConfig->isEnabled());
        QCOMPARE(rig.errors.size(), size_t(1));
        QCOMPARE(rig.errors[0].caption, caption);
        QCOMPARE(rig.errors[0].headline,
                 QString(read ? "Could not read parameter" : "Could not write parameter"));
        QVERIFY(rig.errors[0].description.startsWith(
            read ? "A communication error occured when reading information from the device."
                 : "A communication error occured when writing information to the device."));
        if (!read) {
            QCOMPARE(SerialFrames(rig.Received()), written);
        } else if (fault.contains("0x14")) {
            QCOMPARE(f.generalPage->genDeviceName->text(), QString("Norvane NVM-220"));
        } else {
            QCOMPARE(SerialShows(f).section(" | ", 0, 4), QString("115200 | Even | 7 | 2 | On"));
        }
    }

    // File > Save writes the Serial port section after the General one; the
    // user-defined lines only for a module with software 3.x.
    void savedSection_data() {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QByteArray>("section");
        QTest::newRow("code 3, user-defined on")
            << "default" << kDistinct << QStringList()
            << QByteArray("# Serial port settings\r\n"
                          "Serial baudrate: 115200\r\n"
                          "Serial parity: Even\r\n"
                          "Serial databits: 7\r\n"
                          "Serial stopbits: 2\r\n"
                          "Serial flow control: On\r\n"
                          "User defined baudrate: Yes\r\n"
                          "Value user define baudrate: 4103\r\n"
                          "\r\n\r\n");
        QTest::newRow("code 3, user-defined off")
            << "default"
            << "serial 11 0 1 8 1\nuser_baudrate 0 0\n"
            << QStringList()
            << QByteArray("# Serial port settings\r\n"
                          "Serial baudrate: 1382400\r\n"
                          "Serial parity: Odd\r\n"
                          "Serial databits: 8\r\n"
                          "Serial stopbits: 1\r\n"
                          "Serial flow control: Off\r\n"
                          "User defined baudrate: No\r\n"
                          "Value user define baudrate: 0\r\n\r\n\r\n");
        QTest::newRow("code 3, after a person's choices")
            << "default"
            << "serial 7 1 2 7 2\nuser_baudrate 0 0\n"
            << QStringList{"Parity=Odd", "Flow=Off", "Baudrate=9600", "Value=4096", "Tick"}
            << QByteArray("# Serial port settings\r\n"
                          "Serial baudrate: 9600\r\n"
                          "Serial parity: Odd\r\n"
                          "Serial databits: 7\r\n"
                          "Serial stopbits: 2\r\n"
                          "Serial flow control: Off\r\n"
                          "User defined baudrate: Yes\r\n"
                          "Value user define baudrate: 4096\r\n\r\n\r\n");
        QTest::newRow("code 5") << "code5-3.02"
                                << "serial 8 1 0 5 1\nuser_baudrate 0 6144\n"
                                << QStringList()
                                << QByteArray("# Serial port settings\r\n"
                                              "Serial baudrate: 230400\r\n"
                                              "Serial parity: None\r\n"
                                              "Serial databits: 5\r\n"
                                              "Serial stopbits: 1\r\n"
                                              "Serial flow control: On\r\n"
                                              "User defined baudrate: No\r\n"
                                              "Value user define baudrate: 6144\r\n\r\n\r\n");
        QTest::newRow("code 1, 2.10") << "code1-2.10"
                                      << "serial 3 1 0 6 2\n"
                                      << QStringList()
                                      << QByteArray("# Serial port settings\r\n"
                                                    "Serial baudrate: 9600\r\n"
                                                    "Serial parity: None\r\n"
                                                    "Serial databits: 6\r\n"
                                                    "Serial stopbits: 2\r\n"
                                                    "Serial flow control: On\r\n\r\n\r\n");
    }
    void savedSection() {
        QFETCH(QString, profile);
        QFETCH(QString, state);
        QFETCH(QStringList, actions);
        QFETCH(QByteArray, section);
        QTemporaryDir dir;
        WindowRig rig(Module(profile, state));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        OpenSerialPage(rig, profile != "code1-2.10");
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        f.seams.saveFileName = [&] { return dir.filePath("serial"); };
        f.menuSaveSettings->trigger();
        QFile saved(dir.filePath("serial.bcf"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        const QByteArray bytes = saved.readAll();
        if (profile == "default") {
            // Line by line first, for a readable difference; then every byte.
            QCOMPARE(QString::fromLatin1(bytes).split("\r\n"),
                     QString(kHeaderAndGeneral + QString::fromLatin1(section)).split("\r\n"));
            QCOMPARE(bytes, kHeaderAndGeneral.toLatin1() + section);
        } else {
            // The General section of these modules is another test's business.
            QVERIFY(bytes.startsWith("# Configuration file saved by"));
            const QByteArray serial = bytes.mid(bytes.indexOf("# Serial port settings"));
            QCOMPARE(QString::fromLatin1(serial).split("\r\n"),
                     QString::fromLatin1(section).split("\r\n"));
            QCOMPARE(serial, section);
        }
        QVERIFY(rig.questions.isEmpty() && rig.messages.isEmpty());
    }

    // File > Load takes the section's lines back into the page (the module hears
    // nothing of it) and write-all sends them; 1382400 and words that are not the
    // file's own are left as they were.
    void loadThenWriteAll_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("shows");
        QTest::addColumn<QStringList>("frames");
        QTest::newRow("every line") << QByteArray("# Serial port settings\r\n"
                                                  "Serial baudrate: 460800\r\n"
                                                  "Serial parity: Odd\r\n"
                                                  "Serial databits: 6\r\n"
                                                  "Serial stopbits: 1\r\n"
                                                  "Serial flow control: Off\r\n"
                                                  "User defined baudrate: No\r\n"
                                                  "Value user define baudrate: 2048\r\n\r\n\r\n")
                                    << "460800 | Odd | 6 | 1 | Off | unticked | 2048 |  500000.00 "
                                       "(greyed)"
                                    << QStringList{"15 05 09 00 01 06 01", "d9 03 00 00 00"};
        QTest::newRow("user-defined on, bare line feeds")
            << QByteArray("Serial baudrate: 2400\n"
                          "Serial flow control: Off\n"
                          "User defined baudrate: Yes\n"
                          "Value user define baudrate: 6144\n")
            << "User defined | Even | 7 | 2 | Off | ticked | 6144 | 1500000.00"
            << QStringList{"15 05 01 00 02 07 02", "d9 03 01 18 00"};
        QTest::newRow("1382400 is not taken back")
            << QByteArray("Serial baudrate: 1382400\r\n"
                          "Serial parity: None\r\n"
                          "User defined baudrate: No\r\n")
            << "115200 | None | 7 | 2 | On | unticked | 4103 | 1001708.98 (greyed)"
            << QStringList{"15 05 07 01 00 07 02", "d9 03 00 00 00"};
        QTest::newRow("921600 is") << QByteArray("Serial baudrate: 921600\r\n"
                                                 "User defined baudrate: No\r\n")
                                   << "921600 | Even | 7 | 2 | On | unticked | 4103 | 1001708.98 "
                                      "(greyed)"
                                   << QStringList{"15 05 0a 01 02 07 02", "d9 03 00 00 00"};
        QTest::newRow("data and stop bits as they stand")
            << QByteArray("Serial databits: 5\r\nSerial stopbits: 1\r\n")
            << "User defined | Even | 5 | 1 | On | ticked | 4103 | 1001708.98"
            << QStringList{"15 05 07 01 02 05 01", "d9 03 01 10 07"};
        QTest::newRow("what the file does not say is left")
            << QByteArray("Serial baudrate: 12345\r\n"
                          "Serial parity: Mark\r\n"
                          "Serial databits: eight\r\n"
                          "Serial flow control: Yes\r\n"
                          "User defined baudrate: Maybe\r\n"
                          "Value user define baudrate: lots\r\n"
                          "Serial stopbits: 1\r\n")
            << "User defined | Even | 7 | 1 | On | ticked | 4103 | 1001708.98"
            << QStringList{"15 05 07 01 02 07 01", "d9 03 01 10 07"};
        // Taken as they stand, refused at the write: a communication failure
        // and nothing more sent.
        QTest::newRow("data and stop bits no module runs")
            << QByteArray("Serial databits: 9\r\nSerial stopbits: 3\r\n")
            << "User defined | Even |  |  | On | ticked | 4103 | 1001708.98" << QStringList();
    }
    void loadThenWriteAll() {
        QFETCH(QByteArray, file);
        QFETCH(QString, shows);
        QFETCH(QStringList, frames);
        QTemporaryDir dir;
        WindowRig rig(Module("default", kDistinct));
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        OpenSerialPage(rig, true);
        QCOMPARE(SerialShows(f), kDistinctShows);
        const QString path = dir.filePath("hand-written.bcf");
        QFile written(path);
        QVERIFY(written.open(QIODevice::WriteOnly) && written.write(file) == file.size());
        written.close();
        f.seams.openFileName = [&] { return path; };
        rig.ClearTrace();
        f.menuLoadSettings->trigger();
        QVERIFY(rig.messages.isEmpty());
        QCOMPARE(SerialShows(f), shows);
        QCOMPARE(Items(f.serialPage->BaudrateBox).endsWith(kUserDefined),
                 shows.startsWith(kUserDefined));
        QTest::qWait(20);
        QVERIFY(rig.Received().isEmpty());

        f.writeConf->click();
        QTRY_VERIFY(f.writeConf->isEnabled());
        if (frames.isEmpty()) {
            QCOMPARE(rig.errors.size(), size_t(1));
            QCOMPARE(rig.errors[0].caption, QString("Error - communication (0x0215)"));
            QVERIFY(SerialFrames(rig.Received()).filter("d9 ").isEmpty());
            return;
        }
        QVERIFY(rig.errors.empty());
        QCOMPARE(SerialFrames(rig.Received()), frames);
    }
};

QTEST_MAIN(SerialPageTest)
#include "SerialPageTest.moc"
