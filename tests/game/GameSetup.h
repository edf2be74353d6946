#pragma once
// Starts the engine as the main window would, over test assets in a temporary directory.

#include "TestWindow.h"

#include <QStringList>
#include <memory>

namespace GameSetup {

// Writes the assets under dir, opens the loopback sound device, makes the window, sets the
// speed to 50 ms and runs InitGame. Message boxes are collected in `messages`; ending the
// program fails the test run.
std::unique_ptr<TestWindow> Start(const QString& dir, QStringList& messages);

// Back to a fresh title state as after start-up, then one tick to set it up.
void ToTitle(TestWindow& window);

// Number of birds whose state is flying.
int FlyingBirds();

} // namespace GameSetup
