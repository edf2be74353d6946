#pragma once
// The game-over dialog: tells the player the game is lost and, on Close, offers the score
// to the high-score table and shows it.

#include <QDialog>
#include <functional>

class QLabel;
class QPushButton;

class frmGameOver : public QDialog {
    Q_OBJECT
  public:
    static frmGameOver& instance();

    // The final score; set by the main window so that this dialog needs no game engine.
    std::function<qint32()> ScoreSource;

    QLabel* Bird1 = nullptr;
    QPushButton* cmdClose = nullptr;
    QLabel* Label2 = nullptr;

    void cmdClose_Click();

  protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    frmGameOver();
};
