#include "frmExit.h"
#include "frmInfo.h"
#include "runtimetest.h"

#include <QDesktopServices>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

class TestDialogs : public QObject {
    Q_OBJECT

    frmExit& ex = frmExit::instance();
    QStringList log;
    QList<int> ended; // exit statuses

    // Logs the modal window shown a moment later and answers it; a wrong one is just hidden.
    void whenModal(QWidget* expected, std::function<void()> answer) {
        QTimer::singleShot(300, [=, this] {
            QWidget* modal = QApplication::activeModalWidget();
            log << (modal ? modal->windowTitle() : "none");
            modal == expected ? answer() : modal ? modal->hide() : void();
        });
    }

  public slots:
    // Stands in for the desktop's browser and mail program.
    void openUrl(const QUrl& url) { log << url.toString(); }

  private slots:
    void init() {
        log = {};
        ended = {};
        runtime::SetEndHook([this](int status) { ended << status; });
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
            log << QString::number(ended.size()) +
                       (ended.isEmpty() && ex.isVisible() ? " still open" : "");
            ex.hide(); // the real end never comes back here
        });
        ex.exec();
        QCOMPARE(log, (QStringList{"Exit Game?!", QString::number(ends)}));
        QCOMPARE(ended, QList<int>(ends, 0)); // leaving is no failure
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

    // The logo opens the manual beside the program (a build) or where the package installs
    // it, found from the program's directory; without either it says what is missing.
    void infoLinks_data() {
        QTest::addColumn<QString>("manual");
        const QString installed = QStringLiteral(MORVEL_INSTALL_DOCDIR "/morvel-birds.html");
        QTest::addRow("build") << QStringLiteral(MORVEL_INSTALL_APPDIR "/morvel-birds.html");
        QTest::addRow("installed") << installed;
        QTest::addRow("left out") << "";
    }
    void infoLinks() {
        QFETCH(QString, manual);
        QTemporaryDir prefix;
        const QString app = prefix.path() + "/" MORVEL_INSTALL_APPDIR;
        const QString installed = prefix.path() + "/" MORVEL_INSTALL_DOCDIR "/morvel-birds.html";
        QVERIFY(QDir().mkpath(app) && QDir().mkpath(QFileInfo(installed).path()));
        if (!manual.isEmpty()) {
            QFile page(prefix.path() + "/" + manual);
            QVERIFY(page.open(QIODevice::WriteOnly));
        }
        runtime::SetAppPath(app);
        runtime::SetMsgBoxHook([this](const QString& prompt, int) { log << prompt; });
        QDesktopServices::setUrlHandler("file", this, "openUrl");
        QDesktopServices::setUrlHandler("mailto", this, "openUrl");
        frmInfo& info = frmInfo::instance();
        whenModal(&info, [&] {
            QTest::mouseClick(info.picLogo, Qt::LeftButton);
            QTest::mouseClick(info.lblEmail, Qt::LeftButton);
            log << info.lblEmail->text();
            info.hide();
        });
        info.exec();
        runtime::SetMsgBoxHook({});
        QDesktopServices::unsetUrlHandler("file");
        QDesktopServices::unsetUrlHandler("mailto");

        QCOMPARE(log.size(), 4);
        if (manual.isEmpty())
            QVERIFY2(log[1].contains("not installed") && log[1].endsWith(" " + installed),
                     qPrintable(log[1]));
        else
            QCOMPARE(log[1], QUrl::fromLocalFile(prefix.path() + "/" + manual).toString());
        // The mail goes to the address the window shows, the package's maintainer.
        const QString address = log[3].mid(QStringLiteral("Email:").size());
        QCOMPARE(log[2], "mailto:" + address);
        QVERIFY2(QRegularExpression("^[a-z.-]+@[a-z-]+(\\.[a-z-]+)+$").match(address).hasMatch(),
                 qPrintable(address));
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
