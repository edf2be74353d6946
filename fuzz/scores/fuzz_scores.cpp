// The score file as the program reads it at start-up: any bytes in scores.dat.

#include "FuzzFile.h"
#include "frmHiScores.h"

#include <algorithm>

namespace {
QByteArray contents(const QString& path) {
    QFile f(path);
    fuzz::Require(f.open(QIODevice::ReadOnly), "scores.dat readable");
    return f.readAll();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("scores.dat", data, size);
    frmHiScores& form = frmHiScores::instance();
    const int before = fuzz::messages;
    if (!fuzz::Accepted([&] { form.LoadScores(); })) return 0; // the caller reports it
    fuzz::Require(fuzz::messages - before <= 1, "one message at most");

    // Either the file was consistent and stays untouched, or the table starts afresh, with the
    // message when the file was damaged. Saving never shortens the file.
    const ScoreTable loaded = form.HiScores;
    const QByteArray file = contents(path);
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    const bool fresh = std::all_of(loaded.begin(), loaded.begin() + 10, [](const ScoreEntry& e) {
        return e == ScoreEntry{QByteArrayLiteral("No One"), 0};
    });
    qsizetype table = 70;
    for (const ScoreEntry& e : loaded)
        table += e.Name.size();
    fuzz::Require((file == input && fuzz::messages == before) || fresh, "untouched or fresh");
    fuzz::Require(file.size() >= input.size() && (file == input || file.size() >= table),
                  "never shortened");

    // Saved and loaded again: the same bytes (a file cut inside its checksum, which reads as
    // zeros, gets the rest), the same table, and not a word.
    const int after = fuzz::messages;
    form.SaveScores();
    const QByteArray saved = contents(path);
    fuzz::Require(saved.startsWith(file) && saved.size() == std::max(file.size(), table),
                  "a save of the loaded table changes no byte");
    form.LoadScores();
    fuzz::Require(fuzz::messages == after && form.HiScores == loaded, "read back quietly");
    return 0;
}
