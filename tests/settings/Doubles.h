// Stand-ins for the window's error report and progress dialogs that remember
// what a handler did to them.
#pragma once

#include "Reporting.h"

#include <QStringList>

struct RecordingErrorReport : ErrorReport {
    QStringList description;
    int shown = 0;
    int clears = 0;

    void ClearDescription() override {
        description.clear();
        ++clears;
    }
    void AddDescription(const QString& line) override { description << line; }
    void ShowModal() override { ++shown; }
};

struct RecordingProgress : Progress {
    int position = 0;
    int maximum = 8;
    int repaints = 0;
    // One letter per call, in order: 's' step, 'r' repaint, 'm' maximum raised.
    std::string calls;

    void Step() override {
        ++position;
        calls += 's';
    }
    void RaiseMaximum(int by) override {
        maximum += by;
        calls += 'm';
    }
    void Repaint() override {
        ++repaints;
        calls += 'r';
    }
};
