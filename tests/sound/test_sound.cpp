#include "DSound.h"
#include "Sound.h"
#include "dstest.h"
#include "modSound.h"
#include "runtimetest.h"

#include <QtTest> // with all of QtCore
#include <cmath>
#include <sndfile.h>

using Samples = std::vector<float>;

static Samples tone(int frames, double cyclesPerFrame, float level) {
    Samples s(static_cast<size_t>(frames));
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = level * float(std::sin(2 * M_PI * cyclesPerFrame * double(i)));
    return s;
}
// Largest difference between got and want from `from` on, silence past want's end.
static float maxDiff(const Samples& got, const Samples& want, size_t from = 0) {
    float d = 0;
    for (size_t i = 0; i < got.size(); ++i)
        d = std::max(d, std::fabs(got[i] - (from + i < want.size() ? want[from + i] : 0)));
    return d;
}

class TestSound : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    Samples fire = tone(3000, 0.011, 0.3f), cock = tone(2000, 0.029, 0.2f);
    Sound a, b; // fire and cock, in records 0 and 1
    QStringList seen; // message boxes and ends
    QString error;

    QString path(const QString& name) { return dir.filePath("app/Sounds/" + name); }
    Samples render(int frames) { return dx::test::Render(*DSound::SoundDevice, frames); }
    dx::DirectSoundBuffer& buffer(int i) { return *DSound::SoundBuffers.at(size_t(i)).Buffer; }
    // Loads a file of app/Sounds as a Sound: its record's index, or -1 and the error's words.
    int load(const QString& name) try {
        Sound s;
        s.load("\\Sounds\\" + name);
        return s.bufferIndex();
    } catch (const runtime::RuntimeError& e) {
        error = e.description();
        return -1;
    }
    // Writes the samples in the encoding, and returns what libsndfile reads back from the file.
    Samples writeWave(const QString& name, int format, int channels, Samples s) {
        SF_INFO info{0, 22050, channels, SF_FORMAT_WAV | format, 0, 0};
        SNDFILE* f = sf_open(QFile::encodeName(path(name)).constData(), SFM_WRITE, &info);
        const bool written = f && sf_writef_float(f, s.data(), sf_count_t(s.size()) / channels) > 0;
        sf_close(f);
        f = sf_open(QFile::encodeName(path(name)).constData(), SFM_READ, &info);
        s.resize(size_t(info.frames * channels));
        if (!written || !f || sf_readf_float(f, s.data(), info.frames) != info.frames) s.clear();
        sf_close(f);
        return s;
    }
  private slots:
    void initTestCase() {
        QVERIFY(QDir(dir.path()).mkpath("app/Sounds"));
        runtime::SetAppPath(dir.filePath("app"));
        QVERIFY(writeWave("fire.wav", SF_FORMAT_FLOAT, 1, fire) == fire);
        QVERIFY(writeWave("cock.wav", SF_FORMAT_FLOAT, 1, cock) == cock);
        dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{});
        runtime::SetMsgBoxHook(
            [this](const QString& p, int s) { seen << QString("%1/%2").arg(p).arg(s); });
        runtime::SetEndHook([this](int status) { seen << QString("end %1").arg(status); });
    }
    void init() { modSound::SetSoundOn(runtime::True); }

    // Playing again starts over, never a second voice on top, and a sound plays once. A stop
    // silences and rewinds; the buffer itself plays on from where it is set. Switched off, a
    // new effect stays silent and a playing one plays on; back on (1, as any value but 0 is),
    // effects play over each other as their sum.
    void effects() {
        DSound::InitDirectSound(4321);
        a.load("\\Sounds\\fire.wav");
        b.load("\\Sounds\\cock.wav");
        modSound::PlayEffect(a);
        QCOMPARE(DSound::SoundBuffers[0].Status, "playing");
        render(1000);
        modSound::PlayEffect(a);
        QCOMPARE(maxDiff(render(4000), fire), 0.0f);
        modSound::PlayEffect(a);
        render(700);
        modSound::StopEffect(a);
        QCOMPARE(DSound::SoundBuffers[0].Status, "stopped");
        render(300); // a sound still playing would have moved on
        QCOMPARE(buffer(0).GetCurrentPosition(), 0);
        buffer(0).SetCurrentPosition(4 * 500); // bytes of float frames
        buffer(0).Play(0);
        render(10); // faded in from silence, as a start past the beginning is
        QCOMPARE(maxDiff(render(490), fire, 510), 0.0f);
        modSound::SetSoundOn(runtime::False);
        modSound::PlayEffect(b);
        modSound::StopEffect(a);
        QCOMPARE(DSound::SoundBuffers[1].Status, "Stopped");
        modSound::SetSoundOn(1);
        modSound::PlayEffect(b);
        Samples sum = cock;
        for (size_t i = 1000; i < fire.size(); ++i)
            sum[i - 1000] += fire[i];
        QVERIFY(maxDiff(render(2500), sum) < 1e-6f);
    }

    // Records are taken lowest free first, then grow by one; a release silences its sound at
    // once and frees its record; a new device starts with one free record.
    void registryReusesFreedRecords() {
        DSound::InitDirectSound(4321);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(load("fire.wav"), i);
        DSound::PlaySoundBuffer(2);
        DSound::ReleaseSoundBuffer(3);
        DSound::ReleaseSoundBuffer(1);
        QCOMPARE(DSound::SoundBuffers[1].Status, "empty");
        for (int want : {1, 3, 4})
            QCOMPARE(load("cock.wav"), want);
        DSound::ReleaseSoundBuffer(2);
        QCOMPARE(maxDiff(render(100), {}), 0.0f);
        DSound::ReleaseAllSoundBuffers();
        for (int i = 0; i < 6; ++i)
            QCOMPARE(load("cock.wav"), i);
    }

    // Each encoding plays exactly the floats libsndfile reads from it, once, then silence (in
    // stereo a tone's even and odd samples, so that swapped channels differ). Cut short
    // anywhere, or missing, a file raises the runtime's error naming it.
    void everyEncodingPlaysAndEveryBrokenFileRaises() {
        for (int channels : {1, 2})
            for (int format : std::initializer_list<int>{
                     SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_16 | SF_ENDIAN_BIG,
                     SF_FORMAT_PCM_24, SF_FORMAT_PCM_32, SF_FORMAT_FLOAT, SF_FORMAT_IMA_ADPCM,
                     SF_FORMAT_MS_ADPCM}) {
                const Samples read =
                    writeWave("enc.wav", format, channels, tone(4000 * channels, 0.02, 0.3f));
                dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{.channels = channels});
                DSound::InitDirectSound(4321);
                DSound::PlaySoundBuffer(load("enc.wav"));
                const QByteArray what = QByteArray::number(channels) + " channel(s), format " +
                                        QByteArray::number(format, 16);
                QVERIFY2(!read.empty() && maxDiff(render(6000), read) == 0, what);
                QFile file(path("enc.wav"));
                for (qint64 size : {file.size() - 600, file.size() / 2, qint64(20), qint64(0)})
                    QVERIFY2(file.resize(size) && load("enc.wav") < 0 && error.contains("enc.wav"),
                             what + ", cut to " + QByteArray::number(size));
            }
        QVERIFY(load("missing.wav") < 0 && error.contains("missing.wav"));
    }

    // Without a device the player is told and the program ends. A real device stops mixing
    // while nothing plays; a play starts it again at once, and it stops once the last sound
    // has played out, though not while one plays looping.
    void theDevice() {
        dx::test::UseLoopbackDevice(std::nullopt);
        dx::test::OverrideDeviceName("no such device");
        QVERIFY_THROWS_EXCEPTION(runtime::ProgramEnded, DSound::InitDirectSound(4321));
        dx::test::OverrideDeviceName(std::nullopt);
        QCOMPARE(seen, QStringList({"Unable to initialize DirectSound./0", "end 1"}));
        if (qgetenv("ALSOFT_DRIVERS") != "null") QSKIP("needs OpenAL's null driver, as CTest sets");
        DSound::InitDirectSound(4321);
        a.load("\\Sounds\\fire.wav");
        const auto mixing = [] { return dx::test::Mixing(*DSound::SoundDevice); };
        QVERIFY(!mixing());
        modSound::PlayEffect(a);
        QVERIFY(mixing());
        QVERIFY(QTest::qWaitFor([&] { return buffer(0).GetCurrentPosition() > 0; }, 1000));
        QVERIFY(QTest::qWaitFor([&] { return !mixing(); }, 3000));
        buffer(0).Play(dx::DSBPLAY_LOOPING);
        QTest::qWait(1500);
        QVERIFY(mixing());
        modSound::StopEffect(a);
        QVERIFY(QTest::qWaitFor([&] { return !mixing(); }, 3000));
    }
};

QTEST_GUILESS_MAIN(TestSound)
#include "test_sound.moc"
