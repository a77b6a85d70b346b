// A Communicator on a virtual module served in this process, and a person who
// works the search and pairing windows step by step while their handler runs.
#pragma once

#include "Communicator.h"
#include "SimServer.h"
#include "mSerial.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimer>
#include <array>
#include <functional>
#include <string>
#include <vector>

class QLineEdit;
class QPushButton;
class QTreeWidget;

struct RemoteDeviceLine {
    std::array<uint8_t, 6> address;
    std::string name;
};

// Three remote devices, every byte different; the third name fills all 32 bytes.
extern const std::vector<RemoteDeviceLine> kDevices;

class PairingRig {
  public:
    // The module finds `devices`; simArgs are further nvmsim options.
    PairingRig(const std::vector<RemoteDeviceLine>& devices, std::vector<std::string> simArgs);
    ~PairingRig();

    QTemporaryDir dir;
    SimServer sim;
    mSerial port;
    Communicator comm;
    bool ready = false;

    // The frames the module received, as "60 06 0c 00 00 00 00 01", in order.
    QStringList Received() const;
};

// Works the windows from a timer, as a person does while the handler's loop runs:
// each step waits until its condition holds, then acts. A step that does not come
// within a few seconds is recorded in `failure`, and from then on the person
// cancels whatever window is up.
class Person : public QObject {
  public:
    Person();
    Person& Then(
        const QString& what, std::function<bool()> ready, std::function<void()> act = [] {});
    // Runs `run` (the handler's Execute) with the steps acting meanwhile.
    int Run(const std::function<int()>& run);
    bool AllDone() const { return next == steps.size(); }

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

// A person's mouse and keyboard.
void Click(QPushButton* button);
void ClickRow(QTreeWidget* list, int row);
void ClickEmptySpace(QTreeWidget* list);
void Type(QLineEdit* edit, const QString& text);
// "%02x %02x ..." of an address, as the windows and the trace show it.
QString Hex(const std::array<uint8_t, 6>& address);
QString Hex(const std::string& bytes);
