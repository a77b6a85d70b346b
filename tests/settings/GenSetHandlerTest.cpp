// The General page without a module: what the identity answer turns into, the
// messages of a bad name, the section saved to a file and what a load takes
// back, and the page's controls.
#include "GenSetHandler.h"
#include "ConfigFile.h"
#include "Doubles.h"

#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using Info = std::array<uint8_t, 12>;

// Product code bytes, hardware bytes 2..7, software bytes 8..11.
Info MakeInfo(uint8_t b0, uint8_t b1, uint8_t major, uint8_t minor, uint8_t extra1 = 0,
              uint8_t extra2 = 0) {
    return Info{b0, b1, 0x12, 0x34, 0x56, 0x78, 0x9a, 0x01, major, minor, extra1, extra2};
}

struct Page {
    QLabel prodID{"N/A"}, hwVer{"N/A"}, swVer{"N/A"}, artNum{"N/A"}, btAddr{"N/A"};
    QLineEdit genDeviceName, genServName;

    void Attach(GenSetHandler& h) {
        h.prodID = &prodID;
        h.hwVer = &hwVer;
        h.swVer = &swVer;
        h.artNum = &artNum;
        h.btAddr = &btAddr;
        h.genDeviceName = &genDeviceName;
        h.genServName = &genServName;
        artNum.setEnabled(false);
        genDeviceName.setMaxLength(31);
        genServName.setMaxLength(17);
    }
};

std::string Section(GenSetHandler& h) {
    std::ostringstream out;
    EXPECT_EQ(h.SaveToFile(out), 1);
    return out.str();
}

} // namespace

TEST(GenIdentity, ProductCodeNamesTheModuleAndItsGeneration) {
    struct Case {
        uint8_t b0, b1;
        const char* id;
        uint8_t secondGeneration, productCode5;
    };
    const Case cases[] = {
        {0x00, 0x01, "NVM-100", 0, 0}, {0x00, 0x02, "NVM-210", 1, 0},
        {0x00, 0x03, "NVM-220", 1, 0}, {0x00, 0x04, "NVM-220X", 1, 0},
        {0x00, 0x05, "NVM-100", 0, 1}, {0x00, 0x00, "N/A", 1, 0},
        {0x00, 0x06, "N/A", 1, 0},     {0x00, 0x10, "N/A", 1, 0}, // 10, not 1
        {0x10, 0x03, "N/A", 1, 0},     {0x01, 0x01, "N/A", 1, 0}, // 101
        {0xff, 0xff, "N/A", 1, 0},
    };
    for (const Case& c : cases) {
        GenSetHandler h;
        h.productCode5 = 1; // cleared by every decode
        h.secondGeneration = 0;
        const Info info = MakeInfo(c.b0, c.b1, 2, 10);
        h.DecodeModuleInfo(info.data());
        SCOPED_TRACE(testing::Message() << "bytes " << int(c.b0) << " " << int(c.b1));
        EXPECT_EQ(h.productId, c.id);
        EXPECT_EQ(h.secondGeneration, c.secondGeneration);
        EXPECT_EQ(h.productCode5, c.productCode5);
    }
}

TEST(GenIdentity, VersionTexts) {
    GenSetHandler h;
    Info info = MakeInfo(0, 3, 3, 2);
    h.DecodeModuleInfo(info.data());
    EXPECT_EQ(h.hardwareVersion, "1234.56.78-01"); // byte 6 is not shown
    EXPECT_EQ(h.softwareVersion, "3.02");

    info = MakeInfo(0, 3, 3, 2, 0x12, 0);
    h.DecodeModuleInfo(info.data());
    EXPECT_EQ(h.softwareVersion, "3.02.12");
    info = MakeInfo(0, 3, 3, 2, 0, 0x05);
    h.DecodeModuleInfo(info.data());
    EXPECT_EQ(h.softwareVersion, "3.02.00.05");
    info = MakeInfo(0, 3, 200, 255, 0xab, 0xcd);
    h.DecodeModuleInfo(info.data());
    EXPECT_EQ(h.softwareVersion, "200.255.1011.1213");

    info = Info{0, 1, 0xff, 0xa0, 0, 0x09, 0, 0xf0, 2, 1, 0, 0};
    h.DecodeModuleInfo(info.data());
    EXPECT_EQ(h.hardwareVersion, "1515100.00.09-150");
    EXPECT_EQ(h.softwareVersion, "2.01");
}

