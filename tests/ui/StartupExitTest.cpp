// Cancel in the port chooser ends the program's event loop with status 0 and the
// module hears nothing. Leaving the event loops is for good, so this runs alone.
#include "WindowRig.h"

#include <QEventLoop>
#include <QTest>

class StartupExitTest : public QObject {
    Q_OBJECT
  private slots:
    void cancelEndsTheEventLoopWithStatusZero() {
        WindowRig rig;
        rig.chooserPorts = {0};
        rig.form->seams.quit = nullptr; // the program's own way out
        rig.form->show();
        QEventLoop loop;
        QTimer::singleShot(5000, &loop, [&loop] { loop.exit(99); });
        QCOMPARE(loop.exec(), 0);
        QCOMPARE(rig.chooserIndexesSeen.size(), 1);
        QVERIFY(rig.form->noModule);
        QVERIFY(rig.Received().isEmpty());
    }
};

QTEST_MAIN(StartupExitTest)
#include "StartupExitTest.moc"
