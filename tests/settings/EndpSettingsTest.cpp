// The Endpoint group: the frames of its reads and writes in both device modes
// and every security mode against the virtual module, the failure each command
// reports, the order of its checks, its file section and what a load takes back.
#include "EndpSettings.h"
#include "DeviceRig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

const EndpSettings::Address kAccept{{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
const EndpSettings::Address kPaired{{0x06, 0xa1, 0xb2, 0xc3, 0xd4, 0xe5}};
const std::string kZero = "00 00 00 00 00 00";

// mode, allow all, security, encryption, accept, paired, PIN code
std::string Values(const EndpSettings& s) {
    std::ostringstream out;
    out << int(s.endpointMode) << ' ' << int(s.allowAll) << ' ' << s.securityMode << ' '
        << int(s.requireEncryption) << " [" << btaddress::Text(s.acceptAddress) << "] ["
        << btaddress::Text(s.pairedAddress) << "] " << s.pinCode;
    return out.str();
}

std::string Section(const EndpSettings& s) {
    std::ostringstream out;
    s.SaveToFile(out);
    return out.str();
}

TEST(EndpDevice, ReadTakesEveryAnswerAndStopsAtTheFirstFailure) {
    const std::string module = "accepted_address 02 11 22 33 44 55\npasskey K3y9\n";
    const std::string paired = "paired_address 06 a1 b2 c3 d4 e5\n";
    const std::string reads = "12 00, 62 00, 18 00, 66 00, 68 00";
    const struct {
        std::string state, fault, heard, progress, values;
        unsigned code;
        const char* reason;
    } cases[] = {
        // Passkey used: require passkey; only a first byte of 1 is encryption.
        {module + paired + "device_mode 2\nsecurity 1 1 1\n", "", reads, "sssss",
         "1 0 2 1 [02 11 22 33 44 55] [06 a1 b2 c3 d4 e5] K3y9", 0, nullptr},
        {module + "device_mode 1\nsecurity 2 1 2\n", "", reads, "sssss",
         "0 1 3 0 [02 11 22 33 44 55] [00 00 00 00 00 00] K3y9", 0, nullptr},
        // No authentication whatever the others say; an all-zero address allows all.
        {"accepted_address 00 00 00 00 00 00\ndevice_mode 2\nsecurity 1 0 1\n", "", reads, "sssss",
         "1 1 1 1 [00 00 00 00 00 00] [00 00 00 00 00 00] 0000", 0, nullptr},
        {module + "device_mode 3\n", "", "12 00", "",
         "9 0 9 0 [00 00 00 00 00 01] [" + kZero + "] ", 0x112, "Got invalid response"},
        {module, "status:0x62=253", "12 00, 62 00", "s",
         "1 0 9 0 [00 00 00 00 00 01] [" + kZero + "] ", 0x162,
         "Status error - Command invalid parameter"},
        {module, "status:0x18=255", "12 00, 62 00, 18 00", "ss",
         "1 0 9 0 [00 00 00 00 00 01] [" + kZero + "] ", 0x118, "Status error - Command error"},
        {module, "silent:0x66", "12 00, 62 00, 18 00, 66 00", "sss",
         "1 0 9 0 [02 11 22 33 44 55] [00 00 00 00 00 00] ", 0x166, "Communication timeout"},
        {module, "opcode:0x68=0x66", reads, "ssss", "1 0 1 0 [02 11 22 33 44 55] [" + kZero + "] ",
         0x168, "Got invalid response"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args{"--state", StateFile(c.state)};
        if (!c.fault.empty()) args.insert(args.end(), {"--fault", c.fault});
        DeviceRig rig(args);
        SCOPED_TRACE(c.state + c.fault);
        EndpSettings s;
        rig.Attach(s);
        s.endpointMode = s.securityMode = 9;
        // Allowed all before: a read never clears it.
        s.allowAll = c.state.find("device_mode 1") != std::string::npos;
        s.acceptAddress[5] = 1;
        s.acceptEditEmpty[2] = true;
        Failure failure;
        EXPECT_EQ(s.ReadFromDevice(failure), c.reason ? -1 : 1);
        EXPECT_EQ(rig.Heard() + " / " + rig.progress.calls, c.heard + " / " + c.progress);
        EXPECT_EQ(Values(s), c.values);
        EXPECT_EQ(c.reason ? Seen(failure) : "", c.reason ? CommSeen(false, c.code, c.reason) : "");
        EXPECT_EQ(s.acceptEditEmpty[2], c.progress.size() < 3) << "shown once the address is read";
    }
}

TEST(EndpDevice, WriteSendsTheModeAndTheCommandsOfItsSecurityMode) {
    const std::string pin16 = "0123456789AbCdEf";
    const struct {
        int mode, security, allowAll, encryption;
        std::string pin, fault, heard, progress;
        unsigned code; // of the failure, 0 for none
    } cases[] = {
        {0, 2, 0, 1, "K3y9", "", "", "", 0},
        {1, 1, 0, 1, "K3y9", "", "13 01 02, 19 06 02 11 22 33 44 55, 67 03 00 00 00", "srsrsr", 0},
        {1, 1, 1, 1, "", "", "13 01 02, 19 06 00 00 00 00 00 00, 67 03 00 00 00", "srsrsr", 0},
        {1, 2, 0, 1, pin16, "",
         "13 01 02, 69 10 30 31 32 33 34 35 36 37 38 39 41 62 43 64 45 66, 67 03 01 01 01",
         "srsrsr", 0},
        {1, 2, 0, 0, "K3y9", "", "13 01 02, 69 04 4b 33 79 39, 67 03 00 01 01", "srsrsr", 0},
        {1, 3, 0, 1, "", "", "13 01 02, 67 03 01 01 00", "srsr", 0},
        {1, 3, 0, 0, "", "", "13 01 02, 67 03 00 01 00", "srsr", 0},
        {1, 0, 0, 1, "", "", "13 01 02", "sr", 0}, // no mode of the list: the device mode only
        {1, 3, 0, 1, "", "status:0x13=255", "13 01 02", "", 0x213},
        {1, 1, 0, 1, "", "status:0x19=255", "13 01 02, 19 06 02 11 22 33 44 55", "sr", 0x219},
        {1, 2, 0, 1, "K3y9", "status:0x69=255", "13 01 02, 69 04 4b 33 79 39", "sr", 0x269},
        {1, 3, 0, 1, "", "status:0x67=255", "13 01 02, 67 03 01 01 00", "sr", 0x267},
        // A PIN code of 17 is refused before it is sent.
        {1, 2, 0, 1, pin16 + "g", "", "13 01 02", "sr", 0x269},
    };
    for (const auto& c : cases) {
        DeviceRig rig(c.fault.empty() ? std::vector<std::string>{}
                                      : std::vector<std::string>{"--fault", c.fault});
        SCOPED_TRACE(std::to_string(c.security) + " " + c.fault + " " + c.pin);
        EndpSettings s;
        rig.Attach(s);
        s.endpointMode = uint8_t(c.mode);
        s.securityMode = c.security;
        s.allowAll = uint8_t(c.allowAll);
        s.requireEncryption = uint8_t(c.encryption);
        s.acceptAddress = kAccept;
        s.pairedAddress = kPaired;
        s.pinCode = c.pin;
        Failure failure;
        EXPECT_EQ(s.WriteToDevice(failure), c.code ? -1 : 1);
        EXPECT_EQ(rig.Heard() + " / " + rig.progress.calls, c.heard + " / " + c.progress);
        const char* reason = c.fault.empty() ? "Bad parameter" : "Status error - Command error";
        EXPECT_EQ(c.code ? Seen(failure) : "", c.code ? CommSeen(true, c.code, reason) : "");
    }
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
        {0, 1, 0, 3, true, true, "", ""},
        {1, 2, 0, 2, true, true, "", noPin},
        {1, 2, 0, -1, true, true, std::string(16, 'k'), ""},
        {1, 2, 0, -1, false, false, std::string(17, 'k'), longPin},
        {0, 2, 0, -1, false, false, "", ""},
        {1, 3, 0, 1, true, true, "", unpaired},
        {1, 3, 0, -1, true, false, "", ""},
        {0, 3, 0, -1, true, true, "", ""},
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

TEST(EndpFile, SectionAndWhatALoadTakesBack) {
    EndpSettings s;
    s.endpointMode = 1;
    s.securityMode = 2;
    s.acceptAddress = kAccept;
    s.pinCode = "K3y9";
    s.requireEncryption = 1;
    s.pairedAddress = kPaired;
    EXPECT_EQ(Section(s), "# Device mode\nDevice mode: Endpoint\n\n\n"
                          "# Endpoint settings\n"
                          "Endpoint Security mode: Require passkey\n"
                          "Accepted address: 02 11 22 33 44 55\n"
                          "Require encryption when require pincode: Yes\n"
                          "Passkey: K3y9\n"
                          "Require encryption when paired: Yes\n"
                          "Device paired with: 06 a1 b2 c3 d4 e5\n\n\n");
    s.endpointMode = 0;
    s.allowAll = 1;
    s.securityMode = 4; // outside the list: no line
    s.pinCode.clear();
    s.requireEncryption = 0;
    s.pairedAddress = {};
    EXPECT_EQ(Section(s), "# Device mode\nDevice mode: Connecting\n\n\n"
                          "# Endpoint settings\n"
                          "Accepted address: Allow all\n"
                          "Require encryption when require pincode: No\n"
                          "Passkey: \n"
                          "Require encryption when paired: No\n"
                          "Device not paired\n\n\n");
    EXPECT_EQ(EndpSettings::SecurityText(0), nullptr);
    EXPECT_STREQ(EndpSettings::SecurityText(3), "Require paired device");

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
