#include "ScoreFile.h"
#include "frmHiScores.h"
#include "runtime.h"

#include <QAction>
#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Ten "No One" with 0 points, an empty spare slot, checksum 5110.
const QByteArray Fresh = QByteArray("\x06\0No One\0\0\0\0", 12).repeated(10) + QByteArray(6, '\0') +
                         QByteArray("\xf6\x13\0\0", 4);

// The rows given first, then "No One" up to the tenth; the spare slot empty.
ScoreTable tableOf(std::initializer_list<ScoreEntry> rows) {
    ScoreTable t;
    t.fill({"No One", 0});
    t[10] = {};
    std::copy(rows.begin(), rows.end(), t.begin());
    return t;
}

} // namespace

class TestScores : public QObject {
    Q_OBJECT

    frmHiScores& hs = frmHiScores::instance();
    QTemporaryDir dir;
    QStringList messages, prompts, answers;
    QString path() const { return dir.path() + "/scores.dat"; }
    QByteArray readFile() {
        QFile f(path());
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QByteArray encoded(const ScoreTable& t) {
        hs.HiScores = t;
        return scorefile::Encode(t, hs.ScoreChecksum());
    }
    bool isFresh() {
        return std::equal(hs.HiScores.begin(), hs.HiScores.begin() + 10, tableOf({}).begin());
    }

  private slots:
    void init() {
        QFile::setPermissions(path(), QFile::WriteOwner | QFile::ReadOwner);
        if (!QFile::remove(path())) QDir(dir.path()).rmdir("scores.dat");
        runtime::SetAppPath(dir.path());
        messages = prompts = answers = {};
        runtime::SetMsgBoxHook(
            [this](const QString& t, int s) { messages << t + "|" + QString::number(s); });
        runtime::SetInputBoxHook([this](const QString& prompt, const QString& title) {
            prompts << prompt + "|" + title;
            return answers.isEmpty() ? QString() : answers.takeFirst();
        });
    }

    void savedTableReadsBackEqualAndShorterSaveKeepsTail() {
        ScoreTable saved =
            tableOf({{"A much longer name", 900}, {"Bo\xe9", 700}, {"", 500}, {"x", -5}});
        saved[10] = {"spare", 12};
        hs.HiScores = saved;
        hs.SaveScores();
        const QByteArray longFile = readFile();
        hs.LoadScores();
        QVERIFY(hs.HiScores == saved);

        hs.HiScores[0].Name = "Al";
        const QByteArray head = encoded(hs.HiScores);
        hs.SaveScores();
        QCOMPARE(readFile(), head + longFile.mid(head.size()));
        hs.LoadScores();
        QVERIFY(messages.isEmpty());
    }

    void loadResetsMissingOrDamagedFile_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("reported");
        QTest::addRow("missing") << QByteArray() << false;
        const QByteArray ranked = encoded(tableOf({{"Ann", 900}, {"Bob", 800}, {"Cy", 700}}));
        const int tableBytes = ranked.size() - 10; // before the spare slot and the checksum
        for (int at = 0; at <= tableBytes; ++at) {
            QByteArray b = ranked;
            const int i = at < tableBytes ? at : tableBytes + 7; // the last: a checksum byte
            b[i] = char(b[i] ^ 0x01);
            QTest::addRow("byte %d", i) << b << true;
        }
        QTest::addRow("zero checksum") << scorefile::Encode(ScoreTable{}, 0) + "tail" << false;
        for (int length : {1, 50, 126, 127, 128, 129}) // from 128 on 5110 is whole
            QTest::addRow("cut to %d", length)
                << Fresh.left(length) << (length < 128 && length > 1);
        QByteArray spare = Fresh;
        spare[122] = 42; // the spare slot's points are outside the checksum
        QTest::addRow("spare slot") << spare << false;
    }
    void loadResetsMissingOrDamagedFile() {
        QFETCH(QByteArray, file);
        QFETCH(bool, reported);
        QFile f(path());
        QVERIFY(file.isNull() || (f.open(QIODevice::WriteOnly) && f.write(file) >= 0 && f.flush()));
        hs.LoadScores();
        QCOMPARE(messages,
                 reported ? QStringList{"Invalid Scores file! Scores reset.|16"} : QStringList{});
        QVERIFY(isFresh());
        QCOMPARE(readFile().left(120), Fresh.left(120)); // the reset, if any, was written
        hs.LoadScores();
        QCOMPARE(messages.size(), reported ? 1 : 0);
    }

