// SPDX-License-Identifier: Apache-2.0
#include "SettingsGroup.h"

#include "Communicator.h"
#include "ConfigFile.h"

#include <cstdlib>

int SettingsGroup::InputError(Failure& failure, const char* headline, const char* rule,
                              int32_t helpContext) {
    failure = Failure{};
    failure.category = "Invalid input value";
    failure.headline = headline;
    failure.errorCode = 0;
    failure.helpContext = helpContext;
    failure.description = {rule};
    return -1;
}

int SettingsGroup::CommError(Failure& failure, bool write, uint32_t code, int32_t result,
                             int32_t helpContext) const {
    failure = Failure{};
    failure.helpContext = helpContext;
    failure.category = "communication";
    failure.headline = write ? "Could not write parameter" : "Could not read parameter";
    failure.errorCode = code;
    failure.result = result;
    failure.status = result == -3 && comm != nullptr ? comm->lastStatus : 0;
    failure.description.push_back(
        write ? "A communication error occured when writing information to the device."
              : "A communication error occured when reading information from the device.");
    // Without a communicator there is no protocol text; the protocol's own
    // text for a result it does not know stands in.
    failure.description.push_back("The reason was: " +
                                  (comm != nullptr ? comm->GetErrorText(result) : "unknown error"));
    return -1;
}

void SettingsGroup::Step(bool repaint) const {
    if (progress == nullptr) return;
    progress->Step();
    if (repaint) progress->Repaint();
}

void SettingsGroup::RaiseMaximum(int by) const {
    if (progress != nullptr) progress->RaiseMaximum(by);
}

bool FileLoad::Find(const char* key, std::string& value) const {
    return TakeConfigValue(key, file, value);
}

void FileLoad::Took(const char* key, const std::string& value) {
    ++count;
    if (taken != nullptr) taken->push_back(std::string(key) + ": " + value);
}

long long FileNumber(const std::string& text) {
    if (text.empty()) return -1;
    std::size_t i = (text[0] == '-' || text[0] == '+') ? 1 : 0;
    if (i == text.size() || text.size() - i > 10) return -1;
    for (std::size_t j = i; j < text.size(); ++j)
        if (text[j] < '0' || text[j] > '9') return -1;
    const long long n = std::strtoll(text.c_str(), nullptr, 10);
    if (n < -2147483648LL || n > 2147483647LL) return -1;
    return n;
}
