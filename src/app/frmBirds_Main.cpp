#include "frmBirds_Main.h"

#include "AssetNames.h"
#include "DSound.h"
#include "ProgramIcon.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "modGame.h"
#include "modSound.h"

#include <QApplication>
#include <QCloseEvent>
#include <QTimer>

frmBirds_Main::frmBirds_Main(QWidget* parent) : QMainWindow(parent) {
    setObjectName(QStringLiteral("frmBirds_Main"));
    setWindowTitle(QString::fromLatin1(runtime::Title));
    // A fixed frame with the close box and the system menu only.
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
    setContextMenuPolicy(Qt::PreventContextMenu);
    QApplication::setWindowIcon(ProgramIcon());

    createMenus();
    createToolbar();
    createControls();
    createStatusBar();

    tmrGame_.setObjectName(QStringLiteral("tmrGame"));
    tmrGame_.setTimerType(Qt::PreciseTimer);
    tmrGame_.setInterval(1);
    tmrGame_.start();

    connectHandlers();
    modSound::SoundOwner = this;
    // The game-over dialog's Close hands the score on as Stop does.
    frmGameOver::instance().OfferScore = [this] {
        const qint32 finalScore = modGame::Score;
        NewHighScore(finalScore);
        displayScores();
        showHiScores();
    };

    runtime::Guard([this] { Form_Load(); });
}

frmBirds_Main::~frmBirds_Main() {
    runtime::Guard([this] { Form_Terminate(); });
    // The engine must not reach a window that is gone.
    if (modGame::Window == this) modGame::Window = nullptr;
    if (modGame::GameTimer == &tmrGame_) modGame::GameTimer = nullptr;
    if (modSound::SoundOwner == this) modSound::SoundOwner = nullptr;
}

void frmBirds_Main::connectHandlers() {
    auto guarded = [this](void (frmBirds_Main::*handler)()) {
        return [this, handler] { runtime::Guard([this, handler] { (this->*handler)(); }); };
    };
    picScreen_->installEventFilter(this);
    connect(&tmrGame_, &QTimer::timeout, this, guarded(&frmBirds_Main::tmrGame_Timer));
    connect(picScreen_, &PictureBox::MouseDown, this,
            [this](int button, int shift, double x, double y) {
                runtime::Guard([&] { picScreen_MouseDown(button, shift, x, y); });
            });

    connect(mnuGo, &QAction::triggered, this, guarded(&frmBirds_Main::mnuGo_Click));
    connect(mnuPause, &QAction::triggered, this, guarded(&frmBirds_Main::mnuPause_Click));
    connect(mnuStop, &QAction::triggered, this, guarded(&frmBirds_Main::mnuStop_Click));
    connect(mnuHiScores, &QAction::triggered, this, guarded(&frmBirds_Main::mnuHiScores_Click));
    connect(mnuExit, &QAction::triggered, this, guarded(&frmBirds_Main::mnuExit_Click));
    connect(mnuIncreseSpeed, &QAction::triggered, this,
            guarded(&frmBirds_Main::mnuIncreseSpeed_Click));
    connect(mnuDecreaseSpeed, &QAction::triggered, this,
            guarded(&frmBirds_Main::mnuDecreaseSpeed_Click));
    connect(mnuSound, &QAction::triggered, this, guarded(&frmBirds_Main::mnuSound_Click));
    connect(mnuAbout, &QAction::triggered, this, guarded(&frmBirds_Main::mnuAbout_Click));

    for (QAction* button : Buttons_) {
        if (!button->property("Tag").isValid()) continue;
        const bool toggle = button->isCheckable() && !button->actionGroup();
        connect(button, &QAction::triggered, this, [this, button, toggle](bool checked) {
            // The sound button keeps its pressed state when clicked; only the refresh sets it.
            if (toggle) button->setChecked(!checked);
            runtime::Guard([this, button] { Toolbar_ButtonClick(button); });
        });
    }
}

void frmBirds_Main::Form_Load() {
    const runtime::Long hWnd = static_cast<runtime::Long>(winId());
    DSound::InitDirectSound(hWnd);

    picScreen_->setPicture(
        LoadPicture(runtime::JoinPath(runtime::AppPath(), AssetNames::BackGround)));

    fitToPlayField();

    modGame::TimerInterval = 50;
    tmrGame_.setInterval(modGame::TimerInterval);

    modGame::Window = this;
    modGame::InitGame();

    frmHiScores::instance().LoadScores();
}

void frmBirds_Main::Form_QueryUnload(runtime::Integer& Cancel, const runtime::Integer&) {
    mnuExit_Click();
    Cancel = runtime::True;
}

void frmBirds_Main::Form_Terminate() {
    DSound::ReleaseAllSoundBuffers();
}

void frmBirds_Main::closeEvent(QCloseEvent* event) {
    // The window never closes by itself; leaving goes through the exit confirmation.
    event->ignore();
    runtime::Integer Cancel = runtime::False;
    const runtime::Integer UnloadMode = 0;
    runtime::Guard([&] { Form_QueryUnload(Cancel, UnloadMode); });
}

bool frmBirds_Main::eventFilter(QObject* watched, QEvent* event) {
    // The field takes another size with a new picture or on a screen of another scale.
    if (watched == picScreen_ && event->type() == QEvent::Resize) fitToPlayField();
    return QMainWindow::eventFilter(watched, event);
}

void frmBirds_Main::tmrGame_Timer() {
    static runtime::Boolean InTick = runtime::False;
    // Ticks that arrive before start-up has created the game's objects are dropped.
    if (!modGame::Ready()) return;
    if (InTick != runtime::False) return;
    InTick = runtime::True;
    struct Release {
        ~Release() { InTick = runtime::False; }
    } release;
    modGame::GameTick();
}

void frmBirds_Main::picScreen_MouseDown(int, int, double X, double Y) {
    modGame::Shoot(runtime::CInt(X), runtime::CInt(Y));
}
