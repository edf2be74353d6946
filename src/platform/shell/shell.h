#pragma once
// The desktop shell: opens a mail link or a web page with the user's default programs.

#include <QString>

class QWidget;

namespace shell {

inline constexpr int SW_SHOWNORMAL = 1;

// Performs the operation ("open") on the target, e.g. "mailto:..." or "https://...".
// Returns a value above 32 on success, as the callers may expect; nobody needs to look.
long ShellExecuteA(QWidget* owner, const QString& operation, const QString& file,
                   const QString& parameters, const QString& directory, int showCmd);

} // namespace shell
