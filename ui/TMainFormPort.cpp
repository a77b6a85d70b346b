// SPDX-License-Identifier: Apache-2.0
// The main window's start-up connection: the port chooser, the two error
// dialogs and the probe, at start-up and whenever a port is chosen again.
#include "TMainForm.h"

#include "Communicator.h"
#include "Dialogs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {

// Stale bytes read and thrown away after opening.
constexpr int kStaleBytes = 100;

} // namespace

void TMainForm::RunSerChoose(TSerChooseForm& form) {
    if (seams.serChoose)
        seams.serChoose(form);
    else
        form.exec();
}

void TMainForm::RunComOpenError(TComOpenError& form) {
    if (seams.comOpenError)
        seams.comOpenError(form);
    else
        form.exec();
}

void TMainForm::RunConnectError(TConnectErrorForm& form) {
    if (seams.connectError)
        seams.connectError(form);
    else
        form.exec();
}

bool TMainForm::ConnectModule() {
    if (!serChooseForm) serChooseForm = std::make_unique<TSerChooseForm>(this);
    for (;;) {
        serChooseForm->tag = 0;
        RunSerChoose(*serChooseForm);
        if (serChooseForm->tag == 0) return false;
        // The port chosen replaces the one open until now.
        if (serPort.IsOpen()) serPort.Close();
        serPort.port = serChooseForm->tag;
        comm->SetSerialPort(&serPort);
        serPort.handshake = serChooseForm->checkHWF->isChecked() ? mHandHardware : mHandNone;

        const int32_t opened = serPort.Open();
        // Whatever is waiting on the line must not be taken for an answer. (On a port
        // that did not open this only leaves a note in the component.)
        uint8_t stale[kStaleBytes];
        serPort.ReadBuffer(stale, kStaleBytes);

        if (opened != 0) {
            const int32_t n = serPort.port;
            const QString device = QString::fromStdString(PortTable::DeviceOf(n));
            const QString reason = QString::fromLocal8Bit(serPort.GetSystemErrorText().c_str());
            const bool permission = serPort.PermissionDenied();
            serPort.Close();
            statusModule->clear();
            ShowPortStatus(reason.isEmpty() ? QString("Does not open")
                                            : "Does not open: " + reason);
            TComOpenError openError(this);
            openError.ShowReason(n, device, reason, permission);
            openError.tag = 0;
            RunComOpenError(openError);
            if (openError.tag >= 0) continue;
            return false;
        }
        statusModule->clear();
        if (comm->CheckConnection() == 1) {
            portGone = false;
            ShowPortStatus("Connected");
            return true;
        }

        serPort.Close();
        ShowPortStatus("No module answers");
        TConnectErrorForm connectError(this);
        connectError.tag = 0;
        connectError.port = serPort.port;
        RunConnectError(connectError);
        if (connectError.tag != 0) continue;
        return false;
    }
}

void TMainForm::FormShow() {
    noModule = !ConnectModule();
    if (!noModule) {
        startupDone = true;
        StartTimer->start();
    } else {
        EndWithoutModule();
    }
}

void TMainForm::EndWithoutModule() {
    // The program ends on the window's next paint. Should no paint come (a window that
    // is not visible), it ends shortly after all the same.
    update();
    QTimer::singleShot(500, this, [this] {
        if (exitRequested) return;
        exitRequested = true;
        if (seams.quit)
            seams.quit(0);
        else
            QCoreApplication::exit(0);
    });
}
