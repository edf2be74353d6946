#pragma once
// One bird: absent, flying or exploding, with its flight model and hit box.

#include "GameScreen.h"
#include "runtime.h"

class clsBird {
  public:
    enum : runtime::Long { Absent = 0, Flying = 1, Exploding = 2 };

    void init(GameScreen& Gscreen);
    void appear();
    void draw();
    void move();
    runtime::Boolean hit(const runtime::Integer& x, const runtime::Integer& y);
    void Zero();
    runtime::Boolean exist() const;

    // Where the bird is and how it flies, read-only: for tests and benchmarks that aim at it.
    runtime::Integer posX() const { return PosX; }
    runtime::Integer posY() const { return PosY; }
    double speedX() const { return SpeedX; }
    double speedY() const { return SpeedY; }
    runtime::Long state() const { return State; }
    runtime::Integer frame() const { return Frame; }
    runtime::Long direction() const { return Direction; }

  private:
    runtime::Integer PosX = 0;
    runtime::Integer PosY = 0;
    double SpeedX = 0;
    double SpeedY = 0;
    runtime::Long State = Absent;
    runtime::Integer Frame = 0;
    double FrameClock = 0;
    runtime::Long Direction = 0;
    GameScreen* Gscreen = nullptr;
};
