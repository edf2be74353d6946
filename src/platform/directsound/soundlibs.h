#pragma once
// The sound libraries are opened here, by the thread that first needs them (at start-up the
// second one), not by the program loader before main: with their codecs they are a dozen
// libraries that every start used to wait for before the toolkit could begin.

#ifndef AL_NO_PROTOTYPES
#define AL_NO_PROTOTYPES
#endif
#ifndef ALC_NO_PROTOTYPES
#define ALC_NO_PROTOTYPES
#endif
#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <memory>
#include <sndfile.h>

namespace dx {

// The OpenAL functions this layer calls, by their own names; null until LoadOpenAL.
#define MORVEL_OPENAL_FUNCTIONS(X)                                                             \
    X(LPALGETERROR, alGetError)                                                                \
    X(LPALISEXTENSIONPRESENT, alIsExtensionPresent)                                            \
    X(LPALGENBUFFERS, alGenBuffers)                                                            \
    X(LPALDELETEBUFFERS, alDeleteBuffers)                                                      \
    X(LPALBUFFERDATA, alBufferData)                                                            \
    X(LPALGENSOURCES, alGenSources)                                                            \
    X(LPALDELETESOURCES, alDeleteSources)                                                      \
    X(LPALSOURCEI, alSourcei)                                                                  \
    X(LPALSOURCEF, alSourcef)                                                                  \
    X(LPALSOURCE3F, alSource3f)                                                                \
    X(LPALGETSOURCEI, alGetSourcei)                                                            \
    X(LPALSOURCEPLAY, alSourcePlay)                                                            \
    X(LPALSOURCEPAUSE, alSourcePause)                                                          \
    X(LPALSOURCEREWIND, alSourceRewind)                                                        \
    X(LPALCOPENDEVICE, alcOpenDevice)                                                          \
    X(LPALCCLOSEDEVICE, alcCloseDevice)                                                        \
    X(LPALCCREATECONTEXT, alcCreateContext)                                                    \
    X(LPALCDESTROYCONTEXT, alcDestroyContext)                                                  \
    X(LPALCMAKECONTEXTCURRENT, alcMakeContextCurrent)                                          \
    X(LPALCGETCURRENTCONTEXT, alcGetCurrentContext)                                            \
    X(LPALCGETINTEGERV, alcGetIntegerv)                                                        \
    X(LPALCGETSTRING, alcGetString)                                                            \
    X(LPALCISEXTENSIONPRESENT, alcIsExtensionPresent)                                          \
    X(LPALCGETPROCADDRESS, alcGetProcAddress)

#define MORVEL_DECLARE(type, name) extern type name;
MORVEL_OPENAL_FUNCTIONS(MORVEL_DECLARE)
#undef MORVEL_DECLARE

// Before any device is opened, on any thread, as often as wanted. Raises runtime::RuntimeError
// (DSERR_NODRIVER) naming the library when it or one of its functions is missing.
void LoadOpenAL();

// The libsndfile functions the WAV reader calls. The decoder and its codecs hold a megabyte
// that the game needs only while it loads its sounds: the library stays open while someone
// holds what SndFile returned, and closes when the last holder lets go. A call while nobody
// holds it opens it, and raises runtime::RuntimeError naming it when it cannot.
struct SndFileLibrary {
    decltype(&::sf_open) open;
    decltype(&::sf_close) close;
    decltype(&::sf_readf_short) readShorts;
    decltype(&::sf_readf_float) readFloats;
    decltype(&::sf_error) error;
    decltype(&::sf_strerror) strerror;
};
std::shared_ptr<const SndFileLibrary> SndFile();

} // namespace dx
