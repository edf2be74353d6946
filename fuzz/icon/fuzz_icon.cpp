// Icon files as the aiming cursor and pictures are read: any bytes as a .ico.

#include "FuzzFile.h"
#include "picturebox.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("cursor.ico", data, size);
    QCursor cursor;
    QImage picture;
    const bool asCursor = fuzz::Accepted([&] { cursor = LoadCursorIcon(path); });
    const bool asPicture = fuzz::Accepted([&] { picture = LoadPicture(path); });
    // What loads is never empty, and an icon fit for the cursor is fit as a picture.
    fuzz::Require((!asCursor || !cursor.pixmap().isNull()) && (!asPicture || !picture.isNull()) &&
                  (!asCursor || asPicture));
    return 0;
}
