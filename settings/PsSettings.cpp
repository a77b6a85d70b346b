// SPDX-License-Identifier: Apache-2.0
#include "PsSettings.h"

#include "Communicator.h"

namespace {

constexpr uint32_t kCodeReadSniff = 0x1c8;
constexpr uint32_t kCodeReadPark = 0x1ca;
constexpr uint32_t kCodeWriteSniff = 0x2c9;
constexpr uint32_t kCodeWritePark = 0x2cb;

const char* const kParkHeadline = "Invalid park mode parameter";
const char* const kSniffHeadline = "Invalid sniff mode parameter";

const char* const kSniffEnabledKey = "Sniff mode enabled";
const char* const kSniffMaxKey = "Sniff max interval";
const char* const kSniffMinKey = "Sniff min interval";
const char* const kSniffAttemptKey = "Sniff attempt";
const char* const kSniffTimeoutKey = "Sniff timeout";
const char* const kParkEnabledKey = "Park mode enabled";
const char* const kParkMaxKey = "Park max interval";
const char* const kParkMinKey = "Park min interval";

bool Outside(int32_t value, int32_t low, int32_t high) {
    return value < low || value > high;
}

// "Yes" or "No" exactly into flag; any other word leaves it.
void TakeYesNo(FileLoad& load, const char* key, uint8_t& flag) {
    std::string value;
    if (!load.Find(key, value) || (value != "Yes" && value != "No")) return;
    flag = value == "Yes" ? 1 : 0;
    load.Took(key, value);
}

// A decimal number into held; -1 (also what is not a number) leaves it.
void TakeNumber(FileLoad& load, const char* key, int32_t& held) {
    std::string value;
    if (!load.Find(key, value)) return;
    const long long number = FileNumber(value);
    if (number == -1) return;
    held = int32_t(number);
    load.Took(key, value);
}

} // namespace

PsSettings::PsSettings() {
    EditsAsShown();
}

void PsSettings::EditsAsShown() {
    const EditText sniff = SniffShown() ? EditText::Number : EditText::Empty;
    const EditText park = ParkShown() ? EditText::Number : EditText::Empty;
    sniffMaxIntEdit = sniffMinIntEdit = sniffAttemptEdit = sniffTimeoutEdit = sniff;
    parkBeaMaxEdit = parkBeaMinEdit = park;
}

int PsSettings::CommFailure(Failure& failure, bool write, uint32_t code, int32_t result,
                            int32_t helpContext) {
    // What a read took before the failure stays, and the page shows it.
    if (!write) EditsAsShown();
    return SettingsGroup::CommError(failure, write, code, result, helpContext);
}

int PsSettings::ReadFromDevice(Failure& failure) {
    if (comm == nullptr) return CommFailure(failure, false, kCodeReadSniff, -1, kHelpReadSniff);

    uint16_t sniff[4] = {};
    int32_t result = comm->GetSniffSettings(sniff[0], sniff[1], sniff[2], sniff[3]);
    if (result != 0) return CommFailure(failure, false, kCodeReadSniff, result, kHelpReadSniff);
    Step();
    // All four zero: sniff mode is off, and the values held stay for the next
    // time it is on.
    sniffEnabled = (sniff[0] | sniff[1] | sniff[2] | sniff[3]) != 0;
    if (sniffEnabled) {
        sniffMaxInterval = sniff[0];
        sniffMinInterval = sniff[1];
        sniffAttempt = sniff[2];
        sniffTimeout = sniff[3];
    }

    uint16_t park[2] = {};
    result = comm->GetParkSettings(park[0], park[1]);
    if (result != 0) return CommFailure(failure, false, kCodeReadPark, result, kHelpReadPark);
    Step();
    parkEnabled = (park[0] | park[1]) != 0;
    if (parkEnabled) {
        beaconMaxInterval = park[0];
        beaconMinInterval = park[1];
    }
    EditsAsShown();
    return 1;
}

int PsSettings::WriteToDevice(Failure& failure) {
    if (comm == nullptr) return CommFailure(failure, true, kCodeWriteSniff, -1, kHelpWriteSniff);

    // A mode that is off goes out as all zeros.
    int32_t result = sniffEnabled ? comm->SetSniffSettings(sniffMaxInterval, sniffMinInterval,
                                                           sniffAttempt, sniffTimeout)
                                  : comm->SetSniffSettings(0, 0, 0, 0);
    if (result != 0) return CommFailure(failure, true, kCodeWriteSniff, result, kHelpWriteSniff);
    Step(true);

    result = parkEnabled ? comm->SetParkSettings(beaconMaxInterval, beaconMinInterval)
                         : comm->SetParkSettings(0, 0);
    if (result != 0) return CommFailure(failure, true, kCodeWritePark, result, kHelpWritePark);
    Step(true);
    return 1;
}

