// The Audio settings page on its own: what it shows of the audio group's
// values, which controls a switched-off connection or a missing gain control
// greys, and how a person's ticks, choices and slider moves reach the group
// while a refresh from code never does.
#include "AudioPage.h"
#include "ScoSetHandler.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSlider>
#include <QTest>

class AudioPageTest : public QObject {
    Q_OBJECT

    // "value label [min .. max label] position/maximum", "(greyed)" when disabled.
    static QString Gain(const QSlider* track, const QLabel* value, const QLabel* min,
                        const QLabel* max) {
        const int enabled =
            track->isEnabled() + value->isEnabled() + min->isEnabled() + max->isEnabled();
        return QString("%1 [%2 .. %3] %4/%5%6")
            .arg(value->text(), min->text(), max->text())
            .arg(track->sliderPosition())
            .arg(track->maximum())
            .arg(enabled == 4   ? ""
                 : enabled == 0 ? " (greyed)"
                                : " (partly greyed)");
    }

    // The page as a person reads it.
    static QString Shows(const AudioPage& p) {
        return QStringList{
            p.checkEnableSCO->isChecked() ? "ticked" : "unticked",
            p.comboSCOPacketType->currentText() +
                (p.comboSCOPacketType->isEnabled() && p.labelSCOPacketType->isEnabled()
                     ? ""
                     : " (greyed)"),
            Gain(p.trackInputGain, p.labelInputGainValue, p.labelInputGainMin, p.labelInputGainMax),
            Gain(p.trackOutputGain, p.labelOutputGainValue, p.labelOutputGainMin,
                 p.labelOutputGainMax)}
            .join(" | ");
    }

  private slots:
    void formHasTheCaptionsAndItems() {
        AudioPage page;
        QCOMPARE(page.groupSCO1->title(), "SCO Connection");
        QCOMPARE(page.groupSCO2->title(), "Coded gain settings");
        QCOMPARE(page.checkEnableSCO->text(), "Enable Audio (SCO) connection");
        QCOMPARE(page.labelSCOPacketType->text(), "SCO packet type:");
        QStringList items;
        for (int i = 0; i < page.comboSCOPacketType->count(); ++i)
            items << page.comboSCOPacketType->itemText(i);
        QCOMPARE(items, QStringList({"HV1", "HV2", "HV3", "DV"}));
    }

    void showsTheHeldValues_data() {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("inputMax");
        QTest::addColumn<int>("outputMax");
        QTest::addColumn<QString>("shows");
        QTest::newRow("start") << false << 0 << 0 << 0
                               << "unticked |  (greyed) | Input gain: N/A [0 .. N/A] 0/0 (greyed) "
                                  "| Output gain: N/A [0 .. N/A] 0/0 (greyed)";
        QTest::newRow("enabled") << true << 128 << 7 << 15
                                 << "ticked | HV3 | Input gain: 3 [0 .. 7] 4/7 | "
                                    "Output gain: 9 [0 .. 15] 6/15";
        QTest::newRow("off") << false << 256 << 7 << 15
                             << "unticked | DV (greyed) | Input gain: 3 [0 .. 7] 4/7 (greyed) | "
                                "Output gain: 9 [0 .. 15] 6/15 (greyed)";
        QTest::newRow("no output gain, type outside the list")
            << true << 96 << 7 << 0
            << "ticked |  | Input gain: 3 [0 .. 7] 4/7 | Output gain: N/A [0 .. N/A] 0/0 (greyed)";
    }
    void showsTheHeldValues() {
        QFETCH(bool, enabled);
        QFETCH(int, type);
        QFETCH(int, inputMax);
        QFETCH(int, outputMax);
        AudioPage page;
        ScoSettings group;
        ScoSetHandler handler(group, &page);
        QCOMPARE(handler.Tab(), &page);
        QCOMPARE(&handler.Group(), &group);
        group.scoEnabled = enabled;
        group.packetType = type;
        group.inputGainMax = inputMax;
        group.inputGain = 3;
        group.outputGainMax = outputMax;
        group.outputGain = 9;
        handler.UpdateControls();
        QTEST(Shows(page), "shows");
        QCOMPARE(group.changed, uint8_t(0));
    }

    void aPersonsChoicesReachTheGroup() {
        AudioPage page;
        ScoSettings group;
        group.inputGainMax = 7;
        group.inputGain = 2;
        group.outputGainMax = 15;
        group.outputGain = 10;
        ScoSetHandler handler(group, &page);

        // Ticking without a packet type chooses HV1 and brings the controls back.
        page.checkEnableSCO->click();
        QCOMPARE(group.changed, uint8_t(1));
        QCOMPARE(group.scoEnabled, true);
        QCOMPARE(group.packetType, 32);
        QCOMPARE(Shows(page),
                 "ticked | HV1 | Input gain: 2 [0 .. 7] 5/7 | Output gain: 10 [0 .. 15] 5/15");

        group.changed = 0;
        page.comboSCOPacketType->setCurrentIndex(3);
        emit page.comboSCOPacketType->activated(3);
        QCOMPARE(group.packetType, 256);
        QCOMPARE(group.changed, uint8_t(1));

        // The sliders run upside down: further right is a higher gain, for a
        // click beside the handle as for the arrow keys.
        page.resize(400, 300);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        QTest::mouseClick(
            page.trackInputGain, Qt::LeftButton, {},
            QPoint(page.trackInputGain->width() * 9 / 10, page.trackInputGain->height() / 2));
        QCOMPARE(group.inputGain, 3);
        QTest::keyClick(page.trackInputGain, Qt::Key_Left);
        QTest::keyClick(page.trackInputGain, Qt::Key_Left);
        QCOMPARE(group.inputGain, 1);
        QTest::keyClick(page.trackInputGain, Qt::Key_Right);
        QCOMPARE(group.inputGain, 2);
        page.trackOutputGain->setSliderDown(true);
        page.trackOutputGain->setSliderPosition(1);
        page.trackOutputGain->setSliderDown(false);
        QCOMPARE(group.outputGain, 14);
        page.trackInputGain->triggerAction(QAbstractSlider::SliderToMinimum);
        QCOMPARE(group.inputGain, 7);
        QCOMPARE(Shows(page),
                 "ticked | DV | Input gain: 7 [0 .. 7] 0/7 | Output gain: 14 [0 .. 15] 1/15");

        // Unticking keeps the type, greys the rest; ticking again shows the type.
        page.checkEnableSCO->click();
        QCOMPARE(Shows(page), "unticked | DV (greyed) | Input gain: 7 [0 .. 7] 0/7 (greyed) | "
                              "Output gain: 14 [0 .. 15] 1/15 (greyed)");
        page.checkEnableSCO->click();
        QCOMPARE(page.comboSCOPacketType->currentText(), "DV");

        // A module without an output gain control: the gain held from before is not shown.
        group.outputGainMax = 0;
        handler.UpdateControls();
        QCOMPARE(Shows(page), "ticked | DV | Input gain: 7 [0 .. 7] 0/7 | "
                              "Output gain: N/A [0 .. N/A] 0/0 (greyed)");

        // Controls set from code leave the group alone.
        group.changed = 0;
        page.checkEnableSCO->setChecked(false);
        page.comboSCOPacketType->setCurrentIndex(0);
        page.trackInputGain->setValue(3);
        QCOMPARE(QString("%1 %2 %3 %4")
                     .arg(group.changed)
                     .arg(group.scoEnabled)
                     .arg(group.packetType)
                     .arg(group.inputGain),
                 "0 1 256 7");
    }
};

QTEST_MAIN(AudioPageTest)
#include "AudioPageTest.moc"
