// SPDX-License-Identifier: Apache-2.0
#include "ConnectingPage.h"

ConnectingPage::ConnectingPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
