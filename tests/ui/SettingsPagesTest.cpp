// The Serial port, Endpoint and Connecting pages in the window against a
// virtual module: what a read shows (on the Serial port page for each kind of
// module, read one after the other), what the edits take, a person's choices
// and what write-all then sends, controls set by the program, the refusals that
// stop write-all on the right page, a loaded file, and the find and pair
// buttons with the real search dialog and wizard.
#include "ConSetHandler.h"
#include "EndpSetHandler.h"
#include "InquiryHandler.h"
#include "PairForms.h"
#include "PairHandler.h"
#include "TinqForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

namespace {

// Every address of the module differs in every byte.
const QByteArray kAddresses = "connect_address 0a 1b 2c 3d 4e 5f\n"
                              "accepted_address 61 72 83 94 a5 b6\n"
                              "paired_address c7 d8 e9 fa 0b 1c\n"
                              "passkey Pin4711xy\n";

const QString kUserDefined = "User defined";
const QStringList kGen1Speeds = {"2400", "4800", "9600", "19200", "38400", "57600", "115200"};
const QStringList kCode5Speeds = kGen1Speeds + QStringList{"230400"};
const QStringList kGen2Speeds = kCode5Speeds + QStringList{"460800", "921600", "1382400"};

// A module with a distinct value in every serial field: 115200, flow on, even
// parity, 7 data bits, 2 stop bits, user-defined speed on with 4103 (0x1007).
const QByteArray kDistinct = "serial 7 1 2 7 2\nuser_baudrate 1 4103\n";
const QString kDistinctShows = "User defined | Even | 7 | 2 | On | ticked | 4103 | 1001708.98";
const QStringList kDistinctFrames = {"15 05 07 01 02 07 02", "d9 03 01 10 07"};
// The same with the user-defined speed off and no value.
const QByteArray kPlain = "serial 7 1 2 7 2\nuser_baudrate 0 0\n";

QStringList Items(const QComboBox* box) {
    QStringList items;
    for (int i = 0; i < box->count(); ++i)
        items << box->itemText(i);
    return items;
}

// The Serial port page as a person reads it: the five boxes, the tick, the value
// and the calculated speed, "(greyed)" when the speed and its labels are disabled.
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

QString Enabled(std::initializer_list<const QWidget*> widgets) {
    QString letters;
    for (const QWidget* w : widgets)
        letters += w->isEnabled() ? "+" : "-";
    return letters;
}

QString Address(const AddressEdit::Edits& edits) {
    QStringList bytes;
    for (const QLineEdit* e : edits)
        bytes << (e->text().isEmpty() ? "__" : e->text());
    return bytes.join(' ');
}

// The Endpoint page as a person reads it; the last part tells which of the
// three boxes, the accept address and the find button take input.
QString EndpointShows(const EndpSetHandler& h) {
    return QStringList{h.endpointRadio->isChecked() ? "endpoint" : "-",
                       h.secBox->currentText(),
                       h.allowAllAddrCheck->isChecked() ? "all" : "one",
                       Address(h.ea),
                       h.pinCodeText->text(),
                       h.reqEncCheck->isChecked() ? "enc" : "-",
                       h.pairReqEnc->isChecked() ? "enc" : "-",
                       h.endpPairDev->text(),
                       Enabled({h.groupEndpNoAuth, h.groupEndpPasskey, h.groupEndpPaired, h.ea[0],
                                h.endpFindButton})}
        .join(" | ");
}

// The Connecting page likewise; the last part: address edits, find button, pair
// button, encryption box.
QString ConnectingShows(const ConSetHandler& h) {
    return QStringList{
        h.connectingRadio->isChecked() ? "connecting" : "-",
        h.conSecBox->currentText(),
        Address(h.ca),
        h.conPairDev->text(),
        h.conReqEncCheck->isChecked() ? "enc" : "-",
        Enabled({h.ca[0], h.conFindDeviceButton, h.conPairDevButton, h.conReqEncCheck})}
        .join(" | ");
}

// The frames of some groups' writes ("15|d9") among those the module heard.
QStringList Writes(const WindowRig& rig, const QString& opcodes) {
    return rig.Received().filter(QRegularExpression("^(" + opcodes + ") "));
}
const QString kSerialWrites = "15|d9", kModeWrites = "13|17|19|67|69";

// One thing a person does: "endpointRadio" (any button by its name) clicks,
// "secBox=Require passkey" (any box) chooses an item, "pinCodeText=abc" or
// "ca3=" (any edit) types into it, replacing what it holds.
bool Act(TMainForm& f, const QString& action) {
    const QString what = action.section('=', 0, 0), value = action.section('=', 1);
    if (auto* button = f.findChild<QAbstractButton*>(what)) {
        button->click();
        return true;
    }
    if (auto* box = f.findChild<QComboBox*>(what)) {
        const int index = box->findText(value);
        if (index < 0) return false;
        box->setCurrentIndex(index);
        emit box->activated(index);
        return true;
    }
    if (auto* edit = f.findChild<QLineEdit*>(what)) {
        Type(edit, value);
        return edit->text() == value;
    }
    return false;
}

// The person shows the advanced settings: the warning is answered Yes and then
// forgotten. false when no warning came.
bool ShowAdvanced(WindowRig& rig) {
    rig.form->menuShowAdvanced->trigger();
    const bool warned = rig.questions.size() == 1;
    rig.questions.clear();
    return warned;
}

// A window that has read a module of this state and kind, null when that failed.
// The Serial port page's tests see it in front with the advanced settings.
std::unique_ptr<WindowRig> Open(const QByteArray& state, const QString& profile = "default",
                                std::vector<std::string> more = {}, bool serial = false) {
    std::vector<std::string> args = ModuleFile("--state", state);
    args.insert(args.end(), {"--profile", profile.toStdString()});
    args.insert(args.end(), more.begin(), more.end());
    auto rig = std::make_unique<WindowRig>(args);
    if (!rig->StartAndRead()) return nullptr;
    if (!serial) return rig;
    rig->form->PageControl1->setCurrentWidget(rig->form->serialTab);
    return ShowAdvanced(*rig) ? std::move(rig) : nullptr;
}

} // namespace

