// SPDX-License-Identifier: Apache-2.0
#include "TMainForm.h"

#include "AccessKeys.h"
#include "AudioPage.h"
#include "ChangeMarks.h"
#include "Communicator.h"
#include "CompareForm.h"
#include "ConSetHandler.h"
#include "ConfigFile.h"
#include "ConnectingPage.h"
#include "Desktop.h"
#include "Dialogs.h"
#include "EndpSetHandler.h"
#include "EndpointPage.h"
#include "GenSetHandler.h"
#include "GeneralPage.h"
#include "OtherPage.h"
#include "OtherSetHandler.h"
#include "PowerSavePage.h"
#include "PsSetHandler.h"
#include "ScanPowerPage.h"
#include "ScoSetHandler.h"
#include "SerSetHandler.h"
#include "SerialPage.h"
#include "SettingsGroup.h"
#include "SettingsPage.h"
#include "SopSetHandler.h"
#include "TraceForm.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QStandardPaths>
#include <QTabWidget>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <string>

namespace {

const char* const kCaption = "Norvane configuration software";
const char* const kChangedPrompt = "Configuration has changed\n\nChanges that has not been "
                                   "written to device will be lost. Continue?";
const char* const kAdvancedWarning =
    "Changing the advanced settings can affect\nthe performance of the device. Please "
    "read\nthe manual carefully before changing values in\nthis section.\n\nProceed?";
constexpr int kStartDelayMs = 100;
constexpr int kSettleMs = 100;

// Restores a flag when the scope ends, whichever way it ends.
class BusyScope {
  public:
    explicit BusyScope(bool& flag) : flag(flag) { flag = true; }
    ~BusyScope() { flag = false; }
    BusyScope(const BusyScope&) = delete;
    BusyScope& operator=(const BusyScope&) = delete;

  private:
    bool& flag;
};

} // namespace

