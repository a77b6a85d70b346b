// SPDX-License-Identifier: Apache-2.0
#include "TraceForm.h"

#include <QAbstractTableModel>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

namespace {

QString Latin1(const std::string& text) {
    return QString::fromLatin1(text.data(), int(text.size()));
}

} // namespace

// The listed frames, oldest first, decoded once as they are appended.
class TraceModel : public QAbstractTableModel {
  public:
    enum Column { kTime, kDirection, kOperation, kStatus, kFields, kColumns };

    struct Row {
        double ms = 0;
        TraceEvent event;
        DecodedFrame words;
    };

    explicit TraceModel(QObject* parent) : QAbstractTableModel(parent) {}

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : int(rows.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : kColumns;
    }

    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || index.row() >= int(rows.size())) return {};
        const Row& row = rows[size_t(index.row())];
        if (role == Qt::TextAlignmentRole && index.column() == kTime)
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
        switch (index.column()) {
        case kTime:
            return QString::number(row.ms, 'f', 3);
        case kDirection:
            return row.event.direction == TraceEvent::Direction::Send ? QStringLiteral("send")
                                                                      : QStringLiteral("recv");
        case kOperation: {
            QString text = Latin1(row.words.operation);
            if (row.words.opcode >= 0)
                text += QStringLiteral(" (0x%1)").arg(
                    QString::number(row.words.opcode, 16).toUpper().rightJustified(2, '0'));
            if (!row.words.marks.empty())
                text += QStringLiteral(" [") + Latin1(row.words.marks) + "]";
            return text;
        }
        case kStatus:
            return Latin1(row.words.status);
        case kFields:
            return Latin1(row.words.fields);
        default:
            return {};
        }
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
        static const char* const kTitles[kColumns] = {"Time (ms)", "Direction", "Operation",
                                                      "Status", "Fields"};
        return section >= 0 && section < kColumns ? QString::fromLatin1(kTitles[section])
                                                  : QVariant();
    }

    // Appends the batch in one insertion, dropping the oldest rows beyond `limit`.
    void Append(std::vector<Row>&& batch, int limit) {
        if (batch.empty()) return;
        if (int(batch.size()) > limit) batch.erase(batch.begin(), batch.end() - limit);
        const int excess = int(rows.size() + batch.size()) - limit;
        if (excess > 0) {
            beginRemoveRows({}, 0, excess - 1);
            rows.erase(rows.begin(), rows.begin() + excess);
            endRemoveRows();
        }
        const int first = int(rows.size());
        beginInsertRows({}, first, first + int(batch.size()) - 1);
        for (Row& row : batch)
            rows.push_back(std::move(row));
        endInsertRows();
    }

    void Clear() {
        beginResetModel();
        rows.clear();
        endResetModel();
    }

    std::deque<Row> rows;
    int lastSent = -1; // the opcode of the last command, for the answer's words
};

