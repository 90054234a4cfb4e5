// A fresh directory used as the platform root (kx::setRoot) while the object
// lives, so that the stores and bus sockets of one test never meet
// another's.  Shared by the unit tests of every subsystem.
#ifndef TESTS_UNIT_SUPPORT_TEMP_ROOT_H_
#define TESTS_UNIT_SUPPORT_TEMP_ROOT_H_

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "kx/platform.h"

namespace test_support {

class TempRoot {
 public:
  TempRoot() {
    char tmpl[] = "/tmp/sarn_test_XXXXXX";
    const char* made = ::mkdtemp(tmpl);
    path_ = made ? made : "";
    kx::setRoot(path_);
  }
  ~TempRoot() {
    kx::setRoot("");
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempRoot(const TempRoot&) = delete;
  TempRoot& operator=(const TempRoot&) = delete;

  // Empty when no directory could be made.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace test_support

#endif  // TESTS_UNIT_SUPPORT_TEMP_ROOT_H_
