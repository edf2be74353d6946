// The game's windows as a player meets them. CTest runs the two scale cases again at every
// factor a desktop offers and on two screens.
#include "LazyIconStyle.h"
#include "frmBirds_Main.h"
#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "frmInfo.h"
#include "modGame.h"
#include "runtimetest.h"

#include <QtTest>
#include <QtWidgets>

class TestWindows : public QObject {
    Q_OBJECT
    QTemporaryDir base;
    std::unique_ptr<frmBirds_Main> w;
    QStringList log; // modal windows, messages, links opened and exit statuses, in turn

    // Every window keeps its size, with a close box and no minimize or maximize button.
    static bool fixed(const QWidget* window) {
        const auto boxes = Qt::WindowCloseButtonHint | Qt::WindowSystemMenuHint;
        return window->minimumSize() == window->maximumSize() &&
               (window->windowFlags() & (boxes | Qt::WindowMinMaxButtonsHint)) == boxes;
    }
    // Logs the modal window shown a moment later and answers it if it is the one expected (any,
    // for none); any other is just hidden.
    void whenModal(QWidget* expected, std::function<void(QWidget*)> answer = {}) {
        QTimer::singleShot(300, [=, this] {
            QWidget* modal = QApplication::activeModalWidget();
            log << (!modal ? "none" : modal->windowTitle() + (fixed(modal) ? "" : " unfixed"));
            if (modal && (!expected || modal == expected) && answer)
                answer(modal);
            else if (modal)
                modal->hide();
        });
    }
    // A running game at speed 50 with sound, no score, no bird in the air, a full gun.
    void freshGame() {
        if (modGame::GameState != modGame::StatePlaying) modGame::Go();
        for (auto& bird : modGame::Birds)
            bird->Zero();
        modGame::BirdsLeft = 0;
        modGame::Bullets = 10;
        modGame::Score = 0;
        modGame::TimerInterval = 50;
        modGame::SoundEnabled = runtime::True;
    }
    PictureBox& screen() { return w->picScreen(); }
    QRect in(const QWidget* c) { return QRect(c->mapTo(w.get(), QPoint(0, 0)), c->size()); }

  public slots:
    // Stands in for the desktop's browser and mail program.
    void openUrl(const QUrl& url) { log << url.toString(); }

