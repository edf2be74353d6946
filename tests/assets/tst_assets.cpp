// Runs the asset generator (twice) and checks what the game relies on in its files.

#include <QImage>
#include <QtTest> // with all of QtCore

namespace {

QByteArray ReadAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QImage Bmp(const QString& path) {
    return QImage(path, "BMP").convertToFormat(QImage::Format_RGB32);
}

QStringList Numbered(const QString& pattern, int count) {
    QStringList names;
    for (int n = 1; n <= count; ++n)
        names << pattern.arg(n);
    return names;
}

QStringList Birds() { // the ten flight frames, left then right
    return Numbered("BirdL%1", 5) + Numbered("BirdR%1", 5);
}

// Every picture drawn through a mask, named <stem>.bmp and <stem>mask.bmp.
QStringList MaskedStems() {
    return Birds() + Numbered("explosion%1", 5) + QStringList{"title"};
}

QStringList Pictures() {
    QStringList names{"BackGround.bmp", "cursor.ico"};
    for (const QString& stem : MaskedStems())
        names << stem + ".bmp" << stem + "mask.bmp";
    return names;
}

QStringList Sounds() {
    return QStringList{"GUN_Fire.wav", "GUN_Cock.wav", "GUN_Empty.wav"} +
           Numbered("Bird%1.wav", 7) + Numbered("Explosion%1.wav", 4);
}

QStringList Sorted(QStringList l) {
    l.sort(Qt::CaseSensitive);
    return l;
}

bool Generate(const QString& dir) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // inherited by the generator
    QProcess p;
    p.start(ASSETGEN_PATH, {dir});
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

} // namespace

class TestAssets : public QObject {
    Q_OBJECT
    QTemporaryDir dir_;
    QString gfx(const QString& name) const { return dir_.filePath("Graphics/" + name); }

  private slots:
    void initTestCase() { QVERIFY(Generate(dir_.path())); }

    void writesExactlyTheNamedFiles() {
        QCOMPARE(Sorted(QDir(dir_.filePath("Graphics")).entryList(QDir::Files)),
                 Sorted(Pictures()));
        QCOMPARE(Sorted(QDir(dir_.filePath("Sounds")).entryList(QDir::Files)), Sorted(Sounds()));
    }

    void masksAreHardAndPicturesBlackOutsideThem() {
        QCOMPARE(Bmp(gfx("BackGround.bmp")).size(), QSize(600, 400));
        for (const QString& stem : MaskedStems()) {
            const QImage pic = Bmp(gfx(stem + ".bmp")), mask = Bmp(gfx(stem + "mask.bmp"));
            const QSize size = stem == "title" ? QSize(432, 31) : QSize(140, 148);
            QVERIFY2(pic.size() == size && mask.size() == size, qPrintable(stem));
            int figure = 0;
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x) {
                    const QRgb m = mask.pixel(x, y) & 0xFFFFFF;
                    QVERIFY2(m == 0 || m == 0xFFFFFF, qPrintable(stem + " mask is grey"));
                    QVERIFY2(m == 0 || (pic.pixel(x, y) & 0xFFFFFF) == 0,
                             qPrintable(stem + " shows outside its mask"));
                    figure += m == 0;
                }
            QVERIFY2(figure > size.width() * size.height() / 20, qPrintable(stem + " is empty"));
        }
    }

    void hitBoxLiesOnTheBirdsBody() {
        for (const QString& stem : Birds()) {
            const QImage mask = Bmp(gfx(stem + "mask.bmp"));
            int onBody = 0;
            for (int y = 50; y <= 100; ++y)
                for (int x = 45; x <= 98; ++x)
                    onBody += (mask.pixel(x, y) & 0xFFFFFF) == 0;
            QVERIFY2(onBody >= 54 * 51 * 85 / 100, qPrintable(stem));
        }
    }

    void rightFramesMirrorLeftFramesAndWingsMove() {
        for (int n = 1; n <= 5; ++n) {
            for (const QString suffix : {".bmp", "mask.bmp"})
                QVERIFY(Bmp(gfx(QString("BirdR%1%2").arg(n).arg(suffix))) ==
                        Bmp(gfx(QString("BirdL%1%2").arg(n).arg(suffix))).mirrored(true, false));
            for (int m = n + 1; m <= 5; ++m)
                QVERIFY(Bmp(gfx(QString("BirdL%1mask.bmp").arg(n))) !=
                        Bmp(gfx(QString("BirdL%1mask.bmp").arg(m))));
        }
    }

    void soundsAreValidUnclippedPcm() {
        for (const QString& name : Sounds()) {
            const QByteArray b = ReadAll(dir_.filePath("Sounds/" + name));
            const auto u32 = [&](int at) { return qFromLittleEndian<quint32>(b.constData() + at); };
            // One format chunk, 16-bit mono PCM at 44.1 kHz, then the samples to the end.
            QVERIFY2(b.size() > 44 && b.startsWith("RIFF") && u32(4) == quint32(b.size() - 8) &&
                         b.mid(8, 16) == QByteArray::fromHex("57415645666d74201000000001000100") &&
                         u32(24) == 44100 && u32(28) == 88200 &&
                         b.mid(32, 8) == QByteArray("\x02\0\x10\0data", 8) &&
                         u32(40) == quint32(b.size() - 44),
                     qPrintable(name));
            int peak = 0;
            for (int i = 44; i + 1 < b.size(); i += 2)
                peak = std::max(peak, std::abs(int(qFromLittleEndian<qint16>(b.constData() + i))));
            // At least 1 dB of headroom: nothing clips, and there is a sound at all.
            QVERIFY2(peak > 0 && peak <= 29205, qPrintable(name + QString(": peak %1").arg(peak)));
        }
    }

    void everyRunWritesTheSameBytes() {
        QTemporaryDir again;
        QVERIFY(Generate(again.path()));
        for (const QString& name : Pictures())
            QVERIFY2(ReadAll(gfx(name)) == ReadAll(again.filePath("Graphics/" + name)),
                     qPrintable(name));
        for (const QString& name : Sounds())
            QVERIFY2(ReadAll(dir_.filePath("Sounds/" + name)) ==
                         ReadAll(again.filePath("Sounds/" + name)),
                     qPrintable(name));
    }
};

QTEST_GUILESS_MAIN(TestAssets)
#include "tst_assets.moc"
