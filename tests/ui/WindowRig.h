// A main window wired to a virtual module on a pseudo-terminal in this process:
// the start-up dialogs and questions are answered from queues, help and web
// requests are recorded, and every error report is read and closed.
#pragma once

#include "Desktop.h"
#include "GeneralPage.h"
#include "SerialPage.h"
#include "SimServer.h"
#include "TMainForm.h"

#include <QStringList>
#include <QTimer>
#include <deque>
#include <memory>
#include <optional>

// What an error report showed before the rig closed it.
struct ShownError {
    QString caption, headline, description;
};

class WindowRig {
  public:
    // simArgs: options of the virtual module, for example {"--fault", "silent:0x40"}.
    explicit WindowRig(const std::vector<std::string>& simArgs = {});
    ~WindowRig();

    SimServer sim;
    bool simStarted = false;
    std::unique_ptr<TMainForm> form;

    // Start-up answers: the chooser picks this port (0 = Cancel), with hardware
    // flow control ticked or not; the error dialogs press Retry (true) or Exit.
    std::deque<int> chooserPorts{1};
    bool hardwareFlow = false;
    std::deque<bool> openErrorRetries, connectErrorRetries;
    QList<int> chooserIndexesSeen;  // the chooser's selection each time it came up
    QList<QStringList> dialogLines; // the visible lines of each error dialog shown
    int openErrorsShown = 0, connectErrorsShown = 0;
    std::optional<int> quitStatus;

    // Questions asked, answered from the queue (else Ok / Yes).
    std::deque<Desktop::Answer> answers;
    QStringList questions;
    QStringList messages; // what the program told the person (warning boxes)
    QList<int> helpRequests;
    QStringList urlRequests;
    std::vector<ShownError> errors;

    // Shows the window and waits until the first read-all has finished.
    bool StartAndRead();
    // Shows the window and waits until the program asks to end (no module).
    bool StartUntilQuit();
    // The frames the module received, as "1c 00", in order.
    QStringList Received() const;
    void ClearTrace() { sim.ClearTrace(); }

  private:
    QTimer errorWatch;
};

// Types text into an edit as a person does, replacing what it holds.
void Type(QLineEdit* edit, const QString& text);

// "4e 56 4d": the bytes of a text as the trace writes them.
inline QString Hex(const QByteArray& text) {
    return QString::fromLatin1(text.toHex(' '));
}
