#pragma once
// Names are kept in scores.dat as single bytes of Windows-1252. Text the player types is
// converted here; a character the code page cannot hold becomes '?', one per character
// (not per UTF-16 unit), as the desktop's own conversion would do with its default char.

#include <QByteArray>
#include <QString>

namespace codepage {

QByteArray FromUnicode(const QString& text);
// Every byte has a meaning: the five bytes 1252 leaves undefined map to the control
// characters of the same number, so a name read from a file always shows.
QString ToUnicode(const QByteArray& bytes);

} // namespace codepage
