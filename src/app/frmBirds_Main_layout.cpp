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

constexpr int ToolbarHeight = 336;
constexpr int StatusBarHeight = 360;
constexpr int RowTop = 480;
constexpr int PlayFieldTop = 720;
constexpr int PlayFieldWidth = 7248, PlayFieldHeight = 4848;
constexpr int ButtonWidth = 23 * form::TwipsPerPixel, ButtonHeight = 22 * form::TwipsPerPixel;
constexpr int IconSize = ImageList::Size * form::TwipsPerPixel;

// Push buttons only click; the group's three and the sound button also show a pressed state.
enum class Style { Spacer, Group, Toggle, Push };

struct ButtonLayout {
    const char* tag;
    const char* toolTip;
    int image;
    Style style;
};

constexpr ButtonLayout ButtonsLaidOut[frmBirds_Main::ButtonCount] = {
    {"Play", "Play", 10, Style::Group},
    {"Pause", "Pause", 8, Style::Group},
    {"Stop", "Stop", 1, Style::Group},
    {nullptr, nullptr, 0, Style::Spacer},
    {nullptr, nullptr, 0, Style::Spacer},
    {"Minus", "Decrease Speed", 6, Style::Push},
    {"Plus", "Increase Speed", 11, Style::Push},
    {nullptr, nullptr, 0, Style::Spacer},
    {nullptr, nullptr, 0, Style::Spacer},
    {"Sound", "Sound On/Off", 7, Style::Toggle},
    {nullptr, nullptr, 0, Style::Spacer},
    {nullptr, nullptr, 0, Style::Spacer},
    {"About", "Info", 5, Style::Push},
    {"Exit", "Exit", 3, Style::Push},
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
    Toolbar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    Toolbar->toggleViewAction()->setVisible(false);
    addToolBar(Qt::TopToolBarArea, Toolbar);

    ButtonGroup = new QActionGroup(this);
    ButtonGroup->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);

    for (int i = 0; i < ButtonCount; ++i) {
        const ButtonLayout& laid = ButtonsLaidOut[i];
        QAction* button = nullptr;
        if (laid.style == Style::Spacer) {
            button = Toolbar->addWidget(new QWidget(Toolbar));
        } else {
            // The tool tip is also the button's name, which a screen reader reads; the toolbar
            // shows only the image.
            button = new QAction(ImageList_.icon(laid.image), QLatin1String(laid.toolTip), Toolbar);
            button->setProperty("Tag", QLatin1String(laid.tag));
            button->setProperty("Image", laid.image);
            button->setCheckable(laid.style != Style::Push);
            if (laid.style == Style::Group) ButtonGroup->addAction(button);
            Toolbar->addAction(button);
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

    auto label = [&](const QString& caption, const char* name) {
        auto* l = new QLabel(caption, Client);
        l->setObjectName(QLatin1String(name));
        l->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        return l;
    };
    auto progress = [&](const char* name) {
        auto* b = new QProgressBar(Client);
        b->setObjectName(QLatin1String(name));
        b->setRange(0, 100);
        b->setValue(0);
        b->setTextVisible(false);
        return b;
    };

    // Back to front, as laid out: the buffer under the play field.
    PicBuffer_ = new PictureBox(Client);
    PicBuffer_->setObjectName(QStringLiteral("PicBuffer"));
    PicBuffer_->setAutoSize(true);
    QImage blank = gdi::NewSurface(600, 400);
    blank.fill(Qt::black);
    PicBuffer_->setPicture(blank);
    PicBuffer_->hide();

    picScreen_ = new PictureBox(Client);
    picScreen_->setObjectName(QStringLiteral("picScreen"));
    picScreen_->setBorder3D(true);
    picScreen_->setAutoSize(true);
    // Until start-up gives it the background, the field is blank at its laid-out size.
    const int border = picScreen_->borderWidth();
    QImage empty = gdi::NewSurface(form::px(PlayFieldWidth) - 2 * border,
                                   form::px(PlayFieldHeight) - 2 * border);
    empty.fill(picScreen_->palette().color(QPalette::Window));
    picScreen_->setPicture(empty);

    lblSpeed = label(QStringLiteral("Speed:"), "lblSpeed");
    pbSpeed = progress("pbSpeed");
    lblBirds = label(QStringLiteral("Birds:"), "lblBirds");
    pbBirds = progress("pbBirds");
    lblBullets = label(QStringLiteral("Bullets:"), "lblBullets");
    pbBullets = progress("pbBullets");
    // Each bar is named by its label, for a screen reader.
    lblSpeed->setBuddy(pbSpeed);
    lblBirds->setBuddy(pbBirds);
    lblBullets->setBuddy(pbBullets);
    picScreen_->setAccessibleName(QStringLiteral("Play field"));
}

void frmBirds_Main::createStatusBar() {
    StatusBar = new QStatusBar(this);
    StatusBar->setObjectName(QStringLiteral("StatusBar"));
    StatusBar->setSizeGripEnabled(false);
    const char* texts[] = {"Score:", "0"};
    for (int i = 0; i < 2; ++i) {
        Panels[i] = new QLabel(QLatin1String(texts[i]), StatusBar);
        Panels[i]->setObjectName(QStringLiteral("Panel%1").arg(i + 1));
        StatusBar->addWidget(Panels[i], i == 1 ? 1 : 0);
    }
    setPanelText(2, Panels[1]->text());
    setStatusBar(StatusBar);
}

QAction* frmBirds_Main::Buttons(int position) const {
    if (position < 1 || position > ButtonCount) return nullptr;
    return Buttons_[position - 1];
}

// A laid-out pixel is shown as large as a field pixel: on a fractional scale the field takes
// the nearest whole one, and the controls around it keep their laid-out proportions to it.
// The client area then holds the toolbar, the counter row, the field and the status bar, and
// the window is fixed at that size; again whenever the field's size changes.
void frmBirds_Main::fitToPlayField() {
    const form::Scale s{picScreen_->pixelFactor() / picScreen_->devicePixelRatioF()};
    menuBar()->setFont(s.font(QApplication::font(menuBar())));

    Toolbar->setFixedHeight(s.px(ToolbarHeight));
    Toolbar->setIconSize(s.size(IconSize, IconSize));
    for (QAction* button : Buttons_)
        if (QWidget* w = Toolbar->widgetForAction(button))
            w->setFixedSize(s.size(ButtonWidth, ButtonHeight));

    // The client starts below the toolbar, so its tops are the laid-out tops less the
    // toolbar's height.
    const int fieldTop = s.px(PlayFieldTop - ToolbarHeight);
    picScreen_->move(0, fieldTop);
    PicBuffer_->move(0, fieldTop);
    const int width = picScreen_->width();
    const QFont labelFont = s.font(boldFont(7.8));
    const struct {
        QWidget* control;
        int left, width, height;
    } row[] = {{lblSpeed, 0, 612, 252},      {pbSpeed, 600, 1452, 228},
               {lblBirds, 2160, 492, 252},   {pbBirds, 2640, 2172, 252},
               {lblBullets, 4920, 612, 252}, {pbBullets, 5520, 1752, 252}};
    for (const auto& c : row) {
        // As laid out the row reaches one pixel into the field's border and the last bar a
        // little past the field's right edge; both stop short so the whole field stays visible.
        QRect r = s.rect(c.left, RowTop - ToolbarHeight, c.width, c.height);
        r.setBottom(std::min(r.bottom(), fieldTop - 1));
        r.setRight(std::min(r.right(), width - 1));
        c.control->setGeometry(r);
        if (qobject_cast<QLabel*>(c.control)) c.control->setFont(labelFont);
    }
    Client->setFixedSize(width, picScreen_->y() + picScreen_->height());

    StatusBar->setFixedHeight(s.px(StatusBarHeight));
    const QFont panelFont = s.font(boldFont(12));
    StatusBar->setFont(panelFont);
    for (QLabel* panel : Panels)
        panel->setFont(panelFont);

    if (QLayout* l = layout()) {
        l->invalidate();
        l->activate();
    }
    setFixedSize(sizeHint());
}
