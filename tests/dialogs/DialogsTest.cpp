// The small dialogs as a person meets them: captions, texts, the answers their
// buttons give, and which help topic the error report opens.
#include "Dialogs.h"
#include "Desktop.h"
#include "ModalHelper.h"
#include "mSerial.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

namespace {

// Retry and Exit answer with their tags and close the dialog; the close box
// gives Exit's answer, the one that tries nothing further.
template <class Dialog> void CheckRetryExit(Dialog& dialog, int retry, int exit) {
    QCOMPARE(dialog.RetryButton->text(), QString("Retry"));
    QCOMPARE(dialog.ExitButton->text(), QString("Exit"));
    const QList<std::function<void(QWidget*)>> answers = {
        [&](QWidget*) { dialog.RetryButton->click(); },
        [&](QWidget*) { dialog.ExitButton->click(); },
        [](QWidget* modal) { modal->close(); },
        [&](QWidget*) { dialog.RetryButton->click(); },
    };
    QList<int> tags;
    for (const auto& answer : answers) {
        AnswerNextModal(answer);
        dialog.exec();
        QVERIFY(!dialog.isVisible());
        tags << dialog.tag;
    }
    QCOMPARE(tags, QList<int>({retry, exit, exit, retry}));
}

} // namespace

class DialogsTest : public QObject {
    Q_OBJECT

  private:
    QList<int> helpShown;
    QStringList urlsOpened;

    void FillDeviceError(TErrorForm& form, uint32_t code) {
        form.category = "communication";
        form.headline = (code >> 8) == 1 ? "Could not read parameter" : "Could not write parameter";
        form.errorCode = code;
    }

  private slots:
    void init() {
        helpShown.clear();
        urlsOpened.clear();
        Desktop::TestSeams().help = [this](int context) { helpShown << context; };
        Desktop::TestSeams().openUrl = [this](const QString& url) { urlsOpened << url; };
    }
    void cleanup() { Desktop::TestSeams() = Desktop::Seams(); }

    // ---- error report -------------------------------------------------------

    void errorCaption_data() {
        QTest::addColumn<QString>("category");
        QTest::addColumn<uint>("code");
        QTest::addColumn<QString>("caption");
        QTest::newRow("failed write of 0x1d")
            << "communication" << 0x21du << "Error - communication (0x021d)";
        QTest::newRow("failed read of 0xc4")
            << "communication" << 0x1c4u << "Error - communication (0x01c4)";
        QTest::newRow("failed read of 0x40")
            << "communication" << 0x140u << "Error - communication (0x0140)";
        QTest::newRow("input error")
            << "Invalid input value" << 0u << "Error - Invalid input value";
    }
    void errorCaption() {
        QFETCH(QString, category);
        QFETCH(uint, code);
        QFETCH(QString, caption);
        TErrorForm form;
        QCOMPARE(form.windowTitle(), QString("Error - "));
        form.category = category;
        form.headline = "Could not read parameter";
        form.errorCode = code;
        form.FormShow();
        QCOMPARE(form.windowTitle(), caption);
        QCOMPARE(form.LabelError->text(), QString("Could not read parameter"));
    }

    void errorFixedTexts() {
        TErrorForm form;
        QCOMPARE(form.Label1->text(), QString("Error: "));
        QCOMPARE(form.Label3->text(), QString("Description:"));
        QCOMPARE(form.OkButton->text(), QString("OK"));
        QCOMPARE(form.HelpButton->text(), QString("Help"));
        QVERIFY(form.LabelError->font().bold());
        QVERIFY(!form.Label1->font().bold());
        QVERIFY(form.Description->isReadOnly());
        QVERIFY(!form.Image1->pixmap().isNull());
    }

