#include "frmBirds_Main.h"

#include "AssetNames.h"
#include "DSound.h"
#include "ProgramIcon.h"
#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "frmInfo.h"
#include "modGame.h"
#include "modSound.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QProgressBar>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>
#include <cmath>

namespace {

// The window was laid out at 12 twips a pixel.
constexpr int px(int twips) {
    return twips / 12;
}

constexpr int ToolbarHeight = 336;
constexpr int StatusBarHeight = 360;
constexpr int RowTop = 480;
constexpr int PlayFieldTop = 720;
constexpr QSize ButtonSize(23, 22);

// The client widget starts below the toolbar, so its tops are the laid-out tops less the
// toolbar's height.
QRect laidOut(int left, int top, int width, int height) {
    return QRect(px(left), px(top) - px(ToolbarHeight), px(width), px(height));
}

// The counter row as laid out reaches one pixel into the play field's border; it stops
// short so the whole field stays visible.
QRect inRow(int left, int width, int height) {
    QRect r = laidOut(left, RowTop, width, height);
    r.setBottom(std::min(r.bottom(), px(PlayFieldTop) - px(ToolbarHeight) - 1));
    return r;
}

struct ButtonLayout {
    const char* tag;
    const char* toolTip;
    int image; // 0 for a spacer
    bool grouped;
};

constexpr ButtonLayout ButtonsLaidOut[frmBirds_Main::ButtonCount] = {
    {"Play", "Play", 10, true},
    {"Pause", "Pause", 8, true},
    {"Stop", "Stop", 1, true},
    {nullptr, nullptr, 0, false},
    {nullptr, nullptr, 0, false},
    {"Minus", "Decrease Speed", 6, false},
    {"Plus", "Increase Speed", 11, false},
    {nullptr, nullptr, 0, false},
    {nullptr, nullptr, 0, false},
    {"Sound", "Sound On/Off", 7, false},
    {nullptr, nullptr, 0, false},
    {nullptr, nullptr, 0, false},
    {"About", "Info", 5, false},
    {"Exit", "Exit", 3, false},
};

QFont boldFont(double points) {
    QFont font = QApplication::font();
    font.setBold(true);
    font.setPointSizeF(points);
    return font;
}

// The bars hold whole numbers; the game hands them single-precision values.
int barUnits(float value) {
    return static_cast<int>(std::lrint(value));
}

} // namespace

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

void frmBirds_Main::createMenus() {
    auto menu = [this](const QString& caption, const char* name) {
        QMenu* m = menuBar()->addMenu(caption);
        m->setObjectName(QLatin1String(name));
        m->menuAction()->setObjectName(QLatin1String(name));
        return m;
    };
    auto item = [](QMenu* m, const QString& caption, const char* name) {
        QAction* a = m->addAction(caption);
        a->setObjectName(QLatin1String(name));
        return a;
    };
    auto line = [](QMenu* m, const char* name) {
        QAction* a = m->addSeparator();
        a->setObjectName(QLatin1String(name));
        return a;
    };

    mnuGame = menu(QStringLiteral("&Game"), "mnuGame");
    mnuGo = item(mnuGame, QStringLiteral("&Go!"), "mnuGo");
    mnuPause = item(mnuGame, QStringLiteral("&Pause"), "mnuPause");
    mnuStop = item(mnuGame, QStringLiteral("&Stop!"), "mnuStop");
    seperator = line(mnuGame, "seperator");
    mnuHiScores = item(mnuGame, QStringLiteral("&High Scores"), "mnuHiScores");
    seperator2 = line(mnuGame, "seperator2");
    mnuExit = item(mnuGame, QStringLiteral("&Exit"), "mnuExit");

    mnuOptions = menu(QStringLiteral("&Options"), "mnuOptions");
    mnuIncreseSpeed = item(mnuOptions, QStringLiteral("&Increase Speed"), "mnuIncreseSpeed");
    mnuDecreaseSpeed = item(mnuOptions, QStringLiteral("&Decrease Speed"), "mnuDecreaseSpeed");
    mnuSound = item(mnuOptions, QStringLiteral("&Toggle Sound"), "mnuSound");

    mnuHelp = menu(QStringLiteral("&Help"), "mnuHelp");
    mnuAbout = item(mnuHelp, QStringLiteral("&Info"), "mnuAbout");
}

