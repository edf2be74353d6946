#include "soundlibs.h"

#include "directsound.h"

#include <dlfcn.h>
#include <mutex>

namespace dx {

#define MORVEL_DEFINE(type, name) type name = nullptr;
MORVEL_OPENAL_FUNCTIONS(MORVEL_DEFINE)
#undef MORVEL_DEFINE

namespace {

[[noreturn]] void missing(const char* library, const char* what) {
    throw runtime::RuntimeError(DSERR_NODRIVER, QStringLiteral("The sound library %1 %2")
                                                    .arg(QLatin1String(library),
                                                         QString::fromLocal8Bit(what)));
}

void* open(const char* library) {
    // OpenAL is never closed: its threads and the device outlive any caller.
    void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (!handle) missing(library, dlerror());
    return handle;
}

template <typename F> F symbol(void* handle, const char* library, const char* name) {
    void* address = dlsym(handle, name);
    if (!address) missing(library, (QByteArray("has no ") + name).constData());
    return reinterpret_cast<F>(address);
}

constexpr const char* kOpenAL = "libopenal.so.1";
constexpr const char* kSndFile = "libsndfile.so.1";

} // namespace

void LoadOpenAL() {
    // Once loaded by any thread, every later caller sees the functions (call_once orders it).
    static std::once_flag once;
    std::call_once(once, [] {
        void* handle = open(kOpenAL);
#define MORVEL_LOAD(type, name) name = symbol<type>(handle, kOpenAL, #name);
        MORVEL_OPENAL_FUNCTIONS(MORVEL_LOAD)
#undef MORVEL_LOAD
    });
}

std::shared_ptr<const SndFileLibrary> SndFile() {
    static std::mutex lock;
    static std::weak_ptr<const SndFileLibrary> held;
    std::lock_guard g(lock);
    if (auto library = held.lock()) return library;
    void* handle = dlopen(kSndFile, RTLD_NOW | RTLD_LOCAL);
    if (!handle) missing(kSndFile, dlerror());
    std::shared_ptr<const SndFileLibrary> library;
    try {
        library.reset(new SndFileLibrary{
                          symbol<decltype(&::sf_open)>(handle, kSndFile, "sf_open"),
                          symbol<decltype(&::sf_close)>(handle, kSndFile, "sf_close"),
                          symbol<decltype(&::sf_readf_short)>(handle, kSndFile, "sf_readf_short"),
                          symbol<decltype(&::sf_readf_float)>(handle, kSndFile, "sf_readf_float"),
                          symbol<decltype(&::sf_error)>(handle, kSndFile, "sf_error"),
                          symbol<decltype(&::sf_strerror)>(handle, kSndFile, "sf_strerror"),
                      },
                      [handle](const SndFileLibrary* functions) {
                          delete functions;
                          dlclose(handle);
                      });
    } catch (...) {
        dlclose(handle);
        throw;
    }
    held = library;
    return library;
}

} // namespace dx
