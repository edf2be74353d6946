// Bitmap files as the graphics layer reads them: any bytes as a .bmp. What loads must show the
// pixels that Qt's own reader, a second implementation of the format, sees in the same file.
// (Transfers between pictures are the graphics suite's to check, against Qt's painter.)

#include "FuzzFile.h"
#include "gdi.h"

#include <QBuffer>
#include <QImageReader>
#include <QtEndian>
#include <array>
#include <bit>

using namespace gdi;

namespace {

// The few header fields the comparison needs, read independently of the reader under test.
struct File {
    const std::uint8_t* data;
    std::size_t size;

    std::uint32_t le(std::size_t at, int bytes) const {
        std::uint32_t v = 0;
        for (int i = 0; i < bytes; ++i)
            if (at + i < size) v |= std::uint32_t(data[at + i]) << (8 * i);
        return v;
    }
    bool os2() const { return le(14, 4) == 12; } // the short header has neither of the below
    std::uint32_t bpp() const { return os2() ? le(24, 2) : le(28, 2); }
    std::uint32_t compression() const { return os2() ? 0 : le(30, 4); }
    bool runLength() const { return compression() == 1 || compression() == 2; }
    // Masks stand at byte 54 in every header that has them.
    bool explicitMasks() const {
        return !os2() && (bpp() == 16 || bpp() == 32) && (compression() == 3 || compression() == 6);
    }

    // Bits per colour channel of a 16- or 32-bit file, else 0; 16 bits without masks is 5-5-5.
    std::array<int, 3> channelBits() const {
        if (os2() || (bpp() != 16 && bpp() != 32)) return {0, 0, 0};
        if (!explicitMasks()) return bpp() == 16 ? std::array{5, 5, 5} : std::array{8, 8, 8};
        return {std::popcount(le(54, 4)), std::popcount(le(58, 4)), std::popcount(le(62, 4))};
    }

    // The file as Qt is given it. Qt scales a channel by 256 / 2^bits, which is 0 for a channel
    // wider than 8 bits (a 10-bit white reads black); ours keeps the top 8 bits, so Qt gets
    // those masks cut to their top 8 bits, which it reads exactly.
    QByteArray forQt() const {
        QByteArray copy(reinterpret_cast<const char*>(data), qsizetype(size));
        for (std::size_t at = 54; explicitMasks() && at < 66 && at + 4 <= size; at += 4)
            if (const std::uint32_t mask = le(at, 4); std::popcount(mask) > 8)
                qToLittleEndian(mask & ~0u << (32 - std::countl_zero(mask) - 8), copy.data() + at);
        return copy;
    }

    // Pixels start after the headers and the palette. A file that says otherwise contradicts
    // itself, and readers part ways: ours believes where the pixels start (shortening the
    // palette, taking the end of the palette for 0), Qt reads on from where its headers end.
    bool pixelsAfterHeaders() const {
        std::uint64_t end = 14 + le(14, 4);
        if (le(14, 4) == 40 && (compression() == 3 || compression() == 6))
            end += compression() == 3 ? 12 : 16;
        if (bpp() <= 8) end += (!os2() && le(46, 4) ? le(46, 4) : 1u << bpp()) * (os2() ? 3 : 4);
        return end <= le(10, 4);
    }

