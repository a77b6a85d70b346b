// SPDX-License-Identifier: Apache-2.0
// window_tests: every window test class in one program. "window_tests Name"
// runs the class Name (further arguments go to Qt Test), no name runs them all;
// the status is non-zero when a test failed.
#include "WindowRig.h"

#include <QApplication>
#include <QTest>
#include <map>

namespace {
std::map<QString, std::function<QObject*()>>& Classes() {
    static std::map<QString, std::function<QObject*()>> classes;
    return classes;
}
} // namespace

int RegisterTest(const char* name, std::function<QObject*()> make) {
    Classes()[name] = std::move(make);
    return int(Classes().size());
}

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QStringList args = QApplication::arguments();
    const QString only = args.size() > 1 && !args[1].startsWith('-') ? args.takeAt(1) : "";
    if (!only.isEmpty() && Classes().count(only) == 0) {
        qWarning("no test class %s", qPrintable(only));
        return 2;
    }
    int failed = 0;
    for (const auto& [name, make] : Classes()) {
        if (!only.isEmpty() && name != only) continue;
        std::unique_ptr<QObject> test(make());
        failed += QTest::qExec(test.get(), args) != 0 ? 1 : 0;
    }
    return failed;
}
