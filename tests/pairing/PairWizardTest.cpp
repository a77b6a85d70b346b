// The pairing wizard against the virtual module: both paths, every outcome the
// module reports, aborts and Back from every page, with the frames sent and what
// each window shows.
#include "PairForms.h"
#include "PairHandler.h"
#include "PairingRig.h"

#include <QTest>

namespace {

const QString kStart = "60 06 0c 00 00 00 00 01";
const QString kCancel = "80 00";
const QString kPaired = "62 00";
const std::array<uint8_t, 6> kNotPaired{};

QString Status(const TformPairLocal2* f) {
    return f->statusBar->currentMessage();
}

void Choose(Person& p, PairHandler& h, bool local) {
    TformPair1* f = h.formPair1;
    p.Then(
        "step 1", [f] { return f->isVisible(); },
        [f, local] {
            QVERIFY(!f->radioLocalPair->isChecked() && !f->radioRemotePair->isChecked());
            QVERIFY(!f->buttonNext->isEnabled());
            QTest::mouseClick(local ? f->radioLocalPair : f->radioRemotePair, Qt::LeftButton);
            QCOMPARE(f->windowTitle(),
                     local ? "Pair device wizard (Step 1/3)" : "Pair device wizard (Step 1/2)");
            Click(f->buttonNext);
        });
}

// Local step 2: waits for `rows` devices (or the end of the search), then takes `row`.
void Pick(Person& p, PairHandler& h, int rows, int row) {
    TformPairLocal2* f = h.formPairLocal2;
    p.Then(
         "devices listed",
         [f, rows] { return f->isVisible() && f->DeviceList->topLevelItemCount() >= rows; },
         [f, row] { ClickRow(f->DeviceList, row); })
        .Then(
            "Next offered", [f] { return f->buttonNext->isEnabled(); },
            [f] { Click(f->buttonNext); });
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
         })
        .Then(
            waiting, [f, waiting] { return f->pairStatus->text() == waiting; },
            [f] { QVERIFY(!f->textPinCode->isEnabled() && !f->pairButton->isEnabled()); });
}

} // namespace

class PairWizardTest : public QObject {
    Q_OBJECT
  private slots:
    void localPairing_data();
    void localPairing();
    void abortsWhilePairing();
    void backAndStepOne();
    void remotePairing_data();
    void remotePairing();
    void abortEndsWhenThePortGoesAway();
};

