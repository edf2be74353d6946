#include "FileWriters.h"

#include <QFile>
#include <QtEndian>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace {

class Bytes {
  public:
    void u8(int v) { data.push_back(static_cast<char>(v)); }
    void u16(int v) { put(static_cast<quint16>(v)); }
    void u32(std::uint32_t v) { put(v); }
    void tag(const char* s) { data.append(s); }
    QByteArray data;

  private:
    template <class T> void put(T v) {
        char le[sizeof(T)];
        qToLittleEndian(v, le);
        data.append(le, sizeof(T));
    }
};

void Save(const QString& path, const QByteArray& data) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(data) != data.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

int RowBytes(int width, int bitsPerPixel) {
    return ((width * bitsPerPixel + 31) / 32) * 4;
}

} // namespace

namespace FileWriters {

void WriteBmp24(const QString& path, const QImage& source) {
    const QImage img = source.convertToFormat(QImage::Format_RGB32);
    const int w = img.width(), h = img.height();
    const int stride = RowBytes(w, 24);
    const std::uint32_t pixelBytes = static_cast<std::uint32_t>(stride) * h;
    Bytes b;
    b.tag("BM");
    b.u32(54 + pixelBytes);
    b.u32(0);
    b.u32(54);
    b.u32(40);
    b.u32(w);
    b.u32(h);
    b.u16(1);
    b.u16(24);
    b.u32(0);
    b.u32(pixelBytes);
    b.u32(2835); // 72 dpi
    b.u32(2835);
    b.u32(0);
    b.u32(0);
    for (int y = h - 1; y >= 0; --y) {
        const auto* line = reinterpret_cast<const QRgb*>(img.constScanLine(y));
        for (int x = 0; x < w; ++x) {
            b.u8(qBlue(line[x]));
            b.u8(qGreen(line[x]));
            b.u8(qRed(line[x]));
        }
        for (int pad = w * 3; pad < stride; ++pad)
            b.u8(0);
    }
    Save(path, b.data);
}

void WriteIco(const QString& path, const std::vector<QImage>& images) {
    std::vector<QByteArray> entries;
    for (const QImage& source : images) {
        const QImage img = source.convertToFormat(QImage::Format_ARGB32);
        const int w = img.width(), h = img.height();
        const int maskStride = RowBytes(w, 1);
        Bytes b;
        b.u32(40);
        b.u32(w);
        b.u32(2 * h); // colour rows followed by the AND mask rows
        b.u16(1);
        b.u16(32);
        b.u32(0);
        b.u32(w * h * 4 + maskStride * h);
        b.u32(0);
        b.u32(0);
        b.u32(0);
        b.u32(0);
        for (int y = h - 1; y >= 0; --y) {
            const auto* line = reinterpret_cast<const QRgb*>(img.constScanLine(y));
            for (int x = 0; x < w; ++x) {
                const bool shown = qAlpha(line[x]) >= 128;
                b.u8(shown ? qBlue(line[x]) : 0);
                b.u8(shown ? qGreen(line[x]) : 0);
                b.u8(shown ? qRed(line[x]) : 0);
                b.u8(shown ? 255 : 0);
            }
        }
        for (int y = h - 1; y >= 0; --y) {
            const auto* line = reinterpret_cast<const QRgb*>(img.constScanLine(y));
            for (int byte = 0; byte < maskStride; ++byte) {
                int bits = 0;
                for (int bit = 0; bit < 8; ++bit) {
                    const int x = byte * 8 + bit;
                    const bool transparent = x >= w || qAlpha(line[x]) < 128;
                    if (transparent) bits |= 0x80 >> bit;
                }
                b.u8(bits);
            }
        }
        entries.push_back(b.data);
    }
    Bytes out;
    out.u16(0);
    out.u16(1);
    out.u16(static_cast<int>(images.size()));
    std::uint32_t offset = 6 + 16 * static_cast<std::uint32_t>(images.size());
    for (std::size_t i = 0; i < images.size(); ++i) {
        out.u8(images[i].width() >= 256 ? 0 : images[i].width());
        out.u8(images[i].height() >= 256 ? 0 : images[i].height());
        out.u8(0);
        out.u8(0);
        out.u16(1);
        out.u16(32);
        out.u32(static_cast<std::uint32_t>(entries[i].size()));
        out.u32(offset);
        offset += static_cast<std::uint32_t>(entries[i].size());
    }
    for (const QByteArray& e : entries)
        out.data.append(e);
    Save(path, out.data);
}

void WriteWav(const QString& path, const std::vector<double>& samples) {
    const std::uint32_t dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    Bytes b;
    b.tag("RIFF");
    b.u32(36 + dataBytes);
    b.tag("WAVE");
    b.tag("fmt ");
    b.u32(16);
    b.u16(1);
    b.u16(1);
    b.u32(SampleRate);
    b.u32(SampleRate * 2);
    b.u16(2);
    b.u16(16);
    b.tag("data");
    b.u32(dataBytes);
    for (double s : samples) {
        const double c = std::clamp(s, -1.0, 1.0);
        b.u16(static_cast<int>(std::lrint(c * 32767.0)));
    }
    Save(path, b.data);
}

} // namespace FileWriters
