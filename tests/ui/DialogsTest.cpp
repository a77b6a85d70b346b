// SPDX-License-Identifier: Apache-2.0
// The small dialogs, desktop questions and help as a person meets them: what
// the error report's caption and Help give, the answers the start-up dialogs'
// buttons, close box and Escape give, the port list, the question boxes, and a
// help file with a topic worth reading for every help context the program opens.
#include "Dialogs.h"
#include "HelpViewer.h"
#include "WindowRig.h"
#include "mSerial.h"

#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>

#include <fcntl.h>
#include <unistd.h>

class DialogsTest : public QObject {
    Q_OBJECT
    QList<int> helpShown;

  private slots:
    void init() {
        helpShown.clear();
        Desktop::TestSeams().help = [this](int context) { helpShown << context; };
    }
    void cleanup() { Desktop::TestSeams() = Desktop::Seams(); }

    // The caption tells the failed command; Help opens the read or write failure
    // topic first, then (as for an input error) the offending control's topic,
    // also from the title bar's "what's this" click; help leaves the report open.
    void errorReport() {
        const struct {
            uint code;
            QString caption;
            QList<int> shown;
        } rows[] = {{0x1c4, "Error - communication (0x01c4)", {120, 45, 45}},
                    {0x21d, "Error - communication (0x021d)", {121, 45, 45}},
                    {0, "Error - Invalid input value", {45, 45, 45}}};
        for (const auto& row : rows) {
            RowName name(row.caption);
            helpShown.clear();
            TErrorForm form;
            form.category = row.code == 0 ? "Invalid input value" : "communication";
            form.headline = "Could not read parameter";
            form.errorCode = row.code;
            form.helpContext = 45;
            form.show();
            form.HelpButton->click();
            form.HelpButton->click();
            QHelpEvent whatsThis(QEvent::WhatsThis, QPoint(4, 4), form.mapToGlobal(QPoint(4, 4)));
            QApplication::sendEvent(form.Description, &whatsThis);
            QCOMPARE(helpShown, row.shown);
            QCOMPARE(form.windowTitle(), row.caption);
            QCOMPARE(form.LabelError->text(), QString("Could not read parameter"));
            QVERIFY(form.isVisible());
        }
    }

    // Each start-up dialog answers in its tag: OK/Retry, Cancel/Exit, and the
    // close box and Escape as Cancel/Exit. The chooser keeps its last choice.
    void startupDialogs() {
        PortTable::Set({});
        TSerChooseForm chooser;
        TComOpenError open;
        TConnectErrorForm connect;
        chooser.ComboBox1->setCurrentIndex(4);
        const struct {
            QDialog* box;
            QPushButton *yes, *no;
            int* tag;
            QString caption;
            QList<int> tags;
        } rows[] = {{&chooser,
                     chooser.Button1,
                     chooser.Button2,
                     &chooser.tag,
                     "Norvane Bluetooth Configuration",
                     {5, 0, 0, 0, 5}},
                    {&open,
                     open.RetryButton,
                     open.ExitButton,
                     &open.tag,
                     "Error while opening COM port",
                     {0, -1, -1, -1, 0}},
                    {&connect,
                     connect.RetryButton,
                     connect.ExitButton,
                     &connect.tag,
                     "Local Bluetooth unit not found",
                     {1, 0, 0, 0, 1}}};
        for (const auto& row : rows) {
            QCOMPARE(row.box->windowTitle(), row.caption);
            const QList<std::function<void()>> presses = {
                [&] { Click(row.yes); }, [&] { Click(row.no); }, [&] { row.box->close(); },
                [&] { QTest::keyClick(row.box, Qt::Key_Escape); }, [&] { Click(row.yes); }};
            QList<int> got;
            for (const auto& press : presses) {
                *row.tag = 99;
                row.box->show();
                press();
                QVERIFY(!row.box->isVisible());
                got << *row.tag;
            }
            QCOMPARE(got, row.tags);
        }
    }

