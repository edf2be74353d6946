#pragma once
// Whole files in and out: what the program is to read, or what it wrote.

#include <QFile>
#include <QTest>

inline QByteArray readFile(const QString& name) {
    QFile f(name);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline void writeFile(const QString& name, const QByteArray& bytes) {
    QFile f(name);
    QVERIFY(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size() && f.flush());
}
