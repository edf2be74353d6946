#include "../TestFiles.h"
#include "AssetNames.h"
#include "DSound.h"
#include "dstest.h"
#include "modBirds.h"
#include "modGame.h"
#include "runtimetest.h"

#include <QPainter>
#include <QtTest> // with all of QtCore
#include <cmath>
#include <map>
#include <random>

// Each asset picture is of one colour, telling which file a bitmap came from.
static QRgb ColourOf(const QString& relativeName) {
    return 0xFF000000u | (qHash(relativeName) & 0xFFFFFFu);
}
// A bird's picture, without its ending, at a frame and facing a way; from frame 5 on it explodes.
static QString FrameStem(int frame, int direction) {
    return frame < 5 ? QString("\\Graphics\\Bird%1%2").arg(direction < 0 ? 'L' : 'R').arg(frame + 1)
                     : QString("\\Graphics\\explosion%1").arg(frame - 4);
}

static void WriteAssets(const QString& dir) {
    using namespace AssetNames;
    QVERIFY(QDir(dir).mkpath("Graphics") && QDir(dir).mkpath("Sounds"));
    const auto local = [&](QString relative) { return dir + relative.replace('\\', '/'); };
    QStringList pictures{BackGround, Title, TitleMask}, sounds{GunFire, GunCock, GunEmpty};
    for (int n = 1; n <= 7; ++n) {
        sounds << BirdCall(n) << ExplosionSound(std::min(n, 4));
        for (const QString suffix : {".bmp", "mask.bmp"})
            if (n <= 5)
                pictures << BirdFrame(u'L', n, suffix) << BirdFrame(u'R', n, suffix)
                         << ExplosionFrame(n, suffix);
    }
    // One size, larger than any picture is drawn: only its top-left part may show.
    for (const QString& name : pictures) {
        QImage image(name == BackGround ? QSize(600, 400) : QSize(432, 148), QImage::Format_RGB32);
        image.fill(ColourOf(name));
        image.save(local(name), "BMP");
    }
    QImage cursor(32, 32, QImage::Format_ARGB32);
    cursor.fill(Qt::red);
    cursor.save(local(Cursor), "ICO");
    // 441 frames of 16-bit mono 22050 Hz silence.
    const QByteArray wav = QByteArray("RIFF\x96\x03\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x22\x56\0\0"
                                      "\x44\xAC\0\0\2\0\x10\0data\x72\x03\0\0",
                                      44) +
                           QByteArray(882, 0);
    for (const QString& name : sounds)
        writeFile(local(name), wav);
}

// On the loopback sound device a sound started stays playing until stopped.
static bool Playing(const Sound& sound) {
    const auto& r = DSound::SoundBuffers.at(static_cast<std::size_t>(sound.bufferIndex()));
    return r.Buffer && (r.Buffer->GetStatus() & dx::DSBSTATUS_PLAYING) != 0;
}
template <class Table> int CountPlaying(const Table& t) {
    return int(std::count_if(t.begin(), t.end(), [](const auto& s) { return Playing(*s); }));
}
static void SilenceAll() {
    for (std::size_t i = 0; i < DSound::SoundBuffers.size(); ++i)
        DSound::StopSoundBuffer(static_cast<runtime::Integer>(i));
}

using namespace modGame;
using Bar = GameWindow::Bar;
using Bars = std::map<Bar, float>;
using Buttons = std::map<int, int>;
// A shot at an offset from the corner of a bird that entered and moved 0 or 1 times; then the
// frame after the shot and after each move (-1: gone).
struct BirdShot {
    int dx, dy, moves;
    QList<int> frames;
};

// A stand-in main window recording what the engine shows on it and, with the game state at
// the time, which windows it opens.
struct TestWindow : GameWindow {
    PictureBox screen, buffer;
    QTimer timer;
    Bars bars;
    Buttons buttons;
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
    // Behind its box the lost game's birds are gone: the bare background.
    void showGameOver() override {
        QImage bare(screen.surface().size(), QImage::Format_RGB32);
        bare.fill(ColourOf("\\Graphics\\BackGround.bmp"));
        Log(screen.surface() == bare ? "showGameOver" : "showGameOver over the birds");
    }
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

    // The counters as a step finds them.
    struct Before {
        Long state = GameState, score = Score;
        Integer bullets = Bullets, birds = BirdsLeft, interval = TimerInterval;
        bool sound = SoundEnabled == runtime::True, playing = GameState == StatePlaying;
    };
    int shots[3] = {}, overs = 0; // shots that missed, hit one bird, hit more

