// SPDX-License-Identifier: Apache-2.0
// The Connecting group: the order of its checks, what a load takes back and the
// section's lines for a security mode outside the list. (Its frames, failures
// and ordinary saved lines are checked with all groups in ModuleSettingsTest and
// tests/cli.)
#include "ConSettings.h"
#include "EndpSettings.h"
#include "ModuleRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

const ConSettings::Address kConnect{{0x00, 0x1b, 0xdc, 0x0f, 0x52, 0xa7}};
const ConSettings::Address kPaired{{0x06, 0xa1, 0xb2, 0xc3, 0xd4, 0xe5}};

// mode, security, encryption, connect-to, paired
std::string Values(const ConSettings& s) {
    std::ostringstream out;
    out << int(s.connectingMode) << ' ' << s.securityMode << ' ' << int(s.requireEncryption) << " ["
        << btaddress::Text(s.connectAddress) << "] [" << btaddress::Text(s.pairedAddress) << "]";
    return out.str();
}

TEST(ConValidate, ChecksInOrderOnlyInConnectingMode) {
    const std::string head = "Invalid input value (0x0, help 52): Invalid connecting address | "
                             "The device is configured to connect without passkey but one or more "
                             "of the address ";
    const std::string unpaired = "Invalid input value (0x0, help 53): Invalid connecting security "
                                 "setting | The device is configured to connect to paired device, "
                                 "but the device is not paired";
    const struct {
        int mode, security, emptyEdit; // emptyEdit: index of an empty edit, or -1
        bool zeroConnect, zeroPaired;
        std::string seen;
    } cases[] = {
        {1, 1, -1, false, true, ""},
        {1, 1, 5, true, false, head + "fields is empty"},
        {1, 1, 0, false, false, head + "fields is empty"},
        {1, 1, -1, true, false, head + "value is invalid"},
        {0, 1, 2, true, true, ""},
        {1, 3, 2, true, true, unpaired},
        {1, 0, -1, false, true, unpaired},
        {1, 3, -1, true, false, ""},
    };
    for (const auto& c : cases) {
        ConSettings s;
        s.connectingMode = uint8_t(c.mode);
        s.securityMode = c.security;
        if (c.emptyEdit >= 0) s.connectEditEmpty[std::size_t(c.emptyEdit)] = true;
        s.connectAddress = c.zeroConnect ? ConSettings::Address{} : kConnect;
        s.pairedAddress = c.zeroPaired ? ConSettings::Address{} : kPaired;
        Failure failure;
        EXPECT_EQ(s.Validate(failure), c.seen.empty() ? 1 : -1);
        EXPECT_EQ(c.seen.empty() ? "" : Seen(failure), c.seen)
            << c.mode << c.security << c.emptyEdit << c.zeroConnect << c.zeroPaired;
    }
}

TEST(ConFile, ALoadTakesKnownWordsAndWholeAddresses) {
    // Any mode but "without passkey" is saved as the paired-device mode, the
    // start value 0 too.
    ConSettings s;
    s.securityMode = 0;
    s.connectAddress = kConnect;
    EXPECT_EQ(Section(s), "# Connecting settings\n"
                          "Connecting security mode: Connect to paired device\n"
                          "Connect to address: 00 1b dc 0f 52 a7\n"
                          "Require encryption when connecting paired: No\n\n\n");

    const struct {
        std::string file, values; // as Values()
        TakenLines taken;
    } cases[] = {
        {"", "1 3 1 [00 1b dc 0f 52 a7] [06 a1 b2 c3 d4 e5]", {}},
        {"Device mode: Endpoint\r\nConnecting security mode: Connect without passkey\r\n"
         "Connect to address: 0A 1b c2 d3 e4 f5\r\nRequire encryption when connecting paired: "
         "No\r\n"
         "Device paired with: 01 02 03 04 05 06\r\n",
         "0 1 0 [0a 1b c2 d3 e4 f5] [06 a1 b2 c3 d4 e5]",
         {"Device mode: Endpoint", "Connecting security mode: Connect without passkey",
          "Connect to address: 0A 1b c2 d3 e4 f5",
          "Require encryption when connecting paired: No"}},
        // A line without a colon is skipped, not made part of the next key.
        {"Device not paired\nDevice mode: Connecting\nConnect to address: 0a 1b c2 d3 e4\n"
         "Connecting security mode: Connect to Paired device\n",
         "1 3 1 [00 1b dc 0f 52 a7] [06 a1 b2 c3 d4 e5]",
         {"Device mode: Connecting"}},
        {"Device mode: Master\nConnect to address: 0a 1b c2 d3 e4 g5\n"
         "Require encryption when connecting paired: no\n",
         "0 3 1 [00 1b dc 0f 52 a7] [06 a1 b2 c3 d4 e5]",
         {"Device mode: Master"}},
    };
    for (const auto& c : cases) {
        ConSettings h;
        h.connectingMode = h.requireEncryption = 1;
        h.securityMode = 3;
        h.connectAddress = kConnect;
        h.pairedAddress = kPaired;
        h.connectEditEmpty[1] = true;
        TakenLines taken;
        EXPECT_EQ(h.LoadFromFile(c.file, &taken), int(c.taken.size())) << c.file;
        EXPECT_EQ(taken, c.taken);
        EXPECT_EQ(Values(h), c.values) << c.file;
        EXPECT_EQ(h.changed, c.taken.empty() ? 0 : 1) << c.file;
        EXPECT_EQ(h.connectEditEmpty[1], c.values.find("0a 1b") == std::string::npos) << c.file;
    }
}

} // namespace
