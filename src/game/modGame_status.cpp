#include "modGame.h"

namespace modGame {

void UpdateStatus() {
    Window->setPanelText(2, QString::number(Score));
    Window->setBarValue(GameWindow::Bar::Speed, static_cast<float>(90 - TimerInterval));
    Window->setBarValue(GameWindow::Bar::Birds, static_cast<float>(BirdsLeft));
    Window->setBarValue(GameWindow::Bar::Bullets, static_cast<float>(Bullets));
    Window->setButtonValue(10, SoundEnabled == runtime::True ? 1 : 0);
    // Buttons 1 to 3 are one group: pressing one releases the others.
    if (GameState == StatePlaying) Window->setButtonValue(1, 1);
    if (GameState == StatePaused) Window->setButtonValue(2, 1);
    if (GameState == StateTitle) Window->setButtonValue(3, 1);
}

} // namespace modGame
