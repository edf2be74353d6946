#include "Art.h"

namespace Art {

QImage Canvas(int width, int height) {
    QImage img(width, height, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    return img;
}

Masked Split(const QImage& canvas) {
    const QImage src = canvas.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    Masked m{QImage(src.size(), QImage::Format_RGB32), QImage(src.size(), QImage::Format_RGB32)};
    for (int y = 0; y < src.height(); ++y) {
        const auto* in = reinterpret_cast<const QRgb*>(src.constScanLine(y));
        auto* pic = reinterpret_cast<QRgb*>(m.picture.scanLine(y));
        auto* mask = reinterpret_cast<QRgb*>(m.mask.scanLine(y));
        for (int x = 0; x < src.width(); ++x) {
            const int a = qAlpha(in[x]);
            if (a >= 128) {
                const auto full = [a](int c) { return std::min(255, (c * 255 + a / 2) / a); };
                pic[x] = qRgb(full(qRed(in[x])), full(qGreen(in[x])), full(qBlue(in[x])));
                mask[x] = qRgb(0, 0, 0);
            } else {
                pic[x] = qRgb(0, 0, 0);
                mask[x] = qRgb(255, 255, 255);
            }
        }
    }
    return m;
}

Masked Mirrored(const Masked& m) {
    return {m.picture.mirrored(true, false), m.mask.mirrored(true, false)};
}

} // namespace Art
