// The score file as the program reads it at start-up: any bytes in scores.dat.

#include "FuzzFile.h"
#include "frmHiScores.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::Start();
    frmHiScores::instance(); // its window and fonts once, before any input
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Write("scores.dat", data, size);
    frmHiScores& form = frmHiScores::instance();
    try {
        form.LoadScores();
    } catch (const runtime::RuntimeError&) {
        return 0; // an unreadable file is reported by the caller
    }
    // Whatever was read, the table is now one the file on disk agrees with: a second start
    // reads it back without a complaint and with the same entries.
    const ScoreTable first = form.HiScores;
    const int before = fuzz::Messages();
    form.LoadScores();
    fuzz::Require(fuzz::Messages() == before);
    fuzz::Require(form.HiScores == first);
    return 0;
}
