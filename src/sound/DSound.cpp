#include "DSound.h"

namespace DSound {

using runtime::False;
using runtime::True;

namespace {

SoundBufferRecord& record(runtime::Integer index) {
    if (index < 0 || static_cast<size_t>(index) >= SoundBuffers.size())
        throw runtime::RuntimeError(runtime::ErrSubscript,
                                    QStringLiteral("Subscript out of range"));
    return SoundBuffers[static_cast<size_t>(index)];
}

// A record in use whose load failed holds no buffer; using it is the runtime's error for an
// object that is not set.
dx::DirectSoundBuffer& buffer(const SoundBufferRecord& r) {
    if (!r.Buffer)
        throw runtime::RuntimeError(
            91, QStringLiteral("Object variable or With block variable not set"));
    return *r.Buffer;
}

void ensureDirectX() {
    if (!DirectXObject) DirectXObject = std::make_shared<dx::DirectX7>();
}

} // namespace

void InitDirectSound(const runtime::Long& hWnd) {
    try {
        ensureDirectX();
        SoundDevice = DirectXObject->DirectSoundCreate(QString());
        SoundDevice->SetCooperativeLevel(hWnd, dx::DSSCL_PRIORITY);
        SoundBuffers.assign(1, SoundBufferRecord{});
    } catch (const std::exception&) {
        runtime::MsgBox(QStringLiteral("Unable to initialize DirectSound."), runtime::vbOKOnly);
        runtime::End(1);
    }
}

runtime::Integer LoadSoundBuffer(const QString& name, const Boolean& fromFile,
                                 const Boolean& fromResource, const Boolean& notify,
                                 const Boolean& ctrlFrequency, const Boolean& ctrlPan,
                                 const Boolean& ctrlVolume, const Boolean& looping,
                                 QObject* owner) {
    size_t index = 0;
    while (index < SoundBuffers.size() && SoundBuffers[index].IsEmpty != True)
        ++index;
    if (index == SoundBuffers.size()) {
        if (SoundBuffers.size() > 32767)
            throw runtime::RuntimeError(runtime::ErrOverflow, QStringLiteral("Overflow"));
        SoundBuffers.emplace_back();
    }
    SoundBufferRecord& r = SoundBuffers[index];
    r.IsEmpty = False;
    r.FromFile = fromFile;
    r.FromResource = fromResource;
    r.Name = name;
    r.Status = QStringLiteral("Stopped");
    r.Notify = notify;
    r.CtrlFrequency = ctrlFrequency;
    r.Looping = looping;
    r.CtrlPan = ctrlPan;
    r.CtrlVolume = ctrlVolume;

    dx::DSBUFFERDESC desc;
    desc.lFlags = (r.Notify == True ? dx::DSBCAPS_CTRLPOSITIONNOTIFY : 0) |
                  (r.CtrlFrequency == True ? dx::DSBCAPS_CTRLFREQUENCY : 0) |
                  (r.CtrlPan == True ? dx::DSBCAPS_CTRLPAN : 0) |
                  (r.CtrlVolume == True ? dx::DSBCAPS_CTRLVOLUME : 0);
    dx::WAVEFORMATEX format;
    format.nFormatTag = dx::WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.lSamplesPerSec = 22050;
    format.nBitsPerSample = 16;
    format.nBlockAlign =
        static_cast<runtime::Integer>(format.nBitsPerSample / 8 * format.nChannels);
    format.lAvgBytesPerSec = format.lSamplesPerSec * format.nBlockAlign;

    if (r.FromFile == True) {
        r.Buffer = SoundDevice->CreateSoundBufferFromFile(
            runtime::JoinPath(runtime::AppPath(), r.Name), desc, format);
    } else if (r.FromResource == True) {
        r.Buffer = SoundDevice->CreateSoundBufferFromResource(QString(), r.Name, desc, format);
    }

    if (r.Notify == True) {
        ensureDirectX();
        r.EventId = DirectXObject->CreateEvent(owner);
        dx::DSBPOSITIONNOTIFY position;
        position.lOffset = dx::DSBPN_OFFSETSTOP;
        position.hEventNotify = r.EventId;
        buffer(r).SetNotificationPositions(1, {position});
    }
    return static_cast<runtime::Integer>(index);
}

void PlaySoundBuffer(const runtime::Integer& index) {
    SoundBufferRecord& r = record(index);
    if (r.IsEmpty != False) return;
    buffer(r).SetCurrentPosition(0);
    buffer(r).Play(r.Looping == False ? dx::DSBPLAY_DEFAULT : dx::DSBPLAY_LOOPING);
    r.Status = QStringLiteral("playing");
}

void StopSoundBuffer(const runtime::Integer& index) {
    SoundBufferRecord& r = record(index);
    if (r.IsEmpty != False) return;
    buffer(r).Stop();
    buffer(r).SetCurrentPosition(0);
    r.Status = QStringLiteral("stopped");
}

void ReleaseSoundBuffer(const runtime::Integer& index) {
    SoundBufferRecord& r = record(index);
    if (r.Notify == True && r.EventId != 0) {
        ensureDirectX();
        DirectXObject->DestroyEvent(r.EventId);
    }
    r.Buffer.reset();
    r.Notify = False;
    r.CtrlFrequency = False;
    r.Looping = False;
    r.CtrlPan = False;
    r.CtrlVolume = False;
    r.FromFile = False;
    r.FromResource = False;
    r.EventId = 0;
    r.Name.clear();
    r.IsEmpty = True;
    r.Status = QStringLiteral("empty");
}

void ReleaseAllSoundBuffers() {
    for (size_t i = 0; i < SoundBuffers.size(); ++i)
        ReleaseSoundBuffer(static_cast<runtime::Integer>(i));
}

} // namespace DSound
