#include "TestAssets.h"
#include "clsBird.h"
#include "gdi.h"
#include "modBirds.h"
#include "modSound.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using runtime::Integer;
using namespace TestAssets;

class BirdTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QStringList messages;

    // A bird where it entered, its frame clock at 0, or at 1 after one move.
    static clsBird Flying(bool movedOnce = false) {
        clsBird bird;
        bird.appear();
        if (movedOnce) bird.move();
        return bird;
    }

  private slots:
    void initTestCase() {
        Prepare(dir.path(), messages);
        modSound::SetSoundOn(runtime::True);
        modBirds::LoadBirdAssets();
        QCOMPARE(messages, QStringList());
        runtime::SeedRandom(7);
    }

    void entersBesideTheFieldAndTurnsAtTheEdges() {
        int left = 0, up = 0, turns = 0;
        const int n = 4000;
        for (int i = 0; i < n; ++i) {
            clsBird bird;
            bird.appear();
            QCOMPARE(bird.posX(), bird.direction() == -1 ? 610 : -150);
            QVERIFY(bird.posY() >= 0 && bird.posY() <= 320);
            QVERIFY(bird.speedX() >= 7 && bird.speedX() < 9.8);
            QVERIFY(std::abs(bird.speedY()) >= 2 && std::abs(bird.speedY()) < 2.8);
            left += bird.direction() == -1;
            up += bird.speedY() < 0;
            const auto entry = bird.direction();
            for (int m = 0; m < (i < 20 ? 3000 : 1); ++m) {
                const int x = bird.posX();
                bird.move();
                // Whatever the first random reversal did, an entrant turns into the field.
                if (m == 0) QCOMPARE(bird.direction(), entry);
                // One step of its own speed, never clamped to the box.
                QVERIFY(std::abs(std::abs(bird.posX() - x) - std::abs(bird.speedX())) <= 0.5);
                QVERIFY((bird.posX() >= -50 || bird.speedX() > 0) &&
                        (bird.posX() <= 510 || bird.speedX() < 0));
                QVERIFY((bird.posY() >= -10 || bird.speedY() > 0) &&
                        (bird.posY() <= 310 || bird.speedY() < 0));
                turns += bird.posX() > 510 || bird.posX() < -50;
            }
        }
        QVERIFY(turns > 100);
        // Left and up each with probability 0.49; five standard deviations.
        const double sd = std::sqrt(n * 0.49 * 0.51);
        QVERIFY2(std::abs(left - 0.49 * n) < 5 * sd, qPrintable(QString::number(left)));
        QVERIFY2(std::abs(up - 0.49 * n) < 5 * sd, qPrintable(QString::number(up)));
    }

    void framesAdvanceEverySecondMove_data() {
        QTest::addColumn<double>("clock");      // -1: never hit
        QTest::addColumn<QList<int>>("frames"); // -1: absent after that move
        QTest::newRow("wings") << -1.0 << QList<int>{0, 1, 1, 2, 2, 3, 3, 4, 4, 0, 0, 1};
        QTest::newRow("explosion, clock 0") << 0.0 << QList<int>{5, 6, 6, 7, 7, 8, 8, 9, 9, -1};
        QTest::newRow("explosion, clock 1") << 1.0 << QList<int>{6, 6, 7, 7, 8, 8, 9, 9, -1};
    }

    void framesAdvanceEverySecondMove() {
        QFETCH(double, clock);
        QFETCH(QList<int>, frames);
        clsBird bird = Flying(clock == 1);
        if (clock >= 0)
            QCOMPARE(bird.hit(Integer(bird.posX() + 50), Integer(bird.posY() + 60)), runtime::True);
        for (int frame : frames) {
            bird.move();
            QCOMPARE(bird.exist(), frame == -1 ? runtime::False : runtime::True);
            if (frame != -1) QCOMPARE(bird.frame(), frame);
        }
    }

    void hitBoxBoundsAreInclusive() {
        // Offsets from the bird's corner: the box's two corners, then one step beyond each edge.
        const std::tuple<int, int, bool> cases[] = {{45, 50, true},  {98, 100, true},
                                                    {44, 60, false}, {99, 60, false},
                                                    {60, 49, false}, {60, 101, false}};
        for (const auto& [dx, dy, hits] : cases) {
            SilenceAll();
            clsBird bird = Flying();
            const double speedY = bird.speedY();
            QCOMPARE(bird.hit(Integer(bird.posX() + dx), Integer(bird.posY() + dy)) ==
                         runtime::True,
                     hits);
            QCOMPARE(bird.state(), hits ? clsBird::Exploding : clsBird::Flying);
            QCOMPARE(bird.frame(), hits ? 5 : 0);
            QCOMPARE(bird.speedY(), hits ? 5.0 : speedY);
            QCOMPARE(CountPlaying(modBirds::ExplosionSounds), hits ? 1 : 0);
        }
    }

    void loadBirdAssetsFillsTheTablesInOrder() {
        const auto colour = [](const std::unique_ptr<MemoryDC>& dc) {
            QImage* surface = gdi::SurfaceOf(static_cast<gdi::HDC>(dc->HDC()));
            return surface ? surface->pixel(70, 70) : 0u;
        };
        using namespace modBirds;
        for (int i = 0; i < 10; ++i) {
            const int n = i < 5 ? i + 1 : i - 4;
            const auto file = [&](const char* side, const char* suffix) {
                return ColourOf(QString("\\Graphics\\") +
                                (i < 5 ? QString("Bird") + side : "explosion") +
                                QString::number(n) + suffix);
            };
            QCOMPARE(colour(SpriteLeft[i]), file("L", ".bmp"));
            QCOMPARE(colour(SpriteRight[i]), file("R", ".bmp"));
            QCOMPARE(colour(MaskLeft[i]), file("L", "mask.bmp"));
            QCOMPARE(colour(MaskRight[i]), file("R", "mask.bmp"));
            // Each direction holds its own memory bitmap, even of the same file.
            QVERIFY(SpriteLeft[i]->HDC() != SpriteRight[i]->HDC());
            QVERIFY(MaskLeft[i]->HDC() != MaskRight[i]->HDC());
        }
    }

    void missingFilesAreReported_data() {
        QTest::addColumn<QString>("missing");
        QTest::addColumn<int>("reports"); // -1: a run-time error
        QTest::newRow("BirdR2.bmp") << "/Graphics/BirdR2.bmp" << 1;
        QTest::newRow("explosion4mask.bmp") << "/Graphics/explosion4mask.bmp" << 2;
        QTest::newRow("Bird3.wav") << "/Sounds/Bird3.wav" << -1;
    }

    void missingFilesAreReported() {
        QFETCH(QString, missing);
        QFETCH(int, reports);
        QTemporaryDir other;
        WriteAll(other.path());
        QVERIFY(QFile::remove(other.path() + missing));
        runtime::SetAppPath(other.path());
        messages.clear();
        if (reports < 0)
            QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, modBirds::LoadBirdAssets());
        else
            modBirds::LoadBirdAssets();
        QCOMPARE(messages, QStringList(std::max(reports, 0), "Failure in creating dc"));
    }
};

QTEST_MAIN(BirdTest)
#include "tst_birds.moc"
