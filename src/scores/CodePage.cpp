#include "CodePage.h"

#include <QList>
#include <array>

namespace codepage {

namespace {
// 0x80 to 0x9F; the rest of the code page coincides with Latin-1.
constexpr std::array<char16_t, 32> kHigh = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char encode(char32_t c) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<char>(c);
    for (std::size_t i = 0; i < kHigh.size(); ++i)
        if (kHigh[i] == c) return static_cast<char>(0x80 + i);
    return '?';
}
} // namespace

QByteArray FromUnicode(const QString& text) {
    QByteArray out;
    out.reserve(text.size());
    for (char32_t c : text.toUcs4())
        out.append(encode(c));
    return out;
}

QString ToUnicode(const QByteArray& bytes) {
    QString out;
    out.reserve(bytes.size());
    for (char b : bytes) {
        const auto u = static_cast<unsigned char>(b);
        out.append(u >= 0x80 && u < 0xA0 ? QChar(kHigh[u - 0x80]) : QChar(u));
    }
    return out;
}

} // namespace codepage
