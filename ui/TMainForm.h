// SPDX-License-Identifier: Apache-2.0
// The program's main window: the tabbed settings pages, the menus, read-all and
// write-all over the settings handlers, the configuration file commands, the
// start-up connection and the closing check.
#pragma once

#include "ModuleSettings.h"
#include "mSerial.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

class Communicator;
class AudioPage;
class ChangeMarks;
class ConSetHandler;
class ConnectingPage;
class EndpSetHandler;
class EndpointPage;
class GenSetHandler;
class GeneralPage;
class OtherPage;
class OtherSetHandler;
class PowerSavePage;
class PsSetHandler;
class ScanPowerPage;
class ScoSetHandler;
class SerSetHandler;
class SerialPage;
class SopSetHandler;
class SettingSearch;
class SettingsPage;
class TComOpenError;
class TCompareForm;
class TConnCheckForm;
class TConnectErrorForm;
class TErrorForm;
class TProgForm;
class TSerChooseForm;
class TraceForm;
struct Failure;
class QAction;
class QBoxLayout;
class QCloseEvent;
class QLabel;
class QPaintEvent;
class QPushButton;
class QShowEvent;
class QTabWidget;
class QTimer;

class TMainForm : public QMainWindow {
    Q_OBJECT
  public:
    explicit TMainForm(QWidget* parent = nullptr);
    ~TMainForm() override;

    // Where the program meets the person outside message boxes; each is empty in the
    // program (the real dialog runs) and set by tests and the benchmark.
    struct Seams {
        // Runs the dialog and leaves the answer in its tag.
        std::function<void(TSerChooseForm&)> serChoose;
        std::function<void(TComOpenError&)> comOpenError;
        std::function<void(TConnectErrorForm&)> connectError;
        // The chosen file name, or an empty text for Cancel.
        std::function<QString()> saveFileName;
        std::function<QString()> openFileName;
        // Ends the program with the given status (the default leaves the event loop).
        std::function<void(int status)> quit;
        // Runs the table of differences (compare with a file, verify after writing).
        std::function<void(TCompareForm&)> compare;
        // Runs the connection check dialog (made with its check under way).
        std::function<void(TConnCheckForm&)> connectionCheck;
    };
    Seams seams;

    // F1 opens the help context of the focused control or of the nearest parent
    // that has one, else the window's.
    static constexpr int kWindowHelpContext = 5;

    // Components.
    mSerial serPort;
    std::unique_ptr<Communicator> comm;
    // The module's settings groups, in their orders.
    ModuleSettings settings;
    // The pages' handlers, in the groups' order.
    GenSetHandler* genSetHandler = nullptr;
    SerSetHandler* serSetHandler = nullptr;
    EndpSetHandler* endpSetHandler = nullptr;
    ConSetHandler* conSetHandler = nullptr;
    PsSetHandler* psSetHandler = nullptr;
    SopSetHandler* sopSetHandler = nullptr;
    OtherSetHandler* otherSetHandler = nullptr;
    ScoSetHandler* scoSetHandler = nullptr;
    TErrorForm* errorForm = nullptr;
    TProgForm* progForm = nullptr;
    QTimer* StartTimer = nullptr;

    // Pages.
    QTabWidget* PageControl1 = nullptr;
    QWidget* generalTab = nullptr;
    QWidget* serialTab = nullptr;
    QWidget* endpointTab = nullptr;
    QWidget* conTab = nullptr;
    QWidget* adv1 = nullptr; // "Scan and Output power"
    QWidget* adv2 = nullptr; // "Power save"
    QWidget* adv3 = nullptr; // "Other"
    QWidget* adv4 = nullptr; // "Audio settings"

    // The pages' forms (the same widgets as their tabs).
    GeneralPage* generalPage = nullptr;
    SerialPage* serialPage = nullptr;
    EndpointPage* endpointPage = nullptr;
    ConnectingPage* connectingPage = nullptr;
    ScanPowerPage* scanPowerPage = nullptr; // adv1
    PowerSavePage* powerSavePage = nullptr; // adv2
    OtherPage* otherPage = nullptr;         // adv3
    AudioPage* audioPage = nullptr;         // adv4

    QPushButton* readConfig = nullptr;
    QPushButton* writeConf = nullptr;

    // Menus.
    QAction* menuLoadSettings = nullptr;
    QAction* menuLoadPart = nullptr; // "Load &part of a file...": the settings ticked
    QAction* menuSaveSettings = nullptr;
    QAction* menuFileExit = nullptr;
    QAction* menuConfReadFromDevice = nullptr;
    QAction* menuConfWriteToDevice = nullptr;
    QAction* menuReviewChanges = nullptr; // "R&eview changes...": against the module
    QAction* menuShowAdvanced = nullptr;
    QAction* menuConfChoosePort = nullptr;     // "&Choose port...": another port at any time
    QAction* menuCompareWithFile = nullptr;    // "&Compare with file..."
    QAction* menuVerifyAfterWriting = nullptr; // "&Verify after writing", off at every start
    QAction* menuHelpShowHelp = nullptr;
    QAction* menuHelpWebsite = nullptr;
    QAction* menuHelpTrace = nullptr;           // "Protocol trace...": the frames exchanged, live
    QAction* menuHelpConnectionCheck = nullptr; // "Connection check...": btconf-cli doctor's checks
    QAction* menuHelpSupportReport = nullptr;   // "Save support report..."
    QAction* menuHelpAbout = nullptr;

    // The settings that differ from the module's, marked on the pages.
    ChangeMarks* changeMarks = nullptr;
    // The search field (Ctrl+F) that goes to a setting by a word of its name.
    SettingSearch* settingSearch = nullptr;

