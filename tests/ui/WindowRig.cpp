#include "WindowRig.h"

#include "Dialogs.h"
#include "mSerial.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

namespace {

// The texts of a dialog's visible labels, in the order they were made.
QStringList LinesOf(QDialog& dialog) {
    dialog.ensurePolished();
    QStringList lines;
    for (QLabel* label : dialog.findChildren<QLabel*>())
        if (!label->text().isEmpty() && !label->isHidden()) lines << label->text();
    return lines;
}

template <typename T> T Take(std::deque<T>& queue, T otherwise) {
    if (queue.empty()) return otherwise;
    T value = queue.front();
    queue.pop_front();
    return value;
}

} // namespace

WindowRig::WindowRig(const std::vector<std::string>& simArgs) : sim(simArgs) {
    std::string error;
    simStarted = sim.Start(&error);
    if (!simStarted) qWarning("virtual module did not start: %s", error.c_str());
    PortTable::Set({sim.DevicePath()});

    Desktop::Seams& desk = Desktop::TestSeams();
    desk.ask = [this](const QString& text, bool yesNo) {
        questions << text;
        return Take(answers, yesNo ? Desktop::Answer::Yes : Desktop::Answer::Ok);
    };
    desk.tell = [this](const QString& text) { messages << text; };
    desk.help = [this](int context) { helpRequests << context; };
    desk.openUrl = [this](const QString& url) { urlRequests << url; };

    form = std::make_unique<TMainForm>();
    TMainForm::Seams& seams = form->seams;
    seams.serChoose = [this](TSerChooseForm& chooser) {
        chooserIndexesSeen << chooser.ComboBox1->currentIndex();
        const int port = Take(chooserPorts, 0);
        if (port > 0) chooser.ComboBox1->setCurrentIndex(port - 1);
        chooser.checkHWF->setChecked(hardwareFlow);
        (port > 0 ? chooser.Button1 : chooser.Button2)->click();
    };
    seams.comOpenError = [this](TComOpenError& dialog) {
        ++openErrorsShown;
        dialogLines << LinesOf(dialog);
        (Take(openErrorRetries, false) ? dialog.RetryButton : dialog.ExitButton)->click();
    };
    seams.connectError = [this](TConnectErrorForm& dialog) {
        ++connectErrorsShown;
        dialogLines << LinesOf(dialog);
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
    return QTest::qWaitFor([this] { return quitStatus.has_value(); }, 5000);
}

bool WindowRig::StartAndRead() {
    if (!simStarted) return false;
    form->show();
    // Done when the module has been asked for its address and the buttons are back
    // (the read runs in one go on this thread).
    return QTest::qWaitFor(
               [this] {
                   return (form->readConfig->isEnabled() && Received().contains("42 00")) ||
                          !errors.empty() || form->noModule;
               },
               5000) &&
           errors.empty() && !form->noModule;
}

QStringList WindowRig::Received() const {
    QStringList frames;
    for (const std::string& line : sim.TraceLines())
        if (line.compare(0, 5, "recv ") == 0) frames << QString::fromStdString(line.substr(5));
    return frames;
}

void Type(QLineEdit* edit, const QString& text) {
    edit->setFocus();
    edit->selectAll();
    if (text.isEmpty())
        QTest::keyClick(edit, Qt::Key_Backspace);
    else
        QTest::keyClicks(edit, text);
}