    // What the play field must show: the background, the birds in slot order, the title over
    // them.
    static QImage Field(bool title) {
        QImage field(600, 400, QImage::Format_RGB32);
        field.fill(ColourOf("\\Graphics\\BackGround.bmp"));
        QPainter g(&field);
        const auto layer = [&](const QRect& at, const QString& stem) {
            g.setCompositionMode(QPainter::RasterOp_SourceAndDestination);
            g.fillRect(at, QColor(ColourOf(stem + "mask.bmp")));
            g.setCompositionMode(QPainter::RasterOp_SourceOrDestination);
            g.fillRect(at, QColor(ColourOf(stem + ".bmp")));
        };
        for (const auto& b : Birds)
            if (const int f = b->frame(); b->exist() == runtime::True)
                layer(QRect(b->posX(), b->posY(), 140, 148), FrameStem(f, b->direction()));
        if (title) layer(QRect(76, 13, 432, 31), "\\Graphics\\title");
        return field;
    }

    // A tick: a point every 5th playing tick and a bullet, with its sound, every 30th while the
    // gun is not full; the game over on the tick after the tenth bird flies; the title's own
    // counters; the status shown every 5th tick as it stood before it; now and then the whole
    // field.
    void Tick(bool lookAtTheField) {
        const Before b;
        w.calls.clear(), w.bars.clear(), w.buttons.clear();
        if ((TickCount + 1) % 30 == 0) SilenceAll();
        GameTick();
        const bool over = !w.calls.isEmpty();
        const int pressed = b.playing ? 1 : b.state == StatePaused ? 2 : 3; // Go, Pause or Stop
        overs += over;
        QVERIFY(!over || w.calls == QStringList{"showGameOver @2"});
        QVERIFY(TickCount % 5 ? w.bars.empty()
                              : w.panel == "2:" + QString::number(b.score) &&
                                    w.bars == (Bars{{Bar::Speed, 90 - GameTimer->interval()},
                                                    {Bar::Birds, b.birds},
                                                    {Bar::Bullets, b.bullets}}) &&
                                    w.buttons == (Buttons{{pressed, 1}, {10, b.sound}}));
        if (b.playing)
            QVERIFY(over == (b.birds >= 10) && GameState == (over ? StateTitle : StatePlaying) &&
                    Score == b.score + (TickCount % 5 == 0) &&
                    Bullets == b.bullets + (TickCount % 30 == 0 && b.bullets < 10) &&
                    (TickCount % 30 || Playing(*GunCock) == (b.sound && Bullets > b.bullets)));
        if (over) return;
        if (GameState == StateTitle) QVERIFY(Score == 0 && Bullets == 10 && BirdsLeft == 1);
        QCOMPARE(w.screen.mousePointer(), GameState == StatePlaying ? 99 : 12);
        if (lookAtTheField) QVERIFY(w.screen.surface() == Field(GameState == StateTitle));
    }

    // A shot: every flying bird whose box holds the point is hit and gives its bullet back; a
    // hit stops the shot's own sound; only a game makes a sound.
    void Shot(int x, int y) {
        const Before b;
        const int under = int(std::count_if(Birds.begin(), Birds.end(), [&](auto& bird) {
            return bird->state() == clsBird::Flying &&
                   QRect(bird->posX() + 45, bird->posY() + 50, 54, 51).contains(x, y);
        }));
        SilenceAll();
        Shoot(Integer(x), Integer(y));
        const bool fired = b.playing && b.bullets > 0;
        const int hit = fired ? under : 0;
        shots[std::min(hit, 2)] += fired;
        QVERIFY(Score == b.score + 50 * hit && BirdsLeft == b.birds - hit &&
                Bullets == (fired ? std::min(b.bullets - 1 + hit, 10) : b.bullets));
        QVERIFY(Playing(*GunFire) == (b.sound && fired && !hit) && !Playing(*GunCock) &&
                Playing(*GunEmpty) == (b.sound && b.playing && !b.bullets) &&
                (CountPlaying(modBirds::ExplosionSounds) > 0) == (b.sound && hit));
    }

