// Runs the asset generator twice and checks what the game relies on in its files.

#include "../TestFiles.h"

#include <QImage>
#include <QtTest> // with all of QtCore

namespace {

QStringList Numbered(const QString& pattern, int count) {
    QStringList names;
    for (int n = 1; n <= count; ++n)
        names << pattern.arg(n);
    return names;
}

// The ten flight frames, left then right, the explosions and the title: each a picture
// <stem>.bmp drawn through its mask <stem>mask.bmp.
const QStringList Birds = Numbered("BirdL%1", 5) + Numbered("BirdR%1", 5);
const QStringList Masked = Birds + Numbered("explosion%1", 5) + QStringList{"title"};
const QStringList Sounds = QStringList{"GUN_Fire.wav", "GUN_Cock.wav", "GUN_Empty.wav"} +
                           Numbered("Bird%1.wav", 7) + Numbered("Explosion%1.wav", 4);

} // namespace

class TestAssets : public QObject {
    Q_OBJECT
    QTemporaryDir dir, again;

    QImage Bmp(const QString& stem) const {
        return QImage(dir.filePath("Graphics/" + stem + ".bmp"), "BMP")
            .convertToFormat(QImage::Format_RGB32);
    }

  private slots:
    void initTestCase() {
        qputenv("QT_QPA_PLATFORM", "offscreen"); // inherited by the generator
        for (const QTemporaryDir* d : {&dir, &again}) {
            QProcess p;
            p.start(ASSETGEN_PATH, {d->path()});
            QVERIFY(p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit &&
                    p.exitCode() == 0);
        }
    }

    // Exactly the named files, and the same bytes from every run.
    void writesTheNamedFilesAlike() {
        QStringList pictures{"BackGround.bmp", "cursor.ico"};
        for (const QString& stem : Masked)
            pictures << stem + ".bmp" << stem + "mask.bmp";
        for (auto [folder, names] : {std::pair{"Graphics/", pictures}, {"Sounds/", Sounds}}) {
            QStringList written = QDir(dir.filePath(folder)).entryList(QDir::Files);
            written.sort(), names.sort();
            QCOMPARE(written, names);
            for (const QString& name : names)
                QVERIFY2(readFile(dir.filePath(folder + name)) == readFile(again.filePath(folder + name)),
                         qPrintable(name));
        }
    }

    // Masks are white or black and their pictures black where they are white; every figure
    // covers more than a twentieth of its picture, a bird's body nearly all of its hit box;
    // right frames mirror left ones, and the wings move from frame to frame.
    void masksShapeTheFigures() {
        QCOMPARE(Bmp("BackGround").size(), QSize(600, 400));
        for (const QString& stem : Masked) {
            const QImage pic = Bmp(stem), mask = Bmp(stem + "mask");
            const QSize size = stem == "title" ? QSize(432, 31) : QSize(140, 148);
            QVERIFY2(pic.size() == size && mask.size() == size, qPrintable(stem));
            int figure = 0, body = 0;
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x) {
                    const QRgb m = mask.pixel(x, y) & 0xFFFFFF;
                    QVERIFY2(m == 0 || (m == 0xFFFFFF && (pic.pixel(x, y) & 0xFFFFFF) == 0),
                             qPrintable(stem + " is grey or shows outside its mask"));
                    figure += m == 0;
                    body += m == 0 && x >= 45 && x <= 98 && y >= 50 && y <= 100;
                }
            QVERIFY2(figure > size.width() * size.height() / 20, qPrintable(stem + " is empty"));
            if (Birds.contains(stem)) QVERIFY2(body >= 54 * 51 * 85 / 100, qPrintable(stem));
        }
        for (int n = 1; n <= 5; ++n) {
            for (const QString suffix : {"", "mask"})
                QVERIFY(Bmp(QString("BirdR%1%2").arg(n).arg(suffix)) ==
                        Bmp(QString("BirdL%1%2").arg(n).arg(suffix)).mirrored(true, false));
            for (int m = n + 1; m <= 5; ++m)
                QVERIFY(Bmp(QString("BirdL%1mask").arg(n)) != Bmp(QString("BirdL%1mask").arg(m)));
        }
    }

    // 16-bit mono PCM at 44.1 kHz in one format chunk, the samples to the end; at least 1 dB
    // of headroom, so nothing clips, and a sound at all.
    void soundsAreValidUnclippedPcm() {
        for (const QString& name : Sounds) {
            const QByteArray b = readFile(dir.filePath("Sounds/" + name));
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
