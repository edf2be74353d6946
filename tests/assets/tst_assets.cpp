// Runs the asset generator and checks what the game relies on in its files: the exact set of
// names, the picture sizes and masks, the hit box over the bird's body, mirrored flight
// frames, clean sound files, and identical bytes from run to run.

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>
#include <algorithm>
#include <cmath>

namespace {

// A 24-bit bitmap read byte by byte, as 0xRRGGBB values, top row first.
struct Bitmap {
    int width = 0, height = 0;
    std::vector<quint32> pixels;
    quint32 at(int x, int y) const { return pixels[static_cast<std::size_t>(y * width + x)]; }
    bool operator==(const Bitmap&) const = default;
};

quint32 U32(const QByteArray& b, int at) {
    return qFromLittleEndian<quint32>(b.constData() + at);
}
quint16 U16(const QByteArray& b, int at) {
    return qFromLittleEndian<quint16>(b.constData() + at);
}

QByteArray ReadAll(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return {};
    return f.readAll();
}

// Fails the calling test on anything but an uncompressed 24-bit bottom-up bitmap.
Bitmap ReadBmp(const QString& path) {
    const QByteArray b = ReadAll(path);
    Bitmap bmp;
    if (b.size() < 54 || !b.startsWith("BM")) {
        QTest::qFail(qPrintable(path + " is not a bitmap"), __FILE__, __LINE__);
        return bmp;
    }
    const int w = static_cast<int>(U32(b, 18)), h = static_cast<int>(U32(b, 22));
    const int offset = static_cast<int>(U32(b, 10)), stride = ((w * 3 + 3) / 4) * 4;
    if (U32(b, 14) != 40 || U16(b, 28) != 24 || U32(b, 30) != 0 || h <= 0 ||
        b.size() < offset + stride * h || U32(b, 2) != static_cast<quint32>(b.size())) {
        QTest::qFail(qPrintable(path + " has an unexpected header"), __FILE__, __LINE__);
        return bmp;
    }
    bmp.width = w;
    bmp.height = h;
    bmp.pixels.resize(static_cast<std::size_t>(w * h));
    for (int y = 0; y < h; ++y) {
        const auto* row =
            reinterpret_cast<const uchar*>(b.constData()) + offset + (h - 1 - y) * stride;
        for (int x = 0; x < w; ++x)
            bmp.pixels[static_cast<std::size_t>(y * w + x)] =
                row[3 * x] | (row[3 * x + 1] << 8) | (row[3 * x + 2] << 16);
    }
    return bmp;
}

struct Wav {
    int channels = 0, rate = 0, bits = 0, format = 0;
    std::vector<double> samples; // in [-1, 1)
    double seconds() const { return static_cast<double>(samples.size()) / rate; }
};

Wav ReadWav(const QString& path) {
    const QByteArray b = ReadAll(path);
    Wav w;
    if (b.size() < 44 || !b.startsWith("RIFF") || b.mid(8, 4) != "WAVE" ||
        U32(b, 4) != static_cast<quint32>(b.size() - 8))
        return w;
    for (int at = 12; at + 8 <= b.size();) {
        const QByteArray id = b.mid(at, 4);
        const int size = static_cast<int>(U32(b, at + 4));
        if (id == "fmt ") {
            w.format = U16(b, at + 8);
            w.channels = U16(b, at + 10);
            w.rate = static_cast<int>(U32(b, at + 12));
            w.bits = U16(b, at + 22);
        } else if (id == "data" && at + 8 + size <= b.size()) {
            for (int i = 0; i + 1 < size; i += 2)
                w.samples.push_back(qFromLittleEndian<qint16>(b.constData() + at + 8 + i) /
                                    32768.0);
        }
        at += 8 + size + (size & 1);
    }
    return w;
}

double Rms(const std::vector<double>& s) {
    double sum = 0;
    for (double v : s)
        sum += v * v;
    return std::sqrt(sum / static_cast<double>(s.size()));
}

double Db(double v) {
    return 20 * std::log10(v);
}

QStringList FlightNames(const QString& suffix) {
    QStringList names;
    for (QChar side : {QChar('L'), QChar('R')})
        for (int n = 1; n <= 5; ++n)
            names << QStringLiteral("Bird%1%2%3").arg(side).arg(n).arg(suffix);
    return names;
}

QStringList Pictures() {
    QStringList names{"BackGround.bmp", "title.bmp", "titlemask.bmp", "cursor.ico"};
    names << FlightNames(".bmp") << FlightNames("mask.bmp");
    for (int n = 1; n <= 5; ++n)
        names << QStringLiteral("explosion%1.bmp").arg(n)
              << QStringLiteral("explosion%1mask.bmp").arg(n);
    return names;
}

QStringList SoundNames() {
    QStringList names{"GUN_Fire.wav", "GUN_Cock.wav", "GUN_Empty.wav"};
    for (int n = 1; n <= 7; ++n)
        names << QStringLiteral("Bird%1.wav").arg(n);
    for (int n = 1; n <= 4; ++n)
        names << QStringLiteral("Explosion%1.wav").arg(n);
    return names;
}

// Every masked pair: picture stem and mask stem, all at their game sizes.
struct Pair {
    QString picture, mask;
    int width, height;
};

std::vector<Pair> MaskedPairs() {
    std::vector<Pair> pairs{{"title", "titlemask", 432, 31}};
    for (QChar side : {QChar('L'), QChar('R')})
        for (int n = 1; n <= 5; ++n) {
            const QString stem = QStringLiteral("Bird%1%2").arg(side).arg(n);
            pairs.push_back({stem, stem + "mask", 140, 148});
        }
    for (int n = 1; n <= 5; ++n) {
        const QString stem = QStringLiteral("explosion%1").arg(n);
        pairs.push_back({stem, stem + "mask", 140, 148});
    }
    return pairs;
}

bool Generate(const QString& dir) {
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(ASSETGEN_PATH), {dir});
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

} // namespace

