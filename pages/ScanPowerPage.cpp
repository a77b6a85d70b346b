// SPDX-License-Identifier: Apache-2.0
#include "ScanPowerPage.h"

#include <algorithm>

ScanPowerPage::ScanPowerPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
    // The power edits line up with the scan edits above them.
    const int width =
        std::max(inqScanLabel1->sizeHint().width(), inqScanLabel3->sizeHint().width());
    for (QLabel* caption : {maxTxPowerCaption, defaultTxPowerCaption})
        caption->setMinimumWidth(width);
}
