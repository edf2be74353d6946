#pragma once
// The information window: title, mission, credits, version, a mail link to the maintainers
// and, as the web page, the game's own manual.

#include <QDialog>
#include <QString>

class QLabel;
class QPushButton;

class frmInfo : public QDialog {
    Q_OBJECT
  public:
    static frmInfo& instance();

    // The maintainers' address: the package's Maintainer.
    static const QString MakerEmail;
    // The manual as a web page: beside the program in a build, else where the package puts
    // it; "" when neither is there (some systems leave documentation out of installs).
    static QString MakerWebPage();
    // Where the installed manual belongs.
    static QString InstalledManual();

    QLabel* picLogo = nullptr;
    QLabel* lblTitle = nullptr;
    QLabel* lblCode = nullptr;
    QLabel* lblDesign = nullptr;
    QPushButton* cmdClose = nullptr;
    QLabel* lblEmail = nullptr;
    QLabel* lblVersion = nullptr;
    QLabel* lblHurt = nullptr;
    QLabel* lblMission = nullptr;

    void Form_Load();
    void cmdClose_Click();
    void lblEmail_Click();
    void picLogo_Click();

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    frmInfo();
    bool loaded_ = false;
};
