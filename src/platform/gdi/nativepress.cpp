#include "nativepress.h"

#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <QWindow>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace nativepress {

namespace {

class PressFilter : public QAbstractNativeEventFilter {
  public:
    explicit PressFilter(xcb_connection_t* connection) {
        // Qt takes the pointer through the input extension when the server has it.
        const xcb_query_extension_reply_t* xi = xcb_get_extension_data(connection, &xcb_input_id);
        inputOpcode_ = xi && xi->present ? xi->major_opcode : -1;
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override {
        if (type != "xcb_generic_event_t") return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const int kind = event->response_type & 0x7f;
        if (kind == XCB_BUTTON_PRESS) {
            const auto* press = static_cast<const xcb_button_press_event_t*>(message);
            window_ = press->event;
            at_ = QPointF(press->event_x, press->event_y);
        } else if (kind == XCB_GE_GENERIC) {
            const auto* generic = static_cast<const xcb_ge_generic_event_t*>(message);
            if (generic->extension != inputOpcode_ || generic->event_type != XCB_INPUT_BUTTON_PRESS)
                return false;
            const auto* press = static_cast<const xcb_input_button_press_event_t*>(message);
            window_ = press->event;
            at_ = QPointF(press->event_x / 65536.0, press->event_y / 65536.0); // 16.16 fixed
        }
        return false;
    }

    std::optional<QPointF> last(const QWindow* window) const {
        if (!window_ || !window || window->winId() != window_) return std::nullopt;
        return at_;
    }

  private:
    int inputOpcode_ = -1;
    xcb_window_t window_ = 0;
    QPointF at_;
};

PressFilter* filter = nullptr;

} // namespace

void Watch() {
    if (filter || !qGuiApp) return;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection()) return;
    filter = new PressFilter(x11->connection()); // listens for the rest of the program
    qGuiApp->installNativeEventFilter(filter);
}

std::optional<QPointF> Last(const QWindow* window) {
    return filter ? filter->last(window) : std::nullopt;
}

} // namespace nativepress
