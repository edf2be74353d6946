// Icon files as the aiming cursor and pictures are read: any bytes as a .ico.

#include "FuzzFile.h"
#include "picturebox.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::Start();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fuzz::Write("cursor.ico", data, size);
    bool asCursor = false, asPicture = false;
    try {
        const QCursor cursor = LoadCursorIcon(path);
        fuzz::Require(!cursor.pixmap().isNull());
        asCursor = true;
    } catch (const runtime::RuntimeError&) {
    }
    try {
        const QImage picture = LoadPicture(path);
        fuzz::Require(!picture.isNull());
        asPicture = true;
    } catch (const runtime::RuntimeError&) {
    }
    // An icon good enough for the cursor is good enough as a picture.
    fuzz::Require(!asCursor || asPicture);
    return 0;
}
