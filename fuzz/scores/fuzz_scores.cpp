// The score file and its journal as the program reads them at start-up: any bytes in
// scores.dat, and from the journal's magic on, any bytes in its journal, as a crashed or
// hostile game could leave them.

#include "FuzzFile.h"
#include "ScoreFile.h"
#include "frmHiScores.h"

#include <QFileInfo>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype split = input.indexOf("MBGJRNL1");
    const QByteArray table = split < 0 ? input : input.left(split);
    const QByteArray journal = split < 0 ? QByteArray() : input.mid(split);
    const QString path =
        fuzz::Write("scores.dat", reinterpret_cast<const std::uint8_t*>(table.data()),
                    std::size_t(table.size()));
    fuzz::Write("scores.dat-journal", reinterpret_cast<const std::uint8_t*>(journal.data()),
                std::size_t(journal.size()));
    frmHiScores& form = frmHiScores::instance();
    if (!fuzz::Accepted([&] { form.LoadScores(); })) return 0; // the caller reports it
    // The journal was used up, and whatever was read, the file now agrees with it: a second
    // start reads it back quietly.
    fuzz::Require(QFileInfo(scorefile::JournalPath(path)).size() == 0);
    const ScoreTable first = form.HiScores;
    const int before = fuzz::messages;
    form.LoadScores();
    fuzz::Require(fuzz::messages == before && form.HiScores == first);
    return 0;
}