  private slots:
    void initTestCase() {
        QApplication::setStyle(new LazyIconStyle); // as the program does
        // As long as a real message box would, it keeps the event loop running.
        runtime::SetMsgBoxHook([this](const QString& prompt, int) {
            QTest::qWait(150);
            log << prompt + " @" + QString::number(modGame::TickCount);
        });
        runtime::SetInputBoxHook([this](const QString& prompt, const QString&) {
            log << "prompt " + prompt + (QApplication::activeModalWidget() ? " covered" : "");
            return QString("Ace");
        });
        runtime::SetEndHook([this](int status) { log << QString("ends %1").arg(status); });
        for (const char* scheme : {"file", "mailto"})
            QDesktopServices::setUrlHandler(scheme, this, "openUrl");

        // No background: a run-time error, and no 1 ms tick reaches the engine; then it is there.
        runtime::SetAppPath(base.path());
        w = std::make_unique<frmBirds_Main>();
        QVERIFY2(log.size() == 2 && log[0].contains("53") && log.join(';').endsWith(" @0;ends 1"),
                 qPrintable(log.join(';')));
        w.reset();
        log = {};
        for (const char* dir : {"/Graphics", "/Sounds"})
            QVERIFY(QFile::link(qEnvironmentVariable("MORVEL_RUN_DIR") + dir, base.path() + dir));
        w = std::make_unique<frmBirds_Main>();
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()) && fixed(w.get()));

        // Reading any picture through the toolkit loads all of its image plugins, so the bars'
        // overflow icons are read only when drawn; drawn, they are the style's own.
        QFile maps("/proc/self/maps");
        QVERIFY(maps.open(QIODevice::ReadOnly) && !maps.readAll().contains("/imageformats/"));
        for (auto which : {QStyle::SP_ToolBarHorizontalExtensionButton,
                           QStyle::SP_ToolBarVerticalExtensionButton})
            QVERIFY(w->style()->standardIcon(which).pixmap(16).toImage() ==
                    QProxyStyle().standardIcon(which).pixmap(16).toImage());
    }

    // The menus' captions with their access keys; each toolbar position's image, told by its
    // pixels (0: a spacer). A screen reader's view: e2e_game.
    void asLaidOut() {
        QStringList shown;
        for (QAction* m : w->menuBar()->actions()) {
            shown << m->text();
            for (QAction* a : m->menu()->actions())
                shown << (a->isSeparator() ? "-" : a->text());
        }
        const ImageList images;
        for (int i = 1, n; i <= 14; shown << QString::number(n), ++i)
            for (n = ImageList::Count; n > 0 && w->Buttons(i)->icon().pixmap(16).toImage() !=
                                                    images.icon(n).pixmap(16).toImage();)
                --n;
        QCOMPARE(shown.join(';'), "&Game;&Go!;&Pause;&Stop!;-;&High Scores;-;&Exit;&Options;"
                                  "&Increase Speed;&Decrease Speed;&Toggle Sound;&Help;&Info;"
                                  "10;8;1;0;0;6;11;0;0;7;0;0;5;3");
    }

    // Any button shoots, in the field only, at the point rounded half to even: at a bird just in
    // from the right on an even row (the reported point is not clipped to the field).
    void anyButtonShootsInTheFieldAtTheHalfToEvenPoint() {
        freshGame();
        for (Qt::MouseButton b : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton})
            QTest::mouseClick(&screen(), b, {}, QPoint(300, 300));
        QTest::mousePress(w->statusBar(), Qt::LeftButton, {}, QPoint(50, 10));
        QTest::mousePress(w->findChild<QWidget*>("lblBirds"), Qt::RightButton);
        QCOMPARE(modGame::Bullets, 7);
        clsBird& bird = *modGame::Birds[0];
        do {
            bird.Zero();
            bird.appear();
        } while (bird.posX() < 0 || bird.posY() % 2 != 0);
        const clsBird there = bird;
        // Whether a shot at the bird's corner plus (dx, dy) hits: dx 45 to 98, dy 50 to 100.
        auto hits = [&](double dx, double dy) {
            freshGame();
            bird = there;
            emit screen().MouseDown(2, 0, there.posX() + dx, there.posY() + dy);
            return modGame::Score == 50;
        };
        QVERIFY(hits(98.5, 60) && hits(60, 49.5));                       // to 98, 50
        QVERIFY(!hits(44.5, 60) && !hits(99.5, 60) && !hits(60, 100.6)); // 44, 100, 101
    }

    // Ten birds end the game inside a tick, which runs alone. The game-over dialog's Close offers
    // the score to the high-score table, asking for a name once it has gone; its close box not.
    void gameOver() {
        frmGameOver& go = frmGameOver::instance();
        frmHiScores& hs = frmHiScores::instance();
        for (const auto& [score, closeBox, expected] :
             {std::tuple{700, false, "Game Over!;prompt Enter Name:;High Scores;1.Ace 700"},
              {0, false, "Game Over!;High Scores;1.No One 0"},
              {5000, true, "Game Over!;none"}}) {
            hs.mnuReset_Click(); // a fresh table
            freshGame();
            modGame::BirdsLeft = 10;
            log = {};
            whenModal(&go, [&, score = score, closeBox = closeBox](QWidget*) {
                const modGame::Long atOpen = modGame::TickCount;
                w->tmrGame().setInterval(20);
                QTest::qWait(300);
                if (modGame::TickCount != atOpen) log << "ticked";
                modGame::Score = score;
                whenModal(&hs, [&](QWidget*) {
                    log << hs.lblName[0]->text() + " " + hs.lblScore[0]->text();
                    hs.cmdClose->click();
                });
                closeBox ? (void)go.close() : go.cmdClose->click();
            });
            QTRY_COMPARE(log.join(';'), expected);
            QCOMPARE(hs.HiScores[0].Points, closeBox ? 0 : score);
        }
    }

    // Every menu item, toolbar button and close request reaches its own command, from a game
    // paused (for Go) or running: the state, speed, sound and pressed group buttons after it; the
    // window it opens, and, answered, still open or the exit statuses (leaving is no failure).
    // Closing on real desktops: e2e_desktops.
    void everyCommandReachesItsAction() {
        const std::tuple<const char*, int, QString, QString> rows[] = {
            {"mnuGo", 1, "", "1 50 -1 100 none"}, // from a paused game
            {"mnuPause", 2, "", "2 50 -1 010 none"},
            {"mnuStop", 3, "", "0 50 -1 001 High Scores open"},
            {"mnuHiScores", 0, "", "2 50 -1 010 High Scores open"}, // 0: not on the toolbar
            {"mnuExit", 14, "No!", "2 50 -1 010 Exit Game?!"},
            {"close", 0, "Esc", "2 50 -1 010 Exit Game?!"},
            {"close", 0, "Yes!", "2 50 -1 010 Exit Game?! ends 0"},
            {"close", 0, "Enter", "2 50 -1 010 Exit Game?! ends 0"},
            {"mnuIncreseSpeed", 7, "", "1 47 -1 100 none"},
            {"mnuDecreaseSpeed", 6, "", "1 53 -1 100 none"},
            {"mnuSound", 10, "", "1 50 0 100 none"},
            {"mnuAbout", 13, "Enter", "2 50 -1 010 About The Morvel Bird Game!"}};
        for (const auto& [item, button, answer, after] : rows)
            for (QAction* command : {w->findChild<QAction*>(item), w->Buttons(button)}) {
                if (!command && QLatin1String(item) != "close") continue;
                freshGame();
                if (button == 1) modGame::PauseGame();
                log = {};
                whenModal(nullptr, [&, answer = answer](QWidget* modal) {
                    if (answer == "Esc" || answer == "Enter")
                        QTest::keyClick(modal, answer == "Esc" ? Qt::Key_Escape : Qt::Key_Return);
                    for (QPushButton* b : modal->findChildren<QPushButton*>())
                        if (b->text() == answer) b->click();
                    if (!log.last().startsWith("ends") && modal->isVisible()) log << "open";
                    modal->hide(); // the real end never comes back here
                });
                if (command)
                    command->trigger();
                else
                    QVERIFY(!w->close() && w->isVisible());
                QTest::qWait(350);
                QCOMPARE(QString::asprintf("%d %d %d %d%d%d %s", int(modGame::GameState),
                                           int(modGame::TimerInterval), int(modGame::SoundEnabled),
                                           w->Buttons(1)->isChecked(), w->Buttons(2)->isChecked(),
                                           w->Buttons(3)->isChecked(), qPrintable(log.join(' '))),
                         after);
            }
    }

    // The information window shows the version and mails the address it shows, the package's
    // maintainer. Its logo opens the manual beside the program (a build) before the one where
    // the package installs it, found from the program's directory; without either it says
    // what is missing.
    void info() {
        QTemporaryDir prefix;
        const QString app = prefix.path() + "/" MORVEL_INSTALL_APPDIR,
                      built = app + "/morvel-birds.html";
        const QString installed = prefix.path() + "/" MORVEL_INSTALL_DOCDIR "/morvel-birds.html";
        QVERIFY(QDir().mkpath(app) && QDir().mkpath(QFileInfo(installed).path()));
        runtime::SetAppPath(app);
        frmInfo& info = frmInfo::instance();
        log = {};
        whenModal(&info, [&](QWidget*) {
            log << info.lblVersion->text() << info.lblEmail->text().remove("Email:");
            QTest::mouseClick(info.picLogo, Qt::LeftButton);
            for (const QString& page : {installed, built}) {
                QVERIFY(QFile(page).open(QIODevice::WriteOnly));
                QTest::mouseClick(info.picLogo, Qt::LeftButton);
            }
            QTest::mouseClick(info.lblEmail, Qt::LeftButton);
            info.hide();
        });
        info.exec();
        const QString address = log.value(2), none = log.value(3);
        QCOMPARE(log, (QStringList{"About The Morvel Bird Game!", "Version 1.1.0", address, none,
                                   QUrl::fromLocalFile(installed).toString(),
                                   QUrl::fromLocalFile(built).toString(), "mailto:" + address}));
        QVERIFY2(QRegularExpression("^[a-z.-]+@[a-z-]+(\\.[a-z-]+)+$").match(address).hasMatch() &&
                     none.contains("not installed") && none.contains(" " + installed + " @"),
                 qPrintable(log.join(';')));
    }

    // At the screen's factor: the controls laid out around the field, and the field's pixels.
    void atTheScaleGiven() {
        QCOMPARE(
            w->devicePixelRatioF(),
            qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble() *
                qEnvironmentVariable("QT_SCREEN_SCALE_FACTORS", "1").section(';', 0, 0).toDouble());
        w->tmrGame().stop(); // no frame paints over the test's picture
        checkScaled(true);
    }

    // Moved to a screen of another factor: the field and the window are fitted again, at once
    // (a moment later the offscreen platform gives the window back its old size).
    void onAScreenOfAnotherScale() {
        if (QGuiApplication::screens().size() < 2) QSKIP("one screen");
        const double before = w->devicePixelRatioF();
        w->move(QGuiApplication::screens()[1]->geometry().topLeft() + QPoint(20, 20));
        QTRY_VERIFY(w->screen() == QGuiApplication::screens()[1]);
        QVERIFY(w->devicePixelRatioF() != before);
        checkScaled(false);
    }

  private:
    // Each control where the laid-out twips put it from the field's corner (0, 720), a laid-out
    // pixel as many device pixels as a field pixel, within a pixel; no text cut; the toolbar's
    // buttons 23 x 22 laid-out pixels, left to right. Every field pixel shows as k x k device
    // pixels, k the nearest whole factor; a press on any of them reports that pixel, one on the
    // border nothing; a transfer repaints only what it wrote, leaving the whole field right.
    void checkScaled(bool repaint) {
        const double ratio = w->devicePixelRatioF(), k = qRound(ratio), unit = k / ratio / 12;
        const QRect f = in(&screen());
        const int right = int(std::lround(f.width() / unit)), bottom = int(f.height() / unit);
        QCOMPARE(f.size(), QSize(int(std::ceil(7200 * unit - 1e-6)) + 4,
                                 int(std::ceil(4800 * unit - 1e-6)) + 4));
        const std::pair<const char*, QRect> controls[] = {
            {"Toolbar", {0, -720, right, 336}},
            {"lblSpeed", {0, -240, 612, 240}},
            {"pbSpeed", {600, -240, 1452, 228}},
            {"lblBirds", {2160, -240, 492, 240}},
            {"pbBirds", {2640, -240, 2172, 240}},
            {"lblBullets", {4920, -240, 612, 240}},
            {"pbBullets", {5520, -240, right - 5520, 240}},
            {"StatusBar", {0, bottom, right, 360}}};
        for (const auto& [name, laid] : controls) {
            const QRectF shown = in(w->findChild<QWidget*>(name));
            const QRectF want = QTransform(unit, 0, 0, unit, f.x(), f.y()).mapRect(QRectF(laid));
            QVERIFY2(want.adjusted(-1, -1, 1, 1).contains(shown) && // every edge within a pixel
                         shown.adjusted(-1, -1, 1, 1).contains(want) &&
                         QRectF(w->rect()).contains(shown),
                     name);
        }
        for (const QLabel* l : w->findChildren<QLabel*>())
            QVERIFY2(l->fontMetrics().horizontalAdvance(l->text()) <= l->width(),
                     qPrintable(l->text()));
        const auto* toolbar = w->findChild<QToolBar*>();
        for (int i = 1, next = 0; i <= frmBirds_Main::ButtonCount; ++i) {
            const QRect b = in(toolbar->widgetForAction(w->Buttons(i)));
            QVERIFY2(std::abs(b.width() - 276 * unit) <= 1 &&
                         std::abs(b.height() - 264 * unit) <= 1 && b.left() >= next &&
                         in(toolbar).contains(b),
                     qPrintable(QString("button %1").arg(i)));
            next = b.right() + 1;
        }

        QImage field(600, 400, QImage::Format_RGB32); // neighbours differ: a smear or shift shows
        for (int i = 0; i < 600 * 400; ++i)
            field.setPixel(i % 600, i / 600, 0xFF000000u | (i * 2654435761u >> 8));
        screen().setPicture(field);
        QImage shot = w->grab().toImage().convertToFormat(QImage::Format_RGB32), want = field;
        // The field's corner in device pixels, o: within two of its laid-out place.
        const QPoint near = ((f.topLeft() + QPointF(2, 2)) * ratio).toPoint();
        QPoint o = near - QPoint(2, 2);
        const auto blocks = [&](const QImage& of) {
            return shot.copy(QRect(o, of.size() * k)) ==
                   of.scaled(of.size() * k, Qt::IgnoreAspectRatio, Qt::FastTransformation);
        };
        for (int i = 1; i < 25 && !blocks(field); ++i)
            o = near + QPoint(i % 5 - 2, i / 5 - 2);
        QVERIFY2(blocks(field), "the field, every pixel a block");

        const auto press = [&](double x, double y) { // in device pixels from the field's corner
            const QPointF local = (QPointF(o) + QPointF(x, y)) / ratio - f.topLeft();
            QMouseEvent e(QEvent::MouseButtonPress, local, screen().mapToGlobal(local),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            QSignalSpy spy(&screen(), &PictureBox::MouseDown);
            QApplication::sendEvent(&screen(), &e);
            return spy.isEmpty() ? QPointF(-1, -1)
                                 : QPointF(spy[0][2].toDouble(), spy[0][3].toDouble());
        };
        for (QPoint p : {QPoint(0, 0), QPoint(599, 399), QPoint(123, 45), QPoint(598, 1)})
            for (double d : {0.0, 0.5, k - 0.01}) // the first and last device pixel of its block
                QCOMPARE(press(k * p.x() + d, k * p.y() + d), QPointF(p));
        for (QPointF border : {QPointF(-1, 10), QPointF(600 * k, 10), QPointF(10, 400 * k)})
            QCOMPARE(press(border.x(), border.y()), QPointF(-1, -1));
        if (!repaint) return;

        // Read back from what the window has painted: a patch written while the field's updates
        // are off, in the rows of one later transfer and the columns of another, must not show.
        QCoreApplication::processEvents();  // paints still due from earlier changes first
        const gdi::HDC dc = screen().hDC(); // copies 37 x 23 field pixels from (200, 300)
        screen().setAttribute(Qt::WA_UpdatesDisabled);
        gdi::BitBlt(dc, 130, 0, 37, 23, dc, 200, 300, gdi::SRCCOPY);
        screen().setAttribute(Qt::WA_UpdatesDisabled, false);
        for (QPoint at : {QPoint(123, 45), QPoint(-7, 390), QPoint(580, -5)}) {
            gdi::BitBlt(dc, at.x(), at.y(), 37, 23, dc, 200, 300, gdi::SRCCOPY);
            QPainter(&want).drawImage(at, field.copy(200, 300, 37, 23));
        }
        QCoreApplication::processEvents();
        shot = *static_cast<QImage*>(w->backingStore()->paintDevice()); // offscreen: an RGB32 image
        QVERIFY2(blocks(want), "the field after a transfer, repainted only where it wrote");
    }
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
