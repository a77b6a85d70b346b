// SPDX-License-Identifier: Apache-2.0
// The Endpoint page's controls, as the form lays them out.
#pragma once

#include "ui_EndpointPage.h"

#include <QWidget>

class EndpointPage : public QWidget, public Ui::EndpointPage {
    Q_OBJECT
  public:
    explicit EndpointPage(QWidget* parent = nullptr);
};