    void errorDescriptionIsRefilledEachTime() {
        TErrorForm form;
        form.ClearDescription();
        form.AddDescription(
            "A communication error occured when reading information from the device.");
        form.AddDescription("The reason was: Communication timeout");
        QCOMPARE(form.Description->toPlainText(),
                 QString("A communication error occured when reading information from the "
                         "device.\nThe reason was: Communication timeout"));
        form.ClearDescription();
        form.AddDescription("The field \"Bluetooth name\" must be a string with 1-31 characters");
        QCOMPARE(form.Description->toPlainText(),
                 QString("The field \"Bluetooth name\" must be a string with 1-31 characters"));
    }

    // ShowModal builds the caption from what the caller filled in, blocks until
    // OK, and the same instance serves the next report with fresh texts.
    void errorShowModalUntilOk() {
        QWidget main;
        main.setGeometry(30, 20, 560, 420); // away from the screen's centre
        main.show();
        TErrorForm form(&main);
        QStringList captions, headlines;
        bool fixedSize = false;
        QPoint offCentre;
        auto answer = [&](QWidget* modal) {
            captions << modal->windowTitle();
            headlines << form.LabelError->text();
            fixedSize = modal->minimumSize() == modal->maximumSize();
            offCentre = modal->frameGeometry().center() - main.frameGeometry().center();
            form.OkButton->click();
        };
        FillDeviceError(form, 0x11c);
        AnswerNextModal(answer);
        form.ShowModal();
        QVERIFY(!form.isVisible());

        form.category = "Invalid input value";
        form.headline = "Invalid Bluetooth name";
        form.errorCode = 0;
        AnswerNextModal(answer);
        form.ShowModal();
        QCOMPARE(captions,
                 QStringList({"Error - communication (0x011c)", "Error - Invalid input value"}));
        QCOMPARE(headlines, QStringList({"Could not read parameter", "Invalid Bluetooth name"}));
        QVERIFY(fixedSize);
        QVERIFY2(offCentre.manhattanLength() <= 4, "the report is centred on the main window");
    }

    void errorHelpTopic_data() {
        QTest::addColumn<uint>("code");
        QTest::addColumn<int>("context");
        QTest::addColumn<QList<int>>("shown");
        QTest::newRow("failed read, then the stale context")
            << 0x1c4u << 45 << QList<int>({120, 45});
        QTest::newRow("failed write, then the stale context")
            << 0x21du << 22 << QList<int>({121, 22});
        QTest::newRow("input error, its control twice") << 0u << 94 << QList<int>({94, 94});
        QTest::newRow("unknown kind shows nothing first") << 0x340u << 53 << QList<int>({53});
    }
    void errorHelpTopic() {
        QFETCH(uint, code);
        QFETCH(int, context);
        QFETCH(QList<int>, shown);
        TErrorForm form;
        form.category = code == 0 ? "Invalid input value" : "communication";
        form.errorCode = code;
        form.helpContext = context;
        form.show();
        form.HelpButton->click();
        form.HelpButton->click();
        QCOMPARE(helpShown, shown);
        QVERIFY(form.isVisible()); // help leaves the report open
        // The caption keeps the code although Help has reset it.
        if (code != 0) QVERIFY(form.windowTitle().contains(QString::asprintf("0x%04x", code)));
    }

    void errorHelpWhileModal() {
        TErrorForm form;
        FillDeviceError(form, 0x2d9);
        form.helpContext = 37;
        AnswerNextModal([&](QWidget*) {
            form.HelpButton->click();
            form.OkButton->click();
        });
        form.ShowModal();
        QCOMPARE(helpShown, QList<int>({121}));
    }

