// SPDX-License-Identifier: Apache-2.0
// The differences between the settings the window shows and a configuration
// file (File > Compare with file...), or between what write-all sent and what
// the module holds afterwards, as a table a person can read.
#pragma once

#include "Compare.h"

#include <QDialog>
#include <vector>

class QDialogButtonBox;
class QLabel;
class QPushButton;
class QTableWidget;

class TCompareForm : public QDialog {
    Q_OBJECT
  public:
    // firstColumn / secondColumn: the headers of the two value columns.
    TCompareForm(QWidget* parent, const QString& caption, const QString& firstColumn,
                 const QString& secondColumn);

    // Fills the table; summary is the line above it. With tickBoxes, each row's
    // setting has a check box, ticked.
    void Show(const std::vector<SettingDifference>& differences, const QString& summary,
              bool tickBoxes = false);
    // The keys of the rows ticked, and of the rows selected.
    std::vector<std::string> TickedKeys() const;
    std::vector<std::string> SelectedKeys() const;

    QLabel* summaryLabel = nullptr;
    QTableWidget* table = nullptr; // setting, first value, second value
    QDialogButtonBox* buttonBox = nullptr;
    QPushButton* okButton = nullptr;

  private:
    std::vector<SettingDifference> shown;
};

// "Serial baudrate" | "38400" | "115200"; "(not set)" where a side lacks the line.
QStringList DifferenceRow(const SettingDifference& difference);
