// The device search dialog and the pairing wizard on the main window's line to
// a virtual module: what they list and show, the frames they send, and how each
// button and the close box end, restart or step back.
#include "Communicator.h"
#include "DeviceSearch.h"
#include "InquiryHandler.h"
#include "PairForms.h"
#include "PairHandler.h"
#include "ScriptedPort.h"
#include "TinqForm.h"
#include "VirtualModule.h"
#include "WindowRig.h"

#include <QApplication>
#include <QTest>
#include <QTreeWidget>

namespace {

// Three remote devices, every byte different; the third name fills all 32 bytes.
const QByteArray kDevices = "3c 4d 5e 6f 70 81  Depot Scanner\n"
                            "92 a3 b4 c5 d6 e7  Bench Meter 7\n"
                            "0f 1e 2d 3b 4a 59  ABCDEFGHIJKLMNOPQRSTUVWXYZ012345\n";
const QString kStart = "60 06 0c 00 00 00 00 01"; // duration 12, every class, flag set
const QString kCancel = "80 00";
const QString kPaired = "62 00";
const QString kNotPaired = "00 00 00 00 00 00";

// The main window on a module that finds kDevices, read and its trace cleared;
// the search and the wizard run on its line. Null when that failed.
std::unique_ptr<WindowRig> Module(std::vector<std::string> args, bool devices = true) {
    if (devices) {
        const std::vector<std::string> file = ModuleFile("--devices", kDevices);
        args.insert(args.end(), file.begin(), file.end());
    }
    auto rig = std::make_unique<WindowRig>(args);
    if (!rig->StartAndRead()) return nullptr;
    rig->ClearTrace();
    return rig;
}

template <typename Form> QString Status(const Form* f) {
    return f->statusBar->currentMessage();
}

QString Row(const QTreeWidget* list, int row) {
    const QTreeWidgetItem* item = list->topLevelItem(row);
    return item ? item->text(0) + " | " + item->text(1) : QString();
}

// Step 1 of the wizard: no path chosen yet, then the local or remote one and Next.
void Choose(Person& p, PairHandler& h, bool local) {
    TformPair1* f = h.formPair1;
    p.Then(
        "step 1", [f] { return f->isVisible(); },
        [f, local] {
            QVERIFY(!f->radioLocalPair->isChecked() && !f->radioRemotePair->isChecked());
            QVERIFY(!f->buttonNext->isEnabled());
            Click(local ? f->radioLocalPair : f->radioRemotePair);
            QCOMPARE(f->windowTitle(),
                     local ? "Pair device wizard (Step 1/3)" : "Pair device wizard (Step 1/2)");
            Click(f->buttonNext);
        });
}

// Local step 2: waits for `rows` devices, takes `row`, then Next.
void Pick(Person& p, PairHandler& h, int rows, int row) {
    TformPairLocal2* f = h.formPairLocal2;
    p.Then(
        "devices listed",
        [f, rows] { return f->isVisible() && f->DeviceList->topLevelItemCount() >= rows; },
        [f, row] { ClickRow(f->DeviceList, row); });
    p.Then(
        "Next offered", [f] { return f->buttonNext->isEnabled(); }, [f] { Click(f->buttonNext); });
}

// A pairing page: passkey typed, Pair pressed, the page waiting.
template <typename Form> void Pair(Person& p, Form* f, const QString& key, const QString& waiting) {
    p.Then(
        "pairing page", [f] { return f->isVisible(); },
        [f, key] {
            // A passkey kept from an earlier page offers Pair at once.
            QCOMPARE(f->pairButton->isEnabled(), !f->textPinCode->text().isEmpty());
            Type(f->textPinCode, key);
            Click(f->pairButton);
        });
    p.Then(
        waiting, [f, waiting] { return f->pairStatus->text() == waiting; },
        [f] { QVERIFY(!f->textPinCode->isEnabled() && !f->pairButton->isEnabled()); });
}

// The outcome on a pairing page: Finish offered only after success, else
// Cancel and Pair again; the person ends with the one offered.
template <typename Form> void Outcome(Person& p, Form* f, const QString& shown, bool complete) {
    p.Then(
        shown, [f, shown] { return f->pairStatus->text() == shown; },
        [f, complete] {
            QCOMPARE(f->finnishButton->isEnabled(), complete);
            QCOMPARE(f->cancelButton->isEnabled(), !complete);
            QCOMPARE(f->pairButton->isEnabled(), !complete);
            QVERIFY(f->textPinCode->isEnabled());
            Click(complete ? f->finnishButton : f->cancelButton);
        });
}

} // namespace

