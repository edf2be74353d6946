#include "gdi.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <vector>

namespace gdi {
namespace {

constexpr qint64 MaxFileBytes = qint64(256) << 20;
constexpr std::int64_t MaxSide = 1 << 15;
constexpr std::int64_t MaxPixels = std::int64_t(1) << 25;

constexpr std::uint32_t BI_RGB = 0, BI_RLE8 = 1, BI_RLE4 = 2, BI_BITFIELDS = 3,
                        BI_ALPHABITFIELDS = 6;

struct Bytes {
    const uchar* p;
    std::size_t n;

    bool has(std::size_t off, std::size_t len) const { return off <= n && len <= n - off; }
    std::uint16_t u16(std::size_t off) const { return qFromLittleEndian<quint16>(p + off); }
    std::uint32_t u32(std::size_t off) const { return qFromLittleEndian<quint32>(p + off); }
};

// One colour channel of a 16- or 32-bit pixel, widened to 8 bits so that a full channel
// stays full: short channels repeat their bits downwards (5-bit 31 becomes 255, not 248).
class Channel {
  public:
    explicit Channel(std::uint32_t mask) {
        if (!mask) return;
        shift_ = std::countr_zero(mask);
        bits_ = std::countr_one(mask >> shift_);
    }
    std::uint32_t operator()(std::uint32_t px) const {
        if (bits_ == 0) return 0;
        const std::uint32_t v = (px >> shift_) & (bits_ >= 32 ? ~0u : (1u << bits_) - 1);
        if (bits_ >= 8) return v >> (bits_ - 8);
        std::uint32_t out = 0;
        int filled = 0;
        for (; filled < 8; filled += bits_)
            out = (out << bits_) | v;
        return out >> (filled - 8);
    }

