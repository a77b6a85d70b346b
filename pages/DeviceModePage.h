// SPDX-License-Identifier: Apache-2.0
// What the Endpoint and Connecting pages share: the one device mode they both
// show, the device search that fills in an address, and the pairing wizard
// whose result both pages show.
#pragma once

#include "ModuleSettings.h"
#include "SettingsPage.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

class Communicator;
class InquiryHandler;
class PairHandler;

class DeviceModePage : public SettingsPage {
    Q_OBJECT
  public:
    using Address = std::array<uint8_t, 6>;
    // Runs a module operation unless another one is running; false when it was dropped.
    using Operation = std::function<bool(const std::function<void()>&)>;

    // owner: the window the search and pairing dialogs are modal to.
    DeviceModePage(ModuleSettings& settings, QWidget* page, QWidget* owner);
    ~DeviceModePage() override;

    void SetCommunicator(Communicator* comm);

    ModuleSettings& settings;
    // The page's own device search and pairing wizard.
    std::unique_ptr<InquiryHandler> inquiry;
    std::unique_ptr<PairHandler> pairing;
    // Set by the window so that a search or a pairing never starts while a
    // read-all or write-all runs (and the other way round); empty: always run.
    Operation moduleOperation;

  signals:
    // The device mode or the paired address changed: both pages show them.
    void SharedValuesChanged();

  protected:
    // The person chose this page's mode: both pages' mode flags and changed flags.
    void ChooseMode(bool endpoint);
    // Runs the device search; true (address set) when a device was chosen with OK.
    bool FindDevice(Address& address);
    // Runs the pairing wizard; whatever it returned, both pages take the
    // module's paired address from it.
    void PairDevice();

  private:
    bool Run(const std::function<void()>& operation);
};
