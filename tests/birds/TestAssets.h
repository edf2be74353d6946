#pragma once
// Small, recognisable asset files for the engine's tests: every picture is filled with a
// colour of its own and every mask carries a tag pixel, so a test can tell which file a
// memory bitmap was read from.

#include <QRgb>
#include <QString>
#include <QStringList>

namespace TestAssets {

// The relative names of every picture and sound the game reads.
QStringList PictureNames();
QStringList SoundNames();

// Writes all of them (and cursor.ico) under dir/Graphics and dir/Sounds.
void WriteAll(const QString& dir);

// The colour that fills a picture's figure; the background's colour at a point.
QRgb ColourOf(const QString& relativeName);
QRgb BackgroundAt(int x, int y);
// The one pixel of row 0 that a mask file has black, besides its figure.
int MaskTagX(const QString& relativeName);

// The figure of every bird and explosion frame: exactly the bird's hit box.
inline constexpr int FigureLeft = 45, FigureRight = 98, FigureTop = 50, FigureBottom = 100;

} // namespace TestAssets
