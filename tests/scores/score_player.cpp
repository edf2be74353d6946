// A game of its own for the score tests, without a window: score_player DIR NAME [SCORE...]
// loads the table in DIR, then offers each score as a game's end does, answering the name
// prompt with NAME. Every message box is printed on one line.

#include "frmHiScores.h"
#include "runtime.h"

#include <QApplication>
#include <QThread>
#include <cstdio>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    if (argc < 3) return 2;
    runtime::SetAppPath(QString::fromLocal8Bit(argv[1]));
    runtime::SetMsgBoxHook([](const QString& text, int style) {
        std::printf("%s|%d\n", qPrintable(QString(text).replace("\r\n", " ").replace('\n', ' ')),
                    style);
        std::fflush(stdout);
    });
    const QString name = QString::fromLocal8Bit(argv[2]);
    runtime::SetInputBoxHook([&](const QString&, const QString&) { return name; });
    frmHiScores& scores = frmHiScores::instance();
    runtime::Guard([&] {
        scores.LoadScores();
        for (int i = 3; i < argc; ++i) {
            QThread::msleep(5); // games end apart, so another game's saves fall in between
            scores.NewHighScore(qint32(std::atoi(argv[i])));
        }
    });
    return 0;
}
