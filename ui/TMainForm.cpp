#include "TMainForm.h"

#include "Communicator.h"
#include "ConfigFile.h"
#include "Desktop.h"
#include "Dialogs.h"
#include "GenSetHandler.h"
#include "SettingsHandler.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QStandardPaths>
#include <QTabWidget>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <sstream>
#include <string>

namespace {

const char* const kCaption = "Norvane configuration software";
const char* const kChangedPrompt = "Configuration has changed\n\nChanges that has not been "
                                   "written to device will be lost. Continue?";
const char* const kAdvancedWarning =
    "Changing the advanced settings can affect\nthe performance of the device. Please "
    "read\nthe manual carefully before changing values in\nthis section.\n\nProceed?";
const char* const kFileFilter = "Configuration file (*.bcf);;All files (*.*)";
const char* const kHelpContextProperty = "helpContext";

constexpr int kReadProgressMaximum = 13;
constexpr int kWriteProgressMaximum = 6;
constexpr int kWriteProgressAdvanced = 3;
constexpr int kStartDelayMs = 100;
constexpr int kSettleMs = 100;
constexpr int kStaleBytes = 100;

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

// The folder the file dialogs open in: the person's documents, else home.
QString StartFolder() {
    const QString docs = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (!docs.isEmpty() && QDir(docs).exists()) return docs;
    return QDir::homePath();
}

std::string LocalPath(const QString& fileName) {
    return QFile::encodeName(fileName).toStdString();
}

QLabel* NotAvailableLabel(const char* name) {
    auto* label = new QLabel(QStringLiteral("N/A"));
    label->setObjectName(QString::fromLatin1(name));
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QWidget* EmptyPage(const char* name) {
    auto* page = new QWidget;
    page->setObjectName(QString::fromLatin1(name));
    new QVBoxLayout(page);
    return page;
}

} // namespace

TMainForm::TMainForm(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(QString::fromLatin1(kCaption));
    setObjectName(QStringLiteral("MainForm"));
    SetHelpContext(this, kWindowHelpContext);

    SetModuleLineSettings(serPort);
    serPort.port = 1;

    comm = std::make_unique<Communicator>();
    comm->pump = [] { QCoreApplication::processEvents(); };
    comm->SetSerialPort(&serPort);

    errorForm = new TErrorForm(this);
    progForm = new TProgForm(this);

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    PageControl1 = new QTabWidget(central);
    PageControl1->setObjectName(QStringLiteral("PageControl1"));
    generalTab = BuildGeneralPage();
    serialTab = EmptyPage("serialTab");
    endpointTab = EmptyPage("endpointTab");
    conTab = EmptyPage("conTab");
    adv1 = EmptyPage("adv1");
    adv2 = EmptyPage("adv2");
    adv3 = EmptyPage("adv3");
    adv4 = EmptyPage("adv4");
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
    BuildGroups();

    // The edits report to their handler only once the handler holds its controls.
    connect(genDeviceName, &QLineEdit::textChanged, this, &TMainForm::genDeviceNameChange);
    connect(genServName, &QLineEdit::textChanged, this, &TMainForm::genServNameChange);

    StartTimer = new QTimer(this);
    StartTimer->setObjectName(QStringLiteral("StartTimer"));
    StartTimer->setSingleShot(true);
    StartTimer->setInterval(kStartDelayMs);
    connect(StartTimer, &QTimer::timeout, this, &TMainForm::StartTimerTimer);

    auto* help = new QShortcut(QKeySequence(Qt::Key_F1), this);
    help->setContext(Qt::WindowShortcut);
    connect(help, &QShortcut::activated, this, &TMainForm::HelpKeyPress);

    ClearChangedFlags();
    advancedShown = false;
    UpdateAdvancedPages();
    PageControl1->setCurrentWidget(generalTab);
    resize(560, 440);
}

TMainForm::~TMainForm() = default;

QWidget* TMainForm::BuildGeneralPage() {
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("generalTab"));
    auto* layout = new QVBoxLayout(page);

