#pragma once
// The steps around the toolkit's start, as the program takes them; the start-up benchmark
// takes the same ones.

class StartupPrefetch;

namespace startup {

// Before the application object exists: what it reads as it starts.
void BeforeToolkit();
// Once it stands: the style, the names the desktop knows the program by, and the start-up
// thread's go-ahead to decode.
void ToolkitStarted(StartupPrefetch& prefetch);

} // namespace startup
