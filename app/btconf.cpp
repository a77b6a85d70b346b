// SPDX-License-Identifier: Apache-2.0
// btconf [--trace FILE] [DEVICE...]: the configuration tool. The devices given
// become the first ports of the chooser (one device is COM1, already selected).
// With --trace every frame exchanged with the module is written to FILE, one
// line each, flushed as it is written.
#include "Communicator.h"
#include "Desktop.h"
#include "HelpViewer.h"
#include "TMainForm.h"
#include "mSerial.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

const char* const kUsage =
    "Usage: btconf [--trace FILE] [DEVICE]...\n"
    "Configures a Bluetooth serial-port adapter module in a window.\n"
    "\n"
    "Each DEVICE (a serial device path such as /dev/ttyUSB0 or the device that\n"
    "nvmsim prints) becomes the next port of the port chooser, from COM1 on; the\n"
    "serial devices the system has follow them. With one DEVICE it is COM1 and\n"
    "already selected.\n"
    "\n"
    "  --trace FILE  write every frame exchanged with the module to FILE, one line\n"
    "                each (milliseconds, send or recv, the bytes, what they mean)\n"
    "  -h, --help    print this text and exit\n";

} // namespace

int main(int argc, char** argv) {
    // Answered before the window system is touched, so it works without a display.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kUsage, stdout);
            // Where the help file is looked for (beside the program, then in
            // ../share/btconf), so that an installation can be checked.
            QCoreApplication core(argc, argv);
            std::printf(
                "\nHelp file: %s\n",
                QDir::toNativeSeparators(HelpFile::DefaultPath()).toLocal8Bit().constData());
            return 0;
        }
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QString::fromLatin1(Desktop::kApplicationTitle));

    std::vector<std::string> given;
    std::string traceFile;
    const QStringList args = QApplication::arguments();
    for (int i = 1; i < args.size(); ++i) {
        const std::string arg = QFile::encodeName(args[i]).toStdString();
        if (arg == "--trace" || arg.rfind("--trace=", 0) == 0) {
            if (arg != "--trace")
                traceFile = arg.substr(std::strlen("--trace="));
            else if (i + 1 < args.size())
                traceFile = QFile::encodeName(args[++i]).toStdString();
            if (traceFile.empty()) {
                std::fprintf(stderr, "btconf: option --trace needs a file name\n");
                return 2;
            }
        } else {
            given.push_back(arg);
        }
    }
    PortTable::Set(PortTable::Build(given));

    std::FILE* trace = nullptr;
    std::unique_ptr<TraceWriter> writer;
    if (!traceFile.empty()) {
        trace = std::fopen(traceFile.c_str(), "wb");
        if (trace == nullptr) {
            std::fprintf(stderr, "btconf: the trace file %s could not be written: %s\n",
                         traceFile.c_str(), std::strerror(errno));
            return 2;
        }
        writer = std::make_unique<TraceWriter>(trace);
        Communicator::SetDefaultObserver(writer->Observer());
    }

    int status = 0;
    {
        TMainForm form;
        form.show();
        status = app.exec();
    }
    Communicator::SetDefaultObserver(nullptr);
    if (trace != nullptr) std::fclose(trace);
    return status;
}