    // A command: the state it leads to, a fresh game from the title, the tick 3 ms shorter or
    // longer within 20 to 70, and a stopped game's score offered to the score table.
    void Command(void (*act)()) {
        const Before b;
        w.calls.clear();
        act();
        const bool fresh = act == Go && b.state == StateTitle;
        QVERIFY(Score == (fresh ? 0 : b.score) && Bullets == (fresh ? 10 : b.bullets));
        QCOMPARE(GameState, act == StopGame ? StateTitle
                            : act == Go     ? StatePlaying
                                        : (act == PauseGame && b.playing ? StatePaused : b.state));
        const int step = act == SpeedUp ? -3 : act == SlowDown ? 3 : 0;
        QCOMPARE(GameTimer->interval(), std::clamp(b.interval + step, 20, 70));
        const QStringList offered{"NewHighScore " + QString::number(b.score) + " @0",
                                  "displayScores @0", "showHiScores @0"};
        QCOMPARE(w.calls, act == StopGame && b.state != StateTitle ? offered : QStringList());
    }

  private slots:
    void initTestCase() {
        WriteAssets(dir.path());
        runtime::SetAppPath(dir.path());
        runtime::SetMsgBoxHook([this](const QString& prompt, int) { messages << prompt; });
        runtime::SetEndHook([this](int) { qFatal("ended: %s", qPrintable(messages.join('|'))); });
        dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{});
        DSound::InitDirectSound(1); // any window handle will do
        w.screen.setAutoSize(true);
        w.screen.setPicture(LoadPicture(dir.path() + "/Graphics/BackGround.bmp"));
        w.buffer.setPicture(QImage(600, 400, QImage::Format_RGB32));
        Window = &w;
        TimerInterval = 50; // as the main form starts it
        w.timer.setInterval(TimerInterval);
        InitGame();
        // InitGame seeds from the clock; the tests want the same run every time.
        runtime::SeedRandom(20240611u);
    }

    // From start-up on: both speed limits, a full gun that hits two birds at once, then random
    // shots and commands between MORVEL_SOAK_TICKS ticks, each step held to the rules.
    void rulesHoldOverManyTicks() {
        const int ticks = qEnvironmentVariable("MORVEL_SOAK_TICKS", "100000").toInt();
        static void (*const commands[])() = {Go,      Go,       PauseGame, ToggleSound,
                                             SpeedUp, SlowDown, StopGame};
        Tick(true);
        Command(Go);
        for (int i = 0; i < 31; ++i) // to the fastest and past it, then the slowest and past it
            Command(i < 12 ? SpeedUp : SlowDown);
        LaunchBird(), LaunchBird();
        *Birds[1] = *Birds[0];
        Shot(Birds[0]->posX() + 70, Birds[0]->posY() + 75);
        QCOMPARE(shots[2], 1);
        std::mt19937 pick(4711u);
        for (int t = 0; t < 2 * ticks && !QTest::currentTestFailed(); ++t) {
            const unsigned r = pick() % 2000;
            if (t % 2) {
                Tick(t % 2002 == 1);
            } else if (r < 100) {
                // Aim at a random bird's box half of the time, anywhere otherwise.
                const auto& bird = *Birds[pick() % 10];
                const bool aim = pick() % 2 == 0 && bird.exist() == runtime::True;
                Shot(aim ? bird.posX() + 45 + int(pick() % 54) : int(pick() % 600),
                     aim ? bird.posY() + 50 + int(pick() % 51) : int(pick() % 400));
            } else if (r < 107) {
                Command(commands[r - 100]);
            }
            const auto flying = std::count_if(
                Birds.begin(), Birds.end(), [](auto& b) { return b->state() == clsBird::Flying; });
            QVERIFY2(BirdsLeft == flying, qPrintable(QString("step %1").arg(t)));
        }
        QVERIFY(overs > 0 && shots[0] > 0 && shots[1] > 0 && shots[2] > 1);
        QCOMPARE(messages, QStringList());
    }

    // A playing tick launches a bird with the chance (Score / 100 + 20) / 1000 while a slot is
    // free.
    void birdsAreLaunchedAtTheScoresRate() {
        Go();
        for (int score : {0, 150, 30000, 98000}) {
            int launched = 0;
            for (int i = 0; i < 2500; ++i) {
                InitTitle(); // no bird in the air
                Score = score;
                GameTick();
                launched += BirdsLeft;
            }
            const double p = std::min(1.0, (score / 100.0 + 20) / 1000.0);
            QVERIFY2(std::abs(launched - 2500 * p) <= 5 * std::sqrt(2500 * p * (1 - p)),
                     qPrintable(QString("score %1: %2 launched").arg(score).arg(launched)));
        }
    }

    // Birds enter beside the field, step by their own speed, never clamped, face the way they
    // fly and turn back once past their box; 49 in 100 enter flying left.
    void fliesWithinItsBox() {
        int left = 0, turns = 0;
        for (int i = 0; i < 4000; ++i) {
            clsBird bird;
            bird.appear();
            const auto entry = bird.direction();
            left += entry == -1;
            QVERIFY(bird.posX() == (entry == -1 ? 610 : -150) && bird.posY() >= 0 &&
                    bird.posY() <= 320 && bird.speedX() >= 7 && bird.speedX() < 9.8 &&
                    std::abs(bird.speedY()) >= 2 && std::abs(bird.speedY()) < 2.8);
            for (int m = 0; m < (i < 20 ? 3000 : 1); ++m) {
                const int x = bird.posX();
                bird.move();
                // Whatever the first random reversal did, an entrant turns into the field.
                QVERIFY(bird.direction() == (bird.speedX() > 0 ? 1 : -1) &&
                        (m > 0 || bird.direction() == entry) &&
                        std::abs(std::abs(bird.posX() - x) - std::abs(bird.speedX())) <= 0.5 &&
                        (bird.posX() >= -50 || bird.speedX() > 0) &&
                        (bird.posX() <= 510 || bird.speedX() < 0) &&
                        (bird.posY() >= -10 || bird.speedY() > 0) &&
                        (bird.posY() <= 310 || bird.speedY() < 0));
                turns += bird.posX() > 510 || bird.posX() < -50;
            }
        }
        QVERIFY2(turns > 100 && std::abs(left - 0.49 * 4000) < 5 * std::sqrt(4000 * 0.49 * 0.51),
                 qPrintable(QString("%1 turns, %2 left").arg(turns).arg(left)));
    }

    // How the frames look on the field is the soak's to check.
    void shotsAndFrames_data() {
        QTest::addColumn<BirdShot>("shot");
        const QList<int> wings0{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 0, 0, 1},
            wings1{0, 1, 1, 2, 2, 3, 3, 4, 4, 0, 0, 1, 1}, blast0{5, 5, 6, 6, 7, 7, 8, 8, 9, 9, -1},
            blast1{5, 6, 6, 7, 7, 8, 8, 9, 9, -1};
        QTest::newRow("hit top left, clock 0") << BirdShot{45, 50, 0, blast0};
        QTest::newRow("hit bottom right, clock 1") << BirdShot{98, 100, 1, blast1};
        QTest::newRow("missed left") << BirdShot{44, 60, 0, wings0};
        QTest::newRow("missed right") << BirdShot{99, 60, 1, wings1};
        QTest::newRow("missed above") << BirdShot{60, 49, 0, wings0};
        QTest::newRow("missed below") << BirdShot{60, 101, 1, wings1};
    }
    void shotsAndFrames() {
        QFETCH(BirdShot, shot);
        const auto& [dx, dy, moves, frames] = shot;
        if (SoundEnabled == runtime::False) ToggleSound(); // as the soak may have left it
        clsBird bird;
        bird.appear();
        if (moves) bird.move();
        SilenceAll();
        const double speedY = bird.speedY();
        const Integer x = Integer(bird.posX() + dx), y = Integer(bird.posY() + dy);
        const bool hits = frames[0] == 5;
        QCOMPARE(bird.hit(x, y) == runtime::True, hits);
        QCOMPARE(bird.hit(x, y), runtime::False); // an exploding bird is not hit again
        bird.appear();                            // and a bird in the air does not enter again
        QCOMPARE(CountPlaying(modBirds::ExplosionSounds), hits ? 1 : 0);
        QCOMPARE(bird.speedY(), hits ? 5.0 : speedY); // it drops while it explodes
        for (int m = 0; m < frames.size(); ++m) {
            if (m) bird.move();
            QCOMPARE(bird.exist() == runtime::True ? bird.frame() : -1, frames[m]);
        }
    }

    // Each direction loads its own memory bitmap, even of the same explosion file; a sound
    // missing is a run-time error. The last case: it takes files from the other cases' set.
    void missingFilesAreReported() {
        QVERIFY(QFile::remove(dir.filePath("Graphics/explosion4mask.bmp")) &&
                QFile::remove(dir.filePath("Sounds/Bird3.wav")));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, modBirds::LoadBirdAssets());
        QCOMPARE(messages, QStringList(2, "Failure in creating dc"));
    }
};

QTEST_MAIN(GameTest)
#include "tst_game.moc"
