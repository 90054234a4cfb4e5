#include "mibs/system_os_version.h"

#include <sys/utsname.h>

std::string getOSVersion() {
  struct utsname names;
  if (uname(&names) != 0) return std::string();
  return names.release;
}
