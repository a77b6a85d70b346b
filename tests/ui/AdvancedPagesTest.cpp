// The advanced pages on their own with their groups (Scan and Output power,
// Power save, Other, Audio settings): what a page shows of the values a read
// left in its group, a person's clicks, choices, slider moves and typing
// reaching the group while controls set by the program never do, and the key
// filters of their edits.
#include "AudioPage.h"
#include "OtherPage.h"
#include "OtherSetHandler.h"
#include "PowerSavePage.h"
#include "PsSetHandler.h"
#include "ScanPowerPage.h"
#include "ScoSetHandler.h"
#include "SerSetHandler.h"
#include "SerialPage.h"
#include "SopSetHandler.h"
#include "WindowRig.h"

#include <QCheckBox>
#include <QClipboard>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include <cstdio>

namespace {

// A control as a person reads it: "~" before a greyed one, "[x]" or "[ ]" for a
// box, the text of an edit or a label, the item of a box, a slider's position.
QString Shows(std::initializer_list<const QWidget*> controls) {
    QStringList shown;
    for (const QWidget* w : controls) {
        QString text = w->isEnabled() ? "" : "~";
        if (auto* b = qobject_cast<const QAbstractButton*>(w))
            text += b->isChecked() ? "[x]" : "[ ]";
        if (auto* e = qobject_cast<const QLineEdit*>(w)) text += e->text();
        if (auto* l = qobject_cast<const QLabel*>(w)) text += l->text();
        if (auto* c = qobject_cast<const QComboBox*>(w)) text += c->currentText();
        if (auto* s = qobject_cast<const QSlider*>(w)) text += QString::number(s->sliderPosition());
        shown << text;
    }
    return shown.join(' ');
}

} // namespace

class AdvancedPagesTest : public QObject {
    Q_OBJECT
  private slots:
    // Each letter typed to a box, after a pause, starts a new search of its items.
    void initTestCase() { QApplication::setKeyboardInputInterval(0); }

    // Digits and '-' only, five characters at most in a power save edit; the
    // scan edits four characters, the power edits three with '-' only first;
    // the latency edit seven digits; the class of device edit hexadecimal.
    // Backspace and the keys that type nothing (Left) are the edit's own.
    void keyFilters() {
        PowerSavePage psPage;
        PsSettings ps;
        PsSetHandler psHandler(ps, &psPage);
        ps.sniffEnabled = ps.parkEnabled = 1;
        psHandler.UpdateControls();
        ScanPowerPage sopPage;
        SopSettings sop;
        SopSetHandler sopHandler(sop, &sopPage);
        sop.inquiryScanEnabled = sop.pageScanEnabled = 1;
        sopHandler.UpdateControls();
        OtherPage otherPage;
        OtherSettings other;
        OtherSetHandler otherHandler(other, &otherPage);
        other.qosSupported = other.manualClassOfDevice = 1;
        otherHandler.UpdateControls();
        const struct {
            QLineEdit* edit;
            const char *before, *keys, *shown;
        } rows[] = {
            {psPage.sniffMaxInt, "", "1a-2 .+x3", "1-23"},
            {psPage.parkBeaMin, "", "1234567", "12345"},
            {psPage.sniffMaxInt, "", "12345\b6\b\b-", "123-"},
            {psPage.parkBeaMin, "65535", "x-9", "65535"},
            {psPage.sniffMaxInt, "1234567", "\b\b8", "12345"},
            {psPage.sniffTimeout, "123", "\u2190\b", "13"},
            {sopPage.defaultTxPowerText, "", "-90", "-90"},
            {sopPage.maxTxPower, "", "1-2-", "12"},
            {sopPage.defaultTxPowerText, "", "-123", "-12"},
            {sopPage.maxTxPower, "", "a1 .+x", "1"},
            {sopPage.defaultTxPowerText, "", "-\b12\b-3", "13"},
            {sopPage.pageScanWind, "", "40961", "4096"},
            {sopPage.inqScanInt, "", "1-2-3", "1-2-"},
            {sopPage.pageScanWind, "", "4096\b5x", "4095"},
            {sopPage.inqScanWind, "4096", "\u2190\b", "406"},
            {otherPage.textQoSLatency, "", "1a2-3 4", "1234"},
            {otherPage.textQoSLatency, "", "123456789", "1234567"},
            {otherPage.textQoSLatency, "1234567", "\u2190\b", "123457"},
            {otherPage.codValueBox, "", "g2x0 041c-fF7", "20041cfF"},
        };
        for (const auto& row : rows) {
            row.edit->setText(row.before);
            row.edit->setFocus();
            row.edit->end(false);
            Keys(row.edit, row.keys);
            QCOMPARE(row.edit->objectName() + ": " + row.edit->text(),
                     row.edit->objectName() + ": " + row.shown);
        }
    }

