// SPDX-License-Identifier: Apache-2.0
#include "PageLayout.h"

#include <QFormLayout>
#include <QList>
#include <QWidget>

#include <algorithm>

void PageLayout::AlignCaptions(std::initializer_list<QFormLayout*> forms) {
    QList<QWidget*> captions;
    for (QFormLayout* form : forms)
        for (int row = 0; row < form->rowCount(); ++row)
            if (QLayoutItem* item = form->itemAt(row, QFormLayout::LabelRole))
                if (item->widget() != nullptr) captions << item->widget();
    int width = 0;
    for (QWidget* caption : captions)
        width = std::max(width, caption->sizeHint().width());
    for (QWidget* caption : captions)
        caption->setMinimumWidth(width);
}
