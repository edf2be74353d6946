#include "runtimetest.h"

#include <QTest>
#include <cmath>
#include <sys/wait.h>
#include <unistd.h>

using namespace runtime;

class TestRuntime : public QObject {
    Q_OBJECT

  private slots:
    // To the nearest whole number, halves to the even one; out of range, the overflow error.
    void conversionRoundsHalvesToEven() {
        const auto converted = [](auto convert, std::initializer_list<double> values) {
            QStringList out;
            for (double v : values)
                try {
                    out << QString::number(convert(v));
                } catch (const RuntimeError& e) {
                    out << QString("error %1").arg(e.number());
                }
            return out.join(' ');
        };
        QCOMPARE(converted(CInt, {0.5, 1.5, 2.5, 3.5, -0.5, -1.5, -2.5, 2.4999, 2.5001, -2.7,
                                  32767.4, -32768.5, 32767.5, -32769.0, std::nan("")}),
                 "0 2 2 4 0 -2 -2 2 3 -3 32767 -32768 error 6 error 6 error 6");
        QCOMPARE(converted(CLng, {100001.5, -2147483648.0, -2147483649.0, 2147483647.5}),
                 "100002 -2147483648 error 6 error 6");
    }

    // Draws cover [0, 1); the same seed, a number or a time of day, repeats them, another not.
    void rndFillsTheUnitIntervalAndFollowsItsSeed() {
        SeedRandom(7);
        Single lowest = 1, highest = 0;
        for (int i = 0; i < 100000; ++i)
            lowest = std::min(lowest, Rnd()), highest = std::max(highest, Rnd());
        QVERIFY(lowest >= 0.0f && lowest < 0.001f && highest > 0.999f && highest < 1.0f);
        const auto draws = [](auto seed, auto value) {
            seed(value);
            return std::array{Rnd(), Rnd(), Rnd(), Rnd()};
        };
        QVERIFY(draws(SeedRandom, 42) == draws(SeedRandom, 42) &&
                draws(Randomize, 1234.5f) == draws(Randomize, 1234.5f) &&
                draws(SeedRandom, 42) != draws(Randomize, 1234.5f) &&
                draws(Randomize, 1234.5f) != draws(Randomize, 1234.25f));
    }

    // An unhandled error is reported, then ends the program as a failure; End ends it silently
    // and nothing after it runs. The real end, in a child.
    void guardReportsErrorsAndEnds() {
        QStringList seen; // message boxes with their style, exit statuses, steps reached
        SetMsgBoxHook([&](const QString& p, int s) { seen << QString("%1/%2").arg(p).arg(s); });
        SetEndHook([&](int status) { seen << QString("end %1").arg(status); });
        Guard([] { throw RuntimeError(53, "File not found"); });
        Guard([&] { End(), seen << "after End"; });
        Guard([&] { seen << "next"; });
        Guard([] { throw std::out_of_range("index 11"); });
        QCOMPARE(seen.join(';'), "Run-time error '53':\n\nFile not found/16;end 1;end 0;next;"
                                 "Run-time error:\n\nindex 11/16;end 1");
        SetEndHook({});
        const pid_t child = ::fork();
        if (child == 0) {
            Guard([] { throw RuntimeError(70, "Permission denied"); });
            ::_exit(99);
        }
        int status = 0;
        QVERIFY(child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 1);
    }
};

QTEST_MAIN(TestRuntime)
#include "tst_runtime.moc"
