// btconf [DEVICE...]: the configuration tool. The devices given become the first
// ports of the chooser (one device is COM1, already selected).
#include "Desktop.h"
#include "HelpViewer.h"
#include "TMainForm.h"
#include "mSerial.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char* const kUsage =
    "Usage: btconf [DEVICE]...\n"
    "Configures a Bluetooth serial-port adapter module in a window.\n"
    "\n"
    "Each DEVICE (a serial device path such as /dev/ttyUSB0 or the device that\n"
    "nvmsim prints) becomes the next port of the port chooser, from COM1 on; the\n"
    "serial devices the system has follow them. With one DEVICE it is COM1 and\n"
    "already selected.\n"
    "\n"
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
    const QStringList args = QApplication::arguments();
    for (int i = 1; i < args.size(); ++i)
        given.push_back(QFile::encodeName(args[i]).toStdString());
    PortTable::Set(PortTable::Build(given));

    TMainForm form;
    form.show();
    return app.exec();
}
