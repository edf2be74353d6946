#include "gdi.h"

#include <QFile>
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <unordered_map>
#include <vector>

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

    static constexpr std::size_t MaxStaleParts = 24;

    bool current(HDC d, HDC s, const QImage* di, const QImage* si) const {
        return known && dst == d && src == s && dstImage == di && srcImage == si &&
               dstKey == di->cacheKey() && srcKey == si->cacheKey();
    }
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
};

struct Table {
    std::unordered_map<std::int32_t, DeviceContext> dcs;
    std::unordered_map<std::int32_t, std::shared_ptr<QImage>> bitmaps;
    std::vector<Mirror> mirrors;
    // The parts of the transfer under way, kept between frames so that a frame allocates nothing.
    std::vector<QRect> parts;
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
    DeviceContext* dc(HDC h) {
        const auto it = dcs.find(h);
        return it == dcs.end() ? nullptr : &it->second;
    }
    Mirror& mirrorOf(HDC dst) {
        const auto m = std::find_if(mirrors.begin(), mirrors.end(),
                                    [dst](const Mirror& m) { return m.dst == dst; });
        return m != mirrors.end() ? *m : mirrors.emplace_back();
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

// One bit-block transfer: the rectangle `area` of the destination, from `from` on the source.
struct Transfer {
    HDC dstDC, srcDC;
    QImage* dst;
    QImage* src;
    RowOp op;
    QRect area;
    QPoint from;

    bool whole() const {
        return op == copyRow && dst != src && from.isNull() && area == dst->rect() &&
               src->size() == dst->size();
    }
};

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

bool clip(Transfer& t, std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h,
          std::int64_t sx, std::int64_t sy) {
    if (!clipAxis(x, sx, w, t.dst->width(), t.src->width()) ||
        !clipAxis(y, sy, h, t.dst->height(), t.src->height()))
        return false;
    t.area = QRect(int(x), int(y), int(w), int(h));
    t.from = QPoint(int(sx), int(sy));
    return true;
}

// Which parts of the area to move into `parts`: all of it, or for a whole copy onto the
// surface that last took a whole copy of the same source, only what changed since on either
// side. Returns that surface's mirror, or null for any other transfer.
Mirror* plan(Table& table, const Transfer& t, std::vector<QRect>& parts) {
    parts.assign(1, t.area);
    if (!t.whole()) return nullptr;
    Mirror& m = table.mirrorOf(t.dstDC);
    // When most of it changed, whole rows copy faster than many short pieces.
    if (m.current(t.dstDC, t.srcDC, t.dst, t.src)) {
        if (m.staleArea() * 2 < qint64(t.area.width()) * t.area.height()) parts.swap(m.stale);
    } else {
        m = Mirror{t.dstDC, t.srcDC, t.dst, t.src, 0, t.src->cacheKey(), true, std::move(m.stale)};
    }
    m.stale.clear();
    return &m;
}

// Moves the rows of every part. A source that overlaps its destination on one surface is
// read whole before anything is written.
void move(const Transfer& t, std::span<const QRect> parts) {
    // Writable bits first: that detaches the destination should it share data with the source.
    uchar* dBits = t.dst->bits();
    const uchar* sBits = t.src->constBits();
    const qsizetype dStride = t.dst->bytesPerLine();
    qsizetype sStride = t.src->bytesPerLine();
    QPoint from = t.from;
    std::vector<std::uint32_t> staged;
    if (t.dst == t.src && t.area.intersects(QRect(t.from, t.area.size()))) {
        const int w = t.area.width(), h = t.area.height();
        staged.resize(static_cast<std::size_t>(w) * h);
        for (int r = 0; r < h; ++r)
            std::memcpy(staged.data() + std::size_t(r) * w,
                        sBits + (from.y() + r) * sStride + from.x() * 4, std::size_t(w) * 4);
        sBits = reinterpret_cast<const uchar*>(staged.data());
        sStride = qsizetype(w) * 4;
        from = QPoint(0, 0);
    }
    // Parts of a whole copy may overlap; copying a pixel twice leaves it the same.
    for (const QRect& part : parts) {
        const int sx = from.x() + (part.x() - t.area.x()), sy = from.y() + (part.y() - t.area.y());
        if (t.op == copyRow && part.x() == 0 && sx == 0 && part.width() * 4 == dStride &&
            dStride == sStride) {
            // Whole rows of two surfaces of one width: one block.
            std::memcpy(dBits + part.y() * dStride, sBits + sy * sStride,
                        static_cast<std::size_t>(part.height() * dStride));
            continue;
        }
        for (int r = 0; r < part.height(); ++r)
            t.op(reinterpret_cast<std::uint32_t*>(dBits + (part.y() + r) * dStride) + part.x(),
                 reinterpret_cast<const std::uint32_t*>(sBits + (sy + r) * sStride) + sx,
                 part.width());
    }
}

// Before a write into a surface: a mirror whose images changed behind the transfers' backs
// knows nothing more.
void forgetOutsideWrites(Table& table, const QImage* written, const Mirror* own) {
    for (Mirror& m : table.mirrors)
        if (&m != own && ((m.dstImage == written && m.dstKey != written->cacheKey()) ||
                          (m.srcImage == written && m.srcKey != written->cacheKey())))
            m.known = false;
}

// After it: what mirrors the surface, or is mirrored by it, now differs there.
void record(Table& table, const QImage* written, const Mirror* own,
            std::span<const QRect> parts) {
    for (Mirror& m : table.mirrors) {
        if (!m.known) continue;
        if ((m.dstImage == written && &m != own) || m.srcImage == written)
            for (const QRect& part : parts)
                m.add(part);
        if (m.dstImage == written) m.dstKey = written->cacheKey();
        if (m.srcImage == written) m.srcKey = written->cacheKey();
    }
}

} // namespace

HDC CreateCompatibleDC(HDC) {
    Table& t = table();
    const HDC h = t.allocate();
    t.dcs.emplace(h, DeviceContext{});
    return h;
}

HBITMAP LoadImageA(std::int32_t instance, const std::string& fileName, std::uint32_t type,
                   std::int32_t cx, std::int32_t cy, std::uint32_t flags) {
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
    Table& t = table();
    DeviceContext* d = t.dc(dc);
    const auto b = t.bitmaps.find(object);
    if (!d || b == t.bitmaps.end() || d->external) return 0;
    const HGDIOBJ previous = d->selectedHandle;
    t.forgetMirrors(dc);
    d->selected = b->second;
    d->selectedHandle = object;
    return previous;
}

std::int32_t DeleteObject(HGDIOBJ object) {
    return table().bitmaps.erase(object) ? 1 : 0;
}

std::int32_t DeleteDC(HDC dc) {
    table().forgetMirrors(dc);
    return table().dcs.erase(dc) ? 1 : 0;
}

std::int32_t BitBlt(HDC dst, std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h,
                    HDC src, std::int32_t sx, std::int32_t sy, std::uint32_t rop) {
    Table& table = gdi::table();
    const DeviceContext* d = table.dc(dst);
    const DeviceContext* s = table.dc(src);
    if (!d || !s) return 0;
    Transfer t{dst, src, d->surface(), s->surface(), rowOpFor(rop), {}, {}};
    if (!t.dst || !t.src || !t.op || t.dst->depth() != 32 || t.src->depth() != 32) return 0;
    if (!clip(t, x, y, w, h, sx, sy)) return 1;

    std::vector<QRect>& parts = table.parts;
    Mirror* own = plan(table, t, parts);
    if (parts.empty()) { // a whole copy with nothing changed
        own->dstKey = t.dst->cacheKey();
        return 1;
    }
    forgetOutsideWrites(table, t.dst, own);
    move(t, parts);
    record(table, t.dst, own, parts);
    if (d->changed) d->changed(parts);
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
    return QImage(width, height, QImage::Format_RGB32);
}

QImage* SurfaceOf(HDC dc) {
    const DeviceContext* d = table().dc(dc);
    return d ? d->surface() : nullptr;
}

} // namespace gdi
