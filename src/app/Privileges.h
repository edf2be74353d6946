#pragma once
// An installed game runs set-group-id games so that it can write the shared score table, and
// for nothing else. The entry point opens that table while it holds the group, then gives the
// group up for good before the toolkit or anything else reads the environment. Nothing here
// uses the toolkit.

#include <string>

namespace privileges {

// True when the program holds a group that its player does not: its set-group-id bit.
bool GroupGranted();
// Gives up the granted group for good; returns what went wrong, or nothing.
std::string DropGroup();

} // namespace privileges
