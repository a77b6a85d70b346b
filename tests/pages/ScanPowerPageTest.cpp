// The Scan and Output power page on its own: what it shows of the group, a
// person's clicks and typing reaching the group, and the key filters.
#include "ScanPowerPage.h"
#include "SopSetHandler.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QtTest>

namespace {

// Each scan as "on|off, its labels enabled (1) or not, its edits" ("(off)"
// after a disabled edit), then the power edits.
QString Shown(const SopSetHandler& h) {
    auto edit = [](QLineEdit* e) { return e->text() + (e->isEnabled() ? "" : "(off)"); };
    auto scan = [&edit](QCheckBox* box, std::initializer_list<QLabel*> labels, QLineEdit* interval,
                        QLineEdit* window) {
        QString text = box->isChecked() ? "on " : "off ";
        for (QLabel* l : labels)
            text += l->isEnabled() ? '1' : '0';
        return text + " " + edit(interval) + " " + edit(window) + " | ";
    };
    return scan(h.inqScanEnabled, {h.inqScanLabel1, h.inqScanLabel2, h.inqScanLabel3}, h.inqScanInt,
                h.inqScanWind) +
           scan(h.pageScanBox, {h.pageScanLabel1, h.pageScanLabel2, h.pageScanLabel3},
                h.pageScanInt, h.pageScanWind) +
           edit(h.maxTxPower) + " " + edit(h.defaultTxPowerText);
}

// The group's values: "inquiry on interval window | page ... | max default | changed".
QString Held(const SopSettings& g) {
    return QString::asprintf("%d %d %d | %d %d %d | %d %d | %d", g.inquiryScanEnabled,
                             g.inquiryScanInterval, g.inquiryScanWindow, g.pageScanEnabled,
                             g.pageScanInterval, g.pageScanWindow, g.maxTxPowerValue,
                             g.defaultTxPowerValue, g.changed);
}

// The person replaces the edit's text by typing; '\b' is Backspace.
void Type(QLineEdit* edit, const QString& keys) {
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    for (const QChar key : keys)
        if (key == '\b')
            QTest::keyClick(edit, Qt::Key_Backspace);
        else
            QTest::keyClicks(edit, QString(key));
}

} // namespace

class ScanPowerPageTest : public QObject {
    Q_OBJECT

    ScanPowerPage* page = nullptr;
    SopSettings* group = nullptr;
    SopSetHandler* handler = nullptr;

  private slots:
    void init() {
        page = new ScanPowerPage;
        group = new SopSettings;
        handler = new SopSetHandler(*group, page);
        handler->UpdateControls();
    }
    void cleanup() {
        delete page; // the handler with it
        delete group;
    }

    void captionsAndHelpContexts() {
        QCOMPARE(page->inqScanGroup->title(), "Inquiry scan paramters (Used when endpoint)");
        QCOMPARE(page->pageScanGroup->title(), "Page scan paramters (Used when endpoint)");
        QCOMPARE(page->powerBox->title(), "Power settings");
        QStringList labels;
        for (QLabel* l :
             {handler->inqScanLabel1, handler->inqScanLabel2, handler->inqScanLabel3,
              handler->pageScanLabel1, handler->pageScanLabel2, handler->pageScanLabel3,
              page->maxTxPowerCaption, page->defaultTxPowerCaption, page->powerRangeLabel})
            labels << l->text();
        QCOMPARE(labels.join(" | "), "Scan interval (18-4096): | Time = value * 0,625ms | Scan "
                                     "window (18-4096): | Scan interval (18-4096): | Time = value "
                                     "* 0,625ms | Scan window (18-4096): | Max TX Power: | "
                                     "Default TX Power: | Range: -90 to 20 dBm");
        QCOMPARE(handler->inqScanEnabled->text(), "Inquiry scan enabled");
        QCOMPARE(handler->pageScanBox->text(), "Page scan enabled");
        QCOMPARE(HelpContext::Of(page, -1), 71);
        QCOMPARE(HelpContext::Of(handler->inqScanWind, -1), 72);
        QCOMPARE(HelpContext::Of(handler->pageScanBox, -1), 73);
        QCOMPARE(HelpContext::Of(handler->defaultTxPowerText, -1), 74);
        QCOMPARE(handler->Tab(), static_cast<QWidget*>(page));
    }

