#include "frmBirds_Main.h"

#include "modGame.h"

#include <QAction>

void frmBirds_Main::Toolbar_ButtonClick(QAction* Button) {
    const QString tag = Button->property("Tag").toString();
    if (tag == QLatin1String("Play"))
        modGame::Go();
    else if (tag == QLatin1String("Pause"))
        modGame::PauseGame();
    else if (tag == QLatin1String("Stop"))
        modGame::StopGame();
    else if (tag == QLatin1String("Sound"))
        modGame::ToggleSound();
    else if (tag == QLatin1String("Exit"))
        mnuExit_Click();
    else if (tag == QLatin1String("About"))
        mnuAbout_Click();
    else if (tag == QLatin1String("Plus"))
        modGame::SpeedUp();
    else if (tag == QLatin1String("Minus"))
        modGame::SlowDown();
}

void frmBirds_Main::mnuGo_Click() {
    modGame::Go();
}
void frmBirds_Main::mnuPause_Click() {
    modGame::PauseGame();
}
void frmBirds_Main::mnuStop_Click() {
    modGame::StopGame();
}

void frmBirds_Main::mnuHiScores_Click() {
    modGame::PauseGame();
    showHiScores();
}

void frmBirds_Main::mnuExit_Click() {
    mnuPause_Click();
    showExit();
}

void frmBirds_Main::mnuIncreseSpeed_Click() {
    modGame::SpeedUp();
}
void frmBirds_Main::mnuDecreaseSpeed_Click() {
    modGame::SlowDown();
}
void frmBirds_Main::mnuSound_Click() {
    modGame::ToggleSound();
}

void frmBirds_Main::mnuAbout_Click() {
    modGame::PauseGame();
    showInfo();
}
