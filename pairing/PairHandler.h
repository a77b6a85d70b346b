// SPDX-License-Identifier: Apache-2.0
// Runs the pairing wizard: the module pairs with a remote device, either after a
// device search (the local device initiates) or by waiting for the remote device,
// and the caller learns which device the module is paired with.
#pragma once

#include "DeviceSearch.h"

#include <QPointer>
#include <array>
#include <cstdint>
#include <string>

class Communicator;
class QDialog;
class QLineEdit;
class QPushButton;
class QWidget;
class TformPair1;
class TformPairLocal2;
class TformPairLocal3;
class TformPairRemote2;

class PairHandler {
  public:
    // owner: the window the wizard is modal to.
    explicit PairHandler(QWidget* owner = nullptr);
    ~PairHandler();
    PairHandler(const PairHandler&) = delete;
    PairHandler& operator=(const PairHandler&) = delete;

    int SetCommunicator(Communicator* c); // returns 1
    // 1 when the person ended with Finish, -1 otherwise. remoteAddress then holds
    // the module's paired address (six zero bytes: not paired).
    int Execute();

    std::array<uint8_t, 6> remoteAddress{};
    std::string remoteName;
    // 1: the next run skips step 1 and starts at the local search (Back from step 3).
    int32_t resumeAtSearch = 0;

    TformPair1* formPair1;
    TformPairLocal2* formPairLocal2;
    TformPairLocal3* formPairLocal3;
    TformPairRemote2* formPairRemote2;

  private:
    // The wizard from step 1 (or the search); Back runs it again from inside.
    int Run();
    int LocalSearch();
    int LocalPair();
    int RemotePair();
    // Pair is offered exactly while a passkey is entered.
    static void PasskeyRule(QLineEdit* passkey, QPushButton* pair);
    // The passkey as the module takes it: its 8-bit characters, 16 at most.
    static std::string PasskeyOf(const QLineEdit* passkey);
    // One poll of an abort: true once the module reports the pairing cancelled,
    // or when the port has gone away and can never bring that report.
    bool AbortEnded();

    Communicator* comm = nullptr;
    QPointer<QDialog> owned[4];
    DeviceSearch search;
};
