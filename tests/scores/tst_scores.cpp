#include "CodePage.h"
#include "ScoreFile.h"
#include "frmHiScores.h"
#include "runtime.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Message {
    QString text;
    int style;
};

QByteArray readFile(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return {};
    return f.readAll();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

qint32 le32(const QByteArray& b, qsizetype at) {
    quint32 v = 0;
    for (int i = 0; i < 4; ++i)
        v |= quint32(quint8(b[at + i])) << (8 * i);
    return qint32(v);
}

// The rows given first, then "No One" up to the tenth; the spare slot stays empty.
ScoreTable tableOf(std::initializer_list<std::pair<const char*, qint32>> rows) {
    ScoreTable t;
    for (int i = 0; i < 10; ++i)
        t[i] = ScoreEntry{"No One", 0};
    int i = 0;
    for (const auto& [name, points] : rows)
        t[i++] = ScoreEntry{name, points};
    return t;
}

ScoreTable ranked() {
    return tableOf({{"Ann", 900}, {"Bob", 800}, {"Cy", 700}});
}

} // namespace

class TestScores : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    QList<Message> messages;
    QStringList prompts;
    QStringList answers;
    frmHiScores& hs() { return frmHiScores::instance(); }
    QString path() const { return dir->path() + "/scores.dat"; }
    bool isFresh() {
        for (int i = 0; i < 10; ++i)
            if (hs().HiScores[i] != ScoreEntry{"No One", 0}) return false;
        return true;
    }

  private slots:
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
        runtime::SetAppPath(dir->path());
        messages.clear();
        prompts.clear();
        answers.clear();
        runtime::SetMsgBoxHook([this](const QString& t, int s) { messages.append({t, s}); });
        runtime::SetInputBoxHook([this](const QString& prompt, const QString& title) {
            prompts << prompt + "|" + title;
            return answers.isEmpty() ? QString() : answers.takeFirst();
        });
        hs().HiScores.fill(ScoreEntry{});
    }
    void cleanup() {
        if (QFileInfo(path()).exists())
            QFile::setPermissions(path(), QFile::WriteOwner | QFile::ReadOwner);
    }

    void missingFileGivesFreshTableOf130Bytes() {
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QVERIFY(isFresh());
        QCOMPARE(hs().HiScores[10], ScoreEntry{});
        const QByteArray bytes = readFile(path());
        QCOMPARE(bytes.size(), 130);
        QCOMPARE(bytes.left(12), QByteArray("\x06\x00No One\x00\x00\x00\x00", 12));
        QCOMPARE(bytes.mid(120, 6), QByteArray(6, '\0')); // empty spare slot
        QCOMPARE(le32(bytes, 126), 5110);
        QCOMPARE(hs().ScoreChecksum(), 5110);
        QVERIFY(!QFileInfo::exists(scorefile::TempPath(path())));
        QCOMPARE(hs().lblName[0]->text(), QString("1.No One"));
        QCOMPARE(hs().lblScore[9]->text(), QString("0"));
    }

    void savedTableReadsBackEqual() {
        hs().LoadScores();
        hs().HiScores = tableOf({{"Ann", 900},
                                 {"Bo\xe9", 700},
                                 {"", 500},
                                 {"  ", 3},
                                 {"x", -5},
                                 {"No One", 0},
                                 {"No One", 0},
                                 {"No One", 0},
                                 {"No One", 0},
                                 {"Z", -70000},
                                 {"spare", 12}});
        const ScoreTable saved = hs().HiScores;
        hs().SaveScores();
        QVERIFY(messages.isEmpty());
        hs().HiScores.fill(ScoreEntry{"junk", 1});
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QVERIFY(hs().HiScores == saved);
        hs().displayScores();
        QCOMPARE(hs().lblName[1]->text(), QString::fromUtf8("2.Bo\u00e9"));
        QCOMPARE(hs().lblScore[4]->text(), QString("-5"));
        QCOMPARE(hs().lblName[9]->text(), QString("10.Z"));
    }

    void shorterSaveKeepsOldTailAndLoads() {
        hs().LoadScores();
        hs().HiScores[0] = ScoreEntry{"A much longer name than before", 100};
        hs().SaveScores();
        const QByteArray longFile = readFile(path());
        hs().HiScores[0] = ScoreEntry{"Al", 100};
        hs().SaveScores();
        const QByteArray shortFile = readFile(path());
        const QByteArray head = scorefile::Encode(hs().HiScores, hs().ScoreChecksum());
        QCOMPARE(shortFile.size(), longFile.size());
        QCOMPARE(shortFile.left(head.size()), head);
        QCOMPARE(shortFile.mid(head.size()), longFile.mid(head.size()));
        hs().HiScores.fill({});
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QCOMPARE(hs().HiScores[0], (ScoreEntry{"Al", 100}));
    }

    void changedByteInTableResetsWithMessage_data() {
        QTest::addColumn<int>("offset");
        // Everything before the spare slot's six bytes and the checksum's four.
        const int tableBytes = scorefile::Encode(ranked(), 0).size() - 10;
        QCOMPARE(tableBytes, 110);
        for (int at = 0; at < tableBytes; ++at)
            QTest::addRow("byte %d", at) << at;
        QTest::addRow("checksum") << tableBytes + 7;
    }
    void changedByteInTableResetsWithMessage() {
        QFETCH(int, offset);
        hs().HiScores = ranked();
        hs().SaveScores();
        QByteArray bytes = readFile(path());
        bytes[offset] = char(bytes[offset] ^ 0x01);
        writeFile(path(), bytes);
        hs().LoadScores();
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].text, QString("Invalid Scores file! Scores reset."));
        QCOMPARE(messages[0].style, 16);
        QVERIFY(isFresh());
        hs().HiScores.fill({});
        hs().LoadScores(); // the reset was written
        QCOMPARE(messages.size(), 1);
        QVERIFY(isFresh());
    }

    void changedSpareSlotIsAccepted() {
        hs().LoadScores();
        QByteArray bytes = readFile(path());
        bytes[122] = 0x2A; // points of the spare slot
        writeFile(path(), bytes);
        hs().HiScores.fill({});
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QVERIFY(isFresh());
        QCOMPARE(hs().HiScores[10].Points, 42);
    }

    void zeroChecksumResetsSilently() {
        // Ten empty names with 0 points: consistent, but stored checksum 0.
        ScoreTable empty;
        writeFile(path(), scorefile::Encode(empty, 0) + QByteArray("tail"));
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QVERIFY(isFresh());
        QCOMPARE(le32(readFile(path()), 126), 5110);
    }

    void truncatedFile_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("reported");
        QTest::addRow("empty") << 0 << false;
        QTest::addRow("one byte") << 1 << false; // nothing left that sums: stored 0, silent
        QTest::addRow("inside a name") << 50 << true;
        QTest::addRow("without checksum") << 126 << true;
        // The two low bytes of 5110 are all of it: the rest reads as zeros.
        QTest::addRow("half a checksum") << 128 << false;
        QTest::addRow("one byte short") << 129 << false;
        QTest::addRow("low byte only") << 127 << true;
    }
    void truncatedFile() {
        QFETCH(int, length);
        QFETCH(bool, reported);
        hs().LoadScores();
        writeFile(path(), readFile(path()).left(length));
        hs().HiScores.fill({});
        hs().LoadScores();
        QCOMPARE(messages.size(), reported ? 1 : 0);
        QVERIFY(isFresh());
    }

    void unopenableFileIsRuntimeError() {
        QVERIFY(QDir(dir->path()).mkdir("scores.dat"));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, hs().LoadScores());
    }

    void sortKeepsEqualScoresInOrder() {
        hs().HiScores = tableOf({{"a", 100},
                                 {"b", 80},
                                 {"c", 80},
                                 {"d", 50},
                                 {"e", 40},
                                 {"f", 30},
                                 {"g", 20},
                                 {"h", 10},
                                 {"i", 5},
                                 {"j", 1}});
        answers << "new";
        hs().NewHighScore(80);
        QCOMPARE(hs().HiScores[1].Name, QByteArray("b"));
        QCOMPARE(hs().HiScores[2].Name, QByteArray("c"));
        QCOMPARE(hs().HiScores[3], (ScoreEntry{"new", 80}));
        QCOMPARE(hs().HiScores[4].Name, QByteArray("d"));
        QCOMPARE(hs().HiScores[9].Name, QByteArray("i")); // "j" dropped
        QCOMPARE(hs().HiScores[10], ScoreEntry{});

        hs().HiScores = tableOf({{"x", 1}, {"y", 5}, {"z", 3}, {"w", 5}});
        hs().HiScores[10] = ScoreEntry{"s", 4};
        hs().sort();
        QByteArray order;
        for (const ScoreEntry& e : hs().HiScores)
            order += e.Name.left(1);
        // The exact swap order: the 5 found later in the scan overtakes the earlier one.
        QCOMPARE(order, QByteArray("wyszxNNNNNN"));
    }

    void nonQualifyingScoreAsksNothing() {
        hs().LoadScores();
        QFile::remove(path());
        hs().NewHighScore(0);
        hs().HiScores[9].Points = 50;
        hs().NewHighScore(50);
        QVERIFY(prompts.isEmpty());
        QVERIFY(!QFileInfo::exists(path())); // and no save
    }

    void namePrompt_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("stored");
        QTest::addRow("answered") << "Robin" << QByteArray("Robin");
        QTest::addRow("cancelled or empty") << QString() << QByteArray("Anonymous");
        QTest::addRow("spaces kept") << "  " << QByteArray("  ");
        QTest::addRow("code page")
            << QString::fromUtf8("Zo\u00eb \u20ac\u65e5\U0001F426") << QByteArray("Zo\xeb \x80??");
    }
    void namePrompt() {
        QFETCH(QString, typed);
        QFETCH(QByteArray, stored);
        hs().LoadScores();
        answers << typed;
        const qint32 score = 250;
        hs().NewHighScore(score);
        QCOMPARE(prompts, QStringList{"Enter Name:|New High Score!"});
        QCOMPARE(hs().HiScores[0], (ScoreEntry{stored, 250}));
        QCOMPARE(hs().HiScores[9], (ScoreEntry{"No One", 0}));
        hs().HiScores.fill({});
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QCOMPARE(hs().HiScores[0], (ScoreEntry{stored, 250}));
        hs().displayScores();
        QCOMPARE(hs().lblName[0]->text(), "1." + codepage::ToUnicode(stored));
    }

    void codePageRoundTrip() {
        QByteArray all;
        for (int b = 1; b < 256; ++b)
            all.append(char(b));
        QCOMPARE(codepage::FromUnicode(codepage::ToUnicode(all)), all);
        QCOMPARE(codepage::ToUnicode("\x80\x9f\xff"), QString::fromUtf8("\u20ac\u0178\u00ff"));
    }

    void failingSaveReportsAndKeepsTable_data() {
        QTest::addColumn<bool>("directory");
        QTest::addColumn<QString>("text");
        QTest::addRow("directory") << true << "Path/File access error\r\nError Number: 75";
        QTest::addRow("read-only") << false << "Permission denied\r\nError Number: 70";
    }
    void failingSaveReportsAndKeepsTable() {
        QFETCH(bool, directory);
        QFETCH(QString, text);
        hs().LoadScores();
        const QByteArray before = readFile(path());
        if (directory) {
            QVERIFY(QFile::remove(path()));
            QVERIFY(QDir(dir->path()).mkdir("scores.dat"));
        } else {
            QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner | QFile::ReadGroup));
        }
        answers << "Keeper";
        hs().NewHighScore(1234);
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].text, text);
        QCOMPARE(messages[0].style, 0);
        QCOMPARE(hs().HiScores[0], (ScoreEntry{"Keeper", 1234}));
        if (!directory) QCOMPARE(readFile(path()), before);
        QVERIFY(!QFileInfo::exists(scorefile::TempPath(path())));
    }

    void staleTempFileIsHarmless() {
        hs().LoadScores();
        writeFile(scorefile::TempPath(path()), QByteArray(300, 'x'));
        hs().HiScores.fill({});
        hs().LoadScores();
        QVERIFY(messages.isEmpty());
        QVERIFY(isFresh());
        answers << "Later";
        hs().NewHighScore(10);
        QVERIFY(messages.isEmpty());
        QVERIFY(!QFileInfo::exists(scorefile::TempPath(path())));
        hs().HiScores.fill({});
        hs().LoadScores();
        QCOMPARE(hs().HiScores[0], (ScoreEntry{"Later", 10}));
    }

    void saveKilledHalfWayLeavesLoadableFile() {
        hs().LoadScores();
        const ScoreTable longTable = tableOf(
            {{"A fairly long name for the champion", 9000}, {"Second", 800}, {"Third", 700}});
        const ScoreTable shortTable = tableOf({{"A", 5}});
        for (int round = 0; round < 6; ++round) {
            const pid_t child = ::fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                // Saves without pause, alternating long and short tables, until killed; never
                // returns into the test runner.
                try {
                    for (unsigned n = 0;; ++n) {
                        frmHiScores& h = frmHiScores::instance();
                        h.HiScores = (n % 2) ? shortTable : longTable;
                        scorefile::WriteHead(path(),
                                             scorefile::Encode(h.HiScores, h.ScoreChecksum()));
                    }
                } catch (...) {
                }
                ::_exit(1);
            }
            QTest::qWait(15 + 11 * round);
            ::kill(child, SIGKILL);
            int status = 0;
            ::waitpid(child, &status, 0);
            QVERIFY(WIFSIGNALED(status));
            hs().HiScores.fill({});
            hs().LoadScores();
            QVERIFY2(messages.isEmpty(), qPrintable(QString::number(round)));
            QVERIFY(hs().HiScores == longTable || hs().HiScores == shortTable);
        }
    }

    void resetFromMenuRewritesAndShows() {
        hs().LoadScores();
        hs().HiScores = tableOf({{"Ann", 900}, {"Bob", 800}});
        hs().HiScores[10] = ScoreEntry{"spare", 3};
        hs().displayScores();
        QCOMPARE(hs().lblName[0]->text(), QString("1.Ann"));
        hs().mnuReset->trigger();
        QVERIFY(isFresh());
        QCOMPARE(hs().HiScores[10], (ScoreEntry{"spare", 3}));
        QCOMPARE(hs().lblName[1]->text(), QString("2.No One"));
        QCOMPARE(hs().lblScore[0]->text(), QString("0"));
        const QByteArray bytes = readFile(path());
        QCOMPARE(bytes.size(), 135); // the spare slot's five name bytes
        QCOMPARE(le32(bytes, 131), 5110);
        QVERIFY(messages.isEmpty() && prompts.isEmpty());
    }

    void windowLayoutAndMenu() {
        QCOMPARE(hs().windowTitle(), QString("High Scores"));
        QVERIFY(hs().windowFlags() & Qt::MSWindowsFixedSizeDialogHint);
        QVERIFY(
            !(hs().windowFlags() & (Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint)));
        QCOMPARE(hs().lblName[9]->geometry(), QRect(30, 150 + 270, 191, 21));
        QCOMPARE(hs().lblScore[0]->geometry(), QRect(240, 150, 81, 21));
        QCOMPARE(hs().Bird1->size(), QSize(242, 100));
        QCOMPARE(hs().cmdClose->parentWidget()->size(), QSize(359, 498));
        QCOMPARE(hs().mnuScores->title(), QString("&Scores"));
        const auto items = hs().mnuScores->actions();
        QCOMPARE(items.size(), 3);
        QCOMPARE(items[0]->text(), QString("&Reset"));
        QVERIFY(items[1]->isSeparator());
        QCOMPARE(items[2]->text(), QString("&Exit"));
    }

    void windowClosesByEnterEscCloseBoxAndExit_data() {
        QTest::addColumn<int>("how");
        QTest::addRow("Enter") << 0;
        QTest::addRow("Esc") << 1;
        QTest::addRow("close box") << 2;
        QTest::addRow("menu Exit") << 3;
    }
    void windowClosesByEnterEscCloseBoxAndExit() {
        QFETCH(int, how);
        hs().LoadScores();
        bool answered = false;
        QTimer::singleShot(0, [&] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal != &hs()) return;
            // Showing fills the labels from the table, whatever they said before.
            answered = hs().lblName[0]->text() == "1.Zed";
            switch (how) {
            case 0:
                QTest::keyClick(modal, Qt::Key_Return);
                break;
            case 1:
                QTest::keyClick(modal, Qt::Key_Escape);
                break;
            case 2:
                modal->close();
                break;
            case 3:
                hs().mnuExit->trigger();
                break;
            }
        });
        QTimer::singleShot(3000, [&] { hs().hide(); });
        hs().HiScores[0] = ScoreEntry{"Zed", 7};
        hs().lblName[0]->setText("stale");
        hs().exec();
        QVERIFY(answered);
        QVERIFY(!hs().isVisible());
        QCOMPARE(hs().HiScores[0], (ScoreEntry{"Zed", 7}));
    }
};

QTEST_MAIN(TestScores)
#include "tst_scores.moc"
