#pragma once
// What every target shares: a headless application, a private directory, the input written
// to a file there, and message boxes and the end of the program caught instead of shown.

#include "runtime.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

namespace fuzz {

inline QTemporaryDir& Dir() {
    static QTemporaryDir dir;
    return dir;
}

inline int& Messages() {
    static int count = 0;
    return count;
}

// Once per process: the readers need an application object, and none may open a window.
inline void Start() {
    // Never destroyed: at exit it would outlive the statics of the readers it serves.
    static QApplication* app = nullptr;
    if (app) return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    app = new QApplication(argc, argv);
    if (!Dir().isValid()) std::abort();
    runtime::SetAppPath(Dir().path());
    runtime::SetMsgBoxHook([](const QString&, int) { ++Messages(); });
    runtime::SetInputBoxHook([](const QString&, const QString&) { return QString(); });
    // A reader must never end the program on bad input: that is a finding.
    runtime::SetEndHook([] { std::abort(); });
}

inline QString Write(const char* name, const std::uint8_t* data, std::size_t size) {
    const QString path = Dir().filePath(QString::fromLatin1(name));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) std::abort();
    f.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    return path;
}

// A property that must hold for every input; a failure is reported as a crash.
inline void Require(bool holds) {
    if (!holds) std::abort();
}

} // namespace fuzz