    // The title bar's help button: a "what's this" click anywhere in the report
    // opens the same topic as the Help button.
    void errorTitleBarHelp() {
        TErrorForm form;
        QVERIFY(form.windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
        FillDeviceError(form, 0x1c4);
        form.helpContext = 72;
        form.show();
        QHelpEvent click(QEvent::WhatsThis, QPoint(4, 4),
                         form.Description->mapToGlobal(QPoint(4, 4)));
        QApplication::sendEvent(form.Description, &click);
        QApplication::sendEvent(form.Label3, &click);
        QCOMPARE(helpShown, QList<int>({120, 72}));
    }

    // ---- progress -----------------------------------------------------------

    void progressLooks() {
        TProgForm progress;
        QCOMPARE(progress.windowTitle(), QString("Reading information from device"));
        QCOMPARE(progress.Label1->text(),
                 QString("Please wait, reading information from Bluetooth device"));
        QCOMPARE(progress.bar->minimum(), 0);
        QCOMPARE(progress.bar->maximum(), 8);
        QCOMPARE(progress.bar->value(), 0);
        QVERIFY(!progress.bar->isTextVisible());
    }

    void progressSteps() {
        QWidget main;
        main.show();
        TProgForm progress(&main);
        Progress& shown = progress;
        progress.bar->setMaximum(13);
        progress.bar->setValue(0);
        progress.show();
        for (int i = 0; i < 5; ++i)
            shown.Step();
        QCOMPARE(progress.bar->value(), 5);
        shown.RaiseMaximum(7);
        QCOMPARE(progress.bar->maximum(), 20);
        for (int i = 0; i < 30; ++i)
            shown.Step();
        QCOMPARE(progress.bar->value(), 20); // stops at the end
        shown.Repaint();
        QVERIFY(progress.isVisible());
        QCOMPARE(progress.minimumSize(), progress.maximumSize());
    }

    void progressStepAfterReset() {
        TProgForm progress;
        progress.bar->reset(); // a reset bar has no position yet
        progress.Step();
        QCOMPARE(progress.bar->value(), 1);
    }

    // ---- About ----------------------------------------------------------------

    void aboutTexts() {
        TaboutForm about;
        QCOMPARE(about.windowTitle(), QString("About Norvane Configuration software"));
        QCOMPARE(about.ProductName->text(), QString("Norvane Configuration software"));
        QCOMPARE(about.Version->text(), QString("Version 3.01"));
        QVERIFY(about.Copyright->text().contains("Norvane"));
        QVERIFY(about.Comments->text().contains(QString::fromLatin1(Desktop::kMakerAddress)));
        QCOMPARE(about.OKButton->text(), QString("OK"));
        QVERIFY(about.OKButton->isDefault());
        auto* picture = about.findChild<QLabel*>("Image1");
        QVERIFY(picture != nullptr && !picture->pixmap().isNull());
    }

    void aboutLinkOpensMakerSite() {
        TaboutForm about;
        emit about.Comments->linkActivated(QString::fromLatin1(Desktop::kMakerAddress));
        QCOMPARE(urlsOpened, QStringList({QString::fromLatin1(Desktop::kMakerAddress)}));
    }

    void aboutCloses_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<int>("result");
        QTest::newRow("OK") << "ok" << int(QDialog::Accepted);
        QTest::newRow("Enter") << "enter" << int(QDialog::Accepted);
        QTest::newRow("close box") << "close" << int(QDialog::Rejected);
    }
    void aboutCloses() {
        QFETCH(QString, how);
        QFETCH(int, result);
        TaboutForm about;
        AnswerNextModal([&](QWidget* modal) {
            if (how == "ok")
                about.OKButton->click();
            else if (how == "enter")
                QTest::keyClick(modal, Qt::Key_Return);
            else
                modal->close();
        });
        QCOMPARE(about.exec(), result);
        QVERIFY(!about.isVisible());
        QVERIFY(urlsOpened.isEmpty());
    }

    // ---- start-up dialogs -----------------------------------------------------

    void chooserTexts() {
        TSerChooseForm chooser;
        QCOMPARE(chooser.windowTitle(), QString("Norvane Bluetooth Configuration"));
        auto* group = chooser.findChild<QGroupBox*>();
        QVERIFY(group != nullptr);
        QCOMPARE(group->title(), QString("Choose serial port"));
        QCOMPARE(LabelTexts(&chooser),
                 QStringList({"Choose the com port that the Norvane Bluetooth",
                              "device is connected to:"}));
        QCOMPARE(chooser.checkHWF->text(), QString("Use hardware flow control (NVM-200 only)"));
        QVERIFY(!chooser.checkHWF->isChecked());
        QCOMPARE(chooser.Button1->text(), QString("OK"));
        QCOMPARE(chooser.Button2->text(), QString("Cancel"));
    }

