#include "Art.h"
#include "Rng.h"

#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cmath>
#include <numbers>

namespace {

constexpr double Pi = std::numbers::pi;
const QPointF Centre(70, 76); // the middle of the bird's body

// The bird's own colours, so the feathers read as what is left of it.
const QColor FeatherColours[] = {QColor(0xd8, 0x2a, 0x2a), QColor(0x8a, 0x10, 0x18),
                                 QColor(0xf2, 0x8a, 0x4a), QColor(0x5e, 0x08, 0x10)};

struct Feather {
    double angle, speed, spin, turn, length;
    int colour;
};

std::vector<Feather> Feathers() {
    Rng r(0xFEA7);
    std::vector<Feather> f;
    for (int i = 0; i < 12; ++i)
        f.push_back({2 * Pi * (i + r.range(-0.3, 0.3)) / 12, r.range(11, 16), r.range(0, 2 * Pi),
                     r.range(-0.9, 0.9), r.range(16, 22), i % 4});
    return f;
}

// A curved contour feather: an uneven vane along a pale quill that sticks out at the base.
void DrawFeather(QPainter& g, QPointF at, double rotation, double length, QColor c) {
    g.save();
    g.translate(at);
    g.rotate(rotation * 180 / Pi);
    const double h = length / 2;
    QPainterPath vane;
    vane.moveTo(-h + 3, 0);
    vane.cubicTo(-h + 4, -length * 0.26, h * 0.4, -length * 0.24, h, -1.5);
    vane.cubicTo(h * 0.4, length * 0.14, -h + 4, length * 0.2, -h + 3, 0);
    g.setPen(QPen(QColor(0x24, 0x04, 0x08), 1.1));
    g.setBrush(c);
    g.drawPath(vane);
    g.setPen(QPen(c.lighter(160), 1.0, Qt::SolidLine, Qt::RoundCap));
    g.setBrush(Qt::NoBrush);
    QPainterPath quill;
    quill.moveTo(-h - 2, 0.5);
    quill.quadTo(0, -0.5, h - 1, -1.5);
    g.drawPath(quill);
    g.restore();
}

// A lumpy cloud: one gradient over a union of circles scattered about a centre.
void Cloud(QPainter& g, Rng& r, QPointF c, double radius, int lumps, QColor inner, QColor outer,
           double rise) {
    QPainterPath shape;
    for (int i = 0; i < lumps; ++i) {
        const double a = r.range(0, 2 * Pi), d = r.range(0.15, 0.6) * radius;
        const double lr = r.range(0.35, 0.55) * radius;
        shape.addEllipse(QPointF(c.x() + d * std::cos(a), c.y() + d * std::sin(a) - rise), lr, lr);
    }
    shape.addEllipse(QPointF(c.x(), c.y() - rise), radius * 0.5, radius * 0.5);
    shape.setFillRule(Qt::WindingFill);
    QRadialGradient grad(QPointF(c.x(), c.y() - rise), radius);
    grad.setColorAt(0, inner);
    grad.setColorAt(1, outer);
    g.setPen(Qt::NoPen);
    g.setBrush(grad);
    g.drawPath(shape);
}

void Spikes(QPainter& g, Rng& r, int count, double inner, double outer, QColor c) {
    QPainterPath p;
    for (int i = 0; i < count; ++i) {
        const double a = 2 * Pi * (i + r.range(-0.2, 0.2)) / count;
        const double len = r.range(0.75, 1.0) * outer;
        const double w = Pi / count * 0.9;
        p.moveTo(Centre.x() + inner * std::cos(a - w), Centre.y() + inner * std::sin(a - w));
        p.lineTo(Centre.x() + len * std::cos(a), Centre.y() + len * std::sin(a));
        p.lineTo(Centre.x() + inner * std::cos(a + w), Centre.y() + inner * std::sin(a + w));
        p.closeSubpath();
    }
    p.addEllipse(Centre, inner * 1.05, inner * 1.05);
    g.setPen(Qt::NoPen);
    g.setBrush(c);
    p.setFillRule(Qt::WindingFill);
    g.drawPath(p);
}

} // namespace

