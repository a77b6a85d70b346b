// The Other page on its own: what it shows for the group's values (and nothing
// reaching the group then), and a person's changes reaching the group through
// the key filters of the two edits.
#include "OtherPage.h"
#include "OtherSetHandler.h"

#include <QTest>

namespace {

QString On(const QWidget* w) {
    return w->isEnabled() ? "" : "~";
}

QString Shown(const QComboBox* box) {
    return On(box) +
           (box->currentIndex() >= 0 ? box->currentText() : "(" + box->placeholderText() + ")");
}

// The page as a person reads it; "~" before a greyed control, "(..)" no item
// chosen, "/n" the items of the minor box.
QString PageShows(const OtherPage& p) {
    QStringList shown{p.optTp->isChecked() ? "throughput" : "latency"};
    shown << Shown(p.codMajorService) << Shown(p.codMajorDev)
          << Shown(p.codMinorDev) + "/" + QString::number(p.codMinorDev->count()); // items
    shown << On(p.codValueBox) + p.codValueBox->text()
          << On(p.emuSerEnabled) + (p.emuSerEnabled->isChecked() ? "emulated" : "not")
          << Shown(p.emuSerChoose)
          << (p.linkTimeoutEnabled->isChecked() ? "link " : "no link ") + On(p.lstBar) +
                 QString::number(p.lstBar->value()) + " " + On(p.lstValue) + p.lstValue->text()
          << Shown(p.comboQoS) << On(p.textQoSLatency) + p.textQoSLatency->text();
    return shown.join(" | ");
}

// What the group holds: throughput, manual class, emulation and its type, class,
// link time-out on and its value, mode, latency and its edit, changed.
QString Held(const OtherSettings& g) {
    const char* edits[] = {"number", "empty", "nan"};
    return QString::asprintf("%d %d %d %d %x %d %d %d %d %s %d", g.throughputOptimised,
                             g.manualClassOfDevice, g.emulationEnabled, g.emulationType,
                             g.classOfDevice, g.linkTimeoutEnabled, g.linkTimeout, g.qosMode,
                             g.qosLatency, edits[int(g.latencyEdit)], g.changed);
}

// A person at the keyboard types `how` into the control: a space clicks a
// button, letters choose a box's item, "^" first selects the whole text of an
// edit; "End" and "Home" press those keys.
void Act(QWidget* control, QString how) {
    if (how.startsWith('^')) static_cast<QLineEdit*>(control)->selectAll();
    if (how == "End" || how == "Home")
        QTest::keyClick(control, how == "End" ? Qt::Key_End : Qt::Key_Home);
    else
        QTest::keyClicks(control, how.remove('^'), Qt::NoModifier, 2);
}

} // namespace

class OtherPageTest : public QObject {
    Q_OBJECT
    OtherPage* page = nullptr;
    OtherSettings* group = nullptr;
    OtherSetHandler* handler = nullptr;

  private slots:
    // Each letter, typed after a pause, starts a new search of a box's items.
    void initTestCase() { QApplication::setKeyboardInputInterval(0); }
    void init() {
        page = new OtherPage;
        group = new OtherSettings;
        handler = new OtherSetHandler(*group, page);
    }
    void cleanup() {
        delete page; // the handler with it
        delete group;
    }

    // Refreshed after each read, the page shows the group's values; the controls
    // set from code change nothing in the group.
    void showsTheHeldValues() {
        const std::tuple<int, int, int, int, uint32_t, int, int, int, int, int, const char*>
            rows[] = {
                {0, 0, 0, 0, 0x001F00, 0, 0, 19200, 0, 0,
                 "latency | Miscellaneous | Uncategorized | -/1 | ~00001F00 | ~not | ~() | "
                 "no link ~12 ~12 sec | ~Disabled | ~"},
                // Two service bits; 2.5 s.
                {1, 1, 1, 2, 0x030428, 0, 1, 4000, 2, 5000,
                 "throughput | (Unknown) | Audio/Video | HiFi Audio Device/17 | ~00030428 | "
                 "emulated | DCE | link 3 3 sec | Guaranteed | 5000"},
                // Values outside the lists; the latency shown is replaced.
                {1, 1, 1, 3, 0x400700, 1, 1, 65535, 3, 250,
                 "throughput | ~Telephony (Cordless, Modem, ...) | ~(Unknown) | ~(Unknown)/0 | "
                 "00400700 | emulated | () | link 40 41 sec | () | 250"},
                // No features; a latency of 0 shows nothing.
                {0, 0, 1, 1, 0x20057C, 0, 0, 1600, 1, 0,
                 "latency | Audio (Speaker, Microphone, ...) | Peripheral  | Keyboard/3 | "
                 "~0020057c | ~emulated | ~DTE | no link ~1 ~1 sec | ~Best effort | ~"},
            };
        for (const auto& [features, tp, emulation, type, cod, manual, link, timeout, mode, latency,
                          shows] : rows) {
            group->emulationSupported = group->qosSupported = uint8_t(features);
            group->throughputOptimised = uint8_t(tp);
            group->emulationEnabled = uint8_t(emulation);
            group->emulationType = type;
            group->classOfDevice = cod;
            group->manualClassOfDevice = uint8_t(manual);
            group->linkTimeoutEnabled = uint8_t(link);
            group->linkTimeout = timeout;
            group->qosMode = mode;
            group->qosLatency = latency;
            group->EditsAsShown();
            handler->UpdateControls();
            QCOMPARE(PageShows(*page), shows);
        }
        QCOMPARE(Held(*group), "0 0 1 1 20057c 0 1600 1 0 empty 0");
    }

