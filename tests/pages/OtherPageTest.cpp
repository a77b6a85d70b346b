// The Other page on its own: what it shows for the group's values, a person's
// changes reaching the group (and nothing else doing so), the Class of Device
// boxes following the value both ways, and the key filters of the two edits.
#include "OtherPage.h"
#include "OtherSetHandler.h"

#include <QTest>

namespace {

QString Shown(const QComboBox* box) {
    return box->currentIndex() >= 0 ? box->currentText() : "(" + box->placeholderText() + ")";
}

QString On(const QWidget* w) {
    return w->isEnabled() ? "" : "~";
}

// The page as a person reads it; "~" before a greyed control, "(..)" no item chosen.
QString PageShows(const OtherPage& p) {
    QStringList shown{p.optTp->isChecked() ? "throughput" : "latency"};
    for (const QComboBox* box : {p.codMajorService, p.codMajorDev, p.codMinorDev})
        shown << On(box) + Shown(box);
    shown << On(p.codValueBox) + p.codValueBox->text()
          << On(p.emuSerEnabled) + (p.emuSerEnabled->isChecked() ? "emulated" : "not")
          << On(p.emuSerChoose) + Shown(p.emuSerChoose)
          << (p.linkTimeoutEnabled->isChecked() ? "link " : "no link ") + On(p.lstBar) +
                 QString::number(p.lstBar->value()) + " " + On(p.lstValue) + p.lstValue->text()
          << On(p.comboQoS) + Shown(p.comboQoS) << On(p.textQoSLatency) + p.textQoSLatency->text();
    return shown.join(" | ");
}

// What the group holds, to see that nothing changed it.
QString Held(const OtherSettings& g) {
    return QString::asprintf("%d %d %d %d %x %d %d %d %d %d", g.throughputOptimised,
                             g.manualClassOfDevice, g.emulationEnabled, g.emulationType,
                             g.classOfDevice, g.linkTimeoutEnabled, g.linkTimeout, g.qosMode,
                             g.qosLatency, g.changed);
}

// A person chooses an item.
void Choose(QComboBox* box, int item) {
    box->setCurrentIndex(item);
    emit box->activated(item);
}

} // namespace

class OtherPageTest : public QObject {
    Q_OBJECT
    OtherPage* page = nullptr;
    OtherSettings* group = nullptr;
    OtherSetHandler* handler = nullptr;

  private slots:
    void init() {
        page = new OtherPage;
        group = new OtherSettings;
        handler = new OtherSetHandler(*group, page);
    }
    void cleanup() {
        delete page; // the handler with it
        delete group;
    }

    void showsEveryHeldValue() {
        QCOMPARE(PageShows(*page), "latency | Miscellaneous | Uncategorized | - | ~00001F00 | ~not "
                                   "| ~() | no link ~12 ~12 sec | ~Disabled | ~");
        group->emulationSupported = group->qosSupported = 1;
        group->throughputOptimised = group->emulationEnabled = group->linkTimeoutEnabled = 1;
        group->classOfDevice = 0x030428; // two service bits
        group->emulationType = 2;
        group->linkTimeout = 4000; // 2.5 s
        group->qosMode = 2;
        group->qosLatency = 5000;
        group->EditsAsShown();
        handler->UpdateControls();
        QCOMPARE(PageShows(*page), "throughput | (Unknown) | Audio/Video | HiFi Audio Device | "
                                   "~00030428 | emulated | DCE | link 3 3 sec | Guaranteed | 5000");
        group->qosLatency = 250; // a latency read or loaded replaces the one shown
        handler->UpdateControls();
        QCOMPARE(page->textQoSLatency->text(), "250");
        // Values outside the lists select nothing; a latency of 0 shows nothing.
        group->classOfDevice = 0x400700;
        group->emulationType = group->qosMode = 3;
        group->linkTimeout = 65535;
        group->qosLatency = 0;
        group->manualClassOfDevice = 1;
        group->EditsAsShown();
        handler->UpdateControls();
        QCOMPARE(PageShows(*page),
                 "throughput | ~Telephony (Cordless, Modem, ...) | ~(Unknown) | "
                 "~(Unknown) | 00400700 | emulated | () | link 40 41 sec | () | ");
        QCOMPARE(page->codMinorDev->count(), 0);
        QCOMPARE(group->changed, uint8_t(0));
    }

    void classBoxesBuildTheValue() {
        Choose(page->codMajorDev, 1);     // Computer
        Choose(page->codMinorDev, 3);     // Laptop
        Choose(page->codMajorService, 2); // Networking
        QCOMPARE(group->classOfDevice, 0x02010Cu);
        QCOMPARE(page->codValueBox->text(), "0002010c");
        // A new major class keeps the minor bits and shows them in its list.
        Choose(page->codMajorDev, 2);
        QCOMPARE(group->classOfDevice, 0x02020Cu);
        QCOMPARE(Shown(page->codMinorDev) + " of " + QString::number(page->codMinorDev->count()),
                 "Smart phone of 6");
        Choose(page->codMajorDev, 5);
        QCOMPARE(Shown(page->codMinorDev) + " " + page->codMinorDev->itemText(0),
                 "(Unknown) Keyboard");
        QCOMPARE(group->changed, uint8_t(1));
    }

