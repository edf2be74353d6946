// Writes the game's pictures into <dir>/Graphics and its sounds into <dir>/Sounds.
// With --sheet <dir> <png>, composes the written frames over the background for inspection.

#include "Art.h"
#include "FileWriters.h"
#include "Sheet.h"
#include "Sounds.h"

#include <QDir>
#include <QGuiApplication>
#include <cstdio>
#include <exception>

namespace {

void WriteAll(const QString& base) {
    const QDir dir(base);
    if (!dir.mkpath(QStringLiteral("Graphics")) || !dir.mkpath(QStringLiteral("Sounds")))
        throw std::runtime_error("cannot create the asset folders in " + base.toStdString());
    const auto gfx = [&](const QString& name) { return dir.filePath("Graphics/" + name); };
    const auto snd = [&](const QString& name) { return dir.filePath("Sounds/" + name); };
    const auto pair = [&](const Art::Masked& m, const QString& stem, const QString& maskStem) {
        FileWriters::WriteBmp24(gfx(stem + ".bmp"), m.picture);
        FileWriters::WriteBmp24(gfx(maskStem + ".bmp"), m.mask);
    };

    FileWriters::WriteBmp24(gfx("BackGround.bmp"), Art::Background());
    pair(Art::Title(), "title", "titlemask");
    FileWriters::WriteIco(gfx("cursor.ico"), Art::Cursor());
    for (int i = 0; i < Art::FlightFrames; ++i) {
        const QString n = QString::number(i + 1);
        const Art::Masked left = Art::BirdLeft(i);
        pair(left, "BirdL" + n, "BirdL" + n + "mask");
        pair(Art::Mirrored(left), "BirdR" + n, "BirdR" + n + "mask");
    }
    for (int i = 0; i < Art::ExplosionFrames; ++i) {
        const QString n = QString::number(i + 1);
        pair(Art::Explosion(i), "explosion" + n, "explosion" + n + "mask");
    }

    FileWriters::WriteWav(snd("GUN_Fire.wav"), Sounds::GunFire());
    FileWriters::WriteWav(snd("GUN_Cock.wav"), Sounds::GunCock());
    FileWriters::WriteWav(snd("GUN_Empty.wav"), Sounds::GunEmpty());
    for (int n = 1; n <= 7; ++n)
        FileWriters::WriteWav(snd(QStringLiteral("Bird%1.wav").arg(n)), Sounds::BirdCall(n));
    for (int n = 1; n <= 4; ++n)
        FileWriters::WriteWav(snd(QStringLiteral("Explosion%1.wav").arg(n)), Sounds::Explosion(n));
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    try {
        if (args.size() == 4 && args[1] == QLatin1String("--sheet")) {
            Sheet::Write(args[2], args[3]);
            return 0;
        }
        if (args.size() != 2) {
            std::fprintf(stderr, "usage: assetgen <dir> | assetgen --sheet <dir> <png>\n");
            return 2;
        }
        WriteAll(args[1]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "assetgen: %s\n", e.what());
        return 1;
    }
    return 0;
}