    // "COM1".."COM20" and an item for port 21 (empty without a device); beside
    // each port its device and what the system knows of it, or "no device"; the
    // chosen entry in full below.
    void chooserItems() {
        QTemporaryDir dir;
        const QString link = dir.filePath("nvm");
        const int master = posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        const QString pts = QString::fromLatin1(ptsname(master));
        QVERIFY(QFile::link(pts, link));
        PortTable::Set({"/dev/ttyUSB7", link.toStdString(), pts.toStdString()});
        TSerChooseForm chooser;
        QStringList items, expected = {"COM1   /dev/ttyUSB7   (no device)",
                                       "COM2   " + link + " -> " + pts + "   (virtual line)",
                                       "COM3   " + pts + "   (virtual line)"};
        for (int i = 0; i < chooser.ComboBox1->count(); ++i)
            items << chooser.ComboBox1->itemText(i);
        for (int n = 4; n <= 20; ++n)
            expected << QString("COM%1   (no device)").arg(n);
        QCOMPARE(items, expected << "");
        chooser.ComboBox1->setCurrentIndex(1);
        QCOMPARE(chooser.portDetails->text(),
                 "COM2 is " + link + " -> " + pts + "\n(virtual line)");
        PortTable::Set({});
        close(master);
    }

    // Without a seam the questions are real warning boxes, and the button pressed
    // is the answer the program gets.
    void questionBoxes() {
        using Box = QMessageBox;
        using A = Desktop::Answer;
        const QList<QPair<Box::StandardButton, A>> cases = {
            {Box::Ok, A::Ok}, {Box::Cancel, A::Cancel}, {Box::Yes, A::Yes}, {Box::No, A::No}};
        for (const auto& [button, expected] : cases) {
            QString seen;
            QTimer::singleShot(0, [&, button = button] {
                auto* box = qobject_cast<Box*>(QApplication::activeModalWidget());
                seen = box->windowTitle() + ": " + box->text();
                box->button(button)->click();
            });
            const bool yesNo = button == Box::Yes || button == Box::No;
            QCOMPARE(yesNo ? Desktop::AskYesNo(nullptr, "Changed")
                           : Desktop::AskOkCancel(nullptr, "Changed"),
                     expected);
            QCOMPARE(seen, QString("Norvane Bluetooth Configuration: Changed"));
        }
    }

    // The shipped help file has a topic of its own worth reading (some with a
    // word only their subject brings up) for every context the program opens;
    // the viewer shows it and follows links.
    void helpFiles() {
        HelpFile shipped;
        QVERIFY(shipped.Load(HelpFile::DefaultPath()));
        const QList<int> used = {0,   5,   22,  23,  32,  33,  34,  35,  36,  37,  44,
                                 45,  46,  51,  52,  53,  71,  72,  73,  74,  81,  82,
                                 83,  94,  120, 121, 452, 454, 456, 458, 466, 468, 474,
                                 705, 707, 709, 711, 713, 715, 717, 723, 725, 727, 731};
        const QMap<int, QString> words = {{22, "31 characters"},
                                          {23, "17 characters"},
                                          {94, "6144"},
                                          {120, "Communication timeout"},
                                          {121, "Command invalid parameter"}};
        QSet<QString> texts;
        for (const int context : used) {
            const HelpTopic* topic = shipped.Topic(context);
            QVERIFY2(topic != nullptr, qPrintable(QString("topic %1 missing").arg(context)));
            const int count =
                topic->text.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts).size();
            QVERIFY2(
                !topic->title.startsWith("Topic ") && count >= 30 &&
                    !(topic->title + topic->text)
                         .contains(QRegularExpression("[\\x00-\\x09\\x0b-\\x1f\\x7f-\\x9f]")) &&
                    topic->text.contains(words.value(context)),
                qPrintable(QString("topic %1: %2 words").arg(context).arg(count)));
            texts.insert(topic->text);
        }
        QCOMPARE(texts.size(), used.size()); // not one text under many numbers

        HelpViewer viewer(shipped);
        viewer.ShowTopic(0);
        for (const int context : shipped.Contexts())
            QVERIFY(context == 0 ||
                    viewer.browser->toHtml().contains(QString("topic:%1\"").arg(context)));
        emit viewer.browser->anchorClicked(QUrl("topic:22"));
        QVERIFY(viewer.browser->toPlainText().startsWith(shipped.Topic(22)->title));
    }
};

static const int registered = RegisterTest("DialogsTest", [] { return new DialogsTest; });
#include "DialogsTest.moc"
