// SPDX-License-Identifier: Apache-2.0
#include "PairForms.h"

#include "DeviceSearch.h"

#include <QKeyEvent>
#include <QTimer>

namespace {

QTimer* IdleTimer(QObject* form, const char* name, int interval) {
    auto* timer = new QTimer(form);
    timer->setObjectName(QString::fromLatin1(name));
    timer->setInterval(interval);
    return timer;
}

// Escape on a page whose loop would go on with the page hidden does nothing;
// otherwise it is the close box.
bool EscapeRefused(const QKeyEvent* event, bool closeBoxSetsACode) {
    return event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier &&
           !closeBoxSetsACode;
}

template <typename Form> void SetCode(Form* form, QPushButton* button, int code) {
    QObject::connect(button, &QPushButton::clicked, form, [form, code] { form->tag = code; });
}

} // namespace

TformPair1::TformPair1(QWidget* parent) : QDialog(parent) {
    setupUi(this);
    DeviceSearch::SetMainButton(this, buttonNext);
    connect(buttonNext, &QPushButton::clicked, this, [this] {
        if (!radioLocalPair->isChecked() && !radioRemotePair->isChecked()) return;
        tag = 1;
        close();
    });
    connect(buttonCancel, &QPushButton::clicked, this, [this] {
        tag = -1;
        close();
    });
}

void TformPair1::reject() {
    if (tag != 1) tag = -1;
    QDialog::reject();
}

TformPairLocal2::TformPairLocal2(QWidget* parent) : QDialog(parent) {
    setupUi(this);
    DeviceSearch::ShapeList(DeviceList);
    DeviceSearch::SetMainButton(this, buttonNext);
    setWindowModality(Qt::ApplicationModal);
    inqTimer = IdleTimer(this, "inqTimer", 600);
    SetCode(this, buttonStopSearch, 1);
    SetCode(this, buttonSearchAgain, 2);
    SetCode(this, buttonCancel, 3);
    connect(DeviceList, &QTreeWidget::itemSelectionChanged, this, [this] { tag = 4; });
    SetCode(this, buttonNext, 5);
    SetCode(this, buttonBack, 6);
}

void TformPairLocal2::reject() {
    if (tag == 0) {
        tag = 3;
        return;
    }
    QDialog::reject();
}

TformPairLocal3::TformPairLocal3(QWidget* parent) : QDialog(parent) {
    setupUi(this);
    DeviceSearch::SetMainButton(this, pairButton);
    setWindowModality(Qt::ApplicationModal);
    pairTimer = IdleTimer(this, "pairTimer", 500);
    SetCode(this, pairButton, 1);
    SetCode(this, backButton, 3);
    SetCode(this, cancelButton, 4);
    SetCode(this, finnishButton, 11);
}

void TformPairLocal3::reject() {
    if (tag == 9) {
        tag = 4;
        return;
    }
    QDialog::reject();
}

TformPairRemote2::TformPairRemote2(QWidget* parent) : QDialog(parent) {
    setupUi(this);
    DeviceSearch::SetMainButton(this, pairButton);
    setWindowModality(Qt::ApplicationModal);
    setWindowFlag(Qt::WindowStaysOnTopHint);
    pairTimer = IdleTimer(this, "pairTimer", 50);
    SetCode(this, backButton, 1);
    SetCode(this, pairButton, 2);
    SetCode(this, finnishButton, 3);
    SetCode(this, cancelButton, 4);
}

void TformPairRemote2::reject() {
    if (tag == 9) {
        tag = 4;
        return;
    }
    QDialog::reject();
}

void TformPairLocal2::keyPressEvent(QKeyEvent* event) {
    if (!EscapeRefused(event, tag == 0)) QDialog::keyPressEvent(event);
}

void TformPairLocal3::keyPressEvent(QKeyEvent* event) {
    if (!EscapeRefused(event, tag == 9)) QDialog::keyPressEvent(event);
}

void TformPairRemote2::keyPressEvent(QKeyEvent* event) {
    if (!EscapeRefused(event, tag == 9)) QDialog::keyPressEvent(event);
}
