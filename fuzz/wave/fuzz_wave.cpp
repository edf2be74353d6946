// WAV files as the sound layer decodes them into a buffer's samples: any bytes as a .wav. What
// decodes must be the samples that libsndfile's plain reading of the whole file gives.

#include "FuzzFile.h"
#include "wavfile.h"

#include <cstring>
#include <memory>
#include <sndfile.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write(
        "sound.wav", QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)));
    dx::DecodedWave w;
    if (!fuzz::Accepted([&] { w = dx::DecodeWaveFile(path); })) return 0;
    fuzz::Require((w.channels == 1 || w.channels == 2) && w.sampleRate > 0 && w.frames() > 0 &&
                      (w.samples.empty() || w.pcm16.empty()) &&
                      (w.samples.size() + w.pcm16.size()) % w.channels == 0,
                  "a playable buffer");
    // What the device is given: 16-bit samples become floats by a division by 32768, exactly.
    std::vector<float> decoded = w.samples;
    for (const std::int16_t v : w.pcm16)
        decoded.push_back(float(v) / 32768.0f);

    // One read of every sample at once, as the library's own documentation does it.
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(
        sf_open(QFile::encodeName(path).constData(), SFM_READ, &info), sf_close);
    fuzz::Require(file && info.channels == w.channels && info.samplerate == w.sampleRate,
                  "libsndfile opens it alike");
    std::vector<float> plain(decoded.size());
    const sf_count_t got = sf_read_float(file.get(), plain.data(), sf_count_t(plain.size()));
    // Bit for bit: a NaN in a float file is a sample too.
    fuzz::Require(got == sf_count_t(plain.size()) &&
                      std::memcmp(plain.data(), decoded.data(), plain.size() * 4) == 0,
                  "libsndfile reads the same samples");
    return 0;
}
