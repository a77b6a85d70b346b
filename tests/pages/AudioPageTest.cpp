// The Audio settings page on its own: its captions, what it shows of the audio
// group's values after a read, which controls a switched-off connection or a
// missing gain control greys, and how a person's ticks, choices and slider
// moves reach the group while controls set from code never do.
#include "AudioPage.h"
#include "ScoSetHandler.h"

#include <QTest>

class AudioPageTest : public QObject {
    Q_OBJECT

    // "value label of maximum label at slider position", "(greyed)" when disabled.
    static QString Gain(const QSlider* t, const QLabel* v, const QLabel* lo, const QLabel* hi) {
        const int on = t->isEnabled() + v->isEnabled() + lo->isEnabled() + hi->isEnabled();
        const char* grey = on == 4 ? "" : on == 0 ? " (greyed)" : " (partly greyed)";
        return QString("%1 of %2 at %3%4")
            .arg(v->text(), hi->text())
            .arg(t->sliderPosition())
            .arg(grey);
    }

    // The group as "changed: enabled type", then the page as a person reads it.
    static QString Shows(const AudioPage& p, const ScoSettings& g) {
        const bool typeOn = p.comboSCOPacketType->isEnabled() && p.labelSCOPacketType->isEnabled();
        return QStringList{
            QString::asprintf("%d: %d %d", g.changed, g.scoEnabled, g.packetType),
            QString(p.checkEnableSCO->isChecked() ? "ticked " : "unticked ") +
                p.comboSCOPacketType->currentText() + (typeOn ? "" : " (greyed)"),
            Gain(p.trackInputGain, p.labelInputGainValue, p.labelInputGainMin, p.labelInputGainMax),
            Gain(p.trackOutputGain, p.labelOutputGainValue, p.labelOutputGainMin,
                 p.labelOutputGainMax)}
            .join(" | ");
    }

  private slots:
    void showsAReadAndTakesOnlyAPersonsEdits() {
        AudioPage page;
        QStringList seen{page.groupSCO1->title(), page.groupSCO2->title(),
                         page.checkEnableSCO->text(), page.labelSCOPacketType->text()};
        for (int i = 0; i < page.comboSCOPacketType->count(); ++i)
            seen << page.comboSCOPacketType->itemText(i);
        QCOMPARE(seen.join(" | "), "SCO Connection | Coded gain settings | Enable Audio (SCO) "
                                   "connection | SCO packet type: | HV1 | HV2 | HV3 | DV");

        ScoSettings group;
        ScoSetHandler handler(group, &page);
        QVERIFY(handler.Tab() == &page && &handler.Group() == &group);
        page.resize(400, 300);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));

        // Reads one after the other: nothing of the one before stays. A gain
        // without its control is greyed even with the connection on.
        const struct {
            bool enabled;
            int type, inputMax, outputMax; // input gain 3, output gain 9
            QString shows;
        } reads[] = {
            {true, 128, 7, 15,
             "0: 1 128 | ticked HV3 | Input gain: 3 of 7 at 4 | Output gain: 9 of 15 at 6"},
            {true, 96, 7, 0,
             "0: 1 96 | ticked  | Input gain: 3 of 7 at 4 | Output gain: N/A of N/A at 0 (greyed)"},
            {false, 0, 7, 15,
             "0: 0 0 | unticked  (greyed) | Input gain: 3 of 7 at 4 (greyed) | Output gain: 9 of "
             "15 at 6 (greyed)"},
        };
        for (const auto& r : reads) {
            group.scoEnabled = r.enabled;
            group.packetType = r.type;
            group.inputGainMax = r.inputMax;
            group.inputGain = 3;
            group.outputGainMax = r.outputMax;
            group.outputGain = 9;
            handler.UpdateControls();
            QCOMPARE(Shows(page, group), r.shows);
        }

        // A person's keys, one after the other from the last read. Ticking without a
        // packet type chooses HV1; unticking keeps the type. The sliders run upside
        // down: further right is a higher gain, for the arrow keys as for a click
        // beside the handle (no keys: a click at nine tenths of the slider).
        const struct {
            QWidget* control;
            const char* keys;
            QString shows;
        } edits[] = {
            {page.checkEnableSCO, "Space",
             "1: 1 32 | ticked HV1 | Input gain: 3 of 7 at 4 | Output gain: 9 of 15 at 6"},
            {page.comboSCOPacketType, "End",
             "1: 1 256 | ticked DV | Input gain: 3 of 7 at 4 | Output gain: 9 of 15 at 6"},
            {page.trackInputGain, "Left, Left, Right",
             "1: 1 256 | ticked DV | Input gain: 2 of 7 at 5 | Output gain: 9 of 15 at 6"},
            {page.trackInputGain, "",
             "1: 1 256 | ticked DV | Input gain: 3 of 7 at 4 | Output gain: 9 of 15 at 6"},
            {page.trackOutputGain, "Right, Right, Right",
             "1: 1 256 | ticked DV | Input gain: 3 of 7 at 4 | Output gain: 12 of 15 at 3"},
            {page.checkEnableSCO, "Space",
             "1: 0 256 | unticked DV (greyed) | Input gain: 3 of 7 at 4 (greyed) | Output gain: 12 "
             "of 15 at 3 (greyed)"},
            {page.checkEnableSCO, "Space",
             "1: 1 256 | ticked DV | Input gain: 3 of 7 at 4 | Output gain: 12 of 15 at 3"},
        };
        for (const auto& e : edits) {
            group.changed = 0;
            QTest::keySequence(e.control, QKeySequence(e.keys));
            if (!*e.keys)
                QTest::mouseClick(e.control, Qt::LeftButton, {},
                                  QPoint(e.control->width() * 9 / 10, e.control->height() / 2));
            QCOMPARE(Shows(page, group), e.shows);
        }

        // Controls set from code change the page, never the group.
        group.changed = 0;
        page.checkEnableSCO->setChecked(false);
        page.comboSCOPacketType->setCurrentIndex(0);
        page.trackInputGain->setValue(1);
        page.trackOutputGain->setValue(2);
        QCOMPARE(Shows(page, group),
                 "0: 1 256 | unticked HV1 | Input gain: 3 of 7 at 1 | Output gain: 12 of 15 at 2");
    }
};

QTEST_MAIN(AudioPageTest)
#include "AudioPageTest.moc"
