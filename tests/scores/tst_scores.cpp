#include "../TestFiles.h"
#include "ScoreFile.h"
#include "ScoreJournal.h"
#include "frmHiScores.h"
#include "runtimetest.h"

#include <QAction>
#include <QLabel>
#include <QtTest>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace {

// Ten "No One" with 0 points, an empty spare slot, checksum 5110.
const QByteArray Fresh = QByteArray("\x06\0No One\0\0\0\0", 12).repeated(10) + QByteArray(6, '\0') +
                         QByteArray("\xf6\x13\0\0", 4);

// The rows given first, then "No One" in the other slots.
ScoreTable tableOf(std::initializer_list<ScoreEntry> rows) {
    ScoreTable t;
    t.fill({"No One", 0});
    std::copy(rows.begin(), rows.end(), t.begin());
    return t;
}

// Run as "--play DIR NAME [SCORE...]", the test program is another game without a window: it
// loads the table in DIR and offers each score as a game's end does, answering the name prompt
// with NAME. It prints every message box.
int play(int argc, char* argv[]) {
    runtime::SetAppPath(QString::fromLocal8Bit(argv[2]));
    runtime::SetMsgBoxHook(
        [](const QString& text, int style) { std::printf("%s|%d\n", qPrintable(text), style); });
    runtime::SetInputBoxHook([&](const QString&, const QString&) {
        QThread::msleep(5); // the name takes a moment to type: another game may save meanwhile
        return QString::fromLocal8Bit(argv[3]);
    });
    runtime::Guard([&] {
        frmHiScores::instance().LoadScores();
        for (int i = 4; i < argc; ++i)
            frmHiScores::instance().NewHighScore(qint32(std::atoi(argv[i])));
    });
    return 0;
}

} // namespace

class TestScores : public QObject {
    Q_OBJECT

    frmHiScores& hs = frmHiScores::instance();
    QTemporaryDir dir;
    QStringList messages, prompts, answers;
    QString path() const { return runtime::AppPath() + "/scores.dat"; }
    QString journal() const { return scorefile::JournalPath(path()); }
    // Another game, under strace when given its options: what it printed, then how it ended
    // unless with 0 ("exit N"), or "killed".
    QString player(const QStringList& args, const QStringList& strace = {}) {
        QProcess p;
        const QStringList game{QCoreApplication::applicationFilePath(), "--play", dir.path()};
        p.start(strace.isEmpty() ? game[0] : "strace",
                (strace.isEmpty() ? QStringList{} : strace + QStringList{"-qq", game[0]}) +
                    game.mid(1) + args);
        p.waitForFinished(60000);
        if (p.exitStatus() != QProcess::NormalExit) return "killed";
        return QString::fromLocal8Bit(p.readAllStandardOutput()) +
               (p.exitCode() ? QString("exit %1").arg(p.exitCode()) : QString());
    }
    // The writes, flushes and truncations of the score files in a game's run: the syscall, its
    // count among that syscall's calls, and the file.
    using Step = std::tuple<QString, int, QString>;
    QList<Step> steps(const QStringList& args) {
        const QString log = dir.path() + "/strace.log";
        player(args, {"-y", "-o", log, "-e", "trace=pwrite64,write,fsync,fdatasync,ftruncate"});
        QList<Step> found;
        QHash<QString, int> count;
        const QRegularExpression call("(?m)^(\\w+)\\(\\d+<([^>]*)>");
        for (const auto& m : call.globalMatch(QString(readFile(log)))) {
            const int n = ++count[m.captured(1)];
            if (m.captured(2).startsWith(dir.path()))
                found << Step{m.captured(1), n, m.captured(2)};
        }
        return found;
    }

  private slots:
    void init() {
        runtime::SetAppPath(dir.path());
        if (!QFile::remove(path())) QDir(dir.path()).rmdir("scores.dat");
        QFile::remove(journal());
        messages = prompts = answers = {};
        runtime::SetMsgBoxHook(
            [this](const QString& t, int s) { messages << t + "|" + QString::number(s); });
        runtime::SetInputBoxHook([this](const QString& prompt, const QString& title) {
            prompts << prompt + "|" + title;
            return answers.isEmpty() ? QString() : answers.takeFirst();
        });
    }

