// The program's main window: the tabbed settings pages, the menus, read-all and
// write-all over the settings handlers, the configuration file commands, the
// start-up connection and the closing check.
#pragma once

#include "mSerial.h"

#include <QMainWindow>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

class Communicator;
class GenSetHandler;
class SettingsHandler;
class TComOpenError;
class TConnectErrorForm;
class TErrorForm;
class TProgForm;
class TSerChooseForm;
class QAction;
class QCloseEvent;
class QLabel;
class QLineEdit;
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

    // One settings group as read-all, write-all and the file commands see it.
    struct SettingsGroup {
        SettingsHandler* handler = nullptr;
        QWidget* page = nullptr;        // made the active page when the group fails
        bool advanced = false;          // takes part only when the module has the advanced groups
        bool validated = true;          // has a Validate step in write-all
        bool refreshAfterWrite = false; // controls refreshed after a successful write-all
        // Called when advanced settings are switched on (true) or off (false).
        std::function<void(bool shown)> advancedSwitched;
    };

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
    };
    Seams seams;

    // Help context numbers are kept on the controls; F1 opens the one of the
    // focused control or of the nearest parent that has one.
    static void SetHelpContext(QWidget* widget, int context);
    static int HelpContextOf(const QWidget* widget);
    static constexpr int kWindowHelpContext = 5;

    // Components.
    mSerial serPort;
    std::unique_ptr<Communicator> comm;
    std::unique_ptr<GenSetHandler> genSetHandler;
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

    // General page.
    QLabel* prodID = nullptr;
    QLabel* hwVer = nullptr;
    QLabel* swVer = nullptr;
    QLabel* artNum = nullptr;
    QLabel* btAddr = nullptr;
    QLineEdit* genDeviceName = nullptr;
    QLineEdit* genServName = nullptr;

    QPushButton* readConfig = nullptr;
    QPushButton* writeConf = nullptr;

    // Menus.
    QAction* menuLoadSettings = nullptr;
    QAction* menuSaveSettings = nullptr;
    QAction* menuFileExit = nullptr;
    QAction* menuConfReadFromDevice = nullptr;
    QAction* menuConfWriteToDevice = nullptr;
    QAction* menuShowAdvanced = nullptr;
    QAction* menuHelpShowHelp = nullptr;
    QAction* menuHelpWebsite = nullptr;
    QAction* menuHelpAbout = nullptr;

    bool advancedShown = false;
    bool noModule = false;

    // The groups in the order of creation, reading, validation and writing.
    const std::vector<SettingsGroup>& Groups() const { return groups; }
    bool AnyChanged() const;

    // Whole-module operations; true when they ran to the end.
    bool ReadAll();
    bool WriteAll();
    // Configuration file; false when cancelled or the file could not be used.
    bool SaveSettings(const QString& fileName);
    bool LoadSettings(const QString& fileName);

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
    void menuHelpShowHelpClick();
    void menuHelpWebsiteClick();
    void menuHelpAboutClick();
    void genDeviceNameChange();
    void genServNameChange();
    void HelpKeyPress();

  protected:
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void BuildMenus();
    QWidget* BuildGeneralPage();
    void BuildGroups();
    // Copies the General handler's capability flags into the handlers that use them.
    void ShareCapabilityFlags();
    void SetButtonsEnabled(bool enabled);
    void ShowPage(QWidget* page);
    void SetPageVisible(QWidget* page, bool visible);
    void ClearChangedFlags();
    void UpdateAdvancedPages();
    void RunSerChoose(TSerChooseForm& form);
    void RunComOpenError(TComOpenError& form);
    void RunConnectError(TConnectErrorForm& form);
    void EndWithoutModule();

    std::vector<SettingsGroup> groups;
    // Order of the sections in the configuration file.
    std::vector<SettingsHandler*> fileOrder;
    std::unique_ptr<TSerChooseForm> serChooseForm; // keeps its selection across retries
    bool shownOnce = false;
    bool busy = false;
    bool exitRequested = false;
};
