// The device search dialog against the virtual module: what it lists and shows,
// the frames it sends, and how each button and the close box end or restart it.
#include "InquiryHandler.h"
#include "PairingRig.h"
#include "ScriptedPort.h"
#include "TinqForm.h"
#include "VirtualModule.h"

#include <QApplication>
#include <QHeaderView>
#include <QTest>

namespace {

const QString kStart = "60 06 0c 00 00 00 00 01"; // duration 12, every class, flag set
const QString kCancel = "80 00";

QString Status(const TinqForm* f) {
    return f->statusBar->currentMessage();
}

QStringList Row(const TinqForm* f, int row) {
    const QTreeWidgetItem* item = f->DeviceList->topLevelItem(row);
    return item ? QStringList{item->text(0), item->text(1)} : QStringList{};
}

} // namespace

class SearchDialogTest : public QObject {
    Q_OBJECT
  private slots:
    void formAsDesigned();
    void listsDevicesAndReturnsTheChosenOne();
    void stopSearchAgainAndCancel();
    void closeBoxCancels();
    void twentyDevicesAtMost();
    void twentyDevicesBackToBackAtLineSpeed();
};

void SearchDialogTest::formAsDesigned() {
    InquiryHandler handler;
    TinqForm* f = handler.inqForm;
    QCOMPARE(f->windowTitle(), "Device search");
    QCOMPARE(f->Label3->text(), "Found devices");
    QCOMPARE(f->DeviceList->headerItem()->text(0), "BT Address");
    QCOMPARE(f->DeviceList->headerItem()->text(1), "Bluetooth name");
    QCOMPARE(f->DeviceList->header()->sectionSize(0), 100);
    QCOMPARE(f->DeviceList->header()->sectionSize(1), 337);
    QCOMPARE(f->DeviceList->header()->sectionResizeMode(1), QHeaderView::Fixed);
    QCOMPARE(f->DeviceList->selectionBehavior(), QAbstractItemView::SelectRows);
    QCOMPARE(std::pair(f->inqBar->minimum(), f->inqBar->maximum()), std::pair(0, 48));
    QCOMPARE((QStringList{f->buttonStopSearch->text(), f->buttonSearchAgain->text(),
                          f->buttonOk->text(), f->buttonCancel->text()}),
             (QStringList{"Cancel search", "Search again", "OK", "Cancel"}));
    QVERIFY(!f->buttonOk->isEnabled());
    QVERIFY(f->devfilter->isHidden() && f->Label2->isHidden());
    QCOMPARE(f->Label2->text(), "Device filter");
    QStringList items;
    for (int i = 0; i < f->devfilter->count(); ++i)
        items << f->devfilter->itemText(i);
    QCOMPARE(items, (QStringList{"All devices", "Computer", "Phone", "LAN/Network access point",
                                 "Audio/Video", "Peripheral", "maging", "Uncategorized", ""}));
    QCOMPARE(f->devfilter->currentIndex(), 0);
    QCOMPARE(f->inqTimer->interval(), 600);
    QVERIFY(!f->inqTimer->isActive());

    // The class filter of each item: byte 1, but byte 2 for the access points.
    const std::array<uint8_t, 4> filters[] = {{0, 0, 0, 0}, {0, 1, 0, 0},    {0, 2, 0, 0},
                                              {0, 0, 3, 0}, {0, 4, 0, 0},    {0, 5, 0, 0},
                                              {0, 6, 0, 0}, {0, 0x1f, 0, 0}, {0, 0, 0, 0}};
    for (int i = 0; i < 9; ++i)
        QCOMPARE(DeviceSearch::ClassFilter(i), filters[i]);
}

