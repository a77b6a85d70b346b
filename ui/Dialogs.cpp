// The small dialogs: error report, progress, About and the three start-up
// dialogs (port chooser, port-open error, module-not-found error).
#include "Dialogs.h"

#include "Desktop.h"
#include "mSerial.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFileInfo>
#include <QFont>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSerialPortInfo>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <functional>

namespace {

// Runs a callback when its widget receives one kind of event; lets a dialog react
// to being shown without a virtual override in the shared header.
class EventHook : public QObject {
  public:
    EventHook(QObject* target, QEvent::Type type, std::function<bool()> action)
        : QObject(target), type(type), action(std::move(action)) {
        target->installEventFilter(this);
    }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == parent() && event->type() == type) return action();
        return false;
    }

  private:
    QEvent::Type type;
    std::function<bool()> action;
};

QLabel* NewLabel(QWidget* parent, const char* name, const QString& text) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    return label;
}

QPushButton* NewButton(QWidget* parent, const char* name, const QString& text) {
    auto* button = new QPushButton(text, parent);
    button->setObjectName(name);
    return button;
}

void MakeBold(QLabel* label) {
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
}

// A dialog that keeps the size its contents ask for and has no resize grip.
void FixBorder(QDialog* dialog, QLayout* layout) {
    layout->setSizeConstraint(QLayout::SetFixedSize);
    dialog->setSizeGripEnabled(false);
}

