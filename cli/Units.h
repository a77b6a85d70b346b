// SPDX-License-Identifier: Apache-2.0
// Per-unit values of "program" and "write": each unit its own name, passkey or
// any setting, from --set "KEY=VALUE" with fields ({n}, {n:04}, {address},
// {address6}) and from the rows of a --units CSV file. The unit counter starts
// at --first and, with --counter FILE, goes on from run to run: a number is
// taken once and never given again.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace cli {

// What one unit is given beyond the configuration file.
struct Unit {
    long number = 0; // 0 when no field or counter is in use
    std::vector<std::pair<std::string, std::string>> values; // key, value
    // The values as configuration file lines ("Key: value\n").
    std::string FileText() const;
};

struct UnitOptions {
    std::vector<std::string> sets; // "KEY=VALUE"
    std::string units;             // CSV file
    std::string counter;           // file with the next number
    long first = 1;
    bool firstGiven = false;
};

class Units {
  public:
    // false with why when an option is wrong or a file cannot be read.
    bool Setup(const UnitOptions& options, std::string& why);
    // Whether units get values of their own.
    bool Active() const { return !sets.empty() || !rows.empty(); }
    // The next unit: for the module at address (as the file writes it), its
    // number and values. false with why when no row is left or matches, or the
    // counter file cannot be written; the number is then not taken.
    bool Take(const std::string& address, Unit& unit, std::string& why);

  private:
    std::mutex mutex;
    std::vector<std::pair<std::string, std::string>> sets; // key, value with fields
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
    std::vector<bool> used;
    int addressColumn = -1;
    bool counted = false; // a --set value holds {n}
    long next = 1;
    std::string counterPath;
};

} // namespace cli
