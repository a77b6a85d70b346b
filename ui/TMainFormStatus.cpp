// SPDX-License-Identifier: Apache-2.0
// The main window's connection: the status bar (the port, its device, whether
// the device is there, the module read last), the watch that notices an
// adapter unplugged and plugged in again while the window is idle, the
// connection check and the support report.
#include "TMainForm.h"

#include "ConnCheckForm.h"
#include "Desktop.h"
#include "GenSettings.h"
#include "SupportReport.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QProgressDialog>
#include <QSaveFile>
#include <QStatusBar>
#include <QTimer>

namespace {

const char* const kHideQuestion =
    "Hide the PIN code and passkeys in the support report?\n\nChoose No only when the person "
    "who helps you must see them.";

// The port on the left; its connection and the module on the right, where a
// passing message (a report saved) does not cover them.
QLabel* StatusLabel(QStatusBar* bar, const char* name, bool left) {
    auto* label = new QLabel(bar);
    label->setObjectName(name);
    label->setContentsMargins(6, 0, 6, 0);
    if (left)
        bar->addWidget(label, 1);
    else
        bar->addPermanentWidget(label);
    return label;
}

} // namespace

void TMainForm::BuildStatusBar() {
    QStatusBar* bar = statusBar();
    bar->setObjectName("statusBar");
    bar->setSizeGripEnabled(false);
    statusPort = StatusLabel(bar, "statusPort", true);
    statusConnection = StatusLabel(bar, "statusConnection", false);
    statusModule = StatusLabel(bar, "statusModule", false);
    statusConnection->setText("Not connected");

    portWatch = new QTimer(this);
    portWatch->setObjectName("portWatch");
    portWatch->setInterval(kPortWatchMs);
    connect(portWatch, &QTimer::timeout, this, &TMainForm::WatchPort);
    portWatch->start();
}

QString TMainForm::StatusText() const {
    QStringList shown;
    for (const QLabel* label : {statusPort, statusConnection, statusModule})
        if (!label->text().isEmpty()) shown << label->text();
    return shown.join(" | ");
}

void TMainForm::ShowPortStatus(const QString& connection) {
    const int n = serPort.port;
    const QString device = QString::fromStdString(PortTable::DeviceOf(n));
    QString text = QString("COM%1").arg(n);
    if (!device.isEmpty()) {
        text += ": " + device;
        const QString real = QFileInfo(device).canonicalFilePath();
        if (!real.isEmpty() && real != device) text += " -> " + real;
    }
    statusPort->setText(text);
    statusConnection->setText(connection);
}

void TMainForm::WatchPort() {
    // A module operation, a check or a dialog of the start-up has the port.
    if (!startupDone || busy) return;
    const QString device = QString::fromStdString(PortTable::DeviceOf(serPort.port));
    // A link whose device is gone counts as gone.
    const bool there = !device.isEmpty() && QFileInfo::exists(device);
    if (!portGone) {
        if (serPort.IsOpen() ? there : !serPort.IsLost()) return;
        if (serPort.IsOpen()) serPort.Close();
        portGone = true;
        statusModule->clear();
        ShowPortStatus("Port gone");
        return;
    }
    if (serPort.IsOpen()) { // opened meanwhile (Choose port)
        portGone = false;
        return;
    }
    if (!there) return;
    // Only opened: nothing is sent or read until the person reads or writes.
    if (serPort.Open() == 0) {
        portGone = false;
        ShowPortStatus("Port back, opened again");
    } else {
        ShowPortStatus("Port back, but it does not open: " +
                       QString::fromLocal8Bit(serPort.GetSystemErrorText().c_str()));
    }
}

void TMainForm::WithPortClosed(const std::function<void()>& work) {
    const bool wasOpen = serPort.IsOpen();
    if (wasOpen) serPort.Close();
    busy = true;
    work();
    busy = false;
    if (wasOpen && serPort.Open() != 0) {
        // Gone meanwhile: the watch opens it again once it is back.
        portGone = true;
        statusModule->clear();
        ShowPortStatus("Port gone");
    }
}

void TMainForm::menuHelpConnectionCheckClick() {
    if (busy) return;
    WithPortClosed([this] {
        TConnCheckForm form(this, serPort.port,
                            QString::fromStdString(PortTable::DeviceOf(serPort.port)));
        if (seams.connectionCheck)
            seams.connectionCheck(form);
        else
            form.exec();
    });
}

void TMainForm::menuHelpSupportReportClick() {
    if (busy) return;
    const QString name =
        seams.saveFileName
            ? seams.saveFileName()
            : QFileDialog::getSaveFileName(this, "Save support report",
                                           StartFolder() + "/btconf-support-report.txt",
                                           "Text files (*.txt);;All files (*)");
    if (name.isEmpty()) return;
    const bool hide =
        Desktop::AskYesNo(this, QString::fromLatin1(kHideQuestion)) == Desktop::Answer::Yes;
    SaveSupportReport(name, !hide);
}

bool TMainForm::SaveSupportReport(const QString& fileName, bool showSecrets) {
    if (busy) return false;
    cli::SupportReport report;
    const std::string device = PortTable::DeviceOf(serPort.port);
    WithPortClosed([&] {
        // Modal to the window, so that nothing else starts meanwhile.
        QProgressDialog wait("Checking the port and reading the module for the support report...",
                             QString(), 0, 0, this);
        wait.setWindowTitle("Support report");
        wait.setWindowModality(Qt::WindowModal);
        wait.setMinimumDuration(0);
        wait.show();
        RunAside([&] { report = cli::BuildSupportReport(device, "btconf", showSecrets); });
    });
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(report.text.data(), qint64(report.text.size())) != qint64(report.text.size()) ||
        !file.commit()) {
        Desktop::Tell(this, "The support report could not be saved to " + fileName + ":\n" +
                                file.errorString());
        return false;
    }
    statusBar()->showMessage("Support report saved to " + fileName, 15000);
    return true;
}