class TestAssets : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    QString gfx(const QString& name) const { return dir_.filePath("Graphics/" + name); }
    QString snd(const QString& name) const { return dir_.filePath("Sounds/" + name); }

  private slots:
    void initTestCase() {
        QVERIFY(dir_.isValid());
        QVERIFY(Generate(dir_.path()));
    }

    void writesExactlyTheNamedFiles() {
        auto sorted = [](QStringList l) {
            l.sort(Qt::CaseSensitive);
            return l;
        };
        QCOMPARE(sorted(QDir(dir_.filePath("Graphics")).entryList(QDir::Files)),
                 sorted(Pictures()));
        QCOMPARE(sorted(QDir(dir_.filePath("Sounds")).entryList(QDir::Files)),
                 sorted(SoundNames()));
        QCOMPARE(Pictures().size() + SoundNames().size(), 48);
    }

    void picturesHaveTheirGameSizes() {
        const Bitmap bg = ReadBmp(gfx("BackGround.bmp"));
        QCOMPARE(bg.width, 600);
        QCOMPARE(bg.height, 400);
        for (const Pair& p : MaskedPairs()) {
            for (const QString& name : {p.picture, p.mask}) {
                const Bitmap b = ReadBmp(gfx(name + ".bmp"));
                QVERIFY2(b.width == p.width && b.height == p.height, qPrintable(name));
            }
        }
    }

    void masksAreHardAndPicturesBlackOutsideThem() {
        for (const Pair& p : MaskedPairs()) {
            const Bitmap pic = ReadBmp(gfx(p.picture + ".bmp"));
            const Bitmap mask = ReadBmp(gfx(p.mask + ".bmp"));
            int figure = 0, bright = 0;
            for (std::size_t i = 0; i < mask.pixels.size(); ++i) {
                const quint32 m = mask.pixels[i];
                QVERIFY2(m == 0 || m == 0xFFFFFF, qPrintable(p.mask + " has a grey pixel"));
                if (m == 0xFFFFFF)
                    QVERIFY2(pic.pixels[i] == 0, qPrintable(p.picture + " shows outside its mask"));
                else {
                    ++figure;
                    bright += pic.pixels[i] != 0;
                }
            }
            // A real figure, drawn in colour rather than left black.
            QVERIFY2(figure > static_cast<int>(mask.pixels.size()) / 20, qPrintable(p.mask));
            QVERIFY2(bright > figure * 3 / 4, qPrintable(p.picture));
        }
    }

    void hitBoxLiesOnTheBirdsBody() {
        for (const QString& name : FlightNames("mask.bmp")) {
            const Bitmap mask = ReadBmp(gfx(name));
            int onBody = 0, total = 0;
            for (int y = 50; y <= 100; ++y)
                for (int x = 45; x <= 98; ++x) {
                    ++total;
                    onBody += mask.at(x, y) == 0;
                }
            QVERIFY2(onBody >= total * 85 / 100,
                     qPrintable(QStringLiteral("%1: %2 of %3").arg(name).arg(onBody).arg(total)));
        }
    }

    void rightFramesMirrorLeftFrames() {
        for (int n = 1; n <= 5; ++n)
            for (const QString suffix : {".bmp", "mask.bmp"}) {
                const Bitmap left = ReadBmp(gfx(QStringLiteral("BirdL%1%2").arg(n).arg(suffix)));
                const Bitmap right = ReadBmp(gfx(QStringLiteral("BirdR%1%2").arg(n).arg(suffix)));
                QCOMPARE(left.width, right.width);
                for (int y = 0; y < left.height; ++y)
                    for (int x = 0; x < left.width; ++x)
                        QCOMPARE(right.at(left.width - 1 - x, y), left.at(x, y));
            }
        // The wings beat: no two flight frames are the same picture.
        for (int a = 1; a <= 5; ++a)
            for (int b = a + 1; b <= 5; ++b)
                QVERIFY(ReadBmp(gfx(QStringLiteral("BirdL%1mask.bmp").arg(a))) !=
                        ReadBmp(gfx(QStringLiteral("BirdL%1mask.bmp").arg(b))));
    }

    void explosionFlashesThenTurnsToSmoke() {
        // Mean brightness and colourfulness of the figure at each stage.
        std::vector<double> light, colour;
        for (int n = 1; n <= 5; ++n) {
            const Bitmap pic = ReadBmp(gfx(QStringLiteral("explosion%1.bmp").arg(n)));
            const Bitmap mask = ReadBmp(gfx(QStringLiteral("explosion%1mask.bmp").arg(n)));
            double l = 0, c = 0;
            int count = 0;
            for (std::size_t i = 0; i < pic.pixels.size(); ++i) {
                if (mask.pixels[i] != 0) continue;
                const int r = (pic.pixels[i] >> 16) & 0xFF, g = (pic.pixels[i] >> 8) & 0xFF,
                          b = pic.pixels[i] & 0xFF;
                l += (r + g + b) / 3.0;
                c += std::max({r, g, b}) - std::min({r, g, b});
                ++count;
            }
            light.push_back(l / count);
            colour.push_back(c / count);
        }
        QVERIFY(light[0] == *std::max_element(light.begin(), light.end()));
        QVERIFY(colour[4] < colour[0] / 2);
    }

    void cursorIsASymmetricIconWithTwoSizes() {
        const QByteArray ico = ReadAll(gfx("cursor.ico"));
        QVERIFY(ico.size() > 6);
        QCOMPARE(U16(ico, 0), quint16(0));
        QCOMPARE(U16(ico, 2), quint16(1));
        QCOMPARE(U16(ico, 4), quint16(2));
        QImageReader reader(gfx("cursor.ico"));
        QCOMPARE(reader.imageCount(), 2);
        QList<int> sizes;
        for (int i = 0; i < reader.imageCount(); ++i) {
            QVERIFY(reader.jumpToImage(i));
            const QImage img = reader.read().convertToFormat(QImage::Format_ARGB32);
            QVERIFY(!img.isNull());
            QCOMPARE(img.width(), img.height());
            sizes << img.width();
            const int s = img.width();
            // Clear corners, an opaque centre where the hot spot is, and symmetry about it.
            QCOMPARE(qAlpha(img.pixel(0, 0)), 0);
            QCOMPARE(qAlpha(img.pixel(s - 1, s - 1)), 0);
            QCOMPARE(qAlpha(img.pixel(s / 2, s / 2)), 255);
            for (int y = 0; y < s; ++y)
                for (int x = 0; x < s; ++x) {
                    QCOMPARE(img.pixel(s - 1 - x, y), img.pixel(x, y));
                    QCOMPARE(img.pixel(y, x), img.pixel(x, y));
                }
        }
        std::sort(sizes.begin(), sizes.end());
        QCOMPARE(sizes, QList<int>({16, 32}));
    }

    void soundsAreCleanAndEquallyLoud() {
        std::vector<double> levels;
        for (const QString& name : SoundNames()) {
            const Wav w = ReadWav(snd(name));
            QVERIFY2(w.format == 1 && w.channels == 1 && w.rate == 44100 && w.bits == 16,
                     qPrintable(name));
            QVERIFY2(!w.samples.empty(), qPrintable(name));
            double peak = 0, mean = 0;
            for (double v : w.samples) {
                peak = std::max(peak, std::abs(v));
                mean += v;
            }
            mean /= static_cast<double>(w.samples.size());
            QVERIFY2(Db(peak) <= -1.0, qPrintable(name));
            QVERIFY2(std::abs(mean) < 0.002, qPrintable(name));
            // Faded at both ends, so starting and stopping never clicks.
            QVERIFY2(std::abs(w.samples.front()) < 0.01 && std::abs(w.samples.back()) < 0.01,
                     qPrintable(name));
            double lo = 0.3, hi = 1.2;
            if (name.startsWith("Explosion"))
                lo = 0.6, hi = 1.5;
            else if (name.startsWith("GUN"))
                lo = 0.05, hi = 0.6;
            QVERIFY2(w.seconds() >= lo && w.seconds() <= hi, qPrintable(name));
            if (name != "GUN_Empty.wav")
                levels.push_back(Db(Rms(w.samples)));
            else
                QVERIFY(Db(Rms(w.samples)) > -30);
        }
        const auto [quiet, loud] = std::minmax_element(levels.begin(), levels.end());
        QVERIFY2(*loud - *quiet <= 4.0,
                 qPrintable(QStringLiteral("%1 .. %2 dB").arg(*quiet).arg(*loud)));
    }

    void birdCallsAndBlastsDifferFromEachOther() {
        for (const QString& kind :
             {QStringLiteral("Bird%1.wav"), QStringLiteral("Explosion%1.wav")}) {
            const int count = kind.startsWith("Bird") ? 7 : 4;
            for (int a = 1; a <= count; ++a)
                for (int b = a + 1; b <= count; ++b)
                    QVERIFY(ReadWav(snd(kind.arg(a))).samples != ReadWav(snd(kind.arg(b))).samples);
        }
    }

    void everyRunWritesTheSameBytes() {
        QTemporaryDir again;
        QVERIFY(Generate(again.path()));
        for (const QString& name : Pictures())
            QVERIFY2(ReadAll(gfx(name)) == ReadAll(again.filePath("Graphics/" + name)),
                     qPrintable(name));
        for (const QString& name : SoundNames())
            QVERIFY2(ReadAll(snd(name)) == ReadAll(again.filePath("Sounds/" + name)),
                     qPrintable(name));
    }
};

QTEST_GUILESS_MAIN(TestAssets)
#include "tst_assets.moc"
