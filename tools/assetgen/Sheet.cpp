#include "Sheet.h"

#include <QDir>
#include <QPainter>
#include <stdexcept>

namespace {

QImage Load(const QDir& dir, const QString& name) {
    QImage img(dir.filePath("Graphics/" + name));
    if (img.isNull()) throw std::runtime_error("cannot read " + name.toStdString());
    return img.convertToFormat(QImage::Format_RGB32);
}

void Blit(QImage& dest, const QImage& mask, const QImage& pic, int x0, int y0) {
    for (int y = 0; y < pic.height(); ++y)
        for (int x = 0; x < pic.width(); ++x) {
            const int dx = x0 + x, dy = y0 + y;
            if (dx < 0 || dy < 0 || dx >= dest.width() || dy >= dest.height()) continue;
            QRgb d = dest.pixel(dx, dy);
            d &= mask.pixel(x, y);
            d |= pic.pixel(x, y);
            dest.setPixel(dx, dy, d);
        }
}

} // namespace

namespace Sheet {

void Write(const QString& path, const QString& png) {
    const QDir dir(path);
    const QImage bg = Load(dir, "BackGround.bmp");
    QImage scene = bg.copy();
    Blit(scene, Load(dir, "titlemask.bmp"), Load(dir, "title.bmp"), 76, 13);
    // Flight frames across the sky and over the trees, explosions along the bottom.
    for (int i = 0; i < 5; ++i) {
        const QString n = QString::number(i + 1);
        Blit(scene, Load(dir, "BirdL" + n + "mask.bmp"), Load(dir, "BirdL" + n + ".bmp"),
             i * 115 - 10, 40);
        Blit(scene, Load(dir, "BirdR" + n + "mask.bmp"), Load(dir, "BirdR" + n + ".bmp"),
             i * 115 - 10, 150);
    }
    QImage blasts = bg.copy();
    for (int i = 0; i < 5; ++i) {
        const QString n = QString::number(i + 1);
        Blit(blasts, Load(dir, "explosion" + n + "mask.bmp"), Load(dir, "explosion" + n + ".bmp"),
             i * 115 - 10, 200);
        Blit(blasts, Load(dir, "BirdL" + n + "mask.bmp"), Load(dir, "BirdL" + n + ".bmp"),
             i * 115 - 10, 20);
    }
    const QImage cursor(dir.filePath("Graphics/cursor.ico"));
    QImage sheet(1200, 1600, QImage::Format_RGB32);
    QPainter g(&sheet);
    g.drawImage(QRect(0, 0, 1200, 800), scene);
    g.drawImage(QRect(0, 800, 1200, 800), blasts);
    if (!cursor.isNull())
        g.drawImage(QRect(1100, 20, cursor.width() * 2, cursor.height() * 2), cursor);
    g.end();
    if (!sheet.save(png)) throw std::runtime_error("cannot write " + png.toStdString());
}

} // namespace Sheet
