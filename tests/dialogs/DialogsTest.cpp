// The small dialogs, desktop questions and help as a person meets them: captions,
// texts, the answers the buttons give, which help topic opens, and a help file
// with a topic worth reading for every help context the program opens.
#include "Dialogs.h"
#include "Desktop.h"
#include "HelpViewer.h"
#include "mSerial.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QtTest>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

// Characters that have no business in a help text (what binary junk leaves).
const QRegularExpression kControl("[\\x00-\\x09\\x0b-\\x1f\\x7f-\\x9f]");

class DialogsTest : public QObject {
    Q_OBJECT
    QList<int> helpShown;
    QStringList urlsOpened;
    HelpFile shipped; // the file the program finds

  private slots:
    void initTestCase() { QVERIFY(shipped.Load(HelpFile::DefaultPath())); }
    void init() {
        helpShown.clear();
        urlsOpened.clear();
        Desktop::TestSeams().help = [this](int context) { helpShown << context; };
        Desktop::TestSeams().openUrl = [this](const QString& url) { urlsOpened << url; };
    }
    void cleanup() { Desktop::TestSeams() = Desktop::Seams(); }

    // The caption tells the failed command; Help opens the read or write failure
    // topic first, then (as for an input error) the offending control's topic,
    // also from the title bar's "what's this" click.
    void errorReport_data() {
        QTest::addColumn<uint>("code");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QList<int>>("shown");
        QTest::newRow("failed read")
            << 0x1c4u << "Error - communication (0x01c4)" << QList<int>({120, 45, 45});
        QTest::newRow("failed write")
            << 0x21du << "Error - communication (0x021d)" << QList<int>({121, 45, 45});
        QTest::newRow("input error")
            << 0u << "Error - Invalid input value" << QList<int>({45, 45, 45});
    }
    void errorReport() {
        QFETCH(uint, code);
        QFETCH(QString, caption);
        QFETCH(QList<int>, shown);
        TErrorForm form;
        form.category = code == 0 ? "Invalid input value" : "communication";
        form.headline = "Could not read parameter";
        form.errorCode = code;
        form.helpContext = 45;
        form.show();
        form.HelpButton->click();
        form.HelpButton->click();
        QHelpEvent whatsThis(QEvent::WhatsThis, QPoint(4, 4), form.mapToGlobal(QPoint(4, 4)));
        QApplication::sendEvent(form.Description, &whatsThis);
        QCOMPARE(helpShown, shown);
        QCOMPARE(form.windowTitle(), caption);
        QCOMPARE(form.LabelError->text(), QString("Could not read parameter"));
        QVERIFY(form.isVisible()); // help leaves the report open
    }

    // Each start-up dialog answers in its tag: OK/Retry, Cancel/Exit, and the close
    // box and Escape as Cancel/Exit. The chooser comes back with its last choice.
    void startupDialogs_data() {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QList<int>>("tags");
        QTest::newRow("chooser") << "Norvane Bluetooth Configuration" << QList<int>{5, 0, 0, 0, 5};
        QTest::newRow("open error")
            << "Error while opening COM port" << QList<int>{0, -1, -1, -1, 0};
        QTest::newRow("not found") << "Local Bluetooth unit not found" << QList<int>{1, 0, 0, 0, 1};
    }
    void startupDialogs() {
        QFETCH(QString, caption);
        QFETCH(QList<int>, tags);
        PortTable::Set({});
        TSerChooseForm chooser;
        TComOpenError open;
        TConnectErrorForm connect;
        chooser.ComboBox1->setCurrentIndex(4);
        using Buttons = std::tuple<QDialog*, QPushButton*, QPushButton*, int*>;
        const auto [box, yes, no, tag] = QMap<QString, Buttons>{
            {"chooser", {&chooser, chooser.Button1, chooser.Button2, &chooser.tag}},
            {"open error", {&open, open.RetryButton, open.ExitButton, &open.tag}},
            {"not found", {&connect, connect.RetryButton, connect.ExitButton, &connect.tag}},
        }[QTest::currentDataTag()];
        QCOMPARE(box->windowTitle(), caption);
        const QList<std::function<void()>> presses = {
            [&] { yes->click(); }, [&] { no->click(); }, [&] { box->close(); },
            [&] { QTest::keyClick(box, Qt::Key_Escape); }, [&] { yes->click(); }};
        QList<int> got;
        for (const auto& press : presses) {
            *tag = 99;
            box->show();
            press();
            QVERIFY(!box->isVisible());
            got << *tag;
        }
        QCOMPARE(got, tags);
    }