    auto* info = new QGroupBox(QStringLiteral("Information"), page);
    auto* infoForm = new QFormLayout(info);
    prodID = NotAvailableLabel("prodID");
    hwVer = NotAvailableLabel("hwVer");
    swVer = NotAvailableLabel("swVer");
    artNum = NotAvailableLabel("artNum");
    btAddr = NotAvailableLabel("btAddr");
    artNum->setEnabled(false);
    artNum->setToolTip(QStringLiteral("Requires software version v3.0 "));
    infoForm->addRow(QStringLiteral("Product ID:"), prodID);
    infoForm->addRow(QStringLiteral("Hardware version:"), hwVer);
    infoForm->addRow(QStringLiteral("Software version:"), swVer);
    infoForm->addRow(QStringLiteral("Article number:"), artNum);
    infoForm->addRow(QStringLiteral("Bluetooth address:"), btAddr);
    layout->addWidget(info);

    auto* names = new QGroupBox(QStringLiteral("Names"), page);
    auto* namesForm = new QFormLayout(names);
    genDeviceName = new QLineEdit(names);
    genDeviceName->setObjectName(QStringLiteral("genDeviceName"));
    genDeviceName->setMaxLength(31);
    SetHelpContext(genDeviceName, 22);
    genServName = new QLineEdit(names);
    genServName->setObjectName(QStringLiteral("genServName"));
    genServName->setMaxLength(17);
    SetHelpContext(genServName, 23);
    namesForm->addRow(QStringLiteral("Bluetooth name:"), genDeviceName);
    namesForm->addRow(QStringLiteral("Bluetooth service name:"), genServName);
    layout->addWidget(names);
    layout->addStretch(1);

    // One column of captions across both boxes, so the values line up.
    QList<QWidget*> captions;
    for (QFormLayout* form : {infoForm, namesForm})
        for (int row = 0; row < form->rowCount(); ++row)
            if (QLayoutItem* item = form->itemAt(row, QFormLayout::LabelRole))
                if (item->widget() != nullptr) captions << item->widget();
    int width = 0;
    for (QWidget* caption : captions)
        width = std::max(width, caption->sizeHint().width());
    for (QWidget* caption : captions)
        caption->setMinimumWidth(width);
    return page;
}

void TMainForm::BuildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    menuLoadSettings = file->addAction(QStringLiteral("&Load settings..."));
    menuSaveSettings = file->addAction(QStringLiteral("&Save settings..."));
    file->addSeparator();
    menuFileExit = file->addAction(QStringLiteral("E&xit"));

    QMenu* conf = menuBar()->addMenu(QStringLiteral("&Configuration"));
    menuConfReadFromDevice = conf->addAction(QStringLiteral("&Read from device"));
    menuConfWriteToDevice = conf->addAction(QStringLiteral("&Write to device"));
    conf->addSeparator();
    menuShowAdvanced = conf->addAction(QStringLiteral("&Show advanced settings..."));
    menuShowAdvanced->setCheckable(true);
    // Offered once a module with the advanced groups has been read.
    menuShowAdvanced->setEnabled(false);

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    menuHelpShowHelp = help->addAction(QStringLiteral("&Show help"));
    menuHelpWebsite = help->addAction(QStringLiteral("&Norvane website"));
    help->addSeparator();
    menuHelpAbout = help->addAction(QStringLiteral("&About..."));

    menuLoadSettings->setObjectName(QStringLiteral("menuLoadSettings"));
    menuSaveSettings->setObjectName(QStringLiteral("menuSaveSettings"));
    menuFileExit->setObjectName(QStringLiteral("menuFileExit"));
    menuConfReadFromDevice->setObjectName(QStringLiteral("menuConfReadFromDevice"));
    menuConfWriteToDevice->setObjectName(QStringLiteral("menuConfWriteToDevice"));
    menuShowAdvanced->setObjectName(QStringLiteral("menuShowAdvanced"));
    menuHelpShowHelp->setObjectName(QStringLiteral("menuHelpShowHelp"));
    menuHelpWebsite->setObjectName(QStringLiteral("menuHelpWebsite"));
    menuHelpAbout->setObjectName(QStringLiteral("menuHelpAbout"));

    connect(menuLoadSettings, &QAction::triggered, this, &TMainForm::menuLoadSettingsClick);
    connect(menuSaveSettings, &QAction::triggered, this, &TMainForm::menuSaveSettingsClick);
    connect(menuFileExit, &QAction::triggered, this, &TMainForm::menuFileExitClick);
    connect(menuConfReadFromDevice, &QAction::triggered, this,
            &TMainForm::menuConfReadFromDeviceClick);
    connect(menuConfWriteToDevice, &QAction::triggered, this,
            &TMainForm::menuConfWriteToDeviceClick);
    connect(menuShowAdvanced, &QAction::triggered, this, &TMainForm::menuShowAdvancedClick);
    connect(menuHelpShowHelp, &QAction::triggered, this, &TMainForm::menuHelpShowHelpClick);
    connect(menuHelpWebsite, &QAction::triggered, this, &TMainForm::menuHelpWebsiteClick);
    connect(menuHelpAbout, &QAction::triggered, this, &TMainForm::menuHelpAboutClick);
}

