#include "TestAssets.h"
#include "../TestFiles.h"

#include "AssetNames.h"
#include "dstest.h"

#include <QDir>
#include <QFile>
#include <QImage>

namespace TestAssets {

void WriteAll(const QString& dir) {
    using namespace AssetNames;
    QDir().mkpath(dir + "/Graphics");
    QDir().mkpath(dir + "/Sounds");
    const auto local = [&](QString relative) { return dir + relative.replace('\\', '/'); };
    QStringList pictures{BackGround, Title, TitleMask}, sounds{GunFire, GunCock, GunEmpty};
    for (int n = 1; n <= 7; ++n) {
        sounds << BirdCall(n) << ExplosionSound(std::min(n, 4));
        for (const QString suffix : {".bmp", "mask.bmp"})
            if (n <= 5)
                pictures << BirdFrame(u'L', n, suffix) << BirdFrame(u'R', n, suffix)
                         << ExplosionFrame(n, suffix);
    }
    // One size, larger than any picture is drawn: only its top-left part may show.
    for (const QString& name : pictures) {
        QImage image(name == BackGround ? QSize(600, 400) : QSize(432, 148), QImage::Format_RGB32);
        image.fill(ColourOf(name));
        image.save(local(name), "BMP");
    }
    QImage cursor(32, 32, QImage::Format_ARGB32);
    cursor.fill(Qt::red);
    cursor.save(local(Cursor), "ICO");
    // 441 frames of 16-bit mono 22050 Hz silence.
    const QByteArray wav = QByteArray("RIFF\x96\x03\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x22\x56\0\0"
                                      "\x44\xAC\0\0\2\0\x10\0data\x72\x03\0\0",
                                      44) +
                           QByteArray(882, 0);
    for (const QString& name : sounds)
        writeFile(local(name), wav);
}

void Prepare(const QString& dir, QStringList& messages) {
    WriteAll(dir);
    runtime::SetAppPath(dir);
    runtime::SetMsgBoxHook([&messages](const QString& prompt, int) { messages << prompt; });
    runtime::SetEndHook([&](int) { qFatal("program ended: %s", qPrintable(messages.join('|'))); });
    dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{});
    DSound::InitDirectSound(1); // any window handle will do
}

} // namespace TestAssets
