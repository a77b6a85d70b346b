// SPDX-License-Identifier: Apache-2.0
#include "AudioPage.h"

AudioPage::AudioPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
