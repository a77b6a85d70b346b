// SPDX-License-Identifier: Apache-2.0
#include "CompareForm.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

QString Value(const std::string& text, bool present) {
    return present ? QString::fromLatin1(text.data(), int(text.size()))
                   : QStringLiteral("(not set)");
}

} // namespace

QStringList DifferenceRow(const SettingDifference& d) {
    return {QString::fromLatin1(d.key.data(), int(d.key.size())), Value(d.first, d.inFirst),
            Value(d.second, d.inSecond)};
}

TCompareForm::TCompareForm(QWidget* parent, const QString& caption, const QString& firstColumn,
                           const QString& secondColumn)
    : QDialog(parent) {
    setObjectName(QStringLiteral("CompareForm"));
    setWindowTitle(caption);
    auto* layout = new QVBoxLayout(this);
    summaryLabel = new QLabel(this);
    summaryLabel->setObjectName(QStringLiteral("summaryLabel"));
    summaryLabel->setWordWrap(true);
    layout->addWidget(summaryLabel);
    table = new QTableWidget(0, 3, this);
    table->setObjectName(QStringLiteral("table"));
    table->setHorizontalHeaderLabels({QStringLiteral("Setting"), firstColumn, secondColumn});
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Tab leaves the table for the buttons; the arrows move within it.
    table->setTabKeyNavigation(false);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setStretchLastSection(true);
    layout->addWidget(table, 1);
    buttonBox = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    okButton = buttonBox->button(QDialogButtonBox::Ok);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttonBox);
    resize(620, 360);
}

void TCompareForm::Show(const std::vector<SettingDifference>& differences, const QString& summary,
                        bool tickBoxes) {
    shown = differences;
    summaryLabel->setText(summary);
    table->setRowCount(int(differences.size()));
    for (int row = 0; row < int(differences.size()); ++row) {
        const QStringList cells = DifferenceRow(differences[size_t(row)]);
        for (int column = 0; column < cells.size(); ++column)
            table->setItem(row, column, new QTableWidgetItem(cells[column]));
        if (tickBoxes) {
            table->item(row, 0)->setFlags(table->item(row, 0)->flags() | Qt::ItemIsUserCheckable);
            table->item(row, 0)->setCheckState(Qt::Checked);
        }
    }
    table->resizeColumnsToContents();
    // Filled again while shown: the last column takes the width left once more.
    table->horizontalHeader()->setStretchLastSection(false);
    table->horizontalHeader()->setStretchLastSection(true);
    table->setVisible(!differences.empty());
}

std::vector<std::string> TCompareForm::TickedKeys() const {
    std::vector<std::string> keys;
    for (int row = 0; row < table->rowCount() && row < int(shown.size()); ++row)
        if (table->item(row, 0)->checkState() == Qt::Checked)
            keys.push_back(shown[size_t(row)].key);
    return keys;
}

std::vector<std::string> TCompareForm::SelectedKeys() const {
    std::vector<std::string> keys;
    for (int row = 0; row < table->rowCount() && row < int(shown.size()); ++row)
        if (table->item(row, 0)->isSelected()) keys.push_back(shown[size_t(row)].key);
    return keys;
}
