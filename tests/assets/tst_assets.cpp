// Runs the asset generator twice and checks what the game relies on in the files it loads.

#include "../TestFiles.h"
#include "AssetNames.h"
#include "modBirds.h"

#include <QImage>
#include <QtTest> // with all of QtCore

using namespace AssetNames;

class TestAssets : public QObject {
    Q_OBJECT
    QTemporaryDir dir, again;
    // The names the game loads; each picture drawn through a mask is followed by the mask.
    QStringList masked{Title, TitleMask}, sounds{GunFire, GunCock, GunEmpty};

    QString path(QString name, const QTemporaryDir& in) const {
        return in.path() + name.replace('\\', '/');
    }
    QImage Bmp(const QString& name) const { return QImage(path(name, dir), "BMP"); }

  private slots:
    // Every file the game loads, nothing else, and the same bytes from every run.
    void initTestCase() {
        for (int n = 1; n <= int(modBirds::SpriteLeft.size()) / 2; ++n)
            masked << BirdFrame(u'L', n, ".bmp") << BirdFrame(u'L', n, "mask.bmp")
                   << BirdFrame(u'R', n, ".bmp") << BirdFrame(u'R', n, "mask.bmp")
                   << ExplosionFrame(n, ".bmp") << ExplosionFrame(n, "mask.bmp");
        for (int n = 1; n <= int(modBirds::BirdSounds.size()); ++n)
            sounds << BirdCall(n);
        for (int n = 1; n <= int(modBirds::ExplosionSounds.size()); ++n)
            sounds << ExplosionSound(n);
        for (const QTemporaryDir* d : {&dir, &again})
            QCOMPARE(QProcess::execute(ASSETGEN_PATH, {d->path()}), 0);
        QStringList names = masked + sounds + QStringList{BackGround, Cursor}, written;
        for (const QString folder : {"\\Graphics\\", "\\Sounds\\"})
            for (const QString& name : QDir(path(folder, dir)).entryList(QDir::Files))
                written << folder + name;
        written.sort(), names.sort();
        QCOMPARE(written, names);
        for (const QString& name : names)
            QVERIFY2(readFile(path(name, dir)) == readFile(path(name, again)), qPrintable(name));
    }

    // Masks are white or black and their pictures black where they are white; every figure
    // covers more than a twentieth of its picture, a bird's body nearly all of its hit box;
    // right frames mirror left ones, and the wings move from frame to frame.
    void masksShapeTheFigures() {
        QCOMPARE(Bmp(BackGround).size(), QSize(600, 400));
        QList<QImage> wings;
        for (int i = 0; i < masked.size(); i += 2) {
            const QString& name = masked[i];
            const QImage pic = Bmp(name), mask = Bmp(masked[i + 1]);
            const QSize size = name == Title ? QSize(432, 31) : QSize(140, 148);
            QVERIFY2(pic.size() == size && mask.size() == size, qPrintable(name));
            int figure = 0, body = 0;
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x) {
                    const QRgb m = mask.pixel(x, y) & 0xFFFFFF;
                    QVERIFY2(m == 0 || (m == 0xFFFFFF && (pic.pixel(x, y) & 0xFFFFFF) == 0),
                             qPrintable(name + " is grey or shows outside its mask"));
                    figure += m == 0;
                    body += m == 0 && x >= 45 && x <= 98 && y >= 50 && y <= 100;
                }
            QVERIFY2(figure > size.width() * size.height() / 20, qPrintable(name + " is empty"));
            if (name.contains("Bird")) QVERIFY2(body >= 54 * 51 * 85 / 100, qPrintable(name));
            if (name.contains("BirdL")) QVERIFY2(!wings.contains(mask), qPrintable(name));
            if (name.contains("BirdR")) // just after its left frame
                QVERIFY2(pic == Bmp(masked[i - 2]).mirrored(true, false) &&
                             mask == wings.last().mirrored(true, false), qPrintable(name));
            wings << mask;
        }
    }

    // 16-bit mono PCM at 44.1 kHz in one format chunk, the samples to the end; at least 1 dB
    // of headroom, so nothing clips, and a sound at all.
    void soundsAreValidUnclippedPcm() {
        for (const QString& name : sounds) {
            const QByteArray b = readFile(path(name, dir));
            const auto u32 = [&](int at) { return qFromLittleEndian<quint32>(b.constData() + at); };
            QVERIFY2(b.size() > 44 && b.startsWith("RIFF") && u32(4) == quint32(b.size() - 8) &&
                         b.mid(8, 16) == QByteArray::fromHex("57415645666d74201000000001000100") &&
                         u32(24) == 44100 && u32(28) == 88200 &&
                         b.mid(32, 8) == QByteArray("\x02\0\x10\0data", 8) &&
                         u32(40) == quint32(b.size() - 44),
                     qPrintable(name));
            int peak = 0;
            for (int i = 44; i + 1 < b.size(); i += 2)
                peak = std::max(peak, std::abs(int(qFromLittleEndian<qint16>(b.constData() + i))));
            QVERIFY2(peak > 0 && peak <= 29205, qPrintable(name + QString(": peak %1").arg(peak)));
        }
    }
};

QTEST_GUILESS_MAIN(TestAssets)
#include "tst_assets.moc"
