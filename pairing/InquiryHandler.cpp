// SPDX-License-Identifier: Apache-2.0
#include "InquiryHandler.h"

#include "TinqForm.h"

namespace {

SearchControls ControlsOf(TinqForm* f) {
    SearchControls c;
    c.DeviceList = f->DeviceList;
    c.inqBar = f->inqBar;
    c.statusBar = f->statusBar;
    c.buttonStopSearch = f->buttonStopSearch;
    c.buttonSearchAgain = f->buttonSearchAgain;
    c.buttonChoose = f->buttonOk;
    c.buttonCancel = f->buttonCancel;
    return c;
}

} // namespace

InquiryHandler::InquiryHandler(QWidget* owner)
    : inqForm(new TinqForm(owner)), ownedForm(inqForm), search(inqForm, ControlsOf(inqForm)) {}

InquiryHandler::~InquiryHandler() {
    delete ownedForm.data();
}

int InquiryHandler::SetCommunicator(Communicator* c) {
    search.comm = c;
    return 1;
}

int InquiryHandler::Execute() {
    TinqForm& f = *inqForm;
    search.ClearList();
    f.tag = 0;
    f.closing = false;
    // Not run as a modal loop: this loop keeps control, the window blocks the owner.
    f.show();
    f.raise();
    f.activateWindow();
    search.Begin({}); // the dialog always searches for every device

    for (;;) {
        ProcessMessages();
        switch (f.tag) {
        case 1: // stop search
            f.tag = 0;
            search.Stop();
            break;
        case 2: { // search again
            search.ClearList();
            f.tag = 0;
            // The filter is worked out from the (hidden) list, then cleared again.
            std::array<uint8_t, 4> filter = DeviceSearch::ClassFilter(f.devfilter->currentIndex());
            filter.fill(0);
            search.Begin(filter);
            break;
        }
        case 3: // cancel, or the close box
            f.tag = 0;
            f.closing = true;
            search.Cancel();
            f.close();
            return -1;
        case 4: // a row selected or the selection cleared; checked again on every pass
            search.UpdateChoice();
            break;
        case 5: { // OK: the search is cancelled even when it has completed
            f.tag = 0;
            f.closing = true;
            search.Cancel();
            f.close();
            const DeviceEntry* chosen = search.Chosen();
            if (chosen == nullptr) return -1;
            selectedAddress = chosen->address;
            return 1;
        }
        default:
            break;
        }
    }
}
