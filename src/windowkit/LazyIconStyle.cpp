#include "LazyIconStyle.h"

#include <QIconEngine>
#include <QPainter>
#include <QPointer>
#include <QStyleOption>
#include <QWidget>
#include <functional>
#include <optional>

namespace {

// Stands in for an icon until it is drawn or measured, then asks the base style for it.
class DeferredIcon : public QIconEngine {
  public:
    explicit DeferredIcon(std::function<QIcon()> make) : make_(std::move(make)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
               QIcon::State state) override {
        icon().paint(painter, rect, Qt::AlignCenter, mode, state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return icon().pixmap(size, mode, state);
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state,
                         qreal scale) override {
        return icon().pixmap(size / scale, scale, mode, state); // size: in device pixels
    }
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return icon().actualSize(size, mode, state);
    }
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override {
        return icon().availableSizes(mode, state);
    }
    QIconEngine* clone() const override { return new DeferredIcon(*this); }

  private:
    const QIcon& icon() {
        if (!icon_) icon_ = make_();
        return *icon_;
    }

    std::function<QIcon()> make_;
    std::optional<QIcon> icon_;
};

} // namespace

QIcon LazyIconStyle::standardIcon(StandardPixmap which, const QStyleOption* option,
                                  const QWidget* widget) const {
    if (which != SP_ToolBarHorizontalExtensionButton && which != SP_ToolBarVerticalExtensionButton)
        return QProxyStyle::standardIcon(which, option, widget);
    // The option and widget are gone by the time the icon is drawn; what the base style reads
    // of them for these icons is the direction, kept here.
    const Qt::LayoutDirection direction =
        option ? option->direction : (widget ? widget->layoutDirection() : Qt::LeftToRight);
    QPointer<QStyle> base = baseStyle();
    return QIcon(new DeferredIcon([base, which, direction] {
        if (!base) return QIcon();
        QStyleOption kept;
        kept.direction = direction;
        return base->standardIcon(which, &kept, nullptr);
    }));
}
