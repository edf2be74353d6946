// WAV files as the sound layer decodes them into a buffer's samples: any bytes as a .wav.

#include "FuzzFile.h"
#include "wavfile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("sound.wav", data, size);
    dx::DecodedWave w;
    if (!fuzz::Accepted([&] { w = dx::DecodeWaveFile(path); })) return 0;
    fuzz::Require((w.channels == 1 || w.channels == 2) && w.sampleRate > 0 && w.frames() > 0 &&
                  (w.samples.empty() || w.pcm16.empty()) &&
                  (w.samples.size() + w.pcm16.size()) % w.channels == 0);
    return 0;
}
