#include "clsBird.h"

#include "Constants.h"
#include "modBirds.h"
#include "modSound.h"

#include <cmath>

using runtime::CInt;
using runtime::Rnd;

namespace {
// "Rnd * 1000 < k": the product is a single-precision value.
bool Chance(float perThousand) {
    return Rnd() * 1000.0f < perThousand;
}

// The flight box: a bird turns back once its corner passes these.
constexpr int LeftEdge = -50;
constexpr int RightEdge = 510;
constexpr int TopEdge = -10;
constexpr int BottomEdge = 310;
} // namespace

void clsBird::init(GameScreen& screen) {
    Gscreen = &screen;
}

void clsBird::appear() {
    if (State != Absent) return;

    FrameClock = 0;
    State = Flying;
    Frame = 0;
    Direction = Constants::RandomPercent() < 50 ? -1 : 1;
    PosY = CInt(Rnd() * 320.0f);
    // A left-flyer enters beyond the right edge with a positive speed; the edge rule turns it.
    PosX = Direction == -1 ? 610 : -150;
    SpeedX = Rnd() * 40.0f / 100.0f * 7.0f + 7.0f;
    SpeedY = Rnd() * 40.0f / 100.0f * 2.0f + 2.0f;
    if (Constants::RandomPercent() < 50) SpeedY = -SpeedY;
}

void clsBird::draw() {
    if (State == Absent || Gscreen == nullptr) return;
    const std::size_t f = static_cast<std::size_t>(Frame);
    if (Direction == -1)
        Gscreen->draw(*modBirds::SpriteLeft[f], *modBirds::MaskLeft[f], PosX, PosY);
    else
        Gscreen->draw(*modBirds::SpriteRight[f], *modBirds::MaskRight[f], PosX, PosY);
}

void clsBird::move() {
    if (State == Absent) return;

    if (Chance(7)) {
        const auto k = static_cast<std::size_t>(CInt(Rnd() * 6.0f));
        modSound::PlayEffect(*modBirds::BirdSounds[k]);
    }
    if (Chance(20)) SpeedX = -SpeedX;
    if (Chance(20)) SpeedY = -SpeedY;

    PosX = CInt(PosX + SpeedX);
    PosY = CInt(PosY + SpeedY);

    if (PosX < LeftEdge) SpeedX = std::fabs(SpeedX);
    if (PosX > RightEdge) SpeedX = -std::fabs(SpeedX);
    if (PosY < TopEdge) SpeedY = std::fabs(SpeedY);
    if (PosY > BottomEdge) SpeedY = -std::fabs(SpeedY);

    Direction = SpeedX > 0 ? 1 : -1;

    // The frame advances on every second move.
    FrameClock = FrameClock + 1;
    if (FrameClock >= 1.5) {
        Frame = static_cast<runtime::Integer>(Frame + 1);
        FrameClock = 0;
        if (State == Flying && Frame == 5) Frame = 0;
        if (State == Exploding && Frame == 10) State = Absent;
    }
}

runtime::Boolean clsBird::hit(const runtime::Integer& x, const runtime::Integer& y) {
    if (State != Flying) return runtime::False;

    const bool inside = PosX + 45 <= x && x <= PosX + 98 && PosY + 50 <= y && y <= PosY + 100;
    if (!inside) return runtime::False;

    State = Exploding;
    Frame = 5;
    const auto k = static_cast<std::size_t>(CInt(Rnd() * 3.0f));
    modSound::PlayEffect(*modBirds::ExplosionSounds[k]);
    // It drops while it explodes; its horizontal speed and frame clock carry on.
    SpeedY = 5;
    return runtime::True;
}

void clsBird::Zero() {
    State = Absent;
}

runtime::Boolean clsBird::exist() const {
    return State == Absent ? runtime::False : runtime::True;
}