int PsSettings::Validate(Failure& failure) const {
    // The order is fixed: park mode first; for sniff mode every edit's
    // emptiness, then the minimum interval's range before the maximum's.
    if (parkEnabled) {
        const char* rule = nullptr;
        if (parkBeaMaxEdit == EditText::Empty)
            rule = "The field \"Beacon max interval\" must have a value when park "
                   "mode is enabled";
        else if (parkBeaMinEdit == EditText::Empty)
            rule = "The field \"Beacon min interval\" must have a value when park "
                   "mode is enabled";
        else if (Outside(beaconMaxInterval, 1, 65535))
            rule = "The field \"Beacon max interval\" must have a value between "
                   "1-65535 when park "
                   "mode is enabled";
        else if (Outside(beaconMinInterval, 1, 65535))
            rule = "The field \"Beacon min interval\" must have a value between "
                   "1-65535 when park "
                   "mode is enabled";
        else if (beaconMinInterval > beaconMaxInterval)
            rule = "The field \"Beacon min interval\" must have a value equal or "
                   "less that "
                   "\"Beacon max interval\" when park mode is enabled";
        if (rule != nullptr) return InputError(failure, kParkHeadline, rule, 0);
    }
    if (!sniffEnabled) return 1;

    const char* rule = nullptr;
    if (sniffMaxIntEdit == EditText::Empty)
        rule = "The field \"Max interval\" must have a value when sniff mode is "
               "enabled";
    else if (sniffMinIntEdit == EditText::Empty)
        rule = "The field \"Min interval\" must have a value when sniff mode is "
               "enabled";
    else if (sniffAttemptEdit == EditText::Empty)
        rule = "The field \"Attempt\" must have a value when sniff mode is enabled";
    else if (sniffTimeoutEdit == EditText::Empty)
        rule = "The field \"Timeout\" must have a value when sniff mode is enabled";
    else if (Outside(sniffMinInterval, 1, 65535))
        rule = "The field \"Min interval\" must have a value between 1-65535 when "
               "sniff mode is "
               "enabled";
    else if (Outside(sniffMaxInterval, 1, 65535))
        rule = "The field \"Max interval\" must have a value between 1-65535 when "
               "sniff mode is "
               "enabled";
    else if (Outside(sniffAttempt, 1, 32767))
        rule = "The field \"Attempt\" must have a value between 1-32767 when sniff "
               "mode is enabled";
    // A timeout of 0 is accepted, as the page's label says; the text has always
    // read 1-32767.
    else if (Outside(sniffTimeout, 0, 32767))
        rule = "The field \"Timeout\" must have a value between 1-32767 when sniff "
               "mode is enabled";
    // This text has always spoken of park mode, though it guards sniff mode.
    else if (sniffMinInterval > sniffMaxInterval)
        rule = "The field \"Min interval\" must have a value equal or less that "
               "\"Max interval\" "
               "when park mode is enabled";
    if (rule != nullptr) return InputError(failure, kSniffHeadline, rule, 0);
    return 1;
}

void PsSettings::SaveToFile(std::ostream& out) const {
    if (!available) return;
    out << "# Power save settings\n";
    // A mode that is off has only its "No" line; its values are not saved.
    if (sniffEnabled) {
        out << kSniffEnabledKey << ": Yes\n"
            << kSniffMaxKey << ": " << sniffMaxInterval << "\n"
            << kSniffMinKey << ": " << sniffMinInterval << "\n"
            << kSniffAttemptKey << ": " << sniffAttempt << "\n"
            << kSniffTimeoutKey << ": " << sniffTimeout << "\n";
    } else {
        out << kSniffEnabledKey << ": No\n";
    }
    if (parkEnabled) {
        out << kParkEnabledKey << ": Yes\n"
            << kParkMaxKey << ": " << beaconMaxInterval << "\n"
            << kParkMinKey << ": " << beaconMinInterval << "\n";
    } else {
        out << kParkEnabledKey << ": No\n";
    }
    out << "\n\n";
}

int PsSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    // Values are taken without range checks; Validate stops them before a write.
    FileLoad load(file, taken);
    TakeYesNo(load, kSniffEnabledKey, sniffEnabled);
    TakeNumber(load, kSniffMaxKey, sniffMaxInterval);
    TakeNumber(load, kSniffMinKey, sniffMinInterval);
    TakeNumber(load, kSniffAttemptKey, sniffAttempt);
    TakeNumber(load, kSniffTimeoutKey, sniffTimeout);
    TakeYesNo(load, kParkEnabledKey, parkEnabled);
    TakeNumber(load, kParkMaxKey, beaconMaxInterval);
    TakeNumber(load, kParkMinKey, beaconMinInterval);
    if (load.Count() > 0) changed = 1;
    EditsAsShown();
    return load.Count();
}
