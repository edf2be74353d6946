#pragma once
// The game-over dialog: tells the player the game is lost and, on Close, hands the score
// on to the high-score table.

#include <QDialog>
#include <functional>

class QLabel;
class QPushButton;

class frmGameOver : public QDialog {
    Q_OBJECT
  public:
    static frmGameOver& instance();

    // Offers the final score to the high-score table and shows the table modally; set by the
    // main window, so that this dialog needs neither the game engine nor the score window.
    std::function<void()> OfferScore;

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
