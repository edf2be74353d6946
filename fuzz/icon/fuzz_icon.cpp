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
    if (!asCursor) return 0;
    // An icon fit for the cursor is fit as a picture, the same picture, and the pointer's hot
    // spot lies on it.
    const QPixmap pointer = cursor.pixmap();
    fuzz::Require(asPicture && !pointer.isNull() && pointer.size() == picture.size(),
                  "the cursor is the picture");
    fuzz::Require(QRect(QPoint(), pointer.size()).contains(cursor.hotSpot()),
                  "the hot spot is on the picture");
    return 0;
}
