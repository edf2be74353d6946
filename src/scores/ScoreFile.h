#pragma once
// The bytes of scores.dat and the way they reach the disk. Failures are runtime errors
// with the runtime's numbers and descriptions.
//
// Several games may share one table. Every read-modify-write holds a lock on the file, and a
// save changes the file in place, so its owner, mode, links and inode stay. A rollback journal
// beside the file makes that safe: a save cut short at any point leaves the old table, and the
// next lock puts it back.

#include "ScoreEntry.h"

#include <QByteArray>
#include <QString>

namespace scorefile {

inline constexpr const char* FileName = "scores.dat";

// Eleven records (2-byte length, name bytes, 4-byte points, little-endian) then the checksum.
QByteArray Encode(const ScoreTable& table, qint32 checksum);
// Fills the table from the file's bytes; whatever lies beyond the end reads as an empty
// name, 0 points and a checksum of 0. Returns the stored checksum.
qint32 Decode(const QByteArray& bytes, ScoreTable& table);

// Holds the table at path locked against every other game while it lives; this game's further
// locks on it meanwhile share the first. The first one opens the file (creating it empty when
// missing; a directory in its place or a file without write permission is an error) and rolls
// back a save that was cut short. It waits a few seconds at most, so that a stopped game
// cannot hold up the others for ever, and then fails with the "locked" error.
class Lock {
  public:
    explicit Lock(const QString& path);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    std::string path_;
};

// The file's content, read under a lock.
QByteArray Read(const QString& path);

// Under a lock, puts head at the start of the file, keeps whatever the file had beyond it, and
// returns the file's new content. The bytes it overwrites are flushed to the journal first and
// the journal is emptied once the table is flushed; a save that fails puts them back. A file
// that already starts with head is not written at all.
QByteArray WriteHead(const QString& path, const QByteArray& head);

// The journal of the table at path: beside the file that path finally leads to through any
// symbolic links.
QString JournalPath(const QString& path);

// For a program that may write the table only while it holds a group it is about to give up:
// opens the existing table at path and its journal now, and every later use of path goes
// through them. Uses nothing of the toolkit, so it can run before anything reads the
// environment. A table that cannot be opened now is opened by path later, with the rights left.
void HandOver(const QString& path);

} // namespace scorefile
