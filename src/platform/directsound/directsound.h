#pragma once
// The sound device as the game knows it: a root object, a device and sound buffers made from
// WAV files, over OpenAL Soft with the files decoded by libsndfile. Every failing call raises
// runtime::RuntimeError.

#include "runtime.h"

#include <QEvent>
#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace dx {

using runtime::Integer;
using runtime::Long;

struct WAVEFORMATEX {
    Integer nFormatTag = 0;
    Integer nChannels = 0;
    Long lSamplesPerSec = 0;
    Long lAvgBytesPerSec = 0;
    Integer nBlockAlign = 0;
    Integer nBitsPerSample = 0;
    Integer nSize = 0;
    Long lExtra = 0;
};

struct DSBUFFERDESC {
    Long lFlags = 0;
    Long lBufferBytes = 0;
    Long lReserved = 0;
    WAVEFORMATEX fxFormat;
    QString guid3DAlgorithm;
};

struct DSBPOSITIONNOTIFY {
    Long lOffset = 0;
    Long hEventNotify = 0;
};

inline constexpr Long DSSCL_NORMAL = 1;
inline constexpr Long DSSCL_PRIORITY = 2;
inline constexpr Long DSSCL_EXCLUSIVE = 3;
inline constexpr Long DSSCL_WRITEPRIMARY = 4;

inline constexpr Long DSBCAPS_CTRLFREQUENCY = 0x20;
inline constexpr Long DSBCAPS_CTRLPAN = 0x40;
inline constexpr Long DSBCAPS_CTRLVOLUME = 0x80;
inline constexpr Long DSBCAPS_CTRLPOSITIONNOTIFY = 0x100;

inline constexpr Long DSBPLAY_DEFAULT = 0;
inline constexpr Long DSBPLAY_LOOPING = 1;

inline constexpr Long DSBSTATUS_PLAYING = 1;
inline constexpr Long DSBSTATUS_LOOPING = 4;

inline constexpr Long DSBPN_OFFSETSTOP = -1;

inline constexpr Integer WAVE_FORMAT_PCM = 1;

// Error numbers the device raises, as the game's error handlers would see them.
inline constexpr Long E_FAIL = static_cast<Long>(0x80004005u);
inline constexpr Long E_INVALIDARG = static_cast<Long>(0x80070057u);
inline constexpr Long E_OUTOFMEMORY = static_cast<Long>(0x8007000Eu);
inline constexpr Long ERR_FILE_NOT_FOUND = static_cast<Long>(0x80070002u);
inline constexpr Long DSERR_NODRIVER = static_cast<Long>(0x88780078u);
inline constexpr Long DSERR_BADFORMAT = static_cast<Long>(0x88780064u);
inline constexpr Long DSERR_CONTROLUNAVAIL = static_cast<Long>(0x8878001Eu);
inline constexpr Long DSERR_INVALIDCALL = static_cast<Long>(0x88780032u);
inline constexpr Long DSERR_NOINTERFACE = static_cast<Long>(0x800401F0u);

// Posted to an event's owner when a buffer that carries the event stops, by Stop or at its end.
class DirectXEvent : public QEvent {
  public:
    explicit DirectXEvent(Long eventId);
    Long eventId() const { return eventId_; }
    static QEvent::Type eventType();

  private:
    Long eventId_;
};

class DirectSound;
class DirectSoundBuffer;
struct DecodedWave;
struct Device;
struct EventTable;

class DirectX7 {
  public:
    DirectX7();
    ~DirectX7();

    // "" is the default sound device; any other name is a device the machine does not have.
    std::shared_ptr<DirectSound> DirectSoundCreate(const QString& guid);

    // An event handle that a buffer signals when it stops; `owner` receives the signal.
    Long CreateEvent(QObject* owner);
    void DestroyEvent(Long eventId);

  private:
    std::shared_ptr<EventTable> events_;
};

class DirectSound {
  public:
    explicit DirectSound(std::shared_ptr<Device> device, std::shared_ptr<EventTable> events);
    ~DirectSound();

    void SetCooperativeLevel(Long hWnd, Long level);
    std::shared_ptr<DirectSoundBuffer>
    CreateSoundBufferFromFile(const QString& fileName, DSBUFFERDESC& desc, WAVEFORMATEX& format);
    // The program carries no resources: always an error.
    std::shared_ptr<DirectSoundBuffer> CreateSoundBufferFromResource(const QString& module,
                                                                     const QString& name,
                                                                     DSBUFFERDESC& desc,
                                                                     WAVEFORMATEX& format);

    // The device's context is made when first needed; start-up has it made on another thread
    // once the window shows: `made` then runs on this thread and should call MakeReady, which
    // waits for or makes the context and raises what failed.
    void MakeReadyAside(std::function<void()> made);
    void MakeReady();

    // Test support: the next `frames` frames of a loopback device's mix, interleaved floats.
    std::vector<float> RenderLoopback(int frames);
    bool isLoopback() const;
    int sampleRate() const;
    // Mixer updates per second the device settled on.
    int mixerRefresh() const;
    // False while the device is paused because nothing plays.
    bool mixing() const;

  private:
    std::shared_ptr<Device> device_;
    std::shared_ptr<EventTable> events_;
    Long cooperativeLevel_ = 0;
};

class DirectSoundBuffer {
  public:
    struct Data;
    DirectSoundBuffer(std::shared_ptr<Device> device, std::shared_ptr<EventTable> events,
                      Long flags, const QString& fileName, DecodedWave&& wave);
    ~DirectSoundBuffer();
    DirectSoundBuffer(const DirectSoundBuffer&) = delete;
    DirectSoundBuffer& operator=(const DirectSoundBuffer&) = delete;

    // Positions are bytes of the buffer's own format (GetFormat).
    void SetCurrentPosition(Long position);
    Long GetCurrentPosition();
    // Starts at the current position and returns at once; a playing buffer goes on where it is.
    void Play(Long flags);
    // Stops where it is; the position is kept.
    void Stop();
    Long GetStatus();
    void SetNotificationPositions(Long count, const std::vector<DSBPOSITIONNOTIFY>& positions);
    WAVEFORMATEX GetFormat() const;
    Long bufferBytes() const;

  private:
    void fireStopEvents();

    std::unique_ptr<Data> d_;
};

// Test support. Kept here so that tests exercise the real device code paths.
namespace test {

struct LoopbackFormat {
    int sampleRate = 22050;
    int channels = 1; // 1 or 2; output samples are floats
};
// While set, DirectSoundCreate("") opens OpenAL Soft's loopback device in this format, which
// renders only when asked, through DirectSound::RenderLoopback.
void UseLoopbackDevice(std::optional<LoopbackFormat> format);
// While set, DirectSoundCreate("") asks OpenAL for this device name instead of the default:
// a name the driver does not know makes the open fail exactly as with no device at all.
void OverrideDeviceName(std::optional<std::string> name);
} // namespace test

// Mixing period and queue length asked of a real device: short, so that a shot is heard at once
// (256 frames is 5.8 ms at 44.1 kHz).
inline constexpr int kPeriodFrames = 256;
inline constexpr int kPeriods = 3;
// Before the first device of the process opens: another period length, or negative for
// OpenAL's own defaults; for measurements.
void SetDevicePeriod(int frames);

} // namespace dx
