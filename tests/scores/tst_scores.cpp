#include "ScoreFile.h"
#include "ScoreJournal.h"
#include "frmHiScores.h"
#include "runtime.h"

#include <QAction>
#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <fcntl.h>
#include <optional>
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

// The rows given first, then "No One" up to the tenth; the spare slot empty.
ScoreTable tableOf(std::initializer_list<ScoreEntry> rows) {
    ScoreTable t;
    t.fill({"No One", 0});
    t[10] = {};
    std::copy(rows.begin(), rows.end(), t.begin());
    return t;
}

// Run as "--play DIR NAME [SCORE...]", the test program is another game without a window: it
// loads the table in DIR and offers each score as a game's end does, answering the name prompt
// with NAME. It prints every message box on one line.
int play(int argc, char* argv[]) {
    runtime::SetAppPath(QString::fromLocal8Bit(argv[2]));
    runtime::SetMsgBoxHook([](const QString& text, int style) {
        std::printf("%s|%d\n", qPrintable(QString(text).replace("\r\n", " ").replace('\n', ' ')),
                    style);
    });
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
    static QByteArray readFile(const QString& name) {
        QFile f(name);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QByteArray readFile() { return readFile(path()); }
    static void writeFile(const QString& name, const QByteArray& bytes) {
        QFile f(name);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size() && f.flush());
    }
    // Another game, under strace when given its options. Returns what it printed.
    QString player(const QStringList& args, const QStringList& strace = {}, int* code = nullptr) {
        const QString program = QCoreApplication::applicationFilePath();
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // LeakSanitizer traces the process itself, which a traced one cannot.
        env.insert("ASAN_OPTIONS", env.value("ASAN_OPTIONS") + ":detect_leaks=0");
        p.setProcessEnvironment(env);
        if (strace.isEmpty())
            p.start(program, QStringList{"--play", dir.path()} + args);
        else
            p.start("strace", strace + QStringList{"-qq", program, "--play", dir.path()} + args);
        p.waitForFinished(60000);
        if (code) *code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        return QString::fromLocal8Bit(p.readAllStandardOutput());
    }
    // The writes, flushes and truncations of the score files by a player's run, each as the
    // syscall and its count among that syscall's calls.
    struct Step {
        QString call;
        int n;
        QString file;
    };
    QList<Step> steps(const QStringList& args) {
        const QString log = dir.path() + "/strace.log";
        player(args, {"-y", "-o", log, "-e", "trace=pwrite64,write,fsync,fdatasync,ftruncate"});
        QList<Step> found;
        QHash<QString, int> count;
        for (const QString& line : QString(readFile(log)).split('\n')) {
            const auto m = QRegularExpression("^(\\w+)\\(\\d+<([^>]*)>").match(line);
            if (!m.hasMatch()) continue;
            const int n = ++count[m.captured(1)];
            if (m.captured(2).startsWith(dir.path()))
                found << Step{m.captured(1), n, m.captured(2)};
        }
        QFile::remove(log);
        return found;
    }
    static bool canTrace() {
        return QProcess::execute("strace", {"-qq", "-o", "/dev/null", "true"}) == 0;
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
        runtime::SetAppPath(dir.path());
        QFile::setPermissions(path(), QFile::WriteOwner | QFile::ReadOwner);
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
        if (!file.isNull()) writeFile(path(), file);
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
        QCOMPARE(QFileInfo(scorefile::JournalPath(path())).size(), 0); // nothing left half-done
        if (failure.contains("70")) QCOMPARE(readFile(), Fresh);       // the old file stays whole
        if (!failure.isEmpty()) return;
        QCOMPARE(QFileInfo::exists(path()), score != 0); // saved only when it qualified
        hs.LoadScores();
        QCOMPARE(hs.HiScores[0], (ScoreEntry{stored, score}));
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

    // A save that changes no byte does not touch the file; one that changes a byte does.
    void unchangedSaveLeavesTheFileAlone() {
        hs.LoadScores();
        const QByteArray file = QFile::encodeName(path());
        const auto modifiedLongAgo = [&] {
            struct stat st {};
            return ::stat(file, &st) == 0 && st.st_mtim.tv_sec == 1000000000;
        };
        const timespec longAgo[2] = {{1000000000, 0}, {1000000000, 0}};
        QVERIFY(::utimensat(AT_FDCWD, file, longAgo, 0) == 0);
        hs.mnuReset_Click();
        hs.SaveScores();
        QVERIFY(modifiedLongAgo() && readFile() == Fresh);
        answers << "Ann";
        hs.NewHighScore(5);
        QVERIFY(!modifiedLongAgo() && readFile().mid(2, 3) == "Ann");
        QVERIFY(messages.isEmpty());
    }

    // A save of Zed's 777 over the table, cut short before each of its writes, flushes and
    // truncations in turn. Failing (the disk full), it says so and leaves the old table at once.
    // Killed, the next start finds the old table until the journal was emptied and the new one
    // after, byte for byte and quietly; and that start's rollback, killed at each of its own
    // steps in turn, still ends with the old table.
    void saveCutShortAtEveryStep_data() {
        QTest::addColumn<QString>("fault");
        QTest::addRow("killed") << "signal=SIGKILL";
        QTest::addRow("disk full") << "error=ENOSPC";
    }
    void saveCutShortAtEveryStep() {
        QFETCH(QString, fault);
        if (!canTrace())
            QSKIP("strace cannot run a traced child here (not installed, or no ptrace)");
        const ScoreTable before = tableOf({{"A fairly long name for the champion", 900}});
        const QByteArray old = encoded(before) + "tail";
        const auto start = [&](const QByteArray& table, const QByteArray& left) {
            writeFile(path(), table), writeFile(journal(), left);
        };
        const auto inject = [](const Step& step, const QString& fault) {
            return QStringList{"-e",
                               QString("inject=%1:%2:when=%3").arg(step.call, fault).arg(step.n)};
        };
        start(old, {});
        const auto save = steps({"Zed", "777"});
        const QByteArray saved = readFile();
        QVERIFY(saved.startsWith(encoded(tableOf({before[0], {"Zed", 777}}))));
        QVERIFY2(save.size() >= 4, "no write or flush of the table and its journal seen");
        QString outcomes, expected;
        QByteArray crashed, left; // killed at the table's flush: written, not committed
        bool committed = false;   // by emptying the journal
        for (const Step& step : save) {
            expected += committed ? 'n' : 'o';
            committed = committed || (step.call == "ftruncate" && step.file == journal());
            start(old, {});
            int code = 0;
            const QString out = player({"Zed", "777"}, inject(step, fault), &code);
            if (fault == "error=ENOSPC") {
                QCOMPARE(out, QString("Disk full Error Number: 61|0\n"));
                QCOMPARE(readFile(), old);
                QCOMPARE(readFile(journal()).size(), 0);
                continue;
            }
            QCOMPARE(code, -1);
            if (step.call == "fsync" && step.file == path())
                crashed = readFile(), left = readFile(journal());
            hs.LoadScores();
            const QByteArray now = readFile();
            QVERIFY2(now == old || now == saved, qPrintable(step.call));
            outcomes += now == old ? 'o' : 'n';
        }
        if (fault == "error=ENOSPC") return;
        QCOMPARE(outcomes, expected);
        QVERIFY(crashed == saved && left.startsWith("MBGJRNL1"));
        start(crashed, left);
        const auto rollback = steps({"Nobody"});
        QVERIFY(rollback.size() >= 3 && readFile() == old);
        for (const Step& step : rollback) {
            start(crashed, left);
            int code = 0;
            player({"Nobody"}, inject(step, "signal=SIGKILL"), &code);
            QCOMPARE(code, -1);
            hs.LoadScores();
            QCOMPARE(readFile(), old);
        }
        QVERIFY(messages.isEmpty());
    }

    // Whatever lies in the journal, only one whole record of its own is ever applied.
    void journalIsAppliedOnlyWhole_data() {
        QTest::addColumn<QByteArray>("left");
        QTest::addColumn<bool>("applied");
        const QByteArray old = encoded(tableOf({{"Old", 70}})) + "tail";
        const QByteArray crashed = encoded(tableOf({{"Much newer champion", 900}}));
        const QByteArray whole = scorefile::EncodeJournal({old.size(), old});
        QTest::addRow("whole") << whole << true;
        for (int cut : {1, 8, 31, 32, 60, int(whole.size()) - 1})
            QTest::addRow("cut to %d", cut) << whole.left(cut) << false;
        for (int at : {0, 8, 16, 24, 40, int(whole.size()) - 1}) {
            QByteArray b = whole;
            b[at] = char(b[at] ^ 0x20);
            QTest::addRow("byte %d changed", at) << b << false;
        }
        QTest::addRow("one byte more") << whole + "x" << false;
        QTest::addRow("longer table than there is")
            << scorefile::EncodeJournal({crashed.size() + 1, old}) << false;
        QTest::addRow("no record") << QByteArray(200, '\x5a') << false;
    }
    void journalIsAppliedOnlyWhole() {
        QFETCH(QByteArray, left);
        QFETCH(bool, applied);
        const QByteArray old = encoded(tableOf({{"Old", 70}})) + "tail";
        const QByteArray crashed = encoded(tableOf({{"Much newer champion", 900}}));
        writeFile(path(), crashed), writeFile(journal(), left);
        hs.LoadScores();
        QCOMPARE(readFile(), applied ? old : crashed);
        QCOMPARE(readFile(journal()).size(), 0);
        QVERIFY(messages.isEmpty());
    }

    // Two games offering scores as fast as they can: the table ends with the best ten of all.
    void twoGamesAtOnceKeepEveryScore() {
        hs.LoadScores();
        QStringList ann{"Ann"}, bob{"Bob"};
        for (int i = 1; i <= 40; ++i)
            ann << QString::number(10 * i), bob << QString::number(10 * i + 5);
        QString outA, outB;
        std::optional<scorefile::Lock> gate(path()); // both start from the same table, then race
        std::thread a([&] { outA = player(ann); }), b([&] { outB = player(bob); });
        QThread::msleep(700);
        gate.reset();
        a.join(), b.join();
        QCOMPARE(outA + outB, QString());
        hs.LoadScores();
        for (int i = 0; i < 10; ++i)
            QCOMPARE(hs.HiScores[i], (ScoreEntry{i % 2 ? "Ann" : "Bob", 405 - 5 * i}));
        QVERIFY(messages.isEmpty());
    }

    // A game stopped while it holds the lock: the others' saves fail with the message, and a
    // start says why it cannot read the table, each after a bounded wait.
    void stoppedGameHoldsNoOneUpForEver() {
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
        QString started;
        int code = 0;
        std::thread other([&] { started = player({"Other"}, {}, &code); });
        answers << "Late";
        hs.NewHighScore(40);
        other.join();
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
        const QString locked = "Scores file locked by another game";
        QCOMPARE(messages, QStringList{locked + "\r\nError Number: 70|0"});
        QCOMPARE(hs.HiScores[0], (ScoreEntry{"Late", 40})); // kept, as with any failed save
        QCOMPARE(readFile(), Fresh);
        QCOMPARE(started, "Run-time error '70':  " + locked + "|16\n");
        QCOMPARE(code, 1);
    }

    // Anyone may read the table, and so lock it; that holds no game up. The journal's mode
    // keeps it to the table's writers. The file keeps its inode, owner, group, mode and links
    // through saves and a reset.
    void savesPassReadersAndKeepTheFileItself() {
        hs.LoadScores();
        const QByteArray file = QFile::encodeName(path());
        const int reader = ::open(file, O_RDONLY | O_CLOEXEC);
        QVERIFY(reader >= 0 && ::flock(reader, LOCK_EX | LOCK_NB) == 0);
        answers = {"Free", "Kept"};
        hs.NewHighScore(30);
        ::close(reader);
        hs.LoadScores();
        QCOMPARE(hs.HiScores[0], (ScoreEntry{"Free", 30}));
        QVERIFY(!(QFileInfo(journal()).permissions() & (QFile::ReadOther | QFile::WriteOther)));
        QVERIFY(::link(file, file + ".link") == 0 && ::chmod(file, 0640) == 0);
        if (::geteuid() == 0) QVERIFY(::chown(file, 4242, 4343) == 0); // someone else's
        const auto itself = [&] {
            struct stat st {};
            ::stat(file, &st);
            return std::tuple(st.st_ino, st.st_dev, st.st_uid, st.st_gid, st.st_mode, st.st_nlink);
        };
        const auto before = itself();
        hs.NewHighScore(40);
        hs.mnuReset_Click();
        QVERIFY(itself() == before);
        QVERIFY(::unlink(file + ".link") == 0);
        QVERIFY(messages.isEmpty());
    }

    // A real small file system, filled up: the save reports it and the old table stays.
    void fullDiskKeepsTheOldTable() {
        if (::geteuid() != 0) QSKIP("needs root to mount a small file system");
        QVERIFY(QDir(dir.path()).mkpath("small"));
        const QString small = dir.path() + "/small";
        if (QProcess::execute("mount", {"-t", "tmpfs", "-o", "size=64k", "tmpfs", small}) != 0)
            QSKIP("mount refused: no tmpfs can be mounted here");
        const auto unmount = qScopeGuard([&] { QProcess::execute("umount", {small}); });
        runtime::SetAppPath(small);
        hs.LoadScores();
        const QByteArray old = readFile();
        QFile filler(small + "/filler");
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) == 4096) {
        }
        answers << "Full";
        hs.NewHighScore(60);
        QCOMPARE(messages, QStringList{"Disk full\r\nError Number: 61|0"});
        QCOMPARE(readFile(), old);
        QCOMPARE(readFile(journal()).size(), 0);
        hs.LoadScores();
        QVERIFY(isFresh() && messages.size() == 1);
        filler.remove();
        answers << "Room";
        hs.NewHighScore(60);
        QCOMPARE(readFile().mid(2, 4), QByteArray("Room"));
        QCOMPARE(messages.size(), 1);
    }

    // scores.dat beside the program is a symbolic link into a shared score directory: saving
    // must reach the link's final target, with its journal beside that target, and keep the links.
    void savingFollowsTheLinkAndKeepsIt() {
        const QString app = dir.filePath("lib/games/morvel-birds"), link = app + "/scores.dat";
        const QString shared = dir.filePath("var/games/morvel-birds"), real = shared + "/real.dat";
        QVERIFY(QDir().mkpath(app) && QDir().mkpath(shared));
        // Two relative hops, each resolved against the directory of its own link.
        QVERIFY(QFile::link("var/games/morvel-birds/real.dat", dir.filePath("hop.dat")));
        QVERIFY(QFile::link("../../../hop.dat", link));
        QCOMPARE(QFileInfo(scorefile::FinalTarget(link)).absoluteFilePath(), real);
        QCOMPARE(QFileInfo(scorefile::JournalPath(link)).absolutePath(), shared);
        runtime::SetAppPath(app);
        hs.LoadScores(); // no table yet: a fresh one is written through the links
        QCOMPARE(readFile(real).size(), 130);
        answers << "Ann";
        hs.NewHighScore(700);
        QCOMPARE(readFile(real).left(9), QByteArray::fromHex("0300416e6ebc020000")); // "Ann", 700
        QVERIFY(QFileInfo(link).isSymLink() && QFileInfo(dir.filePath("hop.dat")).isSymLink());
        // Nothing new beside the link; beside the target only its journal, empty after the save.
        QCOMPARE(QDir(app).entryList(QDir::Files | QDir::System | QDir::Hidden),
                 QStringList{"scores.dat"});
        QCOMPARE(QDir(shared).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"real.dat", "real.dat-journal"}));
        QCOMPARE(QFileInfo(shared + "/real.dat-journal").size(), 0);
        QCOMPARE(messages, QStringList{});
    }

    void namesShowAsTyped() {
        hs.HiScores = tableOf({{"<b>Al</b>", 30}, {"Al", 20}});
        hs.displayScores();
        // As markup, the tags would take no room: "Al" in bold is barely wider than "Al".
        const int extra = hs.lblName[0]->sizeHint().width() - hs.lblName[1]->sizeHint().width();
        QVERIFY2(extra >= hs.lblName[0]->fontMetrics().horizontalAdvance("<b></b>"),
                 qPrintable(QString::number(extra)));
    }
};

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    if (argc > 3 && qstrcmp(argv[1], "--play") == 0) return play(argc, argv);
    TestScores test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_scores.moc"
