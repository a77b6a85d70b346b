// The help file, its reader, the help viewer and the desktop seams: every help
// context the program opens has a topic worth reading, a damaged file is read
// as far as it goes, and help, questions and the web site reach the person.
#include "Desktop.h"
#include "HelpViewer.h"
#include "ModalHelper.h"

#include <QMessageBox>
#include <QPushButton>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QTextList>
#include <QtTest>

namespace {

// Every help context the program's windows and error reports open.
const QList<int> kUsedContexts = {0,   5,   22,  23,  32,  33,  34,  35,  36,  37,  44,
                                  45,  46,  51,  52,  53,  71,  72,  73,  74,  81,  82,
                                  83,  94,  120, 121, 452, 454, 456, 458, 466, 468, 474,
                                  705, 707, 709, 711, 713, 715, 717, 723, 725, 727, 731};

QString WriteFile(const QTemporaryDir& dir, const char* name, const QByteArray& bytes) {
    const QString path = dir.filePath(QString::fromLatin1(name));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return QString();
    file.write(bytes);
    return path;
}

bool HasControlCharacters(const QString& text) {
    for (const QChar c : text)
        if (c.category() == QChar::Other_Control && c != QLatin1Char('\n')) return true;
    return false;
}

} // namespace

class HelpTest : public QObject {
    Q_OBJECT

  private:
    QTemporaryDir dir;
    HelpFile shipped;

