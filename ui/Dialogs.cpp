// SPDX-License-Identifier: Apache-2.0
// The small dialogs: error report, progress and About (the start-up dialogs
// are in PortDialogs.cpp).
#include "Dialogs.h"

#include "Desktop.h"
#include "DialogParts.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFileInfo>
#include <QFont>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <functional>

namespace {

using namespace DialogParts;

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
