#include "ScoreFile.h"

#include "ScoreJournal.h"
#include "runtime.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <map>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace scorefile {

namespace {

constexpr runtime::Long ErrDiskFull = 61;
constexpr runtime::Long ErrDeviceIO = 57;
constexpr runtime::Long ErrPermission = 70;
constexpr runtime::Long ErrPathNotFound = 76;
// A save takes milliseconds; a game that holds the lock longer has been stopped or hangs.
constexpr auto LockWait = std::chrono::seconds(5);
// Read and written only by the games that write the table (the owner and group games).
constexpr mode_t JournalMode = 0660;
// Far beyond eleven records of the longest names: anything longer is no journal of ours.
constexpr off_t MaxJournal = 1 << 21;

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

// The table and its journal, open while locked, or for the whole run when handed over.
struct Table {
    int fd = -1;
    int journal = -1;
    bool handedOver = false;
    int depth = 0;
    // While locked, no other game changes either file: what this game last read from the
    // table or wrote to it, and whether the journal is known to be empty, spare a reset's ten
    // saves from reading both again.
    std::optional<QByteArray> content;
    bool journalEmpty = false;
};

std::map<std::string, Table>& tables() {
    static std::map<std::string, Table> open;
    return open;
}

std::string finalTarget(std::string at) {
    // Bounded like the kernel's own lookup, so a loop of links ends in a plain error.
    for (int hops = 0; hops < 40; ++hops) {
        struct stat st;
        if (::lstat(at.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return at;
        char link[PATH_MAX];
        const ssize_t n = ::readlink(at.c_str(), link, sizeof link);
        if (n < 0 || n >= ssize_t(sizeof link)) return at;
        const std::string next(link, std::size_t(n));
        const std::size_t slash = at.rfind('/');
        at = next.front() == '/' || slash == std::string::npos ? next
                                                               : at.substr(0, slash + 1) + next;
    }
    return at;
}

std::string journalOf(const std::string& path) {
    return finalTarget(path) + "-journal";
}

// A regular file opened for reading and writing, never through a link, nor a device or pipe
// put in its place; -1 with errno otherwise.
int openRegular(const std::string& path, int create, mode_t mode = 0666) {
    const int fd =
        ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | create, mode);
    struct stat st;
    if (fd < 0 || (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode))) return fd;
    ::close(fd);
    errno = EINVAL;
    return -1;
}

// A file with no write bit at all counts as read-only even for the superuser, like the
// read-only attribute it stands for.
void checkWritable(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) return;
        raise(errno);
    }
    if (S_ISDIR(st.st_mode)) raise(EISDIR);
    if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 ||
        ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        raise(EACCES);
}

void lockFile(int fd) {
    const auto deadline = std::chrono::steady_clock::now() + LockWait;
    while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) raise(errno);
        if (std::chrono::steady_clock::now() >= deadline)
            throw runtime::RuntimeError(ErrPermission,
                                        QStringLiteral("Scores file locked by another game"));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void release(const std::string& path) {
    const auto at = tables().find(path);
    Table& t = at->second;
    if (t.handedOver) {
        t.content.reset();
        t.journalEmpty = false;
        ::flock(t.journal >= 0 ? t.journal : t.fd, LOCK_UN);
        return;
    }
    for (int fd : {t.fd, t.journal})
        if (fd >= 0) ::close(fd);
    tables().erase(at);
}

// The functions below return 0 or the errno of the failure.
int readAll(int fd, QByteArray& data) {
    data.clear();
    char buf[4096];
    for (;;) {
        const ssize_t n = ::pread(fd, buf, sizeof buf, off_t(data.size()));
        if (n == 0) return 0;
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        data.append(buf, n);
    }
}

int writeAll(int fd, const QByteArray& data) {
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::pwrite(fd, data.constData() + done, data.size() - done, off_t(done));
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        done += n;
    }
    return 0;
}

int flush(int fd) {
    return ::fsync(fd) == 0 ? 0 : errno;
}

int clear(int journal) {
    return ::ftruncate(journal, 0) == 0 ? flush(journal) : errno;
}

int restore(int fd, const JournalRecord& record) {
    int err = writeAll(fd, record.saved);
    if (!err && ::ftruncate(fd, off_t(record.tableLength)) != 0) err = errno;
    return err ? err : flush(fd);
}

// Puts back what a save cut short had overwritten, then empties the journal. A journal that
// is not one whole record was never followed by a write to the table, or was not ours.
int recover(const Table& t) {
    if (t.journal < 0) return 0;
    struct stat js, ts;
    if (::fstat(t.journal, &js) != 0 || ::fstat(t.fd, &ts) != 0) return errno;
    if (js.st_size == 0) return 0;
    QByteArray bytes;
    if (js.st_size <= MaxJournal)
        if (const int err = readAll(t.journal, bytes)) return err;
    if (const auto record = DecodeJournal(bytes, ts.st_size))
        if (const int err = restore(t.fd, *record)) return err;
    return clear(t.journal);
}

