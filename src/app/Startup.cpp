#include "Startup.h"

#include "LazyIconStyle.h"
#include "directsound.h"
#include "runtime.h"

#include <QApplication>

namespace startup {

void BeforeToolkit() {
    dx::ConfigureDriver();
    // The window is laid out with its menu bar inside it. A desktop's global menu would take
    // the menus out, and asking the session bus whether there is one held start-up for 7 ms.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeMenuBar);
}

void ToolkitStarted() {
    QApplication::setStyle(new LazyIconStyle);
    QApplication::setApplicationName(QString::fromLatin1(runtime::Title));
    QApplication::setApplicationVersion(QStringLiteral("%1.%2.%3")
                                            .arg(runtime::App.Major)
                                            .arg(runtime::App.Minor)
                                            .arg(runtime::App.Revision));
    // Lets the desktop match the window to the installed entry and its icon.
    QGuiApplication::setDesktopFileName(QStringLiteral("org.morvelbirds.MorvelBirds"));
}

} // namespace startup