    // Over the table a to j (100, 80, 80, 50, 40, 30, 20, 10, 5, 1), a score above the tenth
    // asks for the name, enters at the row given (-1: not at all), below its equals, and is
    // saved; the tenth drops out. A save that fails says why and keeps the old file whole.
    void newHighScore() {
        for (const auto& [typed, score, stored, row, failure] :
             {std::tuple<QString, int, QByteArray, int, QString>{"new", 80, "new", 3, ""},
              {"", 2, "Anonymous", 9, ""},                               // cancelled
              {"Robin", 1, "", -1, ""},                                  // equal to the tenth
              {QString(70000, 'x'), 45, QByteArray(0xFFFF, 'x'), 4, ""}, // as a record holds
              {"Keeper", 9, "Keeper", 8, "Path/File access error\r\nError Number: 75|0"},
              {"Keeper", 9, "Keeper", 8, "Permission denied\r\nError Number: 70|0"}}) {
            init();
            ScoreTable table = tableOf({{"a", 100}, {"b", 80}, {"c", 80}, {"d", 50}, {"e", 40},
                                        {"f", 30}, {"g", 20}, {"h", 10}, {"i", 5}, {"j", 1}});
            hs.HiScores = table;
            hs.SaveScores();
            const QByteArray old = readFile(path());
            if (failure.contains("70"))
                QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner)); // read-only
            else
                QVERIFY(QFile::remove(path())); // an empty table, never taken for a changed one
            if (failure.contains("75")) QVERIFY(QDir(dir.path()).mkdir("scores.dat"));
            answers << typed;
            hs.NewHighScore(score);
            if (row >= 0)
                std::rotate(&table[row], &table[9], &table[10]), table[row] = {stored, score};
            QCOMPARE(prompts, row < 0 ? QStringList{} : QStringList{"Enter Name:|New High Score!"});
            QCOMPARE(messages, failure.isEmpty() ? QStringList{} : QStringList{failure});
            QVERIFY(hs.HiScores == table);
            if (failure.contains("70")) QCOMPARE(readFile(path()), old);
            if (!failure.isEmpty()) continue;
            QCOMPARE(QFileInfo::exists(path()), row >= 0); // saved only when it entered
            hs.LoadScores();
            QVERIFY(row < 0 || hs.HiScores == table);
        }
    }

    // The reset from the menu shows ten "No One" with 0 at once and saves them; a second one,
    // changing no byte, does not touch the file. Names show as typed.
    void resetFromTheMenu() {
        hs.HiScores = tableOf({{"<b>Al</b>", 30}, {"Al", 20}});
        hs.displayScores();
        // As markup, the tags would take no room: "Al" in bold is barely wider than "Al".
        const int extra = hs.lblName[0]->sizeHint().width() - hs.lblName[1]->sizeHint().width();
        QVERIFY(extra >= hs.lblName[0]->fontMetrics().horizontalAdvance("<b></b>"));
        hs.mnuReset->trigger();
        QCOMPARE(hs.lblName[1]->text() + hs.lblScore[0]->text(), QString("2.No One0"));
        const timespec longAgo[2] = {{1000000000, 0}, {1000000000, 0}};
        QVERIFY(::utimensat(AT_FDCWD, QFile::encodeName(path()), longAgo, 0) == 0);
        hs.mnuReset->trigger();
        QCOMPARE(QFileInfo(path()).lastModified().toSecsSinceEpoch(), 1000000000);
        QVERIFY(messages.isEmpty() && prompts.isEmpty());
    }

    // A save that lengthens the table flushes the old bytes to the journal, then writes and
    // flushes the table, then empties the journal. Cut short before any step: failing (the disk
    // full), it says so and leaves the old table; killed, the next start finds the old table
    // until the journal was emptied and the new one after. That start's rollback, killed at any
    // step, still ends with the old table. Anything in the journal but one whole record of its
    // own is never applied.
    void saveCutShortAtEveryStep() {
        if (QProcess::execute("strace", {"-qq", "-o", "/dev/null", "true"}) != 0)
            QSKIP("strace cannot run a traced child here (not installed, or no ptrace)");
        const QStringList zed{"Zed the Magnificent", "777"};
        const QByteArray old = Fresh + "tail";
        const auto start = [&](const QByteArray& table, const QByteArray& left) {
            writeFile(path(), table), writeFile(journal(), left);
        };
        const auto cut = [&](const Step& step, const char* fault, const QStringList& args) {
            const auto& [call, n, file] = step;
            return player(args, {"-e", QString("inject=%1:%2:when=%3").arg(call, fault).arg(n)});
        };
        start(old, {});
        const auto save = steps(zed);
        const QByteArray saved = readFile(path());
        QString order;
        for (const auto& [call, n, file] : save)
            order += call + (file == path() ? " T " : " J "); // the table or its journal
        const QRegularExpression flushedFirst("^(pwrite64 J )+fsync J (pwrite64 T )+fsync T "
                                              "ftruncate J fsync J $");
        QVERIFY2(order.contains(flushedFirst), qPrintable(order));
        QByteArray left; // killed at the table's flush: written, not committed
        for (const Step& step : save) {
            start(old, {});
            QCOMPARE(cut(step, "error=ENOSPC", zed), "Disk full\r\nError Number: 61|0\n");
            QVERIFY(readFile(path()) == old && readFile(journal()).isEmpty());
            QCOMPARE(cut(step, "signal=SIGKILL", zed), "killed");
            if (step == Step{"fsync", std::get<1>(step), path()}) left = readFile(journal());
            hs.LoadScores();
            // Committed by emptying the journal: killed at the last step, its flush, and no sooner.
            QVERIFY2(readFile(path()) == (&step == &save.constLast() ? saved : old),
                     qPrintable(std::get<0>(step)));
        }
        start(saved, left);
        const auto rollback = steps({"Nobody"});
        QVERIFY(rollback.size() >= 3 && readFile(path()) == old);
        for (const Step& step : rollback) {
            start(saved, left);
            QCOMPARE(cut(step, "signal=SIGKILL", {"Nobody"}), "killed");
            hs.LoadScores();
            QCOMPARE(readFile(path()), old);
        }
        QByteArrayList foreign{left + "x", QByteArray(200, 'Z'),
                               scorefile::EncodeJournal({saved.size() + 1, old})};
        for (int at : {0, 8, 16, 24, 40, int(left.size()) - 1}) // cut there, or a bit changed
            foreign << left.left(at)
                    << QByteArray(left).replace(at, 1, QByteArray(1, left[at] ^ 1));
        for (const QByteArray& bytes : foreign) {
            start(saved, bytes);
            hs.LoadScores();
            QVERIFY(readFile(path()) == saved && readFile(journal()).isEmpty());
        }
        QVERIFY(messages.isEmpty());
    }

    // A game stopped while it holds the lock holds the others up a few seconds at most: a save
    // fails with the message, a start says why it cannot read the table. Once it is gone, two
    // games offering scores as fast as they can from the same table keep the best ten of all.
    void gamesAtOnce() {
        hs.LoadScores();
        const pid_t child = ::fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            const scorefile::Lock lock(path());
            ::raise(SIGSTOP);
            ::_exit(0);
        }
        int status = 0;
        QVERIFY(::waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status));
        QString started, outA, outB;
        std::thread other([&] { started = player({"Other"}); });
        answers << "Late";
        hs.NewHighScore(40);
        other.join();
        const bool untouched = readFile(path()) == Fresh;
        QStringList ann{"Ann"}, bob{"Bob"};
        for (int i = 1; i <= 40; ++i)
            ann << QString::number(10 * i), bob << QString::number(10 * i + 5);
        std::thread a([&] { outA = player(ann); }), b([&] { outB = player(bob); });
        QThread::msleep(700); // both wait for the lock, then start from the same table
        ::kill(child, SIGKILL), ::waitpid(child, &status, 0);
        a.join(), b.join();
        const QString locked = "Scores file locked by another game";
        QCOMPARE(messages, QStringList{locked + "\r\nError Number: 70|0"});
        QVERIFY(untouched && hs.HiScores[0] == (ScoreEntry{"Late", 40})); // kept in memory alone
        QCOMPARE(started, "Run-time error '70':\n\n" + locked + "|16\nexit 1");
        QCOMPARE(outA + outB, QString());
        hs.LoadScores();
        for (int i = 0; i < 10; ++i)
            QCOMPARE(hs.HiScores[i], (ScoreEntry{i % 2 ? "Ann" : "Bob", 405 - 5 * i}));
    }

    // As installed: scores.dat leads to the shared table through relative links, each resolved
    // from its own directory. A save changes the table in place, keeping its inode, owner and
    // mode; beside it lies only its journal, closed to others, and beside the link nothing.
    // Anyone may read the table, and so lock it; that holds no game up.
    void savesKeepTheSharedTable() {
        QVERIFY(QDir(dir.path()).mkpath("app") && QDir(dir.path()).mkpath("shared"));
        QVERIFY(QFile::link("../hop.dat", dir.filePath("app/scores.dat")));
        QVERIFY(QFile::link("shared/real.dat", dir.filePath("hop.dat")));
        runtime::SetAppPath(dir.filePath("app"));
        const QString real = dir.filePath("shared/real.dat");
        const QByteArray file = QFile::encodeName(real);
        hs.LoadScores();
        const int reader = ::open(file, O_RDONLY | O_CLOEXEC);
        QVERIFY(reader >= 0 && ::flock(reader, LOCK_EX | LOCK_NB) == 0 && ::chmod(file, 0640) == 0);
        if (::geteuid() == 0) QVERIFY(::chown(file, 4242, 4343) == 0); // someone else's
        struct stat was, is;
        answers << "Free";
        QVERIFY(::stat(file, &was) == 0 && (hs.NewHighScore(30), ::stat(file, &is) == 0));
        ::close(reader);
        QCOMPARE(readFile(real).left(6), QByteArray("\4\0Free", 6));
        QVERIFY(std::tuple(was.st_ino, was.st_uid, was.st_gid, was.st_mode) ==
                std::tuple(is.st_ino, is.st_uid, is.st_gid, is.st_mode));
        QCOMPARE(QDir(dir.filePath("app")).entryList(QDir::Files | QDir::System | QDir::Hidden),
                 QStringList{"scores.dat"});
        QCOMPARE(QDir(dir.filePath("shared")).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"real.dat", "real.dat-journal"}));
        const QFileInfo journalFile(journal());
        QVERIFY(journalFile.exists() && journalFile.size() == 0 &&
                !(journalFile.permissions() & (QFile::ReadOther | QFile::WriteOther)));
    }
};

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    if (argc > 3 && qstrcmp(argv[1], "--play") == 0) return play(argc, argv);
    // For the games it starts: LeakSanitizer traces the process itself, which a traced one cannot.
    qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":detect_leaks=0");
    TestScores test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_scores.moc"
