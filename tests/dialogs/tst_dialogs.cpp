#include "frmExit.h"
#include "frmInfo.h"
#include "runtime.h"

#include <QLabel>
#include <QPushButton>
#include <QtTest>

class TestDialogs : public QObject {
    Q_OBJECT

    frmExit& ex = frmExit::instance();
    QStringList log;
    int ended = 0;

    // Logs the modal window shown a moment later and answers it; a wrong one is just hidden.
    void whenModal(QWidget* expected, std::function<void()> answer) {
        QTimer::singleShot(300, [=, this] {
            QWidget* modal = QApplication::activeModalWidget();
            log << (modal ? modal->windowTitle() : "none");
            modal == expected ? answer() : modal ? modal->hide() : void();
        });
    }

  private slots:
    void init() {
        log = {};
        ended = 0;
        runtime::SetEndHook([this] { ++ended; });
    }

    void exit_data() {
        QTest::addColumn<int>("ends");
        QTest::addRow("No!") << 0;
        QTest::addRow("Esc") << 0;
        QTest::addRow("Yes!") << 1;
        QTest::addRow("Enter") << 1;
    }
    void exit() {
        QFETCH(int, ends);
        const QString how = QTest::currentDataTag();
        whenModal(&ex, [&] {
            if (how == "Esc" || how == "Enter")
                QTest::keyClick(&ex, how == "Esc" ? Qt::Key_Escape : Qt::Key_Return);
            for (QPushButton* b : ex.findChildren<QPushButton*>())
                if (b->text() == how) b->click();
            log << QString::number(ended) + (!ended && ex.isVisible() ? " still open" : "");
            ex.hide(); // the real end never comes back here
        });
        ex.exec();
        QCOMPARE(log, (QStringList{"Exit Game?!", QString::number(ends)}));
    }

    void infoShowsVersion() {
        frmInfo& info = frmInfo::instance();
        whenModal(&info, [&] {
            log << info.lblVersion->text();
            QTest::keyClick(&info, Qt::Key_Return);
        });
        info.exec();
        QCOMPARE(log.join(';'), "About The Morvel Bird Game!;Version 1.1.0");
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
