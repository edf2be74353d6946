#pragma once
// The information window: title, mission, credits, version, and links to the maker's mail
// and web page.

#include <QDialog>
#include <QString>

class QLabel;
class QPushButton;

class frmInfo : public QDialog {
    Q_OBJECT
  public:
    static frmInfo& instance();

    static const QString MakerEmail;
    static const QString MakerWebPage;

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
