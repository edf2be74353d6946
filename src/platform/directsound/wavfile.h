#pragma once
// WAV files decoded whole into float samples, as the sound buffers hold them.

#include <QString>
#include <vector>

namespace dx {

struct DecodedWave {
    int channels = 0;
    int sampleRate = 0;
    std::vector<float> samples; // interleaved, frames × channels
};

// Raises runtime::RuntimeError naming the file when it is missing, not a WAV file of one or two
// channels, holds no sound, or is cut short of what its header declares.
DecodedWave DecodeWaveFile(const QString& fileName);

} // namespace dx
