#include "Form.h"

#include <QApplication>
#include <QDialog>
#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QWindow>
#include <algorithm>
#include <cmath>

namespace form {

namespace {
constexpr double LaidOutDpi = 120.0;
}

QFont font(double points, bool bold, bool underline) {
    QFont f = QApplication::font();
    f.setPixelSize(static_cast<int>(std::lround(points * LaidOutDpi / 72.0)));
    f.setBold(bold);
    f.setUnderline(underline);
    return f;
}

int Scale::px(int twips) const {
    return static_cast<int>(std::lround(twips * unit / TwipsPerPixel));
}

QRect Scale::rect(int left, int top, int width, int height) const {
    return QRect(QPoint(px(left), px(top)), QPoint(px(left + width) - 1, px(top + height) - 1));
}

QFont Scale::font(QFont f) const {
    if (f.pointSizeF() > 0)
        f.setPointSizeF(f.pointSizeF() * unit);
    else
        f.setPixelSize(std::max(1, static_cast<int>(std::lround(f.pixelSize() * unit))));
    return f;
}

void makeFixed(QDialog* dialog, const QString& caption) {
    dialog->setWindowFlags(Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint | Qt::CustomizeWindowHint |
                           Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowCloseButtonHint);
    dialog->setWindowTitle(caption);
    dialog->setModal(true);
}

void setClientSize(QDialog* dialog, int widthTwips, int heightTwips) {
    dialog->setFixedSize(px(widthTwips), px(heightTwips));
}

QLabel* label(QWidget* parent, const QRect& geometry, const QString& text, Qt::Alignment align) {
    auto* l = new QLabel(text, parent);
    l->setGeometry(geometry);
    l->setWordWrap(true);
    l->setAlignment(align | Qt::AlignTop);
    return l;
}

QLabel* picture(QWidget* parent, QPoint topLeft, const QImage& image) {
    auto* l = new QLabel(parent);
    l->setPixmap(QPixmap::fromImage(image));
    l->setGeometry(QRect(topLeft, image.size()));
    return l;
}

void ownByActiveWindow(QDialog* dialog) {
    QWidget* owner = QApplication::activeWindow();
    if (!owner || owner == dialog || !owner->windowHandle()) return;
    dialog->winId(); // makes the native window so it can take its owner before it maps
    if (QWindow* w = dialog->windowHandle()) w->setTransientParent(owner->windowHandle());
}

} // namespace form
