// SPDX-License-Identifier: Apache-2.0
#include "Units.h"

#include "ConfigFile.h"
#include "ModuleSettings.h"

#include <cstdio>
#include <cstdlib>

namespace cli {

namespace {

const char* const kAddressColumn = "Bluetooth address";

// The rows of a CSV text: fields separated by commas, a field in double quotes
// may hold commas, line ends and doubled quotes. Empty lines are skipped.
std::vector<std::vector<std::string>> CsvRows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row;
    std::string field;
    bool quoted = false, any = false;
    auto endRow = [&] {
        if (any || !field.empty() || !row.empty()) {
            row.push_back(field);
            rows.push_back(row);
        }
        row.clear();
        field.clear();
        any = false;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                field += '"';
                ++i;
            } else if (c == '"') {
                quoted = false;
            } else {
                field += c;
            }
        } else if (c == '"') {
            quoted = any = true;
        } else if (c == ',') {
            row.push_back(field);
            field.clear();
            any = true;
        } else if (c == '\n') {
            endRow();
        } else if (c != '\r') {
            field += c;
        }
    }
    endRow();
    return rows;
}

// The address without spaces and in lower case, to match rows to modules.
std::string AddressKey(const std::string& address) {
    std::string key;
    for (char c : address)
        if (c != ' ' && c != ':' && c != '-') key += char(std::tolower(static_cast<unsigned char>(c)));
    return key;
}

// value with its fields filled in; false with why for an unknown field.
bool Fill(const std::string& value, long n, const std::string& address, std::string& out,
          std::string& why) {
    out.clear();
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '{') {
            out += value[i];
            continue;
        }
        const std::size_t end = value.find('}', i);
        const std::string field = value.substr(i + 1, end == value.npos ? value.npos : end - i - 1);
        if (end == value.npos) {
            why = "\"" + value + "\": a field is not closed with }";
            return false;
        }
        if (field == "n") {
            out += std::to_string(n);
        } else if ((field.size() == 4 || field.size() == 5) && field.compare(0, 3, "n:0") == 0 &&
                   field.find_first_not_of("0123456789", 3) == std::string::npos) {
            // {n:04}: the number with zeros in front, to that many digits.
            char text[64];
            std::snprintf(text, sizeof text, "%0*ld", std::atoi(field.c_str() + 2), n);
            out += text;
        } else if (field == "address") {
            out += address;
        } else if (field == "address6") {
            const std::string digits = AddressKey(address);
            out += digits.size() >= 6 ? digits.substr(digits.size() - 6) : digits;
        } else {
            why = "\"" + value + "\": unknown field {" + field +
                  "} (there are {n}, {n:04}, {address} and {address6})";
            return false;
        }
        i = end;
    }
    return true;
}

// Whether a configuration file takes key (with a value as text).
bool IsSettingKey(const std::string& key, const std::string& value) {
    ModuleSettings settings;
    settings.AssumeEveryGroup();
    return settings.LoadFile(key + ": " + value + "\n") > 0;
}

} // namespace

std::string Unit::FileText() const {
    std::string text;
    for (const auto& [key, value] : values)
        text += key + ": " + value + "\n";
    return text;
}

bool Units::Setup(const UnitOptions& o, std::string& why) {
    const std::string sample = "00 11 22 33 44 55";
    for (const std::string& set : o.sets) {
        const std::size_t equals = set.find('=');
        if (equals == std::string::npos || equals == 0) {
            why = "--set takes KEY=VALUE, not \"" + set + "\"";
            return false;
        }
        const std::string key = set.substr(0, equals), value = set.substr(equals + 1);
        std::string filled;
        if (!Fill(value, o.first, sample, filled, why)) return false;
        if (!IsSettingKey(key, filled.empty() ? "x" : filled)) {
            why = "--set: \"" + key + "\" is not a setting of the configuration file";
            return false;
        }
        counted = counted || value.find("{n") != std::string::npos;
        sets.emplace_back(key, value);
    }
    if (!o.units.empty()) {
        std::string bytes;
        if (!ConfigFile::ReadAll(o.units, bytes, &why)) {
            why = o.units + ": " + why;
            return false;
        }
        rows = CsvRows(bytes);
        if (rows.empty()) {
            why = o.units + ": it has no header row";
            return false;
        }
        header = rows.front();
        rows.erase(rows.begin());
        for (std::size_t c = 0; c < header.size(); ++c) {
            if (header[c] == kAddressColumn) {
                addressColumn = int(c);
            } else if (!IsSettingKey(header[c], "x") && !IsSettingKey(header[c], "1")) {
                why = o.units + ": \"" + header[c] + "\" is not a setting of the configuration file";
                return false;
            }
        }
        used.assign(rows.size(), false);
    }
    next = o.first;
    counterPath = o.counter;
    if (!counterPath.empty()) {
        std::string bytes;
        if (ConfigFile::ReadAll(counterPath, bytes, nullptr)) {
            char* end = nullptr;
            const long stored = std::strtol(bytes.c_str(), &end, 10);
            if (end == bytes.c_str() || stored < 0) {
                why = counterPath + ": it does not hold the next unit number";
                return false;
            }
            // --first never takes a number back that was given already.
            next = o.firstGiven && o.first > stored ? o.first : stored;
        }
    }
    return true;
}

bool Units::Take(const std::string& address, Unit& unit, std::string& why) {
    std::lock_guard<std::mutex> lock(mutex);
    unit = Unit{};
    int row = -1;
    if (!header.empty()) {
        for (std::size_t r = 0; r < rows.size() && row < 0; ++r) {
            if (used[r]) continue;
            if (addressColumn < 0 ||
                (std::size_t(addressColumn) < rows[r].size() &&
                 AddressKey(rows[r][std::size_t(addressColumn)]) == AddressKey(address)))
                row = int(r);
        }
        if (row < 0) {
            why = addressColumn < 0 ? "no row of the units file is left for this module"
                                    : "the units file has no row for Bluetooth address " + address;
            return false;
        }
    }
    const bool numbered = counted || !counterPath.empty();
    if (numbered) {
        unit.number = next;
        if (!counterPath.empty() &&
            !ConfigFile::WriteAtomically(counterPath, std::to_string(next + 1) + "\n", &why)) {
            why = "the counter file could not be written: " + counterPath + ": " + why;
            return false;
        }
        ++next;
    }
    for (const auto& [key, value] : sets) {
        std::string filled;
        Fill(value, unit.number, address, filled, why); // checked by Setup
        unit.values.emplace_back(key, filled);
    }
    if (row >= 0) {
        used[std::size_t(row)] = true;
        const std::vector<std::string>& cells = rows[std::size_t(row)];
        for (std::size_t c = 0; c < header.size(); ++c)
            if (int(c) != addressColumn)
                unit.values.emplace_back(header[c], c < cells.size() ? cells[c] : "");
    }
    return true;
}

} // namespace cli
