#pragma once

#include <QByteArray>
#include <array>

// One line of the table. Name holds the bytes stored in scores.dat: Windows-1252, the
// single-byte code page of the table (CodePage.h converts typed text).
struct ScoreEntry {
    QByteArray Name;
    qint32 Points = 0;

    friend bool operator==(const ScoreEntry&, const ScoreEntry&) = default;
};

// Positions 0 to 9 are the table, best first; position 10 is the spare slot.
using ScoreTable = std::array<ScoreEntry, 11>;
