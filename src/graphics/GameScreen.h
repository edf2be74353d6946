#pragma once
// The play field, double-buffered: frames are composed in the back buffer and shown with
// one copy.

#include "MemoryDC.h"
#include "picturebox.h"

#include <memory>

class GameScreen {
  public:
    void load(PictureBox& front, PictureBox& PicBuffer, const QString& backImgFile);
    void draw(const MemoryDC& sprite, const MemoryDC& mask, runtime::Integer x, runtime::Integer y);
    void drawBuffer();
    void clearBuffer();

  private:
    std::unique_ptr<MemoryDC> Background;
    runtime::Integer ScreenWidth = 0;
    runtime::Integer ScreenHeight = 0;
    PictureBox* PicBuffer = nullptr;
    PictureBox* front = nullptr;
};
