#include "shell.h"

#include <QDesktopServices>
#include <QUrl>

namespace shell {

long ShellExecuteA(QWidget* owner, const QString& operation, const QString& file,
                   const QString& parameters, const QString& directory, int showCmd) {
    // The desktop decides how to show what it opens; owner, parameters, directory and show
    // command have no counterpart there.
    (void)owner;
    (void)parameters;
    (void)directory;
    (void)showCmd;
    if (operation.compare(QLatin1String("open"), Qt::CaseInsensitive) != 0) return 0;
    QUrl url(file);
    if (url.scheme().isEmpty()) url = QUrl::fromUserInput(file);
    if (!url.isValid()) return 2;
    return QDesktopServices::openUrl(url) ? 42 : 31;
}

} // namespace shell
