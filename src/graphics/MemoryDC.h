#pragma once
// One off-screen picture: a bitmap file read once into a memory device context, with the
// width and height its owner states.

#include "runtime.h"

#include <QString>

class MemoryDC {
  public:
    MemoryDC() = default;
    MemoryDC(const MemoryDC&) = delete;
    MemoryDC& operator=(const MemoryDC&) = delete;
    ~MemoryDC();

    void load(const QString& fileName, runtime::Integer Xsize, runtime::Integer Ysize);
    runtime::Long HDC() const { return DCHandle; }
    runtime::Long Xsize() const { return SizeX; }
    runtime::Long Ysize() const { return SizeY; }
    // A new memory device context holding the file's picture, or 0.
    runtime::Long GenerateDC(const QString& fileName);

  private:
    runtime::Long DestroyDC(runtime::Long hdc);

    runtime::Long DCHandle = 0;
    runtime::Integer SizeX = 0;
    runtime::Integer SizeY = 0;
};
