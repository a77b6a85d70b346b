// btconf [DEVICE...]: the configuration tool. The devices given become the first
// ports of the chooser (one device is COM1, already selected).
#include "Desktop.h"
#include "TMainForm.h"
#include "mSerial.h"

#include <QApplication>
#include <QFile>
#include <QStringList>

#include <string>
#include <vector>

int main(int argc, char** argv) {
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