void frmBirds_Main::createToolbar() {
    Toolbar = new QToolBar(this);
    Toolbar->setObjectName(QStringLiteral("Toolbar"));
    Toolbar->setMovable(false);
    Toolbar->setFloatable(false);
    Toolbar->setIconSize(QSize(ImageList::Size, ImageList::Size));
    Toolbar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    Toolbar->setFixedHeight(px(ToolbarHeight));
    Toolbar->toggleViewAction()->setVisible(false);
    addToolBar(Qt::TopToolBarArea, Toolbar);

    ButtonGroup = new QActionGroup(this);
    ButtonGroup->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);

    for (int i = 0; i < ButtonCount; ++i) {
        const ButtonLayout& laid = ButtonsLaidOut[i];
        QAction* button = nullptr;
        if (!laid.tag) {
            auto* gap = new QWidget(Toolbar);
            gap->setFixedSize(ButtonSize);
            button = Toolbar->addWidget(gap);
        } else {
            button = new QAction(ImageList_.icon(laid.image), QString(), Toolbar);
            button->setToolTip(QLatin1String(laid.toolTip));
            button->setProperty("Tag", QLatin1String(laid.tag));
            button->setProperty("Image", laid.image);
            // Checkable so that the status refresh can show any button pressed.
            button->setCheckable(true);
            if (laid.grouped) ButtonGroup->addAction(button);
            Toolbar->addAction(button);
            if (QWidget* w = Toolbar->widgetForAction(button)) w->setFixedSize(ButtonSize);
        }
        button->setProperty("Position", i + 1);
        Buttons_[i] = button;
    }
    Buttons(3)->setChecked(true);
}

void frmBirds_Main::createControls() {
    Client = new QWidget(this);
    Client->setObjectName(QStringLiteral("Client"));
    setCentralWidget(Client);

    const QFont labelFont = boldFont(7.8);
    auto label = [&](const QString& caption, const char* name, QRect geometry) {
        auto* l = new QLabel(caption, Client);
        l->setObjectName(QLatin1String(name));
        l->setFont(labelFont);
        l->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        l->setGeometry(geometry);
        return l;
    };
    auto progress = [&](const char* name, QRect geometry) {
        auto* b = new QProgressBar(Client);
        b->setObjectName(QLatin1String(name));
        b->setRange(0, 100);
        b->setValue(0);
        b->setTextVisible(false);
        b->setGeometry(geometry);
        return b;
    };

    // Back to front, as laid out: the buffer under the play field.
    PicBuffer_ = new PictureBox(Client);
    PicBuffer_->setObjectName(QStringLiteral("PicBuffer"));
    PicBuffer_->setGeometry(laidOut(0, PlayFieldTop, 7248, 4848));
    PicBuffer_->setAutoSize(true);
    QImage blank(600, 400, QImage::Format_RGB32);
    blank.fill(Qt::black);
    PicBuffer_->setPicture(blank);
    PicBuffer_->hide();

    picScreen_ = new PictureBox(Client);
    picScreen_->setObjectName(QStringLiteral("picScreen"));
    picScreen_->setGeometry(laidOut(0, PlayFieldTop, 7248, 4848));
    picScreen_->setBorder3D(true);
    picScreen_->setAutoSize(true);
    // Until start-up gives it the background, the field is blank at its laid-out size.
    QImage empty(picScreen_->width() - 2 * picScreen_->borderWidth(),
                 picScreen_->height() - 2 * picScreen_->borderWidth(), QImage::Format_RGB32);
    empty.fill(picScreen_->palette().color(QPalette::Window));
    picScreen_->setPicture(empty);

    lblSpeed = label(QStringLiteral("Speed:"), "lblSpeed", inRow(0, 612, 252));
    pbSpeed = progress("pbSpeed", inRow(600, 1452, 228));
    lblBirds = label(QStringLiteral("Birds:"), "lblBirds", inRow(2160, 492, 252));
    pbBirds = progress("pbBirds", inRow(2640, 2172, 252));
    lblBullets = label(QStringLiteral("Bullets:"), "lblBullets", inRow(4920, 612, 252));
    pbBullets = progress("pbBullets", inRow(5520, 1752, 252));

    Client->setFixedSize(px(7272), px(PlayFieldTop) - px(ToolbarHeight) + px(4848));
}

