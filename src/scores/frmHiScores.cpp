#include "frmHiScores.h"

#include "BirdArt.h"
#include "CodePage.h"
#include "Form.h"
#include "ScoreFile.h"
#include "runtime.h"

#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QScopeGuard>
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
            (*l)->setTextFormat(Qt::PlainText); // a name shows as typed, never as markup
        }
    }
    cmdClose = new QPushButton(QStringLiteral("Close"), client);
    cmdClose->setGeometry(form::twips(1320, 5520, 1692, 372));
    cmdClose->setDefault(true);
    Bird1 = form::picture(client, QPoint(form::px(360), form::px(120)), birdart::HiScoresPicture());

    connect(cmdClose, &QPushButton::clicked, this,
            [this] { runtime::Guard([this] { cmdClose_Click(); }); });
    connect(mnuExit, &QAction::triggered, this,
            [this] { runtime::Guard([this] { mnuExit_Click(); }); });
    connect(mnuReset, &QAction::triggered, this,
            [this] { runtime::Guard([this] { mnuReset_Click(); }); });
}

QString frmHiScores::ScoresPath() {
    return runtime::AppPath() + u'/' + QLatin1String(scorefile::FileName);
}

void frmHiScores::LoadScores() {
    bool damaged = false;
    {
        // Read and reset under one lock, so no other game's save falls in between; a table
        // that cannot be locked ends the start-up like one that cannot be read.
        const scorefile::Lock lock(ScoresPath());
        known = scorefile::Read(ScoresPath());
        HiScores.fill(ScoreEntry{});
        const qint32 stored = scorefile::Decode(known, HiScores);
        damaged = ScoreChecksum() != stored;
        if (damaged) mnuReset_Click();
        // A zero checksum is a fresh or emptied file: start a fresh table without a word.
        if (stored == 0) mnuReset_Click();
    }
    if (damaged)
        runtime::MsgBox(QStringLiteral("Invalid Scores file! Scores reset."), runtime::vbCritical);
}

void frmHiScores::SaveScores() {
    try {
        if (saveBlocked) throw *saveBlocked;
        known = scorefile::WriteHead(ScoresPath(), scorefile::Encode(HiScores, ScoreChecksum()));
    } catch (const runtime::RuntimeError& e) {
        reportSaveFailure(e);
    }
}

void frmHiScores::reportSaveFailure(const runtime::RuntimeError& e) {
    runtime::MsgBox(e.description() + QStringLiteral("\r\nError Number: ") +
                        QString::number(e.number()),
                    runtime::vbOKOnly);
}

void frmHiScores::locked(const std::function<void()>& work) {
    std::optional<scorefile::Lock> lock;
    try {
        lock.emplace(ScoresPath());
    } catch (const runtime::RuntimeError& e) {
        saveBlocked = e;
    }
    const auto unlocked = qScopeGuard([this] { saveBlocked.reset(); });
    work();
}

void frmHiScores::readAgainIfChanged() {
    const QByteArray bytes = scorefile::Read(ScoresPath());
    if (bytes == known) return;
    ScoreTable table;
    const qint32 stored = scorefile::Decode(bytes, table);
    // A damaged table is not taken; this game's own is saved over it.
    if (stored == 0 || checksum(table) != stored) return;
    HiScores = table;
    known = bytes;
}

void frmHiScores::sort() {
    // Only a strictly greater score moves up, so a new entry stays below its equals.
    for (int i = 0; i <= 10; ++i)
        for (int j = 10; j >= i; --j)
            if (HiScores[j].Points > HiScores[i].Points) std::swap(HiScores[i], HiScores[j]);
}

void frmHiScores::NewHighScore(const qint32& NewScore) {
    // Other players' games may have entered scores meanwhile; they count for this one too.
    try {
        if (QFileInfo::exists(ScoresPath())) readAgainIfChanged();
    } catch (const runtime::RuntimeError&) {
        // the save below meets the same trouble and reports it
    }
    if (NewScore <= HiScores[9].Points) return;
    const QString typed =
        runtime::InputBox(QStringLiteral("Enter Name:"), QStringLiteral("New High Score!"));
    const ScoreEntry entry{typed.isEmpty() ? AnonymousName
                                           : codepage::FromUnicode(typed).left(MaxNameBytes),
                           NewScore};
    // Never locked across the prompt: from here on, reading again, entering and saving are
    // one step for the other games.
    locked([&] {
        if (!saveBlocked) {
            try {
                readAgainIfChanged();
            } catch (const runtime::RuntimeError& e) {
                saveBlocked = e;
            }
        }
        if (NewScore <= HiScores[9].Points) return; // pushed out while the name was typed
        HiScores[9] = entry;
        sort();
        SaveScores();
    });
}

void frmHiScores::mnuReset_Click() {
    locked([this] {
        for (int i = 0; i < 10; ++i) {
            HiScores[i] = ScoreEntry{FreshName, 0};
            SaveScores();
        }
    });
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
    return checksum(HiScores);
}

qint32 frmHiScores::checksum(const ScoreTable& table) {
    // Wraps round in 32 bits; only a table totalling over 2^31 points can get there.
    quint32 sum = 0;
    for (int i = 0; i < 10; ++i) {
        for (char c : table[i].Name)
            sum += static_cast<unsigned char>(c);
        sum += static_cast<quint32>(table[i].Points);
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