TMainForm::TMainForm(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(QString::fromLatin1(kCaption));
    setObjectName(QStringLiteral("MainForm"));
    HelpContext::Set(this, kWindowHelpContext);

    SetModuleLineSettings(serPort);
    serPort.port = 1;

    comm = std::make_unique<Communicator>();
    comm->pump = [] { QCoreApplication::processEvents(); };
    comm->SetSerialPort(&serPort);
    settings.SetCommunicator(comm.get());

    errorForm = new TErrorForm(this);
    progForm = new TProgForm(this);
    settings.SetProgress(progForm);

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    PageControl1 = new QTabWidget(central);
    PageControl1->setObjectName(QStringLiteral("PageControl1"));
    generalPage = new GeneralPage;
    generalPage->setObjectName(QStringLiteral("generalTab"));
    generalTab = generalPage;
    serialPage = new SerialPage;
    serialPage->setObjectName(QStringLiteral("serialTab"));
    serialTab = serialPage;
    endpointTab = endpointPage = new EndpointPage;
    endpointTab->setObjectName(QStringLiteral("endpointTab"));
    conTab = connectingPage = new ConnectingPage;
    conTab->setObjectName(QStringLiteral("conTab"));
    adv1 = scanPowerPage = new ScanPowerPage;
    adv2 = powerSavePage = new PowerSavePage;
    adv3 = otherPage = new OtherPage;
    adv4 = audioPage = new AudioPage;
    adv1->setObjectName(QStringLiteral("adv1"));
    adv2->setObjectName(QStringLiteral("adv2"));
    adv3->setObjectName(QStringLiteral("adv3"));
    adv4->setObjectName(QStringLiteral("adv4"));
    PageControl1->addTab(generalTab, QStringLiteral("General"));
    PageControl1->addTab(serialTab, QStringLiteral("Serial port"));
    PageControl1->addTab(endpointTab, QStringLiteral("Endpoint"));
    PageControl1->addTab(conTab, QStringLiteral("Connecting"));
    PageControl1->addTab(adv1, QStringLiteral("Scan and Output power"));
    PageControl1->addTab(adv2, QStringLiteral("Power save"));
    PageControl1->addTab(adv3, QStringLiteral("Other"));
    PageControl1->addTab(adv4, QStringLiteral("Audio settings"));
    layout->addWidget(PageControl1, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    readConfig = new QPushButton(QStringLiteral("Read configuration"), central);
    readConfig->setObjectName(QStringLiteral("readConfig"));
    writeConf = new QPushButton(QStringLiteral("Write configuration"), central);
    writeConf->setObjectName(QStringLiteral("writeConf"));
    buttons->addWidget(readConfig);
    buttons->addWidget(writeConf);
    layout->addLayout(buttons);
    setCentralWidget(central);
    connect(readConfig, &QPushButton::clicked, this, &TMainForm::readConfigClick);
    connect(writeConf, &QPushButton::clicked, this, &TMainForm::writeConfClick);

    BuildMenus();
    BuildPages();
    BuildKeys();
    BuildStatusBar();
    BuildReview(buttons);
    // Every window of the program gets its access keys when first shown.
    static AccessKeys::Watcher* watcher = nullptr;
    if (watcher == nullptr) {
        watcher = new AccessKeys::Watcher(qApp);
        qApp->installEventFilter(watcher);
    }

    StartTimer = new QTimer(this);
    StartTimer->setObjectName(QStringLiteral("StartTimer"));
    StartTimer->setSingleShot(true);
    StartTimer->setInterval(kStartDelayMs);
    connect(StartTimer, &QTimer::timeout, this, &TMainForm::StartTimerTimer);

    auto* help = new QShortcut(QKeySequence(Qt::Key_F1), this);
    help->setContext(Qt::WindowShortcut);
    connect(help, &QShortcut::activated, this, &TMainForm::HelpKeyPress);

    settings.ClearChanged();
    advancedShown = false;
    UpdateAdvancedPages();
    PageControl1->setCurrentWidget(generalTab);
    resize(800, 470); // every tab in view
}

TMainForm::~TMainForm() = default;

void TMainForm::BuildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    menuLoadSettings = file->addAction(QStringLiteral("&Load settings..."));
    menuLoadPart = file->addAction(QStringLiteral("Load &part of a file..."));
    menuSaveSettings = file->addAction(QStringLiteral("&Save settings..."));
    menuCompareWithFile = file->addAction(QStringLiteral("&Compare with file..."));
    file->addSeparator();
    menuFileExit = file->addAction(QStringLiteral("E&xit"));

    QMenu* conf = menuBar()->addMenu(QStringLiteral("&Configuration"));
    menuConfReadFromDevice = conf->addAction(QStringLiteral("&Read from device"));
    menuConfWriteToDevice = conf->addAction(QStringLiteral("&Write to device"));
    menuReviewChanges = conf->addAction(QStringLiteral("R&eview changes..."));
    conf->addSeparator();
    menuShowAdvanced = conf->addAction(QStringLiteral("&Show advanced settings..."));
    menuShowAdvanced->setCheckable(true);
    // Offered once a module with the advanced groups has been read.
    menuShowAdvanced->setEnabled(false);
    conf->addSeparator();
    // The port can be changed at any time: another adapter, or the same one
    // plugged in again.
    menuConfChoosePort = conf->addAction(QStringLiteral("&Choose port..."));
    // Off at every start, so that write-all is as it always was unless the
    // person asks for the check.
    menuVerifyAfterWriting = conf->addAction(QStringLiteral("&Verify after writing"));
    menuVerifyAfterWriting->setCheckable(true);
    menuVerifyAfterWriting->setChecked(false);

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    menuHelpShowHelp = help->addAction(QStringLiteral("&Show help"));
    menuHelpWebsite = help->addAction(QStringLiteral("&Norvane website"));
    menuHelpTrace = help->addAction(QStringLiteral("&Protocol trace..."));
    menuHelpConnectionCheck = help->addAction(QStringLiteral("&Connection check..."));
    menuHelpSupportReport = help->addAction(QStringLiteral("Save support &report..."));
    help->addSeparator();
    menuHelpAbout = help->addAction(QStringLiteral("&About..."));

    menuLoadSettings->setObjectName(QStringLiteral("menuLoadSettings"));
    menuLoadPart->setObjectName(QStringLiteral("menuLoadPart"));
    menuReviewChanges->setObjectName(QStringLiteral("menuReviewChanges"));
    menuSaveSettings->setObjectName(QStringLiteral("menuSaveSettings"));
    menuFileExit->setObjectName(QStringLiteral("menuFileExit"));
    menuConfReadFromDevice->setObjectName(QStringLiteral("menuConfReadFromDevice"));
    menuConfWriteToDevice->setObjectName(QStringLiteral("menuConfWriteToDevice"));
    menuShowAdvanced->setObjectName(QStringLiteral("menuShowAdvanced"));
    menuConfChoosePort->setObjectName(QStringLiteral("menuConfChoosePort"));
    menuCompareWithFile->setObjectName(QStringLiteral("menuCompareWithFile"));
    menuVerifyAfterWriting->setObjectName(QStringLiteral("menuVerifyAfterWriting"));
    menuHelpShowHelp->setObjectName(QStringLiteral("menuHelpShowHelp"));
    menuHelpWebsite->setObjectName(QStringLiteral("menuHelpWebsite"));
    menuHelpAbout->setObjectName(QStringLiteral("menuHelpAbout"));
    menuHelpTrace->setObjectName(QStringLiteral("menuHelpTrace"));
    menuHelpConnectionCheck->setObjectName(QStringLiteral("menuHelpConnectionCheck"));
    menuHelpSupportReport->setObjectName(QStringLiteral("menuHelpSupportReport"));

    connect(menuLoadSettings, &QAction::triggered, this, &TMainForm::menuLoadSettingsClick);
    connect(menuSaveSettings, &QAction::triggered, this, &TMainForm::menuSaveSettingsClick);
    connect(menuLoadPart, &QAction::triggered, this, &TMainForm::menuLoadPartClick);
    connect(menuReviewChanges, &QAction::triggered, this, &TMainForm::menuReviewChangesClick);
    connect(menuFileExit, &QAction::triggered, this, &TMainForm::menuFileExitClick);
    connect(menuConfReadFromDevice, &QAction::triggered, this,
            &TMainForm::menuConfReadFromDeviceClick);
    connect(menuConfWriteToDevice, &QAction::triggered, this,
            &TMainForm::menuConfWriteToDeviceClick);
    connect(menuShowAdvanced, &QAction::triggered, this, &TMainForm::menuShowAdvancedClick);
    connect(menuConfChoosePort, &QAction::triggered, this, &TMainForm::menuConfChoosePortClick);
    connect(menuCompareWithFile, &QAction::triggered, this, &TMainForm::menuCompareWithFileClick);
    connect(menuHelpShowHelp, &QAction::triggered, this, &TMainForm::menuHelpShowHelpClick);
    connect(menuHelpWebsite, &QAction::triggered, this, &TMainForm::menuHelpWebsiteClick);
    connect(menuHelpAbout, &QAction::triggered, this, &TMainForm::menuHelpAboutClick);
    connect(menuHelpTrace, &QAction::triggered, this, &TMainForm::menuHelpTraceClick);
    connect(menuHelpConnectionCheck, &QAction::triggered, this,
            &TMainForm::menuHelpConnectionCheckClick);
    connect(menuHelpSupportReport, &QAction::triggered, this,
            &TMainForm::menuHelpSupportReportClick);
}