// Creates the handlers in the order General, Serial port, Endpoint, Connecting, power
// save, scan and output power, other, SCO, hands each the communicator, the dialogs and
// its page's controls, and lists them for the whole-module operations. A new group is
// one block here plus its place in fileOrder.
void TMainForm::BuildGroups() {
    genSetHandler = std::make_unique<GenSetHandler>();
    GenSetHandler& gen = *genSetHandler;
    gen.SetCommunicator(comm.get());
    gen.SetErrorReport(errorForm);
    gen.SetProgress(progForm);
    gen.prodID = prodID;
    gen.hwVer = hwVer;
    gen.swVer = swVer;
    gen.artNum = artNum;
    gen.btAddr = btAddr;
    gen.genDeviceName = genDeviceName;
    gen.genServName = genServName;
    SettingsGroup general;
    general.handler = &gen;
    general.page = generalTab;
    groups.push_back(general);

    // Sections of the configuration file: general, serial, endpoint, connecting, scan
    // and output power, power save, SCO, other.
    fileOrder = {&gen};
}

void TMainForm::ShareCapabilityFlags() {
    // The General read has just decided the module's capabilities; every handler that
    // depends on them takes its copy here, and only here:
    //   Serial port: user-defined speed := firmware3, second := secondGeneration,
    //                third := productCode5
    //   Endpoint: its flag := firmware3
    //   SCO: support flags := secondGeneration, firmware3Minor2Gen2, firmware3
    //   Other: quality of service := firmware3Minor2,
    //          handshake emulation := secondGeneration
    //   power save, scan and output power, other, SCO: availability := firmware3
    // (The General page is the only group so far, so nothing is copied yet.)
}

bool TMainForm::AnyChanged() const {
    for (const SettingsGroup& g : groups)
        if (g.handler->changed) return true;
    return false;
}

void TMainForm::ClearChangedFlags() {
    for (const SettingsGroup& g : groups)
        g.handler->changed = 0;
}

void TMainForm::SetButtonsEnabled(bool enabled) {
    readConfig->setEnabled(enabled);
    writeConf->setEnabled(enabled);
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
    SetPageVisible(adv4, advancedShown && genSetHandler->firmware3Minor2Gen2 != 0);
}

