// SPDX-License-Identifier: Apache-2.0
// The virtual module's text, number and frame helpers.
#include "ModuleInternal.h"

#include <cctype>
#include <cstdio>
#include <sstream>

namespace sim {

namespace detail {

// Whole text as a number: "0x1f" hexadecimal, otherwise decimal (a leading '-' allowed).
bool ParseNumber(const std::string& text, long long* out) {
    if (text.empty() || text.size() > 20) return false;
    size_t i = 0;
    bool negative = false;
    if (text[0] == '-') {
        negative = true;
        i = 1;
    }
    int base = 10;
    if (text.size() > i + 2 && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= text.size()) return false;
    long long value = 0;
    for (; i < text.size(); ++i) {
        const int c = static_cast<unsigned char>(text[i]);
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (base == 16 && c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (base == 16 && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return false;
        if (digit >= base) return false;
        value = value * base + digit;
        if (value > 0xffffffffLL) return false;
    }
    *out = negative ? -value : value;
    return true;
}

bool ParseByteHex(const std::string& text, uint8_t* out) {
    if (text.empty() || text.size() > 2) return false;
    long long value = 0;
    if (!ParseNumber("0x" + text, &value)) return false;
    *out = static_cast<uint8_t>(value);
    return true;
}

std::vector<std::string> Tokens(const std::string& line) {
    std::vector<std::string> tokens;
    std::istringstream in(line);
    std::string token;
    while (in >> token)
        tokens.push_back(token);
    return tokens;
}

bool ParseAddressTokens(const std::vector<std::string>& tokens, size_t from, Address* out) {
    if (tokens.size() < from + 6) return false;
    Address address{};
    for (size_t i = 0; i < 6; ++i)
        if (!ParseByteHex(tokens[from + i], &address[i])) return false;
    *out = address;
    return true;
}

std::string ProductId(int code) {
    switch (code) {
    case 1:
        return "NVM-100";
    case 2:
        return "NVM-210";
    case 3:
        return "NVM-220";
    case 4:
        return "NVM-220X";
    case 5:
        return "NVM-100";
    default:
        return "NVM";
    }
}

uint8_t Bcd(int value) {
    return static_cast<uint8_t>(((value / 10) % 10) << 4 | (value % 10));
}

uint16_t Word(const std::vector<uint8_t>& f, size_t at) {
    return static_cast<uint16_t>(f[at] << 8 | f[at + 1]);
}

void PutWord(std::vector<uint8_t>* out, uint16_t value) {
    out->push_back(static_cast<uint8_t>(value >> 8));
    out->push_back(static_cast<uint8_t>(value & 0xff));
}

// Text bytes up to the first zero.
std::string TextUpToZero(const std::vector<uint8_t>& f, size_t from, size_t count) {
    std::string text;
    for (size_t i = 0; i < count && from + i < f.size(); ++i) {
        if (f[from + i] == 0) break;
        text.push_back(static_cast<char>(f[from + i]));
    }
    return text;
}

// A passkey the radio can use: no control characters.
bool GoodPasskey(const std::string& key) {
    if (key.empty() || key.size() > 16) return false;
    for (unsigned char c : key)
        if (c < 0x20 || c == 0x7f) return false;
    return true;
}

std::string EscapeText(const std::string& text) {
    std::string out;
    char buf[8];
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7f && c != '\\') {
            out.push_back(static_cast<char>(c));
        } else {
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        }
    }
    return out;
}

std::string UnescapeText(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        uint8_t byte = 0;
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
            ParseByteHex(text.substr(i + 2, 2), &byte)) {
            out.push_back(static_cast<char>(byte));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string AddressText(const Address& a) {
    return HexBytes(a.data(), a.size());
}

} // namespace detail

std::string HexBytes(const uint8_t* data, size_t count) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(count * 3);
    for (size_t i = 0; i < count; ++i) {
        if (i > 0) text.push_back(' ');
        text.push_back(digits[data[i] >> 4]);
        text.push_back(digits[data[i] & 15]);
    }
    return text;
}

} // namespace sim
