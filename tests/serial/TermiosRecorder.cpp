#include "TermiosRecorder.h"

#include <cerrno>

namespace {
termios lastRequest{};
int calls = 0;
int failWith = 0;
} // namespace

namespace TermiosRecorder {
termios Last() {
    return lastRequest;
}
int Calls() {
    return calls;
}
void FailNextWith(int error) {
    failWith = error;
}
} // namespace TermiosRecorder

#if defined(SERIAL_TEST_RECORDS_TCSETATTR)
extern "C" int __real_tcsetattr(int fd, int when, const termios* settings);

extern "C" int __wrap_tcsetattr(int fd, int when, const termios* settings) {
    if (settings != nullptr) lastRequest = *settings;
    ++calls;
    if (failWith != 0) {
        errno = failWith;
        failWith = 0;
        return -1;
    }
    return __real_tcsetattr(fd, when, settings);
}
#endif
