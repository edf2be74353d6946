// The score file and its journal as the program reads them at start-up: any bytes in
// scores.dat, and from the journal's magic on, any bytes in its journal, as a crashed or
// hostile game could leave them.

#include "FuzzFile.h"
#include "ScoreFile.h"
#include "ScoreJournal.h"
#include "frmHiScores.h"

#include <QtEndian>

namespace {

// The table as the file lays it out, read apart from the program's reader: eleven records of
// a 2-byte name length, the name and 4-byte points, then the checksum, all little-endian, with
// bytes past the end read as zeros. The checksum holds when it is the sum of the name bytes
// and points of the first ten records.
struct Layout {
    ScoreTable table;
    quint32 stored = 0, sum = 0;

    explicit Layout(const QByteArray& bytes) {
        qsizetype at = 0;
        const auto number = [&](int width) {
            char little[4] = {};
            for (int i = 0; i < width; ++i, ++at)
                if (at < bytes.size()) little[i] = bytes[at];
            return qFromLittleEndian<quint32>(little);
        };
        for (int i = 0; i < 11; ++i) {
            const quint32 length = number(2);
            table[i].Name = bytes.mid(at, length);
            at += length;
            table[i].Points = qint32(number(4));
            if (i == 10) continue; // the spare slot
            sum += quint32(table[i].Points);
            for (const char c : table[i].Name)
                sum += quint8(c);
        }
        stored = number(4);
    }
};

} // namespace

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
    fuzz::messages.clear();
    if (!fuzz::Accepted([&] { form.LoadScores(); })) return 0; // the caller reports it
    fuzz::Require(contents(scorefile::JournalPath(path)).isEmpty(), "journal used up");

    // A table whose checksum holds, and is not 0, is taken as it is and left alone. Any other
    // starts afresh, written over the head of the file without shortening it, and is reported
    // when its checksum did not hold. The spare slot keeps whatever its bytes read as.
    const Layout was(recovered);
    const bool kept = was.stored != 0 && was.stored == was.sum;
    ScoreTable expected = was.table;
    if (!kept) std::fill(expected.begin(), expected.begin() + 10, ScoreEntry{"No One", 0});
    const QByteArray file = contents(path);
    const Layout now(file);
    fuzz::Require(form.HiScores == expected && now.table == expected && now.stored == now.sum,
                  "the table as loaded and as in the file");
    fuzz::Require(kept ? file == recovered : file.size() >= recovered.size(),
                  "untouched, or not shortened");
    fuzz::Require(fuzz::messages == (was.stored == was.sum
                                         ? QStringList()
                                         : QStringList{"Invalid Scores file! Scores reset.|16"}),
                  "reported when the checksum does not hold");

    // Saved again, quietly: the same bytes (a file cut inside its checksum, which reads as
    // zeros, gets the rest).
    fuzz::messages.clear();
    form.SaveScores();
    fuzz::Require(contents(path).startsWith(file) && fuzz::messages.isEmpty(),
                  "a save of the loaded table changes no byte");
    return 0;
}
