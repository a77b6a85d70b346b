// SPDX-License-Identifier: Apache-2.0
// The device search dialog and the pairing wizard as the Connecting and
// Endpoint pages' buttons bring them up, on the window's line to a virtual
// module: what they list and show, the frames they send, how each button and
// the close box end, restart or step back, and what the pages take from them.
// The tests of a class share one window, a new module plugged in for each run.
#include "ConSetHandler.h"
#include "DeviceSearch.h"
#include "EndpSetHandler.h"
#include "InquiryHandler.h"
#include "PairForms.h"
#include "PairHandler.h"
#include "TinqForm.h"
#include "WindowRig.h"

#include <QApplication>
#include <QPushButton>
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

// Plugs in a module that finds kDevices, with this state and these options,
// and clears its trace once the window has read it.
bool Plug(WindowRig& rig, const QByteArray& state, std::vector<std::string> args) {
    for (const auto& file : {ModuleFile("--devices", kDevices), ModuleFile("--state", state)})
        args.insert(args.end(), file.begin(), file.end());
    if (!rig.Plug(args)) return false;
    rig.ClearTrace();
    return true;
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
    std::unique_ptr<WindowRig> rig;

  private slots:
    void initTestCase() {
        rig = std::make_unique<WindowRig>();
        QVERIFY(rig->StartAndRead());
    }
    void cleanupTestCase() { rig.reset(); }

    // The class filter of the (hidden) device filter's items: the major class
    // in byte 1, but in byte 2 for the access points.
    void classFilter() {
        QCOMPARE(DeviceSearch::ClassFilter(1), (std::array<uint8_t, 4>{0, 1, 0, 0}));
        QCOMPARE(DeviceSearch::ClassFilter(3), (std::array<uint8_t, 4>{0, 0, 3, 0}));
    }

    // Find device on the Connecting page. Cancel search keeps what was found, to
    // be chosen; Search again starts afresh; the close box ends the dialog, the
    // page's address kept. Then the search lists what the module finds, offers
    // OK for a selected row only, and the chosen address goes into the page's
    // address edits (a change, which write-all sends); OK cancels the search
    // even after it ended.
    void findDevice() {
        QVERIFY(Plug(*rig, "device_mode 1\nsecurity 0 0 0\nconnect_address 0a 1b 2c 3d 4e 5f\n",
                     {"--search-time", "1200"}));
        TMainForm& form = *rig->form;
        ConSetHandler& page = *form.conSetHandler;
        TinqForm* f = page.inquiry->inqForm;
        QTreeWidget* list = f->DeviceList;
        const auto find = [&] {
            page.conFindDeviceButton->click();
            return 0;
        };
        Person stops;
        stops.Then(
            "a first device", [&] { return list->topLevelItemCount() == 1; },
            [&] { Click(f->buttonStopSearch); });
        stops.Then(
            "search canceled", [&] { return Status(f) == "Search canceled"; },
            [&] {
                QCOMPARE(Row(list, 0), "3c 4d 5e 6f 70 81 | Depot Scanner");
                ClickRow(list, 0);
            });
        stops.Then(
            "OK offered after the stop", [&] { return f->buttonOk->isEnabled(); },
            [&] { Click(f->buttonSearchAgain); });
        stops.Then(
            "searching again", [&] { return Status(f) == "Searching..."; },
            [&] {
                QCOMPARE(list->topLevelItemCount(), 0);
                QVERIFY(!f->buttonOk->isEnabled() && !f->buttonSearchAgain->isEnabled());
                QVERIFY(f->buttonStopSearch->isEnabled());
            });
        stops.Then(
            "the bar moving", [&] { return f->inqBar->value() >= 2; }, [&] { f->close(); });
        stops.Run(find);
        QVERIFY2(stops.failure.isEmpty(), qPrintable(stops.failure));
        QVERIFY(!f->isVisible());
        QCOMPARE(Status(f), "Search canceled");
        QCOMPARE(rig->Received(), (QStringList{kStart, kCancel, kStart, kCancel}));
        QCOMPARE(page.ca[0]->text() + page.ca[5]->text(), QString("0A5F"));
        QVERIFY(!form.AnyChanged());

        rig->ClearTrace();
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
            [&] {
                // A click on the empty space below the rows.
                QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                                  QPoint(20, list->viewport()->height() - 4));
            });
        p.Then(
            "OK withdrawn with the selection", [&] { return !f->buttonOk->isEnabled(); },
            [&] { ClickRow(list, 1); });
        p.Then(
            "OK offered again", [&] { return f->buttonOk->isEnabled(); },
            [&] { Click(f->buttonOk); });
        p.Run(find);
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QVERIFY(modal && !offeredWhileSearching);
        QVERIFY(!f->isVisible());
        QCOMPARE(Status(f), "Search canceled");
        QCOMPARE(rig->Received(), (QStringList{kStart, kCancel}));
        QVERIFY(form.AnyChanged());
        rig->ClearTrace();
        form.writeConf->click();
        QVERIFY(rig->errors.empty());
        QVERIFY(rig->Received().contains("17 06 92 a3 b4 c5 d6 e7"));
    }
};

