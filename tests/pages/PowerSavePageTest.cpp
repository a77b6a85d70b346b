// The Power save page on its own: what it shows of the group, a person's
// clicks and typing reaching the group, and the key filter of the edits.
#include "PowerSavePage.h"
#include "PsSetHandler.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QtTest>

#include <cstdio>

namespace {

// The page, its group and the handler between them.
struct Rig {
    PowerSavePage page;
    PsSettings group;
    PsSetHandler handler{group, &page};
    QList<QLineEdit*> edits = page.findChildren<QLineEdit*>(); // in the order on the page

    // Values as a read leaves them, "s<on> max min attempt timeout p<on> max min".
    void Read(const char* values) {
        PsSettings& s = group;
        std::sscanf(values, "s%hhu %d %d %d %d p%hhu %d %d", &s.sniffEnabled, &s.sniffMaxInterval,
                    &s.sniffMinInterval, &s.sniffAttempt, &s.sniffTimeout, &s.parkEnabled,
                    &s.beaconMaxInterval, &s.beaconMinInterval);
        handler.UpdateControls();
    }

    // Each mode as "on|off, its labels enabled (1) or not, its edits" ("(off)"
    // after a disabled edit).
    QString Shown() const {
        QStringList modes;
        for (QGroupBox* box : {page.sniffBox, page.parkBox}) {
            QString text = box->findChild<QCheckBox*>()->isChecked() ? "on " : "off ";
            for (QLabel* l : box->findChildren<QLabel*>())
                text += l->isEnabled() ? '1' : '0';
            for (QLineEdit* e : box->findChildren<QLineEdit*>())
                text += " " + e->text() + (e->isEnabled() ? "" : "(off)");
            modes << text;
        }
        return modes.join(" | ");
    }

    // The group as "s<on> max min attempt timeout p<on> max min", what it holds
    // of each edit (N a number, E empty, ? not a number) and its changed flag.
    QString Held() const {
        const PsSettings& s = group;
        QString states;
        for (EditText t : {s.sniffMaxIntEdit, s.sniffMinIntEdit, s.sniffAttemptEdit,
                           s.sniffTimeoutEdit, s.parkBeaMaxEdit, s.parkBeaMinEdit})
            states += "NE?"[int(t)];
        return QString::asprintf("s%d %d %d %d %d p%d %d %d ", s.sniffEnabled, s.sniffMaxInterval,
                                 s.sniffMinInterval, s.sniffAttempt, s.sniffTimeout, s.parkEnabled,
                                 s.beaconMaxInterval, s.beaconMinInterval) +
               states + " " + QString::number(s.changed);
    }
};

// The person replaces the edit's text by typing; '\b' is Backspace.
void Type(QLineEdit* edit, const char* keys) {
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, keys);
}

} // namespace

class PowerSavePageTest : public QObject {
    Q_OBJECT
  private slots:
    // Every caption in the order on the page; the page, each box, check box
    // and edit with its help context.
    void captionsAndHelpContexts() {
        Rig r;
        QCOMPARE(r.handler.Tab(), static_cast<QWidget*>(&r.page));
        QStringList texts = {QString::number(HelpContext::Of(&r.page, -1))};
        for (QWidget* w : r.page.findChildren<QWidget*>()) {
            const QString help = " " + QString::number(HelpContext::Of(w, -1));
            if (auto* box = qobject_cast<QGroupBox*>(w)) texts << box->title() + help;
            if (auto* check = qobject_cast<QCheckBox*>(w)) texts << check->text() + help;
            if (auto* label = qobject_cast<QLabel*>(w)) texts << label->text();
            if (qobject_cast<QLineEdit*>(w)) texts << help;
        }
        QCOMPARE(texts.join("|"),
                 "81|Sniff mode 82|Sniff mode enabled 82|Max interval (1-65535):| 82|Min interval "
                 "(1-65535):| 82|Time = value * 0.625ms|Attempt (1-32767):| 82|Timeout "
                 "(0-32767):| 82|Time = (2*value-1) * 0.625ms|Park mode 83|Park mode enabled "
                 "83|Beacon max interval (1-65535):| 83|Beacon min interval (1-65535):| 83|Time = "
                 "value * 0.625ms");
    }

