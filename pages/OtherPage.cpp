// SPDX-License-Identifier: Apache-2.0
#include "OtherPage.h"

#include "ClassOfDevice.h"

#include <QFontDatabase>

namespace {

void Fill(QComboBox* box, const std::vector<std::string>& items) {
    for (const std::string& item : items)
        box->addItem(QString::fromStdString(item));
}

} // namespace

OtherPage::OtherPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
    Fill(codMajorService, ClassOfDevice::ServiceItems());
    Fill(codMajorDev, ClassOfDevice::MajorItems());
    // The value's eight hexadecimal digits line up in a fixed-pitch font.
    codValueBox->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
}
