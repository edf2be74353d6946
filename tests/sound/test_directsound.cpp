#include "directsound.h"
#include "soundtestutil.h"

#include <QTemporaryDir>
#include <QTest>

using namespace soundtest;

namespace {

constexpr int kRate = 22050;

struct Opened {
    dx::DirectX7 root;
    std::shared_ptr<dx::DirectSound> device;
};

std::unique_ptr<Opened> openLoopback(int channels = 1) {
    dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{kRate, channels});
    auto o = std::make_unique<Opened>();
    o->device = o->root.DirectSoundCreate(QString());
    o->device->SetCooperativeLevel(1234, dx::DSSCL_PRIORITY);
    return o;
}

std::shared_ptr<dx::DirectSoundBuffer> make(dx::DirectSound& device, const QString& path,
                                            dx::Long flags = 0) {
    dx::DSBUFFERDESC desc;
    desc.lFlags = flags;
    dx::WAVEFORMATEX format;
    return device.CreateSoundBufferFromFile(path, desc, format);
}

class StopCatcher : public QObject {
  public:
    std::vector<dx::Long> seen;
    bool event(QEvent* e) override {
        if (e->type() == dx::DirectXEvent::eventType()) {
            seen.push_back(static_cast<dx::DirectXEvent*>(e)->eventId());
            return true;
        }
        return QObject::event(e);
    }
};

} // namespace

