#pragma once
// The operations of the main window that the engine uses, so the engine never needs the
// window's class.

#include "picturebox.h"

#include <QString>
#include <QTimer>

class GameWindow {
  public:
    enum class Bar { Speed, Birds, Bullets };

    virtual ~GameWindow() = default;

    virtual PictureBox& picScreen() = 0;
    virtual PictureBox& PicBuffer() = 0;
    virtual QTimer& tmrGame() = 0;

    virtual void setBarMin(Bar bar, float value) = 0;
    virtual void setBarMax(Bar bar, float value) = 0;
    virtual void setBarValue(Bar bar, float value) = 0;
    // Panel is 1-based, as laid out.
    virtual void setPanelText(int panel, const QString& text) = 0;
    // Position is 1-based; value 1 shows the button pressed, 0 released.
    virtual void setButtonValue(int position, int value) = 0;

    // The secondary windows, shown modally.
    virtual void showGameOver() = 0;
    virtual void showHiScores() = 0;
    virtual void showInfo() = 0;
    virtual void showExit() = 0;
    // The score table kept by the high-score window.
    virtual void NewHighScore(const qint32& NewScore) = 0;
    virtual void displayScores() = 0;
};
