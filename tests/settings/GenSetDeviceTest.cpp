// The General page talking to a scripted module: the frames that go out, the
// values that come back, and what the person sees when a command fails.
#include "Communicator.h"
#include "Doubles.h"
#include "FakeModulePort.h"
#include "GenSetHandler.h"

#include <QLabel>
#include <gtest/gtest.h>

namespace {

using Frames = std::vector<std::string>;

struct Rig {
    FakeModulePort port;
    Communicator comm;
    RecordingErrorReport report;
    RecordingProgress progress;
    GenSetHandler gen;
    QLabel artNum{"N/A"};

    Rig() {
        comm.SetSerialPort(&port);
        gen.SetCommunicator(&comm);
        gen.SetErrorReport(&report);
        gen.SetProgress(&progress);
        gen.artNum = &artNum;
        artNum.setEnabled(false);
        port.Answer(0x40, {0x00, 0x03, 0x12, 0x34, 0x56, 0x78, 0x9a, 0x01, 3, 2, 0x12, 0});
        port.AnswerText(0x41, "ART-0042-7");
        port.AnswerText(0x1c, "Lab unit 7");
        port.AnswerText(0x1e, "COM link");
        port.Answer(0x42, {0x00, 0x0b, 0xce, 0x01, 0x02, 0xff});
    }
};

} // namespace

TEST(GenDeviceRead, SoftwareThreeReadsEveryValueInOrder) {
    Rig rig;
    rig.gen.changed = 1;
    EXPECT_EQ(rig.gen.ReadFromDevice(), 1);
    EXPECT_EQ(rig.port.written, (Frames{"40 00", "41 00", "1c 00", "1e 00", "42 00"}));
    EXPECT_EQ(rig.gen.productId, "NVM-220");
    EXPECT_EQ(rig.gen.hardwareVersion, "1234.56.78-01");
    EXPECT_EQ(rig.gen.softwareVersion, "3.02.12");
    EXPECT_EQ(rig.gen.articleNumber, "ART-0042-7");
    EXPECT_EQ(rig.gen.deviceName, "Lab unit 7");
    EXPECT_EQ(rig.gen.serviceName, "COM link");
    EXPECT_EQ(rig.gen.bluetoothAddress, "00 0b ce 01 02 ff");
    EXPECT_EQ(rig.gen.firmware3, 1);
    EXPECT_EQ(rig.gen.firmware3Minor2, 1);
    EXPECT_EQ(rig.gen.firmware3Minor2Gen2, 1);
    EXPECT_EQ(rig.gen.secondGeneration, 1);
    EXPECT_EQ(rig.gen.changed, 0);
    EXPECT_TRUE(rig.artNum.isEnabled());
    // One step per command; the bar grows by the seven advanced commands.
    EXPECT_EQ(rig.progress.calls, "smssss");
    EXPECT_EQ(rig.progress.maximum, 15);
    EXPECT_EQ(rig.report.shown, 0);
}

TEST(GenDeviceRead, SoftwareTwoHasNoArticleNumber) {
    Rig rig;
    rig.port.Answer(0x40, {0x00, 0x01, 0, 0, 0, 0, 0, 0, 2, 10, 0, 0});
    rig.gen.articleNumber = "left over";
    EXPECT_EQ(rig.gen.ReadFromDevice(), 1);
    EXPECT_EQ(rig.port.written, (Frames{"40 00", "1c 00", "1e 00", "42 00"}));
    EXPECT_EQ(rig.gen.productId, "NVM-100");
    EXPECT_EQ(rig.gen.softwareVersion, "2.10");
    EXPECT_EQ(rig.gen.articleNumber, "N/A");
    EXPECT_FALSE(rig.artNum.isEnabled());
    EXPECT_EQ(rig.gen.firmware3, 0);
    EXPECT_EQ(rig.progress.calls, "ssss");
    EXPECT_EQ(rig.progress.maximum, 8);
}

TEST(GenDeviceRead, NamesAreCutWhereTheModuleSaysTheyEnd) {
    Rig rig;
    rig.port.AnswerText(0x1c, std::string("Short\0garbage", 13));
    rig.port.AnswerText(0x1e, std::string(60, 's'));
    EXPECT_EQ(rig.gen.ReadFromDevice(), 1);
    EXPECT_EQ(rig.gen.deviceName, "Short");
    EXPECT_EQ(rig.gen.serviceName, std::string(18, 's')); // what the protocol copies
}