void PairWizardTest::localPairing_data() {
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

void PairWizardTest::localPairing() {
    QFETCH(QString, outcome);
    QFETCH(QString, shown);
    const bool complete = outcome == "complete";
    PairingRig rig(kDevices,
                   {"--search-time", "1200", "--pairing", outcome.toStdString() + "@300"});
    QVERIFY(rig.ready);
    PairHandler h;
    QCOMPARE(h.SetCommunicator(&rig.comm), 1);
    TformPairLocal2* search = h.formPairLocal2;
    TformPairLocal3* f = h.formPairLocal3;

    Person p;
    Choose(p, h, true);
    p.Then(
        "search completed", [&] { return Status(search) == "Search completed"; },
        [&] {
            QCOMPARE(search->windowTitle(),
                     "Pair device wizard (Local device initiates, step 2/3)");
            QCOMPARE(search->DeviceList->topLevelItemCount(), 3);
            QCOMPARE(search->DeviceList->topLevelItem(2)->text(1),
                     "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
            QVERIFY(!search->buttonNext->isEnabled());
        });
    Pick(p, h, 3, 1);
    p.Then(
        "step 3", [&] { return f->isVisible(); },
        [&] {
            QCOMPARE(f->windowTitle(), "Pair device wizard (Local device initiates, step 3/3)");
            QCOMPARE(f->labelRemoteDevice->text(), "Bench Meter 7(92 a3 b4 c5 d6 e7)");
            QCOMPARE(f->pairStatus->text(), "Device not paired");
            QCOMPARE(f->Label5->text(), "press the \"Pair\" button.");
            QVERIFY(!f->finnishButton->isEnabled() && f->cancelButton->isEnabled());
            // The passkey rule: Pair only with a passkey; 16 characters at most.
            Type(f->textPinCode, "x");
            QVERIFY(f->pairButton->isEnabled());
            Type(f->textPinCode, "");
            QVERIFY(!f->pairButton->isEnabled());
        });
    Pair(p, f, "0123456789abcdefZ", "Pairing...");
    p.Then(
        shown, [&] { return f->pairStatus->text() == shown; },
        [&] {
            QCOMPARE(f->finnishButton->isEnabled(), complete);
            QCOMPARE(f->cancelButton->isEnabled(), !complete);
            QCOMPARE(f->pairButton->isEnabled(), !complete);
            QVERIFY(f->textPinCode->isEnabled());
            Click(complete ? f->finnishButton : f->cancelButton);
        });

    QCOMPARE(p.Run([&] { return h.Execute(); }), complete ? 1 : -1);
    QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
    QVERIFY(!f->isVisible());
    QCOMPARE(h.remoteName, "Bench Meter 7");
    // The module's paired address on the way out: zeros when it is not paired.
    QCOMPARE(h.remoteAddress, complete ? kDevices[1].address : kNotPaired);
    const QString pairFrame = "64 16 92 a3 b4 c5 d6 e7 " + Hex(std::string("0123456789abcdef"));
    QCOMPARE(rig.Received(), (QStringList{kStart, pairFrame, kPaired}));
}

void PairWizardTest::abortsWhilePairing() {
    PairingRig rig(kDevices, {"--search-time", "1500", "--pairing", "complete@5000"});
    QVERIFY(rig.ready);
    PairHandler h;
    h.SetCommunicator(&rig.comm);
    TformPairLocal2* search = h.formPairLocal2;
    TformPairLocal3* f = h.formPairLocal3;
    int stepOneShown = 0;

    Person p;
    // Back from step 3 goes to a fresh search, never to step 1.
    auto freshSearch = [&] {
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
    // The close box acts as Cancel while the pairing is under way.
    p.Then(
        "close box", [] { return true; }, [&] { f->close(); });

    QCOMPARE(p.Run([&] { return h.Execute(); }), -1);
    QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
    QCOMPARE(stepOneShown, 0);
    QVERIFY(!f->isVisible() && !search->isVisible());
    QCOMPARE(h.resumeAtSearch, 0);
    QCOMPARE(h.remoteAddress, kNotPaired);
    const QString pairFrame = "64 0a 3c 4d 5e 6f 70 81 34 37 31 31";
    QCOMPARE(rig.Received(), (QStringList{kStart, kCancel, kStart, kCancel, pairFrame, kCancel,
                                          kStart, kCancel, pairFrame, kCancel, kPaired}));
}

void PairWizardTest::backAndStepOne() {
    PairingRig rig(kDevices, {"--search-time", "1500"});
    QVERIFY(rig.ready);
    PairHandler h;
    h.SetCommunicator(&rig.comm);
    TformPair1* one = h.formPair1;
    TformPairRemote2* remote = h.formPairRemote2;

    Person p;
    p.Then(
        "step 1", [&] { return one->isVisible(); },
        [&] {
            QCOMPARE(one->windowTitle(), "Pair device wizard");
            Click(one->buttonNext); // no radio checked: nothing happens
            QVERIFY(one->isVisible());
        });
    Choose(p, h, true);
    p.Then(
        "searching", [&] { return Status(h.formPairLocal2) == "Searching..."; },
        [&] { Click(h.formPairLocal2->buttonBack); });
    Choose(p, h, false); // both radios cleared again, Next disabled
    p.Then(
        "remote page", [&] { return remote->isVisible(); }, [&] { Click(remote->backButton); });
    Choose(p, h, false);
    p.Then(
        "remote page again", [&] { return remote->isVisible(); },
        [&] { Click(remote->cancelButton); });
    QCOMPARE(p.Run([&] { return h.Execute(); }), -1);
    QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
    // One search, cancelled by Back; the paired address asked once on the way out.
    QCOMPARE(rig.Received(), (QStringList{kStart, kCancel, kPaired}));

    // Step 1 left with Next last time: its close box keeps that and goes on, to
    // the remote path since no radio is checked.
    rig.sim.ClearTrace();
    Person again;
    again
        .Then(
            "step 1", [&] { return one->isVisible(); }, [&] { one->close(); })
        .Then(
            "remote page", [&] { return remote->isVisible(); },
            [&] { Click(remote->cancelButton); });
    QCOMPARE(again.Run([&] { return h.Execute(); }), -1);
    QVERIFY2(again.failure.isEmpty(), qPrintable(again.failure));

    // Cancel on step 1 ends the wizard there.
    Person third;
    third.Then(
        "step 1", [&] { return one->isVisible(); }, [&] { Click(one->buttonCancel); });
    QCOMPARE(third.Run([&] { return h.Execute(); }), -1);
    QVERIFY2(third.failure.isEmpty(), qPrintable(third.failure));
    QCOMPARE(rig.Received(), (QStringList{kPaired, kPaired}));

    // Step 2: a stop is repeated until another button is pressed; the close box
    // cancels while no code is set.
    rig.sim.ClearTrace();
    TformPairLocal2* search = h.formPairLocal2;
    Person fourth;
    Choose(fourth, h, true);
    fourth
        .Then(
            "searching", [&] { return Status(search) == "Searching..."; },
            [&] { Click(search->buttonStopSearch); })
        .Then(
            "the stop repeated",
            [&] {
                return rig.Received().count(kCancel) >= 3 && search->buttonSearchAgain->isEnabled();
            },
            [&] { Click(search->buttonSearchAgain); })
        .Then(
            "searching again", [&] { return Status(search) == "Searching..."; },
            [&] { search->close(); });
    QCOMPARE(fourth.Run([&] { return h.Execute(); }), -1);
    QVERIFY2(fourth.failure.isEmpty(), qPrintable(fourth.failure));
    QVERIFY(!search->isVisible());
    QStringList frames = rig.Received();
    QCOMPARE(frames.mid(frames.size() - 3), (QStringList{kStart, kCancel, kPaired}));
    QCOMPARE(frames.count(kStart), 2);
}

void PairWizardTest::remotePairing_data() {
    QTest::addColumn<QString>("pairing");
    QTest::addColumn<QString>("shown"); // after the wait; empty: Cancel pressed while waiting
    QTest::newRow("complete") << "complete@300"
                              << "Device paired with 3c 4d 5e 6f 70 81";
    QTest::newRow("timeout") << "timeout@300"
                             << "Pairing failed due to timeout";
    QTest::newRow("cancel") << "complete@5000"
                            << "";
}

void PairWizardTest::remotePairing() {
    QFETCH(QString, pairing);
    QFETCH(QString, shown);
    const bool complete = shown.startsWith("Device paired");
    PairingRig rig(kDevices, {"--pairing", pairing.toStdString()});
    QVERIFY(rig.ready);
    PairHandler h;
    h.SetCommunicator(&rig.comm);
    TformPairRemote2* f = h.formPairRemote2;

    Person p;
    Choose(p, h, false);
    p.Then(
        "remote page", [&] { return f->isVisible(); },
        [&] {
            QCOMPARE(f->windowTitle(), "Pair device wizard (Remote device initiates, stop 2/2)");
            QVERIFY(f->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
            QCOMPARE(f->Label1->text(), "Enter a passkey below and press the \"Pair\" button.");
            QCOMPARE(f->pairStatus->text(), "Enter passkey and press pair button");
            QVERIFY(!f->finnishButton->isEnabled() && f->backButton->isEnabled());
        });
    Pair(p, f, "2468", "Waiting for remote device to pair");
    if (shown.isEmpty()) {
        p.Then(
            "Cancel while waiting", [] { return true; }, [&] { Click(f->cancelButton); });
    } else {
        p.Then(
            shown, [&] { return f->pairStatus->text() == shown; },
            [&] {
                QCOMPARE(f->finnishButton->isEnabled(), complete);
                QCOMPARE(f->cancelButton->isEnabled(), !complete);
                QCOMPARE(f->pairButton->isEnabled(), !complete);
                Click(complete ? f->finnishButton : f->cancelButton);
            });
    }

    QCOMPARE(p.Run([&] { return h.Execute(); }), complete ? 1 : -1);
    QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
    QVERIFY(!f->isVisible());
    QCOMPARE(h.remoteAddress, complete ? kDevices[0].address : kNotPaired);
    QStringList frames = rig.Received();
    QVERIFY(!frames.isEmpty());
    QCOMPARE(frames.takeFirst(), "63 04 32 34 36 38");
    if (shown.isEmpty()) QCOMPARE(frames.takeFirst(), kCancel);
    // The paired address: asked on the way out (and, after success, while the page shows it).
    QVERIFY(!frames.isEmpty());
    QCOMPARE(frames.count(kPaired), frames.size());
    QVERIFY(complete ? frames.size() >= 2 : frames.size() == 1);
}

void PairWizardTest::abortEndsWhenThePortGoesAway() {
    // The module goes away while the remote page waits: Cancel cannot get the
    // cancelled report, and the wizard still ends instead of waiting for it.
    PairingRig rig(kDevices, {"--pairing", "complete@5000"});
    QVERIFY(rig.ready);
    PairHandler h;
    h.SetCommunicator(&rig.comm);
    TformPairRemote2* f = h.formPairRemote2;
    Person p;
    Choose(p, h, false);
    Pair(p, f, "2468", "Waiting for remote device to pair");
    p.Then(
        "module gone, Cancel", [] { return true; },
        [&] {
            rig.sim.Stop();
            Click(f->cancelButton);
        });
    QCOMPARE(p.Run([&] { return h.Execute(); }), -1);
    QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
    QVERIFY(!f->isVisible());
}

QTEST_MAIN(PairWizardTest)
#include "PairWizardTest.moc"