    void showsTheHeldValues() {
        QCOMPARE(Shown(*handler), "off 000 (off) (off) | off 000 (off) (off) | 0 0");
        group->inquiryScanEnabled = 1;
        group->inquiryScanInterval = 1000;
        group->inquiryScanWindow = 50;
        group->pageScanInterval = 800;
        group->Edited(SopSettings::Edit::MaxTxPower, "-"); // shown again as a number
        group->maxTxPowerValue = -30;                      // what the module answered a write with
        group->defaultTxPowerValue = 7;
        group->changed = 0;
        handler->UpdateControls();
        QCOMPARE(Shown(*handler), "on 111 1000 50 | off 000 (off) (off) | -30 7");
        QCOMPARE(group->maxTxPowerEdit, EditText::Number);
        group->inquiryScanEnabled = 0;
        group->pageScanEnabled = 1;
        handler->UpdateControls();
        QCOMPARE(Shown(*handler), "off 000 (off) (off) | on 111 800 18 | -30 7");
        QCOMPARE(Held(*group), "0 1000 50 | 1 800 18 | -30 7 | 0");
    }

    // Switching a scan on shows the values held (2048 and 18 before any read);
    // switching it off keeps them.
    void personsClicksAndTyping() {
        handler->inqScanEnabled->click();
        QCOMPARE(Held(*group), "1 2048 18 | 0 2048 18 | 0 0 | 1");
        QCOMPARE(Shown(*handler), "on 111 2048 18 | off 000 (off) (off) | 0 0");
        Type(handler->inqScanInt, "1000");
        Type(handler->inqScanWind, "40");
        Type(handler->maxTxPower, "-12");
        Type(handler->defaultTxPowerText, "5");
        handler->inqScanEnabled->click();
        QCOMPARE(Held(*group), "0 1000 40 | 0 2048 18 | -12 5 | 1");
        QCOMPARE(Shown(*handler), "off 000 (off) (off) | off 000 (off) (off) | -12 5");
        handler->pageScanBox->click();
        handler->inqScanEnabled->click();
        QCOMPARE(Shown(*handler), "on 111 1000 40 | on 111 2048 18 | -12 5");

        // What validation then sees of the edits.
        Failure failure;
        QCOMPARE(group->Validate(failure), 1);
        Type(handler->pageScanWind, "");
        QCOMPARE(group->Validate(failure), -1);
        QCOMPARE(failure.description.at(0), "The field \"Scan window\" must have a value when "
                                            "page scan is enabled");
        Type(handler->pageScanWind, "20");
        Type(handler->defaultTxPowerText, "-");
        QCOMPARE(group->Validate(failure), -1);
        QCOMPARE(failure.description.at(0), "The field \"Defualt TX Power\" has an invalid value");
        QCOMPARE(Held(*group), "1 1000 40 | 1 2048 20 | -12 0 | 1");
    }

    void controlsSetFromCodeLeaveTheGroup() {
        handler->inqScanEnabled->setChecked(true);
        handler->maxTxPower->setText("9");
        handler->pageScanInt->setText("100");
        QCOMPARE(Held(*group), "0 2048 18 | 0 2048 18 | 0 0 | 0");
    }

    void keyFilters() {
        const struct {
            bool power;
            const char *keys, *shown;
        } rows[] = {
            {true, "-90", "-90"},     {true, "1-2-", "12"},     {true, "-123", "-12"},
            {true, "2048", "204"},    {true, "a1 .+x", "1"},    {true, "-\b12\b-3", "13"},
            {false, "40961", "4096"}, {false, "1-2-3", "1-2-"}, {false, "4096\b5x", "4095"},
        };
        group->pageScanEnabled = 1;
        handler->UpdateControls();
        for (const auto& row : rows) {
            QLineEdit* edit = row.power ? handler->defaultTxPowerText : handler->pageScanWind;
            Type(edit, row.keys);
            QCOMPARE(edit->text(), row.shown);
            // Keys that type nothing are the edit's own.
            QTest::keyClick(edit, Qt::Key_Home);
            QTest::keyClick(edit, Qt::Key_Delete);
            QCOMPARE(edit->text(), QString(row.shown).mid(1));
        }
    }
};

QTEST_MAIN(ScanPowerPageTest)
#include "ScanPowerPageTest.moc"
