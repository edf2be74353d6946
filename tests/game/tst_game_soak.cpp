// A long headless run with random shots and commands, checking the engine's invariants
// after every tick and every action. MORVEL_SOAK_TICKS sets the number of ticks.

#include "GameSetup.h"
#include "TestWindow.h"
#include "modGame.h"
#include "modSound.h"
#include "runtime.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <random>

using namespace modGame;

class GameSoak : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QStringList messages;
    std::unique_ptr<TestWindow> w;

    Long lastScore = 0;
    bool inGame = false;

    // Returns an empty string when every invariant holds, else what broke.
    QString Broken() {
        if (BirdsLeft != GameSetup::FlyingBirds())
            return QStringLiteral("BirdsLeft %1, flying %2")
                .arg(BirdsLeft)
                .arg(GameSetup::FlyingBirds());
        if (Bullets < 0 || Bullets > 10) return QStringLiteral("Bullets %1").arg(Bullets);
        if (TimerInterval < 20 || TimerInterval > 70)
            return QStringLiteral("TimerInterval %1").arg(TimerInterval);
        if (GameTimer->interval() != TimerInterval)
            return QStringLiteral("timer %1 vs %2").arg(GameTimer->interval()).arg(TimerInterval);
        if (Score < 0) return QStringLiteral("Score %1").arg(Score);
        const bool playing = GameState == StatePlaying || GameState == StatePaused;
        if (inGame && playing && Score < lastScore)
            return QStringLiteral("Score fell from %1 to %2").arg(lastScore).arg(Score);
        if (modSound::SoundOn != SoundEnabled) return QStringLiteral("sound switch");
        return {};
    }

    // A game runs from NewGame until the state leaves playing and paused; only NewGame,
    // from the title state, may set the score back.
    void Track() {
        inGame = GameState == StatePlaying || GameState == StatePaused;
        lastScore = Score;
    }

  private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        w = GameSetup::Start(dir.path(), messages);
    }

    void invariantsHoldOverManyTicks() {
        const long ticks = qEnvironmentVariableIsSet("MORVEL_SOAK_TICKS")
                               ? qEnvironmentVariable("MORVEL_SOAK_TICKS").toLong()
                               : 300000;
        std::mt19937 pick(4711u);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        long games = 0, gameOvers = 0, hits = 0, maxScore = 0;
        w->onGameOver = [&] { ++gameOvers; };
        QElapsedTimer clock;
        clock.start();

        for (long t = 0; t < ticks; ++t) {
            const double r = u(pick);
            const Long state = GameState;
            const Long before = Score;
            if (r < 0.05) {
                // Aim at a random bird's box half of the time, anywhere otherwise.
                const auto& bird = *Birds[pick() % 10];
                const bool aim = pick() % 2 == 0 && bird.exist() == runtime::True;
                const int x = aim ? bird.PosX + 45 + int(pick() % 54) : int(pick() % 600);
                const int y = aim ? bird.PosY + 50 + int(pick() % 51) : int(pick() % 400);
                Shoot(static_cast<Integer>(x), static_cast<Integer>(y));
                if (Score > before) ++hits;
            } else if (r < 0.052) {
                Go();
                if (state == StateTitle) ++games;
            } else if (r < 0.0535) {
                PauseGame();
            } else if (r < 0.0537) {
                StopGame();
            } else if (r < 0.0545) {
                ToggleSound();
            } else if (r < 0.0555) {
                SpeedUp();
            } else if (r < 0.0565) {
                SlowDown();
            }
            QString broken = Broken();
            if (!broken.isEmpty())
                QFAIL(
                    qPrintable(QStringLiteral("tick %1, after an action: %2").arg(t).arg(broken)));
            Track();

            GameTick();
            broken = Broken();
            if (!broken.isEmpty())
                QFAIL(qPrintable(QStringLiteral("tick %1: %2").arg(t).arg(broken)));
            Track();
            maxScore = std::max<long>(maxScore, Score);
            if (!w->calls.isEmpty()) w->calls.clear();
            if (w->statePresses.size() > 1000) w->statePresses.clear();
        }
        qInfo("%ld ticks in %lld ms: %ld games, %ld ended by ten birds, %ld hits, best score %ld",
              ticks, static_cast<long long>(clock.elapsed()), games, gameOvers, hits, maxScore);
        QVERIFY(games > 0 && gameOvers > 0 && hits > 0);
        QCOMPARE(messages, QStringList());
    }

    void cleanupTestCase() {
        w.reset();
        modGame::Window = nullptr;
    }
};

QTEST_MAIN(GameSoak)
#include "tst_game_soak.moc"
