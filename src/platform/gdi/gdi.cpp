#include "gdi.h"

#include <QFile>
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>
#include <sys/mman.h>
#include <unistd.h>

namespace gdi {
namespace {

struct DeviceContext {
    // A memory context shares the bitmap selected into it, so deleting the bitmap's handle
    // leaves the picture usable here until the context itself goes.
    std::shared_ptr<QImage> selected;
    HGDIOBJ selectedHandle = 0;
    QImage* external = nullptr;
    std::function<void(std::span<const QRect>)> changed;

    QImage* surface() const { return external ? external : selected.get(); }
};

// A surface last filled by a whole copy of another of its size, and what has been written into
// either since: the next whole copy needs only those parts, as a frame shown again after a
// small change does. Every write changes an image's cache key, so a write that did not come
// through BitBlt (a new picture, a painter) shows, and the next copy is whole again.
struct Mirror {
    HDC dst = 0, src = 0;
    const QImage* dstImage = nullptr;
    const QImage* srcImage = nullptr;
    qint64 dstKey = 0, srcKey = 0;
    // False once either image changed past the transfers: only a whole copy then says more.
    bool known = false;
    std::vector<QRect> stale; // may overlap

    void add(const QRect& part) {
        // A picture's colours go where its mask just went.
        if (!stale.empty() && stale.back().contains(part)) return;
        if (stale.size() < MaxStaleParts) {
            stale.push_back(part);
            return;
        }
        QRect all = part;
        for (const QRect& r : stale)
            all |= r;
        stale.assign(1, all);
    }
    qint64 staleArea() const {
        qint64 area = 0;
        for (const QRect& r : stale)
            area += qint64(r.width()) * r.height();
        return area;
    }

    static constexpr std::size_t MaxStaleParts = 24;
};

struct Table {
    std::unordered_map<std::int32_t, DeviceContext> dcs;
    std::unordered_map<std::int32_t, std::shared_ptr<QImage>> bitmaps;
    std::vector<Mirror> mirrors;
    std::int32_t next = 1;

    void forgetMirrors(HDC dc) {
        std::erase_if(mirrors, [dc](const Mirror& m) { return m.dst == dc || m.src == dc; });
    }

    std::int32_t allocate() {
        for (;;) {
            const std::int32_t h = next;
            next = next == std::numeric_limits<std::int32_t>::max() ? 1 : next + 1;
            if (!dcs.contains(h) && !bitmaps.contains(h)) return h;
        }
    }
};

Table& table() {
    static Table t;
    return t;
}

constexpr std::uint32_t Opaque = 0xFF000000u;

void copyRow(std::uint32_t* __restrict d, const std::uint32_t* __restrict s, int n) {
    std::memcpy(d, s, static_cast<std::size_t>(n) * 4);
}
[[gnu::target_clones("avx2", "default")]] void andRow(std::uint32_t* __restrict d,
                                                      const std::uint32_t* __restrict s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = (d[i] & s[i]) | Opaque;
}
[[gnu::target_clones("avx2", "default")]] void orRow(std::uint32_t* __restrict d,
                                                     const std::uint32_t* __restrict s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] | s[i] | Opaque;
}

using RowOp = void (*)(std::uint32_t* __restrict, const std::uint32_t* __restrict, int);

RowOp rowOpFor(std::uint32_t rop) {
    switch (rop) {
    case SRCCOPY:
        return copyRow;
    case SRCAND:
        return andRow;
    case SRCPAINT:
        return orRow;
    default:
        return nullptr;
    }
}

// Clips one axis of a transfer to both surfaces; false when nothing is left.
bool clipAxis(std::int64_t& d, std::int64_t& s, std::int64_t& len, std::int64_t dLimit,
              std::int64_t sLimit) {
    if (d < 0) {
        s -= d;
        len += d;
        d = 0;
    }
    if (s < 0) {
        d -= s;
        len += s;
        s = 0;
    }
    len = std::min({len, dLimit - d, sLimit - s});
    return len > 0;
}

} // namespace

