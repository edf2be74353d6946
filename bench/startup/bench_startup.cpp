// bench_startup: builds the real main window as the program does, quits on the first paint of
// the play field, and prints the time to it and the memory then. Needs Graphics/ and Sounds/
// beside this executable; launch it through bench_startup_minimal --spawn to count loading.

#include "FirstPaint.h"
#include "LazyIconStyle.h"
#include "StartupPrefetch.h"
#include "frmBirds_Main.h"

#include <memory>

int main(int argc, char* argv[]) {
    bench::FirstPaint probe("game");
    // As main does.
    auto prefetch = std::make_unique<StartupPrefetch>();
    QApplication app(argc, argv);
    QApplication::setStyle(new LazyIconStyle);
    prefetch->ToolkitStarted();
    QApplication::setApplicationName(QString::fromLatin1(runtime::Title));
    auto window = std::make_unique<frmBirds_Main>();
    prefetch.reset();
    window->picScreen().installEventFilter(&probe);
    window->show();
    return QApplication::exec();
}
