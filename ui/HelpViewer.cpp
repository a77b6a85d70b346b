// SPDX-License-Identifier: Apache-2.0
// The help file reader and the window that shows its topics.
#include "HelpViewer.h"

#include "Desktop.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPushButton>
#include <QStringList>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

namespace {

// A help file is a few dozen kilobytes; anything beyond this is not one of ours
// and is cut off rather than read whole.
constexpr qint64 kMaxHelpFileSize = 4 * 1024 * 1024;

const QString kTopicMark = QStringLiteral("@topic");
const QString kTopicScheme = QStringLiteral("topic");

// Drops characters that have no business in a text file (what a damaged or
// binary file leaves behind), keeping tabs as spaces.
QString CleanLine(QString line) {
    if (line.endsWith(QLatin1Char('\r'))) line.chop(1);
    QString clean;
    clean.reserve(line.size());
    for (const QChar c : line) {
        if (c == QLatin1Char('\t'))
            clean += QLatin1Char(' ');
        else if (c.isPrint())
            clean += c;
    }
    return clean;
}

// Reads "@topic <n> <title>". Returns false for a line that only looks like one.
bool ParseTopicLine(const QString& line, HelpTopic& topic) {
    if (!line.startsWith(kTopicMark)) return false;
    const QString rest = line.mid(kTopicMark.size());
    if (rest.isEmpty() || !rest.at(0).isSpace()) return false;
    const QString body = rest.trimmed();
    const qsizetype space = body.indexOf(QLatin1Char(' '));
    const QString number = space < 0 ? body : body.left(space);
    bool ok = false;
    const int context = number.toInt(&ok);
    if (!ok || context < 0) return false;
    topic.context = context;
    topic.title = space < 0 ? QString() : body.mid(space + 1).trimmed();
    if (topic.title.isEmpty()) topic.title = QString("Topic %1").arg(context);
    topic.text.clear();
    return true;
}

QString LinkTo(int context, const QString& caption) {
    return QString("<a href=\"%1:%2\">%3</a>")
        .arg(kTopicScheme)
        .arg(context)
        .arg(caption.toHtmlEscaped());
}

// Topic text to HTML: blank lines part paragraphs, lines starting with "- " are
// list items (indented lines continue the item), other lines run on.
QString TextToHtml(const QString& text) {
    QString html;
    QString paragraph;
    QStringList items;
    auto flushParagraph = [&] {
        if (!paragraph.isEmpty()) html += "<p>" + paragraph.toHtmlEscaped() + "</p>\n";
        paragraph.clear();
    };
    auto flushList = [&] {
        if (items.isEmpty()) return;
        html += "<ul>\n";
        for (const QString& item : items)
            html += "<li>" + item.toHtmlEscaped() + "</li>\n";
        html += "</ul>\n";
        items.clear();
    };
    for (const QString& raw : text.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.isEmpty()) {
            flushParagraph();
            flushList();
        } else if (line.startsWith(QLatin1String("- "))) {
            flushParagraph();
            items << line.mid(2).trimmed();
        } else if (!items.isEmpty() && raw.startsWith(QLatin1Char(' '))) {
            items.last() += QLatin1Char(' ') + line;
        } else {
            flushList();
            if (!paragraph.isEmpty()) paragraph += QLatin1Char(' ');
            paragraph += line;
        }
    }
    flushParagraph();
    flushList();
    return html;
}

} // namespace

QString HelpFile::DefaultPath() {
    const QString name = QString::fromLatin1(Desktop::kHelpFileName);
    QString beside = name;
    if (QCoreApplication::instance() != nullptr) {
        const QString bin = QCoreApplication::applicationDirPath();
        beside = bin + QLatin1Char('/') + name;
        if (QFileInfo::exists(beside)) return beside;
#ifdef BTCONF_HELP_FROM_BIN
        // Installed: <prefix>/bin/btconf reads <prefix>/share/btconf/BTCONF.HLP.
        const QString installed =
            QDir::cleanPath(bin + QLatin1Char('/') + QStringLiteral(BTCONF_HELP_FROM_BIN) +
                            QLatin1Char('/') + name);
        if (QFileInfo::exists(installed)) return installed;
#endif
    }
#ifdef BTCONF_DOCS_DIR
    const QString source = QStringLiteral(BTCONF_DOCS_DIR) + QLatin1Char('/') + name;
    if (QFileInfo::exists(source)) return source;
#endif
    return beside;
}

