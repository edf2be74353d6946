#pragma once
// What the device and its buffers share inside the sound layer.

#include "directsound.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <QDir>
#include <QTimer>
#include <set>
#include <vector>

namespace dx {

[[noreturn]] inline void fail(Long number, const QString& what) {
    throw runtime::RuntimeError(number, what);
}

// OpenAL keeps an error flag per context; clear it before a call whose result is checked.
inline void checkAl(const char* what, const QString& fileName) {
    if (const ALenum error = alGetError(); error != AL_NO_ERROR)
        fail(E_FAIL, QStringLiteral("Sound device failed to %1 for %2 (OpenAL error 0x%3)")
                         .arg(QString::fromLatin1(what), QDir::toNativeSeparators(fileName))
                         .arg(error, 0, 16));
}

// A source of the device and how long its sound lasts, to know when the last one has ended.
struct Voice {
    ALuint source = 0;
    Long frames = 0;
    int rate = 0;
};

// The event handles that buffers may name for their stop notification.
struct Events {
    std::set<Long> live;
    Long next = 1;
};

// An opened device and its context, closed with the object, also when making it fails half-way.
struct OpenedDevice {
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
    ~OpenedDevice();
};

// One device with its context. Several may exist at once (a test opens many), so every use first
// makes its own context current.
struct Device : OpenedDevice {
    int channels = 2;
    // Only a loopback device renders on demand.
    LPALCRENDERSAMPLESSOFT render = nullptr;

    // A running mixer costs as much mixing silence as mixing sound, so a real device is paused
    // (ALC_SOFT_pause_device) while nothing plays, and resumed by the next play.
    LPALCDEVICEPAUSESOFT pause = nullptr;
    LPALCDEVICERESUMESOFT resume = nullptr;
    bool paused = false;
    std::vector<Voice> voices;
    QTimer quiet;

    Device(ALCdevice* device, ALCcontext* context);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void select() const;
    // Before a source starts: mixing must run.
    void wake();
    // After a source started: pause once every sound has played out.
    void watchForQuiet();
};

} // namespace dx
