// Records the line settings the port asks the driver for, and can make that
// request fail. A pseudo-terminal has no parity and no character size of its
// own (the driver keeps 8 bits, no parity), so those settings are checked in
// the request; a failing driver is simulated to reach the port's error path.
// Linux only: the test program is linked with --wrap=tcsetattr.
#pragma once

#include <termios.h>

namespace TermiosRecorder {
#if defined(SERIAL_TEST_RECORDS_TCSETATTR)
constexpr bool kAvailable = true;
#else
constexpr bool kAvailable = false;
#endif
// The settings of the last request and how many requests were made.
termios Last();
int Calls();
// The next request fails with this errno without reaching the driver (0: none).
void FailNextWith(int error);
} // namespace TermiosRecorder
