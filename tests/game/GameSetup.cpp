#include "GameSetup.h"

#include "DSound.h"
#include "SoundProbe.h"
#include "TestAssets.h"
#include "modGame.h"
#include "modSound.h"
#include "runtime.h"

#include <QtGlobal>

namespace GameSetup {

std::unique_ptr<TestWindow> Start(const QString& dir, QStringList& messages) {
    TestAssets::WriteAll(dir);
    runtime::SetAppPath(dir);
    runtime::SetMsgBoxHook([&messages](const QString& prompt, int) { messages << prompt; });
    // Ending the program would end the test run with a success code.
    runtime::SetEndHook(
        [&messages] { qFatal("program ended: %s", qPrintable(messages.join('|'))); });
    runtime::SeedRandom(20240611u);
    dx::test::UseLoopbackDevice(dx::test::LoopbackFormat{});
    DSound::InitDirectSound(1); // any window handle will do

    auto window = std::make_unique<TestWindow>();
    modGame::Window = window.get();
    modGame::TimerInterval = 50;
    window->timer.setInterval(50);
    modGame::InitGame();
    // InitGame seeds from the clock; the tests want the same run every time.
    runtime::SeedRandom(20240611u);
    return window;
}

void ToTitle(TestWindow& window) {
    using namespace modGame;
    GameState = StateTitle;
    TitleReady = runtime::False;
    TickCount = 0;
    TimerInterval = 50;
    GameTimer->setInterval(50);
    SoundEnabled = runtime::True;
    modSound::SetSoundOn(SoundEnabled);
    window.clearRecord();
    window.onGameOver = {};
    GameTick();
    SoundProbe::SilenceAll();
}

int FlyingBirds() {
    int n = 0;
    for (const auto& bird : modGame::Birds)
        n += bird->State == clsBird::Flying;
    return n;
}

} // namespace GameSetup
