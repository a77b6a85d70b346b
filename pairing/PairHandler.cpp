// SPDX-License-Identifier: Apache-2.0
#include "PairHandler.h"

#include "Communicator.h"
#include "PairForms.h"
#include "mSerial.h"

#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QTimer>
#include <algorithm>

namespace {

SearchControls ControlsOf(TformPairLocal2* f) {
    SearchControls c;
    c.DeviceList = f->DeviceList;
    c.inqBar = f->inqBar;
    c.statusBar = f->statusBar;
    c.buttonStopSearch = f->buttonStopSearch;
    c.buttonSearchAgain = f->buttonSearchAgain;
    c.buttonChoose = f->buttonNext;
    c.buttonCancel = f->buttonCancel;
    return c;
}

// Shown without a modal loop of its own: the page's loop keeps control while the
// window blocks every other.
void Present(QDialog* window) {
    window->show();
    window->raise();
    window->activateWindow();
}

// A pairing that completed: Finish is enabled, takes Return and the focus,
// so a second key press does not go back a page.
void Offer(QPushButton* finish) {
    finish->setEnabled(true);
    finish->setDefault(true);
    finish->setFocus(Qt::OtherFocusReason);
}

// A pairing that failed: the passkey can be typed again and Return pairs.
void Retry(QLineEdit* passkey, QPushButton* pair) {
    pair->setEnabled(true);
    pair->setDefault(true);
    passkey->setEnabled(true);
    passkey->setFocus(Qt::OtherFocusReason);
}

QString Hex6(const std::array<uint8_t, 6>& a) {
    return DeviceSearch::AddressText(a);
}

// Pairing states of the module's pairing event.
enum : int32_t {
    kComplete = 1,
    kTimedOut = 2,
    kFailed = 3,
    kCancelled = 4,
    kError = 5,
};

// The text of a failed pairing, or nullptr for any other state.
const char* FailureText(int32_t state) {
    switch (state) {
    case kTimedOut:
        return "Pairing failed due to timeout";
    case kFailed:
        return "Pairing failed";
    case kError:
        return "Pairing error";
    default:
        return nullptr;
    }
}

} // namespace

PairHandler::PairHandler(QWidget* owner)
    : formPair1(new TformPair1(owner)), formPairLocal2(new TformPairLocal2(owner)),
      formPairLocal3(new TformPairLocal3(owner)),
      formPairRemote2(new TformPairRemote2(owner)), owned{formPair1, formPairLocal2, formPairLocal3,
                                                          formPairRemote2},
      search(formPairLocal2, ControlsOf(formPairLocal2)) {
    TformPair1* step1 = formPair1;
    QObject::connect(step1->radioLocalPair, &QRadioButton::clicked, step1, [step1] {
        step1->setWindowTitle(QStringLiteral("Pair device wizard (Step 1/3)"));
        step1->buttonNext->setEnabled(true);
    });
    QObject::connect(step1->radioRemotePair, &QRadioButton::clicked, step1, [step1] {
        step1->setWindowTitle(QStringLiteral("Pair device wizard (Step 1/2)"));
        step1->buttonNext->setEnabled(true);
    });
    for (auto [edit, pair] : {std::pair{formPairLocal3->textPinCode, formPairLocal3->pairButton},
                              std::pair{formPairRemote2->textPinCode, formPairRemote2->pairButton}})
    {
        QObject::connect(edit, &QLineEdit::textChanged, pair,
                         [edit = edit, pair = pair] { PasskeyRule(edit, pair); });
        // As the PIN code: a character the module's 8-bit text cannot carry is
        // refused as it is typed or pasted.
        edit->setValidator(new QRegularExpressionValidator(
            QRegularExpression(QStringLiteral("[\\x{1}-\\x{ff}]*")), edit));
    }
}

PairHandler::~PairHandler() {
    for (const QPointer<QDialog>& window : owned)
        delete window.data();
}

int PairHandler::SetCommunicator(Communicator* c) {
    comm = c;
    search.comm = c;
    return 1;
}

void PairHandler::PasskeyRule(QLineEdit* passkey, QPushButton* pair) {
    pair->setEnabled(!passkey->text().isEmpty());
}

std::string PairHandler::PasskeyOf(const QLineEdit* passkey) {
    const QByteArray bytes = passkey->text().left(16).toLatin1();
    return std::string(bytes.constData(), size_t(bytes.size()));
}

