// SPDX-License-Identifier: Apache-2.0
// The command-line tool: reads every setting of a module into a configuration
// file, writes a file onto a module, and checks a file, with the same settings
// groups, file text and error texts as the window; searches for remote devices
// and pairs the module with one. btconf-cli's main hands its
// arguments and streams to Run; a test or a benchmark can call Run the same way.
#pragma once

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

class Communicator;
class mSerial;
struct Failure;

namespace cli {

// Exit statuses of the program.
enum ExitStatus : int {
    kSuccess = 0,
    kUsage = 2,         // the command line is wrong
    kNoModule = 3,      // the port cannot be opened, or no module answers
    kCommunication = 4, // a read or write of a setting failed on the line
    kInvalid = 5,       // the file is refused, holds no settings, or a value is not valid
    kCannotSave = 6,    // the output file cannot be written
    kPairing = 7,       // the pairing timed out, failed, ended in an error or was canceled
    kNotProgrammed = 8, // program: at least one module was not programmed or not verified
    kDiffer = 1,        // diff: the two sides differ
};

struct Console {
    std::ostream& out;     // summaries, taken lines, and the file of "read -o -"
    std::ostream& err;     // error reports and the progress bar
    bool progress = false; // draw a progress bar on err (only when it is a terminal)
    bool json = false;     // --json: results as JSON objects, one a line, on out
};

// Runs one command line (the arguments without the program name) and returns
// the exit status.
int Run(const std::vector<std::string>& args, Console& console);

// The text of --help.
std::string Usage();

// A remote device's address as a person types it: "00:1b:dc:0f:52:a7",
// "001bdc0f52a7" or "00 1b dc 0f 52 a7" (hexadecimal digits of either case).
// false leaves address as it was.
bool ParseAddressArgument(const std::string& text, std::array<uint8_t, 6>& address);

// Throws away whatever waits on a port just opened, so that it is not taken for
// an answer; waits for the line to go quiet only when something was there.
void DropStaleBytes(mSerial& port);

// The probe on a port just opened, once more after throwing away what stood in
// the way of a first answer. True when a module answered.
bool ProbeModule(Communicator& comm, mSerial& port);

// A failure in the error report's words: the caption ("Error - communication
// (0x0215)"), "Error: " and the headline, then the description's lines.
std::vector<std::string> ReportLines(const Failure& failure);
// "Norvane Bluetooth unit not found!" and the advice below it.
std::vector<std::string> NotFoundLines();
// Why device did not open, in the system's words where it has them.
std::string WhyDeviceNotOpened(const std::string& device, const mSerial& port);

} // namespace cli
