#pragma once
// A picture area of a window: shows a persistent surface that bit-block transfers write
// through its device context, works in pixels, and reports mouse presses in those pixels.

#include "gdi.h"

#include <QCursor>
#include <QImage>
#include <QWidget>

class PictureBox : public QWidget {
    Q_OBJECT
  public:
    explicit PictureBox(QWidget* parent = nullptr);
    ~PictureBox() override;

    // Single-line three-dimensional border of 2 pixels on each side, or none.
    void setBorder3D(bool on);
    int borderWidth() const;
    // Sizes itself to its picture.
    void setAutoSize(bool on);

    // The picture: shown, and copied into the surface; an auto-sized area takes its size.
    void setPicture(const QImage& picture);

    // A device context over the surface, for BitBlt; valid while the area lives.
    gdi::HDC hDC();
    // Inside size in the area's scale: pixels here; an area with another scale overrides them.
    virtual double ScaleWidth() const;
    virtual double ScaleHeight() const;

    // The mouse pointer codes the game uses: the default arrow, the no-drop pointer, and the
    // area's own icon.
    enum Pointer { Default = 0, NoDrop = 12, Custom = 99 };
    void setMousePointer(int code);
    int mousePointer() const { return pointer_; }
    void setMouseIcon(const QCursor& icon);

    const QImage& surface() const { return surface_; }

    // Whole device pixels per surface pixel along each axis: the screen's device-pixel
    // ratio rounded to the nearest integer (1.5 shows as 2), at least 1. Keeps every
    // surface pixel a sharp, uniform square on scaled screens.
    int pixelFactor() const;

  signals:
    // Button (1 left, 2 right, 4 middle), shift state, and the point in pixels of the area.
    void MouseDown(int button, int shift, double x, double y);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;

  private:
    void applyCursor();
    void resizeSurface(int w, int h);
    void fitToSurface();
    // Widget units per surface pixel.
    double viewScale() const;
    // Where surface pixels show, in widget units.
    QRect shownRect(const QRect& pixels) const;
    // Where the surface's corner lies on the window's device pixels when the area's corner
    // lies at `areaCorner`: a fractional ratio can put the area between device pixels, the
    // surface goes to the nearest whole one.
    QPointF surfaceCorner(QPointF areaCorner) const;
    // Where the surface's corner shows, in widget units.
    QPointF shownCorner() const;

    QImage surface_;
    gdi::HDC dc_ = 0;
    bool border3D_ = false;
    bool autoSize_ = false;
    int pointer_ = 0;
    QCursor icon_;
    bool hasIcon_ = false;
};

// Reads a bitmap or icon file as a picture; a missing or unreadable file is a run-time error.
QImage LoadPicture(const QString& fileName);
// Reads an icon file as a mouse pointer whose hot spot is the icon's centre; a missing or
// unreadable file is a run-time error.
QCursor LoadCursorIcon(const QString& fileName);