    void newScoreSortsBelowItsEquals() {
        const int points[] = {100, 80, 80, 50, 40, 30, 20, 10, 5, 1};
        hs.HiScores[10] = {};
        for (int i = 0; i < 10; ++i)
            hs.HiScores[i] = {QByteArray(1, char('a' + i)), points[i]};
        answers << "new";
        hs.NewHighScore(80);
        QCOMPARE(hs.HiScores[3], (ScoreEntry{"new", 80}));
        QCOMPARE(hs.HiScores[1].Name + hs.HiScores[2].Name + hs.HiScores[9].Name,
                 QByteArray("bci")); // "j" dropped
    }

    void newHighScore_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("score");
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QString>("failure");
        QTest::addRow("answered") << "Robin" << 250 << QByteArray("Robin") << "";
        QTest::addRow("cancelled or empty") << QString() << 1 << QByteArray("Anonymous") << "";
        QTest::addRow("equal to the tenth") << "Robin" << 0 << QByteArray("No One") << "";
        QTest::addRow("directory") << "Keeper" << 9 << QByteArray("Keeper")
                                   << "Path/File access error\r\nError Number: 75|0";
        QTest::addRow("read-only")
            << "Keeper" << 9 << QByteArray("Keeper") << "Permission denied\r\nError Number: 70|0";
    }
    void newHighScore() {
        QFETCH(QString, typed);
        QFETCH(int, score);
        QFETCH(QByteArray, stored);
        QFETCH(QString, failure);
        hs.LoadScores();
        if (failure.contains("70"))
            QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner));
        else
            QVERIFY(QFile::remove(path()));
        if (failure.contains("75")) QVERIFY(QDir(dir.path()).mkdir("scores.dat"));
        answers << typed;
        hs.NewHighScore(score);
        QCOMPARE(prompts, score ? QStringList{"Enter Name:|New High Score!"} : QStringList{});
        QCOMPARE(messages, failure.isEmpty() ? QStringList{} : QStringList{failure});
        QCOMPARE(hs.HiScores[0], (ScoreEntry{stored, score}));
        QVERIFY(!QFileInfo::exists(scorefile::TempPath(path())));
        if (failure.contains("70")) QCOMPARE(readFile(), Fresh); // the old file stays whole
        if (!failure.isEmpty()) return;
        QCOMPARE(QFileInfo::exists(path()), score != 0); // saved only when it qualified
        hs.LoadScores();
        QCOMPARE(hs.HiScores[0], (ScoreEntry{stored, score}));
    }

    void saveKilledHalfWayLeavesLoadableFile() {
        const ScoreTable tables[] = {tableOf({{"A fairly long name for the champion", 9000}}),
                                     tableOf({{"A", 5}})};
        for (int round = 0; round < 6; ++round) {
            const pid_t child = ::fork();
            QVERIFY(child >= 0);
            if (child == 0) { // saves long and short tables without pause until killed
                try {
                    for (unsigned n = 0;; ++n)
                        scorefile::WriteHead(path(), encoded(tables[n % 2]));
                } catch (...) {
                }
                ::_exit(1);
            }
            QTest::qWait(15 + 11 * round);
            ::kill(child, SIGKILL);
            int status = 0;
            QVERIFY(::waitpid(child, &status, 0) == child && WIFSIGNALED(status));
            hs.LoadScores();
            QVERIFY(hs.HiScores == tables[0] || hs.HiScores == tables[1]);
        }
        QVERIFY(messages.isEmpty());
    }

    void resetFromMenuWritesTenNoOne() {
        hs.HiScores = tableOf({{"Ann", 900}, {"Bob", 800}});
        hs.HiScores[10] = {"spare", 3};
        hs.mnuReset->trigger();
        QVERIFY(isFresh());
        QCOMPARE(hs.HiScores[10], (ScoreEntry{"spare", 3}));
        QCOMPARE(hs.lblName[1]->text() + hs.lblScore[0]->text(), QString("2.No One0"));
        QCOMPARE(readFile(),
                 Fresh.left(120) + QByteArray("\5\0spare\3\0\0\0", 11) + Fresh.right(4));
        QVERIFY(messages.isEmpty() && prompts.isEmpty());
    }
};

QTEST_MAIN(TestScores)
#include "tst_scores.moc"
