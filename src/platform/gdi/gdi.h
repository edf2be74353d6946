#pragma once
// Device contexts and bitmaps behind 32-bit handles, over RGB32 QImage surfaces, with the
// bit-block transfers the game draws with.

#include <QImage>
#include <QRect>
#include <QString>
#include <cstdint>
#include <functional>
#include <span>

namespace gdi {

using HDC = std::int32_t;
using HGDIOBJ = std::int32_t;
using HBITMAP = std::int32_t;

inline constexpr std::uint32_t SRCCOPY = 0xCC0020;
inline constexpr std::uint32_t SRCAND = 0x8800C6;
inline constexpr std::uint32_t SRCPAINT = 0xEE0086;

inline constexpr std::uint32_t IMAGE_BITMAP = 0;
inline constexpr std::uint32_t LR_LOADFROMFILE = 0x10;
inline constexpr std::uint32_t LR_DEFAULTSIZE = 0x40;
inline constexpr std::uint32_t LR_CREATEDIBSECTION = 0x2000;

// A memory device context with no bitmap yet; 0 on failure.
HDC CreateCompatibleDC(HDC reference);
// A bitmap read from a Windows bitmap file at its own size; 0 on any failure.
HBITMAP LoadImageA(std::int32_t instance, const std::string& fileName, std::uint32_t type,
                   std::int32_t cx, std::int32_t cy, std::uint32_t flags);
// Selects a bitmap into a device context; returns the previously selected object.
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
// Deletes a bitmap; one selected into a device context lives on until that context goes.
std::int32_t DeleteObject(HGDIOBJ object);
std::int32_t DeleteDC(HDC dc);
// Copies w x h pixels, clipped to both surfaces; does nothing (and returns 0) when either
// device context is 0 or unknown.
std::int32_t BitBlt(HDC dst, std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h,
                    HDC src, std::int32_t sx, std::int32_t sy, std::uint32_t rop);

// A device context over a surface that someone else owns (a picture area of a window).
// `changed` runs after every transfer that writes into the surface, with the rectangles it
// wrote (they may overlap).
HDC CreateSurfaceDC(QImage* surface, std::function<void(std::span<const QRect>)> changed = {});

// Reads a bitmap file into RGB32 with full intensity kept in every depth; a null image
// when the file is missing, unreadable or not a bitmap.
QImage ReadBitmapFile(const QString& fileName);

// A new picture in the one format every surface has; its pixels are undefined until written.
QImage NewSurface(int width, int height);

// The surface a device context reads and writes; nullptr when it has none.
QImage* SurfaceOf(HDC dc);

} // namespace gdi