HDC CreateCompatibleDC(HDC) {
    ++Calls().createCompatibleDC;
    Table& t = table();
    const HDC h = t.allocate();
    t.dcs.emplace(h, DeviceContext{});
    return h;
}

HBITMAP LoadImageA(std::int32_t instance, const std::string& fileName, std::uint32_t type,
                   std::int32_t cx, std::int32_t cy, std::uint32_t flags) {
    ++Calls().loadImage;
    if (instance != 0 || type != IMAGE_BITMAP || !(flags & LR_LOADFROMFILE)) return 0;
    QImage image = ReadBitmapFile(QFile::decodeName(QByteArray::fromStdString(fileName)));
    if (image.isNull()) return 0;
    const int w = cx > 0 ? cx : image.width();
    const int h = cy > 0 ? cy : image.height();
    if (w != image.width() || h != image.height())
        image = image.scaled(w, h, Qt::IgnoreAspectRatio, Qt::FastTransformation)
                    .convertToFormat(QImage::Format_RGB32);
    if (image.isNull()) return 0;
    Table& t = table();
    const HBITMAP handle = t.allocate();
    t.bitmaps.emplace(handle, std::make_shared<QImage>(std::move(image)));
    return handle;
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ object) {
    ++Calls().selectObject;
    Table& t = table();
    const auto d = t.dcs.find(dc);
    const auto b = t.bitmaps.find(object);
    if (d == t.dcs.end() || b == t.bitmaps.end() || d->second.external) return 0;
    const HGDIOBJ previous = d->second.selectedHandle;
    t.forgetMirrors(dc);
    d->second.selected = b->second;
    d->second.selectedHandle = object;
    return previous;
}

std::int32_t DeleteObject(HGDIOBJ object) {
    ++Calls().deleteObject;
    return table().bitmaps.erase(object) ? 1 : 0;
}

std::int32_t DeleteDC(HDC dc) {
    ++Calls().deleteDC;
    table().forgetMirrors(dc);
    return table().dcs.erase(dc) ? 1 : 0;
}

