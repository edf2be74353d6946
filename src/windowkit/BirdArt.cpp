#include "BirdArt.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

namespace birdart {

namespace {

// The same red bird that flies in the game.
const QColor Ink(36, 4, 8);
const QColor BodyDark(138, 16, 24);
const QColor BodyLight(232, 58, 48);
const QColor Belly(242, 138, 74);
const QColor Beak(255, 187, 34);
const QColor EyeRed(214, 18, 18);
const QColor Gold(240, 190, 40);

QImage canvas(int w, int h) {
    QImage img(w, h, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    return img;
}

void begin(QPainter& p) {
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
}

QPen ink(double width) {
    return QPen(Ink, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

QPainterPath spikes(std::initializer_list<QPointF> points) {
    QPainterPath path;
    auto it = points.begin();
    path.moveTo(*it);
    for (++it; it != points.end(); ++it)
        path.lineTo(*it);
    path.closeSubpath();
    return path;
}

// A wing hinged at the shoulder; its scalloped trailing edge reads as feathers.
QPainterPath wingShape() {
    QPainterPath w;
    w.moveTo(0, 0);
    w.cubicTo(-10, -30, -36, -52, -62, -58);
    w.quadTo(-56, -44, -60, -40);
    w.quadTo(-48, -34, -50, -26);
    w.quadTo(-36, -22, -38, -14);
    w.quadTo(-24, -12, -24, -4);
    w.quadTo(-12, -2, 0, 0);
    return w;
}

void paintEye(QPainter& p, QPointF centre, double look) {
    p.setPen(ink(2));
    p.setBrush(Qt::white);
    p.drawEllipse(centre, 8.5, 10);
    p.setPen(Qt::NoPen);
    p.setBrush(EyeRed);
    const QPointF iris = centre + QPointF(2.5 * look + 1, 2);
    p.drawEllipse(iris, 5, 5.5);
    p.setBrush(Ink);
    p.drawEllipse(iris, 2.2, 3.2);
    p.setBrush(Qt::white);
    p.drawEllipse(iris + QPointF(-1.6, -2), 1.2, 1.2);
}

} // namespace

void PaintBird(QPainter& p, const Pose& pose) {
    p.save();
    if (pose.mirrored) p.scale(-1, 1);

    // Tail feathers, behind the body.
    p.setPen(ink(2.5));
    p.setBrush(BodyDark);
    p.drawPath(
        spikes({{-30, -8}, {-62, -22}, {-44, -2}, {-66, 4}, {-44, 10}, {-58, 26}, {-28, 16}}));

    if (pose.feet) {
        p.setPen(QPen(Beak.darker(140), 4, Qt::SolidLine, Qt::RoundCap));
        for (double x : {-10.0, 12.0}) {
            p.drawLine(QPointF(x, 30), QPointF(x, 42));
            p.drawLine(QPointF(x, 42), QPointF(x - 7, 47));
            p.drawLine(QPointF(x, 42), QPointF(x + 8, 47));
            p.drawLine(QPointF(x, 42), QPointF(x + 1, 48));
        }
    }

    // Far wing, raised behind the body when flying.
    if (pose.wingAngle > 0) {
        p.save();
        p.translate(2, -12);
        p.rotate((pose.wingAngle - 90) * 0.6 + 10);
        p.scale(0.85, 0.85);
        p.setPen(ink(2.5));
        p.setBrush(BodyDark.darker(130));
        p.drawPath(wingShape());
        p.restore();
    }

    // Head tuft.
    p.setPen(ink(2.5));
    p.setBrush(BodyDark);
    p.drawPath(
        spikes({{-14, -30}, {-8, -50}, {0, -34}, {8, -54}, {12, -34}, {22, -46}, {20, -28}}));

    QRadialGradient body(QPointF(-10, -18), 52);
    body.setColorAt(0, BodyLight);
    body.setColorAt(1, BodyDark);
    p.setBrush(body);
    p.drawEllipse(QPointF(0, 0), 40, 35);

    p.setPen(Qt::NoPen);
    p.setBrush(Belly);
    p.drawEllipse(QPointF(4, 12), 24, 19);

    // Near wing: folded on the body, or raised.
    p.save();
    p.translate(-6, -2);
    if (pose.wingAngle > 0) {
        p.rotate(pose.wingAngle - 90);
        p.setPen(ink(2.5));
        QLinearGradient g(0, 0, -60, -58);
        g.setColorAt(0, BodyLight);
        g.setColorAt(1, BodyDark);
        p.setBrush(g);
        p.drawPath(wingShape());
    } else {
        p.setPen(ink(2.5));
        p.setBrush(BodyDark);
        QPainterPath folded;
        folded.moveTo(-18, -6);
        folded.cubicTo(4, -12, 22, 6, 10, 24);
        folded.quadTo(4, 18, -2, 26);
        folded.quadTo(-6, 16, -14, 22);
        folded.quadTo(-18, 10, -26, 12);
        folded.closeSubpath();
        p.drawPath(folded);
    }
    p.restore();

    paintEye(p, QPointF(10, -14), pose.eyeLook);
    paintEye(p, QPointF(28, -13), pose.eyeLook);

    // Eyebrows in a scowling V.
    p.setPen(ink(4.5));
    p.drawLine(QPointF(-1, -30), QPointF(17, -21));
    p.drawLine(QPointF(38, -29), QPointF(22, -21));

    // Beak with a mean grin and two teeth.
    p.setPen(ink(2.2));
    p.setBrush(Beak);
    p.drawPath(spikes({{30, -5}, {62, 1}, {50, 5}, {32, 6}}));
    p.setBrush(Beak.darker(115));
    p.drawPath(spikes({{32, 8}, {54, 8}, {31, 17}}));
    p.setBrush(Qt::white);
    p.setPen(ink(1.2));
    p.drawPath(spikes({{38, 6}, {41, 6}, {39.5, 10}}));
    p.drawPath(spikes({{45, 6}, {48, 6}, {46.5, 9.5}}));

    p.restore();
}

QImage HiScoresPicture() {
    QImage img = canvas(242, 100);
    QPainter p(&img);
    begin(p);

    // A trophy between two birds who think it is theirs.
    p.save();
    p.translate(121, 52);
    QLinearGradient gold(-20, 0, 20, 0);
    gold.setColorAt(0, Gold.darker(130));
    gold.setColorAt(0.4, Gold.lighter(140));
    gold.setColorAt(1, Gold.darker(150));
    p.setPen(QPen(QColor(110, 70, 0), 2));
    p.setBrush(gold);
    QPainterPath cup;
    cup.moveTo(-22, -34);
    cup.lineTo(22, -34);
    cup.cubicTo(22, -6, 10, 4, 4, 8);
    cup.lineTo(4, 22);
    cup.lineTo(14, 30);
    cup.lineTo(-14, 30);
    cup.lineTo(-4, 22);
    cup.lineTo(-4, 8);
    cup.cubicTo(-10, 4, -22, -6, -22, -34);
    cup.closeSubpath();
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(-34, -30, 20, 22), 90 * 16, 180 * 16);
    p.drawArc(QRectF(14, -30, 20, 22), 270 * 16, 180 * 16);
    p.setBrush(gold);
    p.drawPath(cup);
    p.drawRect(QRectF(-18, 30, 36, 10));
    p.setPen(QColor(110, 70, 0));
    QFont f = p.font();
    f.setPixelSize(16);
    f.setBold(true);
    p.setFont(f);
    p.drawText(QRectF(-20, -32, 40, 26), Qt::AlignCenter, QStringLiteral("1"));
    p.restore();

    for (int side = 0; side < 2; ++side) {
        p.save();
        p.translate(side == 0 ? 44 : 198, side == 0 ? 48 : 44);
        p.scale(0.68, 0.68);
        Pose pose;
        pose.mirrored = side == 1;
        pose.wingAngle = side == 0 ? 70 : 95;
        pose.feet = side == 0;
        pose.eyeLook = 1;
        PaintBird(p, pose);
        p.restore();
    }
    return img;
}

QImage GameOverPicture() {
    QImage img = canvas(90, 94);
    QPainter p(&img);
    begin(p);

    // The conquered world, with the bird standing on it.
    QRadialGradient sea(QPointF(36, 70), 40);
    sea.setColorAt(0, QColor(90, 160, 230));
    sea.setColorAt(1, QColor(20, 60, 140));
    p.setPen(QPen(QColor(10, 30, 70), 2));
    p.setBrush(sea);
    p.drawEllipse(QPointF(45, 74), 30, 19);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(60, 150, 60));
    p.drawEllipse(QPointF(33, 72), 10, 6);
    p.drawEllipse(QPointF(58, 80), 9, 5);
    p.drawEllipse(QPointF(52, 66), 6, 3);

    p.save();
    p.translate(44, 36);
    p.scale(0.58, 0.58);
    Pose pose;
    pose.wingAngle = 65;
    PaintBird(p, pose);

    // The crown it has taken.
    p.setPen(QPen(QColor(110, 70, 0), 2));
    p.setBrush(Gold);
    p.drawPath(
        spikes({{-14, -44}, {-18, -66}, {-6, -54}, {2, -70}, {10, -54}, {22, -66}, {18, -44}}));
    p.setBrush(EyeRed);
    p.drawEllipse(QPointF(2, -50), 3, 3);
    p.restore();
    return img;
}

QImage ExitPicture() {
    QImage img = canvas(126, 78);
    QPainter p(&img);
    begin(p);

    p.save();
    p.translate(54, 38);
    p.scale(0.7, 0.7);
    Pose pose;
    pose.eyeLook = 1;
    PaintBird(p, pose);
    p.restore();

    // A question mark over its head.
    QFont f = p.font();
    f.setPixelSize(34);
    f.setBold(true);
    p.setFont(f);
    QPainterPath q;
    q.addText(QPointF(94, 38), f, QStringLiteral("?"));
    p.setPen(QPen(Ink, 2));
    p.setBrush(EyeRed);
    p.drawPath(q);
    return img;
}

QImage LogoPicture() {
    QImage img = canvas(280, 143);
    QPainter p(&img);
    begin(p);

    QLinearGradient sky(0, 0, 0, 143);
    sky.setColorAt(0, QColor(255, 150, 60));
    sky.setColorAt(0.55, QColor(240, 90, 90));
    sky.setColorAt(1, QColor(70, 30, 110));
    p.setPen(QPen(Ink, 2));
    p.setBrush(sky);
    p.drawRoundedRect(QRectF(1, 1, 278, 141), 14, 14);

    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 230, 140, 200));
    p.drawEllipse(QPointF(214, 96), 34, 34);

