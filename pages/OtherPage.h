// SPDX-License-Identifier: Apache-2.0
// The Other page's controls (page adv3), as the form lays them out; the Class
// of Device boxes hold the lists of settings/ClassOfDevice.
#pragma once

#include "ui_OtherPage.h"

#include <QWidget>

class OtherPage : public QWidget, public Ui::OtherPage {
    Q_OBJECT
  public:
    explicit OtherPage(QWidget* parent = nullptr);
};
