#include "AssetNames.h"
#include "frmBirds_Main.h"
#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "modGame.h"

#include <QAction>
#include <QActionGroup>
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

void copyTree(const QString& from, const QString& to) {
    QDir().mkpath(to);
    const QDir source(from);
    for (const QFileInfo& entry :
         source.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString target = to + QLatin1Char('/') + entry.fileName();
        if (entry.isDir())
            copyTree(entry.filePath(), target);
        else
            QFile::copy(entry.filePath(), target);
    }
}

// Runs `answer` on the modal window that `open` shows; fails if none appears.
QString answerModal(const std::function<void()>& open,
                    const std::function<void(QWidget*)>& answer) {
    QString seen;
    QTimer::singleShot(200, [&] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            seen = modal->metaObject()->className();
            answer(modal);
        }
    });
    open();
    return seen;
}

void hideIt(QWidget* w) {
    w->hide();
}

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
    QTemporaryDir base;
    std::unique_ptr<frmBirds_Main> w;
    QStringList messages;
    int ends = 0;

    QToolButton* button(int position) {
        return qobject_cast<QToolButton*>(w->findChild<QToolBar*>(QStringLiteral("Toolbar"))
                                              ->widgetForAction(w->Buttons(position)));
    }
    QList<int> pressedGroup() {
        QList<int> pressed;
        for (int i = 1; i <= 3; ++i)
            if (w->Buttons(i)->isChecked()) pressed << i;
        return pressed;
    }
    // A playing game with every bird gone and a full gun.
    void freshGame() {
        if (modGame::GameState == modGame::StatePaused) modGame::Go();
        if (modGame::GameState != modGame::StatePlaying) modGame::Go();
        QCOMPARE(modGame::GameState, modGame::StatePlaying);
        for (auto& bird : modGame::Birds)
            bird->Zero();
        modGame::BirdsLeft = 0;
        modGame::Bullets = 10;
    }

  private slots:
    void initTestCase() {
        const QByteArray run = qgetenv("MORVEL_RUN_DIR");
        QVERIFY2(!run.isEmpty(), "MORVEL_RUN_DIR is not set");
        copyTree(QString::fromLocal8Bit(run) + QStringLiteral("/Graphics"),
                 base.path() + QStringLiteral("/Graphics"));
        copyTree(QString::fromLocal8Bit(run) + QStringLiteral("/Sounds"),
                 base.path() + QStringLiteral("/Sounds"));
        QVERIFY(QFile::exists(base.path() + QStringLiteral("/Graphics/BackGround.bmp")));
        runtime::SetAppPath(base.path());
        runtime::SetMsgBoxHook([this](const QString& prompt, int) { messages << prompt; });
        runtime::SetInputBoxHook(
            [](const QString&, const QString&) { return QStringLiteral("Tester"); });
        runtime::SetEndHook([this] { ++ends; });
        w = std::make_unique<frmBirds_Main>();
        QVERIFY2(messages.isEmpty(), qPrintable(messages.join(QLatin1Char('\n'))));
        QCOMPARE(ends, 0);
    }

    // Before any tick: what the window shows as laid out, and what start-up did.
    void startsAsLaidOut() {
        QCOMPARE(w->windowTitle(), QStringLiteral("The Morvel Bird Game"));
        const Qt::WindowFlags f = w->windowFlags();
        QVERIFY(f & Qt::WindowCloseButtonHint);
        QVERIFY(f & Qt::WindowSystemMenuHint);
        QVERIFY(!(f & Qt::WindowMinimizeButtonHint));
        QVERIFY(!(f & Qt::WindowMaximizeButtonHint));
        QCOMPARE(w->minimumSize(), w->maximumSize());

        // Two monochrome images: black and white, and transparent outside the sight.
        const QIcon icon = QApplication::windowIcon();
        for (int size : {16, 32}) {
            QVERIFY(icon.availableSizes().contains(QSize(size, size)));
            const QImage image =
                icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
            QSet<QRgb> colours;
            for (int y = 0; y < size; ++y)
                for (int x = 0; x < size; ++x)
                    colours.insert(qAlpha(image.pixel(x, y)) ? image.pixel(x, y) : 0);
            QCOMPARE(colours, (QSet<QRgb>{0, qRgb(0, 0, 0), qRgb(255, 255, 255)}));
        }

        QCOMPARE(pressedGroup(), QList<int>{3});
        QCOMPARE(w->findChild<QLabel*>(QStringLiteral("Panel2"))->text(), QStringLiteral("0"));

        QCOMPARE(w->tmrGame().timerType(), Qt::PreciseTimer);
        QVERIFY(w->tmrGame().isActive());
        QCOMPARE(w->tmrGame().interval(), 50);
        QCOMPARE(modGame::TimerInterval, runtime::Integer(50));
        QCOMPARE(modGame::GameTimer, &w->tmrGame());
        QVERIFY(modGame::Ready());

        // The play field holds the background, untouched until the first tick.
        const QImage background =
            LoadPicture(base.path() + QStringLiteral("/Graphics/BackGround.bmp"));
        QCOMPARE(w->picScreen().size(), QSize(604, 404));
        QCOMPARE(w->picScreen().ScaleWidth(), 600.0);
        QCOMPARE(w->picScreen().ScaleHeight(), 400.0);
        QCOMPARE(w->picScreen().surface(), background.convertToFormat(QImage::Format_RGB32));
        QVERIFY(w->PicBuffer().isHidden());
        QCOMPARE(w->PicBuffer().surface().size(), QSize(600, 400));
    }

    void menusCarryTheirNamesAndAccessKeys() {
        struct Expected {
            const char* name;
            const char* caption;
        };
        const QList<QList<Expected>> tree = {
            {{"mnuGame", "&Game"},
             {"mnuGo", "&Go!"},
             {"mnuPause", "&Pause"},
             {"mnuStop", "&Stop!"},
             {"seperator", ""},
             {"mnuHiScores", "&High Scores"},
             {"seperator2", ""},
             {"mnuExit", "&Exit"}},
            {{"mnuOptions", "&Options"},
             {"mnuIncreseSpeed", "&Increase Speed"},
             {"mnuDecreaseSpeed", "&Decrease Speed"},
             {"mnuSound", "&Toggle Sound"}},
            {{"mnuHelp", "&Help"}, {"mnuAbout", "&Info"}},
        };
        const QList<QAction*> menus = w->menuBar()->actions();
        QCOMPARE(menus.size(), tree.size());
        for (int m = 0; m < tree.size(); ++m) {
            QCOMPARE(menus[m]->text(), QLatin1String(tree[m][0].caption));
            QMenu* menu = menus[m]->menu();
            QVERIFY(menu);
            QCOMPARE(menu->objectName(), QLatin1String(tree[m][0].name));
            const QList<QAction*> items = menu->actions();
            QCOMPARE(items.size(), tree[m].size() - 1);
            for (int i = 0; i < items.size(); ++i) {
                const Expected& e = tree[m][i + 1];
                QCOMPARE(items[i]->objectName(), QLatin1String(e.name));
                QCOMPARE(items[i]->isSeparator(), *e.caption == 0);
                if (*e.caption) QCOMPARE(items[i]->text(), QLatin1String(e.caption));
                QVERIFY(items[i]->shortcut().isEmpty());
                QVERIFY(!items[i]->isCheckable());
                QVERIFY(items[i]->isEnabled() && items[i]->isVisible());
            }
        }
    }

    void toolbarHasFourteenPositions() {
        struct Expected {
            const char* tag;
            const char* tip;
            int image;
        };
        const Expected laid[14] = {
            {"Play", "Play", 10},           {"Pause", "Pause", 8}, {"Stop", "Stop", 1},
            {nullptr, nullptr, 0},          {nullptr, nullptr, 0}, {"Minus", "Decrease Speed", 6},
            {"Plus", "Increase Speed", 11}, {nullptr, nullptr, 0}, {nullptr, nullptr, 0},
            {"Sound", "Sound On/Off", 7},   {nullptr, nullptr, 0}, {nullptr, nullptr, 0},
            {"About", "Info", 5},           {"Exit", "Exit", 3}};
        auto* bar = w->findChild<QToolBar*>(QStringLiteral("Toolbar"));
        QVERIFY(bar);
        QCOMPARE(bar->actions().size(), 14);
        QCOMPARE(bar->iconSize(), QSize(16, 16));
        for (int i = 0; i < 14; ++i) {
            QAction* a = bar->actions()[i];
            QCOMPARE(a, w->Buttons(i + 1));
            QWidget* shown = bar->widgetForAction(a);
            QVERIFY(shown);
            QCOMPARE(shown->size(), QSize(23, 22));
            if (!laid[i].tag) {
                QVERIFY(!a->property("Tag").isValid());
                QVERIFY(!qobject_cast<QToolButton*>(shown));
                continue;
            }
            QCOMPARE(a->property("Tag").toString(), QLatin1String(laid[i].tag));
            QCOMPARE(a->toolTip(), QLatin1String(laid[i].tip));
            QCOMPARE(a->property("Image").toInt(), laid[i].image);
            QVERIFY(a->text().isEmpty());
            QCOMPARE(a->icon().pixmap(16, 16).toImage().pixel(8, 8),
                     w->images().icon(laid[i].image).pixmap(16, 16).toImage().pixel(8, 8));
            QVERIFY(qobject_cast<QToolButton*>(shown));
        }
    }

    void imagesShowTheirGlyphs() {
        const ImageList& list = w->images();
        QSet<QByteArray> distinct;
        for (int i = 1; i <= ImageList::Count; ++i) {
            const QImage& image = list.ListImage(i);
            QCOMPARE(image.size(), QSize(16, 16));
            int black = 0;
            for (int y = 0; y < 16; ++y)
                for (int x = 0; x < 16; ++x) {
                    const QRgb p = image.pixel(x, y) & 0xFFFFFF;
                    QVERIFY2(p == 0 || p == 0xFFFFFF || p == 0xC0C0C0,
                             qPrintable(QString::number(i)));
                    black += p == 0;
                }
            QVERIFY(black > 0);
            distinct.insert(
                QByteArray(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()));
            // Silver is see-through on the button, white and black are not.
            const QImage shown =
                list.icon(i).pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(qAlpha(shown.pixel(0, 0)), 0);
            QCOMPARE(qAlpha(shown.pixel(2, 2)), 255);
        }
        QCOMPARE(distinct.size(), ImageList::Count);

        auto isBlack = [&](int index, int x, int y) {
            return (list.ListImage(index).pixel(x, y) & 0xFFFFFF) == 0;
        };
        QVERIFY(isBlack(1, 8, 8) && isBlack(1, 5, 5) && !isBlack(1, 2, 8));      // square
        QVERIFY(isBlack(3, 3, 8) && isBlack(3, 12, 8) && !isBlack(3, 3, 3));     // arrow
        QVERIFY(isBlack(5, 8, 2) && !isBlack(5, 8, 5) && isBlack(5, 8, 9));      // i
        QVERIFY(isBlack(6, 8, 8) && !isBlack(6, 8, 5) && !isBlack(6, 8, 11));    // minus
        QVERIFY(isBlack(7, 5, 12) && isBlack(7, 7, 4) && !isBlack(7, 12, 12));   // note
        QVERIFY(isBlack(8, 5, 8) && !isBlack(8, 8, 8) && isBlack(8, 10, 8));     // bars
        QVERIFY(isBlack(10, 6, 8) && !isBlack(10, 6, 2) && !isBlack(10, 13, 8)); // triangle
        QVERIFY(isBlack(11, 8, 8) && isBlack(11, 8, 4) && isBlack(11, 4, 8) &&
                !isBlack(11, 4, 4)); // plus
    }

    void statusBarAndCounterRow() {
        auto* status = w->findChild<QStatusBar*>(QStringLiteral("StatusBar"));
        QVERIFY(status);
        auto* p1 = w->findChild<QLabel*>(QStringLiteral("Panel1"));
        auto* p2 = w->findChild<QLabel*>(QStringLiteral("Panel2"));
        QCOMPARE(p1->text(), QStringLiteral("Score:"));
        QVERIFY(p1->font().bold() && p2->font().bold());
        QCOMPARE(p2->font().pointSizeF(), 12.0);
        w->setPanelText(2, QStringLiteral("1234"));
        QCOMPARE(p2->text(), QStringLiteral("1234"));
        w->setPanelText(2, QStringLiteral("0"));

        // Left to right: Speed, Birds, Bullets, each label before its bar, on one row.
        const char* order[] = {"lblSpeed", "pbSpeed",    "lblBirds",
                               "pbBirds",  "lblBullets", "pbBullets"};
        const char* captions[] = {"Speed:", "Birds:", "Bullets:"};
        int lastX = -1;
        const int rowY = w->findChild<QWidget*>(QLatin1String(order[0]))->y();
        for (int i = 0; i < 6; ++i) {
            QWidget* c = w->findChild<QWidget*>(QLatin1String(order[i]));
            QVERIFY2(c, order[i]);
            QVERIFY(c->x() > lastX);
            QCOMPARE(c->y(), rowY);
            lastX = c->x();
            if (auto* l = qobject_cast<QLabel*>(c)) {
                QCOMPARE(l->text(), QLatin1String(captions[i / 2]));
                QVERIFY(l->font().bold());
                QCOMPARE(l->font().pointSizeF(), 7.8);
            }
        }
        // Values arrive as single-precision numbers and are rounded to the bar's units.
        auto* speed = w->findChild<QProgressBar*>(QStringLiteral("pbSpeed"));
        w->setBarValue(GameWindow::Bar::Speed, 39.6f);
        QCOMPARE(speed->value(), 40);
        QCOMPARE(speed->minimum(), 20);
        QCOMPARE(speed->maximum(), 70);
    }

    // Nothing is clipped: toolbar, row, field and status bar stack inside the window.
    void windowFitsAroundThePlayField() {
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        auto* toolbar = w->findChild<QToolBar*>(QStringLiteral("Toolbar"));
        int lastRight = -1;
        for (int i = 1; i <= frmBirds_Main::ButtonCount; ++i) {
            const QRect r = toolbar->widgetForAction(w->Buttons(i))->geometry();
            QVERIFY(r.left() > lastRight);
            lastRight = r.right();
        }
        auto top = [&](QWidget* c) { return c->mapTo(w.get(), QPoint(0, 0)); };
        QWidget* bar = w->findChild<QToolBar*>(QStringLiteral("Toolbar"));
        QWidget* row = w->findChild<QWidget*>(QStringLiteral("pbBirds"));
        QWidget* status = w->statusBar();
        const QRect field(top(&w->picScreen()), w->picScreen().size());
        QVERIFY(w->rect().contains(field));
        QVERIFY(top(bar).y() >= w->menuBar()->height());
        QVERIFY(top(row).y() >= top(bar).y() + bar->height());
        QVERIFY(field.top() >= top(row).y() + row->height());
        QVERIFY(top(status).y() >= field.bottom());
        QCOMPARE(top(status).y() + status->height(), w->height());
        QCOMPARE(w->width(), field.width());
    }

    void altOpensTheMenus() {
        QApplication::setActiveWindow(w.get());
        QVERIFY(QTest::qWaitForWindowActive(w.get()));
        const QList<QPair<Qt::Key, QString>> keys = {{Qt::Key_G, QStringLiteral("mnuGame")},
                                                     {Qt::Key_O, QStringLiteral("mnuOptions")},
                                                     {Qt::Key_H, QStringLiteral("mnuHelp")}};
        for (const auto& [key, name] : keys) {
            auto* menu = w->findChild<QMenu*>(name);
            QTest::keyClick(w.get(), key, Qt::AltModifier);
            QTRY_VERIFY(menu->isVisible());
            menu->hide();
            QTRY_VERIFY(!menu->isVisible());
        }
    }

    void groupButtonsBehaveLikeRadioButtons() {
        QCOMPARE(modGame::GameState, modGame::StateTitle);
        // Pause in the title state changes nothing in the game but presses its button.
        QTest::mouseClick(button(2), Qt::LeftButton);
        QCOMPARE(modGame::GameState, modGame::StateTitle);
        QCOMPARE(pressedGroup(), QList<int>{2});
        QTest::mouseClick(button(2), Qt::LeftButton);
        QCOMPARE(pressedGroup(), QList<int>{2});
        w->setButtonValue(1, 1);
        QCOMPARE(pressedGroup(), QList<int>{1});
        // The next status refresh presses the button of the real state again.
        QTRY_COMPARE_WITH_TIMEOUT(pressedGroup(), QList<int>{3}, 2000);
    }

    void plainButtonsRunTheirCommands() {
        QTRY_VERIFY_WITH_TIMEOUT(w->Buttons(10)->isChecked(), 2000); // sound is on
        QTest::mouseClick(button(10), Qt::LeftButton);
        QCOMPARE(modGame::SoundEnabled, runtime::False);
        QVERIFY(w->Buttons(10)->isChecked()); // shown by the refresh, not by the click
        QTRY_VERIFY_WITH_TIMEOUT(!w->Buttons(10)->isChecked(), 2000);
        w->findChild<QAction*>(QStringLiteral("mnuSound"))->trigger();
        QCOMPARE(modGame::SoundEnabled, runtime::True);

        QTest::mouseClick(button(7), Qt::LeftButton);
        QCOMPARE(modGame::TimerInterval, runtime::Integer(47));
        QCOMPARE(w->tmrGame().interval(), 47);
        QVERIFY(!w->Buttons(7)->isChecked());
        QTest::mouseClick(button(6), Qt::LeftButton);
        QTest::mouseClick(button(6), Qt::LeftButton);
        QCOMPARE(w->tmrGame().interval(), 53);
        w->findChild<QAction*>(QStringLiteral("mnuIncreseSpeed"))->trigger();
        QCOMPARE(w->tmrGame().interval(), 50);
        w->findChild<QAction*>(QStringLiteral("mnuDecreaseSpeed"))->trigger();
        w->findChild<QAction*>(QStringLiteral("mnuIncreseSpeed"))->trigger();
        QCOMPARE(w->tmrGame().interval(), 50);

        QTest::mouseClick(button(1), Qt::LeftButton);
        QCOMPARE(modGame::GameState, modGame::StatePlaying);
        QTest::mouseClick(button(2), Qt::LeftButton);
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        // Stop shows the score table; the game is back at the title when it closes.
        QCOMPARE(answerModal([&] { QTest::mouseClick(button(3), Qt::LeftButton); }, hideIt),
                 QStringLiteral("frmHiScores"));
        QCOMPARE(modGame::GameState, modGame::StateTitle);
    }

    void windowsOpenedFromTheMenuPauseTheGame() {
        freshGame();
        QCOMPARE(
            answerModal([&] { w->findChild<QAction*>(QStringLiteral("mnuHiScores"))->trigger(); },
                        hideIt),
            QStringLiteral("frmHiScores"));
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        freshGame();
        QCOMPARE(answerModal([&] { QTest::mouseClick(button(13), Qt::LeftButton); }, hideIt),
                 QStringLiteral("frmInfo"));
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        freshGame();
        QCOMPARE(answerModal([&] { QTest::mouseClick(button(14), Qt::LeftButton); },
                             [](QWidget* d) { static_cast<frmExit*>(d)->cmdStay->click(); }),
                 QStringLiteral("frmExit"));
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
        // Presses elsewhere in the window are not shots.
        const runtime::Integer before = modGame::Bullets;
        QTest::mousePress(w->statusBar(), Qt::LeftButton, {}, QPoint(50, 10));
        QTest::mousePress(w->findChild<QWidget*>(QStringLiteral("lblBirds")), Qt::RightButton);
        QCOMPARE(modGame::Bullets, before);
    }

    void pressPointIsRoundedHalfToEven_data() {
        QTest::addColumn<double>("x");
        QTest::addColumn<double>("y");
        QTest::addColumn<bool>("hits");
        // The bird at (100, 100) is hit from x 145 to 198 and y 150 to 200.
        QTest::newRow("144.5 goes down to 144") << 144.5 << 160.0 << false;
        QTest::newRow("144.6 goes up to 145") << 144.6 << 160.0 << true;
        QTest::newRow("198.5 goes down to 198") << 198.5 << 160.0 << true;
        QTest::newRow("199.5 goes up to 200") << 199.5 << 160.0 << false;
        QTest::newRow("149.5 goes up to 150") << 160.0 << 149.5 << true;
        QTest::newRow("200.5 goes down to 200") << 160.0 << 200.5 << true;
        QTest::newRow("200.6 goes up to 201") << 160.0 << 200.6 << false;
    }
    void pressPointIsRoundedHalfToEven() {
        QFETCH(double, x);
        QFETCH(double, y);
        QFETCH(bool, hits);
        freshGame();
        clsBird& bird = *modGame::Birds[0];
        bird.State = clsBird::Flying;
        bird.PosX = 100;
        bird.PosY = 100;
        modGame::BirdsLeft = 1;
        const modGame::Long score = modGame::Score;
        emit w->picScreen().MouseDown(2, 0, x, y);
        QCOMPARE(bird.State, runtime::Long(hits ? clsBird::Exploding : clsBird::Flying));
        QCOMPARE(modGame::Score, score + (hits ? 50 : 0));
        QCOMPARE(modGame::Bullets, runtime::Integer(hits ? 10 : 9));
    }

    void closeRequestIsTurnedIntoTheExitQuestion() {
        freshGame();
        bool closed = true;
        QCOMPARE(answerModal([&] { closed = w->close(); },
                             [](QWidget* d) { static_cast<frmExit*>(d)->cmdStay->click(); }),
                 QStringLiteral("frmExit"));
        QVERIFY(!closed);
        QVERIFY(w->isVisible());
        QCOMPARE(modGame::GameState, modGame::StatePaused);
        QCOMPARE(ends, 0);
    }

    // A tick waiting in the game-over dialog: ticks that arrive meanwhile do nothing, even
    // from a timer restarted at another speed, and none is made up afterwards.
    void ticksArrivingDuringATickAreDropped() {
        freshGame();
        modGame::BirdsLeft = 10;
        modGame::Long ticksWhileOpen = -1, ticksAtOpen = -1;
        const QString seen = answerModal([] { QTest::qWait(400); },
                                         [&](QWidget* d) {
                                             ticksAtOpen = modGame::TickCount;
                                             w->tmrGame().setInterval(20);
                                             QTest::qWait(300);
                                             ticksWhileOpen = modGame::TickCount;
                                             d->hide();
                                         });
        QCOMPARE(seen, QStringLiteral("frmGameOver"));
        QCOMPARE(ticksWhileOpen, ticksAtOpen);
        QCOMPARE(modGame::GameState, modGame::StateTitle);
        const modGame::Long after = modGame::TickCount;
        QTRY_VERIFY_WITH_TIMEOUT(modGame::TickCount > after + 3, 2000);
        w->tmrGame().setInterval(modGame::TimerInterval);
        QVERIFY(messages.isEmpty());
    }

    void cleanupTestCase() {
        w.reset();
        QVERIFY(modGame::Window == nullptr);
        runtime::SetMsgBoxHook({});
        runtime::SetInputBoxHook({});
        runtime::SetEndHook({});
        runtime::SetAppPath({});
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_frmBirds_Main.moc"