bool TMainForm::ReadAll() {
    if (busy) return false;
    BusyScope scope(busy);
    SetButtonsEnabled(false);

    // Only clears the module's input and any stale answer; the result does not matter.
    comm->CheckConnection();

    if (AnyChanged() &&
        Desktop::AskOkCancel(this, QString::fromLatin1(kChangedPrompt)) != Desktop::Answer::Ok) {
        SetButtonsEnabled(true);
        return false;
    }

    progForm->bar->setMaximum(kReadProgressMaximum);
    progForm->bar->setValue(0);
    progForm->Label1->setText(QStringLiteral("Please wait, reading settings from device"));
    progForm->setWindowTitle(QStringLiteral("Reading settings"));
    progForm->show();

    for (const SettingsGroup& g : groups) {
        if (g.advanced && !genSetHandler->firmware3) continue;
        if (g.handler->ReadFromDevice() != 1) {
            progForm->close();
            SetButtonsEnabled(true);
            return false;
        }
        if (g.handler == genSetHandler.get()) {
            menuShowAdvanced->setEnabled(genSetHandler->firmware3 != 0);
            ShareCapabilityFlags();
            UpdateAdvancedPages();
        }
    }

    for (const SettingsGroup& g : groups) {
        if (g.advanced && !genSetHandler->firmware3) continue;
        g.handler->UpdateControls();
    }
    progForm->bar->setValue(progForm->bar->maximum());
    progForm->close();
    QThread::msleep(kSettleMs);
    QCoreApplication::processEvents();
    ClearChangedFlags();
    SetButtonsEnabled(true);
    return true;
}

bool TMainForm::WriteAll() {
    if (busy) return false;
    BusyScope scope(busy);
    SetButtonsEnabled(false);
    const bool advanced = genSetHandler->firmware3 != 0;

    for (const SettingsGroup& g : groups) {
        if (!g.validated || (g.advanced && !advanced)) continue;
        if (g.handler->Validate() != 1) {
            ShowPage(g.page);
            SetButtonsEnabled(true);
            return false;
        }
    }

    progForm->Label1->setText(QStringLiteral("Please wait, writing settings to device"));
    progForm->setWindowTitle(QStringLiteral("Writing settings"));
    progForm->bar->setMaximum(kWriteProgressMaximum + (advanced ? kWriteProgressAdvanced : 0));
    progForm->bar->setValue(0);
    progForm->show();
    progForm->Repaint();

    for (const SettingsGroup& g : groups) {
        if (g.advanced && !advanced) continue;
        if (g.handler->WriteToDevice() != 1) {
            progForm->close();
            ShowPage(g.page);
            SetButtonsEnabled(true);
            return false;
        }
    }

    progForm->Repaint();
    QThread::msleep(kSettleMs);
    progForm->close();
    // Some groups show what the module took rather than what was sent.
    for (const SettingsGroup& g : groups)
        if (g.refreshAfterWrite && (!g.advanced || advanced)) g.handler->UpdateControls();
    ClearChangedFlags();
    SetButtonsEnabled(true);
    return true;
}

bool TMainForm::SaveSettings(const QString& fileName) {
    if (fileName.isEmpty()) return false;
    const std::string path = ConfigFile::SaveName(LocalPath(fileName));
    std::ostringstream out;
    out << ConfigFile::kHeader;
    for (SettingsHandler* h : fileOrder)
        h->SaveToFile(out);
    // A file that cannot be written is passed over without a message; the old file
    // stays as it was.
    return ConfigFile::WriteAtomically(path, out.str());
}

