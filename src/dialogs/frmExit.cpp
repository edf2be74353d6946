#include "frmExit.h"

#include "BirdArt.h"
#include "Form.h"
#include "runtime.h"

#include <QLabel>
#include <QPushButton>

frmExit& frmExit::instance() {
    static auto* form = new frmExit();
    return *form;
}

frmExit::frmExit() {
    form::makeFixed(this, QStringLiteral("Exit Game?!"));
    form::setClientSize(this, 4332, 2784);

    Bird1 = form::picture(this, QPoint(form::px(960), form::px(120)), birdart::ExitSize,
                          birdart::ExitPicture);
    cmdExit = new QPushButton(QStringLiteral("Yes!"), this);
    cmdExit->setGeometry(form::twips(240, 2280, 1812, 372));
    cmdExit->setDefault(true);
    cmdStay = new QPushButton(QStringLiteral("No!"), this);
    cmdStay->setGeometry(form::twips(2280, 2280, 1812, 372));
    lblSure = form::label(this, form::twips(120, 1440, 4092, 612),
                          QStringLiteral("Are you quite sure?"), Qt::AlignHCenter);
    lblSure->setFont(form::font(13.8, true));

    connect(cmdExit, &QPushButton::clicked, this,
            [this] { runtime::Guard([this] { cmdExit_Click(); }); });
    connect(cmdStay, &QPushButton::clicked, this,
            [this] { runtime::Guard([this] { cmdStay_Click(); }); });
}

void frmExit::cmdExit_Click() {
    runtime::End();
}
void frmExit::cmdStay_Click() {
    hide();
}

void frmExit::showEvent(QShowEvent* event) {
    form::ownByActiveWindow(this);
    // Every showing starts with Yes! as the Enter button again.
    cmdExit->setFocus();
    QDialog::showEvent(event);
}

// Esc is "No!"; the close box ends the showing the same way.
void frmExit::reject() {
    cmdStay_Click();
}