    void personsChangesReachTheGroup() {
        group->emulationSupported = group->qosSupported = 1;
        group->linkTimeout = 0; // given up by a write
        handler->UpdateControls();
        const struct {
            QWidget* control;
            const char *how, *held, *shows = nullptr;
        } steps[] = {
            {page->optTp, " ", "1 0 0 0 1f00 0 0 0 0 empty 1"},
            {page->codMajorDev, "C", "1 0 0 0 100 0 0 0 0 empty 1"},       // Computer
            {page->codMinorDev, "L", "1 0 0 0 10c 0 0 0 0 empty 1"},       // Laptop
            {page->codMajorService, "N", "1 0 0 0 2010c 0 0 0 0 empty 1"}, // Networking
            {page->codMajorDev, "P", "1 0 0 0 2020c 0 0 0 0 empty 1",      // minor bits kept
             "throughput | Networking (LAN, Ad hoc, ...) | Phone | Smart phone/6 | ~0002020c | not "
             "| "
             "~() | no link ~0 ~0 sec | Disabled | "},
            {page->emuSerEnabled, " ", "1 0 1 1 2020c 0 0 0 0 empty 1"}, // DTE without a type
            {page->emuSerChoose, "D", "1 0 1 2 2020c 0 0 0 0 empty 1"},
            {page->linkTimeoutEnabled, " ", "1 0 1 2 2020c 1 1600 0 0 empty 1"}, // back from 0: 1 s
            {page->lstBar, "End", "1 0 1 2 2020c 1 64000 0 0 empty 1"},
            {page->lstBar, "Home", "1 0 1 2 2020c 1 1600 0 0 empty 1"}, // one second at least
            {page->comboQoS, "G", "1 0 1 2 2020c 1 1600 2 0 empty 1"},
            {page->textQoSLatency, "1a2-3 4", "1 0 1 2 2020c 1 1600 2 1234 number 1"},  // digits
            {page->textQoSLatency, "56789", "1 0 1 2 2020c 1 1600 2 1234567 number 1"}, // 7 at most
            {page->textQoSLatency, "^9", "1 0 1 2 2020c 1 1600 2 9 number 1"},
            {page->textQoSLatency, "\b", "1 0 1 2 2020c 1 1600 2 9 empty 1"}, // no number
            {page->checkManCod, " ", "1 1 1 2 2020c 1 1600 2 9 empty 1"},
            {page->codValueBox, "^g2x0 041c-ff7", "1 1 1 2 41cff 1 1600 2 9 empty 1"}, // hex, 8
            {page->codValueBox, "\b\b", "1 1 1 2 20041c 1 1600 2 9 empty 1"},
            {page->optLa, " ", "0 1 1 2 20041c 1 1600 2 9 empty 1",
             "latency | ~Audio (Speaker, Microphone, ...) | ~Audio/Video | ~Portable Audio/17 | "
             "20041c | emulated | DCE | link 1 1 sec | Guaranteed | "},
        };
        for (const auto& step : steps) {
            Act(step.control, step.how);
            QCOMPARE(Held(*group), step.held);
            if (step.shows) QCOMPARE(PageShows(*page), step.shows);
        }
    }
};

QTEST_MAIN(OtherPageTest)
#include "OtherPageTest.moc"
