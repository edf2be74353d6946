#include "Art.h"
#include "Rng.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cmath>

namespace {


// A ridge line made of a few sines, sampled across the picture and closed at the bottom.
QPainterPath Ridge(double base, std::initializer_list<std::array<double, 3>> waves, int width,
                   int height) {
    QPainterPath p;
    p.moveTo(0, height);
    for (int x = 0; x <= width; x += 3) {
        double y = base;
        for (const auto& w : waves)
            y += w[0] * std::sin(x * w[1] + w[2]);
        p.lineTo(x, y);
    }
    p.lineTo(width, height);
    p.closeSubpath();
    return p;
}

void FluffyCloud(QPainter& g, QPointF at, double scale) {
    const double lumps[][3] = {{-34, 4, 16}, {-16, -8, 20}, {6, -14, 24}, {28, -4, 19},
                               {44, 6, 13},  {4, 6, 18},    {-20, 8, 14}};
    QPainterPath p;
    for (const auto& l : lumps)
        p.addEllipse(QPointF(at.x() + l[0] * scale, at.y() + l[1] * scale), l[2] * scale,
                     l[2] * scale);
    p.setFillRule(Qt::WindingFill);
    QLinearGradient grad(0, at.y() - 36 * scale, 0, at.y() + 22 * scale);
    grad.setColorAt(0, QColor(255, 255, 255, 235));
    grad.setColorAt(0.6, QColor(246, 250, 255, 230));
    grad.setColorAt(1, QColor(200, 214, 232, 225));
    g.setPen(Qt::NoPen);
    g.setBrush(grad);
    g.drawPath(p);
}

void Tree(QPainter& g, QPointF foot, double h, QColor leaf) {
    g.setPen(Qt::NoPen);
    g.setBrush(QColor(0x5a, 0x3a, 0x20));
    g.drawRect(QRectF(foot.x() - h * 0.06, foot.y() - h * 0.45, h * 0.12, h * 0.45));
    QPainterPath crown;
    crown.addEllipse(QPointF(foot.x(), foot.y() - h * 0.70), h * 0.30, h * 0.32);
    crown.addEllipse(QPointF(foot.x() - h * 0.18, foot.y() - h * 0.52), h * 0.22, h * 0.2);
    crown.addEllipse(QPointF(foot.x() + h * 0.19, foot.y() - h * 0.54), h * 0.22, h * 0.2);
    QRadialGradient grad(QPointF(foot.x() - h * 0.1, foot.y() - h * 0.8), h * 0.55);
    grad.setColorAt(0, leaf.lighter(135));
    grad.setColorAt(1, leaf.darker(130));
    g.setBrush(grad);
    crown.setFillRule(Qt::WindingFill);
    g.drawPath(crown);
}

void Fir(QPainter& g, QPointF foot, double h, QColor leaf) {
    g.setPen(Qt::NoPen);
    g.setBrush(QColor(0x4a, 0x30, 0x1a));
    g.drawRect(QRectF(foot.x() - 1.5, foot.y() - h * 0.2, 3, h * 0.2));
    QLinearGradient grad(foot.x() - h * 0.25, 0, foot.x() + h * 0.25, 0);
    grad.setColorAt(0, leaf.lighter(120));
    grad.setColorAt(1, leaf.darker(135));
    g.setBrush(grad);
    g.drawPolygon(QPolygonF({QPointF(foot.x(), foot.y() - h),
                             QPointF(foot.x() + h * 0.24, foot.y() - h * 0.15),
                             QPointF(foot.x() - h * 0.24, foot.y() - h * 0.15)}));
}

} // namespace