// One page handler per settings group, in the groups' order; each takes its
// group and its form's controls.
void TMainForm::BuildPages() {
    genSetHandler = new GenSetHandler(settings.general, generalPage);
    serSetHandler = new SerSetHandler(settings.serial, serialPage);
    endpSetHandler = new EndpSetHandler(settings, endpointPage, this);
    conSetHandler = new ConSetHandler(settings, connectingPage, this);
    psSetHandler = new PsSetHandler(settings.powerSave, powerSavePage);
    sopSetHandler = new SopSetHandler(settings.scanPower, scanPowerPage);
    otherSetHandler = new OtherSetHandler(settings.other, otherPage);
    scoSetHandler = new ScoSetHandler(settings.sco, audioPage);
    pages = {genSetHandler, serSetHandler, endpSetHandler,  conSetHandler,
             psSetHandler,  sopSetHandler, otherSetHandler, scoSetHandler};

    // The device mode and the paired address show on both pages; a search or
    // a pairing runs only when no other module operation does.
    for (DeviceModePage* page : {static_cast<DeviceModePage*>(endpSetHandler),
                                 static_cast<DeviceModePage*>(conSetHandler)}) {
        page->SetCommunicator(comm.get());
        page->moduleOperation = [this](const std::function<void()>& operation) {
            if (busy) return false;
            BusyScope scope(busy);
            operation();
            return true;
        };
        connect(page, &DeviceModePage::SharedValuesChanged, this, [this] {
            endpSetHandler->UpdateControls();
            conSetHandler->UpdateControls();
        });
    }
}

SettingsPage* TMainForm::PageOf(const SettingsGroup* group) const {
    for (SettingsPage* page : pages)
        if (&page->Group() == group) return page;
    return nullptr;
}

void TMainForm::ShowGroupPage(const SettingsGroup* group) {
    // A failing group of the advanced settings brings them on, without the warning.
    const ModuleSettings::Member* member = settings.MemberOf(group);
    if (member != nullptr && member->advanced && !advancedShown) SetAdvancedShown(true);
    if (SettingsPage* page = PageOf(group)) ShowPage(page->Tab());
}

