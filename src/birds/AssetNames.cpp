#include "AssetNames.h"

#include "runtime.h"

namespace AssetNames {

QChar Digit(int n) {
    const QString text = QString::number(n);
    return text.back();
}

QString BirdFrame(QChar letter, int n, const QString& suffix) {
    return QStringLiteral("\\Graphics\\Bird") + letter + Digit(n) + suffix;
}

QString ExplosionFrame(int n, const QString& suffix) {
    return QStringLiteral("\\Graphics\\explosion") + Digit(n) + suffix;
}

QString BirdCall(int n) {
    return QStringLiteral("\\Sounds\\Bird") + Digit(n) + QStringLiteral(".wav");
}

QString ExplosionSound(int n) {
    return QStringLiteral("\\Sounds\\Explosion") + Digit(n) + QStringLiteral(".wav");
}

QString FullPath(const QString& relative) {
    return runtime::JoinPath(runtime::AppPath(), relative);
}

} // namespace AssetNames
