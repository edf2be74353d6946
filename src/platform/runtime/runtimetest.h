#pragma once
// For tests and benchmarks only: a fixed seed, a temporary tree as the program's place, and
// message boxes, input boxes and the end of the program answered without a screen or an exit.

#include "runtime.h"

#include <functional>

namespace runtime {

void SeedRandom(std::uint32_t seed);
void SetAppPath(const QString& path);

using MsgBoxHook = std::function<void(const QString& prompt, int style)>;
using InputBoxHook = std::function<QString(const QString& prompt, const QString& title)>;
void SetMsgBoxHook(MsgBoxHook hook); // empty: real boxes again
void SetInputBoxHook(InputBoxHook hook);

// When the hook returns, End() throws ProgramEnded, which Guard() swallows.
using EndHook = std::function<void(int status)>;
void SetEndHook(EndHook hook); // empty: the real end again

} // namespace runtime
