#include "directsound.h"
#include "dsdevice.h"
#include "wavfile.h"

#include <algorithm>

namespace dx {

struct DirectSoundBuffer::Data {
    std::shared_ptr<Device> device;
    std::shared_ptr<Events> events;
    Long flags = 0;
    QString fileName;
    Long frames = 0;
    int channels = 1;
    ALuint source = 0;
    ALuint buffer = 0;
    bool looping = false;
    // Where the next Play starts when the source is not playing or paused.
    Long pendingFrame = 0;
    std::vector<DSBPOSITIONNOTIFY> notify;

    Long blockAlign() const { return channels * 4; }
    ALint state() const {
        ALint s = AL_INITIAL;
        alGetSourcei(source, AL_SOURCE_STATE, &s);
        return s;
    }
};

DirectSoundBuffer::DirectSoundBuffer(std::shared_ptr<Device> device,
                                     std::shared_ptr<Events> events, Long flags,
                                     const QString& fileName, const DecodedWave& wave)
    : d_(new Data{std::move(device), std::move(events), flags, fileName,
                  static_cast<Long>(wave.frames()), wave.channels, 0, 0, false, 0, {}}) {
    d_->device->select();
    alGenBuffers(1, &d_->buffer);
    checkAl("make a buffer", fileName);
    const bool stereo = wave.channels == 2;
    if (!wave.pcm16.empty())
        alBufferData(d_->buffer, stereo ? AL_FORMAT_STEREO16 : AL_FORMAT_MONO16,
                     wave.pcm16.data(),
                     static_cast<ALsizei>(wave.pcm16.size() * sizeof(std::int16_t)),
                     wave.sampleRate);
    else
        alBufferData(d_->buffer, stereo ? AL_FORMAT_STEREO_FLOAT32 : AL_FORMAT_MONO_FLOAT32,
                     wave.samples.data(), static_cast<ALsizei>(wave.samples.size() * sizeof(float)),
                     wave.sampleRate);
    checkAl("fill a buffer", fileName);
    alGenSources(1, &d_->source);
    checkAl("make a source", fileName);
    // Heard as recorded: no distance or position, and a stereo file's channels go straight to
    // the left and right outputs instead of being placed as two virtual speakers.
    alSourcei(d_->source, AL_SOURCE_RELATIVE, AL_TRUE);
    alSource3f(d_->source, AL_POSITION, 0.0f, 0.0f, 0.0f);
    alSourcef(d_->source, AL_ROLLOFF_FACTOR, 0.0f);
    if (stereo) alSourcei(d_->source, AL_DIRECT_CHANNELS_SOFT, AL_TRUE);
    alSourcei(d_->source, AL_BUFFER, static_cast<ALint>(d_->buffer));
    checkAl("attach a buffer", fileName);
    d_->device->voices.push_back({d_->source, d_->frames, wave.sampleRate});
}

DirectSoundBuffer::~DirectSoundBuffer() {
    d_->device->select();
    std::erase_if(d_->device->voices, [this](const Voice& v) { return v.source == d_->source; });
    alDeleteSources(1, &d_->source);
    alDeleteBuffers(1, &d_->buffer);
    alGetError();
}

void DirectSoundBuffer::SetCurrentPosition(Long position) {
    if (position < 0 || position >= d_->frames * d_->blockAlign())
        fail(E_INVALIDARG, QStringLiteral("Position %1 is outside the sound %2")
                               .arg(position)
                               .arg(QDir::toNativeSeparators(d_->fileName)));
    const Long frame = position / d_->blockAlign();
    d_->device->select();
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
    d_->device->select();
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
    d_->device->select();
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
}

void DirectSoundBuffer::Stop() {
    d_->device->select();
    if (d_->state() != AL_PLAYING) return;
    alSourcePause(d_->source);
    checkAl("stop", d_->fileName);
}

Long DirectSoundBuffer::GetStatus() {
    d_->device->select();
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
        // Only the stop moment can be asked for; play-cursor offsets are refused, not ignored.
        if (p.lOffset != DSBPN_OFFSETSTOP)
            fail(E_INVALIDARG, QStringLiteral("Only the stop position can be notified"));
        if (!d_->events->live.contains(p.hEventNotify))
            fail(E_INVALIDARG, QStringLiteral("No event %1").arg(p.hEventNotify));
    }
    d_->notify = positions;
}

} // namespace dx
