#pragma once
// What the device, its buffers and the root object share inside the sound layer.

#include "directsound.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <QDir>
#include <QTimer>
#include <memory>
#include <vector>

namespace dx {

[[noreturn]] inline void fail(Long number, const QString& what) {
    throw runtime::RuntimeError(number, what);
}

// OpenAL keeps an error flag per context; clear it before a call whose result is checked.
inline void checkAl(const char* what, const QString& fileName) {
    const ALenum error = alGetError();
    if (error != AL_NO_ERROR)
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

struct Device {
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
    bool loopback = false;
    int channels = 2;
    int rate = 0;
    LPALCRENDERSAMPLESSOFT render = nullptr;

    // A running mixer costs as much mixing silence as mixing sound, so a real device is paused
    // (ALC_SOFT_pause_device) while nothing plays and resumed by the next play.
    LPALCDEVICEPAUSESOFT pauseMixer = nullptr;
    LPALCDEVICERESUMESOFT resumeMixer = nullptr;
    bool paused = false;
    std::vector<Voice> voices;
    std::unique_ptr<QTimer> quiet;

    // After the context is made, on any thread: pauses at once, since nothing plays yet.
    void pauseWhileQuiet();
    // On the thread of the event loop, which notices the quiet; without one, the mixer runs.
    void watchForQuietFromNowOn();
    // Before a source starts: mixing must run.
    void wake();
    // After a source started: pause once every sound has played out.
    void watchForQuiet();

    ~Device() {
        quiet.reset();
        if (context) {
            if (alcGetCurrentContext() == context) alcMakeContextCurrent(nullptr);
            alcDestroyContext(context);
        }
        if (device) alcCloseDevice(device);
    }
    // One device per DirectSound; several may exist (a test opens many), so every call first
    // makes its own context current.
    void makeCurrent() const {
        if (alcGetCurrentContext() != context && !alcMakeContextCurrent(context))
            fail(E_FAIL, QStringLiteral("Sound device could not be made current"));
        alGetError();
    }
};

struct EventTable {
    std::map<Long, QPointer<QObject>> owners;
    Long next = 1;
};

} // namespace dx
