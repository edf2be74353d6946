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

    // The cross-hair's four ticks, short enough to leave the bird clear.
    const double c = size / 2.0;
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::black);
    p.drawRect(QRectF(c - s, 0, 2 * s, 3 * s));
    p.drawRect(QRectF(c - s, 13 * s, 2 * s, 3 * s));
    p.drawRect(QRectF(0, c - s, 3 * s, 2 * s));
    p.drawRect(QRectF(13 * s, c - s, 3 * s, 2 * s));

    // A bird with raised wings, filled so that it reads at 16 pixels too.
    const QPointF bird[] = {{3 * s, 5 * s},  {6 * s, 6 * s},  {8 * s, 8 * s},  {10 * s, 6 * s},
                            {13 * s, 5 * s}, {11 * s, 8 * s}, {8 * s, 11 * s}, {5 * s, 8 * s}};
    p.drawPolygon(bird, 8);
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
