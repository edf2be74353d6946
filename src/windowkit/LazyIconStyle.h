#pragma once
// The platform's own style, except that the icons of the menu bar's and toolbar's overflow
// buttons are loaded only when first drawn. Every bar asks for them as it is made, and reading
// them loads each image plugin of the toolkit: milliseconds of start-up for buttons that a
// fixed window never shows.

#include <QProxyStyle>

class LazyIconStyle : public QProxyStyle {
  public:
    QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                       const QWidget* widget) const override;
};
