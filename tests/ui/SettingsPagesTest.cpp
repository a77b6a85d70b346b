// SPDX-License-Identifier: Apache-2.0
// The pages in the window against a virtual module: a person's choices and
// what write-all then sends, controls set by the program, and the refusals that
// stop write-all on the right page. Each table's rows share one window, a new
// module with the row's settings plugged in and read for each.
#include "ConSetHandler.h"
#include "EndpSetHandler.h"
#include "WindowRig.h"

#include <QAbstractSlider>
#include <QAction>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>

namespace {

// Every address of the module differs in every byte. Each module here has an
// accepted address: once a module had none the window keeps "any device".
const QByteArray kAccepted = "accepted_address 61 72 83 94 a5 b6\n";
const QByteArray kAddresses = "connect_address 0a 1b 2c 3d 4e 5f\n" + kAccepted +
                              "paired_address c7 d8 e9 fa 0b 1c\npasskey Pin4711xy\n";

// A module with a distinct value in every serial field: 115200, flow on, even
// parity, 7 data bits, 2 stop bits, user-defined speed on with 4103 (0x1007).
const QByteArray kDistinct = "serial 7 1 2 7 2\nuser_baudrate 1 4103\n";
const QStringList kDistinctFrames = {"15 05 07 01 02 07 02", "d9 03 01 10 07"};

// The Serial port page as a person reads it: the five boxes, the tick, the value
// and the calculated speed, "(greyed)" when that is disabled; "+" when the
// speed list ends in "User defined".
QString SerialShows(const TMainForm& f) {
    const SerialPage& p = *f.serialPage;
    QStringList shown;
    for (const QComboBox* box :
         {p.BaudrateBox, p.ParityBox, p.dataBitsBox, p.stopBitsBox, p.flowBox})
        shown << box->currentText();
    const bool listed = p.BaudrateBox->itemText(p.BaudrateBox->count() - 1) == "User defined";
    shown << (p.udbEnabled->isChecked() ? "ticked" : "unticked") << p.baudvalue->text()
          << p.baudCap->text() + (p.baudCap->isEnabled() ? "" : " (greyed)") + (listed ? " +" : "");
    return shown.join(" | ");
}

// The frames of some groups' writes ("15|d9") among those the module heard.
QStringList Writes(WindowRig& rig, const QString& opcodes) {
    return rig.Received().filter(QRegularExpression("^(" + opcodes + ") "));
}

// One thing a person does: "endpointRadio" (any button by its name) clicks, "secBox=Require
// passkey" (any box) chooses an item, "pinCodeText=abc" or "ca3=" (any edit) types into it,
// replacing what it holds, and "lstBar=\u2190" (any slider) presses those keys on it.
// A box is chosen even while it is disabled: the window never enables the data
// bits box, yet a choice in it must reach the module.
bool Act(TMainForm& f, const QString& action) {
    const QString what = action.section('=', 0, 0), value = action.section('=', 1);
    auto* control = f.findChild<QWidget*>(what);
    if (control == nullptr) return false;
    if (auto* button = qobject_cast<QAbstractButton*>(control)) {
        button->click();
        return true;
    }
    if (auto* box = qobject_cast<QComboBox*>(control)) {
        const int index = box->findText(value);
        if (index < 0) return false;
        box->setCurrentIndex(index);
        emit box->activated(index);
        return true;
    }
    if (auto* edit = qobject_cast<QLineEdit*>(control)) {
        Type(edit, value);
        return edit->text() == value;
    }
    control->setFocus();
    Keys(control, value);
    return true;
}

// Puts a module holding `state` on the window's port, reads it and does
// `actions`; "" when all went, else the step that did not.
QString PlugAndAct(WindowRig& rig, const QByteArray& state, const QStringList& actions) {
    if (!rig.Plug(ModuleFile("--state", state))) return "the module's read";
    for (const QString& action : actions)
        if (!Act(*rig.form, action)) return action;
    return QString();
}

// The window on a first module, with the advanced settings shown (the warning
// answered Yes) and the Serial port page in front; null when that failed.
std::unique_ptr<WindowRig> Window() {
    auto rig = std::make_unique<WindowRig>(ModuleFile("--state", kAddresses));
    if (!rig->StartAndRead()) return nullptr;
    rig->form->PageControl1->setCurrentWidget(rig->form->serialTab);
    rig->form->menuShowAdvanced->trigger();
    return rig->questions.size() == 1 ? std::move(rig) : nullptr;
}

} // namespace

