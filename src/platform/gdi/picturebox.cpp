#include "picturebox.h"

#include "nativepress.h"
#include "runtime.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPixmap>
#include <algorithm>
#include <cmath>

namespace {

constexpr int Border3D = 2;

QRgb backColor(const QWidget& w) {
    return w.palette().color(QPalette::Window).rgb() | 0xFF000000u;
}

int buttonCode(Qt::MouseButton b) {
    switch (b) {
    case Qt::LeftButton:
        return 1;
    case Qt::RightButton:
        return 2;
    case Qt::MiddleButton:
        return 4;
    default:
        return 0;
    }
}

int shiftCode(Qt::KeyboardModifiers m) {
    return (m & Qt::ShiftModifier ? 1 : 0) | (m & Qt::ControlModifier ? 2 : 0) |
           (m & Qt::AltModifier ? 4 : 0);
}

// Qt hands a draw of 96 scan lines or more to its thread pool; for a bird-sized part that costs
// more in waking threads than the copy itself. Bands of fewer lines stay on this thread.
void drawInBands(QPainter& p, const QRect& target, const QImage& image, const QRect& source) {
    constexpr int Band = 64;
    for (int y = 0; y < target.height(); y += Band) {
        const int h = std::min(Band, target.height() - y);
        p.drawImage(QRect(target.x(), target.y() + y, target.width(), h), image,
                    QRect(source.x(), source.y() + y, source.width(), h));
    }
}

} // namespace

PictureBox::PictureBox(QWidget* parent) : QWidget(parent) {
    nativepress::Watch();
    // The border and the surface cover every pixel: nothing behind needs painting first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    dc_ = gdi::CreateSurfaceDC(&surface_, [this](std::span<const QRect> written) {
        // A hidden area (the back buffer) shows nothing to repaint.
        if (!isVisible()) return;
        for (const QRect& r : written)
            update(shownRect(r));
    });
    resizeSurface(int(ScaleWidth()), int(ScaleHeight()));
}

PictureBox::~PictureBox() {
    gdi::DeleteDC(dc_);
}

void PictureBox::setBorder3D(bool on) {
    border3D_ = on;
    if (autoSize_)
        fitToSurface();
    else
        resizeSurface(int(ScaleWidth()), int(ScaleHeight()));
    update();
}

int PictureBox::borderWidth() const {
    return border3D_ ? Border3D : 0;
}

void PictureBox::setAutoSize(bool on) {
    autoSize_ = on;
    if (on) {
        fitToSurface();
    } else {
        setMinimumSize(0, 0);
        setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    }
}

void PictureBox::setPicture(const QImage& picture) {
    if (autoSize_ && !picture.hasAlphaChannel()) {
        // Assigning keeps the QImage object that the device context points at.
        surface_ = picture.convertToFormat(QImage::Format_RGB32);
    } else {
        if (autoSize_) {
            surface_ = gdi::NewSurface(picture.width(), picture.height());
            surface_.fill(backColor(*this));
        }
        QPainter p(&surface_);
        p.drawImage(0, 0, picture);
    }
    if (autoSize_) fitToSurface();
    update();
}

gdi::HDC PictureBox::hDC() {
    return dc_;
}

double PictureBox::ScaleWidth() const {
    if (autoSize_) return surface_.width();
    return std::floor(std::max(0, width() - 2 * borderWidth()) / viewScale() + 1e-6);
}
double PictureBox::ScaleHeight() const {
    if (autoSize_) return surface_.height();
    return std::floor(std::max(0, height() - 2 * borderWidth()) / viewScale() + 1e-6);
}

int PictureBox::pixelFactor() const {
    return std::max(1, int(std::floor(devicePixelRatioF() + 0.5)));
}

double PictureBox::viewScale() const {
    return pixelFactor() / devicePixelRatioF();
}

void PictureBox::setMousePointer(int code) {
    pointer_ = code;
    applyCursor();
}

void PictureBox::setMouseIcon(const QCursor& icon) {
    icon_ = icon;
    hasIcon_ = true;
    applyCursor();
}

void PictureBox::applyCursor() {
    switch (pointer_) {
    case NoDrop:
        setCursor(Qt::ForbiddenCursor);
        break;
    case Custom:
        if (hasIcon_)
            setCursor(icon_);
        else
            unsetCursor();
        break;
    default:
        unsetCursor();
    }
}

