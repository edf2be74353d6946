#include "ScoreJournal.h"

#include <QtEndian>

namespace scorefile {

namespace {

// Magic, table length, saved length, hash of the two lengths and the saved bytes; then those.
const QByteArray Magic = QByteArrayLiteral("MBGJRNL1");
constexpr qsizetype HeaderSize = 32;

quint64 fnv1a(const char* data, qsizetype size, quint64 hash = 0xcbf29ce484222325ull) {
    for (qsizetype i = 0; i < size; ++i)
        hash = (hash ^ quint8(data[i])) * 0x100000001b3ull;
    return hash;
}

void put(QByteArray& out, quint64 value) {
    char le[8];
    qToLittleEndian(value, le);
    out.append(le, 8);
}

quint64 get(const QByteArray& in, qsizetype at) {
    return qFromLittleEndian<quint64>(in.constData() + at);
}

} // namespace

QByteArray EncodeJournal(const JournalRecord& record) {
    QByteArray out;
    out.reserve(HeaderSize + record.saved.size());
    out.append(Magic);
    put(out, quint64(record.tableLength));
    put(out, quint64(record.saved.size()));
    put(out, fnv1a(record.saved.constData(), record.saved.size(), fnv1a(out.constData() + 8, 16)));
    return out.append(record.saved);
}

std::optional<JournalRecord> DecodeJournal(const QByteArray& bytes, qint64 tableLength) {
    if (bytes.size() < HeaderSize || !bytes.startsWith(Magic)) return std::nullopt;
    const quint64 length = get(bytes, 8), saved = get(bytes, 16);
    if (saved != quint64(bytes.size() - HeaderSize) || saved > length ||
        length > quint64(tableLength))
        return std::nullopt;
    const char* payload = bytes.constData() + HeaderSize;
    if (get(bytes, 24) != fnv1a(payload, qsizetype(saved), fnv1a(bytes.constData() + 8, 16)))
        return std::nullopt;
    return JournalRecord{qint64(length), bytes.mid(HeaderSize)};
}

} // namespace scorefile
