// Time from PlayEffect to the first sound leaving the mixer, through the game's own sound path.
//
//   bench_sound_latency [--method mix|wave] [--period FRAMES|default] [--trials N]
//
// mix:  on OpenAL Soft's null driver (real time, no device queue), poll the buffer's play
//       position until the mixer has consumed its first samples.
// wave: on OpenAL Soft's wave-writer driver writing into a named pipe, timestamp the bytes as
//       they arrive and find the first non-silent frame. Includes the writer's stdio buffering.
//
// Two series: each play after the device has gone quiet and paused its mixer, and each play
// while another, quieter sound keeps it mixing.
#include "DSound.h"
#include "Sound.h"
#include "modSound.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <random>
#include <sndfile.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

struct Arrivals {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Clock::time_point> onsets; // arrival of each silence-to-sound change
    std::atomic<bool> stop{false};
};

bool readAll(int fd, void* into, size_t n) {
    auto* p = static_cast<char*>(into);
    while (n > 0) {
        const ssize_t got = read(fd, p, n);
        if (got <= 0) return false;
        p += got;
        n -= static_cast<size_t>(got);
    }
    return true;
}

// Reads the wave writer's stream: a RIFF header, then frames in real time.
void readPipe(const std::string& path, Arrivals& arrivals) {
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return;
    char head[12];
    int channels = 2, bits = 16, tag = 1;
    if (!readAll(fd, head, 12)) return;
    for (;;) {
        char chunk[8];
        if (!readAll(fd, chunk, 8)) return;
        uint32_t len;
        std::memcpy(&len, chunk + 4, 4);
        if (std::memcmp(chunk, "data", 4) == 0) break;
        std::vector<char> body(len);
        if (!readAll(fd, body.data(), len)) return;
        if (std::memcmp(chunk, "fmt ", 4) == 0 && len >= 16) {
            uint16_t v;
            std::memcpy(&v, body.data(), 2);
            tag = v;
            std::memcpy(&v, body.data() + 2, 2);
            channels = v;
            std::memcpy(&v, body.data() + 14, 2);
            bits = v;
            if (tag == 0xFFFE && len >= 26) {
                std::memcpy(&v, body.data() + 24, 2);
                tag = v;
            }
        }
    }
    const size_t frameBytes = static_cast<size_t>(channels * bits / 8);
    std::vector<char> pending;
    char buf[65536];
    bool sounding = false;
    while (!arrivals.stop) {
        const ssize_t got = read(fd, buf, sizeof buf);
        if (got <= 0) break;
        const auto now = Clock::now();
        pending.insert(pending.end(), buf, buf + got);
        size_t used = 0;
        for (; used + frameBytes <= pending.size(); used += frameBytes) {
            double level = 0;
            const char* f = pending.data() + used;
            if (tag == 3 && bits == 32) {
                float v;
                std::memcpy(&v, f, 4);
                level = std::fabs(v);
            } else if (bits == 16) {
                int16_t v;
                std::memcpy(&v, f, 2);
                level = std::abs(v) / 32768.0;
            } else if (bits == 8) {
                level = std::abs(static_cast<unsigned char>(f[0]) - 128) / 128.0;
            } else if (bits == 32) {
                int32_t v;
                std::memcpy(&v, f, 4);
                level = std::fabs(v / 2147483648.0);
            }
            const bool loud = level > 0.01;
            if (loud && !sounding) {
                std::lock_guard g(arrivals.lock);
                arrivals.onsets.push_back(now);
                arrivals.changed.notify_all();
            }
            sounding = loud;
        }
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(used));
    }
    close(fd);
}

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

} // namespace

