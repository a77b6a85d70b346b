// SPDX-License-Identifier: Apache-2.0
// window_bench DEVICE: how fast the real main window comes up and reads a module.
//  (a) program start to the port chooser on screen (application and window built,
//      window shown, chooser exposed);
//  (b) read-all of the General group through the window, headless, several rounds,
//      beside the least time the protocol allows for the same exchanges;
//  (c) read-all with the protocol trace window open beside it, against the same
//      read-all with the window closed (rounds taken in turn, medians compared);
//  and the resident memory after reading.
#include "Communicator.h"
#include "Dialogs.h"
#include "GeneralPage.h"
#include "TMainForm.h"
#include "TraceForm.h"
#include "mSerial.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Passes everything to the window's own port and counts what crosses the line.
class CountingPort : public mSerial {
  public:
    explicit CountingPort(mSerial& inner) : inner(inner) {}
    int32_t Open() override { return inner.Open(); }
    int32_t Close() override { return inner.Close(); }
    int32_t ReadBuffer(uint8_t* buffer, int32_t count) override {
        const int32_t n = inner.ReadBuffer(buffer, count);
        if (n > 0) received += n;
        return n;
    }
    int32_t WriteBuffer(const uint8_t* buffer, int32_t count) override {
        ++exchanges;
        sent += count;
        return inner.WriteBuffer(buffer, count);
    }
    void Reset() { exchanges = sent = received = 0; }

    long exchanges = 0;
    long sent = 0;
    long received = 0;

  private:
    mSerial& inner;
};

long ResidentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

constexpr int kRounds = 9;
constexpr double kBitsPerSecond = 38400;
constexpr double kAnswerDelayMs = 2;
constexpr double kReadTimeoutMs = 10;
constexpr double kSettlePauseMs = 100; // the pause read-all and write-all make at the end

} // namespace

int main(int argc, char** argv) {
    const Clock::time_point start = Clock::now();
    if (argc != 2) {
        std::fprintf(stderr, "usage: window_bench DEVICE\n");
        return 2;
    }
    QApplication app(argc, argv);
    PortTable::Set({argv[1]});

    TMainForm form;
    double toChooserMs = -1;
    bool gaveUp = false;
    form.seams.serChoose = [&](TSerChooseForm& chooser) {
        if (toChooserMs >= 0) { // a retry: the module is not there
            gaveUp = true;
            chooser.Button2->click();
            return;
        }
        chooser.show();
        if (QTest::qWaitForWindowExposed(&chooser)) toChooserMs = MsSince(start);
        chooser.ComboBox1->setCurrentIndex(0);
        chooser.Button1->click();
    };
    form.seams.comOpenError = [](TComOpenError& d) { d.ExitButton->click(); };
    form.seams.connectError = [](TConnectErrorForm& d) { d.ExitButton->click(); };
    form.seams.quit = [&](int) { gaveUp = true; };
    form.show();

    // The first read-all starts by itself once the module has answered.
    for (int waited = 0; waited < 10000 && !gaveUp; waited += 10) {
        QTest::qWait(10);
        if (form.generalPage->prodID->text() != "N/A" && form.readConfig->isEnabled()) break;
    }
    if (gaveUp || form.generalPage->prodID->text() == "N/A") {
        std::fprintf(stderr, "window_bench: no module answered on %s\n", argv[1]);
        return 1;
    }

    CountingPort counter(form.serPort);
    form.comm->SetSerialPort(&counter);
    // One whole-module operation, kRounds times: the median time, the exchanges,
    // and the exchange limit (every exchange's bytes at the line speed, the
    // module's answer delay and the port's read window, plus the settle pause).
    struct Measure {
        double ms = 0, limitMs = 0;
        long exchanges = 0;
    };
    auto measure = [&](const char* what, bool (TMainForm::*run)()) {
        std::vector<double> rounds;
        Measure m;
        for (int i = 0; i < kRounds; ++i) {
            counter.Reset();
            const Clock::time_point t = Clock::now();
            if (!(form.*run)()) {
                std::fprintf(stderr, "window_bench: %s failed\n", what);
                std::exit(1);
            }
            rounds.push_back(MsSince(t));
            m.exchanges = counter.exchanges;
            m.limitMs = (counter.sent + counter.received) * 10.0 * 1000.0 / kBitsPerSecond +
                        counter.exchanges * (kAnswerDelayMs + kReadTimeoutMs) + kSettlePauseMs;
        }
        m.ms = Median(rounds);
        std::printf("%s of every group the module has (%ld exchanges, %d rounds, median): %.1f "
                    "ms\n",
                    what, m.exchanges, kRounds, m.ms);
        std::printf("  exchange limit (exchanges with the read window, %.0f ms pause): %.1f ms\n",
                    kSettlePauseMs, m.limitMs);
        std::printf("  ratio: %.2f (bar 1.3, and under 600 ms)\n", m.ms / m.limitMs);
        return m;
    };
    std::printf("start to port chooser on screen: %.1f ms (bar 500 ms)\n", toChooserMs);
    measure("read-all", &TMainForm::ReadAll);
    measure("write-all", &TMainForm::WriteAll);

    // Read-all with the trace window open and closed, in turn; the window gets
    // its rows as a person would see them (shown, painted between rounds).
    form.menuHelpTrace->trigger();
    TraceForm& trace = *form.traceForm;
    std::vector<double> open, closed;
    int listed = 0;
    for (int i = 0; i < 2 * kRounds; ++i) {
        const bool shown = i % 2 == 0;
        trace.setVisible(shown);
        QTest::qWait(20);
        const Clock::time_point t = Clock::now();
        if (!form.ReadAll()) {
            std::fprintf(stderr, "window_bench: read-all failed\n");
            return 1;
        }
        (shown ? open : closed).push_back(MsSince(t));
        QTest::qWait(2 * TraceForm::kBatchMs);
        if (shown) listed = trace.FrameCount();
    }
    const double openMs = Median(open), closedMs = Median(closed);
    std::printf("read-all with the protocol trace window open (%d rounds, median): %.1f ms, "
                "closed: %.1f ms\n",
                kRounds, openMs, closedMs);
    std::printf("  open / closed: %.3f (bar 1.05); %d frames listed\n", openMs / closedMs, listed);
    form.comm->SetSerialPort(&form.serPort);

    std::printf("resident memory after reading: %.1f MB (bar 80 MB)\n", ResidentKiB() / 1024.0);
    return 0;
}