    // Every filtered edit of the window with the characters it takes and how
    // many: keys that type nothing reach the edit as the window system sends
    // them (Delete "\x7f", Backspace "\b", Tab and Shift+Tab "\t"), a refused
    // character changes nothing, and a pasted text over a selection keeps only
    // the characters the edit takes, up to its length.
    void everyFilteredEdit() {
        QWidget window;
        auto* layout = new QHBoxLayout(&window);
        auto* psPage = new PowerSavePage;
        auto* sopPage = new ScanPowerPage;
        auto* otherPage = new OtherPage;
        auto* serialPage = new SerialPage;
        for (QWidget* page :
             std::initializer_list<QWidget*>{psPage, sopPage, otherPage, serialPage})
            layout->addWidget(page);
        PsSettings ps;
        ps.sniffEnabled = ps.parkEnabled = 1;
        PsSetHandler psHandler(ps, psPage);
        SopSettings sop;
        sop.inquiryScanEnabled = sop.pageScanEnabled = 1;
        SopSetHandler sopHandler(sop, sopPage);
        OtherSettings other;
        other.qosSupported = other.manualClassOfDevice = 1;
        OtherSetHandler otherHandler(other, otherPage);
        SerSettings serial;
        serial.userDefinedSupported = 1;
        SerSetHandler serialHandler(serial, serialPage);
        serialHandler.AdvancedSwitched(true);
        for (SettingsPage* h :
             std::initializer_list<SettingsPage*>{&psHandler, &sopHandler, &otherHandler})
            h->UpdateControls();
        window.show();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowActive(&window));

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

    // A read's values: a scan switched off greys its edits and shows them
    // empty; the power edits always take input. A person's clicks and typing
    // reach the group (switching a scan on shows the values held, switching it
    // off keeps them); values set by the program do not.
    void scanAndOutputPower() {
        ScanPowerPage page;
        SopSettings g;
        SopSetHandler handler(g, &page);
        const auto shows = [&] {
            return Shows({page.inqScanEnabled, page.inqScanInt, page.inqScanWind, page.pageScanBox,
                          page.pageScanInt, page.pageScanWind, page.maxTxPower,
                          page.defaultTxPowerText});
        };
        const auto held = [&] {
            return QString::asprintf("%d %d %d | %d %d %d | %d %d | %d", g.inquiryScanEnabled,
                                     g.inquiryScanInterval, g.inquiryScanWindow, g.pageScanEnabled,
                                     g.pageScanInterval, g.pageScanWindow, g.maxTxPowerValue,
                                     g.defaultTxPowerValue, g.changed);
        };
        g.inquiryScanEnabled = 1;
        g.inquiryScanInterval = 1000;
        g.inquiryScanWindow = 50;
        g.pageScanInterval = 800;
        g.pageScanWindow = 40;
        g.maxTxPowerValue = -30;
        g.defaultTxPowerValue = 7;
        handler.UpdateControls();
        QCOMPARE(shows(), QString("[x] 1000 50 [ ] ~ ~ -30 7"));
        page.inqScanEnabled->setChecked(false);
        page.inqScanInt->setText("9");
        QCOMPARE(held(), QString("1 1000 50 | 0 800 40 | -30 7 | 0"));
        handler.UpdateControls();
        const struct {
            QWidget* control;
            const char* keys; // nullptr: a click
            const char* held;
        } steps[] = {
            {page.pageScanBox, nullptr, "1 1000 50 | 1 800 40 | -30 7 | 1"},
            {page.pageScanInt, "99", "1 1000 50 | 1 99 40 | -30 7 | 1"},
            {page.inqScanWind, "", "1 1000 0 | 1 99 40 | -30 7 | 1"},
            {page.maxTxPower, "-12", "1 1000 0 | 1 99 40 | -12 7 | 1"},
            {page.inqScanEnabled, nullptr, "0 1000 0 | 1 99 40 | -12 7 | 1"},
        };
        for (const auto& s : steps) {
            if (s.keys)
                Type(static_cast<QLineEdit*>(s.control), s.keys);
            else
                Click(s.control);
            QCOMPARE(held(), QString(s.held));
        }
        QCOMPARE(shows(), QString("[ ] ~ ~ [x] 99 40 -12 7"));
    }

