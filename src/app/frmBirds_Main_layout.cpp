#include "frmBirds_Main.h"

#include "Form.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QProgressBar>
#include <QStatusBar>
#include <QToolBar>
#include <algorithm>

namespace {

using form::px;

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

} // namespace

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

QAction* frmBirds_Main::Buttons(int position) const {
    if (position < 1 || position > ButtonCount) return nullptr;
    return Buttons_[position - 1];
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
