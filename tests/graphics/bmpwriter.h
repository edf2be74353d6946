#pragma once
// Writes Windows bitmap files byte by byte, so the reader is tested against files that no
// other library produced.

#include <QByteArray>
#include <QFile>
#include <QRgb>
#include <cstdint>
#include <functional>
#include <vector>

namespace bmp {

inline void le16(QByteArray& b, std::uint32_t v) {
    b.append(char(v & 0xFF));
    b.append(char((v >> 8) & 0xFF));
}
inline void le32(QByteArray& b, std::uint32_t v) {
    le16(b, v & 0xFFFF);
    le16(b, v >> 16);
}

struct Spec {
    int width = 1;
    int height = 1; // negative: rows stored top-down
    int bpp = 24;
    std::uint32_t compression = 0;
    std::vector<QRgb> palette;
    std::vector<std::uint32_t> masks; // appended after a 40-byte header
    int headerSize = 40;              // 12 for the old core header
};

inline QByteArray file(const Spec& s, const QByteArray& pixels) {
    QByteArray info;
    le32(info, s.headerSize);
    if (s.headerSize == 12) {
        le16(info, s.width);
        le16(info, s.height);
        le16(info, 1);
        le16(info, s.bpp);
    } else {
        le32(info, s.width);
        le32(info, std::uint32_t(s.height));
        le16(info, 1);
        le16(info, s.bpp);
        le32(info, s.compression);
        le32(info, pixels.size());
        le32(info, 2835);
        le32(info, 2835);
        le32(info, s.palette.size());
        le32(info, 0);
    }
    for (std::uint32_t m : s.masks)
        le32(info, m);
    for (QRgb c : s.palette) {
        info.append(char(qBlue(c)));
        info.append(char(qGreen(c)));
        info.append(char(qRed(c)));
        if (s.headerSize != 12) info.append('\0');
    }
    QByteArray out("BM");
    le32(out, 14 + info.size() + pixels.size());
    le32(out, 0);
    le32(out, 14 + info.size());
    return out + info + pixels;
}

// Packs raw pixel values (palette indices, 16-bit words, 0xRRGGBB or 32-bit words) into
// padded rows in file order: bottom row first unless the height is negative.
inline QByteArray rows(int width, int height, int bpp,
                       const std::function<std::uint32_t(int x, int y)>& value) {
    QByteArray out;
    const int n = height < 0 ? -height : height;
    for (int r = 0; r < n; ++r) {
        const int y = height < 0 ? r : n - 1 - r;
        QByteArray row;
        std::uint32_t acc = 0;
        int bits = 0;
        for (int x = 0; x < width; ++x) {
            const std::uint32_t v = value(x, y);
            if (bpp < 8) {
                acc = (acc << bpp) | v;
                bits += bpp;
                if (bits == 8) row.append(char(acc)), acc = 0, bits = 0;
            } else if (bpp == 8) {
                row.append(char(v));
            } else if (bpp == 16) {
                le16(row, v);
            } else if (bpp == 24) {
                row.append(char(v & 0xFF)).append(char((v >> 8) & 0xFF)).append(char(v >> 16));
            } else {
                le32(row, v);
            }
        }
        if (bits) row.append(char(acc << (8 - bits)));
        while (row.size() % 4)
            row.append('\0');
        out += row;
    }
    return out;
}

inline bool save(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace bmp
