// scores.dat beside the program is a symbolic link into a shared score directory: saving must
// reach the link's final target, with its journal beside that target, and keep the links.

#include "ScoreFile.h"
#include "frmHiScores.h"
#include "runtime.h"

#include <QtTest> // with all of QtCore

class TestScoresLink : public QObject {
    Q_OBJECT

  private slots:
    void savingFollowsTheLinkAndKeepsIt() {
        QTemporaryDir tmp;
        const QString app = tmp.filePath("lib/games/morvel-birds"), link = app + "/scores.dat";
        const QString shared = tmp.filePath("var/games/morvel-birds"), real = shared + "/real.dat";
        QVERIFY(QDir().mkpath(app) && QDir().mkpath(shared));
        // Two relative hops, each resolved against the directory of its own link.
        QVERIFY(QFile::link("var/games/morvel-birds/real.dat", tmp.filePath("hop.dat")));
        QVERIFY(QFile::link("../../../hop.dat", link));
        QCOMPARE(QFileInfo(scorefile::FinalTarget(link)).absoluteFilePath(), real);
        QCOMPARE(QFileInfo(scorefile::JournalPath(link)).absolutePath(), shared);

        QStringList messages;
        runtime::SetAppPath(app);
        runtime::SetMsgBoxHook([&](const QString& text, int) { messages << text; });
        runtime::SetInputBoxHook([](const QString&, const QString&) { return QString("Ann"); });
        const auto realBytes = [&] {
            QFile f(real);
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        };
        frmHiScores& scores = frmHiScores::instance();
        scores.LoadScores(); // no table yet: a fresh one is written through the links
        QCOMPARE(realBytes().size(), 130);
        scores.NewHighScore(700);
        QCOMPARE(realBytes().left(9), QByteArray::fromHex("0300416e6ebc020000")); // "Ann", 700
        QVERIFY(QFileInfo(link).isSymLink() && QFileInfo(tmp.filePath("hop.dat")).isSymLink());
        // Nothing new beside the link; beside the target only its journal, empty after the save.
        QCOMPARE(QDir(app).entryList(QDir::Files | QDir::System | QDir::Hidden),
                 QStringList{"scores.dat"});
        QCOMPARE(QDir(shared).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"real.dat", "real.dat-journal"}));
        QCOMPARE(QFileInfo(shared + "/real.dat-journal").size(), 0);
        QCOMPARE(messages, QStringList{});
    }
};

QTEST_MAIN(TestScoresLink)
#include "tst_scoreslink.moc"