    // What the page shows after a read: a mode off greys its edits and shows
    // them empty, a maximum not known empties them; the edit states follow.
    // Controls set from code (check boxes and texts alike) leave the group
    // unchanged: only a person's clicks and typing reach it.
    void showsTheHeldValues() {
        Rig r;
        const struct {
            const char *values, *seen;
        } rows[] = {
            {"s1 800 400 4 1 p1 300 200", "on 111111 800 400 4 1 | on 111 300 200 / NNNNNN 0"},
            {"s1 -1 400 4 1 p0 300 200", "on 111111     | off 000 (off) (off) / EEEEEE 0"},
            {"s0 800 400 4 1 p1 -1 200",
             "off 000000 (off) (off) (off) (off) | on 111   / EEEEEE 0"},
        };
        for (const auto& row : rows) {
            r.group.sniffMaxIntEdit = r.group.parkBeaMinEdit = EditText::NotANumber;
            r.Read(row.values);
            QCOMPARE(r.Shown() + " / " + r.Held().section(' ', 8), row.seen);
        }
    }

    // A text not a number counts as 0; a mode switched off keeps its values
    // and shows them again when switched on.
    void personsClicksAndTypingReachTheGroup() {
        Rig r;
        r.Read("s1 11 12 13 14 p1 21 22");
        const char* const typed[] = {"800", "400", "4", "1", "300", "-"};
        for (int i = 0; i < 6; ++i)
            Type(r.edits[i], typed[i]);
        QCOMPARE(r.Held(), "s1 800 400 4 1 p1 300 0 NNNNN? 1");
        Type(r.handler.sniffAttempt, "");
        QCOMPARE(r.Held(), "s1 800 400 0 1 p1 300 0 NNENN? 1");
        r.group.changed = 0; // as a write-all leaves it: a click sets it again
        const struct {
            QCheckBox* box;
            const char* seen;
        } clicks[] = {
            {r.handler.sniffModeEnabled, "s0 800 400 0 1 p1 300 0 EEEENN 1 / off 000000 (off) "
                                         "(off) (off) (off) | on 111 300 0"},
            {r.handler.parkModeEnabled, "s0 800 400 0 1 p0 300 0 EEEEEE 1 / off 000000 (off) (off) "
                                        "(off) (off) | off 000 (off) (off)"},
            {r.handler.sniffModeEnabled,
             "s1 800 400 0 1 p0 300 0 NNNNEE 1 / on 111111 800 400 0 1 | off 000 (off) (off)"},
        };
        for (const auto& click : clicks) {
            click.box->click();
            QCOMPARE(r.Held() + " / " + r.Shown(), click.seen);
        }
    }

    // Digits, '-' and Backspace ('\b') only; an edit of five characters or more
    // takes only Backspace. Keys that type nothing are the edit's own.
    void keyFilter() {
        const struct {
            const char *before, *keys, *shown;
        } rows[] = {
            {"", "1a-2 .+x3", "1-23"}, {"", "1234567", "12345"},      {"", "12345\b6\b\b-", "123-"},
            {"65535", "x-9", "65535"}, {"1234567", "\b\b8", "12345"},
        };
        Rig r;
        r.Read("s1 800 400 4 1 p1 300 200");
        for (const auto& row : rows) {
            for (QLineEdit* edit : {r.handler.sniffMaxInt, r.handler.parkBeaMin}) {
                edit->setText(row.before);
                edit->end(false);
                QTest::keyClicks(edit, row.keys);
                QCOMPARE(edit->text(), row.shown);
                QTest::keyClick(edit, Qt::Key_Home);
                QTest::keyClick(edit, Qt::Key_Delete);
                QCOMPARE(edit->text(), QString(row.shown).mid(1));
            }
        }
    }
};

QTEST_MAIN(PowerSavePageTest)
#include "PowerSavePageTest.moc"
