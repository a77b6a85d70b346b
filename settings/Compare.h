// SPDX-License-Identifier: Apache-2.0
// Setting-by-setting comparison of two configuration texts: what "diff" prints,
// what "program" verifies after writing, and what the window's "Compare with
// file..." and "Verify after writing" show. Only settings are compared: the
// lines a load takes (the keys of the groups' LoadFromFile); information lines
// such as "Device paired with", "Device not paired", the product ID or the
// versions are never among them.
#pragma once

#include "SettingsGroup.h"

class ModuleSettings;

#include <string>
#include <vector>

struct SettingDifference {
    std::string key;
    std::string first;  // the value in the first text ("" when it lacks the line)
    std::string second; // the value in the second text
    bool inFirst = false;
    bool inSecond = false;
};

// The keys of taken lines ("Key: value"), in their order, each once.
std::vector<std::string> SettingKeys(const TakenLines& taken);

// The keys of the settings a configuration file sets on its own, checked as
// for a module that has every group and feature.
std::vector<std::string> FileSettingKeys(const std::string& bytes);

// Of keys, those that are not settings the file sets, in their order.
std::vector<std::string> KeysNotSet(const std::string& bytes, const std::vector<std::string>& keys);

// The settings among keys whose values differ between the two texts, in the
// order of keys. Values are found as a load finds them (the first line of the
// key, a trailing carriage return removed); two values are the same when their
// texts are, when both are the same decimal number ("08" and "8") or the same
// Bluetooth address in either case. A key that neither text has is the same.
std::vector<SettingDifference> CompareSettings(const std::string& first, const std::string& second,
                                               const std::vector<std::string>& keys);

// What a module holds (its groups as read) against what it would hold after a
// write of the file's bytes: the file's values go on top of the module's, and
// both are compared in the groups' own words. writtenOnly keeps the settings a
// write-all sends (what a check after writing looks at). The groups keep the
// file's values; taken (may be null) gets the number of lines the load took.
std::vector<SettingDifference> ModuleDifferences(ModuleSettings& module, const std::string& bytes,
                                                 bool writtenOnly, int* taken = nullptr);