std::int32_t BitBlt(HDC dst, std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h,
                    HDC src, std::int32_t sx, std::int32_t sy, std::uint32_t rop) {
    ++Calls().bitBlt;
    Table& t = table();
    const auto d = t.dcs.find(dst);
    const auto s = t.dcs.find(src);
    if (d == t.dcs.end() || s == t.dcs.end()) return 0;
    QImage* di = d->second.surface();
    QImage* si = s->second.surface();
    const RowOp op = rowOpFor(rop);
    if (!di || !si || !op || di->depth() != 32 || si->depth() != 32) return 0;

    std::int64_t X = x, Y = y, W = w, H = h, SX = sx, SY = sy;
    if (!clipAxis(X, SX, W, di->width(), si->width()) ||
        !clipAxis(Y, SY, H, di->height(), si->height()))
        return 1;

    const QRect area(static_cast<int>(X), static_cast<int>(Y), static_cast<int>(W),
                     static_cast<int>(H));
    std::span<const QRect> written(&area, 1);
    std::vector<QRect> parts;
    Mirror* mirror = nullptr;
    if (rop == SRCCOPY && di != si && SX == 0 && SY == 0 && area == di->rect() &&
        si->size() == di->size()) {
        const auto m = std::find_if(t.mirrors.begin(), t.mirrors.end(),
                                    [dst](const Mirror& m) { return m.dst == dst; });
        mirror = m != t.mirrors.end() ? &*m : &t.mirrors.emplace_back();
        // When most of it changed, whole rows copy faster than many short pieces.
        if (mirror->known && mirror->src == src && mirror->dstImage == di &&
            mirror->srcImage == si && mirror->dstKey == di->cacheKey() &&
            mirror->srcKey == si->cacheKey()) {
            if (mirror->staleArea() * 2 < qint64(W) * H) {
                parts.swap(mirror->stale);
                written = parts;
            }
        } else {
            *mirror = Mirror{dst, src, di, si, 0, si->cacheKey(), true, {}};
        }
        mirror->stale.clear();
    }
    if (written.empty()) {
        mirror->dstKey = di->cacheKey();
        mirror->stale.swap(parts); // keeps its room for the next frame
        return 1;
    }

    // A mirror whose images changed behind the transfers' backs knows nothing more.
    for (Mirror& m : t.mirrors)
        if (&m != mirror && ((m.dstImage == di && m.dstKey != di->cacheKey()) ||
                             (m.srcImage == di && m.srcKey != di->cacheKey())))
            m.known = false;

    // Writable bits first: that detaches the destination should it share data with the source.
    uchar* dBits = di->bits();
    const uchar* sBits = si->constBits();
    const qsizetype dStride = di->bytesPerLine();
    qsizetype sStride = si->bytesPerLine();

    std::vector<std::uint32_t> staged;
    if (di == si && X < SX + W && SX < X + W && Y < SY + H && SY < Y + H) {
        // Overlapping parts of one surface: read the source before anything is written.
        staged.resize(static_cast<std::size_t>(W * H));
        for (std::int64_t r = 0; r < H; ++r)
            std::memcpy(staged.data() + r * W, sBits + (SY + r) * sStride + SX * 4,
                        static_cast<std::size_t>(W) * 4);
        sBits = reinterpret_cast<const uchar*>(staged.data());
        sStride = static_cast<qsizetype>(W * 4);
        SX = SY = 0;
    }

    // Parts of a whole copy may overlap; copying a pixel twice leaves it the same.
    for (const QRect& part : written) {
        const std::int64_t sx = SX + (part.x() - X), sy = SY + (part.y() - Y);
        if (op == copyRow && part.x() == 0 && sx == 0 && part.width() * 4 == dStride &&
            dStride == sStride) {
            // Whole rows of two surfaces of one width: one block.
            std::memcpy(dBits + part.y() * dStride, sBits + sy * sStride,
                        static_cast<std::size_t>(part.height() * dStride));
            continue;
        }
        for (int r = 0; r < part.height(); ++r) {
            auto* dRow =
                reinterpret_cast<std::uint32_t*>(dBits + (part.y() + r) * dStride) + part.x();
            const auto* sRow =
                reinterpret_cast<const std::uint32_t*>(sBits + (sy + r) * sStride) + sx;
            op(dRow, sRow, part.width());
        }
    }

    // What mirrors this surface, or is mirrored by it, now differs there.
    for (Mirror& m : t.mirrors) {
        if (!m.known) continue;
        if ((m.dstImage == di && &m != mirror) || m.srcImage == di)
            for (const QRect& part : written)
                m.add(part);
        if (m.dstImage == di) m.dstKey = di->cacheKey();
        if (m.srcImage == di) m.srcKey = di->cacheKey();
    }
    if (d->second.changed) d->second.changed(written);
    if (!parts.empty()) {
        parts.clear();
        mirror->stale.swap(parts);
    }
    return 1;
}

HDC CreateSurfaceDC(QImage* surface, std::function<void(std::span<const QRect>)> changed) {
    if (!surface) return 0;
    Table& t = table();
    const HDC h = t.allocate();
    DeviceContext dc;
    dc.external = surface;
    dc.changed = std::move(changed);
    t.dcs.emplace(h, std::move(dc));
    return h;
}

QImage NewSurface(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    if (image.isNull()) return image;
    static const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(image.bits());
    const std::uintptr_t first = (begin + page - 1) & ~(page - 1),
                         last = (begin + static_cast<std::uintptr_t>(image.sizeInBytes())) &
                                ~(page - 1);
    // A kernel without it refuses, and the pages come one fault at a time as before.
    if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE);
    return image;
}

QImage* SurfaceOf(HDC dc) {
    Table& t = table();
    const auto d = t.dcs.find(dc);
    return d == t.dcs.end() ? nullptr : d->second.surface();
}

CallCounts& Calls() {
    static CallCounts counts;
    return counts;
}

} // namespace gdi
