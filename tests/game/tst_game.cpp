#include "../birds/TestAssets.h"
#include "modBirds.h"
#include "modGame.h"

#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <map>
#include <random>

using namespace modGame;
using namespace TestAssets;
using Bar = GameWindow::Bar;

// A stand-in main window recording what the engine shows on it and, with the game state at
// the time, which windows it opens.
struct TestWindow : GameWindow {
    PictureBox screen, buffer;
    QTimer timer;
    std::map<Bar, float> bars;
    std::map<int, int> buttons;
    QString panel;
    QStringList calls;

    void Log(const QString& what) { calls << what + " @" + QString::number(GameState); }
    PictureBox& picScreen() override { return screen; }
    PictureBox& PicBuffer() override { return buffer; }
    QTimer& tmrGame() override { return timer; }
    void setBarMin(Bar, float) override {}
    void setBarMax(Bar, float) override {}
    void setBarValue(Bar bar, float value) override { bars[bar] = value; }
    void setPanelText(int n, const QString& s) override { panel = QString::number(n) + ':' + s; }
    void setButtonValue(int position, int value) override { buttons[position] = value; }
    void showGameOver() override { Log("showGameOver"); }
    void showHiScores() override { Log("showHiScores"); }
    void showInfo() override {}
    void showExit() override {}
    void NewHighScore(const qint32& s) override { Log("NewHighScore " + QString::number(s)); }
    void displayScores() override { Log("displayScores"); }
};

class GameTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QStringList messages;
    TestWindow w;

    // A fresh title state as after start-up, set up by its first tick.
    void ToTitle() {
        GameState = StateTitle;
        TitleReady = runtime::False;
        TickCount = 0;
        TimerInterval = 50;
        GameTimer->setInterval(50);
        GameTick();
        w.calls.clear();
        SilenceAll();
    }

    // A fresh game with `birds` launched into the first slots.
    void ToPlaying(int birds = 0) {
        ToTitle();
        Go();
        for (int i = 0; i < birds; ++i)
            LaunchBird();
    }

  private slots:
    void initTestCase() {
        Prepare(dir.path(), messages);
        w.screen.setAutoSize(true);
        w.screen.setPicture(LoadPicture(dir.path() + "/Graphics/BackGround.bmp"));
        w.buffer.setPicture(QImage(600, 400, QImage::Format_RGB32));
        Window = &w;
        InitGame();
        // InitGame seeds from the clock; the tests want the same run every time.
        runtime::SeedRandom(20240611u);
    }

    void statusShowsTheCountersEveryFifthTick() {
        ToTitle();
        for (int i = 2; i <= 4; ++i)
            GameTick();
        QVERIFY(w.bars.empty());
        GameTick();
        QVERIFY(w.bars ==
                (std::map<Bar, float>{{Bar::Speed, 40}, {Bar::Birds, 1}, {Bar::Bullets, 10}}));
        QCOMPARE(w.panel, "2:0");
        QVERIFY(w.buttons == (std::map<int, int>{{3, 1}, {10, 1}}));
        Go();
        SpeedUp();
        ToggleSound();
        for (int i = 0; i < 5; ++i)
            GameTick();
        QCOMPARE(w.bars[Bar::Speed], 43.0f);
        QVERIFY(w.buttons == (std::map<int, int>{{1, 1}, {3, 1}, {10, 0}}));
        PauseGame();
        ToggleSound();
        for (int i = 0; i < 5; ++i)
            GameTick();
        QVERIFY(w.buttons == (std::map<int, int>{{1, 1}, {2, 1}, {3, 1}, {10, 1}}));
    }

    void everyStateTransition() {
        // Each command, the state it leaves and whether the counters are fresh (a new game's or
        // the title's) rather than the 321 points and 3 bullets set before it.
        const std::tuple<void (*)(), Long, bool> steps[] = {
            {PauseGame, StateTitle, false},  {StopGame, StateTitle, false},
            {Go, StatePlaying, true},        {Go, StatePlaying, false},
            {PauseGame, StatePaused, false}, {PauseGame, StatePaused, false},
            {GameTick, StatePaused, false},  {Go, StatePlaying, false},
            {StopGame, StateTitle, false},   {GameTick, StateTitle, true},
            {Go, StatePlaying, true},        {PauseGame, StatePaused, false},
            {StopGame, StateTitle, false},
        };
        const QStringList offered{"NewHighScore 321 @0", "displayScores @0", "showHiScores @0"};
        ToTitle();
        for (const auto& [act, state, fresh] : steps) {
            const Long before = GameState;
            Score = 321;
            Bullets = 3;
            w.calls.clear();
            act();
            QCOMPARE(GameState, state);
            QCOMPARE(Score, fresh ? 0 : 321);
            QCOMPARE(Bullets, fresh ? 10 : 3);
            if (GameState != StateTitle || fresh)
                QCOMPARE(w.screen.mousePointer(), GameState == StatePlaying ? 99 : 12);
            // Stopping a game offers its score and shows the score windows.
            const bool stopped = act == StopGame && before != StateTitle;
            QCOMPARE(w.calls, stopped ? offered : QStringList());
        }
    }

    void shots_data() {
        QTest::addColumn<Long>("state");
        QTest::addColumn<int>("bullets");
        QTest::addColumn<bool>("exploding");
        QTest::addColumn<int>("after");
        QTest::addColumn<int>("points");
        QTest::newRow("two birds, full gun") << StatePlaying << 10 << false << 10 << 100;
        QTest::newRow("two birds, nine") << StatePlaying << 9 << false << 10 << 100;
        QTest::newRow("two birds, five") << StatePlaying << 5 << false << 6 << 100;
        QTest::newRow("exploding birds") << StatePlaying << 10 << true << 9 << 0;
        QTest::newRow("empty gun") << StatePlaying << 0 << false << 0 << 0;
        QTest::newRow("paused") << StatePaused << 10 << false << 10 << 0;
        QTest::newRow("paused, empty gun") << StatePaused << 0 << false << 0 << 0;
        QTest::newRow("title") << StateTitle << 10 << false << 10 << 0;
    }

    // Two birds under the shot, the second a copy of the first, a third elsewhere.
    void shots() {
        QFETCH(Long, state);
        QFETCH(int, bullets);
        QFETCH(bool, exploding);
        QFETCH(int, after);
        QFETCH(int, points);
        ToPlaying(3);
        *Birds[1] = *Birds[0];
        const Integer x = Integer(Birds[0]->posX() + 71), y = Integer(Birds[0]->posY() + 75);
        // The third enters anew while a copy of it would be hit.
        for (clsBird probe = *Birds[2]; probe.hit(x, y) == runtime::True; probe = *Birds[2]) {
            Birds[2]->Zero();
            Birds[2]->appear();
        }
        if (exploding) Shoot(x, y);
        const Long score = Score = 1000;
        Bullets = Integer(bullets);
        GameState = state;
        SilenceAll();
        Shoot(x, y);
        QCOMPARE(Bullets, after);
        QCOMPARE(Score, score + points);
        QCOMPARE(BirdsLeft, exploding || points > 0 ? 1 : 3);
        // A hit stops the shot's own sound; the explosion plays on. Only a game makes a sound.
        QCOMPARE(Playing(*GunFire), state == StatePlaying && bullets > 0 && points == 0);
        QCOMPARE(Playing(*GunEmpty), state == StatePlaying && bullets == 0);
        QCOMPARE(CountPlaying(modBirds::ExplosionSounds) > 0, points > 0);
        QVERIFY(!Playing(*GunCock));
    }

    void theTenthBirdEndsTheGameOnTheNextTick() {
        for (bool hitInBetween : {false, true}) {
            ToPlaying();
            Score = 98000; // every playing tick launches while a slot is free
            for (int i = 1; i <= 10; ++i)
                GameTick();
            QVERIFY(BirdsLeft == 10 && GameState == StatePlaying);
            if (hitInBetween) Shoot(Integer(Birds[3]->posX() + 70), Integer(Birds[3]->posY() + 75));
            GameTick();
            QCOMPARE(w.calls, hitInBetween ? QStringList() : QStringList{"showGameOver @2"});
            QCOMPARE(GameState, hitInBetween ? StatePlaying : StateTitle);
        }
    }

    void birdsAreLaunchedAtTheScoresRate() {
        ToPlaying();
        for (int score : {0, 150, 30000, 98000}) {
            const int n = 10000;
            int launched = 0;
            for (int i = 0; i < n; ++i) {
                for (auto& bird : Birds)
                    bird->Zero();
                BirdsLeft = 0;
                Score = score;
                GameTick();
                launched += BirdsLeft;
            }
            const double p = std::min(1.0, (score / 100.0 + 20) / 1000.0);
            QVERIFY2(std::abs(launched - n * p) <= 5 * std::sqrt(n * p * (1 - p)),
                     qPrintable(QString("score %1: %2 launched").arg(score).arg(launched)));
        }
    }

    void speedStaysWithinTwentyAndSeventy() {
        ToTitle();
        QList<int> seen;
        for (int i = 0; i < 21; ++i) {
            i < 12 ? SpeedUp() : SlowDown();
            QCOMPARE(GameTimer->interval(), int(TimerInterval));
            seen << TimerInterval;
            if (i == 11) TimerInterval = 50;
        }
        QCOMPARE(seen, (QList<int>{47, 44, 41, 38, 35, 32, 29, 26, 23, 20, 20,
                                   20, 53, 56, 59, 62, 65, 68, 70, 70, 70}));
    }

    // Random shots and commands; MORVEL_SOAK_TICKS sets the number of ticks.
    void invariantsHoldOverManyTicks() {
        const int set = qEnvironmentVariableIntValue("MORVEL_SOAK_TICKS");
        const int ticks = set > 0 ? set : 100000;
        static void (*const commands[])() = {Go,      Go,       PauseGame, ToggleSound,
                                             SpeedUp, SlowDown, StopGame};
        std::mt19937 pick(4711u);
        int hits = 0;
        Long lastScore = 0;
        bool inGame = false;
        // Empty when every invariant holds; a score may fall only as a game starts.
        const auto broken = [&]() -> QString {
            const bool fell = inGame && GameState != StateTitle && Score < lastScore;
            inGame = GameState != StateTitle;
            lastScore = Score;
            const auto flying = std::count_if(Birds.begin(), Birds.end(), [](const auto& bird) {
                return bird->state() == clsBird::Flying;
            });
            if (BirdsLeft != flying) return "BirdsLeft";
            if (Bullets < 0 || Bullets > 10) return "Bullets";
            if (TimerInterval < 20 || TimerInterval > 70) return "TimerInterval";
            if (GameTimer->interval() != TimerInterval) return "timer";
            return fell ? "Score fell" : "";
        };
        ToTitle();
        for (int t = 0; t < 2 * ticks; ++t) {
            const unsigned r = pick() % 2000;
            if (t % 2) {
                GameTick();
            } else if (r < 100) {
                // Aim at a random bird's box half of the time, anywhere otherwise.
                const auto& bird = *Birds[pick() % 10];
                const bool aim = pick() % 2 == 0 && bird.exist() == runtime::True;
                const Long before = Score;
                Shoot(Integer(aim ? bird.posX() + 45 + int(pick() % 54) : int(pick() % 600)),
                      Integer(aim ? bird.posY() + 50 + int(pick() % 51) : int(pick() % 400)));
                hits += Score > before;
            } else if (r < 107) {
                commands[r - 100]();
            }
            const QString what = broken();
            QVERIFY2(what.isEmpty(), qPrintable(QString("step %1: %2").arg(t).arg(what)));
        }
        QVERIFY(w.calls.contains("showGameOver @2") && hits > 0);
        QCOMPARE(messages, QStringList());
    }
};

QTEST_MAIN(GameTest)
#include "tst_game.moc"
