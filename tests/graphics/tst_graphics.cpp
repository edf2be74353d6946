#include "GameScreen.h"
#include "MemoryDC.h"
#include "bmpwriter.h"
#include "picturebox.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

class CountingDC : public MemoryDC {
  public:
    int generated = 0;
    runtime::Long GenerateDC(const QString& fileName) override {
        ++generated;
        return MemoryDC::GenerateDC(fileName);
    }
};

// An area whose scale is not whole pixels, to see how the screen rounds it.
class ScaledBox : public PictureBox {
  public:
    double w = 0, h = 0;
    double ScaleWidth() const override { return w; }
    double ScaleHeight() const override { return h; }
};

bool sameCalls(const gdi::CallCounts& a, const gdi::CallCounts& b) {
    return a.createCompatibleDC == b.createCompatibleDC && a.loadImage == b.loadImage &&
           a.selectObject == b.selectObject && a.deleteObject == b.deleteObject &&
           a.deleteDC == b.deleteDC && a.bitBlt == b.bitBlt;
}

QImage noise(int w, int h, quint32 seed) {
    QRandomGenerator rng(seed);
    QImage img(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.setPixel(x, y, rng.generate() | 0xFF000000u);
    return img;
}

// A bird-like figure: an ellipse, black outside in the picture and white outside in the mask.
void figure(QImage& sprite, QImage& mask) {
    sprite = QImage(140, 148, QImage::Format_RGB32);
    mask = sprite;
    for (int y = 0; y < 148; ++y)
        for (int x = 0; x < 140; ++x) {
            const double dx = (x - 70) / 60.0, dy = (y - 74) / 50.0;
            const bool in = dx * dx + dy * dy <= 1.0;
            sprite.setPixel(x, y, in ? qRgb(200 + x % 50, y, 40) : qRgb(0, 0, 0));
            mask.setPixel(x, y, in ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
        }
}

// The frame the screen must compose, read straight from the meaning of the masked draw.
QImage expectedFrame(const QImage& background, const QImage& sprite, const QImage& mask, int x,
                     int y, int maskWidth) {
    QImage out = background.copy(0, 0, 600, 400);
    for (int j = 0; j < sprite.height(); ++j)
        for (int i = 0; i < sprite.width(); ++i) {
            const int u = x + i, v = y + j;
            if (u < 0 || v < 0 || u >= 600 || v >= 400) continue;
            QRgb p = out.pixel(u, v);
            if (i < maskWidth) p &= mask.pixel(i, j);
            out.setPixel(u, v, p | sprite.pixel(i, j));
        }
    return out;
}

QByteArray icoFile() {
    QByteArray dir, data;
    bmp::le16(dir, 0), bmp::le16(dir, 1), bmp::le16(dir, 2);
    int offset = 6 + 2 * 16;
    for (int size : {16, 32}) {
        QByteArray img;
        bmp::le32(img, 40), bmp::le32(img, size), bmp::le32(img, 2 * size);
        bmp::le16(img, 1), bmp::le16(img, 32);
        for (int i = 0; i < 6; ++i)
            bmp::le32(img, 0);
        const QRgb colour = size == 32 ? qRgb(0, 0, 255) : qRgb(255, 0, 0);
        img += bmp::rows(size, size, 32, [&](int, int) { return colour | 0xFF000000u; });
        img += QByteArray(size * 4, '\0'); // AND mask: every pixel opaque
        dir.append(char(size)).append(char(size)).append('\0').append('\0');
        bmp::le16(dir, 1), bmp::le16(dir, 32), bmp::le32(dir, img.size()), bmp::le32(dir, offset);
        offset += img.size();
        data += img;
    }
    return dir + data;
}

} // namespace

class TestGraphics : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QStringList messages;
    QImage background, sprite, mask;
    QString bgFile, spriteFile, maskFile, missing;

    QString save(const QString& name, const QImage& img) {
        const QString path = dir.filePath(name);
        if (!img.save(path, "BMP")) qFatal("cannot write %s", qPrintable(path));
        return path;
    }

  private slots:
    void initTestCase() {
        runtime::SetMsgBoxHook([this](const QString& text, int style) {
            messages << QString("%1/%2").arg(text).arg(style);
        });
        background = noise(600, 400, 1);
        figure(sprite, mask);
        bgFile = save("BackGround.bmp", background);
        spriteFile = save("BirdL1.bmp", sprite);
        maskFile = save("BirdL1mask.bmp", mask);
        missing = dir.filePath("BirdR2.bmp");
    }
    void init() { messages.clear(); }

    void memoryDcLoadsOnceAndKeepsItsPicture() {
        const gdi::CallCounts before = gdi::Calls();
        runtime::Long hdc = 0;
        {
            CountingDC dc;
            dc.load(spriteFile, 140, -1);
            QCOMPARE(dc.generated, 1);
            QVERIFY(dc.HDC() >= 1);
            QCOMPARE(dc.Xsize(), 140);
            QCOMPARE(dc.Ysize(), -1);
            hdc = dc.HDC();

            dc.load(maskFile, 30, 40);
            QCOMPARE(dc.generated, 1);
            QCOMPARE(dc.HDC(), hdc);
            QCOMPARE(dc.Xsize(), 30);
            QCOMPARE(gdi::SurfaceOf(hdc)->pixel(70, 74), sprite.pixel(70, 74));
            QCOMPARE(gdi::Calls().deleteDC, before.deleteDC);
        }
        QCOMPARE(gdi::Calls().deleteDC, before.deleteDC + 1);
        QVERIFY(gdi::SurfaceOf(hdc) == nullptr);
        QVERIFY(messages.isEmpty());
    }

    void memoryDcGivesUpAfter101Attempts() {
        const gdi::CallCounts before = gdi::Calls();
        gdi::CallCounts loaded;
        {
            CountingDC dc;
            dc.load(missing, 140, 148);
            QCOMPARE(dc.generated, 101);
            QCOMPARE(messages, QStringList{"Failure in creating dc/0"});
            QCOMPARE(dc.HDC(), 0);
            QCOMPARE(dc.Xsize(), 140);
            QCOMPARE(dc.Ysize(), 148);
            loaded = gdi::Calls();
            QCOMPARE(loaded.createCompatibleDC - before.createCompatibleDC, 101);
            QCOMPARE(loaded.loadImage - before.loadImage, 101);
            QCOMPARE(loaded.deleteDC - before.deleteDC, 101);
            QCOMPARE(loaded.selectObject, before.selectObject);
        }
        QVERIFY2(sameCalls(gdi::Calls(), loaded), "destroying an empty object called the platform");
    }

    void composedFrames_data() {
        QTest::addColumn<int>("x");
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("maskWidth");
        QTest::newRow("inside") << 100 << 120 << 140;
        QTest::newRow("past the left edge") << -50 << 10 << 140;
        QTest::newRow("past right and bottom") << 520 << 300 << 140;
        QTest::newRow("above and left, out of sight") << -200 << -200 << 140;
        QTest::newRow("last pixel") << 599 << 399 << 140;
        QTest::newRow("mask narrower than picture") << 200 << 100 << 70;
    }
    void composedFrames() {
        QFETCH(int, x);
        QFETCH(int, y);
        QFETCH(int, maskWidth);
        PictureBox front, back;
        front.setBorder3D(true);
        front.setAutoSize(true);
        front.setPicture(background);
        back.setAutoSize(true);
        back.setPicture(noise(600, 400, 2));
        GameScreen screen;
        screen.load(front, back, bgFile);
        MemoryDC pic, msk;
        pic.load(spriteFile, 140, 148);
        msk.load(maskFile, runtime::Integer(maskWidth), 148);

        screen.clearBuffer();
        screen.draw(pic, msk, runtime::Integer(x), runtime::Integer(y));
        screen.drawBuffer();
        const QImage want = expectedFrame(background, sprite, mask, x, y, maskWidth);
        QCOMPARE(front.surface().size(), QSize(600, 400));
        QVERIFY(front.surface() == want);
        if (x == 100) {
            QCOMPARE(front.surface().pixel(x + 70, y + 74), sprite.pixel(70, 74));
            QCOMPARE(front.surface().pixel(x + 1, y + 1), background.pixel(x + 1, y + 1));
        }
        QVERIFY(messages.isEmpty());
    }

    void emptyPicturesDrawNothing() {
        PictureBox front, back;
        front.setAutoSize(true);
        front.setPicture(background);
        const QImage initial = noise(600, 400, 3);
        back.setAutoSize(true);
        back.setPicture(initial);

        GameScreen broken;
        broken.load(front, back, missing);
        QCOMPARE(messages.size(), 1);
        // Before any clear, the back buffer's own first picture is what reaches the screen.
        broken.drawBuffer();
        QVERIFY(front.surface() == initial);

        MemoryDC pic, noMask;
        pic.load(spriteFile, 140, 148);
        noMask.load(missing, 140, 148);
        broken.draw(pic, noMask, 10, 10);
        broken.clearBuffer(); // no background: the buffer keeps the draw
        broken.drawBuffer();
        const QImage shown = front.surface();
        QCOMPARE(shown.pixel(10 + 70, 10 + 74), initial.pixel(80, 84) | sprite.pixel(70, 74));
        QCOMPARE(shown.pixel(10, 10), initial.pixel(10, 10));
        broken.drawBuffer();
        QVERIFY(front.surface() == shown);
    }

    void screenSizeRoundsHalfToEven_data() {
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("width");
        QTest::newRow("600.4") << 600.4 << 600;
        QTest::newRow("600.5") << 600.5 << 600;
        QTest::newRow("601.5") << 601.5 << 602;
    }
    void screenSizeRoundsHalfToEven() {
        QFETCH(double, scale);
        QFETCH(int, width);
        ScaledBox front;
        front.w = scale;
        front.h = 400;
        front.resize(610, 410);
        PictureBox back;
        back.setAutoSize(true);
        back.setPicture(noise(620, 400, 4));
        GameScreen screen;
        screen.load(front, back, save("wide.bmp", noise(620, 400, 5)));
        screen.drawBuffer();
        QCOMPARE(front.surface().pixel(width - 1, 399), back.surface().pixel(width - 1, 399));
        QCOMPARE(front.surface().pixel(width, 0), front.surface().pixel(609, 0));
    }

    void pictureAreaSizesAndMousePresses() {
        PictureBox box;
        box.setBorder3D(true);
        box.setAutoSize(true);
        box.setPicture(background);
        QCOMPARE(box.size(), QSize(604, 404));
        QCOMPARE(box.ScaleWidth(), 600.0);
        QCOMPARE(box.ScaleHeight(), 400.0);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));

        QSignalSpy spy(&box, &PictureBox::MouseDown);
        QTest::mousePress(&box, Qt::LeftButton, {}, QPoint(12, 7));
        QTest::mousePress(&box, Qt::RightButton, Qt::ShiftModifier, QPoint(601, 401));
        QTest::mousePress(&box, Qt::MiddleButton, Qt::ControlModifier, QPoint(2, 2));
        QTest::mousePress(&box, Qt::LeftButton, {}, QPoint(1, 100)); // on the border
        QCOMPARE(spy.size(), 3);
        QCOMPARE(spy[0], (QVariantList{1, 0, 10.0, 5.0}));
        QCOMPARE(spy[1], (QVariantList{2, 1, 599.0, 399.0}));
        QCOMPARE(spy[2], (QVariantList{4, 2, 0.0, 0.0}));
    }

    void blitRepaintsLater() {
        PictureBox box;
        box.setBorder3D(true);
        box.setAutoSize(true);
        box.setPicture(background);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QCoreApplication::processEvents();

        struct PaintCounter : QObject {
            int paints = 0;
            bool eventFilter(QObject*, QEvent* e) override {
                if (e->type() == QEvent::Paint) ++paints;
                return false;
            }
        } counter;
        box.installEventFilter(&counter);
        QImage red(5, 5, QImage::Format_RGB32);
        red.fill(qRgb(255, 0, 0));
        const gdi::HDC src = gdi::CreateSurfaceDC(&red);
        gdi::BitBlt(box.hDC(), 300, 200, 5, 5, src, 0, 0, gdi::SRCCOPY);
        QCOMPARE(counter.paints, 0);
        QTRY_VERIFY(counter.paints > 0);
        const QImage shown = box.grab().toImage();
        QCOMPARE(shown.pixel(2 + 302, 2 + 202), qRgb(255, 0, 0));
        QCOMPARE(shown.pixel(2 + 310, 2 + 202), background.pixel(310, 202));
        gdi::DeleteDC(src);
    }

    void picturesAndPointersFromFiles() {
        const QString ico = dir.filePath("cursor.ico");
        QVERIFY(bmp::save(ico, icoFile()));
        const QString garbage = dir.filePath("garbage.bmp");
        QVERIFY(bmp::save(garbage, "BM but nothing else of a bitmap"));

        QCOMPARE(LoadPicture(bgFile).pixel(123, 45), background.pixel(123, 45));
        const QImage icon = LoadPicture(ico);
        QCOMPARE(icon.size(), QSize(32, 32));
        QCOMPARE(icon.pixel(5, 5), qRgb(0, 0, 255));
        for (const QString& f : {missing, garbage}) {
            for (int kind = 0; kind < 2; ++kind) {
                try {
                    kind ? (void)LoadCursorIcon(f) : (void)LoadPicture(f);
                    QFAIL("no error raised");
                } catch (const runtime::RuntimeError& e) {
                    QCOMPARE(e.number(), f == missing ? 53 : 481);
                }
            }
        }

        PictureBox box;
        QCOMPARE(box.cursor().shape(), Qt::ArrowCursor);
        box.setMousePointer(12);
        QCOMPARE(box.cursor().shape(), Qt::ForbiddenCursor);
        box.setMousePointer(99);
        QCOMPARE(box.cursor().shape(), Qt::ArrowCursor);
        box.setMouseIcon(LoadCursorIcon(ico));
        QCOMPARE(box.cursor().shape(), Qt::BitmapCursor);
        QCOMPARE(box.cursor().pixmap().size(), QSize(32, 32));
        QCOMPARE(box.cursor().hotSpot(), QPoint(16, 16));
        box.setMousePointer(0);
        QCOMPARE(box.cursor().shape(), Qt::ArrowCursor);
    }
};

QTEST_MAIN(TestGraphics)
#include "tst_graphics.moc"
