// SPDX-License-Identifier: Apache-2.0
// Internal to the virtual module: status bytes and the small text, number and
// frame helpers that its parts share.
#pragma once

#include "VirtualModule.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim::detail {

constexpr uint8_t kOk = 1;
constexpr uint8_t kInvalidParameter = 253;
constexpr uint8_t kFailed = 254;
constexpr uint8_t kError = 255;
constexpr uint8_t kPairingCancelled = 226;

// Transmit power the radio can actually produce; a request outside is clamped.
constexpr int kTxPowerLowest = -30;

// Whole text as a number: "0x1f" hexadecimal, otherwise decimal (a leading '-' allowed).
bool ParseNumber(const std::string& text, long long* out);
bool ParseByteHex(const std::string& text, uint8_t* out);
std::vector<std::string> Tokens(const std::string& line);
bool ParseAddressTokens(const std::vector<std::string>& tokens, size_t from, Address* out);
std::string ProductId(int code);
uint8_t Bcd(int value);
uint16_t Word(const std::vector<uint8_t>& f, size_t at);
void PutWord(std::vector<uint8_t>* out, uint16_t value);
// Text bytes up to the first zero.
std::string TextUpToZero(const std::vector<uint8_t>& f, size_t from, size_t count);
// A passkey the radio can use: no control characters.
bool GoodPasskey(const std::string& key);
std::string EscapeText(const std::string& text);
std::string UnescapeText(const std::string& text);
std::string AddressText(const Address& a);

} // namespace sim::detail
