#pragma once
// Shared by the targets: a headless application, the input as a file in a private directory,
// message boxes counted instead of shown, and a failed property reported as a crash.

#include "runtime.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cstdlib>

namespace fuzz {

inline int messages = 0;

inline void Require(bool holds) {
    if (!holds) std::abort();
}

inline QString Write(const char* name, const std::uint8_t* data, std::size_t size) {
    // In memory where the system has such a place: every score save flushes to the disk.
    static QTemporaryDir dir(QFileInfo(QStringLiteral("/dev/shm")).isWritable()
                                 ? QStringLiteral("/dev/shm/morvel-fuzz-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/morvel-fuzz-XXXXXX"));
    static int argc = 1;
    static char arg0[] = "fuzz", *argv[] = {arg0, nullptr};
    static const bool started = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        new QApplication(argc, argv); // never deleted: it would outlive the readers' statics
        runtime::SetAppPath(dir.path());
        runtime::SetMsgBoxHook([](const QString&, int) { ++messages; });
        runtime::SetInputBoxHook([](const QString&, const QString&) { return QString(); });
        runtime::SetEndHook(
            [](int) { std::abort(); }); // ending the program on bad input is a finding
        return dir.isValid();
    }();
    QFile f(dir.filePath(name));
    Require(started && f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    return f.fileName();
}

// Runs a reader; false when it refused the input with the program's own error.
template <class Read> bool Accepted(Read read) {
    try {
        read();
        return true;
    } catch (const runtime::RuntimeError&) {
        return false;
    }
}

} // namespace fuzz