    void chooserItems() {
        PortTable::Set({"/dev/ttyUSB7", "/tmp/nvm"});
        TSerChooseForm chooser;
        QCOMPARE(chooser.ComboBox1->count(), 21);
        QCOMPARE(chooser.ComboBox1->currentIndex(), 0);
        for (int n = 1; n <= 20; ++n) {
            const QString text = chooser.ComboBox1->itemText(n - 1);
            QVERIFY2(text == QString("COM%1").arg(n) || text.startsWith(QString("COM%1 ").arg(n)),
                     qPrintable(text));
        }
#if !defined(_WIN32)
        QCOMPARE(chooser.ComboBox1->itemText(0), QString("COM1 (/dev/ttyUSB7)"));
        QCOMPARE(chooser.ComboBox1->itemText(1), QString("COM2 (/tmp/nvm)"));
        QCOMPARE(chooser.ComboBox1->itemText(2), QString("COM3"));
        QCOMPARE(chooser.ComboBox1->itemText(20), QString());

        // A table given after the dialog was made shows when it is next shown.
        std::vector<std::string> many;
        for (int n = 1; n <= 21; ++n)
            many.push_back("/dev/ttyS" + std::to_string(n + 3));
        PortTable::Set(many);
        chooser.show();
        QCOMPARE(chooser.ComboBox1->itemText(2), QString("COM3 (/dev/ttyS6)"));
        QCOMPARE(chooser.ComboBox1->itemText(20), QString("COM21 (/dev/ttyS24)"));
        chooser.hide();
#endif
        PortTable::Set({});
    }

    void chooserAnswers() {
        PortTable::Set({});
        TSerChooseForm chooser;
        QStringList seen;
        auto choose = [&](int index, QPushButton* button) {
            AnswerNextModal([&, index, button](QWidget*) {
                seen << chooser.ComboBox1->currentText();
                if (index >= 0) chooser.ComboBox1->setCurrentIndex(index);
                button->click();
            });
            chooser.exec();
            return chooser.tag;
        };
        QCOMPARE(choose(4, chooser.Button1), 5);
        QCOMPARE(choose(-1, chooser.Button1), 5);  // shown again: the last choice stays
        QCOMPARE(choose(20, chooser.Button1), 21); // the empty item is port 21
        QCOMPARE(choose(-1, chooser.Button2), 0);
        QCOMPARE(seen, QStringList({"COM1", "COM5", "COM5", ""}));

        chooser.ComboBox1->setCurrentIndex(2);
        AnswerNextModal([](QWidget* modal) { modal->close(); });
        chooser.exec();
        QCOMPARE(chooser.tag, 0); // the close box cancels

        AnswerNextModal([](QWidget* modal) { QTest::keyClick(modal, Qt::Key_Escape); });
        chooser.exec();
        QCOMPARE(chooser.tag, 0);
    }

    void comOpenError() {
        TComOpenError dialog;
        QCOMPARE(dialog.windowTitle(), QString("Error while opening COM port"));
        QCOMPARE(
            LabelTexts(&dialog),
            QStringList({"COM port could not be opened!",
                         "Opening the selected COM port failed. Make sure that the",
                         "selected COM port exists and that no other program is using", "it. "}));
        CheckRetryExit(dialog, 0, -1);
    }

    void connectError() {
        TConnectErrorForm dialog;
        QCOMPARE(dialog.windowTitle(), QString("Local Bluetooth unit not found"));
        QCOMPARE(LabelTexts(&dialog),
                 QStringList({"Norvane Bluetooth unit not found!",
                              "Please ensure that you have selected the correct com port",
                              "and that your Norvane Bluetooth unit is correctly powered.",
                              "Also note that it is not possible to configure your unit while it",
                              "has an established Bluetooth connection."}));
        CheckRetryExit(dialog, 1, 0);
    }
};

QTEST_MAIN(DialogsTest)
#include "DialogsTest.moc"
