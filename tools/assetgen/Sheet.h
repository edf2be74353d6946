#pragma once

#include <QString>

namespace Sheet {
// Every frame of <dir>/Graphics drawn over the background by mask AND then picture OR, as
// the game draws them, enlarged twice, into one PNG.
void Write(const QString& dir, const QString& png);
} // namespace Sheet
