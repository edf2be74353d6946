#include "../TestFiles.h"
#include "GameScreen.h"
#include "MemoryDC.h"
#include "gdi.h"
#include "picturebox.h"
#include "runtimetest.h"

#include <QPainter>
#include <QtTest> // with all of QtCore

namespace {

QRgb colour(quint32 i) {
    return qRgb(i * 16 + 3, 250 - i * 15, i * 37);
}

// A bitmap file with a 40-byte header and a palette of `colours` entries.
QByteArray bmpFile(int w, int h, int bpp, int compression, const QByteArray& pixels, int colours) {
    QByteArray b;
    QDataStream s(&b, QIODevice::WriteOnly);
    s.setByteOrder(QDataStream::LittleEndian);
    s << quint16(0x4D42) << quint32(54 + 4 * colours + pixels.size()) << 0 << 54 + 4 * colours << 40
      << w << h << quint16(1) << quint16(bpp) << compression << quint32(pixels.size()) << 2835
      << 2835 << colours << 0;
    for (int i = 0; i < colours; ++i)
        s << colour(i);
    return b + pixels;
}

// A picture of `w` columns from its pixels' palette indices, top row first.
QImage picture(int w, const std::vector<quint32>& indices) {
    QImage img(w, int(indices.size()) / w, QImage::Format_RGB32);
    for (int i = 0; i < int(indices.size()); ++i)
        img.setPixel(i % w, i / w, colour(indices[i]));
    return img;
}

QImage noise(int w, int h, quint32 seed) {
    QImage img(w, h, QImage::Format_RGB32);
    QRandomGenerator(seed).fillRange(reinterpret_cast<quint32*>(img.bits()), w * h);
    return img.convertToFormat(QImage::Format_RGB888).convertToFormat(QImage::Format_RGB32);
}

// What a transfer must do, by the toolkit's painter, whose raster operations and clipping are
// exact.
void reference(QImage& dst, int x, int y, int w, int h, const QImage& src, int sx, int sy,
               std::uint32_t rop) {
    if (w <= 0 || h <= 0) return;
    QPainter g(&dst);
    g.setCompositionMode(rop == gdi::SRCCOPY  ? QPainter::CompositionMode_Source
                         : rop == gdi::SRCAND ? QPainter::RasterOp_SourceAndDestination
                                              : QPainter::RasterOp_SourceOrDestination);
    g.drawImage(QPoint(x, y), src, QRect(sx, sy, w, h));
}

struct ScaledBox : PictureBox {
    double w = 0;
    double ScaleWidth() const override { return w; }
    double ScaleHeight() const override { return 400; }
};

} // namespace