    // "COM1".."COM20" and an item for port 21 (empty without a device); beside
    // each port its device and what the system knows of it, or "no device",
    // also when the table comes after the dialog; the chosen entry in full below.
    void chooserItems() {
#if defined(_WIN32)
        QSKIP("COM names are the devices themselves");
#endif
        QTemporaryDir dir;
        const QString link = dir.filePath("nvm");
        const int master = posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        const QString pts = QString::fromLatin1(ptsname(master));
        QVERIFY(QFile::link(pts, link));
        PortTable::Set({"/dev/ttyUSB7", link.toStdString(), pts.toStdString()});
        TSerChooseForm chooser;
        auto items = [&] {
            QStringList texts;
            for (int i = 0; i < chooser.ComboBox1->count(); ++i)
                texts << chooser.ComboBox1->itemText(i);
            return texts;
        };
        QStringList expected = {"COM1   /dev/ttyUSB7   (no device)",
                                "COM2   " + link + " -> " + pts + "   (virtual line)",
                                "COM3   " + pts + "   (virtual line)"};
        for (int n = 4; n <= 20; ++n)
            expected << QString("COM%1   (no device)").arg(n);
        QCOMPARE(items(), expected << "");
        chooser.ComboBox1->setCurrentIndex(1);
        QCOMPARE(chooser.portDetails->text(),
                 "COM2 is " + link + " -> " + pts + "\n(virtual line)");

        PortTable::Set(std::vector<std::string>(21, "/dev/ttyS9"));
        chooser.ComboBox1->setCurrentIndex(20);
        chooser.show();
        QCOMPARE(items().last(), QString("COM21   /dev/ttyS9   (no device)"));
        chooser.Button1->click();
        QCOMPARE(chooser.tag, 21);
        PortTable::Set({});
        close(master);
    }

    // What an entry says of its device.
    void deviceTexts() {
        // product, maker, USB, exists, pseudo-terminal, text
        using Row = std::tuple<QString, QString, bool, bool, bool, QString>;
        const QList<Row> rows = {
            {"FT232R USB UART", "FTDI", true, true, false, "(USB adapter: FT232R USB UART, FTDI)"},
            {"", "Prolific", true, true, false, "(USB adapter: Prolific)"},
            {"", "", true, true, false, "(USB adapter)"},
            {"", "", false, true, true, "(virtual line)"},
            {"", "", false, true, false, "(serial port)"},
            {"FT232R USB UART", "FTDI", true, false, false, "(no device)"}};
        for (const auto& [product, maker, usb, exists, pty, text] : rows)
            QCOMPARE(TSerChooseForm::DeviceText("/dev/x", product, maker, usb, exists, pty), text);
    }

    // The port-open error keeps its lines and adds the device and the reason,
    // and what to do when the person may not use serial devices.
    void openErrorReason() {
        // port, device, reason, permission denied, added lines
        using Row = std::tuple<int, QString, QString, bool, QStringList>;
        const QList<Row> rows = {
            {3,
             "/dev/ttyUSB0",
             "Permission denied",
             true,
             {"COM3 is /dev/ttyUSB0: Permission denied.",
              "Your user may not use serial devices. Add it to the group \"dialout\"\n(sudo "
              "usermod -a -G dialout $USER), then log out and in again."}},
            {1,
             "/dev/ttyACM0",
             "the device is in use by another program",
             false,
             {"COM1 is /dev/ttyACM0: the device is in use by another program."}},
            {7, "", "", false, {"COM7 has no device behind it on this computer."}}};
        for (const auto& [port, device, reason, permission, added] : rows) {
            TComOpenError dialog;
            dialog.ShowReason(port, device, reason, permission);
            QStringList lines;
            for (QLabel* label : dialog.findChildren<QLabel*>())
                if (!label->text().isEmpty() && !label->isHidden()) lines << label->text();
            QCOMPARE(lines, QStringList({"COM port could not be opened!",
                                         "Opening the selected COM port failed. Make sure that the",
                                         "selected COM port exists and that no other program is "
                                         "using",
                                         "it. "}) +
                                added);
        }
    }

    void aboutBox() {
        TaboutForm about;
        const QString site = Desktop::kMakerAddress;
        QCOMPARE(
            QStringList({about.windowTitle(), about.ProductName->text(), about.Version->text(),
                         about.Copyright->text(), about.Comments->text()}),
            QStringList({"About Norvane Configuration software", "Norvane Configuration software",
                         "Version 3.01", "Copyright (C) Norvane. All rights reserved.",
                         QString("<a href=\"%1\">%1</a>").arg(site)}));
        emit about.Comments->linkActivated(Desktop::kMakerAddress);
        QCOMPARE(urlsOpened, QStringList({Desktop::kMakerAddress}));
        about.show();
        QTest::keyClick(&about, Qt::Key_Return);
        QTRY_VERIFY(!about.isVisible());
        QCOMPARE(about.result(), int(QDialog::Accepted));
    }

