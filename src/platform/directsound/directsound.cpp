#include "directsound.h"

#include "dsdevice.h"
#include "wavfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryFile>
#include <QTimer>

namespace dx {

namespace {

std::optional<test::LoopbackFormat>& loopbackFormat() {
    static std::optional<test::LoopbackFormat> format;
    return format;
}
std::optional<std::string>& deviceNameOverride() {
    static std::optional<std::string> name;
    return name;
}
int& periodOverride() {
    static int frames = 0;
    return frames;
}

// OpenAL Soft 1.19 ignores ALC_REFRESH on a real device; its mixing period and queue come only
// from its configuration, read once when the library starts (at the first device opened). Unless
// the user points it at a configuration of their own, hand it a small one asking for short
// periods, for as long as that first open lasts.
class DriverConfiguration {
  public:
    DriverConfiguration() {
        static bool done = false;
        if (done) return;
        done = true;
        if (qEnvironmentVariableIsSet("ALSOFT_CONF") || periodOverride() < 0) return;
        file_ = std::make_unique<QTemporaryFile>(QDir::tempPath() +
                                                 QStringLiteral("/morvel-alsoft-XXXXXX.conf"));
        if (!file_->open()) return;
        const int frames = periodOverride() > 0 ? periodOverride() : kPeriodFrames;
        file_->write(QStringLiteral("[general]\nperiod_size=%1\nperiods=%2\n")
                         .arg(frames)
                         .arg(kPeriods)
                         .toUtf8());
        file_->flush();
        qputenv("ALSOFT_CONF", QFile::encodeName(file_->fileName()));
    }
    ~DriverConfiguration() {
        if (file_) qunsetenv("ALSOFT_CONF");
    }

