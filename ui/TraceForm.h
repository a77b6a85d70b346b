// SPDX-License-Identifier: Apache-2.0
// Help > "Protocol trace...": a window beside the main window that lists every
// frame exchanged with the module while read-all, write-all, a search or a
// pairing runs: time, direction, operation, status and fields, with the raw
// bytes of the selected frame below. "Save as..." writes the lines in the format
// of --trace; "Clear" empties the list. The last kMaxFrames frames are kept.
//
// Frames are taken by Add, which only stores them; the rows are decoded and
// appended together a moment later (kBatchMs), so that a read-all does not
// stop for the list after every frame.
#pragma once

#include "Trace.h"

#include <QString>
#include <QWidget>
#include <chrono>
#include <deque>
#include <functional>
#include <vector>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTableView;
class QTimer;
class TraceModel;

class TraceForm : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kMaxFrames = 10000;
    static constexpr int kBatchMs = 150;

    explicit TraceForm(QWidget* parent = nullptr);
    ~TraceForm() override;

    // Where the window meets the person outside itself; empty in the program
    // (the real dialog runs), set by tests.
    struct Seams {
        // The file "Save as..." writes, or an empty text for Cancel.
        std::function<QString()> saveFileName;
        // Tells that the file could not be written.
        std::function<void(const QString& text)> saveFailed;
    };
    Seams seams;

    // One frame from the Communicator's observer; shown with the next batch.
    void Add(const TraceEvent& event);
    // Appends the frames waiting now (the batch timer does it by itself).
    void Flush();
    // Frames listed (after Flush).
    int FrameCount() const;
    // The trace line of a listed frame, as --trace writes it; times count from
    // the first frame listed since the window was made or cleared.
    QString Line(int row) const;
    // Writes every listed frame, one trace line each; false when the file
    // could not be written (the person is told).
    bool SaveTo(const QString& fileName);

    void saveButtonClick();
    void clearButtonClick();

    QTableView* table = nullptr;
    QPlainTextEdit* rawBytes = nullptr;
    QPushButton* saveButton = nullptr;
    QPushButton* clearButton = nullptr;
    QLabel* countLabel = nullptr;

  private:
    void ShowSelected();
    void UpdateCount();

    TraceModel* model = nullptr;
    QTimer* batchTimer = nullptr;
    std::vector<TraceEvent> pending;
    std::chrono::steady_clock::time_point start;
};
