// Help > Protocol trace... in the window against a virtual module: rows appear
// while read-all runs, they are the frames the module recorded, the selected
// frame's bytes show below, Save as... writes the lines of --trace, Clear
// empties the list, and the list keeps the last 10,000 frames.
#include "TraceForm.h"
#include "WindowRig.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The listed frames from the module's side: "recv 14 00" for a frame we sent.
QStringList AsModuleSaw(const QStringList& lines) {
    static const QRegularExpression shape(
        R"(^ *\d+\.\d{3} (send|recv) ([0-9a-f]{2}(?: [0-9a-f]{2})*) \| \S.*$)");
    QStringList frames;
    for (const QString& line : lines) {
        const QRegularExpressionMatch m = shape.match(line);
        if (!m.hasMatch()) {
            frames << "not a trace line: " + line;
            continue;
        }
        frames << (m.captured(1) == "send" ? "recv " : "send ") + m.captured(2);
    }
    return frames;
}

QStringList ModuleLines(const WindowRig& rig) {
    QStringList lines;
    for (const std::string& line : rig.sim.TraceLines())
        lines << QString::fromStdString(line);
    return lines;
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
    QTemporaryDir dir;

  private slots:
    void initTestCase() {
        QApplication::setQuitOnLastWindowClosed(false);
        QVERIFY(dir.isValid());
    }

    void rowsAppearDuringReadAllAndSaveWritesTheTrace() {
        WindowRig rig;
        QVERIFY(rig.StartAndRead());
        TMainForm& f = *rig.form;
        QCOMPARE(f.menuHelpTrace->text().remove('&'), QStringLiteral("Protocol trace..."));
        QVERIFY(f.traceForm == nullptr);
        f.menuHelpTrace->trigger();
        QVERIFY(f.traceForm != nullptr);
        TraceForm& trace = *f.traceForm;
        QVERIFY(trace.isVisible());
        QVERIFY(!trace.isModal());
        QCOMPARE(trace.FrameCount(), 0);
        QCOMPARE(trace.countLabel->text(), QStringLiteral("0 frames"));

        // Rows come in batches while read-all still runs.
        rig.ClearTrace();
        bool running = false;
        int batchesWhileRunning = 0;
        connect(trace.table->model(), &QAbstractItemModel::rowsInserted, this,
                [&] { batchesWhileRunning += running ? 1 : 0; });
        running = true;
        QVERIFY(f.ReadAll());
        running = false;
        QVERIFY2(batchesWhileRunning >= 2, qPrintable(QString::number(batchesWhileRunning)));
        QTRY_COMPARE(trace.FrameCount(), int(rig.sim.TraceLines().size()));
        QCOMPARE(AsModuleSaw(Listed(trace)), ModuleLines(rig));
        QCOMPARE(trace.countLabel->text(), QString("%1 frames").arg(trace.FrameCount()));
        QVERIFY(trace.Line(0).startsWith("     0.000 send 01 04 ff 00 55 aa | CheckConnection"));

        // The table's columns: time, direction, operation, status, fields.
        const QAbstractItemModel& model = *trace.table->model();
        int serialRow = -1;
        for (int row = 0; row < model.rowCount() && serialRow < 0; ++row)
            if (model.index(row, 2).data().toString() == "GetSerialSettings (0x14)" &&
                model.index(row, 1).data().toString() == "recv")
                serialRow = row;
        QVERIFY(serialRow > 0);
        QCOMPARE(model.index(serialRow, 3).data().toString(), QStringLiteral("1 (success)"));
        QCOMPARE(model.index(serialRow, 4).data().toString(),
                 QStringLiteral("rate code 5 (38400), flow control 0, parity 0 (None), data bits "
                                "8, stop bits 1"));
        QVERIFY(model.index(serialRow, 0).data().toDouble() >=
                model.index(serialRow - 1, 0).data().toDouble());
        QCOMPARE(model.index(serialRow - 1, 1).data().toString(), QStringLiteral("send"));

        // The selected frame's bytes below.
        trace.table->selectRow(serialRow);
        QVERIFY(trace.rawBytes->toPlainText().startsWith("0000  14 06 01 05 00 00 08 01\n"));

        // Save as... writes the list in the format of --trace.
        const QString path = dir.filePath("window.trace");
        trace.seams.saveFileName = [&] { return path; };
        trace.saveButton->click();
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList saved =
            QString::fromLatin1(file.readAll()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(saved, Listed(trace));
        QCOMPARE(AsModuleSaw(saved), ModuleLines(rig));
        QVERIFY(saved.contains(QRegularExpression(
            R"(^ *\d+\.\d{3} recv 14 06 01 05 00 00 08 01 \| GetSerialSettings \(0x14\): status 1 )"
            R"(\(success\); rate code 5 \(38400\), flow control 0, parity 0 \(None\), data bits )"
            R"(8, stop bits 1$)")));

        // A file that cannot be written is told, and nothing else happens.
        QStringList told;
        trace.seams.saveFailed = [&](const QString& text) { told << text; };
        trace.seams.saveFileName = [&] { return dir.filePath("no/such/folder/t.trace"); };
        trace.saveButton->click();
        QCOMPARE(told.size(), 1);
        QVERIFY(told[0].startsWith("The trace could not be saved to "));

        // Clear empties it; a closed window lists nothing, and shows what comes
        // after it is opened again.
        trace.clearButton->click();
        QCOMPARE(trace.FrameCount(), 0);
        QCOMPARE(trace.rawBytes->toPlainText(), QString());
        trace.close();
        QVERIFY(f.ReadAll());
        QTest::qWait(3 * TraceForm::kBatchMs);
        QCOMPARE(trace.FrameCount(), 0);
        f.menuHelpTrace->trigger();
        QCOMPARE(f.traceForm, &trace);
        rig.ClearTrace();
        QVERIFY(f.WriteAll());
        QTRY_COMPARE(trace.FrameCount(), int(rig.sim.TraceLines().size()));
        QCOMPARE(AsModuleSaw(Listed(trace)), ModuleLines(rig));
    }

    void keepsTheLastTenThousandFrames() {
        TraceForm trace;
        const auto frame = [](int i) {
            TraceEvent e;
            e.time = std::chrono::steady_clock::now();
            e.direction = i % 2 ? TraceEvent::Direction::Receive : TraceEvent::Direction::Send;
            e.bytes = {0xC3, 0x02, uint8_t(i >> 8), uint8_t(i)};
            return e;
        };
        for (int i = 0; i < 9000; ++i)
            trace.Add(frame(i));
        trace.Flush();
        QCOMPARE(trace.FrameCount(), 9000);
        for (int i = 9000; i < 10250; ++i)
            trace.Add(frame(i));
        trace.Flush();
        QCOMPARE(trace.FrameCount(), TraceForm::kMaxFrames);
        // The oldest went: the first row is frame 250 (0x00fa), the last 10249 (0x2809).
        QVERIFY(
            trace.Line(0).contains(" send c3 02 00 fa | SetLinkTimeout (0xC3): link timeout 250"));
        QVERIFY(trace.Line(TraceForm::kMaxFrames - 1).contains(" recv c3 02 28 09 | "));
        // One batch larger than the list keeps its own last frames.
        for (int i = 0; i < 10003; ++i)
            trace.Add(frame(i));
        trace.Flush();
        QCOMPARE(trace.FrameCount(), TraceForm::kMaxFrames);
        QVERIFY(trace.Line(0).contains(" recv c3 02 00 03 | "));
    }
};

QTEST_MAIN(TraceWindowTest)
#include "TraceWindowTest.moc"
