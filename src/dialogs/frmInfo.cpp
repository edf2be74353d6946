#include "frmInfo.h"

#include "BirdArt.h"
#include "Form.h"
#include "runtime.h"
#include "shell.h"

#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QUrl>
#include <climits>
#include <cstdlib>

const QString frmInfo::MakerEmail = QStringLiteral(MORVEL_MAINTAINER_EMAIL);

namespace {

// The file's own path with every link resolved, or "" when there is no such file.
QString existingFile(const QString& path) {
    char resolved[PATH_MAX];
    if (!::realpath(QFile::encodeName(path).constData(), resolved)) return QString();
    const QString file = QFile::decodeName(resolved);
    return QFileInfo(file).isFile() ? file : QString();
}

} // namespace

QString frmInfo::InstalledManual() {
    return QDir::cleanPath(runtime::AppPath() + QStringLiteral("/" MORVEL_MANUAL_FROM_PROGRAM));
}

QString frmInfo::MakerWebPage() {
    QString page = existingFile(runtime::AppPath() + QStringLiteral("/" MORVEL_MANUAL));
    return page.isEmpty() ? existingFile(InstalledManual()) : page;
}

frmInfo& frmInfo::instance() {
    static auto* form = new frmInfo();
    return *form;
}

frmInfo::frmInfo() {
    form::makeFixed(this, QStringLiteral("About The Morvel Bird Game!"));
    form::setClientSize(this, 5436, 5916);

    const QColor darkRed(128, 0, 0);
    auto colour = [](QLabel* l, const QColor& c) {
        QPalette pal = l->palette();
        pal.setColor(QPalette::WindowText, c);
        l->setPalette(pal);
    };

    picLogo = form::picture(this, QPoint(form::px(720), form::px(240)), birdart::LogoPicture());
    picLogo->setCursor(Qt::PointingHandCursor);
    lblTitle = form::label(this, form::twips(120, 2520, 5172, 492),
                           QStringLiteral("The Morvel Bird Game!"), Qt::AlignHCenter);
    lblTitle->setFont(form::font(12, true));
    lblCode = form::label(this, form::twips(120, 3960, 5172, 252),
                          QStringLiteral("Programming: the Morvel Bird flock"), Qt::AlignHCenter);
    lblCode->setFont(form::font(9.6, false));
    lblDesign = form::label(this, form::twips(120, 4200, 5172, 252),
                            QStringLiteral("Graphics: drawn by the game itself"), Qt::AlignHCenter);
    lblDesign->setFont(form::font(9.6, false));
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setGeometry(form::twips(3960, 5040, 1332, 372));
    cmdClose->setDefault(true);
    lblEmail = form::label(this, form::twips(0, 4440, 5412, 252), QStringLiteral("Email:"),
                           Qt::AlignHCenter);
    lblEmail->setFont(form::font(9.6, false, true));
    colour(lblEmail, Qt::black);
    lblEmail->setCursor(Qt::PointingHandCursor);
    lblVersion = form::label(this, form::twips(120, 5160, 3252, 252), QStringLiteral("Ver:"));
    colour(lblVersion, QColor(128, 128, 128));
    lblHurt = form::label(this, form::twips(120, 5520, 5292, 252),
                          QStringLiteral("No birds were hurt during the creation of this game"),
                          Qt::AlignHCenter);
    colour(lblHurt, darkRed);
    lblMission = form::label(this, form::twips(120, 3120, 5172, 732),
                             QStringLiteral("Your Mission: Destroy as many Morvel Birds as you "
                                            "can. Those birds are Evil! They steal babies!"),
                             Qt::AlignHCenter);
    lblMission->setFont(form::font(9.6, false));
    colour(lblMission, darkRed);

    picLogo->installEventFilter(this);
    lblEmail->installEventFilter(this);
    connect(cmdClose, &QPushButton::clicked, this,
            [this] { runtime::Guard([this] { cmdClose_Click(); }); });
}

void frmInfo::Form_Load() {
    lblVersion->setText(QStringLiteral("Version %1.%2.%3")
                            .arg(runtime::App.Major)
                            .arg(runtime::App.Minor)
                            .arg(runtime::App.Revision));
    lblEmail->setText(QStringLiteral("Email:") + MakerEmail);
}

void frmInfo::cmdClose_Click() {
    hide();
}

// A failing shell request is not reported: the window just stays open.
void frmInfo::lblEmail_Click() {
    shell::ShellExecuteA(this, QStringLiteral("open"), QStringLiteral("mailto:") + MakerEmail,
                         QString(), QString(), shell::SW_SHOWNORMAL);
}

void frmInfo::picLogo_Click() {
    const QString page = MakerWebPage();
    if (page.isEmpty()) {
        runtime::MsgBox(QStringLiteral("The manual of this game is not installed here.\n\n"
                                       "It belongs in %1")
                            .arg(InstalledManual()));
        return;
    }
    shell::ShellExecuteA(this, QStringLiteral("open"), QUrl::fromLocalFile(page).toString(),
                         QString(), QString(), shell::SW_SHOWNORMAL);
}

void frmInfo::showEvent(QShowEvent* event) {
    form::ownByActiveWindow(this);
    // Loaded on the first showing and again after the close box, not after Close.
    if (!loaded_) {
        loaded_ = true;
        runtime::Guard([this] { Form_Load(); });
    }
    QDialog::showEvent(event);
}

void frmInfo::closeEvent(QCloseEvent* event) {
    loaded_ = false;
    QDialog::closeEvent(event);
}

bool frmInfo::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonRelease &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        QWidget* w = static_cast<QWidget*>(watched);
        if (w->rect().contains(static_cast<QMouseEvent*>(event)->position().toPoint())) {
            if (watched == lblEmail) runtime::Guard([this] { lblEmail_Click(); });
            if (watched == picLogo) runtime::Guard([this] { picLogo_Click(); });
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}
