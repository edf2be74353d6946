#pragma once
// Shared by the targets: a headless application, the input as a file in a private directory,
// message boxes recorded instead of shown, and a failed property reported as a crash.

#include "runtimetest.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline QStringList messages; // text|style

// Names the broken property, so a crash report says what failed and not only where.
inline void Require(bool holds, const char* what = "property") {
    if (!holds) {
        std::fprintf(stderr, "broken property: %s\n", what);
        std::abort();
    }
}

// In TMPDIR, which scripts/fuzz.sh puts on a memory file system (no flushes to a disk).
inline QString ScratchDir() {
    static QTemporaryDir dir;
    static int argc = 1;
    static char arg0[] = "fuzz", *argv[] = {arg0, nullptr};
    static const bool started = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        new QApplication(argc, argv); // never deleted: it would outlive the readers' statics
        runtime::SetAppPath(dir.path());
        runtime::SetMsgBoxHook([](const QString& text, int style) {
            messages << text + u'|' + QString::number(style);
        });
        runtime::SetInputBoxHook([](const QString&, const QString&) { return QString(); });
        runtime::SetEndHook(
            [](int) { std::abort(); }); // ending the program on bad input is a finding
        return dir.isValid();
    }();
    Require(started, "scratch directory");
    return dir.path();
}

inline QString Write(const char* name, const QByteArray& bytes) {
    QFile f(ScratchDir() + u'/' + QLatin1String(name));
    Require(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size(),
            "input written");
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
