#pragma once
// The rollback journal beside the score table: what a save is about to overwrite, kept until
// the table is safely written. Anything in it other than one whole, self-consistent record
// was torn by a crash or put there by someone else, and is never applied.

#include <QByteArray>
#include <optional>

namespace scorefile {

struct JournalRecord {
    qint64 tableLength = 0; // the table's length before the save
    QByteArray saved;       // the table's first bytes before the save
};

QByteArray EncodeJournal(const JournalRecord& record);
// The record that bytes hold, if they hold exactly one whole record that can have been taken
// from a table now tableLength bytes long (a save only ever lengthens it).
std::optional<JournalRecord> DecodeJournal(const QByteArray& bytes, qint64 tableLength);

} // namespace scorefile
