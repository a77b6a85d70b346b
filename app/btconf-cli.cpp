// SPDX-License-Identifier: Apache-2.0
// btconf-cli: reads a module's settings into a configuration file, writes a
// file onto a module, or checks a file, without the window. See cli/Cli.h and
// docs/btconf-cli.1.
#include "Cli.h"

#include <iostream>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

int main(int argc, char** argv) {
#if defined(_WIN32)
    // The file's CR LF bytes reach standard output as they are.
    _setmode(_fileno(stdout), _O_BINARY);
    const bool terminal = _isatty(_fileno(stderr)) != 0;
#else
    const bool terminal = isatty(STDERR_FILENO) == 1;
#endif
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    cli::Console console{std::cout, std::cerr, terminal};
    return cli::Run(args, console);
}
