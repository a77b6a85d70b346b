// SPDX-License-Identifier: Apache-2.0
#include "GeneralPage.h"

#include "PageLayout.h"

GeneralPage::GeneralPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
    // One column of captions across both boxes, so the values line up.
    PageLayout::AlignCaptions({infoForm, namesForm});
}