    // Without a seam the questions are real warning boxes, and the button pressed
    // is the answer the program gets.
    void questionBoxes() {
        const QString question = "Configuration has changed";
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
            QCOMPARE(yesNo ? Desktop::AskYesNo(nullptr, question)
                           : Desktop::AskOkCancel(nullptr, question),
                     expected);
            QCOMPARE(seen, "Norvane Bluetooth Configuration: " + question);
        }
    }

    void everyContextHasAUsefulTopic() {
        const QList<int> used = {0,   5,   22,  23,  32,  33,  34,  35,  36,  37,  44,
                                 45,  46,  51,  52,  53,  71,  72,  73,  74,  81,  82,
                                 83,  94,  120, 121, 452, 454, 456, 458, 466, 468, 474,
                                 705, 707, 709, 711, 713, 715, 717, 723, 725, 727, 731};
        // A few topics and a word that only their own subject would bring up.
        const QMap<int, QString> subjects = {{22, "31 characters"},
                                             {23, "17 characters"},
                                             {94, "6144"},
                                             {120, "Communication timeout"},
                                             {121, "Command invalid parameter"}};
        QSet<QString> texts;
        for (const int context : used) {
            const HelpTopic* topic = shipped.Topic(context);
            QVERIFY2(topic != nullptr, qPrintable(QString("topic %1 missing").arg(context)));
            const int words =
                topic->text.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts).size();
            QVERIFY2(!topic->title.startsWith("Topic ") && words >= 30,
                     qPrintable(QString("topic %1: %2 words").arg(context).arg(words)));
            QVERIFY(!(topic->title + topic->text).contains(kControl));
            QVERIFY2(topic->text.contains(subjects.value(context)), qPrintable(topic->title));
            texts.insert(topic->text);
        }
        QCOMPARE(texts.size(), used.size()); // not one text under many numbers
    }

    // The viewer shows a topic, lists every topic on the contents, and follows links.
    void viewer() {
        HelpViewer viewer(shipped);
        viewer.ShowTopic(22);
        QVERIFY(viewer.browser->toPlainText().startsWith(shipped.Topic(22)->title));
        QVERIFY(viewer.browser->toPlainText().contains("1 to 31 characters"));
        viewer.ShowTopic(0);
        for (const int context : shipped.Contexts()) {
            QVERIFY(viewer.browser->toPlainText().contains(shipped.Topic(context)->title));
            QVERIFY(context == 0 ||
                    viewer.browser->toHtml().contains(QString("topic:%1\"").arg(context)));
        }
        emit viewer.browser->anchorClicked(QUrl("topic:74"));
        QVERIFY(viewer.browser->toPlainText().startsWith(shipped.Topic(74)->title));
    }

    // Topics before binary junk are kept, a damaged topic line hides its text, and
    // random bytes with topic marks sprinkled in give clean topics or none.
    void damagedFiles() {
        QTemporaryDir dir;
        const QString path = dir.filePath("damaged.hlp");
        HelpFile file;
        auto load = [&](const QByteArray& bytes) {
            QFile out(path);
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size());
            out.close();
            file.Load(path);
        };
        static const char kDamaged[] = "@topic 22 Name\r\nThe name.\r\n@topic 23 Service\n"
                                       "\x00\xff\xfe\x01\x1b[2J\x80\nstill text\n"
                                       "@topic x4 Broken\nlost\n";
        load(QByteArray(kDamaged, sizeof kDamaged - 1));
        QCOMPARE(file.Contexts(), QList<int>({22, 23}));
        QCOMPARE(file.Topic(22)->text, QString("The name."));
        QVERIFY(file.Topic(23)->text.endsWith("still text"));
        QVERIFY(!file.Topic(23)->text.contains(kControl));

        QRandomGenerator random(20240611);
        for (int round = 0; round < 20; ++round) {
            QByteArray bytes(16 * 1024, '\0');
            random.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
            for (int i = 0; i < 40; ++i)
                bytes.insert(random.bounded(bytes.size()), i % 2 ? "\n@topic " : "\n@topic 4");
            load(bytes);
            for (const int context : file.Contexts())
                QVERIFY(
                    !(file.Topic(context)->title + file.Topic(context)->text).contains(kControl));
            HelpViewer viewer(file);
            viewer.ShowTopic(0);
            viewer.ShowTopic(4);
        }
    }
};

QTEST_MAIN(DialogsTest)
#include "DialogsTest.moc"
