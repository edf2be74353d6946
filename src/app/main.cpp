#include "StartupPrefetch.h"
#include "frmBirds_Main.h"
#include "runtime.h"

#include <QApplication>
#include <memory>

int main(int argc, char* argv[]) {
    // The sound device and the asset files are read on a second thread while the toolkit starts.
    auto prefetch = std::make_unique<StartupPrefetch>();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QString::fromLatin1(runtime::Title));
    QApplication::setApplicationVersion(QStringLiteral("%1.%2.%3")
                                            .arg(runtime::App.Major)
                                            .arg(runtime::App.Minor)
                                            .arg(runtime::App.Revision));
    // Lets the desktop match the window to the installed entry and its icon.
    QGuiApplication::setDesktopFileName(QStringLiteral("org.morvelbirds.MorvelBirds"));
    // The window lives until the program ends; it is never closed, only left through End.
    std::unique_ptr<frmBirds_Main> window;
    runtime::Guard([&] {
        window = std::make_unique<frmBirds_Main>();
        prefetch.reset();
        window->show();
    });
    int result = 0;
    runtime::Guard([&] { result = QApplication::exec(); });
    return result;
}
