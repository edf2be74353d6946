#pragma once
// The pictures and sounds all birds share, and the asset names.

#include "MemoryDC.h"
#include "Sound.h"

#include <QString>
#include <array>
#include <memory>

namespace modBirds {

inline std::array<std::unique_ptr<MemoryDC>, 10> SpriteLeft;
inline std::array<std::unique_ptr<MemoryDC>, 10> SpriteRight;
inline std::array<std::unique_ptr<MemoryDC>, 10> MaskLeft;
inline std::array<std::unique_ptr<MemoryDC>, 10> MaskRight;
inline std::array<std::unique_ptr<Sound>, 7> BirdSounds;
inline std::array<std::unique_ptr<Sound>, 4> ExplosionSounds;

void LoadBirdAssets();

} // namespace modBirds
