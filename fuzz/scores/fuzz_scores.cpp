// The score file as the program reads it at start-up: any bytes in scores.dat.

#include "FuzzFile.h"
#include "frmHiScores.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Write("scores.dat", data, size);
    frmHiScores& form = frmHiScores::instance();
    if (!fuzz::Accepted([&] { form.LoadScores(); })) return 0; // the caller reports it
    // Whatever was read, the file now agrees with it: a second start reads it back quietly.
    const ScoreTable first = form.HiScores;
    const int before = fuzz::messages;
    form.LoadScores();
    fuzz::Require(fuzz::messages == before && form.HiScores == first);
    return 0;
}
