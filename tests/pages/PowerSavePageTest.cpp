// The Power save page on its own: what it shows of the group, a person's
// clicks and typing reaching the group, and the key filter of the edits.
#include "PowerSavePage.h"
#include "PsSetHandler.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QtTest>

namespace {

// Every edit's text, "(off)" after a disabled one, then what the group holds
// of each edit (E empty, N a number, ? not a number).
QString Shown(const PsSetHandler& h) {
    QStringList texts;
    for (QLineEdit* e :
         {h.sniffMaxInt, h.sniffMinInt, h.sniffAttempt, h.sniffTimeout, h.parkBeaMax, h.parkBeaMin})
        texts << e->text() + (e->isEnabled() ? "" : "(off)");
    QString states;
    for (EditText t : {h.group.sniffMaxIntEdit, h.group.sniffMinIntEdit, h.group.sniffAttemptEdit,
                       h.group.sniffTimeoutEdit, h.group.parkBeaMaxEdit, h.group.parkBeaMinEdit})
        states += t == EditText::Empty ? 'E' : t == EditText::Number ? 'N' : '?';
    return texts.join(" | ") + " " + states;
}

QString Held(const PsSettings& s) {
    return QString::asprintf("s%d %d %d %d %d p%d %d %d changed %d", s.sniffEnabled,
                             s.sniffMaxInterval, s.sniffMinInterval, s.sniffAttempt, s.sniffTimeout,
                             s.parkEnabled, s.beaconMaxInterval, s.beaconMinInterval, s.changed);
}

// The person replaces the edit's text by typing.
void Type(QLineEdit* edit, const QString& keys) {
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, keys);
}

} // namespace

class PowerSavePageTest : public QObject {
    Q_OBJECT

    PowerSavePage* page = nullptr;
    PsSettings* group = nullptr;
    PsSetHandler* handler = nullptr;

  private slots:
    void init() {
        page = new PowerSavePage;
        group = new PsSettings;
        handler = new PsSetHandler(*group, page);
    }
    void cleanup() {
        delete page; // the handler with it
        delete group;
    }

    void captionsAndHelpContexts() {
        QStringList texts;
        for (QLabel* l :
             {handler->sniffLabel1, handler->sniffLabel2, handler->sniffLabel3,
              handler->sniffLabel4, handler->sniffLabel5, handler->sniffLabel6,
              handler->parkModeLabel1, handler->parkModeLabel2, handler->parkModeLabel3})
            texts << l->text();
        texts << page->sniffBox->title() << handler->sniffModeEnabled->text()
              << page->parkBox->title() << handler->parkModeEnabled->text();
        QCOMPARE(texts.join(" | "),
                 "Max interval (1-65535): | Min interval (1-65535): | Attempt (1-32767): | "
                 "Timeout (0-32767): | Time = value * 0.625ms | Time = (2*value-1) * 0.625ms | "
                 "Beacon max interval (1-65535): | Beacon min interval (1-65535): | Time = value "
                 "* 0.625ms | Sniff mode | Sniff mode enabled | Park mode | Park mode enabled");
        QCOMPARE(HelpContext::Of(page, -1), 81);
        QCOMPARE(HelpContext::Of(handler->sniffModeEnabled, -1), 82);
        QCOMPARE(HelpContext::Of(handler->sniffTimeout, -1), 82);
        QCOMPARE(HelpContext::Of(handler->parkModeEnabled, -1), 83);
        QCOMPARE(HelpContext::Of(handler->parkBeaMin, -1), 83);
        QCOMPARE(handler->Tab(), static_cast<QWidget*>(page));
    }

    void showsTheHeldValues() {
        QCOMPARE(Shown(*handler), "(off) | (off) | (off) | (off) | (off) | (off) EEEEEE");
        group->sniffEnabled = group->parkEnabled = 1;
        group->sniffMaxInterval = 800;
        group->sniffMinInterval = 400;
        group->sniffAttempt = 4;
        group->sniffTimeout = 1;
        group->beaconMaxInterval = 300;
        group->beaconMinInterval = 200;
        handler->UpdateControls();
        QCOMPARE(Shown(*handler), "800 | 400 | 4 | 1 | 300 | 200 NNNNNN");
        QVERIFY(handler->sniffModeEnabled->isChecked() && handler->parkModeEnabled->isChecked());
        QVERIFY(handler->sniffLabel6->isEnabled() && handler->parkModeLabel3->isEnabled());
        // A maximum not known shows the mode's edits empty; a mode off shows them empty and greyed.
        group->sniffMaxInterval = -1;
        group->parkEnabled = 0;
        handler->UpdateControls();
        QCOMPARE(Shown(*handler), " |  |  |  | (off) | (off) EEEEEE");
        QVERIFY(!handler->parkModeEnabled->isChecked() && !handler->parkModeLabel1->isEnabled());
        QVERIFY(handler->sniffLabel1->isEnabled());
        QCOMPARE(Held(*group), "s1 -1 400 4 1 p0 300 200 changed 0");
    }

