// SPDX-License-Identifier: Apache-2.0
// The Audio settings page's controls, as the form lays them out.
#pragma once

#include "ui_AudioPage.h"

#include <QWidget>

class AudioPage : public QWidget, public Ui::AudioPage {
    Q_OBJECT
  public:
    explicit AudioPage(QWidget* parent = nullptr);
};