TEST(GenDeviceRead, AFailureStopsTheReadWithOneReport) {
    struct Case {
        uint8_t failing;
        uint8_t status; // 0: the answer carries another opcode
        uint32_t code;
        const char* reason;
        Frames sent;
        std::string progress;
    };
    const Case cases[] = {
        {0x40, 254, 0x140, "The reason was: Status error - Command failed", {"40 00"}, ""},
        {0x41, 0, 0x141, "The reason was: Got invalid response", {"40 00", "41 00"}, "sm"},
        {0x1c,
         255,
         0x11c,
         "The reason was: Status error - Command error",
         {"40 00", "41 00", "1c 00"},
         "sms"},
        {0x1e,
         252,
         0x11e,
         "The reason was: Status error - RF not ready",
         {"40 00", "41 00", "1c 00", "1e 00"},
         "smss"},
        // The address read reports under the service name's number.
        {0x42,
         253,
         0x11e,
         "The reason was: Status error - Command invalid parameter",
         {"40 00", "41 00", "1c 00", "1e 00", "42 00"},
         "smsss"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "failing command " << std::hex << int(c.failing));
        Rig rig;
        if (c.status != 0)
            rig.port.AnswerStatus(c.failing, c.status);
        else
            rig.port.replies[c.failing] = {0x77, 1, 1};
        rig.gen.changed = 1;
        rig.gen.bluetoothAddress = "before";
        EXPECT_EQ(rig.gen.ReadFromDevice(), -1);
        EXPECT_EQ(rig.port.written, c.sent);
        EXPECT_EQ(rig.report.shown, 1);
        EXPECT_EQ(rig.report.category, "communication");
        EXPECT_EQ(rig.report.headline, "Could not read parameter");
        EXPECT_EQ(rig.report.errorCode, c.code);
        EXPECT_EQ(rig.report.description,
                  (QStringList{"A communication error occured when reading information from the "
                               "device.",
                               c.reason}));
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(rig.gen.changed, 1);
        EXPECT_EQ(rig.gen.bluetoothAddress, "before");
        if (c.failing == 0x42) {
            EXPECT_EQ(rig.gen.serviceName, "COM link"); // read before the failure: kept
        }
    }
}

TEST(GenDeviceRead, ASilentModuleTimesOut) {
    Rig rig;
    rig.port.silent.insert(0x1c);
    EXPECT_EQ(rig.gen.ReadFromDevice(), -1);
    EXPECT_EQ(rig.report.errorCode, 0x11cu);
    EXPECT_EQ(rig.report.description.value(1), "The reason was: Communication timeout");
    EXPECT_EQ(rig.port.written.back(), "1c 00");
}

TEST(GenDeviceWrite, NamesGoOutWithTheirTerminatingZero) {
    Rig rig;
    rig.gen.deviceName = "Lab";
    rig.gen.serviceName = "S";
    EXPECT_EQ(rig.gen.WriteToDevice(), 1);
    EXPECT_EQ(rig.port.written, (Frames{"1d 04 4c 61 62 00", "1f 02 53 00"}));
    EXPECT_EQ(rig.progress.calls, "srsr");
    EXPECT_EQ(rig.report.shown, 0);

    // The longest names the edits allow fill the module's fields exactly.
    rig.port.written.clear();
    rig.gen.deviceName = std::string(31, 'N');
    rig.gen.serviceName = std::string(17, 'S');
    EXPECT_EQ(rig.gen.WriteToDevice(), 1);
    ASSERT_EQ(rig.port.written.size(), 2u);
    std::string nameFrame = "1d 20";
    for (int i = 0; i < 31; ++i)
        nameFrame += " 4e";
    EXPECT_EQ(rig.port.written[0], nameFrame + " 00");
    std::string serviceFrame = "1f 12";
    for (int i = 0; i < 17; ++i)
        serviceFrame += " 53";
    EXPECT_EQ(rig.port.written[1], serviceFrame + " 00");
}

TEST(GenDeviceWrite, RefusedNamesAndFailuresAreReportedAsWrites) {
    {
        // A name too long for the module (from a hand-edited file) is refused
        // before anything is sent.
        Rig rig;
        rig.gen.deviceName = std::string(32, 'N');
        rig.gen.serviceName = "S";
        EXPECT_EQ(rig.gen.WriteToDevice(), -1);
        EXPECT_TRUE(rig.port.written.empty());
        EXPECT_EQ(rig.report.headline, "Could not write parameter");
        EXPECT_EQ(rig.report.errorCode, 0x21du);
        EXPECT_EQ(rig.report.description,
                  (QStringList{"A communication error occured when writing information to the "
                               "device.",
                               "The reason was: Bad parameter"}));
        EXPECT_EQ(rig.progress.calls, "");
    }
    {
        Rig rig;
        rig.gen.deviceName = "Lab";
        rig.gen.serviceName = std::string(99, 'S');
        EXPECT_EQ(rig.gen.WriteToDevice(), -1);
        EXPECT_EQ(rig.port.written, (Frames{"1d 04 4c 61 62 00"}));
        EXPECT_EQ(rig.report.errorCode, 0x21fu);
        EXPECT_EQ(rig.progress.calls, "sr");
    }
    {
        Rig rig;
        rig.port.AnswerStatus(0x1f, 253);
        rig.gen.deviceName = "Lab";
        rig.gen.serviceName = "S";
        rig.gen.changed = 1;
        EXPECT_EQ(rig.gen.WriteToDevice(), -1);
        EXPECT_EQ(rig.report.shown, 1);
        EXPECT_EQ(rig.report.category, "communication");
        EXPECT_EQ(rig.report.errorCode, 0x21fu);
        EXPECT_EQ(rig.report.description.value(1),
                  "The reason was: Status error - Command invalid parameter");
        EXPECT_EQ(rig.gen.changed, 1);
    }
}