class PairWizardTest : public QObject {
    Q_OBJECT
    std::unique_ptr<WindowRig> rig;

    // The Endpoint page of a module that requires a paired device offers Pair
    // device; whatever the wizard ends with, both pages show the module's
    // paired address afterwards, and nothing counts as changed.
    void PairFromThePage(Person& p, const QString& paired) {
        EndpSetHandler& page = *rig->form->endpSetHandler;
        p.Run([&] {
            page.endpPairButton->click();
            return 0;
        });
        QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
        QCOMPARE(page.endpPairDev->text(), paired);
        QCOMPARE(rig->form->conSetHandler->conPairDev->text(), paired);
        QVERIFY(!rig->form->AnyChanged());
    }

  private slots:
    void initTestCase() {
        rig = std::make_unique<WindowRig>();
        QVERIFY(rig->StartAndRead());
    }
    void cleanupTestCase() { rig.reset(); }

    // The local path: the search, the device chosen, a passkey (16 characters
    // at most) and every outcome the module reports.
    void localPairing() {
        const struct {
            const char* outcome;
            QString shown;
        } rows[] = {{"complete", "Pairing complete"},
                    {"timeout", "Pairing failed due to timeout"},
                    {"failed", "Pairing failed"},
                    {"error", "Pairing error"}};
        for (const auto& row : rows) {
            RowName name(row.outcome);
            const bool complete = row.shown == "Pairing complete";
            QVERIFY(Plug(*rig, "device_mode 2\nsecurity 0 1 0\n",
                         {"--search-time", "300", "--pairing", row.outcome + std::string("@100")}));
            PairHandler& h = *rig->form->endpSetHandler->pairing;
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
                    QCOMPARE(f->windowTitle(),
                             "Pair device wizard (Local device initiates, step 3/3)");
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
            Outcome(p, f, row.shown, complete);
            PairFromThePage(p, complete ? "92 a3 b4 c5 d6 e7" : "Device not paired");
            QVERIFY(!f->isVisible());
            const QString pairFrame = "64 16 92 a3 b4 c5 d6 e7 " + Hex("0123456789abcdef");
            QCOMPARE(rig->Received(), (QStringList{kStart, pairFrame, kPaired}));
        }
    }

    // The remote path: the page waits for the remote device; it pairs, the
    // wait times out, or the person cancels while waiting.
    void remotePairing() {
        const struct {
            const char* pairing;
            QString shown; // after the wait; empty: Cancel pressed while waiting
        } rows[] = {{"complete@100", "Device paired with 3c 4d 5e 6f 70 81"},
                    {"timeout@100", "Pairing failed due to timeout"},
                    {"complete@5000", ""}};
        for (const auto& row : rows) {
            RowName name(row.pairing);
            const bool complete = row.shown.startsWith("Device paired");
            QVERIFY(Plug(*rig, "device_mode 2\nsecurity 0 1 0\n", {"--pairing", row.pairing}));
            PairHandler& h = *rig->form->endpSetHandler->pairing;
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
            if (row.shown.isEmpty())
                p.Then(
                    "Cancel while waiting", [] { return true; }, [&] { Click(f->cancelButton); });
            else
                Outcome(p, f, row.shown, complete);
            PairFromThePage(p, complete ? "3c 4d 5e 6f 70 81" : "Device not paired");
            QVERIFY(!f->isVisible());
            QStringList frames = rig->Received();
            QCOMPARE(frames.value(0), "63 04 32 34 36 38");
            frames.removeFirst();
            if (row.shown.isEmpty()) QCOMPARE(frames.takeFirst(), kCancel);
            // The paired address: asked on the way out (and, after success, while
            // the page shows it).
            QCOMPARE(frames.count(kPaired), frames.size());
            QVERIFY(complete ? frames.size() >= 2 : frames.size() == 1);
        }
    }
};

static const int registered =
    RegisterTest("SearchDialogTest", [] { return new SearchDialogTest; }) +
    RegisterTest("PairWizardTest", [] { return new PairWizardTest; });
#include "PairingTest.moc"
