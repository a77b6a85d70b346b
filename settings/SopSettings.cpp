// SPDX-License-Identifier: Apache-2.0
#include "SopSettings.h"

#include "Communicator.h"

namespace {

constexpr uint32_t kCodeReadInquiry = 0x1c4;
constexpr uint32_t kCodeReadPage = 0x1c6;
constexpr uint32_t kCodeReadDefaultPower = 0x1d2;
constexpr uint32_t kCodeReadMaxPower = 0x1d4;
constexpr uint32_t kCodeWriteInquiry = 0x2c5;
constexpr uint32_t kCodeWritePage = 0x2c7;
constexpr uint32_t kCodeWriteMaxPower = 0x2d5;
constexpr uint32_t kCodeWriteDefaultPower = 0x2d3;

// Help contexts of the communication failures.
constexpr int32_t kHelpReadInquiry = 452;
constexpr int32_t kHelpReadPage = 454;
constexpr int32_t kHelpReadDefaultPower = 466;
constexpr int32_t kHelpReadMaxPower = 468;
constexpr int32_t kHelpWriteInquiry = 709;
constexpr int32_t kHelpWritePage = 711;
constexpr int32_t kHelpWriteMaxPower = 725;
constexpr int32_t kHelpWriteDefaultPower = 723;

// An edit's power text converts with a default of -10000, so -10000 itself
// counts as no number.
constexpr int32_t kNoPower = -10000;

const char* const kInquiryEnabledKey = "Inquiry scan enabled";
const char* const kInquiryIntervalKey = "Inquiry scan interval";
const char* const kInquiryWindowKey = "Inquiry scan window";
const char* const kPageEnabledKey = "Page scan enabled";
const char* const kPageIntervalKey = "Page scan interval";
const char* const kPageWindowKey = "Page scan window";
const char* const kMaxPowerKey = "Max TX Power";
const char* const kDefaultPowerKey = "Default TX Power";

// An edit's text as an integer: an optional sign and decimal digits that fit
// 32 bits, nothing else.
bool EditInteger(const std::string& text, int32_t& value) {
    std::size_t i = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    if (i == text.size()) return false;
    long long n = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        n = n * 10 + (text[i] - '0');
        if (n > 2147483648LL) return false;
    }
    if (text[0] == '-') n = -n;
    if (n > 2147483647LL) return false;
    value = int32_t(n);
    return true;
}

// The first of a scan's checks that fails, as its text without the closing
// " when ... scan is enabled"; nullptr when all pass.
const char* ScanRule(EditText interval, EditText window, int32_t intervalValue,
                     int32_t windowValue) {
    auto outside = [](int32_t v) { return v < SopSettings::kScanMin || v > SopSettings::kScanMax; };
    if (interval == EditText::Empty) return "The field \"Scan interval\" must have a value";
    if (window == EditText::Empty) return "The field \"Scan window\" must have a value";
    if (outside(intervalValue))
        return "The field \"Scan interval\" must have a value between 18-4096";
    if (outside(windowValue)) return "The field \"Scan window\" must have a value between 18-4096";
    if (windowValue > intervalValue)
        return "The field \"Scan window\" must have a value equal or less that "
               "\"Scan interval\"";
    return nullptr;
}

} // namespace

SopSettings::SopSettings() {
    EditsAsShown();
}

EditText& SopSettings::State(Edit edit) {
    switch (edit) {
    case Edit::InqScanInt:
        return inqScanIntEdit;
    case Edit::InqScanWind:
        return inqScanWindEdit;
    case Edit::PageScanInt:
        return pageScanIntEdit;
    case Edit::PageScanWind:
        return pageScanWindEdit;
    case Edit::MaxTxPower:
        return maxTxPowerEdit;
    case Edit::DefaultTxPower:
        break;
    }
    return defaultTxPowerEdit;
}

std::string SopSettings::Shown(Edit edit) const {
    switch (edit) {
    case Edit::InqScanInt:
        return inquiryScanEnabled ? std::to_string(inquiryScanInterval) : "";
    case Edit::InqScanWind:
        return inquiryScanEnabled ? std::to_string(inquiryScanWindow) : "";
    case Edit::PageScanInt:
        return pageScanEnabled ? std::to_string(pageScanInterval) : "";
    case Edit::PageScanWind:
        return pageScanEnabled ? std::to_string(pageScanWindow) : "";
    case Edit::MaxTxPower:
        return std::to_string(maxTxPowerValue);
    case Edit::DefaultTxPower:
        break;
    }
    return std::to_string(defaultTxPowerValue);
}

