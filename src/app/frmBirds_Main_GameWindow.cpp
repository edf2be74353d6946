#include "frmBirds_Main.h"

#include "frmExit.h"
#include "frmGameOver.h"
#include "frmHiScores.h"
#include "frmInfo.h"

#include <QAction>
#include <QLabel>
#include <QProgressBar>
#include <cmath>

namespace {

// The bars hold whole numbers; the game hands them single-precision values.
int barUnits(float value) {
    return static_cast<int>(std::lrint(value));
}

} // namespace

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
    if (panel < 1 || panel > static_cast<int>(Panels.size())) return;
    QLabel* label = Panels[panel - 1];
    // A panel that has been laid out keeps its size: a label of free size asks the whole window
    // to be laid out again for every new text, ten times a second while a game runs.
    if (label->isVisible() && label->minimumSize() != label->maximumSize())
        label->setFixedSize(label->size());
    label->setText(text);
    // Read aloud with its caption: the score alone is just a number.
    if (panel == 2) label->setAccessibleName(Panels[0]->text() + u' ' + text);
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
