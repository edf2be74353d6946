#include "dsdevice.h"

#include <QCoreApplication>
#include <algorithm>

namespace dx {

namespace {
// Past the end of the last sound, the mixer still has its queue to play out, and a game
// plays its next sound soon: wait this long before pausing.
constexpr int kQuietMs = 250;
// A looping sound never ends; look again this often while one plays.
constexpr int kLoopCheckMs = 1000;
} // namespace

void Device::makeContext() {
    // The game uses no effects: without auxiliary sends every voice is smaller.
    const ALCint attrs[] = {ALC_MAX_AUXILIARY_SENDS, 0, 0};
    context = alcCreateContext(device, attrs);
    if (!context) fail(E_FAIL, QStringLiteral("The sound device refused a context"));
    // Known for certain only now: the driver may settle on another rate as the mixer starts.
    ALCint frequency = 0;
    alcGetIntegerv(device, ALC_FREQUENCY, 1, &frequency);
    rate = frequency;
    pauseWhileQuiet();
}

void Device::makeAside(std::function<void()> made) {
    if (context || maker.joinable() || makeFailed) return;
    // Lives until the maker is joined, so the notice always has somewhere to go.
    if (!notice) notice = std::make_unique<QObject>();
    maker = std::thread([this, made = std::move(made)] {
        try {
            makeContext();
        } catch (...) {
            makeFailed = std::current_exception();
        }
        QMetaObject::invokeMethod(notice.get(), made, Qt::QueuedConnection);
    });
}

void Device::ensureReady() {
    if (ready && pending.empty()) return;
    if (maker.joinable()) maker.join();
    if (makeFailed) std::rethrow_exception(makeFailed);
    if (!context) makeContext();
    select();
    if (!ready) {
        if (!alIsExtensionPresent("AL_EXT_FLOAT32"))
            fail(DSERR_NODRIVER, QStringLiteral("The sound device cannot play float samples"));
        ready = true;
        watchForQuietFromNowOn();
    }
    // In the order they were made; one that fails stays with its samples and reports itself
    // when it is played.
    const std::vector<PendingUpload*> waiting = std::move(pending);
    pending.clear();
    for (PendingUpload* buffer : waiting) {
        try {
            buffer->upload();
        } catch (const runtime::RuntimeError&) {
        }
    }
}

void Device::pauseWhileQuiet() {
    // A loopback device renders only when asked and has no mixer of its own to pause. The wave
    // writer of OpenAL Soft 1.19 rewrites its file's header when it stops and goes on writing
    // the sound there, over the header, when it starts again.
    if (loopback || !alcIsExtensionPresent(device, "ALC_SOFT_pause_device") ||
        qstrcmp(alcGetString(device, ALC_ALL_DEVICES_SPECIFIER), "Wave File Writer") == 0)
        return;
    pauseMixer =
        reinterpret_cast<LPALCDEVICEPAUSESOFT>(alcGetProcAddress(device, "alcDevicePauseSOFT"));
    resumeMixer =
        reinterpret_cast<LPALCDEVICERESUMESOFT>(alcGetProcAddress(device, "alcDeviceResumeSOFT"));
    if (!pauseMixer || !resumeMixer) {
        pauseMixer = nullptr;
        return;
    }
    pauseMixer(device);
    paused = true;
}

void Device::watchForQuietFromNowOn() {
    if (!pauseMixer || quiet) return;
    if (!QCoreApplication::instance()) {
        wake();
        pauseMixer = nullptr;
        return;
    }
    quiet = std::make_unique<QTimer>();
    quiet->setSingleShot(true);
    QObject::connect(quiet.get(), &QTimer::timeout, [this] {
        makeCurrent();
        watchForQuiet();
        if (!quiet->isActive()) {
            pauseMixer(device);
            paused = true;
        }
    });
}

void Device::wake() {
    if (!paused) return;
    resumeMixer(device);
    paused = false;
}

// Arms the quiet timer for the end of the longest sound still playing, plus the margin; the
// timer stays off when nothing plays any more, so its handler then pauses.
void Device::watchForQuiet() {
    if (!quiet) return;
    int longest = -1;
    for (const Voice& v : voices) {
        ALint state = AL_STOPPED, looping = AL_FALSE, offset = 0;
        alGetSourcei(v.source, AL_SOURCE_STATE, &state);
        if (state != AL_PLAYING) continue;
        alGetSourcei(v.source, AL_LOOPING, &looping);
        alGetSourcei(v.source, AL_SAMPLE_OFFSET, &offset);
        const int left =
            looping ? kLoopCheckMs : static_cast<int>((v.frames - offset) * 1000LL / v.rate) + 1;
        longest = std::max(longest, left);
    }
    if (longest >= 0)
        quiet->start(longest + kQuietMs);
    else
        quiet->stop();
}

} // namespace dx
