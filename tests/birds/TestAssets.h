#pragma once
// Asset files for the tests, each picture of one colour telling which file a bitmap came from.
// On the loopback sound device a sound started stays playing until stopped.

#include "DSound.h"
#include "Sound.h"
#include "runtimetest.h"

#include <QImage>
#include <QStringList>

namespace TestAssets {

inline QRgb ColourOf(const QString& relativeName) {
    return 0xFF000000u | (qHash(relativeName) & 0xFFFFFFu);
}
// A bird's picture, without its ending, at a frame and facing a way; from frame 5 on it explodes.
inline QString FrameStem(int frame, int direction) {
    return frame < 5 ? QString("\\Graphics\\Bird%1%2").arg(direction < 0 ? 'L' : 'R').arg(frame + 1)
                     : QString("\\Graphics\\explosion%1").arg(frame - 4);
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