TEST(GenIdentity, CapabilityFlagsFollowTheSoftwareVersion) {
    struct Case {
        uint8_t b1, major, minor;
        bool advanced;
        uint8_t minor2, minor2Gen2;
    };
    const Case cases[] = {
        {1, 2, 10, false, 0, 0},   {3, 2, 99, false, 0, 0},  {1, 3, 0, true, 0, 0},
        {3, 3, 1, true, 0, 0},     {1, 3, 2, true, 1, 0},    {3, 3, 2, true, 1, 1},
        {5, 4, 7, true, 1, 0},     {4, 0x13, 2, true, 1, 1}, // low nibble of the major byte
        {3, 0x12, 5, false, 0, 0},
    };
    for (const Case& c : cases) {
        GenSetHandler h;
        h.firmware3Minor2 = h.firmware3Minor2Gen2 = 1; // a previous module's flags
        const Info info = MakeInfo(0, c.b1, c.major, c.minor);
        SCOPED_TRACE(testing::Message() << "product " << int(c.b1) << " software " << int(c.major)
                                        << "." << int(c.minor));
        EXPECT_EQ(h.DecodeModuleInfo(info.data()), c.advanced);
        EXPECT_EQ(h.firmware3, c.advanced ? 1 : 0);
        EXPECT_EQ(h.firmware3Minor2, c.minor2);
        EXPECT_EQ(h.firmware3Minor2Gen2, c.minor2Gen2);
    }
}

TEST(GenValidate, EmptyNamesAreReportedOneAtATime) {
    GenSetHandler h;
    RecordingErrorReport report;
    report.errorCode = 0x21d; // left over from an earlier failure
    h.SetErrorReport(&report);

    EXPECT_EQ(h.Validate(), -1); // both empty: the device name is reported, once
    EXPECT_EQ(report.shown, 1);
    EXPECT_EQ(report.category, "Invalid input value");
    EXPECT_EQ(report.headline, "Invalid Bluetooth name");
    EXPECT_EQ(report.errorCode, 0u);
    EXPECT_EQ(report.helpContext, 22);
    EXPECT_EQ(report.description,
              QStringList{"The field \"Bluetooth name\" must be a string with 1-31 characters"});

    h.deviceName = "Lab";
    report.description << "stale line";
    EXPECT_EQ(h.Validate(), -1);
    EXPECT_EQ(report.shown, 2);
    EXPECT_EQ(report.headline, "Invalid Bluetooth service name");
    EXPECT_EQ(report.helpContext, 23);
    EXPECT_EQ(
        report.description,
        QStringList{"The field \"Bluetooth service name\" must be a string with 1-17 characters"});

    h.serviceName = "S";
    EXPECT_EQ(h.Validate(), 1);
    EXPECT_EQ(report.shown, 2);

    // Long names are the edits' business, not the validation's.
    h.deviceName.assign(40, 'n');
    EXPECT_EQ(h.Validate(), 1);

    GenSetHandler alone; // no dialog attached: still refuses, without crashing
    EXPECT_EQ(alone.Validate(), -1);
}