namespace Art {

Masked Explosion(int stage) {
    QImage img = Canvas(FrameWidth, FrameHeight);
    QPainter g(&img);
    g.setRenderHint(QPainter::Antialiasing);
    Rng r(0xB00 + stage);

    // Smoke behind the fire, rising, darkening and then thinning out.
    if (stage >= 2) {
        const double radius = 34 + 9 * stage;
        const bool last = stage == 4;
        const int puffs = last ? 7 : 5;
        const double grey = last ? 0x88 : 0x5a;
        const QColor light = QColor::fromRgb(grey + 40, grey + 38, grey + 36);
        const QColor dark = QColor::fromRgb(grey - 30, grey - 32, grey - 34);
        for (int i = 0; i < puffs; ++i) {
            const double a = 2 * Pi * (i + r.range(0, 0.5)) / puffs;
            const double d = radius * (last ? 0.72 : 0.45);
            const QPointF c(Centre.x() + d * std::cos(a), Centre.y() + d * 0.8 * std::sin(a));
            Cloud(g, r, c, radius * (last ? 0.42 : 0.6), 5, light, dark, 4.0 * stage);
        }
        // The last of the smoke still hangs where the bird was, broken up and paler.
        if (last)
            for (int i = 0; i < 3; ++i)
                Cloud(g, r, QPointF(Centre.x() + r.range(-14, 14), Centre.y() + r.range(-12, 10)),
                      radius * 0.3, 4, light.lighter(110), light.darker(115), 4.0 * stage);
    }
    if (stage == 0) {
        Spikes(g, r, 14, 16, 46, QColor(0xff, 0xb0, 0x20));
        Spikes(g, r, 10, 12, 30, QColor(0xff, 0xf0, 0x90));
        g.setBrush(Qt::white);
        g.drawEllipse(Centre, 13, 13);
    } else if (stage <= 3) {
        const double radius = 30 + 8 * stage - (stage == 3 ? 14 : 0);
        const QColor inner = stage == 3 ? QColor(0xff, 0x90, 0x20) : QColor(0xff, 0xf4, 0xa0);
        const QColor outer = stage == 3 ? QColor(0xa0, 0x20, 0x08) : QColor(0xe8, 0x40, 0x08);
        Cloud(g, r, Centre, radius, 9, inner, outer, 2.0 * stage);
        if (stage == 1) Spikes(g, r, 9, 20, 56, QColor(0xff, 0xa0, 0x18));
    }
    // Embers thrown out with the fire.
    if (stage >= 1 && stage <= 3) {
        g.setPen(Qt::NoPen);
        for (int i = 0; i < 10; ++i) {
            const double a = r.range(0, 2 * Pi), d = r.range(30, 40 + 10 * stage);
            g.setBrush(i % 2 ? QColor(0xff, 0xd0, 0x40) : QColor(0xff, 0x70, 0x10));
            g.drawEllipse(QPointF(Centre.x() + d * std::cos(a), Centre.y() + d * std::sin(a)), 2.2,
                          2.2);
        }
    }
    // Feathers fly outward and start to fall; the later stages keep only a few.
    const auto feathers = Feathers();
    for (std::size_t i = 0; i < feathers.size(); ++i) {
        if (stage == 0) break; // the flash comes first; the feathers fly out of the fire after it
        if (stage == 4 && i % 2) continue;
        const Feather& f = feathers[i];
        const double t = stage + 0.6;
        const QPointF at(Centre.x() + f.speed * t * std::cos(f.angle),
                         Centre.y() + f.speed * t * std::sin(f.angle) * 0.9 + 1.5 * t * t);
        DrawFeather(g, at, f.spin + f.turn * t, f.length, FeatherColours[f.colour]);
    }
    g.end();
    return Split(img);
}

} // namespace Art