    // A read's values: a mode off greys its edits and shows them empty, a
    // maximum not known (-1) empties them. A text not a number counts as 0; a
    // mode switched off keeps its values and shows them again when switched on.
    void powerSave() {
        PowerSavePage page;
        PsSettings g;
        PsSetHandler handler(g, &page);
        const auto read = [&](const char* values) {
            std::sscanf(values, "s%hhu %d %d %d %d p%hhu %d %d", &g.sniffEnabled,
                        &g.sniffMaxInterval, &g.sniffMinInterval, &g.sniffAttempt, &g.sniffTimeout,
                        &g.parkEnabled, &g.beaconMaxInterval, &g.beaconMinInterval);
            handler.UpdateControls();
        };
        const auto shows = [&] {
            return Shows({page.sniffModeEnabled, page.sniffLabel1, page.sniffMaxInt,
                          page.sniffMinInt, page.sniffAttempt, page.sniffTimeout,
                          page.parkModeEnabled, page.parkModeLabel1, page.parkBeaMax,
                          page.parkBeaMin});
        };
        const auto held = [&] {
            return QString::asprintf("s%d %d %d %d %d p%d %d %d | %d", g.sniffEnabled,
                                     g.sniffMaxInterval, g.sniffMinInterval, g.sniffAttempt,
                                     g.sniffTimeout, g.parkEnabled, g.beaconMaxInterval,
                                     g.beaconMinInterval, g.changed);
        };
        const struct {
            const char *values, *shows;
        } reads[] = {
            {"s1 800 400 4 1 p1 300 200", "[x] Max interval (1-65535): 800 400 4 1 [x] Beacon max "
                                          "interval (1-65535): 300 200"},
            {"s1 -1 400 4 1 p0 300 200", "[x] Max interval (1-65535):     [ ] ~Beacon max "
                                         "interval (1-65535): ~ ~"},
        };
        for (const auto& r : reads) {
            read(r.values);
            QCOMPARE(shows(), QString(r.shows));
        }
        read("s1 11 12 13 14 p1 21 22");
        page.sniffMaxInt->setText("5");
        QCOMPARE(held(), QString("s1 11 12 13 14 p1 21 22 | 0"));
        const char* const typed[] = {"800", "400", "", "1", "300", "-"};
        const QList<QLineEdit*> edits = {page.sniffMaxInt,  page.sniffMinInt, page.sniffAttempt,
                                         page.sniffTimeout, page.parkBeaMax,  page.parkBeaMin};
        for (int i = 0; i < 6; ++i)
            Type(edits[i], typed[i]);
        QCOMPARE(held(), QString("s1 800 400 0 1 p1 300 0 | 1"));
        Click(page.sniffModeEnabled);
        QCOMPARE(held() + " / " + shows(),
                 QString("s0 800 400 0 1 p1 300 0 | 1 / [ ] ~Max interval (1-65535): ~ ~ ~ ~ [x] "
                         "Beacon max interval (1-65535): 300 0"));
        Click(page.sniffModeEnabled);
        QCOMPARE(shows(), QString("[x] Max interval (1-65535): 800 400 0 1 [x] Beacon max interval "
                                  "(1-65535): 300 0"));
    }

