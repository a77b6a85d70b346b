// SPDX-License-Identifier: Apache-2.0
// The connection check dialog: the checks btconf-cli doctor makes, run on a
// thread of their own for one port's device while the dialog stays alive, one
// row a check (OK, WARNING or FAILED, what was found) and the remedy below it.
#pragma once

#include "ConnectionCheck.h"

#include <QDialog>
#include <QString>
#include <functional>
#include <vector>

class QLabel;
class QPushButton;
class QThread;
class QTreeWidget;

class TConnCheckForm : public QDialog {
    Q_OBJECT
  public:
    // Checks `device`, the device of port `port`, as soon as the dialog is made.
    // The device must not be open in this program meanwhile.
    TConnCheckForm(QWidget* parent, int port, const QString& device);
    ~TConnCheckForm() override; // waits for a check still under way

    bool Done() const { return thread == nullptr; }
    // The rows as shown: "OK | can be opened", a remedy "   fix: ...".
    QStringList Lines() const;

    QLabel* deviceLine = nullptr;
    QLabel* summary = nullptr; // "Checking...", then whether a module answered
    QTreeWidget* checkList = nullptr;
    QPushButton* againButton = nullptr; // "Check again"
    QPushButton* closeButton = nullptr;

  signals:
    void Finished();

  private:
    void Start();
    void Show(const std::vector<cli::CheckResult>& checks);
    std::string device;
    QThread* thread = nullptr;
};

// Runs `work` on a thread of its own and returns when it has ended; the
// window's events are handled meanwhile (a modal dialog keeps input away).
void RunAside(const std::function<void()>& work);
