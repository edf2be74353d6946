#include "runtime.h"

#include <QApplication>
#include <QDir>
#include <QTest>
#include <cmath>
#include <vector>

using namespace runtime;

class TestRuntime : public QObject {
    Q_OBJECT
  private slots:
    void cleanup() {
        SetMsgBoxHook({});
        SetInputBoxHook({});
        SetEndHook({});
        SetAppPath({});
    }

    void cintRoundsHalvesToEven_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("expected");
        QTest::newRow("0.5") << 0.5 << 0;
        QTest::newRow("1.5") << 1.5 << 2;
        QTest::newRow("2.5") << 2.5 << 2;
        QTest::newRow("3.5") << 3.5 << 4;
        QTest::newRow("-0.5") << -0.5 << 0;
        QTest::newRow("-1.5") << -1.5 << -2;
        QTest::newRow("-2.5") << -2.5 << -2;
        QTest::newRow("2.4999") << 2.4999 << 2;
        QTest::newRow("2.5001") << 2.5001 << 3;
        QTest::newRow("-2.7") << -2.7 << -3;
        QTest::newRow("max") << 32767.0 << 32767;
        QTest::newRow("min") << -32768.0 << -32768;
        QTest::newRow("rounds down into range") << 32767.4 << 32767;
        QTest::newRow("-32768.5 to even") << -32768.5 << -32768;
    }
    void cintRoundsHalvesToEven() {
        QFETCH(double, value);
        QFETCH(int, expected);
        QCOMPARE(static_cast<int>(CInt(value)), expected);
    }

    void conversionOutOfRangeIsOverflow_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("toLong");
        QTest::newRow("CInt 32767.5") << 32767.5 << false;
        QTest::newRow("CInt -32769") << -32769.0 << false;
        QTest::newRow("CInt 1e9") << 1e9 << false;
        QTest::newRow("CInt NaN") << std::nan("") << false;
        QTest::newRow("CLng 2^31") << 2147483648.0 << true;
        QTest::newRow("CLng -2^31-1") << -2147483649.0 << true;
    }
    void conversionOutOfRangeIsOverflow() {
        QFETCH(double, value);
        QFETCH(bool, toLong);
        try {
            if (toLong)
                CLng(value);
            else
                CInt(value);
            QFAIL("no error raised");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), ErrOverflow);
            QCOMPARE(e.number(), 6);
        }
    }

    void clngRoundsHalvesToEvenOverTheWholeRange() {
        QCOMPARE(CLng(100000.5), 100000);
        QCOMPARE(CLng(100001.5), 100002);
        QCOMPARE(CLng(-100000.5), -100000);
        QCOMPARE(CLng(2147483647.0), 2147483647);
        QCOMPARE(CLng(-2147483648.0), std::numeric_limits<Long>::min());
    }

    void rndStaysInUnitIntervalAndSpreads() {
        SeedRandom(7);
        constexpr int draws = 200000;
        int buckets[10] = {};
        double sum = 0;
        Single lowest = 1, highest = 0;
        for (int i = 0; i < draws; ++i) {
            const Single r = Rnd();
            QVERIFY2(r >= 0.0f && r < 1.0f, qPrintable(QString::number(r, 'g', 10)));
            lowest = std::min(lowest, r);
            highest = std::max(highest, r);
            sum += r;
            ++buckets[static_cast<int>(r * 10)];
        }
        QVERIFY(std::abs(sum / draws - 0.5) < 0.005);
        QVERIFY(lowest < 0.0001f);
        QVERIFY(highest > 0.9999f);
        for (int count : buckets)
            QVERIFY(std::abs(count - draws / 10) < draws / 100);
    }

    void seedsReproduceTheirSequence() {
        auto draw = [] {
            std::vector<Single> v;
            for (int i = 0; i < 50; ++i)
                v.push_back(Rnd());
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

    void timerIsSecondsSinceMidnight() {
        const Single t = Timer();
        QVERIFY(t >= 0.0f && t < 86400.0f);
    }

    void joinPathTurnsBackslashesIntoSlashes() {
        QCOMPARE(
            JoinPath(QStringLiteral("/opt/game"), QStringLiteral("\\Graphics\\BackGround.bmp")),
            QStringLiteral("/opt/game/Graphics/BackGround.bmp"));
        QCOMPARE(JoinPath(QStringLiteral("/opt/game"), QStringLiteral("\\scores.dat")),
                 QStringLiteral("/opt/game/scores.dat"));
        QCOMPARE(JoinPath(QStringLiteral("/tmp"), QStringLiteral("/Sounds/Bird1.wav")),
                 QStringLiteral("/tmp/Sounds/Bird1.wav"));
    }

    void appPathIsTheProgramDirectoryUnlessSet() {
        const QString own = AppPath();
        QVERIFY(!own.endsWith(QLatin1Char('/')));
        QCOMPARE(QDir(own).canonicalPath(),
                 QDir(QCoreApplication::applicationDirPath()).canonicalPath());
        SetAppPath(QStringLiteral("/tmp/somewhere"));
        QCOMPARE(AppPath(), QStringLiteral("/tmp/somewhere"));
        SetAppPath({});
        QCOMPARE(AppPath(), own);
    }

    void guardReportsARuntimeErrorAndEnds() {
        QStringList prompts;
        QList<int> styles;
        int ends = 0;
        SetMsgBoxHook([&](const QString& prompt, int style) {
            prompts << prompt;
            styles << style;
        });
        SetEndHook([&] { ++ends; });
        bool after = false;
        Guard([&] {
            throw RuntimeError(53, QStringLiteral("File not found"));
            after = true;
        });
        QVERIFY(!after);
        QCOMPARE(prompts.size(), 1);
        QVERIFY(prompts[0].contains(QStringLiteral("53")));
        QVERIFY(prompts[0].contains(QStringLiteral("File not found")));
        QCOMPARE(styles[0], vbCritical);
        QCOMPARE(ends, 1);
    }

    void guardStopsTheHandlerAtEnd() {
        int ends = 0, messages = 0;
        SetEndHook([&] { ++ends; });
        SetMsgBoxHook([&](const QString&, int) { ++messages; });
        int reached = 0;
        Guard([&] {
            reached = 1;
            End();
            reached = 2;
        });
        QCOMPARE(reached, 1);
        QCOMPARE(ends, 1);
        QCOMPARE(messages, 0);
    }

    void guardLetsACleanHandlerThrough() {
        int ends = 0, messages = 0;
        SetEndHook([&] { ++ends; });
        SetMsgBoxHook([&](const QString&, int) { ++messages; });
        int reached = 0;
        Guard([&] { reached = 1; });
        QCOMPARE(reached, 1);
        QCOMPARE(ends + messages, 0);
    }

    void guardReportsOtherExceptionsToo() {
        QString prompt;
        int ends = 0;
        SetMsgBoxHook([&](const QString& p, int) { prompt = p; });
        SetEndHook([&] { ++ends; });
        Guard([] { throw std::out_of_range("index 11"); });
        QVERIFY(prompt.contains(QStringLiteral("index 11")));
        QCOMPARE(ends, 1);
    }

    void boxesGoThroughTheirHooks() {
        QString seenPrompt, seenTitle;
        int seenStyle = -1;
        SetMsgBoxHook([&](const QString& p, int s) {
            seenPrompt = p;
            seenStyle = s;
        });
        SetInputBoxHook([&](const QString& p, const QString& t) {
            seenTitle = t;
            return p + QStringLiteral("!");
        });
        MsgBox(QStringLiteral("Failure in creating dc"));
        QCOMPARE(seenPrompt, QStringLiteral("Failure in creating dc"));
        QCOMPARE(seenStyle, vbOKOnly);
        QCOMPARE(InputBox(QStringLiteral("Name?"), QStringLiteral("High score")),
                 QStringLiteral("Name?!"));
        QCOMPARE(seenTitle, QStringLiteral("High score"));
    }

    void booleanTrueIsAllBits() {
        QCOMPARE(True, Boolean(-1));
        QCOMPARE(Bool(true), True);
        QCOMPARE(Bool(false), False);
    }
};

QTEST_MAIN(TestRuntime)
#include "tst_runtime.moc"
