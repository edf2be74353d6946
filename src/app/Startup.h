#pragma once
// The steps around the toolkit's start, as the program takes them; the start-up benchmark
// takes the same ones.

namespace startup {

// Before the application object exists: what it reads as it starts.
void BeforeToolkit();
// Once it stands: the style, and the names the desktop knows the program by.
void ToolkitStarted();

} // namespace startup