class SettingsPagesTest : public QObject {
    Q_OBJECT
  private slots:
    // Modules read in turn by the same window, the first at start-up and each
    // next one plugged in on the window's port: every control of the Serial port
    // page shows its own field, never the module before's (a value of 0 only
    // leaves the edit as it was); the speed list holds what the kind of module
    // runs, "User defined" last while that is on. The user-defined group shows on
    // software 3.x only while the advanced settings are shown.
    void serialPageShowsTheModuleReadLast() {
        const struct {
            const char* profile;
            QByteArray state;
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
        auto rig = Open(modules[0].state);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        const SerialPage& p = *f.serialPage;
        std::vector<std::unique_ptr<SimServer>> plugged;
        for (const auto& m : modules) {
            if (&m != modules) {
                std::vector<std::string> args = ModuleFile("--state", m.state);
                args.insert(args.end(), {"--profile", m.profile});
                plugged.push_back(std::make_unique<SimServer>(args));
                QVERIFY2(plugged.back()->Start(), m.profile);
                f.serPort.Close();
                PortTable::Set({plugged.back()->DevicePath()});
                QCOMPARE(f.serPort.Open(), 0);
                f.readConfig->click();
            }
            f.PageControl1->setCurrentWidget(f.serialTab);
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

    // The user-defined value takes digits and Backspace only, at most four
    // digits (a digit is dropped while it holds four, even over a selection),
    // and keys that type nothing move in it; the calculated speed is value ×
    // 244.140625 in ten characters with two decimals, "N/A" for 0. In the
    // keys, '^' is the person selecting the whole text with the mouse.
    void valueEditAndCalculatedSpeed() {
        auto rig = Open(kDistinct, "default", {}, true);
        QVERIFY(rig);
        const SerialPage& p = *rig->form->serialPage;
        const struct {
            const char *keys, *value, *speed;
        } rows[] = {{"4096", "4096", "1000000.00"},
                    {"1", "1", "    244.14"},
                    {"1a2-3 .+x,", "123", "  30029.30"},
                    {"123456", "1234", " 301269.53"},
                    {"4103\b5", "4105", "1002197.27"},
                    {"4103\u2190\b", "413", " 100830.08"},
                    {"4103^5", "4103", "1001708.98"},
                    {"410^5", "5", "   1220.70"},
                    {"4103^\b7", "7", "   1708.98"},
                    {"0", "0", "N/A"},
                    {"abc-. ", "", "N/A"}};
        for (const auto& row : rows) {
            const QStringList parts = QString(row.keys).split('^');
            Type(p.baudvalue, parts[0]);
            for (const QString& part : parts.mid(1)) {
                p.baudvalue->selectAll();
                Keys(p.baudvalue, part);
            }
            const QString keys = QString(row.keys).replace('\b', "<BS>");
            QVERIFY2(p.baudvalue->text() == row.value, qPrintable(keys));
            QVERIFY2(p.baudCap->text() == row.speed, qPrintable(keys + ": " + p.baudCap->text()));
        }
    }

    // A person's choices on the Serial port page and what write-all then sends:
    // the serial frame carries speed code, flow, parity, data bits and stop
    // bits, the user-defined frame 01 and the value high byte first when on, all
    // zero when off. Choosing a speed turns user-defined off; ticking takes the
    // value the edit shows.
    void serialChoicesThenWriteAll_data() {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QString>("shows");
        QTest::addColumn<QStringList>("frames");
        const QString off = "d9 03 00 00 00";
        QTest::newRow("parity, data bits, stop bits and flow")
            << kDistinct
            << QStringList{"ParityBox=Odd", "dataBitsBox=8", "stopBitsBox=1", "flowBox=Off"}
            << "User defined | Odd | 8 | 1 | Off | ticked | 4103 | 1001708.98"
            << QStringList{"15 05 07 00 01 08 01", kDistinctFrames[1]};
        QTest::newRow("untick") << kDistinct << QStringList{"udbEnabled"}
                                << "115200 | Even | 7 | 2 | On | unticked | 4103 | 1001708.98 "
                                   "(greyed)"
                                << QStringList{kDistinctFrames[0], off};
        QTest::newRow("value typed, then ticked")
            << kPlain << QStringList{"baudvalue=4096", "udbEnabled"}
            << "User defined | Even | 7 | 2 | On | ticked | 4096 | 1000000.00"
            << QStringList{kDistinctFrames[0], "d9 03 01 10 00"};
        QTest::newRow("ticked, then value typed")
            << kPlain << QStringList{"udbEnabled", "baudvalue=255"}
            << "User defined | Even | 7 | 2 | On | ticked | 255 |   62255.86"
            << QStringList{kDistinctFrames[0], "d9 03 01 00 ff"};
        QTest::newRow("speed, then ticked with the module's value")
            << QByteArray("serial 7 1 2 7 2\nuser_baudrate 0 4103\n")
            << QStringList{"BaudrateBox=38400", "udbEnabled"} << kDistinctShows
            << QStringList{"15 05 05 01 02 07 02", kDistinctFrames[1]};
        QTest::newRow("value typed, then a speed")
            << kDistinct << QStringList{"baudvalue=2048", "BaudrateBox=2400"}
            << "2400 | Even | 7 | 2 | On | unticked | 2048 |  500000.00 (greyed)"
            << QStringList{"15 05 01 01 02 07 02", off};
    }
    void serialChoicesThenWriteAll() {
        QFETCH(QByteArray, state);
        QFETCH(QStringList, actions);
        QFETCH(QString, shows);
        QFETCH(QStringList, frames);
        auto rig = Open(state, "default", {}, true);
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
        QCOMPARE(Writes(*rig, kSerialWrites), frames);
    }

    // Filling the controls from the program (as a refresh does) is no choice of
    // the person's: nothing counts as changed and the module's values go back.
    void controlsSetByTheProgramChangeNothing() {
        auto rig = Open(kDistinct, "default", {}, true);
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
        QCOMPARE(Writes(*rig, kSerialWrites), kDistinctFrames);
    }

    // The module's device mode and security as both pages show them after a
    // read: only the page of the module's mode takes input, and there only the
    // box of its security mode.
    void modePagesShowARead_data() {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<QString>("connecting");
        QTest::newRow("endpoint, no authentication, any device")
            << QByteArray("device_mode 2\nsecurity 0 0 0\naccepted_address 00 00 00 00 00 00\n"
                          "connect_address 0a 1b 2c 3d 4e 5f\npasskey Pin4711xy\n")
            << "endpoint | No authentication | all | 00 00 00 00 00 00 | Pin4711xy | - | - | "
               "Device not paired | +----"
            << "- | Connect without passkey | 0A 1B 2C 3D 4E 5F | Device not paired | - | ----";
        QTest::newRow("endpoint, one accepted device")
            << kAddresses + "device_mode 2\nsecurity 0 0 0\n"
            << "endpoint | No authentication | one | 61 72 83 94 A5 B6 | Pin4711xy | - | - | "
               "c7 d8 e9 fa 0b 1c | +--++"
            << "- | Connect without passkey | 0A 1B 2C 3D 4E 5F | c7 d8 e9 fa 0b 1c | - | ----";
        QTest::newRow("endpoint, passkey without encryption")
            << kAddresses + "device_mode 2\nsecurity 0 1 1\n"
            << "endpoint | Require passkey | one | 61 72 83 94 A5 B6 | Pin4711xy | - | - | "
               "c7 d8 e9 fa 0b 1c | -+---"
            << "- | Connect to paired device | 0A 1B 2C 3D 4E 5F | c7 d8 e9 fa 0b 1c | - | ----";
        QTest::newRow("connecting to the paired device, encrypted")
            << kAddresses + "device_mode 1\nsecurity 1 1 0\n"
            << "- | Require paired device | one | 61 72 83 94 A5 B6 | Pin4711xy | enc | enc | "
               "c7 d8 e9 fa 0b 1c | -----"
            << "connecting | Connect to paired device | 0A 1B 2C 3D 4E 5F | c7 d8 e9 fa 0b 1c | "
               "enc | --++";
        QTest::newRow("connecting without passkey")
            << kAddresses + "device_mode 1\nsecurity 0 0 0\n"
            << "- | No authentication | one | 61 72 83 94 A5 B6 | Pin4711xy | - | - | "
               "c7 d8 e9 fa 0b 1c | -----"
            << "connecting | Connect without passkey | 0A 1B 2C 3D 4E 5F | c7 d8 e9 fa 0b 1c | - "
               "| ++--";
    }
    void modePagesShowARead() {
        QFETCH(QByteArray, state);
        QFETCH(QString, endpoint);
        QFETCH(QString, connecting);
        auto rig = Open(state);
        QVERIFY(rig);
        QCOMPARE(EndpointShows(*rig->form->endpSetHandler), endpoint);
        QCOMPARE(ConnectingShows(*rig->form->conSetHandler), connecting);
        QVERIFY(!rig->form->AnyChanged());
    }

    // A person's choices and what write-all then sends: the mode chosen on
    // either page shows on both, and only the page of that mode writes.
    void modeChoicesThenWriteAll_data() {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QStringList>("frames");
        const QByteArray endpointModule = kAddresses + "device_mode 2\nsecurity 0 0 0\n";
        QTest::newRow("to connecting, without passkey")
            << endpointModule << QStringList{"connectingRadio"}
            << QStringList{"13 01 01", "17 06 0a 1b 2c 3d 4e 5f", "67 03 00 00 00"};
        QTest::newRow("to connecting, a typed address")
            << endpointModule << QStringList{"connectingRadio", "ca2=F0", "ca6=9"}
            << QStringList{"13 01 01", "17 06 0a f0 2c 3d 4e 09", "67 03 00 00 00"};
        QTest::newRow("to the paired device, encrypted")
            << endpointModule
            << QStringList{"connectingRadio", "conSecBox=Connect to paired device",
                           "conReqEncCheck"}
            << QStringList{"13 01 01", "67 03 01 01 00"};
        QTest::newRow("passkey typed")
            << endpointModule
            << QStringList{"secBox=Require passkey", "pinCodeText=Secret", "reqEncCheck"}
            << QStringList{"13 01 02", "69 06 " + Hex("Secret"), "67 03 01 01 01"};
        QTest::newRow("paired device, its box ticked")
            << endpointModule << QStringList{"secBox=Require paired device", "pairReqEnc"}
            << QStringList{"13 01 02", "67 03 01 01 00"};
        QTest::newRow("any device")
            << endpointModule << QStringList{"allowAllAddrCheck"}
            << QStringList{"13 01 02", "19 06 00 00 00 00 00 00", "67 03 00 00 00"};
        QTest::newRow("back to endpoint")
            << kAddresses + "device_mode 1\nsecurity 0 0 0\n"
            << QStringList{"endpointRadio", "ea3=0"}
            << QStringList{"13 01 02", "19 06 61 72 00 94 a5 b6", "67 03 00 00 00"};
    }
    void modeChoicesThenWriteAll() {
        QFETCH(QByteArray, state);
        QFETCH(QStringList, actions);
        QFETCH(QStringList, frames);
        auto rig = Open(state);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        QVERIFY(f.AnyChanged());
        const bool connecting = frames.first() == "13 01 01";
        QCOMPARE(f.endpSetHandler->endpointRadio->isChecked(), !connecting);
        QCOMPARE(f.conSetHandler->connectingRadio->isChecked(), connecting);
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(Writes(*rig, kModeWrites), frames);
    }

    // Values that cannot be written stop write-all before anything is sent and
    // bring up their page, whichever page was in front.
    void refusalsBringUpTheirPage_data() {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QString>("headline");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("page");
        QTest::newRow("user-defined value emptied")
            << kDistinct << QStringList{"baudvalue="} << "Invalid user defined baudrate"
            << ""
            << "serialTab";
        QTest::newRow("connect address field empty")
            << kAddresses + "device_mode 1\nsecurity 0 0 0\n"
            << QStringList{"ca3="} << "Invalid connecting address"
            << "The device is configured to connect without passkey but one or more of the "
               "address fields is empty"
            << "conTab";
        QTest::newRow("connect address all zero")
            << QByteArray("device_mode 1\nsecurity 0 0 0\n") << QStringList{}
            << "Invalid connecting address"
            << "The device is configured to connect without passkey but one or more of the "
               "address value is invalid"
            << "conTab";
        QTest::newRow("connecting to the paired device, not paired")
            << QByteArray("device_mode 1\nsecurity 0 1 0\n") << QStringList{}
            << "Invalid connecting security setting"
            << "The device is configured to connect to paired device, but the device is not "
               "paired"
            << "conTab";
        QTest::newRow("accept address field empty")
            << kAddresses + "device_mode 2\nsecurity 0 0 0\n"
            << QStringList{"ea6="} << "Invalid endpoint accept address"
            << "The device is configured to accept connections from a specific device but with "
               "an invalid accept address"
            << "endpointTab";
        QTest::newRow("passkey emptied")
            << kAddresses + "device_mode 2\nsecurity 0 1 1\n"
            << QStringList{"pinCodeText="} << "Invalid PIN code"
            << "When the device is configured to require PIN code, a PIN code must be entered"
            << "endpointTab";
        QTest::newRow("paired device required, not paired")
            << QByteArray("device_mode 1\nsecurity 0 1 0\n")
            << QStringList{"endpointRadio", "secBox=Require paired device"}
            << "Invalid endpoint security setting"
            << "The device is configured to accept connection from a paired device, but the "
               "device is not paired"
            << "endpointTab";
    }
    void refusalsBringUpTheirPage() {
        QFETCH(QByteArray, state);
        QFETCH(QStringList, actions);
        QFETCH(QString, headline);
        QFETCH(QString, description);
        QFETCH(QString, page);
        auto rig = Open(state, "default", {}, page == "serialTab");
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        f.PageControl1->setCurrentWidget(f.generalTab);
        rig->ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig->errors.size(), size_t(1));
        QCOMPARE(rig->errors[0].caption, QString("Error - Invalid input value"));
        QCOMPARE(rig->errors[0].headline, headline);
        if (!description.isEmpty()) QCOMPARE(rig->errors[0].description.trimmed(), description);
        QCOMPARE(f.PageControl1->currentWidget()->objectName(), page);
        QTest::qWait(50);
        QCOMPARE(rig->Received(), QStringList());
    }

    // The address edits take hexadecimal digits only, two at most, in upper
    // case, and keys that type nothing move in them; the PIN code edit 16
    // characters (a longer one from a file is shown whole).
    void addressAndPinEdits() {
        auto rig = Open(kAddresses + "device_mode 1\nsecurity 0 0 0\n");
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        const struct {
            const char *keys, *shows;
        } rows[] = {{"a", "A"},  {"g1", "1"},        {"fE", "FE"}, {"1b3", "1B"},
                    {"-x ", ""}, {"1\u2190b", "B1"}, {"c", "C"}};
        QLineEdit* ca4 = f.conSetHandler->ca[3];
        for (const auto& row : rows) {
            Type(ca4, row.keys);
            QVERIFY2(ca4->text() == row.shows, row.keys);
        }
        QCOMPARE(int(f.settings.connecting.connectAddress[3]), 0x0c);

        QVERIFY(Act(f, "endpointRadio") && Act(f, "secBox=Require passkey"));
        QLineEdit* pin = f.endpSetHandler->pinCodeText;
        Type(pin, "0123456789abcdefXYZ");
        QCOMPARE(pin->text(), QString("0123456789abcdef"));
        const QString file = TempFile("Passkey: 0123456789abcdefXYZ\r\n");
        f.seams.openFileName = [&] { return file; };
        f.menuLoadSettings->trigger();
        QCOMPARE(pin->text(), QString("0123456789abcdefXYZ"));
    }

    // A loaded file (bare line feeds) sets the three pages (the paired address
    // stays the module's), and write-all sends it.
    void loadedFileSetsThePages() {
        auto rig = Open(kAddresses + "device_mode 2\nsecurity 1 1 1\n", "default", {}, true);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        const QString file =
            TempFile("Serial baudrate: 460800\nSerial parity: None\nSerial databits: 6\n"
                     "Serial stopbits: 1\nSerial flow control: On\nUser defined baudrate: No\n"
                     "Value user define baudrate: 2048\n"
                     "Device mode: Connecting\nDevice paired with: 01 01 01 01 01 01\n"
                     "Connecting security mode: Connect without passkey\n"
                     "Connect to address: 10 20 30 40 50 6f\n"
                     "Require encryption when connecting paired: No\n");
        f.seams.openFileName = [&] { return file; };
        f.menuLoadSettings->trigger();
        QVERIFY(rig->messages.isEmpty() && rig->questions.isEmpty());
        QCOMPARE(SerialShows(f),
                 QString("460800 | None | 6 | 1 | On | unticked | 2048 |  500000.00 (greyed)"));
        QCOMPARE(Items(f.serialPage->BaudrateBox), kGen2Speeds);
        QCOMPARE(ConnectingShows(*f.conSetHandler),
                 QString("connecting | Connect without passkey | 10 20 30 40 50 6F | "
                         "c7 d8 e9 fa 0b 1c | - | ++--"));
        QVERIFY(!f.endpSetHandler->endpointRadio->isChecked());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(Writes(*rig, kSerialWrites + "|" + kModeWrites),
                 QStringList({"15 05 09 01 00 06 01", "d9 03 00 00 00", "13 01 01",
                              "17 06 10 20 30 40 50 6f", "67 03 00 00 00"}));
    }

    // Find device: the address chosen in the search goes into the page's
    // address edits (and counts as a change); a search ended with Cancel
    // changes nothing.
    void findDeviceFillsTheAddress() {
        auto rig = Open(kAddresses + "device_mode 1\nsecurity 0 0 0\n", "default",
                        {"--search-time", "300"});
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        TinqForm* dialog = f.conSetHandler->inquiry->inqForm;
        QTreeWidget* list = dialog->DeviceList;
        const auto find = [&] {
            f.conSetHandler->conFindDeviceButton->click();
            return 0;
        };
        Person cancels;
        cancels.Then(
            "search", [&] { return dialog->isVisible(); }, [&] { Click(dialog->buttonCancel); });
        cancels.Run(find);
        QVERIFY2(cancels.failure.isEmpty(), qPrintable(cancels.failure));
        QVERIFY(!f.AnyChanged());
        QCOMPARE(Address(f.conSetHandler->ca), QString("0A 1B 2C 3D 4E 5F"));

        Person chooses;
        chooses.Then(
            "two devices", [&] { return list->topLevelItemCount() >= 2; },
            [&] { ClickRow(list, 1); });
        chooses.Then(
            "OK offered", [&] { return dialog->buttonOk->isEnabled(); },
            [&] { Click(dialog->buttonOk); });
        chooses.Run(find);
        QVERIFY2(chooses.failure.isEmpty(), qPrintable(chooses.failure));
        QVERIFY(!dialog->isVisible());
        const QString chosen = list->topLevelItem(1)->text(0).toUpper();
        QCOMPARE(Address(f.conSetHandler->ca), chosen);
        QVERIFY(f.AnyChanged());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(Writes(*rig, kModeWrites).value(1), "17 06 " + chosen.toLower());
    }

    // Pair device: whatever the wizard ends with, both pages show the module's
    // paired address afterwards; the remote device pairing with the waiting module.
    void pairingShowsOnBothPages() {
        auto rig =
            Open("device_mode 2\nsecurity 0 1 0\n", "default", {"--pairing", "complete@300"});
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        QCOMPARE(f.endpSetHandler->endpPairDev->text(), QString("Device not paired"));
        PairHandler& wizard = *f.endpSetHandler->pairing;
        TformPairRemote2* remote = wizard.formPairRemote2;
        Person p;
        p.Then(
            "step 1", [&] { return wizard.formPair1->isVisible(); },
            [&] {
                Click(wizard.formPair1->radioRemotePair);
                Click(wizard.formPair1->buttonNext);
            });
        p.Then(
            "remote page", [&] { return remote->isVisible(); },
            [&] {
                Type(remote->textPinCode, "4321");
                Click(remote->pairButton);
            });
        p.Then(
            "paired", [&] { return remote->finnishButton->isEnabled(); },
            [&] { Click(remote->finnishButton); });
        p.Run([&] {
            f.endpSetHandler->endpPairButton->click();
            return 0;
        });
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        const QString paired = f.endpSetHandler->endpPairDev->text();
        QVERIFY2(QRegularExpression("^([0-9a-f]{2} ){5}[0-9a-f]{2}$").match(paired).hasMatch() &&
                     paired != "00 00 00 00 00 00",
                 qPrintable(paired));
        QCOMPARE(f.conSetHandler->conPairDev->text(), paired);
        QVERIFY(rig->Received().contains("63 04 " + Hex("4321")));
        // The wizard's pairing changed the module, not a setting to write.
        QVERIFY(!f.AnyChanged());
    }
};

static const int registered =
    RegisterTest("SettingsPagesTest", [] { return new SettingsPagesTest; });
#include "SettingsPagesTest.moc"
