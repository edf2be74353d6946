#include "modGame.h"

#include "modSound.h"

namespace modGame {

void Shoot(Integer x, Integer y) {
    if (GameState != StatePlaying) return;

    if (Bullets < 1) {
        modSound::PlayEffect(*GunEmpty);
        return;
    }

    Bullets = static_cast<Integer>(Bullets - 1);
    modSound::PlayEffect(*GunFire);

    // Every bird under the point counts, so overlapping birds all fall to one shot.
    for (auto& bird : Birds) {
        if (bird->hit(x, y) == runtime::True) {
            modSound::StopEffect(*GunFire);
            Score += 50;
            BirdsLeft = static_cast<Integer>(BirdsLeft - 1);
            AddBullet(runtime::False);
        }
    }
}

void AddBullet(const Boolean& withSound) {
    if (Bullets >= FullGun) return;
    Bullets = static_cast<Integer>(Bullets + 1);
    if (withSound == runtime::True) modSound::PlayEffect(*GunCock);
}

} // namespace modGame
