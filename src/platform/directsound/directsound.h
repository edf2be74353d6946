#pragma once
// The sound device as the game knows it: a root object, a device and sound buffers made from
// WAV files, over OpenAL Soft. Every failing call raises runtime::RuntimeError.

#include "runtime.h"

#include <QObject>
#include <QString>
#include <memory>
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

class DirectSound;
class DirectSoundBuffer;
struct DecodedWave;
struct Device;
struct Events;

// Points the sound library at a configuration of short mixing periods, through the environment:
// call it before other threads start, which may read the environment meanwhile. Opening the
// first device does it too.
void ConfigureDriver();

class DirectX7 {
  public:
    DirectX7();
    ~DirectX7();

    // "" is the default sound device; any other name is a device the machine does not have.
    std::shared_ptr<DirectSound> DirectSoundCreate(const QString& guid);

    // A handle for a buffer's stop notification. The game passes the main window as the
    // owner, which has no handler for it: the notification is never delivered.
    Long CreateEvent(QObject* owner);
    void DestroyEvent(Long eventId);

  private:
    std::shared_ptr<Events> events_;
};

class DirectSound {
  public:
    DirectSound(std::shared_ptr<Device> device, std::shared_ptr<Events> events);
    ~DirectSound();

    void SetCooperativeLevel(Long hWnd, Long level);
    std::shared_ptr<DirectSoundBuffer>
    CreateSoundBufferFromFile(const QString& fileName, DSBUFFERDESC& desc, WAVEFORMATEX& format);
    // The program carries no resources: always an error.
    std::shared_ptr<DirectSoundBuffer> CreateSoundBufferFromResource(const QString& module,
                                                                     const QString& name,
                                                                     DSBUFFERDESC& desc,
                                                                     WAVEFORMATEX& format);

    Device& device() const { return *device_; }

  private:
    std::shared_ptr<Device> device_;
    std::shared_ptr<Events> events_;
    Long cooperativeLevel_ = 0;
};

class DirectSoundBuffer {
  public:
    struct Data;
    DirectSoundBuffer(std::shared_ptr<Device> device, std::shared_ptr<Events> events,
                      Long flags, const QString& fileName, const DecodedWave& wave);
    ~DirectSoundBuffer();
    DirectSoundBuffer(const DirectSoundBuffer&) = delete;
    DirectSoundBuffer& operator=(const DirectSoundBuffer&) = delete;

    // Positions are bytes of 32-bit float frames of the sound's own channels.
    void SetCurrentPosition(Long position);
    Long GetCurrentPosition();
    // Starts at the current position and returns at once; a playing buffer goes on where it is.
    void Play(Long flags);
    // Stops where it is; the position is kept.
    void Stop();
    Long GetStatus();
    void SetNotificationPositions(Long count, const std::vector<DSBPOSITIONNOTIFY>& positions);

  private:
    std::unique_ptr<Data> d_;
};

} // namespace dx
