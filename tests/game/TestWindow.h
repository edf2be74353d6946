#pragma once
// A stand-in main window for the engine: two picture areas, the game timer, and a record
// of everything the engine writes to the window's controls and of the windows it opens.

#include "GameWindow.h"

#include <QStringList>
#include <functional>
#include <map>

class TestWindow : public GameWindow {
  public:
    TestWindow();

    PictureBox& picScreen() override { return screen; }
    PictureBox& PicBuffer() override { return buffer; }
    QTimer& tmrGame() override { return timer; }

    void setBarMin(Bar bar, float value) override { barMin[bar] = value; }
    void setBarMax(Bar bar, float value) override { barMax[bar] = value; }
    void setBarValue(Bar bar, float value) override { barValue[bar] = value; }
    void setPanelText(int panel, const QString& text) override { panelText[panel] = text; }
    void setButtonValue(int position, int value) override;

    void showGameOver() override;
    void showHiScores() override;
    void showInfo() override { calls << QStringLiteral("showInfo"); }
    void showExit() override { calls << QStringLiteral("showExit"); }
    void NewHighScore(const qint32& NewScore) override;
    void displayScores() override;

    // Forgets every recorded value and call.
    void clearRecord();

    PictureBox screen;
    PictureBox buffer;
    QTimer timer;

    std::map<Bar, float> barMin, barMax, barValue;
    std::map<int, QString> panelText;
    std::map<int, int> buttonValue;
    // Buttons of the state group in the order they were pressed.
    QList<int> statePresses;
    // "showGameOver", "NewHighScore 1234", "displayScores", "showHiScores", each with the game
    // state at the time of the call ("... @state").
    QStringList calls;

    // Runs inside the modal game-over window, as the real dialog's content would.
    std::function<void()> onGameOver;
};
