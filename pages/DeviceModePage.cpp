// SPDX-License-Identifier: Apache-2.0
#include "DeviceModePage.h"

#include "InquiryHandler.h"
#include "PairHandler.h"

DeviceModePage::DeviceModePage(ModuleSettings& settings, QWidget* page, QWidget* owner)
    : SettingsPage(page), settings(settings), inquiry(std::make_unique<InquiryHandler>(owner)),
      pairing(std::make_unique<PairHandler>(owner)) {}

DeviceModePage::~DeviceModePage() = default;

void DeviceModePage::SetCommunicator(Communicator* comm) {
    inquiry->SetCommunicator(comm);
    pairing->SetCommunicator(comm);
}

bool DeviceModePage::Run(const std::function<void()>& operation) {
    if (moduleOperation) return moduleOperation(operation);
    operation();
    return true;
}

void DeviceModePage::ChooseMode(bool endpoint) {
    settings.SetDeviceMode(endpoint);
    emit SharedValuesChanged();
}

bool DeviceModePage::FindDevice(Address& address) {
    int result = -1;
    Run([this, &result] { result = inquiry->Execute(); });
    // Only a device chosen with OK replaces the address.
    if (result <= 0) return false;
    address = inquiry->selectedAddress;
    return true;
}

void DeviceModePage::PairDevice() {
    if (!Run([this] { pairing->Execute(); })) return;
    settings.SetPairedAddress(pairing->remoteAddress);
    emit SharedValuesChanged();
}
