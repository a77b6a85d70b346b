// SPDX-License-Identifier: Apache-2.0
#include "SerialPage.h"

#include <QFontDatabase>

SerialPage::SerialPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
    // The calculated speed is right-aligned in ten characters: a fixed-pitch
    // font keeps its digits where the format puts them.
    baudCap->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
}
