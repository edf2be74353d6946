#include "Prefetched.h"
#include "runtime.h"

#include <QCoreApplication>
#include <QTest>
#include <atomic>
#include <cmath>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace runtime;

class TestRuntime : public QObject {
    Q_OBJECT

  private slots:
    // Each announced name is made once, by the second thread or by its reader, whoever comes
    // first; a reader waits only for work under way; failures and unknown names are the
    // reader's own work; a shared result serves every reader until cleared.
    void prefetchedWorkIsDoneOnceByWhoeverComesFirst() {
        Prefetched<QString, false> once;
        Prefetched<QString, true> shared;
        std::atomic<int> made = 0;
        std::atomic<bool> release = false;
        const auto make = [&](const QString& name) -> std::optional<QString> {
            ++made;
            while (name == "slow" && !release) // until the reader waits for it
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (name == "broken") return std::nullopt;
            return name + " made";
        };
        once.announce({"early", "slow", "broken", "late"});
        shared.announce({"picture"});
        QCOMPARE(once.take("late"), std::nullopt); // its reader came first
        std::thread second([&] {
            once.fill(make);
            shared.fill(make);
        });
        QTRY_COMPARE(made.load(), 2); // "early" done, "slow" under way
        std::thread releaser([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            release = true;
        });
        QCOMPARE(once.take("slow"), QString("slow made"));
        releaser.join();
        second.join();
        QCOMPARE(made.load(), 4); // "late" was left to its reader
        QCOMPARE(once.take("early"), QString("early made"));
        QCOMPARE(once.take("early"), std::nullopt); // taken away
        QCOMPARE(once.take("broken"), std::nullopt);
        QCOMPARE(once.take("never announced"), std::nullopt);
        QCOMPARE(shared.take("picture"), QString("picture made"));
        QCOMPARE(shared.take("picture"), QString("picture made"));
        shared.clear();
        QCOMPARE(shared.take("picture"), std::nullopt);
    }

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