bool TMainForm::LoadSettings(const QString& fileName) {
    if (fileName.isEmpty()) return false;
    std::string bytes;
    if (!ConfigFile::ReadAll(LocalPath(fileName), bytes)) return false;
    for (SettingsHandler* h : fileOrder)
        h->LoadFromFile(bytes);
    return true;
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

void TMainForm::menuSaveSettingsClick() {
    const QString name =
        seams.saveFileName
            ? seams.saveFileName()
            : QFileDialog::getSaveFileName(this, QStringLiteral("Save settings"), StartFolder(),
                                           QString::fromLatin1(kFileFilter), nullptr,
                                           QFileDialog::DontConfirmOverwrite);
    SaveSettings(name);
}

void TMainForm::menuLoadSettingsClick() {
    const QString name =
        seams.openFileName
            ? seams.openFileName()
            : QFileDialog::getOpenFileName(this, QStringLiteral("Load settings"), StartFolder(),
                                           QString::fromLatin1(kFileFilter));
    LoadSettings(name);
}

void TMainForm::menuFileExitClick() {
    close();
}

void TMainForm::menuShowAdvancedClick() {
    if (!advancedShown) {
        if (Desktop::AskYesNo(this, QString::fromLatin1(kAdvancedWarning)) ==
            Desktop::Answer::Yes) {
            advancedShown = true;
            for (const SettingsGroup& g : groups)
                if (g.advancedSwitched) g.advancedSwitched(true);
            UpdateAdvancedPages();
        }
    } else {
        advancedShown = false;
        for (const SettingsGroup& g : groups)
            if (g.advancedSwitched) g.advancedSwitched(false);
        UpdateAdvancedPages();
    }
    menuShowAdvanced->setChecked(advancedShown);
}

void TMainForm::menuHelpShowHelpClick() {
    Desktop::ShowHelpContents(this);
}

void TMainForm::menuHelpWebsiteClick() {
    Desktop::OpenMakerSite();
}

void TMainForm::menuHelpAboutClick() {
    TaboutForm about(this);
    about.exec();
}

void TMainForm::genDeviceNameChange() {
    genSetHandler->ControlChanged(genDeviceName);
}

void TMainForm::genServNameChange() {
    genSetHandler->ControlChanged(genServName);
}

void TMainForm::SetHelpContext(QWidget* widget, int context) {
    if (widget != nullptr) widget->setProperty(kHelpContextProperty, context);
}

int TMainForm::HelpContextOf(const QWidget* widget) {
    for (const QWidget* w = widget; w != nullptr; w = w->parentWidget()) {
        const QVariant v = w->property(kHelpContextProperty);
        if (v.isValid()) return v.toInt();
    }
    return kWindowHelpContext;
}

void TMainForm::HelpKeyPress() {
    QWidget* focus = QApplication::focusWidget();
    if (focus == nullptr || focus->window() != this) focus = this;
    Desktop::ShowHelpPopup(this, HelpContextOf(focus));
}

void TMainForm::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (shownOnce) return;
    shownOnce = true;
    // The start-up dialogs come once the window itself is on screen.
    QTimer::singleShot(0, this, &TMainForm::FormShow);
}

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

void TMainForm::FormShow() {
    if (!serChooseForm) serChooseForm = std::make_unique<TSerChooseForm>(this);
    for (;;) {
        serChooseForm->tag = 0;
        RunSerChoose(*serChooseForm);
        if (serChooseForm->tag == 0) {
            noModule = true;
            break;
        }
        serPort.port = serChooseForm->tag;
        comm->SetSerialPort(&serPort);
        serPort.handshake = serChooseForm->checkHWF->isChecked() ? mHandHardware : mHandNone;

        const int32_t opened = serPort.Open();
        // Whatever is waiting on the line must not be taken for an answer. (On a port
        // that did not open this only leaves a note in the component.)
        uint8_t stale[kStaleBytes];
        serPort.ReadBuffer(stale, kStaleBytes);

        if (opened != 0) {
            serPort.Close();
            TComOpenError openError(this);
            openError.tag = 0;
            RunComOpenError(openError);
            if (openError.tag >= 0) continue;
            noModule = true;
            break;
        }
        if (comm->CheckConnection() == 1) break;

        serPort.Close();
        TConnectErrorForm connectError(this);
        connectError.tag = 0;
        RunConnectError(connectError);
        if (connectError.tag != 0) continue;
        noModule = true;
        break;
    }

    if (!noModule)
        StartTimer->start();
    else
        EndWithoutModule();
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
