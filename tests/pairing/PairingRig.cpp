#include "PairingRig.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

const std::vector<RemoteDeviceLine> kDevices = {
    {{{0x3c, 0x4d, 0x5e, 0x6f, 0x70, 0x81}}, "Depot Scanner"},
    {{{0x92, 0xa3, 0xb4, 0xc5, 0xd6, 0xe7}}, "Bench Meter 7"},
    {{{0x0f, 0x1e, 0x2d, 0x3b, 0x4a, 0x59}}, "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345"},
};

namespace {
constexpr int kStepLimitMs = 8000;
constexpr int kPersonTickMs = 10;
} // namespace

PairingRig::PairingRig(const std::vector<RemoteDeviceLine>& devices,
                       std::vector<std::string> simArgs)
    : sim([&] {
          // With no devices of its own the test may give the module's --devices.
          if (devices.empty()) return simArgs;
          const QString path = dir.filePath("devices");
          QFile file(path);
          if (file.open(QIODevice::WriteOnly)) {
              file.write("# remote devices of the test\n");
              for (const RemoteDeviceLine& d : devices)
                  file.write((Hex(d.address) + "  ").toLatin1() + d.name.c_str() + "\n");
          }
          simArgs.insert(simArgs.end(), {"--devices", path.toStdString()});
          return simArgs;
      }()) {
    std::string error;
    if (!sim.Start(&error)) {
        qWarning("virtual module did not start: %s", error.c_str());
        return;
    }
    PortTable::Set({sim.DevicePath()});
    SetModuleLineSettings(port);
    port.port = 1;
    ready = port.Open() == 0;
    comm.SetSerialPort(&port);
    // As the program does: every poll lets the windows process their messages.
    comm.pump = [] { QCoreApplication::processEvents(); };
}

PairingRig::~PairingRig() {
    port.Close();
    sim.Stop();
}

QStringList PairingRig::Received() const {
    QStringList frames;
    for (const std::string& line : sim.TraceLines())
        if (line.compare(0, 5, "recv ") == 0) frames << QString::fromStdString(line.substr(5));
    return frames;
}

Person::Person() {
    timer.setInterval(kPersonTickMs);
    connect(&timer, &QTimer::timeout, this, [this] { Poll(); });
}

Person& Person::Then(const QString& what, std::function<bool()> ready, std::function<void()> act) {
    steps.push_back({what, std::move(ready), std::move(act)});
    return *this;
}

void Person::Poll() {
    if (!failure.isEmpty()) return Escape();
    if (next >= steps.size()) {
        // The last step is done, and the handler should have returned.
        waited += kPersonTickMs;
        if (waited > kStepLimitMs) failure = "still running after the last step";
        return;
    }
    Step& step = steps[next];
    if (step.ready()) {
        ++next;
        waited = 0;
        step.act();
        return;
    }
    waited += kPersonTickMs;
    if (waited > kStepLimitMs) {
        failure = "never came: " + step.what;
        next = steps.size();
    }
}

void Person::Escape() {
    // Cancel whatever window is up, until the handler gives up.
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (!window->isVisible() || qobject_cast<QDialog*>(window) == nullptr) continue;
        auto* cancel = window->findChild<QPushButton*>("buttonCancel");
        if (cancel == nullptr) cancel = window->findChild<QPushButton*>("cancelButton");
        if (cancel != nullptr && cancel->isEnabled())
            Click(cancel);
        else
            window->close();
    }
}

int Person::Run(const std::function<int()>& run) {
    timer.start();
    const int result = run();
    timer.stop();
    return result;
}

void Click(QPushButton* button) {
    QTest::mouseClick(button, Qt::LeftButton);
}

void ClickRow(QTreeWidget* list, int row) {
    QTreeWidgetItem* item = list->topLevelItem(row);
    if (item == nullptr) return;
    list->scrollToItem(item);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

void ClickEmptySpace(QTreeWidget* list) {
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      QPoint(20, list->viewport()->height() - 4));
}

void Type(QLineEdit* edit, const QString& text) {
    edit->setFocus();
    edit->selectAll();
    if (text.isEmpty())
        QTest::keyClick(edit, Qt::Key_Backspace);
    else
        QTest::keyClicks(edit, text);
}

QString Hex(const std::array<uint8_t, 6>& a) {
    return QString::asprintf("%02x %02x %02x %02x %02x %02x", a[0], a[1], a[2], a[3], a[4], a[5]);
}

QString Hex(const std::string& bytes) {
    return QString::fromLatin1(QByteArray::fromStdString(bytes).toHex(' '));
}
