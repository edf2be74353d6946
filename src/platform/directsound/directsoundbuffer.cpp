#include "directsound.h"
#include "dsdevice.h"
#include "wavfile.h"

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>

namespace dx {

struct DirectSoundBuffer::Data final : PendingUpload {
    std::shared_ptr<Device> device;
    std::shared_ptr<EventTable> events;
    Long flags = 0;
    QString fileName;
    int channels = 1;
    int rate = 0;
    Long frames = 0;
    DecodedWave wave; // until uploaded
    ALuint source = 0;
    ALuint buffer = 0;
    bool looping = false;
    // Where the next Play starts when the source is not playing or paused.
    Long pendingFrame = 0;
    std::vector<DSBPOSITIONNOTIFY> notify;
    std::unique_ptr<QTimer> watch; // notices the end of a sound that carries a stop event

    Long blockAlign() const { return channels * 4; }
    // Not yet uploaded: it cannot be playing, and it has nothing of OpenAL's to ask or free.
    bool waiting() const { return source == 0; }
    ALint state() const {
        ALint s = AL_INITIAL;
        alGetSourcei(source, AL_SOURCE_STATE, &s);
        return s;
    }
    void upload() override;
};

void DirectSoundBuffer::Data::upload() {
    if (!buffer) {
        alGenBuffers(1, &buffer);
        checkAl("make a buffer", fileName);
    }
    const bool stereo = wave.channels == 2;
    if (!wave.pcm16.empty())
        alBufferData(buffer, stereo ? AL_FORMAT_STEREO16 : AL_FORMAT_MONO16, wave.pcm16.data(),
                     static_cast<ALsizei>(wave.pcm16.size() * sizeof(std::int16_t)),
                     wave.sampleRate);
    else
        alBufferData(buffer, stereo ? AL_FORMAT_STEREO_FLOAT32 : AL_FORMAT_MONO_FLOAT32,
                     wave.samples.data(), static_cast<ALsizei>(wave.samples.size() * sizeof(float)),
                     wave.sampleRate);
    checkAl("fill a buffer", fileName);
    ALuint made = 0;
    alGenSources(1, &made);
    checkAl("make a source", fileName);
    // Heard as recorded: no distance or position, and a stereo file's channels go straight to
    // the left and right outputs instead of being placed as two virtual speakers.
    alSourcei(made, AL_SOURCE_RELATIVE, AL_TRUE);
    alSource3f(made, AL_POSITION, 0.0f, 0.0f, 0.0f);
    alSourcef(made, AL_ROLLOFF_FACTOR, 0.0f);
    if (stereo) alSourcei(made, AL_DIRECT_CHANNELS_SOFT, AL_TRUE);
    alSourcei(made, AL_BUFFER, static_cast<ALint>(buffer));
    if (const ALenum error = alGetError(); error != AL_NO_ERROR) {
        alDeleteSources(1, &made);
        failAl("attach a buffer", fileName, error);
    }
    source = made;
    wave = DecodedWave{};
    device->voices.push_back({source, frames, rate});
}

DirectSoundBuffer::DirectSoundBuffer(std::shared_ptr<Device> device,
                                     std::shared_ptr<EventTable> events, Long flags,
                                     const QString& fileName, DecodedWave&& wave)
    : d_(std::make_unique<Data>()) {
    d_->device = std::move(device);
    d_->events = std::move(events);
    d_->flags = flags;
    d_->fileName = fileName;
    d_->channels = wave.channels;
    d_->rate = wave.sampleRate;
    d_->frames = static_cast<Long>(wave.frames());
    d_->wave = std::move(wave);
    if (d_->device->readyNow()) {
        d_->device->makeCurrent();
        d_->upload();
    } else {
        d_->device->pending.push_back(d_.get());
    }
}

DirectSoundBuffer::~DirectSoundBuffer() {
    auto& pending = d_->device->pending;
    pending.erase(std::remove(pending.begin(), pending.end(), d_.get()), pending.end());
    if (!d_->buffer) return;
    if (alcGetCurrentContext() != d_->device->context) alcMakeContextCurrent(d_->device->context);
    auto& voices = d_->device->voices;
    voices.erase(std::remove_if(voices.begin(), voices.end(),
                                [this](const Voice& v) { return v.source == d_->source; }),
                 voices.end());
    if (d_->source) alDeleteSources(1, &d_->source);
    if (d_->buffer) alDeleteBuffers(1, &d_->buffer);
    alGetError();
}

void DirectSoundBuffer::SetCurrentPosition(Long position) {
    if (position < 0 || position >= bufferBytes())
        fail(E_INVALIDARG, QStringLiteral("Position %1 is outside the sound %2")
                               .arg(position)
                               .arg(QDir::toNativeSeparators(d_->fileName)));
    const Long frame = position / d_->blockAlign();
    if (d_->waiting()) {
        d_->pendingFrame = frame;
        return;
    }
    d_->device->makeCurrent();
    if (d_->state() == AL_PLAYING) {
        alSourcei(d_->source, AL_SAMPLE_OFFSET, frame);
    } else {
        // A paused source would resume where it paused; back to its initial state so that the
        // next Play starts where it is told.
        alSourceRewind(d_->source);
        d_->pendingFrame = frame;
    }
    checkAl("set the position", d_->fileName);
}

Long DirectSoundBuffer::GetCurrentPosition() {
    if (d_->waiting()) return d_->pendingFrame * d_->blockAlign();
    d_->device->makeCurrent();
    const ALint state = d_->state();
    if (state == AL_PLAYING || state == AL_PAUSED) {
        ALint offset = 0;
        alGetSourcei(d_->source, AL_SAMPLE_OFFSET, &offset);
        checkAl("read the position", d_->fileName);
        return offset * d_->blockAlign();
    }
    if (state == AL_INITIAL) return d_->pendingFrame * d_->blockAlign();
    return 0; // played to its end
}

void DirectSoundBuffer::Play(Long flags) {
    if ((flags & ~DSBPLAY_LOOPING) != 0)
        fail(E_INVALIDARG, QStringLiteral("Play flags %1 are not known").arg(flags));
    d_->device->makeCurrent();
    // Uploaded with the rest as the context came, unless that failed: it then says why.
    if (d_->waiting()) d_->upload();
    d_->looping = (flags & DSBPLAY_LOOPING) != 0;
    alSourcei(d_->source, AL_LOOPING, d_->looping ? AL_TRUE : AL_FALSE);
    const ALint state = d_->state();
    // Playing again must not restart: OpenAL would, the device goes on where it is.
    if (state != AL_PLAYING) {
        d_->device->wake();
        if (state != AL_PAUSED && d_->pendingFrame > 0)
            alSourcei(d_->source, AL_SAMPLE_OFFSET, d_->pendingFrame);
        alSourcePlay(d_->source);
        d_->pendingFrame = 0;
    }
    checkAl("play", d_->fileName);
    d_->device->watchForQuiet();
    if (!d_->notify.empty() && QCoreApplication::instance()) {
        if (!d_->watch) {
            d_->watch = std::make_unique<QTimer>();
            d_->watch->setInterval(10);
            QObject::connect(d_->watch.get(), &QTimer::timeout, [this] {
                d_->device->makeCurrent();
                const ALint now = d_->state();
                if (now == AL_PLAYING) return;
                d_->watch->stop();
                if (now == AL_STOPPED) fireStopEvents();
            });
        }
        d_->watch->start();
    }
}

void DirectSoundBuffer::Stop() {
    if (d_->waiting()) return;
    d_->device->makeCurrent();
    if (d_->state() != AL_PLAYING) return;
    alSourcePause(d_->source);
    checkAl("stop", d_->fileName);
    if (d_->watch) d_->watch->stop();
    fireStopEvents();
}

Long DirectSoundBuffer::GetStatus() {
    if (d_->waiting()) return 0;
    d_->device->makeCurrent();
    if (d_->state() != AL_PLAYING) return 0;
    return DSBSTATUS_PLAYING | (d_->looping ? DSBSTATUS_LOOPING : 0);
}

void DirectSoundBuffer::SetNotificationPositions(Long count,
                                                 const std::vector<DSBPOSITIONNOTIFY>& positions) {
    if (!(d_->flags & DSBCAPS_CTRLPOSITIONNOTIFY))
        fail(DSERR_CONTROLUNAVAIL, QStringLiteral("The sound %1 was not made for notifications")
                                       .arg(QDir::toNativeSeparators(d_->fileName)));
    if (GetStatus() & DSBSTATUS_PLAYING)
        fail(DSERR_INVALIDCALL, QStringLiteral("Notifications cannot change while playing"));
    if (count < 0 || static_cast<size_t>(count) != positions.size())
        fail(E_INVALIDARG, QStringLiteral("Notification count %1 does not match").arg(count));
    for (const auto& p : positions) {
        // Only the stop moment is signalled; play-cursor offsets are refused, not ignored.
        if (p.lOffset != DSBPN_OFFSETSTOP)
            fail(E_INVALIDARG, QStringLiteral("Only the stop position can be notified"));
        if (!d_->events->owners.count(p.hEventNotify))
            fail(E_INVALIDARG, QStringLiteral("No event %1").arg(p.hEventNotify));
    }
    d_->notify = positions;
}

void DirectSoundBuffer::fireStopEvents() {
    for (const auto& p : d_->notify) {
        const auto it = d_->events->owners.find(p.hEventNotify);
        if (it != d_->events->owners.end() && it->second)
            QCoreApplication::postEvent(it->second, new DirectXEvent(p.hEventNotify));
    }
}

WAVEFORMATEX DirectSoundBuffer::GetFormat() const {
    WAVEFORMATEX f;
    f.nFormatTag = 3; // IEEE float
    f.nChannels = static_cast<Integer>(d_->channels);
    f.lSamplesPerSec = d_->rate;
    f.nBitsPerSample = 32;
    f.nBlockAlign = static_cast<Integer>(d_->blockAlign());
    f.lAvgBytesPerSec = d_->rate * d_->blockAlign();
    return f;
}

Long DirectSoundBuffer::bufferBytes() const {
    return d_->frames * d_->blockAlign();
}

} // namespace dx
