#pragma once
// Sounds written by the tests themselves, and comparisons of rendered samples.

#include <QFile>
#include <QString>
#include <cmath>
#include <numbers>
#include <sndfile.h>
#include <stdexcept>
#include <vector>

namespace soundtest {

// Interleaved float samples written through libsndfile in the given WAV encoding.
inline void writeWave(const QString& path, int format, int channels, int rate,
                      const std::vector<float>& samples) {
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = rate;
    info.format = format;
    SNDFILE* f = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error(sf_strerror(nullptr));
    const sf_count_t frames = static_cast<sf_count_t>(samples.size()) / channels;
    const sf_count_t written = sf_writef_float(f, samples.data(), frames);
    sf_close(f);
    if (written != frames) throw std::runtime_error("short write");
}

inline std::vector<float> tone(int frames, double cyclesPerFrame, float level, double phase = 0) {
    std::vector<float> s(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
        s[static_cast<size_t>(i)] =
            level * static_cast<float>(std::sin(2 * std::numbers::pi * cyclesPerFrame * i + phase));
    return s;
}

inline float peak(const std::vector<float>& s, size_t from = 0, size_t to = SIZE_MAX) {
    float p = 0;
    for (size_t i = from; i < std::min(to, s.size()); ++i)
        p = std::max(p, std::fabs(s[i]));
    return p;
}

// Largest difference between got[offset + i] and want[i] over want's length.
inline float maxDiff(const std::vector<float>& got, size_t offset, const std::vector<float>& want) {
    float d = 0;
    for (size_t i = 0; i < want.size(); ++i) {
        const float g = offset + i < got.size() ? got[offset + i] : 0.0f;
        d = std::max(d, std::fabs(g - want[i]));
    }
    return d;
}

inline double rms(const std::vector<float>& s) {
    double sum = 0;
    for (float v : s)
        sum += double(v) * v;
    return s.empty() ? 0 : std::sqrt(sum / double(s.size()));
}

// Frames between the first and the last sample louder than the threshold.
inline int audibleSpan(const std::vector<float>& s, float threshold = 1e-3f) {
    int first = -1, last = -1;
    for (size_t i = 0; i < s.size(); ++i)
        if (std::fabs(s[i]) > threshold) {
            if (first < 0) first = static_cast<int>(i);
            last = static_cast<int>(i);
        }
    return first < 0 ? 0 : last - first + 1;
}

} // namespace soundtest
