// SPDX-License-Identifier: Apache-2.0
// Every settings group of one module, in the orders that read-all, write-all
// and the configuration file walk them, and the capability flags that the
// General read hands on. The window and the command line both run on it.
#pragma once

#include "ConSettings.h"
#include "EndpSettings.h"
#include "GenSettings.h"
#include "OtherSettings.h"
#include "PsSettings.h"
#include "ScoSettings.h"
#include "SerSettings.h"
#include "SopSettings.h"

#include <functional>
#include <string>
#include <vector>

class ModuleSettings {
  public:
    // Progress bar maxima of read-all and write-all (the General read raises
    // the first when the advanced groups take part).
    static constexpr int kReadProgressMaximum = 13;
    static constexpr int kWriteProgressMaximum = 6;
    static constexpr int kWriteProgressAdvanced = 3;

    struct Member {
        SettingsGroup* group = nullptr;
        bool advanced = false;          // takes part only on a module with the advanced groups
        bool validated = true;          // has a Validate step in write-all
        bool refreshAfterWrite = false; // shows what the module took after write-all
    };

    ModuleSettings();
    ModuleSettings(const ModuleSettings&) = delete;
    ModuleSettings& operator=(const ModuleSettings&) = delete;

    GenSettings general;
    SerSettings serial;
    EndpSettings endpoint;
    ConSettings connecting;
    PsSettings powerSave;
    SopSettings scanPower;
    OtherSettings other;
    ScoSettings sco;

    // The groups in the order of creation, read-all, validation and write-all.
    const std::vector<Member>& Members() const { return members; }
    // The groups in the order of the file's sections.
    const std::vector<SettingsGroup*>& FileOrder() const { return fileOrder; }
    // Whether a group takes part in read-all and write-all for the module read last.
    bool TakesPart(const Member& member) const;
    const Member* MemberOf(const SettingsGroup* group) const;

    void SetCommunicator(Communicator* comm);
    void SetProgress(Progress* progress);
    // Copies the General group's capability flags into the groups that use them.
    void ShareCapabilityFlags();
    // Takes the module to have every group and feature (a file checked without a
    // module is checked as for the fullest one).
    void AssumeEveryGroup();
    // The one device mode shown on two pages: both groups' mode flags as
    // opposites, both changed flags set.
    void SetDeviceMode(bool endpoint);
    // A search or a pairing found this paired address: both groups take it (the
    // changed flags stay).
    void SetPairedAddress(const std::array<uint8_t, 6>& address);
    bool AnyChanged() const;
    void ClearChanged();
    // Takes every group's values and flags from `from`, for a copy that is only
    // compared with (it talks to no module and shows no progress).
    void CopyValues(const ModuleSettings& from);

    // Read-all's reads: General first, its flags handed on (then afterGeneral
    // runs), then every group that takes part. Returns the group that failed,
    // with `failure` filled, or nullptr when all were read.
    SettingsGroup* ReadAll(Failure& failure, const std::function<void()>& afterGeneral = {});
    // Write-all's checks: the first group that is not valid, or nullptr. With
    // only, just the groups among them, in the same order.
    SettingsGroup* ValidateAll(Failure& failure,
                               const std::vector<SettingsGroup*>* only = nullptr) const;
    // Write-all's writes (after ValidateAll): the group that failed, or nullptr.
    SettingsGroup* WriteAll(Failure& failure, const std::vector<SettingsGroup*>* only = nullptr);
    int WriteProgressMaximum() const;

    // Of the file keys, those whose settings a write-all with the values held
    // now sends, in their order.
    std::vector<std::string> WrittenKeys(const std::vector<std::string>& keys) const;

    // The whole configuration file, lines ending in "\n".
    std::string FileText() const;
    // Loads every group from the file's bytes; returns how many lines were taken
    // (the device mode line, taken by two groups, counts once; so it stands once
    // in taken).
    int LoadFile(const std::string& bytes, TakenLines* taken = nullptr);

    // A file taken without a module (a check of the file): as for a module that
    // has every group, paired as the file's information line says, since
    // whether a module is paired is the module's, never the file's, and the
    // module the file was saved from stands in. Returns how many lines were taken.
    int LoadFileAlone(const std::string& bytes, TakenLines* taken = nullptr);

    // A write's load: the file's settings go onto the values held (read from the
    // module first). Without keys, every setting of the file, and groups gets
    // every group that takes part; with keys, only the lines of those keys, and
    // groups gets the groups that took one, in write-all's order (each is then
    // written whole, with the module's own values beside the named settings).
    // Returns how many lines were taken.
    int LoadForWrite(const std::string& bytes, const std::vector<std::string>& keys,
                     std::vector<SettingsGroup*>& groups, TakenLines* taken = nullptr);

  private:
    bool Chosen(const Member& member, const std::vector<SettingsGroup*>* only) const;

    std::vector<Member> members;
    std::vector<SettingsGroup*> fileOrder;
};
