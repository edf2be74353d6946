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
const QColor WingLight(0xb0, 0x1c, 0x24);
const QColor WingDark(0x5e, 0x08, 0x10);
const QColor Belly(0xf2, 0x8a, 0x4a);
const QColor Beak(0xff, 0xbb, 0x22);

// Wing outline as (along the body towards the tail, fraction of the span); the trailing edge
// is notched into flight feathers.
constexpr double WingShape[][2] = {
    {-14, 0.0}, {-15, 0.35}, {-9, 0.70}, {-1, 0.93}, {6, 1.00},  {12, 0.94}, {10, 0.84}, {18, 0.85},
    {14, 0.73}, {23, 0.72},  {18, 0.60}, {27, 0.57}, {21, 0.45}, {29, 0.40}, {24, 0.22}, {22, 0.0},
};

QPainterPath Wing(QPointF shoulder, double span, double lift) {
    // Seen from the side, the span foreshortens with the sine of the wing's angle; a level
    // wing still shows as a thin band rather than vanishing.
    double s = lift;
    if (std::abs(s) < 0.14) s = s < 0 ? -0.14 : 0.14;
    QPainterPath p;
    bool first = true;
    for (const auto& pt : WingShape) {
        const QPointF q(shoulder.x() + pt[0], shoulder.y() - pt[1] * span * s);
        if (first)
            p.moveTo(q);
        else
            p.lineTo(q);
        first = false;
    }
    p.closeSubpath();
    return p;
}

void FeatherLines(QPainter& g, QPointF shoulder, double span, double lift, QColor c) {
    double s = lift;
    if (std::abs(s) < 0.14) s = s < 0 ? -0.14 : 0.14;
    g.setPen(QPen(c, 1.2, Qt::SolidLine, Qt::RoundCap));
    const double tips[][2] = {{10, 0.84}, {14, 0.73}, {18, 0.60}, {21, 0.45}};
    for (const auto& t : tips) {
        const QPointF a(shoulder.x() + t[0] - 14, shoulder.y() - (t[1] - 0.25) * span * s);
        g.drawLine(a, QPointF(shoulder.x() + t[0], shoulder.y() - t[1] * span * s));
    }
}

void DrawWing(QPainter& g, QPointF shoulder, double span, double lift, QColor light, QColor dark) {
    const QPainterPath w = Wing(shoulder, span, lift);
    QLinearGradient grad(shoulder, QPointF(shoulder.x(), shoulder.y() - span * lift));
    grad.setColorAt(0, light);
    grad.setColorAt(1, dark);
    g.setPen(QPen(Outline, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    g.setBrush(grad);
    g.drawPath(w);
    FeatherLines(g, shoulder, span, lift, Outline);
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
    // One full wing beat over the five frames, so the last frame leads smoothly to the first.
    const double phase = 2.0 * std::numbers::pi * frame / FlightFrames;
    const double angle = (62.0 * std::cos(phase) + 4.0) * std::numbers::pi / 180.0;
    const double lift = std::sin(angle);
    const double bob = -2.5 * std::sin(angle); // the body rises a little on the downstroke

    QImage img = Canvas(FrameWidth, FrameHeight);
    QPainter g(&img);
    g.setRenderHint(QPainter::Antialiasing);
    g.translate(0, bob);
    const QPen outline(Outline, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);

    DrawWing(g, QPointF(62, 64), 58, lift, WingDark, QColor(0x3a, 0x04, 0x0a));

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

    // Hooked beak, slightly open.
    g.setBrush(Beak);
    QPainterPath upper;
    upper.moveTo(24, 55);
    upper.cubicTo(14, 55, 4, 58, 2, 68);
    upper.cubicTo(6, 65, 14, 66, 22, 68);
    upper.closeSubpath();
    g.drawPath(upper);
    g.setBrush(QColor(0xe0, 0x90, 0x10));
    g.drawPath(Polygon({{22, 70}, {8, 71}, {22, 77}}));

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

    DrawWing(g, QPointF(76, 70), 64, lift, WingLight, WingDark);
    g.end();
    return Split(img);
}

} // namespace Art
