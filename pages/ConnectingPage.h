// SPDX-License-Identifier: Apache-2.0
// The Connecting page's controls, as the form lays them out.
#pragma once

#include "ui_ConnectingPage.h"

#include <QWidget>

class ConnectingPage : public QWidget, public Ui::ConnectingPage {
    Q_OBJECT
  public:
    explicit ConnectingPage(QWidget* parent = nullptr);
};
