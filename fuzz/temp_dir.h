// A fuzz target's scratch directory, shared by the targets that write files.
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace fuzz {

// A fresh directory named after the target, memory-backed when /dev/shm
// takes it (every file the target writes costs a rename and a directory
// sync otherwise), removed with its contents when the run ends.
inline std::string tempDir(const std::string& target) {
  static std::string dir;
  std::string shm = "/dev/shm/" + target + ".XXXXXX", tmp = "/tmp/" + target + ".XXXXXX";
  const char* made = ::mkdtemp(shm.data()) ? shm.c_str() : ::mkdtemp(tmp.data());
  if (!made) std::abort();
  dir = made;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  });
  return dir;
}

}  // namespace fuzz
