#pragma once
// Which of the toolkit's window systems the game runs on. A Wayland compositor that draws no
// title bars leaves the toolkit to draw its own, with buttons the game's fixed windows must
// not have, and lets no client place its dialogs; the game goes through the desktop's X server
// there, whose window manager frames and centres them. Nothing here uses the toolkit.

namespace desktop {

// Sets QT_QPA_PLATFORM to xcb when a Wayland session's compositor offers no server-side
// decorations and an X display is at hand. A platform the player chose stays. Call it before
// the application object exists and before any second thread starts: it may change the
// environment.
void ChoosePlatform();

} // namespace desktop
