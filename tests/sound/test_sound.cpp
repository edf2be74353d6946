#include "DSound.h"
#include "Sound.h"
#include "dstest.h"
#include "modSound.h"
#include "runtimetest.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <sndfile.h>

using runtime::False;
using runtime::True;

namespace {

constexpr int kRate = 22050;

std::vector<float> tone(int frames, double cyclesPerFrame, float level) {
    std::vector<float> s(static_cast<size_t>(frames));
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = level * float(std::sin(2 * M_PI * cyclesPerFrame * double(i)));
    return s;
}
// Largest difference between got[offset + i] and want[i] over want's length.
float maxDiff(const std::vector<float>& got, const std::vector<float>& want, size_t offset = 0) {
    float d = 0;
    for (size_t i = 0; i < want.size(); ++i)
        d = std::max(d, std::fabs((offset + i < got.size() ? got[offset + i] : 0) - want[i]));
    return d;
}
float peak(const std::vector<float>& s, size_t from = 0) {
    return maxDiff(s, std::vector<float>(s.size() - std::min(from, s.size())), from);
}
} // namespace

class TestSound : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    std::vector<float> fire = tone(3000, 0.011, 0.3f), cock = tone(2000, 0.029, 0.2f);
    QStringList boxes;
    Sound a, b;      // fire and cock, in records 0 and 1
    QList<int> ends; // exit statuses

    QString path(const QString& name) { return dir.filePath("app/Sounds/" + name); }
    std::vector<float> render(int frames) { return dx::test::Render(*DSound::SoundDevice, frames); }
    QString status(int i) { return DSound::SoundBuffers.at(size_t(i)).Status; }
    runtime::Integer load(const QString& name) {
        return DSound::LoadSoundBuffer("\\Sounds\\" + name, True, False, False, False, False, False,
                                       False, nullptr);
    }
    void writeWave(const QString& name, int format, int channels, const std::vector<float>& s) {
        SF_INFO info{0, kRate, channels, SF_FORMAT_WAV | format, 0, 0};
        SNDFILE* f = sf_open(QFile::encodeName(path(name)).constData(), SFM_WRITE, &info);
        QVERIFY(f && sf_writef_float(f, s.data(), sf_count_t(s.size()) / channels) > 0);
        sf_close(f);
    }
  private slots:
    void initTestCase() {
        QVERIFY(QDir(dir.path()).mkpath("app/Sounds"));
        runtime::SetAppPath(dir.filePath("app"));
        writeWave("fire.wav", SF_FORMAT_FLOAT, 1, fire);
        writeWave("cock.wav", SF_FORMAT_FLOAT, 1, cock);
        runtime::SetMsgBoxHook(
            [this](const QString& p, int s) { boxes << QString("%1/%2").arg(p).arg(s); });
        runtime::SetEndHook([this](int status) { ends << status; });
    }
    void init() {
        boxes.clear();
        ends = {};
        dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{kRate, 1});
        DSound::InitDirectSound(4321);
        QVERIFY(boxes.isEmpty());
        modSound::SetSoundOn(True);
        a.load("\\Sounds\\fire.wav");
        b.load("\\Sounds\\cock.wav");
    }
    void playingAgainRestartsAndStopRewinds() {
        QCOMPARE(peak(render(200)), 0.0f);
        modSound::PlayEffect(a);
        QCOMPARE(maxDiff(render(1000), {fire.begin(), fire.begin() + 1000}), 0.0f);
        modSound::PlayEffect(a); // from the start, never a second voice on top
        auto got = render(4000);
        QCOMPARE(maxDiff(got, fire), 0.0f);
        QCOMPARE(peak(got, fire.size()), 0.0f);
        modSound::PlayEffect(a);
        render(700);
        modSound::StopEffect(a);
        QCOMPARE(status(0), "stopped");
        QCOMPARE(peak(render(300)), 0.0f);
        DSound::SoundBuffers[0].Buffer->Play(0); // on from where the stop left it
        QCOMPARE(render(1)[0], fire[0]);
        DSound::SoundBuffers[0].Buffer->Stop();
        DSound::SoundBuffers[0].Buffer->SetCurrentPosition(4 * 500); // bytes of float frames
        DSound::SoundBuffers[0].Buffer->Play(0);
        QCOMPARE(render(1)[0], fire[500]);
    }

    void differentSoundsOverlapAsTheirSum() {
        modSound::PlayEffect(a);
        render(500);
        modSound::PlayEffect(b);
        std::vector<float> sum(2000);
        for (size_t i = 0; i < sum.size(); ++i)
            sum[i] = fire[500 + i] + cock[i];
        QVERIFY(maxDiff(render(2000), sum) < 1e-6f);
    }

    void switchOffTouchesNothing() {
        modSound::PlayEffect(a);
        render(1000);
        modSound::SetSoundOn(False);
        modSound::PlayEffect(b);
        modSound::StopEffect(a);
        QCOMPARE(status(0), "playing");
        QCOMPARE(status(1), "Stopped");
        // The one already playing plays on to its end, alone.
        const auto got = render(2500);
        QCOMPARE(maxDiff(got, {fire.begin() + 1000, fire.end()}), 0.0f);
        QCOMPARE(peak(got, 2000), 0.0f);
        modSound::SetSoundOn(1); // any value other than 0 is on
        modSound::PlayEffect(b);
        QCOMPARE(render(1)[0], cock[0]);
    }

    void registryIndicesStatusesAndRelease() {
        DSound::InitDirectSound(4321);
        QCOMPARE(DSound::SoundBuffers.size(), size_t(1));
        QCOMPARE(status(0), "empty");
        for (int i = 0; i < 4; ++i)
            QCOMPARE(load("fire.wav"), i);
        QCOMPARE(status(2), "Stopped");
        DSound::PlaySoundBuffer(2);
        QCOMPARE(status(2), "playing");
        DSound::ReleaseSoundBuffer(3);
        DSound::ReleaseSoundBuffer(1);
        QVERIFY(status(1) == "empty" && !DSound::SoundBuffers[1].Buffer);
        // Lowest free first, then the next free, then growth.
        for (int want : {1, 3, 4})
            QCOMPARE(load("cock.wav"), want);
        DSound::ReleaseSoundBuffer(2); // silent at once, even while playing
        QCOMPARE(peak(render(100)), 0.0f);
        DSound::ReleaseAllSoundBuffers();
        QCOMPARE(DSound::SoundBuffers.size(), size_t(5));
        for (const auto& r : DSound::SoundBuffers)
            QVERIFY(r.IsEmpty == True && r.Status == "empty" && !r.Buffer);
        QCOMPARE(load("cock.wav"), 0);
    }

    void everyEncodingDecodesToItsSamples() {
        // ADPCM is lossy, yet close.
        const struct {
            int format, channels;
            float tolerance;
        } cases[] = {{SF_FORMAT_PCM_U8, 1, 1.0f / 64}, {SF_FORMAT_PCM_16, 1, 1.0f / 16384},
                     {SF_FORMAT_PCM_24, 1, 1e-6f},     {SF_FORMAT_PCM_32, 1, 1e-6f},
                     {SF_FORMAT_FLOAT, 1, 0.0f},       {SF_FORMAT_IMA_ADPCM, 1, 0.2f},
                     {SF_FORMAT_MS_ADPCM, 1, 0.08f},   {SF_FORMAT_PCM_16, 2, 1.0f / 16384},
                     {SF_FORMAT_MS_ADPCM, 2, 0.08f}};
        for (auto [format, channels, tolerance] : cases) {
            // A quiet tone: read as integers without scaling, a float file would come out silent.
            std::vector<float> want = tone(4000, 0.02, 0.3f), right = tone(4000, 0.037, 0.2f);
            if (channels == 2)
                for (size_t i = 0; i < right.size(); ++i)
                    want.insert(want.begin() + long(2 * i + 1), right[i]);
            writeWave("enc.wav", format, channels, want);
            dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{kRate, channels});
            DSound::InitDirectSound(4321);
            DSound::PlaySoundBuffer(load("enc.wav"));
            const auto got = render(6000);
            QVERIFY2(maxDiff(got, want) <= tolerance, qPrintable(QString::number(format, 16)));
            // Exactly the floats libsndfile reads, whatever form the buffer keeps them in.
            SF_INFO info{};
            SNDFILE* f = sf_open(QFile::encodeName(path("enc.wav")).constData(), SFM_READ, &info);
            QVERIFY(f);
            std::vector<float> read(size_t(info.frames * channels));
            QCOMPARE(sf_readf_float(f, read.data(), info.frames), info.frames);
            sf_close(f);
            QCOMPARE(maxDiff(got, read), 0.0f);
            QCOMPARE(peak(got, want.size() + 1024 * size_t(channels)), 0.0f); // once, then silence
        }
    }

    void badFilesRaiseErrorsNamingTheFile() {
        writeWave("good.wav", SF_FORMAT_PCM_16, 1, fire);
        writeWave("adpcm.wav", SF_FORMAT_IMA_ADPCM, 1, fire);
        writeWave("big.wav", SF_FORMAT_PCM_16 | SF_ENDIAN_BIG, 1, fire); // RIFX
        QFile good(path("good.wav")), adpcm(path("adpcm.wav")), big(path("big.wav"));
        QVERIFY(good.open(QIODevice::ReadOnly) && adpcm.resize(adpcm.size() - 600) &&
                big.open(QIODevice::ReadOnly));
        const QByteArray bytes = good.readAll(), bigBytes = big.readAll();
        for (auto [name, content] :
             std::vector<std::pair<QString, QByteArray>>{{"cut.wav", bytes.left(bytes.size() / 2)},
                                                         {"bigcut.wav", bigBytes.left(3000)},
                                                         {"head.wav", bytes.left(20)},
                                                         {"garbage.wav", QByteArray(3000, 'x')},
                                                         {"empty.wav", {}}}) {
            QFile f(path(name));
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(content) == content.size());
        }
        for (const char* name : {"missing.wav", "cut.wav", "bigcut.wav", "head.wav", "garbage.wav",
                                 "empty.wav", "adpcm.wav"}) {
            try {
                Sound().load(QString("\\Sounds\\") + name);
                QFAIL(name);
            } catch (const runtime::RuntimeError& e) {
                QVERIFY2(e.description().contains(name), name);
            }
        }
    }

    // A real device stops mixing while nothing plays; a play starts it again at once, and it
    // stops once the last sound has played out.
    void aQuietDevicePausesItsMixer() {
        if (qgetenv("ALSOFT_DRIVERS") != "null") QSKIP("needs OpenAL's null driver, as CTest sets");
        dx::test::UseLoopbackDevice(std::nullopt);
        DSound::InitDirectSound(4321);
        a.load("\\Sounds\\fire.wav");
        const auto mixing = [] { return dx::test::Mixing(*DSound::SoundDevice); };
        dx::DirectSoundBuffer& fired = *DSound::SoundBuffers[0].Buffer;
        QVERIFY(!mixing());
        modSound::PlayEffect(a);
        QVERIFY(mixing());
        QVERIFY(QTest::qWaitFor([&] { return fired.GetCurrentPosition() > 0; }, 1000));
        QVERIFY(QTest::qWaitFor([&] { return !mixing(); }, 3000));
        fired.Play(dx::DSBPLAY_LOOPING); // never ends by itself
        QTest::qWait(1500);
        QVERIFY(mixing());
        modSound::StopEffect(a);
        QVERIFY(QTest::qWaitFor([&] { return !mixing(); }, 3000));
    }

    void noDeviceReportsAndEnds() {
        dx::test::UseLoopbackDevice(std::nullopt);
        dx::test::OverrideDeviceName("no such device");
        bool after = false;
        QVERIFY_THROWS_EXCEPTION(runtime::ProgramEnded, [&] {
            DSound::InitDirectSound(4321);
            after = true;
        }());
        dx::test::OverrideDeviceName(std::nullopt);
        QVERIFY(!after);
        QCOMPARE(boxes, QStringList{"Unable to initialize DirectSound./0"});
        QCOMPARE(ends, QList<int>{1});
    }
};

QTEST_GUILESS_MAIN(TestSound)
#include "test_sound.moc"
