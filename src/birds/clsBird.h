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

    // The bird's own state; the engine and tests read it, tests place birds through it.
    runtime::Integer PosX = 0;
    runtime::Integer PosY = 0;
    double SpeedX = 0;
    double SpeedY = 0;
    runtime::Long State = Absent;
    runtime::Integer Frame = 0;
    double FrameClock = 0;
    runtime::Long Direction = 0;

  private:
    GameScreen* Gscreen = nullptr;
};
