#include "DSound.h"
#include "Sound.h"
#include "modSound.h"
#include "soundtestutil.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace soundtest;
using runtime::False;
using runtime::True;

namespace {
constexpr int kRate = 22050;

struct Box {
    QString prompt;
    int style;
};
} // namespace

class TestSound : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    std::vector<float> fire = tone(3000, 0.011, 0.3f), cock = tone(2000, 0.029, 0.2f);
    std::vector<Box> boxes;
    int ends = 0;

    std::vector<float> render(int frames) { return DSound::SoundDevice->RenderLoopback(frames); }
    runtime::Integer load(const QString& name) {
        return DSound::LoadSoundBuffer(name, True, False, False, False, False, False, False,
                                       nullptr);
    }
    // The registry's own view of a record, for checks of its bookkeeping.
    const DSound::SoundBufferRecord& rec(int i) { return DSound::SoundBuffers.at(size_t(i)); }

  private slots:
    void initTestCase() {
        QVERIFY(dir.isValid());
        QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("app/Sounds")));
        runtime::SetAppPath(dir.filePath(QStringLiteral("app")));
        writeWave(dir.filePath("app/Sounds/fire.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, kRate,
                  fire);
        writeWave(dir.filePath("app/Sounds/cock.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, kRate,
                  cock);
        runtime::SetMsgBoxHook([this](const QString& p, int s) { boxes.push_back({p, s}); });
        runtime::SetEndHook([this] { ++ends; });
    }

    void init() {
        boxes.clear();
        ends = 0;
        dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{kRate, 1});
        DSound::InitDirectSound(4321);
        QVERIFY(boxes.empty());
        modSound::SetSoundOn(True);
    }
    void cleanup() {
        dx::test::UseLoopbackDevice(std::nullopt);
        dx::test::OverrideDeviceName(std::nullopt);
    }

    void playedSoundComesOutOnceAndRestarts() {
        Sound s;
        s.load(QStringLiteral("\\Sounds\\fire.wav"));
        QCOMPARE(peak(render(200)), 0.0f);
        modSound::PlayEffect(s);
        auto got = render(1000);
        QCOMPARE(maxDiff(got, 0, std::vector<float>(fire.begin(), fire.begin() + 1000)), 0.0f);
        // Again while it plays: from the start, not a second voice on top.
        modSound::PlayEffect(s);
        got = render(4000);
        QCOMPARE(maxDiff(got, 0, fire), 0.0f);
        QCOMPARE(peak(got, fire.size()), 0.0f);
    }

    void differentSoundsOverlapAsTheirSum() {
        Sound a, b;
        a.load(QStringLiteral("\\Sounds\\fire.wav"));
        b.load(QStringLiteral("\\Sounds\\cock.wav"));
        modSound::PlayEffect(a);
        render(500);
        modSound::PlayEffect(b);
        const auto got = render(2000);
        std::vector<float> sum(2000);
        for (size_t i = 0; i < sum.size(); ++i)
            sum[i] = fire[500 + i] + cock[i];
        QVERIFY(maxDiff(got, 0, sum) < 1e-6f);
    }

    void stopSilencesAndRewinds() {
        Sound s;
        s.load(QStringLiteral("\\Sounds\\fire.wav"));
        modSound::PlayEffect(s);
        render(700);
        modSound::StopEffect(s);
        QCOMPARE(rec(0).Status, QStringLiteral("stopped"));
        QCOMPARE(rec(0).Buffer->GetCurrentPosition(), dx::Long(0));
        QCOMPARE(peak(render(300)), 0.0f);
        modSound::PlayEffect(s);
        QCOMPARE(render(1)[0], fire[0]);
        // Stopping one that is not playing still rewinds it.
        modSound::StopEffect(s);
        modSound::StopEffect(s);
        QCOMPARE(rec(0).Status, QStringLiteral("stopped"));
    }

    void switchOffTouchesNothing() {
        Sound a, b;
        a.load(QStringLiteral("\\Sounds\\fire.wav"));
        b.load(QStringLiteral("\\Sounds\\cock.wav"));
        modSound::PlayEffect(a);
        render(1000);
        modSound::SetSoundOn(False);
        modSound::PlayEffect(b);
        modSound::StopEffect(a);
        QCOMPARE(rec(0).Status, QStringLiteral("playing"));
        QCOMPARE(rec(1).Status, QStringLiteral("Stopped"));
        // The one already playing plays on to its end, alone.
        const auto got = render(2500);
        QCOMPARE(maxDiff(got, 0, std::vector<float>(fire.begin() + 1000, fire.end())), 0.0f);
        QCOMPARE(peak(got, 2000), 0.0f);
        // Any value other than 0 is on.
        modSound::SetSoundOn(1);
        modSound::PlayEffect(b);
        QCOMPARE(render(1)[0], cock[0]);
    }

    void registryIndicesStatusesAndRelease() {
        QCOMPARE(DSound::SoundBuffers.size(), size_t(1));
        QCOMPARE(rec(0).Status, QStringLiteral("empty"));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(load(QStringLiteral("\\Sounds\\fire.wav")), i);
        QCOMPARE(rec(2).Status, QStringLiteral("Stopped"));
        QCOMPARE(rec(2).Name, QStringLiteral("\\Sounds\\fire.wav"));
        DSound::PlaySoundBuffer(2);
        QCOMPARE(rec(2).Status, QStringLiteral("playing"));
        DSound::ReleaseSoundBuffer(3);
        DSound::ReleaseSoundBuffer(1);
        QCOMPARE(rec(1).Status, QStringLiteral("empty"));
        QVERIFY(!rec(1).Buffer);
        QCOMPARE(rec(1).Name, QString());
        // Lowest free first, then the next free, then growth.
        QCOMPARE(load(QStringLiteral("\\Sounds\\cock.wav")), 1);
        QCOMPARE(load(QStringLiteral("\\Sounds\\cock.wav")), 3);
        QCOMPARE(load(QStringLiteral("\\Sounds\\cock.wav")), 4);
        // A released sound falls silent even while playing, with no stop first.
        DSound::ReleaseSoundBuffer(2);
        QCOMPARE(peak(render(100)), 0.0f);
        // Empty records: play and stop change nothing.
        DSound::PlaySoundBuffer(2);
        DSound::StopSoundBuffer(2);
        QCOMPARE(rec(2).Status, QStringLiteral("empty"));
        QCOMPARE(peak(render(100)), 0.0f);
        DSound::ReleaseAllSoundBuffers();
        QCOMPARE(DSound::SoundBuffers.size(), size_t(5));
        for (const auto& r : DSound::SoundBuffers) {
            QCOMPARE(r.IsEmpty, True);
            QCOMPARE(r.Status, QStringLiteral("empty"));
            QVERIFY(!r.Buffer);
        }
        QCOMPARE(load(QStringLiteral("\\Sounds\\cock.wav")), 0);
        for (int bad : {-1, 5, 32767}) {
            try {
                DSound::PlaySoundBuffer(static_cast<runtime::Integer>(bad));
                QFAIL("no error");
            } catch (const runtime::RuntimeError& e) {
                QCOMPARE(e.number(), runtime::ErrSubscript);
                QCOMPARE(e.description(), QStringLiteral("Subscript out of range"));
            }
            QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, DSound::StopSoundBuffer(bad));
            QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, DSound::ReleaseSoundBuffer(bad));
        }
    }

    void nameIsJoinedWithoutASeparator() {
        // "app" + "x.wav" names a file beside the program's directory, not inside it.
        writeWave(dir.filePath("appx.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, kRate, cock);
        const auto i = load(QStringLiteral("x.wav"));
        DSound::PlaySoundBuffer(i);
        QVERIFY(peak(render(100)) > 0.1f);
    }

    void optionsCountOnlyWhenExactlyTrue() {
        QObject owner;
        const auto i = DSound::LoadSoundBuffer(QStringLiteral("\\Sounds\\fire.wav"), True, False,
                                               True, False, False, False, False, &owner);
        QVERIFY(rec(i).EventId != 0);
        const auto j = DSound::LoadSoundBuffer(QStringLiteral("\\Sounds\\fire.wav"), True, False, 1,
                                               False, False, False, 1, &owner);
        QCOMPARE(rec(j).EventId, runtime::Long(0));
        // Looping 1 is not False: it repeats.
        DSound::PlaySoundBuffer(j);
        QVERIFY(peak(render(int(fire.size()) + 500), fire.size()) > 0.1f);
        DSound::ReleaseSoundBuffer(i);
        QCOMPARE(rec(i).EventId, runtime::Long(0));
        // Neither file nor resource: the record is taken but holds no sound.
        const auto k = DSound::LoadSoundBuffer(QStringLiteral("\\Sounds\\fire.wav"), 1, False,
                                               False, False, False, False, False, nullptr);
        QVERIFY(!rec(k).Buffer);
        QCOMPARE(rec(k).Status, QStringLiteral("Stopped"));
    }

    void failedLoadRaisesAndKeepsTheRecordTaken() {
        for (const char* name : {"\\Sounds\\missing.wav", "\\Sounds\\bad.wav"}) {
            QFile bad(dir.filePath("app/Sounds/bad.wav"));
            QVERIFY(bad.open(QIODevice::WriteOnly));
            bad.write("RIFF\x10\0\0\0WAVEjunkjunkjunk", 20);
            bad.close();
            Sound s;
            try {
                s.load(QString::fromLatin1(name));
                QFAIL("no error");
            } catch (const runtime::RuntimeError& e) {
                QVERIFY2(e.description().contains(QString::fromLatin1(name).mid(8)), name);
            }
        }
        QCOMPARE(rec(0).Status, QStringLiteral("Stopped"));
        QCOMPARE(rec(0).IsEmpty, False);
        QCOMPARE(load(QStringLiteral("\\Sounds\\fire.wav")), 2);
        // Using a record that never got its sound is an error, not a crash.
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError, DSound::PlaySoundBuffer(0));
        QVERIFY_THROWS_EXCEPTION(runtime::RuntimeError,
                                 DSound::LoadSoundBuffer(QStringLiteral("GUNFIRE"), False, True,
                                                         False, False, False, False, False,
                                                         nullptr));
    }

    void noDeviceReportsAndEnds_data() {
        QTest::addColumn<QString>("deviceName");
        QTest::addColumn<int>("hWnd");
        QTest::newRow("no device") << QStringLiteral("no such device") << 4321;
        QTest::newRow("no window") << QString() << 0;
    }
    void noDeviceReportsAndEnds() {
        QFETCH(QString, deviceName);
        QFETCH(int, hWnd);
        dx::test::UseLoopbackDevice(std::nullopt);
        if (!deviceName.isEmpty())
            dx::test::OverrideDeviceName(deviceName.toStdString());
        else if (qgetenv("ALSOFT_DRIVERS") != "null")
            QSKIP("needs ALSOFT_DRIVERS=null");
        boxes.clear();
        bool after = false;
        QVERIFY_THROWS_EXCEPTION(runtime::ProgramEnded, [&] {
            DSound::InitDirectSound(hWnd);
            after = true;
        }());
        QVERIFY(!after);
        QCOMPARE(boxes.size(), size_t(1));
        QCOMPARE(boxes[0].prompt, QStringLiteral("Unable to initialize DirectSound."));
        QCOMPARE(boxes[0].style, 0);
        QCOMPARE(ends, 1);
    }

    // Runs this program again with OpenAL pointed at a driver that does not exist.
    void noDriverAtAllReportsAndEnds() {
        if (qEnvironmentVariableIsSet("SOUND_TEST_CHILD")) {
            dx::test::UseLoopbackDevice(std::nullopt);
            try {
                DSound::InitDirectSound(4321);
            } catch (const runtime::ProgramEnded&) {
                for (const auto& b : boxes)
                    printf("box:%s:%d\n", qPrintable(b.prompt), b.style);
                printf("ends:%d\n", ends);
                fflush(stdout);
            }
            return;
        }
        QProcess child;
        auto env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("ALSOFT_DRIVERS"), QStringLiteral("no_such_driver"));
        env.insert(QStringLiteral("SOUND_TEST_CHILD"), QStringLiteral("1"));
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("noDriverAtAllReportsAndEnds")});
        QVERIFY(child.waitForFinished(30000));
        const QString out = QString::fromUtf8(child.readAllStandardOutput());
        QVERIFY2(out.contains(QStringLiteral("box:Unable to initialize DirectSound.:0\nends:1\n")),
                 qPrintable(out));
    }
};

QTEST_GUILESS_MAIN(TestSound)
#include "test_sound.moc"
