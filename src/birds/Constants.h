#pragma once

namespace Constants {
// Rnd * 100 + 1: from 1 up to, not including, 101.
double RandomPercent();
} // namespace Constants
