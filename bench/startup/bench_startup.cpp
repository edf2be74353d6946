// bench_startup: builds the real main window as the program does, quits on the first paint of
// the play field, and prints the time to it and the memory then. Needs Graphics/ and Sounds/
// beside this executable; launch it through bench_startup_minimal --spawn to count loading.

#include "FirstPaint.h"
#include "Startup.h"
#include "frmBirds_Main.h"

#include <memory>

int main(int argc, char* argv[]) {
    bench::FirstPaint probe("game");
    // As main does.
    startup::BeforeToolkit();
    QApplication app(argc, argv);
    startup::ToolkitStarted();
    auto window = std::make_unique<frmBirds_Main>();
    window->picScreen().installEventFilter(&probe);
    window->show();
    return QApplication::exec();
}
