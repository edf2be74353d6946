#include "TestAssets.h"
#include "clsBird.h"
#include "modBirds.h"
#include "modSound.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using runtime::Integer;
using namespace TestAssets;
using Frames = QList<int>;

class BirdTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QStringList messages;

  private slots:
    void initTestCase() {
        Prepare(dir.path(), messages);
        modSound::SetSoundOn(runtime::True);
        modBirds::LoadBirdAssets();
        QCOMPARE(messages, QStringList());
        runtime::SeedRandom(7);
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
        QVERIFY(turns > 100);
        QVERIFY2(std::abs(left - 0.49 * 4000) < 5 * std::sqrt(4000 * 0.49 * 0.51),
                 qPrintable(QString::number(left)));
    }

    // A shot at an offset from the corner of a bird that entered from one side and moved 0 or
    // 1 times; then the frame after the shot and after each move (-1: gone). How the frames
    // look on the field is the game suite's to check.
    void shotsAndFrames_data() {
        for (const char* column : {"dx", "dy", "side", "moves"})
            QTest::addColumn<int>(column);
        QTest::addColumn<Frames>("frames");
        const Frames wings0{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 0, 0, 1},
            wings1{0, 1, 1, 2, 2, 3, 3, 4, 4, 0, 0, 1, 1}, blast0{5, 5, 6, 6, 7, 7, 8, 8, 9, 9, -1},
            blast1{5, 6, 6, 7, 7, 8, 8, 9, 9, -1};
        QTest::newRow("hit top left, clock 0") << 45 << 50 << -1 << 0 << blast0;
        QTest::newRow("hit bottom right, clock 1") << 98 << 100 << 1 << 1 << blast1;
        QTest::newRow("hit bottom left, clock 1") << 45 << 100 << -1 << 1 << blast1;
        QTest::newRow("hit top right, clock 0") << 98 << 50 << 1 << 0 << blast0;
        QTest::newRow("missed left") << 44 << 60 << -1 << 0 << wings0;
        QTest::newRow("missed right") << 99 << 60 << 1 << 1 << wings1;
        QTest::newRow("missed above") << 60 << 49 << 1 << 0 << wings0;
        QTest::newRow("missed below") << 60 << 101 << -1 << 1 << wings1;
    }
    void shotsAndFrames() {
        QFETCH(int, dx);
        QFETCH(int, dy);
        QFETCH(int, side);
        QFETCH(int, moves);
        QFETCH(Frames, frames);
        clsBird bird;
        do {
            bird.Zero();
            bird.appear();
        } while (bird.direction() != side);
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
            const int f = frames[m];
            QCOMPARE(bird.exist(), f == -1 ? runtime::False : runtime::True);
            if (f == -1) break;
            QCOMPARE(bird.frame(), f);
        }
    }

    void missingFilesAreReported_data() {
        QTest::addColumn<QString>("missing");
        QTest::addColumn<int>("reports"); // -1: a run-time error
        // Each direction loads its own memory bitmap, even of the same explosion file.
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
