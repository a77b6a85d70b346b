// SPDX-License-Identifier: Apache-2.0
// Runs the device search dialog: starts a search through the module, lists what
// is found and hands back the address of the device the person chose.
#pragma once

#include "DeviceSearch.h"

#include <QPointer>
#include <array>
#include <cstdint>

class Communicator;
class QWidget;
class TinqForm;

class InquiryHandler {
  public:
    // owner: the window the dialog is modal to.
    explicit InquiryHandler(QWidget* owner = nullptr);
    ~InquiryHandler();
    InquiryHandler(const InquiryHandler&) = delete;
    InquiryHandler& operator=(const InquiryHandler&) = delete;

    int SetCommunicator(Communicator* c); // returns 1
    // 1 when a device was chosen with OK (selectedAddress holds it), -1 otherwise.
    int Execute();

    std::array<uint8_t, 6> selectedAddress{};
    TinqForm* inqForm;

  private:
    QPointer<TinqForm> ownedForm;
    DeviceSearch search;
};
