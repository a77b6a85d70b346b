// The General page against the virtual module over a pseudo-terminal: the
// frames the module hears, the values the page takes from it, and the report
// a person sees when the module misbehaves.
#include "Communicator.h"
#include "Doubles.h"
#include "GenSetHandler.h"
#include "SimServer.h"
#include "VirtualModule.h"
#include "mSerial.h"

#include <QLabel>
#include <QLineEdit>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct SimRig {
    SimServer sim;
    mSerial port;
    Communicator comm;
    RecordingErrorReport report;
    RecordingProgress progress;
    GenSetHandler gen;
    QLabel prodID, hwVer, swVer, artNum{"N/A"}, btAddr;
    QLineEdit genDeviceName, genServName;

    explicit SimRig(const std::vector<std::string>& args) : sim(args) {
        std::string error;
        started = sim.Start(&error);
        EXPECT_TRUE(started) << error;
        PortTable::Set({sim.DevicePath()});
        port.port = 1;
        port.baudrate = mBaud38400;
        port.databits = mData8;
        port.stopbits = mStop1;
        port.parity = mParNone;
        port.ReadTimeout = 10;
        port.WriteTimeout = 1000;
        opened = port.Open() == 0;
        EXPECT_TRUE(opened) << port.GetLastErrorText();
        comm.SetSerialPort(&port);
        gen.SetCommunicator(&comm);
        gen.SetErrorReport(&report);
        gen.SetProgress(&progress);
        gen.prodID = &prodID;
        gen.hwVer = &hwVer;
        gen.swVer = &swVer;
        gen.artNum = &artNum;
        gen.btAddr = &btAddr;
        gen.genDeviceName = &genDeviceName;
        gen.genServName = &genServName;
        artNum.setEnabled(false);
    }
    ~SimRig() {
        port.Close();
        sim.Stop();
    }
    bool Ready() const { return started && opened; }

    // The frames the module received, without the "recv " prefix.
    std::vector<std::string> Heard() const {
        std::vector<std::string> frames;
        for (const std::string& line : sim.TraceLines())
            if (line.rfind("recv ", 0) == 0) frames.push_back(line.substr(5));
        return frames;
    }

    bool started = false;
    bool opened = false;
};

using Frames = std::vector<std::string>;

std::string Hex(const std::string& text) {
    return sim::HexBytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

} // namespace

TEST(GenDevice, ReadsTheModulesIdentityAndNames) {
    SimRig rig({});
    ASSERT_TRUE(rig.Ready());
    sim::Profile profile;
    ASSERT_TRUE(sim::ParseProfile("default", &profile));
    const sim::Settings module = sim::DefaultSettings(profile);

    EXPECT_EQ(rig.gen.ReadFromDevice(), 1);
    rig.gen.UpdateControls();
    EXPECT_EQ(rig.Heard(), (Frames{"40 00", "41 00", "1c 00", "1e 00", "42 00"}));
    EXPECT_EQ(rig.report.shown, 0);
    EXPECT_EQ(rig.progress.calls, "smssss");
    EXPECT_EQ(rig.prodID.text(), "NVM-220");
    EXPECT_EQ(rig.swVer.text(), "3.02");
    EXPECT_EQ(rig.gen.articleNumber, sim::VirtualModule(sim::ModuleConfig{}).ArticleNumber());
    EXPECT_TRUE(rig.artNum.isEnabled());
    EXPECT_EQ(rig.gen.deviceName, module.deviceName.substr(0, 32));
    EXPECT_EQ(rig.gen.serviceName, module.serviceName.substr(0, 18));
    EXPECT_EQ(rig.genDeviceName.text().toStdString(), rig.gen.deviceName);
    const auto& a = module.localAddress;
    EXPECT_EQ(rig.btAddr.text().toStdString(), Hex(std::string(a.begin(), a.end())));
    EXPECT_EQ(rig.gen.firmware3, 1);
    EXPECT_EQ(rig.gen.secondGeneration, 1);
    EXPECT_EQ(rig.gen.firmware3Minor2Gen2, 1);
}

TEST(GenDevice, FirstGenerationSoftwareTwoIsNeverAskedForAnArticleNumber) {
    SimRig rig({"--profile", "gen1-2.10"});
    ASSERT_TRUE(rig.Ready());
    EXPECT_EQ(rig.gen.ReadFromDevice(), 1);
    rig.gen.UpdateControls();
    EXPECT_EQ(rig.Heard(), (Frames{"40 00", "1c 00", "1e 00", "42 00"}));
    EXPECT_EQ(rig.prodID.text(), "NVM-100");
    EXPECT_EQ(rig.swVer.text(), "2.10");
    EXPECT_EQ(rig.artNum.text(), "N/A");
    EXPECT_FALSE(rig.artNum.isEnabled());
    EXPECT_EQ(rig.gen.firmware3, 0);
    EXPECT_EQ(rig.gen.secondGeneration, 0);
    EXPECT_EQ(rig.progress.maximum, 8);
}