int main(int argc, char** argv) {
    std::string method = "mix";
    int period = 0, trials = 50;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string key = argv[i], value = argv[i + 1];
        if (key == "--method")
            method = value;
        else if (key == "--period")
            period = value == "default" ? -1 : std::stoi(value);
        else if (key == "--trials")
            trials = std::stoi(value);
    }
    QTemporaryDir dir;
    const std::string fifo =
        QFile::encodeName(dir.filePath(QStringLiteral("out.wav"))).toStdString();
    if (method == "wave") {
        mkfifo(fifo.c_str(), 0600);
        const QString conf = dir.filePath(QStringLiteral("alsoft.conf"));
        QFile f(conf);
        if (!f.open(QIODevice::WriteOnly)) return 1;
        // The layer leaves a configuration of the user's alone, so this one carries its periods.
        std::string text = "[general]\ndrivers=wave\n";
        if (period >= 0)
            text += "period_size=" + std::to_string(period > 0 ? period : dx::kPeriodFrames) +
                    "\nperiods=" + std::to_string(dx::kPeriods) + "\n";
        f.write((text + "[wave]\nfile=" + fifo + "\n").c_str());
        f.close();
        setenv("ALSOFT_CONF", QFile::encodeName(conf).constData(), 1);
        setenv("ALSOFT_DRIVERS", "wave", 1);
    } else {
        setenv("ALSOFT_DRIVERS", "null", 1);
    }
    setenv("ALSOFT_LOGLEVEL", "0", 0);
    QCoreApplication app(argc, argv);

    // A 1 kHz square wave, a fifth of a second: unmistakable against silence. Beside it a
    // hum too quiet to count as sound, ten seconds long, to keep the mixer busy.
    const auto writeWave = [&](const char* name, const std::vector<short>& samples) {
        SF_INFO info{};
        info.channels = 1;
        info.samplerate = 44100;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        SNDFILE* out = sf_open(QFile::encodeName(dir.filePath(QLatin1String(name))).constData(),
                               SFM_WRITE, &info);
        sf_write_short(out, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(out);
    };
    std::vector<short> click(8820), hum(441000);
    for (size_t i = 0; i < click.size(); ++i)
        click[i] = (i / 22) % 2 ? 16000 : -16000;
    for (size_t i = 0; i < hum.size(); ++i)
        hum[i] = static_cast<short>(150 * std::sin(2 * M_PI * 220.0 * double(i) / 44100.0));
    writeWave("click.wav", click);
    writeWave("hum.wav", hum);
    runtime::SetAppPath(dir.path());
    runtime::SetMsgBoxHook(
        [](const QString& p, int) { std::fprintf(stderr, "%s\n", qPrintable(p)); });
    runtime::SetEndHook([](int) { std::exit(1); });

    Arrivals arrivals;
    std::thread reader;
    if (method == "wave") reader = std::thread(readPipe, fifo, std::ref(arrivals));
    dx::SetDevicePeriod(period);
    DSound::InitDirectSound(1);
    Sound click1, hum1;
    click1.load(QStringLiteral("\\click.wav"));
    hum1.load(QStringLiteral("\\hum.wav"));
    modSound::SetSoundOn(runtime::True);
    // Made by the time a player can shoot: the game has it made once its window shows.
    DSound::SoundDevice->MakeReady();
    auto& buffer = *DSound::SoundBuffers.at(0).Buffer;

    // Waits with the event loop running, as the game's does between ticks.
    const auto idle = [](Clock::duration d, const std::function<bool()>& done = {}) {
        const auto until = Clock::now() + d;
        while (Clock::now() < until && !(done && done())) {
            QCoreApplication::processEvents();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    };
    const auto measure = [&](bool afterSilence) {
        std::mt19937 rng(7);
        std::vector<double> latencies;
        for (int t = 0; t < trials; ++t) {
            if (afterSilence)
                idle(std::chrono::seconds(3), [] { return !DSound::SoundDevice->mixing(); });
            // Land the play at a random point of the mixer's period.
            idle(std::chrono::microseconds(afterSilence ? rng() % 6000 : 20000 + rng() % 30000));
            size_t seen = 0;
            {
                std::lock_guard g(arrivals.lock);
                seen = arrivals.onsets.size();
            }
            const auto start = Clock::now();
            modSound::PlayEffect(click1);
            Clock::time_point heard;
            if (method == "wave") {
                std::unique_lock g(arrivals.lock);
                if (!arrivals.changed.wait_for(g, std::chrono::seconds(2),
                                               [&] { return arrivals.onsets.size() > seen; }))
                    continue;
                heard = arrivals.onsets[seen];
            } else {
                while (buffer.GetCurrentPosition() == 0 &&
                       Clock::now() - start < std::chrono::seconds(2))
                    std::this_thread::sleep_for(std::chrono::microseconds(50));
                heard = Clock::now();
            }
            latencies.push_back(ms(heard - start));
            modSound::StopEffect(click1);
            idle(std::chrono::milliseconds(60));
        }
        return latencies;
    };
    // Not every device pauses (OpenAL's wave writer never does).
    idle(std::chrono::seconds(3), [] { return !DSound::SoundDevice->mixing(); });
    const bool pauses = !DSound::SoundDevice->mixing();
    const std::vector<double> afterSilence = pauses ? measure(true) : std::vector<double>{};
    modSound::PlayEffect(hum1);
    const std::vector<double> duringSound = measure(false);
    modSound::StopEffect(hum1);

    const int rate = DSound::SoundDevice->sampleRate();
    const int hz = DSound::SoundDevice->mixerRefresh();
    DSound::ReleaseAllSoundBuffers();
    DSound::SoundDevice.reset();
    arrivals.stop = true;
    if (reader.joinable()) reader.join();

    std::printf("method %s, device %d Hz, mixer %d updates/s (%d frames, %.1f ms)\n",
                method.c_str(), rate, hz, hz ? rate / hz : 0, hz ? 1000.0 / hz : 0.0);
    bool heardAll = true;
    for (const auto& series : {std::pair{"after silence", afterSilence},
                               std::pair{"during other sounds", duringSound}}) {
        const char* what = series.first;
        std::vector<double> got = series.second;
        std::sort(got.begin(), got.end());
        if (got.empty() && what == std::string("after silence") && !pauses) {
            std::printf("%s: not measured, the device never paused\n", what);
            continue;
        }
        if (got.empty()) {
            std::printf("%s: no sound detected\n", what);
            heardAll = false;
            continue;
        }
        auto at = [&](double q) { return got[static_cast<size_t>(q * (got.size() - 1))]; };
        std::printf("%s: play-to-output over %zu plays: min %.2f  median %.2f  p90 %.2f  max "
                    "%.2f ms\n",
                    what, got.size(), at(0), at(0.5), at(0.9), at(1));
    }
    return heardAll ? 0 : 1;
}
