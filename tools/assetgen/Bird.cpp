#include "Art.h"

#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cmath>
#include <numbers>

namespace {

const QColor Outline(0x24, 0x04, 0x08);
const QColor BodyLight(0xe8, 0x3a, 0x30);
const QColor BodyDark(0x8a, 0x10, 0x18);
const QColor WingLight(0xa8, 0x16, 0x22);
const QColor WingDark(0x46, 0x08, 0x16);
const QColor Belly(0xf2, 0x8a, 0x4a);
const QColor Beak(0xff, 0xbb, 0x22);

// A pointed feather from its root to its tip, `width` across at the widest.
QPainterPath Feather(QPointF root, QPointF tip, double width) {
    const QPointF d = tip - root;
    const double len = std::hypot(d.x(), d.y());
    const QPointF n(-d.y() / len * width / 2, d.x() / len * width / 2);
    QPainterPath p;
    p.moveTo(root);
    p.cubicTo(root + n, tip - d * 0.35 + n * 1.1, tip);
    p.cubicTo(tip - d * 0.35 - n * 1.1, root - n, root);
    return p;
}

// The wing is drawn in its own frame, x out from the shoulder to the tip and the leading edge
// towards negative y, then turned about the shoulder. Below the horizontal it is flipped so
// that the leading edge still faces the head.
void DrawWing(QPainter& g, QPointF shoulder, double angle, double length, QColor light,
              QColor dark) {
    const double k = length / 74.0;
    g.save();
    g.translate(shoulder);
    g.rotate(angle);
    g.scale(k, angle > 0 ? -k : k);
    QPen pen(Outline, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    pen.setCosmetic(true);
    g.setPen(pen);

    // Primaries fan from the hand; the leading one is the longest.
    constexpr double Tips[][2] = {{74, -3}, {68, 5}, {60, 11}, {51, 15}};
    g.setBrush(dark);
    for (int i = 3; i >= 0; --i)
        g.drawPath(Feather(QPointF(30 + 3 * i, -4 + 3 * i), QPointF(Tips[i][0], Tips[i][1]), 11));
    // Secondaries along the trailing edge of the arm.
    for (int i = 0; i < 4; ++i)
        g.drawPath(Feather(QPointF(6 + 9 * i, 0), QPointF(9 + 9 * i, 17), 10));

    // Coverts over the feather roots, with the bump of the wrist on the leading edge.
    QPainterPath arm;
    arm.moveTo(-2, -10);
    arm.cubicTo(10, -14, 24, -16, 34, -12);
    arm.cubicTo(42, -9, 47, -4, 46, 2);
    arm.cubicTo(34, 8, 16, 11, -2, 9);
    arm.cubicTo(-9, 6, -9, -6, -2, -10);
    QLinearGradient grad(0, -14, 0, 10);
    grad.setColorAt(0, light.lighter(120));
    grad.setColorAt(1, light);
    g.setBrush(grad);
    g.drawPath(arm);
    // A pale gleam along the leading edge.
    QPen gleam(light.lighter(150), 1.4, Qt::SolidLine, Qt::RoundCap);
    gleam.setCosmetic(true);
    g.setPen(gleam);
    g.setBrush(Qt::NoBrush);
    QPainterPath edge;
    edge.moveTo(4, -9);
    edge.cubicTo(14, -12, 26, -13, 34, -9);
    g.drawPath(edge);
    g.restore();
}

QPainterPath Polygon(std::initializer_list<QPointF> pts) {
    QPainterPath p;
    bool first = true;
    for (const QPointF& q : pts) {
        if (first)
            p.moveTo(q);
        else
            p.lineTo(q);
        first = false;
    }
    p.closeSubpath();
    return p;
}

} // namespace

namespace Art {

Masked BirdLeft(int frame) {
    // One wing beat over the five frames: a down stroke through the first four and a quicker
    // recovery with the wing half folded, so the last frame leads smoothly back to the first.
    constexpr double Angles[FlightFrames] = {-76, -38, 4, 50, -28};
    constexpr double Lengths[FlightFrames] = {66, 76, 78, 74, 56};
    const double lift = -std::sin(Angles[frame] * std::numbers::pi / 180.0);
    const double bob = 2.5 * lift; // the body rises a little on the down stroke

    QImage img = Canvas(FrameWidth, FrameHeight);
    QPainter g(&img);
    g.setRenderHint(QPainter::Antialiasing);
    g.translate(0, bob);
    const QPen outline(Outline, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);

    DrawWing(g, QPointF(66, 64), Angles[frame] - 8, Lengths[frame] * 0.9, WingDark,
             QColor(0x3a, 0x04, 0x0a));

    // Tail: three pointed feathers fanning out behind.
    g.setPen(outline);
    g.setBrush(WingDark);
    g.drawPath(
        Polygon({{100, 70}, {134, 58}, {126, 70}, {138, 74}, {126, 80}, {132, 92}, {100, 86}}));
    g.setPen(QPen(Outline, 1.2));
    g.drawLine(QPointF(106, 76), QPointF(130, 74));

    // Talons hanging under the body.
    g.setPen(QPen(QColor(0x30, 0x20, 0x10), 2.0, Qt::SolidLine, Qt::RoundCap));
    for (double x : {70.0, 82.0}) {
        g.drawLine(QPointF(x, 98), QPointF(x + 3, 108));
        g.drawLine(QPointF(x + 3, 108), QPointF(x - 2, 112));
        g.drawLine(QPointF(x + 3, 108), QPointF(x + 6, 113));
    }

    // Body.
    QRadialGradient bodyGrad(QPointF(64, 66), 48);
    bodyGrad.setColorAt(0, BodyLight);
    bodyGrad.setColorAt(1, BodyDark);
    QPainterPath body;
    body.addEllipse(QPointF(72, 78), 38, 25);
    g.setPen(outline);
    g.setBrush(bodyGrad);
    g.drawPath(body);
    g.save();
    g.setClipPath(body);
    g.setPen(Qt::NoPen);
    g.setBrush(Belly);
    g.drawEllipse(QPointF(64, 98), 32, 14);
    g.restore();
    g.setPen(outline);
    g.setBrush(Qt::NoBrush);
    g.drawPath(body);

    // Crest of spikes on the back of the head.
    g.setBrush(WingDark);
    g.drawPath(Polygon({{40, 46}, {50, 28}, {50, 44}, {60, 34}, {56, 50}}));

    // Head.
    QRadialGradient headGrad(QPointF(32, 54), 26);
    headGrad.setColorAt(0, BodyLight);
    headGrad.setColorAt(1, BodyDark);
    g.setBrush(headGrad);
    g.drawEllipse(QPointF(38, 62), 20, 19);

    // Hooked beak, open on a dark mouth.
    g.setBrush(QColor(0x5a, 0x00, 0x10));
    g.drawPath(Polygon({{25, 64}, {11, 64}, {9, 69}, {25, 73}}));
    g.setBrush(QColor(0xe8, 0x92, 0x10));
    QPainterPath lower;
    lower.moveTo(25, 70);
    lower.lineTo(10, 69);
    lower.quadTo(14, 76, 25, 77);
    lower.closeSubpath();
    g.drawPath(lower);
    g.setBrush(Beak);
    QPainterPath upper;
    upper.moveTo(25, 53);
    upper.cubicTo(15, 51, 4, 55, 1, 67);
    upper.cubicTo(4, 64, 8, 63, 12, 64);
    upper.lineTo(25, 66);
    upper.closeSubpath();
    g.drawPath(upper);

    // The evil eye: yellow, red iris, and a heavy frown sloping down towards the beak.
    g.setPen(QPen(Outline, 1.5));
    g.setBrush(QColor(0xff, 0xf0, 0x60));
    g.drawEllipse(QPointF(33, 59), 7.5, 6.5);
    g.setPen(Qt::NoPen);
    g.setBrush(QColor(0xd0, 0x00, 0x00));
    g.drawEllipse(QPointF(30.5, 60), 3.6, 3.6);
    g.setBrush(Qt::black);
    g.drawEllipse(QPointF(30, 60), 1.6, 2.6);
    g.setBrush(Outline);
    g.drawPath(Polygon({{22, 55}, {46, 47}, {45, 53}, {24, 58}}));

    DrawWing(g, QPointF(78, 68), Angles[frame], Lengths[frame], WingLight, WingDark);
    g.end();
    return Split(img);
}

} // namespace Art
