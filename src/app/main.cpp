#include "Desktop.h"
#include "Privileges.h"
#include "ScoreFile.h"
#include "Startup.h"
#include "frmBirds_Main.h"
#include "frmHiScores.h"
#include "runtime.h"

#include <QApplication>
#include <cstdio>
#include <memory>

int main(int argc, char* argv[]) {
    // Set-group-id only to write the shared score table: open it while the group is held, then
    // give the group up before the toolkit reads a single environment variable. The process
    // stays undumpable, so the player cannot reach the open table through a debugger.
    if (privileges::GroupGranted()) {
        scorefile::HandOver(frmHiScores::ScoresPath());
        if (const std::string failure = privileges::DropGroup(); !failure.empty()) {
            std::fprintf(stderr, "%s: %s\n", runtime::Title, failure.c_str());
            return 1;
        }
    }
    desktop::ChoosePlatform();
    startup::BeforeToolkit();
    QApplication app(argc, argv);
    startup::ToolkitStarted();
    // The window lives until the program ends; it is never closed, only left through End.
    std::unique_ptr<frmBirds_Main> window;
    runtime::Guard([&] {
        window = std::make_unique<frmBirds_Main>();
        window->show();
    });
    int result = 0;
    runtime::Guard([&] { result = QApplication::exec(); });
    return result;
}