class SettingsPagesTest : public QObject {
    Q_OBJECT
  private slots:
    // A person's choices on the Serial port page and what write-all then sends:
    // the serial frame carries speed code, flow, parity, data bits and stop
    // bits, the user-defined frame 01 and the value high byte first when on, all
    // zero when off. Choosing a speed turns user-defined off; ticking takes the
    // value the edit shows; the calculated speed is the value × 244.140625.
    // Filling the controls from the program (as a refresh does) is no choice of
    // the person's: nothing counts as changed and the module's values go back.
    void serialChoicesThenWriteAll() {
        const QByteArray plain = "serial 7 1 2 7 2\nuser_baudrate 0 0\n";
        const QString off = "d9 03 00 00 00";
        const struct {
            QByteArray state;
            QStringList actions;
            QString shows;
            QStringList frames;
        } rows[] = {
            {kDistinct,
             {"ParityBox=Odd", "dataBitsBox=8", "stopBitsBox=1", "flowBox=Off"},
             "User defined | Odd | 8 | 1 | Off | ticked | 4103 | 1001708.98 +",
             {"15 05 07 00 01 08 01", kDistinctFrames[1]}},
            {kDistinct,
             {"udbEnabled"},
             "115200 | Even | 7 | 2 | On | unticked | 4103 | 1001708.98 (greyed)",
             {kDistinctFrames[0], off}},
            {plain,
             {"baudvalue=4096", "udbEnabled"},
             "User defined | Even | 7 | 2 | On | ticked | 4096 | 1000000.00 +",
             {kDistinctFrames[0], "d9 03 01 10 00"}},
            {"serial 7 1 2 7 2\nuser_baudrate 0 4103\n",
             {"BaudrateBox=38400", "udbEnabled"},
             "User defined | Even | 7 | 2 | On | ticked | 4103 | 1001708.98 +",
             {"15 05 05 01 02 07 02", kDistinctFrames[1]}},
            {kDistinct,
             {"baudvalue=2048", "BaudrateBox=2400"},
             "2400 | Even | 7 | 2 | On | unticked | 2048 |  500000.00 (greyed)",
             {"15 05 01 01 02 07 02", off}},
        };
        auto rig = Window();
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const auto& row : rows) {
            RowName name(row.actions.join(", "));
            QCOMPARE(PlugAndAct(*rig, row.state, row.actions), QString());
            QCOMPARE(SerialShows(f), row.shows);
            QVERIFY(f.AnyChanged());
            rig->ClearTrace();
            f.writeConf->click();
            QVERIFY(rig->errors.empty());
            QCOMPARE(Writes(*rig, "15|d9"), row.frames);
        }

