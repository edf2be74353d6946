// The play field on a scaled screen; CTest runs this at QT_SCALE_FACTOR 1, 1.5 and 2.

#include "picturebox.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <cmath>

class TestHiDpi : public QObject {
    Q_OBJECT
    QImage field{600, 400, QImage::Format_RGB32};
    PictureBox box;
    double ratio = 1;
    int k = 1, origin = 2; // device pixels per field pixel, and to the field from the corner

  private slots:
    void initTestCase() {
        for (int i = 0; i < 600 * 400; ++i) // neighbours differ, so any smear or shift shows
            field.setPixel(i % 600, i / 600, 0xFF000000u | (i * 2654435761u >> 8));
        box.setBorder3D(true);
        box.setAutoSize(true);
        box.setPicture(field);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        ratio = box.devicePixelRatioF();
        QCOMPARE(ratio, qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble());
        k = box.pixelFactor();
        QCOMPARE(k, int(std::floor(ratio + 0.5)));
        origin = int(std::lround(2 * ratio));
    }

    void pressesMapToThePixelUnderTheCursor() {
        QSignalSpy spy(&box, &PictureBox::MouseDown);
        const QList<QPoint> pixels{{0, 0}, {599, 399}, {123, 45}, {598, 1}};
        QList<QPointF> presses; // in device pixels: the first, middle and last of each block
        for (QPoint p : pixels)
            for (double d : {0.01, k / 2.0, k - 0.01})
                presses << QPointF(origin + k * p.x() + d, origin + k * p.y() + d);
        // Then on the border, right of the last column and below the last row: no report.
        presses << QPointF(origin - 0.5, 10) << QPointF(origin + 600 * k + 0.01, 10)
                << QPointF(10, origin + 400 * k + 0.01);
        for (QPointF at : presses) {
            QMouseEvent e(QEvent::MouseButtonPress, at / ratio, box.mapToGlobal(at / ratio),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&box, &e);
        }
        QCOMPARE(spy.size(), 3 * pixels.size());
        for (int i = 0; i < spy.size(); ++i)
            QCOMPARE(QPointF(spy[i][2].toDouble(), spy[i][3].toDouble()), QPointF(pixels[i / 3]));
    }

    void everyFieldPixelIsAUniformBlock() { compareBlocks(box.grab().toImage()); }

    // A transfer repaints only what it wrote, and that repaint leaves the whole shown right.
    void aChangedPartRepaintsRight() {
        QImage shown = box.grab().toImage();
        PaintRegions repainted;
        box.installEventFilter(&repainted);
        QImage patch(37, 23, QImage::Format_RGB32);
        patch.fill(0xFF102030u);
        const gdi::HDC from = gdi::CreateSurfaceDC(&patch);
        for (QPoint at : {QPoint(123, 45), QPoint(-7, 390), QPoint(580, -5)}) {
            gdi::BitBlt(box.hDC(), at.x(), at.y(), 37, 23, from, 0, 0, gdi::SRCCOPY);
            QPainter(&field).drawImage(at, patch);
        }
        gdi::DeleteDC(from);
        QVERIFY(QTest::qWaitFor([&] { return !repainted.seen.isEmpty(); }));
        box.removeEventFilter(&repainted);
        int area = 0;
        for (const QRect& r : repainted.seen)
            area += r.width() * r.height();
        QVERIFY(area < box.width() * box.height() / 20);
        box.render(&shown, repainted.seen.boundingRect().topLeft(), repainted.seen);
        compareBlocks(shown);
    }

  private:
    struct PaintRegions : QObject {
        QRegion seen;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::Paint) seen += static_cast<QPaintEvent*>(e)->region();
            return false;
        }
    };

    void compareBlocks(const QImage& image) {
        const QImage shown = image.convertToFormat(QImage::Format_RGB32);
        for (int i = 0; i < 600 * 400 * k * k; ++i) {
            const int x = i / (k * k) % 600, y = i / (k * k) / 600;
            if (shown.pixel(origin + k * x + i % k, origin + k * y + i / k % k) !=
                field.pixel(x, y))
                QFAIL(qPrintable(QString("field pixel %1,%2").arg(x).arg(y)));
        }
    }
};

QTEST_MAIN(TestHiDpi)
#include "tst_hidpi.moc"
