#include "GameScreen.h"

#include "gdi.h"

void GameScreen::load(PictureBox& front, PictureBox& PicBuffer, const QString& backImgFile) {
    this->front = &front;
    this->PicBuffer = &PicBuffer;
    ScreenWidth = runtime::CInt(front.ScaleWidth());
    ScreenHeight = runtime::CInt(front.ScaleHeight());
    Background = std::make_unique<MemoryDC>();
    Background->load(backImgFile, ScreenWidth, ScreenHeight);
}

// Device contexts are asked for on every copy, never kept: the areas own them.

void GameScreen::draw(const MemoryDC& sprite, const MemoryDC& mask, runtime::Integer x,
                      runtime::Integer y) {
    if (!PicBuffer) return;
    gdi::BitBlt(PicBuffer->hDC(), x, y, mask.Xsize(), mask.Ysize(), mask.HDC(), 0, 0, gdi::SRCAND);
    gdi::BitBlt(PicBuffer->hDC(), x, y, sprite.Xsize(), sprite.Ysize(), sprite.HDC(), 0, 0,
                gdi::SRCPAINT);
}

void GameScreen::drawBuffer() {
    if (!front || !PicBuffer) return;
    gdi::BitBlt(front->hDC(), 0, 0, ScreenWidth, ScreenHeight, PicBuffer->hDC(), 0, 0,
                gdi::SRCCOPY);
}

void GameScreen::clearBuffer() {
    if (!PicBuffer || !Background) return;
    gdi::BitBlt(PicBuffer->hDC(), 0, 0, ScreenWidth, ScreenHeight, Background->HDC(), 0, 0,
                gdi::SRCCOPY);
}
