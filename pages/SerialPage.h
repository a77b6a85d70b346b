// SPDX-License-Identifier: Apache-2.0
// The Serial port page's controls, as the form lays them out.
#pragma once

#include "ui_SerialPage.h"

#include <QWidget>

class SerialPage : public QWidget, public Ui::SerialPage {
    Q_OBJECT
  public:
    explicit SerialPage(QWidget* parent = nullptr);
};
