// SPDX-License-Identifier: Apache-2.0
// The differences between the settings the window shows and a configuration
// file (File > Compare with file...), or between what write-all sent and what
// the module holds afterwards, as a table a person can read.
#pragma once

#include "Compare.h"

#include <QDialog>
#include <vector>

class QLabel;
class QPushButton;
class QTableWidget;

class TCompareForm : public QDialog {
    Q_OBJECT
  public:
    // firstColumn / secondColumn: the headers of the two value columns.
    TCompareForm(QWidget* parent, const QString& caption, const QString& firstColumn,
                 const QString& secondColumn);

    // Fills the table; summary is the line above it.
    void Show(const std::vector<SettingDifference>& differences, const QString& summary);

    QLabel* summaryLabel = nullptr;
    QTableWidget* table = nullptr; // setting, first value, second value
    QPushButton* okButton = nullptr;
};

// "Serial baudrate" | "38400" | "115200"; "(not set)" where a side lacks the line.
QStringList DifferenceRow(const SettingDifference& difference);
