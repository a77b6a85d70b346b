// SPDX-License-Identifier: Apache-2.0
// The four windows of the pairing wizard. Each only records which button was
// pressed, in `tag`; PairHandler runs the pages and reacts to the codes.
#pragma once

#include "ui_TformPair1.h"
#include "ui_TformPairLocal2.h"
#include "ui_TformPairLocal3.h"
#include "ui_TformPairRemote2.h"

#include <QDialog>

class QTimer;

// Step 1: which side initiates. Next 1 (only with a radio checked), Cancel -1.
class TformPair1 : public QDialog, public Ui::TformPair1 {
    Q_OBJECT
  public:
    explicit TformPair1(QWidget* parent = nullptr);
    int tag = 0;
    // The close box and Escape give -1, unless Next already gave 1.
    void reject() override;
};

// Local step 2, the device search: stop search 1, search again 2, cancel 3,
// list selection 4, Next 5, Back 6.
class TformPairLocal2 : public QDialog, public Ui::TformPairLocal2 {
    Q_OBJECT
  public:
    explicit TformPairLocal2(QWidget* parent = nullptr);
    int tag = 0;
    QTimer* inqTimer = nullptr; // 600 ms, never started
    // The close box asks for a cancel (3) while no other code is set; otherwise
    // the window closes.
    void reject() override;

  protected:
    // Escape is the close box, but never hides the page while its loop runs on.
    void keyPressEvent(QKeyEvent* event) override;
};

// Local step 3, the pairing: Pair 1, Back 3, Cancel 4, Finish 11; the handler
// sets 9 (under way), 12 (Back waits for the abort), 13 (Cancel waits for it).
class TformPairLocal3 : public QDialog, public Ui::TformPairLocal3 {
    Q_OBJECT
  public:
    explicit TformPairLocal3(QWidget* parent = nullptr);
    int tag = 0;
    QTimer* pairTimer = nullptr; // 500 ms, never started
    // The close box acts as Cancel (4) while the code is 9; otherwise the window closes.
    void reject() override;

  protected:
    // Escape is the close box, but never hides the page while its loop runs on.
    void keyPressEvent(QKeyEvent* event) override;
};

// Remote step 2, waiting for the remote device: Back 1, Pair 2, Finish 3,
// Cancel 4; the handler sets 9 (waiting), 11 (Cancel waits for the abort),
// 12 (Back waits for it). Stays on top of other windows.
class TformPairRemote2 : public QDialog, public Ui::TformPairRemote2 {
    Q_OBJECT
  public:
    explicit TformPairRemote2(QWidget* parent = nullptr);
    int tag = 0;
    QTimer* pairTimer = nullptr; // 50 ms, never started
    // The close box acts as Cancel (4) while the code is 9; otherwise the window closes.
    void reject() override;

  protected:
    // Escape is the close box, but never hides the page while its loop runs on.
    void keyPressEvent(QKeyEvent* event) override;
};
