// SPDX-License-Identifier: Apache-2.0
// The Endpoint group: the order of its checks, what a load takes back and the
// section's lines that only some values give. (Its frames, failures and
// ordinary saved lines are checked with all groups in ModuleSettingsTest and
// tests/cli.)
#include "EndpSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

const EndpSettings::Address kAccept{{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
const EndpSettings::Address kPaired{{0x06, 0xa1, 0xb2, 0xc3, 0xd4, 0xe5}};

// mode, allow all, security, encryption, accept, paired, PIN code
std::string Values(const EndpSettings& s) {
    std::ostringstream out;
    out << int(s.endpointMode) << ' ' << int(s.allowAll) << ' ' << s.securityMode << ' '
        << int(s.requireEncryption) << " [" << btaddress::Text(s.acceptAddress) << "] ["
        << btaddress::Text(s.pairedAddress) << "] " << s.pinCode;
    return out.str();
}

TEST(EndpValidate, ChecksInOrderOnlyInEndpointMode) {
    const std::string address = "Invalid input value (0x0, help 44): Invalid endpoint accept "
                                "address | The device is configured to accept connections from a "
                                "specific device but with an invalid accept address";
    const std::string noPin = "Invalid input value (0x0, help 45): Invalid PIN code | When the "
                              "device is configured to require PIN code, a PIN code must be "
                              "entered";
    const std::string longPin = "Invalid input value (0x0, help 45): Invalid PIN code | The PIN "
                                "code must have 1-16 characters";
    const std::string unpaired = "Invalid input value (0x0, help 46): Invalid endpoint security "
                                 "setting | The device is configured to accept connection from a "
                                 "paired device, but the device is not paired";
    const struct {
        int mode, security, allowAll, emptyEdit; // emptyEdit: index of an empty edit, or -1
        bool zeroAccept, zeroPaired;
        std::string pin, seen;
    } cases[] = {
        {1, 1, 0, -1, false, true, "", ""},
        {1, 1, 0, 5, false, false, "K", address},
        {1, 1, 0, 0, false, false, "K", address},
        {1, 1, 0, -1, true, false, "K", address},
        {1, 1, 1, 3, true, true, "", ""},
        {1, 2, 0, 2, true, true, "", noPin},
        {1, 2, 0, -1, true, true, std::string(16, 'k'), ""},
        {1, 2, 0, -1, false, false, std::string(17, 'k'), longPin},
        {0, 2, 0, -1, false, false, "", ""},
        {1, 3, 0, 1, true, true, "", unpaired},
        {1, 3, 0, -1, true, false, "", ""},
    };
    for (const auto& c : cases) {
        EndpSettings s;
        s.endpointMode = uint8_t(c.mode);
        s.securityMode = c.security;
        s.allowAll = uint8_t(c.allowAll);
        if (c.emptyEdit >= 0) s.acceptEditEmpty[std::size_t(c.emptyEdit)] = true;
        s.acceptAddress = c.zeroAccept ? EndpSettings::Address{} : kAccept;
        s.pairedAddress = c.zeroPaired ? EndpSettings::Address{} : kPaired;
        s.pinCode = c.pin;
        Failure failure;
        EXPECT_EQ(s.Validate(failure), c.seen.empty() ? 1 : -1);
        EXPECT_EQ(c.seen.empty() ? "" : Seen(failure), c.seen)
            << c.mode << c.security << c.allowAll << c.emptyEdit << c.pin;
    }
}

TEST(EndpFile, SectionOfTheOtherModeAndWhatALoadTakesBack) {
    // Connecting mode, allow all, a security mode outside the list (no line), not paired.
    EndpSettings s;
    s.allowAll = 1;
    s.securityMode = 4;
    s.acceptAddress = kAccept;
    EXPECT_EQ(Section(s), "# Device mode\nDevice mode: Connecting\n\n\n"
                          "# Endpoint settings\n"
                          "Accepted address: Allow all\n"
                          "Require encryption when require pincode: No\n"
                          "Passkey: \n"
                          "Require encryption when paired: No\n"
                          "Device not paired\n\n\n");

    const struct {
        std::string file, values; // as Values()
        int taken;
    } cases[] = {
        {"", "1 1 2 1 [02 11 22 33 44 55] [06 a1 b2 c3 d4 e5] K3y9", 0},
        // Allow all stays set under a loaded address; the paired line is never taken.
        {"Device mode: Connecting\r\nEndpoint Security mode: Require paired device\r\n"
         "Accepted address: 0a 1B c2 d3 e4 f5\r\nRequire encryption when require pincode: No\r\n"
         "Passkey: A passkey of twenty\r\nDevice paired with: 01 02 03 04 05 06\r\n",
         "0 1 3 0 [0a 1b c2 d3 e4 f5] [06 a1 b2 c3 d4 e5] A passkey of twenty", 5},
        {"Device mode: Endpoint\nEndpoint Security mode: No authentication\n"
         "Accepted address: Allow all\n",
         "1 1 1 1 [02 11 22 33 44 55] [06 a1 b2 c3 d4 e5] K3y9", 3},
        // Unknown words, short and odd addresses keep the values; a lone carriage
        // return is a value, empty once it is removed.
        {"Device mode: \r\nEndpoint Security mode: require passkey\r\n"
         "Accepted address: 0a 1b c2 d3 e4\r\nRequire encryption when require pincode: yes\r\n"
         "Passkey: \r\n",
         "0 1 2 1 [02 11 22 33 44 55] [06 a1 b2 c3 d4 e5] ", 2},
        {"Accepted address: 0a 1b zz d3 e4 f5\nDevice not paired\nPasskey: P\n",
         "1 1 2 1 [02 11 22 33 44 55] [06 a1 b2 c3 d4 e5] P", 1},
        {"Accepted address: -1 1b c2 d3 e4 f5\nDevice mode: endpoint\n",
         "0 1 2 1 [02 11 22 33 44 55] [06 a1 b2 c3 d4 e5] K3y9", 1},
    };
    for (const auto& c : cases) {
        EndpSettings h;
        h.endpointMode = h.allowAll = h.requireEncryption = 1;
        h.securityMode = 2;
        h.acceptAddress = kAccept;
        h.pairedAddress = kPaired;
        h.pinCode = "K3y9";
        h.acceptEditEmpty[4] = true;
        EXPECT_EQ(h.LoadFromFile(c.file, nullptr), c.taken) << c.file;
        EXPECT_EQ(Values(h), c.values) << c.file;
        EXPECT_EQ(h.changed, c.taken > 0 ? 1 : 0) << c.file;
        EXPECT_EQ(h.acceptEditEmpty[4], c.values.find("0a 1b") == std::string::npos) << c.file;
    }
}

} // namespace
