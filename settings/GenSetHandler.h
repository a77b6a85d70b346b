// The General page: the module's identity (read-only) and its two names. Its read
// comes first in read-all and decides the module's capability flags.
#pragma once

#include "SettingsHandler.h"

#include <string>

class QLabel;
class QLineEdit;

class GenSetHandler : public SettingsHandler {
  public:
    // Capability flags, decided by the identity answer.
    uint8_t firmware3 = 0;
    uint8_t firmware3Minor2Gen2 = 0;
    uint8_t secondGeneration = 0;
    uint8_t productCode5 = 0;
    uint8_t firmware3Minor2 = 0;

    // Values; texts are 8-bit bytes as the module and the file carry them.
    std::string productId;
    std::string hardwareVersion;
    std::string softwareVersion;
    std::string articleNumber;
    std::string bluetoothAddress;
    std::string deviceName;
    std::string serviceName;

    // Controls, assigned by the main window in this order.
    QLabel* prodID = nullptr;
    QLabel* hwVer = nullptr;
    QLabel* swVer = nullptr;
    QLabel* artNum = nullptr;
    QLabel* btAddr = nullptr;
    QLineEdit* genDeviceName = nullptr; // MaxLength 31, help context 22
    QLineEdit* genServName = nullptr;   // MaxLength 17, help context 23

    int Validate() override;
    int ReadFromDevice() override;
    int WriteToDevice() override;
    int SaveToFile(std::ostream& out) override;
    int LoadFromFile(const std::string& file) override;
    void UpdateControls() override;
    void ControlChanged(QObject* control) override;

    // Decodes a 12-byte identity answer into the identity texts and flags.
    // Returns true when the advanced groups take part (firmware3).
    bool DecodeModuleInfo(const uint8_t info[12]);
};
