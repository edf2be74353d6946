#include "frmBirds_Main.h"
#include "frmExit.h"
#include "modGame.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <functional>
#include <memory>

namespace {

void copyFiles(const QString& from, const QString& to) {
    QDir().mkpath(to);
    for (const QFileInfo& f : QDir(from).entryInfoList(QDir::Files))
        QFile::copy(f.filePath(), to + QLatin1Char('/') + f.fileName());
}

// Opens a modal window with `open`, answers it with `answer`; returns the window's class.
QString answerModal(const std::function<void()>& open,
                    const std::function<void(QWidget*)>& answer) {
    QString seen;
    QTimer::singleShot(200, [&] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            seen = QString::fromLatin1(modal->metaObject()->className());
            answer(modal);
        }
    });
    open();
    return seen;
}
void hideIt(QWidget* w) {
    w->hide();
}
void stay(QWidget* w) {
    static_cast<frmExit*>(w)->cmdStay->click();
}

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
    QTemporaryDir base;
    std::unique_ptr<frmBirds_Main> w;
    QStringList messages;
    int ends = 0;

    template <class T> T* child(const char* name) { return w->findChild<T*>(QLatin1String(name)); }
    QToolButton* button(int position) {
        return qobject_cast<QToolButton*>(
            child<QToolBar>("Toolbar")->widgetForAction(w->Buttons(position)));
    }
    QList<int> pressedGroup() {
        QList<int> pressed;
        for (int i = 1; i <= 3; ++i)
            if (w->Buttons(i)->isChecked()) pressed << i;
        return pressed;
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
        const QString run = QString::fromLocal8Bit(qgetenv("MORVEL_RUN_DIR"));
        QVERIFY(!run.isEmpty());
        copyFiles(run + QStringLiteral("/Graphics"), base.path() + QStringLiteral("/Graphics"));
        copyFiles(run + QStringLiteral("/Sounds"), base.path() + QStringLiteral("/Sounds"));
        runtime::SetAppPath(base.path());
        runtime::SetMsgBoxHook([this](const QString& prompt, int) { messages << prompt; });
        runtime::SetInputBoxHook(
            [](const QString&, const QString&) { return QStringLiteral("Tester"); });
        runtime::SetEndHook([this] { ++ends; });
        w = std::make_unique<frmBirds_Main>();
        QVERIFY2(messages.isEmpty(), qPrintable(messages.join(QLatin1Char('\n'))));
    }

    // Before the first tick: the window as laid out, and what start-up has done.
    void startsAsLaidOut() {
        QCOMPARE(w->windowTitle(), QStringLiteral("The Morvel Bird Game"));
        const Qt::WindowFlags f = w->windowFlags();
        QVERIFY((f & Qt::WindowCloseButtonHint) && (f & Qt::WindowSystemMenuHint));
        QVERIFY(!(f & (Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint)));
        QCOMPARE(w->minimumSize(), w->maximumSize());
        // The icon: two images of black, white and transparent pixels only.
        for (int size : {16, 32}) {
            const QImage image = QApplication::windowIcon()
                                     .pixmap(size, size)
                                     .toImage()
                                     .convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(image.size(), QSize(size, size));
            QSet<QRgb> colours;
            for (int y = 0; y < size; ++y)
                for (int x = 0; x < size; ++x)
                    colours.insert(qAlpha(image.pixel(x, y)) ? image.pixel(x, y) : 0);
            QCOMPARE(colours, (QSet<QRgb>{0, qRgb(0, 0, 0), qRgb(255, 255, 255)}));
        }
        QCOMPARE(pressedGroup(), QList<int>{3});
        QCOMPARE(child<QLabel>("Panel1")->text() + child<QLabel>("Panel2")->text(),
                 QStringLiteral("Score:0"));

        QCOMPARE(w->tmrGame().timerType(), Qt::PreciseTimer);
        QVERIFY(w->tmrGame().isActive());
        QCOMPARE(w->tmrGame().interval(), 50);
        QCOMPARE(modGame::GameTimer, &w->tmrGame());

        const QImage background =
            LoadPicture(base.path() + QStringLiteral("/Graphics/BackGround.bmp"));
        QCOMPARE(w->picScreen().size(), QSize(604, 404));
        QCOMPARE(w->picScreen().surface(), background.convertToFormat(QImage::Format_RGB32));
        QVERIFY(w->PicBuffer().isHidden());
        QCOMPARE(w->PicBuffer().surface().size(), QSize(600, 400));
    }

    void menusCarryTheirNamesAndAccessKeys() {
        // Menu first, then its items; "-" is a separator.
        const QList<QStringList> tree = {
            {"mnuGame=&Game", "mnuGo=&Go!", "mnuPause=&Pause", "mnuStop=&Stop!", "seperator=-",
             "mnuHiScores=&High Scores", "seperator2=-", "mnuExit=&Exit"},
            {"mnuOptions=&Options", "mnuIncreseSpeed=&Increase Speed",
             "mnuDecreaseSpeed=&Decrease Speed", "mnuSound=&Toggle Sound"},
            {"mnuHelp=&Help", "mnuAbout=&Info"}};
        QList<QStringList> shown;
        for (QAction* m : w->menuBar()->actions()) {
            QStringList entries{m->menu()->objectName() + QLatin1Char('=') + m->text()};
            for (QAction* a : m->menu()->actions()) {
                entries << a->objectName() + QLatin1Char('=') +
                               (a->isSeparator() ? QStringLiteral("-") : a->text());
                QVERIFY(a->shortcut().isEmpty() && !a->isCheckable() && a->isEnabled() &&
                        a->isVisible());
            }
            shown << entries;
        }
        QCOMPARE(shown, tree);
    }

    void toolbarHasFourteenPositions() {
        // Tag, tool tip, image; empty for a spacer.
        const QStringList laid = {"Play|Play|10",
                                  "Pause|Pause|8",
                                  "Stop|Stop|1",
                                  "",
                                  "",
                                  "Minus|Decrease Speed|6",
                                  "Plus|Increase Speed|11",
                                  "",
                                  "",
                                  "Sound|Sound On/Off|7",
                                  "",
                                  "",
                                  "About|Info|5",
                                  "Exit|Exit|3"};
        auto* bar = child<QToolBar>("Toolbar");
        QCOMPARE(bar->actions().size(), 14);
        for (int i = 0; i < 14; ++i) {
            QAction* a = bar->actions()[i];
            QCOMPARE(a, w->Buttons(i + 1));
            QCOMPARE(bar->widgetForAction(a)->size(), QSize(23, 22));
            QCOMPARE(qobject_cast<QToolButton*>(bar->widgetForAction(a)) != nullptr,
                     !laid[i].isEmpty());
            const QString shown = a->property("Tag").isValid()
                                      ? QStringList{a->property("Tag").toString(), a->toolTip(),
                                                    a->property("Image").toString()}
                                            .join('|')
                                      : QString();
            QCOMPARE(shown, laid[i]);
            if (!shown.isEmpty()) QVERIFY(a->text().isEmpty() && !a->icon().isNull());
        }
    }

    // Black glyphs on white; silver shows the button through.
    void imagesMaskTheirSilver() {
        const ImageList& list = w->images();
        for (int i = 1; i <= ImageList::Count; ++i) {
            const QImage shown =
                list.icon(i).pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(list.ListImage(i).pixel(0, 0) & 0xFFFFFF, 0xC0C0C0u);
            QCOMPARE(qAlpha(shown.pixel(0, 0)), 0);
            QCOMPARE(qAlpha(shown.pixel(2, 2)), 255);
            QCOMPARE(list.ListImage(i).pixel(2, 2) & 0xFFFFFF, 0xFFFFFFu);
            QImage blank(10, 10, QImage::Format_RGB32);
            blank.fill(Qt::white);
            QVERIFY(list.ListImage(i).copy(3, 3, 10, 10) != blank); // a glyph is drawn
        }
    }

    // Menu, toolbar, counter row, field and status bar stack without overlap or clipping.
    void windowFitsAroundThePlayField() {
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        auto at = [&](QWidget* c) { return QRect(c->mapTo(w.get(), QPoint(0, 0)), c->size()); };
        const QRect bar = at(child<QToolBar>("Toolbar")), field = at(&w->picScreen()),
                    status = at(w->statusBar());
        int right = -1;
        for (const char* name :
             {"lblSpeed", "pbSpeed", "lblBirds", "pbBirds", "lblBullets", "pbBullets"}) {
            const QRect r = at(child<QWidget>(name));
            QVERIFY2(r.left() > right - 2 && r.top() > bar.bottom() && r.bottom() < field.top(),
                     name);
            right = r.right();
        }
        QVERIFY(bar.top() >= w->menuBar()->height());
        QCOMPARE(field.width(), w->width());
        QCOMPARE(status.top(), field.bottom() + 1);
        QCOMPARE(status.bottom(), w->height() - 1);
        // The bars take single-precision values and show them rounded.
        w->setBarValue(GameWindow::Bar::Speed, 39.6f);
        QCOMPARE(child<QProgressBar>("pbSpeed")->value(), 40);
    }

    void groupButtonsBehaveLikeRadioButtons() {
        QCOMPARE(modGame::GameState, modGame::StateTitle);
        QTest::mouseClick(button(2), Qt::LeftButton); // Pause changes nothing at the title
        QCOMPARE(pressedGroup(), QList<int>{2});
        QTest::mouseClick(button(2), Qt::LeftButton);
        QCOMPARE(pressedGroup(), QList<int>{2});
        w->setButtonValue(1, 1);
        QCOMPARE(pressedGroup(), QList<int>{1});
        QTRY_COMPARE_WITH_TIMEOUT(pressedGroup(), QList<int>{3}, 2000); // the refresh's choice
    }

    void buttonsRunTheCommandOfTheirTag() {
        QTRY_VERIFY_WITH_TIMEOUT(w->Buttons(10)->isChecked(), 2000); // sound on
        QTest::mouseClick(button(10), Qt::LeftButton);
        QCOMPARE(modGame::SoundEnabled, runtime::False);
        QVERIFY(w->Buttons(10)->isChecked()); // a plain button shows what the refresh says
        QTRY_VERIFY_WITH_TIMEOUT(!w->Buttons(10)->isChecked(), 2000);
        child<QAction>("mnuSound")->trigger();
        QCOMPARE(modGame::SoundEnabled, runtime::True);

        QTest::mouseClick(button(7), Qt::LeftButton);
        QCOMPARE(w->tmrGame().interval(), 47);
        QTest::mouseClick(button(6), Qt::LeftButton);
        child<QAction>("mnuDecreaseSpeed")->trigger();
        QCOMPARE(w->tmrGame().interval(), 53);
        child<QAction>("mnuIncreseSpeed")->trigger();
        QCOMPARE(w->tmrGame().interval(), 50);

        QTest::mouseClick(button(1), Qt::LeftButton);
        QCOMPARE(modGame::GameState, modGame::StatePlaying);
        QTest::mouseClick(button(2), Qt::LeftButton);
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        QCOMPARE(answerModal([&] { QTest::mouseClick(button(3), Qt::LeftButton); }, hideIt),
                 QStringLiteral("frmHiScores"));
        QCOMPARE(modGame::GameState, modGame::StateTitle);

        // Info pauses a running game and leaves it paused.
        freshGame();
        QCOMPARE(answerModal([&] { QTest::mouseClick(button(13), Qt::LeftButton); }, hideIt),
                 QStringLiteral("frmInfo"));
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        QCOMPARE(ends, 0);
    }

    void anyMouseButtonShoots() {
        freshGame();
        for (Qt::MouseButton b : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton}) {
            const runtime::Integer before = modGame::Bullets;
            QTest::mousePress(&w->picScreen(), b, {}, QPoint(300, 200));
            QCOMPARE(modGame::Bullets, runtime::Integer(before - 1));
            QTest::mouseRelease(&w->picScreen(), b, {}, QPoint(300, 200));
        }
        const runtime::Integer before = modGame::Bullets;
        QTest::mousePress(w->statusBar(), Qt::LeftButton, {}, QPoint(50, 10));
        QTest::mousePress(child<QWidget>("lblBirds"), Qt::RightButton);
        QCOMPARE(modGame::Bullets, before);
    }

    void pressPointIsRoundedHalfToEven_data() {
        QTest::addColumn<double>("x");
        QTest::addColumn<double>("y");
        QTest::addColumn<bool>("hits");
        // The bird at (100, 100) is hit from x 145 to 198 and y 150 to 200.
        QTest::newRow("144.5 to 144") << 144.5 << 160.0 << false;
        QTest::newRow("144.6 to 145") << 144.6 << 160.0 << true;
        QTest::newRow("198.5 to 198") << 198.5 << 160.0 << true;
        QTest::newRow("199.5 to 200") << 199.5 << 160.0 << false;
        QTest::newRow("149.5 to 150") << 160.0 << 149.5 << true;
        QTest::newRow("200.5 to 200") << 160.0 << 200.5 << true;
        QTest::newRow("200.6 to 201") << 160.0 << 200.6 << false;
    }
    void pressPointIsRoundedHalfToEven() {
        QFETCH(double, x);
        QFETCH(double, y);
        QFETCH(bool, hits);
        freshGame();
        clsBird& bird = *modGame::Birds[0];
        bird.State = clsBird::Flying;
        bird.PosX = bird.PosY = 100;
        modGame::BirdsLeft = 1;
        const modGame::Long score = modGame::Score;
        emit w->picScreen().MouseDown(2, 0, x, y);
        QCOMPARE(bird.State, runtime::Long(hits ? clsBird::Exploding : clsBird::Flying));
        QCOMPARE(modGame::Score, score + (hits ? 50 : 0));
    }

    void closeRequestIsTurnedIntoTheExitQuestion() {
        freshGame();
        bool closed = true;
        QCOMPARE(answerModal([&] { closed = w->close(); }, stay), QStringLiteral("frmExit"));
        QVERIFY(!closed && w->isVisible());
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        QCOMPARE(ends, 0);
    }

    // A tick waits in the game-over dialog: ticks arriving meanwhile do nothing, even from the
    // timer restarted at another speed, and none is made up afterwards.
    void ticksArrivingDuringATickAreDropped() {
        freshGame();
        modGame::BirdsLeft = 10;
        modGame::Long atOpen = -1, beforeClose = -1;
        const QString seen = answerModal([] { QTest::qWait(400); },
                                         [&](QWidget* d) {
                                             atOpen = modGame::TickCount;
                                             w->tmrGame().setInterval(20);
                                             QTest::qWait(300);
                                             beforeClose = modGame::TickCount;
                                             d->hide();
                                         });
        QCOMPARE(seen, QStringLiteral("frmGameOver"));
        QCOMPARE(beforeClose, atOpen);
        QCOMPARE(modGame::GameState, modGame::StateTitle);
        const modGame::Long after = modGame::TickCount;
        QTRY_VERIFY_WITH_TIMEOUT(modGame::TickCount > after + 3, 2000);
        w->tmrGame().setInterval(modGame::TimerInterval);
        QVERIFY(messages.isEmpty());
    }

    void cleanupTestCase() {
        w.reset();
        QVERIFY(modGame::Window == nullptr);
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_frmBirds_Main.moc"
