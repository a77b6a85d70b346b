// SPDX-License-Identifier: Apache-2.0
// The three start-up dialogs: the port chooser, the port-open error and the
// module-not-found error.
#include "Dialogs.h"

#include "ConnCheckForm.h"
#include "Desktop.h"
#include "DialogParts.h"
#include "mSerial.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QPushButton>
#include <QSerialPortInfo>
#include <QStyle>
#include <QVBoxLayout>

namespace {

using namespace DialogParts;

constexpr int kNamedPorts = 20; // "COM1".."COM20"; the item after them is port 21

// The serial ports the system reports, by their device path.
struct KnownPort {
    QString product, maker;
    bool usb = false;
};

QHash<QString, KnownPort> SystemPorts() {
    QHash<QString, KnownPort> ports;
    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts()) {
        KnownPort known;
        known.product = info.description();
        known.maker = info.manufacturer();
        known.usb = info.hasVendorIdentifier();
        ports.insert(info.systemLocation(), known);
    }
    return ports;
}

// The chooser's text for port n: "COMn", the device path and what the system
// knows of it, or "no device". On Windows the COM name is the device itself.
QString PortText(int n, const QHash<QString, KnownPort>& system) {
    const QString name = QString("COM%1").arg(n);
    const QString device = QString::fromStdString(PortTable::DeviceOf(n));
#if defined(_WIN32)
    const auto found = system.find(name);
    if (found == system.end()) return n <= kNamedPorts ? name : QString();
    return name + "   " +
           TSerChooseForm::DeviceText(QString(), found->product, found->maker, found->usb, true,
                                      false);
#else
    if (device.isEmpty()) return n <= kNamedPorts ? name + "   (no device)" : QString();
    const QFileInfo file(device);
    const QString real = file.exists() ? file.canonicalFilePath() : QString();
    const auto found = system.find(real.isEmpty() ? device : real);
    const KnownPort known = found != system.end() ? *found : KnownPort();
    QString shown = device;
    if (!real.isEmpty() && real != device) shown += " -> " + real;
    return name + "   " + shown + "   " +
           TSerChooseForm::DeviceText(device, known.product, known.maker, known.usb, file.exists(),
                                      real.startsWith("/dev/pts/"));
#endif
}

} // namespace

// ---------------------------------------------------------------------------
// TSerChooseForm

TSerChooseForm::TSerChooseForm(QWidget* parent) : QDialog(parent) {
    setObjectName("TSerChooseForm");
    setWindowTitle(QString::fromLatin1(Desktop::kApplicationTitle));

    auto* group = new QGroupBox("Choose serial port", this);
    group->setObjectName("GroupBox1");
    auto* line1 = NewLabel(group, "Label1", "Choose the com port that the Norvane Bluetooth");
    auto* line2 = NewLabel(group, "Label2", "device is connected to:");
    ComboBox1 = new QComboBox(group);
    ComboBox1->setObjectName("ComboBox1");
    ComboBox1->setEditable(false);
    for (int n = 1; n <= kNamedPorts; ++n)
        ComboBox1->addItem(QString("COM%1").arg(n));
    ComboBox1->addItem(QString());
    ComboBox1->setCurrentIndex(0);
    ComboBox1->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    portDetails = NewLabel(group, "portDetails", QString());
    portDetails->setTextInteractionFlags(Qt::TextSelectableByMouse);
    checkHWF = new QCheckBox("Use hardware flow control (NVM-200 only)", group);
    checkHWF->setObjectName("checkHWF");

    auto* groupLayout = new QVBoxLayout(group);
    groupLayout->addWidget(line1);
    groupLayout->addWidget(line2);
    groupLayout->addWidget(ComboBox1);
    groupLayout->addWidget(portDetails);
    groupLayout->addWidget(checkHWF);

    Button1 = NewButton(this, "Button1", "OK");
    Button1->setDefault(true);
    Button2 = NewButton(this, "Button2", "Cancel");
    Button2->setAutoDefault(false);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(Button1);
    buttons->addWidget(Button2);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(group);
    layout->addLayout(buttons);
    FixBorder(this, layout);

    // Device paths may be given to the port table after this dialog was made:
    // the texts follow it each time the dialog is shown; the selection stays.
    // A device plugged in or out meanwhile shows too.
    auto refreshItems = [this] {
        const auto system = SystemPorts();
        for (int n = 1; n <= ComboBox1->count(); ++n)
            ComboBox1->setItemText(n - 1, PortText(n, system));
        ComboBox1->adjustSize();
        adjustSize();
    };
    refreshItems();
    new EventHook(this, QEvent::Show, [refreshItems] {
        refreshItems();
        return false;
    });

    // The chosen entry in full below the list: "COM3 is /dev/ttyUSB0 (USB: ...)".
    auto showDetails = [this] {
        const QStringList parts = ComboBox1->currentText().split("   ", Qt::SkipEmptyParts);
        const int n = ComboBox1->currentIndex() + 1;
        QString text = QString("COM%1 ").arg(n);
        if (parts.size() >= 3)
            text += "is " + parts[1] + "\n" + parts[2];
        else
            text += "has no device behind it";
        portDetails->setText(text);
    };
    connect(ComboBox1, &QComboBox::currentIndexChanged, this, showDetails);
    new EventHook(this, QEvent::Show, [showDetails] {
        showDetails();
        return false;
    });

    connect(Button1, &QPushButton::clicked, this, [this] {
        tag = ComboBox1->currentIndex() + 1;
        accept();
    });
    connect(Button2, &QPushButton::clicked, this, [this] {
        tag = 0;
        reject();
    });
    // Closed any other way (close box, Escape): as Cancel.
    connect(this, &QDialog::rejected, this, [this] { tag = 0; });
}

