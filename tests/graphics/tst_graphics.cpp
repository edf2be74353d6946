#include "GameScreen.h"
#include "MemoryDC.h"
#include "gdi.h"
#include "picturebox.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

QByteArray le(quint32 v, int bytes) {
    QByteArray b;
    for (int i = 0; i < bytes; ++i)
        b += char(v >> 8 * i);
    return b;
}

// A bitmap file with a 40-byte header; `extra` holds the bit-field masks or the palette.
QByteArray bmpFile(int w, int h, int bpp, int compression, const QByteArray& extra,
                   const QByteArray& pixels, int colours = 0) {
    const QByteArray info = le(40, 4) + le(w, 4) + le(h, 4) + le(1, 2) + le(bpp, 2) +
                            le(compression, 4) + le(pixels.size(), 4) + le(2835, 4) + le(2835, 4) +
                            le(colours, 4) + le(0, 4) + extra;
    return "BM" + le(14 + info.size() + pixels.size(), 4) + le(0, 4) + le(14 + info.size(), 4) +
           info + pixels;
}

// Raw pixel values packed into padded rows, bottom row first unless h < 0.
QByteArray rows(int w, int h, int bpp, const std::function<quint32(int, int)>& value) {
    QByteArray out;
    for (int r = 0; r < std::abs(h); ++r) {
        QByteArray row;
        quint32 acc = 0, bits = 0;
        for (int x = 0; x < w; ++x) {
            const quint32 v = value(x, h < 0 ? r : h - 1 - r);
            if (bpp >= 8)
                row += le(v, bpp / 8);
            else if (acc = acc << bpp | v, (bits += bpp) == 8)
                row += char(acc), acc = bits = 0;
        }
        if (bits) row += char(acc << (8 - bits));
        out += row + QByteArray((4 - row.size() % 4) % 4, '\0');
    }
    return out;
}

QRgb colour(int i) {
    return qRgb(i * 16 + 3, 250 - i * 15, (i * 37) & 0xFF);
}
QByteArray palette(int n) {
    QByteArray b;
    for (int i = 0; i < n; ++i)
        b += le(colour(i) & 0xFFFFFF, 4);
    return b;
}

QImage noise(int w, int h, quint32 seed) {
    QImage img(w, h, QImage::Format_RGB32);
    QRandomGenerator(seed).fillRange(reinterpret_cast<quint32*>(img.bits()), w * h);
    return img.convertToFormat(QImage::Format_RGB888).convertToFormat(QImage::Format_RGB32);
}

class ScaledBox : public PictureBox {
  public:
    double w = 0;
    double ScaleWidth() const override { return w; }
    double ScaleHeight() const override { return 400; }
};

} // namespace

