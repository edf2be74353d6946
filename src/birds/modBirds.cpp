#include "modBirds.h"

#include "AssetNames.h"

namespace modBirds {

namespace {
constexpr runtime::Integer FrameWidth = 140;
constexpr runtime::Integer FrameHeight = 148;

const QString Picture = QStringLiteral(".bmp");
const QString Mask = QStringLiteral("mask.bmp");
} // namespace

void LoadBirdAssets() {
    using AssetNames::FullPath;

    for (int i = 0; i <= 4; ++i) {
        const int n = i + 1;
        SpriteLeft[i] = std::make_unique<MemoryDC>();
        SpriteRight[i] = std::make_unique<MemoryDC>();
        MaskLeft[i] = std::make_unique<MemoryDC>();
        MaskRight[i] = std::make_unique<MemoryDC>();
        const QString pictureLeft = FullPath(AssetNames::BirdFrame(u'L', n, Picture));
        const QString pictureRight = FullPath(AssetNames::BirdFrame(u'R', n, Picture));
        const QString maskLeft = FullPath(AssetNames::BirdFrame(u'L', n, Mask));
        const QString maskRight = FullPath(AssetNames::BirdFrame(u'R', n, Mask));
        SpriteLeft[i]->load(pictureLeft, FrameWidth, FrameHeight);
        SpriteRight[i]->load(pictureRight, FrameWidth, FrameHeight);
        MaskLeft[i]->load(maskLeft, FrameWidth, FrameHeight);
        MaskRight[i]->load(maskRight, FrameWidth, FrameHeight);
    }

    // The explosion looks the same either way, but each direction reads its own copy.
    for (int i = 5; i <= 9; ++i) {
        const int n = i - 4;
        SpriteLeft[i] = std::make_unique<MemoryDC>();
        SpriteRight[i] = std::make_unique<MemoryDC>();
        MaskLeft[i] = std::make_unique<MemoryDC>();
        MaskRight[i] = std::make_unique<MemoryDC>();
        const QString picture = FullPath(AssetNames::ExplosionFrame(n, Picture));
        const QString mask = FullPath(AssetNames::ExplosionFrame(n, Mask));
        SpriteLeft[i]->load(picture, FrameWidth, FrameHeight);
        SpriteRight[i]->load(picture, FrameWidth, FrameHeight);
        MaskLeft[i]->load(mask, FrameWidth, FrameHeight);
        MaskRight[i]->load(mask, FrameWidth, FrameHeight);
    }

    // The sound registry joins these relative names to the base directory itself.
    for (int i = 0; i <= 6; ++i) {
        BirdSounds[i] = std::make_unique<Sound>();
        BirdSounds[i]->load(AssetNames::BirdCall(i + 1));
    }
    for (int i = 0; i <= 3; ++i) {
        ExplosionSounds[i] = std::make_unique<Sound>();
        ExplosionSounds[i]->load(AssetNames::ExplosionSound(i + 1));
    }
}

} // namespace modBirds