  private:
    std::unique_ptr<QTemporaryFile> file_;
};

} // namespace

DirectXEvent::DirectXEvent(Long eventId) : QEvent(eventType()), eventId_(eventId) {}

QEvent::Type DirectXEvent::eventType() {
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

DirectX7::DirectX7() : events_(std::make_shared<EventTable>()) {}
DirectX7::~DirectX7() = default;

namespace {

std::shared_ptr<Device> openLoopback(const test::LoopbackFormat& format) {
    const DriverConfiguration configuration;
    if (!alcIsExtensionPresent(nullptr, "ALC_SOFT_loopback"))
        fail(DSERR_NODRIVER, QStringLiteral("No loopback sound device"));
    auto open = reinterpret_cast<LPALCLOOPBACKOPENDEVICESOFT>(
        alcGetProcAddress(nullptr, "alcLoopbackOpenDeviceSOFT"));
    auto supported = reinterpret_cast<LPALCISRENDERFORMATSUPPORTEDSOFT>(
        alcGetProcAddress(nullptr, "alcIsRenderFormatSupportedSOFT"));
    auto device = std::make_shared<Device>();
    device->loopback = true;
    device->render = reinterpret_cast<LPALCRENDERSAMPLESSOFT>(
        alcGetProcAddress(nullptr, "alcRenderSamplesSOFT"));
    device->channels = format.channels;
    device->rate = format.sampleRate;
    if (!open || !supported || !device->render)
        fail(DSERR_NODRIVER, QStringLiteral("No loopback sound device"));
    device->device = open(nullptr);
    if (!device->device) fail(DSERR_NODRIVER, QStringLiteral("No loopback sound device"));
    const ALCint channels = format.channels == 2 ? ALC_STEREO_SOFT : ALC_MONO_SOFT;
    if (!supported(device->device, format.sampleRate, channels, ALC_FLOAT_SOFT))
        fail(DSERR_NODRIVER, QStringLiteral("Loopback format not supported"));
    // No limiter and no virtual surround: the mix comes out as the plain sum of the sounds.
    const ALCint attrs[] = {ALC_FORMAT_CHANNELS_SOFT,
                            channels,
                            ALC_FORMAT_TYPE_SOFT,
                            ALC_FLOAT_SOFT,
                            ALC_FREQUENCY,
                            format.sampleRate,
                            ALC_HRTF_SOFT,
                            ALC_FALSE,
                            ALC_OUTPUT_LIMITER_SOFT,
                            ALC_FALSE,
                            0};
    device->context = alcCreateContext(device->device, attrs);
    if (!device->context) fail(E_FAIL, QStringLiteral("Loopback sound device has no context"));
    return device;
}

std::shared_ptr<Device> openDefault() {
    LoadOpenAL();
    const DriverConfiguration configuration;
    auto device = std::make_shared<Device>();
    const auto& name = deviceNameOverride();
    device->device = alcOpenDevice(name ? name->c_str() : nullptr);
    if (!device->device) fail(DSERR_NODRIVER, QStringLiteral("No sound device is available"));
    return device;
}

} // namespace

std::shared_ptr<DirectSound> DirectX7::DirectSoundCreate(const QString& guid) {
    if (!guid.isEmpty()) fail(DSERR_NODRIVER, QStringLiteral("No sound device %1").arg(guid));
    LoadOpenAL();
    std::shared_ptr<Device> device =
        loopbackFormat() ? openLoopback(*loopbackFormat()) : openDefault();
    return std::make_shared<DirectSound>(std::move(device), events_);
}

Long DirectX7::CreateEvent(QObject* owner) {
    if (!owner) fail(E_INVALIDARG, QStringLiteral("An event needs an owner"));
    const Long id = events_->next++;
    events_->owners[id] = owner;
    return id;
}

void DirectX7::DestroyEvent(Long eventId) {
    if (events_->owners.erase(eventId) == 0)
        fail(E_INVALIDARG, QStringLiteral("No event %1").arg(eventId));
}

DirectSound::DirectSound(std::shared_ptr<Device> device, std::shared_ptr<EventTable> events)
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
                                                                          WAVEFORMATEX& format) {
    (void)format; // the buffer keeps the file's own format
    if (cooperativeLevel_ == 0)
        fail(DSERR_INVALIDCALL, QStringLiteral("No cooperative level set before loading %1")
                                    .arg(QDir::toNativeSeparators(fileName)));
    return std::make_shared<DirectSoundBuffer>(device_, events_, desc.lFlags, fileName,
                                               DecodeWaveFile(fileName));
}

std::shared_ptr<DirectSoundBuffer>
DirectSound::CreateSoundBufferFromResource(const QString& module, const QString& name,
                                           DSBUFFERDESC& desc, WAVEFORMATEX& format) {
    (void)module;
    (void)desc;
    (void)format;
    fail(DSERR_NOINTERFACE, QStringLiteral("Resource not found: %1").arg(name));
}

void DirectSound::MakeReadyAside(std::function<void()> made) {
    device_->makeAside(std::move(made));
}

void DirectSound::MakeReady() {
    device_->ensureReady();
}

std::vector<float> DirectSound::RenderLoopback(int frames) {
    if (!device_->loopback)
        fail(DSERR_INVALIDCALL, QStringLiteral("Only a loopback device renders on demand"));
    if (frames < 0) fail(E_INVALIDARG, QStringLiteral("Negative frame count"));
    device_->ensureReady();
    std::vector<float> out(static_cast<size_t>(frames) * device_->channels);
    if (frames > 0) device_->render(device_->device, out.data(), frames);
    return out;
}

bool DirectSound::isLoopback() const {
    return device_->loopback;
}
int DirectSound::sampleRate() const {
    device_->ensureReady();
    return device_->rate;
}

bool DirectSound::mixing() const {
    return device_->readyNow() && !device_->paused;
}

int DirectSound::mixerRefresh() const {
    device_->ensureReady();
    ALCint refresh = 0;
    alcGetIntegerv(device_->device, ALC_REFRESH, 1, &refresh);
    return refresh;
}

namespace test {
void UseLoopbackDevice(std::optional<LoopbackFormat> format) {
    loopbackFormat() = std::move(format);
}
void OverrideDeviceName(std::optional<std::string> name) {
    deviceNameOverride() = std::move(name);
}
} // namespace test

void SetDevicePeriod(int frames) {
    periodOverride() = frames;
}

} // namespace dx
