// SPDX-License-Identifier: Apache-2.0
#include "DeviceSearch.h"

#include "Communicator.h"
#include "mSerial.h"

#include <QDialog>

#include <QCoreApplication>
#include <QFontMetrics>
#include <QHeaderView>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>
#include <QTreeWidget>
#include <algorithm>
#include <cstring>

namespace {

// Longest sleep of a waiting loop when nothing happens.
constexpr int kIdleMs = 20;
constexpr int kAddressWidth = 100;
constexpr int kNameWidth = 337;
constexpr int kNameBytes = 32;
// Room a cell takes beside its text, and the least size the list's text is given.
constexpr int kCellMargins = 12;
constexpr double kSmallestPoints = 6.5;

} // namespace

void ProcessMessages() {
    QTimer wake;
    wake.setSingleShot(true);
    wake.start(kIdleMs);
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

DeviceSearch::DeviceSearch(QWidget* window, const SearchControls& controls) : c(controls) {
    pollTimer = new QTimer(window);
    pollTimer->setObjectName(QStringLiteral("pollTimer"));
    pollTimer->setInterval(kTickMs);
    QObject::connect(pollTimer, &QTimer::timeout, pollTimer, [this] { Tick(); });
}

void DeviceSearch::SetMainButton(QDialog* window, QPushButton* main) {
    for (QPushButton* button : window->findChildren<QPushButton*>())
        button->setAutoDefault(true);
    main->setDefault(true);
}

void DeviceSearch::ShapeList(QTreeWidget* list) {
    list->setRootIsDecorated(false);
    list->setItemsExpandable(false);
    list->setUniformRowHeights(true);
    list->setAllColumnsShowFocus(true);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setSelectionBehavior(QAbstractItemView::SelectRows);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    QHeaderView* header = list->header();
    header->setStretchLastSection(false);
    header->setSectionsMovable(false);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->resizeSection(0, kAddressWidth);
    header->resizeSection(1, kNameWidth);
    list->setMinimumWidth(kAddressWidth + kNameWidth + 2 * list->frameWidth() + 4);
    // The columns keep their widths; the list's text is made small enough for a
    // whole address to fit its column, as it does at the usual 8 point size.
    const QFont usual = list->font();
    QFont font = usual;
    auto widest = [](const QFont& f) {
        const QFontMetrics metrics(f);
        return std::max(metrics.horizontalAdvance(QStringLiteral("00 00 00 00 00 00")),
                        metrics.horizontalAdvance(QStringLiteral("db db db db db db")));
    };
    while (font.pointSizeF() > kSmallestPoints && widest(font) + kCellMargins > kAddressWidth)
        font.setPointSizeF(font.pointSizeF() - 0.5);
    list->setFont(font);
    header->setFont(usual);
}

std::array<uint8_t, 4> DeviceSearch::ClassFilter(int item) {
    static constexpr uint8_t kMajor[] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x1f};
    std::array<uint8_t, 4> filter{};
    if (item < 0 || item >= int(sizeof kMajor)) return filter;
    // The access point class goes into byte 2, the others into byte 1.
    filter[item == 3 ? 2 : 1] = kMajor[item];
    return filter;
}

QString DeviceSearch::AddressText(const std::array<uint8_t, 6>& a) {
    return QString::asprintf("%02x %02x %02x %02x %02x %02x", a[0], a[1], a[2], a[3], a[4], a[5]);
}

void DeviceSearch::SetStatus(const QString& text) {
    c.statusBar->showMessage(text);
}

void DeviceSearch::ClearList() {
    c.DeviceList->clear();
    c.inqBar->setValue(0);
}

void DeviceSearch::Begin(const std::array<uint8_t, 4>& filter) {
    deviceCount = 0;
    SetStatus(QStringLiteral("Searching..."));
    c.buttonSearchAgain->setEnabled(false);
    c.buttonStopSearch->setEnabled(true);
    c.buttonChoose->setEnabled(false);
    c.buttonCancel->setEnabled(true);
    if (comm) comm->StartInquiry(kDuration, filter.data(), true);
    pollTimer->start();
}

bool DeviceSearch::PortOpen() const {
    return comm != nullptr && comm->serialPort != nullptr && comm->serialPort->IsOpen();
}

void DeviceSearch::Cancel() {
    SetStatus(QStringLiteral("Canceling search"));
    pollTimer->stop();
    QCoreApplication::processEvents();
    if (comm) comm->CancelInquiry();
    // The module ends the search with its end event; each poll waits in the
    // port's read and lets the window process its messages. A port that is no
    // longer open cannot bring the event.
    while (PortOpen()) {
        const int32_t state = comm->PollInquiry();
        if (state == 2 || state == 3) break;
    }
    SetStatus(QStringLiteral("Search canceled"));
}

void DeviceSearch::Stop() {
    c.buttonStopSearch->setEnabled(false);
    Cancel();
    c.inqBar->setValue(0);
    c.buttonSearchAgain->setEnabled(true);
    c.buttonStopSearch->setEnabled(false);
    c.buttonCancel->setEnabled(true);
}

void DeviceSearch::Ended() {
    SetStatus(QStringLiteral("Search completed"));
    c.inqBar->setValue(0);
    c.buttonSearchAgain->setEnabled(true);
    c.buttonStopSearch->setEnabled(false);
    c.buttonCancel->setEnabled(true);
    pollTimer->stop();
}

void DeviceSearch::UpdateChoice() {
    c.buttonChoose->setEnabled(!c.DeviceList->selectedItems().isEmpty());
}

const DeviceEntry* DeviceSearch::Chosen() const {
    const QList<QTreeWidgetItem*> selected = c.DeviceList->selectedItems();
    if (selected.isEmpty()) return nullptr;
    const int row = c.DeviceList->indexOfTopLevelItem(selected.front());
    for (int32_t i = 0; i < deviceCount && i < kTableSize; ++i)
        if (deviceTable[i].listIndex == row) return &deviceTable[i];
    return nullptr;
}

void DeviceSearch::Tick() {
    // A step past the end starts the bar over.
    const int next = c.inqBar->value() + 1;
    c.inqBar->setValue(next > c.inqBar->maximum() ? c.inqBar->minimum() : next);
    if (comm == nullptr) return;

    if (comm->PollInquiry() == 1) {
        uint8_t address[6] = {};
        uint8_t name[kNameBytes] = {};
        comm->TakeInquiryResult(address, name);
        if (deviceCount >= kTableSize) return; // the list is full: ignored
        DeviceEntry& entry = deviceTable[deviceCount];
        std::memcpy(entry.address.data(), address, 6);
        const void* end = std::memchr(name, 0, kNameBytes);
        const size_t length = end ? size_t(static_cast<const uint8_t*>(end) - name) : kNameBytes;
        entry.name.assign(reinterpret_cast<const char*>(name), length);
        entry.listIndex = deviceCount;
        ++deviceCount;
        auto* row = new QTreeWidgetItem(c.DeviceList);
        row->setText(0, AddressText(entry.address));
        row->setText(1, QString::fromLatin1(entry.name.data(), int(entry.name.size())));
        return;
    }
    // The end of the search: a result still waiting then is not listed.
    if (comm->PollInquiry() == 3) {
        Ended();
        return;
    }
    if (comm->PollInquiry() == 2) Ended();
}
