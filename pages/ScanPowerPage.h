// SPDX-License-Identifier: Apache-2.0
// The Scan and Output power page's controls, as the form lays them out.
#pragma once

#include "ui_ScanPowerPage.h"

#include <QWidget>

class ScanPowerPage : public QWidget, public Ui::ScanPowerPage {
    Q_OBJECT
  public:
    explicit ScanPowerPage(QWidget* parent = nullptr);
};