    // The protocol trace window; made when first opened, then shown and hidden.
    TraceForm* traceForm = nullptr;

    // The status bar: the port and its device, whether the device is there,
    // and the module read last (product and software version).
    QLabel* statusPort = nullptr;
    QLabel* statusConnection = nullptr;
    QLabel* statusModule = nullptr;
    // Once a second, while nothing else uses the port: has its device gone, or
    // come back? Looks at the device node only; never talks to the module.
    QTimer* portWatch = nullptr;
    static constexpr int kPortWatchMs = 1000;
    // The status bar's visible texts, joined by " | ".
    QString StatusText() const;

    bool advancedShown = false;
    bool noModule = false;

    // The pages in the groups' order.
    const std::vector<SettingsPage*>& Pages() const { return pages; }
    bool AnyChanged() const { return settings.AnyChanged(); }

    // Whole-module operations; true when they ran to the end.
    bool ReadAll();
    bool WriteAll();
    // Configuration file; false when cancelled or the file could not be used
    // (the person is told why).
    bool SaveSettings(const QString& fileName);
    bool LoadSettings(const QString& fileName);
    // The table of what differs between the values shown and a file's settings.
    bool CompareWithFile(const QString& fileName);
    // The settings of a file that differ from the values shown, each ticked;
    // loads the ones left ticked. False when cancelled or nothing was taken.
    bool LoadPartOfFile(const QString& fileName);
    // The settings that differ from the module's, each of which can be undone.
    bool ReviewChanges();

    // Event methods.
    void FormShow(); // the start-up connection
    void StartTimerTimer();
    void readConfigClick();
    void writeConfClick();
    void menuConfReadFromDeviceClick();
    void menuConfWriteToDeviceClick();
    void menuLoadSettingsClick();
    void menuSaveSettingsClick();
    void menuFileExitClick();
    void menuShowAdvancedClick();
    void menuConfChoosePortClick();
    void menuCompareWithFileClick();
    void menuLoadPartClick();
    void menuReviewChangesClick();
    void menuHelpShowHelpClick();
    void menuHelpWebsiteClick();
    // Opens the protocol trace window (not modal); it lists the frames from then on.
    void menuHelpTraceClick();
    void menuHelpAboutClick();
    // Runs btconf-cli doctor's checks on the chosen port and shows them.
    void menuHelpConnectionCheckClick();
    // Saves a support report of the module on the chosen port (a file name asked).
    void menuHelpSupportReportClick();
    bool SaveSupportReport(const QString& fileName, bool showSecrets);
    void HelpKeyPress();

  protected:
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void BuildMenus();
    void BuildPages();
    void BuildKeys();
    void BuildStatusBar();
    // The port's line of the status bar, with what is known of its connection.
    void ShowPortStatus(const QString& connection);
    void WatchPort();
    // Runs `work` with the window's port closed (so that it can be opened
    // there), and opens the port again afterwards when it was open before.
    void WithPortClosed(const std::function<void()>& work);
    // The change marks and the search field (at the start of `row`).
    void BuildReview(QBoxLayout* row);
    // Shows the next (1) or previous (-1) page that is shown, round the end.
    void SwitchPage(int step);
    // The enabled field of `page` that a refused value names, if it has one.
    static QWidget* FieldOf(const QWidget* page, const Failure& failure);
    SettingsPage* PageOf(const SettingsGroup* group) const;
    // The General read has decided the module's capabilities.
    void GeneralRead();
    // Shows (true) or hides the advanced settings and the pages that have them.
    void SetAdvancedShown(bool shown);
    void SetButtonsEnabled(bool enabled);
    void ShowPage(QWidget* page);
    // Makes the page of a group that failed the active one.
    void ShowGroupPage(const SettingsGroup* group);
    void SetPageVisible(QWidget* page, bool visible);
    void UpdateAdvancedPages();
    void RunSerChoose(TSerChooseForm& form);
    void RunComOpenError(TComOpenError& form);
    void RunConnectError(TConnectErrorForm& form);
    void EndWithoutModule();
    // The port chooser and its two error dialogs until a module answers (true)
    // or the person gives up (false). The port open until then stays open when
    // the chooser is cancelled.
    bool ConnectModule();
    // Before a module operation: a port that went away, or that a choice left
    // closed, is chosen again first. False when the person gave up.
    bool EnsurePort();
    // A failure that came from a port that went away also says so.
    void AddPortLoss(Failure& failure) const;
    bool ReadAllSteps();
    bool WriteAllSteps();
    // After a write-all: reads the module back and shows what it did not take.
    void VerifyWritten();
    void ShowDifferences(TCompareForm& form);
    // The file chosen in the open dialog with this caption, or an empty text.
    QString OpenFileName(const QString& caption);
    // Clicks and keys that came in while a module operation ran reach the
    // window now, while its buttons are still disabled, and so are dropped.
    void DropQueuedInput();

    std::vector<SettingsPage*> pages;
    std::unique_ptr<TSerChooseForm> serChooseForm; // keeps its selection across retries
    bool shownOnce = false;
    bool startupDone = false; // the start-up connection has ended with a module
    bool portGone = false;    // the open port's device went away; opened again when it is back
    bool busy = false;
    // The folder of the configuration file saved or loaded last; the file
    // dialogs open there.
    QString lastFileFolder;
    QString StartFolder() const;
    // Where the focus was when an operation began, and where it goes after one
    // that brought up a page with a field to correct.
    QPointer<QWidget> focusBeforeBusy, focusAfterBusy;
    bool exitRequested = false;
};