bool HelpFile::Load(const QString& path) {
    topics.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return false;
    const QString content = QString::fromUtf8(file.read(kMaxHelpFileSize));

    HelpTopic pending;
    bool collecting = false;
    auto finish = [&] {
        if (!collecting) return;
        while (pending.text.endsWith(QLatin1Char('\n')))
            pending.text.chop(1);
        // The first topic of a number counts; a repeated one is dropped.
        if (!topics.contains(pending.context)) topics.insert(pending.context, pending);
        collecting = false;
    };

    for (const QString& raw : content.split(QLatin1Char('\n'))) {
        const QString line = CleanLine(raw);
        if (line.startsWith(kTopicMark)) {
            finish();
            // A damaged topic line makes its text unreachable: skip to the next.
            collecting = ParseTopicLine(line, pending);
            continue;
        }
        if (!collecting) continue; // before the first topic, or under a damaged one
        if (pending.text.isEmpty() && line.trimmed().isEmpty()) continue;
        pending.text += line;
        pending.text += QLatin1Char('\n');
    }
    finish();
    return !topics.isEmpty();
}

const HelpTopic* HelpFile::Topic(int context) const {
    const auto it = topics.constFind(context);
    return it == topics.constEnd() ? nullptr : &it.value();
}

HelpViewer::HelpViewer(const HelpFile& helpFile, QWidget* parent)
    : QDialog(parent), file(helpFile) {
    setObjectName("HelpViewer");
    setWindowTitle(QString::fromLatin1(Desktop::kApplicationTitle) + " Help");
    setSizeGripEnabled(true);

    browser = new QTextBrowser(this);
    browser->setObjectName("browser");
    browser->setOpenLinks(false);
    connect(browser, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
        if (url.scheme() == kTopicScheme) {
            bool ok = false;
            const int context = url.path().toInt(&ok);
            if (ok) ShowTopic(context);
        } else if (url.scheme() == QLatin1String("http") ||
                   url.scheme() == QLatin1String("https")) {
            QDesktopServices::openUrl(url);
        }
    });

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(browser);
    layout->addWidget(buttons);
    resize(520, 400);
}

void HelpViewer::ShowTopic(int context) {
    QString title;
    QString html;
    if (context == 0) {
        const HelpTopic* contents = file.Topic(0);
        title = contents != nullptr ? contents->title : QStringLiteral("Contents");
        html = "<h2>" + title.toHtmlEscaped() + "</h2>\n";
        if (contents != nullptr) html += TextToHtml(contents->text);
        html += "<ul>\n";
        for (const int other : file.Contexts()) {
            if (other == 0) continue;
            html += "<li>" + LinkTo(other, file.Topic(other)->title) + "</li>\n";
        }
        html += "</ul>\n";
    } else {
        const HelpTopic* topic = file.Topic(context);
        if (topic != nullptr) {
            title = topic->title;
            html = "<h2>" + title.toHtmlEscaped() + "</h2>\n" + TextToHtml(topic->text);
        } else {
            title = QStringLiteral("Topic not available");
            html = "<h2>" + title + "</h2>\n<p>" +
                   QString("Help topic %1 is not available.").arg(context) + "</p>\n";
        }
        html += "<p>" + LinkTo(0, QStringLiteral("Contents")) + "</p>\n";
    }
    setWindowTitle(QString::fromLatin1(Desktop::kApplicationTitle) + " Help - " + title);
    browser->setHtml(html);
}
