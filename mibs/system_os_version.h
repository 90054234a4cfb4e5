// getOSVersion: the operating system's version text.
#ifndef MIBS_SYSTEM_OS_VERSION_H_
#define MIBS_SYSTEM_OS_VERSION_H_

#include <string>

// The running kernel's release ("6.1.0-18-amd64"); "" when it cannot be
// read.
std::string getOSVersion();

#endif  // MIBS_SYSTEM_OS_VERSION_H_
