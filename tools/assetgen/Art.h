#pragma once
// The pictures of the game. A masked figure is drawn in colour with antialiasing onto a
// transparent canvas and then split into a hard-edged picture and mask pair.

#include <QImage>
#include <vector>

namespace Art {

inline constexpr int FrameWidth = 140;
inline constexpr int FrameHeight = 148;
inline constexpr int FlightFrames = 5;
inline constexpr int ExplosionFrames = 5;

struct Masked {
    QImage picture; // exactly black wherever the mask is white
    QImage mask;    // white where the background shows, black on the figure
};

// A pixel belongs to the figure when its coverage reaches half; figure pixels keep their full
// colour (un-premultiplied) so the hard edge shows neither a dark nor a light fringe.
Masked Split(const QImage& canvas);
Masked Mirrored(const Masked& m);

// A transparent ARGB canvas of the given size.
QImage Canvas(int width, int height);

QImage Background();
Masked Title();
std::vector<QImage> Cursor(); // 32x32, then 16x16
// Flight frame 0 to 4 of the bird facing left.
Masked BirdLeft(int frame);
Masked Explosion(int stage); // 0 to 4

} // namespace Art
