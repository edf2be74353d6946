// The main window on a scaled screen; CTest runs this at every factor a desktop offers, and
// once on two screens of different factors, where the window moves from one to the other.

#include "frmBirds_Main.h"

#include <QApplication>
#include <QDebug>
#include <QLabel>
#include <QMenuBar>
#include <QMouseEvent>
#include <QProgressBar>
#include <QScreen>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>
#include <cmath>

class TestHiDpi : public QObject {
    Q_OBJECT
    QTemporaryDir base;
    std::unique_ptr<frmBirds_Main> w;
    QImage field{600, 400, QImage::Format_RGB32};

    PictureBox& screen() { return w->picScreen(); }
    QRect in(const QWidget* c) { return QRect(c->mapTo(w.get(), QPoint(0, 0)), c->size()); }

    // Each control where the laid-out twips put it, at the field's shown size: a laid-out
    // pixel is as many device pixels as a field pixel. Places in the window's pixels, from
    // the field's laid-out corner (0, 720), within a pixel; the last bar stops at the field.
    void checkLayout() {
        const double ratio = w->devicePixelRatioF(), k = screen().pixelFactor();
        const QRect f = in(&screen()), client = in(w->centralWidget());
        const auto twips = [&](int pixels) { return int(std::lround(pixels * 12 * ratio / k)); };
        const auto near = [&](QRect shown, QRectF laid, const QString& what) {
            const QRectF want(QPointF(f.topLeft()) + laid.topLeft() * k / ratio / 12,
                              laid.size() * k / ratio / 12);
            const bool ok = std::abs(shown.x() - want.x()) <= 1 &&
                            std::abs(shown.y() - want.y()) <= 1 &&
                            std::abs(shown.right() + 1 - want.right()) <= 1 &&
                            std::abs(shown.bottom() + 1 - want.bottom()) <= 1;
            QString seen;
            QDebug(&seen) << what << shown << "laid out" << want;
            QVERIFY2(ok, qPrintable(seen));
        };
        // The field: its picture at k device pixels a pixel, inside a border of 2 pixels.
        QCOMPARE(f.size(), QSize(int(std::ceil(600 * k / ratio - 1e-6)) + 4,
                                 int(std::ceil(400 * k / ratio - 1e-6)) + 4));
        const struct {
            const char* name;
            QRect laid;
        } row[] = {{"lblSpeed", {0, 480, 612, 252}},      {"pbSpeed", {600, 480, 1452, 228}},
                   {"lblBirds", {2160, 480, 492, 252}},   {"pbBirds", {2640, 480, 2172, 252}},
                   {"lblBullets", {4920, 480, 612, 252}}, {"pbBullets", {5520, 480, 1752, 252}}};
        for (const auto& c : row) {
            auto* control = w->findChild<QWidget*>(c.name);
            QRect laid = c.laid.translated(0, -720);
            laid.setBottom(std::min(laid.bottom(), -1));        // stops above the field
            if (control == w->findChild<QWidget*>("pbBullets")) // and at the field's right edge
                laid.setRight(twips(f.width()) - 1);
            near(in(control), laid, c.name);
            QVERIFY2(client.contains(in(control)), c.name);
            if (auto* label = qobject_cast<QLabel*>(control))
                QVERIFY2(label->fontMetrics().horizontalAdvance(label->text()) <= label->width(),
                         c.name);
        }
        // The toolbar and the counter row span the field, the status bar lies under it, and
        // the window is fitted around them.
        auto* toolbar = w->findChild<QToolBar*>();
        near(in(toolbar), QRect(0, -720, twips(f.width()), 336), "the toolbar");
        QCOMPARE(in(toolbar).width(), f.width());
        QCOMPARE(client, QRect(0, in(toolbar).bottom() + 1, f.width(),
                               f.bottom() + 1 - in(toolbar).bottom() - 1));
        const QRect status = in(w->statusBar());
        near(status, QRect(0, twips(f.height()), twips(f.width()), 360), "the status bar");
        QCOMPARE(status.top(), f.bottom() + 1);
        QCOMPARE(status.width(), f.width());
        QCOMPARE(w->size(), QSize(f.width(), status.bottom() + 1));
        for (QLabel* panel : w->statusBar()->findChildren<QLabel*>())
            QVERIFY(in(panel).intersected(status) == in(panel) &&
                    panel->fontMetrics().horizontalAdvance(panel->text()) <= panel->width());
        // Toolbar buttons of 23 x 22 laid-out pixels, left to right, inside the toolbar.
        int right = 0;
        for (int i = 1; i <= frmBirds_Main::ButtonCount; ++i) {
            const QRect b = in(toolbar->widgetForAction(w->Buttons(i)));
            const QRectF want(0, 0, 23 * k / ratio, 22 * k / ratio);
            QVERIFY2(std::abs(b.width() - want.width()) <= 1 &&
                         std::abs(b.height() - want.height()) <= 1 && b.left() >= right &&
                         in(toolbar).contains(b),
                     qPrintable(QString("button %1").arg(i)));
            right = b.right() + 1;
        }
    }