void frmBirds_Main::createStatusBar() {
    StatusBar = new QStatusBar(this);
    StatusBar->setObjectName(QStringLiteral("StatusBar"));
    StatusBar->setSizeGripEnabled(false);
    StatusBar->setFixedHeight(px(StatusBarHeight));
    StatusBar->setFont(boldFont(12));
    const char* texts[] = {"Score:", "0"};
    for (int i = 0; i < 2; ++i) {
        Panels[i] = new QLabel(QLatin1String(texts[i]), StatusBar);
        Panels[i]->setObjectName(QStringLiteral("Panel%1").arg(i + 1));
        Panels[i]->setFont(boldFont(12));
        StatusBar->addWidget(Panels[i], i == 1 ? 1 : 0);
    }
    setStatusBar(StatusBar);
}

void frmBirds_Main::connectHandlers() {
    auto guarded = [this](void (frmBirds_Main::*handler)()) {
        return [this, handler] { runtime::Guard([this, handler] { (this->*handler)(); }); };
    };
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
        const bool grouped = button->actionGroup() != nullptr;
        connect(button, &QAction::triggered, this, [this, button, grouped](bool checked) {
            // A plain button keeps its pressed state when clicked; only the refresh sets it.
            if (!grouped) button->setChecked(!checked);
            runtime::Guard([this, button] { Toolbar_ButtonClick(button); });
        });
    }
}

QAction* frmBirds_Main::Buttons(int position) const {
    if (position < 1 || position > ButtonCount) return nullptr;
    return Buttons_[position - 1];
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

// The client area holds the menu, toolbar, counter row, the play field at its own size and
// the status bar; the window then cannot be resized.
void frmBirds_Main::fitToPlayField() {
    const int clientWidth = picScreen_->width();
    Client->setFixedSize(clientWidth, picScreen_->y() + picScreen_->height());
    const int barRight = clientWidth;
    if (pbBullets->geometry().right() >= barRight)
        pbBullets->setFixedWidth(barRight - pbBullets->x());
    if (QLayout* l = layout()) l->activate();
    setFixedSize(sizeHint());
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

QProgressBar* frmBirds_Main::bar(Bar which) const {
    switch (which) {
    case Bar::Speed:
        return pbSpeed;
    case Bar::Birds:
        return pbBirds;
    case Bar::Bullets:
        return pbBullets;
    }
    return pbSpeed;
}

void frmBirds_Main::setBarMin(Bar which, float value) {
    bar(which)->setMinimum(barUnits(value));
}
void frmBirds_Main::setBarMax(Bar which, float value) {
    bar(which)->setMaximum(barUnits(value));
}
void frmBirds_Main::setBarValue(Bar which, float value) {
    QProgressBar* b = bar(which);
    const int before = b->value();
    b->setValue(barUnits(value));
    // The bar skips repainting a change narrower than one drawn chunk, as one speed step is.
    if (b->value() != before) b->update();
}

void frmBirds_Main::setPanelText(int panel, const QString& text) {
    if (panel >= 1 && panel <= static_cast<int>(Panels.size())) Panels[panel - 1]->setText(text);
}

void frmBirds_Main::setButtonValue(int position, int value) {
    QAction* button = Buttons(position);
    if (button && button->isCheckable()) button->setChecked(value != 0);
}

void frmBirds_Main::showGameOver() {
    frmGameOver::instance().exec();
}
void frmBirds_Main::showHiScores() {
    frmHiScores::instance().exec();
}
void frmBirds_Main::showInfo() {
    frmInfo::instance().exec();
}
void frmBirds_Main::showExit() {
    frmExit::instance().exec();
}

void frmBirds_Main::NewHighScore(const qint32& NewScore) {
    frmHiScores::instance().NewHighScore(NewScore);
}

void frmBirds_Main::displayScores() {
    frmHiScores::instance().displayScores();
}
