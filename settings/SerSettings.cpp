// SPDX-License-Identifier: Apache-2.0
#include "SerSettings.h"

#include "Communicator.h"

namespace {

constexpr uint32_t kCodeReadSerial = 0x114;
constexpr uint32_t kCodeReadUserDefined = 0x1d8;
constexpr uint32_t kCodeWriteSerial = 0x215;
constexpr uint32_t kCodeWriteUserDefined = 0x2d9;

constexpr long kSpeeds[SerSettings::kSpeedCount] = {2400,   4800,   9600,   19200,  38400,  57600,
                                                    115200, 230400, 460800, 921600, 1382400};
// A file's speed line is matched against these only: 1382400 is written but
// never read back.
constexpr int kSpeedsReadBack = 10;

const char* const kParities[] = {"None", "Odd", "Even"};
const char* const kFlows[] = {"Off", "On"};

const char* const kSpeedKey = "Serial baudrate";
const char* const kParityKey = "Serial parity";
const char* const kDataBitsKey = "Serial databits";
const char* const kStopBitsKey = "Serial stopbits";
const char* const kFlowKey = "Serial flow control";
const char* const kUserValueKey = "Value user define baudrate";
const char* const kUserEnabledKey = "User defined baudrate";

// The position of word in words, or -1.
template <std::size_t N> int32_t WordIndex(const char* const (&words)[N], const std::string& word) {
    for (std::size_t i = 0; i < N; ++i)
        if (word == words[i]) return int32_t(i);
    return -1;
}

} // namespace

long SerSettings::Speed(int32_t index) {
    return index >= 1 && index <= kSpeedCount ? kSpeeds[index - 1] : 0;
}

int32_t SerSettings::IndexOfSpeed(long speed) {
    for (int i = 0; i < kSpeedCount; ++i)
        if (kSpeeds[i] == speed) return i + 1;
    return 0;
}

const char* SerSettings::ParityText(int32_t value) {
    return value >= 0 && value <= 2 ? kParities[value] : nullptr;
}

const char* SerSettings::FlowText(int32_t value) {
    return value >= 0 && value <= 1 ? kFlows[value] : nullptr;
}

double SerSettings::UserDefinedSpeed(int32_t value) {
    return value / 0.004096;
}

int SerSettings::SpeedsOffered() const {
    if (secondGeneration) return 11; // up to 1382400
    if (productCode5) return 8;      // up to 230400
    return 7;                        // up to 115200
}

int SerSettings::ReadFromDevice(Failure& failure) {
    uint8_t serial[5] = {};
    int32_t result = comm != nullptr ? comm->GetSerialSettings(serial) : -1;
    if (result != 0) return CommError(failure, false, kCodeReadSerial, result);
    // The answer's order: speed index, flow control, parity, data bits, stop bits.
    // No progress step is taken for this command.
    speedIndex = serial[0];
    flowControl = serial[1];
    parity = serial[2];
    dataBits = serial[3];
    stopBits = serial[4];
    // A module without the user-defined speed leaves the held values as they are.
    if (!userDefinedSupported) return 1;

    uint8_t enabled = 0;
    uint16_t value = 0;
    result = comm->GetUserBaudrate(enabled, value);
    if (result != 0) return CommError(failure, false, kCodeReadUserDefined, result);
    userDefinedEnabled = enabled == 1 ? 1 : 0;
    userDefinedValue = value;
    Step(true);
    return 1;
}

int SerSettings::WriteToDevice(Failure& failure) {
    int32_t result = comm != nullptr ? comm->SetSerialSettings(speedIndex, flowControl, parity,
                                                               dataBits, stopBits)
                                     : -1;
    if (result != 0) return CommError(failure, true, kCodeWriteSerial, result);
    Step(true);
    if (!userDefinedSupported) return 1;

    result = userDefinedEnabled ? comm->SetUserBaudrate(1, userDefinedValue)
                                : comm->SetUserBaudrate(0, 0);
    if (result != 0) return CommError(failure, true, kCodeWriteUserDefined, result);
    return 1;
}

int SerSettings::Validate(Failure& failure) const {
    if (userDefinedEnabled && (userDefinedValue < 1 || userDefinedValue > kUserValueMax))
        return InputError(failure, "Invalid user defined baudrate",
                          "The field \"Value\" must have a value between 1 - 6144 when user "
                          "defined baudrate is enabled",
                          kHelpUserDefined);
    return 1;
}

void SerSettings::SaveToFile(std::ostream& out) const {
    out << "# Serial port settings\n";
    // A value outside its table has no line: a load then keeps what it has.
    if (const long speed = Speed(speedIndex)) out << kSpeedKey << ": " << speed << "\n";
    if (const char* text = ParityText(parity)) out << kParityKey << ": " << text << "\n";
    if (dataBits >= 5 && dataBits <= 8) out << kDataBitsKey << ": " << dataBits << "\n";
    if (stopBits >= 1 && stopBits <= 2) out << kStopBitsKey << ": " << stopBits << "\n";
    if (const char* text = FlowText(flowControl)) out << kFlowKey << ": " << text << "\n";
    if (userDefinedSupported) {
        out << kUserEnabledKey << ": " << (userDefinedEnabled ? "Yes" : "No") << "\n";
        out << kUserValueKey << ": " << userDefinedValue << "\n\n\n";
    } else {
        out << "\n\n";
    }
}

int SerSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    FileLoad load(file, taken);
    std::string value;
    if (load.Find(kSpeedKey, value)) {
        const long long speed = FileNumber(value);
        for (int i = 0; i < kSpeedsReadBack; ++i)
            if (kSpeeds[i] == speed) {
                speedIndex = i + 1;
                load.Took(kSpeedKey, value);
            }
    }
    if (load.Find(kParityKey, value) && WordIndex(kParities, value) >= 0) {
        parity = WordIndex(kParities, value);
        load.Took(kParityKey, value);
    }
    // Data and stop bits are taken as they stand; the module refuses what it cannot run.
    if (load.Find(kDataBitsKey, value) && FileNumber(value) != -1) {
        dataBits = int32_t(FileNumber(value));
        load.Took(kDataBitsKey, value);
    }
    if (load.Find(kStopBitsKey, value) && FileNumber(value) != -1) {
        stopBits = int32_t(FileNumber(value));
        load.Took(kStopBitsKey, value);
    }
    if (load.Find(kFlowKey, value) && WordIndex(kFlows, value) >= 0) {
        flowControl = WordIndex(kFlows, value);
        load.Took(kFlowKey, value);
    }
    if (load.Find(kUserValueKey, value) && FileNumber(value) != -1) {
        userDefinedValue = int32_t(FileNumber(value));
        load.Took(kUserValueKey, value);
    }
    if (load.Find(kUserEnabledKey, value) && (value == "Yes" || value == "No")) {
        userDefinedEnabled = value == "Yes" ? 1 : 0;
        load.Took(kUserEnabledKey, value);
    }
    if (load.Count() > 0) changed = 1;
    return load.Count();
}
