#include "directsound.h"

#include "dsdevice.h"
#include "dstest.h"
#include "wavfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryFile>
#include <algorithm>

namespace dx {

namespace {

std::optional<test::LoopbackFormat> loopbackFormat;
std::optional<std::string> deviceName;

// Past the end of the last sound, the mixer still has its queue to play out, and a game
// plays its next sound soon: wait this long before pausing.
constexpr int QuietMs = 250;
// A looping sound never ends; look again this often while one plays.
constexpr int LoopCheckMs = 1000;

// OpenAL Soft 1.19 ignores ALC_REFRESH on a real device; its mixing period and queue come only
// from its configuration, read once when the library starts, at its first call. Unless the
// user points it at a configuration of their own, it is handed a small one asking for short
// periods (256 frames, 5.8 ms at 44.1 kHz) so that a shot is heard at once, until the first
// device has opened.
std::unique_ptr<QTemporaryFile> configuration;

} // namespace

void ConfigureDriver() {
    static bool done = false;
    if (std::exchange(done, true) || qEnvironmentVariableIsSet("ALSOFT_CONF")) return;
    configuration = std::make_unique<QTemporaryFile>(QDir::tempPath() +
                                                     QStringLiteral("/morvel-alsoft-XXXXXX.conf"));
    if (configuration->open() && configuration->write("[general]\nperiod_size=256\nperiods=3\n") > 0 &&
        configuration->flush())
        qputenv("ALSOFT_CONF", QFile::encodeName(configuration->fileName()));
}

namespace {

template <class F> F function(ALCdevice* device, const char* name) {
    return reinterpret_cast<F>(alcGetProcAddress(device, name));
}

std::shared_ptr<Device> openDefault() {
    ALCdevice* device = alcOpenDevice(deviceName ? deviceName->c_str() : nullptr);
    if (!device) fail(DSERR_NODRIVER, QStringLiteral("No sound device is available"));
    // The game uses no effects: without auxiliary sends every voice is smaller.
    const ALCint attrs[] = {ALC_MAX_AUXILIARY_SENDS, 0, 0};
    auto made = std::make_shared<Device>(device, alcCreateContext(device, attrs));
    // A loopback device renders only when asked and has no mixer of its own to pause. The wave
    // writer of OpenAL Soft 1.19 rewrites its file's header when it stops and goes on writing
    // the sound there, over the header, when it starts again.
    if (alcIsExtensionPresent(device, "ALC_SOFT_pause_device") &&
        qstrcmp(alcGetString(device, ALC_ALL_DEVICES_SPECIFIER), "Wave File Writer") != 0 &&
        QCoreApplication::instance()) {
        made->pause = function<LPALCDEVICEPAUSESOFT>(device, "alcDevicePauseSOFT");
        made->resume = function<LPALCDEVICERESUMESOFT>(device, "alcDeviceResumeSOFT");
    }
    if (made->pause && made->resume) {
        made->pause(device);
        made->paused = true;
    }
    return made;
}

std::shared_ptr<Device> openLoopback(const test::LoopbackFormat& format) {
    auto open = function<LPALCLOOPBACKOPENDEVICESOFT>(nullptr, "alcLoopbackOpenDeviceSOFT");
    ALCdevice* device = open ? open(nullptr) : nullptr;
    if (!device) fail(DSERR_NODRIVER, QStringLiteral("No loopback sound device"));
    // No limiter and no virtual surround: the mix comes out as the plain sum of the sounds.
    const ALCint channels = format.channels == 2 ? ALC_STEREO_SOFT : ALC_MONO_SOFT;
    const ALCint attrs[] = {ALC_FORMAT_CHANNELS_SOFT, channels, ALC_FORMAT_TYPE_SOFT,
                            ALC_FLOAT_SOFT,           ALC_FREQUENCY, format.sampleRate,
                            ALC_HRTF_SOFT,            ALC_FALSE,     ALC_OUTPUT_LIMITER_SOFT,
                            ALC_FALSE,                ALC_MAX_AUXILIARY_SENDS, 0,
                            0};
    auto made = std::make_shared<Device>(device, alcCreateContext(device, attrs));
    made->channels = format.channels;
    made->render = function<LPALCRENDERSAMPLESSOFT>(device, "alcRenderSamplesSOFT");
    if (!made->render) fail(DSERR_NODRIVER, QStringLiteral("No loopback sound device"));
    return made;
}

} // namespace

Device::Device(ALCdevice* opened, ALCcontext* made) : OpenedDevice{opened, made} {
    if (!context) fail(E_FAIL, QStringLiteral("The sound device refused a context"));
    select();
    if (!alIsExtensionPresent("AL_EXT_FLOAT32"))
        fail(DSERR_NODRIVER, QStringLiteral("The sound device cannot play float samples"));
    quiet.setSingleShot(true);
    QObject::connect(&quiet, &QTimer::timeout, [this] {
        select();
        watchForQuiet();
        if (!quiet.isActive()) {
            pause(device);
            paused = true;
        }
    });
}

OpenedDevice::~OpenedDevice() {
    if (context) {
        if (alcGetCurrentContext() == context) alcMakeContextCurrent(nullptr);
        alcDestroyContext(context);
    }
    alcCloseDevice(device);
}

void Device::select() const {
    if (alcGetCurrentContext() != context && !alcMakeContextCurrent(context))
        fail(E_FAIL, QStringLiteral("Sound device could not be made current"));
    alGetError();
}

void Device::wake() {
    if (!paused) return;
    resume(device);
    paused = false;
}

// Arms the quiet timer for the end of the longest sound still playing, plus the margin; the
// timer stays off when nothing plays any more, so its handler then pauses.
void Device::watchForQuiet() {
    if (!pause) return;
    int longest = -1;
    for (const Voice& v : voices) {
        ALint state = AL_STOPPED, looping = AL_FALSE, offset = 0;
        alGetSourcei(v.source, AL_SOURCE_STATE, &state);
        if (state != AL_PLAYING) continue;
        alGetSourcei(v.source, AL_LOOPING, &looping);
        alGetSourcei(v.source, AL_SAMPLE_OFFSET, &offset);
        const int left =
            looping ? LoopCheckMs : static_cast<int>((v.frames - offset) * 1000LL / v.rate) + 1;
        longest = std::max(longest, left);
    }
    if (longest >= 0)
        quiet.start(longest + QuietMs);
    else
        quiet.stop();
}

DirectX7::DirectX7() : events_(std::make_shared<Events>()) {}
DirectX7::~DirectX7() = default;

std::shared_ptr<DirectSound> DirectX7::DirectSoundCreate(const QString& guid) {
    if (!guid.isEmpty()) fail(DSERR_NODRIVER, QStringLiteral("No sound device %1").arg(guid));
    ConfigureDriver();
    std::shared_ptr<Device> device;
    if (loopbackFormat)
        device = openLoopback(*loopbackFormat);
    else
        device = openDefault();
    if (configuration) {
        qunsetenv("ALSOFT_CONF");
        configuration.reset();
    }
    return std::make_shared<DirectSound>(std::move(device), events_);
}

Long DirectX7::CreateEvent(QObject* owner) {
    if (!owner) fail(E_INVALIDARG, QStringLiteral("An event needs an owner"));
    events_->live.insert(events_->next);
    return events_->next++;
}

void DirectX7::DestroyEvent(Long eventId) {
    if (events_->live.erase(eventId) == 0)
        fail(E_INVALIDARG, QStringLiteral("No event %1").arg(eventId));
}

DirectSound::DirectSound(std::shared_ptr<Device> device, std::shared_ptr<Events> events)
    : device_(std::move(device)), events_(std::move(events)) {}
DirectSound::~DirectSound() = default;

void DirectSound::SetCooperativeLevel(Long hWnd, Long level) {
    if (hWnd == 0) fail(E_INVALIDARG, QStringLiteral("No window for the sound device"));
    if (level < DSSCL_NORMAL || level > DSSCL_WRITEPRIMARY)
        fail(E_INVALIDARG, QStringLiteral("Cooperative level %1 is not known").arg(level));
    cooperativeLevel_ = level;
}

std::shared_ptr<DirectSoundBuffer> DirectSound::CreateSoundBufferFromFile(const QString& fileName,
                                                                          DSBUFFERDESC& desc,
                                                                          WAVEFORMATEX&) {
    // The buffer keeps the file's own format, whatever the format record asks.
    if (cooperativeLevel_ == 0)
        fail(DSERR_INVALIDCALL, QStringLiteral("No cooperative level set before loading %1")
                                    .arg(QDir::toNativeSeparators(fileName)));
    return std::make_shared<DirectSoundBuffer>(device_, events_, desc.lFlags, fileName,
                                               DecodeWaveFile(fileName));
}

std::shared_ptr<DirectSoundBuffer> DirectSound::CreateSoundBufferFromResource(const QString&,
                                                                              const QString& name,
                                                                              DSBUFFERDESC&,
                                                                              WAVEFORMATEX&) {
    fail(DSERR_NOINTERFACE, QStringLiteral("Resource not found: %1").arg(name));
}

namespace test {

void UseLoopbackDevice(std::optional<LoopbackFormat> format) {
    loopbackFormat = format;
}
void OverrideDeviceName(std::optional<std::string> name) {
    deviceName = std::move(name);
}

std::vector<float> Render(const DirectSound& sound, int frames) {
    Device& d = sound.device();
    if (!d.render) fail(DSERR_INVALIDCALL, QStringLiteral("Only a loopback device renders"));
    std::vector<float> out(static_cast<std::size_t>(std::max(frames, 0)) * d.channels);
    if (frames > 0) d.render(d.device, out.data(), frames);
    return out;
}

bool Mixing(const DirectSound& sound) {
    return !sound.device().paused;
}

} // namespace test

} // namespace dx
