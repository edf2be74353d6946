#include "modSound.h"

namespace modSound {

void PlayEffect(Sound& sound) {
    if (SoundOn != 0) sound.play();
}

void StopEffect(Sound& sound) {
    if (SoundOn != 0) sound.StopSound();
}

void SetSoundOn(const runtime::Boolean& value) {
    SoundOn = value;
}

} // namespace modSound
