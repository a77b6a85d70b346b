// SPDX-License-Identifier: Apache-2.0
// Help > Protocol trace... in the window against a virtual module: rows appear
// while read-all runs, they are the frames the module recorded, the selected
// frame's bytes show below, Save as... writes the lines of --trace, Clear
// empties the list.
#include "TraceForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableView>
#include <QTest>

namespace {

// The listed lines as the module saw them ("recv 14 00" for a frame we sent)
// next to the module's own trace.
bool ListedAsTheModuleSaw(const QStringList& listed, const WindowRig& rig) {
    static const QRegularExpression shape(
        R"(^ *\d+\.\d{3} (send|recv) ([0-9a-f]{2}(?: [0-9a-f]{2})*) \| \S.*$)");
    QStringList frames, module;
    for (const QString& line : listed) {
        const QRegularExpressionMatch m = shape.match(line);
        frames << (m.hasMatch() ? (m.captured(1) == "send" ? "recv " : "send ") + m.captured(2)
                                : "not a trace line: " + line);
    }
    for (const std::string& line : rig.sim.TraceLines())
        module << QString::fromStdString(line);
    if (frames != module) qWarning("listed:\n%s", qPrintable(frames.join('\n')));
    return frames == module;
}

QStringList Listed(const TraceForm& trace) {
    QStringList lines;
    for (int row = 0; row < trace.FrameCount(); ++row)
        lines << trace.Line(row);
    return lines;
}

} // namespace

class TraceWindowTest : public QObject {
    Q_OBJECT
  private slots:
    void rowsAppearDuringReadAllAndSaveWritesTheTrace() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        f.menuHelpTrace->trigger();
        QVERIFY(f.traceForm != nullptr);
        TraceForm& trace = *f.traceForm;
        QVERIFY(trace.isVisible() && !trace.isModal());
        QCOMPARE(trace.countLabel->text(), QStringLiteral("0 frames"));

        // Rows come in batches while read-all still runs.
        rig.ClearTrace();
        bool running = true;
        int batchesWhileRunning = 0;
        connect(trace.table->model(), &QAbstractItemModel::rowsInserted, this,
                [&] { batchesWhileRunning += running ? 1 : 0; });
        QVERIFY(f.ReadAll());
        running = false;
        QVERIFY2(batchesWhileRunning >= 2, qPrintable(QString::number(batchesWhileRunning)));
        QTRY_COMPARE(trace.FrameCount(), int(rig.sim.TraceLines().size()));
        QVERIFY(ListedAsTheModuleSaw(Listed(trace), rig));
        QCOMPARE(trace.countLabel->text(), QString("%1 frames").arg(trace.FrameCount()));
        QVERIFY(trace.Line(0).startsWith("     0.000 send 01 04 ff 00 55 aa | CheckConnection"));

        // The table's columns: time, direction, operation, status, fields; the
        // selected frame's bytes below.
        const QAbstractItemModel& model = *trace.table->model();
        int row = 1;
        while (row < model.rowCount() &&
               model.index(row, 2).data().toString() + model.index(row, 1).data().toString() !=
                   "GetSerialSettings (0x14)recv")
            ++row;
        QCOMPARE(model.index(row, 3).data().toString(), QStringLiteral("1 (success)"));
        QCOMPARE(model.index(row, 4).data().toString(),
                 QStringLiteral("rate code 5 (38400), flow control 0, parity 0 (None), data bits "
                                "8, stop bits 1"));
        QVERIFY(model.index(row, 0).data().toDouble() >= model.index(row - 1, 0).data().toDouble());
        QCOMPARE(model.index(row - 1, 1).data().toString(), QStringLiteral("send"));
        trace.table->selectRow(row);
        QVERIFY(trace.rawBytes->toPlainText().startsWith("0000  14 06 01 05 00 00 08 01\n"));

        // Save as... writes the list in the format of --trace; a file that cannot
        // be written is told.
        const QString path = TempFile("");
        trace.seams.saveFileName = [&] { return path; };
        trace.saveButton->click();
        QCOMPARE(QString::fromLatin1(ReadFile(path)).split('\n', Qt::SkipEmptyParts),
                 Listed(trace));
        QStringList told;
        trace.seams.saveFailed = [&](const QString& text) { told << text; };
        trace.seams.saveFileName = [&] { return path + "/no/such/folder/t.trace"; };
        trace.saveButton->click();
        QCOMPARE(told.size(), 1);
        QVERIFY(told[0].startsWith("The trace could not be saved to "));

        // Clear empties it.
        trace.clearButton->click();
        QCOMPARE(trace.FrameCount(), 0);
        QCOMPARE(trace.rawBytes->toPlainText(), QString());
    }
};

static const int registered = RegisterTest("TraceWindowTest", [] { return new TraceWindowTest; });
#include "TraceWindowTest.moc"
