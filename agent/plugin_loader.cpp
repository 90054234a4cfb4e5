#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdio>

#include "agent/snmp_looper.h"

namespace {

constexpr const char* kPluginSuffix = ".so";
constexpr size_t kPluginSuffixLength = 3;
// The shortest name considered: one character and the suffix.
constexpr size_t kMinPluginName = 4;
constexpr const char* kEntryPoint = "autorun";

void loadPlugin(const std::string& path) {
  void* handle = ::dlopen(path.c_str(), RTLD_NOW);
  if (!handle) {
    const char* why = ::dlerror();
    std::fprintf(stderr, "failed dlopen: %s:\n%s\n", path.c_str(), why ? why : "");
    return;
  }
  std::fprintf(stderr, "plugin loaded: %s\n", path.c_str());
  void* entry = ::dlsym(handle, kEntryPoint);
  if (!entry) {
    std::fprintf(stderr, "plugin %s has no symbol autorun\n", path.c_str());
    return;
  }
  reinterpret_cast<void (*)()>(entry)();
}

}  // namespace

void loadPlugins(const std::string& dir) {
  if (dir.size() > kMaxPluginPathLength) {
    std::fprintf(stderr,
                 "Refusing to search for snmp plugins in following directory, because it's "
                 "path is longer than 128 characters (recursive symlink?):\n%s\n",
                 dir.c_str());
    return;
  }
  DIR* d = ::opendir(dir.c_str());
  if (!d) return;

  while (const dirent* entry = ::readdir(d)) {
    const std::string name = entry->d_name;
    if (name.empty() || name[0] == '.') continue;
    const std::string path = dir + "/" + name;
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) break;
    if (S_ISDIR(st.st_mode)) {
      loadPlugins(path);
      continue;
    }
    if (name.size() < kMinPluginName || !S_ISREG(st.st_mode)) continue;
    if (name.compare(name.size() - kPluginSuffixLength, kPluginSuffixLength, kPluginSuffix) != 0) {
      continue;
    }
    loadPlugin(path);
  }
  ::closedir(d);
}
