// WAV files as the sound layer decodes them into a buffer's samples: any bytes as a .wav.

#include "FuzzFile.h"
#include "wavfile.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::Start();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("sound.wav", data, size);
    dx::DecodedWave wave;
    try {
        wave = dx::DecodeWaveFile(path);
    } catch (const runtime::RuntimeError&) {
        return 0; // refused: the program reports it and ends
    }
    // What a sound buffer is then made from.
    fuzz::Require(wave.channels == 1 || wave.channels == 2);
    fuzz::Require(wave.sampleRate > 0);
    fuzz::Require(!wave.samples.empty() && wave.samples.size() % wave.channels == 0);
    return 0;
}
