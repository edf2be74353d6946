#include "picturebox.h"

#include "runtime.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>

// The platform's picture loader: bitmaps through the graphics layer's own reader, icons and
// cursors through Qt's, and any other format Qt reads.

namespace {

bool startsLikeIcon(const QString& fileName) {
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly)) return false;
    const QByteArray head = f.read(4);
    return head.size() == 4 && head[0] == 0 && head[1] == 0 && (head[2] == 1 || head[2] == 2) &&
           head[3] == 0;
}

// The 32 x 32 image of a multi-image icon when it has one, else its largest.
QImage readIcon(const QString& fileName) {
    QImageReader reader(fileName, "ico");
    QImage best;
    for (int i = 0; i < std::min(reader.imageCount(), 64); ++i) {
        if (!reader.jumpToImage(i)) break;
        const QImage image = reader.read();
        if (image.isNull()) break;
        if (image.size() == QSize(32, 32)) return image;
        if (image.width() * image.height() > best.width() * best.height()) best = image;
    }
    return best;
}

void requireFile(const QString& fileName) {
    if (!QFileInfo(fileName).isFile())
        throw runtime::RuntimeError(runtime::ErrFileNotFound, QStringLiteral("File not found"));
}

[[noreturn]] void invalidPicture() {
    throw runtime::RuntimeError(runtime::ErrInvalidPicture, QStringLiteral("Invalid picture"));
}

} // namespace

QImage LoadPicture(const QString& fileName) {
    requireFile(fileName);
    if (startsLikeIcon(fileName)) {
        QImage icon = readIcon(fileName);
        if (icon.isNull()) invalidPicture();
        return icon;
    }
    QImage image = gdi::ReadBitmapFile(fileName);
    if (image.isNull()) {
        QImageReader other(fileName);
        if (other.format() != "bmp") image = other.read();
    }
    if (image.isNull()) invalidPicture();
    return image;
}

QCursor LoadCursorIcon(const QString& fileName) {
    requireFile(fileName);
    const QImage icon = readIcon(fileName);
    if (icon.isNull()) invalidPicture();
    return QCursor(QPixmap::fromImage(icon), icon.width() / 2, icon.height() / 2);
}
