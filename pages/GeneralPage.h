// SPDX-License-Identifier: Apache-2.0
// The General page's controls, as the form lays them out.
#pragma once

#include "ui_GeneralPage.h"

#include <QWidget>

class GeneralPage : public QWidget, public Ui::GeneralPage {
    Q_OBJECT
  public:
    explicit GeneralPage(QWidget* parent = nullptr);
};
