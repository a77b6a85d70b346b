// SPDX-License-Identifier: Apache-2.0
// The main window's look before a change: the changes marked against the
// module, the review of every change with its undo, a file taken in part, and
// the search field. Each table is the compare dialog's, with its own buttons.
#include "TMainForm.h"

#include "ChangeMarks.h"
#include "CompareForm.h"
#include "ConfigFile.h"
#include "Desktop.h"
#include "SettingSearch.h"
#include "SettingsPage.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QPushButton>
#include <QTableWidget>

#include <string>
#include <vector>

void TMainForm::BuildReview(QBoxLayout* row) {
    changeMarks = new ChangeMarks(settings, PageControl1, pages);
    settingSearch = new SettingSearch(*changeMarks, PageControl1, row, this);
}

bool TMainForm::ReviewChanges() {
    if (!changeMarks->HasReference()) {
        Desktop::Tell(this, QStringLiteral("No module has been read yet, so there is nothing to "
                                           "review the values shown against."));
        return false;
    }
    TCompareForm form(this, QStringLiteral("Review changes"), QStringLiteral("Module"),
                      QStringLiteral("Now"));
    QPushButton* undo =
        form.buttonBox->addButton(QStringLiteral("Undo"), QDialogButtonBox::ActionRole);
    QPushButton* undoAll =
        form.buttonBox->addButton(QStringLiteral("Undo all"), QDialogButtonBox::ActionRole);
    undo->setObjectName(QStringLiteral("undoButton"));
    undoAll->setObjectName(QStringLiteral("undoAllButton"));
    // Return closes the list; undoing takes a deliberate press.
    for (QPushButton* button : {undo, undoAll})
        button->setAutoDefault(false);
    form.okButton->setDefault(true);
    const auto fill = [&] {
        const std::vector<SettingDifference> differences = changeMarks->Differences();
        form.Show(differences,
                  differences.empty()
                      ? QStringLiteral("The values shown are the module's, as read or written "
                                       "last.")
                      : QString("%1 settings differ from the module's, as read or written last. "
                                "Undo gives the rows selected the module's value again:")
                            .arg(differences.size()));
        // Nothing stays selected by its place: the next undo is chosen afresh.
        form.table->clearSelection();
        undo->setEnabled(false);
        undoAll->setEnabled(!differences.empty());
    };
    connect(form.table, &QTableWidget::itemSelectionChanged, &form,
            [&] { undo->setEnabled(!form.SelectedKeys().empty()); });
    connect(undo, &QPushButton::clicked, &form, [&] {
        changeMarks->Undo(form.SelectedKeys());
        fill();
        // The button is off now; the focus goes back to the rows, not on to "Undo all".
        form.table->setFocus(Qt::OtherFocusReason);
    });
    connect(undoAll, &QPushButton::clicked, &form, [&] {
        std::vector<std::string> keys;
        for (const SettingDifference& d : changeMarks->Differences())
            keys.push_back(d.key);
        changeMarks->Undo(keys);
        fill();
    });
    fill();
    ShowDifferences(form);
    return true;
}

bool TMainForm::LoadPartOfFile(const QString& fileName) {
    if (fileName.isEmpty()) return false;
    std::string bytes, error;
    if (!ConfigFile::ReadAll(QFile::encodeName(fileName).toStdString(), bytes, &error)) {
        Desktop::Tell(this, QString("The settings could not be loaded from \"%1\": %2.\n\n"
                                    "Nothing was changed.")
                                .arg(fileName, QString::fromLocal8Bit(error.c_str())));
        return false;
    }
    const std::vector<std::string> keys = FileSettingKeys(bytes);
    const std::vector<SettingDifference> differences =
        CompareSettings(settings.FileText(), bytes, keys);
    const QString name = QFileInfo(fileName).fileName();
    if (differences.empty()) {
        Desktop::Tell(this, keys.empty()
                                ? QString("\"%1\" holds no settings of a module.\n\nNothing was "
                                          "changed.")
                                      .arg(fileName)
                                : QString("The values shown equal all %1 settings of \"%2\": "
                                          "loading it changes nothing.")
                                      .arg(keys.size())
                                      .arg(name));
        return false;
    }
    TCompareForm form(this, QStringLiteral("Load part of a file"), QStringLiteral("Shown"),
                      QStringLiteral("File"));
    form.buttonBox->addButton(QDialogButtonBox::Cancel);
    form.okButton->setText(QStringLiteral("Load ticked"));
    form.Show(differences,
              QString("%1 of the %2 settings of \"%3\" differ from the values shown. Untick those "
                      "to keep as they are:")
                  .arg(differences.size())
                  .arg(keys.size())
                  .arg(name),
              true);
    ShowDifferences(form);
    const std::vector<std::string> ticked = form.TickedKeys();
    if (form.result() != QDialog::Accepted || ticked.empty()) return false;
    // The ticked lines alone, as the file has them, go through the load a
    // whole file goes through.
    std::string lines;
    for (const std::string& key : ticked) {
        std::string value;
        if (TakeConfigValue(key, bytes, value)) lines += key + ": " + value + "\n";
    }
    settings.LoadFile(lines);
    for (SettingsPage* page : pages)
        page->UpdateControls();
    changeMarks->Update();
    lastFileFolder = QFileInfo(fileName).absolutePath();
    return true;
}

void TMainForm::menuLoadPartClick() {
    LoadPartOfFile(OpenFileName(QStringLiteral("Load part of a file")));
}

void TMainForm::menuReviewChangesClick() {
    ReviewChanges();
}
