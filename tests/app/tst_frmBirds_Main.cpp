#include "LazyIconStyle.h"
#include "frmBirds_Main.h"
#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "frmInfo.h"
#include "modGame.h"
#include "runtimetest.h"

#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QPushButton>
#include <QStyleFactory>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>

class TestMainWindow : public QObject {
    Q_OBJECT
    QTemporaryDir base;
    std::unique_ptr<frmBirds_Main> w;
    QStringList messages;
    QList<int> ends; // exit statuses

    int pressedGroup() {
        return w->Buttons(1)->isChecked() * 100 + w->Buttons(2)->isChecked() * 10 +
               w->Buttons(3)->isChecked();
    }
    // Logs the modal window shown a moment later and answers it; a wrong one is just hidden.
    QStringList log;
    void whenModal(QWidget* expected, std::function<void()> answer) {
        QTimer::singleShot(300, [=, this] {
            QWidget* modal = QApplication::activeModalWidget();
            log << (modal ? modal->windowTitle() : "none");
            modal == expected ? answer() : modal ? modal->hide() : void();
        });
    }
    // A running game, no bird in the air, a full gun.
    void freshGame() {
        if (modGame::GameState != modGame::StatePlaying) modGame::Go();
        for (auto& bird : modGame::Birds)
            bird->Zero();
        modGame::BirdsLeft = 0;
        modGame::Bullets = 10;
    }

  private slots:
    void initTestCase() {
        const QString run = qEnvironmentVariable("MORVEL_RUN_DIR");
        QVERIFY(QDir().mkpath(base.path() + "/Graphics") &&
                QFile::link(run + "/Sounds", base.path() + "/Sounds"));
        for (const QFileInfo& f : QDir(run + "/Graphics").entryInfoList(QDir::Files))
            QVERIFY(QFile::link(f.filePath(), base.path() + "/Graphics/" + f.fileName()));
        runtime::SetAppPath(base.path());
        QApplication::setStyle(new LazyIconStyle); // as the program does
        // As long as a real message box would, it keeps the event loop running.
        runtime::SetMsgBoxHook([this](const QString& prompt, int) {
            QTest::qWait(150);
            messages << prompt + " @" + QString::number(modGame::TickCount);
        });
        runtime::SetInputBoxHook([](const QString&, const QString&) { return QString("Tester"); });
        runtime::SetEndHook([this](int status) { ends << status; });
    }

    // No background: a run-time error, no 1 ms tick reaches the engine; then it is there.
    void missingBackgroundEndsStartUp() {
        const QString background = base.path() + "/Graphics/BackGround.bmp";
        const QString target = QFile::symLinkTarget(background);
        QVERIFY(QFile::remove(background));
        w = std::make_unique<frmBirds_Main>();
        QCOMPARE(ends, QList<int>{1});
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages[0].contains("53") && messages[0].endsWith(" @0"),
                 qPrintable(messages[0]));

