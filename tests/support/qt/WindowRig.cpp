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

void ClickEmptySpace(QTreeWidget* list) {
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      QPoint(20, list->viewport()->height() - 4));
}

void Keys(QWidget* widget, const QString& keys) {
    for (const QChar c : keys) {
        Qt::Key key = Qt::Key(c.toUpper().unicode());
        QString text = c;
        switch (c.unicode()) {
        case '\b':
            key = Qt::Key_Backspace;
            break;
        case 0x7f:
            key = Qt::Key_Delete;
            break;
        case '\t':
            key = Qt::Key_Tab;
            break;
        case '\r':
            key = Qt::Key_Return;
            break;
        case 0x2190:
            key = Qt::Key_Left, text.clear();
            break;
        case 0x2192:
            key = Qt::Key_Right, text.clear();
            break;
        case 0x21e4:
            key = Qt::Key_Home, text.clear();
            break;
        case 0x21e5:
            key = Qt::Key_End, text.clear();
            break;
        case 0x21b9:
            key = Qt::Key_Backtab, text = "\t";
            break;
        }
        // Keys go where the focus is once a Tab has moved it.
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

QString Hex(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toHex(' '));
}

QString Hex(const std::array<uint8_t, 6>& a) {
    return Hex(QByteArray(reinterpret_cast<const char*>(a.data()), int(a.size())));
}
