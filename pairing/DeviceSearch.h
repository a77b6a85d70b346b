// SPDX-License-Identifier: Apache-2.0
// The device search that the search dialog and the pairing wizard's step 2
// share: the results of one search, the timer tick that collects them from the
// module, the list that shows them and the button states of a search that runs,
// was stopped or has completed.
#pragma once

#include <QString>
#include <array>
#include <cstdint>
#include <string>

class Communicator;
class QComboBox;
class QProgressBar;
class QPushButton;
class QStatusBar;
class QTimer;
class QDialog;
class QTreeWidget;
class QWidget;

// Lets the windows process what is pending; when nothing is, sleeps until the
// next event arrives (a click, a timer), at most a few milliseconds, so a loop
// that waits for a person or for the module leaves the processor idle.
void ProcessMessages();

// The controls of a search window that the search drives.
struct SearchControls {
    QTreeWidget* DeviceList = nullptr;
    QProgressBar* inqBar = nullptr;
    QStatusBar* statusBar = nullptr;
    QPushButton* buttonStopSearch = nullptr;
    QPushButton* buttonSearchAgain = nullptr;
    QPushButton* buttonChoose = nullptr; // OK in the dialog, Next> in the wizard
    QPushButton* buttonCancel = nullptr;
};

// One device found: its name up to the first zero byte (32 bytes at most), its
// address in received order, and the row of the list that shows it.
struct DeviceEntry {
    std::string name;
    std::array<uint8_t, 6> address{};
    int32_t listIndex = -1;
};

class DeviceSearch {
  public:
    // Devices kept from one search; further results of the same search are ignored.
    static constexpr int kTableSize = 20;
    static constexpr int kTickMs = 250;
    static constexpr int kDuration = 12;
    static constexpr int kBarTicks = 48;

    // The timer is made here, owned by the window, and runs only while a search does.
    DeviceSearch(QWidget* window, const SearchControls& controls);
    DeviceSearch(const DeviceSearch&) = delete;
    DeviceSearch& operator=(const DeviceSearch&) = delete;

    Communicator* comm = nullptr; // not owned
    std::array<DeviceEntry, kTableSize> deviceTable;
    int32_t deviceCount = 0;
    QTimer* pollTimer = nullptr;

    // Report style list with the fixed "BT Address" and "Bluetooth name" columns.
    static void ShapeList(QTreeWidget* list);
    // Return presses `main` unless another button has the focus, which it presses.
    static void SetMainButton(QDialog* window, QPushButton* main);
    // The class filter for an item of the device filter list: byte 1 holds the
    // major device class, except for "LAN/Network access point" (byte 2).
    static std::array<uint8_t, 4> ClassFilter(int item);
    // "%02x %02x %02x %02x %02x %02x", bytes in received order.
    static QString AddressText(const std::array<uint8_t, 6>& address);

    // Empties the list and puts the bar back to the start.
    void ClearList();
    // Starts a search with the filter: the count starts at 0, "Searching...",
    // the buttons of a running search, the tick running.
    void Begin(const std::array<uint8_t, 4>& filter);
    // Cancels the search and waits for the module to report its end:
    // "Canceling search", then "Search canceled". The tick stops first.
    void Cancel();
    // Stop search: Cancel, with the buttons of a stopped search. The choose
    // button keeps its state, so a device found before the stop can be chosen.
    void Stop();
    // The choose button is enabled exactly while a row is selected.
    void UpdateChoice();
    // The entry of the selected row, or nullptr.
    const DeviceEntry* Chosen() const;
    // Every 250 ms while searching: the bar steps, then up to three polls.
    void Tick();
    void SetStatus(const QString& text);

  private:
    void Ended(); // completed or stopped: bar at the start, Search again offered
    bool PortOpen() const;

    SearchControls c;
};
