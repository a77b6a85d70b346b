// SPDX-License-Identifier: Apache-2.0
#include "ModuleSettings.h"

#include "ConfigFile.h"

#include <algorithm>
#include <sstream>

ModuleSettings::ModuleSettings() {
    // Created, read, checked and written in this order: General, Serial port,
    // Endpoint, Connecting, then the advanced groups power save, scan and output
    // power, other, SCO.
    members = {
        {&general, false, true, false},  {&serial, false, true, false},
        {&endpoint, false, true, false}, {&connecting, false, true, false},
        {&powerSave, true, true, false}, {&scanPower, true, true, true},
        {&other, true, true, false},     {&sco, true, false, false},
    };
    // The file's sections: general, serial, endpoint, connecting, scan and output
    // power, power save, SCO, other.
    fileOrder = {&general, &serial, &endpoint, &connecting, &scanPower, &powerSave, &sco, &other};
}

bool ModuleSettings::TakesPart(const Member& member) const {
    return !member.advanced || general.firmware3 != 0;
}

const ModuleSettings::Member* ModuleSettings::MemberOf(const SettingsGroup* group) const {
    for (const Member& m : members)
        if (m.group == group) return &m;
    return nullptr;
}

void ModuleSettings::SetCommunicator(Communicator* comm) {
    for (const Member& m : members)
        m.group->SetCommunicator(comm);
}

void ModuleSettings::SetProgress(Progress* progress) {
    for (const Member& m : members)
        m.group->SetProgress(progress);
}

void ModuleSettings::ShareCapabilityFlags() {
    // The General read has just decided the module's capabilities; every group
    // that depends on them takes its copy here, and only here:
    //   Serial port: user-defined speed := firmware3, second := secondGeneration,
    //                third := productCode5
    //   Endpoint: its flag := firmware3
    //   SCO: support flags := secondGeneration, firmware3Minor2Gen2, firmware3
    //   Other: quality of service := firmware3Minor2,
    //          handshake emulation := secondGeneration
    //   power save, scan and output power, other, SCO: availability := firmware3
    serial.userDefinedSupported = general.firmware3;
    serial.secondGeneration = general.secondGeneration;
    serial.productCode5 = general.productCode5;
    endpoint.firmware3 = general.firmware3;
    sco.supportA = general.secondGeneration;
    sco.supportB = general.firmware3Minor2Gen2;
    sco.supportC = general.firmware3;
    other.qosSupported = general.firmware3Minor2;
    other.emulationSupported = general.secondGeneration;
    powerSave.available = scanPower.available = other.available = sco.available = general.firmware3;
}

void ModuleSettings::AssumeEveryGroup() {
    general.firmware3 = general.firmware3Minor2 = general.firmware3Minor2Gen2 = 1;
    general.secondGeneration = 1;
    general.productCode5 = 0;
    ShareCapabilityFlags();
}

void ModuleSettings::SetDeviceMode(bool endpointMode) {
    endpoint.endpointMode = endpointMode ? 1 : 0;
    connecting.connectingMode = endpointMode ? 0 : 1;
    endpoint.changed = connecting.changed = 1;
}

void ModuleSettings::SetPairedAddress(const std::array<uint8_t, 6>& address) {
    endpoint.pairedAddress = connecting.pairedAddress = address;
}

bool ModuleSettings::AnyChanged() const {
    for (const Member& m : members)
        if (m.group->changed) return true;
    return false;
}

void ModuleSettings::ClearChanged() {
    for (const Member& m : members)
        m.group->changed = 0;
}

void ModuleSettings::CopyValues(const ModuleSettings& from) {
    general = from.general;
    serial = from.serial;
    endpoint = from.endpoint;
    connecting = from.connecting;
    powerSave = from.powerSave;
    scanPower = from.scanPower;
    other = from.other;
    sco = from.sco;
    SetCommunicator(nullptr);
    SetProgress(nullptr);
}

