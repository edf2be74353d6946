#include "wavfile.h"

#include "directsound.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <dlfcn.h>
#include <sndfile.h>

namespace dx {

namespace {

[[noreturn]] void badFile(const QString& fileName, const QString& why) {
    throw runtime::RuntimeError(DSERR_BADFORMAT,
                                QStringLiteral("Not a sound the device accepts: %1 (%2)")
                                    .arg(QDir::toNativeSeparators(fileName), why));
}

// libsndfile, loaded when a file first needs it and kept: it and the codec libraries it brings
// cost more to load than reading every sound of the game, none of which needs it.
struct SndFile {
    decltype(&::sf_open) open;
    decltype(&::sf_close) close;
    decltype(&::sf_readf_short) readShorts;
    decltype(&::sf_readf_float) readFloats;
    decltype(&::sf_error) error;
    decltype(&::sf_strerror) strerror;
};

[[noreturn]] void noSndFile(const QString& what) {
    throw runtime::RuntimeError(
        DSERR_NODRIVER, QStringLiteral("The sound library libsndfile.so.1 %1").arg(what));
}

template <class F> F symbol(void* handle, const char* name) {
    void* address = dlsym(handle, name);
    if (!address) noSndFile(QStringLiteral("has no %1").arg(QLatin1String(name)));
    return reinterpret_cast<F>(address);
}

const SndFile& sndfile() {
    static const SndFile functions = [] {
        void* handle = dlopen("libsndfile.so.1", RTLD_NOW | RTLD_LOCAL);
        if (!handle) noSndFile(QString::fromLocal8Bit(dlerror()));
        return SndFile{symbol<decltype(&::sf_open)>(handle, "sf_open"),
                       symbol<decltype(&::sf_close)>(handle, "sf_close"),
                       symbol<decltype(&::sf_readf_short)>(handle, "sf_readf_short"),
                       symbol<decltype(&::sf_readf_float)>(handle, "sf_readf_float"),
                       symbol<decltype(&::sf_error)>(handle, "sf_error"),
                       symbol<decltype(&::sf_strerror)>(handle, "sf_strerror")};
    }();
    return functions;
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
        const qint64 length =
            big ? qFromBigEndian<quint32>(chunk + 4) : qFromLittleEndian<quint32>(chunk + 4);
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

// Positions are Long byte offsets of float frames.
std::int64_t maxFrames(int channels) {
    return std::numeric_limits<Long>::max() / (4 * channels);
}

std::uint32_t le32(const char* p) {
    return qFromLittleEndian<quint32>(p);
}
std::uint16_t le16(const char* p) {
    return qFromLittleEndian<quint16>(p);
}

// The plain form every sound of the game has: "RIFF" exactly the file's length, "WAVE", a
// 16-byte PCM "fmt " of 8 or 16 bits, then "data" to the end of the file in whole frames.
// Read directly, such a file needs no library at all: opening libsndfile and its codecs costs
// more than decoding every sound of the game. Anything else, valid or broken, is left to
// libsndfile, which decides (and words) it; what is read here is exactly what it would give.
std::optional<DecodedWave> readPlainPcm(QFile& file) {
    constexpr qint64 HeaderBytes = 44;
    char h[HeaderBytes];
    const qint64 size = file.size();
    if (size <= HeaderBytes || file.read(h, HeaderBytes) != HeaderBytes) return std::nullopt;
    if (std::memcmp(h, "RIFF", 4) != 0 || le32(h + 4) != std::uint64_t(size) - 8 ||
        std::memcmp(h + 8, "WAVEfmt ", 8) != 0 || le32(h + 16) != 16 || le16(h + 20) != 1 ||
        std::memcmp(h + 36, "data", 4) != 0)
        return std::nullopt;
    const int channels = le16(h + 22), bits = le16(h + 34);
    if ((channels != 1 && channels != 2) || (bits != 8 && bits != 16)) return std::nullopt;
    const std::uint32_t rate = le32(h + 24), frameBytes = std::uint32_t(channels * bits / 8);
    const std::uint32_t dataBytes = le32(h + 40);
    if (rate < 1000 || rate > 192000 || le16(h + 32) != frameBytes ||
        le32(h + 28) != rate * frameBytes || dataBytes != std::uint64_t(size) - HeaderBytes ||
        dataBytes % frameBytes != 0 || dataBytes / frameBytes > maxFrames(channels))
        return std::nullopt;

    DecodedWave wave;
    wave.channels = channels;
    wave.sampleRate = int(rate);
    wave.pcm16.resize(dataBytes * 8 / bits);
    if (bits == 16) {
        static_assert(std::endian::native == std::endian::little);
        if (file.read(reinterpret_cast<char*>(wave.pcm16.data()), dataBytes) != dataBytes)
            return std::nullopt;
    } else {
        // Unsigned 8-bit samples centred on 128, widened as libsndfile widens them.
        std::vector<unsigned char> bytes(dataBytes);
        if (file.read(reinterpret_cast<char*>(bytes.data()), dataBytes) != dataBytes)
            return std::nullopt;
        std::transform(bytes.begin(), bytes.end(), wave.pcm16.begin(),
                       [](unsigned char v) { return std::int16_t((v - 128) * 256); });
    }
    return wave;
}

} // namespace

DecodedWave DecodeWaveFile(const QString& fileName) {
    const QFileInfo info(fileName);
    if (!info.exists())
        throw runtime::RuntimeError(
            ERR_FILE_NOT_FOUND,
            QStringLiteral("File not found: %1").arg(QDir::toNativeSeparators(fileName)));
    if (!info.isFile()) badFile(fileName, QStringLiteral("not a file"));
    if (QFile plain(fileName); plain.open(QIODevice::ReadOnly))
        if (std::optional<DecodedWave> wave = readPlainPcm(plain)) return std::move(*wave);

    const SndFile& sf = sndfile();
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
    if (sfinfo.frames > maxFrames(sfinfo.channels)) badFile(fileName, QStringLiteral("too long"));
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

} // namespace dx
