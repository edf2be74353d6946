#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "frmInfo.h"
#include "runtime.h"

#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

class TestDialogs : public QObject {
    Q_OBJECT

    frmGameOver& go = frmGameOver::instance();
    frmHiScores& hs = frmHiScores::instance();
    frmExit& ex = frmExit::instance();
    QTemporaryDir dir;
    QStringList log;
    QList<int> ended; // exit statuses

    // Logs the modal window shown a moment later and answers it; a wrong one is just hidden.
    void whenModal(QWidget* expected, std::function<void()> answer) {
        QTimer::singleShot(300, [=, this] {
            QWidget* modal = QApplication::activeModalWidget();
            log << (modal ? modal->windowTitle() : "none");
            modal == expected ? answer() : modal ? modal->hide() : void();
        });
    }

  private slots:
    void init() {
        runtime::SetAppPath(dir.path());
        log = {};
        ended = {};
        runtime::SetInputBoxHook([this](const QString& prompt, const QString&) {
            // The prompt comes after the game-over dialog has gone, before the table shows.
            log << "prompt " + prompt + (go.isVisible() || hs.isVisible() ? " covered" : "");
            return QString("Ace");
        });
        runtime::SetEndHook([this](int status) { ended << status; });
        hs.mnuReset_Click(); // a fresh table
    }

    void gameOver_data() {
        QTest::addColumn<int>("score");
        QTest::addColumn<bool>("closeBox");
        QTest::addColumn<QString>("expected");
        QTest::addRow("high") << 700 << false
                              << "Game Over!;prompt Enter Name:;High Scores;1.Ace 700";
        QTest::addRow("low") << 0 << false << "Game Over!;High Scores;1.No One 0";
        QTest::addRow("close box") << 5000 << true << "Game Over!;none";
    }
    void gameOver() {
        QFETCH(int, score);
        QFETCH(bool, closeBox);
        QFETCH(QString, expected);
        go.ScoreSource = [score] { return qint32(score); };
        whenModal(&go, [&] {
            whenModal(&hs, [&] {
                log << hs.lblName[0]->text() + " " + hs.lblScore[0]->text();
                hs.cmdClose->click();
            });
            closeBox ? (void)go.close() : go.cmdClose->click();
        });
        go.exec();
        QTRY_COMPARE(log.join(';'), expected);
        QCOMPARE(hs.HiScores[0].Points, closeBox ? 0 : score);
    }

    void exit_data() {
        QTest::addColumn<int>("ends");
        QTest::addRow("No!") << 0;
        QTest::addRow("Esc") << 0;
        QTest::addRow("Yes!") << 1;
        QTest::addRow("Enter") << 1;
    }
    void exit() {
        QFETCH(int, ends);
        const QString how = QTest::currentDataTag();
        whenModal(&ex, [&] {
            if (how == "Esc" || how == "Enter")
                QTest::keyClick(&ex, how == "Esc" ? Qt::Key_Escape : Qt::Key_Return);
            for (QPushButton* b : ex.findChildren<QPushButton*>())
                if (b->text() == how) b->click();
            log << QString::number(ended.size()) +
                       (ended.isEmpty() && ex.isVisible() ? " still open" : "");
            ex.hide(); // the real end never comes back here
        });
        ex.exec();
        QCOMPARE(log, (QStringList{"Exit Game?!", QString::number(ends)}));
        QCOMPARE(ended, QList<int>(ends, 0)); // leaving is no failure
    }

    void infoShowsVersion() {
        frmInfo& info = frmInfo::instance();
        whenModal(&info, [&] {
            log << info.lblVersion->text();
            QTest::keyClick(&info, Qt::Key_Return);
        });
        info.exec();
        QCOMPARE(log.join(';'), "About The Morvel Bird Game!;Version 1.1.0");
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
