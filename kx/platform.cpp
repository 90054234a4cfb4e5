#include "kx/platform.h"

#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>

namespace kx {

namespace {

// CLOCK_BOOTTIME keeps counting while the system is suspended, as an
// uptime should.
timespec bootTime() {
  timespec ts{};
  ::clock_gettime(CLOCK_BOOTTIME, &ts);
  return ts;
}

constexpr long kNanosPerHundredth = 10 * 1000 * 1000;

// Set once by a program's --root option, before any path is taken.
std::string& rootOverride() {
  static std::string value;
  return value;
}

}  // namespace

uint32_t getUptime() { return static_cast<uint32_t>(bootTime().tv_sec); }

uint32_t getJiffies() {
  const timespec ts = bootTime();
  return static_cast<uint32_t>(static_cast<uint64_t>(ts.tv_sec) * 100 +
                               static_cast<uint64_t>(ts.tv_nsec / kNanosPerHundredth));
}

uint64_t monotonicNowMs() {
  timespec ts{};
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

void setRoot(const std::string& root) { rootOverride() = root; }

std::string root() {
  if (!rootOverride().empty()) return rootOverride();
  const char* env = std::getenv("SARN_ROOT");
  if (env && *env) return env;
  return "/";
}

std::string rootPath(const std::string& platformPath) {
  std::string base = root();
  while (base.size() > 1 && base.back() == '/') base.pop_back();
  size_t start = 0;
  while (start < platformPath.size() && platformPath[start] == '/') ++start;
  const std::string rest = platformPath.substr(start);
  if (base == "/") return "/" + rest;
  if (rest.empty()) return base;
  return base + "/" + rest;
}

bool makeDirs(const std::string& dir) {
  if (dir.empty()) return false;
  struct stat st;
  if (::stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  // Create each prefix in turn; one that already exists is fine (another
  // process may be creating the same tree).
  for (size_t pos = dir.find('/', 1);; pos = dir.find('/', pos + 1)) {
    const std::string prefix = dir.substr(0, pos);
    if (!prefix.empty() && ::mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) return false;
    if (pos == std::string::npos) break;
  }
  return ::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace kx
