#pragma once
// The sound-buffer registry: the game's only contact with the sound device.

#include "directsound.h"
#include "runtime.h"

#include <QObject>
#include <QString>
#include <memory>
#include <vector>

namespace DSound {

using runtime::Boolean;

struct SoundBufferRecord {
    std::shared_ptr<dx::DirectSoundBuffer> Buffer;
    QString Status = QStringLiteral("empty");
    runtime::Long EventId = 0;
    Boolean CtrlVolume = runtime::False;
    Boolean CtrlFrequency = runtime::False;
    Boolean CtrlPan = runtime::False;
    Boolean Looping = runtime::False;
    Boolean Notify = runtime::False;
    QString Name;
    Boolean FromFile = runtime::False;
    Boolean FromResource = runtime::False;
    Boolean IsEmpty = runtime::True;
};

inline std::shared_ptr<dx::DirectX7> DirectXObject;
inline std::shared_ptr<dx::DirectSound> SoundDevice;
inline std::vector<SoundBufferRecord> SoundBuffers;

void InitDirectSound(const runtime::Long& hWnd);
runtime::Integer LoadSoundBuffer(const QString& name, const Boolean& fromFile,
                                 const Boolean& fromResource, const Boolean& notify,
                                 const Boolean& ctrlFrequency, const Boolean& ctrlPan,
                                 const Boolean& ctrlVolume, const Boolean& looping, QObject* owner);
void PlaySoundBuffer(const runtime::Integer& index);
void StopSoundBuffer(const runtime::Integer& index);
void ReleaseSoundBuffer(const runtime::Integer& index);
void ReleaseAllSoundBuffers();

} // namespace DSound