QString TSerChooseForm::DeviceText(const QString& path, const QString& product,
                                   const QString& maker, bool usb, bool exists,
                                   bool pseudoTerminal) {
    (void)path;
    if (!exists) return "(no device)";
    if (usb) {
        QStringList known;
        if (!product.isEmpty()) known << product;
        if (!maker.isEmpty()) known << maker;
        return "(USB adapter" + (known.isEmpty() ? QString() : ": " + known.join(", ")) + ")";
    }
    if (pseudoTerminal) return "(virtual line)";
    if (!product.isEmpty()) return "(" + product + ")";
    return "(serial port)";
}

QString TSerChooseForm::ItemText(int n) {
    return PortText(n, SystemPorts());
}

// ---------------------------------------------------------------------------
// TComOpenError

// The two start-up error dialogs: an icon, a bold first line and its explanation,
// and Retry and Exit, each closing the dialog with its own tag. Closed any other
// way, the dialog answers as Exit, the answer that tries nothing further.
// "Connection check..." beside them runs btconf-cli doctor's checks on the
// port's device, which is closed while the dialog is up.
static QVBoxLayout* BuildRetryExit(QDialog* dialog, QStyle::StandardPixmap iconKind,
                                   const QStringList& lines, int& tag, int retryTag, int exitTag,
                                   QPushButton*& retry, QPushButton*& exit, QPushButton*& check,
                                   const int& port) {
    auto* icon = NewLabel(dialog, "Image1", QString());
    const int iconSize =
        dialog->style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, dialog);
    icon->setPixmap(dialog->style()->standardIcon(iconKind, nullptr, dialog).pixmap(iconSize));
    auto* texts = new QVBoxLayout;
    for (int i = 0; i < lines.size(); ++i) {
        const QByteArray name = "Label" + QByteArray::number(i + 1);
        QLabel* line = NewLabel(dialog, name.constData(), lines[i]);
        texts->addWidget(line);
        if (i == 0) {
            MakeBold(line);
            texts->addSpacing(6);
        }
    }
    retry = NewButton(dialog, "RetryButton", "Retry");
    retry->setDefault(true);
    exit = NewButton(dialog, "ExitButton", "Exit");
    exit->setAutoDefault(false);
    check = NewButton(dialog, "checkButton", "Connection check...");
    check->setAutoDefault(false);

    auto* top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addSpacing(8);
    top->addLayout(texts);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(check);
    buttons->addStretch(1);
    buttons->addWidget(retry);
    buttons->addWidget(exit);
    auto* layout = new QVBoxLayout(dialog);
    layout->addLayout(top);
    layout->addLayout(buttons);
    FixBorder(dialog, layout);

    QObject::connect(retry, &QPushButton::clicked, dialog, [dialog, &tag, retryTag] {
        tag = retryTag;
        dialog->accept();
    });
    QObject::connect(exit, &QPushButton::clicked, dialog, [dialog, &tag, exitTag] {
        tag = exitTag;
        dialog->reject();
    });
    QObject::connect(dialog, &QDialog::rejected, dialog, [&tag, exitTag] { tag = exitTag; });
    QObject::connect(check, &QPushButton::clicked, dialog, [dialog, &port] {
        TConnCheckForm form(dialog, port, QString::fromStdString(PortTable::DeviceOf(port)));
        form.exec();
    });
    return texts;
}

TComOpenError::TComOpenError(QWidget* parent) : QDialog(parent) {
    setObjectName("TComOpenError");
    setWindowTitle("Error while opening COM port");
    QVBoxLayout* texts =
        BuildRetryExit(this, QStyle::SP_MessageBoxCritical,
                       {"COM port could not be opened!",
                        "Opening the selected COM port failed. Make sure that the",
                        "selected COM port exists and that no other program is using", "it. "},
                       tag, 0, -1, RetryButton, ExitButton, checkButton, port);
    reasonLine = NewLabel(this, "reasonLine", QString());
    MakeBold(reasonLine);
    adviceLine = NewLabel(this, "adviceLine", QString());
    texts->addSpacing(6);
    texts->addWidget(reasonLine);
    texts->addWidget(adviceLine);
    reasonLine->hide();
    adviceLine->hide();
}

void TComOpenError::ShowReason(int port, const QString& device, const QString& reason,
                               bool permission) {
    this->port = port;
    const QString name = QString("COM%1").arg(port);
    QString line;
    if (device.isEmpty())
        line = name + " has no device behind it on this computer.";
    else if (device.endsWith(name))
        line = name + ": " + (reason.isEmpty() ? "it could not be opened" : reason) + ".";
    else
        line = name + " is " + device + ": " +
               (reason.isEmpty() ? "it could not be opened" : reason) + ".";
    reasonLine->setText(line);
    reasonLine->show();
    adviceLine->setText(permission ? "Your user may not use serial devices. Add it to the group "
                                     "\"dialout\"\n(sudo usermod -a -G dialout $USER), then log "
                                     "out and in again."
                                   : QString());
    adviceLine->setVisible(permission);
}

// ---------------------------------------------------------------------------
// TConnectErrorForm

TConnectErrorForm::TConnectErrorForm(QWidget* parent) : QDialog(parent) {
    setObjectName("TConnectErrorForm");
    setWindowTitle("Local Bluetooth unit not found");
    BuildRetryExit(this, QStyle::SP_MessageBoxWarning,
                   {"Norvane Bluetooth unit not found!",
                    "Please ensure that you have selected the correct com port",
                    "and that your Norvane Bluetooth unit is correctly powered.",
                    "Also note that it is not possible to configure your unit while it",
                    "has an established Bluetooth connection."},
                   tag, 1, 0, RetryButton, ExitButton, checkButton, port);
}
