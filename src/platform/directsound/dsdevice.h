#pragma once
// What the device, its buffers and the root object share inside the sound layer.

#include "directsound.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <QDir>

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

struct Device {
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
    bool loopback = false;
    int channels = 2;
    int rate = 0;
    LPALCRENDERSAMPLESSOFT render = nullptr;

    ~Device() {
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
