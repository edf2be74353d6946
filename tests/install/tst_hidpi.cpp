// The main window on a scaled screen; CTest runs this at every factor a desktop offers, and
// once on two screens of different factors, where the window moves from one to the other.

#include "frmBirds_Main.h"
#include "runtimetest.h"

#include <QApplication>
#include <QDebug>
#include <QLabel>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
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

    // Each control where the laid-out twips put it, a laid-out pixel being as many device
    // pixels as a field pixel: in window pixels from the field's laid-out corner (0, 720),
    // within a pixel. The row stops above the field, the last bar at its right edge.
    void checkLayout() {
        const double ratio = w->devicePixelRatioF(), k = screen().pixelFactor();
        const double unit = k / ratio / 12; // window pixels per twip
        const QRect f = in(&screen()), client = in(w->centralWidget());
        const int right = int(std::lround(f.width() / unit)), bottom = int(f.height() / unit);
        QCOMPARE(f.size(), QSize(int(std::ceil(600 * k / ratio - 1e-6)) + 4,
                                 int(std::ceil(400 * k / ratio - 1e-6)) + 4));
        const struct {
            const char* name;
            QRect laid;
        } controls[] = {{"Toolbar", {0, -720, right, 336}},
                        {"lblSpeed", {0, -240, 612, 240}},
                        {"pbSpeed", {600, -240, 1452, 228}},
                        {"lblBirds", {2160, -240, 492, 240}},
                        {"pbBirds", {2640, -240, 2172, 240}},
                        {"lblBullets", {4920, -240, 612, 240}},
                        {"pbBullets", {5520, -240, right - 5520, 240}},
                        {"StatusBar", {0, bottom, right, 360}}};
        for (const auto& c : controls) {
            auto* control = w->findChild<QWidget*>(c.name);
            const QRect shown = in(control);
            const QRectF want(QPointF(f.topLeft()) + QPointF(c.laid.topLeft()) * unit,
                              QSizeF(c.laid.size()) * unit);
            QString seen;
            QDebug(&seen) << shown << "laid out" << want;
            QVERIFY2(std::abs(shown.x() - want.x()) <= 1 && std::abs(shown.y() - want.y()) <= 1 &&
                         std::abs(shown.right() + 1 - want.right()) <= 1 &&
                         std::abs(shown.bottom() + 1 - want.bottom()) <= 1 &&
                         QRect(QPoint(), w->size()).contains(shown),
                     qPrintable(c.name + seen));
            // No text is cut: labels and the score panels hold theirs.
            QList<QLabel*> texts = control->findChildren<QLabel*>();
            if (auto* label = qobject_cast<QLabel*>(control)) texts << label;
            for (const QLabel* l : texts)
                QVERIFY2(l->fontMetrics().horizontalAdvance(l->text()) <= l->width(), c.name);
        }
        // The toolbar and the status bar span the field, the status bar right under it, and
        // the window fitted around them.
        QCOMPARE(in(w->findChild<QToolBar*>()).width(), f.width());
        QCOMPARE(client.bottom(), f.bottom());
        QCOMPARE(in(w->statusBar()).top(), f.bottom() + 1);
        QCOMPARE(w->size(), QSize(f.width(), in(w->statusBar()).bottom() + 1));
        // Toolbar buttons of 23 x 22 laid-out pixels, left to right, inside the toolbar.
        const auto* toolbar = w->findChild<QToolBar*>();
        for (int i = 1, next = 0; i <= frmBirds_Main::ButtonCount; ++i) {
            const QRect b = in(toolbar->widgetForAction(w->Buttons(i)));
            QVERIFY2(std::abs(b.width() - 276 * unit) <= 1 &&
                         std::abs(b.height() - 264 * unit) <= 1 && b.left() >= next &&
                         in(toolbar).contains(b),
                     qPrintable(QString("button %1").arg(i)));
            next = b.right() + 1;
        }
    }

    // The field shows every pixel as a uniform block of k x k device pixels, and a press on
    // any device pixel of a block reports that pixel.
    void checkField() {
        const double ratio = w->devicePixelRatioF();
        const int k = screen().pixelFactor();
        QCOMPARE(k, std::max(1, int(std::floor(ratio + 0.5))));
        screen().setPicture(field);
        const QImage shown = w->grab().toImage();
        const QPoint o = fieldOrigin(shown);
        if (QTest::currentTestFailed()) return;
        compareBlocks(shown, o, field);
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

    // Where the field's corner shows, in device pixels of the window.
    QPoint fieldOrigin(const QImage& image) {
        const QImage shown = image.convertToFormat(QImage::Format_RGB32);
        const double ratio = w->devicePixelRatioF();
        const int k = screen().pixelFactor();
        const QPoint laid = (QPointF(in(&screen()).topLeft() + QPoint(2, 2)) * ratio).toPoint();
        for (int i = 0; i < 25; ++i) {
            const QPoint at = laid + QPoint(i % 5 - 2, i / 5 - 2);
            if (shown.pixel(at) == field.pixel(0, 0) &&
                shown.pixel(at + QPoint(k - 1, k - 1)) == field.pixel(0, 0))
                return at;
        }
        QTest::qFail("the field's first pixel near its place", __FILE__, __LINE__);
        return {};
    }

    void compareBlocks(const QImage& image, QPoint o, const QImage& want) {
        const QImage shown = image.convertToFormat(QImage::Format_RGB32);
        const int k = screen().pixelFactor();
        for (int i = 0; i < 600 * 400 * k * k; ++i) {
            const int x = i / (k * k) % 600, y = i / (k * k) / 600;
            if (shown.pixel(o.x() + k * x + i % k, o.y() + k * y + i / k % k) != want.pixel(x, y))
                QFAIL(qPrintable(QString("field pixel %1,%2").arg(x).arg(y)));
        }
    }

    struct PaintRegions : QObject {
        QRegion seen;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::Paint) seen += static_cast<QPaintEvent*>(e)->region();
            return false;
        }
    };

    // A transfer repaints only what it wrote, and that repaint leaves the whole field right.
    void checkPartialRepaint() {
        QImage shown = w->grab().toImage();
        const QPoint o = fieldOrigin(shown);
        if (QTest::currentTestFailed()) return;
        QImage want = field;
        // Paints still due from earlier changes happen first.
        PaintRegions repainted;
        screen().installEventFilter(&repainted);
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        repainted.seen = QRegion();
        QImage patch(37, 23, QImage::Format_RGB32);
        patch.fill(0xFF102030u);
        const gdi::HDC from = gdi::CreateSurfaceDC(&patch);
        for (QPoint at : {QPoint(123, 45), QPoint(-7, 390), QPoint(580, -5)}) {
            gdi::BitBlt(screen().hDC(), at.x(), at.y(), 37, 23, from, 0, 0, gdi::SRCCOPY);
            QPainter(&want).drawImage(at, patch);
        }
        gdi::DeleteDC(from);
        QVERIFY(QTest::qWaitFor([&] { return !repainted.seen.isEmpty(); }));
        screen().removeEventFilter(&repainted);
        int area = 0;
        for (const QRect& r : repainted.seen)
            area += r.width() * r.height();
        QVERIFY(area < screen().width() * screen().height() / 20);
        screen().render(&shown, in(&screen()).topLeft() + repainted.seen.boundingRect().topLeft(),
                        repainted.seen);
        compareBlocks(shown, o, want);
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
        if (!QTest::currentTestFailed()) checkPartialRepaint();
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
