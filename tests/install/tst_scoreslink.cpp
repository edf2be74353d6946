// The score file of an installed game: scores.dat beside the program is a symbolic link
// into a shared score directory, and saving must keep the link and reach its target.

#include "ScoreFile.h"
#include "frmHiScores.h"
#include "runtime.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

qint32 le32(const QByteArray& b, qsizetype at) {
    quint32 v = 0;
    for (int i = 0; i < 4; ++i)
        v |= quint32(quint8(b[at + i])) << (8 * i);
    return qint32(v);
}

} // namespace

class TestScoresLink : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> tmp;
    QStringList messages;
    QString app, shared;

    QString appFile() const { return app + "/scores.dat"; }
    QString sharedFile() const { return shared + "/scores.dat"; }

    void link(const QString& target, const QString& at) { QVERIFY(QFile::link(target, at)); }
    void checkLinkKept() {
        const QFileInfo info(appFile());
        QVERIFY(info.isSymLink());
        QCOMPARE(QDir(app).entryList(QDir::Files | QDir::System | QDir::Hidden),
                 QStringList{"scores.dat"});
    }

  private slots:
    void init() {
        tmp = std::make_unique<QTemporaryDir>();
        QVERIFY(tmp->isValid());
        app = tmp->filePath("lib/games/morvel-birds");
        shared = tmp->filePath("var/games/morvel-birds");
        QVERIFY(QDir().mkpath(app));
        QVERIFY(QDir().mkpath(shared));
        runtime::SetAppPath(app);
        messages.clear();
        runtime::SetMsgBoxHook([this](const QString& text, int) { messages << text; });
        runtime::SetInputBoxHook([](const QString&, const QString&) { return QString("Ann"); });
    }
    void cleanup() {
        runtime::SetMsgBoxHook({});
        runtime::SetInputBoxHook({});
        runtime::SetAppPath({});
    }

    void freshTableIsWrittenThroughTheLink() {
        link(sharedFile(), appFile());
        frmHiScores& scores = frmHiScores::instance();
        scores.LoadScores();
        const QByteArray bytes = readFile(sharedFile());
        QCOMPARE(bytes.size(), 130);
        QCOMPARE(le32(bytes, 126), 5110);
        QVERIFY(messages.isEmpty());
        checkLinkKept();
        QCOMPARE(QDir(shared).entryList(QDir::Files), QStringList{"scores.dat"});
    }

    void newScoreReplacesTheTargetAndKeepsTheLink() {
        link(sharedFile(), appFile());
        frmHiScores& scores = frmHiScores::instance();
        scores.LoadScores();
        scores.NewHighScore(900);
        const QByteArray bytes = readFile(sharedFile());
        QCOMPARE(bytes.mid(0, 5), QByteArray("\x03\x00"
                                             "Ann",
                                             5));
        QCOMPARE(le32(bytes, 5), 900);
        QVERIFY(messages.isEmpty());
        checkLinkKept();
        QCOMPARE(QDir(shared).entryList(QDir::Files), QStringList{"scores.dat"});

        // A second run reads the same table back through the link.
        scores.HiScores.fill(ScoreEntry{});
        scores.LoadScores();
        QCOMPARE(scores.HiScores[0].Name, QByteArray("Ann"));
        QCOMPARE(scores.HiScores[0].Points, 900);
        QVERIFY(messages.isEmpty());
    }

    void relativeLinksAreFollowedToTheEnd() {
        QVERIFY(QDir().mkpath(tmp->filePath("mid")));
        const QString real = shared + "/real.dat";
        link("../var/games/morvel-birds/real.dat", tmp->filePath("mid/hop.dat"));
        link("../../../mid/hop.dat", appFile());
        QCOMPARE(QFileInfo(scorefile::FinalTarget(appFile())).absoluteFilePath(),
                 QFileInfo(real).absoluteFilePath());
        QCOMPARE(QFileInfo(scorefile::TempPath(appFile())).absolutePath(),
                 QFileInfo(real).absolutePath());

        frmHiScores& scores = frmHiScores::instance();
        scores.LoadScores();
        scores.NewHighScore(700);
        QCOMPARE(le32(readFile(real), 5), 700);
        QVERIFY(QFileInfo(tmp->filePath("mid/hop.dat")).isSymLink());
        checkLinkKept();
        QCOMPARE(QDir(shared).entryList(QDir::Files), QStringList{"real.dat"});
    }

    void plainFileIsItsOwnTarget() {
        QCOMPARE(scorefile::FinalTarget(appFile()), appFile());
        QCOMPARE(scorefile::TempPath(appFile()), appFile() + ".tmp");
    }

    void failedSaveSaysSoAndLosesNothing() {
        link(sharedFile(), appFile());
        frmHiScores& scores = frmHiScores::instance();
        scores.LoadScores();
        const QByteArray before = readFile(sharedFile());
        // No write bit at all is read-only even for the superuser.
        QVERIFY(QFile::setPermissions(sharedFile(), QFile::ReadOwner | QFile::ReadGroup));
        scores.NewHighScore(800);
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages[0].contains("Error Number: 70"), qPrintable(messages[0]));
        QCOMPARE(readFile(sharedFile()), before);
        QCOMPARE(scores.HiScores[0].Points, 800); // still in the table for a later save
        checkLinkKept();
        QCOMPARE(QDir(shared).entryList(QDir::Files), QStringList{"scores.dat"});
    }

    void missingSharedDirectoryIsAnErrorNotAFreshTable() {
        link(tmp->filePath("nowhere/scores.dat"), appFile());
        try {
            frmHiScores::instance().LoadScores();
            QFAIL("no error raised");
        } catch (const runtime::RuntimeError& e) {
            QCOMPARE(e.number(), 76);
        }
        QVERIFY(QFileInfo(appFile()).isSymLink());
    }

    void loopOfLinksEndsInAnError() {
        link(app + "/other.dat", appFile());
        link(appFile(), app + "/other.dat");
        bool raised = false;
        try {
            scorefile::WriteHead(appFile(), "x");
        } catch (const runtime::RuntimeError&) {
            raised = true;
        }
        QVERIFY(raised);
        QVERIFY(QFileInfo(appFile()).isSymLink());
    }
};

QTEST_MAIN(TestScoresLink)
#include "tst_scoreslink.moc"
