// SPDX-License-Identifier: Apache-2.0
#include "GenSettings.h"

#include "Communicator.h"
#include "ModuleIdentity.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Error numbers of this group. The address read reports its failure under the
// service-name code, as modules in the field have always shown it.
constexpr uint32_t kCodeReadInfo = 0x140;
constexpr uint32_t kCodeReadArticle = 0x141;
constexpr uint32_t kCodeReadName = 0x11c;
constexpr uint32_t kCodeReadService = 0x11e;
constexpr uint32_t kCodeReadAddress = 0x11e;
constexpr uint32_t kCodeWriteName = 0x21d;
constexpr uint32_t kCodeWriteService = 0x21f;

// Read-all has seven more commands when the advanced groups take part.
constexpr int kAdvancedReadSteps = 7;

// The module takes a device name of at most 32 bytes and a service name of at
// most 18, the terminating zero included.
constexpr std::size_t kNameBytes = 32;
constexpr std::size_t kServiceBytes = 18;

const char* const kDeviceNameKey = "Bluetooth Device Name";
const char* const kServiceNameKey = "Bluetooth Service Name";

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

// The text of a name answer, as long as the module says it is.
std::string Cut(const std::string& text, int32_t length) {
    return text.substr(0, std::size_t(std::clamp<int32_t>(length, 0, int32_t(text.size()))));
}

} // namespace

bool GenSettings::DecodeModuleInfo(const uint8_t info[12]) {
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

int GenSettings::ReadFromDevice(Failure& failure) {
    if (comm == nullptr) return CommError(failure, false, kCodeReadInfo, -1);

    uint8_t info[12] = {};
    int32_t result = comm->GetModuleInfo(info);
    if (result != 0) return CommError(failure, false, kCodeReadInfo, result);
    Step();
    if (DecodeModuleInfo(info)) RaiseMaximum(kAdvancedReadSteps);

    if (firmware3) {
        std::string article;
        result = comm->GetArticleNumber(article);
        if (result != 0) return CommError(failure, false, kCodeReadArticle, result);
        Step();
        articleNumber = article;
    } else {
        articleNumber = "N/A"; // software before 3.0 has no article number
    }

    std::string name;
    int32_t length = 0;
    result = comm->GetDeviceName(name, length);
    if (result != 0) return CommError(failure, false, kCodeReadName, result);
    deviceName = Cut(name, length);
    Step();

    result = comm->GetServiceName(name, length);
    if (result != 0) return CommError(failure, false, kCodeReadService, result);
    serviceName = Cut(name, length);
    Step();

    uint8_t address[6] = {};
    result = comm->GetLocalAddress(address);
    if (result != 0) return CommError(failure, false, kCodeReadAddress, result);
    Step();
    char text[32];
    std::snprintf(text, sizeof text, "%02x %02x %02x %02x %02x %02x", address[0], address[1],
                  address[2], address[3], address[4], address[5]);
    bluetoothAddress = text;

    changed = 0;
    return 1;
}

int GenSettings::WriteToDevice(Failure& failure) {
    if (comm == nullptr) return CommError(failure, true, kCodeWriteName, -1);

    uint8_t name[kNameBytes + 1];
    int32_t length = TerminatedName(deviceName, name);
    int32_t result = comm->SetDeviceName(name, length);
    if (result != 0) return CommError(failure, true, kCodeWriteName, result);
    Step(true);

    uint8_t service[kServiceBytes + 1];
    length = TerminatedName(serviceName, service);
    result = comm->SetServiceName(service, length);
    if (result != 0) return CommError(failure, true, kCodeWriteService, result);
    Step(true);
    return 1;
}

int GenSettings::Validate(Failure& failure) const {
    // A name longer than the module keeps (read from a module or a file) stops
    // here, before anything is sent, so it is never cut behind the person's back.
    if (deviceName.empty() || deviceName.size() > kDeviceNameMax)
        return InputError(failure, "Invalid Bluetooth name",
                          "The field \"Bluetooth name\" must be a string with 1-31 characters",
                          kHelpDeviceName);
    if (serviceName.empty() || serviceName.size() > kServiceNameMax)
        return InputError(
            failure, "Invalid Bluetooth service name",
            "The field \"Bluetooth service name\" must be a string with 1-17 characters",
            kHelpServiceName);
    return 1;
}

void GenSettings::SaveToFile(std::ostream& out) const {
    out << "# Name and information parameters\n"
        << kDeviceNameKey << ": " << deviceName << "\n"
        << kServiceNameKey << ": " << serviceName << "\n"
        << "Product ID: " << productId << "\n"
        << "Article number: " << articleNumber << "\n"
        << "Hardware version: " << hardwareVersion << "\n"
        << "Software version: " << softwareVersion << "\n"
        << "Bluetooth Address: " << bluetoothAddress << "\n\n\n";
}

int GenSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    // The identity lines are for the reader only; the names alone come back.
    FileLoad load(file, taken);
    std::string value;
    if (load.Find(kDeviceNameKey, value)) {
        deviceName = value;
        load.Took(kDeviceNameKey, value);
    }
    if (load.Find(kServiceNameKey, value)) {
        serviceName = value;
        load.Took(kServiceNameKey, value);
    }
    if (load.Count() > 0) changed = 1;
    return load.Count();
}
