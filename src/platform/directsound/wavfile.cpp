#include "wavfile.h"

#include "Prefetched.h"
#include "directsound.h"
#include "soundlibs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

namespace dx {

namespace {

[[noreturn]] void badFile(const QString& fileName, const QString& why) {
    throw runtime::RuntimeError(DSERR_BADFORMAT,
                                QStringLiteral("Not a sound the device accepts: %1 (%2)")
                                    .arg(QDir::toNativeSeparators(fileName), why));
}

std::uint32_t u32(const char* p, bool bigEndian) {
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v |= std::uint32_t(static_cast<unsigned char>(p[i])) << (8 * (bigEndian ? 3 - i : i));
    return v;
}

// libsndfile quietly shortens a data chunk that runs past the end of the file, so a cut file
// would play cut. Walk the chunks of a file it took for WAV ("RIFF", or "RIFX" with big-endian
// sizes, then "WAVE") and compare the declared data size with what is there.
bool dataChunkCut(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) return false;
    const qint64 size = file.size();
    const bool big = file.read(4) == "RIFX";
    qint64 pos = 12;
    char chunk[8];
    while (pos + 8 <= size && file.seek(pos) && file.read(chunk, 8) == 8) {
        const qint64 length = u32(chunk + 4, big);
        if (QByteArray(chunk, 4) == "data") return pos + 8 + length > size;
        pos += 8 + length + (length & 1);
    }
    return false;
}

bool acceptedEncoding(int subtype) {
    switch (subtype) {
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
        return true;
    default:
        return false;
    }
}

runtime::Prefetched<DecodedWave, false>& prefetched() {
    static runtime::Prefetched<DecodedWave, false> waves;
    return waves;
}

DecodedWave decodeFile(const QString& fileName) {
    const QFileInfo info(fileName);
    if (!info.exists())
        throw runtime::RuntimeError(
            ERR_FILE_NOT_FOUND,
            QStringLiteral("File not found: %1").arg(QDir::toNativeSeparators(fileName)));
    if (!info.isFile()) badFile(fileName, QStringLiteral("not a file"));

    const std::shared_ptr<const SndFileLibrary> library = SndFile();
    const SndFileLibrary& sf = *library;
    SF_INFO sfinfo{};
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(
        sf.open(QFile::encodeName(fileName).constData(), SFM_READ, &sfinfo), sf.close);
    if (!file) badFile(fileName, QString::fromUtf8(sf.strerror(nullptr)));

    const int major = sfinfo.format & SF_FORMAT_TYPEMASK;
    if (major != SF_FORMAT_WAV && major != SF_FORMAT_WAVEX)
        badFile(fileName, QStringLiteral("not a WAV file"));
    if (!acceptedEncoding(sfinfo.format & SF_FORMAT_SUBMASK))
        badFile(fileName, QStringLiteral("unsupported encoding"));
    if (sfinfo.channels != 1 && sfinfo.channels != 2)
        badFile(fileName, QStringLiteral("%1 channels").arg(sfinfo.channels));
    if (sfinfo.samplerate < 1000 || sfinfo.samplerate > 192000)
        badFile(fileName, QStringLiteral("sample rate %1").arg(sfinfo.samplerate));
    if (sfinfo.frames <= 0) badFile(fileName, QStringLiteral("no sound in it"));
    // Positions are Long byte offsets of float frames.
    const sf_count_t maxFrames = std::numeric_limits<Long>::max() / (4 * sfinfo.channels);
    if (sfinfo.frames > maxFrames) badFile(fileName, QStringLiteral("too long"));
    if (dataChunkCut(fileName)) badFile(fileName, QStringLiteral("truncated"));

    DecodedWave wave;
    wave.channels = sfinfo.channels;
    wave.sampleRate = sfinfo.samplerate;
    const int encoding = sfinfo.format & SF_FORMAT_SUBMASK;
    const bool shorts = encoding == SF_FORMAT_PCM_16 || encoding == SF_FORMAT_PCM_S8 ||
                        encoding == SF_FORMAT_PCM_U8;
    // Grow as data actually arrives, so a lying header cannot demand a huge allocation.
    const auto read = [&](auto& samples, auto readFrames) {
        constexpr sf_count_t chunk = 16384;
        sf_count_t total = 0;
        while (total < sfinfo.frames) {
            const sf_count_t want = std::min(chunk, sfinfo.frames - total);
            samples.resize(static_cast<size_t>((total + want) * sfinfo.channels));
            const sf_count_t got =
                readFrames(file.get(), samples.data() + total * sfinfo.channels, want);
            if (got <= 0) break;
            total += got;
        }
        samples.resize(static_cast<size_t>(total * sfinfo.channels));
        return total;
    };
    const sf_count_t total =
        shorts ? read(wave.pcm16, sf.readShorts) : read(wave.samples, sf.readFloats);
    if (sf.error(file.get()) != SF_ERR_NO_ERROR)
        badFile(fileName, QString::fromUtf8(sf.strerror(file.get())));
    if (total != sfinfo.frames)
        badFile(fileName,
                QStringLiteral("truncated: %1 of %2 frames").arg(total).arg(sfinfo.frames));
    return wave;
}

} // namespace

DecodedWave DecodeWaveFile(const QString& fileName) {
    if (std::optional<DecodedWave> ahead = prefetched().take(fileName)) return std::move(*ahead);
    return decodeFile(fileName);
}

void AnnounceWaveFiles(const std::vector<QString>& fileNames) {
    prefetched().announce(fileNames);
}

void PrefetchWaveFiles() {
    // Open across every file, then closed here, off the first thread, unless a reader still
    // decodes; a library that cannot be opened leaves every file to its reader.
    std::shared_ptr<const SndFileLibrary> library;
    try {
        library = SndFile();
    } catch (const std::exception&) {
        return;
    }
    // A file that fails is left to its reader, to raise the error where start-up expects it.
    prefetched().fill([](const QString& fileName) -> std::optional<DecodedWave> {
        try {
            return decodeFile(fileName);
        } catch (const std::exception&) {
            return std::nullopt;
        }
    });
}

void DropPrefetchedWaveFiles() {
    prefetched().clear();
}

} // namespace dx