void TMainForm::ShowPage(QWidget* page) {
    if (page != nullptr) PageControl1->setCurrentWidget(page);
}

void TMainForm::SetPageVisible(QWidget* page, bool visible) {
    const int index = PageControl1->indexOf(page);
    if (index >= 0) PageControl1->setTabVisible(index, visible);
}

void TMainForm::UpdateAdvancedPages() {
    SetPageVisible(adv1, advancedShown);
    SetPageVisible(adv2, advancedShown);
    SetPageVisible(adv3, advancedShown);
    // The audio page needs a module that supports SCO.
    SetPageVisible(adv4, advancedShown && settings.general.firmware3Minor2Gen2 != 0);
}

void TMainForm::SetAdvancedShown(bool shown) {
    advancedShown = shown;
    for (SettingsPage* page : pages)
        page->AdvancedSwitched(shown);
    UpdateAdvancedPages();
    menuShowAdvanced->setChecked(shown);
}

void TMainForm::GeneralRead() {
    statusModule->setText(QString::fromLatin1(settings.general.productId.c_str()) + ", software " +
                          QString::fromLatin1(settings.general.softwareVersion.c_str()));
    const bool advanced = settings.general.firmware3 != 0;
    menuShowAdvanced->setEnabled(advanced);
    // A module without the advanced groups has no advanced pages to show.
    if (!advanced && advancedShown)
        SetAdvancedShown(false);
    else
        UpdateAdvancedPages();
}

bool TMainForm::ReadAll() {
    if (busy) return false;
    BusyScope scope(busy);
    SetButtonsEnabled(false);
    const bool done = EnsurePort() && ReadAllSteps();
    DropQueuedInput();
    SetButtonsEnabled(true);
    return done;
}

bool TMainForm::ReadAllSteps() {
    // Only clears the module's input and any stale answer; the result does not matter.
    comm->CheckConnection();

    if (AnyChanged() &&
        Desktop::AskOkCancel(this, QString::fromLatin1(kChangedPrompt)) != Desktop::Answer::Ok)
        return false;

    progForm->bar->setMaximum(ModuleSettings::kReadProgressMaximum);
    progForm->bar->setValue(0);
    progForm->Label1->setText(QStringLiteral("Please wait, reading settings from device"));
    progForm->setWindowTitle(QStringLiteral("Reading settings"));
    progForm->ShowCentred();

    Failure failure;
    const SettingsGroup* failed = settings.ReadAll(failure, [this] { GeneralRead(); });
    if (failed != nullptr) {
        AddPortLoss(failure);
        errorForm->Report(failure);
    }

    // Every group read so far shows what it holds, the failed one included, so
    // the window shows what a save or a write-all would use.
    for (const ModuleSettings::Member& m : settings.Members()) {
        if (!settings.TakesPart(m)) continue;
        if (SettingsPage* page = PageOf(m.group)) page->UpdateControls();
        if (m.group == failed) break;
    }
    if (failed != nullptr) {
        progForm->close();
        changeMarks->Update();
        return false;
    }
    progForm->bar->setValue(progForm->bar->maximum());
    progForm->Repaint();
    progForm->close();
    QThread::msleep(kSettleMs);
    QCoreApplication::processEvents();
    settings.ClearChanged();
    changeMarks->SetReference(); // what the module holds now
    return true;
}

bool TMainForm::WriteAll() {
    if (busy) return false;
    BusyScope scope(busy);
    SetButtonsEnabled(false);
    const bool done = WriteAllSteps();
    if (done && menuVerifyAfterWriting->isChecked()) VerifyWritten();
    DropQueuedInput();
    SetButtonsEnabled(true);
    return done;
}

bool TMainForm::WriteAllSteps() {
    Failure failure;
    if (const SettingsGroup* invalid = settings.ValidateAll(failure)) {
        errorForm->Report(failure);
        ShowGroupPage(invalid);
        // The person goes on in the field to correct.
        focusAfterBusy = FieldOf(PageControl1->currentWidget(), failure);
        return false;
    }
    // Checked first: a port that went away is chosen again before writing.
    if (!EnsurePort()) return false;

    progForm->Label1->setText(QStringLiteral("Please wait, writing settings to device"));
    progForm->setWindowTitle(QStringLiteral("Writing settings"));
    progForm->bar->setMaximum(settings.WriteProgressMaximum());
    progForm->bar->setValue(0);
    progForm->ShowCentred();

    if (const SettingsGroup* failed = settings.WriteAll(failure)) {
        AddPortLoss(failure);
        errorForm->Report(failure);
        progForm->close();
        ShowGroupPage(failed);
        return false;
    }

    progForm->Repaint();
    QThread::msleep(kSettleMs);
    progForm->close();
    // Some groups show what the module took rather than what was sent.
    for (const ModuleSettings::Member& m : settings.Members())
        if (m.refreshAfterWrite && settings.TakesPart(m))
            if (SettingsPage* page = PageOf(m.group)) page->UpdateControls();
    settings.ClearChanged();
    changeMarks->SetReference(); // what the module was sent
    return true;
}

