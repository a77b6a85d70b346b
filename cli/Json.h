// SPDX-License-Identifier: Apache-2.0
// --json: results as JSON objects, one a line on standard output, for a
// factory system to read.
#pragma once

#include "Cli.h"

#include <nlohmann/json.hpp>

#include <string>

namespace cli {

using Json = nlohmann::ordered_json;

// A module's or a file's text as JSON text: they are 8-bit (Latin-1), so each
// byte is the character of the same number.
std::string JsonText(const std::string& latin1);

// The "Key: value" lines of a configuration text, in their order, as one object.
Json FileValues(const std::string& text);

// The object on one line.
std::string JsonLine(const Json& object);

} // namespace cli
