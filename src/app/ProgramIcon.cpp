#include "ProgramIcon.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>

namespace {

// Black on white, as a two-colour icon would be; outside the sight's ring is transparent.
QPixmap drawIcon(int size) {
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, false);
    const double s = size / 16.0;
    const QRectF ring(0.5 * s, 0.5 * s, 15 * s - 1, 15 * s - 1);

    p.setPen(QPen(Qt::black, s));
    p.setBrush(Qt::white);
    p.drawEllipse(ring);

    // A bird with raised wings in the middle of the sight.
    p.setPen(QPen(Qt::black, s, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    p.setBrush(Qt::NoBrush);
    const QPointF wings[] = {
        {3.5 * s, 6 * s}, {5.5 * s, 5 * s}, {8 * s, 8 * s}, {10.5 * s, 5 * s}, {12.5 * s, 6 * s}};
    p.drawPolyline(wings, 5);

    // The cross-hair's four ticks, leaving the bird clear.
    const double c = size / 2.0;
    p.drawLine(QPointF(c, 0.5 * s), QPointF(c, 3 * s));
    p.drawLine(QPointF(c, 11 * s), QPointF(c, 15.5 * s - 1));
    p.drawLine(QPointF(0.5 * s, c), QPointF(2.5 * s, c));
    p.drawLine(QPointF(13.5 * s, c), QPointF(15.5 * s - 1, c));
    p.end();
    return QPixmap::fromImage(image);
}

} // namespace

QIcon ProgramIcon() {
    QIcon icon;
    icon.addPixmap(drawIcon(16));
    icon.addPixmap(drawIcon(32));
    return icon;
}
