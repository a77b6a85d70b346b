// The Connecting group: the frames of its reads and writes in both device modes
// and both security modes against the virtual module, the failure each command
// reports, the order of its checks, its file section and what a load takes back.
#include "ConSettings.h"
#include "DeviceRig.h"
#include "EndpSettings.h"

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

std::string Section(const ConSettings& s) {
    std::ostringstream out;
    s.SaveToFile(out);
    return out.str();
}

TEST(ConDevice, ReadTakesEveryAnswerWithoutAStepForTheLast) {
    const std::string module = "connect_address 00 1b dc 0f 52 a7\n"
                               "paired_address 06 a1 b2 c3 d4 e5\n";
    const std::string reads = "12 00, 62 00, 16 00, 66 00";
    const std::string kept = "9 9 0 [00 00 00 00 00 01] [00 00 00 00 00 00]";
    const struct {
        std::string state, fault, heard, progress, values;
        unsigned code;
        const char* reason;
    } cases[] = {
        {module + "device_mode 1\nsecurity 1 1 0\n", "", reads, "sss",
         "1 3 1 [00 1b dc 0f 52 a7] [06 a1 b2 c3 d4 e5]", 0, nullptr},
        // Only a second byte of 1 is a paired device, only a first byte of 1 encryption.
        {"device_mode 2\nsecurity 2 2 1\n", "", reads, "sss",
         "0 1 0 [00 00 00 00 00 00] [00 00 00 00 00 00]", 0, nullptr},
        {module, "status:0x12=255", "12 00", "", kept, 0x112, "Status error - Command error"},
        {module, "silent:0x62", "12 00, 62 00", "s", "0" + kept.substr(1), 0x162,
         "Communication timeout"},
        {module, "status:0x16=253", "12 00, 62 00, 16 00", "ss",
         "0 9 0 [00 00 00 00 00 01] [06 a1 b2 c3 d4 e5]", 0x116,
         "Status error - Command invalid parameter"},
        {module, "opcode:0x66=0x16", reads, "sss", "0 9 0 [00 1b dc 0f 52 a7] [06 a1 b2 c3 d4 e5]",
         0x166, "Got invalid response"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args{"--state", StateFile(c.state)};
        if (!c.fault.empty()) args.insert(args.end(), {"--fault", c.fault});
        DeviceRig rig(args);
        SCOPED_TRACE(c.state + c.fault);
        ConSettings s;
        rig.Attach(s);
        s.connectingMode = 9;
        s.securityMode = 9;
        s.connectAddress[5] = 1;
        s.connectEditEmpty[0] = true;
        Failure failure;
        EXPECT_EQ(s.ReadFromDevice(failure), c.reason ? -1 : 1);
        EXPECT_EQ(rig.Heard() + " / " + rig.progress.calls, c.heard + " / " + c.progress);
        EXPECT_EQ(Values(s), c.values);
        EXPECT_EQ(c.reason ? Seen(failure) : "", c.reason ? CommSeen(false, c.code, c.reason) : "");
        EXPECT_EQ(s.connectEditEmpty[0], c.progress.size() < 3) << "shown once the address is read";
    }
}

TEST(ConDevice, WriteSendsTheModeAndTheCommandsOfItsSecurityMode) {
    const struct {
        int mode, security, encryption;
        std::string fault, heard, progress;
        unsigned code; // of the failure, 0 for none
    } cases[] = {
        {0, 3, 1, "", "", "", 0},
        {1, 1, 1, "", "13 01 01, 17 06 00 1b dc 0f 52 a7, 67 03 00 00 00", "srsrsr", 0},
        {1, 3, 1, "", "13 01 01, 67 03 01 01 00", "srsr", 0},
        {1, 3, 0, "", "13 01 01, 67 03 00 01 00", "srsr", 0},
        {1, 2, 1, "", "13 01 01", "sr", 0}, // no mode of the list: the device mode only
        {1, 1, 1, "status:0x13=255", "13 01 01", "", 0x213},
        {1, 1, 1, "status:0x17=255", "13 01 01, 17 06 00 1b dc 0f 52 a7", "sr", 0x217},
        {1, 1, 1, "status:0x67=255", "13 01 01, 17 06 00 1b dc 0f 52 a7, 67 03 00 00 00", "srsr",
         0x267},
        {1, 3, 1, "status:0x67=255", "13 01 01, 67 03 01 01 00", "sr", 0x267},
    };
    for (const auto& c : cases) {
        DeviceRig rig(c.fault.empty() ? std::vector<std::string>{}
                                      : std::vector<std::string>{"--fault", c.fault});
        SCOPED_TRACE(std::to_string(c.security) + " " + c.fault);
        ConSettings s;
        rig.Attach(s);
        s.connectingMode = uint8_t(c.mode);
        s.securityMode = c.security;
        s.requireEncryption = uint8_t(c.encryption);
        s.connectAddress = kConnect;
        s.pairedAddress = kPaired;
        Failure failure;
        EXPECT_EQ(s.WriteToDevice(failure), c.code ? -1 : 1);
        EXPECT_EQ(rig.Heard() + " / " + rig.progress.calls, c.heard + " / " + c.progress);
        EXPECT_EQ(c.code ? Seen(failure) : "",
                  c.code ? CommSeen(true, c.code, "Status error - Command error") : "");
    }
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
        {0, 3, -1, true, true, ""},
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

TEST(ConFile, SectionAndWhatALoadTakesBack) {
    ConSettings s;
    s.securityMode = 3;
    s.requireEncryption = 1;
    s.connectAddress = kConnect;
    s.pairedAddress = kPaired;
    EXPECT_EQ(Section(s), "# Connecting settings\n"
                          "Connecting security mode: Connect to paired device\n"
                          "Connect to address: 00 1b dc 0f 52 a7\n"
                          "Require encryption when connecting paired: Yes\n\n\n");
    s.securityMode = 2; // outside the list: no line
    s.requireEncryption = 0;
    EXPECT_EQ(Section(s), "# Connecting settings\n"
                          "Connect to address: 00 1b dc 0f 52 a7\n"
                          "Require encryption when connecting paired: No\n\n\n");
    s.securityMode = 1;
    EXPECT_NE(Section(s).find("\nConnecting security mode: Connect without passkey\n"),
              std::string::npos);

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
