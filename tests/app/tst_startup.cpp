// Start-up when files are missing, while the game timer is already running: in one process,
// because the engine's objects are made once.

#include "frmBirds_Main.h"
#include "modGame.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

namespace {

void copyFolder(const QString& from, const QString& to, const QStringList& leaveOut) {
    QDir().mkpath(to);
    for (const QFileInfo& f : QDir(from).entryInfoList(QDir::Files))
        if (!leaveOut.contains(f.fileName()))
            QVERIFY(QFile::copy(f.filePath(), to + QLatin1Char('/') + f.fileName()));
}

} // namespace

class TestStartup : public QObject {
    Q_OBJECT
    QStringList messages;
    QList<modGame::Long> ticksDuringMessages;
    int ends = 0;

    QString assets(const QTemporaryDir& dir, const QStringList& leaveOut) {
        const QString run = QString::fromLocal8Bit(qgetenv("MORVEL_RUN_DIR"));
        copyFolder(run + QStringLiteral("/Graphics"), dir.path() + QStringLiteral("/Graphics"),
                   leaveOut);
        copyFolder(run + QStringLiteral("/Sounds"), dir.path() + QStringLiteral("/Sounds"), {});
        return dir.path();
    }

  private slots:
    void initTestCase() {
        QVERIFY(!qEnvironmentVariableIsEmpty("MORVEL_RUN_DIR"));
        // Every message box runs the event loop for a while, as a real one would, so that
        // timer events reach the window in the middle of start-up.
        runtime::SetMsgBoxHook([this](const QString& prompt, int) {
            messages << prompt;
            QTest::qWait(150);
            ticksDuringMessages << modGame::TickCount;
        });
        runtime::SetInputBoxHook([](const QString&, const QString&) { return QString(); });
        runtime::SetEndHook([this] { ++ends; });
    }

    void init() {
        messages.clear();
        ticksDuringMessages.clear();
        ends = 0;
    }

    // No background: a run-time error is reported and the program ends before the game
    // exists; the 1 ms ticks that arrive meanwhile never reach the engine.
    void missingBackgroundEndsTheProgram() {
        QTemporaryDir dir;
        runtime::SetAppPath(assets(dir, {QStringLiteral("BackGround.bmp")}));
        auto w = std::make_unique<frmBirds_Main>();
        QCOMPARE(ends, 1);
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages[0].contains(QStringLiteral("53")), qPrintable(messages[0]));
        QCOMPARE(ticksDuringMessages, QList<modGame::Long>{0});
        QVERIFY(!modGame::Ready());
        QCOMPARE(w->tmrGame().interval(), 1); // start-up stopped before setting the speed
        QTest::qWait(50);
        QCOMPARE(modGame::TickCount, 0);
    }

    // No title pictures: each failure is reported while the timer runs, ticks are dropped
    // until the game exists, and then the title state starts without the banner.
    void missingTitleGoesOnWithoutIt() {
        QTemporaryDir dir;
        runtime::SetAppPath(
            assets(dir, {QStringLiteral("title.bmp"), QStringLiteral("titlemask.bmp")}));
        auto w = std::make_unique<frmBirds_Main>();
        QCOMPARE(ends, 0);
        QVERIFY(messages.size() >= 1);
        for (const QString& m : messages)
            QCOMPARE(m, QStringLiteral("Failure in creating dc"));
        for (modGame::Long ticks : ticksDuringMessages)
            QCOMPARE(ticks, 0);
        QVERIFY(modGame::Ready());
        QCOMPARE(w->tmrGame().interval(), 50);
        w->show();
        QTRY_VERIFY_WITH_TIMEOUT(modGame::TickCount >= 5, 3000);
        QCOMPARE(modGame::BirdsLeft, runtime::Integer(1));
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
