// SPDX-License-Identifier: Apache-2.0
// SHA-256 of a byte string, as 64 lowercase hexadecimal digits: the program
// log's record of which file went onto a module.
#pragma once

#include <string>

namespace cli {

std::string Sha256Hex(const std::string& bytes);

} // namespace cli
