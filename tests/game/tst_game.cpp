#include "AssetNames.h"
#include "DSound.h"
#include "GameSetup.h"
#include "SoundProbe.h"
#include "TestAssets.h"
#include "TestWindow.h"
#include "modBirds.h"
#include "modGame.h"
#include "modSound.h"
#include "runtime.h"

#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using namespace modGame;
using GameSetup::FlyingBirds;
using runtime::False;
using runtime::True;
using SoundProbe::Playing;
using SoundProbe::SilenceAll;
using Bar = GameWindow::Bar;

namespace {
Integer I(int v) {
    return static_cast<Integer>(v);
}

// A shot into the middle of a bird's hit box.
void ShootAt(const clsBird& bird) {
    Shoot(I(bird.PosX + 70), I(bird.PosY + 75));
}

bool IsBackground(const QImage& image, const QRect& area) {
    for (int y = area.top(); y <= area.bottom(); y += 7)
        for (int x = area.left(); x <= area.right(); x += 7)
            if ((image.pixel(x, y) & 0xFFFFFF) != (TestAssets::BackgroundAt(x, y) & 0xFFFFFF))
                return false;
    return true;
}
} // namespace

class GameTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QStringList messages;
    std::unique_ptr<TestWindow> w;

    void ToTitle() { GameSetup::ToTitle(*w); }

    // A fresh game, with no bird yet and the tick count at `ticks`.
    void ToPlaying(Long ticks = 1) {
        ToTitle();
        Go();
        TickCount = ticks;
        w->clearRecord();
        SilenceAll();
    }

    // Launches a bird into the next free slot and puts it at (x, y).
    clsBird& LaunchAt(int x, int y) {
        for (auto& bird : Birds)
            if (bird->exist() == False) {
                LaunchBird();
                bird->PosX = I(x);
                bird->PosY = I(y);
                return *bird;
            }
        qFatal("no free slot");
    }

  private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        w = GameSetup::Start(dir.path(), messages);
    }

    void initGameCreatesEveryObject() {
        QVERIFY(Ready());
        QCOMPARE(messages, QStringList());
        QVERIFY(PlayScreen != nullptr);
        QCOMPARE(GameTimer, &w->timer);
        QCOMPARE(SoundEnabled, True);
        QCOMPARE(modSound::SoundOn, True);
        // The gun sounds are loaded first, in order; the birds' sounds follow.
        QCOMPARE(GunFire->bufferIndex(), 0);
        QCOMPARE(GunCock->bufferIndex(), 1);
        QCOMPARE(GunEmpty->bufferIndex(), 2);
        QCOMPARE(DSound::SoundBuffers[0].Name, AssetNames::GunFire);
        QCOMPARE(DSound::SoundBuffers[1].Name, AssetNames::GunCock);
        QCOMPARE(DSound::SoundBuffers[2].Name, AssetNames::GunEmpty);
        QCOMPARE(modBirds::BirdSounds[0]->bufferIndex(), 3);
        QCOMPARE(modBirds::ExplosionSounds[3]->bufferIndex(), 13);
        for (const auto& bird : Birds)
            QCOMPARE(bird->exist(), False);
        QCOMPARE(TitleImage->Xsize(), 432);
        QCOMPARE(TitleImage->Ysize(), 31);
        QCOMPARE(TitleMask->Xsize(), 432);
        QVERIFY(TitleImage->HDC() > 0 && TitleMask->HDC() > 0);

        const std::map<Bar, float> mins{{Bar::Speed, 20.0f}};
        const std::map<Bar, float> maxes{
            {Bar::Speed, 70.0f}, {Bar::Birds, 10.0f}, {Bar::Bullets, 10.0f}};
        QVERIFY(w->barMin == mins);
        QVERIFY(w->barMax == maxes);
        QVERIFY(w->barValue.empty());

        // The title is set up by the first tick, not by InitGame.
        QCOMPARE(GameState, StateTitle);
        QCOMPARE(TitleReady, False);
        QCOMPARE(Bullets, 0);
        QCOMPARE(BirdsLeft, 0);
    }

    void firstTitleTickSetsUpTheTitle() {
        w->picScreen().setMousePointer(0);
        ToTitle();
        QCOMPARE(TitleReady, True);
        QCOMPARE(w->picScreen().mousePointer(), 12);
        QCOMPARE(Score, 0);
        QCOMPARE(Bullets, 10);
        QCOMPARE(BirdsLeft, 1);
        QCOMPARE(Birds[0]->State, clsBird::Flying);
        QCOMPARE(FlyingBirds(), 1);

        // The demonstration bird starts outside the field: only the banner is new.
        const QImage& shown = w->picScreen().surface();
        const QRgb title = TestAssets::ColourOf(AssetNames::Title) & 0xFFFFFF;
        QCOMPARE(shown.pixel(76, 13) & 0xFFFFFF, title);
        QCOMPARE(shown.pixel(507, 43) & 0xFFFFFF, title);
        QVERIFY(IsBackground(shown, QRect(0, 0, 600, 13)));
        QVERIFY(IsBackground(shown, QRect(0, 44, 600, 356)));
        QVERIFY(IsBackground(shown, QRect(0, 13, 76, 31)));
        QVERIFY(IsBackground(shown, QRect(508, 13, 92, 31)));
    }

    void titleStatusShowsOneBirdAndSpeedForty() {
        ToTitle();
        for (int i = 2; i <= 4; ++i)
            GameTick();
        QVERIFY(w->panelText.empty());
        QVERIFY(w->barValue.empty());
        GameTick();
        QCOMPARE(w->panelText[2], QStringLiteral("0"));
        QCOMPARE(w->barValue[Bar::Speed], 40.0f);
        QCOMPARE(w->barValue[Bar::Birds], 1.0f);
        QCOMPARE(w->barValue[Bar::Bullets], 10.0f);
        QCOMPARE(w->buttonValue[10], 1);
        QCOMPARE(w->statePresses, QList<int>{3});
    }

    void titleBirdFliesOnAndCannotBeShot() {
        ToTitle();
        for (int i = 0; i < 400; ++i) {
            GameTick();
            QCOMPARE(BirdsLeft, 1);
            QCOMPARE(FlyingBirds(), 1);
        }
        clsBird& bird = *Birds[0];
        const Integer x = bird.PosX;
        SilenceAll(); // it may have called while it flew
        ShootAt(bird);
        QCOMPARE(bird.State, clsBird::Flying);
        QCOMPARE(bird.PosX, x);
        QCOMPARE(Bullets, 10);
        QVERIFY(!SoundProbe::AnyPlaying());
    }

    void statusFollowsTheStateEveryFifthTick() {
        ToPlaying(3);
        Score = 1234;
        GameTick(); // 4
        QVERIFY(w->panelText.empty());
        GameTick(); // 5: the display shows the counters from before the frame
        QCOMPARE(w->panelText[2], QStringLiteral("1234"));
        QCOMPARE(Score, 1235);
        QCOMPARE(w->statePresses, QList<int>{1});

        SpeedUp();
        ToggleSound();
        PauseGame();
        for (int i = 0; i < 5; ++i)
            GameTick();
        QCOMPARE(w->barValue[Bar::Speed], 43.0f);
        QCOMPARE(w->buttonValue[10], 0);
        QCOMPARE(w->statePresses, (QList<int>{1, 2}));
        QCOMPARE(w->panelText[2], QStringLiteral("1235"));
    }

    void negativeCountersAreRaisedToZero() {
        ToPlaying();
        PauseGame();
        BirdsLeft = -3;
        Score = -5;
        Bullets = -2;
        GameTick();
        QCOMPARE(BirdsLeft, 0);
        QCOMPARE(Score, 0);
        QCOMPARE(Bullets, 0);
    }

    void goStartsAFreshGame() {
        ToTitle();
        // A title bird in the middle of its explosion is removed by the new game.
        clsBird& title = *Birds[0];
        title.PosX = 100;
        title.PosY = 100;
        title.hit(I(150), I(160));
        ToggleSound();
        SlowDown();
        Score = 777;
        Bullets = 3;
        w->picScreen().setMousePointer(0);
        Go();
        QCOMPARE(GameState, StatePlaying);
        QCOMPARE(Score, 0);
        QCOMPARE(Bullets, 10);
        QCOMPARE(BirdsLeft, 0);
        QCOMPARE(TitleReady, False);
        for (const auto& bird : Birds)
            QCOMPARE(bird->exist(), False);
        QCOMPARE(w->picScreen().mousePointer(), 99);
        QCOMPARE(SoundEnabled, False);
        QCOMPARE(TimerInterval, 53);
        QCOMPARE(GameTimer->interval(), 53);
    }

    void everyStateTransition() {
        ToTitle();
        PauseGame();
        QCOMPARE(GameState, StateTitle);
        StopGame();
        QCOMPARE(GameState, StateTitle);
        QCOMPARE(w->calls, QStringList());

        Go();
        QCOMPARE(GameState, StatePlaying);
        LaunchAt(200, 100);
        Score = 321;
        Bullets = 7;
        Go();
        QCOMPARE(GameState, StatePlaying);
        QCOMPARE(Score, 321);
        QCOMPARE(BirdsLeft, 1);

        PauseGame();
        QCOMPARE(GameState, StatePaused);
        QCOMPARE(w->picScreen().mousePointer(), 12);
        PauseGame();
        QCOMPARE(GameState, StatePaused);

        Go();
        QCOMPARE(GameState, StatePlaying);
        QCOMPARE(w->picScreen().mousePointer(), 99);
        QCOMPARE(Score, 321);
        QCOMPARE(Bullets, 7);
        QCOMPARE(Birds[0]->PosX, 200);

        StopGame();
        QCOMPARE(GameState, StateTitle);
        QCOMPARE(w->calls,
                 (QStringList{"NewHighScore 321 @0", "displayScores @0", "showHiScores @0"}));
        // The next tick sets up the title again.
        GameTick();
        QCOMPARE(Score, 0);
        QCOMPARE(BirdsLeft, 1);

        w->calls.clear();
        Go();
        Score = 55;
        PauseGame();
        StopGame();
        QCOMPARE(GameState, StateTitle);
        QCOMPARE(w->calls,
                 (QStringList{"NewHighScore 55 @0", "displayScores @0", "showHiScores @0"}));
    }

    void pausedGameStandsStill() {
        ToPlaying();
        LaunchAt(200, 100);
        LaunchAt(300, 200);
        for (int i = 0; i < 7; ++i)
            GameTick();
        PauseGame();
        GameTick();
        const QImage frame = w->picScreen().surface().copy();
        const Integer x0 = Birds[0]->PosX, y1 = Birds[1]->PosY;
        const Long score = Score, ticks = TickCount;
        const Integer bullets = Bullets = 4;
        for (int i = 0; i < 60; ++i)
            GameTick();
        QCOMPARE(TickCount, ticks + 60);
        QCOMPARE(Score, score);
        QCOMPARE(Bullets, bullets);
        QCOMPARE(Birds[0]->PosX, x0);
        QCOMPARE(Birds[1]->PosY, y1);
        QVERIFY(w->picScreen().surface() == frame);
        Go();
        GameTick();
        QVERIFY(Birds[0]->PosX != x0);
    }

    void pointsAndReloadsComeWithTheTickCount() {
        ToPlaying(28);
        Bullets = 5;
        GameTick(); // 29
        QCOMPARE(Bullets, 5);
        QCOMPARE(Score, 0);
        GameTick(); // 30: a point and a reload with the cock sound
        QCOMPARE(Bullets, 6);
        QCOMPARE(Score, 1);
        QVERIFY(Playing(*GunCock));
        SilenceAll();
        for (int i = 31; i <= 59; ++i)
            GameTick();
        QCOMPARE(Bullets, 6);
        QCOMPARE(Score, 6);
        QVERIFY(!Playing(*GunCock));
        GameTick(); // 60
        QCOMPARE(Bullets, 7);
        QCOMPARE(Score, 7);

        // A full gun takes no bullet and makes no sound.
        Bullets = 10;
        SilenceAll();
        for (int i = 61; i <= 90; ++i)
            GameTick();
        QCOMPARE(Bullets, 10);
        QVERIFY(!Playing(*GunCock));
    }

    void aMissCostsABullet() {
        ToPlaying();
        clsBird& bird = LaunchAt(200, 100);
        Shoot(I(200 + 44), I(160));
        QCOMPARE(Bullets, 9);
        QCOMPARE(Score, 0);
        QCOMPARE(bird.State, clsBird::Flying);
        QVERIFY(Playing(*GunFire));
        QVERIFY(!Playing(*GunCock));
    }

    void oneShotHitsOverlappingBirds_data() {
        QTest::addColumn<int>("before");
        QTest::addColumn<int>("after");
        QTest::newRow("full gun") << 10 << 10;
        QTest::newRow("nine") << 9 << 10;
        QTest::newRow("five") << 5 << 6;
        QTest::newRow("last bullet") << 1 << 2;
    }

    void oneShotHitsOverlappingBirds() {
        QFETCH(int, before);
        QFETCH(int, after);
        ToPlaying();
        Score = 1000;
        clsBird& a = LaunchAt(200, 100);
        clsBird& b = LaunchAt(210, 110);
        LaunchAt(400, 100);
        Bullets = I(before);
        Shoot(I(260), I(170));
        QCOMPARE(Bullets, I(after));
        QCOMPARE(Score, 1100);
        QCOMPARE(BirdsLeft, 1);
        QCOMPARE(a.State, clsBird::Exploding);
        QCOMPARE(b.State, clsBird::Exploding);
        // The shot's own sound stops at a hit; the explosion plays on; no cock sound.
        QVERIFY(!Playing(*GunFire));
        QVERIFY(SoundProbe::PlayingIndex(modBirds::ExplosionSounds) != -1);
        QVERIFY(!Playing(*GunCock));
    }

    void anExplodingBirdIsNotHitAgain() {
        ToPlaying();
        clsBird& bird = LaunchAt(200, 100);
        ShootAt(bird);
        QCOMPARE(Score, 50);
        QCOMPARE(Bullets, 10);
        SilenceAll();
        ShootAt(bird);
        QCOMPARE(Score, 50);
        QCOMPARE(Bullets, 9);
        QCOMPARE(BirdsLeft, 0);
        QVERIFY(Playing(*GunFire));
        QCOMPARE(SoundProbe::PlayingIndex(modBirds::ExplosionSounds), -1);
    }

    void theEmptyGunOnlyClicks() {
        ToPlaying();
        clsBird& bird = LaunchAt(200, 100);
        Bullets = 0;
        ShootAt(bird);
        QCOMPARE(Bullets, 0);
        QCOMPARE(Score, 0);
        QCOMPARE(bird.State, clsBird::Flying);
        QCOMPARE(BirdsLeft, 1);
        QVERIFY(Playing(*GunEmpty));
        QVERIFY(!Playing(*GunFire));
    }

    void pressesOutsideAGameDoNothing() {
        ToPlaying();
        clsBird& bird = LaunchAt(200, 100);
        PauseGame();
        ShootAt(bird);
        QCOMPARE(Bullets, 10);
        QCOMPARE(bird.State, clsBird::Flying);
        QVERIFY(!SoundProbe::AnyPlaying());
        Bullets = 0;
        ShootAt(bird);
        QVERIFY(!SoundProbe::AnyPlaying());
    }

    void silencedShotsFollowTheSameRules() {
        ToPlaying();
        ToggleSound();
        QCOMPARE(modSound::SoundOn, False);
        clsBird& bird = LaunchAt(200, 100);
        ShootAt(bird);
        Shoot(I(0), I(0));
        QCOMPARE(Score, 50);
        QCOMPARE(Bullets, 9);
        Bullets = 0;
        Shoot(I(0), I(0));
        QVERIFY(!SoundProbe::AnyPlaying());
        ToggleSound();
        QCOMPARE(SoundEnabled, True);
        QCOMPARE(modSound::SoundOn, True);
    }

    void theTenthBirdEndsTheGameOnTheNextTick() {
        ToPlaying();
        Score = 98000; // every playing tick launches while a slot is free
        for (int i = 1; i <= 10; ++i) {
            GameTick();
            QCOMPARE(BirdsLeft, I(i));
        }
        QCOMPARE(GameState, StatePlaying);
        QVERIFY(w->calls.isEmpty());

        bool bare = false;
        w->onGameOver = [&] {
            bare = IsBackground(w->picScreen().surface(), QRect(0, 0, 600, 400));
        };
        const Long score = Score;
        GameTick();
        QCOMPARE(w->calls, QStringList{"showGameOver @2"});
        QVERIFY(bare);
        QCOMPARE(GameState, StateTitle);
        QCOMPARE(Score, score + (TickCount % 5 == 0));
        // The last frame of the game is shown once more, birds and all.
        QVERIFY(!IsBackground(w->picScreen().surface(), QRect(0, 0, 600, 400)));

        GameTick();
        QCOMPARE(Score, 0);
        QCOMPARE(BirdsLeft, 1);
        QCOMPARE(w->calls.size(), 1);
    }

    void aHitBeforeTheNextTickSavesTheGame() {
        ToPlaying();
        Score = 98000;
        for (int i = 1; i <= 10; ++i)
            GameTick();
        QCOMPARE(BirdsLeft, 10);
        ShootAt(*Birds[3]);
        QVERIFY(BirdsLeft <= 9);
        GameTick();
        QCOMPARE(GameState, StatePlaying);
        QVERIFY(w->calls.isEmpty());
    }

    void aFullSetOfSlotsLaunchesNothing() {
        ToPlaying();
        for (int i = 0; i < 10; ++i)
            LaunchAt(40 * i, 100);
        ShootAt(*Birds[9]);
        QCOMPARE(BirdsLeft, 9);
        Score = 98000;
        GameTick();
        QCOMPARE(BirdsLeft, 9);
        QCOMPARE(FlyingBirds(), 9);
        QCOMPARE(GameState, StatePlaying);
    }

    void birdsAreLaunchedAtTheScoresRate_data() {
        QTest::addColumn<int>("score");
        QTest::newRow("0") << 0;
        QTest::newRow("150") << 150;
        QTest::newRow("30000") << 30000;
        QTest::newRow("98000") << 98000;
    }

    void birdsAreLaunchedAtTheScoresRate() {
        QFETCH(int, score);
        ToPlaying();
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
        const double sd = std::sqrt(n * p * (1 - p));
        if (p == 1.0)
            QCOMPARE(launched, n);
        else
            QVERIFY2(std::abs(launched - n * p) < 5 * sd, qPrintable(QString::number(launched)));
    }

    void speedStaysWithinTwentyAndSeventy() {
        ToTitle();
        QList<int> faster, slower;
        for (int i = 0; i < 12; ++i) {
            SpeedUp();
            QCOMPARE(GameTimer->interval(), int(TimerInterval));
            faster << TimerInterval;
        }
        QCOMPARE(faster, (QList<int>{47, 44, 41, 38, 35, 32, 29, 26, 23, 20, 20, 20}));
        TimerInterval = 50;
        for (int i = 0; i < 9; ++i) {
            SlowDown();
            QCOMPARE(GameTimer->interval(), int(TimerInterval));
            slower << TimerInterval;
        }
        QCOMPARE(slower, (QList<int>{53, 56, 59, 62, 65, 68, 70, 70, 70}));
        SpeedUp();
        SpeedUp();
        QCOMPARE(TimerInterval, 64);
    }

    void cleanupTestCase() {
        w.reset();
        modGame::Window = nullptr;
        runtime::SetMsgBoxHook({});
        runtime::SetEndHook({});
    }
};

QTEST_MAIN(GameTest)
#include "tst_game.moc"