  private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        QVERIFY(shipped.Load(QStringLiteral(BTCONF_HELP_SOURCE)));
    }
    void cleanup() { Desktop::TestSeams() = Desktop::Seams(); }

    // ---- the shipped help file ------------------------------------------------

    void everyContextHasAUsefulTopic() {
        for (const int context : kUsedContexts) {
            const HelpTopic* topic = shipped.Topic(context);
            QVERIFY2(topic != nullptr, qPrintable(QString("topic %1 missing").arg(context)));
            QCOMPARE(topic->context, context);
            QVERIFY2(!topic->title.isEmpty() && !topic->title.startsWith("Topic "),
                     qPrintable(QString("topic %1 has no title").arg(context)));
            const int words =
                topic->text.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts).size();
            QVERIFY2(words >= 30,
                     qPrintable(QString("topic %1 has %2 words").arg(context).arg(words)));
        }
        // Distinct topics, not one text copied under many numbers.
        QSet<QString> texts;
        for (const int context : kUsedContexts)
            texts.insert(shipped.Topic(context)->text);
        QCOMPARE(texts.size(), kUsedContexts.size());
    }

    void topicsSpeakOfTheirSubject_data() {
        QTest::addColumn<int>("context");
        QTest::addColumn<QString>("word");
        QTest::newRow("device name") << 22 << "31 characters";
        QTest::newRow("service name") << 23 << "17 characters";
        QTest::newRow("user defined value") << 94 << "6144";
        QTest::newRow("PIN code") << 45 << "16";
        QTest::newRow("read failure") << 120 << "Communication timeout";
        QTest::newRow("write failure") << 121 << "Command invalid parameter";
        QTest::newRow("inquiry scan") << 72 << "4096";
        QTest::newRow("power") << 74 << "-90";
        QTest::newRow("sniff") << 82 << "32767";
        QTest::newRow("quality of service write") << 731 << "1000000";
    }
    void topicsSpeakOfTheirSubject() {
        QFETCH(int, context);
        QFETCH(QString, word);
        QVERIFY(shipped.Has(context));
        QVERIFY2(shipped.Topic(context)->text.contains(word),
                 qPrintable(QString("topic %1 lacks \"%2\"").arg(context).arg(word)));
    }

    void defaultPathFindsTheHelpFile() {
        const QString path = HelpFile::DefaultPath();
        QVERIFY(path.endsWith("/BTCONF.HLP"));
        HelpFile file;
        QVERIFY2(file.Load(path), qPrintable(path));
        QCOMPARE(file.Contexts(), shipped.Contexts());
    }

    // ---- reading the format ---------------------------------------------------

    void parsesTopicsParagraphsAndLineEnds() {
        const QByteArray text = "Notes for the writers of this file.\r\n"
                                "@topic 3 Early topic\r\n"
                                "\r\n"
                                "@topic 0 Contents\r\n"
                                "First line\r\n"
                                "second line\r\n"
                                "\r\n"
                                "New paragraph\r\n"
                                "@topic 7\n"
                                "\n"
                                "Untitled topic text\n"
                                "\n"
                                "@topic 0 Contents again\n"
                                "Must not replace the first contents\n"
                                "@topic   12   Spaced   title  \n"
                                "text of twelve";
        const QString path = WriteFile(dir, "format.hlp", text);
        HelpFile file;
        QVERIFY(file.Load(path));
        QCOMPARE(file.Contexts(), QList<int>({0, 3, 7, 12}));
        QCOMPARE(file.Topic(0)->title, QString("Contents"));
        QCOMPARE(file.Topic(0)->text, QString("First line\nsecond line\n\nNew paragraph"));
        QCOMPARE(file.Topic(3)->title, QString("Early topic"));
        QVERIFY(file.Topic(3)->text.isEmpty());
        QCOMPARE(file.Topic(7)->title, QString("Topic 7"));
        QCOMPARE(file.Topic(7)->text, QString("Untitled topic text"));
        QCOMPARE(file.Topic(12)->title, QString("Spaced   title"));
        QCOMPARE(file.Topic(12)->text, QString("text of twelve"));
        QVERIFY(!file.Has(5));
        QVERIFY(file.Topic(5) == nullptr);
    }

    void damagedTopicLinesAreSkipped() {
        const QByteArray text = "@topic 1 Good\n"
                                "good text\n"
                                "@topic x1 Broken number\n"
                                "orphan text one\n"
                                "@topic -4 Negative\n"
                                "orphan text two\n"
                                "@topic99 No space\n"
                                "orphan text three\n"
                                "@topic 99999999999999 Too big\n"
                                "orphan text four\n"
                                "@topic 2 Also good\n"
                                "more good text\n";
        HelpFile file;
        QVERIFY(file.Load(WriteFile(dir, "damaged.hlp", text)));
        QCOMPARE(file.Contexts(), QList<int>({1, 2}));
        QCOMPARE(file.Topic(1)->text, QString("good text"));
        QCOMPARE(file.Topic(2)->text, QString("more good text"));
    }

    void survivesGarbage() {
        QRandomGenerator random(20240611);
        for (int round = 0; round < 20; ++round) {
            QByteArray bytes(16 * 1024, '\0');
            for (char& b : bytes)
                b = static_cast<char>(random.bounded(256));
            // Sprinkle topic marks so that the parser also meets half-broken ones.
            for (int i = 0; i < 40; ++i) {
                const QByteArray mark = random.bounded(2) ? "\n@topic " : "\n@topic 4";
                bytes.insert(random.bounded(bytes.size()), mark);
            }
            HelpFile file;
            file.Load(WriteFile(dir, "garbage.hlp", bytes));
            for (const int context : file.Contexts()) {
                QVERIFY(context >= 0);
                QVERIFY(!HasControlCharacters(file.Topic(context)->title));
                QVERIFY(!HasControlCharacters(file.Topic(context)->text));
            }
            HelpViewer viewer(file);
            viewer.ShowTopic(0);
            if (!file.Contexts().isEmpty()) viewer.ShowTopic(file.Contexts().last());
        }
    }

    void keepsWhatParsesBeforeDamage() {
        QByteArray bytes = "@topic 22 Bluetooth name\nThe name others see.\n\n@topic 23 Service\n";
        bytes += QByteArray("\x00\xff\xfe\x01\x02\x1b[2J\x80\x81", 12);
        bytes += "\nstill text\n";
        HelpFile file;
        QVERIFY(file.Load(WriteFile(dir, "partly.hlp", bytes)));
        QCOMPARE(file.Contexts(), QList<int>({22, 23}));
        QCOMPARE(file.Topic(22)->text, QString("The name others see."));
        QVERIFY(file.Topic(23)->text.contains("still text"));
        QVERIFY(!HasControlCharacters(file.Topic(23)->text));
    }

    void missingOrEmptyFile() {
        HelpFile file;
        QVERIFY(file.Load(WriteFile(dir, "one.hlp", "@topic 1 One\ntext\n")));
        QVERIFY(!file.Load(dir.filePath("no-such-file.hlp")));
        QVERIFY(file.Contexts().isEmpty()); // a failed load leaves nothing stale
        QVERIFY(!file.Load(WriteFile(dir, "empty.hlp", "")));
        QVERIFY(!file.Load(WriteFile(dir, "notopics.hlp", "just some words\nand more\n")));
    }

    // ---- the viewer -----------------------------------------------------------

    void viewerShowsATopic() {
        HelpViewer viewer(shipped);
        viewer.ShowTopic(22);
        const QString shown = viewer.browser->toPlainText();
        QVERIFY(shown.startsWith(shipped.Topic(22)->title));
        QVERIFY(shown.contains("1 to 31 characters"));
        QVERIFY(viewer.windowTitle().contains(shipped.Topic(22)->title));
        QVERIFY(shown.contains("Contents")); // the way back
    }

    void viewerContentsLinksEveryTopic() {
        HelpViewer viewer(shipped);
        viewer.ShowTopic(0);
        const QString shown = viewer.browser->toPlainText();
        const QString html = viewer.browser->toHtml();
        for (const int context : shipped.Contexts()) {
            QVERIFY(shown.contains(shipped.Topic(context)->title));
            if (context != 0) QVERIFY(html.contains(QString("topic:%1\"").arg(context)));
        }
        // Following a link shows that topic.
        emit viewer.browser->anchorClicked(QUrl("topic:74"));
        QVERIFY(viewer.browser->toPlainText().startsWith(shipped.Topic(74)->title));
        emit viewer.browser->anchorClicked(QUrl("topic:0"));
        QVERIFY(viewer.browser->toPlainText().contains(shipped.Topic(121)->title));
    }

    void viewerLayout() {
        const QByteArray text = "@topic 1 Layout <test>\n"
                                "first line\n"
                                "same paragraph\n"
                                "\n"
                                "Choices:\n"
                                "- one item\n"
                                "  continued\n"
                                "- <b>not bold</b>\n";
        HelpFile file;
        QVERIFY(file.Load(WriteFile(dir, "layout.hlp", text)));
        HelpViewer viewer(file);
        viewer.ShowTopic(1);
        const QStringList lines = viewer.browser->toPlainText().split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.contains("Layout <test>"));
        QVERIFY(lines.contains("first line same paragraph"));
        QVERIFY(lines.contains("Choices:"));
        int items = 0;
        for (QTextBlock block = viewer.browser->document()->begin(); block.isValid();
             block = block.next()) {
            if (block.textList() == nullptr) continue;
            ++items;
            QVERIFY(block.text() == "one item continued" || block.text() == "<b>not bold</b>");
        }
        QCOMPARE(items, 2);
    }

    void viewerMissingTopic() {
        HelpViewer viewer(shipped);
        viewer.ShowTopic(4242);
        QVERIFY(viewer.browser->toPlainText().contains("Help topic 4242 is not available"));
        HelpFile none;
        HelpViewer empty(none);
        empty.ShowTopic(0); // contents of nothing: a title and no links
        QVERIFY(empty.browser->toPlainText().startsWith("Contents"));
    }

    // ---- desktop --------------------------------------------------------------

    void seamsAnswerInsteadOfTheDesktop() {
        QStringList asked;
        QList<bool> kinds;
        QList<int> help;
        QStringList urls;
        Desktop::TestSeams().ask = [&](const QString& text, bool yesNo) {
            asked << text;
            kinds << yesNo;
            return yesNo ? Desktop::Answer::No : Desktop::Answer::Cancel;
        };
        Desktop::TestSeams().help = [&](int context) { help << context; };
        Desktop::TestSeams().openUrl = [&](const QString& url) { urls << url; };

        QCOMPARE(Desktop::AskOkCancel(nullptr, "Configuration has changed"),
                 Desktop::Answer::Cancel);
        QCOMPARE(Desktop::AskYesNo(nullptr, "Proceed?"), Desktop::Answer::No);
        QCOMPARE(asked, QStringList({"Configuration has changed", "Proceed?"}));
        QCOMPARE(kinds, QList<bool>({false, true}));
        Desktop::ShowHelpContents(nullptr);
        Desktop::ShowHelpPopup(nullptr, 121);
        QCOMPARE(help, QList<int>({0, 121}));
        Desktop::OpenMakerSite();
        QCOMPARE(urls, QStringList({QString(Desktop::kMakerAddress)}));
    }

    void messageBoxesWithoutSeams_data() {
        QTest::addColumn<bool>("yesNo");
        QTest::addColumn<int>("button");
        QTest::addColumn<int>("answer");
        QTest::newRow("OK") << false << int(QMessageBox::Ok) << int(Desktop::Answer::Ok);
        QTest::newRow("Cancel") << false << int(QMessageBox::Cancel)
                                << int(Desktop::Answer::Cancel);
        QTest::newRow("Yes") << true << int(QMessageBox::Yes) << int(Desktop::Answer::Yes);
        QTest::newRow("No") << true << int(QMessageBox::No) << int(Desktop::Answer::No);
    }
    void messageBoxesWithoutSeams() {
        QFETCH(bool, yesNo);
        QFETCH(int, button);
        QFETCH(int, answer);
        QString title, text;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        QMessageBox::StandardButtons buttons;
        AnswerNextModal([&](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            if (box == nullptr) {
                modal->close();
                return;
            }
            title = box->windowTitle();
            text = box->text();
            icon = box->icon();
            buttons = box->standardButtons();
            box->button(QMessageBox::StandardButton(button))->click();
        });
        const QString question =
            "Changes that has not been written to device will be lost. Continue?";
        const Desktop::Answer got =
            yesNo ? Desktop::AskYesNo(nullptr, question) : Desktop::AskOkCancel(nullptr, question);
        QCOMPARE(int(got), answer);
        QCOMPARE(title, QString("Norvane Bluetooth Configuration"));
        QCOMPARE(text, question);
        QCOMPARE(icon, QMessageBox::Warning);
        QCOMPARE(buttons, yesNo ? (QMessageBox::Yes | QMessageBox::No)
                                : (QMessageBox::Ok | QMessageBox::Cancel));
    }

    void helpPopupWithoutSeam() {
        QString shown;
        bool isViewer = false;
        AnswerNextModal([&](QWidget* modal) {
            auto* viewer = qobject_cast<HelpViewer*>(modal);
            isViewer = viewer != nullptr;
            if (isViewer) shown = viewer->browser->toPlainText();
            modal->close();
        });
        Desktop::ShowHelpPopup(nullptr, 120);
        QVERIFY(isViewer);
        QVERIFY(shown.startsWith(shipped.Topic(120)->title));

        QString message;
        AnswerNextModal([&](QWidget* modal) {
            if (auto* box = qobject_cast<QMessageBox*>(modal)) message = box->text();
            modal->close();
        });
        Desktop::ShowHelpPopup(nullptr, 4242);
        QCOMPARE(message, QString("Help topic 4242 is not available."));
    }

    void helpContentsWithoutSeam() {
        QWidget main;
        main.show();
        Desktop::ShowHelpContents(&main);
        HelpViewer* contents = nullptr;
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* viewer = qobject_cast<HelpViewer*>(widget); viewer && viewer->isVisible())
                contents = viewer;
        QVERIFY(contents != nullptr);
        QVERIFY(!contents->isModal()); // the main window stays usable
        QVERIFY(contents->browser->toPlainText().contains(shipped.Topic(5)->title));
        // Asking again reuses the one contents window.
        emit contents->browser->anchorClicked(QUrl("topic:32"));
        Desktop::ShowHelpContents(&main);
        int visible = 0;
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (qobject_cast<HelpViewer*>(widget) && widget->isVisible()) ++visible;
        QCOMPARE(visible, 1);
        QVERIFY(contents->browser->toPlainText().contains(shipped.Topic(5)->title));
        contents->close();
    }
};

QTEST_MAIN(HelpTest)
#include "HelpTest.moc"
