#pragma once
// The program's icon: a bird in a cross-hair, black on white. Every window shows it at
// 16 x 16 and 32 x 32; the desktop's icon theme takes it at its other sizes too.

#include <QIcon>
#include <QImage>

QIcon ProgramIcon();
// Crisp single pixels at the window's own sizes, smoothed at any other.
QImage ProgramIconImage(int size);
