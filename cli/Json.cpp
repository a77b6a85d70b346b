// SPDX-License-Identifier: Apache-2.0
#include "Json.h"

#include <sstream>

namespace cli {

std::string JsonText(const std::string& latin1) {
    std::string utf8;
    utf8.reserve(latin1.size());
    for (char c : latin1) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x80) {
            utf8 += c;
        } else {
            utf8 += char(0xC0 | b >> 6);
            utf8 += char(0x80 | (b & 0x3F));
        }
    }
    return utf8;
}

Json FileValues(const std::string& text) {
    Json values = Json::object();
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos) continue;
        const std::string key = JsonText(line.substr(0, colon));
        if (!values.contains(key)) values[key] = JsonText(line.substr(colon + 2)); // a load takes the first
    }
    return values;
}

std::string JsonLine(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace cli
