// SPDX-License-Identifier: Apache-2.0
// The General group: what the identity answer turns into, and what a load takes
// back and validation refuses. (Its frames and failures are checked with all
// groups in ModuleSettingsTest.)
#include "GenSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <array>

namespace {

TEST(GenIdentity, ProductVersionsAndCapabilityFlags) {
    const struct {
        std::array<uint8_t, 12> info;
        const char *product, *software;
        const char* flags; // returned, firmware3, 3Minor2, 3Minor2Gen2, secondGeneration, code5
    } cases[] = {
        {{0, 1, 0x20, 0x05, 1, 0x11, 0, 1, 2, 10, 0, 0}, "NVM-100", "2.10", "000000"},
        {{0, 3, 0x20, 0x07, 1, 0x13, 0, 1, 3, 2, 0, 0}, "NVM-220", "3.02", "111110"},
        {{0, 1, 0, 0, 0, 0, 0, 0, 3, 2, 0, 0}, "NVM-100", "3.02", "111000"},
        {{0, 2, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}, "NVM-210", "3.00", "110010"},
        {{0, 4, 0, 0, 0, 0, 0, 0, 0x13, 2, 0, 0}, "NVM-220X", "19.02", "111110"}, // low nibble 3
        {{0, 5, 0, 0, 0, 0, 0, 0, 4, 7, 0, 0}, "NVM-100", "4.07", "111001"},
        {{0, 3, 0, 0, 0, 0, 0, 0, 3, 2, 0x12, 0}, "NVM-220", "3.02.12", "111110"},
        {{0, 3, 0, 0, 0, 0, 0, 0, 3, 2, 0, 5}, "NVM-220", "3.02.00.05", "111110"},
        {{0, 3, 0, 0, 0, 0, 0, 0, 3, 2, 0xab, 0xcd}, "NVM-220", "3.02.1011.1213", "111110"},
        {{0x10, 3, 0, 0, 0, 0, 0, 0, 3, 1, 0, 0}, "N/A", "3.01", "110010"},  // byte 0 is not 0
        {{0, 0x10, 0, 0, 0, 0, 0, 0, 2, 99, 0, 0}, "N/A", "2.99", "000010"}, // 10, not 1
        {{0, 6, 0, 0, 0, 0, 0, 0, 0x12, 5, 0, 0}, "N/A", "18.05", "000010"},
        {{0xff, 0xff, 0, 0, 0, 0, 0, 0, 200, 255, 0, 0}, "N/A", "200.255", "111110"},
    };
    GenSettings h; // one handler throughout: nothing may stay from the module before
    for (const auto& c : cases) {
        const bool advanced = h.DecodeModuleInfo(c.info.data());
        std::string flags;
        for (int f : {int(advanced), int(h.firmware3), int(h.firmware3Minor2),
                      int(h.firmware3Minor2Gen2), int(h.secondGeneration), int(h.productCode5)})
            flags += std::to_string(f);
        EXPECT_EQ(h.productId + " " + h.softwareVersion + " " + flags,
                  std::string(c.product) + " " + c.software + " " + c.flags);
    }
    const uint8_t hardware[12] = {0, 1, 0x20, 0x07, 0x01, 0x13, 0x99, 0x01};
    h.DecodeModuleInfo(hardware);
    EXPECT_EQ(h.hardwareVersion, "2007.01.13-01"); // byte 6 is not shown
    const uint8_t nibbles[12] = {0, 1, 0xff, 0xa0, 0, 0x09, 0, 0xf0};
    h.DecodeModuleInfo(nibbles);
    EXPECT_EQ(h.hardwareVersion, "1515100.00.09-150");
}

TEST(GenFile, ALoadTakesOnlyTheNamesAndValidationRefusesThemOneAtATime) {
    GenSettings h;
    h.productId = "NVM-220";
    h.serviceName = "COM1";
    // Only the names come back, and only those that are there.
    TakenLines taken;
    EXPECT_EQ(h.LoadFromFile("Product ID: NVM-100\r\nBluetooth Device Name: New name\r\n", &taken),
              1);
    EXPECT_EQ(taken, TakenLines{"Bluetooth Device Name: New name"});
    EXPECT_EQ(h.productId + " | " + h.deviceName + " | " + h.serviceName,
              "NVM-220 | New name | COM1");
    EXPECT_EQ(h.changed, 1);
    h.changed = 0;
    EXPECT_EQ(h.LoadFromFile("Product ID: NVM-100\r\nNo names here\r\n", nullptr), 0);
    EXPECT_EQ(h.changed, 0);

    const std::string nameRule =
        "Invalid input value (0x0, help 22): Invalid Bluetooth name | The field \"Bluetooth "
        "name\" must be a string with 1-31 characters";
    const std::string serviceRule =
        "Invalid input value (0x0, help 23): Invalid Bluetooth service name | The field "
        "\"Bluetooth service name\" must be a string with 1-17 characters";
    const struct {
        std::string name, service, seen;
    } names[] = {
        {"", "", nameRule},
        {"\r", "S", "ok"}, // only the one carriage return goes; the other is a name
        {std::string(31, 'n'), std::string(17, 's'), "ok"},
        {std::string(32, 'n'), "S", nameRule}, // too long for the module: stopped, not cut
        {"N", "", serviceRule},
        {"N", std::string(18, 's'), serviceRule},
    };
    for (const auto& n : names) {
        h.LoadFromFile("Bluetooth Device Name: " + n.name +
                           "\r\nBluetooth Service Name: " + n.service + "\r\n",
                       nullptr);
        Failure failure;
        EXPECT_EQ(h.Validate(failure), n.seen == "ok" ? 1 : -1);
        EXPECT_EQ(n.seen == "ok" ? "ok" : Seen(failure), n.seen) << n.name;
    }
}

} // namespace
