#pragma once
// WAV files decoded whole into samples, as the sound buffers hold them.

#include <QString>
#include <cstdint>
#include <vector>

namespace dx {

struct DecodedWave {
    int channels = 0;
    int sampleRate = 0;
    // Interleaved, frames × channels, in one of the two: files of 8 or 16 bits keep 16-bit
    // samples, which the device turns into exactly the floats libsndfile would give, at half
    // the memory; every other encoding is read as floats.
    std::vector<std::int16_t> pcm16;
    std::vector<float> samples;

    std::size_t frames() const {
        return (pcm16.empty() ? samples.size() : pcm16.size()) / std::size_t(channels);
    }
};

// Raises runtime::RuntimeError naming the file when it is missing, not a WAV file of one or two
// channels, holds no sound, or is cut short of what its header declares.
DecodedWave DecodeWaveFile(const QString& fileName);

} // namespace dx
