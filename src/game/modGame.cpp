#include "modGame.h"

#include "AssetNames.h"
#include "modBirds.h"
#include "modSound.h"

namespace modGame {

namespace {
bool Initialised = false;
} // namespace

bool Ready() {
    return Initialised;
}

void InitGame() {
    using AssetNames::FullPath;

    runtime::Randomize(runtime::Timer());

    PlayScreen = std::make_unique<GameScreen>();
    PlayScreen->load(Window->picScreen(), Window->PicBuffer(), FullPath(AssetNames::BackGround));

    GameTimer = &Window->tmrGame();

    SoundEnabled = runtime::True;
    modSound::SetSoundOn(SoundEnabled);

    // Each sound is created and loaded before the next one is created.
    GunFire = std::make_unique<Sound>();
    GunFire->load(AssetNames::GunFire);
    GunCock = std::make_unique<Sound>();
    GunCock->load(AssetNames::GunCock);
    GunEmpty = std::make_unique<Sound>();
    GunEmpty->load(AssetNames::GunEmpty);

    modBirds::LoadBirdAssets();

    for (auto& bird : Birds) {
        bird = std::make_unique<clsBird>();
        bird->init(*PlayScreen);
    }

    Window->setBarMin(GameWindow::Bar::Speed, 20.0f);
    Window->setBarMax(GameWindow::Bar::Speed, 70.0f);
    Window->setBarMax(GameWindow::Bar::Birds, 10.0f);
    Window->setBarMax(GameWindow::Bar::Bullets, 10.0f);

    TitleImage = std::make_unique<MemoryDC>();
    TitleMask = std::make_unique<MemoryDC>();
    TitleImage->load(FullPath(AssetNames::Title), 432, 31);
    TitleMask->load(FullPath(AssetNames::TitleMask), 432, 31);

    Initialised = true;
}

void NewGame() {
    // The aiming cursor is read from disk at every new game.
    Window->picScreen().setMouseIcon(LoadCursorIcon(AssetNames::FullPath(AssetNames::Cursor)));
    Window->picScreen().setMousePointer(PictureBox::Custom);

    Score = 0;
    Bullets = FullGun;
    BirdsLeft = 0;
    TitleReady = runtime::False;

    for (auto& bird : Birds)
        bird->Zero();

    GameState = StatePlaying;
}

void Go() {
    if (GameState == StatePlaying) return;
    if (GameState == StatePaused) {
        GameState = StatePlaying;
        Window->picScreen().setMousePointer(PictureBox::Custom);
        return;
    }
    NewGame();
}

void PauseGame() {
    if (GameState != StatePlaying) return;
    Window->picScreen().setMousePointer(PictureBox::NoDrop);
    GameState = StatePaused;
}

void StopGame() {
    if (GameState == StateTitle) return;
    // Already the title state, so the ticks behind the score windows set the title up.
    GameState = StateTitle;
    const qint32 finalScore = Score;
    Window->NewHighScore(finalScore);
    Window->displayScores();
    Window->showHiScores();
}

void ToggleSound() {
    SoundEnabled = SoundEnabled == runtime::True ? runtime::False : runtime::True;
    modSound::SetSoundOn(SoundEnabled);
}

void SpeedUp() {
    TimerInterval = static_cast<Integer>(TimerInterval - 3);
    if (TimerInterval < 20) TimerInterval = 20;
    GameTimer->setInterval(TimerInterval);
}

void SlowDown() {
    TimerInterval = static_cast<Integer>(TimerInterval + 3);
    if (TimerInterval > 70) TimerInterval = 70;
    GameTimer->setInterval(TimerInterval);
}

} // namespace modGame