void SearchDialogTest::listsDevicesAndReturnsTheChosenOne() {
    PairingRig rig(kDevices, {"--search-time", "1200"});
    QVERIFY(rig.ready);
    QWidget owner;
    owner.show();
    InquiryHandler handler(&owner);
    QCOMPARE(handler.SetCommunicator(&rig.comm), 1);
    TinqForm* f = handler.inqForm;
    bool modal = false, okWhileSearching = true;

    Person person;
    person
        .Then(
            "searching", [&] { return f->isVisible() && Status(f) == "Searching..."; },
            [&] {
                modal = QApplication::activeModalWidget() == f;
                okWhileSearching = f->buttonOk->isEnabled() || f->buttonSearchAgain->isEnabled();
            })
        .Then(
            "search completed", [&] { return Status(f) == "Search completed"; },
            [&] {
                QCOMPARE(f->DeviceList->topLevelItemCount(), 3);
                QCOMPARE(Row(f, 0), (QStringList{"3c 4d 5e 6f 70 81", "Depot Scanner"}));
                QCOMPARE(Row(f, 1), (QStringList{"92 a3 b4 c5 d6 e7", "Bench Meter 7"}));
                // A name of 32 bytes without a zero byte ends after them.
                QCOMPARE(Row(f, 2),
                         (QStringList{"0f 1e 2d 3b 4a 59", "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345"}));
                QCOMPARE(f->inqBar->value(), 0);
                QVERIFY(f->buttonSearchAgain->isEnabled() && !f->buttonStopSearch->isEnabled());
                QVERIFY(!f->buttonOk->isEnabled());
                ClickRow(f->DeviceList, 1);
            })
        .Then(
            "OK offered for the row", [&] { return f->buttonOk->isEnabled(); },
            [&] { ClickEmptySpace(f->DeviceList); })
        .Then(
            "OK withdrawn with the selection", [&] { return !f->buttonOk->isEnabled(); },
            [&] { ClickRow(f->DeviceList, 1); })
        .Then(
            "OK offered again", [&] { return f->buttonOk->isEnabled(); },
            [&] { Click(f->buttonOk); });

    QCOMPARE(person.Run([&] { return handler.Execute(); }), 1);
    QVERIFY2(person.failure.isEmpty(), qPrintable(person.failure));
    QVERIFY(modal);
    QVERIFY(!okWhileSearching);
    QCOMPARE(Hex(handler.selectedAddress), "92 a3 b4 c5 d6 e7");
    QVERIFY(!f->isVisible());
    QCOMPARE(Status(f), "Search canceled");
    // OK cancels the search even after it completed.
    QCOMPARE(rig.Received(), (QStringList{kStart, kCancel}));
}

void SearchDialogTest::stopSearchAgainAndCancel() {
    PairingRig rig(kDevices, {"--search-time", "2400"});
    QVERIFY(rig.ready);
    InquiryHandler handler;
    handler.SetCommunicator(&rig.comm);
    handler.selectedAddress = {1, 2, 3, 4, 5, 6};
    TinqForm* f = handler.inqForm;
    int barBeforeAgain = -1;

    Person person;
    person
        .Then(
            "a first device", [&] { return f->DeviceList->topLevelItemCount() == 1; },
            [&] { Click(f->buttonStopSearch); })
        .Then(
            "search canceled", [&] { return Status(f) == "Search canceled"; },
            [&] {
                // The device found before the stop stays and can be chosen.
                QCOMPARE(Row(f, 0), (QStringList{"3c 4d 5e 6f 70 81", "Depot Scanner"}));
                QVERIFY(f->buttonSearchAgain->isEnabled() && !f->buttonStopSearch->isEnabled());
                QCOMPARE(f->inqBar->value(), 0);
                ClickRow(f->DeviceList, 0);
            })
        .Then(
            "OK offered after the stop", [&] { return f->buttonOk->isEnabled(); },
            [&] { Click(f->buttonSearchAgain); })
        .Then(
            "searching again", [&] { return Status(f) == "Searching..."; },
            [&] {
                QCOMPARE(f->DeviceList->topLevelItemCount(), 0);
                QVERIFY(!f->buttonOk->isEnabled() && !f->buttonSearchAgain->isEnabled());
                QVERIFY(f->buttonStopSearch->isEnabled());
            })
        .Then(
            "the bar moving", [&] { return f->inqBar->value() >= 2; },
            [&] {
                barBeforeAgain = f->inqBar->value();
                Click(f->buttonCancel);
            });

    QCOMPARE(person.Run([&] { return handler.Execute(); }), -1);
    QVERIFY2(person.failure.isEmpty(), qPrintable(person.failure));
    QVERIFY(barBeforeAgain >= 2);
    QVERIFY(!f->isVisible());
    QCOMPARE(Status(f), "Search canceled");
    QCOMPARE(handler.selectedAddress, (std::array<uint8_t, 6>{1, 2, 3, 4, 5, 6}));
    QCOMPARE(rig.Received(), (QStringList{kStart, kCancel, kStart, kCancel}));
}