class TestGraphics : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QStringList messages;
    QImage background = noise(620, 400, 1), sprite = noise(140, 148, 2), mask = noise(140, 148, 3);
    QString bgFile = dir.filePath("BackGround.bmp"), spriteFile = dir.filePath("BirdL1.bmp"),
            maskFile = dir.filePath("BirdL1mask.bmp"), missing = dir.filePath("BirdR2.bmp");

  private slots:
    void initTestCase() {
        runtime::SetMsgBoxHook([this](const QString& text, int style) {
            messages << QString("%1/%2").arg(text).arg(style);
        });
        QVERIFY(background.save(bgFile) && sprite.save(spriteFile) && mask.save(maskFile));
    }

    // What the toolkit's reader cannot tell (it agrees on the rest, which the fuzz target
    // compares): a file with the picture it holds, or a null picture when it must be refused.
    void readsBitmapFiles_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QImage>("want");
        // Runs, an odd literal and its padding, a skip across rows, and skipped pixels.
        QTest::newRow("RLE8")
            << bmpFile(8, 3, 8, 1,
                       QByteArray::fromHex("0301 0003 02030200 0201 0000 0203 00020301 0302 0001"),
                       16)
            << picture(8, {0, 0, 0, 0, 0, 2, 2, 2, 3, 3, 0, 0, 0, 0, 0, 0, 1, 1, 1, 2, 3, 2, 1, 1});
        QTest::newRow("RLE4") << bmpFile(7, 2, 4, 2,
                                         QByteArray::fromHex("0412 00033450 0000 0730 0001"), 16)
                              << picture(7, {3, 0, 3, 0, 3, 0, 3, 1, 2, 1, 2, 3, 4, 5});
        QTest::newRow("runs stop early")
            << bmpFile(4, 4, 8, 1, QByteArray::fromHex("04010000"), 2) << QImage();
        QVERIFY(noise(3, 2, 0).save(dir.filePath("good.bmp")));
        const QByteArray good = readFile(dir.filePath("good.bmp"));
        for (int n = 0; n < good.size(); ++n)
            QTest::addRow("cut at %d", n) << good.left(n) << QImage();
        // Signature, header size, bits per pixel, width 0, height 0, too wide, JPEG, RLE8 on
        // 24 bits, pixels beyond the end: {offset, value, bytes}.
        const quint32 patches[][3] = {{0, 'X', 1}, {14, 20, 4}, {28, 7, 2},
                                      {18, 0, 4},  {22, 0, 4},  {18, 100000, 4},
                                      {30, 4, 4},  {30, 1, 4},  {10, 0x7FFFFFF0, 4}};
        for (auto [at, v, n] : patches) {
            QByteArray file = good;
            std::memcpy(file.data() + at, &v, n); // little-endian, as the file
            QTest::addRow("%x at %d", v, at) << file << QImage();
        }
    }
    void readsBitmapFiles() {
        QFETCH(QByteArray, file);
        QFETCH(QImage, want);
        writeFile(dir.filePath("file.bmp"), file);
        QCOMPARE(gdi::ReadBitmapFile(dir.filePath("file.bmp")), want);
    }

    // Random transfers, the frame's whole copies among them, writes past the device contexts
    // and pictures swapped or shared: every surface holds what the painter says. A whole copy
    // onto the surface that took the last one moves only what changed since.
    void transfersMatchThePainter() {
        QRandomGenerator rng(11);
        QImage img[] = {noise(60, 40, 1), noise(60, 40, 2), noise(60, 40, 3), noise(41, 29, 4)};
        QList<QRect> written;
        const auto tell = [&](std::span<const QRect> r) { written << QList(r.begin(), r.end()); };
        MemoryDC spriteDC;
        spriteDC.load(spriteFile, 140, 148);
        const gdi::HDC dc[] = {gdi::CreateSurfaceDC(&img[0]), gdi::CreateSurfaceDC(&img[1]),
                               gdi::CreateSurfaceDC(&img[2], tell), gdi::CreateSurfaceDC(&img[3]),
                               spriteDC.HDC()};
        const auto whole = [&](int to) {
            gdi::BitBlt(dc[to], 0, 0, 60, 40, dc[to - 1], 0, 0, gdi::SRCCOPY);
        };
        whole(1);
        whole(2);
        gdi::BitBlt(dc[1], 5, 6, 7, 8, dc[4], 0, 0, gdi::SRCAND);
        whole(2);
        whole(2);
        QCOMPARE(written, (QList<QRect>{QRect(0, 0, 60, 40), QRect(5, 6, 7, 8)}));
        for (int i = 0; i < 40; ++i) // more changed parts than are kept apart
            gdi::BitBlt(dc[1], i, i % 30, 2, 2, dc[3], i, 0, gdi::SRCCOPY);
        whole(2);
        QCOMPARE(img[2], img[1]);

        QImage model[] = {img[0], img[1], img[2], img[3], sprite};
        const std::uint32_t ops[] = {gdi::SRCCOPY, gdi::SRCAND, gdi::SRCPAINT};
        for (int step = 0; step < 6000; ++step) {
            const int i = rng.bounded(4), j = rng.bounded(5), x = rng.bounded(-60, 60),
                      y = rng.bounded(-45, 45), w = rng.bounded(-5, 70), h = rng.bounded(-5, 50),
                      sx = rng.bounded(-45, 45), sy = rng.bounded(-30, 30);
            switch (rng.bounded(5)) {
            case 0: // the frame's own steps: background in, buffer out
                whole(1 + i % 2);
                model[1 + i % 2] = model[i % 2];
                break;
            case 1:
            case 2: { // any transfer, clipped or not, also within one surface
                const std::uint32_t rop = ops[rng.bounded(3)];
                gdi::BitBlt(dc[i], x, y, w, h, dc[j], sx, sy, rop);
                reference(model[i], x, y, w, h, model[j].copy(), sx, sy, rop);
                break;
            }
            case 3: { // a write past the device context
                const QPoint at(qBound(0, x, 28), qBound(0, y, 28));
                model[i].setPixel(at, rng.generate() | 0xFF000000u);
                img[i].setPixel(at, model[i].pixel(at));
                break;
            }
            default: // a new picture, or the same data shared
                model[i % 3] = img[i % 3] = j % 2 ? noise(60, 40, rng.generate()) : img[j % 3];
            }
            QVERIFY2(std::equal(img, img + 4, model), qPrintable(QString("step %1").arg(step)));
        }
        for (int k = 0; k < 4; ++k)
            gdi::DeleteDC(dc[k]);
    }

    // The mask ANDed into the background where it lies, then the picture ORed over its own area.
    // Rows {x, y, mask width, screen width, area's scale}: past the left edge, past right and
    // bottom, a mask narrower than the picture, a mask missing (width 0), and the screen's width
    // as the area's scale rounded half to even.
    void composedFrames() {
        const struct {
            int x, y, maskWidth, width;
            double scale;
        } rows[] = {{-50, 10, 140, 600, 600.0},  {520, 300, 140, 600, 600.0},
                    {200, 100, 70, 600, 600.0},  {200, 100, 0, 600, 600.0},
                    {500, 100, 140, 600, 600.5}, {500, 100, 140, 602, 601.5}};
        for (const auto& [x, y, maskWidth, width, scale] : rows) {
            messages.clear();
            ScaledBox front;
            PictureBox back;
            QImage want = noise(620, 400, 4), buffer = noise(620, 400, 5);
            front.w = scale;
            front.setAutoSize(true), front.setPicture(want);
            back.setAutoSize(true), back.setPicture(buffer);
            GameScreen screen;
            screen.load(front, back, bgFile);
            auto pic = std::make_unique<MemoryDC>();
            MemoryDC msk;
            pic->load(spriteFile, 30, 40);
            pic->load(maskFile, 140, 148); // keeps the first picture, takes the new size
            const runtime::Long before = gdi::CreateCompatibleDC(0);
            msk.load(maskWidth ? maskFile : missing, runtime::Integer(maskWidth), 148);
            // Each of 101 attempts at a missing file makes a device context and deletes it again.
            QVERIFY(maskWidth || gdi::CreateCompatibleDC(0) - before == 102);
            screen.drawBuffer(); // before any clear: the back buffer's own first picture
            reference(want, 0, 0, width, 400, buffer, 0, 0, gdi::SRCCOPY);
            QVERIFY(front.surface() == want);
            screen.clearBuffer();
            screen.draw(*pic, msk, runtime::Integer(x), runtime::Integer(y));
            screen.drawBuffer();
            reference(buffer, 0, 0, width, 400, background, 0, 0, gdi::SRCCOPY);
            reference(buffer, x, y, maskWidth, 148, mask, 0, 0, gdi::SRCAND);
            reference(buffer, x, y, 140, 148, sprite, 0, 0, gdi::SRCPAINT);
            reference(want, 0, 0, width, 400, buffer, 0, 0, gdi::SRCCOPY);
            QVERIFY(front.surface() == want);
            QCOMPARE(messages, maskWidth ? QStringList() : QStringList{"Failure in creating dc/0"});
            const runtime::Long hdc = pic->HDC();
            pic.reset();
            QVERIFY(!gdi::SurfaceOf(hdc));
        }
    }

    void pressesMapToSurfacePixels() {
        PictureBox box;
        box.setBorder3D(true);
        box.setAutoSize(true);
        box.setPicture(noise(600, 400, 5));
        QSignalSpy spy(&box, &PictureBox::MouseDown);
        QTest::mousePress(&box, Qt::LeftButton, {}, QPoint(12, 7));
        QTest::mousePress(&box, Qt::RightButton, Qt::ShiftModifier, QPoint(601, 401));
        QTest::mousePress(&box, Qt::LeftButton, {}, QPoint(1, 100)); // on the border
        QCOMPARE(QList<QVariantList>(spy),
                 (QList<QVariantList>{{1, 0, 10.0, 5.0}, {2, 1, 599.0, 399.0}}));
    }
};

QTEST_MAIN(TestGraphics)
#include "tst_graphics.moc"
