// SPDX-License-Identifier: Apache-2.0
#include "PowerSavePage.h"

PowerSavePage::PowerSavePage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
