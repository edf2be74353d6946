#include "ImageList.h"

#include <QBitmap>
#include <QPainter>
#include <QPixmap>
#include <QPolygon>
#include <stdexcept>

namespace {

using Glyph = void (*)(QPainter&);

void square(QPainter& p) {
    p.drawRect(4, 4, 8, 8);
}
void record(QPainter& p) {
    p.drawEllipse(4, 4, 8, 8);
}
void arrowRight(QPainter& p) {
    p.drawRect(2, 6, 7, 4);
    p.drawPolygon(QPolygon({QPoint(8, 2), QPoint(14, 8), QPoint(8, 14)}));
}
void rewind(QPainter& p) {
    p.drawPolygon(QPolygon({QPoint(8, 3), QPoint(3, 8), QPoint(8, 13)}));
    p.drawPolygon(QPolygon({QPoint(13, 3), QPoint(8, 8), QPoint(13, 13)}));
}
void letterI(QPainter& p) {
    p.drawRect(7, 2, 2, 2);
    p.drawRect(6, 6, 3, 1);
    p.drawRect(7, 6, 2, 7);
    p.drawRect(5, 12, 6, 2);
}
void minus(QPainter& p) {
    p.drawRect(3, 7, 10, 2);
}
void note(QPainter& p) {
    p.drawEllipse(3, 10, 5, 4);
    p.drawRect(7, 2, 1, 10);
    p.drawPolygon(QPolygon({QPoint(8, 2), QPoint(12, 5), QPoint(12, 7), QPoint(8, 5)}));
}
void pauseBars(QPainter& p) {
    p.drawRect(4, 3, 3, 10);
    p.drawRect(9, 3, 3, 10);
}
void eject(QPainter& p) {
    p.drawPolygon(QPolygon({QPoint(8, 3), QPoint(13, 9), QPoint(3, 9)}));
    p.drawRect(3, 11, 11, 2);
}
void triangleRight(QPainter& p) {
    p.drawPolygon(QPolygon({QPoint(5, 3), QPoint(12, 8), QPoint(5, 13)}));
}
void plus(QPainter& p) {
    p.drawRect(3, 7, 10, 2);
    p.drawRect(7, 3, 2, 10);
}
void question(QPainter& p) {
    p.drawRect(5, 3, 6, 2);
    p.drawRect(10, 4, 2, 4);
    p.drawRect(7, 7, 4, 2);
    p.drawRect(7, 9, 2, 2);
    p.drawRect(7, 12, 2, 2);
}

// Images 2, 4, 9 and 12 are in the list for completeness; no button shows them.
constexpr Glyph glyphs[ImageList::Count] = {square,  record,        arrowRight, rewind,
                                            letterI, minus,         note,       pauseBars,
                                            eject,   triangleRight, plus,       question};

QImage drawImage(Glyph glyph) {
    QImage image(ImageList::Size, ImageList::Size, QImage::Format_RGB32);
    image.fill(ImageList::MaskColor);
    QPainter p(&image);
    // Crisp, single-colour pixels: no smoothing, so the mask colour stays exact.
    p.setRenderHint(QPainter::Antialiasing, false);
    p.fillRect(1, 1, ImageList::Size - 2, ImageList::Size - 2, Qt::white);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::black);
    glyph(p);
    p.end();
    return image;
}

} // namespace

ImageList::ImageList() {
    for (int i = 0; i < Count; ++i)
        images_[i] = drawImage(glyphs[i]);
}

const QImage& ImageList::ListImage(int index) const {
    if (index < 1 || index > Count) throw std::out_of_range("ImageList index");
    return images_[index - 1];
}

QIcon ImageList::icon(int index) const {
    QIcon icon;
    // Enlarged by whole factors beforehand, so that a scaled screen shows sharp glyphs rather
    // than smoothed ones.
    for (int k = 1; k <= 4; ++k) {
        const QImage image = ListImage(index).scaled(Size * k, Size * k, Qt::IgnoreAspectRatio,
                                                     Qt::FastTransformation);
        QPixmap pixmap = QPixmap::fromImage(image);
        pixmap.setMask(QBitmap::fromImage(image.createMaskFromColor(MaskColor, Qt::MaskInColor)));
        icon.addPixmap(pixmap);
    }
    return icon;
}