int PairHandler::Execute() {
    const int result = Run();
    // Whatever the way out, the caller learns the module's paired device (once,
    // however many times the person went back). On failure the address stays.
    if (comm) comm->GetPairedDevice(remoteAddress.data());
    return result;
}

int PairHandler::Run() {
    if (resumeAtSearch != 1) {
        TformPair1& f = *formPair1;
        // Radios in one group cannot all be unchecked while they exclude each other.
        for (QRadioButton* radio : {f.radioLocalPair, f.radioRemotePair}) {
            radio->setAutoExclusive(false);
            radio->setChecked(false);
            radio->setAutoExclusive(true);
        }
        f.buttonNext->setEnabled(false);
        // The code is left as the last run left it: a close box after an earlier
        // Next keeps 1 and goes on (to the remote path, with no radio checked).
        f.exec();
        if (f.tag == -1) {
            resumeAtSearch = 0;
            return -1;
        }
        if (!f.radioLocalPair->isChecked()) return RemotePair();
    }
    return LocalSearch();
}

int PairHandler::LocalSearch() {
    TformPairLocal2& f = *formPairLocal2;
    search.ClearList();
    f.tag = 0;
    Present(&f);
    search.Begin({});

    for (;;) {
        ProcessMessages();
        switch (f.tag) {
        case 1: // stop search; the code stays, so the stop is repeated on every pass
            search.Stop();
            break;
        case 2: // search again, with the class of the device filter
            search.ClearList();
            f.tag = 0;
            search.Begin(DeviceSearch::ClassFilter(f.devfilter->currentIndex()));
            break;
        case 3: // cancel, or the close box before any other button
            search.Cancel();
            f.hide();
            resumeAtSearch = 0;
            return -1;
        case 4: // a row selected or the selection cleared
            search.UpdateChoice();
            break;
        case 5: { // Next
            if (search.pollTimer->isActive()) search.Cancel();
            f.hide();
            if (const DeviceEntry* chosen = search.Chosen()) {
                remoteAddress = chosen->address;
                remoteName = chosen->name;
            }
            return LocalPair();
        }
        case 6: // Back to step 1
            if (search.pollTimer->isActive()) search.Cancel();
            f.hide();
            resumeAtSearch = 0;
            return Run();
        default:
            break;
        }
    }
}

int PairHandler::LocalPair() {
    TformPairLocal3& f = *formPairLocal3;
    f.labelRemoteDevice->setText(QString::fromLatin1(remoteName.data(), int(remoteName.size())) +
                                 "(" + Hex6(remoteAddress) + ")");
    f.finnishButton->setEnabled(false);
    f.cancelButton->setEnabled(true);
    f.pairStatus->setText(QStringLiteral("Device not paired"));
    f.tag = 0;
    f.textPinCode->setEnabled(true);
    PasskeyRule(f.textPinCode, f.pairButton);
    f.pairButton->setDefault(true);
    Present(&f);
    f.textPinCode->setFocus(Qt::OtherFocusReason);
    bool underWay = false;

    // A pairing that ends lets the person edit the passkey again.
    auto settled = [&f, &underWay] {
        underWay = false;
        f.textPinCode->setEnabled(true);
    };

    for (;;) {
        ProcessMessages();
        switch (f.tag) {
        case 1: { // Pair
            const std::string key = PasskeyOf(f.textPinCode);
            if (comm)
                comm->StartPairing(0, remoteAddress.data(),
                                   reinterpret_cast<const uint8_t*>(key.data()),
                                   uint32_t(key.size()));
            f.pairStatus->setText(QStringLiteral("Pairing..."));
            // The focus waits on Cancel, not on <Back, while the pairing runs.
            f.cancelButton->setFocus(Qt::OtherFocusReason);
            f.pairButton->setEnabled(false);
            f.textPinCode->setEnabled(false);
            f.tag = 9;
            underWay = true;
            break;
        }
        case 9: { // under way; the final state is shown again on every pass
            const int32_t state = comm ? comm->PollPairingStatus() : 0;
            if (state == kComplete) {
                f.pairStatus->setText(QStringLiteral("Pairing complete"));
                if (!f.finnishButton->isEnabled()) Offer(f.finnishButton);
                f.cancelButton->setEnabled(false);
                settled();
            } else if (const char* text = FailureText(state)) {
                f.pairStatus->setText(QString::fromLatin1(text));
                if (underWay) Retry(f.textPinCode, f.pairButton);
                settled();
            } else if (state == kCancelled) {
                f.hide();
                resumeAtSearch = 0;
                f.tag = 0;
                return -1;
            }
            break;
        }
        case 3: // Back: to a fresh search, after the pairing under way is aborted
            if (underWay) {
                if (comm) comm->CancelInquiry();
                f.tag = 12;
                break;
            }
            resumeAtSearch = 1;
            f.hide();
            return Run();
        case 12:
            if (AbortEnded()) {
                resumeAtSearch = 1;
                f.hide();
                return Run();
            }
            break;
        case 4: // Cancel, or the close box while the code is 9
            if (underWay) {
                if (comm) comm->CancelInquiry();
                f.tag = 13;
                break;
            }
            f.hide();
            resumeAtSearch = 0;
            f.tag = 0;
            return -1;
        case 13:
            if (AbortEnded()) {
                f.hide();
                resumeAtSearch = 0;
                return -1;
            }
            break;
        case 11: // Finish
            f.hide();
            resumeAtSearch = 0;
            return 1;
        default:
            break;
        }
    }
}

