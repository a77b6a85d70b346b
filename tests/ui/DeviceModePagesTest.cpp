// The Endpoint and Connecting pages in the window against a virtual module:
// what a read shows on both, the one device mode they share, a person's
// choices and what write-all then sends, the refusals that stop write-all on
// the right page, the address edits, the file sections, and the find and pair
// buttons with the real search dialog and wizard.
// Frames, failure numbers and file rules of the groups are their own tests'.
#include "ConSetHandler.h"
#include "ConnectingPage.h"
#include "EndpSetHandler.h"
#include "EndpointPage.h"
#include "InquiryHandler.h"
#include "PairForms.h"
#include "PairHandler.h"
#include "TinqForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Every address of the module differs in every byte.
const QString kAddresses = "connect_address 0a 1b 2c 3d 4e 5f\n"
                           "accepted_address 61 72 83 94 a5 b6\n"
                           "paired_address c7 d8 e9 fa 0b 1c\n"
                           "passkey Pin4711xy\n";

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

// The frames of the two pages' writes among those the module heard.
QStringList ModeWrites(const WindowRig& rig) {
    return rig.Received().filter(QRegularExpression("^(13|17|19|67|69) "));
}

void WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(bytes);
}

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
        return true;
    }
    return false;
}

// Runs `act` once, as soon as `ready` holds (polled from the event loop, as a
// person waits for a window to show what they look for).
void When(const std::function<bool()>& ready, const std::function<void()>& act) {
    auto* timer = new QTimer;
    timer->setInterval(20);
    QObject::connect(timer, &QTimer::timeout, [timer, ready, act] {
        if (!ready()) return;
        timer->stop();
        timer->deleteLater();
        act();
    });
    timer->start();
}

} // namespace

class DeviceModePagesTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    int stateFiles = 0;

    std::unique_ptr<WindowRig> Open(const QString& state, std::vector<std::string> extra = {}) {
        const QString path = dir.filePath(QString("module%1.state").arg(++stateFiles));
        WriteFile(path, state.toLatin1());
        std::vector<std::string> args = {"--state", path.toStdString()};
        args.insert(args.end(), extra.begin(), extra.end());
        auto rig = std::make_unique<WindowRig>(args);
        if (!rig->StartAndRead()) return nullptr;
        return rig;
    }

  private slots:
    void initTestCase() {
        QApplication::setQuitOnLastWindowClosed(false);
        QVERIFY(dir.isValid());
    }

    // The module's device mode and security as both pages show them after a
    // read: only the page of the module's mode takes input, and there only the
    // box of its security mode.
    void readShowsBothPages_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<QString>("connecting");
        QTest::newRow("endpoint, no authentication, any device")
            << "device_mode 2\nsecurity 0 0 0\naccepted_address 00 00 00 00 00 00\n"
               "connect_address 0a 1b 2c 3d 4e 5f\npasskey Pin4711xy\n"
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
    void readShowsBothPages() {
        QFETCH(QString, state);
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
    void personsChoicesThenWriteAll_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QStringList>("frames");
        const QString endpointModule = kAddresses + "device_mode 2\nsecurity 0 0 0\n";
        QTest::newRow("to connecting, without passkey")
            << endpointModule << QStringList{"connectingRadio"}
            << QStringList{"13 01 01", "17 06 0a 1b 2c 3d 4e 5f", "67 03 00 00 00"};
        QTest::newRow("to connecting, a typed address")
            << endpointModule << QStringList{"connectingRadio", "ca2=f0", "ca6=9"}
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
            << endpointModule << QStringList{"allowAllAddrCheck", "ea1=de"}
            << QStringList{"13 01 02", "19 06 00 00 00 00 00 00", "67 03 00 00 00"};
        QTest::newRow("back to endpoint")
            << kAddresses + "device_mode 1\nsecurity 0 0 0\n"
            << QStringList{"endpointRadio", "ea3=0"}
            << QStringList{"13 01 02", "19 06 61 72 00 94 a5 b6", "67 03 00 00 00"};
    }
    void personsChoicesThenWriteAll() {
        QFETCH(QString, state);
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
        QCOMPARE(ModeWrites(*rig), frames);
    }

    // Values that cannot be written stop write-all before anything is sent and
    // bring up their page, whichever page was in front.
    void refusalsBringUpTheirPage_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QString>("headline");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("page");
        QTest::newRow("connect address field empty")
            << kAddresses + "device_mode 1\nsecurity 0 0 0\n"
            << QStringList{"ca3="} << "Invalid connecting address"
            << "The device is configured to connect without passkey but one or more of the "
               "address fields is empty"
            << "conTab";
        QTest::newRow("connect address all zero")
            << "device_mode 1\nsecurity 0 0 0\n"
            << QStringList{} << "Invalid connecting address"
            << "The device is configured to connect without passkey but one or more of the "
               "address value is invalid"
            << "conTab";
        QTest::newRow("connecting to the paired device, not paired")
            << "device_mode 1\nsecurity 0 1 0\n"
            << QStringList{} << "Invalid connecting security setting"
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
            << "device_mode 1\nsecurity 0 1 0\n"
            << QStringList{"endpointRadio", "secBox=Require paired device"}
            << "Invalid endpoint security setting"
            << "The device is configured to accept connection from a paired device, but the "
               "device is not paired"
            << "endpointTab";
    }
    void refusalsBringUpTheirPage() {
        QFETCH(QString, state);
        QFETCH(QStringList, actions);
        QFETCH(QString, headline);
        QFETCH(QString, description);
        QFETCH(QString, page);
        auto rig = Open(state);
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        for (const QString& action : actions)
            QVERIFY2(Act(f, action), qPrintable(action));
        f.PageControl1->setCurrentWidget(f.generalTab);
        rig->ClearTrace();
        f.writeConf->click();
        QCOMPARE(rig->errors.size(), size_t(1));
        QCOMPARE(rig->errors[0].headline, headline);
        QCOMPARE(rig->errors[0].description.trimmed(), description);
        QCOMPARE(f.PageControl1->currentWidget()->objectName(), page);
        QTest::qWait(50);
        QCOMPARE(rig->Received(), QStringList());
    }

    // The address edits take hexadecimal digits only, two at most, in upper
    // case; the PIN code edit 16 characters (a longer one from a file is shown whole).
    void addressAndPinEdits() {
        auto rig = Open(kAddresses + "device_mode 1\nsecurity 0 0 0\n");
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        const struct {
            const char* keys;
            const char* shows;
        } rows[] = {{"a", "A"}, {"g1", "1"}, {"fE", "FE"}, {"1b3", "1B"}, {"-x ", ""}};
        QLineEdit* ca4 = f.conSetHandler->ca[3];
        for (const auto& row : rows) {
            Type(ca4, "");
            QTest::keyClicks(ca4, row.keys);
            QVERIFY2(ca4->text() == row.shows, row.keys);
        }
        Type(ca4, "");
        QTest::keyClicks(ca4, "c");
        QCOMPARE(int(f.settings.connecting.connectAddress[3]), 0x0c);

        QVERIFY(Act(f, "endpointRadio") && Act(f, "secBox=Require passkey"));
        QLineEdit* pin = f.endpSetHandler->pinCodeText;
        Type(pin, "");
        QTest::keyClicks(pin, "0123456789abcdefXYZ");
        QCOMPARE(pin->text(), QString("0123456789abcdef"));
        const QString path = dir.filePath("long-pin.bcf");
        WriteFile(path, "Passkey: 0123456789abcdefXYZ\r\n");
        f.seams.openFileName = [&] { return path; };
        f.menuLoadSettings->trigger();
        QCOMPARE(pin->text(), QString("0123456789abcdefXYZ"));
    }

    // Save writes the two sections as the pages show them; a load sets both
    // pages (the paired address stays the module's), and write-all sends it.
    void fileSectionsSavedAndLoaded() {
        auto rig = Open(kAddresses + "device_mode 2\nsecurity 1 1 1\n");
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        f.seams.saveFileName = [&] { return dir.filePath("saved"); };
        f.menuSaveSettings->trigger();
        QFile saved(dir.filePath("saved.bcf"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        const QString text = QString::fromLatin1(saved.readAll());
        QVERIFY2(text.contains("# Serial port settings") &&
                     text.indexOf("# Device mode") > text.indexOf("# Serial port settings"),
                 qPrintable(text));
        QVERIFY2(text.contains("\r\n\r\n\r\n# Device mode\r\nDevice mode: Endpoint\r\n\r\n\r\n"
                               "# Endpoint settings\r\n"
                               "Endpoint Security mode: Require passkey\r\n"
                               "Accepted address: 61 72 83 94 a5 b6\r\n"
                               "Require encryption when require pincode: Yes\r\n"
                               "Passkey: Pin4711xy\r\n"
                               "Require encryption when paired: Yes\r\n"
                               "Device paired with: c7 d8 e9 fa 0b 1c\r\n\r\n\r\n"
                               "# Connecting settings\r\n"
                               "Connecting security mode: Connect to paired device\r\n"
                               "Connect to address: 0a 1b 2c 3d 4e 5f\r\n"
                               "Require encryption when connecting paired: Yes\r\n\r\n\r\n"),
                 qPrintable(text));

        const QString path = dir.filePath("hand-written.bcf");
        WriteFile(path, "Device mode: Connecting\nDevice paired with: 01 01 01 01 01 01\n"
                        "Connecting security mode: Connect without passkey\n"
                        "Connect to address: 10 20 30 40 50 6f\n"
                        "Require encryption when connecting paired: No\n");
        f.seams.openFileName = [&] { return path; };
        f.menuLoadSettings->trigger();
        QVERIFY(rig->messages.isEmpty());
        QCOMPARE(ConnectingShows(*f.conSetHandler),
                 QString("connecting | Connect without passkey | 10 20 30 40 50 6F | "
                         "c7 d8 e9 fa 0b 1c | - | ++--"));
        QVERIFY(!f.endpSetHandler->endpointRadio->isChecked());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(ModeWrites(*rig),
                 QStringList({"13 01 01", "17 06 10 20 30 40 50 6f", "67 03 00 00 00"}));
    }

    // Find device: the address chosen in the search goes into the page's
    // address edits (and counts as a change); a search ended with Cancel
    // changes nothing.
    void findDeviceFillsTheAddress() {
        auto rig = Open(kAddresses + "device_mode 1\nsecurity 0 0 0\n", {"--search-time", "300"});
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        TinqForm* dialog = f.conSetHandler->inquiry->inqForm;
        // Cancel first: nothing changes.
        When([dialog] { return dialog->isVisible(); }, [dialog] { dialog->buttonCancel->click(); });
        f.conSetHandler->conFindDeviceButton->click();
        QVERIFY(!f.AnyChanged());
        QCOMPARE(Address(f.conSetHandler->ca), QString("0A 1B 2C 3D 4E 5F"));

        When([dialog] { return dialog->DeviceList->topLevelItemCount() >= 2; },
             [dialog] {
                 dialog->DeviceList->setCurrentItem(dialog->DeviceList->topLevelItem(1));
                 When([dialog] { return dialog->buttonOk->isEnabled(); },
                      [dialog] { dialog->buttonOk->click(); });
             });
        f.conSetHandler->conFindDeviceButton->click();
        QVERIFY(!dialog->isVisible());
        const QString chosen = dialog->DeviceList->topLevelItem(1)->text(0).toUpper();
        QCOMPARE(Address(f.conSetHandler->ca), chosen);
        QVERIFY(f.AnyChanged());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
        QCOMPARE(ModeWrites(*rig).value(1), "17 06 " + chosen.toLower());
    }

    // Pair device: whatever the wizard ends with, both pages show the module's
    // paired address afterwards; the remote device pairing with the waiting module.
    void pairingShowsOnBothPages() {
        auto rig = Open("device_mode 2\nsecurity 0 1 0\n", {"--pairing", "complete@300"});
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        QCOMPARE(f.endpSetHandler->endpPairDev->text(), QString("Device not paired"));
        PairHandler& wizard = *f.endpSetHandler->pairing;
        When([&] { return wizard.formPair1->isVisible(); },
             [&] {
                 wizard.formPair1->radioRemotePair->click();
                 wizard.formPair1->buttonNext->click();
             });
        When([&] { return wizard.formPairRemote2->isVisible(); },
             [&] {
                 Type(wizard.formPairRemote2->textPinCode, "4321");
                 wizard.formPairRemote2->pairButton->click();
                 When([&] { return wizard.formPairRemote2->finnishButton->isEnabled(); },
                      [&] { wizard.formPairRemote2->finnishButton->click(); });
             });
        f.endpSetHandler->endpPairButton->click();
        const QString paired = f.endpSetHandler->endpPairDev->text();
        QVERIFY2(QRegularExpression("^([0-9a-f]{2} ){5}[0-9a-f]{2}$").match(paired).hasMatch() &&
                     paired != "00 00 00 00 00 00",
                 qPrintable(paired));
        QCOMPARE(f.conSetHandler->conPairDev->text(), paired);
        QVERIFY(rig->Received().contains("63 04 " + Hex("4321")));
        // The wizard's pairing changed the module, not a setting to write.
        QVERIFY(!f.AnyChanged());
        rig->ClearTrace();
        f.writeConf->click();
        QVERIFY(rig->errors.empty());
    }
};

QTEST_MAIN(DeviceModePagesTest)
#include "DeviceModePagesTest.moc"
