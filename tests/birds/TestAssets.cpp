#include "TestAssets.h"

#include "AssetNames.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QtEndian>
#include <cmath>
#include <stdexcept>

namespace TestAssets {

namespace {

QString Local(const QString& dir, const QString& relative) {
    QString rel = relative;
    rel.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return dir + rel;
}

void Save(const QImage& image, const QString& path) {
    if (!image.save(path, "BMP")) throw std::runtime_error("cannot write " + path.toStdString());
}

QImage Picture(const QString& name, int w, int h, bool wholeFigure) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(Qt::black);
    const QRgb colour = ColourOf(name);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (wholeFigure ||
                (x >= FigureLeft && x <= FigureRight && y >= FigureTop && y <= FigureBottom))
                image.setPixel(x, y, colour);
    return image;
}

QImage Mask(const QString& name, int w, int h, bool wholeFigure) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(Qt::white);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (wholeFigure ||
                (x >= FigureLeft && x <= FigureRight && y >= FigureTop && y <= FigureBottom))
                image.setPixel(x, y, qRgb(0, 0, 0));
    if (!wholeFigure) image.setPixel(MaskTagX(name), 0, qRgb(0, 0, 0));
    return image;
}

void WriteWav(const QString& path, int frames, double frequency) {
    QByteArray data;
    for (int i = 0; i < frames; ++i) {
        const auto s = static_cast<qint16>(8000 * std::sin(2 * M_PI * frequency * i / 22050.0));
        data.append(reinterpret_cast<const char*>(&s), 2); // little-endian host
    }
    auto u32 = [](quint32 v) {
        QByteArray b(4, 0);
        qToLittleEndian(v, b.data());
        return b;
    };
    auto u16 = [](quint16 v) {
        QByteArray b(2, 0);
        qToLittleEndian(v, b.data());
        return b;
    };
    QByteArray file = "RIFF" + u32(36 + data.size()) + "WAVEfmt " + u32(16) + u16(1) + u16(1) +
                      u32(22050) + u32(44100) + u16(2) + u16(16) + "data" + u32(data.size()) + data;
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(file) != file.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

} // namespace

QStringList PictureNames() {
    QStringList names{AssetNames::BackGround, AssetNames::Title, AssetNames::TitleMask};
    for (int n = 1; n <= 5; ++n)
        for (QChar letter : {u'L', u'R'})
            for (const char* suffix : {".bmp", "mask.bmp"})
                names << AssetNames::BirdFrame(letter, n, QString::fromLatin1(suffix));
    for (int n = 1; n <= 5; ++n)
        for (const char* suffix : {".bmp", "mask.bmp"})
            names << AssetNames::ExplosionFrame(n, QString::fromLatin1(suffix));
    return names;
}

QStringList SoundNames() {
    QStringList names{AssetNames::GunFire, AssetNames::GunCock, AssetNames::GunEmpty};
    for (int n = 1; n <= 7; ++n)
        names << AssetNames::BirdCall(n);
    for (int n = 1; n <= 4; ++n)
        names << AssetNames::ExplosionSound(n);
    return names;
}

QRgb ColourOf(const QString& relativeName) {
    const int i = static_cast<int>(PictureNames().indexOf(relativeName));
    return qRgb(20 + 6 * i, 230 - 5 * i, 40 + 4 * i);
}

QRgb BackgroundAt(int x, int y) {
    return qRgb(x % 200 + 30, y % 200 + 30, 0x60);
}

int MaskTagX(const QString& relativeName) {
    return static_cast<int>(PictureNames().indexOf(relativeName));
}

void WriteAll(const QString& dir) {
    QDir().mkpath(dir + QStringLiteral("/Graphics"));
    QDir().mkpath(dir + QStringLiteral("/Sounds"));

    QImage background(600, 400, QImage::Format_RGB32);
    for (int y = 0; y < 400; ++y)
        for (int x = 0; x < 600; ++x)
            background.setPixel(x, y, BackgroundAt(x, y));
    Save(background, Local(dir, AssetNames::BackGround));

    // The banner covers its whole 432 x 31 pixels.
    Save(Picture(AssetNames::Title, 432, 31, true), Local(dir, AssetNames::Title));
    Save(Mask(AssetNames::TitleMask, 432, 31, true), Local(dir, AssetNames::TitleMask));

    for (const QString& name : PictureNames().mid(3)) {
        if (name.endsWith(QStringLiteral("mask.bmp")))
            Save(Mask(name, 140, 148, false), Local(dir, name));
        else
            Save(Picture(name, 140, 148, false), Local(dir, name));
    }

    QImage cursor(32, 32, QImage::Format_ARGB32);
    cursor.fill(Qt::transparent);
    {
        QPainter p(&cursor);
        p.setPen(Qt::red);
        p.drawEllipse(4, 4, 24, 24);
    }
    if (!cursor.save(Local(dir, AssetNames::Cursor), "ICO"))
        throw std::runtime_error("cannot write the cursor");

    double frequency = 300;
    for (const QString& name : SoundNames()) {
        WriteWav(Local(dir, name), 441, frequency);
        frequency += 40;
    }
}

} // namespace TestAssets
