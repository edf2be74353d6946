#pragma once
// What every window of the game shares: layouts given in twips at 12 twips a pixel, fonts
// given in points at that screen's 120 dots per inch, and a fixed single border without
// minimize or maximize button.

#include <QFont>
#include <QRect>

class QDialog;
class QLabel;
class QWidget;

namespace form {

constexpr int TwipsPerPixel = 12;
constexpr int px(int twips) {
    return twips / TwipsPerPixel;
}
constexpr QRect twips(int left, int top, int width, int height) {
    return QRect(px(left), px(top), px(width), px(height));
}

// Twips on a window whose laid-out pixel is shown `unit` pixels wide. Edges rather than sizes
// are rounded, so controls that touch as laid out still touch.
struct Scale {
    double unit = 1;
    int px(int twips) const;
    QRect rect(int left, int top, int width, int height) const;
    QSize size(int width, int height) const { return rect(0, 0, width, height).size(); }
    // The font at `unit` times its size, in points or in pixels as it is given.
    QFont font(QFont f) const;
};

// The default sans family at the pixel size the point size had on the laid-out screen.
QFont font(double points, bool bold, bool underline = false);

// Fixed border, close box and system menu only; the client area in twips.
void makeFixed(QDialog* dialog, const QString& caption);
void setClientSize(QDialog* dialog, int widthTwips, int heightTwips);

// A label as laid out: no border, wrapping at its width, text from the top.
QLabel* label(QWidget* parent, const QRect& geometry, const QString& text,
              Qt::Alignment align = Qt::AlignLeft);
// A borderless picture area sized to its picture.
QLabel* picture(QWidget* parent, QPoint topLeft, const QImage& image);

// Keeps a modal dialog with the window that opened it (and off the task bar) when shown.
void ownByActiveWindow(QDialog* dialog);

} // namespace form
