// SPDX-License-Identifier: Apache-2.0
// The main window against a virtual module: write-all and read-all with the
// question before a read-all over edits, failed reads and writes, the closing
// question, help, and the progress dialog as it is painted.
#include "Dialogs.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

namespace {

const QString kProbe = "01 04 ff 00 55 aa";
const QString kChangedPrompt = "Configuration has changed\n\nChanges that has not been written "
                               "to device will be lost. Continue?";

// Calls back on one kind of event of one object.
class OnEvent : public QObject {
  public:
    OnEvent(QObject* target, QEvent::Type type, std::function<void()> action)
        : type(type), action(std::move(action)) {
        target->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == type) action();
        return false;
    }

  private:
    QEvent::Type type;
    std::function<void()> action;
};

} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
  private slots:
    // Write-all sends the names as far as the edits take them, with the
    // terminating zero. A read-all with nothing edited asks nothing and shows
    // what the module took; after an edit it asks, and Cancel keeps the edit
    // and sends nothing after the probe.
    void writeAllThenReadAll() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        rig.ClearTrace();
        const QString name(31, 'N');
        Type(f.generalPage->genDeviceName, name + "extra");
        Type(f.generalPage->genServName, "Serial service XYZ");
        f.writeConf->click();
        QCOMPARE(rig.Received().mid(0, 4), QStringList({"1d 20 " + Hex(name.toLatin1()) + " 00",
                                                        "1f 12 " + Hex("Serial service XY") + " 00",
                                                        "15 05 05 00 00 08 01", "d9 03 00 00 00"}));
        QVERIFY(rig.errors.empty());

        f.readConfig->click();
        QVERIFY(rig.questions.isEmpty());
        QCOMPARE(f.generalPage->genDeviceName->text() + " / " + f.generalPage->genServName->text(),
                 name + " / Serial service XY");
        Type(f.generalPage->genDeviceName, "Unsaved");
        rig.ClearTrace();
        rig.answers = {Desktop::Answer::Cancel};
        f.readConfig->click();
        QCOMPARE(rig.questions, QStringList({kChangedPrompt}));
        QCOMPARE(rig.Received(), QStringList({kProbe}));
        QCOMPARE(f.generalPage->genDeviceName->text(), QString("Unsaved"));
        f.readConfig->click(); // answered OK
        QCOMPARE(rig.questions.size(), 2);
        QCOMPARE(f.generalPage->genDeviceName->text(), name);
    }

    // A read-all that fails stops there with one report, the General group read
    // before the failure still showing; a write the module refuses stops
    // write-all on the page of its group. The caption names the command; Help
    // opens the read or write failure topic, then the topic of the failed group.
    void failedReadsAndWrites() {
        const QString read = "A communication error occured when reading information from the "
                             "device.\nThe reason was: ";
        const struct {
            const char* fault;
            QString caption, description;
            QString shows; // a read: the General page; a write: the page brought up
            QList<int> help;
            QStringList received;
        } rows[] = {
            {"status:0x14=255",
             "Error - communication (0x0114)",
             read + "Status error - Command error",
             "NVM-220 | 2007.01.13-01 | 3.02 | NVM220-302-A1 | 02 4e 56 4d 00 03 | "
             "Norvane NVM-220 | Serial Port",
             {120, 0},
             {kProbe, kProbe, "40 00", "41 00", "1c 00", "1e 00", "42 00", "14 00"}},
            {"silent:0x40",
             "Error - communication (0x0140)",
             read + "Communication timeout",
             " |  |  |  (greyed) |  |  | ",
             {120, 0},
             {kProbe, kProbe, "40 00"}},
            {"status:0x1d=254", "Error - communication (0x021d)", "", "generalTab", {121, 0}, {}},
            {"status:0x15=253", "Error - communication (0x0215)", "", "serialTab", {121, 0}, {}},
            {"status:0x13=254", "Error - communication (0x0213)", "", "endpointTab", {121, 0}, {}},
            {"status:0xc7=254", "Error - communication (0x02c7)", "", "adv1", {121, 711}, {}},
        };
        for (const auto& row : rows) {
            RowName name(row.fault);
            WindowRig rig({"--fault", row.fault});
            TMainForm& f = *rig.form;
            const bool reading = !row.received.isEmpty();
            QCOMPARE(rig.StartAndRead(), !reading);
            if (reading) {
                QTRY_VERIFY(f.readConfig->isEnabled());
                QCOMPARE(rig.errors.size(), size_t(1));
                QCOMPARE(rig.errors[0].headline, QString("Could not read parameter"));
                QCOMPARE(rig.errors[0].description, row.description);
                QCOMPARE(rig.Received(), row.received);
                QCOMPARE(GeneralShows(f), row.shows);
            } else {
                f.PageControl1->setCurrentWidget(f.conTab);
                f.writeConf->click();
                QCOMPARE(rig.errors.size(), size_t(1));
                QCOMPARE(f.PageControl1->currentWidget()->objectName(), row.shows);
                QVERIFY(f.PageControl1->isTabVisible(f.PageControl1->currentIndex()));
            }
            QCOMPARE(rig.errors[0].caption, row.caption);
            QCOMPARE(rig.errors[0].help, row.help);
            QVERIFY(!f.progForm->isVisible());
        }
    }

    // Closing tells the module (50 00); with edits it asks first, and Cancel keeps
    // the window open without a word to the module.
    void closingCheck() {
        for (const bool edited : {false, true}) {
            WindowRig rig;
            QVERIFY(rig.StartAndRead());
            TMainForm& f = *rig.form;
            rig.ClearTrace();
            if (edited) {
                Type(f.generalPage->genServName, "Edited");
                rig.answers = {Desktop::Answer::Cancel};
                f.menuFileExit->trigger();
                QVERIFY(f.isVisible());
                QTest::qWait(50);
                QVERIFY(rig.Received().isEmpty());
            }
            QVERIFY(f.close());
            QVERIFY(!f.isVisible());
            QCOMPARE(rig.questions,
                     edited ? QStringList({kChangedPrompt, kChangedPrompt}) : QStringList());
            QCOMPARE(rig.Received(), QStringList({"50 00"}));
        }
    }

    // F1 opens the focused control's topic (else the window's); the Help menu
    // opens the contents and the maker's site.
    void help() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QApplication::setActiveWindow(&f);
        QVERIFY(QTest::qWaitForWindowActive(&f));
        for (QWidget* control : {(QWidget*)f.generalPage->genDeviceName,
                                 (QWidget*)f.generalPage->genServName, (QWidget*)f.readConfig}) {
            control->setFocus();
            QTest::keyClick(control, Qt::Key_F1);
        }
        f.menuHelpShowHelp->trigger();
        f.menuHelpWebsite->trigger();
        QCOMPARE(rig.helpRequests, QList<int>({22, 23, 5, 0}));
        QCOMPARE(rig.urlRequests, QStringList({Desktop::kMakerAddress}));
    }

    // The progress dialog is painted when it comes up and at every step, one
    // place at a time up to its maximum, with its caption and text, centred on
    // the main window wherever that has moved to.
    void progressDialog() {
        WindowRig rig({"--profile", "code3-3.02"});
        TMainForm& f = *rig.form;
        struct Painted {
            QString caption, text;
            int maximum, value;
            QPoint offCentre;
        };
        QList<Painted> painted;
        OnEvent log(f.progForm, QEvent::Paint, [&] {
            const QPoint centre = f.progForm->frameGeometry().center();
            painted.append({f.progForm->windowTitle(), f.progForm->Label1->text(),
                            f.progForm->bar->maximum(), f.progForm->bar->value(),
                            centre - f.frameGeometry().center()});
        });
        QVERIFY(rig.StartAndRead());
        const QString reading = "Please wait, reading settings from device";
        const struct {
            QPushButton* button;
            QString caption, text;
            int maximum;
        } runs[] = {{nullptr, "Reading settings", reading, 20},
                    {f.writeConf, "Writing settings", "Please wait, writing settings to device", 9},
                    {f.readConfig, "Reading settings", reading, 20}};
        for (const auto& run : runs) {
            if (run.button != nullptr) {
                painted.clear();
                f.move(f.pos() + QPoint(170, 90));
                run.button->click();
            }
            QVERIFY(!painted.isEmpty());
            QList<int> values, expected;
            for (const Painted& p : painted) {
                QCOMPARE(p.caption + ": " + p.text, run.caption + ": " + run.text);
                QVERIFY2(qAbs(p.offCentre.x()) <= 3 && qAbs(p.offCentre.y()) <= 3,
                         qPrintable(run.caption));
                if (values.isEmpty() || values.last() != p.value) values << p.value;
            }
            for (int v = 0; v <= run.maximum; ++v)
                expected << v;
            QCOMPARE(values, expected);
        }
        QVERIFY(rig.errors.empty());
    }
};

static const int registered = RegisterTest("MainWindowTest", [] { return new MainWindowTest; });
#include "MainWindowTest.moc"
