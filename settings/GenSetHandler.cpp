// The General page: identity of the module, its capability flags, and the
// device and service names.
#include "GenSetHandler.h"

#include "Communicator.h"
#include "ConfigFile.h"
#include "ModuleIdentity.h"

#include <QLabel>
#include <QLineEdit>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Error numbers of this page. The address read reports its failure under the
// service-name code, as modules in the field have always shown it.
constexpr uint32_t kCodeReadInfo = 0x140;
constexpr uint32_t kCodeReadArticle = 0x141;
constexpr uint32_t kCodeReadName = 0x11c;
constexpr uint32_t kCodeReadService = 0x11e;
constexpr uint32_t kCodeReadAddress = 0x11e;
constexpr uint32_t kCodeWriteName = 0x21d;
constexpr uint32_t kCodeWriteService = 0x21f;

// The module takes a device name of at most 32 bytes and a service name of at
// most 18, the terminating zero included.
constexpr std::size_t kNameBytes = 32;
constexpr std::size_t kServiceBytes = 18;

constexpr int32_t kHelpDeviceName = 22;
constexpr int32_t kHelpServiceName = 23;

QString Latin1(const std::string& s) {
    return QString::fromLatin1(s.data(), int(s.size()));
}

// The text as the module and the file carry it: one byte per character.
std::string Bytes(const QString& s) {
    return s.toLatin1().toStdString();
}

// A name cut to what the module takes, with its terminating zero; the length
// sent is the name's length + 1 (a longer name is refused by the protocol
// without anything being sent).
template <std::size_t N> int32_t TerminatedName(const std::string& name, uint8_t (&buffer)[N]) {
    static_assert(N >= 2, "room for a character and the zero");
    std::memset(buffer, 0, N);
    const std::size_t n = std::min(name.size(), N - 1);
    std::memcpy(buffer, name.data(), n);
    buffer[n] = 0;
    return int32_t(n) + 1;
}

} // namespace

bool GenSetHandler::DecodeModuleInfo(const uint8_t info[12]) {
    const ModuleIdentity id = DecodeModuleIdentity(info);
    productId = id.productId;
    hardwareVersion = id.hardwareVersion;
    softwareVersion = id.softwareVersion;
    secondGeneration = id.secondGeneration;
    productCode5 = id.productCode5;
    firmware3 = id.firmware3;
    firmware3Minor2 = id.firmware3Minor2;
    firmware3Minor2Gen2 = id.firmware3Minor2Gen2;
    return firmware3 != 0;
}

int GenSetHandler::ReadFromDevice() {
    if (comm == nullptr) return ReportCommError(false, kCodeReadInfo, -1);

    uint8_t info[12] = {};
    int32_t result = comm->GetModuleInfo(info);
    if (result != 0) return ReportCommError(false, kCodeReadInfo, result);
    StepProgress();
    // The advanced groups take part: seven more commands follow in read-all.
    if (DecodeModuleInfo(info)) RaiseProgressMaximum(7);

    if (firmware3) {
        std::string article;
        result = comm->GetArticleNumber(article);
        if (result != 0) return ReportCommError(false, kCodeReadArticle, result);
        StepProgress();
        articleNumber = article;
        if (artNum != nullptr) artNum->setEnabled(true);
    } else {
        articleNumber = "N/A"; // software before 3.0 has no article number
    }

    std::string name;
    int32_t length = 0;
    result = comm->GetDeviceName(name, length);
    if (result != 0) return ReportCommError(false, kCodeReadName, result);
    deviceName = name.substr(0, std::size_t(std::clamp<int32_t>(length, 0, int32_t(name.size()))));
    StepProgress();

    result = comm->GetServiceName(name, length);
    if (result != 0) return ReportCommError(false, kCodeReadService, result);
    serviceName = name.substr(0, std::size_t(std::clamp<int32_t>(length, 0, int32_t(name.size()))));
    StepProgress();

    uint8_t address[6] = {};
    result = comm->GetLocalAddress(address);
    if (result != 0) return ReportCommError(false, kCodeReadAddress, result);
    StepProgress();
    char text[32];
    std::snprintf(text, sizeof text, "%02x %02x %02x %02x %02x %02x", address[0], address[1],
                  address[2], address[3], address[4], address[5]);
    bluetoothAddress = text;

    changed = 0;
    return 1;
}

int GenSetHandler::WriteToDevice() {
    if (comm == nullptr) return ReportCommError(true, kCodeWriteName, -1);

    uint8_t name[kNameBytes + 1];
    int32_t length = TerminatedName(deviceName, name);
    int32_t result = comm->SetDeviceName(name, length);
    if (result != 0) return ReportCommError(true, kCodeWriteName, result);
    StepProgress(true);

    uint8_t service[kServiceBytes + 1];
    length = TerminatedName(serviceName, service);
    result = comm->SetServiceName(service, length);
    if (result != 0) return ReportCommError(true, kCodeWriteService, result);
    StepProgress(true);
    return 1;
}

int GenSetHandler::Validate() {
    // The upper limits are kept by the edits' maximum lengths.
    if (deviceName.empty())
        return ReportInputError(
            QStringLiteral("Invalid Bluetooth name"),
            QStringLiteral("The field \"Bluetooth name\" must be a string with 1-31 characters"),
            kHelpDeviceName);
    if (serviceName.empty())
        return ReportInputError(QStringLiteral("Invalid Bluetooth service name"),
                                QStringLiteral("The field \"Bluetooth service name\" must be a "
                                               "string with 1-17 characters"),
                                kHelpServiceName);
    return 1;
}

int GenSetHandler::SaveToFile(std::ostream& out) {
    out << "# Name and information parameters\n"
        << "Bluetooth Device Name: " << deviceName << "\n"
        << "Bluetooth Service Name: " << serviceName << "\n"
        << "Product ID: " << productId << "\n"
        << "Article number: " << articleNumber << "\n"
        << "Hardware version: " << hardwareVersion << "\n"
        << "Software version: " << softwareVersion << "\n"
        << "Bluetooth Address: " << bluetoothAddress << "\n\n\n";
    return 1;
}

int GenSetHandler::LoadFromFile(const std::string& file) {
    // The identity lines are for the reader only; the names alone come back.
    std::string value;
    if (TakeConfigValue("Bluetooth Device Name", file, value)) deviceName = value;
    if (TakeConfigValue("Bluetooth Service Name", file, value)) serviceName = value;
    UpdateControls();
    return 1;
}

void GenSetHandler::UpdateControls() {
    if (prodID != nullptr) prodID->setText(Latin1(productId));
    if (hwVer != nullptr) hwVer->setText(Latin1(hardwareVersion));
    if (swVer != nullptr) swVer->setText(Latin1(softwareVersion));
    if (artNum != nullptr) artNum->setText(Latin1(articleNumber));
    if (btAddr != nullptr) btAddr->setText(Latin1(bluetoothAddress));
    if (genDeviceName != nullptr) genDeviceName->setText(Latin1(deviceName));
    if (genServName != nullptr) genServName->setText(Latin1(serviceName));
}

void GenSetHandler::ControlChanged(QObject* control) {
    if (control == nullptr) return;
    if (control == genDeviceName) {
        deviceName = Bytes(genDeviceName->text());
    } else if (control == genServName) {
        serviceName = Bytes(genServName->text());
    } else {
        return;
    }
    changed = 1;
}
