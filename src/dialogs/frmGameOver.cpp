#include "frmGameOver.h"

#include "BirdArt.h"
#include "Form.h"
#include "runtime.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>

frmGameOver& frmGameOver::instance() {
    static auto* form = new frmGameOver();
    return *form;
}

frmGameOver::frmGameOver() {
    form::makeFixed(this, QStringLiteral("Game Over!"));
    form::setClientSize(this, 4644, 4224);

    Bird1 = form::picture(this, QPoint(form::px(1560), form::px(120)), birdart::GameOverPicture());
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setGeometry(form::twips(1320, 3600, 2052, 492));
    cmdClose->setAutoDefault(false);
    Label2 = form::label(
        this, form::twips(120, 1560, 4332, 1812),
        QStringLiteral("You were too slow, and the Morvel Birds have conquered the world!\n"),
        Qt::AlignHCenter);
    Label2->setFont(form::font(13.8, true));

    connect(cmdClose, &QPushButton::clicked, this,
            [this] { runtime::Guard([this] { cmdClose_Click(); }); });
}

void frmGameOver::cmdClose_Click() {
    hide();
    if (OfferScore) OfferScore();
}

void frmGameOver::showEvent(QShowEvent* event) {
    form::ownByActiveWindow(this);
    QDialog::showEvent(event);
}

// No cancel button here: Esc does nothing, only Close or the close box end the dialog.
void frmGameOver::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}
