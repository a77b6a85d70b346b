// SPDX-License-Identifier: Apache-2.0
// The program's windows on a virtual module served on a pseudo-terminal in this
// process, and a person working them: the main window's start-up dialogs and
// questions are answered from queues, help and web requests are recorded, every
// error report is read, its Help pressed, and closed, and the person clicks and types with the
// mouse and keys the window system would deliver.
#pragma once

#include "Desktop.h"
#include "GeneralPage.h"
#include "SerialPage.h"
#include "SimServer.h"
#include "TMainForm.h"

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

class QLineEdit;
class QPushButton;
class QTreeWidget;

// What an error report showed, and the help topics its Help button opened.
struct ShownError {
    QString caption, headline, description;
    QList<int> help;
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
    // Puts a new virtual module with these options on the window's port in place
    // of the one before and reads it with read-all (the question it may ask
    // answered OK); false when that failed. Starts each row of a table afresh
    // without a new window.
    bool Plug(const std::vector<std::string>& simArgs);
    // The module on the port: the one plugged in last, else `sim`.
    SimServer& Module() { return plugged ? *plugged : sim; }
    // The frames the module received, as "1c 00", in order.
    QStringList Received();
    void ClearTrace() { Module().ClearTrace(); }

  private:
    std::unique_ptr<SimServer> plugged;
    QTimer errorWatch;
};

// Names the row of a table in the output when a check inside it fails:
// `RowName name(row.name);` at the top of the row's loop.
class RowName {
  public:
    explicit RowName(const QString& name) : name(name) {}
    ~RowName();

  private:
    QString name;
};

// The General page as a person reads it: "NVM-220 | 2007.01.13-01 | 3.02 |
// NVM220-302-A1 | 02 4e 56 4d 00 03 | name | service name", "(greyed)" after
// a disabled value.
QString GeneralShows(const TMainForm& f);

// A new file holding `text`, in a folder that lasts as long as the program.
QString TempFile(const QByteArray& text);
// Options giving the virtual module a file of its own, written with `text`:
// ModuleFile("--state", "device_mode 2\n") is {"--state", "/tmp/.../3"}.
std::vector<std::string> ModuleFile(const std::string& option, const QByteArray& text);
void WriteFile(const QString& path, const QByteArray& bytes);
QByteArray ReadFile(const QString& path);

// Works the windows from a timer, as a person does while a handler's loop runs:
// each step waits until its condition holds, then acts. A step that does not come
// within a few seconds is recorded in `failure`, and from then on the person
// cancels whatever window is up.
class Person : public QObject {
  public:
    Person();
    Person& Then(
        const QString& what, std::function<bool()> ready, std::function<void()> act = [] {});
    // Runs `run` (a handler's Execute, a button's click) with the steps acting meanwhile.
    int Run(const std::function<int()>& run);

    QString failure;

  private:
    struct Step {
        QString what;
        std::function<bool()> ready;
        std::function<void()> act;
    };
    void Poll();
    void Escape();
    std::vector<Step> steps;
    size_t next = 0;
    int waited = 0;
    QTimer timer;
};

// A person's mouse.
void Click(QWidget* button);
void ClickRow(QTreeWidget* list, int row);

// A person's keys, each pressed and released with the text the window system
// gives it: a character its own, '\b' Backspace, '\x7f' Delete, '\t' Tab, '\r'
// Return; the arrows and Home and End, which carry no text, are written
// "\u2190" (Left), "\u2192" (Right), "\u21e4" (Home) and "\u21e5" (End); "\u21b9"
// is Shift+Tab, sent to the widget that has the focus.
void Keys(QWidget* widget, const QString& keys);
// Replaces what an edit holds as a person does: selects it all, presses
// Backspace, and types `keys`.
void Type(QLineEdit* edit, const QString& keys);

// "4e 56 4d": bytes as the trace writes them.
QString Hex(const QByteArray& bytes);

// The test classes of window_tests, each registered by its file under its name.
int RegisterTest(const char* name, std::function<QObject*()> make);
