// SPDX-License-Identifier: Apache-2.0
// The device search dialog. It only records which button was pressed, in `tag`;
// InquiryHandler runs the search and reacts to the code.
#pragma once

#include "ui_TinqForm.h"

#include <QDialog>

class QTimer;

class TinqForm : public QDialog, public Ui::TinqForm {
    Q_OBJECT
  public:
    explicit TinqForm(QWidget* parent = nullptr);

    // Command code: 1 stop search, 2 search again, 3 cancel, 4 list selection, 5 OK.
    int tag = 0;
    // Set by the handler when it closes the dialog itself.
    bool closing = false;
    QTimer* inqTimer = nullptr; // 600 ms, never started

    // The close box and Escape: while the handler has not started closing, they
    // ask for a cancel (code 3) and the dialog stays.
    void reject() override;
};
