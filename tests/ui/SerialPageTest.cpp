// The Serial port page in the window against a virtual module: what a read
// shows for each kind of module (and for the module read last), when the
// user-defined group shows, the calculated speed and what the value edit takes,
// a person's changes and what write-all then sends, controls set by the program,
// the refused user-defined value, and the page's file section saved and loaded.
// Frames, failure numbers and the file rules of the group itself are
// SerSettingsTest's; whole files are MainFormFileTest's.
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QPushButton>
#include <QRegularExpression>
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
const QStringList kDistinctFrames = {"15 05 07 01 02 07 02", "d9 03 01 10 07"};
// The same with the user-defined speed off and no value.
const QString kPlain = "serial 7 1 2 7 2\nuser_baudrate 0 0\n";

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

// The Serial port group's write frames among those the module heard.
QStringList SerialWrites(const WindowRig& rig) {
    return rig.Received().filter(QRegularExpression("^(15|d9) "));
}

// The person shows the advanced settings: the warning is answered Yes and then
// forgotten. false when no warning came.
bool ShowAdvanced(WindowRig& rig) {
    rig.form->menuShowAdvanced->trigger();
    const bool warned = rig.questions.size() == 1;
    rig.questions.clear();
    return warned;
}

void WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(bytes);
}

// One thing a person does on the page: "ParityBox=Odd" (any box by its name)
// chooses an item, "Tick" clicks the user-defined box, "Value=6144" empties the
// value edit and types the digits. false when it cannot be done.
bool Act(TMainForm& f, const QString& action) {
    SerialPage& p = *f.serialPage;
    const QString what = action.section('=', 0, 0), choice = action.section('=', 1);
    if (what == "Tick") {
        p.udbEnabled->click();
        return true;
    }
    if (what == "Value") {
        Type(p.baudvalue, "");
        QTest::keyClicks(p.baudvalue, choice);
        return p.baudvalue->text() == choice;
    }
    auto* box = p.findChild<QComboBox*>(what);
    const int index = box != nullptr ? box->findText(choice) : -1;
    if (index < 0) return false;
    box->setCurrentIndex(index);
    emit box->activated(index);
    return true;
}

} // namespace

class SerialPageTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    int stateFiles = 0;

    // The virtual module's options: a profile and a state file holding `state`.
    std::vector<std::string> Module(const QString& profile, const QString& state) {
        const QString path = dir.filePath(QString("module%1.state").arg(++stateFiles));
        WriteFile(path, state.toLatin1());
        return {"--profile", profile.toStdString(), "--state", path.toStdString()};
    }

    // A window that has read the module and shows its Serial port page, with the
    // advanced settings when asked. Null when that failed.
    std::unique_ptr<WindowRig> Open(const QString& state, const QString& profile = "default",
                                    bool advanced = true) {
        auto rig = std::make_unique<WindowRig>(Module(profile, state));
        if (!rig->StartAndRead()) return nullptr;
        rig->form->PageControl1->setCurrentWidget(rig->form->serialTab);
        if (advanced && !ShowAdvanced(*rig)) return nullptr;
        return rig;
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
        QVERIFY(dir.isValid());
    }

    // Modules read in turn by the same window, the first at start-up and each
    // next one plugged in: every control shows its own field, never the module
    // before's (a value of 0 only leaves the edit as it was); the speed list holds
    // what the kind of module runs, "User defined" last while that is on. The
    // user-defined group shows on software 3.x only while the advanced settings
    // are shown.
    void pageShowsTheModuleReadLast() {
        const struct {
            const char* profile;
            QString state;
            QStringList items;
            QString shows;
        } modules[] = {
            {"default", kDistinct, kGen2Speeds + QStringList{kUserDefined}, kDistinctShows},
            {"code1-2.10", "serial 3 1 2 7 2\n", kGen1Speeds,
             "9600 | Even | 7 | 2 | On | unticked | 4103 | N/A (greyed)"},
            {"code5-3.02", "serial 8 1 2 7 1\nuser_baudrate 0 4096\n", kCode5Speeds,
             "230400 | Even | 7 | 1 | On | unticked | 4096 | 1000000.00 (greyed)"},
            {"code4-3.02", "serial 8 1 1 8 2\nuser_baudrate 1 1\n",
             kGen2Speeds + QStringList{kUserDefined},
             "User defined | Odd | 8 | 2 | On | ticked | 1 |     244.14"},
            {"code3-3.00", "serial 11 1 0 8 2\nuser_baudrate 0 0\n", kGen2Speeds,
             "1382400 | None | 8 | 2 | On | unticked | 1 | N/A (greyed)"},
            {"code1-3.02", "serial 6 1 1 5 1\nuser_baudrate 1 6144\n",
             kGen1Speeds + QStringList{kUserDefined},
             "User defined | Odd | 5 | 1 | On | ticked | 6144 | 1500000.00"},
            {"code2-3.02", "serial 1 0 2 5 1\nuser_baudrate 0 2048\n", kGen2Speeds,
             "2400 | Even | 5 | 1 | Off | unticked | 2048 |  500000.00 (greyed)"},
        };
        auto rig = Open(modules[0].state, modules[0].profile, false);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        const SerialPage& p = *f.serialPage;
        std::vector<std::unique_ptr<SimServer>> plugged;
        for (const auto& m : modules) {
            if (&m != modules) {
                plugged.push_back(PlugIn(f, m.profile, m.state));
                QVERIFY2(plugged.back() != nullptr, m.profile);
                f.readConfig->click();
                f.PageControl1->setCurrentWidget(f.serialTab);
            }
            QVERIFY2(rig->errors.empty() && rig->questions.isEmpty(), m.profile);
            QCOMPARE(m.profile + (": " + SerialShows(f)), m.profile + (": " + m.shows));
            QCOMPARE(Items(p.BaudrateBox), m.items);
            QVERIFY(!p.dataBitsBox->isEnabled() && p.flowBox->isEnabled());
            QVERIFY(!p.groupUserDefinedBaud->isVisible());
            if (QString(m.profile).endsWith("2.10")) continue; // no advanced settings
            QVERIFY(ShowAdvanced(*rig) && p.groupUserDefinedBaud->isVisible());
            f.menuShowAdvanced->trigger(); // hidden again
            QVERIFY(!p.groupUserDefinedBaud->isVisible());
        }
    }

    // The value edit takes digits and backspace only, at most four digits (a
    // digit is dropped while it holds four, even over a selection); the
    // calculated speed is value × 244.140625 in ten characters with two
    // decimals, "N/A" for 0. In the keys, '\b' is Backspace and '^' the person
    // selecting the whole text with the mouse.
    void valueEditAndCalculatedSpeed() {
        auto rig = Open(kDistinct);
        QVERIFY(rig);
        const SerialPage& p = *rig->form->serialPage;
        const struct {
            const char* keys;
            const char* value;
            const char* speed;
        } rows[] = {{"4096", "4096", "1000000.00"},
                    {"1", "1", "    244.14"},
                    {"1a2-3 .+x,", "123", "  30029.30"},
                    {"123456", "1234", " 301269.53"},
                    {"4103\b5", "4105", "1002197.27"},
                    {"4103^5", "4103", "1001708.98"},
                    {"410^5", "5", "   1220.70"},
                    {"4103^\b7", "7", "   1708.98"},
                    {"0", "0", "N/A"},
                    {"6144", "6144", "1500000.00"},
                    {"abc-. ", "", "N/A"}};
        for (const auto& row : rows) {
            Type(p.baudvalue, "");
            for (const char key : std::string(row.keys)) {
                if (key == '^')
                    p.baudvalue->selectAll();
                else
                    QTest::keyClicks(p.baudvalue, QString(QChar(key)));
            }
            const QString keys = QString(row.keys).replace('\b', "<BS>");
            QVERIFY2(p.baudvalue->text() == row.value, qPrintable(keys));
            QVERIFY2(p.baudCap->text() == row.speed, qPrintable(keys + ": " + p.baudCap->text()));
        }
    }

    // A person's choices and what write-all then sends: the serial frame carries
    // speed code, flow, parity, data bits and stop bits, the user-defined frame
    // 01 and the value high byte first when on, all zero when off. Choosing a
    // speed turns user-defined off; ticking takes the value the edit shows.
    void personsChoicesThenWriteAll_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QString>("shows");
        QTest::addColumn<QStringList>("frames");
        const QString off = "d9 03 00 00 00";
        QTest::newRow("parity, stop bits and flow")
            << kDistinct << QStringList{"ParityBox=Odd", "stopBitsBox=1", "flowBox=Off"}
            << "User defined | Odd | 7 | 1 | Off | ticked | 4103 | 1001708.98"
            << QStringList{"15 05 07 00 01 07 01", kDistinctFrames[1]};
        QTest::newRow("untick") << kDistinct << QStringList{"Tick"}
                                << "115200 | Even | 7 | 2 | On | unticked | 4103 | 1001708.98 "
                                   "(greyed)"
                                << QStringList{kDistinctFrames[0], off};
        QTest::newRow("value typed, then ticked")
            << kPlain << QStringList{"Value=4096", "Tick"}
            << "User defined | Even | 7 | 2 | On | ticked | 4096 | 1000000.00"
            << QStringList{kDistinctFrames[0], "d9 03 01 10 00"};
        QTest::newRow("ticked, then value typed")
            << kPlain << QStringList{"Tick", "Value=255"}
            << "User defined | Even | 7 | 2 | On | ticked | 255 |   62255.86"
            << QStringList{kDistinctFrames[0], "d9 03 01 00 ff"};
        QTest::newRow("speed, then ticked with the module's value")
            << "serial 7 1 2 7 2\nuser_baudrate 0 4103\n"
            << QStringList{"BaudrateBox=38400", "Tick"} << kDistinctShows
            << QStringList{"15 05 05 01 02 07 02", kDistinctFrames[1]};
        QTest::newRow("value typed, then a speed")
            << kDistinct << QStringList{"Value=2048", "BaudrateBox=2400"}
            << "2400 | Even | 7 | 2 | On | unticked | 2048 |  500000.00 (greyed)"
            << QStringList{"15 05 01 01 02 07 02", off};
    }
    void personsChoicesThenWriteAll() {
        QFETCH(QString, state);
        QFETCH(QStringList, actions);
        QFETCH(QString, shows);
        QFETCH(QStringList, frames);
        auto rig = Open(state);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        QCOMPARE(SerialShows(f), shows);
        QCOMPARE(Items(f.serialPage->BaudrateBox).endsWith(kUserDefined),
                 shows.startsWith(kUserDefined));
        QVERIFY(f.AnyChanged());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(SerialWrites(*rig), frames);
    }

    // Filling the controls from the program (as a refresh does) is no choice of
    // the person's: nothing counts as changed and the module's values go back.
    void controlsSetByTheProgramChangeNothing() {
        auto rig = Open(kDistinct);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        SerialPage& p = *f.serialPage;
        for (QComboBox* box : {p.BaudrateBox, p.ParityBox, p.dataBitsBox, p.stopBitsBox, p.flowBox})
            box->setCurrentIndex(0);
        p.udbEnabled->setChecked(false);
        p.baudvalue->setText("12");
        QVERIFY(!f.AnyChanged());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(SerialWrites(*rig), kDistinctFrames);
    }

    // User-defined on with the value emptied: write-all, started from another
    // page, reports it, brings up the Serial port page and sends nothing.
    void refusedValueBringsUpThePage() {
        auto rig = Open(kDistinct);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        QVERIFY(Act(f, "Value="));
        f.PageControl1->setCurrentWidget(f.generalTab);
        rig->ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig->errors.size(), size_t(1));
        QCOMPARE(rig->errors[0].caption + " / " + rig->errors[0].headline,
                 QString("Error - Invalid input value / Invalid user defined baudrate"));
        QCOMPARE(f.PageControl1->currentWidget(), f.serialTab);
        QTest::qWait(50);
        QCOMPARE(rig->Received(), QStringList());
    }

    // File > Save writes the section as the person left the page; File > Load of
    // a hand-written file (bare line feeds) sets every control, and write-all
    // then sends it.
    void fileSectionSavedAndLoaded() {
        auto rig = Open(kPlain);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const QString& action :
             QStringList{"ParityBox=Odd", "flowBox=Off", "BaudrateBox=9600", "Value=4096", "Tick"})
            QVERIFY2(Act(f, action), qPrintable(action));
        f.seams.saveFileName = [&] { return dir.filePath("saved"); };
        f.menuSaveSettings->trigger();
        QFile saved(dir.filePath("saved.bcf"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        const QStringList sections = QString::fromLatin1(saved.readAll()).split("\r\n\r\n\r\n");
        QCOMPARE(sections.filter(QRegularExpression("^# Serial port")),
                 QStringList{"# Serial port settings\r\nSerial baudrate: 9600\r\n"
                             "Serial parity: Odd\r\nSerial databits: 7\r\nSerial stopbits: 2\r\n"
                             "Serial flow control: Off\r\nUser defined baudrate: Yes\r\n"
                             "Value user define baudrate: 4096"});

        const QString path = dir.filePath("hand-written.bcf");
        WriteFile(path, "Serial baudrate: 460800\nSerial parity: None\nSerial databits: 6\n"
                        "Serial stopbits: 1\nSerial flow control: On\nUser defined baudrate: No\n"
                        "Value user define baudrate: 2048\n");
        f.seams.openFileName = [&] { return path; };
        f.menuLoadSettings->trigger();
        QVERIFY(rig->messages.isEmpty() && rig->questions.isEmpty());
        QCOMPARE(SerialShows(f),
                 QString("460800 | None | 6 | 1 | On | unticked | 2048 |  500000.00 (greyed)"));
        QCOMPARE(Items(f.serialPage->BaudrateBox), kGen2Speeds);
        rig->ClearTrace();
        f.writeConf->click();
        QTRY_VERIFY(f.writeConf->isEnabled());
        QVERIFY(rig->errors.empty());
        QCOMPARE(SerialWrites(*rig), QStringList({"15 05 09 01 00 06 01", "d9 03 00 00 00"}));
    }
};

QTEST_MAIN(SerialPageTest)
#include "SerialPageTest.moc"