class SearchDialogTest : public QObject {
    Q_OBJECT
  private slots:
    // The class filter of the (hidden) device filter's items: the major class
    // in byte 1, but in byte 2 for the access points.
    void classFilter() {
        QCOMPARE(DeviceSearch::ClassFilter(1), (std::array<uint8_t, 4>{0, 1, 0, 0}));
        QCOMPARE(DeviceSearch::ClassFilter(3), (std::array<uint8_t, 4>{0, 0, 3, 0}));
    }

    // The search lists what the module finds, offers OK for a selected row only
    // and returns that row's address; OK cancels the search even after it ended.
    void listsDevicesAndReturnsTheChosenOne() {
        auto rig = Module({"--search-time", "1200"});
        QVERIFY(rig);
        InquiryHandler handler(rig->form.get());
        QCOMPARE(handler.SetCommunicator(rig->form->comm.get()), 1);
        TinqForm* f = handler.inqForm;
        QTreeWidget* list = f->DeviceList;
        bool modal = false, offeredWhileSearching = true;
        Person p;
        p.Then(
            "searching", [&] { return f->isVisible() && Status(f) == "Searching..."; },
            [&] {
                modal = QApplication::activeModalWidget() == f;
                offeredWhileSearching =
                    f->buttonOk->isEnabled() || f->buttonSearchAgain->isEnabled();
            });
        p.Then(
            "search completed", [&] { return Status(f) == "Search completed"; },
            [&] {
                QCOMPARE(list->topLevelItemCount(), 3);
                QCOMPARE(Row(list, 0), "3c 4d 5e 6f 70 81 | Depot Scanner");
                QCOMPARE(Row(list, 1), "92 a3 b4 c5 d6 e7 | Bench Meter 7");
                // A name of 32 bytes without a zero byte ends after them.
                QCOMPARE(Row(list, 2), "0f 1e 2d 3b 4a 59 | ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
                QCOMPARE(f->inqBar->value(), 0);
                QVERIFY(f->buttonSearchAgain->isEnabled() && !f->buttonStopSearch->isEnabled());
                QVERIFY(!f->buttonOk->isEnabled());
                ClickRow(list, 1);
            });
        p.Then(
            "OK offered for the row", [&] { return f->buttonOk->isEnabled(); },
            [&] { ClickEmptySpace(list); });
        p.Then(
            "OK withdrawn with the selection", [&] { return !f->buttonOk->isEnabled(); },
            [&] { ClickRow(list, 1); });
        p.Then(
            "OK offered again", [&] { return f->buttonOk->isEnabled(); },
            [&] { Click(f->buttonOk); });
        QCOMPARE(p.Run([&] { return handler.Execute(); }), 1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QVERIFY(modal && !offeredWhileSearching);
        QCOMPARE(Hex(handler.selectedAddress), "92 a3 b4 c5 d6 e7");
        QVERIFY(!f->isVisible());
        QCOMPARE(Status(f), "Search canceled");
        QCOMPARE(rig->Received(), (QStringList{kStart, kCancel}));
    }

    // Cancel search keeps what was found, to be chosen; Search again starts
    // afresh; Cancel (or the close box) ends the dialog, the address kept.
    void stopSearchAgainAndCancel() {
        for (const bool closeBox : {false, true}) {
            auto rig = Module({"--search-time", "2400"});
            QVERIFY(rig);
            InquiryHandler handler;
            handler.SetCommunicator(rig->form->comm.get());
            handler.selectedAddress = {1, 2, 3, 4, 5, 6};
            TinqForm* f = handler.inqForm;
            Person p;
            p.Then(
                "a first device", [&] { return f->DeviceList->topLevelItemCount() == 1; },
                [&] { Click(f->buttonStopSearch); });
            p.Then(
                "search canceled", [&] { return Status(f) == "Search canceled"; },
                [&] {
                    QCOMPARE(Row(f->DeviceList, 0), "3c 4d 5e 6f 70 81 | Depot Scanner");
                    QVERIFY(f->buttonSearchAgain->isEnabled() && !f->buttonStopSearch->isEnabled());
                    QCOMPARE(f->inqBar->value(), 0);
                    ClickRow(f->DeviceList, 0);
                });
            p.Then(
                "OK offered after the stop", [&] { return f->buttonOk->isEnabled(); },
                [&] { Click(f->buttonSearchAgain); });
            p.Then(
                "searching again", [&] { return Status(f) == "Searching..."; },
                [&] {
                    QCOMPARE(f->DeviceList->topLevelItemCount(), 0);
                    QVERIFY(!f->buttonOk->isEnabled() && !f->buttonSearchAgain->isEnabled());
                    QVERIFY(f->buttonStopSearch->isEnabled());
                });
            p.Then(
                "the bar moving", [&] { return f->inqBar->value() >= 2; },
                [&] {
                    if (closeBox)
                        f->close();
                    else
                        Click(f->buttonCancel);
                });
            QCOMPARE(p.Run([&] { return handler.Execute(); }), -1);
            QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
            QVERIFY(!f->isVisible());
            QCOMPARE(Status(f), "Search canceled");
            QCOMPARE(Hex(handler.selectedAddress), "01 02 03 04 05 06");
            QCOMPARE(rig->Received(), (QStringList{kStart, kCancel, kStart, kCancel}));

            // A later run starts afresh with the same dialog: no device answers this time.
            auto quiet = Module({"--devices", "generated:0", "--search-time", "300"}, false);
            QVERIFY(quiet);
            handler.SetCommunicator(quiet->form->comm.get());
            Person again;
            again.Then(
                "nothing found", [&] { return Status(f) == "Search completed"; },
                [&] {
                    QCOMPARE(f->DeviceList->topLevelItemCount(), 0);
                    QVERIFY(!f->buttonOk->isEnabled());
                    Click(f->buttonCancel);
                });
            QCOMPARE(again.Run([&] { return handler.Execute(); }), -1);
            QVERIFY2(again.failure.isEmpty(), qPrintable(again.failure));
        }
    }

    // 21 results, one waiting for each tick, then the end of the search: the
    // 21st is not listed.
    void twentyDevicesAtMost() {
        ScriptedPort port;
        for (uint8_t i = 0; i < 21; ++i) {
            ScriptedPort::Bytes event{
                0x60, 39, 0x07, 0x10, 0x21, 0x32, 0x43, 0x54, uint8_t(0x60 + i)};
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
        Person p;
        p.Then(
            "search completed", [&] { return Status(f) == "Search completed"; },
            [&] {
                QCOMPARE(f->DeviceList->topLevelItemCount(), 20);
                QCOMPARE(Row(f->DeviceList, 19), "10 21 32 43 54 73 | Unit 20");
                port.Push({0x80, 0x01, 0x01}); // the answer to the cancel that OK sends
                ClickRow(f->DeviceList, 19);
            });
        p.Then(
            "OK offered", [&] { return f->buttonOk->isEnabled(); }, [&] { Click(f->buttonOk); });
        QCOMPARE(p.Run([&] { return handler.Execute(); }), 1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QCOMPARE(Hex(handler.selectedAddress), "10 21 32 43 54 73");
    }

    // 20 devices at 38400 bits per second, answering in pairs with no gap
    // between the two events, a pair every 530 ms so that pairs land in every
    // part of the 250 ms tick: the dialog lists every one, each once, with the
    // module's own address and name.
    void twentyDevicesBackToBackAtLineSpeed() {
        auto rig = Module({"--devices", "generated:20", "--back-to-back", "2", "--search-spread",
                           "5300", "--search-time", "5600"},
                          false);
        QVERIFY(rig);
        InquiryHandler handler;
        handler.SetCommunicator(rig->form->comm.get());
        TinqForm* f = handler.inqForm;
        QStringList listed, expected;
        Person p;
        p.Then(
            "search completed", [&] { return Status(f) == "Search completed"; },
            [&] {
                for (int row = 0; row < f->DeviceList->topLevelItemCount(); ++row)
                    listed << Row(f->DeviceList, row);
                Click(f->buttonCancel);
            });
        QCOMPARE(p.Run([&] { return handler.Execute(); }), -1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        for (const sim::RemoteDevice& d : sim::GeneratedDevices(20))
            expected << Hex(d.address) + " | " + QString::fromLatin1(d.name.c_str());
        listed.sort();
        expected.sort();
        QCOMPARE(listed, expected);
    }
};

class PairWizardTest : public QObject {
    Q_OBJECT
  private slots:
    // The local path: the search, the device chosen, a passkey (16 characters
    // at most) and every outcome the module reports.
    void localPairing_data() {
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<QString>("shown");
        QTest::newRow("complete") << "complete"
                                  << "Pairing complete";
        QTest::newRow("timeout") << "timeout"
                                 << "Pairing failed due to timeout";
        QTest::newRow("failed") << "failed"
                                << "Pairing failed";
        QTest::newRow("error") << "error"
                               << "Pairing error";
    }
    void localPairing() {
        QFETCH(QString, outcome);
        QFETCH(QString, shown);
        const bool complete = outcome == "complete";
        auto rig = Module({"--search-time", "1200", "--pairing", outcome.toStdString() + "@300"});
        QVERIFY(rig);
        PairHandler h;
        QCOMPARE(h.SetCommunicator(rig->form->comm.get()), 1);
        TformPairLocal2* search = h.formPairLocal2;
        TformPairLocal3* f = h.formPairLocal3;
        Person p;
        Choose(p, h, true);
        p.Then(
            "search completed", [&] { return Status(search) == "Search completed"; },
            [&] {
                QCOMPARE(search->windowTitle(),
                         "Pair device wizard (Local device initiates, step 2/3)");
                QCOMPARE(Row(search->DeviceList, 2),
                         "0f 1e 2d 3b 4a 59 | ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
                QVERIFY(!search->buttonNext->isEnabled());
            });
        Pick(p, h, 3, 1);
        p.Then(
            "step 3", [&] { return f->isVisible(); },
            [&] {
                QCOMPARE(f->windowTitle(), "Pair device wizard (Local device initiates, step 3/3)");
                QCOMPARE(f->labelRemoteDevice->text(), "Bench Meter 7(92 a3 b4 c5 d6 e7)");
                QCOMPARE(f->pairStatus->text(), "Device not paired");
                QVERIFY(!f->finnishButton->isEnabled() && f->cancelButton->isEnabled());
                // Pair only with a passkey.
                Type(f->textPinCode, "x");
                QVERIFY(f->pairButton->isEnabled());
                Type(f->textPinCode, "");
                QVERIFY(!f->pairButton->isEnabled());
            });
        Pair(p, f, "0123456789abcdefZ", "Pairing...");
        Outcome(p, f, shown, complete);
        QCOMPARE(p.Run([&] { return h.Execute(); }), complete ? 1 : -1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QVERIFY(!f->isVisible());
        QCOMPARE(h.remoteName, "Bench Meter 7");
        // The module's paired address on the way out: zeros when it is not paired.
        QCOMPARE(Hex(h.remoteAddress), complete ? "92 a3 b4 c5 d6 e7" : kNotPaired);
        const QString pairFrame = "64 16 92 a3 b4 c5 d6 e7 " + Hex("0123456789abcdef");
        QCOMPARE(rig->Received(), (QStringList{kStart, pairFrame, kPaired}));
    }

    // The remote path: the page waits for the remote device; it pairs, the
    // wait times out, or the person cancels while waiting.
    void remotePairing_data() {
        QTest::addColumn<QString>("pairing");
        QTest::addColumn<QString>("shown"); // after the wait; empty: Cancel pressed while waiting
        QTest::newRow("complete") << "complete@300"
                                  << "Device paired with 3c 4d 5e 6f 70 81";
        QTest::newRow("timeout") << "timeout@300"
                                 << "Pairing failed due to timeout";
        QTest::newRow("cancel") << "complete@5000"
                                << "";
    }
    void remotePairing() {
        QFETCH(QString, pairing);
        QFETCH(QString, shown);
        const bool complete = shown.startsWith("Device paired");
        auto rig = Module({"--pairing", pairing.toStdString()});
        QVERIFY(rig);
        PairHandler h;
        h.SetCommunicator(rig->form->comm.get());
        TformPairRemote2* f = h.formPairRemote2;
        Person p;
        Choose(p, h, false);
        p.Then(
            "remote page", [&] { return f->isVisible(); },
            [&] {
                QCOMPARE(f->windowTitle(),
                         "Pair device wizard (Remote device initiates, stop 2/2)");
                QVERIFY(f->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
                QCOMPARE(f->pairStatus->text(), "Enter passkey and press pair button");
                QVERIFY(!f->finnishButton->isEnabled() && f->backButton->isEnabled());
            });
        Pair(p, f, "2468", "Waiting for remote device to pair");
        if (shown.isEmpty())
            p.Then(
                "Cancel while waiting", [] { return true; }, [&] { Click(f->cancelButton); });
        else
            Outcome(p, f, shown, complete);
        QCOMPARE(p.Run([&] { return h.Execute(); }), complete ? 1 : -1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QVERIFY(!f->isVisible());
        QCOMPARE(Hex(h.remoteAddress), complete ? "3c 4d 5e 6f 70 81" : kNotPaired);
        QStringList frames = rig->Received();
        QCOMPARE(frames.value(0), "63 04 32 34 36 38");
        frames.removeFirst();
        if (shown.isEmpty()) QCOMPARE(frames.takeFirst(), kCancel);
        // The paired address: asked on the way out (and, after success, while the page shows it).
        QCOMPARE(frames.count(kPaired), frames.size());
        QVERIFY(complete ? frames.size() >= 2 : frames.size() == 1);
    }

    // Back from step 3 goes to a fresh search, never to step 1, also while the
    // pairing is under way; the close box acts as Cancel then.
    void backFromPairing() {
        auto rig = Module({"--search-time", "1500", "--pairing", "complete@5000"});
        QVERIFY(rig);
        PairHandler h;
        h.SetCommunicator(rig->form->comm.get());
        TformPairLocal2* search = h.formPairLocal2;
        TformPairLocal3* f = h.formPairLocal3;
        int stepOneShown = 0;
        Person p;
        const auto freshSearch = [&] {
            p.Then(
                "a fresh search", [&] { return search->isVisible() || h.formPair1->isVisible(); },
                [&] {
                    stepOneShown += h.formPair1->isVisible();
                    QCOMPARE(search->DeviceList->topLevelItemCount(), 0);
                    QCOMPARE(Status(search), "Searching...");
                });
            Pick(p, h, 1, 0); // Next while the search runs: it is cancelled first
        };
        Choose(p, h, true);
        Pick(p, h, 1, 0);
        p.Then(
            "step 3", [&] { return f->isVisible(); }, [&] { Click(f->backButton); });
        freshSearch();
        Pair(p, f, "4711", "Pairing...");
        p.Then(
            "Back pressed", [] { return true; }, [&] { Click(f->backButton); });
        freshSearch();
        Pair(p, f, "4711", "Pairing...");
        p.Then(
            "close box", [] { return true; }, [&] { f->close(); });
        QCOMPARE(p.Run([&] { return h.Execute(); }), -1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QCOMPARE(stepOneShown, 0);
        QVERIFY(!f->isVisible() && !search->isVisible());
        QCOMPARE(h.resumeAtSearch, 0);
        QCOMPARE(Hex(h.remoteAddress), kNotPaired);
        const QString pairFrame = "64 0a 3c 4d 5e 6f 70 81 34 37 31 31";
        QCOMPARE(rig->Received(), (QStringList{kStart, kCancel, kStart, kCancel, pairFrame, kCancel,
                                               kStart, kCancel, pairFrame, kCancel, kPaired}));
    }

    // Ways out of the early pages, each run of the same wizard from step 1:
    // Next without a path does nothing; Back from the search or the remote page
    // returns to step 1 with no path chosen; Cancel ends it; step 1's close box
    // keeps Next's last path and goes on (the remote one with no radio checked);
    // a stopped search repeats its stop until another button is pressed, and the
    // close box of the search cancels. The paired address is asked on the way out.
    void waysOut() {
        auto rig = Module({"--search-time", "1500"});
        QVERIFY(rig);
        PairHandler h;
        h.SetCommunicator(rig->form->comm.get());
        TformPair1* one = h.formPair1;
        TformPairLocal2* search = h.formPairLocal2;
        TformPairRemote2* remote = h.formPairRemote2;
        const auto searching = [&] { return Status(search) == "Searching..."; };
        const auto remoteShown = [&] { return remote->isVisible(); };
        const auto stepOne = [&] { return one->isVisible(); };

        Person p;
        p.Then("step 1", stepOne, [&] {
            QCOMPARE(one->windowTitle(), "Pair device wizard");
            Click(one->buttonNext); // no radio checked: nothing happens
            QVERIFY(one->isVisible());
        });
        Choose(p, h, true);
        p.Then("searching", searching, [&] { Click(search->buttonBack); });
        Choose(p, h, false);
        p.Then("remote page", remoteShown, [&] { Click(remote->backButton); });
        Choose(p, h, false);
        p.Then("remote page again", remoteShown, [&] { Click(remote->cancelButton); });
        QCOMPARE(p.Run([&] { return h.Execute(); }), -1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QCOMPARE(rig->Received(), (QStringList{kStart, kCancel, kPaired}));

        rig->ClearTrace();
        Person closes;
        closes.Then("step 1", stepOne, [&] { one->close(); });
        closes.Then("remote page", remoteShown, [&] { Click(remote->cancelButton); });
        QCOMPARE(closes.Run([&] { return h.Execute(); }), -1);
        Person cancels;
        cancels.Then("step 1", stepOne, [&] { Click(one->buttonCancel); });
        QCOMPARE(cancels.Run([&] { return h.Execute(); }), -1);
        QVERIFY2(closes.failure.isEmpty() && cancels.failure.isEmpty(),
                 qPrintable(closes.failure + cancels.failure));
        QCOMPARE(rig->Received(), (QStringList{kPaired, kPaired}));

        rig->ClearTrace();
        Person stops;
        Choose(stops, h, true);
        stops.Then("searching", searching, [&] { Click(search->buttonStopSearch); });
        stops.Then(
            "the stop repeated",
            [&] {
                return rig->Received().count(kCancel) >= 3 &&
                       search->buttonSearchAgain->isEnabled();
            },
            [&] { Click(search->buttonSearchAgain); });
        stops.Then("searching again", searching, [&] { search->close(); });
        QCOMPARE(stops.Run([&] { return h.Execute(); }), -1);
        QVERIFY2(stops.failure.isEmpty(), qPrintable(stops.failure));
        QVERIFY(!search->isVisible());
        const QStringList frames = rig->Received();
        QCOMPARE(frames.mid(frames.size() - 3), (QStringList{kStart, kCancel, kPaired}));
        QCOMPARE(frames.count(kStart), 2);
    }

    // The module goes away while the remote page waits: Cancel cannot get the
    // cancelled report, and the wizard still ends instead of waiting for it.
    void abortEndsWhenThePortGoesAway() {
        auto rig = Module({"--pairing", "complete@5000"});
        QVERIFY(rig);
        PairHandler h;
        h.SetCommunicator(rig->form->comm.get());
        TformPairRemote2* f = h.formPairRemote2;
        Person p;
        Choose(p, h, false);
        Pair(p, f, "2468", "Waiting for remote device to pair");
        p.Then(
            "module gone, Cancel", [] { return true; },
            [&] {
                rig->sim.Stop();
                Click(f->cancelButton);
            });
        QCOMPARE(p.Run([&] { return h.Execute(); }), -1);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QVERIFY(!f->isVisible());
    }
};

static const int registered =
    RegisterTest("SearchDialogTest", [] { return new SearchDialogTest; }) +
    RegisterTest("PairWizardTest", [] { return new PairWizardTest; });
#include "PairingTest.moc"
