// SPDX-License-Identifier: Apache-2.0
// The ".bcf" configuration file: naming rule, header, atomic save and the key lookup.
#pragma once

#include <cstddef>
#include <string>

namespace ConfigFile {

extern const char* const kHeader; // first line and two empty lines

// A name longer than 4 characters that does not end in ".bcf" (case-sensitive)
// gets ".bcf" appended; shorter names are used as they are.
std::string SaveName(const std::string& chosen);

// Largest file a load reads.
constexpr std::size_t kMaxFileSize = 1024 * 1024;

// Turns every "\n" of text into "\r\n" and writes it to a temporary file beside
// the target, then renames it over the target. A symbolic link is written
// through to the file it names; an existing file keeps its permissions. false
// (the target untouched, error telling why) on any failure.
bool WriteAtomically(const std::string& path, const std::string& text,
                     std::string* error = nullptr);

// Reads a whole configuration file: only a regular file of at most
// kMaxFileSize bytes without a zero byte. false (bytes untouched, error telling
// why) for anything else; never waits on a pipe or a device.
bool ReadAll(const std::string& path, std::string& bytes, std::string* error = nullptr);

} // namespace ConfigFile

// The value of the first line whose key equals key exactly, or "" when none.
// A carriage return before the line feed stays in the value. Keys and values
// longer than 99 characters are cut at 99.
std::string FindConfigValue(const std::string& key, const std::string& stream);

// A looked-up value as handlers take it: empty stays empty (the setting keeps its
// value); otherwise one trailing carriage return is removed. Returns false when empty.
bool TakeConfigValue(const std::string& key, const std::string& stream, std::string& value);
