#pragma once
// Ends a start-up benchmark at the first paint of a widget, printing the time since the process
// was launched (MORVEL_BENCH_T0, steady-clock nanoseconds stamped before exec; else since main)
// and the memory then, or MORVEL_BENCH_HOLD_MS milliseconds later, the event loop running.

#include <QApplication>
#include <QFile>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <sys/resource.h>

namespace bench {

inline qint64 steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// CPU time of every thread so far, user and system.
inline double cpuMs() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1e3 +
           (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e3;
}

inline long statusKiB(const char* field) {
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ')[0].toLong();
    return -1;
}

class FirstPaint : public QObject {
  public:
    // Call first thing in main.
    explicit FirstPaint(const char* mode)
        : mode_(mode), t0_(qEnvironmentVariableIsSet("MORVEL_BENCH_T0")
                               ? qEnvironmentVariable("MORVEL_BENCH_T0").toLongLong()
                               : steadyNs()) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !seen_) {
            seen_ = true;
            const double ms = (steadyNs() - t0_) / 1e6, cpu = cpuMs();
            // Measured after this paint has run, so its memory counts too.
            const int hold = qEnvironmentVariableIntValue("MORVEL_BENCH_HOLD_MS");
            QTimer::singleShot(hold, qApp, [=, this] {
                std::printf("mode=%s platform=%s first_frame_ms=%.1f cpu_ms=%.1f rss_kib=%ld "
                            "hwm_kib=%ld\n",
                            mode_, qPrintable(QApplication::platformName()), ms, cpu,
                            statusKiB("VmRSS:"), statusKiB("VmHWM:"));
                std::fflush(stdout);
                // exit, not quit: quit asks the window to close, which the game's refuses.
                QCoreApplication::exit(0);
            });
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    const char* mode_;
    qint64 t0_;
    bool seen_ = false;
};

} // namespace bench
