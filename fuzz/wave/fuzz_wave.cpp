// WAV files as the sound layer decodes them into a buffer's samples: any bytes as a .wav. What
// decodes must be the samples that libsndfile's plain reading of the whole file gives.

#include "FuzzFile.h"
#include "wavfile.h"

#include <cstring>
#include <memory>
#include <sndfile.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("sound.wav", data, size);
    dx::DecodedWave w;
    if (!fuzz::Accepted([&] { w = dx::DecodeWaveFile(path); })) return 0;
    fuzz::Require((w.channels == 1 || w.channels == 2) && w.sampleRate > 0 && !w.samples.empty() &&
                      w.samples.size() % w.channels == 0,
                  "a playable buffer");

    // One read of every sample at once, as the library's own documentation does it.
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(
        sf_open(QFile::encodeName(path).constData(), SFM_READ, &info), sf_close);
    fuzz::Require(file && info.channels == w.channels && info.samplerate == w.sampleRate,
                  "libsndfile opens it alike");
    std::vector<float> plain(w.samples.size());
    const sf_count_t got = sf_read_float(file.get(), plain.data(), sf_count_t(plain.size()));
    // Bit for bit: a NaN in a float file is a sample too.
    fuzz::Require(got == sf_count_t(plain.size()) &&
                      std::memcmp(plain.data(), w.samples.data(), plain.size() * 4) == 0,
                  "libsndfile reads the same samples");
    return 0;
}
