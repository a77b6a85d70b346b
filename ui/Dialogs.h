// SPDX-License-Identifier: Apache-2.0
// The small modal dialogs of the program: error report, progress, About, and the
// three start-up dialogs. Each start-up dialog hands its answer back in `tag`,
// set by the button that closes it.
#pragma once

#include "SettingsGroup.h"

#include <QDialog>
#include <QString>
#include <cstdint>

class QCheckBox;
class QComboBox;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

// The one dialog in which failures are reported.
class TErrorForm : public QDialog {
    Q_OBJECT
  public:
    explicit TErrorForm(QWidget* parent = nullptr);

    QString category; // word after "Error - " in the caption
    QString headline; // the line shown as the error
    // 0 input error; 0x100 + opcode failed read; 0x200 + opcode failed write
    uint32_t errorCode = 0;
    int32_t helpContext = 0; // topic of the offending control (input errors)

    void ClearDescription();
    void AddDescription(const QString& line);
    void ShowModal(); // FormShow, then exec()
    // Fills the fields and the description from a settings group's failure and
    // shows the report modally.
    void Report(const Failure& failure);

    // Builds the caption and headline from the fields (on showing).
    void FormShow();
    void OkButtonClick();
    // Opens help by error code (120 read, 121 write) or help context, then sets the code to 0.
    void HelpButtonClick();

    QLabel* Label1 = nullptr;     // "Error: "
    QLabel* LabelError = nullptr; // the headline, bold
    QLabel* Label3 = nullptr;     // "Description:"
    QPlainTextEdit* Description = nullptr;
    QLabel* Image1 = nullptr;
    QPushButton* OkButton = nullptr;
    QPushButton* HelpButton = nullptr;
};

// Shows how far a read-all or write-all has come; shown without blocking.
class TProgForm : public QDialog, public Progress {
    Q_OBJECT
  public:
    explicit TProgForm(QWidget* parent = nullptr);

    // Centres the dialog on its main window, shows it and paints it at once
    // (device exchanges block the event loop, so nothing else would paint it).
    void ShowCentred();
    void Step() override; // also paints the new position
    void RaiseMaximum(int by) override;
    void Repaint() override;

    QLabel* Label1 = nullptr;
    QProgressBar* bar = nullptr;
};

class TaboutForm : public QDialog {
    Q_OBJECT
  public:
    explicit TaboutForm(QWidget* parent = nullptr);
    void OKButtonClick();
    void CommentsClick(); // opens the maker's web address

    QLabel* ProductName = nullptr;
    QLabel* Version = nullptr;
    QLabel* Copyright = nullptr;
    QLabel* Comments = nullptr;
    QPushButton* OKButton = nullptr;
};

// Port chooser: tag = chosen port number (index + 1), or 0 for Cancel.
class TSerChooseForm : public QDialog {
    Q_OBJECT
  public:
    // Items "COM1".."COM20" and one item for port 21 (empty when it has no
    // device); where the port table has a device for port n, its path and what
    // the system knows of it are shown beside "COMn", else "no device".
    explicit TSerChooseForm(QWidget* parent = nullptr);
    int tag = 0;
    // What an item says of a device beside its path: "USB: product, maker" for
    // a USB adapter, "virtual line" for a pseudo-terminal, "serial port", or
    // "no device" when nothing is there.
    static QString DeviceText(const QString& path, const QString& product, const QString& maker,
                              bool usb, bool exists, bool pseudoTerminal);
    // The item text of port n, as the system now has the port table's devices.
    static QString ItemText(int n);
    QLabel* portDetails = nullptr; // the chosen entry's device, in full
    QComboBox* ComboBox1 = nullptr;
    QCheckBox* checkHWF = nullptr;
    QPushButton* Button1 = nullptr; // OK
    QPushButton* Button2 = nullptr; // Cancel
};

// Port could not be opened: Retry tag 0, Exit tag -1. Both error dialogs also
// offer the connection check of the port's device.
class TComOpenError : public QDialog {
    Q_OBJECT
  public:
    explicit TComOpenError(QWidget* parent = nullptr);
    // Adds the line that names the port's device and why it did not open, and
    // when the person may not use serial devices, what to do about it.
    void ShowReason(int port, const QString& device, const QString& reason, bool permission);
    int tag = 0;
    int port = 0; // the port that did not open
    QLabel* reasonLine = nullptr;
    QLabel* adviceLine = nullptr;
    QPushButton* RetryButton = nullptr;
    QPushButton* ExitButton = nullptr;
    QPushButton* checkButton = nullptr; // "Connection check...": why it does not open
};

// Module did not answer: Retry tag 1, Exit tag 0.
class TConnectErrorForm : public QDialog {
    Q_OBJECT
  public:
    explicit TConnectErrorForm(QWidget* parent = nullptr);
    int tag = 0;
    int port = 0; // the port on which no module answered
    QPushButton* RetryButton = nullptr;
    QPushButton* ExitButton = nullptr;
    QPushButton* checkButton = nullptr; // "Connection check...": why no module answers
};
