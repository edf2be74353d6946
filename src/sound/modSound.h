#pragma once
// The player's sound switch in front of every effect.

#include "Sound.h"

#include <QObject>

namespace modSound {

inline runtime::Boolean SoundOn = runtime::False;

void PlayEffect(Sound& sound);
void StopEffect(Sound& sound);
void SetSoundOn(const runtime::Boolean& value);

// The window handed to the registry as the owner of every sound.
inline QObject* SoundOwner = nullptr;

} // namespace modSound
