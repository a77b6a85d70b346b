// The program's own way out when no module is chosen: the event loop that the
// program runs in ends with status 0, and the module hears nothing. This leaves the
// application's event loops for good, so it runs in a process of its own.
#include "Dialogs.h"
#include "SimServer.h"
#include "TMainForm.h"

#include <QApplication>
#include <QEventLoop>
#include <QPushButton>
#include <QTest>
#include <QTimer>

class StartupExitTest : public QObject {
    Q_OBJECT
  private slots:
    void cancelEndsTheEventLoopWithStatusZero() {
        SimServer sim({});
        QVERIFY(sim.Start());
        PortTable::Set({sim.DevicePath()});
        TMainForm form;
        form.seams.serChoose = [](TSerChooseForm& chooser) { chooser.Button2->click(); };
        form.show();

        QEventLoop loop;
        QTimer::singleShot(5000, &loop, [&loop] { loop.exit(99); });
        QCOMPARE(loop.exec(), 0);
        QVERIFY(form.noModule);
        QTest::qWait(100);
        for (const std::string& line : sim.TraceLines())
            QVERIFY(line.rfind("recv", 0) != 0);
        sim.Stop();
    }
};

QTEST_MAIN(StartupExitTest)
#include "StartupExitTest.moc"