void SopSettings::EditsAsShown() {
    for (Edit edit : kEdits)
        State(edit) = Shown(edit).empty() ? EditText::Empty : EditText::Number;
}

void SopSettings::Edited(Edit edit, const std::string& text) {
    changed = 1;
    int32_t value = 0;
    const bool number = EditInteger(text, value);
    State(edit) = text.empty() ? EditText::Empty : number ? EditText::Number : EditText::NotANumber;
    switch (edit) {
    case Edit::InqScanInt:
        if (inquiryScanEnabled) inquiryScanInterval = value;
        break;
    case Edit::InqScanWind:
        if (inquiryScanEnabled) inquiryScanWindow = value;
        break;
    case Edit::PageScanInt:
        if (pageScanEnabled) pageScanInterval = value;
        break;
    case Edit::PageScanWind:
        if (pageScanEnabled) pageScanWindow = value;
        break;
    case Edit::MaxTxPower:
        maxTxPowerValue = value;
        break;
    case Edit::DefaultTxPower:
        defaultTxPowerValue = value;
        break;
    }
}

int SopSettings::ReadFromDevice(Failure& failure) {
    auto fail = [&](uint32_t code, int32_t help, int32_t result) {
        return CommError(failure, false, code, result, help);
    };
    if (comm == nullptr) return fail(kCodeReadInquiry, kHelpReadInquiry, -1);

    uint16_t interval = 0, window = 0;
    int32_t result = comm->GetInquiryScan(interval, window);
    if (result != 0) return fail(kCodeReadInquiry, kHelpReadInquiry, result);
    // Both zero: the scan is off, and the values held stay for when it is on
    // again.
    inquiryScanEnabled = interval != 0 || window != 0;
    if (inquiryScanEnabled) {
        inquiryScanInterval = interval;
        inquiryScanWindow = window;
    }
    Step();

    result = comm->GetPageScan(interval, window);
    if (result != 0) return fail(kCodeReadPage, kHelpReadPage, result);
    pageScanEnabled = interval != 0 || window != 0;
    if (pageScanEnabled) {
        pageScanInterval = interval;
        pageScanWindow = window;
    }
    Step();

    // The module reads the default power with 0xD2 and the maximum with 0xD4, and
    // writes the default with 0xD3 and the maximum with 0xD5: the operations keep
    // the command set's names (GetMaxTxPower is 0xD2, SetMaxTxPower 0xD3,
    // GetDefaultTxPower 0xD4, SetDefaultTxPower 0xD5), so here and in
    // WriteToDevice each is called for the other power.
    int16_t power = 0;
    result = comm->GetMaxTxPower(power);
    if (result != 0) return fail(kCodeReadDefaultPower, kHelpReadDefaultPower, result);
    defaultTxPowerValue = power;
    Step();

    result = comm->GetDefaultTxPower(power);
    if (result != 0) return fail(kCodeReadMaxPower, kHelpReadMaxPower, result);
    maxTxPowerValue = power;
    Step();

    EditsAsShown();
    return 1;
}

int SopSettings::WriteToDevice(Failure& failure) {
    auto fail = [&](uint32_t code, int32_t help, int32_t result) {
        return CommError(failure, true, code, result, help);
    };
    if (comm == nullptr) return fail(kCodeWriteInquiry, kHelpWriteInquiry, -1);

    // A scan that is off goes out as two zeros.
    int32_t result = inquiryScanEnabled
                         ? comm->SetInquiryScan(inquiryScanInterval, inquiryScanWindow)
                         : comm->SetInquiryScan(0, 0);
    if (result != 0) return fail(kCodeWriteInquiry, kHelpWriteInquiry, result);
    Step(true);

    result = pageScanEnabled ? comm->SetPageScan(pageScanInterval, pageScanWindow)
                             : comm->SetPageScan(0, 0);
    if (result != 0) return fail(kCodeWritePage, kHelpWritePage, result);
    Step(true);

    // The maximum goes first; each write leaves in the value the power the
    // module took.
    result = comm->SetDefaultTxPower(maxTxPowerValue);
    if (result != 0) return fail(kCodeWriteMaxPower, kHelpWriteMaxPower, result);
    Step(true);

    result = comm->SetMaxTxPower(defaultTxPowerValue);
    if (result != 0) return fail(kCodeWriteDefaultPower, kHelpWriteDefaultPower, result);
    Step(true);
    return 1;
}

