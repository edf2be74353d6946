#include "bmpwriter.h"
#include "gdi.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

using Pixel = std::function<QRgb(int x, int y)>;

namespace {

struct Case {
    QByteArray bytes;
    int width, height;
    Pixel expected;
};

std::vector<QRgb> ramp(int n) {
    std::vector<QRgb> p;
    for (int i = 0; i < n; ++i)
        p.push_back(qRgb(i * 16 + 3, 250 - i * 15, (i * 37) & 0xFF));
    return p;
}

Case indexed(int bpp, int w, int h, int colours, int headerSize = 40) {
    bmp::Spec s{w, h, bpp, 0, ramp(colours), {}, headerSize};
    auto index = [=](int x, int y) { return std::uint32_t((x * 3 + y) % colours); };
    const auto pal = s.palette;
    return {bmp::file(s, bmp::rows(w, h, bpp, index)), w, std::abs(h),
            [=](int x, int y) { return pal[index(x, y)]; }};
}

Case direct(int bpp, int h, std::uint32_t compression, std::vector<std::uint32_t> masks,
            std::vector<std::uint32_t> raw, std::vector<QRgb> want) {
    const int w = int(raw.size());
    bmp::Spec s{w, h, bpp, compression, {}, masks};
    auto value = [=](int x, int y) { return raw[(x + y) % w]; };
    return {bmp::file(s, bmp::rows(w, h, bpp, value)), w, std::abs(h),
            [=](int x, int y) { return want[(x + y) % w]; }};
}

Case rle(int bpp, int w, int h, const QByteArray& stream, std::vector<std::vector<int>> topDown) {
    bmp::Spec s{w, h, bpp, bpp == 8 ? 1u : 2u, ramp(16), {}};
    const auto pal = s.palette;
    return {bmp::file(s, stream), w, h, [=](int x, int y) { return pal[topDown[y][x]]; }};
}

std::map<QString, Case> validFiles() {
    std::map<QString, Case> c;
    c["1-bit"] = indexed(1, 11, 3, 2);
    c["4-bit"] = indexed(4, 5, 3, 16);
    c["8-bit, short palette"] = indexed(8, 6, 2, 3);
    c["8-bit, core header"] = indexed(8, 5, 2, 7, 12);
    c["8-bit, top-down"] = indexed(8, 5, -3, 9);
    c["24-bit"] =
        direct(24, 2, 0, {}, {0x123456, 0xFFFFFF, 0x000001}, {0xFF123456, 0xFFFFFFFF, 0xFF000001});
    c["24-bit, top-down"] = direct(24, -3, 0, {}, {0xABCDEF, 0x102030}, {0xFFABCDEF, 0xFF102030});
    c["32-bit"] = direct(32, 2, 0, {}, {0x80FFFFFF, 0x00112233, 0x00FF0000},
                         {0xFFFFFFFF, 0xFF112233, 0xFFFF0000});
    // Full channels of 16-bit files must come out full, or a white mask would not keep the
    // background under AND.
    c["16-bit 555"] = direct(16, 2, 0, {}, {0x7FFF, 0x7C00, 0x03E0, 0x0010},
                             {0xFFFFFFFF, 0xFFFF0000, 0xFF00FF00, 0xFF000084});
    c["16-bit 565"] = direct(16, 2, 3, {0xF800, 0x07E0, 0x001F}, {0xFFFF, 0xF800, 0x07E0, 0x0400},
                             {0xFFFFFFFF, 0xFFFF0000, 0xFF00FF00, 0xFF008200});
    c["RLE8"] = rle(8, 8, 3,
                    QByteArray::fromHex("0301"
                                        "0004"
                                        "02030203"
                                        "0101"
                                        "0000"
                                        "0203"
                                        "00020300"
                                        "0302"
                                        "0000"
                                        "0003"
                                        "01020300"
                                        "0001"),
                    {{1, 2, 3, 0, 0, 0, 0, 0}, {3, 3, 0, 0, 0, 2, 2, 2}, {1, 1, 1, 2, 3, 2, 3, 1}});
    c["RLE4"] = rle(4, 7, 2,
                    QByteArray::fromHex("0412"
                                        "00033450"
                                        "0000"
                                        "0730"
                                        "0001"),
                    {{3, 0, 3, 0, 3, 0, 3}, {1, 2, 1, 2, 3, 4, 5}});
    return c;
}

QImage surface(int w, int h, QRgb fill) {
    QImage i(w, h, QImage::Format_RGB32);
    i.fill(fill);
    return i;
}

void randomize(QImage& img, QRandomGenerator& rng) {
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            img.setPixel(x, y, rng.generate() | 0xFF000000u);
}

} // namespace

