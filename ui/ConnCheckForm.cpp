// SPDX-License-Identifier: Apache-2.0
#include "ConnCheckForm.h"

#include "DialogParts.h"

#include <QEventLoop>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QStyle>
#include <QThread>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <memory>

using namespace DialogParts;

TConnCheckForm::TConnCheckForm(QWidget* parent, int port, const QString& device)
    : QDialog(parent), device(device.toStdString()) {
    setObjectName("TConnCheckForm");
    setWindowTitle("Connection check");
    deviceLine =
        NewLabel(this, "deviceLine",
                 QString("COM%1 is %2").arg(port).arg(device.isEmpty() ? "(no device)" : device));
    MakeBold(deviceLine);
    summary = NewLabel(this, "summary", QString());
    checkList = new QTreeWidget(this);
    checkList->setObjectName("checkList");
    checkList->setColumnCount(2);
    checkList->setHeaderLabels({"Result", "Check"});
    checkList->setRootIsDecorated(false);
    checkList->setSelectionMode(QAbstractItemView::NoSelection);
    checkList->setFocusPolicy(Qt::NoFocus);
    checkList->header()->setStretchLastSection(true);
    checkList->setMinimumSize(640, 200);
    againButton = NewButton(this, "againButton", "Check again");
    againButton->setAutoDefault(false);
    closeButton = NewButton(this, "closeButton", "Close");
    closeButton->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(againButton);
    buttons->addWidget(closeButton);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(deviceLine);
    layout->addWidget(checkList, 1);
    layout->addWidget(summary);
    layout->addLayout(buttons);

    connect(againButton, &QPushButton::clicked, this, &TConnCheckForm::Start);
    connect(closeButton, &QPushButton::clicked, this, &QDialog::accept);
    Start();
}

TConnCheckForm::~TConnCheckForm() {
    if (thread != nullptr) {
        thread->wait();
        delete thread;
    }
}

void TConnCheckForm::Start() {
    if (thread != nullptr) return;
    checkList->clear();
    summary->setText("Checking...");
    againButton->setEnabled(false);
    if (device.empty()) {
        Show({{"device", cli::CheckResult::Verdict::Failed, "no device behind this port", {}}});
        return;
    }
    auto checks = std::make_shared<std::vector<cli::CheckResult>>();
    thread = QThread::create([checks, device = device] { *checks = cli::CheckDevice(device); });
    connect(thread, &QThread::finished, this, [this, checks] {
        thread->wait();
        delete thread;
        thread = nullptr;
        Show(*checks);
    });
    thread->start();
}

void TConnCheckForm::Show(const std::vector<cli::CheckResult>& checks) {
    checkList->clear();
    for (const cli::CheckResult& check : checks) {
        auto* row = new QTreeWidgetItem(checkList, {cli::VerdictWord(check.verdict),
                                                    QString::fromLocal8Bit(check.text.c_str())});
        const QStyle::StandardPixmap icon =
            check.verdict == cli::CheckResult::Verdict::Ok        ? QStyle::SP_DialogApplyButton
            : check.verdict == cli::CheckResult::Verdict::Warning ? QStyle::SP_MessageBoxWarning
                                                                  : QStyle::SP_MessageBoxCritical;
        row->setIcon(0, style()->standardIcon(icon));
        for (const std::string& line : check.remedy)
            new QTreeWidgetItem(checkList,
                                {QString(), "   " + QString::fromLocal8Bit(line.c_str())});
    }
    checkList->resizeColumnToContents(0);
    summary->setText(cli::ModuleAnswered(checks)
                         ? "A module answers on this port."
                         : "No module answers on this port: see the first line that is not OK.");
    againButton->setEnabled(true);
    emit Finished();
}

QStringList TConnCheckForm::Lines() const {
    QStringList lines;
    for (int i = 0; i < checkList->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = checkList->topLevelItem(i);
        lines << (row->text(0).isEmpty() ? row->text(1) : row->text(0) + " | " + row->text(1));
    }
    return lines;
}

void RunAside(const std::function<void()>& work) {
    QThread* thread = QThread::create(work);
    QEventLoop loop;
    QObject::connect(thread, &QThread::finished, &loop, &QEventLoop::quit);
    thread->start();
    if (!thread->isFinished()) loop.exec();
    thread->wait();
    delete thread;
}