    // What the Other page shows for the group's values, and a person's changes
    // reaching the group: the class of device from its lists, serial emulation
    // (DTE when switched on without a type), the link time-out in seconds, the
    // quality of service and its latency.
    void other() {
        OtherPage page;
        OtherSettings g;
        OtherSetHandler handler(g, &page);
        g.emulationSupported = g.qosSupported = 1;
        g.throughputOptimised = g.emulationEnabled = g.linkTimeoutEnabled = 1;
        g.emulationType = 2;
        g.classOfDevice = 0x030428;
        g.linkTimeout = 4000;
        g.qosMode = 2;
        g.qosLatency = 5000;
        g.EditsAsShown();
        handler.UpdateControls();
        const auto shows = [&] {
            return Shows({page.optTp, page.codMajorService, page.codMajorDev, page.codMinorDev,
                          page.codValueBox, page.emuSerEnabled, page.emuSerChoose,
                          page.linkTimeoutEnabled, page.lstBar, page.lstValue, page.comboQoS,
                          page.textQoSLatency});
        };
        const auto held = [&] {
            return QString::asprintf("%d %d %d %x %d %d %d %d %d", g.throughputOptimised,
                                     g.emulationEnabled, g.emulationType, g.classOfDevice,
                                     g.linkTimeoutEnabled, g.linkTimeout, g.qosMode, g.qosLatency,
                                     g.changed);
        };
        QCOMPARE(shows(), QString("[x]  Audio/Video HiFi Audio Device ~00030428 [x] DCE [x] 3 3 "
                                  "sec Guaranteed 5000"));
        const struct {
            QWidget* control;
            const char *keys, *held;
        } steps[] = {
            {page.optLa, " ", "0 1 2 30428 1 4000 2 5000 1"},
            {page.codMajorDev, "C", "0 1 2 30128 1 4000 2 5000 1"}, // Computer, minor bits kept
            {page.codMinorDev, "L", "0 1 2 3010c 1 4000 2 5000 1"}, // Laptop
            {page.emuSerEnabled, " ", "0 0 2 3010c 1 4000 2 5000 1"},
            {page.emuSerChoose, "D", "0 0 2 3010c 1 4000 2 5000 1"},
            {page.emuSerEnabled, " ", "0 1 2 3010c 1 4000 2 5000 1"},
            {page.lstBar, "\u21e5", "0 1 2 3010c 1 64000 2 5000 1"}, // End
            {page.lstBar, "\u21e4", "0 1 2 3010c 1 1600 2 5000 1"},  // Home: a second at least
            {page.linkTimeoutEnabled, " ", "0 1 2 3010c 0 1600 2 5000 1"},
            {page.comboQoS, "B", "0 1 2 3010c 0 1600 1 5000 1"},
            {page.textQoSLatency, "\b\b\b\b9", "0 1 2 3010c 0 1600 1 9 1"},
        };
        for (const auto& s : steps) {
            s.control->setFocus();
            Keys(s.control, s.keys);
            QTest::qWait(2);
            QCOMPARE(s.control->objectName() + ": " + held(),
                     s.control->objectName() + ": " + s.held);
        }
        QCOMPARE(shows(),
                 QString("[ ]  Computer Laptop ~0003010c [x] DCE [ ] ~1 ~1 sec Best effort 9"));
        // A module without a type: switching emulation on takes DTE.
        g.emulationType = 0;
        g.emulationEnabled = 0;
        handler.UpdateControls();
        Click(page.emuSerEnabled);
        QCOMPARE(g.emulationType, 1);
    }