TEST(GenDevice, WrittenNamesAreWhatTheModuleGivesBack) {
    SimRig rig({});
    ASSERT_TRUE(rig.Ready());
    rig.genDeviceName.setText(QString(31, 'N'));
    rig.gen.ControlChanged(&rig.genDeviceName);
    rig.genServName.setText("Serial link");
    rig.gen.ControlChanged(&rig.genServName);
    ASSERT_EQ(rig.gen.Validate(), 1);
    EXPECT_EQ(rig.gen.WriteToDevice(), 1);
    // 31 characters and the terminating zero: 32 bytes.
    EXPECT_EQ(rig.Heard(), (Frames{"1d 20 " + Hex(std::string(31, 'N')) + " 00",
                                   "1f 0c " + Hex("Serial link") + " 00"}));
    EXPECT_EQ(rig.progress.calls, "srsr");

    GenSetHandler fresh;
    fresh.SetCommunicator(&rig.comm);
    fresh.SetErrorReport(&rig.report);
    EXPECT_EQ(fresh.ReadFromDevice(), 1);
    EXPECT_EQ(fresh.deviceName, std::string(31, 'N'));
    EXPECT_EQ(fresh.serviceName, "Serial link");
    EXPECT_EQ(rig.report.shown, 0);
}

TEST(GenDevice, AFailedReadStopsWithOneReport) {
    struct Case {
        const char* fault;
        uint32_t code;
        const char* reason;
        Frames heard;
        std::string progress;
    };
    const Case cases[] = {
        {"silent:0x40", 0x140, "Communication timeout", {"40 00"}, ""},
        {"status:0x40=254", 0x140, "Status error - Command failed", {"40 00"}, ""},
        {"opcode:0x41=0x77", 0x141, "Got invalid response", {"40 00", "41 00"}, "sm"},
        {"status:0x1c=255",
         0x11c,
         "Status error - Command error",
         {"40 00", "41 00", "1c 00"},
         "sms"},
        {"status:0x1e=252",
         0x11e,
         "Status error - RF not ready",
         {"40 00", "41 00", "1c 00", "1e 00"},
         "smss"},
        // The address read reports under the service name's number.
        {"status:0x42=253",
         0x11e,
         "Status error - Command invalid parameter",
         {"40 00", "41 00", "1c 00", "1e 00", "42 00"},
         "smsss"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        SimRig rig({"--fault", c.fault});
        ASSERT_TRUE(rig.Ready());
        rig.gen.changed = 1;
        rig.gen.bluetoothAddress = "before";
        EXPECT_EQ(rig.gen.ReadFromDevice(), -1);
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.report.shown, 1);
        EXPECT_EQ(rig.report.category, "communication");
        EXPECT_EQ(rig.report.headline, "Could not read parameter");
        EXPECT_EQ(rig.report.errorCode, c.code);
        EXPECT_EQ(rig.report.description,
                  (QStringList{"A communication error occured when reading information from the "
                               "device.",
                               QString("The reason was: ") + c.reason}));
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(rig.gen.changed, 1);
        EXPECT_EQ(rig.gen.bluetoothAddress, "before");
        if (c.heard.size() == 5) {
            EXPECT_EQ(rig.gen.serviceName, "Serial Port"); // read before the failure: kept
        }
    }
}

TEST(GenDevice, AFailedWriteStopsWithOneReport) {
    struct Case {
        const char* fault;
        std::string name;
        uint32_t code;
        const char* reason;
        Frames heard;
        std::string progress;
    };
    const Case cases[] = {
        {"status:0x1d=253",
         "Lab",
         0x21d,
         "Status error - Command invalid parameter",
         {"1d 04 4c 61 62 00"},
         ""},
        {"status:0x1f=254",
         "Lab",
         0x21f,
         "Status error - Command failed",
         {"1d 04 4c 61 62 00", "1f 02 53 00"},
         "sr"},
        // A name too long for the module (from a hand-edited file) is refused
        // before anything is sent.
        {"", std::string(32, 'N'), 0x21d, "Bad parameter", {}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fault);
        SimRig rig(*c.fault ? std::vector<std::string>{"--fault", c.fault}
                            : std::vector<std::string>{});
        ASSERT_TRUE(rig.Ready());
        rig.gen.deviceName = c.name;
        rig.gen.serviceName = "S";
        rig.gen.changed = 1;
        EXPECT_EQ(rig.gen.WriteToDevice(), -1);
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.report.shown, 1);
        EXPECT_EQ(rig.report.category, "communication");
        EXPECT_EQ(rig.report.headline, "Could not write parameter");
        EXPECT_EQ(rig.report.errorCode, c.code);
        EXPECT_EQ(rig.report.description,
                  (QStringList{"A communication error occured when writing information to the "
                               "device.",
                               QString("The reason was: ") + c.reason}));
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(rig.gen.changed, 1);
    }
}