class TestDirectSound : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QString path(const QString& name) { return dir.filePath(name); }

  private slots:
    void cleanup() {
        dx::test::UseLoopbackDevice(std::nullopt);
        dx::test::OverrideDeviceName(std::nullopt);
    }

    void everyEncodingDecodesToItsSamples_data() {
        QTest::addColumn<int>("format");
        QTest::addColumn<float>("tolerance");
        QTest::newRow("pcm u8") << (SF_FORMAT_WAV | SF_FORMAT_PCM_U8) << 1.0f / 64;
        QTest::newRow("pcm 16") << (SF_FORMAT_WAV | SF_FORMAT_PCM_16) << 1.0f / 16384;
        QTest::newRow("pcm 24") << (SF_FORMAT_WAV | SF_FORMAT_PCM_24) << 1e-6f;
        QTest::newRow("pcm 32") << (SF_FORMAT_WAV | SF_FORMAT_PCM_32) << 1e-6f;
        QTest::newRow("float") << (SF_FORMAT_WAV | SF_FORMAT_FLOAT) << 0.0f;
        QTest::newRow("ima adpcm") << (SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM) << -1.0f;
        QTest::newRow("ms adpcm") << (SF_FORMAT_WAV | SF_FORMAT_MS_ADPCM) << -1.0f;
    }
    void everyEncodingDecodesToItsSamples() {
        QFETCH(int, format);
        QFETCH(float, tolerance);
        // A quiet tone: read as integers without scaling, a float file would come out silent.
        const auto want = tone(4000, 441.0 / kRate, 0.3f);
        writeWave(path("enc.wav"), format, 1, kRate, want);
        auto o = openLoopback();
        auto buffer = make(*o->device, path("enc.wav"));
        // ADPCM pads its last block with silence.
        QVERIFY(buffer->bufferBytes() >= dx::Long(4000 * 4));
        QVERIFY(buffer->bufferBytes() <= dx::Long((4000 + 1017) * 4));
        if (tolerance >= 0) QCOMPARE(buffer->bufferBytes(), dx::Long(4000 * 4));
        buffer->Play(dx::DSBPLAY_DEFAULT);
        const auto got = o->device->RenderLoopback(6000);
        if (tolerance >= 0) {
            QVERIFY2(maxDiff(got, 0, want) <= tolerance,
                     qPrintable(QString::number(maxDiff(got, 0, want))));
        } else {
            // ADPCM is lossy: the error stays small against the tone.
            std::vector<float> diff(want.size());
            for (size_t i = 0; i < want.size(); ++i)
                diff[i] = got[i] - want[i];
            QVERIFY(rms(diff) < 0.1 * rms(want));
        }
        QCOMPARE(peak(got, static_cast<size_t>(buffer->bufferBytes() / 4)), 0.0f);
    }

    void stereoChannelsKeepTheirSides() {
        std::vector<float> left = tone(3000, 0.01, 0.5f), right = tone(3000, 0.037, 0.2f);
        std::vector<float> both;
        for (size_t i = 0; i < left.size(); ++i)
            both.insert(both.end(), {left[i], right[i]});
        for (int format : {SF_FORMAT_PCM_16, SF_FORMAT_MS_ADPCM}) {
            writeWave(path("st.wav"), SF_FORMAT_WAV | format, 2, kRate, both);
            auto o = openLoopback(2);
            auto buffer = make(*o->device, path("st.wav"));
            buffer->Play(0);
            const auto got = o->device->RenderLoopback(3000);
            std::vector<float> gotLeft, gotRight;
            for (size_t i = 0; i + 1 < got.size(); i += 2) {
                gotLeft.push_back(got[i]);
                gotRight.push_back(got[i + 1]);
            }
            const float tol = format == SF_FORMAT_PCM_16 ? 1e-4f : 0.08f;
            QVERIFY(maxDiff(gotLeft, 0, left) < tol);
            QVERIFY(maxDiff(gotRight, 0, right) < tol);
        }
    }

    void otherRatesKeepDurationAndPitch_data() {
        QTest::addColumn<int>("rate");
        QTest::newRow("11025") << 11025;
        QTest::newRow("44100") << 44100;
        QTest::newRow("48000") << 48000;
    }
    void otherRatesKeepDurationAndPitch() {
        QFETCH(int, rate);
        const int frames = rate / 10; // a tenth of a second at 500 Hz
        writeWave(path("rate.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, rate,
                  tone(frames, 500.0 / rate, 0.5f));
        auto o = openLoopback();
        auto buffer = make(*o->device, path("rate.wav"));
        buffer->Play(0);
        const auto got = o->device->RenderLoopback(kRate / 5);
        QVERIFY(std::abs(audibleSpan(got) - kRate / 10) < 40);
        // Half-cycles, counted with hysteresis so that samples near zero do not count twice.
        int crossings = 0, side = 0;
        for (float v : got)
            if (std::fabs(v) > 0.1f && (v > 0 ? 1 : -1) != side) {
                crossings += side != 0;
                side = v > 0 ? 1 : -1;
            }
        QVERIFY2(std::abs(crossings - 99) <= 1, qPrintable(QString::number(crossings)));
    }

    void playFromPositionStopKeepsItRewindRestarts() {
        const auto want = tone(6000, 0.013, 0.4f);
        writeWave(path("p.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, kRate, want);
        auto o = openLoopback();
        auto buffer = make(*o->device, path("p.wav"));
        buffer->Play(0);
        o->device->RenderLoopback(1000);
        QCOMPARE(buffer->GetStatus(), dx::DSBSTATUS_PLAYING);
        // Play on a playing buffer goes on where it is.
        buffer->Play(0);
        auto got = o->device->RenderLoopback(500);
        QCOMPARE(got[0], want[1000]);
        buffer->Stop();
        QCOMPARE(buffer->GetStatus(), dx::Long(0));
        QCOMPARE(buffer->GetCurrentPosition(), dx::Long(1500 * 4));
        QCOMPARE(peak(o->device->RenderLoopback(500)), 0.0f);
        buffer->Play(0);
        got = o->device->RenderLoopback(100);
        QCOMPARE(got[0], want[1500]);
        buffer->Stop();
        buffer->SetCurrentPosition(0);
        QCOMPARE(buffer->GetCurrentPosition(), dx::Long(0));
        buffer->Play(0);
        got = o->device->RenderLoopback(100);
        QCOMPARE(got[0], want[0]);
        QCOMPARE(got[99], want[99]);
        // Jumping while playing.
        buffer->SetCurrentPosition(3000 * 4);
        got = o->device->RenderLoopback(10);
        QCOMPARE(got[0], want[3000]);
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, buffer->SetCurrentPosition(6000 * 4));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, buffer->SetCurrentPosition(-4));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, buffer->Play(2));
    }

    void loopingRepeatsUntilStopped() {
        const auto want = tone(1000, 0.01, 0.4f);
        writeWave(path("l.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, kRate, want);
        auto o = openLoopback();
        auto buffer = make(*o->device, path("l.wav"));
        buffer->Play(dx::DSBPLAY_LOOPING);
        QCOMPARE(buffer->GetStatus(), dx::DSBSTATUS_PLAYING | dx::DSBSTATUS_LOOPING);
        const auto got = o->device->RenderLoopback(2500);
        QCOMPARE(maxDiff(got, 2000, std::vector<float>(want.begin(), want.begin() + 500)), 0.0f);
        buffer->Stop();
        QCOMPARE(peak(o->device->RenderLoopback(100)), 0.0f);
    }

    void stopEventReachesItsOwner() {
        writeWave(path("n.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, kRate, tone(500, 0.01, 0.4f));
        auto o = openLoopback();
        StopCatcher owner;
        const dx::Long id = o->root.CreateEvent(&owner);
        QVERIFY(id != 0);
        auto plain = make(*o->device, path("n.wav"));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError,
                                 plain->SetNotificationPositions(1, {{dx::DSBPN_OFFSETSTOP, id}}));
        auto buffer = make(*o->device, path("n.wav"), dx::DSBCAPS_CTRLPOSITIONNOTIFY);
        buffer->SetNotificationPositions(1, {{dx::DSBPN_OFFSETSTOP, id}});
        buffer->Play(0);
        buffer->Stop();
        QCoreApplication::sendPostedEvents();
        QCOMPARE(owner.seen, std::vector<dx::Long>{id});
        buffer->Play(0);
        o->device->RenderLoopback(1000); // past its end
        QTRY_COMPARE(owner.seen.size(), size_t(2));
        o->root.DestroyEvent(id);
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, o->root.DestroyEvent(id));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, o->root.CreateEvent(nullptr));
    }

    void badFilesRaiseErrorsNamingTheFile() {
        const auto good = tone(4000, 0.01, 0.4f);
        writeWave(path("good.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, kRate, good);
        QFile in(path("good.wav"));
        QVERIFY(in.open(QIODevice::ReadOnly));
        const QByteArray bytes = in.readAll();
        auto put = [&](const QString& name, const QByteArray& data) {
            QFile f(path(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(data);
        };
        put("cut.wav", bytes.left(bytes.size() / 2));
        put("cuthead.wav", bytes.left(20));
        put("garbage.wav", QByteArray(3000, 'x'));
        put("empty.wav", QByteArray());
        writeWave(path("nodata.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, kRate, {});
        writeWave(path("three.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 3, kRate,
                  std::vector<float>(300, 0.1f));
        writeWave(path("adpcmcut.wav"), SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM, 1, kRate, good);
        QFile adpcm(path("adpcmcut.wav"));
        QVERIFY(adpcm.resize(adpcm.size() - 600));
        QDir(dir.path()).mkdir(QStringLiteral("folder.wav"));

        auto o = openLoopback();
        for (const char* name :
             {"missing.wav", "cut.wav", "cuthead.wav", "garbage.wav", "empty.wav", "nodata.wav",
              "three.wav", "adpcmcut.wav", "folder.wav"}) {
            try {
                make(*o->device, path(QString::fromLatin1(name)));
                QFAIL(name);
            } catch (const runtime::RuntimeError& e) {
                QVERIFY2(e.description().contains(QString::fromLatin1(name)), name);
            }
        }
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, [&] {
            dx::DSBUFFERDESC d;
            dx::WAVEFORMATEX f;
            o->device->CreateSoundBufferFromResource("", "GUNFIRE", d, f);
        }());
        // The device still works after all that.
        auto buffer = make(*o->device, path("good.wav"));
        buffer->Play(0);
        QVERIFY(peak(o->device->RenderLoopback(100)) > 0.0f);
    }

    void missingDeviceFailsCleanly() {
        dx::test::OverrideDeviceName(std::string("no such sound device"));
        dx::DirectX7 root;
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, root.DirectSoundCreate(QString()));
        dx::test::OverrideDeviceName(std::nullopt);
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError,
                                 root.DirectSoundCreate(QStringLiteral("{x}")));
        // The null driver the tests run with is a working real-time device.
        if (qgetenv("ALSOFT_DRIVERS") != "null") QSKIP("needs ALSOFT_DRIVERS=null");
        auto device = root.DirectSoundCreate(QString());
        QVERIFY(!device->isLoopback());
        // Short mixing periods keep a shot's sound close to the click.
        QVERIFY(device->mixerRefresh() >= device->sampleRate() / dx::kPeriodFrames);
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, device->SetCooperativeLevel(0, 2));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, device->SetCooperativeLevel(5, 9));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, device->RenderLoopback(10));
    }
};

QTEST_GUILESS_MAIN(TestDirectSound)
#include "test_directsound.moc"