// The About box's picture: a rounded blue tile with the Bluetooth rune.
QPixmap AboutPicture() {
    const int size = 64;
    QPixmap picture(size, size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient fill(0, 0, 0, size);
    fill.setColorAt(0.0, QColor(0x3a, 0x7b, 0xd5));
    fill.setColorAt(1.0, QColor(0x0b, 0x3d, 0x91));
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(QRectF(2, 2, size - 4, size - 4), 12, 12);
    QPen rune(Qt::white, 4.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(rune);
    painter.setBrush(Qt::NoBrush);
    QPainterPath path;
    path.moveTo(20, 22);
    path.lineTo(42, 42);
    path.lineTo(32, 52);
    path.lineTo(32, 12);
    path.lineTo(42, 22);
    path.lineTo(20, 42);
    painter.drawPath(path);
    return picture;
}

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
// TErrorForm

TErrorForm::TErrorForm(QWidget* parent) : QDialog(parent) {
    setObjectName("TErrorForm");
    setWindowTitle("Error - ");
    setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowCloseButtonHint | Qt::WindowContextHelpButtonHint);

    auto* panel1 = new QFrame(this);
    panel1->setObjectName("Panel1");
    auto* panel2 = new QFrame(this);
    panel2->setObjectName("Panel2");

    Image1 = new QLabel(panel1);
    Image1->setObjectName("Image1");
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    Image1->setPixmap(
        style()->standardIcon(QStyle::SP_MessageBoxCritical, nullptr, this).pixmap(iconSize));
    Image1->setAlignment(Qt::AlignTop | Qt::AlignHCenter);

    Label1 = NewLabel(panel1, "Label1", "Error: ");
    LabelError = NewLabel(panel1, "LabelError", QString());
    MakeBold(LabelError);
    Label3 = NewLabel(panel1, "Label3", "Description:");
    Description = new QPlainTextEdit(panel1);
    Description->setObjectName("Description");
    Description->setReadOnly(true);
    Description->setFixedSize(400, 110);

    auto* headline = new QHBoxLayout;
    headline->addWidget(Label1);
    headline->addWidget(LabelError, 1);
    auto* texts = new QVBoxLayout;
    texts->addLayout(headline);
    texts->addSpacing(6);
    texts->addWidget(Label3);
    texts->addWidget(Description);
    auto* panel1Layout = new QHBoxLayout(panel1);
    panel1Layout->addWidget(Image1, 0, Qt::AlignTop);
    panel1Layout->addSpacing(8);
    panel1Layout->addLayout(texts);

    OkButton = NewButton(panel2, "OkButton", "OK");
    OkButton->setDefault(true);
    HelpButton = NewButton(panel2, "HelpButton", "Help");
    HelpButton->setAutoDefault(false);
    auto* panel2Layout = new QHBoxLayout(panel2);
    panel2Layout->setContentsMargins(0, 0, 0, 0);
    panel2Layout->addStretch(1);
    panel2Layout->addWidget(OkButton);
    panel2Layout->addWidget(HelpButton);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(panel1);
    layout->addWidget(panel2);
    FixBorder(this, layout);

    connect(OkButton, &QPushButton::clicked, this, [this] { OkButtonClick(); });
    connect(HelpButton, &QPushButton::clicked, this, [this] { HelpButtonClick(); });
    new EventHook(this, QEvent::Show, [this] {
        FormShow();
        return false;
    });
    // The title bar's help button puts the pointer into "what's this" mode; a
    // click anywhere in the dialog then opens the same help as the Help button.
    new EventHook(this, QEvent::WhatsThis, [this] {
        HelpButtonClick();
        return true;
    });
}

void TErrorForm::ClearDescription() {
    Description->clear();
}

void TErrorForm::AddDescription(const QString& line) {
    Description->appendPlainText(line);
}

void TErrorForm::ShowModal() {
    FormShow();
    exec();
}

void TErrorForm::Report(const Failure& failure) {
    auto text = [](const std::string& s) { return QString::fromLatin1(s.data(), int(s.size())); };
    category = text(failure.category);
    headline = text(failure.headline);
    errorCode = failure.errorCode;
    helpContext = failure.helpContext;
    ClearDescription();
    for (const std::string& line : failure.description)
        AddDescription(text(line));
    ShowModal();
}

void TErrorForm::FormShow() {
    QString caption = "Error - " + category;
    if (errorCode != 0) caption += QString::asprintf(" (0x%04x)", static_cast<unsigned>(errorCode));
    setWindowTitle(caption);
    LabelError->setText(headline);
}

void TErrorForm::OkButtonClick() {
    accept();
}

void TErrorForm::HelpButtonClick() {
    const uint32_t kind = (errorCode >> 8) & 0xff;
    if (kind == 1)
        Desktop::ShowHelpPopup(this, 120);
    else if (kind == 2)
        Desktop::ShowHelpPopup(this, 121);
    else if (errorCode == 0)
        Desktop::ShowHelpPopup(this, helpContext);
    // A second press shows the help context's topic; wanted so.
    errorCode = 0;
}

// ---------------------------------------------------------------------------
// TProgForm

TProgForm::TProgForm(QWidget* parent) : QDialog(parent) {
    setObjectName("TProgForm");
    setWindowTitle("Reading information from device");

    Label1 = NewLabel(this, "Label1", "Please wait, reading information from Bluetooth device");
    auto* bevel = new QFrame(this);
    bevel->setObjectName("Bevel1");
    bevel->setFrameShape(QFrame::HLine);
    bevel->setFrameShadow(QFrame::Sunken);
    bar = new QProgressBar(this);
    bar->setObjectName("bar");
    bar->setRange(0, 8);
    bar->setValue(0);
    bar->setTextVisible(false);
    bar->setMinimumWidth(340);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(Label1);
    layout->addWidget(bevel);
    layout->addWidget(bar);
    FixBorder(this, layout);
}

void TProgForm::ShowCentred() {
    adjustSize();
    if (QWidget* window = parentWidget() ? parentWidget()->window() : nullptr) {
        QRect frame = frameGeometry();
        frame.moveCenter(window->frameGeometry().center());
        move(frame.topLeft());
    }
    show();
    Repaint();
}

void TProgForm::Step() {
    // The bar stops at its end rather than ignoring a step beyond it.
    const int position = std::max(bar->value(), bar->minimum()) + 1;
    bar->setValue(std::min(position, bar->maximum()));
    Repaint();
}

void TProgForm::RaiseMaximum(int by) {
    bar->setMaximum(bar->maximum() + by);
}

void TProgForm::Repaint() {
    // Device exchanges block the event loop; paint now so the step shows.
    bar->repaint();
    if (isVisible()) repaint();
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

// ---------------------------------------------------------------------------
// TaboutForm

TaboutForm::TaboutForm(QWidget* parent) : QDialog(parent) {
    setObjectName("TaboutForm");
    setWindowTitle("About Norvane Configuration software");

    auto* panel = new QFrame(this);
    panel->setObjectName("Panel1");
    panel->setFrameShape(QFrame::StyledPanel);
    panel->setFrameShadow(QFrame::Sunken);

    auto* image = NewLabel(panel, "Image1", QString());
    image->setPixmap(AboutPicture());
    image->setAlignment(Qt::AlignTop);

    ProductName = NewLabel(panel, "ProductName", "Norvane Configuration software");
    QFont productFont = ProductName->font();
    productFont.setBold(true);
    productFont.setPointSizeF(productFont.pointSizeF() * 1.25);
    ProductName->setFont(productFont);
    Version = NewLabel(panel, "Version", "Version 3.01");
    Copyright = NewLabel(panel, "Copyright", "Copyright (C) Norvane. All rights reserved.");
    const QString address = QString::fromLatin1(Desktop::kMakerAddress);
    Comments = NewLabel(panel, "Comments",
                        QString("<a href=\"%1\">%2</a>").arg(address, address.toHtmlEscaped()));
    Comments->setTextFormat(Qt::RichText);
    Comments->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    Comments->setOpenExternalLinks(false);
    Comments->setCursor(Qt::PointingHandCursor);
    Comments->setToolTip(address);

    auto* texts = new QVBoxLayout;
    texts->addWidget(ProductName);
    texts->addWidget(Version);
    texts->addSpacing(8);
    texts->addWidget(Copyright);
    texts->addWidget(Comments);
    texts->addStretch(1);
    auto* panelLayout = new QHBoxLayout(panel);
    panelLayout->addWidget(image, 0, Qt::AlignTop);
    panelLayout->addSpacing(10);
    panelLayout->addLayout(texts);

    OKButton = NewButton(this, "OKButton", "OK");
    OKButton->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(panel);
    layout->addWidget(OKButton, 0, Qt::AlignHCenter);
    FixBorder(this, layout);

    connect(OKButton, &QPushButton::clicked, this, [this] { OKButtonClick(); });
    connect(Comments, &QLabel::linkActivated, this, [this] { CommentsClick(); });
}

void TaboutForm::OKButtonClick() {
    accept();
}

void TaboutForm::CommentsClick() {
    Desktop::OpenMakerSite();
}

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
static QVBoxLayout* BuildRetryExit(QDialog* dialog, QStyle::StandardPixmap iconKind,
                                   const QStringList& lines, int& tag, int retryTag, int exitTag,
                                   QPushButton*& retry, QPushButton*& exit) {
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

    auto* top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addSpacing(8);
    top->addLayout(texts);
    auto* buttons = new QHBoxLayout;
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
                       tag, 0, -1, RetryButton, ExitButton);
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
                   tag, 1, 0, RetryButton, ExitButton);
}
