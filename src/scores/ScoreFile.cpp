#include "ScoreFile.h"

#include "runtime.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace scorefile {

namespace {

constexpr runtime::Long ErrDiskFull = 61;
constexpr runtime::Long ErrDeviceIO = 57;
constexpr runtime::Long ErrPermission = 70;
constexpr runtime::Long ErrPathNotFound = 76;

[[noreturn]] void raise(int err) {
    switch (err) {
    case EACCES:
    case EPERM:
    case EROFS:
        throw runtime::RuntimeError(ErrPermission, QStringLiteral("Permission denied"));
    case ENOSPC:
    case EDQUOT:
        throw runtime::RuntimeError(ErrDiskFull, QStringLiteral("Disk full"));
    case ENOENT:
    case ENOTDIR:
        throw runtime::RuntimeError(ErrPathNotFound, QStringLiteral("Path not found"));
    case EIO:
        throw runtime::RuntimeError(ErrDeviceIO, QStringLiteral("Device I/O error"));
    default:
        throw runtime::RuntimeError(runtime::ErrPathAccess,
                                    QStringLiteral("Path/File access error"));
    }
}

// A file with no write bit at all counts as read-only even for the superuser, like the
// read-only attribute it stands for; the rename would otherwise replace it silently.
bool writable(const QByteArray& path, const struct stat& st) {
    // Effective ids: an installed game runs set-group-id to reach a shared score file.
    return (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0 &&
           ::faccessat(AT_FDCWD, path.constData(), W_OK, AT_EACCESS) == 0;
}

// stat of an existing, writable regular file; false when there is none.
bool checkTarget(const QByteArray& path, struct stat& st) {
    if (::stat(path.constData(), &st) != 0) {
        if (errno == ENOENT) return false;
        raise(errno);
    }
    if (S_ISDIR(st.st_mode)) raise(EISDIR);
    if (!writable(path, st)) raise(EACCES);
    return true;
}

QByteArray readAll(int fd) {
    QByteArray data;
    char buf[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n == 0) return data;
        if (n < 0) {
            if (errno == EINTR) continue;
            const int err = errno;
            ::close(fd);
            raise(err);
        }
        data.append(buf, n);
    }
}

// Returns 0 or the errno of the failure.
int writeAll(int fd, const QByteArray& data, off_t offset) {
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::pwrite(fd, data.constData() + done, data.size() - done, offset + done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        done += n;
    }
    return 0;
}

// The plain way, used only where the directory takes no new file: the head is written over
// the start of the existing file.
void writeInPlace(const QByteArray& path, const QByteArray& head) {
    const int fd = ::open(path.constData(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) raise(errno);
    int err = writeAll(fd, head, 0);
    if (!err && ::fsync(fd) != 0) err = errno;
    if (::close(fd) != 0 && !err) err = errno;
    if (err) raise(err);
}

void syncDirectory(const QString& path) {
    const QByteArray dir = QFile::encodeName(QFileInfo(path).absolutePath());
    const int fd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd); // the rename is durable once the directory is; a failure here loses nothing
    ::close(fd);
}

struct Reader {
    const QByteArray& bytes;
    qsizetype pos = 0;

    quint32 number(int width) {
        quint32 value = 0;
        for (int i = 0; i < width; ++i, ++pos)
            if (pos < bytes.size()) value |= quint32(quint8(bytes[pos])) << (8 * i);
        return value;
    }
    QByteArray text(qsizetype n) {
        const qsizetype start = qMin(pos, bytes.size());
        pos += n;
        return bytes.mid(start, qMin(n, bytes.size() - start));
    }
};

void put(QByteArray& out, quint32 value, int width) {
    for (int i = 0; i < width; ++i)
        out.append(char((value >> (8 * i)) & 0xFF));
}

} // namespace

QByteArray Encode(const ScoreTable& table, qint32 checksum) {
    QByteArray out;
    for (const ScoreEntry& e : table) {
        const QByteArray name = e.Name.left(0xFFFF);
        put(out, quint32(name.size()), 2);
        out.append(name);
        put(out, quint32(e.Points), 4);
    }
    put(out, quint32(checksum), 4);
    return out;
}

qint32 Decode(const QByteArray& bytes, ScoreTable& table) {
    Reader in{bytes};
    for (ScoreEntry& e : table) {
        e.Name = in.text(in.number(2));
        e.Points = qint32(in.number(4));
    }
    return qint32(in.number(4));
}

QByteArray ReadForUpdate(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    struct stat st;
    const bool exists = checkTarget(name, st);
    const int fd = ::open(name.constData(), O_RDWR | O_CLOEXEC | (exists ? 0 : O_CREAT), 0666);
    if (fd < 0) raise(errno);
    const QByteArray data = readAll(fd);
    ::close(fd);
    return data;
}

QString FinalTarget(const QString& path) {
    QString at = path;
    // Bounded like the kernel's own lookup, so a loop of links ends in a plain error.
    for (int hops = 0; hops < 40; ++hops) {
        const QByteArray name = QFile::encodeName(at);
        struct stat st;
        if (::lstat(name.constData(), &st) != 0 || !S_ISLNK(st.st_mode)) return at;
        QByteArray link(PATH_MAX, Qt::Uninitialized);
        const ssize_t n = ::readlink(name.constData(), link.data(), link.size());
        if (n < 0 || n >= link.size()) return at;
        link.truncate(n);
        const QString next = QFile::decodeName(link);
        at = QDir::isAbsolutePath(next) ? next : QFileInfo(at).absolutePath() + u'/' + next;
    }
    return at;
}

QString TempPath(const QString& path) {
    return FinalTarget(path) + QStringLiteral(".tmp");
}

void WriteHead(const QString& linkOrFile, const QByteArray& head) {
    // The rename replaces the file the link leads to; the link itself stays.
    const QString path = FinalTarget(linkOrFile);
    const QByteArray name = QFile::encodeName(path);
    struct stat st;
    const bool exists = checkTarget(name, st);

    QByteArray content = head;
    if (exists) {
        const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) raise(errno);
        const QByteArray old = readAll(fd);
        ::close(fd);
        if (old.size() > head.size()) content += old.mid(head.size());
    }

    const QByteArray temp = QFile::encodeName(TempPath(path));
    const int fd = ::open(temp.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) {
        if (exists && (errno == EACCES || errno == EPERM || errno == EROFS))
            return writeInPlace(name, head);
        raise(errno);
    }
    int err = 0;
    if (exists && ::fchmod(fd, st.st_mode & 07777) != 0) err = errno;
    if (!err) err = writeAll(fd, content, 0);
    if (!err && ::fsync(fd) != 0) err = errno;
    if (::close(fd) != 0 && !err) err = errno;
    if (!err && ::rename(temp.constData(), name.constData()) != 0) err = errno;
    if (err) {
        ::unlink(temp.constData());
        raise(err);
    }
    syncDirectory(path);
}

} // namespace scorefile
