#pragma once
// The twelve 16 x 16 toolbar images, drawn here rather than read from files: black glyphs on
// a white tile, with silver as the colour that shows the button underneath.

#include <QIcon>
#include <QImage>
#include <QRgb>
#include <array>

class ImageList {
  public:
    static constexpr int Count = 12;
    static constexpr int Size = 16;
    static constexpr QRgb MaskColor = qRgb(192, 192, 192);

    ImageList();

    // 1-based, as the toolbar numbers them; the picture with its silver still in place.
    const QImage& ListImage(int index) const;
    // The picture with silver made transparent, ready for a button.
    QIcon icon(int index) const;

  private:
    std::array<QImage, Count> images_;
};
