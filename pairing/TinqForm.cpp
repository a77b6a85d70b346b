// SPDX-License-Identifier: Apache-2.0
#include "TinqForm.h"

#include "DeviceSearch.h"

#include <QTimer>

TinqForm::TinqForm(QWidget* parent) : QDialog(parent) {
    setupUi(this);
    DeviceSearch::ShapeList(DeviceList);
    DeviceSearch::SetMainButton(this, buttonOk);
    setWindowModality(Qt::ApplicationModal);
    inqTimer = new QTimer(this);
    inqTimer->setObjectName(QStringLiteral("inqTimer"));
    inqTimer->setInterval(600);

    connect(buttonStopSearch, &QPushButton::clicked, this, [this] { tag = 1; });
    connect(buttonSearchAgain, &QPushButton::clicked, this, [this] { tag = 2; });
    connect(buttonCancel, &QPushButton::clicked, this, [this] { tag = 3; });
    connect(DeviceList, &QTreeWidget::itemSelectionChanged, this, [this] { tag = 4; });
    connect(buttonOk, &QPushButton::clicked, this, [this] { tag = 5; });
}

void TinqForm::reject() {
    if (!closing) {
        tag = 3;
        return;
    }
    QDialog::reject();
}
