// SPDX-License-Identifier: Apache-2.0
#include "OtherSettings.h"

#include "ClassOfDevice.h"
#include "Communicator.h"

namespace {

constexpr uint32_t kCodeReadPerformance = 0x1c0;
constexpr uint32_t kCodeReadLinkTimeout = 0x1c2;
constexpr uint32_t kCodeReadClass = 0x1cc;
constexpr uint32_t kCodeReadEmulation = 0x1d6;
constexpr uint32_t kCodeReadQos = 0x1da;
constexpr uint32_t kCodeWritePerformance = 0x2c1;
constexpr uint32_t kCodeWriteLinkTimeout = 0x2c3;
constexpr uint32_t kCodeWriteClass = 0x2cd;
constexpr uint32_t kCodeWriteEmulation = 0x2d7;
constexpr uint32_t kCodeWriteQos = 0x2db;

// The performance byte of the module.
constexpr int32_t kThroughput = 1;
constexpr int32_t kLatency = 2;

const char* const kEmulationKey = "Emulate serial handshake";
const char* const kEmulationTypeKey = "Emulate serial type";
const char* const kClassKey = "Class of device";
const char* const kPerformanceKey = "Performance optimazation";
const char* const kLinkEnabledKey = "Link timeout enabled";
const char* const kLinkValueKey = "Link timeout value";
const char* const kQosModeKey = "Quality of service mode";
const char* const kQosLatencyKey = "Quality of service latency";

const char* const kQosModes[] = {"Disabled", "Best effort", "Guaranteed"};

const char* const kLatencyHeadline = "Invalid Quality of service latency";

} // namespace

int32_t OtherSettings::LinkTimeoutSeconds(int32_t slots) {
    // In whole numbers, so half a second (800 slots) always rounds up; a
    // time-out is never negative.
    return (slots + kSlotsPerSecond / 2) / kSlotsPerSecond;
}

void OtherSettings::EditsAsShown() {
    // The latency edit always shows the held number, 0 too.
    latencyEdit = EditText::Number;
}

int OtherSettings::ReadFromDevice(Failure& failure) {
    // A failed command keeps what the ones before it gave.
    auto fail = [&](uint32_t code, int32_t result, int32_t help) {
        return CommError(failure, false, code, result, help);
    };
    if (comm == nullptr) return fail(kCodeReadPerformance, -1, 0);

    uint8_t performance = 0;
    int32_t result = comm->GetPerformanceMode(performance);
    if (result != 0) return fail(kCodeReadPerformance, result, 0);
    throughputOptimised = performance == kThroughput ? 1 : 0;
    Step();

    uint8_t cod[4] = {};
    result = comm->GetClassOfDevice(cod);
    if (result != 0) return fail(kCodeReadClass, result, 0);
    classOfDevice = (uint32_t(cod[0]) << 24 | uint32_t(cod[1]) << 16 | uint32_t(cod[2]) << 8 |
                     uint32_t(cod[3])) &
                    ClassOfDevice::kMask;
    Step();

    if (emulationSupported) {
        uint8_t type = 0;
        result = comm->GetSerialEmulation(type);
        if (result != 0) return fail(kCodeReadEmulation, result, kHelpReadEmulation);
        emulationType = type;
        emulationEnabled = type != 0 ? 1 : 0;
        Step();
    }

    uint16_t slots = 0;
    result = comm->GetLinkTimeout(slots);
    if (result != 0) return fail(kCodeReadLinkTimeout, result, 0);
    // Off is 0; the held time-out then stays for when the person switches it on.
    linkTimeoutEnabled = slots != 0 ? 1 : 0;
    if (slots != 0) linkTimeout = slots;
    Step();

    if (qosSupported) {
        uint8_t mode = 0;
        uint8_t latency[4] = {};
        result = comm->GetQualityOfService(mode, latency);
        if (result != 0) return fail(kCodeReadQos, result, kHelpReadQos);
        qosMode = mode;
        qosLatency = int32_t(uint32_t(latency[0]) << 24 | uint32_t(latency[1]) << 16 |
                             uint32_t(latency[2]) << 8 | uint32_t(latency[3]));
        Step();
    }
    EditsAsShown();
    return 1;
}