    void typedClassMovesTheBoxes() {
        page->checkManCod->click();
        QCOMPARE(group->manualClassOfDevice, uint8_t(1));
        QVERIFY(page->codValueBox->isEnabled() && !page->codMajorDev->isEnabled());
        page->codValueBox->clear();
        QTest::keyClicks(page->codValueBox, "g2x0 041C-ff");
        QCOMPARE(page->codValueBox->text(), "20041Cff"); // 8 characters at most
        QCOMPARE(group->classOfDevice, 0x041CFFu);       // the low 24 bits
        page->codValueBox->clear();
        QTest::keyClicks(page->codValueBox, "20041c");
        QCOMPARE(PageShows(*page).section(" | ", 1, 3),
                 "~Audio (Speaker, Microphone, ...) | ~Audio/Video | ~Portable Audio");
        QTest::keyClick(page->codValueBox, Qt::Key_Backspace);
        QCOMPARE(group->classOfDevice, 0x20041u);
    }

    void switchesAndSliderReachTheGroup() {
        group->emulationSupported = group->qosSupported = 1;
        group->linkTimeout = 0; // given up by a write
        handler->UpdateControls();
        page->optTp->click();
        page->emuSerEnabled->click(); // without a type: DTE
        QCOMPARE(group->emulationType, 1);
        Choose(page->emuSerChoose, 1);
        page->linkTimeoutEnabled->click();
        QCOMPARE(group->linkTimeout, 1600);
        page->lstBar->setSliderPosition(0);
        emit page->lstBar->sliderMoved(0);
        QCOMPARE(group->linkTimeout * 100 + page->lstBar->value(), 1600 * 100 + 1);
        page->lstBar->triggerAction(QAbstractSlider::SliderToMaximum);
        QCOMPARE(group->linkTimeout, 64000);
        Choose(page->comboQoS, 1);
        QCOMPARE(PageShows(*page), "throughput | Miscellaneous | Uncategorized | - | ~00001F00 | "
                                   "emulated | DCE | link 40 40 sec | Best effort | ");
        QCOMPARE(Held(*group), "1 0 1 2 1f00 1 64000 1 0 1");
        page->optLa->click();
        page->emuSerEnabled->click();
        page->linkTimeoutEnabled->click();
        QCOMPARE(Held(*group), "0 0 0 2 1f00 0 64000 1 0 1");
        QVERIFY(!page->emuSerChoose->isEnabled() && !page->lstBar->isEnabled());
    }

    void latencyEditTakesDigitsUpToSeven() {
        group->qosSupported = 1;
        handler->UpdateControls();
        QTest::keyClicks(page->textQoSLatency, "1a2-3 4");
        QCOMPARE(page->textQoSLatency->text(), "1234");
        QCOMPARE(group->qosLatency, 1234);
        QVERIFY(group->latencyEdit == EditText::Number);
        QTest::keyClicks(page->textQoSLatency, "56789");
        QCOMPARE(page->textQoSLatency->text(), "1234567");
        page->textQoSLatency->selectAll(); // a typed digit replaces the selection
        QTest::keyClicks(page->textQoSLatency, "9");
        QCOMPARE(group->qosLatency, 9);
        QTest::keyClick(page->textQoSLatency, Qt::Key_Backspace);
        QVERIFY(group->latencyEdit == EditText::Empty);
        QCOMPARE(group->qosLatency, 9); // an empty edit has no number
        // A refresh shows the edit as the person left it.
        handler->UpdateControls();
        QCOMPARE(page->textQoSLatency->text(), "");
        QCOMPARE(group->changed, uint8_t(1));
    }

    void controlsSetFromCodeLeaveTheGroup() {
        group->emulationSupported = group->qosSupported = 1;
        handler->UpdateControls();
        const QString before = Held(*group);
        page->optTp->setChecked(true);
        page->codMajorDev->setCurrentIndex(1);
        page->codValueBox->setText("123456");
        page->emuSerEnabled->setChecked(true);
        page->emuSerChoose->setCurrentIndex(1);
        page->linkTimeoutEnabled->setChecked(true);
        page->lstBar->setValue(30);
        page->comboQoS->setCurrentIndex(2);
        page->textQoSLatency->setText("77");
        page->checkManCod->setChecked(true);
        QCOMPARE(Held(*group), before);
        QCOMPARE(before, "0 0 0 0 1f00 0 19200 0 0 0");
    }
};

QTEST_MAIN(OtherPageTest)
#include "OtherPageTest.moc"