    p.save();
    p.translate(70, 88);
    p.scale(0.62, 0.62);
    Pose pose;
    pose.wingAngle = 90;
    pose.feet = false;
    pose.eyeLook = 1;
    PaintBird(p, pose);
    p.restore();

    // Cross-hairs on the bird.
    p.setPen(QPen(QColor(255, 255, 255, 220), 2));
    p.setBrush(Qt::NoBrush);
    const QPointF aim(76, 84);
    p.drawEllipse(aim, 22, 22);
    p.drawLine(aim + QPointF(-30, 0), aim + QPointF(-12, 0));
    p.drawLine(aim + QPointF(12, 0), aim + QPointF(30, 0));
    p.drawLine(aim + QPointF(0, -30), aim + QPointF(0, -12));
    p.drawLine(aim + QPointF(0, 12), aim + QPointF(0, 30));

    QFont big = p.font();
    big.setBold(true);
    big.setPixelSize(30);
    QFont small = big;
    small.setPixelSize(15);
    // Each line centred over the sun's side of the logo.
    auto line = [](const QFont& font, const QString& text, double baseline) {
        QPainterPath path;
        path.addText(QPointF(0, 0), font, text);
        const QRectF box = path.boundingRect();
        path.translate(196 - box.width() / 2 - box.left(), baseline);
        return path;
    };
    const QPainterPath title = line(small, QStringLiteral("THE"), 55);
    const QPainterPath morvel = line(big, QStringLiteral("MORVEL"), 88);
    const QPainterPath birds = line(small, QStringLiteral("BIRD GAME"), 110);

    for (const QPainterPath* path : {&title, &morvel, &birds}) {
        p.setPen(QPen(Ink, 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        p.drawPath(*path);
        p.setPen(Qt::NoPen);
        p.setBrush(path == &morvel ? Gold : QColor(Qt::white));
        p.drawPath(*path);
    }
    return img;
}

} // namespace birdart