        w.reset();
        messages = {};
        ends = {};
        QVERIFY(QFile::link(target, background));
        w = std::make_unique<frmBirds_Main>();
        w->show();
    }

    // Reading any picture through the toolkit loads all of its image plugins, so the bars'
    // overflow icons are read only when drawn; drawn, they are the style's own.
    void startingLoadsNoImagePlugin() {
        QTRY_VERIFY(w->isVisible() && w->picScreen().isVisible());
        QFile maps("/proc/self/maps");
        QVERIFY(maps.open(QIODevice::ReadOnly));
        QVERIFY(!maps.readAll().contains("/imageformats/"));
        const QStyle* base = static_cast<QProxyStyle*>(QApplication::style())->baseStyle();
        for (auto which : {QStyle::SP_ToolBarHorizontalExtensionButton,
                           QStyle::SP_ToolBarVerticalExtensionButton}) {
            const QImage drawn = w->menuBar()->style()->standardIcon(which).pixmap(16).toImage();
            QVERIFY(!drawn.isNull());
            QCOMPARE(drawn, base->standardIcon(which).pixmap(16).toImage());
        }
    }

    // The menus' captions with their access keys, and the image each toolbar position shows,
    // told by its pixels (0: a spacer). Names, tool tips and labels are what a screen reader
    // reads, checked end to end.
    void captionsAndImagesAsLaidOut() {
        QStringList shown;
        for (QAction* m : w->menuBar()->actions()) {
            shown << m->text();
            for (QAction* a : m->menu()->actions())
                shown << (a->isSeparator() ? "-" : a->text());
        }
        const ImageList images;
        for (int i = 1, n; i <= 14; shown << QString::number(n), ++i)
            for (n = ImageList::Count; n > 0 && (w->Buttons(i)->icon().isNull() ||
                                                 w->Buttons(i)->icon().pixmap(16).toImage() !=
                                                     images.icon(n).pixmap(16).toImage());)
                --n;
        QCOMPARE(shown.join(';'), "&Game;&Go!;&Pause;&Stop!;-;&High Scores;-;&Exit;&Options;"
                                  "&Increase Speed;&Decrease Speed;&Toggle Sound;&Help;&Info;"
                                  "10;8;1;0;0;6;11;0;0;7;0;0;5;3");
    }

    void groupButtonsBehaveLikeRadioButtons() {
        QCOMPARE(pressedGroup(), 1);
        w->Buttons(2)->trigger(); // Pause changes nothing at the title
        QCOMPARE(pressedGroup(), 10);
        w->Buttons(2)->trigger();
        QCOMPARE(pressedGroup(), 10);
        w->setButtonValue(1, 1);
        QCOMPARE(pressedGroup(), 100);
        QTRY_COMPARE_WITH_TIMEOUT(pressedGroup(), 1, 2000); // the refresh's choice
    }

    void anyButtonShootsInTheFieldAtTheHalfToEvenPoint() {
        freshGame();
        for (Qt::MouseButton b : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton})
            QTest::mouseClick(&w->picScreen(), b, {}, QPoint(300, 300));
        QTest::mousePress(w->statusBar(), Qt::LeftButton, {}, QPoint(50, 10));
        QTest::mousePress(w->findChild<QWidget*>("lblBirds"), Qt::RightButton);
        QCOMPARE(modGame::Bullets, 7);
        // A bird flown into the field until its corner lies on even pixels, where each half
        // below rounds to the even side of a box edge. Its steps are whole pixels of a fixed
        // size, so only a bird entering on an even row (every entry column is even) gets there.
        freshGame();
        clsBird& bird = *modGame::Birds[0];
        do {
            bird.Zero();
            bird.appear();
        } while (bird.posY() % 2 != 0);
        const auto placed = [&] {
            return bird.posX() >= 0 && bird.posX() <= 400 && bird.posY() >= 0 &&
                   bird.posY() <= 290 && bird.posX() % 2 == 0 && bird.posY() % 2 == 0;
        };
        for (int i = 0; i < 10000 && !placed(); ++i)
            bird.move();
        QVERIFY(placed());
        const clsBird there = bird;
        // Whether a shot at the bird's corner plus (dx, dy) hits: dx 45 to 98, dy 50 to 100.
        auto hits = [&](double dx, double dy) {
            freshGame();
            bird = there;
            const modGame::Long score = modGame::Score;
            emit w->picScreen().MouseDown(2, 0, there.posX() + dx, there.posY() + dy);
            return modGame::Score == score + 50;
        };
        QVERIFY(hits(98.5, 60) && hits(60, 49.5));                       // to 98, 50
        QVERIFY(!hits(44.5, 60) && !hits(99.5, 60) && !hits(60, 100.6)); // 44, 100, 101
    }

    void closeRequestIsTurnedIntoTheExitQuestion() {
        freshGame();
        log = {};
        whenModal(&frmExit::instance(), [] { frmExit::instance().cmdStay->click(); });
        QVERIFY(!w->close() && w->isVisible());
        QCOMPARE(log, QStringList{"Exit Game?!"});
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        QVERIFY(ends.isEmpty());
    }

    // Ticks arriving while one waits in the game-over dialog are dropped, not made up later.
    void ticksArrivingDuringATickAreDropped() {
        freshGame();
        modGame::BirdsLeft = 10;
        bool dropped = false;
        log = {};
        whenModal(&frmGameOver::instance(), [&] {
            const modGame::Long atOpen = modGame::TickCount;
            w->tmrGame().setInterval(20);
            QTest::qWait(300);
            dropped = modGame::TickCount == atOpen;
            frmGameOver::instance().hide();
        });
        QTest::qWait(500);
        QVERIFY(log == QStringList{"Game Over!"} && dropped);
        const modGame::Long after = modGame::TickCount;
        QTRY_VERIFY_WITH_TIMEOUT(modGame::TickCount > after + 3, 2000);
        QVERIFY(messages.isEmpty());
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
    // The game-over dialog's Close offers the final score to the table the main window keeps.
    void gameOver() {
        QFETCH(int, score);
        QFETCH(bool, closeBox);
        QFETCH(QString, expected);
        frmGameOver& go = frmGameOver::instance();
        frmHiScores& hs = frmHiScores::instance();
        log = {};
        runtime::SetInputBoxHook([this](const QString& prompt, const QString&) {
            // The prompt comes after the game-over dialog has gone, before the table shows.
            const bool covered =
                frmGameOver::instance().isVisible() || frmHiScores::instance().isVisible();
            log << "prompt " + prompt + (covered ? " covered" : "");
            return QString("Ace");
        });
        hs.mnuReset_Click(); // a fresh table
        freshGame();
        modGame::PauseGame(); // the ticks behind the dialogs leave a paused game's score alone
        modGame::Score = score;
        whenModal(&go, [&] {
            whenModal(&hs, [&] {
                log << hs.lblName[0]->text() + " " + hs.lblScore[0]->text();
                hs.cmdClose->click();
            });
            closeBox ? (void)go.close() : go.cmdClose->click();
        });
        w->showGameOver();
        QTRY_COMPARE(log.join(';'), expected);
        QCOMPARE(hs.HiScores[0].Points, closeBox ? 0 : score);
    }

    // Every menu item and toolbar button reaches its own command: the game's state, speed and
    // sound after it, and the window it opens, from a game paused (for Go) or running.
    void everyCommandReachesItsAction() {
        const struct {
            const char* item;
            int button; // 0: none on the toolbar
            QString after;
        } rows[] = {{"mnuGo", 1, "1 50 -1 none"}, // from a paused game

                    {"mnuPause", 2, "2 50 -1 none"},
                    {"mnuStop", 3, "0 50 -1 High Scores"},
                    {"mnuHiScores", 0, "2 50 -1 High Scores"},
                    {"mnuExit", 14, "2 50 -1 Exit Game?!"},
                    {"mnuIncreseSpeed", 7, "1 47 -1 none"},
                    {"mnuDecreaseSpeed", 6, "1 53 -1 none"},
                    {"mnuSound", 10, "1 50 0 none"},
                    {"mnuAbout", 13, "2 50 -1 About The Morvel Bird Game!"}};
        for (const auto& row : rows)
            for (QAction* command : {w->findChild<QAction*>(row.item), w->Buttons(row.button)}) {
                if (!command) continue;
                freshGame();
                if (row.button == 1) modGame::PauseGame();
                modGame::TimerInterval = 50;
                modGame::SoundEnabled = runtime::True;
                QString shown = "none";
                QTimer::singleShot(200, [&] {
                    if (QWidget* modal = QApplication::activeModalWidget())
                        shown = modal->windowTitle(), modal->hide();
                });
                command->trigger();
                QTest::qWait(250);
                QCOMPARE(QString("%1 %2 %3 %4")
                             .arg(modGame::GameState)
                             .arg(modGame::TimerInterval)
                             .arg(modGame::SoundEnabled)
                             .arg(shown),
                         row.after);
            }
    }

    // Every window keeps its size, with a close box and no minimize or maximize button.
    void everyWindowIsFixed() {
        for (QWidget* window : std::initializer_list<QWidget*>{
                 w.get(), &frmHiScores::instance(), &frmGameOver::instance(),
                 &frmExit::instance(), &frmInfo::instance()}) {
            if (window->layout()) window->layout()->activate();
            const Qt::WindowFlags f = window->windowFlags();
            QVERIFY2(window->minimumSize() == window->maximumSize() &&
                         f.testFlags(Qt::WindowCloseButtonHint | Qt::WindowSystemMenuHint) &&
                         !(f & (Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint)),
                     qPrintable(window->windowTitle()));
        }
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_frmBirds_Main.moc"