namespace Art {

QImage Background() {
    const int w = 600, h = 400;
    QImage img(w, h, QImage::Format_RGB32);
    QPainter g(&img);
    g.setRenderHint(QPainter::Antialiasing);

    QLinearGradient sky(0, 0, 0, 290);
    sky.setColorAt(0, QColor(0x3a, 0x78, 0xc8));
    sky.setColorAt(0.65, QColor(0x8c, 0xc0, 0xe8));
    sky.setColorAt(1, QColor(0xd8, 0xec, 0xf4));
    g.fillRect(0, 0, w, h, sky);

    QRadialGradient glow(QPointF(508, 66), 90);
    glow.setColorAt(0, QColor(255, 250, 210, 200));
    glow.setColorAt(0.3, QColor(255, 245, 200, 90));
    glow.setColorAt(1, QColor(255, 245, 200, 0));
    g.setPen(Qt::NoPen);
    g.setBrush(glow);
    g.drawEllipse(QPointF(508, 66), 90, 90);
    g.setBrush(QColor(0xff, 0xf6, 0xc8));
    g.drawEllipse(QPointF(508, 66), 24, 24);

    FluffyCloud(g, QPointF(110, 78), 1.0);
    FluffyCloud(g, QPointF(330, 52), 0.75);
    FluffyCloud(g, QPointF(420, 160), 0.6);

    g.setBrush(QColor(0x9c, 0xb8, 0xd0));
    g.drawPath(Ridge(250, {{{14, 0.011, 0.5}}, {{8, 0.029, 2.0}}, {{3, 0.071, 1.0}}}, w, h));
    g.setBrush(QColor(0x80, 0xa8, 0x8a));
    g.drawPath(Ridge(278, {{{12, 0.009, 2.6}}, {{6, 0.033, 0.3}}}, w, h));

    // Trees along the far edge of the meadow.
    Rng r(0x7EE5);
    for (int i = 0; i < 26; ++i) {
        const double x = 8 + i * 23 + r.range(-6, 6);
        if (x > 250 && x < 330) continue; // leave a clearing so the view opens in the middle
        const double foot = 306 + r.range(-3, 3);
        if (i % 3 == 0)
            Fir(g, QPointF(x, foot), r.range(30, 44), QColor(0x2e, 0x6a, 0x34));
        else
            Tree(g, QPointF(x, foot), r.range(34, 48), QColor(0x3e, 0x84, 0x36));
    }

    QLinearGradient meadow(0, 300, 0, 400);
    meadow.setColorAt(0, QColor(0x7c, 0xb8, 0x48));
    meadow.setColorAt(1, QColor(0x4a, 0x8c, 0x2c));
    g.setBrush(meadow);
    g.drawPath(Ridge(308, {{{4, 0.013, 1.1}}, {{2, 0.05, 0.2}}}, w, h));

    // Sparse flowers and tufts, more of them nearer the front.
    for (int i = 0; i < 140; ++i) {
        const double y = 320 + 80 * std::sqrt(r.uniform());
        const double x = r.range(0, w);
        g.setPen(QPen(QColor(0x3a, 0x74, 0x22), 1.0));
        g.drawLine(QPointF(x, y), QPointF(x + r.range(-2, 2), y - r.range(3, 6)));
        if (i % 5 == 0) {
            static const QColor petals[] = {QColor(255, 255, 255), QColor(255, 226, 80),
                                            QColor(240, 140, 190)};
            g.setPen(Qt::NoPen);
            g.setBrush(petals[(i / 5) % 3]);
            g.drawEllipse(QPointF(x, y - 4), 1.6, 1.6);
        }
    }
    g.end();
    return img;
}

Masked Title() {
    const int w = 432, h = 31;
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    font.setPixelSize(40);
    QPainterPath text;
    text.addText(0, 0, font, QStringLiteral("The Morvel Bird Game"));
    const QRectF box = text.boundingRect();
    const double pad = 2.5;
    const double scale = std::min((w - 2 * pad) / box.width(), (h - 2 * pad) / box.height());
    QTransform t;
    t.translate(w / 2.0, h / 2.0);
    t.scale(scale, scale);
    t.translate(-box.center().x(), -box.center().y());
    text = t.map(text);

    QImage img = Canvas(w, h);
    QPainter g(&img);
    g.setRenderHint(QPainter::Antialiasing);
    g.setPen(QPen(QColor(0x2a, 0x08, 0x04), 3.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    g.setBrush(Qt::NoBrush);
    g.drawPath(text);
    QLinearGradient fill(0, pad, 0, h - pad);
    fill.setColorAt(0, QColor(0xff, 0xf6, 0x9a));
    fill.setColorAt(0.5, QColor(0xff, 0xc0, 0x30));
    fill.setColorAt(1, QColor(0xf0, 0x5a, 0x10));
    g.setPen(Qt::NoPen);
    g.setBrush(fill);
    g.drawPath(text);
    g.end();
    return Split(img);
}

std::vector<QImage> Cursor() {
    std::vector<QImage> out;
    for (int size : {32, 16}) {
        // Arms and ring are laid out symmetrically about the centre line between pixels
        // size/2 - 1 and size/2, where the game puts the hot spot.
        const double c = size / 2.0;
        QImage core = Canvas(size, size);
        QPainter g(&core);
        g.setPen(Qt::NoPen);
        g.setBrush(Qt::red);
        const int arm = size == 32 ? 8 : 3, thick = 2; // out to the ring, leaving its inside clear
        const int mid = size / 2 - thick / 2;
        g.drawRect(1, mid, arm, thick);
        g.drawRect(size - 1 - arm, mid, arm, thick);
        g.drawRect(mid, 1, thick, arm);
        g.drawRect(mid, size - 1 - arm, thick, arm);
        g.drawRect(mid, mid, thick, thick);
        g.setRenderHint(QPainter::Antialiasing);
        g.setBrush(Qt::NoBrush);
        g.setPen(QPen(Qt::red, size == 32 ? 2.0 : 1.2));
        const double ring = size == 32 ? 8.5 : 4.2;
        g.drawEllipse(QPointF(c, c), ring, ring);
        g.end();

        // A one-pixel dark rim keeps the red cross-hair visible over sky and meadow alike.
        QImage icon = Canvas(size, size);
        const auto on = [&](int x, int y) {
            return x >= 0 && y >= 0 && x < size && y < size && qAlpha(core.pixel(x, y)) >= 128;
        };
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x) {
                if (on(x, y)) {
                    icon.setPixel(x, y, qRgba(0xff, 0x20, 0x20, 0xff));
                    continue;
                }
                bool near = false;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        near = near || on(x + dx, y + dy);
                if (near) icon.setPixel(x, y, qRgba(0x10, 0x10, 0x10, 0xff));
            }
        out.push_back(icon);
    }
    return out;
}

} // namespace Art
