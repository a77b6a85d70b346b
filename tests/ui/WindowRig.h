// A main window wired to a virtual module on a pseudo-terminal in this process:
// the start-up dialogs, message boxes, help and web requests are answered or
// recorded here, and every error report that comes up is read and closed.
#pragma once

#include "Desktop.h"
#include "SimServer.h"
#include "TMainForm.h"

#include <QString>
#include <QStringList>
#include <QTimer>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What an error report showed before the rig closed it.
struct ShownError {
    QString caption;
    QString headline;
    QString description;
};

class WindowRig {
  public:
    // simArgs: options of the virtual module, for example {"--fault", "silent:0x40"}.
    explicit WindowRig(const std::vector<std::string>& simArgs = {});
    ~WindowRig();
    WindowRig(const WindowRig&) = delete;
    WindowRig& operator=(const WindowRig&) = delete;

    SimServer sim;
    bool simStarted = false;
    std::unique_ptr<TMainForm> form;

    // Start-up answers: the chooser picks this port (0 = Cancel); the error dialogs
    // press Retry or Exit.
    std::deque<int> chooserPorts{1};
    std::deque<bool> openErrorRetries;
    std::deque<bool> connectErrorRetries;
    int choosersShown = 0;
    int openErrorsShown = 0;
    int connectErrorsShown = 0;
    std::optional<int> quitStatus;

    // Message boxes: every question asked, answered from the queue (else Ok / Yes).
    std::deque<Desktop::Answer> answers;
    QStringList questions;
    std::vector<int> helpRequests;
    QStringList urlRequests;
    std::vector<ShownError> errors;

    // Shows the window and waits until the first read-all has finished.
    bool StartAndRead();
    // Shows the window and waits until the program asks to end (no module).
    bool StartUntilQuit();
    // Waits until the module has received a frame that starts with prefix.
    bool WaitForReceived(const std::string& prefix, int timeoutMs = 3000);
    // The frames the module received, as "1c 00", in order.
    std::vector<std::string> Received() const;
    void ClearTrace() { sim.ClearTrace(); }

  private:
    QTimer errorWatch;
};

// Waits (from inside the coming modal loop) for the next modal window, notes its
// caption and closes it; gives up after a few seconds.
void CloseNextModal(QString* caption);

// "4e 56 4d": the bytes of a text as the trace writes them.
std::string HexText(const std::string& text);
