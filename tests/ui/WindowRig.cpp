#include "WindowRig.h"

#include "Dialogs.h"
#include "mSerial.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <cstdio>

namespace {

template <typename T> T Take(std::deque<T>& queue, T otherwise) {
    if (queue.empty()) return otherwise;
    T value = queue.front();
    queue.pop_front();
    return value;
}

} // namespace

std::string HexText(const std::string& text) {
    std::string out;
    char byte[4];
    for (unsigned char c : text) {
        std::snprintf(byte, sizeof byte, "%02x", c);
        if (!out.empty()) out += ' ';
        out += byte;
    }
    return out;
}

void CloseNextModal(QString* caption) {
    auto* timer = new QTimer;
    auto* tries = new int(0);
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, tries, caption] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal == nullptr && ++*tries < 300) return;
        timer->stop();
        timer->deleteLater();
        delete tries;
        if (modal == nullptr) return;
        *caption = modal->windowTitle();
        modal->close();
    });
    timer->start();
}

WindowRig::WindowRig(const std::vector<std::string>& simArgs) : sim(simArgs) {
    std::string error;
    simStarted = sim.Start(&error);
    if (!simStarted) std::fprintf(stderr, "virtual module did not start: %s\n", error.c_str());
    PortTable::Set({sim.DevicePath()});

    Desktop::Seams& desk = Desktop::TestSeams();
    desk.ask = [this](const QString& text, bool yesNo) {
        questions << text;
        return Take(answers, yesNo ? Desktop::Answer::Yes : Desktop::Answer::Ok);
    };
    desk.help = [this](int context) { helpRequests.push_back(context); };
    desk.openUrl = [this](const QString& url) { urlRequests << url; };

    form = std::make_unique<TMainForm>();
    TMainForm::Seams& seams = form->seams;
    seams.serChoose = [this](TSerChooseForm& chooser) {
        ++choosersShown;
        const int port = Take(chooserPorts, 0);
        if (port <= 0) {
            chooser.Button2->click();
        } else {
            chooser.ComboBox1->setCurrentIndex(port - 1);
            chooser.Button1->click();
        }
    };
    seams.comOpenError = [this](TComOpenError& dialog) {
        ++openErrorsShown;
        (Take(openErrorRetries, false) ? dialog.RetryButton : dialog.ExitButton)->click();
    };
    seams.connectError = [this](TConnectErrorForm& dialog) {
        ++connectErrorsShown;
        (Take(connectErrorRetries, false) ? dialog.RetryButton : dialog.ExitButton)->click();
    };
    seams.quit = [this](int status) { quitStatus = status; };

    // Error reports are modal: read what they show, then press OK.
    errorWatch.setInterval(10);
    QObject::connect(&errorWatch, &QTimer::timeout, [this] {
        auto* report = qobject_cast<TErrorForm*>(QApplication::activeModalWidget());
        if (report == nullptr) return;
        errors.push_back({report->windowTitle(), report->LabelError->text(),
                          report->Description->toPlainText()});
        report->OkButton->click();
    });
    errorWatch.start();
}

WindowRig::~WindowRig() {
    errorWatch.stop();
    form.reset();
    Desktop::TestSeams() = Desktop::Seams{};
    sim.Stop();
}

bool WindowRig::StartUntilQuit() {
    form->show();
    for (int waited = 0; waited < 5000 && !quitStatus; waited += 10)
        QTest::qWait(10);
    return quitStatus.has_value();
}

bool WindowRig::StartAndRead() {
    if (!simStarted) return false;
    form->show();
    // The read-all is done when the module has been asked for its address and the
    // buttons are back (the read runs in one go on this thread).
    for (int waited = 0; waited < 5000; waited += 10) {
        QTest::qWait(10);
        if (!form->readConfig->isEnabled()) continue;
        for (const std::string& frame : Received())
            if (frame == "42 00") return true;
        if (!errors.empty() || form->noModule) return false;
    }
    return false;
}

bool WindowRig::WaitForReceived(const std::string& prefix, int timeoutMs) {
    for (int waited = 0; waited <= timeoutMs; waited += 10) {
        for (const std::string& frame : Received())
            if (frame.compare(0, prefix.size(), prefix) == 0) return true;
        QTest::qWait(10);
    }
    return false;
}

std::vector<std::string> WindowRig::Received() const {
    std::vector<std::string> frames;
    for (const std::string& line : sim.TraceLines())
        if (line.compare(0, 5, "recv ") == 0) frames.push_back(line.substr(5));
    return frames;
}
