// SPDX-License-Identifier: Apache-2.0
// The Bluetooth Class of Device as the Other page shows it: the three lists of
// its combo boxes (major service class, major device class, minor device class)
// and the way between a class value and the items chosen in them. Only the low
// 24 bits of a value are the class.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ClassOfDevice {

constexpr uint32_t kMask = 0xFFFFFF;
// What a box without a chosen item shows.
extern const char* const kUnknown; // "Unknown"

// The lists of the major service class and major device class boxes.
const std::vector<std::string>& ServiceItems();
const std::vector<std::string>& MajorItems();
// The minor list of a major device class number (bits 8 to 12): empty for a
// number the major list has no item for.
const std::vector<std::string>& MinorItems(uint32_t majorNumber);

// Bits 8 to 12 of a class.
inline uint32_t MajorNumber(uint32_t cod) {
    return (cod >> 8) & 0x1F;
}

// The item of each box that a class selects, -1 for none ("Unknown").
int ServiceItem(uint32_t cod);
int MajorItem(uint32_t cod);
int MinorItem(uint32_t cod);

// The class with one box's item put into its own bits, the other bits kept.
// An item outside the box's list leaves the class as it is. The result is
// always the low 24 bits.
uint32_t WithService(uint32_t cod, int item); // clears bits 13 to 23 first
uint32_t WithMajor(uint32_t cod, int item);   // the minor bits stay
uint32_t WithMinor(uint32_t cod,
                   int item); // in the list of the class's own major

} // namespace ClassOfDevice