void open(Table& t, const std::string& path) {
    const std::string target = finalTarget(path);
    checkWritable(target);
    t.fd = openRegular(target, O_CREAT);
    if (t.fd < 0) raise(errno);
    // The journal carries the lock, so it is made at once, readable by its writers alone. A
    // directory that takes no new file still lets the table be read; its saves then fail.
    t.journal = openRegular(target + "-journal", O_CREAT, JournalMode);
    if (t.journal < 0 && errno != ENOENT && errno != EACCES && errno != EPERM && errno != EROFS)
        raise(errno);
}

Table& locked(const std::string& path) {
    return tables().at(path);
}

struct Reader {
    const QByteArray& bytes;
    qsizetype pos = 0;

    // Bytes past the end read as zeros.
    quint32 number(int width) {
        char le[4] = {};
        const QByteArray there = bytes.mid(pos, width);
        std::copy(there.begin(), there.end(), le);
        pos += width;
        return qFromLittleEndian<quint32>(le);
    }
    QByteArray text(qsizetype n) {
        const qsizetype start = qMin(pos, bytes.size());
        pos += n;
        return bytes.mid(start, qMin(n, bytes.size() - start));
    }
};

void put(QByteArray& out, quint32 value, int width) {
    char le[4];
    qToLittleEndian(value, le);
    out.append(le, width);
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

Lock::Lock(const QString& path) : path_(QFile::encodeName(path).toStdString()) {
    Table& t = tables()[path_];
    if (t.depth == 0) {
        try {
            if (!t.handedOver) open(t, path_);
            // On the journal, not the table: anyone may read the table and so lock it, while
            // only the table's writers can open the journal.
            lockFile(t.journal >= 0 ? t.journal : t.fd);
            if (const int err = recover(t)) raise(err);
            t.journalEmpty = true;
        } catch (...) {
            release(path_);
            throw;
        }
    }
    ++t.depth;
}

Lock::~Lock() {
    if (--locked(path_).depth == 0) release(path_);
}

QByteArray Read(const QString& path) {
    const Lock lock(path);
    Table& t = locked(QFile::encodeName(path).toStdString());
    QByteArray data;
    if (const int err = readAll(t.fd, data)) raise(err);
    t.content = data;
    return data;
}

QByteArray WriteHead(const QString& path, const QByteArray& head) {
    const Lock lock(path);
    const std::string name = QFile::encodeName(path).toStdString();
    Table& t = locked(name);
    // An earlier save of this game under the same lock may have failed half-way.
    if (!t.journalEmpty) {
        t.content.reset();
        if (const int err = recover(t)) raise(err);
        t.journalEmpty = true;
    }
    if (t.journal < 0) {
        if (t.handedOver) raise(ENOENT); // the shared directory takes no new file from a player
        t.journal = openRegular(journalOf(name), O_CREAT, JournalMode);
        if (t.journal < 0) raise(errno);
    }
    if (!t.content) {
        QByteArray bytes;
        if (const int err = readAll(t.fd, bytes)) raise(err);
        t.content = bytes;
    }
    const QByteArray old = *t.content;
    // Nothing to change, nothing to flush: a reset over a table of mostly fresh rows.
    if (old.startsWith(head)) return old;
    const JournalRecord record{old.size(), old.left(head.size())};

    t.content.reset();
    t.journalEmpty = false;
    int err = writeAll(t.journal, EncodeJournal(record));
    if (!err) err = flush(t.journal);
    if (err) {
        // The table is untouched; a torn record left behind is never applied anyway.
        [[maybe_unused]] const int cleared = ::ftruncate(t.journal, 0);
        raise(err);
    }
    err = writeAll(t.fd, head);
    if (!err) err = flush(t.fd);
    if (!err) err = clear(t.journal);
    if (err) {
        // Back to the old table at once; should that fail too, the journal keeps it for the
        // next lock.
        if (restore(t.fd, record) == 0 && clear(t.journal) == 0) t.journalEmpty = true;
        raise(err);
    }
    t.journalEmpty = true;
    t.content = head + old.mid(head.size());
    return *t.content;
}

QString JournalPath(const QString& path) {
    return QFile::decodeName(journalOf(QFile::encodeName(path).toStdString()).c_str());
}

void HandOver(const QString& path) {
    const std::string name = QFile::encodeName(path).toStdString();
    const std::string target = finalTarget(name);
    const int fd = openRegular(target, 0);
    if (fd < 0) return;
    Table& t = tables()[name];
    t.fd = fd;
    t.journal = openRegular(target + "-journal", 0);
    t.handedOver = true;
}

} // namespace scorefile
