// bench_startup [game|minimal]: builds the real main window (or a bare QMainWindow), quits on
// the first paint of the play field, and prints the time from entering main and the memory
// then. The game needs Graphics/ and Sounds/ beside this executable.

#include "frmBirds_Main.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QMainWindow>
#include <QTimer>
#include <cstdio>
#include <memory>

namespace {

QElapsedTimer clock_;

long statusKiB(const char* field) {
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ')[0].toLong();
    return -1;
}

class FirstPaint : public QObject {
  public:
    explicit FirstPaint(const char* mode) : mode_(mode) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !seen_) {
            seen_ = true;
            const double ms = clock_.nsecsElapsed() / 1e6;
            const QByteArray platform = QApplication::platformName().toLatin1();
            // Measured after this paint has run, so its memory counts too.
            QTimer::singleShot(0, qApp, [=, this] {
                std::printf("mode=%s platform=%s first_frame_ms=%.1f rss_kib=%ld hwm_kib=%ld\n",
                            mode_, platform.constData(), ms, statusKiB("VmRSS:"),
                            statusKiB("VmHWM:"));
                std::fflush(stdout);
                // exit, not quit: quit asks the window to close, which it refuses.
                QCoreApplication::exit(0);
            });
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    const char* mode_;
    bool seen_ = false;
};

} // namespace

int main(int argc, char* argv[]) {
    clock_.start();
    QApplication app(argc, argv);
    const bool minimal = argc > 1 && qstrcmp(argv[1], "minimal") == 0;
    FirstPaint probe(minimal ? "minimal" : "game");

    if (minimal) {
        QMainWindow window;
        auto* field = new QLabel(QStringLiteral("field"), &window);
        field->setMinimumSize(604, 404);
        window.setCentralWidget(field);
        field->installEventFilter(&probe);
        window.show();
        return QApplication::exec();
    }
    QApplication::setApplicationName(QString::fromLatin1(runtime::Title));
    auto window = std::make_unique<frmBirds_Main>();
    window->picScreen().installEventFilter(&probe);
    window->show();
    return QApplication::exec();
}
