// Plug-in loading: shared objects that add MIB objects of their own.
#ifndef AGENT_PLUGIN_LOADER_H_
#define AGENT_PLUGIN_LOADER_H_

#include <string>

// Longest directory path searched; stops endless recursion through
// symbolic-link loops.
constexpr size_t kMaxPluginPathLength = 128;

// Searches dir recursively for regular files whose names end in ".so" (at
// least 4 characters, not starting with "."), loads each with RTLD_NOW and
// calls its `autorun` entry point once.  A plug-in is never unloaded.
// Every failure is one diagnostic on standard error and is skipped; a
// directory that can't be opened is skipped silently.  A failed stat of an
// entry ends the scan of that directory.
void loadPlugins(const std::string& dir);

#endif  // AGENT_PLUGIN_LOADER_H_
