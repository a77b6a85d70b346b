// SPDX-License-Identifier: Apache-2.0
// The Power save page's controls, as the form lays them out.
#pragma once

#include "ui_PowerSavePage.h"

#include <QWidget>

class PowerSavePage : public QWidget, public Ui::PowerSavePage {
    Q_OBJECT
  public:
    explicit PowerSavePage(QWidget* parent = nullptr);
};
