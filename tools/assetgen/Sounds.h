#pragma once
// The game's sound effects, synthesised at the file sample rate as samples in [-1, 1].

#include <vector>

namespace Sounds {

using Samples = std::vector<double>;

Samples GunFire();
Samples GunCock();
Samples GunEmpty();
Samples BirdCall(int n);  // 1 to 7, each a different call
Samples Explosion(int n); // 1 to 4, each a different blast

// Removes any DC offset, fades both ends, and levels the sound to the common loudness with
// its peak at most -1 dBFS. `relativeDb` sets a sound below the common level.
void Finish(Samples& s, double fadeInSeconds, double fadeOutSeconds, double relativeDb = 0.0);
double Peak(const Samples& s);
double Rms(const Samples& s);

} // namespace Sounds