SettingsGroup* ModuleSettings::ReadAll(Failure& failure,
                                       const std::function<void()>& afterGeneral) {
    for (const Member& m : members) {
        if (!TakesPart(m)) continue;
        if (m.group->ReadFromDevice(failure) != 1) return m.group;
        if (m.group == &general) {
            ShareCapabilityFlags();
            if (afterGeneral) afterGeneral();
        }
    }
    return nullptr;
}

bool ModuleSettings::Chosen(const Member& m, const std::vector<SettingsGroup*>* only) const {
    return TakesPart(m) &&
           (only == nullptr || std::find(only->begin(), only->end(), m.group) != only->end());
}

SettingsGroup* ModuleSettings::ValidateAll(Failure& failure,
                                           const std::vector<SettingsGroup*>* only) const {
    for (const Member& m : members) {
        if (!m.validated || !Chosen(m, only)) continue;
        if (m.group->Validate(failure) != 1) return m.group;
    }
    return nullptr;
}

SettingsGroup* ModuleSettings::WriteAll(Failure& failure, const std::vector<SettingsGroup*>* only) {
    for (const Member& m : members) {
        if (!Chosen(m, only)) continue;
        if (m.group->WriteToDevice(failure) != 1) return m.group;
    }
    return nullptr;
}

int ModuleSettings::WriteProgressMaximum() const {
    return kWriteProgressMaximum + (general.firmware3 ? kWriteProgressAdvanced : 0);
}

std::vector<std::string> ModuleSettings::WrittenKeys(const std::vector<std::string>& keys) const {
    std::vector<std::string> written;
    for (const std::string& key : keys) {
        bool sent = true;
        for (const Member& m : members)
            sent = sent && m.group->Writes(key);
        if (sent) written.push_back(key);
    }
    return written;
}

std::string ModuleSettings::FileText() const {
    std::ostringstream out;
    out << ConfigFile::kHeader;
    for (const SettingsGroup* g : fileOrder)
        g->SaveToFile(out);
    return out.str();
}

int ModuleSettings::LoadFile(const std::string& bytes, TakenLines* taken) {
    TakenLines lines;
    for (SettingsGroup* g : fileOrder) {
        TakenLines group;
        g->LoadFromFile(bytes, &group);
        // A key stands once in a file: a line two groups took is one setting.
        for (std::string& line : group)
            if (std::find(lines.begin(), lines.end(), line) == lines.end())
                lines.push_back(std::move(line));
    }
    if (taken != nullptr) taken->insert(taken->end(), lines.begin(), lines.end());
    return int(lines.size());
}

int ModuleSettings::LoadFileAlone(const std::string& bytes, TakenLines* taken) {
    AssumeEveryGroup();
    const int count = LoadFile(bytes, taken);
    std::string paired;
    std::array<uint8_t, 6> address{};
    if (TakeConfigValue("Device paired with", bytes, paired) && btaddress::Parse(paired, address))
        SetPairedAddress(address);
    return count;
}

int ModuleSettings::LoadForWrite(const std::string& bytes, const std::vector<std::string>& keys,
                                 std::vector<SettingsGroup*>& groups, TakenLines* taken) {
    groups.clear();
    if (keys.empty()) {
        for (const Member& m : members)
            if (TakesPart(m)) groups.push_back(m.group);
        return LoadFile(bytes, taken);
    }
    // The named lines alone, as the file has them, make the file each group loads.
    std::string lines;
    for (const std::string& key : keys) {
        std::string value;
        if (TakeConfigValue(key, bytes, value)) lines += key + ": " + value + "\n";
    }
    TakenLines all;
    for (const Member& m : members) {
        TakenLines group;
        if (!TakesPart(m) || m.group->LoadFromFile(lines, &group) == 0) continue;
        groups.push_back(m.group);
        for (std::string& line : group)
            if (std::find(all.begin(), all.end(), line) == all.end())
                all.push_back(std::move(line));
    }
    if (taken != nullptr) taken->insert(taken->end(), all.begin(), all.end());
    return int(all.size());
}