class TestGraphics : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QStringList messages;
    QImage background = noise(620, 400, 1), sprite{140, 148, QImage::Format_RGB32}, mask = sprite;
    QString bgFile, spriteFile, maskFile, missing = dir.filePath("BirdR2.bmp");

    QString write(const QString& name, const QByteArray& bytes) {
        QFile f(dir.filePath(name));
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size()) qFatal("cannot write");
        return f.fileName();
    }

  private slots:
    void initTestCase() {
        runtime::SetMsgBoxHook([this](const QString& text, int style) {
            messages << QString("%1/%2").arg(text).arg(style);
        });
        // An ellipse: coloured inside, black outside in the picture and white outside in the mask.
        for (int y = 0; y < 148; ++y)
            for (int x = 0; x < 140; ++x) {
                const bool in = std::hypot((x - 70) / 60.0, (y - 74) / 50.0) <= 1.0;
                sprite.setPixel(x, y, in ? qRgb(200 + x % 50, y, 40) : qRgb(0, 0, 0));
                mask.setPixel(x, y, in ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
            }
        for (auto [file, img, name] : {std::tuple{&bgFile, &background, "BackGround.bmp"},
                                       {&spriteFile, &sprite, "BirdL1.bmp"},
                                       {&maskFile, &mask, "BirdL1mask.bmp"}})
            QVERIFY(img->save(*file = dir.filePath(name), "BMP"));
    }
    void init() { messages.clear(); }

    void readsEveryDepth_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QImage>("want");
        auto add = [](const QString& name, int w, int h, const QByteArray& file,
                      const std::function<QRgb(int, int)>& pixel) {
            QImage want(w, std::abs(h), QImage::Format_RGB32);
            for (int i = 0; i < w * want.height(); ++i)
                want.setPixel(i % w, i / w, pixel(i % w, i / w));
            QTest::newRow(qPrintable(name)) << file << want;
        };
        for (auto [bpp, w, h, n] :
             {std::array{1, 11, 3, 2}, {4, 5, 3, 16}, {8, 6, 2, 3}, {8, 5, -3, 9}}) {
            auto index = [n = n](int x, int y) { return quint32((x * 3 + y) % n); };
            add(QString("%1-bit %2").arg(bpp).arg(h < 0 ? "top-down" : ""), w, h,
                bmpFile(w, h, bpp, 0, palette(n), rows(w, h, bpp, index), n),
                [&](int x, int y) { return colour(index(x, y)); });
        }
        auto direct = [&](const char* name, int bpp, int h, int compression, QByteArray masks,
                          std::vector<quint32> raw, std::vector<quint32> want) {
            const int w = int(raw.size());
            add(name, w, h,
                bmpFile(w, h, bpp, compression, masks,
                        rows(w, h, bpp, [&](int x, int y) { return raw[(x + y) % w]; })),
                [&](int x, int y) { return 0xFF000000 | want[(x + y) % w]; });
        };
        direct("24-bit", 24, 2, 0, {}, {0x123456, 0xFFFFFF, 1}, {0x123456, 0xFFFFFF, 1});
        direct("32-bit", 32, 2, 0, {}, {0x80FFFFFF, 0x112233}, {0xFFFFFF, 0x112233});
        // Full 16-bit channels must come out full, or a white mask would not keep the background.
        direct("16-bit 555", 16, 2, 0, {}, {0x7FFF, 0x7C00, 0x03E0, 0x0010},
               {0xFFFFFF, 0xFF0000, 0x00FF00, 0x000084});
        direct("32-bit 10-10-10", 32, 1, 3, le(0x3FF00000, 4) + le(0xFFC00, 4) + le(0x3FF, 4),
               {0x3FFFFFFF, 0x3FC55403}, {0xFFFFFF, 0xFF5500});
        direct("16-bit 565", 16, 2, 3, le(0xF800, 4) + le(0x07E0, 4) + le(0x001F, 4),
               {0xFFFF, 0xF800, 0x07E0, 0x0400}, {0xFFFFFF, 0xFF0000, 0x00FF00, 0x008200});
        using Grid = std::vector<std::vector<int>>;
        auto rle = [&](const char* name, int bpp, const char* hex, const Grid& g) {
            const int w = int(g[0].size()), h = int(g.size());
            add(name, w, h,
                bmpFile(w, h, bpp, bpp == 8 ? 1 : 2, palette(16), QByteArray::fromHex(hex), 16),
                [&](int x, int y) { return colour(g[y][x]); });
        };
        rle("RLE8", 8, "0301 0004 02030203 0101 0000 0203 00020300 0302 0000 0003 01020300 0001",
            {{1, 2, 3, 0, 0, 0, 0, 0}, {3, 3, 0, 0, 0, 2, 2, 2}, {1, 1, 1, 2, 3, 2, 3, 1}});
        rle("RLE4", 4, "0412 00033450 0000 0730 0001",
            {{3, 0, 3, 0, 3, 0, 3}, {1, 2, 1, 2, 3, 4, 5}});
    }
    void readsEveryDepth() {
        QFETCH(QByteArray, file);
        QFETCH(QImage, want);
        QCOMPARE(gdi::ReadBitmapFile(write("depth.bmp", file)), want);
    }

    void rejectsBrokenFiles() {
        const QByteArray good =
            bmpFile(3, 2, 24, 0, {}, rows(3, 2, 24, [](int x, int) { return x; }));
        std::vector<QByteArray> broken = {
            "PK\x03\x04 not a bitmap",
            bmpFile(4, 4, 8, 1, palette(2), QByteArray::fromHex("04010000"), 2),
            // A mask's bits must be contiguous.
            bmpFile(2, 1, 16, 3, le(0x7C00, 4) + le(0x03E0, 4) + le(0x0015, 4), QByteArray(4, 0))};
        for (int n = 0; n < good.size(); ++n)
            broken.push_back(good.left(n));
        // Signature, header size, bits per pixel, width 0, height 0, too wide, JPEG, RLE8 on
        // 24 bits, pixels beyond the end: {offset, value, bytes}.
        const quint32 patches[][3] = {{0, 'X', 1}, {14, 20, 4}, {28, 7, 2},
                                      {18, 0, 4},  {22, 0, 4},  {18, 100000, 4},
                                      {30, 4, 4},  {30, 1, 4},  {10, 0x7FFFFFF0, 4}};
        for (auto [at, v, n] : patches)
            broken.push_back(good.left(at) + le(v, n) + good.mid(at + n));
        for (const QByteArray& b : broken) {
            const QString f = write("broken.bmp", b);
            QVERIFY(gdi::ReadBitmapFile(f).isNull());
            QCOMPARE(gdi::LoadImageA(0, f.toStdString(), gdi::IMAGE_BITMAP, 0, 0, 0x2050), 0);
        }
    }

    // Every transfer, clipped or not, also within one surface, equals a pixel-by-pixel model.
    // A new surface's pages are mapped before its first write, in one call, where the kernel
    // can (a page touched first costs a fault, on some machines slower than filling it).
    void newSurfacesAreMappedBeforeTheirFirstWrite() {
        const long page = sysconf(_SC_PAGESIZE);
        void* probe = mmap(nullptr, size_t(page), PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        const bool canPopulate = madvise(probe, size_t(page), MADV_POPULATE_WRITE) == 0;
        munmap(probe, size_t(page));
        if (!canPopulate) QSKIP("this kernel cannot map pages ahead (MADV_POPULATE_WRITE)");
        QImage surface = gdi::NewSurface(600, 400);
        QCOMPARE(surface.size(), QSize(600, 400));
        QCOMPARE(surface.format(), QImage::Format_RGB32);
        const auto begin = reinterpret_cast<std::uintptr_t>(surface.constBits());
        const std::uintptr_t first = (begin + page - 1) / page * page,
                             last = (begin + surface.sizeInBytes()) / page * page;
        std::vector<unsigned char> resident((last - first) / page);
        QCOMPARE(mincore(reinterpret_cast<void*>(first), last - first, resident.data()), 0);
        QCOMPARE(std::count(resident.begin(), resident.end(), 0), 0);
    }

    void blitsMatchThePixelModel() {
        QRandomGenerator rng(11);
        QImage src, dst;
        const gdi::HDC s = gdi::CreateSurfaceDC(&src), d = gdi::CreateSurfaceDC(&dst);
        const std::uint32_t ops[] = {gdi::SRCCOPY, gdi::SRCAND, gdi::SRCPAINT};
        for (int round = 0; round < 2000; ++round) {
            src = noise(37, 23, rng.generate());
            dst = noise(41, 29, rng.generate());
            const bool same = round % 5 == 0;
            const QImage before = dst.copy(), from = same ? before : src;
            const int x = rng.bounded(-60, 60), y = rng.bounded(-40, 40), w = rng.bounded(-5, 70),
                      h = rng.bounded(-5, 50), sx = rng.bounded(-45, 45), sy = rng.bounded(-30, 30);
            const std::uint32_t rop = ops[rng.bounded(3)];
            gdi::BitBlt(d, x, y, w, h, same ? d : s, sx, sy, rop);
            for (int j = 0; j < dst.height(); ++j)
                for (int i = 0; i < dst.width(); ++i) {
                    QRgb want = before.pixel(i, j);
                    const int u = i - x + sx, v = j - y + sy;
                    if (i >= x && i < x + w && j >= y && j < y + h && from.rect().contains(u, v)) {
                        const QRgb p = from.pixel(u, v);
                        want = rop == gdi::SRCCOPY ? p : rop == gdi::SRCAND ? want & p : want | p;
                    }
                    QCOMPARE(dst.pixel(i, j), want);
                }
        }
    }

    // A whole copy onto a surface that holds an earlier whole copy moves only what changed on
    // either side since, yet always leaves an exact copy: whatever wrote there, through a
    // transfer or past the device context, with the picture swapped or shared.
    void wholeCopiesMoveOnlyWhatChanged() {
        QRandomGenerator rng(12);
        QImage back = noise(60, 40, 1), front = noise(60, 40, 2), shown = noise(60, 40, 3);
        QList<QList<QRect>> written;
        const gdi::HDC b = gdi::CreateSurfaceDC(&back), f = gdi::CreateSurfaceDC(&front),
                       s = gdi::CreateSurfaceDC(&shown, [&](std::span<const QRect> r) {
                           written << QList<QRect>(r.begin(), r.end());
                       });
        MemoryDC sprite;
        sprite.load(spriteFile, 140, 148);
        gdi::BitBlt(f, 0, 0, 60, 40, b, 0, 0, gdi::SRCCOPY);
        gdi::BitBlt(s, 0, 0, 60, 40, f, 0, 0, gdi::SRCCOPY);
        QCOMPARE(written, QList<QList<QRect>>{{QRect(0, 0, 60, 40)}});
        written.clear();
        gdi::BitBlt(f, 5, 6, 7, 8, sprite.HDC(), 0, 0, gdi::SRCAND);
        gdi::BitBlt(s, 0, 0, 60, 40, f, 0, 0, gdi::SRCCOPY);
        gdi::BitBlt(s, 0, 0, 60, 40, f, 0, 0, gdi::SRCCOPY);
        QCOMPARE(written, QList<QList<QRect>>{{QRect(5, 6, 7, 8)}}); // and then nothing

        for (int step = 0; step < 3000; ++step) {
            QImage* img[] = {&back, &front, &shown};
            const gdi::HDC dc[] = {b, f, s};
            const int i = rng.bounded(3), x = rng.bounded(-10, 60), y = rng.bounded(-10, 40);
            switch (rng.bounded(6)) {
            case 0: // the frame's own steps: background in, buffer out
                gdi::BitBlt(f, 0, 0, 60, 40, b, 0, 0, gdi::SRCCOPY);
                QCOMPARE(front, back);
                break;
            case 1:
                gdi::BitBlt(s, 0, 0, 60, 40, f, 0, 0, gdi::SRCCOPY);
                QCOMPARE(shown, front);
                break;
            case 2:
                gdi::BitBlt(dc[i], x, y, 9, 7, sprite.HDC(), 3, 4,
                            rng.bounded(2) ? gdi::SRCAND : gdi::SRCPAINT);
                break;
            case 3:
                gdi::BitBlt(dc[i], x, y, 9, 7, dc[(i + 1) % 3], 2, 1, gdi::SRCCOPY);
                break;
            case 4: // a write past the device context
                img[i]->setPixel(qBound(0, x, 59), qBound(0, y, 39), rng.generate() | 0xFF000000u);
                break;
            default: // a new picture, or the same data shared
                *img[i] = rng.bounded(2) ? noise(60, 40, rng.generate()) : *img[(i + 1) % 3];
            }
        }
        for (gdi::HDC dc : {b, f, s})
            gdi::DeleteDC(dc);
    }

    // Each attempt makes a device context and deletes it again, so the handles show how many.
    void memoryDcLoadsOnceOrGivesUp() {
        runtime::Long hdc = 0;
        {
            MemoryDC dc;
            dc.load(spriteFile, 140, -1);
            hdc = dc.HDC();
            QVERIFY(hdc >= 1 && dc.Xsize() == 140 && dc.Ysize() == -1);
            dc.load(maskFile, 30, 40); // keeps the first picture, takes the new size
            QVERIFY(dc.HDC() == hdc && dc.Xsize() == 30 && dc.Ysize() == 40);
            QCOMPARE(*gdi::SurfaceOf(hdc), sprite);
        }
        QVERIFY(!gdi::SurfaceOf(hdc) && messages.isEmpty());
        const gdi::HDC before = gdi::CreateCompatibleDC(0);
        gdi::DeleteDC(before);
        MemoryDC dc;
        dc.load(missing, 140, 148);
        QCOMPARE(messages, QStringList{"Failure in creating dc/0"});
        QVERIFY(dc.HDC() == 0 && dc.Xsize() == 140 && dc.Ysize() == 148);
        const gdi::HDC after = gdi::CreateCompatibleDC(0);
        gdi::DeleteDC(after);
        QCOMPARE(after - before, 102); // 101 attempts
    }

    void composedFrames_data() {
        for (const char* column : {"x", "y", "maskWidth", "width"})
            QTest::addColumn<int>(column);
        QTest::addColumn<double>("scale");
        QTest::newRow("inside") << 100 << 120 << 140 << 600 << 600.0;
        QTest::newRow("past the left edge") << -50 << 10 << 140 << 600 << 600.0;
        QTest::newRow("past right and bottom") << 520 << 300 << 140 << 600 << 600.0;
        QTest::newRow("mask narrower than picture") << 200 << 100 << 70 << 600 << 600.0;
        QTest::newRow("mask missing") << 200 << 100 << 0 << 600 << 600.0;
        // The screen's width is the area's scale rounded half to even.
        QTest::newRow("scale 600.4") << 500 << 100 << 140 << 600 << 600.4;
        QTest::newRow("scale 600.5") << 500 << 100 << 140 << 600 << 600.5;
        QTest::newRow("scale 601.5") << 500 << 100 << 140 << 602 << 601.5;
    }
    void composedFrames() {
        QFETCH(int, x);
        QFETCH(int, y);
        QFETCH(int, maskWidth);
        QFETCH(int, width);
        QFETCH(double, scale);
        ScaledBox front;
        PictureBox back;
        const QImage frontBefore = noise(620, 400, 2), backBefore = noise(620, 400, 3);
        front.w = scale;
        front.setAutoSize(true), front.setPicture(frontBefore);
        back.setAutoSize(true), back.setPicture(backBefore);
        GameScreen screen;
        screen.load(front, back, bgFile);
        MemoryDC pic, msk;
        pic.load(spriteFile, 140, 148);
        msk.load(maskWidth ? maskFile : missing, runtime::Integer(maskWidth), 148);
        QImage want = frontBefore, buffer = backBefore;
        screen.drawBuffer(); // before any clear: the back buffer's own first picture
        QPainter(&want).drawImage(0, 0, buffer, 0, 0, width, 400);
        QVERIFY(front.surface() == want);
        screen.clearBuffer();
        screen.draw(pic, msk, runtime::Integer(x), runtime::Integer(y));
        screen.drawBuffer();
        // White mask keeps the background, black mask plus picture gives the picture.
        QPainter(&buffer).drawImage(0, 0, background, 0, 0, width, 400);
        for (int j = 0; j < 148; ++j)
            for (int i = 0; i < 140; ++i)
                if (buffer.rect().contains(x + i, y + j))
                    buffer.setPixel(
                        x + i, y + j,
                        (buffer.pixel(x + i, y + j) & (i < maskWidth ? mask.pixel(i, j) : ~0u)) |
                            sprite.pixel(i, j));
        QPainter(&want).drawImage(0, 0, buffer, 0, 0, width, 400);
        QVERIFY(front.surface() == want);
        QCOMPARE(messages.size(), maskWidth ? 0 : 1);
    }

    void pressesMapToSurfacePixels() {
        PictureBox box;
        box.setBorder3D(true);
        box.setAutoSize(true);
        box.setPicture(noise(600, 400, 5));
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QSignalSpy spy(&box, &PictureBox::MouseDown);
        QTest::mousePress(&box, Qt::LeftButton, {}, QPoint(12, 7));
        QTest::mousePress(&box, Qt::RightButton, Qt::ShiftModifier, QPoint(601, 401));
        QTest::mousePress(&box, Qt::LeftButton, {}, QPoint(1, 100)); // on the border
        QCOMPARE(spy.size(), 2);
        QCOMPARE(spy[0], (QVariantList{1, 0, 10.0, 5.0}));
        QCOMPARE(spy[1], (QVariantList{2, 1, 599.0, 399.0}));
    }
};

QTEST_MAIN(TestGraphics)
#include "tst_graphics.moc"
