// SPDX-License-Identifier: Apache-2.0
// The window from the keyboard, with keys as the window system delivers them:
// page switching from any control and never onto a hidden page, the focus
// after an operation and after a refused value, the default button of every
// search and wizard page, Escape on each of them, and the question whose OK
// would throw edits away.
#include "InquiryHandler.h"
#include "PairForms.h"
#include "PairHandler.h"
#include "PowerSavePage.h"
#include "TinqForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

namespace {

// The page shown, without the mark of changes on it.
QString Page(const TMainForm& f) {
    return f.PageControl1->tabText(f.PageControl1->currentIndex()).remove('*');
}

// The window on a module that pairs after 300 ms, read, and active.
std::unique_ptr<WindowRig> Window() {
    auto rig = std::make_unique<WindowRig>(std::vector<std::string>{"--pairing", "complete@300"});
    if (!rig->StartAndRead()) return nullptr;
    QApplication::setActiveWindow(rig->form.get());
    return rig;
}

// Presses a key with modifiers where the focus is (or on `on`), as the window
// system does.
void Press(Qt::Key key, Qt::KeyboardModifiers mods = Qt::NoModifier, QWidget* on = nullptr) {
    QWidget* target = on ? on : QApplication::focusWidget();
    QVERIFY(target);
    QTest::keyClick(target, key, mods);
}

} // namespace

