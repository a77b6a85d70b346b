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

// Each scan as "on|off, its labels enabled (1) or not, its edits" ("~" after a
// disabled edit), then the power edits.
QString Shown(const SopSetHandler& h) {
    auto edit = [](QLineEdit* e) { return e->text() + (e->isEnabled() ? "" : "~"); };
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

// The six edits' states in the group (N number, E empty, X no number) and its
// changed flag.
QString States(SopSettings& g) {
    QString states;
    for (SopSettings::Edit e : SopSettings::kEdits)
        states += "NEX"[int(g.State(e))];
    return states + " " + QString::number(g.changed);
}

// "inquiry on interval window | page ... | max default", then States.
QString Held(SopSettings& g) {
    return QString::asprintf("%d %d %d | %d %d %d | %d %d ", g.inquiryScanEnabled,
                             g.inquiryScanInterval, g.inquiryScanWindow, g.pageScanEnabled,
                             g.pageScanInterval, g.pageScanWindow, g.maxTxPowerValue,
                             g.defaultTxPowerValue) +
           States(g);
}

// The person replaces the edit's text by typing; '\b' is Backspace.
void Type(QLineEdit* edit, const QString& keys) {
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, keys);
}

} // namespace

class ScanPowerPageTest : public QObject {
    Q_OBJECT

  private slots:
    // Every caption in the order on the page, a box with its help context; then
    // what the page shows of the values a read or a load left in the group.
    // Setting the controls changes nothing in the group (the changed flag stays
    // 0): only a person's clicks and typing reach it.
    void showsItsCaptionsAndTheHeldValues() {
        ScanPowerPage page;
        QStringList texts = {QString::number(HelpContext::Of(&page, -1))};
        for (QWidget* w : page.findChildren<QWidget*>())
            if (auto* box = qobject_cast<QGroupBox*>(w))
                texts << box->title() + " " + QString::number(HelpContext::Of(box, -1));
            else if (auto* check = qobject_cast<QCheckBox*>(w))
                texts << check->text();
            else if (auto* label = qobject_cast<QLabel*>(w))
                texts << label->text();
        QCOMPARE(texts.join(" | "),
                 "71 | Inquiry scan paramters (Used when endpoint) 72 | Inquiry scan enabled | "
                 "Time = value * 0,625ms | Scan interval (18-4096): | Scan window (18-4096): | "
                 "Page scan paramters (Used when endpoint) 73 | Page scan enabled | Time = value "
                 "* 0,625ms | Scan interval (18-4096): | Scan window (18-4096): | Power settings "
                 "74 | Max TX Power: | Default TX Power: | Range: -90 to 20 dBm");

        SopSettings group;
        SopSetHandler handler(group, &page);
        group.inquiryScanInterval = 1000;
        group.inquiryScanWindow = 50;
        group.pageScanInterval = 800;
        group.pageScanWindow = 40;
        group.maxTxPowerValue = -30;
        group.defaultTxPowerValue = 7;
        const struct {
            int inquiry, page;
            const char* seen;
        } rows[] = {
            {1, 0, "on 111 1000 50 | off 000 ~ ~ | -30 7 NNEENN 0"},
            {0, 1, "off 000 ~ ~ | on 111 800 40 | -30 7 EENNNN 0"},
            {0, 0, "off 000 ~ ~ | off 000 ~ ~ | -30 7 EEEENN 0"},
        };
        for (const auto& row : rows) {
            group.inquiryScanEnabled = row.inquiry;
            group.pageScanEnabled = row.page;
            group.maxTxPowerEdit = EditText::NotANumber; // shown again as a number
            handler.UpdateControls();
            QCOMPARE(Shown(handler) + " " + States(group), row.seen);
        }
        QCOMPARE(Held(group), "0 1000 50 | 0 800 40 | -30 7 EEEENN 0");
    }

    // Switching a scan on shows the values held (2048 and 18 before any read);
    // switching it off keeps them.
    void personsClicksAndTypingReachTheGroup() {
        ScanPowerPage page;
        SopSettings group;
        SopSetHandler handler(group, &page);
        SopSetHandler* h = &handler;
        const struct {
            QWidget* control;
            const char* keys; // nullptr: a click, and then what the page shows
            const char* seen;
        } rows[] = {
            {h->inqScanEnabled, nullptr, "on 111 2048 18 | off 000 ~ ~ | 0 0 NNEENN 1"},
            {h->inqScanInt, "1000", "1 1000 18 | 0 2048 18 | 0 0 NNEENN 1"},
            {h->inqScanWind, "40", "1 1000 40 | 0 2048 18 | 0 0 NNEENN 1"},
            {h->maxTxPower, "-12", "1 1000 40 | 0 2048 18 | -12 0 NNEENN 1"},
            {h->defaultTxPowerText, "-", "1 1000 40 | 0 2048 18 | -12 0 NNEENX 1"},
            {h->inqScanEnabled, nullptr, "off 000 ~ ~ | off 000 ~ ~ | -12 0 EEEENN 1"},
            {h->pageScanBox, nullptr, "off 000 ~ ~ | on 111 2048 18 | -12 0 EENNNN 1"},
            {h->pageScanInt, "99", "0 1000 40 | 1 99 18 | -12 0 EENNNN 1"},
            {h->pageScanWind, "", "0 1000 40 | 1 99 0 | -12 0 EENENN 1"},
            {h->inqScanEnabled, nullptr, "on 111 1000 40 | on 111 99 0 | -12 0 NNNNNN 1"},
        };
        for (const auto& row : rows) {
            if (row.keys)
                Type(static_cast<QLineEdit*>(row.control), row.keys);
            else
                static_cast<QCheckBox*>(row.control)->click();
            QCOMPARE(row.keys ? Held(group) : Shown(handler) + " " + States(group), row.seen);
        }
    }

    void keyFilters() {
        ScanPowerPage page;
        SopSettings group;
        SopSetHandler handler(group, &page);
        const struct {
            bool power;
            const char *keys, *shown;
        } rows[] = {
            {true, "-90", "-90"},     {true, "1-2-", "12"},     {true, "-123", "-12"},
            {true, "2048", "204"},    {true, "a1 .+x", "1"},    {true, "-\b12\b-3", "13"},
            {false, "40961", "4096"}, {false, "1-2-3", "1-2-"}, {false, "4096\b5x", "4095"},
        };
        group.pageScanEnabled = 1;
        handler.UpdateControls();
        for (const auto& row : rows) {
            QLineEdit* edit = row.power ? handler.defaultTxPowerText : handler.pageScanWind;
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
