#pragma once
// Asset files for the tests, each picture of one colour telling which file a bitmap came from.
// On the loopback sound device a sound started stays playing until stopped.

#include "DSound.h"
#include "Sound.h"

#include <QStringList>

namespace TestAssets {

inline uint ColourOf(const QString& relativeName) {
    return 0xFF000000u | (qHash(relativeName) & 0xFFFFFFu);
}

void WriteAll(const QString& dir);
// WriteAll, then points the program there, opens the sound device and collects message boxes.
void Prepare(const QString& dir, QStringList& messages);

inline bool Playing(const Sound& sound) {
    const auto& r = DSound::SoundBuffers.at(static_cast<std::size_t>(sound.bufferIndex()));
    return r.Buffer && (r.Buffer->GetStatus() & dx::DSBSTATUS_PLAYING) != 0;
}

template <class Table> int CountPlaying(const Table& t) {
    return int(std::count_if(t.begin(), t.end(), [](const auto& s) { return Playing(*s); }));
}

inline void SilenceAll() {
    for (std::size_t i = 0; i < DSound::SoundBuffers.size(); ++i)
        DSound::StopSoundBuffer(static_cast<runtime::Integer>(i));
}

} // namespace TestAssets
