// SPDX-License-Identifier: Apache-2.0
#include "EndpointPage.h"

EndpointPage::EndpointPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
