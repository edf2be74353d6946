#include "TestWindow.h"

#include "modGame.h"
#include "runtime.h"

namespace {
QString WithState(const QString& what) {
    return what + QStringLiteral(" @") + QString::number(modGame::GameState);
}
} // namespace

TestWindow::TestWindow() {
    screen.setBorder3D(true);
    screen.setAutoSize(true);
    screen.setPicture(LoadPicture(
        runtime::JoinPath(runtime::AppPath(), QStringLiteral("\\Graphics\\BackGround.bmp"))));
    buffer.resize(600, 400);
    QImage blank(600, 400, QImage::Format_RGB32);
    blank.fill(Qt::black);
    buffer.setPicture(blank);
    timer.setTimerType(Qt::PreciseTimer);
}

void TestWindow::setButtonValue(int position, int value) {
    buttonValue[position] = value;
    if (position >= 1 && position <= 3 && value == 1) statePresses << position;
}

void TestWindow::showGameOver() {
    calls << WithState(QStringLiteral("showGameOver"));
    if (onGameOver) onGameOver();
}

void TestWindow::showHiScores() {
    calls << WithState(QStringLiteral("showHiScores"));
}

void TestWindow::NewHighScore(const qint32& NewScore) {
    calls << WithState(QStringLiteral("NewHighScore ") + QString::number(NewScore));
}

void TestWindow::displayScores() {
    calls << WithState(QStringLiteral("displayScores"));
}

void TestWindow::clearRecord() {
    barMin.clear();
    barMax.clear();
    barValue.clear();
    panelText.clear();
    buttonValue.clear();
    statePresses.clear();
    calls.clear();
}
