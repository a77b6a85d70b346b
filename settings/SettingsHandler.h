// The contract every settings group's handler keeps. Operations return 1, or -1
// after the handler has shown its own error report.
#pragma once

#include "Reporting.h"

#include <cstdint>
#include <ostream>
#include <string>

class Communicator;
class QObject;

class SettingsHandler {
  public:
    virtual ~SettingsHandler() = default;

    int SetCommunicator(Communicator* c) {
        comm = c;
        return 1;
    }
    void SetErrorReport(ErrorReport* report) { errorReport = report; }
    void SetProgress(Progress* p) { progress = p; }

    virtual int Validate() = 0;
    virtual int ReadFromDevice() = 0;
    virtual int WriteToDevice() = 0;
    // Writes the group's section; lines end in "\n" (the file writer makes them CR LF).
    virtual int SaveToFile(std::ostream& out) = 0;
    // file: the whole configuration file's bytes.
    virtual int LoadFromFile(const std::string& file) = 0;
    virtual void UpdateControls() = 0;
    virtual void ControlChanged(QObject* control) = 0;

    uint8_t changed = 0;

  protected:
    // Input-error message: category "Invalid input value", code 0; returns -1.
    int ReportInputError(const QString& headline, const QString& rule, int32_t helpContext);
    // Communication-error message for a failed read (write = false) or write;
    // code is 0x100/0x200 + opcode (or the group's own exception); returns -1.
    int ReportCommError(bool write, uint32_t code, int32_t result);
    void StepProgress(bool repaint = false);
    void RaiseProgressMaximum(int by);

    Communicator* comm = nullptr;
    ErrorReport* errorReport = nullptr;
    Progress* progress = nullptr;
};
