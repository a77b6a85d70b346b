// What a settings handler needs from the window around it: the one error report
// dialog and the one progress dialog. The user interface implements both.
#pragma once

#include <QString>
#include <cstdint>

class ErrorReport {
  public:
    virtual ~ErrorReport() = default;

    QString category; // word after "Error - " in the caption
    QString headline; // the line shown as the error
    uint32_t errorCode =
        0; // 0 input error; 0x100 + opcode failed read; 0x200 + opcode failed write
    int32_t helpContext = 0; // topic of the offending control (input errors)

    virtual void ClearDescription() = 0;
    virtual void AddDescription(const QString& line) = 0;
    // Shows the report modally; returns when the person closes it.
    virtual void ShowModal() = 0;
};

class Progress {
  public:
    virtual ~Progress() = default;
    virtual void Step() = 0;               // position + 1
    virtual void RaiseMaximum(int by) = 0; // maximum + by
    virtual void Repaint() = 0;            // paint the bar at once
};
