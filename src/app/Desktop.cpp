#include "Desktop.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <wayland-client.h>

namespace desktop {
namespace {

bool Set(const char* name) {
    const char* value = std::getenv(name);
    return value && *value;
}

void Announced(void* decorates, wl_registry*, uint32_t, const char* interface, uint32_t) {
    if (std::strcmp(interface, "zxdg_decoration_manager_v1") == 0)
        *static_cast<bool*>(decorates) = true;
}

void Withdrawn(void*, wl_registry*, uint32_t) {}

const wl_registry_listener Listener{Announced, Withdrawn};

} // namespace

void ChoosePlatform() {
    // The toolkit takes Wayland only in a session that says so. A socket handed over by the
    // compositor can be connected once, and that once is the toolkit's.
    const char* session = std::getenv("XDG_SESSION_TYPE");
    if (Set("QT_QPA_PLATFORM") || !session || std::strcmp(session, "wayland") != 0 ||
        !Set("DISPLAY") || Set("WAYLAND_SOCKET"))
        return;
    wl_display* display = wl_display_connect(nullptr);
    if (!display) return;
    bool decorates = false;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &Listener, &decorates);
    // One round trip: the compositor announces every global before it answers.
    const bool answered = wl_display_roundtrip(display) >= 0;
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    if (answered && !decorates) setenv("QT_QPA_PLATFORM", "xcb", 1);
}

} // namespace desktop
