#include "modGame.h"

namespace modGame {

namespace {
constexpr Integer TitleX = 76;
constexpr Integer TitleY = 13;
} // namespace

void GameTick() {
    TickCount += 1;

    if (BirdsLeft < 0) BirdsLeft = 0;
    if (Score < 0) Score = 0;
    if (Bullets < 0) Bullets = 0;

    // The display shows the counters as they were before this tick's frame.
    if (TickCount % 5 == 0) UpdateStatus();

    switch (GameState) {
    case StateTitle:
        TitleFrame();
        break;
    case StatePaused:
        PauseFrame();
        break;
    default:
        PlayFrame();
        break;
    }
}

void PlayFrame() {
    PlayScreen->clearBuffer();

    if (TickCount % 30 == 0 && Bullets < FullGun) AddBullet(runtime::True);
    if (TickCount % 5 == 0) Score += 1;

    if (BirdsLeft < MaxBirds) {
        // Both sides in single precision; the chance grows by a point per thousand score.
        const float r = runtime::Rnd() * 1000.0f;
        const float threshold = static_cast<float>(Score / 100.0 + 20);
        if (r < threshold) LaunchBird();
    } else {
        GameOver();
    }

    // The ended game's birds are shown once more after the game-over windows close.
    MoveBirds();
    PlayScreen->drawBuffer();
}

void TitleFrame() {
    if (TitleReady == runtime::False) InitTitle();
    PlayScreen->clearBuffer();
    if (BirdsLeft < 1) LaunchBird();
    MoveBirds();
    PlayScreen->draw(*TitleImage, *TitleMask, TitleX, TitleY);
    PlayScreen->drawBuffer();
}

void InitTitle() {
    Window->picScreen().setMousePointer(PictureBox::NoDrop);
    Score = 0;
    Bullets = FullGun;
    BirdsLeft = 0;
    for (auto& bird : Birds)
        bird->Zero();
    TitleReady = runtime::True;
}

void PauseFrame() {
    PlayScreen->drawBuffer();
}

void LaunchBird() {
    for (auto& bird : Birds) {
        if (bird->exist() == runtime::False) {
            bird->appear();
            BirdsLeft = static_cast<Integer>(BirdsLeft + 1);
            return;
        }
    }
}

void MoveBirds() {
    for (auto& bird : Birds) {
        bird->move();
        bird->draw();
    }
}

void GameOver() {
    GameState = StatePaused;
    PlayScreen->clearBuffer();
    PlayScreen->drawBuffer();
    // Modal: the score is offered and the score table shown before this returns.
    Window->showGameOver();
    GameState = StateTitle;
}

} // namespace modGame
