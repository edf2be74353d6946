#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "frmInfo.h"
#include "runtime.h"

#include <QDesktopServices>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>
#include <QtTest>
#include <functional>
#include <memory>

namespace {

// Runs action once `expected` is the modal window on top; gives up (hiding whatever is
// modal) after two seconds so a wrong flow fails instead of hanging.
void whenModal(QWidget* expected, std::function<void()> action, QStringList* log = nullptr) {
    auto* poll = new QTimer(qApp);
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, [=, tries = 0]() mutable {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal == expected && modal->isVisible()) {
            poll->stop();
            poll->deleteLater();
            if (log) *log << modal->windowTitle();
            action();
        } else if (++tries >= 200) {
            poll->stop();
            poll->deleteLater();
            if (log) *log << "timeout";
            if (modal) modal->hide();
        }
    });
    poll->start();
}

} // namespace

class UrlCatcher : public QObject {
    Q_OBJECT
  public:
    QList<QUrl> urls;
  public slots:
    void open(const QUrl& url) { urls << url; }
};

class TestDialogs : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    QStringList log;
    QStringList answers;
    int ended = 0;

  private slots:
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        runtime::SetAppPath(dir->path());
        log.clear();
        answers.clear();
        ended = 0;
        runtime::SetMsgBoxHook([this](const QString& t, int) { log << "message " + t; });
        runtime::SetInputBoxHook([this](const QString& prompt, const QString&) {
            // The prompt comes after the game-over dialog has gone, before the table shows.
            log << "prompt " + prompt;
            if (frmGameOver::instance().isVisible() || frmHiScores::instance().isVisible())
                log << "prompt over another window";
            return answers.isEmpty() ? QString() : answers.takeFirst();
        });
        runtime::SetEndHook([this] { ++ended; });
        frmHiScores::instance().LoadScores();
    }

    void gameOverOffersScoreThenShowsTable() {
        frmGameOver& go = frmGameOver::instance();
        frmHiScores& hs = frmHiScores::instance();
        go.ScoreSource = [] { return qint32(700); };
        answers << "Ace";
        QString firstLine;
        whenModal(
            &go,
            [&] {
                whenModal(
                    &hs,
                    [&] {
                        firstLine = hs.lblName[0]->text() + " " + hs.lblScore[0]->text();
                        hs.cmdClose->click();
                    },
                    &log);
                go.cmdClose->click();
            },
            &log);
        go.exec();
        QCOMPARE(log, (QStringList{"Game Over!", "prompt Enter Name:", "High Scores"}));
        QCOMPARE(firstLine, QString("1.Ace 700"));
        QVERIFY(!go.isVisible() && !hs.isVisible());
        QCOMPARE(hs.HiScores[0], (ScoreEntry{"Ace", 700}));
    }

    void gameOverWithLowScoreShowsTableWithoutPrompt() {
        frmGameOver& go = frmGameOver::instance();
        frmHiScores& hs = frmHiScores::instance();
        go.ScoreSource = [] { return qint32(0); };
        whenModal(
            &go,
            [&] {
                whenModal(
                    &hs, [&] { hs.cmdClose->click(); }, &log);
                go.cmdClose->click();
            },
            &log);
        go.exec();
        QCOMPARE(log, (QStringList{"Game Over!", "High Scores"}));
    }

    void gameOverCloseBoxSkipsTheTable() {
        frmGameOver& go = frmGameOver::instance();
        go.ScoreSource = [] { return qint32(5000); };
        whenModal(
            &go,
            [&] {
                QTest::keyClick(&go, Qt::Key_Escape); // no cancel button: nothing happens
                log << (go.isVisible() ? "still open" : "closed by Esc");
                go.close();
            },
            &log);
        go.exec();
        QCOMPARE(log, (QStringList{"Game Over!", "still open"}));
        QCOMPARE(frmHiScores::instance().HiScores[0].Points, 0);
    }

    void gameOverLayout() {
        frmGameOver& go = frmGameOver::instance();
        QCOMPARE(go.size(), QSize(387, 352));
        QCOMPARE(go.Bird1->size(), QSize(90, 94));
        QVERIFY(go.Label2->text().startsWith(
            "You were too slow, and the Morvel Birds have conquered the world!"));
        QVERIFY(go.Label2->font().bold());
        QVERIFY(!go.cmdClose->isDefault());
    }

    void exitNoAndEscStay_data() {
        QTest::addColumn<bool>("byKey");
        QTest::addRow("No!") << false;
        QTest::addRow("Esc") << true;
    }
    void exitNoAndEscStay() {
        QFETCH(bool, byKey);
        frmExit& ex = frmExit::instance();
        whenModal(
            &ex,
            [&] {
                if (byKey)
                    QTest::keyClick(&ex, Qt::Key_Escape);
                else
                    ex.cmdStay->click();
            },
            &log);
        ex.exec();
        QCOMPARE(log, QStringList{"Exit Game?!"});
        QCOMPARE(ended, 0);
        QVERIFY(!ex.isVisible());
    }

    void exitYesEnds_data() {
        QTest::addColumn<bool>("byKey");
        QTest::addRow("Yes!") << false;
        QTest::addRow("Enter") << true;
    }
    void exitYesEnds() {
        QFETCH(bool, byKey);
        frmExit& ex = frmExit::instance();
        whenModal(
            &ex,
            [&] {
                if (byKey)
                    QTest::keyClick(&ex, Qt::Key_Return);
                else
                    ex.cmdExit->click();
                log << QString::number(ended);
                ex.hide(); // the real end never comes back here
            },
            &log);
        ex.exec();
        QCOMPARE(log, (QStringList{"Exit Game?!", "1"}));
        QCOMPARE(ex.cmdExit->text(), QString("Yes!"));
        QCOMPARE(ex.cmdStay->text(), QString("No!"));
        QCOMPARE(ex.size(), QSize(361, 232));
    }

    void infoShowsVersionAndEmail() {
        frmInfo& info = frmInfo::instance();
        QString version, email;
        whenModal(
            &info,
            [&] {
                version = info.lblVersion->text();
                email = info.lblEmail->text();
                QTest::keyClick(&info, Qt::Key_Return);
            },
            &log);
        info.exec();
        QCOMPARE(version, QString("Version 1.1.0"));
        QCOMPARE(email, "Email:" + frmInfo::MakerEmail);
        QVERIFY(frmInfo::MakerEmail.contains('@'));
        QVERIFY(!info.isVisible());
        QCOMPARE(info.picLogo->size(), QSize(280, 143));
        QCOMPARE(info.picLogo->cursor().shape(), Qt::PointingHandCursor);
        QCOMPARE(info.lblEmail->cursor().shape(), Qt::PointingHandCursor);
    }

    void infoLoadsAgainOnlyAfterCloseBox() {
        frmInfo& info = frmInfo::instance();
        QStringList seen;
        auto show = [&](std::function<void()> closer) {
            whenModal(&info, [&, closer] {
                seen << info.lblVersion->text();
                info.lblVersion->setText("changed");
                closer();
            });
            info.exec();
        };
        show([&] { info.cmdClose->click(); });
        show([&] { info.close(); });
        show([&] { QTest::keyClick(&info, Qt::Key_Escape); });
        QCOMPARE(seen, (QStringList{"Version 1.1.0", "changed", "Version 1.1.0"}));
    }

    void infoLinksOpenMailAndWebPage() {
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("mailto", &catcher, "open");
        QDesktopServices::setUrlHandler("https", &catcher, "open");
        frmInfo& info = frmInfo::instance();
        whenModal(&info, [&] {
            QTest::mouseClick(info.lblEmail, Qt::LeftButton);
            QTest::mouseClick(info.picLogo, Qt::LeftButton);
            QTest::mouseClick(info.lblVersion, Qt::LeftButton); // not a link
            log << (info.isVisible() ? "stays open" : "closed");
            info.cmdClose->click();
        });
        info.exec();
        QDesktopServices::unsetUrlHandler("mailto");
        QDesktopServices::unsetUrlHandler("https");
        QCOMPARE(catcher.urls,
                 (QList<QUrl>{QUrl("mailto:" + frmInfo::MakerEmail), QUrl(frmInfo::MakerWebPage)}));
        QCOMPARE(log, QStringList{"stays open"});
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