TEST(GenFile, SavedSectionIsByteExactOnDisk) {
    GenSetHandler h;
    h.deviceName = "Lab unit 7";
    h.serviceName = "COM1";
    h.productId = "NVM-220";
    h.articleNumber = "N/A";
    h.hardwareVersion = "1234.56.78-01";
    h.softwareVersion = "3.02.12";
    h.bluetoothAddress = "00 0b ce 01 02 ff";

    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string path = ConfigFile::SaveName(dir.filePath("module").toStdString());
    ASSERT_TRUE(ConfigFile::WriteAtomically(path, ConfigFile::kHeader + Section(h)));
    std::ifstream in(dir.filePath("module.bcf").toStdString(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(bytes, "# Configuration file saved by Norvane Configuration Software 3.01\r\n\r\n\r\n"
                     "# Name and information parameters\r\n"
                     "Bluetooth Device Name: Lab unit 7\r\n"
                     "Bluetooth Service Name: COM1\r\n"
                     "Product ID: NVM-220\r\n"
                     "Article number: N/A\r\n"
                     "Hardware version: 1234.56.78-01\r\n"
                     "Software version: 3.02.12\r\n"
                     "Bluetooth Address: 00 0b ce 01 02 ff\r\n\r\n\r\n");

    // Read back into a fresh page: the names come back, the identity does not.
    GenSetHandler other;
    std::string file;
    ASSERT_TRUE(ConfigFile::ReadAll(path, file));
    EXPECT_EQ(other.LoadFromFile(file), 1);
    EXPECT_EQ(other.deviceName, "Lab unit 7");
    EXPECT_EQ(other.serviceName, "COM1");
    EXPECT_EQ(other.productId, "");
    EXPECT_EQ(other.bluetoothAddress, "");
}

TEST(GenFile, EmptyValuesLeaveNothingAfterTheColon) {
    GenSetHandler fresh;
    EXPECT_EQ(Section(fresh), "# Name and information parameters\n"
                              "Bluetooth Device Name: \n"
                              "Bluetooth Service Name: \n"
                              "Product ID: \n"
                              "Article number: \n"
                              "Hardware version: \n"
                              "Software version: \n"
                              "Bluetooth Address: \n\n\n");
}

TEST(GenFile, LoadTakesOnlyTheNamesThatAreThere) {
    GenSetHandler h;
    Page page;
    page.Attach(h);
    h.deviceName = "Old name";
    h.serviceName = "Old service";
    h.productId = "NVM-100";

    // Service name missing, identity lines never read back.
    h.LoadFromFile("Product ID: NVM-220X\r\nBluetooth Device Name: New name\r\n");
    EXPECT_EQ(h.deviceName, "New name");
    EXPECT_EQ(h.serviceName, "Old service");
    EXPECT_EQ(h.productId, "NVM-100");
    EXPECT_EQ(page.genDeviceName.text(), "New name");
    EXPECT_EQ(page.genServName.text(), "Old service");
    EXPECT_EQ(page.prodID.text(), "NVM-100");

    // A file that is not a configuration file changes nothing.
    h.LoadFromFile(std::string("\x7f"
                               "ELF\x02\x01\x01\0\0\0",
                               10));
    EXPECT_EQ(h.deviceName, "New name");
    EXPECT_EQ(h.serviceName, "Old service");
}

TEST(GenFile, EmptyNameWithCarriageReturnEmptiesTheNameAndWriteIsRefused) {
    GenSetHandler h;
    RecordingErrorReport report;
    h.SetErrorReport(&report);
    h.deviceName = "Old name";
    h.serviceName = "Old service";
    h.LoadFromFile("Bluetooth Device Name: \r\nBluetooth Service Name: S2\r\n");
    EXPECT_EQ(h.deviceName, "");
    EXPECT_EQ(h.serviceName, "S2");
    EXPECT_EQ(h.Validate(), -1);
    EXPECT_EQ(report.headline, "Invalid Bluetooth name");

    // With bare line feeds the empty name takes the following line instead.
    h.LoadFromFile("Bluetooth Device Name: \nBluetooth Service Name: S3\n");
    EXPECT_EQ(h.deviceName, "\nBluetooth Service Name: S3");
    EXPECT_EQ(h.serviceName, "S2");
}

TEST(GenControls, ValuesShowAsLatin1AndEditsComeBackAsBytes) {
    GenSetHandler h;
    Page page;
    page.Attach(h);
    h.productId = "NVM-220";
    h.hardwareVersion = "1234.56.78-01";
    h.softwareVersion = "3.02";
    h.articleNumber = "N/A";
    h.bluetoothAddress = "00 0b ce 01 02 ff";
    h.deviceName = "Caf\xe9";
    h.serviceName = "Port";
    h.UpdateControls();
    EXPECT_EQ(page.prodID.text(), "NVM-220");
    EXPECT_EQ(page.hwVer.text(), "1234.56.78-01");
    EXPECT_EQ(page.swVer.text(), "3.02");
    EXPECT_EQ(page.artNum.text(), "N/A");
    EXPECT_EQ(page.btAddr.text(), "00 0b ce 01 02 ff");
    EXPECT_EQ(page.genDeviceName.text(), QString::fromUtf8("Caf\xc3\xa9"));
    EXPECT_EQ(page.genServName.text(), "Port");
    EXPECT_FALSE(page.artNum.isEnabled());

    EXPECT_EQ(h.changed, 0);
    page.prodID.setText("typed into a label");
    h.ControlChanged(&page.prodID); // not one of the page's edits
    h.ControlChanged(nullptr);
    EXPECT_EQ(h.changed, 0);
    EXPECT_EQ(h.productId, "NVM-220");

    page.genDeviceName.setText(QString::fromUtf8("N\xc3\xbc"));
    h.ControlChanged(&page.genDeviceName);
    EXPECT_EQ(h.deviceName, "N\xfc");
    EXPECT_EQ(h.serviceName, "Port");
    EXPECT_EQ(h.changed, 1);

    h.changed = 0;
    page.genServName.setText("");
    h.ControlChanged(&page.genServName);
    EXPECT_EQ(h.serviceName, "");
    EXPECT_EQ(h.changed, 1);
}

TEST(GenControls, APageWithoutControlsDoesNotCrash) {
    GenSetHandler h;
    h.deviceName = "x";
    h.UpdateControls();
    EXPECT_EQ(h.LoadFromFile("Bluetooth Service Name: y\n"), 1);
    EXPECT_EQ(h.serviceName, "y");
    h.ControlChanged(nullptr);
    EXPECT_EQ(h.changed, 0);

    // Nothing to talk to: a communication failure, reported without a crash.
    RecordingErrorReport report;
    h.SetErrorReport(&report);
    EXPECT_EQ(h.ReadFromDevice(), -1);
    EXPECT_EQ(report.errorCode, 0x140u);
    EXPECT_EQ(h.WriteToDevice(), -1);
    EXPECT_EQ(report.errorCode, 0x21du);
    EXPECT_EQ(report.shown, 2);
}
