// The messages and progress steps that every settings handler shares, so that
// each rule lives in one place. A handler uses them like this:
//
//   Validate, one rule:
//     if (value is bad) return ReportInputError("headline", "rule text", helpContext);
//   ReadFromDevice, one command:
//     result = comm->GetSomething(value);
//     if (result != 0) return ReportCommError(false, 0x100 + opcode, result);
//     StepProgress();
//   WriteToDevice, one command:
//     result = comm->SetSomething(value);
//     if (result != 0) return ReportCommError(true, 0x200 + opcode, result);
//     StepProgress(true); // a write repaints the bar at once
#include "SettingsHandler.h"

#include "Communicator.h"

int SettingsHandler::ReportInputError(const QString& headline, const QString& rule,
                                      int32_t helpContext) {
    if (errorReport == nullptr) return -1;
    errorReport->category = QStringLiteral("Invalid input value");
    errorReport->headline = headline;
    errorReport->errorCode = 0;
    errorReport->helpContext = helpContext;
    errorReport->ClearDescription();
    errorReport->AddDescription(rule);
    errorReport->ShowModal();
    return -1;
}

int SettingsHandler::ReportCommError(bool write, uint32_t code, int32_t result) {
    if (errorReport == nullptr) return -1;
    errorReport->category = QStringLiteral("communication");
    errorReport->headline = write ? QStringLiteral("Could not write parameter")
                                  : QStringLiteral("Could not read parameter");
    errorReport->errorCode = code;
    errorReport->ClearDescription();
    errorReport->AddDescription(
        write ? QStringLiteral("A communication error occured when writing information to the "
                               "device.")
              : QStringLiteral("A communication error occured when reading information from the "
                               "device."));
    // Without a communicator there is no protocol text; the protocol's own
    // text for a result it does not know stands in.
    const std::string reason = comm != nullptr ? comm->GetErrorText(result) : "unknown error";
    errorReport->AddDescription(QStringLiteral("The reason was: ") +
                                QString::fromLatin1(reason.data(), int(reason.size())));
    errorReport->ShowModal();
    return -1;
}

void SettingsHandler::StepProgress(bool repaint) {
    if (progress == nullptr) return;
    progress->Step();
    if (repaint) progress->Repaint();
}

void SettingsHandler::RaiseProgressMaximum(int by) {
    if (progress != nullptr) progress->RaiseMaximum(by);
}
