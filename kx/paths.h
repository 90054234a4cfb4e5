// The root prefix under which every platform path lives.
//
// The root is, in order: the value given to setRoot (programs pass their
// --root option), the environment variable SARN_ROOT, "/".
#ifndef KX_PATHS_H_
#define KX_PATHS_H_

#include <string>

namespace kx {

constexpr const char* kBusDir = "/sarn/run/bus";

void setRoot(const std::string& root);
std::string root();
// platformPath ("/sarn/store/snmpd") below the root.
std::string rootPath(const std::string& platformPath);
// Creates dir and its parents (mode 0755); true when it exists afterwards.
bool makeDirs(const std::string& dir);

}  // namespace kx

#endif  // KX_PATHS_H_
