// The score file and its journal as the program reads them at start-up: any bytes in
// scores.dat, and from the journal's magic on, any bytes in its journal, as a crashed or
// hostile game could leave them.

#include "FuzzFile.h"
#include "ScoreFile.h"
#include "ScoreJournal.h"
#include "frmHiScores.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    const qsizetype split = input.indexOf("MBGJRNL1");
    const QByteArray table = split < 0 ? input : input.left(split);
    const QByteArray journal = split < 0 ? QByteArray() : input.mid(split);
    const QString path = fuzz::Write("scores.dat", table);
    fuzz::Write("scores.dat-journal", journal);
    const auto contents = [](const QString& name) {
        QFile f(name);
        fuzz::Require(f.open(QIODevice::ReadOnly), "score files readable");
        return f.readAll();
    };

    // What the table is once a save cut short is rolled back: a whole record puts back the
    // bytes it kept and the old length; anything else in the journal is dropped.
    QByteArray recovered = table;
    if (const auto record = scorefile::DecodeJournal(journal, table.size()))
        recovered = (record->saved + table.mid(record->saved.size())).left(record->tableLength);

    frmHiScores& form = frmHiScores::instance();
    const int before = fuzz::messages;
    if (!fuzz::Accepted([&] { form.LoadScores(); })) return 0; // the caller reports it
    fuzz::Require(contents(scorefile::JournalPath(path)).isEmpty(), "journal used up");

    // Either the table was consistent and stays as the rollback left it, quietly, or it starts
    // afresh with one message at most, never shortening the file.
    const ScoreTable loaded = form.HiScores;
    const QByteArray file = contents(path);
    const bool fresh =
        std::count(loaded.begin(), loaded.begin() + 10, ScoreEntry{"No One", 0}) == 10;
    fuzz::Require((file == recovered && fuzz::messages == before) ||
                      (fresh && fuzz::messages - before <= 1 && file.size() >= recovered.size()),
                  "untouched, or fresh and not shortened");

    // Saved and loaded again: the same bytes (a file cut inside its checksum, which reads as
    // zeros, gets the rest), the same table, and not a word.
    const int after = fuzz::messages;
    form.SaveScores();
    fuzz::Require(contents(path).startsWith(file), "a save of the loaded table changes no byte");
    form.LoadScores();
    fuzz::Require(fuzz::messages == after && form.HiScores == loaded, "read back quietly");
    return 0;
}
