// SPDX-License-Identifier: Apache-2.0
#include "ScoSettings.h"

#include "Communicator.h"

namespace {

// Error numbers of this group. The output gain's maximum reports its failure
// under the number of the settings read and the output gain under 0x1f4, as
// modules in the field have always shown them.
constexpr uint32_t kCodeReadSettings = 0x1f0;
constexpr uint32_t kCodeReadOutputMax = 0x1f0;
constexpr uint32_t kCodeReadOutput = 0x1f4;
constexpr uint32_t kCodeReadInputMax = 0x1f5;
constexpr uint32_t kCodeReadInput = 0x1f6;
constexpr uint32_t kCodeWriteSettings = 0x2f1;
constexpr uint32_t kCodeWriteOutput = 0x2f4;
constexpr uint32_t kCodeWriteInput = 0x2f7;

constexpr int32_t kPacketTypes[ScoSettings::kPacketTypeCount] = {32, 64, 128, 256};
const char* const kPacketTypeTexts[ScoSettings::kPacketTypeCount] = {"HV1", "HV2", "HV3", "DV"};

const char* const kEnabledKey = "SCO Connection enabled";
const char* const kPacketTypeKey = "SCO Packet type";
const char* const kInputGainKey = "Codec input gain";
const char* const kOutputGainKey = "Codec output gain";

} // namespace

int32_t ScoSettings::PacketTypeOfItem(int item) {
    return item >= 0 && item < kPacketTypeCount ? kPacketTypes[item] : 0;
}

int ScoSettings::ItemOfPacketType(int32_t type) {
    for (int i = 0; i < kPacketTypeCount; ++i)
        if (kPacketTypes[i] == type) return i;
    return -1;
}

const char* ScoSettings::PacketTypeText(int32_t type) {
    const int item = ItemOfPacketType(type);
    return item >= 0 ? kPacketTypeTexts[item] : nullptr;
}

void ScoSettings::SetEnabled(bool on) {
    scoEnabled = on;
    if (scoEnabled && packetType == 0) packetType = kHv1;
}

int ScoSettings::Validate(Failure& /*failure*/) const {
    return 1;
}

int ScoSettings::ReadFromDevice(Failure& failure) {
    if (!Supported()) return 1;
    if (comm == nullptr) return CommError(failure, false, kCodeReadSettings, -1);

    uint8_t enabled = 0;
    uint16_t type = 0;
    int32_t result = comm->GetScoSettings(enabled, type);
    if (result != 0) return CommError(failure, false, kCodeReadSettings, result);
    scoEnabled = enabled != 0;
    packetType = type;
    Step();

    // Each gain's maximum comes before the gain itself, the output first.
    uint16_t value = 0;
    result = comm->GetCodecOutputGainMax(value);
    if (result != 0) return CommError(failure, false, kCodeReadOutputMax, result);
    outputGainMax = value;
    Step();

    result = comm->GetCodecOutputGain(value);
    if (result != 0) return CommError(failure, false, kCodeReadOutput, result);
    outputGain = value;
    Step();

    result = comm->GetCodecInputGainMax(value);
    if (result != 0) return CommError(failure, false, kCodeReadInputMax, result);
    inputGainMax = value;
    Step();

    result = comm->GetCodecInputGain(value);
    if (result != 0) return CommError(failure, false, kCodeReadInput, result);
    inputGain = value;
    Step();
    return 1;
}

int ScoSettings::WriteToDevice(Failure& failure) {
    if (!Supported()) return 1;
    if (comm == nullptr) return CommError(failure, true, kCodeWriteSettings, -1);

    // Switched off, the connection goes out without a packet type, whatever is held.
    int32_t result = scoEnabled ? comm->SetScoSettings(1, packetType) : comm->SetScoSettings(0, 0);
    if (result != 0) return CommError(failure, true, kCodeWriteSettings, result);
    Step(true);

    // A gain the module has no control for is not sent.
    if (outputGainMax != 0) {
        result = comm->SetCodecOutputGain(outputGain);
        if (result != 0) return CommError(failure, true, kCodeWriteOutput, result);
        Step(true);
    }
    if (inputGainMax != 0) {
        result = comm->SetCodecInputGain(inputGain);
        if (result != 0) return CommError(failure, true, kCodeWriteInput, result);
        Step(true);
    }
    return 1;
}

void ScoSettings::SaveToFile(std::ostream& out) const {
    if (!available || !InFile()) return;
    out << "# SCO Connection settings\n";
    if (scoEnabled) {
        out << kEnabledKey << ": Yes\n";
        // A packet type outside the list has no line: a load then keeps what it has.
        if (const char* text = PacketTypeText(packetType))
            out << kPacketTypeKey << ": " << text << "\n";
        if (inputGainMax > 0) out << kInputGainKey << ": " << inputGain << "\n";
        if (outputGainMax > 0) out << kOutputGainKey << ": " << outputGain << "\n";
    } else {
        out << kEnabledKey << ": No\n";
    }
    out << "\n\n";
}

int ScoSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    if (!InFile()) return 0;
    FileLoad load(file, taken);
    std::string value;
    if (load.Find(kEnabledKey, value) && (value == "Yes" || value == "No")) {
        scoEnabled = value == "Yes";
        load.Took(kEnabledKey, value);
    }
    if (load.Find(kPacketTypeKey, value)) {
        for (int i = 0; i < kPacketTypeCount; ++i)
            if (value == kPacketTypeTexts[i]) {
                packetType = kPacketTypes[i];
                load.Took(kPacketTypeKey, value);
            }
    }
    // The gains are taken as they stand, without a look at the maxima; a value
    // that is not a number is not taken.
    if (load.Find(kInputGainKey, value) && FileNumber(value) != -1) {
        inputGain = int32_t(FileNumber(value));
        load.Took(kInputGainKey, value);
    }
    if (load.Find(kOutputGainKey, value) && FileNumber(value) != -1) {
        outputGain = int32_t(FileNumber(value));
        load.Took(kOutputGainKey, value);
    }
    if (load.Count() > 0) changed = 1;
    return load.Count();
}
