// Renders the program's icon as PNG files for the desktop's hicolor theme:
// icongen <theme dir> <icon name> <size>...

#include "ProgramIcon.h"

#include <QDir>
#include <QGuiApplication>
#include <cstdio>

int main(int argc, char* argv[]) {
    QGuiApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: icongen <theme dir> <icon name> <size>...\n");
        return 2;
    }
    const QString theme = QString::fromLocal8Bit(argv[1]);
    const QString name = QString::fromLocal8Bit(argv[2]);
    for (int i = 3; i < argc; ++i) {
        const int size = QByteArray(argv[i]).toInt();
        if (size < 16 || size > 1024) {
            std::fprintf(stderr, "icongen: bad size %s\n", argv[i]);
            return 2;
        }
        const QString dir = QStringLiteral("%1/%2x%2/apps").arg(theme).arg(size);
        const QString file = dir + u'/' + name + QStringLiteral(".png");
        if (!QDir().mkpath(dir) || !ProgramIconImage(size).save(file, "PNG")) {
            std::fprintf(stderr, "icongen: cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