int OtherSettings::WriteToDevice(Failure& failure) {
    auto fail = [&](uint32_t code, int32_t result, int32_t help) {
        return CommError(failure, true, code, result, help);
    };
    if (comm == nullptr) return fail(kCodeWritePerformance, -1, kHelpWritePerformance);

    int32_t result = comm->SetPerformanceMode(throughputOptimised ? kThroughput : kLatency);
    if (result != 0) return fail(kCodeWritePerformance, result, kHelpWritePerformance);
    Step(true);

    const uint32_t cod = classOfDevice & ClassOfDevice::kMask;
    const uint8_t codBytes[4] = {0, uint8_t(cod >> 16), uint8_t(cod >> 8), uint8_t(cod)};
    result = comm->SetClassOfDevice(codBytes);
    if (result != 0) return fail(kCodeWriteClass, result, kHelpWriteClass);
    Step(true);

    if (emulationSupported) {
        // The type list shows the held type (none for 0), so switched on with
        // type 0 the module is told 0; a type above 2 is refused unsent.
        result = comm->SetSerialEmulation(emulationEnabled ? emulationType : 0);
        if (result != 0) return fail(kCodeWriteEmulation, result, kHelpWriteEmulation);
        Step(true);
    }

    // Switched off, the module is told 0 and the held time-out is given up.
    if (!linkTimeoutEnabled) linkTimeout = 0;
    result = comm->SetLinkTimeout(linkTimeout);
    if (result != 0) return fail(kCodeWriteLinkTimeout, result, kHelpWriteLinkTimeout);
    Step(true);

    if (qosSupported) {
        const uint32_t latency = qosMode != 0 ? uint32_t(qosLatency) : 0;
        const uint8_t latencyBytes[4] = {uint8_t(latency >> 24), uint8_t(latency >> 16),
                                         uint8_t(latency >> 8), uint8_t(latency)};
        result = comm->SetQualityOfService(qosMode, latencyBytes);
        if (result != 0) return fail(kCodeWriteQos, result, kHelpWriteQos);
        Step(true);
    }
    return 1;
}

int OtherSettings::Validate(Failure& failure) const {
    if (!qosSupported || qosMode == 0) return 1;
    // The edit's text converted with the default -1: an empty edit, a text that
    // is not a number and the number -1 all give -1.
    if (latencyEdit != EditText::Number || qosLatency == -1)
        return InputError(failure, kLatencyHeadline,
                          "The field \"Latency\" does not contain a valid integer value", 0);
    if (qosLatency < 1 || qosLatency > kLatencyMax)
        return InputError(failure, kLatencyHeadline,
                          "The field \"Latency\" must be an integer between 1 - 1000000", 0);
    return 1;
}

void OtherSettings::SaveToFile(std::ostream& out) const {
    if (!available) return;
    out << "# Other settings\n";
    // The emulation lines are written whether or not the module has emulation.
    if (emulationEnabled) {
        out << kEmulationKey << ": Yes\n";
        // A type above 2 from the module has no line: a load keeps what it has.
        if (emulationType >= 0 && emulationType <= 2)
            out << kEmulationTypeKey << ": " << (emulationType == 1 ? "DTE" : "DCE") << "\n";
    } else {
        out << kEmulationKey << ": No\n";
    }
    out << kClassKey << ": " << (classOfDevice & ClassOfDevice::kMask) << "\n";
    out << kPerformanceKey << ": " << (throughputOptimised ? "Throughput" : "Latency") << "\n";
    if (linkTimeoutEnabled)
        out << kLinkEnabledKey << ": Yes\n" << kLinkValueKey << ": " << linkTimeout << "\n";
    else
        out << kLinkEnabledKey << ": No\n";
    if (qosSupported && qosMode >= 0 && qosMode <= 2) {
        out << kQosModeKey << ": " << kQosModes[qosMode] << "\n";
        if (qosMode != 0) out << kQosLatencyKey << ": " << qosLatency << "\n";
    }
    // The section (the file's last) ends without blank lines.
}

int OtherSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    FileLoad load(file, taken);
    std::string value;
    // One of two words; anything else keeps the value.
    auto word = [&](const char* key, const char* no, const char* yes, uint8_t& flag) {
        if (load.Find(key, value) && (value == no || value == yes)) {
            flag = value == yes ? 1 : 0;
            load.Took(key, value);
        }
    };
    word(kEmulationKey, "No", "Yes", emulationEnabled);
    if (load.Find(kEmulationTypeKey, value) && (value == "DTE" || value == "DCE")) {
        emulationType = value == "DTE" ? 1 : 2;
        load.Took(kEmulationTypeKey, value);
    }
    if (load.Find(kClassKey, value) && FileNumber(value) != -1) {
        classOfDevice = uint32_t(FileNumber(value)) & ClassOfDevice::kMask;
        load.Took(kClassKey, value);
    }
    word(kPerformanceKey, "Latency", "Throughput", throughputOptimised);
    word(kLinkEnabledKey, "No", "Yes", linkTimeoutEnabled);
    if (load.Find(kLinkValueKey, value)) {
        const long long slots = FileNumber(value);
        if (slots >= 1 && slots <= 65535) {
            linkTimeout = int32_t(slots);
            load.Took(kLinkValueKey, value);
        }
    }
    if (load.Find(kQosModeKey, value))
        for (int32_t mode = 0; mode <= 2; ++mode)
            if (value == kQosModes[mode]) {
                qosMode = mode;
                load.Took(kQosModeKey, value);
            }
    if (load.Find(kQosLatencyKey, value) && FileNumber(value) != -1) {
        qosLatency = int32_t(FileNumber(value));
        load.Took(kQosLatencyKey, value);
        // The edit now shows the loaded latency; without the line it keeps its
        // text.
        EditsAsShown();
    }
    if (load.Count() > 0) changed = 1;
    return load.Count();
}