class KeyboardTest : public QObject {
    Q_OBJECT
  private slots:
    // Ctrl+Tab, Ctrl+Shift+Tab, Ctrl+PageDown and Ctrl+PageUp from a combo box,
    // a button or an edit go round the pages shown; a combo box keeps its value.
    void pageSwitching() {
        auto rig = Window();
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        f.PageControl1->setCurrentWidget(f.serialTab);
        QComboBox* speed = f.serialPage->BaudrateBox;
        speed->setFocus();
        const QString before = speed->currentText();
        const struct {
            Qt::Key key;
            Qt::KeyboardModifiers mods;
            const char* page;
        } steps[] = {
            {Qt::Key_PageDown, Qt::ControlModifier, "Endpoint"},
            {Qt::Key_Tab, Qt::ControlModifier, "Connecting"},
            // The advanced pages are hidden: round to the first page.
            {Qt::Key_PageDown, Qt::ControlModifier, "General"},
            {Qt::Key_PageUp, Qt::ControlModifier, "Connecting"},
            {Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier, "Endpoint"},
        };
        for (const auto& s : steps) {
            Press(s.key, s.mods);
            QCOMPARE(Page(f), QString(s.page));
        }
        QCOMPARE(speed->currentText(), before);
        f.readConfig->setFocus();
        Press(Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(Page(f), QString("Connecting"));
    }

    // A read started with Space on its button leaves the focus there, not on
    // Write; a refused value brings up its page with the focus in its field.
    void focusAfterAnOperation() {
        auto rig = Window();
        QVERIFY(rig);
        TMainForm& f = *rig->form;
        f.readConfig->setFocus();
        rig->ClearTrace();
        Press(Qt::Key_Space, Qt::NoModifier, f.readConfig);
        QVERIFY(!rig->Received().isEmpty());
        QCOMPARE(f.focusWidget(), static_cast<QWidget*>(f.readConfig));

        rig->answers = {Desktop::Answer::Yes};
        f.menuShowAdvanced->trigger();
        f.PageControl1->setCurrentWidget(f.adv2);
        QLineEdit* maxInterval = f.powerSavePage->sniffMaxInt;
        f.powerSavePage->sniffModeEnabled->click();
        Type(maxInterval, "");
        f.writeConf->setFocus();
        Press(Qt::Key_Space, Qt::NoModifier, f.writeConf);
        QTRY_COMPARE(rig->errors.size(), size_t(1));
        QCOMPARE(rig->errors[0].headline, QString("Invalid sniff mode parameter"));
        QCOMPARE(Page(f), QString("Power save"));
        QCOMPARE(f.focusWidget(), static_cast<QWidget*>(maxInterval));
    }

    // Return on a selected device takes it; Escape cancels the search. Both end
    // the dialog's loop, and the main window takes input again.
    void searchDialog() {
        auto rig = Window();
        QVERIFY(rig);
        for (const bool choose : {true, false}) {
            InquiryHandler h(rig->form.get());
            h.SetCommunicator(rig->form->comm.get());
            TinqForm* d = h.inqForm;
            QVERIFY(d->buttonOk->isDefault());
            Person p;
            p.Then(
                "a device listed", [d] { return d->DeviceList->topLevelItemCount() > 0; },
                [d] {
                    ClickRow(d->DeviceList, 0);
                    d->DeviceList->setFocus();
                });
            p.Then(
                "OK offered", [d] { return d->buttonOk->isEnabled(); },
                [choose] { Press(choose ? Qt::Key_Return : Qt::Key_Escape); });
            QCOMPARE(p.Run([&] { return h.Execute(); }), choose ? 1 : -1);
            QVERIFY2(p.failure.isEmpty(), qPrintable(p.failure));
            QVERIFY(!d->isVisible());
            QVERIFY(QApplication::activeModalWidget() == nullptr);
        }
    }

    // The wizard from the keyboard: Return takes the main step of each page
    // (Next>, Next> on a selected device, Pair); while pairing the focus waits
    // on Cancel, and once paired Finish has the focus and takes Return and
    // Space. Escape before the pairing leaves the passkey page up; while it
    // runs Escape cancels it; on step 1 Escape ends the wizard.
    void wizard() {
        auto rig = Window();
        QVERIFY(rig);
        const struct {
            const char* name;
            bool escapeOnStep1, escapeWhilePairing;
            int result;
        } rows[] = {
            {"paired and finished with Space", false, false, 1},
            {"cancelled while pairing", false, true, -1},
            {"ended on step 1", true, false, -1},
        };
        for (const auto& row : rows) {
            PairHandler h(rig->form.get());
            h.SetCommunicator(rig->form->comm.get());
            Person p;
            TformPair1* one = h.formPair1;
            TformPairLocal2* two = h.formPairLocal2;
            TformPairLocal3* three = h.formPairLocal3;
            p.Then(
                "step 1", [one] { return one->isVisible(); },
                [one, &row] {
                    QVERIFY(one->buttonNext->isDefault());
                    Click(one->radioLocalPair);
                    Press(row.escapeOnStep1 ? Qt::Key_Escape : Qt::Key_Return, {}, one);
                });
            if (!row.escapeOnStep1) {
                p.Then(
                    "a device listed",
                    [two] { return two->isVisible() && two->DeviceList->topLevelItemCount() > 0; },
                    [two] {
                        QVERIFY(two->buttonNext->isDefault());
                        ClickRow(two->DeviceList, 0);
                        two->DeviceList->setFocus();
                    });
                p.Then(
                    "Next offered", [two] { return two->buttonNext->isEnabled(); },
                    [two] { Press(Qt::Key_Return, {}, two->DeviceList); });
                p.Then(
                    "passkey page", [three] { return three->isVisible(); },
                    [three] {
                        Keys(three->textPinCode, "1234");
                        // The page stays: its loop goes on.
                        Press(Qt::Key_Escape, {}, three->textPinCode);
                        QVERIFY(three->isVisible());
                        Press(Qt::Key_Return, {}, three->textPinCode);
                    });
                p.Then(
                    "pairing", [three] { return three->pairStatus->text() == "Pairing..."; },
                    [three, &row] {
                        QCOMPARE(three->focusWidget(), static_cast<QWidget*>(three->cancelButton));
                        if (row.escapeWhilePairing) Press(Qt::Key_Escape, {}, three);
                    });
                if (!row.escapeWhilePairing)
                    p.Then(
                        "paired",
                        [three] { return three->pairStatus->text() == "Pairing complete"; },
                        [three] {
                            QCOMPARE(three->focusWidget(),
                                     static_cast<QWidget*>(three->finnishButton));
                            QVERIFY(three->finnishButton->isDefault());
                            Press(Qt::Key_Space, {}, three->focusWidget());
                        });
            }
            QCOMPARE(p.Run([&] { return h.Execute(); }), row.result);
            QVERIFY2(p.failure.isEmpty(), qPrintable(QString(row.name) + ": " + p.failure));
            QVERIFY(QApplication::activeModalWidget() == nullptr);
        }
    }

    // "Changes will be lost" is answered Cancel by Return: the edits stay.
    void returnKeepsEdits() {
        Desktop::TestSeams() = Desktop::Seams();
        QTimer::singleShot(100, [] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
                QTest::keyClick(box, Qt::Key_Return);
        });
        QCOMPARE(Desktop::AskOkCancel(nullptr, "Changes will be lost. Continue?"),
                 Desktop::Answer::Cancel);
    }
};

static const int registered = RegisterTest("KeyboardTest", [] { return new KeyboardTest; });
#include "KeyboardTest.moc"
