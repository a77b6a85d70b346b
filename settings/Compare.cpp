// SPDX-License-Identifier: Apache-2.0
#include "Compare.h"

#include "ConfigFile.h"
#include "EndpSettings.h"
#include "ModuleSettings.h"

#include <algorithm>
#include <array>
#include <cstdint>

std::vector<std::string> SettingKeys(const TakenLines& taken) {
    std::vector<std::string> keys;
    for (const std::string& line : taken) {
        // A key never holds a colon: the lookup ends the key at the first one.
        std::string key = line.substr(0, line.find(':'));
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(std::move(key));
    }
    return keys;
}

std::vector<std::string> FileSettingKeys(const std::string& bytes) {
    ModuleSettings settings;
    settings.AssumeEveryGroup();
    TakenLines taken;
    settings.LoadFile(bytes, &taken);
    return SettingKeys(taken);
}

std::vector<std::string> KeysNotSet(const std::string& bytes,
                                    const std::vector<std::string>& keys) {
    const std::vector<std::string> set = FileSettingKeys(bytes);
    std::vector<std::string> missing;
    for (const std::string& key : keys)
        if (std::find(set.begin(), set.end(), key) == set.end()) missing.push_back(key);
    return missing;
}

namespace {

bool SameValue(const std::string& a, const std::string& b) {
    if (a == b) return true;
    const long long na = FileNumber(a), nb = FileNumber(b);
    if (na != -1 && na == nb) return true;
    std::array<uint8_t, 6> aa{}, ab{};
    return btaddress::Parse(a, aa) && btaddress::Parse(b, ab) && aa == ab;
}

} // namespace

std::vector<SettingDifference> CompareSettings(const std::string& first, const std::string& second,
                                               const std::vector<std::string>& keys) {
    std::vector<SettingDifference> differences;
    for (const std::string& key : keys) {
        SettingDifference d;
        d.key = key;
        d.inFirst = TakeConfigValue(key, first, d.first);
        d.inSecond = TakeConfigValue(key, second, d.second);
        if (d.inFirst != d.inSecond || (d.inFirst && !SameValue(d.first, d.second)))
            differences.push_back(std::move(d));
    }
    return differences;
}

std::vector<SettingDifference> ModuleDifferences(ModuleSettings& module, const std::string& bytes,
                                                 bool writtenOnly, int* taken) {
    const std::string held = module.FileText();
    TakenLines lines;
    const int count = module.LoadFile(bytes, &lines);
    if (taken != nullptr) *taken = count;
    const std::vector<std::string> keys = SettingKeys(lines);
    return CompareSettings(held, module.FileText(), writtenOnly ? module.WrittenKeys(keys) : keys);
}
