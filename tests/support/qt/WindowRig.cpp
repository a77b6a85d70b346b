// SPDX-License-Identifier: Apache-2.0
#include "WindowRig.h"

#include "Dialogs.h"
#include "mSerial.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <map>

namespace {

constexpr int kStepLimitMs = 8000;
constexpr int kPersonTickMs = 10;

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

    // Error reports are modal: read what they show, press Help twice (the topic
    // of the failure, then that of its control), then OK.
    errorWatch.setInterval(10);
    QObject::connect(&errorWatch, &QTimer::timeout, [this] {
        auto* report = qobject_cast<TErrorForm*>(QApplication::activeModalWidget());
        if (report == nullptr) return;
        const qsizetype before = helpRequests.size();
        report->HelpButton->click();
        report->HelpButton->click();
        errors.push_back({report->windowTitle(), report->LabelError->text(),
                          report->Description->toPlainText(), helpRequests.mid(before)});
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

bool WindowRig::Plug(const std::vector<std::string>& simArgs) {
    form->serPort.Close();
    plugged = std::make_unique<SimServer>(simArgs);
    std::string error;
    if (!plugged->Start(&error)) qWarning("virtual module did not start: %s", error.c_str());
    PortTable::Set({plugged->DevicePath()});
    if (form->serPort.Open() != 0) return false;
    errors.clear();
    questions.clear();
    form->readConfig->click();
    return errors.empty() && Received().contains("42 00");
}

QStringList WindowRig::Received() {
    QStringList frames;
    for (const std::string& line : Module().TraceLines())
        if (line.compare(0, 5, "recv ") == 0) frames << QString::fromStdString(line.substr(5));
    return frames;
}

QString GeneralShows(const TMainForm& f) {
    QStringList shown;
    for (const QLabel* label : {f.generalPage->prodID, f.generalPage->hwVer, f.generalPage->swVer,
                                f.generalPage->artNum, f.generalPage->btAddr})
        shown << label->text() + (label->isEnabled() ? "" : " (greyed)");
    return (shown << f.generalPage->genDeviceName->text() << f.generalPage->genServName->text())
        .join(" | ");
}

QString TempFile(const QByteArray& text) {
    static QTemporaryDir dir;
    static int files = 0;
    const QString path = dir.filePath(QString("file%1.bcf").arg(++files));
    WriteFile(path, text);
    return path;
}

std::vector<std::string> ModuleFile(const std::string& option, const QByteArray& text) {
    return {option, TempFile(text).toStdString()};
}

void WriteFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qWarning("could not write %s", qPrintable(path));
}

QByteArray ReadFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
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
        // The last step is done, and what runs should have returned.
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
    if (failure.isEmpty() && next < steps.size()) failure = "not done: " + steps[next].what;
    return result;
}

void Click(QWidget* button) {
    QTest::mouseClick(button, Qt::LeftButton);
}

void ClickRow(QTreeWidget* list, int row) {
    QTreeWidgetItem* item = list->topLevelItem(row);
    if (item == nullptr) return;
    list->scrollToItem(item);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

void Keys(QWidget* widget, const QString& keys) {
    // The keys that are not their own character: the key, and the text it gives.
    static const std::map<char16_t, std::pair<Qt::Key, QString>> special = {
        {u'\b', {Qt::Key_Backspace, "\b"}}, {0x7f, {Qt::Key_Delete, "\x7f"}},
        {u'\t', {Qt::Key_Tab, "\t"}},       {u'\r', {Qt::Key_Return, "\r"}},
        {0x2190, {Qt::Key_Left, ""}},       {0x2192, {Qt::Key_Right, ""}},
        {0x21e4, {Qt::Key_Home, ""}},       {0x21e5, {Qt::Key_End, ""}},
        {0x21b9, {Qt::Key_Backtab, "\t"}}};
    for (const QChar c : keys) {
        const auto it = special.find(c.unicode());
        const Qt::Key key = it != special.end() ? it->second.first : Qt::Key(c.toUpper().unicode());
        const QString text = it != special.end() ? it->second.second : QString(c);
        // Shift+Tab goes where the focus is once a Tab has moved it.
        QWidget* target = key == Qt::Key_Backtab ? QApplication::focusWidget() : widget;
        QTest::sendKeyEvent(QTest::Click, target ? target : widget, key, text,
                            key == Qt::Key_Backtab ? Qt::ShiftModifier : Qt::NoModifier);
    }
}

void Type(QLineEdit* edit, const QString& keys) {
    edit->setFocus();
    edit->selectAll();
    Keys(edit, "\b" + keys);
}

RowName::~RowName() {
    if (QTest::currentTestFailed()) qWarning("in the row \"%s\"", qPrintable(name));
}

QString Hex(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toHex(' '));
}
