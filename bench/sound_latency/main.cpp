// bench_sound_latency [trials]: time from PlayEffect to the mixer's first use of the sound,
// through the game's own sound path on OpenAL Soft's null driver (real time, no device queue):
// the buffer's play position is polled until the mixer has consumed its first samples. Two
// series: each play after the device has gone quiet and paused its mixer, and each play while
// another, quieter sound keeps it mixing.
#include "DSound.h"
#include "Sound.h"
#include "dstest.h"
#include "modSound.h"
#include "runtimetest.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <thread>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

// 16-bit mono PCM at 44.1 kHz.
void writeWave(const QString& path, const std::vector<short>& samples) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) std::exit(1);
    const auto le = [&](quint32 v, int n) { f.write(reinterpret_cast<const char*>(&v), n); };
    const quint32 bytes = quint32(samples.size() * 2);
    f.write("RIFF"), le(36 + bytes, 4), f.write("WAVEfmt "), le(16, 4), le(1, 2), le(1, 2);
    le(44100, 4), le(88200, 4), le(2, 2), le(16, 2), f.write("data"), le(bytes, 4);
    f.write(reinterpret_cast<const char*>(samples.data()), bytes);
}

// Waits with the event loop running, as the game's does between ticks.
void idle(Clock::duration d, bool (*done)() = nullptr) {
    const auto until = Clock::now() + d;
    while (Clock::now() < until && !(done && done())) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

bool quiet() {
    return !dx::test::Mixing(*DSound::SoundDevice);
}

} // namespace

int main(int argc, char** argv) {
    setenv("ALSOFT_DRIVERS", "null", 1);
    setenv("ALSOFT_LOGLEVEL", "0", 0);
    QCoreApplication app(argc, argv);
    const int trials = argc > 1 ? std::max(1, std::atoi(argv[1])) : 50;

    // A 1 kHz square wave, a fifth of a second: unmistakable against silence. Beside it a
    // hum too quiet to count as sound, ten seconds long, to keep the mixer busy.
    QTemporaryDir dir;
    std::vector<short> click(8820), hum(441000);
    for (size_t i = 0; i < click.size(); ++i)
        click[i] = (i / 22) % 2 ? 16000 : -16000;
    for (size_t i = 0; i < hum.size(); ++i)
        hum[i] = static_cast<short>(150 * std::sin(2 * M_PI * 220.0 * double(i) / 44100.0));
    writeWave(dir.filePath(QStringLiteral("click.wav")), click);
    writeWave(dir.filePath(QStringLiteral("hum.wav")), hum);
    runtime::SetAppPath(dir.path());
    runtime::SetEndHook([](int) { std::exit(1); });
    DSound::InitDirectSound(1);
    Sound click1, hum1;
    click1.load(QStringLiteral("\\click.wav"));
    hum1.load(QStringLiteral("\\hum.wav"));
    modSound::SetSoundOn(runtime::True);
    auto& buffer = *DSound::SoundBuffers.at(0).Buffer;

    const auto measure = [&](bool afterSilence) {
        std::mt19937 rng(7);
        std::vector<double> latencies;
        for (int t = 0; t < trials; ++t) {
            if (afterSilence) idle(std::chrono::seconds(3), quiet);
            // Land the play at a random point of the mixer's period.
            idle(std::chrono::microseconds(afterSilence ? rng() % 6000 : 20000 + rng() % 30000));
            const auto start = Clock::now();
            modSound::PlayEffect(click1);
            while (buffer.GetCurrentPosition() == 0 &&
                   Clock::now() - start < std::chrono::seconds(2))
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            latencies.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start)
                                    .count());
            modSound::StopEffect(click1);
            idle(std::chrono::milliseconds(60));
        }
        std::sort(latencies.begin(), latencies.end());
        return latencies;
    };
    idle(std::chrono::seconds(3), quiet);
    if (!quiet()) std::printf("the device never paused\n");
    const std::vector<double> afterSilence = measure(true);
    modSound::PlayEffect(hum1);
    const std::vector<double> duringSound = measure(false);
    modSound::StopEffect(hum1);
    for (const auto& [what, got] : {std::pair{"after silence", afterSilence},
                                    std::pair{"during other sounds", duringSound}}) {
        const auto at = [&](double q) { return got[static_cast<size_t>(q * (got.size() - 1))]; };
        std::printf("%s: play-to-output over %zu plays: min %.2f  median %.2f  p90 %.2f  max "
                    "%.2f ms\n",
                    what, got.size(), at(0), at(0.5), at(0.9), at(1));
    }
    return 0;
}
