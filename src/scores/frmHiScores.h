#pragma once
// The high-score window. Its one instance also owns the score table for the whole run, so
// hiding or closing the window never loses a score.

#include "ScoreEntry.h"
#include "runtime.h"

#include <QDialog>
#include <array>
#include <functional>
#include <optional>

class QLabel;
class QMenu;
class QMenuBar;
class QPushButton;
class QAction;

class frmHiScores : public QDialog {
    Q_OBJECT
  public:
    // Made on first use and kept until the program ends; never deleted.
    static frmHiScores& instance();

    // Positions 0 to 9 are the table, best first; position 10 is a spare slot that is kept
    // in the file and sorted along, but never shown, reset or checksummed.
    ScoreTable HiScores;

    void LoadScores();
    void SaveScores();
    void sort();
    // Offers a score to the table; a qualifying one asks for the player's name, then the
    // table is sorted and saved. Does not refresh the labels.
    void NewHighScore(const qint32& NewScore);
    // Ten "No One" entries, saved after each, then shown.
    void mnuReset_Click();
    void displayScores();
    qint32 ScoreChecksum() const;

    // Where the table lives: the program's directory and "scores.dat".
    static QString ScoresPath();

    // The controls, as laid out; public so that callers and tests can see what is shown.
    std::array<QLabel*, 10> lblName{};
    std::array<QLabel*, 10> lblScore{};
    QPushButton* cmdClose = nullptr;
    QLabel* Bird1 = nullptr;
    QMenuBar* menuBar = nullptr;
    QMenu* mnuScores = nullptr;
    QAction* mnuReset = nullptr;
    QAction* mnuExit = nullptr;

    void cmdClose_Click();
    void mnuExit_Click();

  protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void reject() override;

  private:
    frmHiScores();
    void Form_Load();
    void Form_GotFocus();

    static qint32 checksum(const ScoreTable& table);
    // Runs work with the table locked against other games. Without the lock, work still runs,
    // and every save in it fails at once with the reason (saveBlocked).
    void locked(const std::function<void()>& work);
    // Takes the table from the file when another game has written it since this one last read
    // or wrote it.
    void readAgainIfChanged();
    void reportSaveFailure(const runtime::RuntimeError& e);

    // The file's bytes as this game last read or wrote them.
    QByteArray known;
    std::optional<runtime::RuntimeError> saveBlocked;
};
