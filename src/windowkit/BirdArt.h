#pragma once
// The decorative pictures of the windows, drawn by the program: the evil Morvel bird in a
// few poses, and the game's logo.

#include <QImage>

class QPainter;

namespace birdart {

struct Pose {
    double wingAngle = 0;  // 0 folded; 90 spread up and back, more raises it further
    bool feet = true;      // standing feet; a flying bird tucks them in
    bool mirrored = false; // facing left instead of right
    double eyeLook = 0;    // -1 looks back, +1 looks ahead
};

// Paints the bird into a box about 120 by 100 units, centred on the body, scaled by the
// painter's transform.
void PaintBird(QPainter& p, const Pose& pose);

QImage HiScoresPicture(); // 242 x 100
QImage GameOverPicture(); // 90 x 94
QImage ExitPicture();     // 126 x 78
QImage LogoPicture();     // 280 x 143

} // namespace birdart
