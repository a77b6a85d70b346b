// SPDX-License-Identifier: Apache-2.0
#include "ModuleIdentity.h"

#include <cstdio>

namespace {

int Hi(uint8_t b) {
    return b >> 4;
}
int Lo(uint8_t b) {
    return b & 0x0f;
}

} // namespace

ModuleIdentity DecodeModuleIdentity(const uint8_t info[12]) {
    ModuleIdentity id;
    // Byte 0 is weighted by 1000 per high nibble, not 10: the known codes
    // 1 to 5 all have byte 0 = 0, and any other byte 0 gives an unknown code.
    id.productCode =
        (long(Hi(info[0])) * 1000 + Lo(info[0])) * 100 + (long(Hi(info[1])) * 10 + Lo(info[1]));
    switch (id.productCode) {
    case 1:
        id.productId = "NVM-100";
        break;
    case 2:
        id.productId = "NVM-210";
        break;
    case 3:
        id.productId = "NVM-220";
        break;
    case 4:
        id.productId = "NVM-220X";
        break;
    case 5:
        id.productId = "NVM-100";
        id.productCode5 = true;
        break;
    default:
        id.productId = "N/A";
        break;
    }
    // Unknown codes are taken as second generation too.
    id.secondGeneration = id.productCode != 1 && id.productCode != 5;

    char text[64];
    std::snprintf(text, sizeof text, "%d%d%d%d.%d%d.%d%d-%d%d", Hi(info[2]), Lo(info[2]),
                  Hi(info[3]), Lo(info[3]), Hi(info[4]), Lo(info[4]), Hi(info[5]), Lo(info[5]),
                  Hi(info[7]), Lo(info[7]));
    id.hardwareVersion = text;

    std::snprintf(text, sizeof text, "%u.%02u", unsigned(info[8]), unsigned(info[9]));
    id.softwareVersion = text;
    if (info[10] != 0 || info[11] != 0) {
        std::snprintf(text, sizeof text, ".%d%d", Hi(info[10]), Lo(info[10]));
        id.softwareVersion += text;
        if (info[11] != 0) {
            std::snprintf(text, sizeof text, ".%d%d", Hi(info[11]), Lo(info[11]));
            id.softwareVersion += text;
        }
    }

    id.firmware3 = Lo(info[8]) >= 3;
    id.firmware3Minor2 = id.firmware3 && info[9] >= 2;
    id.firmware3Minor2Gen2 = id.firmware3Minor2 && id.secondGeneration;
    return id;
}
