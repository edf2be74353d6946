#include "ProgramIcon.h"

#include <QPainter>
#include <QPixmap>

QImage ProgramIconImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, size != 16 && size != 32);
    // Drawn on a grid of 16 units; outside the sight's ring is transparent.
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
    return image;
}

QIcon ProgramIcon() {
    QIcon icon;
    icon.addPixmap(QPixmap::fromImage(ProgramIconImage(16)));
    icon.addPixmap(QPixmap::fromImage(ProgramIconImage(32)));
    return icon;
}
