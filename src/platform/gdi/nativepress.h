#pragma once
// The device pixel of the last mouse press as the X server reported it. Qt's X11 platform
// hands a press over rounded to a whole logical pixel, which on a fractional scale spans one
// to two device pixels; picture areas take the exact pixel from here. Other platforms give
// Qt exact positions, and this reports nothing there.

#include <QPointF>
#include <optional>

class QWindow;

namespace nativepress {

// Starts listening to the X server's events, once, when the program runs on X11.
void Watch();
// The last press if it went to `window`: device pixels from the window's top-left corner.
std::optional<QPointF> Last(const QWindow* window);

} // namespace nativepress