    void personsClicksAndTyping() {
        handler->sniffModeEnabled->click();
        QCOMPARE(Held(*group), "s1 -1 0 0 0 p0 -1 0 changed 1");
        QCOMPARE(Shown(*handler), " |  |  |  | (off) | (off) EEEEEE");
        Type(handler->sniffMaxInt, "800");
        Type(handler->sniffMinInt, "400");
        Type(handler->sniffAttempt, "4");
        Type(handler->sniffTimeout, "0");
        handler->parkModeEnabled->click();
        Type(handler->parkBeaMax, "300");
        Type(handler->parkBeaMin, "-");
        QCOMPARE(Held(*group), "s1 800 400 4 0 p1 300 0 changed 1");
        QCOMPARE(Shown(*handler), "800 | 400 | 4 | 0 | 300 | - NNNNN?");
        Failure failure;
        QCOMPARE(group->Validate(failure), -1);
        QCOMPARE(failure.description.at(0), "The field \"Beacon min interval\" must have a value "
                                            "between 1-65535 when park mode is enabled");
        Type(handler->parkBeaMin, "200");
        Type(handler->sniffAttempt, "");
        QCOMPARE(group->Validate(failure), -1);
        QCOMPARE(failure.description.at(0),
                 "The field \"Attempt\" must have a value when sniff mode is enabled");
        QCOMPARE(group->sniffAttempt, 0);

        // Switched off, a mode keeps its values and shows them again when switched on.
        handler->sniffModeEnabled->click();
        handler->parkModeEnabled->click();
        QCOMPARE(Shown(*handler), "(off) | (off) | (off) | (off) | (off) | (off) EEEEEE");
        QCOMPARE(group->Validate(failure), 1);
        handler->sniffModeEnabled->click();
        handler->parkModeEnabled->click();
        QCOMPARE(Shown(*handler), "800 | 400 | 0 | 0 | 300 | 200 NNNNNN");
        QCOMPARE(Held(*group), "s1 800 400 0 0 p1 300 200 changed 1");

        // An edit of a mode that is off leaves the mode's values.
        handler->parkModeEnabled->click();
        group->changed = 0;
        handler->parkBeaMax->setText("7");
        handler->ControlChanged(handler->parkBeaMax);
        QCOMPARE(Held(*group), "s1 800 400 0 0 p0 300 200 changed 1");
    }

    void controlsSetFromCodeLeaveTheGroup() {
        handler->sniffModeEnabled->setChecked(true);
        handler->parkModeEnabled->setChecked(true);
        handler->sniffMaxInt->setText("9");
        handler->parkBeaMin->setText("5");
        QCOMPARE(Held(*group), "s0 -1 0 0 0 p0 -1 0 changed 0");
    }

    // '\b' is Backspace.
    void keyFilter_data() {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("shown");
        QTest::newRow("digits and minus") << ""
                                          << "1a-2 .+x3"
                                          << "1-23";
        QTest::newRow("five at most") << ""
                                      << "1234567"
                                      << "12345";
        QTest::newRow("full takes backspace") << ""
                                              << "12345\b6\b\b-"
                                              << "123-";
        QTest::newRow("full drops all else") << "65535"
                                             << "x-9"
                                             << "65535";
        QTest::newRow("longer shown value") << "1234567"
                                            << "\b\b8"
                                            << "12345";
    }
    void keyFilter() {
        QFETCH(QString, before);
        QFETCH(QString, keys);
        QFETCH(QString, shown);
        group->sniffEnabled = group->parkEnabled = 1;
        handler->UpdateControls();
        for (QLineEdit* edit : {handler->sniffMaxInt, handler->parkBeaMin}) {
            edit->setText(before);
            edit->end(false);
            for (const QChar key : keys)
                if (key == '\b')
                    QTest::keyClick(edit, Qt::Key_Backspace);
                else
                    QTest::keyClicks(edit, QString(key));
            QCOMPARE(edit->text(), shown);
            // Keys that type nothing are the edit's own.
            QTest::keyClick(edit, Qt::Key_Home);
            QTest::keyClick(edit, Qt::Key_Delete);
            QCOMPARE(edit->text(), shown.mid(1));
        }
    }
};

QTEST_MAIN(PowerSavePageTest)
#include "PowerSavePageTest.moc"
