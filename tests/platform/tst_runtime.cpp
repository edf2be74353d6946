#include "runtime.h"

#include <QCoreApplication>
#include <QDir>
#include <QTest>
#include <cmath>
#include <vector>

using namespace runtime;

class TestRuntime : public QObject {
    Q_OBJECT
    QStringList prompts;
    QList<int> styles;
    int ends = 0;

  private slots:
    void init() {
        prompts.clear();
        styles.clear();
        ends = 0;
        SetMsgBoxHook([this](const QString& p, int s) {
            prompts << p;
            styles << s;
        });
        SetEndHook([this] { ++ends; });
    }

    void conversionRoundsHalvesToEven() {
        const QList<std::pair<double, int>> cases = {
            {0.5, 0},   {1.5, 2},    {2.5, 2},    {3.5, 4},   {-0.5, 0},        {-1.5, -2},
            {-2.5, -2}, {2.4999, 2}, {2.5001, 3}, {-2.7, -3}, {32767.4, 32767}, {-32768.5, -32768}};
        for (const auto& [value, expected] : cases)
            QCOMPARE(int(CInt(value)), expected);
        QCOMPARE(CLng(100001.5), 100002);
        QCOMPARE(CLng(-2147483648.0), std::numeric_limits<Long>::min());
    }

    void outOfRangeIsOverflowError6() {
        const QList<std::function<void()>> conversions = {
            [] { CInt(32767.5); }, [] { CInt(-32769); }, [] { CInt(std::nan("")); },
            [] { CLng(2147483648.0); }, [] { CLng(-2147483649.0); }};
        for (const auto& convert : conversions) {
            try {
                convert();
                QFAIL("no error raised");
            } catch (const RuntimeError& e) {
                QCOMPARE(e.number(), 6);
            }
        }
    }

    void rndFillsTheUnitIntervalEvenly() {
        SeedRandom(7);
        constexpr int draws = 200000;
        int buckets[10] = {};
        Single lowest = 1, highest = 0;
        for (int i = 0; i < draws; ++i) {
            const Single r = Rnd();
            QVERIFY(r >= 0.0f && r < 1.0f);
            lowest = std::min(lowest, r), highest = std::max(highest, r);
            ++buckets[static_cast<int>(r * 10)];
        }
        QVERIFY(lowest < 0.0001f && highest > 0.9999f);
        for (int count : buckets)
            QVERIFY(std::abs(count - draws / 10) < draws / 100);
    }

    void seedsReproduceTheirSequence() {
        auto draw = [] {
            std::vector<Single> v(50);
            for (Single& r : v)
                r = Rnd();
            return v;
        };
        SeedRandom(42);
        const auto first = draw();
        SeedRandom(42);
        QCOMPARE(draw(), first);
        SeedRandom(43);
        QVERIFY(draw() != first);
        Randomize(1234.5f);
        const auto timed = draw();
        Randomize(1234.5f);
        QCOMPARE(draw(), timed);
        Randomize(1234.75f);
        QVERIFY(draw() != timed);
    }

    void pathsJoinInTheGameForm() {
        QCOMPARE(JoinPath(QStringLiteral("/opt/g"), QStringLiteral("\\Graphics\\BackGround.bmp")),
                 QStringLiteral("/opt/g/Graphics/BackGround.bmp"));
        QCOMPARE(QDir(AppPath()).canonicalPath(),
                 QDir(QCoreApplication::applicationDirPath()).canonicalPath());
        QVERIFY(!AppPath().endsWith(QLatin1Char('/')));
        SetAppPath(QStringLiteral("/tmp/elsewhere"));
        QCOMPARE(AppPath(), QStringLiteral("/tmp/elsewhere"));
        SetAppPath({});
    }

    // An unhandled error is reported with its number and text, then the program ends; End
    // inside a handler stops it silently; a clean handler passes untouched.
    void guardReportsErrorsAndEnds() {
        int reached = 0;
        Guard([&] {
            reached = 1;
            throw RuntimeError(53, QStringLiteral("File not found"));
        });
        QCOMPARE(prompts, QStringList{QStringLiteral("Run-time error '53':\n\nFile not found")});
        QCOMPARE(styles, QList<int>{vbCritical});
        QCOMPARE(ends, 1);

        Guard([&] {
            End();
            reached = 2;
        });
        Guard([&] { reached += 10; });
        QCOMPARE(reached, 11);
        QCOMPARE(ends, 2);
        QCOMPARE(prompts.size(), 1);

        Guard([] { throw std::out_of_range("index 11"); });
        QVERIFY(prompts.last().contains(QStringLiteral("index 11")));
        QCOMPARE(ends, 3);
    }

    void cleanupTestCase() {
        SetMsgBoxHook({});
        SetEndHook({});
    }
};

QTEST_MAIN(TestRuntime)
#include "tst_runtime.moc"
