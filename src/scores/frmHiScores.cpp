#include "frmHiScores.h"

#include "BirdArt.h"
#include "CodePage.h"
#include "Form.h"
#include "ScoreFile.h"
#include "runtime.h"

#include <QEvent>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QByteArray FreshName = QByteArrayLiteral("No One");
const QByteArray AnonymousName = QByteArrayLiteral("Anonymous");
constexpr qsizetype MaxNameBytes = 0xFFFF; // the record's 16-bit length
} // namespace

frmHiScores& frmHiScores::instance() {
    static auto* form = new frmHiScores();
    return *form;
}

frmHiScores::frmHiScores() {
    form::makeFixed(this, QStringLiteral("High Scores"));

    menuBar = new QMenuBar(this);
    mnuScores = menuBar->addMenu(QStringLiteral("&Scores"));
    mnuReset = mnuScores->addAction(QStringLiteral("&Reset"));
    mnuScores->addSeparator();
    mnuExit = mnuScores->addAction(QStringLiteral("&Exit"));

    // The client area lies below the menu bar, as laid out.
    auto* client = new QWidget(this);
    client->setFixedSize(form::px(4308), form::px(5976));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->setMenuBar(menuBar);
    layout->addWidget(client);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    for (int i = 0; i < 10; ++i) {
        for (QLabel** l : {&lblName[i], &lblScore[i]}) {
            const bool name = l == &lblName[i];
            *l = new QLabel(client);
            (*l)->setGeometry(
                form::twips(name ? 360 : 2880, 1800 + 360 * i, name ? 2292 : 972, 252));
            (*l)->setFrameStyle(QFrame::Panel | QFrame::Sunken);
            (*l)->setLineWidth(1);
            (*l)->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        }
    }
    cmdClose = new QPushButton(QStringLiteral("Close"), client);
    cmdClose->setGeometry(form::twips(1320, 5520, 1692, 372));
    cmdClose->setDefault(true);
    Bird1 = form::picture(client, QPoint(form::px(360), form::px(120)), birdart::HiScoresSize,
                          birdart::HiScoresPicture);

    connect(cmdClose, &QPushButton::clicked, this,
            [this] { runtime::Guard([this] { cmdClose_Click(); }); });
    connect(mnuExit, &QAction::triggered, this,
            [this] { runtime::Guard([this] { mnuExit_Click(); }); });
    connect(mnuReset, &QAction::triggered, this,
            [this] { runtime::Guard([this] { mnuReset_Click(); }); });
}

QString frmHiScores::ScoresPath() {
    return runtime::AppPath() + QStringLiteral("/scores.dat");
}

void frmHiScores::LoadScores() {
    const QByteArray bytes = scorefile::ReadForUpdate(ScoresPath());
    HiScores.fill(ScoreEntry{});
    const qint32 stored = scorefile::Decode(bytes, HiScores);
    if (ScoreChecksum() != stored) {
        mnuReset_Click();
        runtime::MsgBox(QStringLiteral("Invalid Scores file! Scores reset."), runtime::vbCritical);
    }
    // A zero checksum is a fresh or emptied file: start a fresh table without a word.
    if (stored == 0) mnuReset_Click();
}

void frmHiScores::SaveScores() {
    try {
        scorefile::WriteHead(ScoresPath(), scorefile::Encode(HiScores, ScoreChecksum()));
    } catch (const runtime::RuntimeError& e) {
        runtime::MsgBox(e.description() + QStringLiteral("\r\nError Number: ") +
                            QString::number(e.number()),
                        runtime::vbOKOnly);
    }
}

void frmHiScores::sort() {
    // Only a strictly greater score moves up, so a new entry stays below its equals.
    for (int i = 0; i <= 10; ++i)
        for (int j = 10; j >= i; --j)
            if (HiScores[j].Points > HiScores[i].Points) std::swap(HiScores[i], HiScores[j]);
}

void frmHiScores::NewHighScore(const qint32& NewScore) {
    if (NewScore <= HiScores[9].Points) return;
    const QString typed =
        runtime::InputBox(QStringLiteral("Enter Name:"), QStringLiteral("New High Score!"));
    HiScores[9].Name =
        typed.isEmpty() ? AnonymousName : codepage::FromUnicode(typed).left(MaxNameBytes);
    HiScores[9].Points = NewScore;
    sort();
    SaveScores();
}

void frmHiScores::mnuReset_Click() {
    for (int i = 0; i < 10; ++i) {
        HiScores[i] = ScoreEntry{FreshName, 0};
        SaveScores();
    }
    displayScores();
}

void frmHiScores::displayScores() {
    for (int i = 0; i < 10; ++i) {
        lblName[i]->setText(QString::number(i + 1) + QLatin1Char('.') +
                            codepage::ToUnicode(HiScores[i].Name));
        lblScore[i]->setText(QString::number(HiScores[i].Points));
    }
}

qint32 frmHiScores::ScoreChecksum() const {
    // Wraps round in 32 bits; only a table totalling over 2^31 points can get there.
    quint32 sum = 0;
    for (int i = 0; i < 10; ++i) {
        for (char c : HiScores[i].Name)
            sum += static_cast<unsigned char>(c);
        sum += static_cast<quint32>(HiScores[i].Points);
    }
    return static_cast<qint32>(sum);
}

void frmHiScores::cmdClose_Click() {
    hide();
}
void frmHiScores::mnuExit_Click() {
    cmdClose_Click();
}
void frmHiScores::Form_Load() {
    displayScores();
}
void frmHiScores::Form_GotFocus() {
    displayScores();
}

void frmHiScores::showEvent(QShowEvent* event) {
    form::ownByActiveWindow(this);
    QDialog::showEvent(event);
    Form_Load();
}

void frmHiScores::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) Form_GotFocus();
}

// Esc, the close box and Close all just hide the window; the table stays.
void frmHiScores::reject() {
    cmdClose_Click();
}
