#pragma once
// What the device, its buffers and the root object share inside the sound layer.

#include "directsound.h"

#include "soundlibs.h"

#include <QDir>
#include <QTimer>
#include <exception>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace dx {

[[noreturn]] inline void fail(Long number, const QString& what) {
    throw runtime::RuntimeError(number, what);
}

[[noreturn]] inline void failAl(const char* what, const QString& fileName, ALenum error) {
    fail(E_FAIL, QStringLiteral("Sound device failed to %1 for %2 (OpenAL error 0x%3)")
                     .arg(QString::fromLatin1(what), QDir::toNativeSeparators(fileName))
                     .arg(error, 0, 16));
}

// OpenAL keeps an error flag per context; clear it before a call whose result is checked.
inline void checkAl(const char* what, const QString& fileName) {
    if (const ALenum error = alGetError(); error != AL_NO_ERROR) failAl(what, fileName, error);
}

// A source of the device and how long its sound lasts, to know when the last one has ended.
struct Voice {
    ALuint source = 0;
    Long frames = 0;
    int rate = 0;
};

// A buffer made before its device's context: it keeps its samples until the context exists.
struct PendingUpload {
    // With the device's context current.
    virtual void upload() = 0;

  protected:
    ~PendingUpload() = default;
};

struct Device {
    ALCdevice* device = nullptr;
    // Made when first needed, or on another thread once the window shows (makeAside): OpenAL
    // Soft clears 7.5 MB of voices for every context, 30 ms that start-up need not wait for.
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
    std::vector<PendingUpload*> pending;

    // While it runs, only it touches the fields above; every other use joins it first.
    std::thread maker;
    std::exception_ptr makeFailed;
    std::unique_ptr<QObject> notice; // on the event loop's thread, where `made` runs
    bool ready = false; // the context checked and current, the pending buffers uploaded

    // On any one thread: the context, its rate, the mixer paused.
    void makeContext();
    // On the event loop's thread: makeContext on a thread of its own, then `made` here.
    void makeAside(std::function<void()> made);
    // On the event loop's thread, before any use of OpenAL: waits for or makes the context,
    // checks it and uploads the buffers that wait; throws what failed.
    void ensureReady();
    // Whether the context exists and is checked, never waiting for it.
    bool readyNow() const { return ready && !maker.joinable(); }

    // After the context is made, on any thread: pauses at once, since nothing plays yet.
    void pauseWhileQuiet();
    // On the thread of the event loop, which notices the quiet; without one, the mixer runs.
    void watchForQuietFromNowOn();
    // Before a source starts: mixing must run.
    void wake();
    // After a source started: pause once every sound has played out.
    void watchForQuiet();

    ~Device() {
        if (maker.joinable()) maker.join();
        quiet.reset();
        if (context) {
            if (alcGetCurrentContext() == context) alcMakeContextCurrent(nullptr);
            alcDestroyContext(context);
        }
        if (device) alcCloseDevice(device);
    }
    // One device per DirectSound; several may exist (a test opens many), so every call first
    // makes its own context current.
    void makeCurrent() {
        ensureReady();
        select();
    }
    void select() const {
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