    // The Audio page: a switched-off connection or a gain without its control
    // greys; ticking without a packet type chooses HV1, unticking keeps the type;
    // the sliders run upside down (further right is a higher gain, for the arrow
    // keys as for a click beside the handle); controls set by the program change
    // the page, never the group.
    void audio() {
        AudioPage page;
        ScoSettings g;
        ScoSetHandler handler(g, &page);
        page.resize(400, 300);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        const auto shows = [&] {
            return QString::asprintf("%d: %d %d %d %d | ", g.changed, g.scoEnabled, g.packetType,
                                     g.inputGain, g.outputGain) +
                   Shows({page.checkEnableSCO, page.comboSCOPacketType, page.labelInputGainValue,
                          page.labelInputGainMax, page.trackInputGain, page.labelOutputGainValue,
                          page.labelOutputGainMax, page.trackOutputGain});
        };
        const struct {
            bool enabled;
            int type, outputMax;
            const char* shows;
        } reads[] = {
            {true, 96, 0, "0: 1 96 3 9 | [x]  Input gain: 3 7 4 ~Output gain: N/A ~N/A ~0"},
            {false, 0, 15, "0: 0 0 3 9 | [ ] ~ ~Input gain: 3 ~7 ~4 ~Output gain: 9 ~15 ~6"},
        };
        for (const auto& r : reads) {
            g.scoEnabled = r.enabled;
            g.packetType = r.type;
            g.inputGainMax = 7;
            g.inputGain = 3;
            g.outputGainMax = r.outputMax;
            g.outputGain = 9;
            handler.UpdateControls();
            QCOMPARE(shows(), QString(r.shows));
        }
        const struct {
            QWidget* control;
            const char *keys, *shows; // no keys: a click at nine tenths of the slider
        } edits[] = {
            {page.checkEnableSCO, " ",
             "1: 1 32 3 9 | [x] HV1 Input gain: 3 7 4 Output gain: 9 15 6"},
            {page.comboSCOPacketType, "\u21e5",
             "1: 1 256 3 9 | [x] DV Input gain: 3 7 4 Output gain: 9 15 6"},
            {page.trackInputGain, "\u2190\u2190\u2192",
             "1: 1 256 2 9 | [x] DV Input gain: 2 7 5 Output gain: 9 15 6"},
            {page.trackInputGain, "",
             "1: 1 256 3 9 | [x] DV Input gain: 3 7 4 Output gain: 9 15 6"},
            {page.trackOutputGain, "\u2192\u2192\u2192",
             "1: 1 256 3 12 | [x] DV Input gain: 3 7 4 Output gain: 12 15 3"},
            {page.checkEnableSCO, " ",
             "1: 0 256 3 12 | [ ] ~DV ~Input gain: 3 ~7 ~4 ~Output gain: 12 ~15 ~3"},
        };
        for (const auto& e : edits) {
            g.changed = 0;
            e.control->setFocus();
            Keys(e.control, e.keys);
            if (!*e.keys)
                QTest::mouseClick(e.control, Qt::LeftButton, {},
                                  QPoint(e.control->width() * 9 / 10, e.control->height() / 2));
            QCOMPARE(shows(), QString(e.shows));
        }
        g.changed = 0;
        page.checkEnableSCO->setChecked(true);
        page.comboSCOPacketType->setCurrentIndex(0);
        page.trackInputGain->setValue(1);
        QCOMPARE(shows(),
                 QString("0: 0 256 3 12 | [x] ~HV1 ~Input gain: 3 ~7 ~1 ~Output gain: 12 ~15 ~3"));
    }
};

static const int registered =
    RegisterTest("AdvancedPagesTest", [] { return new AdvancedPagesTest; });
#include "AdvancedPagesTest.moc"
