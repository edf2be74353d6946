#include "Sound.h"

#include "DSound.h"
#include "modSound.h"

void Sound::load(const QString& name) {
    BufferIndex = DSound::LoadSoundBuffer(name, runtime::True, runtime::False, runtime::False,
                                          runtime::False, runtime::False, runtime::False,
                                          runtime::False, modSound::SoundOwner);
}

void Sound::play() {
    DSound::PlaySoundBuffer(BufferIndex);
}

void Sound::StopSound() {
    DSound::StopSoundBuffer(BufferIndex);
}
