#pragma once
// The program's icon, shared by every window: a bird in a cross-hair, 16 x 16 and 32 x 32.

#include <QIcon>

QIcon ProgramIcon();
