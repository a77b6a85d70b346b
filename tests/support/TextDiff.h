// SPDX-License-Identifier: Apache-2.0
// Comparisons that say where two texts or two byte strings part, so that a
// failing test names the line or the byte instead of printing two blobs.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// The whole of a file ("" when it cannot be read).
// The text with each `from` replaced in turn; a `from` that is not there spoils
// the text, so that the comparison it is made for fails.
inline std::string Replace(std::string text,
                           const std::vector<std::pair<std::string, std::string>>& by) {
    for (const auto& [from, to] : by) {
        const std::size_t at = text.find(from);
        text = at == std::string::npos ? text + "[not found: " + from + "]"
                                       : text.replace(at, from.size(), to);
    }
    return text;
}

inline std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Texts line by line: the first line that differs, with its number, both ways.
inline ::testing::AssertionResult SameText(const std::string& expected, const std::string& actual) {
    if (expected == actual) return ::testing::AssertionSuccess();
    std::istringstream e(expected), a(actual);
    std::string le, la;
    for (int line = 1;; ++line) {
        const bool moreE = static_cast<bool>(std::getline(e, le));
        const bool moreA = static_cast<bool>(std::getline(a, la));
        if (moreE && moreA && le == la) continue;
        return ::testing::AssertionFailure()
               << "line " << line << " differs\n  expected: "
               << (moreE ? "\"" + le + "\"" : "(end)") << "\n    actual: "
               << (moreA ? "\"" + la + "\"" : "(end)") << "\n--- whole actual text ---\n"
               << actual;
    }
}

// Byte strings as hexadecimal, the first byte that differs marked.
inline ::testing::AssertionResult SameBytes(const std::vector<uint8_t>& expected,
                                            const std::vector<uint8_t>& actual) {
    if (expected == actual) return ::testing::AssertionSuccess();
    const auto hex = [](const std::vector<uint8_t>& bytes) {
        std::string text;
        char b[4];
        for (uint8_t byte : bytes) {
            std::snprintf(b, sizeof b, "%02x ", byte);
            text += b;
        }
        return text;
    };
    size_t at = 0;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at])
        ++at;
    return ::testing::AssertionFailure()
           << "byte " << at << " differs\n  expected: " << hex(expected)
           << "\n    actual: " << hex(actual);
}
