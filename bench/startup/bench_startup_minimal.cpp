// bench_startup_minimal: a main window with one label the size of the play field, timed to
// its first paint like bench_startup.
// bench_startup_minimal --spawn PROGRAM [ARGS]: stamps the clock and execs PROGRAM, so that
// its time runs from before the loader maps its libraries.

#include "FirstPaint.h"

#include <QLabel>
#include <QMainWindow>
#include <cstring>
#include <string>
#include <unistd.h>

int main(int argc, char* argv[]) {
    if (argc > 2 && std::strcmp(argv[1], "--spawn") == 0) {
        setenv("MORVEL_BENCH_T0", std::to_string(bench::steadyNs()).c_str(), 1);
        execv(argv[2], argv + 2);
        std::perror(argv[2]);
        return 127;
    }
    bench::FirstPaint probe("minimal");
    QApplication app(argc, argv);
    QMainWindow window;
    auto* field = new QLabel(QStringLiteral("field"), &window);
    field->setMinimumSize(604, 404);
    window.setCentralWidget(field);
    field->installEventFilter(&probe);
    window.show();
    return QApplication::exec();
}
