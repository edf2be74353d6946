#pragma once
// The main window: menus, toolbar, the row of counters, the play field and the status bar;
// it brings the game up, feeds the engine its ticks and shots, and turns every command and
// close request into the game's own actions.

#include "GameWindow.h"
#include "ImageList.h"
#include "picturebox.h"
#include "runtime.h"

#include <QMainWindow>
#include <QTimer>
#include <array>

class QAction;
class QActionGroup;
class QLabel;
class QMenu;
class QProgressBar;
class QStatusBar;
class QToolBar;

class frmBirds_Main : public QMainWindow, public GameWindow {
    Q_OBJECT
  public:
    // Lays the window out and runs the start-up.
    explicit frmBirds_Main(QWidget* parent = nullptr);
    ~frmBirds_Main() override;

    PictureBox& picScreen() override { return *picScreen_; }
    PictureBox& PicBuffer() override { return *PicBuffer_; }
    QTimer& tmrGame() override { return tmrGame_; }

    void setBarMin(Bar bar, float value) override;
    void setBarMax(Bar bar, float value) override;
    void setBarValue(Bar bar, float value) override;
    void setPanelText(int panel, const QString& text) override;
    void setButtonValue(int position, int value) override;

    void showGameOver() override;
    void showHiScores() override;
    void showInfo() override;
    void showExit() override;
    void NewHighScore(const qint32& NewScore) override;
    void displayScores() override;

    // The toolbar's fourteen positions, 1-based; spacers are blank gaps without a tag.
    static constexpr int ButtonCount = 14;
    QAction* Buttons(int position) const;

    void Form_Load();
    void Form_QueryUnload(runtime::Integer& Cancel, const runtime::Integer& UnloadMode);
    void Form_Terminate();
    void tmrGame_Timer();
    void picScreen_MouseDown(int Button, int Shift, double X, double Y);
    void Toolbar_ButtonClick(QAction* Button);

    void mnuGo_Click();
    void mnuPause_Click();
    void mnuStop_Click();
    void mnuHiScores_Click();
    void mnuExit_Click();
    void mnuIncreseSpeed_Click();
    void mnuDecreaseSpeed_Click();
    void mnuSound_Click();
    void mnuAbout_Click();

  protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void createMenus();
    void createToolbar();
    void createStatusBar();
    void createControls();
    void connectHandlers();
    void fitToPlayField();
    QProgressBar* bar(Bar which) const;

    ImageList ImageList_;

    QMenu* mnuGame = nullptr;
    QAction* mnuGo = nullptr;
    QAction* mnuPause = nullptr;
    QAction* mnuStop = nullptr;
    QAction* seperator = nullptr;
    QAction* mnuHiScores = nullptr;
    QAction* seperator2 = nullptr;
    QAction* mnuExit = nullptr;
    QMenu* mnuOptions = nullptr;
    QAction* mnuIncreseSpeed = nullptr;
    QAction* mnuDecreaseSpeed = nullptr;
    QAction* mnuSound = nullptr;
    QMenu* mnuHelp = nullptr;
    QAction* mnuAbout = nullptr;

    QToolBar* Toolbar = nullptr;
    QActionGroup* ButtonGroup = nullptr;
    std::array<QAction*, ButtonCount> Buttons_{};

    QStatusBar* StatusBar = nullptr;
    std::array<QLabel*, 2> Panels{};

    QWidget* Client = nullptr;
    QLabel* lblSpeed = nullptr;
    QProgressBar* pbSpeed = nullptr;
    QLabel* lblBirds = nullptr;
    QProgressBar* pbBirds = nullptr;
    QLabel* lblBullets = nullptr;
    QProgressBar* pbBullets = nullptr;
    PictureBox* picScreen_ = nullptr;
    PictureBox* PicBuffer_ = nullptr;

    QTimer tmrGame_;
};
