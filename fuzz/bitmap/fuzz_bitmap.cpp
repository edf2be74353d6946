// Bitmap files as the graphics layer reads them: any bytes as a .bmp, then drawn with every
// raster operation the game uses onto a play-field-sized surface.

#include "FuzzFile.h"
#include "gdi.h"

using namespace gdi;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const HBITMAP bitmap =
        LoadImageA(0, fuzz::Write("picture.bmp", data, size).toStdString(), IMAGE_BITMAP, 0, 0,
                   LR_LOADFROMFILE | LR_CREATEDIBSECTION | LR_DEFAULTSIZE);
    if (bitmap == 0) return 0;
    static QImage field(600, 400, QImage::Format_RGB32);
    static const HDC fieldDC = CreateSurfaceDC(&field);
    const HDC dc = CreateCompatibleDC(0);
    const HGDIOBJ old = SelectObject(dc, bitmap);
    // Positions from the input, so clipping at every edge is reached.
    const int x = size > 2 ? static_cast<std::int8_t>(data[size - 1]) * 5 : 0;
    const int y = size > 2 ? static_cast<std::int8_t>(data[size - 2]) * 4 : 0;
    BitBlt(fieldDC, x, y, 140, 148, dc, 0, 0, SRCAND);
    BitBlt(fieldDC, x, y, 140, 148, dc, 0, 0, SRCPAINT);
    BitBlt(fieldDC, -x, -y, 600, 400, dc, x, y, SRCCOPY);
    SelectObject(dc, old);
    DeleteObject(bitmap);
    DeleteDC(dc);
    return 0;
}
