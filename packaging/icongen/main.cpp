// Renders the program's icon as PNG files for the desktop's hicolor theme:
// icongen <theme dir> <icon name> <size>...
// 16 and 32 are the window's own icon, pixel for pixel; every other size is the same
// sight-and-bird design drawn smoothly at that size, since scaling 32 pixels up blurs.

#include "ProgramIcon.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cstdio>

namespace {

// The window icon's design on a 16-unit grid, with strokes that stay near one unit but
// never thinner than a device pixel and a half.
QImage drawScalable(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, true);
    const double u = size / 16.0;
    const double stroke = std::max(1.5, 0.9 * u);
    const double half = stroke / 2;

    p.setPen(QPen(Qt::black, stroke));
    p.setBrush(Qt::white);
    p.drawEllipse(QRectF(0.5 * u + half, 0.5 * u + half, 15 * u - stroke, 15 * u - stroke));

    p.setPen(QPen(Qt::black, stroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    const QPointF wings[] = {
        {3.5 * u, 6 * u}, {5.5 * u, 5 * u}, {8 * u, 8 * u}, {10.5 * u, 5 * u}, {12.5 * u, 6 * u}};
    p.drawPolyline(wings, 5);

    p.setPen(QPen(Qt::black, stroke, Qt::SolidLine, Qt::FlatCap));
    const double c = size / 2.0, edge = 0.5 * u, far = 15.5 * u;
    p.drawLine(QPointF(c, edge), QPointF(c, 3 * u));
    p.drawLine(QPointF(c, 11 * u), QPointF(c, far));
    p.drawLine(QPointF(edge, c), QPointF(2.5 * u, c));
    p.drawLine(QPointF(13.5 * u, c), QPointF(far, c));
    p.end();
    return image;
}

QImage render(const QIcon& own, int size) {
    if (own.availableSizes().contains(QSize(size, size))) return own.pixmap(size, size).toImage();
    return drawScalable(size);
}

} // namespace

int main(int argc, char* argv[]) {
    QGuiApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: icongen <theme dir> <icon name> <size>...\n");
        return 2;
    }
    const QString theme = QString::fromLocal8Bit(argv[1]);
    const QString name = QString::fromLocal8Bit(argv[2]);
    const QIcon own = ProgramIcon();
    for (int i = 3; i < argc; ++i) {
        const int size = QByteArray(argv[i]).toInt();
        if (size < 16 || size > 1024) {
            std::fprintf(stderr, "icongen: bad size %s\n", argv[i]);
            return 2;
        }
        const QString dir = QStringLiteral("%1/%2x%2/apps").arg(theme).arg(size);
        const QString file = dir + u'/' + name + QStringLiteral(".png");
        QImage image = render(own, size);
        if (image.size() != QSize(size, size)) image = image.scaled(size, size);
        if (!QDir().mkpath(dir) || !image.save(file, "PNG")) {
            std::fprintf(stderr, "icongen: cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