        QVERIFY(rig->Plug(ModuleFile("--state", kDistinct)));
        SerialPage& p = *f.serialPage;
        for (QComboBox* box : {p.BaudrateBox, p.ParityBox, p.dataBitsBox, p.stopBitsBox, p.flowBox})
            box->setCurrentIndex(0);
        p.udbEnabled->setChecked(false);
        p.baudvalue->setText("12");
        QVERIFY(!f.AnyChanged());
        rig->ClearTrace();
        f.writeConf->click();
        QCOMPARE(Writes(*rig, "15|d9"), kDistinctFrames);
    }

    // A person's choices and what write-all then sends: the mode chosen on
    // either page shows on both, and only the page of that mode writes.
    void modeChoicesThenWriteAll() {
        const QByteArray endpoint = kAddresses + "device_mode 2\nsecurity 0 0 0\n";
        const struct {
            QByteArray state;
            QStringList actions, frames;
        } rows[] = {
            {endpoint,
             {"connectingRadio", "ca2=F0", "ca6=9"},
             {"13 01 01", "17 06 0a f0 2c 3d 4e 09", "67 03 00 00 00"}},
            {endpoint,
             {"connectingRadio", "conSecBox=Connect to paired device", "conReqEncCheck"},
             {"13 01 01", "67 03 01 01 00"}},
            {endpoint,
             {"secBox=Require passkey", "pinCodeText=Secret", "reqEncCheck"},
             {"13 01 02", "69 06 " + Hex("Secret"), "67 03 01 01 01"}},
            {endpoint,
             {"secBox=Require paired device", "pairReqEnc"},
             {"13 01 02", "67 03 01 01 00"}},
            {kAddresses + "device_mode 1\nsecurity 0 0 0\n",
             {"endpointRadio", "ea3=0"},
             {"13 01 02", "19 06 61 72 00 94 a5 b6", "67 03 00 00 00"}},
            {endpoint,
             {"allowAllAddrCheck"},
             {"13 01 02", "19 06 00 00 00 00 00 00", "67 03 00 00 00"}},
        };
        auto rig = Window();
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const auto& row : rows) {
            RowName name(row.actions.join(", "));
            QCOMPARE(PlugAndAct(*rig, row.state, row.actions), QString());
            QVERIFY(f.AnyChanged());
            const bool connecting = row.frames.first() == "13 01 01";
            QCOMPARE(f.endpSetHandler->endpointRadio->isChecked(), !connecting);
            QCOMPARE(f.conSetHandler->connectingRadio->isChecked(), connecting);
            rig->ClearTrace();
            f.writeConf->click();
            QVERIFY(rig->errors.empty());
            QCOMPARE(Writes(*rig, "13|17|19|67|69"), row.frames);
        }
    }

    // A person's choices on the advanced pages and what write-all then sends: a
    // value typed while its mode is on, a performance choice, serial emulation
    // switched on (DTE when the module has no type), the link time-out slider
    // (in seconds beside it), the input gain slider (further right is a higher
    // gain).
    void advancedChoicesThenWriteAll() {
        const struct {
            QByteArray state;
            QStringList actions;
            QString shown; // "label=text": a label beside the control
            QString frame;
        } rows[] = {
            {"sniff 800 400 3 7\n",
             {"sniffMaxInt=900", "sniffTimeout=0"},
             "",
             "c9 08 03 84 01 90 00 03 00 00"},
            {"performance 1\n", {"optLa"}, "", "c1 01 02"},
            {"emulation 0\n", {"emuSerEnabled"}, "", "d7 01 01"},
            {"emulation 0\n", {"emuSerEnabled", "emuSerChoose=DCE"}, "", "d7 01 02"},
            {"link_timeout 19200\n", {"lstBar=\u2190"}, "lstValue=11 sec", "c3 02 44 c0"},
            {"sco 1 128\ninput_gain 5\n",
             {"trackInputGain=\u2192\u2192"},
             "labelInputGainValue=Input gain: 7",
             "f7 02 00 07"},
        };
        auto rig = Window();
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const auto& row : rows) {
            RowName name(row.actions.join(", "));
            QCOMPARE(PlugAndAct(*rig, row.state, row.actions), QString());
            if (!row.shown.isEmpty())
                QCOMPARE(row.shown.section('=', 0, 0) + "=" +
                             f.findChild<QLabel*>(row.shown.section('=', 0, 0))->text(),
                         row.shown);
            rig->ClearTrace();
            f.writeConf->click();
            QVERIFY(rig->errors.empty());
            QCOMPARE(Writes(*rig, row.frame.left(2)), QStringList(row.frame));
        }
    }

    // Values that cannot be written stop write-all before anything is sent and
    // bring up their page, whichever page was in front.
    void refusalsBringUpTheirPage() {
        const QByteArray connecting = kAccepted + "device_mode 1\nsecurity 0 0 0\n";
        const struct {
            QByteArray state;
            QStringList actions;
            QString headline, description, page;
        } rows[] = {
            {kAccepted,
             {"genDeviceName="},
             "Invalid Bluetooth name",
             "The field \"Bluetooth name\" must be a string with 1-31 characters",
             "generalTab"},
            {kAccepted + kDistinct,
             {"baudvalue="},
             "Invalid user defined baudrate",
             "The field \"Value\" must have a value between 1 - 6144 when user defined "
             "baudrate is enabled",
             "serialTab"},
            {kAddresses + connecting,
             {"ca3="},
             "Invalid connecting address",
             "The device is configured to connect without passkey but one or more of the "
             "address fields is empty",
             "conTab"},
            {connecting,
             {},
             "Invalid connecting address",
             "The device is configured to connect without passkey but one or more of the "
             "address value is invalid",
             "conTab"},
            {kAccepted + "device_mode 1\nsecurity 0 1 0\n",
             {},
             "Invalid connecting security setting",
             "The device is configured to connect to paired device, but the device is not "
             "paired",
             "conTab"},
            {kAddresses + "device_mode 2\nsecurity 0 0 0\n",
             {"ea6="},
             "Invalid endpoint accept address",
             "The device is configured to accept connections from a specific device but with "
             "an invalid accept address",
             "endpointTab"},
            {kAddresses + "device_mode 2\nsecurity 0 1 1\n",
             {"pinCodeText="},
             "Invalid PIN code",
             "When the device is configured to require PIN code, a PIN code must be entered",
             "endpointTab"},
            {kAccepted + "device_mode 1\nsecurity 0 1 0\n",
             {"endpointRadio", "secBox=Require paired device"},
             "Invalid endpoint security setting",
             "The device is configured to accept connection from a paired device, but the "
             "device is not paired",
             "endpointTab"},
        };
        auto rig = Window();
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const auto& row : rows) {
            RowName name(row.headline);
            QCOMPARE(PlugAndAct(*rig, row.state, row.actions), QString());
            f.PageControl1->setCurrentWidget(f.adv1);
            rig->ClearTrace();
            f.writeConf->click();
            QCOMPARE(rig->errors.size(), size_t(1));
            QCOMPARE(rig->errors[0].caption, QString("Error - Invalid input value"));
            QCOMPARE(rig->errors[0].headline, row.headline);
            QCOMPARE(rig->errors[0].description.trimmed(), row.description);
            QCOMPARE(f.PageControl1->currentWidget()->objectName(), row.page);
            QTest::qWait(50);
            QCOMPARE(rig->Received(), QStringList());
        }
    }
};

static const int registered =
    RegisterTest("SettingsPagesTest", [] { return new SettingsPagesTest; });
#include "SettingsPagesTest.moc"
