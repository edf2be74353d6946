#pragma once
// The exit confirmation: "Yes!" ends the program at once, "No!" goes back to the game.

#include <QDialog>

class QLabel;
class QPushButton;

class frmExit : public QDialog {
    Q_OBJECT
  public:
    static frmExit& instance();

    QLabel* Bird1 = nullptr;
    QPushButton* cmdExit = nullptr; // "Yes!", the default button (Enter)
    QPushButton* cmdStay = nullptr; // "No!", the cancel button (Esc)
    QLabel* lblSure = nullptr;

    void cmdExit_Click();
    void cmdStay_Click();

  protected:
    void showEvent(QShowEvent* event) override;
    void reject() override;

  private:
    frmExit();
};