bool PairHandler::AbortEnded() {
    if (comm == nullptr) return false;
    if (comm->PollPairingStatus() == kCancelled) return true;
    return comm->serialPort == nullptr || !comm->serialPort->IsOpen();
}

int PairHandler::RemotePair() {
    TformPairRemote2& f = *formPairRemote2;
    f.tag = 0;
    f.finnishButton->setEnabled(false);
    f.cancelButton->setEnabled(true);
    f.backButton->setEnabled(true);
    f.pairStatus->setText(QStringLiteral("Enter passkey and press pair button"));
    f.textPinCode->setEnabled(true);
    PasskeyRule(f.textPinCode, f.pairButton);
    f.pairButton->setDefault(true);
    Present(&f);
    f.textPinCode->setFocus(Qt::OtherFocusReason);
    bool waiting = false;

    auto settled = [&f, &waiting] {
        waiting = false;
        f.textPinCode->setEnabled(true);
    };

    for (;;) {
        ProcessMessages();
        switch (f.tag) {
        case 2: { // Pair: the module waits for the remote device
            f.cancelButton->setFocus(Qt::OtherFocusReason);
            f.finnishButton->setEnabled(false);
            f.pairButton->setEnabled(false);
            f.textPinCode->setEnabled(false);
            f.pairStatus->setText(QStringLiteral("Waiting for remote device to pair"));
            const std::string key = PasskeyOf(f.textPinCode);
            if (comm)
                comm->StartPairing(1, nullptr, reinterpret_cast<const uint8_t*>(key.data()),
                                   uint32_t(key.size()));
            f.tag = 9;
            waiting = true;
            break;
        }
        case 9: { // waiting; the final state is shown again on every pass
            const int32_t state = comm ? comm->PollPairingStatus() : 0;
            if (state == kComplete) {
                comm->GetPairedDevice(remoteAddress.data());
                f.pairStatus->setText(QStringLiteral("Device paired with ") + Hex6(remoteAddress));
                if (!f.finnishButton->isEnabled()) Offer(f.finnishButton);
                f.cancelButton->setEnabled(false);
                settled();
            } else if (state >= kTimedOut && state <= kError) {
                const char* text = state == kCancelled ? "Pairing canceled" : FailureText(state);
                f.pairStatus->setText(QString::fromLatin1(text));
                if (waiting) Retry(f.textPinCode, f.pairButton);
                settled();
            }
            break;
        }
        case 1: // Back to step 1, after the waiting pairing is aborted
            if (waiting) {
                if (comm) comm->CancelInquiry();
                f.tag = 12;
                break;
            }
            resumeAtSearch = 0;
            f.hide();
            return Run();
        case 12:
            if (AbortEnded()) {
                resumeAtSearch = 0;
                f.hide();
                return Run();
            }
            break;
        case 4: // Cancel, or the close box while the code is 9
            if (waiting) {
                if (comm) comm->CancelInquiry();
                f.tag = 11;
                break;
            }
            f.hide();
            return -1;
        case 11:
            if (AbortEnded()) {
                f.hide();
                return -1;
            }
            break;
        case 3: // Finish
            f.hide();
            return 1;
        default:
            break;
        }
    }
}
