// The General group: what the identity answer turns into, the section saved to a
// file, what a load takes back and validation refuses, and reads and writes
// against the virtual module.
#include "GenSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <sstream>

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

TEST(GenFile, SavedSectionAndWhatALoadTakesBackAndValidationRefuses) {
    GenSettings h;
    h.deviceName = "Lab unit 7";
    h.serviceName = "COM1";
    h.productId = "NVM-220";
    h.articleNumber = "N/A";
    h.hardwareVersion = "1234.56.78-01";
    h.softwareVersion = "3.02.12";
    h.bluetoothAddress = "00 0b ce 01 02 ff";
    std::ostringstream out;
    h.SaveToFile(out);
    EXPECT_EQ(out.str(), "# Name and information parameters\n"
                         "Bluetooth Device Name: Lab unit 7\n"
                         "Bluetooth Service Name: COM1\n"
                         "Product ID: NVM-220\n"
                         "Article number: N/A\n"
                         "Hardware version: 1234.56.78-01\n"
                         "Software version: 3.02.12\n"
                         "Bluetooth Address: 00 0b ce 01 02 ff\n\n\n");

    // Only the names come back, and only those that are there; a carriage return
    // alone empties a name, which validation then refuses, one name at a time.
    auto shows = [&h] { return h.productId + " | " + h.deviceName + " | " + h.serviceName; };
    TakenLines taken;
    EXPECT_EQ(h.LoadFromFile("Product ID: NVM-100\r\nBluetooth Device Name: New name\r\n", &taken),
              1);
    EXPECT_EQ(taken, TakenLines{"Bluetooth Device Name: New name"});
    EXPECT_EQ(shows(), "NVM-220 | New name | COM1");
    EXPECT_EQ(h.changed, 1);
    Failure failure;
    EXPECT_EQ(h.Validate(failure), 1);
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
        {"\r", "S", "ok"}, // only the one carriage return goes
        {std::string(31, 'n'), std::string(17, 's'), "ok"},
        {std::string(32, 'n'), "S", nameRule}, // too long for the module: stopped, not cut
        {"N", "", serviceRule},
        {"N", std::string(18, 's'), serviceRule},
    };
    for (const auto& n : names) {
        h.LoadFromFile("Bluetooth Device Name: " + n.name +
                           "\r\nBluetooth Service Name: " + n.service + "\r\n",
                       nullptr);
        failure = Failure{};
        EXPECT_EQ(h.Validate(failure), n.seen == "ok" ? 1 : -1);
        EXPECT_EQ(n.seen == "ok" ? "ok" : Seen(failure), n.seen) << n.name;
    }
}

TEST(GenDevice, ReadAndWriteTakeTheModulesValuesOrStopWithOneReport) {
    const std::string all = "40 00, 41 00, 1c 00, 1e 00, 42 00";
    const std::string lab = "1d 04 4c 61 62 00";
    const struct {
        const char* fault; // "" none, or an option list
        std::string write; // the device name to write; "" for a read
        int result;
        std::string heard, progress;
        uint32_t code;
        const char* reason; // of the report; nullptr: none
        const char* shows = nullptr;
    } cases[] = {
        {"", "", 1, all, "sm7ssss", 0, nullptr,
         "NVM-220 | 3.02 | NVM220-302-A1 | Norvane NVM-220 | Serial Port"},
        // Software 2.x has no article number: it is never asked for.
        {"--profile gen1-2.10", "", 1, "40 00, 1c 00, 1e 00, 42 00", "ssss", 0, nullptr,
         "NVM-100 | 2.10 | N/A | Norvane NVM-100 | Serial Port"},
        {"--fault silent:0x40", "", -1, "40 00", "", 0x140, "Communication timeout"},
        {"--fault opcode:0x41=0x77", "", -1, "40 00, 41 00", "sm7", 0x141, "Got invalid response"},
        {"--fault status:0x1c=255", "", -1, "40 00, 41 00, 1c 00", "sm7s", 0x11c,
         "Status error - Command error"},
        // The address read reports under the service name's number.
        {"--fault status:0x42=253", "", -1, all, "sm7sss", 0x11e,
         "Status error - Command invalid parameter"},
        {"", "Lab", 1, lab + ", 1f 02 53 00", "srsr", 0, nullptr},
        {"--fault status:0x1d=253", "Lab", -1, lab, "", 0x21d,
         "Status error - Command invalid parameter"},
        {"--fault status:0x1f=254", "Lab", -1, lab + ", 1f 02 53 00", "sr", 0x21f,
         "Status error - Command failed"},
        // Too long for the module (from a hand-edited file): refused before anything is sent.
        {"", std::string(32, 'N'), -1, "", "", 0x21d, "Bad parameter"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fault) + " " + c.write);
        std::istringstream options(c.fault);
        DeviceRig rig({std::istream_iterator<std::string>(options), {}});
        GenSettings gen;
        rig.Attach(gen);
        gen.deviceName = c.write;
        gen.serviceName = "S";
        gen.changed = 1;
        Failure failure;
        EXPECT_EQ(c.write.empty() ? gen.ReadFromDevice(failure) : gen.WriteToDevice(failure),
                  c.result);
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(gen.changed, c.result == 1 && c.write.empty() ? 0 : 1);
        if (c.shows) {
            EXPECT_EQ(gen.productId + " | " + gen.softwareVersion + " | " + gen.articleNumber +
                          " | " + gen.deviceName + " | " + gen.serviceName,
                      c.shows);
        }
        if (!c.reason) {
            EXPECT_TRUE(failure.headline.empty());
            continue;
        }
        EXPECT_EQ(Seen(failure), CommSeen(!c.write.empty(), c.code, c.reason));
    }
}

} // namespace
