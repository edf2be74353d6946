#pragma once
// Byte-exact writers for the three file kinds the game reads.

#include <QImage>
#include <QString>
#include <vector>

namespace FileWriters {

inline constexpr int SampleRate = 44100;

// Uncompressed 24-bit bottom-up Windows bitmap; alpha is dropped.
void WriteBmp24(const QString& path, const QImage& image);
// Icon file with one 32-bit entry per image and an AND mask set wherever alpha is below half.
void WriteIco(const QString& path, const std::vector<QImage>& images);
// 16-bit PCM mono; samples are clamped to [-1, 1] and rounded.
void WriteWav(const QString& path, const std::vector<double>& samples);

} // namespace FileWriters
