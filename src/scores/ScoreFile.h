#pragma once
// The bytes of scores.dat and the way they reach the disk. Failures are runtime errors
// with the runtime's numbers and descriptions.

#include "ScoreEntry.h"

#include <QByteArray>
#include <QString>

namespace scorefile {

// Eleven records (2-byte length, name bytes, 4-byte points, little-endian) then the checksum.
QByteArray Encode(const ScoreTable& table, qint32 checksum);
// Fills the table from the file's bytes; whatever lies beyond the end reads as an empty
// name, 0 points and a checksum of 0. Returns the stored checksum.
qint32 Decode(const QByteArray& bytes, ScoreTable& table);

// Opens the file for reading and writing, creating it empty when missing, and returns its
// content. A directory in its place or a read-only file is an error.
QByteArray ReadForUpdate(const QString& path);

// Puts head at the start of the file and keeps whatever the old file had beyond it.
// Goes through a temporary file beside it, flushed to disk and renamed over the old one,
// so an interrupted save leaves either the old or the new content. When path is a symbolic
// link, the file it finally leads to is the one replaced, and the link stays.
void WriteHead(const QString& path, const QByteArray& head);

// The file that path finally leads to through any symbolic links; path itself otherwise.
QString FinalTarget(const QString& path);
// The temporary file WriteHead uses for path: beside its final target.
QString TempPath(const QString& path);

} // namespace scorefile