TraceForm::TraceForm(QWidget* parent)
    : QWidget(parent, Qt::Window), start(std::chrono::steady_clock::now()) {
    setObjectName(QStringLiteral("TraceForm"));
    setWindowTitle(QStringLiteral("Protocol trace"));
    // Escape closes it, as it closes a dialog.
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    escape->setContext(Qt::WindowShortcut);
    connect(escape, &QShortcut::activated, this, &QWidget::close);

    model = new TraceModel(this);
    table = new QTableView(this);
    table->setObjectName(QStringLiteral("traceTable"));
    table->setModel(model);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setTabKeyNavigation(false);
    table->setWordWrap(false);
    table->setAlternatingRowColors(true);
    table->verticalHeader()->hide();
    // Rows of one height: appending never measures the rows already there.
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    const QFontMetrics metrics = table->fontMetrics();
    table->setColumnWidth(TraceModel::kTime, metrics.horizontalAdvance("000000.000") + 16);
    table->setColumnWidth(TraceModel::kDirection, metrics.horizontalAdvance("Direction") + 16);
    table->setColumnWidth(TraceModel::kOperation,
                          metrics.horizontalAdvance("GetCodecOutputGainMax (0xF2)") + 16);
    table->setColumnWidth(TraceModel::kStatus,
                          metrics.horizontalAdvance("254 (Command failed)") + 16);

    rawBytes = new QPlainTextEdit(this);
    rawBytes->setObjectName(QStringLiteral("rawBytes"));
    rawBytes->setReadOnly(true);
    rawBytes->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    rawBytes->setPlaceholderText(QStringLiteral("The bytes of the selected frame"));

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->addWidget(table);
    splitter->addWidget(rawBytes);
    splitter->setStretchFactor(0, 4);
    splitter->setStretchFactor(1, 1);

    countLabel = new QLabel(this);
    countLabel->setObjectName(QStringLiteral("countLabel"));
    saveButton = new QPushButton(QStringLiteral("Save as..."), this);
    saveButton->setObjectName(QStringLiteral("saveButton"));
    clearButton = new QPushButton(QStringLiteral("Clear"), this);
    clearButton->setObjectName(QStringLiteral("clearButton"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(countLabel, 1);
    buttons->addWidget(saveButton);
    buttons->addWidget(clearButton);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addLayout(buttons);
    resize(1100, 560);

    batchTimer = new QTimer(this);
    batchTimer->setSingleShot(true);
    batchTimer->setInterval(kBatchMs);
    connect(batchTimer, &QTimer::timeout, this, &TraceForm::Flush);
    connect(saveButton, &QPushButton::clicked, this, &TraceForm::saveButtonClick);
    connect(clearButton, &QPushButton::clicked, this, &TraceForm::clearButtonClick);
    connect(table->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &TraceForm::ShowSelected);
    UpdateCount();
}

TraceForm::~TraceForm() = default;

void TraceForm::Add(const TraceEvent& event) {
    pending.push_back(event);
    if (!batchTimer->isActive()) batchTimer->start();
}

void TraceForm::Flush() {
    batchTimer->stop();
    if (pending.empty()) return;
    std::vector<TraceModel::Row> batch;
    batch.reserve(pending.size());
    for (TraceEvent& event : pending) {
        // Times count from the first frame listed (after opening or Clear).
        if (model->rows.empty() && batch.empty()) start = event.time;
        TraceModel::Row row;
        row.ms = std::chrono::duration<double, std::milli>(event.time - start).count();
        row.words = DecodeEvent(event, model->lastSent);
        if (event.direction == TraceEvent::Direction::Send && !event.bytes.empty())
            model->lastSent = event.bytes[0];
        row.event = std::move(event);
        batch.push_back(std::move(row));
    }
    pending.clear();
    const QScrollBar* bar = table->verticalScrollBar();
    const bool atEnd = bar->value() >= bar->maximum();
    model->Append(std::move(batch), kMaxFrames);
    if (atEnd) table->scrollToBottom();
    UpdateCount();
}

int TraceForm::FrameCount() const {
    return model->rowCount();
}

QString TraceForm::Line(int row) const {
    if (row < 0 || row >= model->rowCount()) return {};
    const TraceModel::Row& r = model->rows[size_t(row)];
    return Latin1(TraceLine(r.ms, r.event, r.words));
}

bool TraceForm::SaveTo(const QString& fileName) {
    Flush();
    QFile file(fileName);
    bool written = file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    for (int row = 0; written && row < model->rowCount(); ++row)
        written = file.write((Line(row) + QLatin1Char('\n')).toLatin1()) >= 0;
    written = written && file.flush();
    if (written) return true;
    const QString text =
        QStringLiteral("The trace could not be saved to %1: %2").arg(fileName, file.errorString());
    if (seams.saveFailed)
        seams.saveFailed(text);
    else
        QMessageBox::warning(this, QStringLiteral("Protocol trace"), text);
    return false;
}

void TraceForm::saveButtonClick() {
    const QString fileName =
        seams.saveFileName
            ? seams.saveFileName()
            : QFileDialog::getSaveFileName(this, QStringLiteral("Save trace as"), QString(),
                                           QStringLiteral("Trace files (*.txt);;All files (*)"));
    if (!fileName.isEmpty()) SaveTo(fileName);
}

void TraceForm::clearButtonClick() {
    pending.clear();
    batchTimer->stop();
    model->Clear();
    rawBytes->clear();
    UpdateCount();
}

void TraceForm::ShowSelected() {
    const int row = table->currentIndex().row();
    if (row < 0 || row >= model->rowCount()) {
        rawBytes->clear();
        return;
    }
    const TraceModel::Row& r = model->rows[size_t(row)];
    // Sixteen bytes a line, with their offsets.
    QString text;
    const std::vector<uint8_t>& bytes = r.event.bytes;
    for (size_t at = 0; at < bytes.size(); at += 16) {
        const size_t count = std::min<size_t>(16, bytes.size() - at);
        text += QStringLiteral("%1  ").arg(qulonglong(at), 4, 16, QLatin1Char('0'));
        text += Latin1(HexBytes(bytes.data() + at, count)) + QLatin1Char('\n');
    }
    text += QStringLiteral("\n") + Latin1(r.words.Words());
    rawBytes->setPlainText(text);
}

void TraceForm::UpdateCount() {
    const int count = model->rowCount();
    countLabel->setText(count == 1 ? QStringLiteral("1 frame")
                                   : QStringLiteral("%1 frames").arg(count));
}
