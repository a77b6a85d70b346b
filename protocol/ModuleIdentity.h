// SPDX-License-Identifier: Apache-2.0
// What the 12-byte identity answer (command 0x40) says about a module: product,
// versions, and the capabilities that decide which settings it has.
#pragma once

#include <cstdint>
#include <string>

struct ModuleIdentity {
    long productCode = 0;
    std::string productId;       // "NVM-220", or "N/A" for an unknown code
    std::string hardwareVersion; // "2007.01.13-01"
    std::string softwareVersion; // "3.02", "3.02.12", "3.02.00.05"
    bool secondGeneration = false;
    bool productCode5 = false;
    bool firmware3 = false;           // software 3.x or later: the advanced groups exist
    bool firmware3Minor2 = false;     // software 3.02 or later
    bool firmware3Minor2Gen2 = false; // and a second-generation module (audio)
};

ModuleIdentity DecodeModuleIdentity(const uint8_t info[12]);
