#pragma once
// Which sounds are playing. On the loopback device nothing renders unless asked, so a sound
// that was started stays playing until it is stopped: a test can see every effect started.

#include "DSound.h"
#include "Sound.h"

#include <array>
#include <memory>

namespace SoundProbe {

inline bool Playing(const Sound& sound) {
    const auto& record = DSound::SoundBuffers.at(static_cast<std::size_t>(sound.bufferIndex()));
    return record.Buffer && (record.Buffer->GetStatus() & dx::DSBSTATUS_PLAYING) != 0;
}

inline bool AnyPlaying() {
    for (const auto& record : DSound::SoundBuffers)
        if (record.Buffer && (record.Buffer->GetStatus() & dx::DSBSTATUS_PLAYING) != 0) return true;
    return false;
}

inline void SilenceAll() {
    for (std::size_t i = 0; i < DSound::SoundBuffers.size(); ++i)
        if (DSound::SoundBuffers[i].IsEmpty == runtime::False)
            DSound::StopSoundBuffer(static_cast<runtime::Integer>(i));
}

// Index of the one entry playing, -1 for none, -2 for several.
template <std::size_t N> int PlayingIndex(const std::array<std::unique_ptr<Sound>, N>& table) {
    int found = -1;
    for (std::size_t i = 0; i < N; ++i)
        if (Playing(*table[i])) found = found == -1 ? static_cast<int>(i) : -2;
    return found;
}

} // namespace SoundProbe
