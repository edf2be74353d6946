#include "runtimetest.h"

#include <QCoreApplication>
#include <QTest>
#include <cmath>
#include <sys/wait.h>
#include <unistd.h>

using namespace runtime;

class TestRuntime : public QObject {
    Q_OBJECT

  private slots:
    void conversionRoundsHalvesToEven() {
        const std::pair<double, int> cases[] = {
            {0.5, 0},   {1.5, 2},    {2.5, 2},    {3.5, 4},   {-0.5, 0},        {-1.5, -2},
            {-2.5, -2}, {2.4999, 2}, {2.5001, 3}, {-2.7, -3}, {32767.4, 32767}, {-32768.5, -32768}};
        for (const auto& [value, expected] : cases)
            QCOMPARE(int(CInt(value)), expected);
        QCOMPARE(CLng(100001.5), 100002);
        QCOMPARE(CLng(-2147483648.0), std::numeric_limits<Long>::min());
        for (double v : {32767.5, -32769.0, std::nan("")})
            QVERIFY_THROWS_EXCEPTION(RuntimeError, CInt(v));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, CLng(-2147483649.0));
        try {
            CLng(2147483647.5);
            QFAIL("no overflow raised");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), ErrOverflow);
        }
    }

    void rndFillsTheUnitIntervalAndFollowsItsSeed() {
        SeedRandom(7);
        Single lowest = 1, highest = 0;
        for (int i = 0; i < 100000; ++i)
            lowest = std::min(lowest, Rnd()), highest = std::max(highest, Rnd());
        QVERIFY(lowest >= 0.0f && lowest < 0.001f && highest > 0.999f && highest < 1.0f);
        auto draw = [] { return std::array{Rnd(), Rnd(), Rnd(), Rnd()}; };
        SeedRandom(42);
        const auto first = draw();
        SeedRandom(42);
        QVERIFY(draw() == first);
        Randomize(1234.5f);
        const auto timed = draw();
        Randomize(1234.5f);
        QVERIFY(draw() == timed && timed != first);
    }

    void guardReportsErrorsAndEnds() {
        QStringList boxes;
        QList<int> ends; // exit statuses
        int reached = 0;
        SetMsgBoxHook([&](const QString& p, int s) { boxes << QString("%1/%2").arg(p).arg(s); });
        SetEndHook([&](int status) { ends << status; });
        Guard([] { throw RuntimeError(53, "File not found"); });
        Guard([&] { End(), reached = 1; }); // ends silently, nothing after End runs
        Guard([&] { reached += 10; });
        Guard([] { throw std::out_of_range("index 11"); });
        QCOMPARE(reached, 10);
        QCOMPARE(ends, (QList<int>{1, 0, 1}));
        QCOMPARE(boxes.size(), 2);
        QCOMPARE(boxes[0], "Run-time error '53':\n\nFile not found/16");
        QVERIFY(boxes[1].contains("index 11"));
        SetMsgBoxHook({});
        SetEndHook({});
    }

    // The real end, in a child: an error is a failure for whoever started the game.
    void errorEndsTheProcessWithStatus1() {
        const pid_t child = ::fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            SetMsgBoxHook([](const QString&, int) {});
            Guard([] { throw RuntimeError(70, "Permission denied"); });
            ::_exit(99);
        }
        int status = 0;
        QVERIFY(::waitpid(child, &status, 0) == child && WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 1);
    }
};

QTEST_MAIN(TestRuntime)
#include "tst_runtime.moc"
