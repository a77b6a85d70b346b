// SPDX-License-Identifier: Apache-2.0
// The key filters of the edits of the advanced pages and the Serial port page,
// on the pages on their own: the keys a person types, the keys that type
// nothing as the window system sends them, and pasted text.
#include "ConSetHandler.h"
#include "ConnectingPage.h"
#include "ModuleSettings.h"
#include "OtherPage.h"
#include "OtherSetHandler.h"
#include "PowerSavePage.h"
#include "PsSetHandler.h"
#include "ScanPowerPage.h"
#include "SerSetHandler.h"
#include "SerialPage.h"
#include "SopSetHandler.h"
#include "WindowRig.h"

#include <QClipboard>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QTest>

class AdvancedPagesTest : public QObject {
    Q_OBJECT
    // The pages side by side in one window, every edit taking input.
    QWidget window;
    PowerSavePage* psPage = new PowerSavePage;
    ScanPowerPage* sopPage = new ScanPowerPage;
    OtherPage* otherPage = new OtherPage;
    SerialPage* serialPage = new SerialPage;
    ConnectingPage* conPage = new ConnectingPage;
    PsSettings ps;
    SopSettings sop;
    OtherSettings other;
    SerSettings serial;
    ModuleSettings module;
    PsSetHandler psHandler{ps, psPage};
    SopSetHandler sopHandler{sop, sopPage};
    OtherSetHandler otherHandler{other, otherPage};
    SerSetHandler serialHandler{serial, serialPage};
    ConSetHandler conHandler{module, conPage, &window};

  private slots:
    void initTestCase() {
        auto* layout = new QHBoxLayout(&window);
        for (QWidget* page :
             std::initializer_list<QWidget*>{psPage, sopPage, otherPage, serialPage, conPage})
            layout->addWidget(page);
        ps.sniffEnabled = ps.parkEnabled = 1;
        sop.inquiryScanEnabled = sop.pageScanEnabled = 1;
        other.qosSupported = other.manualClassOfDevice = 1;
        serial.userDefinedSupported = 1;
        serialHandler.AdvancedSwitched(true);
        module.connecting.connectingMode = module.connecting.securityMode = 1;
        for (SettingsPage* h : std::initializer_list<SettingsPage*>{&psHandler, &sopHandler,
                                                                    &otherHandler, &conHandler})
            h->UpdateControls();
        window.show();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }

    // Digits and '-' only, five characters at most in a power save edit; the
    // scan edits four characters, the power edits three with '-' only first;
    // the latency edit seven digits; the class of device edit hexadecimal; the
    // user-defined speed value four digits; an address edit two hexadecimal
    // digits, shown in upper case. Backspace and the keys that type
    // nothing (Left) are the edit's own, and a text the program put in is not
    // cut.
    void keyFilters() {
        const struct {
            QLineEdit* edit;
            const char *before, *keys, *shown;
        } typed[] = {
            {psPage->sniffMaxInt, "", "1a-2 .+x3", "1-23"},
            {psPage->parkBeaMin, "65535", "x-9", "65535"},
            {psPage->sniffMaxInt, "1234567", "\b\b8", "12345"},
            {sopPage->maxTxPower, "", "1-2-", "12"},
            {sopPage->defaultTxPowerText, "", "-123", "-12"},
            {sopPage->inqScanInt, "", "1-2-3", "1-2-"},
            {sopPage->inqScanWind, "4096", "\u2190\b", "406"},
            {otherPage->textQoSLatency, "", "1a2-3 4", "1234"},
            {otherPage->codValueBox, "", "g2x0 041c-fF7", "20041cfF"},
            {serialPage->baudvalue, "", "1a2-3 .+x,45", "1234"},
            {conHandler.ca[3], "", "a", "A"},
            {conHandler.ca[3], "", "g1b3", "1B"},
            {conHandler.ca[3], "", "1\u2190b", "B1"},
        };
        for (const auto& row : typed) {
            row.edit->setText(row.before);
            row.edit->setFocus();
            row.edit->end(false);
            Keys(row.edit, row.keys);
            QCOMPARE(row.edit->objectName() + ": " + row.edit->text(),
                     row.edit->objectName() + ": " + row.shown);
        }
    }

    // Every filtered edit of these pages but the address edits, with the
    // characters it takes and how many: keys that type nothing reach the edit
    // as the window system sends them (Delete "\x7f", Backspace "\b", Tab and
    // Shift+Tab "\t"), a refused character changes nothing, and a pasted text
    // over a selection keeps only the characters the edit takes, up to its length.
    void everyFilteredEdit() {
        const QString digits = "0123456789", signed_ = digits + "-", hex = digits + "abcdefABCDEF";
        const struct {
            QLineEdit* edit;
            QString takes;
            int length;
        } rows[] = {
            {psPage->sniffMaxInt, signed_, 5},      {psPage->sniffMinInt, signed_, 5},
            {psPage->sniffAttempt, signed_, 5},     {psPage->sniffTimeout, signed_, 5},
            {psPage->parkBeaMax, signed_, 5},       {psPage->parkBeaMin, signed_, 5},
            {sopPage->inqScanInt, signed_, 4},      {sopPage->inqScanWind, signed_, 4},
            {sopPage->pageScanInt, signed_, 4},     {sopPage->pageScanWind, signed_, 4},
            {sopPage->maxTxPower, signed_, 3},      {sopPage->defaultTxPowerText, signed_, 3},
            {otherPage->textQoSLatency, digits, 7}, {otherPage->codValueBox, hex, 8},
            {serialPage->baudvalue, digits, 4},
        };
        const QString pasted = QStringLiteral("-98765\u20ac43210aBcx");
        for (const auto& row : rows) {
            QLineEdit* edit = row.edit;
            const QString full = QString("1234567890").left(row.length);
            edit->setText(full);
            edit->setFocus();
            Keys(edit, "\u21e4\x7f\u21e5\b"); // Home, Delete, End, Backspace
            QCOMPARE(edit->objectName() + ": " + edit->text(),
                     edit->objectName() + ": " + full.mid(1).chopped(1));
            Keys(edit, "x");
            QCOMPARE(edit->text(), full.mid(1).chopped(1));
            Keys(edit, "\t");
            QVERIFY2(QApplication::focusWidget() != edit, qPrintable(edit->objectName()));
            Keys(edit, "\u21b9");
            QVERIFY2(QApplication::focusWidget() == edit, qPrintable(edit->objectName()));
            QGuiApplication::clipboard()->setText(pasted);
            edit->selectAll();
            QTest::keyClick(edit, Qt::Key_V, Qt::ControlModifier);
            QString held;
            for (const QChar c : pasted)
                if (row.takes.contains(c) && held.size() < row.length) held += c;
            QCOMPARE(edit->objectName() + ": " + edit->text(), edit->objectName() + ": " + held);
        }
    }
};

static const int registered =
    RegisterTest("AdvancedPagesTest", [] { return new AdvancedPagesTest; });
#include "AdvancedPagesTest.moc"
