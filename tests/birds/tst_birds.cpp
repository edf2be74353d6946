#include "AssetNames.h"
#include "DSound.h"
#include "GameScreen.h"
#include "SoundProbe.h"
#include "TestAssets.h"
#include "clsBird.h"
#include "modBirds.h"
#include "modSound.h"
#include "picturebox.h"
#include "runtime.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using runtime::False;
using runtime::True;

using SoundProbe::PlayingIndex;
using SoundProbe::SilenceAll;

class BirdTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    PictureBox front;
    PictureBox back;
    GameScreen screen;
    QStringList messages;

    clsBird FlyingAt(int x, int y, double clock = 0) {
        clsBird bird;
        bird.init(screen);
        bird.appear();
        bird.PosX = static_cast<runtime::Integer>(x);
        bird.PosY = static_cast<runtime::Integer>(y);
        bird.FrameClock = clock;
        return bird;
    }

    QRgb BackAt(int x, int y) const { return back.surface().pixel(x, y) & 0xFFFFFF; }

    void LoadFrom(const QString& base) {
        runtime::SetAppPath(base);
        messages.clear();
        modBirds::LoadBirdAssets();
    }

  private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        TestAssets::WriteAll(dir.path());
        runtime::SetAppPath(dir.path());
        runtime::SetMsgBoxHook([this](const QString& prompt, int) { messages << prompt; });
        // Ending the program would end the test run with a success code.
        runtime::SetEndHook(
            [this] { qFatal("program ended: %s", qPrintable(messages.join('|'))); });
        dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{});
        DSound::InitDirectSound(1); // any window handle will do
        modSound::SetSoundOn(True);
        LoadFrom(dir.path());
        QCOMPARE(messages, QStringList());

        front.setAutoSize(true);
        front.setPicture(LoadPicture(AssetNames::FullPath(AssetNames::BackGround)));
        back.resize(600, 400);
        QImage blank(600, 400, QImage::Format_RGB32);
        blank.fill(Qt::black);
        back.setPicture(blank);
        screen.load(front, back, AssetNames::FullPath(AssetNames::BackGround));
        runtime::SeedRandom(7);
    }

    void init() { SilenceAll(); }

    void assetNamesPutTheLetterBeforeOneDigit() {
        QCOMPARE(AssetNames::BirdFrame(u'L', 3, QStringLiteral(".bmp")),
                 QStringLiteral("\\Graphics\\BirdL3.bmp"));
        QCOMPARE(AssetNames::BirdFrame(u'R', 5, QStringLiteral("mask.bmp")),
                 QStringLiteral("\\Graphics\\BirdR5mask.bmp"));
        QCOMPARE(AssetNames::ExplosionFrame(3, QStringLiteral("mask.bmp")),
                 QStringLiteral("\\Graphics\\explosion3mask.bmp"));
        QCOMPARE(AssetNames::BirdCall(7), QStringLiteral("\\Sounds\\Bird7.wav"));
        QCOMPARE(AssetNames::ExplosionSound(4), QStringLiteral("\\Sounds\\Explosion4.wav"));
        QCOMPARE(AssetNames::Digit(12), QChar(u'2'));
        QCOMPARE(AssetNames::BirdCall(17), QStringLiteral("\\Sounds\\Bird7.wav"));
        QCOMPARE(AssetNames::FullPath(AssetNames::BackGround),
                 dir.path() + QStringLiteral("/Graphics/BackGround.bmp"));
    }

    void appearStartsAFlightBesideTheField() {
        int left = 0, up = 0;
        const int n = 4000;
        for (int i = 0; i < n; ++i) {
            clsBird bird;
            bird.init(screen);
            QCOMPARE(bird.exist(), False);
            bird.appear();
            QCOMPARE(bird.exist(), True);
            QCOMPARE(bird.State, clsBird::Flying);
            QCOMPARE(bird.Frame, 0);
            QCOMPARE(bird.FrameClock, 0.0);
            QVERIFY(bird.Direction == -1 || bird.Direction == 1);
            QCOMPARE(bird.PosX, bird.Direction == -1 ? 610 : -150);
            QVERIFY(bird.PosY >= 0 && bird.PosY <= 320);
            QVERIFY(bird.SpeedX >= 7 && bird.SpeedX < 9.8);
            QVERIFY(std::abs(bird.SpeedY) >= 2 && std::abs(bird.SpeedY) < 2.8);
            left += bird.Direction == -1;
            up += bird.SpeedY < 0;
        }
        // Left with probability 0.49; up with 0.49 as well. Five standard deviations.
        const double sd = std::sqrt(n * 0.49 * 0.51);
        QVERIFY2(std::abs(left - 0.49 * n) < 5 * sd, qPrintable(QString::number(left)));
        QVERIFY2(std::abs(up - 0.49 * n) < 5 * sd, qPrintable(QString::number(up)));
    }

    void appearLeavesAPresentBirdAlone() {
        clsBird bird = FlyingAt(200, 100, 1);
        bird.Frame = 3;
        bird.appear();
        QCOMPARE(bird.PosX, 200);
        QCOMPARE(bird.Frame, 3);
        QCOMPARE(bird.FrameClock, 1.0);
        QVERIFY(bird.hit(runtime::Integer(250), runtime::Integer(160)) == True);
        const double speedY = bird.SpeedY;
        bird.appear();
        QCOMPARE(bird.State, clsBird::Exploding);
        QCOMPARE(bird.Frame, 5);
        QCOMPARE(bird.SpeedY, speedY);
    }

    void edgesTurnTheBirdBackWithoutClamping() {
        int turns = 0;
        for (int flight = 0; flight < 20; ++flight) {
            clsBird bird;
            bird.init(screen);
            bird.appear();
            const auto entry = bird.Direction;
            for (int i = 0; i < 3000; ++i) {
                const int x = bird.PosX, y = bird.PosY;
                bird.move();
                // Whatever the first random reversal did, an entrant turns into the field.
                if (i == 0) QCOMPARE(bird.Direction, entry);
                // One step of its own speed, never clamped to the box.
                QVERIFY(std::abs(std::abs(bird.PosX - x) - std::abs(bird.SpeedX)) <= 0.5);
                QVERIFY(std::abs(std::abs(bird.PosY - y) - std::abs(bird.SpeedY)) <= 0.5);
                if (bird.PosX < -50) QVERIFY(bird.SpeedX > 0);
                if (bird.PosX > 510) QVERIFY(bird.SpeedX < 0);
                if (bird.PosY < -10) QVERIFY(bird.SpeedY > 0);
                if (bird.PosY > 310) QVERIFY(bird.SpeedY < 0);
                QCOMPARE(bird.Direction, bird.SpeedX > 0 ? 1 : -1);
                QVERIFY(bird.PosX > -250 && bird.PosX < 720);
                QVERIFY(bird.PosY > -110 && bird.PosY < 420);
                turns += bird.PosX > 510 || bird.PosX < -50;
            }
        }
        QVERIFY(turns > 100);
    }

    void wingsBeatEveryTwoMoves() {
        clsBird bird;
        bird.init(screen);
        bird.appear();
        const int expected[] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 0};
        for (int frame : expected) {
            bird.move();
            QCOMPARE(bird.Frame, frame);
            QVERIFY(bird.FrameClock == 0 || bird.FrameClock == 1);
            QCOMPARE(bird.State, clsBird::Flying);
        }
    }

    void explosionRunsThroughItsFrames_data() {
        QTest::addColumn<double>("clock");
        QTest::addColumn<QList<int>>("frames");
        // -1: absent after that move.
        QTest::newRow("clock 0") << 0.0 << QList<int>{5, 6, 6, 7, 7, 8, 8, 9, 9, -1};
        QTest::newRow("clock 1") << 1.0 << QList<int>{6, 6, 7, 7, 8, 8, 9, 9, -1};
    }

    void explosionRunsThroughItsFrames() {
        QFETCH(double, clock);
        QFETCH(QList<int>, frames);
        clsBird bird = FlyingAt(200, 100, clock);
        const double speedX = bird.SpeedX;
        QCOMPARE(bird.hit(runtime::Integer(250), runtime::Integer(160)), True);
        QCOMPARE(bird.State, clsBird::Exploding);
        QCOMPARE(bird.Frame, 5);
        QCOMPARE(bird.SpeedY, 5.0);
        QCOMPARE(bird.SpeedX, speedX);
        QCOMPARE(bird.FrameClock, clock);
        for (int frame : frames) {
            bird.move();
            if (frame == -1) {
                QCOMPARE(bird.State, clsBird::Absent);
                QCOMPARE(bird.exist(), False);
            } else {
                QCOMPARE(bird.State, clsBird::Exploding);
                QCOMPARE(bird.exist(), True);
                QCOMPARE(bird.Frame, frame);
            }
        }
    }

    void hitBoxBoundsAreInclusive_data() {
        QTest::addColumn<int>("posX");
        QTest::addColumn<int>("posY");
        QTest::addColumn<int>("dx");
        QTest::addColumn<int>("dy");
        QTest::addColumn<bool>("hits");
        QTest::newRow("top left corner") << 100 << 100 << 45 << 50 << true;
        QTest::newRow("bottom right corner") << 100 << 100 << 98 << 100 << true;
        QTest::newRow("left of the box") << 100 << 100 << 44 << 60 << false;
        QTest::newRow("right of the box") << 100 << 100 << 99 << 60 << false;
        QTest::newRow("above the box") << 100 << 100 << 60 << 49 << false;
        QTest::newRow("below the box") << 100 << 100 << 60 << 101 << false;
        QTest::newRow("partly outside, top left") << -60 << -40 << 45 << 50 << true;
        QTest::newRow("partly outside, miss") << -60 << -40 << 44 << 50 << false;
        QTest::newRow("far right") << 515 << 315 << 98 << 100 << true;
    }

    void hitBoxBoundsAreInclusive() {
        QFETCH(int, posX);
        QFETCH(int, posY);
        QFETCH(int, dx);
        QFETCH(int, dy);
        QFETCH(bool, hits);
        clsBird bird = FlyingAt(posX, posY);
        const double speedY = bird.SpeedY;
        const runtime::Integer x = static_cast<runtime::Integer>(posX + dx);
        const runtime::Integer y = static_cast<runtime::Integer>(posY + dy);
        const auto result = bird.hit(x, y);
        QCOMPARE(result, hits ? True : False);
        QCOMPARE(bird.State, hits ? clsBird::Exploding : clsBird::Flying);
        QCOMPARE(bird.SpeedY, hits ? 5.0 : speedY);
        QCOMPARE(PlayingIndex(modBirds::ExplosionSounds) >= 0, hits);
    }

    void hitIgnoresExplodingAndAbsentBirds() {
        clsBird bird = FlyingAt(100, 100, 1);
        QCOMPARE(bird.hit(runtime::Integer(150), runtime::Integer(160)), True);
        bird.SpeedY = -3;
        SilenceAll();
        QCOMPARE(bird.hit(runtime::Integer(150), runtime::Integer(160)), False);
        QCOMPARE(bird.State, clsBird::Exploding);
        QCOMPARE(bird.Frame, 5);
        QCOMPARE(bird.SpeedY, -3.0);
        QCOMPARE(PlayingIndex(modBirds::ExplosionSounds), -1);

        // Zero removes even an exploding bird at once, silently; it then stays where it was.
        bird.Zero();
        QCOMPARE(bird.exist(), False);
        QCOMPARE(bird.hit(runtime::Integer(150), runtime::Integer(160)), False);
        bird.move();
        QCOMPARE(bird.State, clsBird::Absent);
        QCOMPARE(bird.PosX, 100);
        QCOMPARE(PlayingIndex(modBirds::ExplosionSounds), -1);
    }

    void birdsCallNowAndThen() {
        std::array<int, 7> counts{};
        int calls = 0;
        const int n = 60000;
        clsBird bird = FlyingAt(200, 100);
        for (int i = 0; i < n; ++i) {
            SilenceAll();
            bird.move();
            const int k = PlayingIndex(modBirds::BirdSounds);
            QVERIFY(k >= -1);
            if (k >= 0) {
                ++counts[static_cast<std::size_t>(k)];
                ++calls;
            }
        }
        // 0.7 % a move; five standard deviations.
        const double mean = n * 0.007, sd = std::sqrt(n * 0.007 * 0.993);
        QVERIFY2(std::abs(calls - mean) < 5 * sd, qPrintable(QString::number(calls)));
        // Bird7.wav is reachable: Rnd * 6 rounds up to 6.
        QVERIFY(counts[0] > 0 && counts[6] > 0);
    }

    void drawUsesTheFramesOfItsDirection() {
        const QRgb background = TestAssets::BackgroundAt(260, 170) & 0xFFFFFF;
        const auto colour = [](const char* name) {
            return TestAssets::ColourOf(QString::fromLatin1(name)) & 0xFFFFFF;
        };
        clsBird bird = FlyingAt(200, 100);

        screen.clearBuffer();
        bird.Direction = -1;
        bird.Frame = 0;
        bird.draw();
        QCOMPARE(BackAt(260, 170), colour("\\Graphics\\BirdL1.bmp"));
        QCOMPARE(BackAt(200 + 44, 170), TestAssets::BackgroundAt(244, 170) & 0xFFFFFF);

        screen.clearBuffer();
        bird.Direction = 1;
        bird.Frame = 4;
        bird.draw();
        QCOMPARE(BackAt(260, 170), colour("\\Graphics\\BirdR5.bmp"));

        screen.clearBuffer();
        bird.hit(runtime::Integer(260), runtime::Integer(170));
        bird.draw();
        QCOMPARE(BackAt(260, 170), colour("\\Graphics\\explosion1.bmp"));

        screen.clearBuffer();
        bird.Zero();
        bird.draw();
        QCOMPARE(BackAt(260, 170), background);
    }

    void loadBirdAssetsFillsTheTablesInOrder() {
        const auto pixel = [](const std::unique_ptr<MemoryDC>& dc, int x, int y) {
            QImage* surface = gdi::SurfaceOf(static_cast<gdi::HDC>(dc->HDC()));
            return surface ? surface->pixel(x, y) & 0xFFFFFF : 0xDEADu;
        };
        const auto maskTag = [](const std::unique_ptr<MemoryDC>& dc) {
            QImage* surface = gdi::SurfaceOf(static_cast<gdi::HDC>(dc->HDC()));
            int tag = -1;
            for (int x = 0; surface && x < 140; ++x)
                if ((surface->pixel(x, 0) & 0xFFFFFF) == 0) tag = x;
            return tag;
        };
        using namespace modBirds;
        for (int i = 0; i < 10; ++i) {
            const bool flight = i < 5;
            const QString left = flight ? AssetNames::BirdFrame(u'L', i + 1, ".bmp")
                                        : AssetNames::ExplosionFrame(i - 4, ".bmp");
            const QString right = flight ? AssetNames::BirdFrame(u'R', i + 1, ".bmp") : left;
            const QString leftMask = flight ? AssetNames::BirdFrame(u'L', i + 1, "mask.bmp")
                                            : AssetNames::ExplosionFrame(i - 4, "mask.bmp");
            const QString rightMask =
                flight ? AssetNames::BirdFrame(u'R', i + 1, "mask.bmp") : leftMask;
            for (const auto* table : {&SpriteLeft, &SpriteRight, &MaskLeft, &MaskRight}) {
                QCOMPARE((*table)[i]->Xsize(), 140);
                QCOMPARE((*table)[i]->Ysize(), 148);
            }
            QCOMPARE(pixel(SpriteLeft[i], 60, 70), TestAssets::ColourOf(left) & 0xFFFFFF);
            QCOMPARE(pixel(SpriteRight[i], 60, 70), TestAssets::ColourOf(right) & 0xFFFFFF);
            QCOMPARE(maskTag(MaskLeft[i]), TestAssets::MaskTagX(leftMask));
            QCOMPARE(maskTag(MaskRight[i]), TestAssets::MaskTagX(rightMask));
            QCOMPARE(pixel(MaskLeft[i], 60, 70), 0u);
            QCOMPARE(pixel(MaskLeft[i], 139, 147), 0xFFFFFFu);
            // Each direction holds its own memory bitmap, even of the same file.
            QVERIFY(SpriteLeft[i]->HDC() != SpriteRight[i]->HDC());
            QVERIFY(MaskLeft[i]->HDC() != MaskRight[i]->HDC());
        }
        // Sounds hold consecutive registry records, bird calls first.
        const int first = BirdSounds[0]->bufferIndex();
        for (int i = 0; i < 7; ++i)
            QCOMPARE(BirdSounds[i]->bufferIndex(), first + i);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(ExplosionSounds[i]->bufferIndex(), first + 7 + i);
        QVERIFY(DSound::SoundBuffers[first + 6].Name.endsWith(QStringLiteral("Bird7.wav")));
        QVERIFY(DSound::SoundBuffers[first + 10].Name.endsWith(QStringLiteral("Explosion4.wav")));
    }

    void missingFramesAreReportedOncePerBitmap_data() {
        QTest::addColumn<QString>("missing");
        QTest::addColumn<int>("reports");
        QTest::newRow("BirdR2.bmp") << QStringLiteral("\\Graphics\\BirdR2.bmp") << 1;
        QTest::newRow("explosion4mask.bmp")
            << QStringLiteral("\\Graphics\\explosion4mask.bmp") << 2;
    }

    void missingFramesAreReportedOncePerBitmap() {
        QFETCH(QString, missing);
        QFETCH(int, reports);
        QTemporaryDir other;
        TestAssets::WriteAll(other.path());
        QString local = missing;
        local.replace(QLatin1Char('\\'), QLatin1Char('/'));
        QVERIFY(QFile::remove(other.path() + local));

        LoadFrom(other.path());
        QCOMPARE(messages.size(), reports);
        for (const QString& m : messages)
            QCOMPARE(m, QStringLiteral("Failure in creating dc"));

        int empty = 0;
        for (const auto* table : {&modBirds::SpriteLeft, &modBirds::SpriteRight,
                                  &modBirds::MaskLeft, &modBirds::MaskRight})
            for (const auto& dc : *table)
                empty += dc->HDC() == 0;
        QCOMPARE(empty, reports);
        if (reports == 1)
            QCOMPARE(modBirds::SpriteRight[1]->HDC(), 0);
        else
            QVERIFY(modBirds::MaskLeft[8]->HDC() == 0 && modBirds::MaskRight[8]->HDC() == 0);

        LoadFrom(dir.path());
        QCOMPARE(messages, QStringList());
    }

    void missingSoundStopsTheLoad() {
        QTemporaryDir other;
        TestAssets::WriteAll(other.path());
        QVERIFY(QFile::remove(other.path() + QStringLiteral("/Sounds/Bird3.wav")));
        runtime::SetAppPath(other.path());
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, modBirds::LoadBirdAssets());
        LoadFrom(dir.path());
    }

    void cleanupTestCase() { runtime::SetMsgBoxHook({}); }
};

QTEST_MAIN(BirdTest)
#include "tst_birds.moc"
