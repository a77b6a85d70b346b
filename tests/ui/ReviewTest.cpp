// SPDX-License-Identifier: Apache-2.0
// What will change before it changes, through the window on a virtual module:
// the settings that differ from the module marked on their pages after an edit,
// a load and a write-all, the review of them with the undo of one row, a file
// loaded in part, and the search field.
#include "AccessKeys.h"
#include "ChangeMarks.h"
#include "CompareForm.h"
#include "OtherPage.h"
#include "PowerSavePage.h"
#include "SettingSearch.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>

namespace {

// The marks a person sees, "Tab*: label <Module: value>, ..." for each page with any.
QString Marks(const TMainForm& f) {
    QStringList pages;
    for (int i = 0; i < f.PageControl1->count(); ++i) {
        QStringList marked;
        for (QWidget* w : f.PageControl1->widget(i)->findChildren<QWidget*>()) {
            if (!w->font().bold() || w->toolTip().isEmpty()) continue;
            QString text = w->property("text").toString() + w->property("title").toString();
            marked << AccessKeys::Plain(text) + " <" + w->toolTip() + ">";
        }
        const QString tab = f.PageControl1->tabText(i);
        if (tab.endsWith('*') || !marked.isEmpty()) pages << tab + " " + marked.join(", ");
    }
    return pages.join(" | ");
}

// The rows of a table of differences, "key | first | second".
QStringList Rows(const TCompareForm& form) {
    QStringList rows;
    for (int row = 0; row < form.table->rowCount(); ++row)
        rows << form.table->item(row, 0)->text() + " | " + form.table->item(row, 1)->text() +
                    " | " + form.table->item(row, 2)->text();
    return rows;
}

} // namespace

class ReviewTest : public QObject {
    Q_OBJECT
  private slots:
    // Each step, then the marks the pages show and the rows of the table it
    // brought up (a review, a load in part) as they were when it was closed.
    void changesMarkedReviewedAndTakenInPart() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        f.menuShowAdvanced->trigger(); // answered Yes
        for (const std::string& key : FileSettingKeys(f.settings.FileText()))
            QVERIFY2(f.changeMarks->PlaceOf(key) != nullptr, key.c_str());
        QString file;
        f.seams.openFileName = [&] { return file; };
        QStringList rows;
        std::function<void(TCompareForm&)> act;
        f.seams.compare = [&](TCompareForm& form) {
            act(form);
            rows = Rows(form);
            form.okButton->click();
        };
        const QString fiveDifferences = TempFile(
            "Bluetooth Device Name: Five\r\nSerial parity: Even\r\nLink timeout value: 4800\r\n"
            "Class of device: 2360324\r\nPasskey: 1234\r\nSerial databits: 8\r\n");
        const struct {
            const char* name;
            std::function<void()> step;
            std::function<void(TCompareForm&)> act;
            QString marks;
            QStringList rows;
        } steps[] = {
            {"an edit",
             [&] { Type(f.generalPage->genDeviceName, "Bench 1"); },
             {},
             "General* Bluetooth name: <Module: Norvane NVM-220>",
             {}},
            {"a load",
             [&] {
                 file = TempFile("Serial parity: Odd\r\nPerformance optimazation: Latency\r\n");
                 f.menuLoadSettings->trigger();
             },
             {},
             "General* Bluetooth name: <Module: Norvane NVM-220> | Serial port* Parity: <Module: "
             "None> | Other* Performance optimization <Module: Throughput>",
             {}},
            {"undo of one row",
             [&] { f.menuReviewChanges->trigger(); },
             [&](TCompareForm& form) {
                 QCOMPARE(Rows(form),
                          QStringList({"Bluetooth Device Name | Norvane NVM-220 | Bench 1",
                                       "Serial parity | None | Odd",
                                       "Performance optimazation | Throughput | Latency"}));
                 form.table->selectRow(1);
                 form.findChild<QPushButton*>("undoButton")->click();
             },
             "General* Bluetooth name: <Module: Norvane NVM-220> | Other* Performance "
             "optimization <Module: Throughput>",
             {"Bluetooth Device Name | Norvane NVM-220 | Bench 1",
              "Performance optimazation | Throughput | Latency"}},
            {"a write-all", [&] { f.writeConf->click(); }, {}, "", {}},
            {"a load of two of five differences",
             [&] {
                 file = fiveDifferences;
                 f.menuLoadPart->trigger();
             },
             [&](TCompareForm& form) {
                 for (int row : {0, 2, 4})
                     form.table->item(row, 0)->setCheckState(Qt::Unchecked);
             },
             "Serial port* Parity: <Module: None> | Other* Class of Device value: <Module: 7936>",
             {"Bluetooth Device Name | Bench 1 | Five", "Serial parity | None | Even",
              "Passkey | 0000 | 1234", "Class of device | 7936 | 2360324",
              "Link timeout value | 32000 | 4800"}},
        };
        for (const auto& s : steps) {
            RowName name(s.name);
            rows.clear();
            act = s.act;
            s.step();
            QCOMPARE(Marks(f), s.marks);
            QCOMPARE(rows, s.rows);
        }
        QVERIFY(rig.errors.empty());

        // The search field: Ctrl+F, a word of the label or of the file key and
        // Return bring up the setting's page with its control focused; Escape
        // goes back to where the person was.
        QApplication::setActiveWindow(&f);
        QVERIFY(QTest::qWaitForWindowActive(&f));
        const struct {
            QString words;
            QWidget* control;
        } searches[] = {{"latency", f.otherPage->textQoSLatency},
                        // Sniff is off: its box, which switches it on.
                        {"sniff MAX", f.powerSavePage->sniffModeEnabled},
                        {"service", f.generalPage->genServName}};
        for (const auto& s : searches) {
            QTest::keyClick(&f, Qt::Key_F, Qt::ControlModifier);
            QCOMPARE(QApplication::focusWidget(), f.settingSearch->field);
            Keys(f.settingSearch->field, s.words + "\r");
            QCOMPARE(QApplication::focusWidget(), s.control);
            QVERIFY(f.PageControl1->currentWidget()->isAncestorOf(s.control));
        }
        QTest::keyClick(&f, Qt::Key_F, Qt::ControlModifier);
        Keys(f.settingSearch->field, "x");
        QTest::keyClick(f.settingSearch->field, Qt::Key_Escape);
        QCOMPARE(QApplication::focusWidget(), f.generalPage->genServName);
        QVERIFY(f.settingSearch->field->text().isEmpty());
    }
};

static const int registered = RegisterTest("ReviewTest", [] { return new ReviewTest; });
#include "ReviewTest.moc"
