#include "MemoryDC.h"

#include "gdi.h"

#include <QFile>

MemoryDC::~MemoryDC() {
    DestroyDC(DCHandle);
}

void MemoryDC::load(const QString& fileName, runtime::Integer Xsize, runtime::Integer Ysize) {
    SizeX = Xsize;
    SizeY = Ysize;
    // A surface already made is kept: a second load only restates the size.
    int attempts = 0;
    while (attempts <= 100) {
        if (DCHandle >= 1) break;
        DCHandle = GenerateDC(fileName);
        ++attempts;
    }
    if (attempts > 100 && DCHandle < 1)
        runtime::MsgBox(QStringLiteral("Failure in creating dc"), runtime::vbOKOnly);
}

runtime::Long MemoryDC::GenerateDC(const QString& fileName) {
    const gdi::HDC dc = gdi::CreateCompatibleDC(0);
    if (dc < 1) return 0;
    const gdi::HBITMAP bitmap =
        gdi::LoadImageA(0, QFile::encodeName(fileName).toStdString(), gdi::IMAGE_BITMAP, 0, 0,
                        gdi::LR_LOADFROMFILE | gdi::LR_DEFAULTSIZE | gdi::LR_CREATEDIBSECTION);
    if (bitmap == 0) {
        gdi::DeleteDC(dc);
        return 0;
    }
    gdi::SelectObject(dc, bitmap);
    // The context keeps the picture; the bitmap's own handle is not needed again.
    gdi::DeleteObject(bitmap);
    return dc;
}

runtime::Long MemoryDC::DestroyDC(runtime::Long hdc) {
    if (hdc >= 1) return gdi::DeleteDC(hdc);
    return 0;
}
