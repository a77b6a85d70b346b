// SPDX-License-Identifier: Apache-2.0
// pairing_bench [DEVICE]: the processor time the tool takes while the search
// dialog runs a search and while the remote pairing page waits for the remote
// device, as a share of one core over the wall time of the wait.
// With DEVICE, a module (nvmsim --pairing complete@5000 --search-time 6000) is
// served by another process and the whole tool process is measured; without it,
// a virtual module runs in this process and only the window's thread is measured.
#include "Communicator.h"
#include "InquiryHandler.h"
#include "PairForms.h"
#include "PairHandler.h"
#include "SimServer.h"
#include "TinqForm.h"
#include "mSerial.h"

#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <sys/resource.h>

namespace {

using Clock = std::chrono::steady_clock;

int who = RUSAGE_SELF;

double CpuSeconds() {
    rusage usage{};
    getrusage(who, &usage);
    auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Processor time over wall time between Begin and End.
struct Share {
    double cpu = 0;
    Clock::time_point wall;
    double cpuSpent = 0, wallSpent = 0;
    bool begun = false, ended = false;
    void Begin() {
        begun = true;
        cpu = CpuSeconds();
        wall = Clock::now();
    }
    void End() {
        ended = true;
        cpuSpent = CpuSeconds() - cpu;
        wallSpent = std::chrono::duration<double>(Clock::now() - wall).count();
    }
    double Percent() const { return wallSpent > 0 ? 100.0 * cpuSpent / wallSpent : 0; }
};

// Acts on the windows every 20 ms while a handler's loop runs.
void Every20ms(QTimer& timer, std::function<void()> act) {
    timer.setInterval(20);
    QObject::connect(&timer, &QTimer::timeout, act);
    timer.start();
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    std::unique_ptr<SimServer> sim;
    std::string device = argc > 1 ? argv[1] : "";
    if (device.empty()) {
        sim = std::make_unique<SimServer>(std::vector<std::string>{
            "--pairing", "complete@5000", "--search-time", "6000", "--baud", "38400"});
        std::string error;
        if (!sim->Start(&error)) {
            std::fprintf(stderr, "pairing_bench: virtual module: %s\n", error.c_str());
            return 1;
        }
        device = sim->DevicePath();
        who = RUSAGE_THREAD;
    }
    PortTable::Set({device});
    mSerial port;
    SetModuleLineSettings(port);
    port.port = 1;
    if (port.Open() != 0) {
        std::fprintf(stderr, "pairing_bench: cannot open %s\n", device.c_str());
        return 1;
    }
    Communicator comm;
    comm.SetSerialPort(&port);
    comm.pump = [] { QCoreApplication::processEvents(); };
    QWidget owner;
    owner.show();

    // The search dialog from its start to "Search completed".
    InquiryHandler search(&owner);
    search.SetCommunicator(&comm);
    Share searching;
    int listed = 0;
    {
        QTimer person;
        TinqForm* f = search.inqForm;
        Every20ms(person, [&] {
            const QString status = f->statusBar->currentMessage();
            if (!searching.begun && status == "Searching...") searching.Begin();
            if (searching.begun && !searching.ended && status == "Search completed") {
                searching.End();
                listed = f->DeviceList->topLevelItemCount();
                QTest::mouseClick(f->buttonCancel, Qt::LeftButton);
            }
        });
        search.Execute();
    }

    // The remote pairing page from Pair to "Device paired with ...".
    PairHandler pair(&owner);
    pair.SetCommunicator(&comm);
    Share waiting;
    {
        QTimer person;
        TformPair1* one = pair.formPair1;
        TformPairRemote2* f = pair.formPairRemote2;
        Every20ms(person, [&] {
            if (one->isVisible()) {
                QTest::mouseClick(one->radioRemotePair, Qt::LeftButton);
                QTest::mouseClick(one->buttonNext, Qt::LeftButton);
            } else if (f->isVisible() && f->textPinCode->text().isEmpty()) {
                QTest::keyClicks(f->textPinCode, "0000");
                QTest::mouseClick(f->pairButton, Qt::LeftButton);
            } else if (!waiting.begun &&
                       f->pairStatus->text() == "Waiting for remote device to pair") {
                waiting.Begin();
            } else if (waiting.begun && !waiting.ended &&
                       f->pairStatus->text().startsWith("Device paired with")) {
                waiting.End();
                QTest::mouseClick(f->finnishButton, Qt::LeftButton);
            }
        });
        pair.Execute();
    }

    const char* measured = who == RUSAGE_THREAD ? "window thread" : "tool process";
    std::printf("search dialog, %d devices listed in %.2f s: %.2f %% of one core (%s)\n", listed,
                searching.wallSpent, searching.Percent(), measured);
    std::printf("remote pairing wait of %.2f s: %.2f %% of one core (%s)\n", waiting.wallSpent,
                waiting.Percent(), measured);
    const bool ok = searching.ended && waiting.ended;
    if (!ok) std::fprintf(stderr, "pairing_bench: a wait did not end as expected\n");
    return ok ? 0 : 1;
}