    // The field shows every pixel as a uniform block of k x k device pixels, and a press on
    // any device pixel of a block reports that pixel.
    void checkField() {
        const double ratio = w->devicePixelRatioF();
        const int k = screen().pixelFactor();
        QCOMPARE(k, std::max(1, int(std::floor(ratio + 0.5))));
        screen().setPicture(field);
        QImage shown = w->grab().toImage().convertToFormat(QImage::Format_RGB32);
        // Where the field's corner shows, in device pixels of the window.
        const QPoint laid = (QPointF(in(&screen()).topLeft() + QPoint(2, 2)) * ratio).toPoint();
        QPoint o(-1, -1);
        for (int i = 0; i < 25 && o.x() < 0; ++i) {
            const QPoint at = laid + QPoint(i % 5 - 2, i / 5 - 2);
            if (shown.pixel(at) == field.pixel(0, 0) &&
                shown.pixel(at + QPoint(k - 1, k - 1)) == field.pixel(0, 0))
                o = at;
        }
        QVERIFY2(o.x() >= 0, "the field's first pixel near its place");
        for (int i = 0; i < 600 * 400 * k * k; ++i) {
            const int x = i / (k * k) % 600, y = i / (k * k) / 600;
            if (shown.pixel(o.x() + k * x + i % k, o.y() + k * y + i / k % k) != field.pixel(x, y))
                QFAIL(qPrintable(QString("field pixel %1,%2").arg(x).arg(y)));
        }
        QSignalSpy spy(&screen(), &PictureBox::MouseDown);
        const QList<QPoint> pixels{{0, 0}, {599, 399}, {123, 45}, {598, 1}};
        QList<QPointF> presses; // in device pixels: on the first and last of each block
        for (QPoint p : pixels)
            for (double d : {0.0, 0.5, k - 0.01})
                presses << QPointF(o.x() + k * p.x() + d, o.y() + k * p.y() + d);
        // Then on the border, right of the last column and below the last row: no report.
        presses << QPointF(o.x() - 1, o.y() + 10) << QPointF(o.x() + 600 * k, o.y() + 10)
                << QPointF(o.x() + 10, o.y() + 400 * k);
        const QPointF corner = in(&screen()).topLeft();
        for (QPointF at : presses) {
            const QPointF local = at / ratio - corner;
            QMouseEvent e(QEvent::MouseButtonPress, local, screen().mapToGlobal(local),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&screen(), &e);
        }
        QCOMPARE(spy.size(), 3 * pixels.size());
        for (int i = 0; i < spy.size(); ++i)
            QCOMPARE(QPointF(spy[i][2].toDouble(), spy[i][3].toDouble()), QPointF(pixels[i / 3]));
    }

  private slots:
    void initTestCase() {
        const QString run = qEnvironmentVariable("MORVEL_RUN_DIR");
        QVERIFY(QFile::link(run + "/Graphics", base.path() + "/Graphics") &&
                QFile::link(run + "/Sounds", base.path() + "/Sounds"));
        runtime::SetAppPath(base.path());
        for (int i = 0; i < 600 * 400; ++i) // neighbours differ, so any smear or shift shows
            field.setPixel(i % 600, i / 600, 0xFF000000u | (i * 2654435761u >> 8));
        w = std::make_unique<frmBirds_Main>();
        w->tmrGame().stop(); // no frame paints over the test's picture
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
    }

    void atTheScaleGiven() {
        const double ratio = w->devicePixelRatioF();
        QCOMPARE(
            ratio,
            qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble() *
                qEnvironmentVariable("QT_SCREEN_SCALE_FACTORS", "1").section(';', 0, 0).toDouble());
        checkLayout();
        if (!QTest::currentTestFailed()) checkField();
    }

    // Moved to a screen of another factor: the field and the window are fitted again.
    void onAScreenOfAnotherScale() {
        if (QGuiApplication::screens().size() < 2) QSKIP("one screen");
        const double before = w->devicePixelRatioF();
        QScreen* other = QGuiApplication::screens()[1];
        w->move(other->geometry().topLeft() + QPoint(20, 20));
        QTRY_VERIFY(w->screen() == other);
        QVERIFY(w->devicePixelRatioF() != before);
        checkLayout();
        if (!QTest::currentTestFailed()) checkField();
    }
};

QTEST_MAIN(TestHiDpi)
#include "tst_hidpi.moc"
