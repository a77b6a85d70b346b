// The General page: what the identity answer turns into, the section saved to a
// file, what a load takes back and validation refuses, the page's controls, and
// reads and writes against the virtual module.
#include "Communicator.h"
#include "GenSetHandler.h"
#include "SimServer.h"
#include "mSerial.h"

#include <QLabel>
#include <QLineEdit>
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <sstream>

namespace {

struct Report : ErrorReport {
    QStringList description;
    int shown = 0;
    void ClearDescription() override { description.clear(); }
    void AddDescription(const QString& line) override { description << line; }
    void ShowModal() override { ++shown; }
    // Everything a person sees of the reports so far.
    std::string Seen() const {
        return std::to_string(shown) + "x " +
               (category + " (0x%1, help %2): " + headline + " | ")
                   .arg(errorCode, 0, 16)
                   .arg(helpContext)
                   .toStdString() +
               description.join(" | ").toStdString();
    }
};

struct Steps : Progress {
    std::string calls; // 's' a step, 'r' a repaint, 'm' and the number the maximum grew by
    void Step() override { calls += 's'; }
    void RaiseMaximum(int by) override { calls += 'm' + std::to_string(by); }
    void Repaint() override { calls += 'r'; }
};

// The page's controls around a handler, set up as the main window sets them up.
struct Page {
    Page() {
        gen.prodID = &prodID;
        gen.hwVer = &hwVer;
        gen.swVer = &swVer;
        gen.artNum = &artNum;
        gen.btAddr = &btAddr;
        gen.genDeviceName = &name;
        gen.genServName = &service;
        gen.SetErrorReport(&report);
        artNum.setEnabled(false);
    }
    std::string Shows() const {
        return (prodID.text() + " | " + swVer.text() + " | " + artNum.text() +
                (artNum.isEnabled() ? " (enabled) | " : " (disabled) | ") + name.text() + " | " +
                service.text())
            .toStdString();
    }
    GenSetHandler gen;
    QLabel prodID, hwVer, swVer, artNum, btAddr;
    QLineEdit name, service;
    Report report;
};

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
    GenSetHandler h; // one handler throughout: nothing may stay from the module before
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
    Page page;
    GenSetHandler& h = page.gen;
    h.deviceName = "Lab unit 7";
    h.serviceName = "COM1";
    h.productId = "NVM-220";
    h.articleNumber = "N/A";
    h.hardwareVersion = "1234.56.78-01";
    h.softwareVersion = "3.02.12";
    h.bluetoothAddress = "00 0b ce 01 02 ff";
    std::ostringstream out;
    EXPECT_EQ(h.SaveToFile(out), 1);
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
    h.LoadFromFile("Product ID: NVM-100\r\nBluetooth Device Name: New name\r\n");
    EXPECT_EQ(page.Shows(), "NVM-220 | 3.02.12 | N/A (disabled) | New name | COM1");
    EXPECT_EQ(h.Validate(), 1);
    page.report.errorCode = 0x21d; // left over from an earlier failure
    h.LoadFromFile("Bluetooth Device Name: \r\nBluetooth Service Name: \r\n");
    EXPECT_EQ(page.Shows(), "NVM-220 | 3.02.12 | N/A (disabled) |  | ");
    EXPECT_EQ(h.Validate(), -1);
    EXPECT_EQ(page.report.Seen(), "1x Invalid input value (0x0, help 22): Invalid Bluetooth name | "
                                  "The field \"Bluetooth name\" must be a string with 1-31 "
                                  "characters");
    h.LoadFromFile("Bluetooth Device Name: Lab\r\n");
    EXPECT_EQ(h.Validate(), -1);
    EXPECT_EQ(page.report.Seen(),
              "2x Invalid input value (0x0, help 23): Invalid Bluetooth service name | The field "
              "\"Bluetooth service name\" must be a string with 1-17 characters");
}

TEST(GenControls, NamesShowAsLatin1AndEditsComeBackAsBytes) {
    Page page;
    page.gen.deviceName = "Caf\xe9";
    page.gen.UpdateControls();
    EXPECT_EQ(page.name.text(), QString::fromUtf8("Caf\xc3\xa9"));
    page.service.setText(QString::fromUtf8("N\xc3\xbc"));
    page.gen.ControlChanged(&page.service);
    EXPECT_EQ(page.gen.serviceName, "N\xfc");
    EXPECT_EQ(page.gen.deviceName, "Caf\xe9");
    EXPECT_EQ(page.gen.changed, 1);
}

// A page talking to the virtual module through the serial port, as the window does.
struct DeviceRig : Page {
    explicit DeviceRig(const std::vector<std::string>& args) : server(args) {
        std::string error;
        EXPECT_TRUE(server.Start(&error)) << error;
        PortTable::Set({server.DevicePath()});
        port.port = 1;
        port.baudrate = mBaud38400;
        port.databits = mData8;
        port.ReadTimeout = 10;
        port.WriteTimeout = 1000;
        EXPECT_EQ(port.Open(), 0) << port.GetLastErrorText();
        comm.SetSerialPort(&port);
        gen.SetCommunicator(&comm);
        gen.SetProgress(&progress);
    }
    // The frames the module received.
    std::string Heard() const {
        std::string frames;
        for (const std::string& line : server.TraceLines())
            if (line.rfind("recv ", 0) == 0)
                frames += (frames.empty() ? "" : ", ") + line.substr(5);
        return frames;
    }
    SimServer server;
    mSerial port;
    Communicator comm;
    Steps progress;
};

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
         "NVM-220 | 3.02 | NVM220-302-A1 (enabled) | Norvane NVM-220 | Serial Port"},
        // Software 2.x has no article number: it is never asked for.
        {"--profile gen1-2.10", "", 1, "40 00, 1c 00, 1e 00, 42 00", "ssss", 0, nullptr,
         "NVM-100 | 2.10 | N/A (disabled) | Norvane NVM-100 | Serial Port"},
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
        rig.gen.deviceName = c.write;
        rig.gen.serviceName = "S";
        rig.gen.changed = 1;
        EXPECT_EQ(c.write.empty() ? rig.gen.ReadFromDevice() : rig.gen.WriteToDevice(), c.result);
        EXPECT_EQ(rig.Heard(), c.heard);
        EXPECT_EQ(rig.progress.calls, c.progress);
        EXPECT_EQ(rig.gen.changed, c.result == 1 && c.write.empty() ? 0 : 1);
        if (c.shows) {
            rig.gen.UpdateControls();
            EXPECT_EQ(rig.Shows(), c.shows);
        }
        const char* what = c.write.empty() ? "read" : "write";
        const char* how = c.write.empty() ? "reading information from" : "writing information to";
        EXPECT_EQ(rig.report.shown, c.reason ? 1 : 0);
        if (!c.reason) continue;
        EXPECT_EQ(
            rig.report.Seen(),
            QString("1x communication (0x%1, help 0): Could not %2 parameter | A communication "
                    "error occured when %3 the device. | The reason was: %4")
                .arg(c.code, 0, 16)
                .arg(what, how, c.reason)
                .toStdString());
    }
}

} // namespace