void TMainForm::DropQueuedInput() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void TMainForm::AddPortLoss(Failure& failure) const {
    if (!serPort.IsLost()) return;
    failure.description.push_back(serPort.GetLastErrorText());
    failure.description.push_back("Read or write again to choose the port once the device is "
                                  "back, or choose another port (Configuration, Choose port).");
}

bool TMainForm::EnsurePort() {
    if (!startupDone || serPort.IsOpen()) return true;
    return ConnectModule();
}

void TMainForm::menuConfChoosePortClick() {
    // Never while a read-all, a write-all, a search or a pairing runs.
    if (busy) return;
    bool connected = false;
    {
        BusyScope scope(busy);
        SetButtonsEnabled(false);
        connected = ConnectModule();
        SetButtonsEnabled(true);
    }
    if (connected) {
        startupDone = true;
        StartTimer->start(); // the module found there is read, as at start-up
    }
}

void TMainForm::readConfigClick() {
    ReadAll();
}

void TMainForm::writeConfClick() {
    WriteAll();
}

void TMainForm::menuConfReadFromDeviceClick() {
    ReadAll();
}

void TMainForm::menuConfWriteToDeviceClick() {
    WriteAll();
}

void TMainForm::menuFileExitClick() {
    close();
}

void TMainForm::menuShowAdvancedClick() {
    if (!advancedShown) {
        if (Desktop::AskYesNo(this, QString::fromLatin1(kAdvancedWarning)) == Desktop::Answer::Yes)
            SetAdvancedShown(true);
    } else {
        SetAdvancedShown(false);
    }
    menuShowAdvanced->setChecked(advancedShown);
}

void TMainForm::menuHelpShowHelpClick() {
    Desktop::ShowHelpContents(this);
}

void TMainForm::menuHelpWebsiteClick() {
    Desktop::OpenMakerSite();
}

void TMainForm::menuHelpTraceClick() {
    if (traceForm == nullptr) {
        traceForm = new TraceForm(this);
        // The window's frames go to the trace window while it is open, after
        // whatever observer the program started with (--trace).
        QPointer<TraceForm> form = traceForm;
        comm->observer = [before = comm->observer, form](const TraceEvent& event) {
            if (before) before(event);
            if (form && form->isVisible()) form->Add(event);
        };
    }
    traceForm->show();
    traceForm->raise();
    traceForm->activateWindow();
}

void TMainForm::menuHelpAboutClick() {
    TaboutForm about(this);
    about.exec();
}

void TMainForm::HelpKeyPress() {
    QWidget* focus = QApplication::focusWidget();
    if (focus == nullptr || focus->window() != this) focus = this;
    Desktop::ShowHelpPopup(this, HelpContext::Of(focus, kWindowHelpContext));
}

void TMainForm::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (shownOnce) return;
    shownOnce = true;
    // The start-up dialogs come once the window itself is on screen.
    QTimer::singleShot(0, this, &TMainForm::FormShow);
}

void TMainForm::paintEvent(QPaintEvent* event) {
    QMainWindow::paintEvent(event);
    if (!noModule || exitRequested) return;
    exitRequested = true;
    // Leave the event loop once this paint is done; nothing more is said to the module.
    QTimer::singleShot(0, this, [this] {
        if (seams.quit)
            seams.quit(0);
        else
            QCoreApplication::exit(0);
    });
}

void TMainForm::StartTimerTimer() {
    StartTimer->stop();
    ReadAll();
}

void TMainForm::closeEvent(QCloseEvent* event) {
    if (noModule) {
        event->accept();
        return;
    }
    if (busy) {
        // A read or write is still talking to the module.
        event->ignore();
        return;
    }
    if (AnyChanged() &&
        Desktop::AskOkCancel(this, QString::fromLatin1(kChangedPrompt)) != Desktop::Answer::Ok) {
        event->ignore();
        return;
    }
    comm->NotifyClose(); // the answer does not hold up closing
    event->accept();
}
