// The play field on scaled screens: run once per QT_SCALE_FACTOR (1, 1.5, 2) by CTest.

#include "picturebox.h"

#include <QApplication>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <cmath>

namespace {

QImage noise(int w, int h, quint32 seed) {
    QRandomGenerator gen(seed);
    QImage image(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, 0xFF000000u | (gen.generate() & 0xFFFFFFu));
    return image;
}

double requestedScale() {
    const QByteArray v = qgetenv("QT_SCALE_FACTOR");
    return v.isEmpty() ? 1.0 : v.toDouble();
}

} // namespace

class TestHiDpi : public QObject {
    Q_OBJECT
    QImage field = noise(600, 400, 7);
    PictureBox* box = nullptr;
    double ratio = 1;
    int k = 1;
    int origin = 2; // device pixels from the widget's corner to the field's

    // Presses at a point given in device pixels of the widget.
    void pressAtDevice(double dx, double dy, Qt::MouseButton button = Qt::LeftButton) {
        const QPointF local(dx / ratio, dy / ratio);
        QMouseEvent press(QEvent::MouseButtonPress, local, box->mapToGlobal(local), button, button,
                          Qt::NoModifier);
        QApplication::sendEvent(box, &press);
        QMouseEvent release(QEvent::MouseButtonRelease, local, box->mapToGlobal(local), button,
                            Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(box, &release);
    }

  private slots:
    void initTestCase() {
        box = new PictureBox;
        box->setBorder3D(true);
        box->setAutoSize(true);
        box->setPicture(field);
        box->show();
        QVERIFY(QTest::qWaitForWindowExposed(box));
        ratio = box->devicePixelRatioF();
        // The suite must really run at the ratio it was started for.
        QCOMPARE(ratio, requestedScale());
        k = box->pixelFactor();
        origin = int(std::lround(2 * ratio));
    }
    void cleanupTestCase() { delete box; }

    void wholeFactorIsTheNearestToTheRatio() {
        QCOMPARE(k, std::max(1, int(std::floor(ratio + 0.5))));
        QVERIFY(k >= 1);
    }

    void areaHoldsTheWholeFieldAndItsBorder() {
        QCOMPARE(box->ScaleWidth(), 600.0);
        QCOMPARE(box->ScaleHeight(), 400.0);
        // In device pixels the inside is at least k times the field, and less than one
        // widget unit more.
        const double insideW = (box->width() - 4) * ratio, insideH = (box->height() - 4) * ratio;
        QVERIFY2(insideW >= 600 * k && insideW < 600 * k + ratio,
                 qPrintable(QString::number(insideW)));
        QVERIFY2(insideH >= 400 * k && insideH < 400 * k + ratio,
                 qPrintable(QString::number(insideH)));
    }

    void pressesMapToThePixelUnderTheCursor_data() {
        QTest::addColumn<int>("x");
        QTest::addColumn<int>("y");
        QTest::newRow("corner") << 0 << 0;
        QTest::newRow("far corner") << 599 << 399;
        QTest::newRow("odd") << 123 << 45;
        QTest::newRow("middle") << 300 << 200;
        QTest::newRow("near the right edge") << 598 << 1;
    }
    void pressesMapToThePixelUnderTheCursor() {
        QFETCH(int, x);
        QFETCH(int, y);
        QSignalSpy spy(box, &PictureBox::MouseDown);
        // The first and the last device pixel of the field pixel's block, and its middle.
        const double first = 0.01, last = k - 0.01, middle = k / 2.0;
        for (double d : {first, middle, last})
            pressAtDevice(origin + k * x + d, origin + k * y + d);
        QCOMPARE(spy.size(), 3);
        for (const auto& args : spy) {
            QCOMPARE(args.at(2).toDouble(), double(x));
            QCOMPARE(args.at(3).toDouble(), double(y));
        }
    }

    void pressesOutsideTheFieldReportNothing() {
        QSignalSpy spy(box, &PictureBox::MouseDown);
        pressAtDevice(origin - 0.5, origin + 10);            // on the left border
        pressAtDevice(origin + 10, origin - 0.5);            // on the top border
        pressAtDevice(origin + 600 * k + 0.01, origin + 10); // right of the last column
        pressAtDevice(origin + 10, origin + 400 * k + 0.01); // below the last row
        QCOMPARE(spy.size(), 0);
        pressAtDevice(origin + 600 * k - 0.01, origin + 400 * k - 0.01, Qt::RightButton);
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy[0], (QVariantList{2, 0, 599.0, 399.0}));
    }

    void everyFieldPixelIsAUniformSharpBlock() {
        const QImage shown = box->grab().toImage().convertToFormat(QImage::Format_RGB32);
        QVERIFY(shown.width() >= origin + 600 * k && shown.height() >= origin + 400 * k);
        int wrong = 0;
        QString first;
        for (int y = 0; y < 400; ++y)
            for (int x = 0; x < 600; ++x)
                for (int j = 0; j < k; ++j)
                    for (int i = 0; i < k; ++i) {
                        const QRgb got = shown.pixel(origin + k * x + i, origin + k * y + j);
                        if (got != field.pixel(x, y) && wrong++ == 0)
                            first = QStringLiteral("field %1,%2 sub %3,%4: %5 instead of %6")
                                        .arg(x)
                                        .arg(y)
                                        .arg(i)
                                        .arg(j)
                                        .arg(got, 8, 16)
                                        .arg(field.pixel(x, y), 8, 16);
                    }
        QVERIFY2(wrong == 0,
                 qPrintable(QString::number(wrong) + QStringLiteral(" wrong; ") + first));
    }

    void drawingThroughTheDeviceContextShowsScaledToo() {
        QImage red(3, 2, QImage::Format_RGB32);
        red.fill(qRgb(255, 0, 0));
        const gdi::HDC src = gdi::CreateSurfaceDC(&red);
        gdi::BitBlt(box->hDC(), 17, 9, 3, 2, src, 0, 0, gdi::SRCCOPY);
        gdi::DeleteDC(src);
        QTRY_COMPARE(box->grab().toImage().pixel(origin + k * 17, origin + k * 9), qRgb(255, 0, 0));
        const QImage shown = box->grab().toImage();
        QCOMPARE(shown.pixel(origin + k * 19 + k - 1, origin + k * 10 + k - 1), qRgb(255, 0, 0));
        QCOMPARE(shown.pixel(origin + k * 20, origin + k * 10), field.pixel(20, 10));
        QCOMPARE(shown.pixel(origin + k * 16 + k - 1, origin + k * 9), field.pixel(16, 9));
    }
};

QTEST_MAIN(TestHiDpi)
#include "tst_hidpi.moc"