void PictureBox::paintEvent(QPaintEvent* event) {
    QPainter p(this);
    // Pixels stay sharp on scaled screens: nearest neighbour, never smoothed.
    p.setRenderHint(QPainter::SmoothPixmapTransform, false);
    const int b = borderWidth();
    const double ratio = devicePixelRatioF();
    // On a fractional scale neither the border's lines nor the enlarged surface fill every
    // device pixel of the area; the rest shows the window's colour.
    if (ratio != 1.0)
        for (const QRect& r : event->region())
            p.fillRect(r, palette().color(QPalette::Window));
    if (b) {
        const int w = width(), h = height();
        p.setPen(QColor(160, 160, 160));
        p.drawLine(0, 0, w - 2, 0);
        p.drawLine(0, 0, 0, h - 2);
        p.setPen(QColor(105, 105, 105));
        p.drawLine(1, 1, w - 3, 1);
        p.drawLine(1, 1, 1, h - 3);
        p.setPen(Qt::white);
        p.drawLine(0, h - 1, w - 1, h - 1);
        p.drawLine(w - 1, 0, w - 1, h - 1);
        p.setPen(QColor(227, 227, 227));
        p.drawLine(1, h - 2, w - 2, h - 2);
        p.drawLine(w - 2, 1, w - 2, h - 2);
    }
    if (ratio == 1.0) {
        for (const QRect& r : event->region()) {
            const QRect exposed = r & QRect(b, b, surface_.width(), surface_.height());
            if (!exposed.isEmpty()) drawInBands(p, exposed, surface_, exposed.translated(-b, -b));
        }
        return;
    }
    // Enlarged by a whole factor and placed on a whole device pixel, every surface pixel
    // covers the same k x k device pixels; a fractional ratio leaves a sliver of background.
    // Only the surface pixels under the repainted parts are enlarged.
    const int k = pixelFactor();
    const QPointF at = shownCorner();
    const double step = k / ratio;
    for (const QRect& r : event->region()) {
        const QRect pixels = QRect(QPoint(int(std::floor((r.left() - at.x()) / step)),
                                          int(std::floor((r.top() - at.y()) / step))),
                                   QPoint(int(std::ceil((r.right() + 1 - at.x()) / step)) - 1,
                                          int(std::ceil((r.bottom() + 1 - at.y()) / step)) - 1)) &
                             surface_.rect();
        if (pixels.isEmpty()) continue;
        QImage shown = surface_.copy(pixels);
        if (k > 1)
            shown = shown.scaled(shown.size() * k, Qt::IgnoreAspectRatio, Qt::FastTransformation);
        shown.setDevicePixelRatio(ratio);
        p.drawImage(at + QPointF(pixels.x() * step, pixels.y() * step), shown);
    }
}

QPointF PictureBox::shownCorner() const {
    const double ratio = devicePixelRatioF();
    const QPointF offset = mapTo(window(), QPointF(0, 0));
    return surfaceCorner(offset * ratio) / ratio - offset;
}

QRect PictureBox::shownRect(const QRect& pixels) const {
    const int b = borderWidth();
    const double ratio = devicePixelRatioF();
    if (ratio == 1.0) return pixels.translated(b, b);
    const QPointF at = shownCorner();
    const double step = pixelFactor() / ratio;
    return QRect(QPoint(int(std::floor(at.x() + pixels.left() * step)),
                        int(std::floor(at.y() + pixels.top() * step))),
                 QPoint(int(std::ceil(at.x() + (pixels.right() + 1) * step)) - 1,
                        int(std::ceil(at.y() + (pixels.bottom() + 1) * step)) - 1));
}

void PictureBox::mousePressEvent(QMouseEvent* event) {
    const int button = buttonCode(event->button());
    // The surface pixel under the cursor, counted in device pixels from where paintEvent put
    // the surface; whole pixels, since the game rounds what it gets.
    const double ratio = devicePixelRatioF();
    const QPointF offset = mapTo(window(), QPointF(0, 0));
    QPointF device = (event->position() + offset) * ratio;
    // Where Qt rounded this press to a logical pixel, the window system's own is exact.
    const auto exact = nativepress::Last(window()->windowHandle());
    if (exact && std::abs(exact->x() - device.x()) < ratio &&
        std::abs(exact->y() - device.y()) < ratio)
        device = *exact;
    const QPointF in = (device - surfaceCorner(offset * ratio)) / pixelFactor();
    const QPointF at(std::floor(in.x() + 1e-6), std::floor(in.y() + 1e-6));
    // The border is not part of the area: presses on it report nothing.
    if (!button || at.x() < 0 || at.y() < 0 || at.x() >= ScaleWidth() || at.y() >= ScaleHeight())
        return;
    emit MouseDown(button, shiftCode(event->modifiers()), at.x(), at.y());
}

QPointF PictureBox::surfaceCorner(QPointF areaCorner) const {
    const double b = borderWidth() * devicePixelRatioF();
    return QPointF(std::round(areaCorner.x() + b), std::round(areaCorner.y() + b));
}

void PictureBox::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (!autoSize_) resizeSurface(int(ScaleWidth()), int(ScaleHeight()));
}

bool PictureBox::event(QEvent* event) {
    // Moved to a screen of another density: the whole factor, and so the size, may change.
    if (event->type() == QEvent::ScreenChangeInternal && autoSize_) fitToSurface();
    return QWidget::event(event);
}

void PictureBox::resizeSurface(int w, int h) {
    w = std::max(0, w);
    h = std::max(0, h);
    if (surface_.width() == w && surface_.height() == h && !surface_.isNull()) return;
    QImage next = gdi::NewSurface(w, h);
    next.fill(backColor(*this));
    if (!surface_.isNull()) {
        QPainter p(&next);
        p.drawImage(0, 0, surface_);
    }
    surface_ = next;
}

void PictureBox::fitToSurface() {
    const double v = viewScale();
    const auto fit = [v](int pixels) { return int(std::ceil(pixels * v - 1e-6)); };
    setFixedSize(fit(surface_.width()) + 2 * borderWidth(),
                 fit(surface_.height()) + 2 * borderWidth());
}
