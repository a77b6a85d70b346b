// SPDX-License-Identifier: Apache-2.0
// What every settings group shares: the failure it returns as data, the
// progress steps it takes, and the operations read-all, write-all and the file
// commands call on it. A group holds its values and rules only; what a page
// shows is the page's business.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

class Communicator;

// One failure, as the error report shows it.
struct Failure {
    std::string category;    // word after "Error - " in the caption
    std::string headline;    // the line shown as the error
    uint32_t errorCode = 0;  // 0 input error; 0x100/0x200 + opcode failed read/write
    int32_t helpContext = 0; // topic of the offending control
    std::vector<std::string> description;
    // Of a communication failure: the Communicator's result (-1 no answer, -2
    // wrong answer, -3 module status) and the module's status byte.
    int32_t result = 0;
    int32_t status = 0;
};

// The bar of the progress dialog (or of the command line).
class Progress {
  public:
    virtual ~Progress() = default;
    virtual void Step() = 0;               // position + 1
    virtual void RaiseMaximum(int by) = 0; // maximum + by
    virtual void Repaint() = 0;            // show the bar at once
};

// What a numeric edit of a page holds, as far as a group's checks need to know.
// The page tells its group after each of a person's edits; a read or a load sets
// it to what the page then shows (Empty where it shows nothing).
enum class EditText { Number, Empty, NotANumber };

// A line of the file that a load took, "Key: value" as it stood.
using TakenLines = std::vector<std::string>;

class SettingsGroup {
  public:
    virtual ~SettingsGroup() = default;

    void SetCommunicator(Communicator* c) { comm = c; }
    void SetProgress(Progress* p) { progress = p; }

    // Each returns 1, or -1 with `failure` filled.
    virtual int Validate(Failure& failure) const = 0;
    virtual int ReadFromDevice(Failure& failure) = 0;
    virtual int WriteToDevice(Failure& failure) = 0;
    // The group's section; lines end in "\n" (the file writer makes them CR LF).
    virtual void SaveToFile(std::ostream& out) const = 0;
    // file: the whole configuration file's bytes. Takes every value found and
    // returns how many it took; any sets the changed flag. taken (may be null)
    // gets each line taken.
    virtual int LoadFromFile(const std::string& file, TakenLines* taken) = 0;
    // Whether a write-all with the values held now sends the setting of this
    // file key (a key of another group: true). A check of what the module holds
    // after writing looks only at settings that were sent.
    virtual bool Writes(const std::string& /*key*/) const { return true; }

    // The person edited the group since the last read-all or write-all (or a load took a value).
    uint8_t changed = 0;

  protected:
    // Input-error failure: category "Invalid input value", error number 0.
    static int InputError(Failure& failure, const char* headline, const char* rule,
                          int32_t helpContext);
    // Communication failure of a read (write false) or write; code is
    // 0x100/0x200 + opcode or the group's own exception, with the help context
    // the page lists for the command (0 where it lists none).
    int CommError(Failure& failure, bool write, uint32_t code, int32_t result,
                  int32_t helpContext = 0) const;
    void Step(bool repaint = false) const;
    void RaiseMaximum(int by) const;

    Communicator* comm = nullptr;
    Progress* progress = nullptr;
};

// One group's load: finds its keys in the file and counts (and records) the
// values the group takes.
class FileLoad {
  public:
    FileLoad(const std::string& file, TakenLines* taken) : file(file), taken(taken) {}
    // The key's value without its trailing carriage return; false (value
    // untouched) when the key is missing or its value empty.
    bool Find(const char* key, std::string& value) const;
    // The group took this value for key.
    void Took(const char* key, const std::string& value);
    int Count() const { return count; }

  private:
    const std::string& file;
    TakenLines* taken;
    int count = 0;
};
// A number as the file carries it: optional sign and decimal digits, nothing
// else; -1 for anything that is not one.
long long FileNumber(const std::string& text);