    // A run-length stream that keeps to its lines, as the format asks: no run or literal past
    // the end of a line, no move past the picture. Readers part ways on any other, Windows
    // (and ours) dropping what overflows a line where Qt carries it into the next.
    bool wellFormedRuns() const {
        const std::int64_t w = std::int32_t(le(18, 4)), rows = std::abs(std::int32_t(le(22, 4)));
        const bool four = compression() == 2;
        std::size_t at = le(10, 4);
        std::int64_t x = 0, y = 0;
        while (y < rows) {
            if (at + 2 > size) return false;
            const unsigned a = data[at], b = data[at + 1];
            at += 2;
            if (a > 0) {
                x += a;
            } else if (b == 0) {
                x = 0, ++y;
            } else if (b == 1) {
                return true;
            } else if (b == 2) { // a move cut short moves nowhere, and no pair follows it
                x += le(at, 1), y += le(at + 1, 1), at += 2;
                if (y >= rows) return false;
            } else {
                x += b;
                at += ((four ? (b + 1) / 2 : b) + 1) & ~1u;
            }
            if (x > w) return false;
        }
        return true;
    }
};

// Qt widens a channel of fewer than 8 bits by a shift, so its full value lacks the low bits:
// 5-bit 31 reads F8. The game needs full intensity to stay full (a white mask must keep the
// background under AND), so ours repeats the bits downwards. That, and only that, may differ.
bool sameChannel(int ours, int theirs, int bits) {
    if (bits == 0 || bits >= 8) return ours == theirs;
    const int v = theirs >> (8 - bits);
    int repeated = 0, filled = 0;
    for (; filled < 8; filled += bits)
        repeated = repeated << bits | v;
    return theirs == v << (8 - bits) && ours == repeated >> (filled - 8);
}

bool samePixels(const QImage& ours, QImage theirs, const std::array<int, 3>& bits) {
    if (ours.size() != theirs.size()) return false;
    // Qt gives palette pictures as indices. An index past the palette is outside the format;
    // ours shows black there, as an all-zero colour table would. (Qt's own conversion of a
    // 1-bit picture would fill a short palette up with white.)
    const QList<QRgb> table = theirs.colorTable();
    if (theirs.depth() == 1) theirs = theirs.convertToFormat(QImage::Format_Indexed8);
    const bool indexed = theirs.format() == QImage::Format_Indexed8;
    if (!indexed) theirs = theirs.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < ours.height(); ++y) {
        const auto* o = reinterpret_cast<const QRgb*>(ours.constScanLine(y));
        const auto* t = reinterpret_cast<const QRgb*>(theirs.constScanLine(y));
        const uchar* index = theirs.constScanLine(y);
        for (int x = 0; x < ours.width(); ++x) {
            const QRgb q = !indexed ? t[x] : index[x] < table.size() ? table[index[x]] : 0;
            if (sameChannel(qRed(o[x]), qRed(q), bits[0]) &&
                sameChannel(qGreen(o[x]), qGreen(q), bits[1]) &&
                sameChannel(qBlue(o[x]), qBlue(q), bits[2]))
                continue;
            std::fprintf(stderr, "pixel %d,%d: ours %06x, Qt %08x\n", x, y, o[x] & 0xFFFFFF, q);
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path =
        fuzz::Write("picture.bmp",
                    QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)));
    const HBITMAP bitmap = LoadImageA(0, path.toStdString(), IMAGE_BITMAP, 0, 0,
                                      LR_LOADFROMFILE | LR_CREATEDIBSECTION | LR_DEFAULTSIZE);
    if (bitmap == 0) return 0;
    const HDC dc = CreateCompatibleDC(0);
    SelectObject(dc, bitmap);
    DeleteObject(bitmap); // the context keeps the picture, as the memory bitmaps rely on
    const QImage& picture = *SurfaceOf(dc);
    fuzz::Require(!picture.isNull() && picture.format() == QImage::Format_RGB32, "RGB32 surface");

    // Pixels that a run-length stream skips are not defined by the format. Qt leaves them as the
    // image's memory was, so it reads into a picture of index 0 throughout: the colour that a
    // fresh Windows section shows there, and the one ours gives.
    const File file{data, size};
    QImage theirs(file.runLength() ? picture.size() : QSize(), QImage::Format_Indexed8);
    theirs.fill(0);
    QBuffer bytes;
    bytes.setData(file.forQt());
    if (file.pixelsAfterHeaders() && (!file.runLength() || file.wellFormedRuns()) &&
        QImageReader(&bytes, "bmp").read(&theirs))
        fuzz::Require(samePixels(picture, theirs, file.channelBits()), "Qt sees the same");

    // A run-length file of a few bytes can ask for 2^25 pixels, which takes a hundred times as
    // long to fill and compare as the small pictures, through the same code. Such a picture is
    // checked, but not kept to breed more of its kind.
    const bool large = qint64(picture.width()) * picture.height() > qint64(1) << 20;
    DeleteDC(dc);
    return large ? -1 : 0;
}
