#pragma once
// The relative names of the asset files beside the program, in the game's backslash form.

#include <QString>

namespace AssetNames {

inline const QString BackGround = QStringLiteral("\\Graphics\\BackGround.bmp");
inline const QString Cursor = QStringLiteral("\\Graphics\\cursor.ico");
inline const QString Title = QStringLiteral("\\Graphics\\title.bmp");
inline const QString TitleMask = QStringLiteral("\\Graphics\\titlemask.bmp");
inline const QString GunFire = QStringLiteral("\\Sounds\\GUN_Fire.wav");
inline const QString GunCock = QStringLiteral("\\Sounds\\GUN_Cock.wav");
inline const QString GunEmpty = QStringLiteral("\\Sounds\\GUN_Empty.wav");

// The last character of n's decimal text: the names carry one digit.
QChar Digit(int n);
// "\Graphics\Bird" + letter ('L' or 'R') + n + suffix (".bmp" or "mask.bmp").
QString BirdFrame(QChar letter, int n, const QString& suffix);
// "\Graphics\explosion" + n + suffix.
QString ExplosionFrame(int n, const QString& suffix);
// "\Sounds\Bird" + n + ".wav" and "\Sounds\Explosion" + n + ".wav".
QString BirdCall(int n);
QString ExplosionSound(int n);

// Base directory + relative name, the form the picture loaders take.
QString FullPath(const QString& relative);

} // namespace AssetNames
