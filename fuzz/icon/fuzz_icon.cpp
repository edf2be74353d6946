// Icon files as the aiming cursor and pictures are read: any bytes as a .ico.

#include "FuzzFile.h"
#include "picturebox.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("cursor.ico", data, size);
    QCursor cursor;
    QImage picture;
    const bool asCursor = fuzz::Accepted([&] { cursor = LoadCursorIcon(path); });
    const bool asPicture = fuzz::Accepted([&] { picture = LoadPicture(path); });
    fuzz::Require(!asPicture || !picture.isNull(), "a loaded picture has pixels");
    // What does not start like an icon, the picture loader hands to the bitmap reader (a target
    // of its own) or to Qt's other formats (not ours): checked, but not kept to breed, so that
    // this target stays on icons.
    const bool icon =
        size >= 4 && data[0] == 0 && data[1] == 0 && (data[2] == 1 || data[2] == 2) && data[3] == 0;
    if (!asCursor) return icon ? 0 : -1;
    // An icon fit for the cursor is fit as a picture, the same picture, and the pointer's hot
    // spot lies on it.
    const QPixmap pointer = cursor.pixmap();
    fuzz::Require(asPicture && !pointer.isNull() && pointer.size() == picture.size(),
                  "the cursor is the picture");
    fuzz::Require(QRect(QPoint(), pointer.size()).contains(cursor.hotSpot()),
                  "the hot spot is on the picture");
    return 0;
}
