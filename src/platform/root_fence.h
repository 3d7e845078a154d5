// The fence around the emulated root's commands: a Landlock ruleset that lets
// a command and everything it starts write only beneath the root (and to
// /dev/null) and signal only processes inside the fence. It holds whatever
// the command text does at run time (a "cd ..", a slash built by printf, a
// re-enabled kill), which no rewriting of the text can see.
#pragma once

#include <string>

// A ruleset descriptor for root_fence_enter, made in the parent before fork,
// or -1 when the kernel has no Landlock: the command runner's rewriting of
// the text is then the only fence. A root that cannot be opened is left out
// of the rules, so that nothing can be written at all. The caller closes it.
int root_fence_open(const std::string& root);

// Confines the calling process (a child between fork and exec) with the
// ruleset; async-signal-safe. False when the kernel refused.
bool root_fence_enter(int ruleset);

// True when this kernel can fence commands (Landlock with signal scoping).
bool root_fence_available();