int SopSettings::Validate(Failure& failure) const {
    if (inquiryScanEnabled)
        if (const char* rule =
                ScanRule(inqScanIntEdit, inqScanWindEdit, inquiryScanInterval, inquiryScanWindow))
            return InputError(failure, "Invalid inquiry scan parameter",
                              (std::string(rule) + " when inquiry scan is enabled").c_str(), 0);
    if (pageScanEnabled)
        if (const char* rule =
                ScanRule(pageScanIntEdit, pageScanWindEdit, pageScanInterval, pageScanWindow))
            return InputError(failure, "Invalid page scan parameter",
                              (std::string(rule) + " when page scan is enabled").c_str(), 0);

    const char* const heading = "Invalid power settings parameter";
    auto fail = [&](const char* rule) { return InputError(failure, heading, rule, 0); };
    auto noNumber = [](EditText edit, int32_t value) {
        return edit == EditText::NotANumber || value == kNoPower;
    };
    auto outside = [](int32_t v) { return v < kPowerMin || v > kPowerMax; };
    if (maxTxPowerEdit == EditText::Empty)
        return fail("The field \"Max TX Power\" must have a value");
    if (noNumber(maxTxPowerEdit, maxTxPowerValue))
        return fail("The field \"Max TX Power\" has an invalid value");
    if (defaultTxPowerEdit == EditText::Empty)
        return fail("The field \"Default TX Power\" must have a value");
    if (noNumber(defaultTxPowerEdit, defaultTxPowerValue))
        return fail("The field \"Defualt TX Power\" has an invalid value");
    if (outside(maxTxPowerValue))
        return fail("The field \"Max TX Power\" must have a value between -90 and 20");
    if (outside(defaultTxPowerValue))
        return fail("The field \"Default TX Power\" must have a value between -90 and 20");
    return 1;
}

void SopSettings::SaveToFile(std::ostream& out) const {
    if (!available) return;
    out << "# Scan and Output power settings\n";
    if (inquiryScanEnabled)
        out << kInquiryEnabledKey << ": Yes\n"
            << kInquiryIntervalKey << ": " << inquiryScanInterval << "\n"
            << kInquiryWindowKey << ": " << inquiryScanWindow << "\n";
    else
        out << kInquiryEnabledKey << ": No\n";
    if (pageScanEnabled)
        out << kPageEnabledKey << ": Yes\n"
            << kPageIntervalKey << ": " << pageScanInterval << "\n"
            << kPageWindowKey << ": " << pageScanWindow << "\n";
    else
        out << kPageEnabledKey << ": No\n";
    out << kMaxPowerKey << ": " << maxTxPowerValue << "\n"
        << kDefaultPowerKey << ": " << defaultTxPowerValue << "\n\n\n";
}

int SopSettings::LoadFromFile(const std::string& file, TakenLines* taken) {
    FileLoad load(file, taken);
    std::string value;
    auto flag = [&](const char* key, uint8_t& target) {
        if (load.Find(key, value) && (value == "Yes" || value == "No")) {
            target = value == "Yes" ? 1 : 0;
            load.Took(key, value);
        }
    };
    // -1 stands for "no number" and is never taken, a power of -1 dBm neither.
    auto number = [&](const char* key, int32_t& target) {
        if (load.Find(key, value) && FileNumber(value) != -1) {
            target = int32_t(FileNumber(value));
            load.Took(key, value);
        }
    };
    flag(kInquiryEnabledKey, inquiryScanEnabled);
    number(kInquiryIntervalKey, inquiryScanInterval);
    number(kInquiryWindowKey, inquiryScanWindow);
    flag(kPageEnabledKey, pageScanEnabled);
    number(kPageIntervalKey, pageScanInterval);
    number(kPageWindowKey, pageScanWindow);
    number(kMaxPowerKey, maxTxPowerValue);
    number(kDefaultPowerKey, defaultTxPowerValue);
    if (load.Count() > 0) changed = 1;
    EditsAsShown();
    return load.Count();
}
