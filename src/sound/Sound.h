#pragma once
// One sound effect: a WAV file loaded once into a buffer of the registry.

#include "runtime.h"

#include <QString>

class Sound {
  public:
    void load(const QString& name);
    void play();
    void StopSound();
    runtime::Integer bufferIndex() const { return BufferIndex; }

  private:
    runtime::Integer BufferIndex = 0;
};