  private:
    int shift_ = 0;
    int bits_ = 0;
};

struct Header {
    std::int64_t width = 0, height = 0;
    int bpp = 0;
    std::uint32_t compression = BI_RGB;
    std::uint32_t colorsUsed = 0;
    std::uint32_t masks[3] = {};
    bool explicitMasks = false;
    int paletteEntryBytes = 4;
    std::size_t paletteOffset = 0;
    std::size_t paletteCount = 0;
};

bool readHeader(const Bytes& f, Header& h) {
    if (!f.has(0, 18) || f.p[0] != 'B' || f.p[1] != 'M') return false;
    const std::uint32_t size = f.u32(14);
    if (!f.has(14, size)) return false;
    if (size == 12) {
        h.width = f.u16(18);
        h.height = f.u16(20);
        h.bpp = f.u16(24);
        h.paletteEntryBytes = 3;
        if (h.bpp == 16 || h.bpp == 32) return false;
    } else if (size == 40 || size == 52 || size == 56 || size == 64 || size == 108 || size == 124) {
        h.width = static_cast<std::int32_t>(f.u32(18));
        h.height = static_cast<std::int32_t>(f.u32(22));
        h.bpp = f.u16(28);
        h.compression = f.u32(30);
        h.colorsUsed = f.u32(46);
        // The long OS/2 header numbers its compressions differently past RLE4.
        if (size == 64 && h.compression > BI_RLE4) return false;
    } else {
        return false;
    }
    std::size_t after = 14 + size;
    if (h.compression == BI_BITFIELDS || h.compression == BI_ALPHABITFIELDS) {
        std::size_t at = 54;
        if (size == 40) {
            at = after;
            after += h.compression == BI_ALPHABITFIELDS ? 16 : 12;
            if (!f.has(at, 12)) return false;
        }
        for (int i = 0; i < 3; ++i) {
            h.masks[i] = f.u32(at + 4 * i);
            // The bits of a mask must be contiguous; a broken one has no meaning to read by.
            const std::uint32_t m = h.masks[i] ? h.masks[i] >> std::countr_zero(h.masks[i]) : 0;
            if (m & (m + 1)) return false;
        }
        h.explicitMasks = true;
    }
    h.paletteOffset = after;

    switch (h.compression) {
    case BI_RGB:
        if (h.bpp != 1 && h.bpp != 4 && h.bpp != 8 && h.bpp != 16 && h.bpp != 24 && h.bpp != 32)
            return false;
        break;
    case BI_RLE8:
        if (h.bpp != 8) return false;
        break;
    case BI_RLE4:
        if (h.bpp != 4) return false;
        break;
    case BI_BITFIELDS:
    case BI_ALPHABITFIELDS:
        if (h.bpp != 16 && h.bpp != 32) return false;
        break;
    default:
        return false;
    }
    if (!h.explicitMasks) {
        if (h.bpp == 16) {
            h.masks[0] = 0x7C00, h.masks[1] = 0x03E0, h.masks[2] = 0x001F;
        } else {
            h.masks[0] = 0xFF0000, h.masks[1] = 0xFF00, h.masks[2] = 0xFF;
        }
    }
    const std::int64_t rows = std::abs(h.height);
    return h.width > 0 && rows > 0 && h.width <= MaxSide && rows <= MaxSide &&
           h.width * rows <= MaxPixels;
}

bool readPalette(const Bytes& f, Header& h, std::vector<QRgb>& palette) {
    if (h.bpp > 8) return true;
    std::size_t count = h.colorsUsed ? h.colorsUsed : std::size_t(1) << h.bpp;
    if (count > 256) count = 256;
    // Writers of short palettes say so only by where the pixels start.
    const std::uint32_t offBits = f.u32(10);
    if (offBits > h.paletteOffset)
        count = std::min<std::size_t>(count, (offBits - h.paletteOffset) / h.paletteEntryBytes);
    h.paletteCount = count;
    if (!f.has(h.paletteOffset, count * h.paletteEntryBytes)) return false;
    palette.assign(256, qRgb(0, 0, 0));
    for (std::size_t i = 0; i < count; ++i) {
        const uchar* e = f.p + h.paletteOffset + i * h.paletteEntryBytes;
        palette[i] = qRgb(e[2], e[1], e[0]);
    }
    return true;
}

std::int64_t rowBytes(const Header& h) {
    return (h.width * h.bpp + 31) / 32 * 4;
}

void decodeRows(const Bytes& f, std::size_t at, const Header& h, const std::vector<QRgb>& palette,
                QImage& image) {
    const int w = image.width(), rows = image.height();
    const std::int64_t stride = rowBytes(h); // decode() has made sure that every row is there
    const Channel red(h.masks[0]), green(h.masks[1]), blue(h.masks[2]);
    const bool plain32 =
        h.bpp == 32 && h.masks[0] == 0xFF0000 && h.masks[1] == 0xFF00 && h.masks[2] == 0xFF;
    // One loop per depth: the choice is made once a row, not once a pixel.
    for (int r = 0; r < rows; ++r) {
        const uchar* src = f.p + at + r * stride;
        auto* out = reinterpret_cast<QRgb*>(image.scanLine(h.height < 0 ? r : rows - 1 - r));
        switch (h.bpp) {
        case 1:
            for (int x = 0; x < w; ++x)
                out[x] = palette[(src[x >> 3] >> (7 - (x & 7))) & 1];
            break;
        case 4:
            for (int x = 0; x < w; ++x)
                out[x] = palette[(src[x >> 1] >> ((x & 1) ? 0 : 4)) & 0xF];
            break;
        case 8:
            for (int x = 0; x < w; ++x)
                out[x] = palette[src[x]];
            break;
        case 24:
            for (int x = 0; x < w; ++x, src += 3)
                out[x] = qRgb(src[2], src[1], src[0]);
            break;
        default:
            for (int x = 0; x < w; ++x) {
                const std::uint32_t px =
                    h.bpp == 16 ? f.u16(src - f.p + 2 * x) : f.u32(src - f.p + 4 * x);
                out[x] = plain32 ? (px | 0xFF000000u) : qRgb(red(px), green(px), blue(px));
            }
        }
    }
}

// Run-length streams write indices at a moving position; pixels the stream skips keep the
// first palette colour. A stream that stops before its last row counts as truncated. Without
// an image, only whether the stream is whole: a few damaged bytes can claim 2^25 pixels, which
// are not allocated and filled just to be refused.
bool decodeRle(const Bytes& f, std::size_t pos, const Header& h, const std::vector<QRgb>& palette,
               QImage* image) {
    const int w = int(h.width), rows = int(std::abs(h.height));
    const bool four = h.bpp == 4;
    if (image) image->fill(palette[0]);
    int x = 0, y = 0;
    auto put = [&](unsigned index) {
        if (x < w) {
            if (image)
                reinterpret_cast<QRgb*>(image->scanLine(h.height < 0 ? y : rows - 1 - y))[x] =
                    palette[index];
            ++x;
        }
    };
    while (y < rows) {
        if (!f.has(pos, 2)) return false;
        const unsigned a = f.p[pos], b = f.p[pos + 1];
        pos += 2;
        if (a > 0) {
            for (unsigned i = 0; i < a; ++i)
                put(four ? ((i & 1) ? b & 0xF : b >> 4) : b);
        } else if (b == 0) {
            x = 0;
            ++y;
        } else if (b == 1) {
            return true;
        } else if (b == 2) {
            if (!f.has(pos, 2)) return false;
            x = std::min(x + int(f.p[pos]), w);
            y += f.p[pos + 1];
            pos += 2;
        } else {
            const std::size_t bytes = four ? (b + 1) / 2 : b;
            if (!f.has(pos, bytes)) return false;
            for (unsigned i = 0; i < b; ++i) {
                const uchar v = f.p[pos + (four ? i / 2 : i)];
                put(four ? ((i & 1) ? v & 0xF : v >> 4) : v);
            }
            pos += (bytes + 1) & ~std::size_t(1);
        }
    }
    return true;
}

QImage decode(const Bytes& f) {
    Header h;
    std::vector<QRgb> palette;
    if (!readHeader(f, h) || !readPalette(f, h, palette)) return {};
    const std::uint32_t offBits = f.u32(10);
    std::size_t at = offBits;
    if (at == 0) at = h.paletteOffset + h.paletteCount * h.paletteEntryBytes;
    if (!f.has(at, 1)) return {};

    const bool runLength = h.compression == BI_RLE8 || h.compression == BI_RLE4;
    // Refuse a short file before allocating what its header claims.
    if (!runLength && !f.has(at, static_cast<std::size_t>(rowBytes(h) * std::abs(h.height))))
        return {};
    if (runLength && !decodeRle(f, at, h, palette, nullptr)) return {};
    QImage image = NewSurface(int(h.width), int(std::abs(h.height)));
    if (image.isNull()) return {};
    if (runLength)
        decodeRle(f, at, h, palette, &image);
    else
        decodeRows(f, at, h, palette, image);
    return image;
}

} // namespace

QImage ReadBitmapFile(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly) || file.size() > MaxFileBytes) return {};
    const QByteArray data = file.readAll();
    return decode(Bytes{reinterpret_cast<const uchar*>(data.constData()),
                        static_cast<std::size_t>(data.size())});
}

} // namespace gdi