class TestGdi : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = dir.filePath(name);
        if (!bmp::save(path, bytes)) qFatal("cannot write %s", qPrintable(path));
        return path;
    }

  private slots:
    void readsEveryDepth_data() {
        QTest::addColumn<QString>("name");
        for (const auto& [name, c] : validFiles())
            QTest::newRow(qPrintable(name)) << name;
    }
    void readsEveryDepth() {
        QFETCH(QString, name);
        const Case c = validFiles().at(name);
        const QImage img = gdi::ReadBitmapFile(write("depth.bmp", c.bytes));
        QCOMPARE(img.format(), QImage::Format_RGB32);
        QCOMPARE(img.size(), QSize(c.width, c.height));
        for (int y = 0; y < c.height; ++y)
            for (int x = 0; x < c.width; ++x)
                QCOMPARE(QString::number(img.pixel(x, y), 16),
                         QString::number(c.expected(x, y), 16));
    }

    void rejectsBrokenFiles() {
        const QByteArray good = validFiles().at("24-bit").bytes;
        QVERIFY(gdi::ReadBitmapFile(dir.filePath("missing.bmp")).isNull());
        // Every prefix of an uncompressed file lacks pixels: truncated, so refused.
        for (int n = 0; n < good.size(); ++n)
            QVERIFY2(gdi::ReadBitmapFile(write("cut.bmp", good.left(n))).isNull(),
                     qPrintable(QString::number(n)));

        auto patched = [&](int at, std::uint32_t v, int bytes) {
            QByteArray b = good;
            for (int i = 0; i < bytes; ++i)
                b[at + i] = char((v >> (8 * i)) & 0xFF);
            return b;
        };
        const std::vector<QByteArray> broken = {
            "PK\x03\x04 not a bitmap at all",
            patched(0, 'X', 1),         // signature
            patched(14, 20, 4),         // unknown header size
            patched(28, 7, 2),          // bits per pixel
            patched(18, 0, 4),          // width 0
            patched(22, 0, 4),          // height 0
            patched(18, 100000, 4),     // far wider than the data
            patched(30, 4, 4),          // embedded JPEG
            patched(30, 1, 4),          // RLE8 on a 24-bit file
            patched(10, 0x7FFFFFF0, 4), // pixels beyond the end
            rle(8, 4, 4,
                QByteArray::fromHex("0401"
                                    "0000"),
                {})
                .bytes, // stream stops at row 2
        };
        for (const QByteArray& b : broken) {
            const QString path = write("broken.bmp", b);
            QVERIFY(gdi::ReadBitmapFile(path).isNull());
            QCOMPARE(gdi::LoadImageA(0, path.toStdString(), gdi::IMAGE_BITMAP, 0, 0, 0x2050), 0);
        }
    }

    void survivesMutatedFiles() {
        QRandomGenerator rng(7);
        const auto files = validFiles();
        for (const auto& [name, c] : files) {
            for (int round = 0; round < 300; ++round) {
                QByteArray b = c.bytes;
                for (int k = 0, n = 1 + rng.bounded(4); k < n; ++k)
                    b[rng.bounded(int(b.size()))] = char(rng.bounded(256));
                if (rng.bounded(4) == 0) b.truncate(rng.bounded(int(b.size())));
                const QImage img = gdi::ReadBitmapFile(write("mutant.bmp", b));
                QVERIFY(img.isNull() || img.format() == QImage::Format_RGB32);
            }
        }
    }

    void loadImageGivesASelectableBitmap() {
        const Case c = validFiles().at("4-bit");
        const std::string path = write("four.bmp", c.bytes).toStdString();
        QCOMPARE(gdi::LoadImageA(0, path, 1 /* an icon */, 0, 0, 0x2050), 0);
        QCOMPARE(gdi::LoadImageA(0, path, gdi::IMAGE_BITMAP, 0, 0, 0), 0);

        const gdi::HDC dc = gdi::CreateCompatibleDC(0);
        const gdi::HBITMAP bm = gdi::LoadImageA(0, path, gdi::IMAGE_BITMAP, 0, 0, 0x2050);
        QVERIFY(dc >= 1 && bm >= 1 && dc != bm);
        QVERIFY(gdi::SurfaceOf(dc) == nullptr);
        gdi::SelectObject(dc, bm);
        QCOMPARE(gdi::DeleteObject(bm), 1);
        QCOMPARE(gdi::DeleteObject(bm), 0);

        // The bitmap's handle is gone, yet the context still reads its picture.
        QImage out = surface(c.width, c.height, 0xFF000000);
        const gdi::HDC target = gdi::CreateSurfaceDC(&out);
        QCOMPARE(gdi::BitBlt(target, 0, 0, c.width, c.height, dc, 0, 0, gdi::SRCCOPY), 1);
        for (int y = 0; y < c.height; ++y)
            for (int x = 0; x < c.width; ++x)
                QCOMPARE(out.pixel(x, y), c.expected(x, y));

        QCOMPARE(gdi::DeleteDC(dc), 1);
        QVERIFY(gdi::SurfaceOf(dc) == nullptr);
        QCOMPARE(gdi::BitBlt(target, 0, 0, c.width, c.height, dc, 0, 0, gdi::SRCCOPY), 0);
        gdi::DeleteDC(target);
    }

    void rasterOpsAreBitwise() {
        QImage src = surface(2, 1, 0xFF0F0F0F), and_ = surface(2, 1, 0xFF123456), or_ = and_,
               copy = and_;
        const gdi::HDC s = gdi::CreateSurfaceDC(&src);
        const gdi::HDC a = gdi::CreateSurfaceDC(&and_), o = gdi::CreateSurfaceDC(&or_),
                       c = gdi::CreateSurfaceDC(&copy);
        gdi::BitBlt(a, 0, 0, 2, 1, s, 0, 0, gdi::SRCAND);
        gdi::BitBlt(o, 0, 0, 2, 1, s, 0, 0, gdi::SRCPAINT);
        gdi::BitBlt(c, 0, 0, 2, 1, s, 0, 0, gdi::SRCCOPY);
        QCOMPARE(and_.pixel(1, 0), 0xFF020406u);
        QCOMPARE(or_.pixel(1, 0), 0xFF1F3F5Fu);
        QCOMPARE(copy.pixel(1, 0), 0xFF0F0F0Fu);
        QCOMPARE(gdi::BitBlt(c, 0, 0, 2, 1, s, 0, 0, 0x660046 /* XOR: not offered */), 0);
        for (gdi::HDC h : {s, a, o, c})
            gdi::DeleteDC(h);
    }

    // Every transfer, clipped or not, must equal a pixel-by-pixel reading of its definition.
    void clippingMatchesThePixelModel() {
        QRandomGenerator rng(11);
        QImage src(37, 23, QImage::Format_RGB32), dst(41, 29, QImage::Format_RGB32);
        const gdi::HDC s = gdi::CreateSurfaceDC(&src), d = gdi::CreateSurfaceDC(&dst);
        const std::uint32_t ops[] = {gdi::SRCCOPY, gdi::SRCAND, gdi::SRCPAINT};
        for (int round = 0; round < 2000; ++round) {
            randomize(src, rng);
            randomize(dst, rng);
            const QImage before = dst.copy();
            const int x = rng.bounded(-60, 60), y = rng.bounded(-40, 40);
            const int w = rng.bounded(-5, 70), h = rng.bounded(-5, 50);
            const int sx = rng.bounded(-45, 45), sy = rng.bounded(-30, 30);
            const std::uint32_t rop = ops[rng.bounded(3)];
            gdi::BitBlt(d, x, y, w, h, s, sx, sy, rop);
            for (int j = 0; j < dst.height(); ++j)
                for (int i = 0; i < dst.width(); ++i) {
                    QRgb want = before.pixel(i, j);
                    const int u = i - x + sx, v = j - y + sy;
                    if (i >= x && i < x + w && j >= y && j < y + h && u >= 0 && v >= 0 &&
                        u < src.width() && v < src.height()) {
                        const QRgb p = src.pixel(u, v);
                        want = rop == gdi::SRCCOPY  ? p
                               : rop == gdi::SRCAND ? (want & p)
                                                    : (want | p);
                    }
                    if (dst.pixel(i, j) != want)
                        QFAIL(qPrintable(QString("round %1 pixel %2,%3 blit %4,%5 %6x%7 from %8,%9")
                                             .arg(round)
                                             .arg(i)
                                             .arg(j)
                                             .arg(x)
                                             .arg(y)
                                             .arg(w)
                                             .arg(h)
                                             .arg(sx)
                                             .arg(sy)));
                }
        }
        gdi::DeleteDC(s);
        gdi::DeleteDC(d);
    }

    void overlappingCopyWithinOneSurface() {
        QRandomGenerator rng(3);
        QImage img(30, 20, QImage::Format_RGB32);
        randomize(img, rng);
        const QImage original = img.copy();
        const gdi::HDC dc = gdi::CreateSurfaceDC(&img);
        gdi::BitBlt(dc, 3, 2, 20, 15, dc, 0, 0, gdi::SRCCOPY);
        for (int y = 0; y < 15; ++y)
            for (int x = 0; x < 20; ++x)
                QCOMPARE(img.pixel(x + 3, y + 2), original.pixel(x, y));
        QCOMPARE(img.pixel(0, 0), original.pixel(0, 0));
        gdi::DeleteDC(dc);
    }

    void missingContextsDrawNothing() {
        QImage dst = surface(4, 4, 0xFF808080), src = surface(4, 4, 0xFF000000);
        int changes = 0;
        const gdi::HDC d = gdi::CreateSurfaceDC(&dst, [&] { ++changes; });
        const gdi::HDC s = gdi::CreateSurfaceDC(&src);
        const gdi::HDC empty = gdi::CreateCompatibleDC(0);
        QCOMPARE(gdi::BitBlt(d, 0, 0, 4, 4, 0, 0, 0, gdi::SRCCOPY), 0);
        QCOMPARE(gdi::BitBlt(d, 0, 0, 4, 4, 987654, 0, 0, gdi::SRCCOPY), 0);
        QCOMPARE(gdi::BitBlt(d, 0, 0, 4, 4, empty, 0, 0, gdi::SRCCOPY), 0);
        QCOMPARE(gdi::BitBlt(0, 0, 0, 4, 4, s, 0, 0, gdi::SRCCOPY), 0);
        QCOMPARE(dst.pixel(0, 0), 0xFF808080u);
        QCOMPARE(changes, 0);

        // Clipped away entirely: nothing written, nothing to show again.
        QCOMPARE(gdi::BitBlt(d, 10, 0, 4, 4, s, 0, 0, gdi::SRCCOPY), 1);
        QCOMPARE(changes, 0);
        gdi::BitBlt(d, 3, 3, 4, 4, s, 0, 0, gdi::SRCCOPY);
        QCOMPARE(changes, 1);
        QCOMPARE(dst.pixel(3, 3), 0xFF000000u);
        QCOMPARE(dst.pixel(2, 3), 0xFF808080u);
        for (gdi::HDC h : {d, s, empty})
            gdi::DeleteDC(h);
    }
};

QTEST_GUILESS_MAIN(TestGdi)
#include "tst_gdi.moc"