void SearchDialogTest::closeBoxCancels() {
    PairingRig rig(kDevices, {"--search-time", "2400"});
    QVERIFY(rig.ready);
    InquiryHandler handler;
    handler.SetCommunicator(&rig.comm);
    TinqForm* f = handler.inqForm;

    Person person;
    person.Then(
        "searching", [&] { return f->inqBar->value() >= 1; }, [&] { f->close(); });
    QCOMPARE(person.Run([&] { return handler.Execute(); }), -1);
    QVERIFY2(person.failure.isEmpty(), qPrintable(person.failure));
    QVERIFY(!f->isVisible());
    QCOMPARE(Status(f), "Search canceled");
    QCOMPARE(rig.Received(), (QStringList{kStart, kCancel}));

    // A later run starts afresh with the same dialog: no device answers this time.
    PairingRig quiet({}, {"--devices", "generated:0", "--search-time", "300"});
    QVERIFY(quiet.ready);
    handler.SetCommunicator(&quiet.comm);
    Person again;
    again.Then(
        "search completed", [&] { return Status(f) == "Search completed"; },
        [&] {
            QCOMPARE(f->DeviceList->topLevelItemCount(), 0);
            QVERIFY(!f->buttonOk->isEnabled());
            Click(f->buttonCancel);
        });
    QCOMPARE(again.Run([&] { return handler.Execute(); }), -1);
    QVERIFY2(again.failure.isEmpty(), qPrintable(again.failure));
}

void SearchDialogTest::twentyDevicesAtMost() {
    // 21 results, one waiting for each tick, then the end of the search: the
    // 21st is not listed.
    ScriptedPort port;
    for (uint8_t i = 0; i < 21; ++i) {
        ScriptedPort::Bytes event{0x60, 39, 0x07, 0x10, 0x21, 0x32, 0x43, 0x54, uint8_t(0x60 + i)};
        const std::string name = "Unit " + std::to_string(i + 1);
        event.insert(event.end(), name.begin(), name.end());
        event.resize(41, 0);
        port.Push(event);
    }
    port.Push({0x60, 0x00});
    Communicator comm;
    comm.SetSerialPort(&port);
    comm.pump = [] { QCoreApplication::processEvents(); };
    InquiryHandler handler;
    handler.SetCommunicator(&comm);
    TinqForm* f = handler.inqForm;

    Person person;
    person
        .Then(
            "search completed", [&] { return Status(f) == "Search completed"; },
            [&] {
                QCOMPARE(f->DeviceList->topLevelItemCount(), 20);
                QCOMPARE(Row(f, 19), (QStringList{"10 21 32 43 54 73", "Unit 20"}));
                port.Push({0x80, 0x01, 0x01}); // the answer to the cancel that OK sends
                ClickRow(f->DeviceList, 19);
            })
        .Then(
            "OK offered", [&] { return f->buttonOk->isEnabled(); }, [&] { Click(f->buttonOk); });
    QCOMPARE(person.Run([&] { return handler.Execute(); }), 1);
    QVERIFY2(person.failure.isEmpty(), qPrintable(person.failure));
    QCOMPARE(Hex(handler.selectedAddress), "10 21 32 43 54 73");
}

void SearchDialogTest::twentyDevicesBackToBackAtLineSpeed() {
    // 20 devices at 38400 bits per second, answering in pairs with no gap
    // between the two events, a pair every 530 ms so that pairs land in every
    // part of the 250 ms tick: the dialog lists every one, each once, with the
    // module's own address and name.
    PairingRig rig({}, {"--devices", "generated:20", "--back-to-back", "2", "--search-spread",
                        "5300", "--search-time", "5600"});
    QVERIFY(rig.ready);
    InquiryHandler handler;
    handler.SetCommunicator(&rig.comm);
    TinqForm* f = handler.inqForm;
    QStringList listed;
    Person person;
    person.Then(
        "search completed", [&] { return Status(f) == "Search completed"; },
        [&] {
            for (int row = 0; row < f->DeviceList->topLevelItemCount(); ++row)
                listed << Row(f, row).join(" | ");
            Click(f->buttonCancel);
        });
    QCOMPARE(person.Run([&] { return handler.Execute(); }), -1);
    QVERIFY2(person.failure.isEmpty(), qPrintable(person.failure));
    QStringList expected;
    for (const sim::RemoteDevice& d : sim::GeneratedDevices(20))
        expected << Hex(d.address) + " | " + QString::fromLatin1(d.name.c_str());
    listed.sort();
    expected.sort();
    QCOMPARE(listed, expected);
}

QTEST_MAIN(SearchDialogTest)
#include "SearchDialogTest.moc"
