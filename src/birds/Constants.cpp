#include "Constants.h"

#include "runtime.h"

namespace Constants {

double RandomPercent() {
    // Computed in single precision, as the generator's values are, then widened.
    return static_cast<double>(runtime::Rnd() * 100.0f + 1.0f);
}

} // namespace Constants
